// The pictures and the sound of a multiview, by its own clock and on demand.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <thread>

#include "compositing/WallLook.h"
#include "support/CapturedStream.h"
#include "support/Frames.h"
#include "support/RunningMultiview.h"

namespace {

using test::bright;
using test::CapturedStream;
using test::customVideo;
using test::grey;
using test::HandSource;
using test::Levels;
using test::MultiviewConsumer;
using test::onWall;
using test::plainPicture;
using test::plainSound;
using test::PulledSource;
using test::RunningMultiview;
using test::wallBlack;
using namespace std::chrono_literals;

// The middle of a large window in a picture of 192 by 108, grid below.
constexpr int previewX = 48;
constexpr int programX = 144;
constexpr int windowY = 27;

bool standsStill(const test::CollectingSink& sink) {
    std::this_thread::sleep_for(100ms); // what is in the making comes
    const std::size_t pictures = sink.pictureCount();
    std::this_thread::sleep_for(300ms);
    return sink.pictureCount() == pictures;
}

} // namespace

// ----------------------------------------------------------------------------------- by clock
TEST(LMultiviewPictures, PicturesArePlanarInFullRangeAndCounted) {
    RunningMultiview running(192, 108, 29.97);
    const quol::FramePtr picture = running.nextPicture();
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->format, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(picture->width, 192);
    EXPECT_EQ(picture->height, 108);
    EXPECT_EQ(picture->color_range, AVCOL_RANGE_JPEG);
    EXPECT_EQ(picture->time_base.num, 1);
    EXPECT_EQ(picture->time_base.den, 29);
    const auto seen = running.sink.pictures();
    for (std::size_t i = 1; i < seen.size(); ++i)
        EXPECT_GT(seen[i].pts, seen[i - 1].pts); // those missed are counted
}

TEST(LMultiviewPictures, PicturesComeAtTheRateOfTheFormat) {
    RunningMultiview running(64, 36, 25.0);
    running.sink.clear();
    ASSERT_TRUE(running.sink.waitForPictures(51));
    const auto seen = running.sink.pictures();
    // Two seconds. The first may have been as late as half a second, which is made up for; how late
    // the last is, is the machine's affair.
    EXPECT_GE(seen[50].arrived - seen[0].arrived, 1'400'000'000);
}

TEST(LMultiviewPictures, ANewMultiviewIsBlackWithoutTiles) {
    RunningMultiview running;
    const quol::FramePtr picture = running.nextPicture();
    ASSERT_TRUE(picture);
    for (int y = 0; y < 108; ++y) {
        for (int x = 0; x < 192; ++x)
            ASSERT_EQ(test::levelsAt(picture.get(), x, y), wallBlack);
    }
}

TEST(LMultiviewPictures, ASizeThatIsNotSetIs1920By1080) {
    LMultiview multiview(LMultiview::Renderer::processor);
    multiview.setVideoFormat(customVideo(0, -3, 0.0));
    test::CollectingSink sink(1);
    multiview.addSink(&sink);
    ASSERT_TRUE(sink.waitForPictures(3));
    EXPECT_EQ(sink.latestPicture()->width, 1920);
    EXPECT_EQ(sink.latestPicture()->height, 1080);
    EXPECT_EQ(sink.latestPicture()->time_base.den, 50);
    multiview.removeSink(&sink);
}

TEST(LMultiviewPictures, ASizeThatNobodyCanMakeGivesNoPictureUntilItIsPutRight) {
    LMultiview multiview(LMultiview::Renderer::processor);
    multiview.setVideoFormat(customVideo(1'000'000, 1'000'000, 50.0));
    MultiviewConsumer consumer(multiview);
    EXPECT_TRUE(test::waitUntil([&] { return !consumer.ask(); }));
    multiview.setVideoFormat(customVideo(64, 36, 50.0));
    const quol::FramePtr picture = consumer.picture();
    ASSERT_TRUE(picture);
}

TEST(LMultiviewPictures, ACellWithoutAFrameIsBlackWithItsBorder) {
    RunningMultiview running;
    running.multiview.setupGrid(MultiviewOrientation::gridBelow, 2);
    running.multiview.setGridPos(nullptr, 1, 1, 0, "");
    EXPECT_TRUE(running.shows(1, 70, {115, 128, 128}));
    EXPECT_TRUE(running.shows(24, 68, wallBlack));
    EXPECT_TRUE(running.shows(97, 20, {76, 84, 255}));
    EXPECT_TRUE(running.shows(1, 20, {150, 43, 21}));
}

TEST(LMultiviewPictures, PicturesOfEveryFormAreShown) {
    for (const AVPixelFormat format :
         {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P, AV_PIX_FMT_YUVJ420P}) {
        HandSource source;
        RunningMultiview running;
        running.multiview.setPGMSource(&source);
        source.distributeVideoFrame(plainPicture(64, 36, grey, format).get());
        EXPECT_TRUE(running.shows(programX, windowY, onWall(grey))) << format;
    }
}

TEST(LMultiviewPictures, ASourceThatStopsLeavesItsLastPictureStanding) {
    HandSource source;
    RunningMultiview running;
    running.multiview.setPGMSource(&source);
    source.distributeVideoFrame(plainPicture(64, 36, grey).get());
    ASSERT_TRUE(running.shows(programX, windowY, onWall(grey)));
    std::this_thread::sleep_for(1200ms);
    EXPECT_EQ(test::levelsAt(running.nextPicture().get(), programX, windowY), onWall(grey));
}

TEST(LMultiviewPictures, APictureThatCannotBeReadIsPassedOver) {
    HandSource source;
    RunningMultiview running;
    running.multiview.setPGMSource(&source);
    source.distributeVideoFrame(plainPicture(64, 36, grey).get());
    ASSERT_TRUE(running.shows(programX, windowY, onWall(grey)));
    const quol::FramePtr broken = plainPicture(64, 36, bright);
    broken->width = 100000;
    source.distributeVideoFrame(broken.get());
    EXPECT_EQ(test::levelsAt(running.nextPicture().get(), programX, windowY), onWall(grey));
}

TEST(LMultiviewPictures, AWallOnWhichNothingMovesSharesItsMemory) {
    HandSource source;
    RunningMultiview running;
    running.multiview.setPGMSource(&source);
    source.distributeVideoFrame(plainPicture(64, 36, grey).get());
    ASSERT_TRUE(running.shows(programX, windowY, onWall(grey)));
    const quol::FramePtr first = running.nextPicture();
    const quol::FramePtr second = running.nextPicture();
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->data[0], second->data[0]);
    EXPECT_NE(first->pts, second->pts);
    source.distributeVideoFrame(plainPicture(64, 36, bright).get());
    ASSERT_TRUE(running.shows(programX, windowY, onWall(bright)));
    // The one that was kept is as it was.
    EXPECT_EQ(test::levelsAt(second.get(), programX, windowY), onWall(grey));
}

// A multiview only watches: what it is given by a source that renders on demand is what that one
// pushes, and its clock stays its own.
TEST(LMultiviewPictures, ASourceThatRendersOnDemandIsNotAsked) {
    PulledSource source(plainPicture(64, 36, bright));
    RunningMultiview running;
    running.multiview.setPGMSource(&source);
    source.distributeVideoFrame(plainPicture(64, 36, grey).get());
    EXPECT_TRUE(running.shows(programX, windowY, onWall(grey)));
    EXPECT_EQ(source.renders, 0);
    EXPECT_EQ(source.consumers, 0);
}

TEST(LMultiviewPictures, IsNeverItsOwnSource) {
    RunningMultiview running;
    running.multiview.setupGrid(MultiviewOrientation::gridBelow, 2);
    running.multiview.setPGMSource(&running.multiview);
    running.multiview.setPVWSource(&running.multiview);
    running.multiview.setGridPos(&running.multiview, 1, 1, 0, "");
    EXPECT_TRUE(running.shows(programX, windowY, wallBlack));
    EXPECT_TRUE(running.nextPicture());
}

TEST(LMultiviewPictures, TwoThatShowEachOtherRunOn) {
    HandSource camera;
    RunningMultiview a;
    RunningMultiview b;
    b.multiview.setPVWSource(&camera);
    a.multiview.setPGMSource(&b.multiview);
    b.multiview.setPGMSource(&a.multiview);
    camera.distributeVideoFrame(plainPicture(64, 36, grey).get());
    EXPECT_TRUE(b.shows(previewX, windowY, onWall(grey)));
    a.sink.clear();
    b.sink.clear();
    EXPECT_TRUE(a.sink.waitForPictures(20));
    EXPECT_TRUE(b.sink.waitForPictures(20));
    a.multiview.setPGMSource(nullptr);
    b.multiview.setPGMSource(nullptr);
}

// Where there is no graphics processor, or one in name only.
TEST(LMultiviewPictures, TellsOnceThatTheMainProcessorDraws) {
    const auto linesOf = [](LMultiview::Renderer renderer) {
        test::CapturedStream error(test::CapturedStream::Stream::error);
        LMultiview multiview(renderer);
        test::CollectingSink sink;
        multiview.addSink(&sink);
        EXPECT_TRUE(sink.waitForPictures(5));
        multiview.removeSink(&sink);
        return error.text();
    };
    EXPECT_EQ(linesOf(LMultiview::Renderer::processor), "");
    const std::string told = linesOf(LMultiview::Renderer::automatic);
    EXPECT_TRUE(told.empty() || // there is one
                told ==
                    "LMultiview [GPU]: Failed to initialize OpenGL context. "
                    "Falling back to CPU rendering.\n")
        << told;
}

TEST(LMultiviewPictures, TheTilesAreToldNowAndThen) {
    CapturedStream output(CapturedStream::Stream::output);
    LMultiview multiview(LMultiview::Renderer::processor);
    multiview.setVideoFormat(customVideo(64, 36, 2000.0));
    multiview.setupGrid(MultiviewOrientation::gridAbove, 2);
    multiview.setGridName("PGM", "Air");
    const std::string line =
        "LMultiview rendering key: PGM Name: Air Coords: x=0.5 y=0.5 w=0.5 h=0.5 Tally: 2\n";
    ASSERT_TRUE(test::waitUntil([&] { return output.text().find(line) != std::string::npos; }));
    const std::string text = output.text();
    std::size_t lines = 0;
    for (std::size_t at = text.find(line); at != std::string::npos; at = text.find(line, at + 1))
        ++lines;
    EXPECT_LT(lines, 10U); // not one a picture
}

// -------------------------------------------------------------------------------------- meters
TEST(LMultiviewPictures, ATileHasAMeterWhileItsSourceHasSound) {
    HandSource source;
    RunningMultiview running(960, 540);
    running.multiview.setPGMSource(&source);
    source.distributeVideoFrame(plainPicture(64, 36, bright).get());
    // On the left bar of the program's meter, low and high.
    const int x = 480 + static_cast<int>((0.876 + 1.0) / 2.0 * 480.0);
    constexpr int low = 250;
    constexpr int high = 20;
    ASSERT_TRUE(running.shows(x, low, onWall(bright)));
    const quol::FramePtr loud = plainSound(960, 32767, 32767);
    const auto isLit = [&](int y) {
        const Levels seen = test::levelsAt(running.sink.latestPicture().get(), x, y);
        return std::abs(seen.u - 128) > 20;
    };
    EXPECT_TRUE(test::waitUntil([&] {
        source.distributeAudioFrame(loud.get());
        return isLit(low) && isLit(high);
    }));
    // Silence lets it fall step by step.
    const quol::FramePtr silence = plainSound(960, 0, 0);
    bool wasHalf = false;
    EXPECT_TRUE(test::waitUntil([&] {
        source.distributeAudioFrame(silence.get());
        std::this_thread::sleep_for(5ms);
        wasHalf = wasHalf || (isLit(low) && !isLit(high));
        return !isLit(low);
    }));
    EXPECT_TRUE(wasHalf);
    // Without sound there is none.
    EXPECT_TRUE(running.shows(x, low, onWall(bright)));
}

// --------------------------------------------------------------------------------------- sound
TEST(LMultiviewPictures, TheSoundOfTheProgramsSourceLeavesThroughTheMultiview) {
    HandSource program;
    HandSource preview;
    HandSource camera;
    RunningMultiview running;
    running.multiview.setPGMSource(&program);
    running.multiview.setPVWSource(&preview);
    running.multiview.setGridPos(&camera, 1, 1, 0, "");
    running.multiview.setGridPGM(1, 1);
    preview.distributeAudioFrame(plainSound(960, 100, 100).get());
    camera.distributeAudioFrame(plainSound(960, 100, 100).get());
    EXPECT_EQ(running.sink.soundCount(), 0U);
    const quol::FramePtr sound = plainSound(960, 1234, 4321, 4800);
    program.distributeAudioFrame(sound.get());
    EXPECT_EQ(running.sink.soundCount(), 1U);
    running.multiview.setPGMSource(&preview);
    program.distributeAudioFrame(sound.get());
    EXPECT_EQ(running.sink.soundCount(), 1U);
    preview.distributeAudioFrame(sound.get());
    EXPECT_EQ(running.sink.soundCount(), 2U);
}

// The camera counts from where it likes; who plays the wall goes by the wall's pictures.
TEST(LMultiviewPictures, TheSoundOfASourceFarAheadIsHeardThroughAMixerThatShowsTheWall) {
    HandSource camera;
    LMultiview multiview(LMultiview::Renderer::processor);
    multiview.setVideoFormat(customVideo(64, 36, 50.0));
    multiview.setPGMSource(&camera);
    test::RunningMixer mixer(customVideo(64, 36, 50, 1));
    mixer.mixer.addLayer("wall", &multiview, 0, 0.0F, 0.0F, 255, 64.0F, 36.0F, true);
    std::int64_t pts = 100 * 48000;
    EXPECT_TRUE(test::waitUntil([&] {
        camera.distributeAudioFrame(plainSound(960, 8000, 8000, pts).get());
        pts += 960;
        std::this_thread::sleep_for(20ms);
        const quol::FramePtr sound = mixer.sink.latestSound();
        if (!sound) return false;
        for (const std::int16_t sample : test::samplesOf(*sound)) {
            if (sample > 1000) return true;
        }
        return false;
    }));
}

TEST(LMultiviewPictures, SoundAndPicturesOfTheWallTellOneTime) {
    HandSource camera;
    RunningMultiview running(64, 36, 50.0);
    running.multiview.setPGMSource(&camera);
    ASSERT_TRUE(running.nextPicture());
    const double before = running.sink.pictures().back().seconds;
    camera.distributeAudioFrame(plainSound(960, 1000, 1000, 100 * 48000).get());
    ASSERT_TRUE(running.nextPicture());
    const double after = running.sink.pictures().back().seconds;
    ASSERT_EQ(running.sink.soundCount(), 1U);
    EXPECT_GE(running.sink.sounds()[0].seconds, before - 0.5);
    EXPECT_LE(running.sink.sounds()[0].seconds, after + 0.5);
}

// A sink holds the wall up for a second.
TEST(LMultiviewPictures, PicturesThatWereMissedAreLeftOutAndTheirTimeIsNot) {
    class HoldingSink : public test::CollectingSink {
    public:
        void pushVideoFrame(AVFrame* frame) override {
            CollectingSink::pushVideoFrame(frame);
            if (pictureCount() == 3) std::this_thread::sleep_for(1s);
        }
    };
    LMultiview multiview(LMultiview::Renderer::processor);
    multiview.setVideoFormat(customVideo(64, 36, 50.0));
    HoldingSink sink;
    multiview.addSink(&sink);
    ASSERT_TRUE(sink.waitForPictures(6));
    const auto seen = sink.pictures();
    multiview.removeSink(&sink);
    std::int64_t widest = 0;
    for (std::size_t i = 1; i < 6; ++i)
        widest = std::max(widest, seen[i].pts - seen[i - 1].pts);
    EXPECT_GE(widest, 40);
}

TEST(LMultiviewPictures, AGraphicsWallRunsFromItsSourceToItsSink) {
    HandSource source;
    RunningMultiview running(192, 108, 50.0, LMultiview::Renderer::graphics);
    running.multiview.setPGMSource(&source);
    source.distributeVideoFrame(plainPicture(64, 36, grey).get());
    EXPECT_TRUE(running.shows(programX, windowY, onWall(grey)));
    source.distributeVideoFrame(plainPicture(64, 36, bright).get());
    EXPECT_TRUE(running.shows(programX, windowY, onWall(bright)));
}

TEST(LMultiviewPictures, SoundGoesThroughAChainOfMultiviewsAndNotRound) {
    HandSource camera;
    RunningMultiview front;
    RunningMultiview back;
    front.multiview.setPGMSource(&back.multiview);
    back.multiview.setPGMSource(&camera);
    camera.distributeAudioFrame(plainSound(960, 1000, 1000).get());
    EXPECT_EQ(back.sink.soundCount(), 1U);
    EXPECT_EQ(front.sink.soundCount(), 1U);
    // A ring is closed and opened while the sound comes.
    std::atomic<bool> isOver{false};
    std::thread feeder([&] {
        const quol::FramePtr sound = plainSound(960, 1000, 1000);
        while (!isOver) {
            camera.distributeAudioFrame(sound.get());
            std::this_thread::sleep_for(100us); // lets others have the list of sinks
        }
    });
    for (int i = 0; i < 50; ++i) {
        back.multiview.setPGMSource(&front.multiview);
        back.multiview.setPGMSource(&camera);
    }
    EXPECT_TRUE(front.sink.waitForSounds(front.sink.soundCount() + 2));
    isOver = true;
    feeder.join();
    back.multiview.setPGMSource(nullptr);
    front.multiview.setPGMSource(nullptr);
}

// ------------------------------------------------------------------------------------ on demand
TEST(LMultiviewPull, APictureOnDemandIsTheCallersAndGoesToTheSinksToo) {
    RunningMultiview running(64, 36, 50.0);
    MultiviewConsumer consumer(running.multiview);
    ASSERT_TRUE(standsStill(running.sink));
    running.sink.clear();
    const quol::FramePtr picture = consumer.picture();
    ASSERT_TRUE(picture);
    ASSERT_TRUE(running.sink.waitForPictures(1));
    EXPECT_EQ(running.sink.latestPicture()->pts, picture->pts);
}

TEST(LMultiviewPull, EveryRequestGivesTheNextPicture) {
    LMultiview multiview(LMultiview::Renderer::processor);
    multiview.setVideoFormat(customVideo(64, 36, 50.0));
    MultiviewConsumer consumer(multiview);
    const quol::FramePtr first = consumer.picture();
    const quol::FramePtr second = consumer.picture();
    ASSERT_TRUE(first && second);
    EXPECT_GT(second->pts, first->pts);
}

TEST(LMultiviewPull, WithoutAConsumerItRunsOnAndStillAnswers) {
    RunningMultiview running(64, 36, 50.0);
    quol::FramePtr picture;
    EXPECT_TRUE(test::waitUntil([&] {
        picture.reset(running.multiview.renderVideoFrame());
        return picture != nullptr;
    }));
    running.sink.clear();
    EXPECT_TRUE(running.sink.waitForPictures(5));
}

TEST(LMultiviewPull, TheClockGoesOnWhenTheLastConsumerHasSignedOff) {
    RunningMultiview running(64, 36, 50.0);
    {
        MultiviewConsumer first(running.multiview);
        { MultiviewConsumer second(running.multiview); }
        EXPECT_TRUE(standsStill(running.sink));
        std::this_thread::sleep_for(1500ms); // 75 pictures, of which none is made up for
    }
    running.sink.clear();
    ASSERT_TRUE(running.sink.waitForPictures(61));
    const auto seen = running.sink.pictures();
    EXPECT_GE(seen[60].arrived - seen[0].arrived, 500'000'000);
}

TEST(LMultiviewPull, SigningOffWithoutAConsumerLeavesTheCountAt0) {
    RunningMultiview running(64, 36, 50.0);
    running.multiview.removePullConsumer();
    running.multiview.removePullConsumer();
    running.sink.clear();
    EXPECT_TRUE(running.sink.waitForPictures(3));
    MultiviewConsumer consumer(running.multiview);
    EXPECT_TRUE(standsStill(running.sink)); // one was enough
}

TEST(LMultiviewPull, ConsumersThatAskWithinATickGetOnePictureAndTheSinksGetItOnce) {
    RunningMultiview running(64, 36, 50.0);
    running.multiview.setVideoFormat(customVideo(64, 36, 0.05)); // half a tick is ten seconds
    MultiviewConsumer first(running.multiview);
    MultiviewConsumer second(running.multiview);
    ASSERT_TRUE(standsStill(running.sink));
    running.sink.clear();
    const quol::FramePtr picture = first.picture();
    const quol::FramePtr same = second.ask();
    ASSERT_TRUE(picture && same);
    EXPECT_EQ(picture->pts, same->pts);
    EXPECT_EQ(running.sink.pictureCount(), 1U);
}

TEST(LMultiviewPull, AMixerThatShowsAMultiviewPullsIt) {
    HandSource camera;
    LMultiview multiview(LMultiview::Renderer::processor);
    multiview.setVideoFormat(customVideo(192, 108, 50.0));
    multiview.setPGMSource(&camera);
    camera.distributeVideoFrame(plainPicture(64, 36, grey).get());
    test::CollectingSink wall;
    multiview.addSink(&wall);
    test::RunningMixer mixer(customVideo(192, 108, 5, 1));
    mixer.mixer.addLayer("wall", &multiview, 0, 0.0F, 0.0F, 255, 192.0F, 108.0F);
    EXPECT_TRUE(mixer.shows(programX, windowY, onWall(grey)));
    // It makes a picture for each of the mixer's: by its own clock it would make ten.
    mixer.sink.clear();
    wall.clear();
    ASSERT_TRUE(mixer.sink.waitForPictures(5));
    const std::size_t pulled = wall.pictureCount();
    EXPECT_GE(pulled, 3U);
    EXPECT_LE(pulled, mixer.sink.pictureCount() + 2);
    mixer.mixer.removeLayer("wall");
    multiview.removeSink(&wall);
}

// A sink that takes longer than a consumer waits: the consumer gets nothing, the sinks everything.
TEST(LMultiviewPull, ARequestWaits100MillisecondsAndItsPictureIsNotLost) {
    class GateSink : public test::CollectingSink {
    public:
        void pushVideoFrame(AVFrame* frame) override {
            CollectingSink::pushVideoFrame(frame);
            while (isShut)
                std::this_thread::sleep_for(1ms);
        }
        std::atomic<bool> isShut{false};
    };
    GateSink sink;
    LMultiview multiview(LMultiview::Renderer::processor);
    multiview.setVideoFormat(customVideo(64, 36, 50.0));
    sink.isShut = true;
    multiview.addSink(&sink);
    ASSERT_TRUE(sink.waitForPictures(1)); // the render thread is held in it
    MultiviewConsumer consumer(multiview);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(consumer.ask());
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 100ms);
    const std::size_t before = sink.pictureCount();
    sink.isShut = false;
    // The one that was asked for comes to the sinks, nobody else waiting for it.
    EXPECT_TRUE(sink.waitForPictures(before + 1));
    EXPECT_TRUE(consumer.picture());
    multiview.removeSink(&sink);
}

// The pictures that leave a mixer, and those that its sources give it.
#include <gtest/gtest.h>

#include <array>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "compositing/LayerRenderer.h"
#include "support/CapturedStream.h"
#include "support/Frames.h"
#include "support/MixerPictures.h"
#include "support/RunningMixer.h"
extern "C" {
#include <libavutil/pixdesc.h>
}

namespace {

using test::blackLevels;
using test::blended;
using test::bright;
using test::customVideo;
using test::grey;
using test::HandSource;
using test::Levels;
using test::levelsOf;
using test::packedAt;
using test::plainPicture;
using test::RunningMixer;
using namespace std::chrono_literals;

} // namespace

// ------------------------------------------------------------------------------- no layers

TEST(LMixerPictures, WithNoLayersTheCanvasIsBlackInYuv420pAndSilentSoundFlows) {
    RunningMixer running;
    const quol::FramePtr picture = running.nextPicture();
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(picture->format, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(picture->width, 64);
    EXPECT_EQ(picture->height, 48);
    EXPECT_EQ(levelsOf(picture.get()), blackLevels);
    const quol::FramePtr sound = running.nextSound();
    ASSERT_NE(sound, nullptr);
    const std::vector<std::int16_t> samples = test::samplesOf(*sound);
    EXPECT_EQ(std::set<std::int16_t>(samples.begin(), samples.end()), std::set<std::int16_t>{0});
}

TEST(LMixerPictures, WithNoLayersTheCanvasIsTransparentInRgbaAndSilentSoundFlows) {
    RunningMixer running(customVideo(64, 48, 50, 6));
    const quol::FramePtr picture = running.nextPicture();
    ASSERT_NE(picture, nullptr);
    ASSERT_EQ(picture->format, AV_PIX_FMT_RGBA);
    for (int y = 0; y < 48; ++y) {
        for (int x = 0; x < 64; ++x)
            ASSERT_EQ(packedAt(*picture, x, y)[3], 0) << x << ' ' << y;
    }
    EXPECT_EQ(packedAt(*picture, 0, 0), (std::array<int, 4>{0, 0, 0, 0}));
    const quol::FramePtr sound = running.nextSound();
    ASSERT_NE(sound, nullptr);
    const std::vector<std::int16_t> samples = test::samplesOf(*sound);
    EXPECT_EQ(std::set<std::int16_t>(samples.begin(), samples.end()), std::set<std::int16_t>{0});
}

// ------------------------------------------------------------------------ time of the pictures

TEST(LMixerPictures, PicturesAreNumberedInTicksFromTheFirst) {
    RunningMixer running;
    ASSERT_TRUE(running.sink.waitForPictures(20));
    const auto pictures = running.sink.pictures();
    for (std::size_t i = 1; i < pictures.size(); ++i)
        EXPECT_EQ(pictures[i].pts, pictures[i - 1].pts + 1);
    EXPECT_LT(pictures[0].pts, 2000); // the count began when the mixer did
}

TEST(LMixerPictures, TheTimeBaseIsOneOverTheRateCutToAWholeNumber) {
    const std::vector<std::pair<double, int>> rates = {{50.0, 50},
                                                       {25.0, 25},
                                                       {30000.0 / 1001.0, 29},
                                                       {24000.0 / 1001.0, 23},
                                                       {60000.0 / 1001, 59},
                                                       {0.0, 50},
                                                       {-5.0, 50},
                                                       {119.9, 119}};
    for (const auto& [rate, base] : rates) {
        RunningMixer running(customVideo(64, 48, rate, 1));
        const quol::FramePtr picture = running.nextPicture();
        ASSERT_NE(picture, nullptr) << rate;
        EXPECT_EQ(picture->time_base.num, 1) << rate;
        EXPECT_EQ(picture->time_base.den, base) << rate;
    }
}

TEST(LMixerPictures, ARateBelowOneASecondHasATimeBaseOfOneSecond) {
    RunningMixer running(customVideo(64, 48, 0.9, 1));
    EXPECT_TRUE(test::waitUntil([&] {
        const quol::FramePtr picture = running.sink.latestPicture();
        return picture && picture->width == 64 && picture->time_base.den == 1;
    }));
}

TEST(LMixerPictures, WithAFractionalRateTheStampedTimeBaseAndTheTrueRateDiffer) {
    // 5.9 a second, stamped as if they were 5.
    RunningMixer running(customVideo(64, 48, 5.9, 1));
    ASSERT_TRUE(test::waitUntil([&] {
        const quol::FramePtr picture = running.sink.latestPicture();
        return picture && picture->time_base.den == 5;
    }));
    running.sink.clear();
    EXPECT_TRUE(test::waitUntil([&] {
        const auto pictures = running.sink.pictures();
        if (pictures.size() < 2) return false;
        const double stamped = pictures.back().seconds - pictures.front().seconds;
        const auto ticks = static_cast<double>(pictures.size() - 1);
        const double passed =
            static_cast<double>(pictures.back().arrived - pictures.front().arrived) / 1e9;
        EXPECT_NEAR(stamped, ticks / 5.0, 1e-6);
        return stamped > passed + 0.5;
    }));
}

TEST(LMixerPictures, NoPictureComesBeforeItIsDue) {
    const test::Stopwatch watch; // the mixer's own clock starts later
    RunningMixer running;
    ASSERT_TRUE(running.sink.waitForPictures(60));
    for (const auto& picture : running.sink.pictures())
        EXPECT_GE(watch.at(picture.arrived), static_cast<double>(picture.pts) / 50.0);
}

TEST(LMixerPictures, AMixerThatIsLateCatchesUpWithoutLeavingATickOut) {
    // A pull that takes its time holds the mixer up.
    class Slow : public test::PulledSource {
    public:
        AVFrame* renderVideoFrame() override {
            if (++renders == 1) std::this_thread::sleep_for(400ms);
            return nullptr;
        }
    } slow;
    RunningMixer running(customVideo(64, 48, 100, 1), 0);
    ASSERT_TRUE(running.sink.waitForPictures(2));
    const auto before = running.sink.pictures().back();
    running.mixer.addLayer("slow", &slow);
    EXPECT_TRUE(test::waitUntil([&] {
        const auto now = running.sink.pictures().back();
        const double passed = static_cast<double>(now.arrived - before.arrived) / 1e9;
        const double due = static_cast<double>(now.pts - before.pts) / 100.0;
        return passed > 0.5 && due > passed - 0.2;
    }));
    running.mixer.removeLayer("slow");
    const auto pictures = running.sink.pictures();
    for (std::size_t i = 1; i < pictures.size(); ++i)
        ASSERT_EQ(pictures[i].pts, pictures[i - 1].pts + 1);
}

TEST(LMixerPictures, ASlowRateDoesNotHoldUpTheEnd) {
    const test::Stopwatch watch;
    {
        LMixer mixer(LMixer::Renderer::processor);
        mixer.setVideoFormat(customVideo(64, 48, 0.001, 1));
        std::this_thread::sleep_for(100ms);
    }
    EXPECT_LT(watch.seconds(), 20.0); // a tick lasts 1000
}

TEST(LMixerPictures, WithoutASinkTheQueueKeepsTheNewest50) {
    test::OpenMixer mixer;
    mixer.setVideoFormat(customVideo(64, 48, 500, 1));
    EXPECT_TRUE(test::waitUntil([&] { return mixer.queued() == 50; }));
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(mixer.queued(), 50U);
}

TEST(LMixerPictures, EverySinkGetsEveryPicture) {
    RunningMixer running;
    test::CollectingSink second;
    running.mixer.addSink(&second);
    ASSERT_TRUE(second.waitForPictures(10));
    running.mixer.removeSink(&second);
    const auto seen = second.pictures();
    const auto all = running.sink.pictures();
    const std::int64_t first = all.front().pts;
    for (const auto& picture : seen) {
        const auto index = static_cast<std::size_t>(picture.pts - first);
        ASSERT_LT(index, all.size());
        EXPECT_EQ(all[index].pts, picture.pts);
    }
}

// ------------------------------------------------------------------------- sources that stop

TEST(LMixerPictures, ASourceThatStopsForMoreThanASecondFreezesOnItsLastPicture) {
    HandSource source;
    RunningMixer running;
    running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    std::this_thread::sleep_for(1300ms);
    EXPECT_EQ(running.levelsAt(5, 5), grey);
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(running.levelsAt(5, 5), grey);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, bright)));
    EXPECT_EQ(running.levelsAt(5, 5), bright);
}

TEST(LMixerPictures, AFlushedSourceKeepsItsLastPicture) {
    // As a file player does at its end: whatever its sinks hold is dropped.
    class Flushing : public HandSource {
    public:
        void flushAll() { flushSinks(); }
    } source;
    RunningMixer running;
    running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    source.flushAll();
    EXPECT_EQ(running.levelsAt(5, 5), grey);
}

TEST(LMixerPictures, AHiddenLayerShowsItsSourceAgainWhenItComesBack) {
    HandSource source;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    item->visible = false;
    EXPECT_EQ(running.levelsAt(5, 5), blackLevels);
    item->visible = true;
    EXPECT_EQ(running.levelsAt(5, 5), grey);
}

TEST(LMixerPictures, APictureThatCameWhileTheLayerWasHiddenLongAgoIsNotCurrent) {
    HandSource source;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    item->visible = false;
    ASSERT_NE(running.nextPicture(), nullptr);
    const quol::FramePtr missed = plainPicture(64, 48, bright);
    source.distributeVideoFrame(missed.get());
    std::this_thread::sleep_for(1200ms);
    item->visible = true;
    EXPECT_EQ(running.levelsAt(5, 5), grey);
}

TEST(LMixerPictures, ASourceThatHasGivenNothingLeavesItsLayerOut) {
    HandSource under;
    HandSource silent;
    RunningMixer running;
    running.mixer.addLayer("a", &under);
    running.mixer.addLayer("b", &silent, 5);
    ASSERT_TRUE(running.give("a", under, plainPicture(64, 48, grey)));
    EXPECT_EQ(levelsOf(running.nextPicture().get()), grey);
}

// ------------------------------------------------------------------------- pictures of sources

TEST(LMixerPictures, ASourceMayChangeSizeAndFormatOnAir) {
    HandSource source;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", &source, 0, 0, 0, 255, 64, 48);
    for (const int alpha : {255, 128}) {
        item->alpha = alpha;
        for (const AVPixelFormat format :
             {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUVA420P, AV_PIX_FMT_YUV444P,
              AV_PIX_FMT_YUVA422P, AV_PIX_FMT_YUV420P}) {
            for (const auto& [width, height] :
                 {std::pair{64, 48}, std::pair{320, 180}, std::pair{2, 2}, std::pair{1, 1},
                  std::pair{63, 47}}) {
                ASSERT_TRUE(running.give("a", source, plainPicture(width, height, grey, format)));
                const bool isCopied =
                    alpha == 255 && format != AV_PIX_FMT_YUVA420P && format != AV_PIX_FMT_YUVA422P;
                EXPECT_EQ(levelsOf(running.nextPicture().get()),
                          isCopied ? grey : blended(blackLevels, grey, alpha))
                    << av_get_pix_fmt_name(format) << ' ' << width << 'x' << height << ' ' << alpha;
            }
        }
    }
}

TEST(LMixerPictures, PicturesOfEveryFormatAreShown) {
    HandSource source;
    RunningMixer running;
    running.mixer.addLayer("a", &source);
    for (const AVPixelFormat format :
         {AV_PIX_FMT_RGBA, AV_PIX_FMT_BGRA, AV_PIX_FMT_ARGB, AV_PIX_FMT_RGB24, AV_PIX_FMT_NV12,
          AV_PIX_FMT_UYVY422, AV_PIX_FMT_YUYV422, AV_PIX_FMT_GRAY8, AV_PIX_FMT_GBRP}) {
        const quol::FramePtr picture = test::makePicture(64, 48, format);
        for (int plane = 0; plane < 4; ++plane)
            test::fillPlane(*picture, plane, 200);
        ASSERT_TRUE(running.give("a", source, picture));
        EXPECT_NEAR(running.levelsAt(20, 20).y, 195, 8) << av_get_pix_fmt_name(format);
    }
}

TEST(LMixerPictures, PicturesThatCannotBeReadLeaveTheLastOneStanding) {
    HandSource source;
    RunningMixer running;
    running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    std::vector<quol::FramePtr> bad;
    bad.push_back(quol::makeFrame()); // nothing at all
    const auto spoiled = [&](const auto& spoil) {
        quol::FramePtr picture = plainPicture(64, 48, bright);
        spoil(*picture);
        bad.push_back(std::move(picture));
    };
    spoiled([](AVFrame& frame) { frame.width = 0; });
    spoiled([](AVFrame& frame) { frame.height = -48; });
    spoiled([](AVFrame& frame) { frame.format = -1; });
    spoiled([](AVFrame& frame) { frame.format = 100000; });
    spoiled([](AVFrame& frame) { frame.format = AV_PIX_FMT_VAAPI; });
    spoiled([](AVFrame& frame) { frame.width = 100000; }); // wider than its rows
    spoiled([](AVFrame& frame) { frame.data[1] = nullptr; });
    for (const quol::FramePtr& picture : bad) {
        source.distributeVideoFrame(picture.get());
        EXPECT_EQ(levelsOf(running.nextPicture().get()), grey);
    }
    source.distributeVideoFrame(nullptr);
    EXPECT_EQ(levelsOf(running.nextPicture().get()), grey);
}

TEST(LMixerPictures, APictureIsNotWrittenToByTheMixerAndNotByLaterOnes) {
    HandSource under;
    HandSource over;
    RunningMixer running(customVideo(64, 48, 50, 1), 200);
    running.mixer.addLayer("a", &under);
    LLayerItem* const item = running.mixer.addLayer("b", &over, 1, 0, 0, 100);
    const quol::FramePtr given = plainPicture(64, 48, grey);
    const quol::FramePtr other = plainPicture(64, 48, bright);
    const std::uint64_t before = test::fingerprint(*given);
    item->visible = false; // the canvas is the lower picture itself, sample for sample
    ASSERT_TRUE(running.give("a", under, given));
    ASSERT_NE(running.nextPicture(), nullptr);
    const quol::FramePtr shared = running.sink.latestPicture();
    EXPECT_EQ(test::fingerprint(*shared), before);
    item->visible = true;
    ASSERT_TRUE(running.give("b", over, other));
    ASSERT_NE(running.nextPicture(), nullptr);
    EXPECT_EQ(levelsOf(running.sink.latestPicture().get()), blended(grey, bright, 100));
    EXPECT_EQ(test::fingerprint(*given), before);
    EXPECT_EQ(test::fingerprint(*shared), before);
    // Every picture handed on still shows what it showed.
    for (const quol::FramePtr& picture : running.sink.keptPictures()) {
        const Levels levels = levelsOf(picture.get());
        EXPECT_NE(levels, (Levels{-1, -1, -1}));
    }
}

TEST(LMixerPictures, ManySourcesAreShownBesideEachOther) {
    constexpr int columns = 8;
    constexpr int rows = 4;
    std::array<HandSource, columns * rows> sources;
    RunningMixer running(customVideo(columns * 16, rows * 16, 50, 1));
    for (int i = 0; i < columns * rows; ++i) {
        const std::string name = "tile" + std::to_string(i);
        HandSource& source = sources.at(static_cast<std::size_t>(i));
        running.mixer.addLayer(name, &source, i, static_cast<float>(i % columns * 16),
                               static_cast<float>(i / columns * 16), 255, 16, 16);
        ASSERT_TRUE(running.give(name, source, plainPicture(32, 32, {40 + i * 5})));
    }
    const quol::FramePtr picture = running.nextPicture();
    for (int i = 0; i < columns * rows; ++i) {
        EXPECT_EQ(test::levelsAt(picture.get(), i % columns * 16, i / columns * 16).y, 40 + i * 5);
        EXPECT_EQ(test::levelsAt(picture.get(), i % columns * 16 + 15, i / columns * 16 + 15).y,
                  40 + i * 5);
    }
}

// ---------------------------------------------------------------------------------- renderers

TEST(LMixerPictures, AutomaticTakesTheGraphicsProcessorOrSaysThatThereIsNone) {
    // With a graphics processor nothing is written; without one the line below is, once, and the
    // pictures come all the same.
    const bool hasProcessor = quol::makeGraphicsRenderer(quol::GraphicsDriver::hardware) != nullptr;
    test::CapturedStream error(test::CapturedStream::Stream::error);
    test::CollectingSink sink(1);
    {
        LMixer mixer;
        mixer.setVideoFormat(customVideo(64, 48, 50, 1));
        mixer.addSink(&sink);
        EXPECT_TRUE(sink.waitForPictures(5));
        mixer.removeSink(&sink);
    }
    EXPECT_EQ(error.text(), hasProcessor
                                ? ""
                                : "LMixer [GPU]: Failed to initialize OpenGL context. Falling "
                                  "back to CPU mixing.\n");
    EXPECT_EQ(sink.latestPicture()->format, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(sink.latestPicture()->width, 64);
}

TEST(LMixerPictures, ProcessorWritesNothing) {
    test::CapturedStream error(test::CapturedStream::Stream::error);
    {
        RunningMixer running;
        EXPECT_NE(running.nextPicture(), nullptr);
    }
    EXPECT_EQ(error.text(), "");
}

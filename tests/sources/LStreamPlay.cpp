// The stream player as a host steers it, at addresses that always answer: files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>

#include "support/CapturedStream.h"
#include "support/FailingMemory.h"
#include "support/FilePlayer.h"
#include "support/NoThreads.h"
#include "support/Raised.h"
#include "support/StreamFeed.h"

namespace {

using test::mediaPath;
using test::OpenStream;
using test::Stopwatch;
using test::StreamPlayer;
using test::temporaryPath;
using test::waitUntil;
using testing::ElementsAre;
using namespace std::chrono_literals;

} // namespace

// -------------------------------------------------------------------------------- properties

TEST(LStreamPlayProps, NumbersAreRead) {
    LStreamPlay stream;
    for (const char* key : {"audio_gain", "audio_track", "scaling_quality"}) {
        EXPECT_EQ(test::raisedBy(stream, key, "loud"), "invalid stoi") << key;
        EXPECT_EQ(test::raisedBy(stream, key, ""), "invalid stoi") << key;
        EXPECT_EQ(test::raisedBy(stream, key, "99999999999"), "range stoi") << key;
        EXPECT_EQ(test::raisedBy(stream, key, "80 percent"), "nothing") << key;
    }
}

TEST(LStreamPlayProps, OthersTakeAnyTextOrAreIgnored) {
    LStreamPlay stream;
    for (const char* key : {"scale_type", "", "Audio_gain", "rtmp_live", "loop"})
        EXPECT_EQ(test::raisedBy(stream, key, "no number"), "nothing") << key;
}

TEST(LStreamPlayFormats, BitsStayAsTheyAreGiven) {
    LStreamPlay stream;
    audioFormatProps format{};
    stream.getAudioFormat(format);
    EXPECT_EQ(format.mode, 1U);
    stream.setAudioFormat({20, 7, 1, 1});
    stream.getAudioFormat(format);
    EXPECT_EQ(format.sampleRate, 48000);
    EXPECT_EQ(format.channels, 16);
    EXPECT_EQ(format.bitsPerSample, 7);
}

TEST(LStreamPlayFormats, VideoModesAreExpanded) {
    LStreamPlay stream;
    videoFormatProps format{};
    stream.getVideoFormat(format);
    EXPECT_EQ(format.mode, 1U);
    EXPECT_EQ(stream.getFPS(), 25.0);
    format.mode = 13;
    stream.setVideoFormat(format);
    stream.getVideoFormat(format);
    EXPECT_EQ(format.width, 1920);
    EXPECT_EQ(stream.getFPS(), 50.0);
    EXPECT_EQ(stream.getWidth(), 0);
    EXPECT_EQ(stream.getHeight(), 0);
}

TEST(LStreamPlayFormats, ModeZeroTakesTheStreamsOwnToo) {
    StreamPlayer player(mediaPath("h264_aac.mp4"));
    videoFormatProps format{};
    player.stream.getVideoFormat(format);
    format.mode = 0;
    format.width = 64;
    format.height = 48;
    format.fps = 7.0;
    player.stream.setVideoFormat(format);
    ASSERT_TRUE(player.stream.play());
    ASSERT_TRUE(player.sink.waitForPictures(1));
    player.stream.getVideoFormat(format);
    EXPECT_EQ(format.mode, 0U);
    EXPECT_EQ(format.width, player.stream.getWidth());
    EXPECT_EQ(format.height, player.stream.getHeight());
    EXPECT_EQ(format.fps, 25.0);
    EXPECT_EQ(player.sink.pictures().front().width, format.width);
}

TEST(LStreamPlayFormats, DelaysAreOnlyStored) {
    StreamPlayer player(mediaPath("h264_aac.mp4"));
    player.stream.setAudioDelay(5000);
    player.stream.setVideoDelay(-5000);
    ASSERT_TRUE(player.stream.play());
    EXPECT_TRUE(player.sink.waitForPictures(5));
    EXPECT_TRUE(player.sink.waitForSounds(5));
}

// ---------------------------------------------------------------------------------- control

TEST(LStreamPlay, WithoutAnAddressItDoesNotPlay) {
    StreamPlayer player("");
    EXPECT_FALSE(player.stream.play());
    EXPECT_EQ(player.status(), 0);
    player.stream.stop();
}

TEST(LStreamPlay, PlaysAndStops) {
    StreamPlayer player(mediaPath("h264_aac.mp4"));
    EXPECT_EQ(player.status(), 0);
    EXPECT_TRUE(player.stream.play());
    EXPECT_TRUE(player.stream.play());
    EXPECT_EQ(player.status(), 1);
    EXPECT_TRUE(player.sink.waitForPictures(5));
    EXPECT_TRUE(player.sink.waitForSounds(5));
    player.stream.stop();
    EXPECT_EQ(player.status(), 0);
    const std::size_t count = player.sink.pictureCount();
    player.stream.stop();
    EXPECT_TRUE(player.stream.play());
    EXPECT_TRUE(player.sink.waitForPictures(count + 5));
}

TEST(LStreamPlay, AnAddressThatCannotBeOpenedIsNoFailure) {
    StreamPlayer player(temporaryPath("nothing.ts"));
    EXPECT_TRUE(player.stream.play());
    EXPECT_EQ(player.status(), 1);
    player.stream.stop();
    EXPECT_EQ(player.status(), 0);
}

TEST(LStreamPlay, AnotherAddressStopsAndDoesNotStartAgain) {
    StreamPlayer player(mediaPath("h264_aac.mp4"));
    player.stream.play();
    player.stream.streamUrlSet(mediaPath("h264_aac.mp4"));
    EXPECT_EQ(player.status(), 1);
    player.stream.streamUrlSet(mediaPath("h264.ts"));
    EXPECT_EQ(player.status(), 0);
    EXPECT_TRUE(player.stream.play());
    EXPECT_TRUE(player.sink.waitForPictures(5));
    player.stream.streamUrlSet("");
    EXPECT_EQ(player.status(), 0);
    EXPECT_FALSE(player.stream.play());
}

TEST(LStreamPlay, WithoutAThreadItDoesNotPlay) {
    StreamPlayer player(mediaPath("h264_aac.mp4"));
    {
        const test::NoThreads none;
        ASSERT_TRUE(none.works());
        EXPECT_FALSE(player.stream.play());
    }
    EXPECT_EQ(player.status(), 0);
    EXPECT_TRUE(player.stream.play());
    EXPECT_TRUE(player.sink.waitForPictures(1));
}

TEST(LStreamPlay, WithoutMemoryForAThreadItDoesNotPlay) {
    StreamPlayer player(mediaPath("h264_aac.mp4"));
    test::failAfter = 0;
    EXPECT_FALSE(player.stream.play());
    EXPECT_EQ(test::failAfter, -1);
    EXPECT_EQ(player.status(), 0);
    EXPECT_TRUE(player.stream.play());
    EXPECT_TRUE(player.sink.waitForPictures(1));
}

TEST(LStreamPlay, ASinkThatThrowsLosesWhatItThrewAt) {
    class Thrower : public test::CollectingSink {
    public:
        void pushVideoFrame(AVFrame* frame) override {
            test::CollectingSink::pushVideoFrame(frame);
            if (pictureCount() % 3 == 0) throw std::runtime_error("not this one");
        }
    } thrower;
    OpenStream stream;
    stream.streamUrlSet(mediaPath("h264_aac.mp4"));
    stream.addSink(&thrower);
    EXPECT_TRUE(stream.play());
    EXPECT_TRUE(thrower.waitForPictures(10));
    EXPECT_TRUE(thrower.waitForSounds(10));
    stream.stop();
    stream.removeSink(&thrower);
}

TEST(LStreamPlay, ASinkThatThrowsDoesNotLeaveItPlayingWithoutAThread) {
    // Throws once, when it is told that a pause is over.
    class Thrower : public test::CollectingSink {
    public:
        void setPaused(bool paused) override {
            test::CollectingSink::setPaused(paused);
            if (!paused && !std::exchange(thrown, true)) throw std::runtime_error("not now");
        }

    private:
        bool thrown = false;
    } thrower;
    OpenStream stream;
    stream.streamUrlSet(mediaPath("h264_aac.mp4"));
    stream.addSink(&thrower);
    stream.pause();
    EXPECT_THROW(stream.play(), std::runtime_error);
    EXPECT_EQ(test::statusOf(stream), 0);
    stream.stop();
    EXPECT_TRUE(stream.play());
    EXPECT_TRUE(thrower.waitForPictures(1));
    EXPECT_THAT(thrower.events(), ElementsAre("paused", "running", "running", "flush"));
    stream.stop();
    stream.removeSink(&thrower);
}

TEST(LStreamPlay, SinksAreFlushedWithEachConnection) {
    StreamPlayer player(mediaPath("silent.mp4")); // one second
    player.stream.play();
    ASSERT_TRUE(player.sink.waitForPictures(1));
    EXPECT_THAT(player.sink.events(), ElementsAre("flush"));
    EXPECT_TRUE(waitUntil([&] { return player.sink.flushCount() >= 3; }));
}

TEST(LStreamPlay, TheTimeCodeIsFixed) {
    StreamPlayer player(mediaPath("h264_aac.mp4")); // carries one
    EXPECT_EQ(player.stream.getTimeCode(), "00:00:00:00");
    player.stream.play();
    ASSERT_TRUE(player.sink.waitForPictures(30));
    EXPECT_EQ(player.stream.getTimeCode(), "00:00:00:00");
}

TEST(LStreamPlay, TellsSizeAndRateOfTheStream) {
    StreamPlayer player(mediaPath("rate2997.mp4"));
    player.stream.play();
    ASSERT_TRUE(player.sink.waitForPictures(1));
    EXPECT_EQ(player.stream.getWidth(), 320);
    EXPECT_EQ(player.stream.getHeight(), 180);
    EXPECT_NEAR(player.stream.getFPS(), 30000.0 / 1001.0, 1e-6);
    videoFormatProps format{};
    player.stream.getVideoFormat(format);
    EXPECT_EQ(format.width, 320);
    EXPECT_EQ(format.height, 180);
    EXPECT_NEAR(format.fps, 30000.0 / 1001.0, 1e-6);
    player.stream.stop();
    EXPECT_EQ(player.stream.getWidth(), 320);
}

TEST(LStreamPlay, ATableModeStaysAndScales) {
    StreamPlayer player(mediaPath("h264_aac.mp4"));
    videoFormatProps format{};
    format.mode = 3;
    format.pixelFormat = 9;
    player.stream.setVideoFormat(format);
    player.stream.play();
    ASSERT_TRUE(player.sink.waitForPictures(2));
    const test::PictureSeen picture = player.sink.pictures()[0];
    EXPECT_EQ(picture.width, 720);
    EXPECT_EQ(picture.height, 576);
    EXPECT_EQ(picture.format, AV_PIX_FMT_UYVY422);
    EXPECT_EQ(player.stream.getFPS(), 25.0);
    EXPECT_EQ(player.stream.getWidth(), 320);
}

// ------------------------------------------------------------------------------------ pause

TEST(LStreamPlay, APauseHoldsPicturesAndSound) {
    StreamPlayer player(mediaPath("h264_aac.mp4"));
    player.stream.play();
    ASSERT_TRUE(player.sink.waitForPictures(10));
    player.stream.pause();
    EXPECT_EQ(player.status(), 1);
    std::size_t before = 0;
    std::this_thread::sleep_for(100ms); // what was on its way
    before = player.sink.pictureCount();
    const std::size_t soundsBefore = player.sink.soundCount();
    std::this_thread::sleep_for(500ms);
    EXPECT_LE(player.sink.pictureCount(), before + 1);
    EXPECT_LE(player.sink.soundCount(), soundsBefore + 1);
    player.stream.resume();
    EXPECT_TRUE(player.sink.waitForPictures(before + 10));
    EXPECT_THAT(player.sink.events(), ElementsAre("flush", "paused", "running"));
}

TEST(LStreamPlay, TheTimePausedDoesNotCount) {
    StreamPlayer player(mediaPath("h264_aac.mp4"));
    const Stopwatch watch;
    player.stream.play();
    ASSERT_TRUE(player.sink.waitForPictures(10));
    player.stream.pause();
    const double paused = watch.seconds();
    std::this_thread::sleep_for(1500ms);
    const double lasted = watch.seconds() - paused;
    const std::size_t count = player.sink.pictureCount() + 50;
    player.stream.resume();
    ASSERT_TRUE(player.sink.waitForPictures(count));
    const auto pictures = player.sink.pictures();
    // Had the pause counted, forty pictures would have been late, and all of it made up for by
    // then.
    const double took = watch.at(pictures[count - 1].arrived) - watch.at(pictures[0].arrived);
    EXPECT_GE(took, static_cast<double>(count - 1) * 0.04 + lasted / 2.0);
}

TEST(LStreamPlay, ATimedPauseEndsByItself) {
    StreamPlayer player(mediaPath("h264_aac.mp4"));
    player.stream.play();
    ASSERT_TRUE(player.sink.waitForPictures(5));
    const Stopwatch watch;
    player.stream.pause(700.0);
    const std::size_t before = player.sink.pictureCount();
    EXPECT_TRUE(player.sink.waitForPictures(before + 5));
    EXPECT_GE(watch.seconds(), 0.7);
    EXPECT_THAT(player.sink.events(), ElementsAre("flush", "paused", "running"));
}

// The worker ends a timed pause while the host that began it still waits for the sinks.
TEST(LStreamPlay, TheEndOfATimedPauseIsToldBehindItsBeginning) {
    StreamPlayer player(mediaPath("h264_aac.mp4"));
    test::SlowSink slow;
    player.stream.addSink(&slow);
    player.stream.play();
    ASSERT_TRUE(slow.waitForPictures(1));
    for (int i = 0; i < 20 && !HasFailure(); ++i) {
        // In the middle of a push, which is longer than the pause.
        ASSERT_TRUE(slow.waitForPictures(slow.pictureCount() + 1));
        player.stream.pause(5.0);
        EXPECT_TRUE(waitUntil([&] { return test::pauseToldLast(slow) == "running"; })) << i;
    }
    player.stream.stop();
    player.stream.removeSink(&slow);
}

TEST(LStreamPlay, AHostWhoResumesWaitsUntilTheSinksKnowOfThePause) {
    StreamPlayer player(mediaPath("mono.wav"));
    test::PauseGateSink gate;
    player.stream.addSink(&gate);
    player.stream.play();
    ASSERT_TRUE(gate.waitForSounds(1));
    player.stream.pause();
    ASSERT_TRUE(waitUntil([&] { // nothing is on its way any more
        const std::size_t before = gate.soundCount();
        std::this_thread::sleep_for(100ms);
        return gate.soundCount() == before;
    }));
    player.stream.forgetPeak();
    gate.clear();
    gate.close();
    std::thread pausing([&] { player.stream.pause(); });
    EXPECT_TRUE(waitUntil([&] { return test::pauseToldLast(gate) == "paused"; }));
    std::thread resuming([&] { player.stream.resume(); });
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(player.stream.peakLeft(), 0.0F); // it does not go on behind their back
    gate.open();
    pausing.join();
    resuming.join();
    EXPECT_EQ(test::pauseToldLast(gate), "running");
    EXPECT_TRUE(gate.waitForSounds(gate.soundCount() + 2));
    player.stream.stop();
    player.stream.removeSink(&gate);
}

TEST(LStreamPlay, PlayedAgainItDoesNotStandPaused) {
    StreamPlayer player(mediaPath("h264_aac.mp4"));
    player.stream.play();
    ASSERT_TRUE(player.sink.waitForPictures(5));
    player.stream.pause(60000.0);
    player.stream.stop();
    const std::size_t before = player.sink.pictureCount();
    player.stream.play();
    EXPECT_TRUE(player.sink.waitForPictures(before + 5));
    EXPECT_THAT(player.sink.events(), ElementsAre("flush", "paused", "running", "flush"));
}

TEST(LStreamPlay, PausedBeforeItConnectsItWaits) {
    StreamPlayer player(mediaPath("h264_aac.mp4"));
    player.stream.play();
    player.stream.pause();
    ASSERT_TRUE(waitUntil([&] { return player.sink.flushCount() > 0; }));
    const std::size_t before = player.sink.pictureCount();
    std::this_thread::sleep_for(300ms);
    EXPECT_LE(player.sink.pictureCount(), before + 1);
    player.stream.resume();
    EXPECT_TRUE(player.sink.waitForPictures(before + 10));
}

TEST(LStreamPlay, ReadyFlushesAndSetsTheClock) {
    StreamPlayer player(mediaPath("h264_aac.mp4"));
    player.stream.ready();
    EXPECT_THAT(player.sink.events(), ElementsAre("flush"));
    player.stream.play();
    ASSERT_TRUE(player.sink.waitForPictures(25));
    const std::size_t flushes = player.sink.flushCount();
    player.stream.ready();
    EXPECT_EQ(player.sink.flushCount(), flushes + 1);
    // The first picture counts as due now, so the 26th is a second away.
    const std::size_t before = player.sink.pictureCount();
    const Stopwatch watch;
    ASSERT_TRUE(player.sink.waitForPictures(before + 3));
    EXPECT_GT(watch.seconds(), 0.5);
}

// ------------------------------------------------------------------------------ many threads

TEST(LStreamPlayThreads, AnyOperationFromAnyThread) {
    StreamPlayer player(mediaPath("silent.mp4"));
    std::atomic<bool> going{true};
    const auto again = [&going](auto call) {
        return std::thread([&going, call] {
            while (going)
                call();
        });
    };
    LStreamPlay& stream = player.stream;
    std::thread threads[] = {
        again([&] {
            stream.play();
            std::this_thread::sleep_for(20ms);
            stream.pause(5.0);
            std::this_thread::sleep_for(20ms);
            stream.stop();
        }),
        again([&] {
            stream.resume();
            stream.ready();
            stream.switchAudioTrack(1);
            stream.setProps("scaling_quality", "2");
            stream.setProps("audio_gain", "150");
            std::this_thread::sleep_for(3ms);
        }),
        again([&] {
            videoFormatProps video{};
            audioFormatProps audio{};
            stream.getVideoFormat(video);
            video.width = 100;
            stream.setVideoFormat(video);
            stream.getAudioFormat(audio);
            stream.setAudioFormat(audio);
            float left = 0.0F;
            float right = 0.0F;
            stream.getAudioPeak(left, right);
            stream.resetAudioPeak();
            stream.getFPS();
            stream.getWidth();
            std::this_thread::sleep_for(3ms);
        }),
        again([&] {
            stream.streamUrlSet(mediaPath("aac51.mp4"));
            std::this_thread::sleep_for(50ms);
            stream.streamUrlSet(mediaPath("silent.mp4"));
            std::this_thread::sleep_for(50ms);
        }),
    };
    std::this_thread::sleep_for(2s);
    going = false;
    for (std::thread& thread : threads)
        thread.join();
    player.stream.stop();
    EXPECT_EQ(player.status(), 0);
}

TEST(LStreamPlayThreads, GoesInAnyState) {
    for (int state = 0; state < 30; ++state) {
        auto stream = std::make_unique<LStreamPlay>();
        stream->streamUrlSet(mediaPath(state % 3 == 0 ? "none.ts" : "h264_aac.mp4"));
        if (state % 5 != 0) stream->play();
        if (state % 4 == 1) stream->pause(state % 2 == 0 ? 0.0 : 10.0);
        std::this_thread::sleep_for(std::chrono::milliseconds(state % 7 * 5));
        stream.reset();
    }
}

// ---------------------------------------------------------------------------------- checking

TEST(LStreamPlay, ChecksAnAddress) {
    LStreamPlay stream;
    EXPECT_TRUE(stream.checkStream(mediaPath("h264_aac.mp4")));
    for (const char* bad : {"", "nothing.ts", "rtmp://", "://", "no such scheme://x", "rtmp:/\n/x",
                            "udp://:-1", "tcp://127.0.0.1:99999", "%s%n", "file:", "rtmp://["})
        EXPECT_FALSE(stream.checkStream(bad)) << bad;
}

TEST(LStreamPlay, CheckingLeavesWhatPlaysAlone) {
    StreamPlayer player(mediaPath("h264_aac.mp4"));
    player.stream.play();
    ASSERT_TRUE(player.sink.waitForPictures(3));
    EXPECT_TRUE(player.stream.checkStream(mediaPath("h264.ts")));
    EXPECT_EQ(player.status(), 1);
    EXPECT_TRUE(player.sink.waitForPictures(player.sink.pictureCount() + 5));
    EXPECT_EQ(player.sink.flushCount(), 1U);
}

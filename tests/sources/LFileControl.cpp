// The file player's properties, states and getters, as a host steers them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "quolsdk/LFilter.h"
#include "support/CapturedStream.h"
#include "support/FilePlayer.h"
#include "support/NoThreads.h"

namespace {

using test::customVideo;
using test::FilePlayer;
using test::mediaPath;
using test::nativeVideo;
using test::OpenFile;
using test::statusOf;
using test::Stopwatch;
using test::waitUntil;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

constexpr auto zeroTimecode = "00:00:00:00";

// A player that stands still for good: whatever was under way has been shown.
void settle(FilePlayer& player) {
    std::size_t count = 0;
    ASSERT_TRUE(waitUntil([&] {
        const std::size_t before = std::exchange(count, player.sink.pictureCount());
        std::this_thread::sleep_for(150ms);
        return before == count && player.sink.pictureCount() == count;
    }));
}

std::string whatOf(LFile& file, const std::string& key, const std::string& value) {
    try {
        file.setProps(key, value);
    } catch (const std::invalid_argument& error) {
        return std::string("invalid ") + error.what();
    } catch (const std::out_of_range& error) {
        return std::string("range ") + error.what();
    }
    return "nothing";
}

void expectClosed(LFile& file) {
    EXPECT_EQ(statusOf(file), 0);
    EXPECT_EQ(file.getDurationMs(), 0.0);
    EXPECT_EQ(file.getPosMs(), 0.0);
    EXPECT_EQ(file.getTimeCode(), zeroTimecode);
    EXPECT_EQ(file.getPosTC(), zeroTimecode);
    EXPECT_EQ(file.getInTC(), zeroTimecode);
    EXPECT_EQ(file.getOutTC(), zeroTimecode);
    double in = -1.0;
    double out = -1.0;
    double duration = -1.0;
    file.InOutGet(in, out, duration);
    EXPECT_EQ(duration, 0.0);
}

} // namespace

// ------------------------------------------------------------------------------- properties

TEST(LFileProps, KeysThatItDoesNotKnowAreIgnored) {
    LFile file;
    for (const char* key : {"", "Loop", "LOOP", "rate ", "audiogain", "out_point"})
        EXPECT_EQ(whatOf(file, key, "no number"), "nothing") << key;
    EXPECT_EQ(file.rate, 1.0);
    EXPECT_FALSE(file.rateChanged);
}

TEST(LFileProps, RateAndSpeedAreTheSame) {
    LFile file;
    file.setProps("rate", "2.5");
    EXPECT_EQ(file.rate, 2.5);
    EXPECT_TRUE(file.rateChanged);
    file.rateChanged = false;
    file.setProps("speed", "-0.5");
    EXPECT_EQ(file.rate, -0.5);
    EXPECT_TRUE(file.rateChanged);
}

TEST(LFileProps, WhatFollowsANumberIsIgnored) {
    LFile file;
    file.setProps("rate", " 1.5 times");
    EXPECT_EQ(file.rate, 1.5);
    EXPECT_EQ(whatOf(file, "audio_gain", "80 percent"), "nothing");
}

TEST(LFileProps, ANumberThatIsNoneThrows) {
    LFile file;
    for (const char* key : {"audio_gain", "audio_track", "scaling_quality", "timecodeSource"}) {
        EXPECT_EQ(whatOf(file, key, "loud"), "invalid stoi") << key;
        EXPECT_EQ(whatOf(file, key, ""), "invalid stoi") << key;
        EXPECT_EQ(whatOf(file, key, "99999999999"), "range stoi") << key;
        EXPECT_EQ(whatOf(file, key, "-2"), "nothing") << key;
    }
    for (const char* key : {"rate", "speed"}) {
        EXPECT_EQ(whatOf(file, key, "fast"), "invalid stod") << key;
        EXPECT_EQ(whatOf(file, key, ""), "invalid stod") << key;
        EXPECT_EQ(whatOf(file, key, "1e999"), "range stod") << key;
    }
    EXPECT_EQ(file.rate, 1.0);
    EXPECT_FALSE(file.rateChanged);
}

TEST(LFileProps, TextsAndBooleansTakeAnyText) {
    LFile file;
    for (const char* key : {"loop", "deinterlace", "eof_hold", "gpu", "scale_type"}) {
        for (const char* value : {"", "true", "1", "maybe", "99999999999"})
            EXPECT_EQ(whatOf(file, key, value), "nothing") << key;
    }
}

class LoopIsOn : public testing::TestWithParam<const char*> {};
class LoopIsOff : public testing::TestWithParam<const char*> {};

TEST_P(LoopIsOn, StartsAgain) {
    FilePlayer player("silent.mp4");
    player.file.setProps("rate", "8");
    player.file.setProps("loop", GetParam());
    ASSERT_TRUE(player.file.play());
    EXPECT_TRUE(player.sink.waitForPictures(60));
    EXPECT_EQ(player.status(), 1);
}

TEST_P(LoopIsOff, EndsAtTheEnd) {
    FilePlayer player("silent.mp4");
    player.file.setProps("rate", "8");
    player.file.setProps("loop", "1");
    player.file.setProps("loop", GetParam());
    ASSERT_TRUE(player.playToEnd());
    EXPECT_EQ(player.sink.pictureCount(), 25U);
}

INSTANTIATE_TEST_SUITE_P(LFileProps, LoopIsOn, testing::Values("true", "1"));
INSTANTIATE_TEST_SUITE_P(LFileProps, LoopIsOff,
                         testing::Values("", "True", "TRUE", "false", "0", "yes", "true ", "11"));

TEST(LFileProps, EndOfFileHoldsUnlessToldOtherwise) {
    FilePlayer player("silent.mp4");
    LFile untold;
    untold.fileNameSet(mediaPath("silent.mp4"));
    untold.addSink(&player.sink);
    untold.setProps("rate", "8");
    ASSERT_TRUE(untold.play());
    ASSERT_TRUE(player.sink.waitForPictures(25));
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(statusOf(untold), 1);
    untold.setProps("eof_hold", "True"); // which is not "true"
    EXPECT_TRUE(waitUntil([&] { return statusOf(untold) == 0; }));
    untold.stop();
    untold.removeSink(&player.sink);
}

// --------------------------------------------------------------------------------- formats

TEST(LFileFormat, ModesOfTheTablesAreExpanded) {
    LFile file;
    videoFormatProps video;
    video.mode = 5;
    video.pixelFormat = 3;
    file.setVideoFormat(video);
    file.getVideoFormat(video);
    EXPECT_EQ(video.width, 1280);
    EXPECT_EQ(video.height, 720);
    EXPECT_EQ(video.fps, 60000.0 / 1001);
    EXPECT_EQ(video.pixelFormat, 3);
    audioFormatProps audio;
    audio.mode = 18;
    file.setAudioFormat(audio);
    file.getAudioFormat(audio);
    EXPECT_EQ(audio.sampleRate, 48000);
    EXPECT_EQ(audio.channels, 6);
    EXPECT_EQ(audio.bitsPerSample, 24);
}

TEST(LFileFormat, ModesBeyondTheTablesAreZeros) {
    LFile file;
    videoFormatProps video = customVideo(320, 180, 25);
    video.mode = 39;
    file.setVideoFormat(video);
    file.getVideoFormat(video);
    EXPECT_EQ(video.width, 0);
    EXPECT_EQ(video.height, 0);
    EXPECT_EQ(video.fps, 0.0);
    audioFormatProps audio{38, 16, 48000, 2};
    file.setAudioFormat(audio);
    file.getAudioFormat(audio);
    EXPECT_EQ(audio.sampleRate, 0);
    EXPECT_EQ(audio.channels, 0);
    EXPECT_EQ(audio.bitsPerSample, 0);
}

TEST(LFileFormat, AnewItIsNativeInBoth) {
    LFile file;
    videoFormatProps video;
    audioFormatProps audio;
    file.getVideoFormat(video);
    file.getAudioFormat(audio);
    EXPECT_EQ(video.mode, 1U);
    EXPECT_EQ(audio.mode, 1U);
    EXPECT_EQ(audio.sampleRate, 0);
    EXPECT_EQ(audio.channels, 0);
}

TEST(LFileFormat, NativeAndCustomBecomeTheFilesOwnAtPlay) {
    for (const std::uint32_t mode : {0U, 1U}) {
        FilePlayer player("rate2997.mp4");
        videoFormatProps format = customVideo(64, 64, 10.0, 1);
        format.mode = mode;
        player.file.setVideoFormat(format);
        player.file.getVideoFormat(format);
        EXPECT_EQ(format.width, 64);
        EXPECT_EQ(player.file.getFPS(), 10.0);
        ASSERT_TRUE(player.file.play());
        player.file.getVideoFormat(format);
        EXPECT_EQ(format.mode, mode);
        EXPECT_EQ(format.width, 320);
        EXPECT_EQ(format.height, 180);
        EXPECT_DOUBLE_EQ(format.fps, 30000.0 / 1001);
        EXPECT_EQ(format.pixelFormat, 1);
        EXPECT_DOUBLE_EQ(player.file.getFPS(), 30000.0 / 1001);
    }
}

TEST(LFileFormat, AModeOfTheTableStaysAtPlay) {
    FilePlayer player("silent.mp4");
    videoFormatProps format;
    format.mode = 3;
    player.file.setVideoFormat(format);
    ASSERT_TRUE(player.file.play());
    player.file.getVideoFormat(format);
    EXPECT_EQ(format.mode, 3U);
    EXPECT_EQ(format.width, 720);
    // The file's own size is told all the same.
    EXPECT_EQ(player.file.getWidth(), 320);
}

TEST(LFileFormat, TheRateIsTheFormatsElseTheFilesElseTwentyFive) {
    FilePlayer player("rate2997.mp4");
    EXPECT_EQ(player.file.getFPS(), 25.0);
    ASSERT_TRUE(player.file.play());
    EXPECT_DOUBLE_EQ(player.file.getFPS(), 30000.0 / 1001);
    player.file.setVideoFormat(customVideo(320, 180, 50.0));
    EXPECT_EQ(player.file.getFPS(), 50.0);
    player.file.setVideoFormat(customVideo(320, 180, 0.0));
    EXPECT_DOUBLE_EQ(player.file.getFPS(), 30000.0 / 1001);
    player.file.setVideoFormat(customVideo(320, 180, -1.0));
    EXPECT_DOUBLE_EQ(player.file.getFPS(), 30000.0 / 1001);
}

// ---------------------------------------------------------------------- getters in each state

TEST(LFileState, ClosedAnswersAreNeutral) {
    LFile file;
    expectClosed(file);
    EXPECT_EQ(file.getWidth(), 0);
    EXPECT_EQ(file.getHeight(), 0);
    EXPECT_EQ(file.getFPS(), 25.0);
    EXPECT_EQ(file.getModeName(), "Default");
    file.fileNameSet(mediaPath("h264_aac.mp4"));
    expectClosed(file);
}

TEST(LFileState, RunningAnswersAreTheFiles) {
    FilePlayer player("av_tc.mxf");
    ASSERT_TRUE(player.file.play());
    EXPECT_EQ(player.status(), 1);
    EXPECT_EQ(player.file.getWidth(), 320);
    EXPECT_EQ(player.file.getHeight(), 180);
    EXPECT_EQ(player.file.getFPS(), 25.0);
    EXPECT_DOUBLE_EQ(player.file.getDurationMs(), 2000.0);
    EXPECT_EQ(player.file.getInTC(), "01:02:03:04");
    EXPECT_EQ(player.file.getOutTC(), "01:02:05:04");
    ASSERT_TRUE(player.sink.waitForPictures(13));
    EXPECT_GE(player.file.getPosMs(), 480.0);
}

TEST(LFileState, PositionFollowsThePictures) {
    FilePlayer player("av_tc.mxf");
    player.file.outPointMs = 1000.0;
    ASSERT_TRUE(player.playToEnd());
    EXPECT_DOUBLE_EQ(player.file.getPosMs(), 1000.0);
    EXPECT_EQ(player.file.getTimeCode(), "01:02:04:04");
    EXPECT_EQ(player.file.getPosTC(), "01:02:04:04");
}

TEST(LFileState, PausedAnswersStay) {
    FilePlayer player("av_tc.mxf");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(3));
    player.file.pause();
    settle(player);
    const double position = player.file.getPosMs();
    const std::string timecode = player.file.getTimeCode();
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(player.status(), 1);
    EXPECT_EQ(player.file.getPosMs(), position);
    EXPECT_EQ(player.file.getTimeCode(), timecode);
    EXPECT_DOUBLE_EQ(player.file.getDurationMs(), 2000.0);
    EXPECT_EQ(player.sink.pictures().back().timecode, timecode);
}

TEST(LFileState, HoldingAnswersAreThoseOfTheLastPicture) {
    FilePlayer player("av_tc.mxf");
    player.file.setProps("eof_hold", "true");
    player.file.setProps("rate", "4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(50));
    settle(player);
    EXPECT_EQ(player.status(), 1);
    EXPECT_EQ(player.sink.pictureCount(), 50U);
    EXPECT_EQ(player.file.getTimeCode(), "01:02:05:03");
    EXPECT_DOUBLE_EQ(player.file.getPosMs(), 1960.0);
    EXPECT_DOUBLE_EQ(player.file.getDurationMs(), 2000.0);
}

TEST(LFileState, EndedAnswersStayUntilStop) {
    FilePlayer player("av_tc.mxf");
    player.file.setProps("rate", "4");
    ASSERT_TRUE(player.playToEnd());
    EXPECT_EQ(player.file.getTimeCode(), "01:02:05:03");
    EXPECT_DOUBLE_EQ(player.file.getDurationMs(), 2000.0);
    player.file.stop();
    expectClosed(player.file);
}

TEST(LFileState, StopClosesAndKeepsSizeAndRate) {
    FilePlayer player("av_tc.mxf");
    ASSERT_TRUE(player.file.play());
    player.file.stop();
    expectClosed(player.file);
    EXPECT_EQ(player.file.getWidth(), 320);
    EXPECT_EQ(player.file.getHeight(), 180);
    EXPECT_EQ(player.file.getFPS(), 25.0);
}

TEST(LFileState, MarksAreToldInEveryState) {
    FilePlayer player("av_tc.mxf");
    player.file.inPointMs = 1000.0;
    player.file.outPointMs = 500.0;
    double in = 0.0;
    double out = 0.0;
    double duration = -1.0;
    player.file.InOutGet(in, out, duration);
    EXPECT_EQ(in, 1000.0);
    EXPECT_EQ(out, 500.0);
    EXPECT_EQ(duration, 0.0);
    EXPECT_EQ(player.file.getInTC(), zeroTimecode);
    player.file.ready();
    player.file.InOutGet(in, out, duration);
    EXPECT_EQ(in, 1000.0);
    EXPECT_EQ(out, 500.0);
    EXPECT_DOUBLE_EQ(duration, 2000.0);
    EXPECT_EQ(player.file.getInTC(), "01:02:04:04");
    EXPECT_EQ(player.file.getOutTC(), "01:02:03:16");
}

TEST(LFileState, WithoutAContainerTimecodeTheTimecodeStaysZero) {
    FilePlayer player("silent.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(10));
    EXPECT_EQ(player.file.getTimeCode(), zeroTimecode);
    EXPECT_EQ(player.file.getPosTC(), zeroTimecode);
    EXPECT_EQ(player.file.getInTC(), zeroTimecode);
    EXPECT_EQ(player.file.getOutTC(), zeroTimecode);
    // The pictures are stamped all the same.
    EXPECT_EQ(player.sink.pictures()[9].timecode, "00:00:00:09");
}

TEST(LFileState, SoundAloneHasNoSizeNoPositionAndNoTimecode) {
    FilePlayer player("flac.flac");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForSounds(3));
    EXPECT_EQ(player.status(), 1);
    EXPECT_EQ(player.file.getWidth(), 0);
    EXPECT_EQ(player.file.getHeight(), 0);
    EXPECT_EQ(player.file.getFPS(), 25.0);
    EXPECT_EQ(player.file.getPosMs(), 0.0);
    EXPECT_EQ(player.file.getTimeCode(), zeroTimecode);
    EXPECT_DOUBLE_EQ(player.file.getDurationMs(), 2000.0);
}

TEST(LFileState, HardwareDecodingIsAHookThatDoesNothing) {
    LFile file;
    EXPECT_FALSE(file.initHWDecoder(nullptr));
}

// ------------------------------------------------------------------------- changes of state

TEST(LFileState, PlayOnARunningFileResumesAndIsTrue) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(5));
    EXPECT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(10));
    // It did not start again.
    EXPECT_EQ(test::irregularity(player.sink.pictures(), 0.04), "");
    EXPECT_THAT(player.sink.events(), ElementsAre("running", "flush", "running"));
}

TEST(LFileState, PlayOnAPausedFileResumes) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(3));
    player.file.pause();
    settle(player);
    const std::size_t count = player.sink.pictureCount();
    EXPECT_TRUE(player.file.play());
    EXPECT_TRUE(player.sink.waitForPictures(count + 3));
    EXPECT_EQ(test::irregularity(player.sink.pictures(), 0.04), "");
}

TEST(LFileState, APausedFileStandsStill) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(3));
    player.file.pause();
    settle(player);
    const std::size_t pictures = player.sink.pictureCount();
    const std::size_t sounds = player.sink.soundCount();
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(player.sink.pictureCount(), pictures);
    EXPECT_EQ(player.sink.soundCount(), sounds);
    EXPECT_EQ(player.status(), 1);
}

TEST(LFileState, TheTimePausedDoesNotCount) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(5));
    player.file.pause();
    settle(player);
    std::this_thread::sleep_for(500ms);
    player.file.pause(); // a second time, which starts nothing anew
    std::this_thread::sleep_for(300ms);
    const std::size_t count = player.sink.pictureCount();
    const Stopwatch watch;
    player.file.resume();
    ASSERT_TRUE(player.sink.waitForPictures(count + 10));
    // Had the pause counted, these would all come at once.
    EXPECT_GE(watch.at(player.sink.pictures()[count + 9].arrived), 9 * 0.04 - 0.05);
    EXPECT_EQ(test::irregularity(player.sink.pictures(), 0.04), "");
}

TEST(LFileState, ATimedPauseEndsByItself) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(3));
    const Stopwatch watch;
    player.file.pause(1500.0);
    settle(player);
    EXPECT_LT(watch.seconds(), 1.5) << "too slow a machine to tell";
    const std::size_t count = player.sink.pictureCount();
    ASSERT_TRUE(player.sink.waitForPictures(count + 5));
    const double ended = watch.at(player.sink.pictures()[count].arrived);
    EXPECT_GE(ended, 1.5);
    EXPECT_LE(ended, 10.0);
    EXPECT_THAT(player.sink.events(), ElementsAre("running", "flush", "paused", "running"));
}

// The worker ends a timed pause while the host that began it still waits for the sinks.
TEST(LFileState, TheEndOfATimedPauseIsToldBehindItsBeginning) {
    FilePlayer player("h264_aac.mp4");
    player.file.setProps("loop", "true");
    test::SlowSink slow;
    player.file.addSink(&slow);
    player.file.play();
    ASSERT_TRUE(slow.waitForPictures(1));
    for (int i = 0; i < 20 && !HasFailure(); ++i) {
        // In the middle of a push, which is longer than the pause.
        ASSERT_TRUE(slow.waitForPictures(slow.pictureCount() + 1));
        player.file.pause(5.0);
        EXPECT_TRUE(waitUntil([&] { return test::pauseToldLast(slow) == "running"; })) << i;
    }
    player.file.stop();
    player.file.removeSink(&slow);
}

TEST(LFileState, AHostWhoResumesWaitsUntilTheSinksKnowOfThePause) {
    FilePlayer player("mono.wav");
    player.file.setProps("loop", "true");
    test::PauseGateSink gate;
    player.file.addSink(&gate);
    player.file.play();
    ASSERT_TRUE(gate.waitForSounds(1));
    player.file.pause();
    ASSERT_TRUE(waitUntil([&] { // nothing is on its way any more
        const std::size_t before = gate.soundCount();
        std::this_thread::sleep_for(100ms);
        return gate.soundCount() == before;
    }));
    player.file.forgetPeak();
    gate.clear();
    gate.close();
    std::thread pausing([&] { player.file.pause(); });
    EXPECT_TRUE(waitUntil([&] { return test::pauseToldLast(gate) == "paused"; }));
    std::thread resuming([&] { player.file.resume(); });
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(player.file.peakLeft(), 0.0F); // it does not go on behind their back
    gate.open();
    pausing.join();
    resuming.join();
    EXPECT_EQ(test::pauseToldLast(gate), "running");
    EXPECT_TRUE(gate.waitForSounds(gate.soundCount() + 2));
    player.file.stop();
    player.file.removeSink(&gate);
}

TEST(LFileState, APauseOfNoLengthDoesNotEnd) {
    for (const double delay : {0.0, -100.0, std::nan("")}) {
        FilePlayer player("h264_aac.mp4");
        ASSERT_TRUE(player.file.play());
        ASSERT_TRUE(player.sink.waitForPictures(1));
        player.file.pause(delay);
        settle(player);
        const std::size_t count = player.sink.pictureCount();
        std::this_thread::sleep_for(200ms);
        EXPECT_EQ(player.sink.pictureCount(), count) << delay;
    }
}

TEST(LFileState, ResumeEndsATimedPauseForGood) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(1));
    player.file.pause(400.0);
    player.file.resume();
    player.file.pause();
    std::this_thread::sleep_for(600ms);
    const std::size_t count = player.sink.pictureCount();
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(player.sink.pictureCount(), count);
}

TEST(LFileState, APauseOfMonthsIsTaken) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    player.file.pause(1e300);
    player.file.pause(std::numeric_limits<double>::infinity());
    settle(player);
    const std::size_t count = player.sink.pictureCount();
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(player.sink.pictureCount(), count);
}

TEST(LFileState, SetPosStartsAPausedFile) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(2));
    player.file.pause();
    settle(player);
    player.file.setPos(2000.0);
    ASSERT_TRUE(waitUntil([&] { return player.sink.picturesSinceFlush().size() >= 5; }));
    EXPECT_THAT(player.sink.events(),
                ElementsAre("running", "flush", "paused", "running", "flush"));
    EXPECT_EQ(player.status(), 1);
}

TEST(LFileState, ReadyStandsPausedFromTheStart) {
    FilePlayer player("h264_aac.mp4");
    player.file.ready();
    settle(player);
    EXPECT_EQ(player.status(), 1);
    EXPECT_EQ(player.file.getWidth(), 320);
    EXPECT_DOUBLE_EQ(player.file.getDurationMs(), 4000.0);
    EXPECT_THAT(player.sink.events(), ElementsAre("running", "flush", "paused"));
    const std::size_t count = player.sink.pictureCount();
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(player.sink.pictureCount(), count);
    player.file.resume();
    ASSERT_TRUE(player.sink.waitForPictures(10));
    EXPECT_EQ(player.sink.pictures()[0].seconds, 0.0);
    EXPECT_EQ(test::irregularity(player.sink.pictures(), 0.04), "");
}

TEST(LFileState, ReadyOnARunningFilePausesIt) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(3));
    player.file.ready();
    settle(player);
    EXPECT_EQ(player.status(), 1);
    EXPECT_EQ(player.sink.events().back(), "paused");
}

TEST(LFileState, ReadyOnAMissingFileLeavesItPlayableLater) {
    FilePlayer player("missing.mp4");
    player.file.ready();
    EXPECT_EQ(player.status(), 0);
    player.file.fileNameSet(mediaPath("silent.mp4"));
    ASSERT_TRUE(player.file.play());
    EXPECT_TRUE(player.sink.waitForPictures(5));
}

TEST(LFileState, AFileThatCannotBeOpenedChangesNothing) {
    for (const char* clip : {"missing.mp4", "", "seq", "text.mp4"}) {
        FilePlayer player(clip);
        EXPECT_FALSE(player.file.play()) << clip;
        EXPECT_EQ(player.status(), 0);
        EXPECT_THAT(player.sink.events(), IsEmpty());
        expectClosed(player.file);
    }
    LFile unnamed;
    EXPECT_FALSE(unnamed.play());
}

TEST(LFileState, ResumeAndSetPosOnAClosedFileAreHarmless) {
    FilePlayer player("silent.mp4");
    player.file.resume();
    player.file.setPos(100.0);
    player.file.setPosTC("00:00:00:10");
    player.file.pause();
    player.file.resume();
    EXPECT_EQ(player.status(), 0);
    player.file.setPos(0.0);
    ASSERT_TRUE(player.file.play());
    EXPECT_TRUE(player.sink.waitForPictures(5));
}

TEST(LFileState, StopTwiceAndPlayAgainStartsAtTheBeginning) {
    FilePlayer player("h264_aac.mp4");
    for (int round = 0; round < 3; ++round) {
        player.sink.clear();
        ASSERT_TRUE(player.file.play());
        ASSERT_TRUE(player.sink.waitForPictures(4));
        EXPECT_EQ(player.sink.pictures()[0].seconds, 0.0);
        EXPECT_EQ(test::irregularity(player.sink.pictures(), 0.04), "");
        player.file.stop();
        player.file.stop();
        const std::size_t count = player.sink.pictureCount();
        std::this_thread::sleep_for(60ms);
        EXPECT_EQ(player.sink.pictureCount(), count);
    }
}

TEST(LFileState, AnEndedFilePlaysAgainWithAndWithoutStop) {
    FilePlayer player("silent.mp4");
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playToEnd());
    ASSERT_TRUE(player.playToEnd());
    player.file.stop();
    ASSERT_TRUE(player.playToEnd());
    EXPECT_EQ(player.sink.pictureCount(), 75U);
}

TEST(LFileState, TheOutPointEndsTheFile) {
    FilePlayer player("h264_aac.mp4");
    player.file.setProps("eof_hold", "true"); // which is about the end of the file only
    player.file.outPointMs = 300.0;
    ASSERT_TRUE(player.playToEnd());
    EXPECT_EQ(player.status(), 0);
}

TEST(LFileState, HoldingEndsBySetPos) {
    FilePlayer player("silent.mp4");
    player.file.setProps("eof_hold", "true");
    player.file.setProps("rate", "4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(25));
    settle(player);
    EXPECT_EQ(player.sink.pictureCount(), 25U);
    player.file.setPos(400.0);
    ASSERT_TRUE(player.sink.waitForPictures(25 + 15));
    settle(player);
    EXPECT_EQ(player.sink.pictureCount(), 40U);
    EXPECT_EQ(player.status(), 1);
}

TEST(LFileState, HoldingEndsByStop) {
    FilePlayer player("silent.mp4");
    player.file.setProps("eof_hold", "true");
    player.file.setProps("rate", "4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(25));
    player.file.stop();
    EXPECT_EQ(player.status(), 0);
}

TEST(LFileState, PauseWhileHoldingAndResume) {
    FilePlayer player("silent.mp4");
    player.file.setProps("eof_hold", "true");
    player.file.setProps("rate", "4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(25));
    settle(player);
    player.file.pause();
    player.file.resume();
    settle(player);
    EXPECT_EQ(player.status(), 1);
    EXPECT_EQ(player.sink.pictureCount(), 25U);
}

// ------------------------------------------------------------------------------- file names

TEST(LFileName, AnotherNameStopsWhatPlays) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(3));
    player.file.fileNameSet(mediaPath("odd_size.mkv"));
    EXPECT_EQ(player.status(), 0);
    expectClosed(player.file);
    player.sink.clear();
    ASSERT_TRUE(player.file.play());
    EXPECT_EQ(player.file.getWidth(), 321);
    ASSERT_TRUE(player.sink.waitForPictures(3));
    EXPECT_EQ(player.sink.pictures()[0].width, 321);
}

TEST(LFileName, TheSameNameChangesNothing) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(3));
    player.file.fileNameSet(mediaPath("h264_aac.mp4"));
    EXPECT_EQ(player.status(), 1);
    ASSERT_TRUE(player.sink.waitForPictures(10));
    EXPECT_EQ(test::irregularity(player.sink.pictures(), 0.04), "");
    EXPECT_THAT(player.sink.events(), ElementsAre("running", "flush"));
}

TEST(LFileName, AfterTheEndTheNextNameJustPlays) {
    FilePlayer player("silent.mp4");
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playToEnd());
    player.file.fileNameSet(mediaPath("odd_size.mkv"));
    player.sink.clear();
    ASSERT_TRUE(player.playToEnd());
    EXPECT_EQ(player.sink.pictureCount(), 25U);
    EXPECT_EQ(player.sink.pictures()[0].width, 321);
}

TEST(LFileName, APercentSignIsAnImageSequenceAtTwentyFive) {
    FilePlayer player("seq/seq_%04d.png");
    ASSERT_TRUE(player.playToEnd());
    EXPECT_EQ(player.sink.pictureCount(), 10U);
    EXPECT_EQ(test::irregularity(player.sink.pictures(), 0.04), "");
    EXPECT_EQ(player.file.getFPS(), 25.0);
    EXPECT_EQ(player.file.getWidth(), 160);
    EXPECT_DOUBLE_EQ(player.file.getDurationMs(), 400.0);
}

TEST(LFileName, AnImageSequencePlaysAtTheRateOfTheFormat) {
    FilePlayer player("seq/seq_%04d.png");
    player.file.setVideoFormat(customVideo(0, 0, 12.5));
    ASSERT_TRUE(player.playToEnd());
    EXPECT_EQ(player.sink.pictureCount(), 10U);
    EXPECT_EQ(test::irregularity(player.sink.pictures(), 0.08), "");
    EXPECT_EQ(player.file.getFPS(), 12.5);
}

TEST(LFileName, AnImageSequenceThatIsNotThereDoesNotOpen) {
    FilePlayer player("seq/nothing_%04d.png");
    EXPECT_FALSE(player.file.play());
    EXPECT_EQ(player.status(), 0);
}

// --------------------------------------------------------------------- what the sinks are told

TEST(LFileSinks, AreToldAtEachChangeInItsOrder) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    EXPECT_THAT(player.sink.events(), ElementsAre("running", "flush"));
    player.file.pause();
    EXPECT_THAT(player.sink.events(), ElementsAre("running", "flush", "paused"));
    player.file.resume();
    EXPECT_THAT(player.sink.events(), ElementsAre("running", "flush", "paused", "running"));
    player.sink.clear();
    player.file.stop();
    EXPECT_THAT(player.sink.events(), ElementsAre("paused", "flush", "flush"));
}

TEST(LFileSinks, AreFlushedAtAJump) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(2));
    player.file.setPos(2000.0);
    EXPECT_TRUE(waitUntil([&] { return player.sink.flushCount() == 2; }));
    EXPECT_THAT(player.sink.events(), ElementsAre("running", "flush", "flush"));
}

TEST(LFileSinks, AreNotToldOfAnEnd) {
    FilePlayer player("silent.mp4");
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playToEnd());
    EXPECT_THAT(player.sink.events(), ElementsAre("running", "flush"));
}

TEST(LFileSinks, NullEntriesAreSkipped) {
    FilePlayer player("h264_aac.mp4");
    player.file.addSink(nullptr);
    ASSERT_TRUE(player.file.play());
    player.file.pause();
    player.file.resume();
    player.file.setPos(1000.0);
    EXPECT_TRUE(player.sink.waitForPictures(3));
    EXPECT_TRUE(player.sink.waitForSounds(3));
    player.file.stop();
    player.file.removeSink(nullptr);
}

TEST(LFileSinks, EachGetsTheSamePictures) {
    FilePlayer player("silent.mp4", 30);
    test::CollectingSink second(30);
    player.file.addSink(&second);
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playToEnd());
    player.file.removeSink(&second);
    ASSERT_EQ(second.pictureCount(), 25U);
    const auto ours = player.sink.keptPictures();
    const auto theirs = second.keptPictures();
    for (std::size_t i = 0; i < 25; ++i)
        EXPECT_EQ(ours[i]->data[0], theirs[i]->data[0]) << "a copy of picture " << i;
}

TEST(LFileSinks, OneThatIsAddedTwiceGetsAllTwice) {
    FilePlayer player("silent.mp4");
    player.file.addSink(&player.sink);
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playToEnd());
    player.file.removeSink(&player.sink);
    EXPECT_EQ(player.sink.pictureCount(), 50U);
}

// -------------------------------------------------------------------------------- log lines

TEST(LFileLog, TellsTheTimecodeThatItFinds) {
    OpenFile file;
    file.fileNameSet(mediaPath("av_tc.mxf"));
    test::CapturedStream output(test::CapturedStream::Stream::output);
    ASSERT_TRUE(file.play());
    EXPECT_EQ(output.text(), "[LFile] Found Timecode: 01:02:03:04\n");
}

TEST(LFileLog, TellsTheTimecodeOfATimecodeTrack) {
    OpenFile file;
    file.fileNameSet(mediaPath("h264_aac.mp4"));
    test::CapturedStream output(test::CapturedStream::Stream::output);
    ASSERT_TRUE(file.play());
    EXPECT_EQ(output.text(), "[LFile] Found Timecode: 10:00:00:00\n");
}

TEST(LFileLog, SaysNothingWithoutATimecode) {
    OpenFile file;
    file.fileNameSet(mediaPath("silent.mp4"));
    test::CapturedStream output(test::CapturedStream::Stream::output);
    ASSERT_TRUE(file.play());
    file.setPos(500.0);
    file.pause();
    file.stop();
    EXPECT_EQ(output.text(), "");
}

TEST(Playing, WithoutAThreadItDoesNotPlayAndHasNothingOpen) {
    FilePlayer player("mono.wav"); // its decoder makes no threads
    {
        const test::NoThreads none;
        ASSERT_TRUE(none.works());
        EXPECT_FALSE(player.file.play());
    }
    expectClosed(player.file);
    EXPECT_TRUE(player.file.play());
    EXPECT_TRUE(player.sink.waitForSounds(1));
}

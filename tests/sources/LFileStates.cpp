// The states of the file player: its answers in each, and the ways between them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <thread>
#include <utility>

#include "support/CapturedStream.h"
#include "support/FilePlayer.h"

namespace {

using test::expectClosed;
using test::FilePlayer;
using test::mediaPath;
using test::Stopwatch;
using test::waitUntil;
using test::zeroTimecode;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

// A player that stands still for good: whatever was under way has been shown.
void settle(FilePlayer& player) {
    std::size_t count = 0;
    ASSERT_TRUE(waitUntil([&] {
        const std::size_t before = std::exchange(count, player.sink.pictureCount());
        std::this_thread::sleep_for(150ms);
        return before == count && player.sink.pictureCount() == count;
    }));
}

} // namespace

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

TEST(LFileState, AFileThatDoesNotTellItsLengthHasNoneAndItsOutPointIsItsInPoint) {
    FilePlayer player("no_duration.mkv");
    ASSERT_TRUE(player.file.play());
    EXPECT_EQ(player.file.getDurationMs(), 0.0);
    EXPECT_EQ(player.file.getInTC(), "10:00:00:00");
    EXPECT_EQ(player.file.getOutTC(), "10:00:00:00");
    player.file.outPointMs = 1000.0;
    EXPECT_EQ(player.file.getOutTC(), "10:00:01:00");
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
    const Stopwatch watch;
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(5));
    player.file.pause();
    settle(player);
    const double paused = watch.seconds();
    const std::size_t count = player.sink.pictureCount() + 35;
    std::this_thread::sleep_for(500ms);
    player.file.pause(); // a second time, which starts nothing anew
    std::this_thread::sleep_for(500ms);
    const double lasted = watch.seconds() - paused;
    player.file.resume();
    ASSERT_TRUE(player.sink.waitForPictures(count));
    const auto pictures = player.sink.pictures();
    EXPECT_EQ(test::irregularity(pictures, 0.04), "");
    // Had the pause counted, all of it would have been made up for by then.
    const double took = watch.at(pictures[count - 1].arrived) - watch.at(pictures[0].arrived);
    EXPECT_GE(took, static_cast<double>(count - 1) * 0.04 + lasted / 2.0);
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

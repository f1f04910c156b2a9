// The file player's properties, formats, names and log lines, and what it tells its sinks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "support/CapturedStream.h"
#include "support/DecimalComma.h"
#include "support/FilePlayer.h"
#include "support/NoThreads.h"
#include "support/Raised.h"

namespace {

using test::customVideo;
using test::expectClosed;
using test::FilePlayer;
using test::mediaPath;
using test::OpenFile;
using test::statusOf;
using test::waitUntil;
using testing::ElementsAre;
using namespace std::chrono_literals;

} // namespace

// ------------------------------------------------------------------------------- properties

TEST(LFileProps, KeysThatItDoesNotKnowAreIgnored) {
    LFile file;
    for (const char* key : {"", "Loop", "LOOP", "rate ", "audiogain", "out_point"})
        EXPECT_EQ(test::raisedBy(file, key, "no number"), "nothing") << key;
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
    EXPECT_EQ(test::raisedBy(file, "audio_gain", "80 percent"), "nothing");
}

TEST(LFileProps, ANumberThatIsNoneThrows) {
    LFile file;
    for (const char* key : {"audio_gain", "audio_track", "scaling_quality", "timecodeSource"}) {
        EXPECT_EQ(test::raisedBy(file, key, "loud"), "invalid stoi") << key;
        EXPECT_EQ(test::raisedBy(file, key, ""), "invalid stoi") << key;
        EXPECT_EQ(test::raisedBy(file, key, "99999999999"), "range stoi") << key;
        EXPECT_EQ(test::raisedBy(file, key, "-2"), "nothing") << key;
    }
    for (const char* key : {"rate", "speed"}) {
        EXPECT_EQ(test::raisedBy(file, key, "fast"), "invalid stod") << key;
        EXPECT_EQ(test::raisedBy(file, key, ""), "invalid stod") << key;
        EXPECT_EQ(test::raisedBy(file, key, "1e999"), "range stod") << key;
    }
    EXPECT_EQ(file.rate, 1.0);
    EXPECT_FALSE(file.rateChanged);
}

TEST(LFileProps, TextsAndBooleansTakeAnyText) {
    LFile file;
    for (const char* key : {"loop", "deinterlace", "eof_hold", "gpu", "scale_type"}) {
        for (const char* value : {"", "true", "1", "maybe", "99999999999"})
            EXPECT_EQ(test::raisedBy(file, key, value), "nothing") << key;
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

TEST(LFileName, AnImageSequencePlaysAtItsRateWhereADecimalPointIsAComma) {
    const test::DecimalComma locale;
    ASSERT_TRUE(locale.isSet());
    for (const double fps : {12.5, 29.97}) {
        FilePlayer player("seq/seq_%04d.png");
        player.file.setVideoFormat(customVideo(0, 0, fps));
        ASSERT_TRUE(player.playToEnd()) << fps;
        EXPECT_EQ(player.sink.pictureCount(), 10U);
        EXPECT_EQ(test::irregularity(player.sink.pictures(), 1.0 / fps), "");
    }
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

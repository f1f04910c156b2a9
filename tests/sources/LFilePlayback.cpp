// What leaves the file player and when: every picture once, in order, at its time, with its stamp.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <ctime>
#include <thread>

#include "core/Clock.h"
#include "support/CapturedStream.h"
#include "support/FilePlayer.h"
#include "support/MachineWatch.h"
#include "support/WallClock.h"

namespace {

using test::FilePlayer;
using test::irregularity;
using test::mediaPath;
using test::OpenFile;
using test::PictureSeen;
using test::statusOf;
using test::Stopwatch;
using test::waitUntil;
using namespace std::chrono_literals;

constexpr double tick = 0.04;

double endOf(const test::SoundSeen& sound) {
    return sound.seconds + static_cast<double>(sound.samples) / sound.sampleRate;
}

// Time codes as the frames they count, at `perSecond` of them; -1 for a text that is none.
int framesOf(const std::string& timecode, int perSecond) {
    int h = 0;
    int m = 0;
    int s = 0;
    int f = 0;
    if (std::sscanf(timecode.c_str(), "%d:%d:%d:%d", &h, &m, &s, &f) != 4) return -1;
    return ((h * 60 + m) * 60 + s) * perSecond + f;
}

// Index of the first picture that does not come behind the one before it, 0 for none.
std::size_t turningPoint(const std::vector<PictureSeen>& pictures) {
    for (std::size_t i = 1; i < pictures.size(); ++i) {
        if (pictures[i].seconds <= pictures[i - 1].seconds) return i;
    }
    return 0;
}

} // namespace

// ----------------------------------------------------------------------------- every picture

TEST(LFilePlayback, EveryPictureComesOnceAndInItsTime) {
    FilePlayer player("h264_aac.mp4");
    const Stopwatch watch;
    ASSERT_TRUE(player.playToEnd());
    const auto pictures = player.sink.pictures();
    ASSERT_EQ(pictures.size(), 100U);
    EXPECT_EQ(pictures[0].seconds, 0.0);
    EXPECT_EQ(irregularity(pictures, tick), "");
    EXPECT_GE(watch.at(pictures[99].arrived), 99 * tick - 0.01);
    EXPECT_LE(watch.at(pictures[99].arrived), 12.0);
    // And so does the sound, throttled by the pictures.
    const auto sounds = player.sink.sounds();
    ASSERT_FALSE(sounds.empty());
    EXPECT_GE(watch.at(sounds.back().arrived), 2.5);
}

TEST(LFilePlayback, NoPictureIsLateByMoreThanTheMachineIs) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(50));
    const auto pictures = player.sink.pictures();
    // Halfway, as much time has passed as the pictures say: a player that only ever sleeps whole
    // ticks would have fallen behind.
    const double passed = static_cast<double>(pictures[49].arrived - pictures[0].arrived) / 1e9;
    EXPECT_NEAR(passed, 49 * tick, 2.0);
}

TEST(LFilePlayback, LatePicturesAreNotDropped) {
    class SlowSink : public test::CollectingSink {
    public:
        void pushVideoFrame(AVFrame* frame) override {
            CollectingSink::pushVideoFrame(frame);
            std::this_thread::sleep_for(60ms);
        }
    };
    SlowSink slow;
    FilePlayer player("silent.mp4");
    player.file.addSink(&slow);
    const bool ended = player.playToEnd();
    player.file.removeSink(&slow);
    ASSERT_TRUE(ended);
    EXPECT_EQ(slow.pictureCount(), 25U);
    EXPECT_EQ(irregularity(slow.pictures(), tick), "");
}

TEST(LFilePlayback, AVariableRateKeepsItsOwnTimes) {
    FilePlayer player("vfr.mkv");
    const Stopwatch watch;
    ASSERT_TRUE(player.playToEnd());
    const auto pictures = player.sink.pictures();
    ASSERT_EQ(pictures.size(), 33U);
    const std::vector<PictureSeen> dense(pictures.begin(), pictures.begin() + 25);
    const std::vector<PictureSeen> thin(pictures.begin() + 25, pictures.end());
    EXPECT_EQ(irregularity(dense, tick), "");
    EXPECT_EQ(irregularity(thin, 3 * tick), "");
    EXPECT_GE(watch.at(pictures.back().arrived), pictures.back().seconds - 0.01);
}

TEST(LFilePlayback, TheTimeBaseOfAPictureIsThatOfItsStream) {
    FilePlayer player("silent.mp4", 1);
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playToEnd());
    const quol::FramePtr last = player.sink.latestPicture();
    EXPECT_EQ(last->time_base.num, 1);
    EXPECT_EQ(last->time_base.den, 12800);
    EXPECT_EQ(last->pts, 24 * 512);
}

// ---------------------------------------------------------------------------------- the rate

TEST(LFilePlayback, AtRateTwoItTakesHalfTheTimeAndIsSilent) {
    FilePlayer player("h264_aac.mp4");
    player.file.setProps("rate", "2.0");
    const Stopwatch watch;
    ASSERT_TRUE(player.playToEnd());
    const auto pictures = player.sink.pictures();
    ASSERT_EQ(pictures.size(), 100U);
    EXPECT_EQ(irregularity(pictures, tick), "");
    EXPECT_EQ(player.sink.soundCount(), 0U);
    EXPECT_GE(watch.at(pictures.back().arrived), 99 * tick / 2 - 0.01);
    // Half of real time is 2 seconds; at the plain rate it would be 4 at the least.
    EXPECT_LT(watch.at(pictures.back().arrived), 3.9) << "or a very slow machine";
}

TEST(LFilePlayback, WithinAHundredthOfOneThereIsSound) {
    for (const char* rate : {"1.005", "0.995"}) {
        FilePlayer player("h264_aac.mp4");
        player.file.setProps("rate", rate);
        ASSERT_TRUE(player.file.play());
        EXPECT_TRUE(player.sink.waitForSounds(10)) << rate;
        EXPECT_TRUE(player.sink.waitForPictures(5)) << rate;
    }
}

TEST(LFilePlayback, BeyondAHundredthOfOneThereIsNone) {
    for (const char* rate : {"1.02", "0.98", "0.5"}) {
        FilePlayer player("h264_aac.mp4");
        player.file.setProps("rate", rate);
        ASSERT_TRUE(player.file.play());
        ASSERT_TRUE(player.sink.waitForPictures(10)) << rate;
        EXPECT_EQ(player.sink.soundCount(), 0U) << rate;
    }
}

TEST(LFilePlayback, AtRateZeroAndBelowItPacesAsAtOneAndIsSilent) {
    for (const char* rate : {"0", "-1", "nan"}) {
        test::measured([rate](test::MachineWatch& machine) {
            FilePlayer player("h264_aac.mp4");
            player.file.setProps("rate", rate);
            machine.begin();
            const Stopwatch watch;
            ASSERT_TRUE(player.file.play());
            ASSERT_TRUE(player.sink.waitForPictures(21));
            const auto pictures = player.sink.pictures();
            EXPECT_GE(watch.at(pictures[20].arrived), 20 * tick - 0.01) << rate;
            const auto passed = static_cast<double>(pictures[20].arrived - pictures[0].arrived);
            EXPECT_LE(passed / 1e9, 20 * tick + 0.4) << rate;
            EXPECT_EQ(player.sink.soundCount(), 0U) << rate;
            EXPECT_EQ(irregularity(pictures, tick), "") << rate;
        });
    }
}

TEST(LFilePlayback, AHalfRateTakesTwiceTheTime) {
    FilePlayer player("h264_aac.mp4");
    player.file.setProps("speed", "0.5");
    const Stopwatch watch;
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(11));
    EXPECT_GE(watch.at(player.sink.pictures()[10].arrived), 10 * tick * 2 - 0.01);
}

TEST(LFilePlayback, AChangeOfRateTakesEffectWithTheNextPictureAndLosesNone) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(20));
    player.file.setProps("rate", "0.5");
    std::size_t count = player.sink.pictureCount();
    ASSERT_TRUE(player.sink.waitForPictures(count + 7));
    auto pictures = player.sink.pictures();
    const auto between = [&](std::size_t from, std::size_t to) {
        return static_cast<double>(pictures[to].arrived - pictures[from].arrived) / 1e9;
    };
    EXPECT_GE(between(count, count + 6), 6 * tick * 2 - 0.1);
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.waitForEnd());
    pictures = player.sink.pictures();
    EXPECT_EQ(pictures.size(), 100U);
    EXPECT_EQ(irregularity(pictures, tick), "");
}

// Sound that comes before the next picture is not held against a clock of another rate.
TEST(LFilePlayback, AChangeOfRateDoesNotHoldTheNextPictureUp) {
    test::measured([](test::MachineWatch& watch) {
        for (int number = 0; number < 4; ++number) {
            FilePlayer player("h264_aac.mp4");
            watch.begin();
            ASSERT_TRUE(player.file.play());
            ASSERT_TRUE(player.sink.waitForPictures(static_cast<std::size_t>(69 + number)));
            const std::int64_t changed = quol::steadyNow();
            const std::size_t count = player.sink.pictureCount();
            player.file.setProps("rate", "0.25");
            ASSERT_TRUE(player.sink.waitForPictures(count + 2));
            const auto next = player.sink.pictures()[count];
            EXPECT_LT(static_cast<double>(next.arrived - changed) / 1e9, 0.2);
        }
    });
}

TEST(LFilePlayback, AHostMayWriteTheRateItself) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(5));
    player.file.rate = 8.0;
    player.file.rateChanged = true;
    ASSERT_TRUE(player.waitForEnd());
    EXPECT_EQ(player.sink.pictureCount(), 100U);
    EXPECT_FALSE(player.file.rateChanged);
}

// --------------------------------------------------------------------------- gaps and offsets

TEST(LFilePlayback, APictureTwoSecondsAheadOfTheClockIsNotWaitedFor) {
    FilePlayer player("gap.mkv");
    ASSERT_TRUE(player.playToEnd());
    const auto pictures = player.sink.pictures();
    ASSERT_EQ(pictures.size(), 50U);
    ASSERT_NEAR(pictures[25].seconds - pictures[24].seconds, 2.5, 0.05);
    const double waited = static_cast<double>(pictures[25].arrived - pictures[24].arrived) / 1e9;
    EXPECT_LT(waited, 2.0);
}

// Sound from behind the gap is not held against the clock of before, which would hold the pictures
// up for most of a second.
TEST(LFilePlayback, SoundThatReachesAGapFirstHoldsNoPictureUp) {
    test::measured([](test::MachineWatch& watch) {
        FilePlayer player("gap_sound.mkv");
        watch.begin();
        ASSERT_TRUE(player.playToEnd());
        const auto pictures = player.sink.pictures();
        ASSERT_EQ(pictures.size(), 50U);
        ASSERT_NEAR(pictures[25].seconds - pictures[24].seconds, 2.94, 0.05);
        for (std::size_t i = 1; i < pictures.size(); ++i) {
            const auto waited =
                static_cast<double>(pictures[i].arrived - pictures[i - 1].arrived) / 1e9;
            EXPECT_LT(waited, 0.5) << i;
        }
    });
}

TEST(LFilePlayback, ALateFirstTimeStampPlaysAtTheSpeedOfTheRest) {
    FilePlayer player("h264.ts");
    const Stopwatch watch;
    ASSERT_TRUE(player.playToEnd());
    const auto pictures = player.sink.pictures();
    ASSERT_EQ(pictures.size(), 75U);
    EXPECT_GT(pictures[0].seconds, 1.0);
    EXPECT_EQ(irregularity(pictures, tick), "");
    // Neither all at once, nor after a wait for the time before the first picture that adds up.
    EXPECT_GE(watch.at(pictures[37].arrived), 37 * tick - 0.01);
    EXPECT_GE(watch.at(pictures[74].arrived), 74 * tick - 0.01);
    EXPECT_LE(watch.at(pictures[74].arrived), 12.0);
}

TEST(LFilePlayback, SoundAloneKeepsItsTime) {
    FilePlayer player("flac.flac");
    const Stopwatch watch;
    ASSERT_TRUE(player.playToEnd());
    const auto sounds = player.sink.sounds();
    ASSERT_FALSE(sounds.empty());
    EXPECT_EQ(player.sink.pictureCount(), 0U);
    EXPECT_NEAR(endOf(sounds.back()), 2.0, 0.001);
    EXPECT_GE(watch.at(sounds.back().arrived), sounds.back().seconds - 0.01);
    EXPECT_LE(watch.at(sounds.back().arrived), 10.0);
}

TEST(LFilePlayback, ACoverPictureIsShownOnceAndTheSoundKeepsTheTime) {
    FilePlayer player("cover.mp3");
    const Stopwatch watch;
    ASSERT_TRUE(player.playToEnd());
    EXPECT_EQ(player.sink.pictureCount(), 1U);
    const auto sounds = player.sink.sounds();
    ASSERT_FALSE(sounds.empty());
    EXPECT_GE(endOf(sounds.back()) - sounds.front().seconds, 1.9);
    EXPECT_GE(watch.at(sounds.back().arrived), 1.8);
}

TEST(LFilePlayback, SoundRunsAheadOfThePicturesByItsInterleavingOnly) {
    FilePlayer player("long_gop.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(50));
    const auto sounds = player.sink.sounds();
    ASSERT_FALSE(sounds.empty());
    EXPECT_GE(sounds.back().seconds, 49 * tick - 0.5);
    // The one that has come since may be later; half a second of it would be a player that does not
    // hold its sound back at all.
    EXPECT_LE(sounds.back().seconds, player.sink.pictures().back().seconds + 1.0);
}

// ------------------------------------------------------------------------ out point and loop

TEST(LFilePlayback, ThePictureAtTheOutPointIsTheLastOne) {
    FilePlayer player("h264_aac.mp4");
    player.file.outPointMs = 500.0;
    ASSERT_TRUE(player.playOut());
    const auto pictures = player.sink.pictures();
    ASSERT_EQ(pictures.size(), 14U);
    EXPECT_NEAR(pictures.back().seconds, 0.52, 0.001);
}

TEST(LFilePlayback, AnOutPointOfZeroOrBelowDoesNotCount) {
    for (const double mark : {0.0, -100.0, std::nan("")}) {
        FilePlayer player("silent.mp4");
        player.file.setProps("rate", "8");
        player.file.outPointMs = mark;
        ASSERT_TRUE(player.playToEnd());
        EXPECT_EQ(player.sink.pictureCount(), 25U) << mark;
    }
}

TEST(LFilePlayback, AnInPointDoesNotMovePlay) {
    FilePlayer player("h264_aac.mp4");
    player.file.inPointMs = 2000.0;
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(3));
    EXPECT_EQ(player.sink.pictures()[0].seconds, 0.0);
}

TEST(LFilePlayback, TheOutPointLoopsToTheInPoint) {
    FilePlayer player("h264_aac.mp4");
    player.file.setProps("loop", "true");
    player.file.inPointMs = 2000.0;
    player.file.outPointMs = 400.0;
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(12));
    player.file.stop();
    const auto pictures = player.sink.pictures();
    EXPECT_NEAR(pictures[10].seconds, 0.4, 0.001);
    // From there on each picture is behind the out point and jumps again.
    EXPECT_NEAR(pictures[11].seconds, 2.0, 0.001);
}

TEST(LFilePlayback, BetweenInAndOutPointItLoopsForEver) {
    FilePlayer player("h264_aac.mp4");
    player.file.setProps("loop", "true");
    player.file.setProps("rate", "4");
    player.file.inPointMs = 1000.0;
    player.file.outPointMs = 1400.0;
    ASSERT_TRUE(player.file.play());
    // 0 to 1.4 s are 36 pictures, 1.0 to 1.4 s 11.
    ASSERT_TRUE(player.sink.waitForPictures(36 + 11 + 11 + 3));
    EXPECT_EQ(player.status(), 1);
    const auto pictures = player.sink.pictures();
    EXPECT_NEAR(pictures[35].seconds, 1.4, 0.001);
    EXPECT_NEAR(pictures[36].seconds, 1.0, 0.001);
    EXPECT_NEAR(pictures[46].seconds, 1.4, 0.001);
    EXPECT_NEAR(pictures[47].seconds, 1.0, 0.001);
    EXPECT_NEAR(pictures[58].seconds, 1.0, 0.001);
}

TEST(LFilePlayback, ALoopAtTheEndOfTheFileGoesToItsStart) {
    FilePlayer player("silent.mp4");
    player.file.setProps("loop", "true");
    player.file.setProps("rate", "4");
    player.file.inPointMs = 500.0; // that of a loop at the out point
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(60));
    EXPECT_EQ(player.status(), 1);
    const auto pictures = player.sink.pictures();
    for (std::size_t i = 0; i < 60; ++i)
        EXPECT_NEAR(pictures[i].seconds, static_cast<double>(i % 25) * tick, 0.001) << i;
}

TEST(LFilePlayback, ALoopKeepsTheTimeFromRoundToRound) {
    FilePlayer player("silent.mp4");
    player.file.setProps("loop", "true");
    const Stopwatch watch;
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(51));
    // The last picture of a round stands as long as any other.
    EXPECT_GE(watch.at(player.sink.pictures()[50].arrived), 2.0 - 0.03);
}

TEST(LFilePlayback, ALoopRepeatsTheSoundToo) {
    FilePlayer player("mono.wav");
    player.file.setProps("loop", "true");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(waitUntil([&] {
        const auto sounds = player.sink.sounds();
        for (std::size_t i = 1; i < sounds.size(); ++i) {
            if (sounds[i].seconds < sounds[i - 1].seconds) return true;
        }
        return false;
    }));
    EXPECT_EQ(player.status(), 1);
}

TEST(LFilePlayback, EndsOfALoopThatIsSwitchedOff) {
    FilePlayer player("silent.mp4");
    player.file.setProps("loop", "true");
    player.file.setProps("rate", "4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(30));
    player.file.setProps("loop", "false");
    ASSERT_TRUE(player.waitForEnd());
    const auto pictures = player.sink.pictures();
    EXPECT_EQ(pictures.size() % 25, 0U);
    EXPECT_EQ(turningPoint(pictures), 25U);
}

// ------------------------------------------------------------------------- the end of the file

TEST(LFilePlayback, WithNeitherLoopNorOutPointItHoldsOnTheLastPicture) {
    FilePlayer player("silent.mp4");
    player.file.setProps("eof_hold", "true");
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(25));
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(player.status(), 1);
    EXPECT_EQ(player.sink.pictureCount(), 25U);
    EXPECT_NEAR(player.sink.pictures().back().seconds, 24 * tick, 0.001);
}

TEST(LFilePlayback, WithoutHoldItEnds) {
    FilePlayer player("silent.mp4");
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playToEnd());
    EXPECT_EQ(player.sink.pictureCount(), 25U);
}

TEST(LFilePlayback, StopBeforeTheEndShowsNoMore) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(5));
    player.file.stop();
    const auto pictures = player.sink.pictures();
    EXPECT_LT(pictures.size(), 100U);
    EXPECT_EQ(irregularity(pictures, tick), "");
}

// ------------------------------------------------------------------------------- without sinks

TEST(LFileWithoutSink, StallsAtFifteenPictures) {
    OpenFile file;
    file.fileNameSet(mediaPath("h264_aac.mp4"));
    file.setProps("rate", "8");
    ASSERT_TRUE(file.play());
    ASSERT_TRUE(waitUntil([&] { return file.queued() >= 15; }));
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(file.queued(), 15U);
    EXPECT_EQ(statusOf(file), 1);
}

TEST(LFileWithoutSink, StaysStalledAfterASinkCameUntilTheNextJump) {
    OpenFile file;
    test::CollectingSink sink;
    file.fileNameSet(mediaPath("h264_aac.mp4"));
    file.setProps("rate", "8");
    ASSERT_TRUE(file.play());
    ASSERT_TRUE(waitUntil([&] { return file.queued() >= 15; }));
    file.addSink(&sink);
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(sink.pictureCount(), 0U);
    EXPECT_EQ(file.queued(), 15U);
    file.setPos(1000.0);
    ASSERT_TRUE(sink.waitForPictures(20));
    EXPECT_NEAR(sink.picturesSinceFlush().front().seconds, 1.0, 0.001);
    EXPECT_EQ(file.queued(), 0U);
    file.stop();
    file.removeSink(&sink);
}

TEST(LFileWithoutSink, AJumpEmptiesTheQueueAndFillsItAnew) {
    OpenFile file;
    file.fileNameSet(mediaPath("h264_aac.mp4"));
    file.setProps("rate", "0.5");
    ASSERT_TRUE(file.play());
    ASSERT_TRUE(waitUntil([&] { return file.queued() >= 3; }));
    file.pause();
    std::this_thread::sleep_for(200ms);
    ASSERT_GE(file.queued(), 3U);
    file.setPos(2000.0);
    EXPECT_LE(file.queued(), 2U);
    file.setProps("rate", "8");
    EXPECT_TRUE(waitUntil([&] { return file.queued() == 15; }));
}

TEST(LFileWithoutSink, StopEmptiesTheQueue) {
    OpenFile file;
    file.fileNameSet(mediaPath("silent.mp4"));
    file.setProps("rate", "8");
    ASSERT_TRUE(file.play());
    ASSERT_TRUE(waitUntil([&] { return file.queued() >= 5; }));
    file.stop();
    EXPECT_EQ(file.queued(), 0U);
}

TEST(LFileWithoutSink, ASinkThatComesLaterGetsNoneOfTheQueue) {
    OpenFile file;
    test::CollectingSink sink;
    file.fileNameSet(mediaPath("h264_aac.mp4"));
    ASSERT_TRUE(file.play());
    ASSERT_TRUE(waitUntil([&] { return file.queued() >= 5; }));
    file.addSink(&sink);
    const std::size_t queued = file.queued();
    ASSERT_TRUE(sink.waitForPictures(3));
    EXPECT_EQ(file.queued(), queued);
    EXPECT_NEAR(sink.pictures()[0].seconds, static_cast<double>(queued) * tick, 0.001);
    file.stop();
    file.removeSink(&sink);
}

// ------------------------------------------------------------------------------- time codes

TEST(LFileTimecode, StampsCountFromTheContainersOwn) {
    FilePlayer player("av_tc.mxf");
    player.file.setProps("rate", "4");
    ASSERT_TRUE(player.playToEnd());
    const auto pictures = player.sink.pictures();
    ASSERT_EQ(pictures.size(), 50U);
    EXPECT_EQ(pictures[0].timecode, "01:02:03:04");
    EXPECT_EQ(pictures[21].timecode, "01:02:04:00");
    EXPECT_EQ(pictures[49].timecode, "01:02:05:03");
}

TEST(LFileTimecode, StampsCountFromZeroWithoutOne) {
    FilePlayer player("silent.mp4");
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playToEnd());
    const auto pictures = player.sink.pictures();
    EXPECT_EQ(pictures[0].timecode, "00:00:00:00");
    EXPECT_EQ(pictures[24].timecode, "00:00:00:24");
}

TEST(LFileTimecode, NoStampRepeatsOrIsLeftOutAtTwentyFive) {
    FilePlayer player("h264_aac.mp4");
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playToEnd());
    const auto pictures = player.sink.pictures();
    ASSERT_EQ(pictures.size(), 100U);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(framesOf(pictures[static_cast<std::size_t>(i)].timecode, 25), 10 * 3600 * 25 + i);
    }
}

TEST(LFileTimecode, NoStampRepeatsOrIsLeftOutAtABrokenRate) {
    FilePlayer player("rate2997.mp4");
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playToEnd());
    const auto pictures = player.sink.pictures();
    ASSERT_EQ(pictures.size(), 90U);
    // The hour is frame 107892; the seconds of its time code are of 29 frames.
    for (int i = 0; i < 90; ++i) {
        EXPECT_EQ(framesOf(pictures[static_cast<std::size_t>(i)].timecode, 29) - 3600 * 29,
                  107892 % 29 + i);
    }
}

TEST(LFileTimecode, SourceZeroStampsTheTimeOfDay) {
    FilePlayer player("h264_aac.mp4");
    player.file.setProps("timecodeSource", "0");
    const std::time_t before = test::wallSecond();
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(10));
    const std::time_t after = test::wallSecond();
    player.file.stop();
    for (const PictureSeen& picture : player.sink.pictures()) {
        bool inside = false;
        for (std::time_t second = before; second <= after && !inside; ++second) {
            std::tm local{};
            localtime_r(&second, &local);
            char text[16];
            std::strftime(text, sizeof text, "%H:%M:%S:", &local);
            inside = picture.timecode.starts_with(text);
        }
        EXPECT_TRUE(inside) << picture.timecode;
        EXPECT_LT(framesOf(picture.timecode, 1000) % 1000, 25) << picture.timecode;
    }
}

TEST(LFileTimecode, AnyOtherSourceStampsTheFiles) {
    for (const char* source : {"1", "2", "-1"}) {
        FilePlayer player("h264_aac.mp4");
        player.file.setProps("timecodeSource", "0");
        player.file.setProps("timecodeSource", source);
        ASSERT_TRUE(player.file.play());
        ASSERT_TRUE(player.sink.waitForPictures(2));
        EXPECT_EQ(player.sink.pictures()[1].timecode, "10:00:00:01");
    }
}

TEST(LFileTimecode, TheGetterFollowsTheStampsOfTheFile) {
    FilePlayer player("h264_aac.mp4");
    player.file.setProps("timecodeSource", "0"); // which is about the stamps only
    player.file.outPointMs = 400.0;
    ASSERT_TRUE(player.playToEnd());
    EXPECT_EQ(player.file.getTimeCode(), "10:00:00:10");
}

TEST(LFileTimecode, StampsOfAHigherOutputRateCountItsFrames) {
    FilePlayer player("h264_aac.mp4");
    videoFormatProps format;
    format.mode = 4; // 50 frames a second
    player.file.setVideoFormat(format);
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(4));
    const auto pictures = player.sink.pictures();
    EXPECT_EQ(pictures[0].timecode, "10:00:00:00");
    EXPECT_EQ(pictures[1].timecode, "10:00:00:01");
    EXPECT_EQ(pictures[3].timecode, "10:00:00:03");
    EXPECT_NEAR(pictures[3].seconds, 0.06, 0.001);
}

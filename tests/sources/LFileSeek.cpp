// Jumps of the file player: the picture at the position comes next, and all goes on in its time.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <future>
#include <limits>
#include <thread>

#include "support/CapturedStream.h"
#include "support/FilePlayer.h"

namespace {

using test::FilePlayer;
using test::irregularity;
using test::mediaPath;
using test::PictureSeen;
using test::SoundSeen;
using test::Stopwatch;
using test::waitUntil;
using namespace std::chrono_literals;

constexpr double tick = 0.04;

// Jumps and waits for that many pictures behind the jump.
testing::AssertionResult jump(FilePlayer& player, double ms, std::size_t count) {
    const std::size_t flushes = player.sink.flushCount();
    player.file.setPos(ms);
    const bool came = waitUntil([&] {
        return player.sink.flushCount() > flushes &&
               player.sink.picturesSinceFlush().size() >= count;
    });
    if (came) return testing::AssertionSuccess();
    return testing::AssertionFailure() << player.sink.picturesSinceFlush().size() << " pictures";
}

double firstAfterJump(const FilePlayer& player) {
    const auto pictures = player.sink.picturesSinceFlush();
    return pictures.empty() ? -1.0 : pictures.front().seconds;
}

// The picture that is up at a time of a clip that starts at `first`.
double pictureAt(double seconds, double first = 0.0) {
    const double frame = std::floor((seconds - first) / tick + 1e-6);
    return first + std::max(0.0, frame) * tick;
}

} // namespace

// --------------------------------------------------------------------------------- accuracy

class SeekInClip : public testing::TestWithParam<const char*> {};

TEST_P(SeekInClip, TheFirstPictureIsTheOneAtThePosition) {
    FilePlayer player(GetParam());
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(2));
    // Ahead, back, onto a key picture, between two pictures, near either end.
    for (const double ms : {2000.0, 600.0, 1480.0, 1500.0, 2790.0, 0.0, 2840.0, 40.0, 39.0}) {
        ASSERT_TRUE(jump(player, ms, 2)) << ms;
        EXPECT_NEAR(firstAfterJump(player), pictureAt(ms / 1000.0), 0.001) << ms;
        EXPECT_EQ(irregularity(player.sink.picturesSinceFlush(), tick), "") << ms;
    }
}

INSTANTIATE_TEST_SUITE_P(LFileSeek, SeekInClip, testing::Values("h264_aac.mp4", "long_gop.mp4"));

class SeekInFormat : public testing::TestWithParam<const char*> {};

TEST_P(SeekInFormat, TheFirstPictureIsTheOneAtThePosition) {
    FilePlayer player(GetParam());
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(1));
    const double first = player.sink.pictures().front().seconds;
    for (const double offset : {0.6, 0.24, 0.84, 0.5}) {
        // The middle of a picture's time, which no rounding of a container moves to another.
        const double seconds = first + pictureAt(offset) + tick / 2;
        ASSERT_TRUE(jump(player, seconds * 1000.0, 2)) << seconds;
        EXPECT_NEAR(firstAfterJump(player), first + pictureAt(offset), 0.002) << seconds;
        EXPECT_EQ(irregularity(player.sink.picturesSinceFlush(), tick), "") << seconds;
    }
}

INSTANTIATE_TEST_SUITE_P(LFileSeek, SeekInFormat,
                         testing::Values("hevc.mp4", "mjpeg.avi", "prores.mov", "vp9_opus.webm",
                                         "av_tc.mxf", "h264.ts", "tenbit.mp4", "silent.mp4",
                                         "odd_size.mkv", "interlaced.ts", "mpeg2.mpg"));

TEST(LFileSeek, AtABrokenRate) {
    FilePlayer player("rate2997.mp4");
    ASSERT_TRUE(player.file.play());
    for (const int frame : {30, 45, 7, 80}) {
        ASSERT_TRUE(jump(player, frame * 1001.0 / 30.0, 2));
        EXPECT_NEAR(firstAfterJump(player), frame * 1001.0 / 30000.0, 0.0005) << frame;
    }
}

TEST(LFileSeek, ThePictureUpAtAPositionInAThinStretchIsShown) {
    FilePlayer player("vfr.mkv");
    ASSERT_TRUE(player.file.play());
    // From 1.08 s on there is a picture each 0.12 s.
    ASSERT_TRUE(jump(player, 1250.0, 2));
    const auto pictures = player.sink.picturesSinceFlush();
    EXPECT_NEAR(pictures[0].seconds, 1.2, 0.001);
    EXPECT_NEAR(pictures[1].seconds, 1.32, 0.001);
}

TEST(LFileSeek, ThePictureUpInAGapIsShown) {
    FilePlayer player("gap.mkv");
    ASSERT_TRUE(player.file.play());
    // Nothing begins between 0.96 s and 3.48 s.
    ASSERT_TRUE(jump(player, 2000.0, 2));
    const auto pictures = player.sink.picturesSinceFlush();
    EXPECT_NEAR(pictures[0].seconds, 0.96, 0.001);
    EXPECT_NEAR(pictures[1].seconds, 3.48, 0.001);
}

// It does not wait for a picture behind it, of which there is none.
TEST(LFileSeek, BehindTheLastPictureThatOneIsShownAtOnce) {
    FilePlayer player("long_sound.mkv");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(5));
    const std::size_t before = player.sink.pictureCount();
    player.file.setPos(3000.0);
    const test::Stopwatch watch;
    // Or one shortly before it, where the decoder keeps some back to the end of the file.
    ASSERT_TRUE(player.sink.waitForPictures(before + 1));
    EXPECT_LT(watch.seconds(), 2.0);
}

// The worker asks itself for a jump just before it hands the picture at the out point on.
TEST(LFileSeek, ALoopThatWasAboutToJumpLeavesTheNextFileAlone) {
    class Holder : public test::CollectingSink {
    public:
        void pushVideoFrame(AVFrame* frame) override {
            CollectingSink::pushVideoFrame(frame);
            if (pictures().back().seconds > 0.19) atOutPoint.wait_for(10s);
        }
        std::promise<void> goOn;
        std::shared_future<void> atOutPoint = goOn.get_future().share();
    };
    Holder holder;
    test::OpenFile file;
    file.fileNameSet(mediaPath("h264_aac.mp4"));
    file.setProps("loop", "true");
    file.inPointMs = 1500.0;
    file.outPointMs = 200.0;
    file.addSink(&holder);
    ASSERT_TRUE(file.play());
    ASSERT_TRUE(holder.waitForPictures(6));
    std::thread changer([&] { file.fileNameSet(mediaPath("long_gop.mp4")); });
    EXPECT_TRUE(waitUntil([&] { return test::statusOf(file) == 0; }));
    holder.goOn.set_value();
    changer.join();
    file.outPointMs = 0.0;
    const std::size_t before = holder.pictureCount();
    ASSERT_TRUE(file.play());
    ASSERT_TRUE(holder.waitForPictures(before + 1));
    EXPECT_EQ(holder.pictures()[before].seconds, 0.0);
    file.stop();
    file.removeSink(&holder);
}

TEST(LFileSeek, InAnImageSequence) {
    FilePlayer player("seq/seq_%04d.png");
    player.file.setProps("eof_hold", "true");
    ASSERT_TRUE(player.file.play());
    for (const double ms : {200.0, 80.0, 320.0}) {
        ASSERT_TRUE(jump(player, ms, 2));
        EXPECT_NEAR(firstAfterJump(player), ms / 1000.0, 0.001) << ms;
    }
}

TEST(LFileSeek, AStillIsShownAgain) {
    FilePlayer player("still.png");
    player.file.setProps("eof_hold", "true");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(1));
    EXPECT_TRUE(jump(player, 0.0, 1));
    EXPECT_TRUE(jump(player, 0.0, 1));
    EXPECT_TRUE(jump(player, 5000.0, 1));
}

// ------------------------------------------------------------------------------- boundaries

TEST(LFileSeek, BeforeTheStartIsTheStart) {
    for (const double ms : {-500.0, -1e300, -std::numeric_limits<double>::infinity()}) {
        FilePlayer player("h264_aac.mp4");
        ASSERT_TRUE(player.file.play());
        ASSERT_TRUE(player.sink.waitForPictures(3));
        ASSERT_TRUE(jump(player, ms, 3));
        EXPECT_EQ(firstAfterJump(player), 0.0) << ms;
        EXPECT_EQ(irregularity(player.sink.picturesSinceFlush(), tick), "") << ms;
    }
}

TEST(LFileSeek, ToTheStartOfAFileWhoseTimeBeginsLaterPlaysAtOnce) {
    FilePlayer player("h264.ts");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(3));
    const double first = player.sink.pictures().front().seconds;
    const Stopwatch watch;
    ASSERT_TRUE(jump(player, 0.0, 11));
    EXPECT_NEAR(firstAfterJump(player), first, 0.001);
    const auto pictures = player.sink.picturesSinceFlush();
    EXPECT_GE(watch.at(pictures[10].arrived), 10 * tick - 0.01);
}

TEST(LFileSeek, BehindTheEndTheLastPictureStands) {
    FilePlayer player("h264_aac.mp4");
    player.file.setProps("eof_hold", "true");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(3));
    for (const double ms : {4000.0, 60000.0}) {
        ASSERT_TRUE(jump(player, ms, 1)) << ms;
        std::this_thread::sleep_for(150ms);
        const auto pictures = player.sink.picturesSinceFlush();
        ASSERT_EQ(pictures.size(), 1U) << ms;
        EXPECT_NEAR(pictures[0].seconds, 3.96, 0.001) << ms;
        EXPECT_EQ(player.status(), 1);
    }
    // And back again.
    ASSERT_TRUE(jump(player, 1000.0, 3));
    EXPECT_NEAR(firstAfterJump(player), 1.0, 0.001);
}

TEST(LFileSeek, BehindTheEndWithoutHoldItEnds) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(3));
    player.file.setPos(1e9);
    EXPECT_TRUE(player.waitForEnd());
}

TEST(LFileSeek, BehindTheEndWithLoopItStartsAgain) {
    FilePlayer player("h264_aac.mp4");
    player.file.setProps("loop", "true");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(3));
    const std::size_t flushes = player.sink.flushCount();
    player.file.setPos(10000.0);
    ASSERT_TRUE(waitUntil([&] {
        return player.sink.flushCount() >= flushes + 2 &&
               player.sink.picturesSinceFlush().size() >= 3;
    }));
    EXPECT_EQ(firstAfterJump(player), 0.0);
}

TEST(LFileSeek, PositionsThatAreNoneDoNoHarm) {
    for (const double ms : {std::nan(""), std::numeric_limits<double>::infinity(), 1e300}) {
        FilePlayer player("silent.mp4");
        player.file.setProps("eof_hold", "true");
        ASSERT_TRUE(player.file.play());
        player.file.setPos(ms);
        ASSERT_TRUE(waitUntil([&] { return player.sink.flushCount() >= 2; })) << ms;
        ASSERT_TRUE(jump(player, 400.0, 3)) << ms;
        EXPECT_NEAR(firstAfterJump(player), 0.4, 0.001) << ms;
    }
}

// ------------------------------------------------------------------------------------- pacing

class NoBurst : public testing::TestWithParam<const char*> {};

TEST_P(NoBurst, FollowsAJump) {
    FilePlayer player(GetParam());
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(3));
    for (const double ms : {2400.0, 400.0}) {
        const Stopwatch watch;
        ASSERT_TRUE(jump(player, ms, 11));
        const auto pictures = player.sink.picturesSinceFlush();
        EXPECT_GE(watch.at(pictures[10].arrived), 10 * tick - 0.01) << ms;
        EXPECT_LE(watch.at(pictures[10].arrived), 10.0) << ms;
    }
}

INSTANTIATE_TEST_SUITE_P(LFileSeek, NoBurst, testing::Values("h264_aac.mp4", "long_gop.mp4"));

TEST(LFileSeek, PacingAtAnotherRateRestartsAtTheTarget) {
    FilePlayer player("h264_aac.mp4");
    player.file.setProps("rate", "2");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(3));
    const Stopwatch watch;
    ASSERT_TRUE(jump(player, 2000.0, 21));
    EXPECT_GE(watch.at(player.sink.picturesSinceFlush()[20].arrived), 20 * tick / 2 - 0.01);
}

TEST(LFileSeek, AJumpWhilePausedStartsPacingAtTheTarget) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(3));
    player.file.pause();
    std::this_thread::sleep_for(500ms);
    const Stopwatch watch;
    ASSERT_TRUE(jump(player, 1000.0, 11));
    EXPECT_NEAR(firstAfterJump(player), 1.0, 0.001);
    EXPECT_GE(watch.at(player.sink.picturesSinceFlush()[10].arrived), 10 * tick - 0.01);
}

TEST(LFileSeek, AJumpEndsATimedPause) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(1));
    player.file.pause(60000.0);
    ASSERT_TRUE(jump(player, 1000.0, 5));
    EXPECT_NEAR(firstAfterJump(player), 1.0, 0.001);
}

TEST(LFileSeek, ACuedFileStartsAtThePosition) {
    FilePlayer player("long_gop.mp4");
    player.file.ready();
    ASSERT_TRUE(jump(player, 3000.0, 5));
    EXPECT_NEAR(firstAfterJump(player), 3.0, 0.001);
    EXPECT_EQ(irregularity(player.sink.picturesSinceFlush(), tick), "");
}

TEST(LFileSeek, APositionSetBeforePlayIsWhereItStarts) {
    FilePlayer player("h264_aac.mp4");
    player.file.setPos(2000.0);
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(3));
    EXPECT_NEAR(player.sink.pictures().front().seconds, 2.0, 0.001);
}

TEST(LFileSeek, OfManyJumpsTheLastOneCounts) {
    FilePlayer player("long_gop.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(1));
    for (int i = 0; i < 200; ++i)
        player.file.setPos(i * 7919 % 5500);
    player.file.setPos(3000.0);
    ASSERT_TRUE(waitUntil([&] {
        return std::fabs(firstAfterJump(player) - 3.0) < 0.001 &&
               player.sink.picturesSinceFlush().size() >= 5;
    }));
    EXPECT_EQ(irregularity(player.sink.picturesSinceFlush(), tick), "");
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.waitForEnd());
    EXPECT_EQ(player.sink.picturesSinceFlush().size(), 75U);
}

TEST(LFileSeek, AfterAJumpAllTheRestComes) {
    FilePlayer player("long_gop.mp4");
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(1));
    player.file.setPos(5000.0);
    ASSERT_TRUE(player.waitForEnd());
    const auto pictures = player.sink.picturesSinceFlush();
    EXPECT_EQ(pictures.size(), 25U);
    EXPECT_NEAR(pictures.back().seconds, 5.96, 0.001);
}

// -------------------------------------------------------------------------------------- sound

TEST(LFileSeek, SoundBeforeTheTargetIsNotHeard) {
    for (const char* clip : {"h264_aac.mp4", "long_gop.mp4", "av_tc.mxf"}) {
        FilePlayer player(clip);
        ASSERT_TRUE(player.file.play());
        ASSERT_TRUE(player.sink.waitForPictures(3));
        ASSERT_TRUE(jump(player, 1500.0, 3));
        ASSERT_TRUE(waitUntil([&] { return player.sink.soundsSinceFlush().size() >= 3; })) << clip;
        const SoundSeen first = player.sink.soundsSinceFlush().front();
        EXPECT_GT(first.seconds + static_cast<double>(first.samples) / first.sampleRate, 1.5 - 1e-6)
            << clip;
        EXPECT_LE(first.seconds, 1.5 + 0.05) << clip;
    }
}

TEST(LFileSeek, InSoundAlone) {
    for (const char* clip : {"flac.flac", "mono.wav", "cover.mp3"}) {
        FilePlayer player(clip);
        ASSERT_TRUE(player.file.play());
        ASSERT_TRUE(player.sink.waitForSounds(1));
        for (const double ms : {600.0, 100.0}) {
            const std::size_t flushes = player.sink.flushCount();
            const Stopwatch watch;
            player.file.setPos(ms);
            ASSERT_TRUE(waitUntil([&] {
                const auto sounds = player.sink.soundsSinceFlush();
                return player.sink.flushCount() > flushes && !sounds.empty() &&
                       sounds.back().seconds > ms / 1000.0 + 0.25;
            })) << clip;
            const auto sounds = player.sink.soundsSinceFlush();
            EXPECT_LE(sounds.front().seconds, ms / 1000.0 + 0.1) << clip;
            EXPECT_GT(sounds.front().seconds +
                          static_cast<double>(sounds.front().samples) / sounds.front().sampleRate,
                      ms / 1000.0 - 1e-6)
                << clip;
            // Paced from the target on.
            EXPECT_GE(watch.at(sounds.back().arrived), sounds.back().seconds - ms / 1000.0 - 0.01)
                << clip;
        }
    }
}

// ------------------------------------------------------------------------ time codes, getters

TEST(LFileSeek, ThePositionIsToldAfterwards) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(1));
    ASSERT_TRUE(jump(player, 2000.0, 1));
    EXPECT_GE(player.file.getPosMs(), 2000.0);
    EXPECT_LE(player.file.getPosMs(), 4000.0);
    EXPECT_GE(player.file.getTimeCode(), "10:00:02:00");
    EXPECT_EQ(player.sink.picturesSinceFlush().front().timecode, "10:00:02:00");
}

TEST(LFileSeek, ToATimecode) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(2));
    const std::size_t flushes = player.sink.flushCount();
    player.file.setPosTC("10:00:01:13");
    ASSERT_TRUE(waitUntil([&] {
        return player.sink.flushCount() > flushes && !player.sink.picturesSinceFlush().empty();
    }));
    EXPECT_EQ(player.sink.picturesSinceFlush().front().timecode, "10:00:01:13");
    EXPECT_NEAR(firstAfterJump(player), 1.52, 0.001);
}

TEST(LFileSeek, EachTimecodeOfAStampLeadsBackToItsPicture) {
    for (const char* clip : {"h264_aac.mp4", "rate2997.mp4"}) {
        FilePlayer player(clip);
        player.file.setProps("rate", "4");
        ASSERT_TRUE(player.file.play());
        ASSERT_TRUE(player.sink.waitForPictures(60));
        const auto pictures = player.sink.pictures();
        for (const std::size_t i : {3U, 17U, 31U, 59U}) {
            const std::size_t flushes = player.sink.flushCount();
            player.file.setPosTC(pictures[i].timecode);
            ASSERT_TRUE(waitUntil([&] {
                return player.sink.flushCount() > flushes &&
                       !player.sink.picturesSinceFlush().empty();
            }));
            if (clip == std::string("h264_aac.mp4")) {
                EXPECT_NEAR(firstAfterJump(player), pictures[i].seconds, 0.001) << clip;
            }
        }
    }
}

TEST(LFileSeek, ATimecodeBeforeTheStartIsTheStart) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(10));
    const std::size_t flushes = player.sink.flushCount();
    player.file.setPosTC("09:59:59:24");
    ASSERT_TRUE(waitUntil([&] {
        return player.sink.flushCount() > flushes && !player.sink.picturesSinceFlush().empty();
    }));
    EXPECT_EQ(firstAfterJump(player), 0.0);
}

TEST(LFileSeek, ATextOfOtherThanFourNumbersIsIgnored) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(2));
    for (const char* text : {"", "10:00:01", "10:00:01:", "now", "10-00-01-00", ":::"})
        player.file.setPosTC(text);
    ASSERT_TRUE(player.sink.waitForPictures(player.sink.pictureCount() + 5));
    EXPECT_EQ(irregularity(player.sink.pictures(), tick), "");
    EXPECT_EQ(player.sink.flushCount(), 1U);
}

TEST(LFileSeek, AFileWithoutATimecodeIgnoresOne) {
    FilePlayer player("silent.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(2));
    player.file.setPosTC("00:00:00:20");
    ASSERT_TRUE(player.sink.waitForPictures(10));
    EXPECT_EQ(irregularity(player.sink.pictures(), tick), "");
    EXPECT_EQ(player.sink.flushCount(), 1U);
}

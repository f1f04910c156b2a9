// What hosts, filters and clips do to a file player that nobody means well with.
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <utility>

#include "quolsdk/LFilter.h"
#include "support/CapturedStream.h"
#include "support/FilePlayer.h"

namespace {

using test::FilePlayer;
using test::Stopwatch;
using test::waitUntil;
using namespace std::chrono_literals;

constexpr double stopLimit =
    5.0; // seconds; a second is meant, on a machine with nothing else to do

// ------------------------------------------------------------------------- chains without end

// A filter that repeats its picture for ever.
class EndlessFilter : public testing::TestWithParam<std::pair<const char*, const char*>> {
protected:
    LFilter filter{LFilter::Type::video}; // outlives its use by the player
    FilePlayer player{"silent.mp4"};
    EndlessFilter() {
        filter.setProps(GetParam().first, GetParam().second);
        player.file.setVideoFilter(&filter);
    }
};

TEST_P(EndlessFilter, DoesNotKeepStopWaiting) {
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(3));
    const Stopwatch watch;
    player.file.stop();
    EXPECT_LT(watch.seconds(), stopLimit);
    EXPECT_EQ(player.status(), 0);
    // Of all that it would still give some goes out, behind what was paced.
    const auto pictures = player.sink.pictures();
    EXPECT_LE(std::count_if(pictures.begin(), pictures.end(),
                            [](const auto& picture) { return picture.timecode.empty(); }),
              100);
}

TEST_P(EndlessFilter, DoesNotKeepPauseFromHolding) {
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(3));
    player.file.pause();
    // One picture may be on its way.
    std::this_thread::sleep_for(200ms);
    const std::size_t before = player.sink.pictureCount();
    std::this_thread::sleep_for(400ms);
    EXPECT_EQ(player.sink.pictureCount(), before);
    player.file.resume();
    EXPECT_TRUE(player.sink.waitForPictures(before + 3));
}

TEST_P(EndlessFilter, DoesNotKeepAJumpFromBeingMade) {
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(3));
    const std::size_t flushes = player.sink.flushCount();
    player.file.setPos(0.0);
    EXPECT_TRUE(waitUntil([&] { return player.sink.flushCount() > flushes; }));
}

INSTANTIATE_TEST_SUITE_P(Filters, EndlessFilter,
                         testing::Values(std::pair{"loop", "loop=-1:size=1:start=0"},
                                         std::pair{"tpad", "stop=-1"}));

// ------------------------------------------------------------------------ late first pictures

TEST(LFileAwkward, APictureThatBeginsLongBehindTheSoundPlaysInItsTime) {
    FilePlayer player("late_picture.mkv");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(26));
    const auto pictures = player.sink.pictures();
    const auto second = static_cast<double>(pictures[25].arrived - pictures[0].arrived) / 1e9;
    EXPECT_NEAR(pictures[25].seconds - pictures[0].seconds, 1.0, 0.01);
    EXPECT_GT(second, 0.8); // all at once before
}

TEST(LFileAwkward, BehindAGapTheRestPlaysInItsTime) {
    FilePlayer player("gap.mkv");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(50));
    const auto pictures = player.sink.pictures();
    const auto rest = static_cast<double>(pictures[49].arrived - pictures[25].arrived) / 1e9;
    EXPECT_GT(rest, 0.8); // 24 pictures of 40 ms
}

// ------------------------------------------------------------------------- pictures far apart

TEST(LFileAwkward, PicturesNearlyASecondApartAreWaitedFor) {
    for (const auto& [clip, rate] : {std::pair{"slow.mkv", "1"}, {"slower.mkv", "1.3"}}) {
        FilePlayer player(clip);
        player.file.setProps("rate", rate);
        const Stopwatch watch;
        ASSERT_TRUE(player.file.play());
        ASSERT_TRUE(player.sink.waitForPictures(3));
        const test::PictureSeen third = player.sink.pictures()[2];
        EXPECT_GE(watch.at(third.arrived), third.seconds / player.file.rate - 0.01) << clip;
    }
}

// It is the time on the clock that counts. A machine that is away for long enough between two of
// them waits for the rest of the second.
TEST(LFileAwkward, PicturesMoreThanASecondApartAreNotWaitedFor) {
    for (const auto& [clip, rate] : {std::pair{"slower.mkv", "1"}, {"slow.mkv", "0.75"}}) {
        FilePlayer player(clip);
        player.file.setProps("rate", rate);
        ASSERT_TRUE(player.file.play());
        ASSERT_TRUE(player.sink.waitForPictures(11));
        const auto pictures = player.sink.pictures();
        const double all = static_cast<double>(pictures[10].arrived - pictures[0].arrived) / 1e9;
        EXPECT_LT(all, 9.0) << clip; // 12 seconds of clock
    }
}

// ------------------------------------------------------------------- jumps and pauses in a row

TEST(LFileAwkward, AJumpBeforeAPauseShowsItsPicture) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(3));
    player.file.setPos(2500.0);
    player.file.pause();
    EXPECT_TRUE(waitUntil([&] {
        const auto pictures = player.sink.pictures();
        return !pictures.empty() && std::abs(pictures.back().seconds - 2.48) < 0.05;
    }));
    // And stands there.
    std::this_thread::sleep_for(300ms);
    const std::size_t before = player.sink.pictureCount();
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(player.sink.pictureCount(), before);
}

TEST(LFileAwkward, AJumpBeforeAPauseShowsOnePicture) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(3));
    // A player that is quicker than these two calls plays on in between: then once more.
    EXPECT_TRUE(waitUntil([&] {
        const std::size_t flushes = player.sink.flushCount();
        player.file.setPos(2500.0);
        player.file.pause();
        EXPECT_TRUE(waitUntil([&] { return player.sink.flushCount() > flushes; }));
        EXPECT_TRUE(waitUntil([&] { return !player.sink.picturesSinceFlush().empty(); }));
        std::this_thread::sleep_for(300ms);
        return player.sink.picturesSinceFlush().size() == 1;
    }));
}

TEST(LFileAwkward, AJumpBeforeAPauseHoldsSoundAloneToo) {
    FilePlayer player("flac.flac");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForSounds(3));
    player.file.setPos(500.0);
    player.file.pause();
    std::this_thread::sleep_for(300ms);
    const std::size_t before = player.sink.soundCount();
    std::this_thread::sleep_for(400ms);
    EXPECT_EQ(player.sink.soundCount(), before);
}

TEST(LFileAwkward, AJumpInTheLastMomentOfALoopIsMade) {
    FilePlayer player("silent.mp4"); // one second
    player.file.setProps("loop", "true");
    ASSERT_TRUE(player.file.play());
    for (int round = 0; round < 3; ++round) {
        // The last picture is up, and the player waits to start again.
        ASSERT_TRUE(waitUntil([&] {
            const auto pictures = player.sink.pictures();
            return !pictures.empty() && pictures.back().seconds > 0.95;
        }));
        player.sink.clear();
        player.file.setPos(600.0);
        ASSERT_TRUE(player.sink.waitForPictures(2));
        EXPECT_NEAR(player.sink.pictures().back().seconds, 0.64, 0.05);
    }
}

TEST(LFileAwkward, APauseInTheLastMomentOfALoopHolds) {
    FilePlayer player("silent.mp4");
    player.file.setProps("loop", "true");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(waitUntil([&] {
        const auto pictures = player.sink.pictures();
        return !pictures.empty() && pictures.back().seconds > 0.95;
    }));
    player.file.pause();
    std::this_thread::sleep_for(200ms);
    const std::size_t before = player.sink.pictureCount();
    std::this_thread::sleep_for(400ms);
    EXPECT_EQ(player.sink.pictureCount(), before);
}

TEST(LFileAwkward, AnInPointBehindTheOutPointDoesNotRace) {
    FilePlayer player("h264_aac.mp4");
    player.file.setProps("loop", "true");
    player.file.inPointMs = 3000.0;
    player.file.outPointMs = 500.0;
    ASSERT_TRUE(player.file.play());
    std::this_thread::sleep_for(1500ms);
    player.file.stop();
    // Twelve pictures up to the out point, then one jump for each 40 ms at the most.
    EXPECT_LT(player.sink.pictureCount(), 12U + 40U);
}

// -------------------------------------------------------------------------------- the opening

TEST(LFileAwkward, APipeIsNoFile) {
    const std::string path = test::temporaryPath("pipe.mp4");
    ASSERT_EQ(std::system(("mkfifo " + path).c_str()), 0);
    LFile file;
    for (const std::string& name : {path, "file:" + path}) {
        file.fileNameSet(name);
        EXPECT_FALSE(file.play());
    }
}

TEST(LFileAwkward, ACountOfChannelsWithoutALayoutIsHeard) {
    FilePlayer player("ten_channels.wav");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForSounds(3));
    EXPECT_EQ(player.sink.sounds().front().channels, 10);
}

} // namespace

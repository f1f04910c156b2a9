// What a replay stores of what it is given.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <sstream>
#include <thread>

#include "outputs/ReplayFiles.h"
#include "quolsdk/LReplay.h"
#include "quolsdk/quolsdk_c_api.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/FilePlayer.h"
#include "support/Frames.h"
#include "support/HostsOwnFrame.h"
#include "support/NoThreads.h"
#include "support/PlainFrames.h"
#include "support/Replays.h"
#include "support/WallClock.h"

namespace {

using test::ReplayStation;
using test::secondOfDay;
using testing::ElementsAre;

std::uintmax_t sizeOf(const std::string& path) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    return error ? 0 : size;
}

TEST(LReplay, NewHasItsDefaults) {
    LReplay replay;
    videoFormatProps video;
    replay.getVideoFormat(video);
    EXPECT_EQ(video.mode, 13U);
    EXPECT_EQ(replay.getWidth(), 1920);
    EXPECT_EQ(replay.getHeight(), 1080);
    EXPECT_EQ(replay.getFPS(), 50.0);
    audioFormatProps audio;
    replay.getAudioFormat(audio);
    EXPECT_EQ(audio.sampleRate, 48000);
    EXPECT_EQ(audio.channels, 2);
    EXPECT_EQ(replay.getModeName(), "Replay");
    EXPECT_EQ(test::statusOf(replay), 0);
    EXPECT_EQ(replay.getTotalFrames(), 0);
    EXPECT_EQ(replay.getDurationMs(), 0.0);
    EXPECT_EQ(replay.getPos(), 0);
    EXPECT_EQ(replay.getCurrentFrame(), 0);
    EXPECT_EQ(replay.getPosMs(), 0.0);
    EXPECT_EQ(replay.getPosTC(), "00:00:00:00");
    EXPECT_EQ(replay.getTimeCode(), "00:00:00:00");
}

TEST(LReplay, FormatsAreStored) {
    LReplay replay;
    replay.setVideoFormat({9, 1, 1, 1.0, 3});
    videoFormatProps video;
    replay.getVideoFormat(video);
    EXPECT_EQ(video.width, 1920);
    EXPECT_EQ(video.fps, 25.0);
    replay.setAudioFormat({8, 24, 44100, 4}); // copied, its mode is not looked up
    audioFormatProps audio;
    replay.getAudioFormat(audio);
    EXPECT_EQ(audio.mode, 8U);
    EXPECT_EQ(audio.sampleRate, 44100);
    EXPECT_EQ(audio.channels, 4);
}

TEST(LReplay, PropertiesThatAreNoNumberRaise) {
    LReplay replay;
    EXPECT_THROW(replay.setProps("quality", "good"), std::invalid_argument);
    EXPECT_THROW(replay.setProps("timecodeSource", ""), std::invalid_argument);
    EXPECT_THROW(replay.setProps("quality", "99999999999"), std::out_of_range);
    replay.setProps("quality", "500");
    replay.setProps("no such key", "no number");
}

TEST(LReplayRecord, StoresEachPictureOfASourceAtItsRate) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    EXPECT_EQ(test::statusOf(station.replay), 2);
    station.record(100);
    EXPECT_EQ(station.replay.getTotalFrames(), 100);
    EXPECT_NEAR(station.replay.getDurationMs(), 1980.0, 1e-9);
    station.replay.stopRecording();
    EXPECT_EQ(test::statusOf(station.replay), 0);
    EXPECT_GT(sizeOf(station.videoPath()), 0U);
    EXPECT_EQ(sizeOf(station.audioPath()), 0U);
    for (const int frame : {0, 1, 29, 57, 58, 99}) {
        const auto picture = station.shown(frame);
        ASSERT_TRUE(picture);
        EXPECT_EQ(picture->number, frame);
        char timecode[64];
        std::snprintf(timecode, sizeof timecode, "10:00:%02d:%02d", frame / 50, frame % 50);
        EXPECT_EQ(picture->timecode, timecode);
        EXPECT_EQ(station.replay.getPosTC(), timecode);
        EXPECT_NEAR(station.replay.getPosMs(), frame * 20.0, 1e-9);
    }
}

TEST(LReplayRecord, SimplePicturesAreStoredForAsLongAsTheyCome) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    station.record(1000); // far below the bit rate
    ASSERT_EQ(station.replay.getTotalFrames(), 1000);
    for (const int frame : {10, 24, 25, 26, 500, 999})
        EXPECT_EQ(station.shown(frame)->number, frame);
}

TEST(LReplayRecord, DoesNothingBeforeItIsStarted) {
    ReplayStation station;
    station.record(3);
    station.replay.pushVideoFrame(nullptr);
    station.replay.pushAudioFrame(nullptr);
    EXPECT_EQ(station.replay.getTotalFrames(), 0);
    EXPECT_FALSE(std::filesystem::exists(station.videoPath()));
    ASSERT_TRUE(station.replay.startRecording());
    station.replay.pushVideoFrame(nullptr);
    station.replay.pushAudioFrame(nullptr);
    EXPECT_EQ(station.replay.getTotalFrames(), 0);
}

TEST(LReplayRecord, FlushAndPauseOfItsSourceAreNothingToIt) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    station.record(3);
    station.replay.flush();
    EXPECT_EQ(station.replay.getTotalFrames(), 3);
    station.replay.setPaused(true);
    station.push(3, {1, 50});
    EXPECT_EQ(station.replay.getTotalFrames(), 4);
    station.replay.setPaused(false);
    station.push(4, {1, 50});
    EXPECT_EQ(station.replay.getTotalFrames(), 5);
    EXPECT_EQ(station.shown(3)->number, 3);
}

TEST(LReplayRecord, AtHalfTheRateTwoEntriesShareAPicture) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    station.push(0, {1, 25});
    const auto one = sizeOf(station.videoPath());
    station.push(1, {1, 25});
    const auto two = sizeOf(station.videoPath());
    station.push(2, {1, 25});
    EXPECT_GT(two, one);
    EXPECT_LT(two, one + one + one / 2) << "once for both";
    ASSERT_EQ(station.replay.getTotalFrames(), 5); // 0, 1 and 2, 3 and 4
    std::vector<int> numbers;
    for (int frame = 0; frame < 5; ++frame)
        numbers.push_back(station.shown(frame)->number);
    EXPECT_THAT(numbers, ElementsAre(0, 1, 1, 2, 2));
}

TEST(LReplayRecord, AtTwiceTheRateEveryOtherPictureIsDropped) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    station.record(20, {1, 100});
    ASSERT_EQ(station.replay.getTotalFrames(), 10);
    for (int frame = 0; frame < 10; ++frame)
        EXPECT_EQ(station.shown(frame)->number, 2 * frame);
}

// What each slot must show: the first picture that is as late as the slot or later, of those that
// have one.
std::vector<int> expectedSlots(int pictures, double sourceRate, double rate) {
    std::vector<int> slots;
    for (int number = 0; number < pictures; ++number) {
        const auto target = static_cast<std::int64_t>(number / sourceRate * rate + 1e-6);
        while (static_cast<std::int64_t>(slots.size()) <= target)
            slots.push_back(number);
    }
    return slots;
}

class LReplayRates : public testing::TestWithParam<std::pair<AVRational, double>> {};

TEST_P(LReplayRates, EveryPictureIsAtItsSlot) {
    const auto [timeBase, rate] = GetParam();
    ReplayStation station(rate);
    ASSERT_TRUE(station.replay.startRecording());
    constexpr int pictures = 60;
    station.record(pictures, timeBase);
    const auto expected = expectedSlots(pictures, 1.0 / av_q2d(timeBase), rate);
    ASSERT_EQ(station.replay.getTotalFrames(), static_cast<int>(expected.size()));
    for (std::size_t frame = 0; frame < expected.size(); ++frame) {
        const auto picture = station.shown(static_cast<int>(frame));
        ASSERT_TRUE(picture);
        ASSERT_EQ(picture->number, expected[frame]) << frame;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Sources, LReplayRates,
    testing::Values(std::pair{AVRational{1001, 24000}, 50.0}, std::pair{AVRational{1, 25}, 50.0},
                    std::pair{AVRational{1001, 30000}, 50.0}, std::pair{AVRational{1, 50}, 50.0},
                    std::pair{AVRational{1001, 60000}, 50.0},
                    std::pair{AVRational{1001, 24000}, 24000.0 / 1001},
                    std::pair{AVRational{1001, 30000}, 30000.0 / 1001},
                    std::pair{AVRational{1001, 60000}, 60000.0 / 1001},
                    std::pair{AVRational{1, 25}, 25.0}, std::pair{AVRational{1, 25}, 29.97}));

TEST(LReplayRecord, OfAClockThatHasRunForYearsNoPictureIsLost) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    const std::int64_t first = 1'763'000'000LL * 90000 + 1234;
    for (int number = 0; number < 200; ++number) {
        const auto picture = test::numberedPicture(number, first + number * 1800, {1, 90000});
        station.replay.pushVideoFrame(picture.get());
    }
    ASSERT_EQ(station.replay.getTotalFrames(), 200);
    for (const int frame : {0, 29, 58, 113, 199})
        EXPECT_EQ(station.shown(frame)->number, frame);
}

TEST(LReplayRecord, AHoleIsFilledWithThePictureBehindIt) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    for (const int number : {0, 1, 2, 10, 11})
        station.push(number, {1, 50});
    ASSERT_EQ(station.replay.getTotalFrames(), 12);
    std::vector<int> numbers;
    for (int frame = 0; frame < 12; ++frame)
        numbers.push_back(station.shown(frame)->number);
    EXPECT_THAT(numbers, ElementsAre(0, 1, 2, 10, 10, 10, 10, 10, 10, 10, 10, 11));
}

TEST(LReplayRecord, AJumpOfMoreThanADayIsNoHole) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    station.record(3);
    station.push(4'400'000, {1, 50});
    station.push(4'400'001, {1, 50});
    EXPECT_EQ(station.replay.getTotalFrames(), 5);
    const auto picture = test::numberedPicture(7, std::numeric_limits<std::int64_t>::max(), {1, 1});
    station.replay.pushVideoFrame(picture.get());
    EXPECT_EQ(station.replay.getTotalFrames(), 6);
    EXPECT_EQ(station.shown(5)->number, 7);
}

// The times of a source that jumps for one picture, and for good.
TEST(LReplayRecord, AfterOneAbsurdTimeTheSourcesTimesGoOn) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    station.record(3);
    const auto absurd = test::numberedPicture(77, 1'000'000, {1, 1});
    station.replay.pushVideoFrame(absurd.get());
    for (const int number : {3, 4, 5, 6})
        station.push(number, {1, 50});
    ASSERT_EQ(station.replay.getTotalFrames(), 7); // the absurd one took the place of 3
    std::vector<int> numbers;
    for (int frame = 0; frame < 7; ++frame)
        numbers.push_back(station.shown(frame)->number);
    EXPECT_THAT(numbers, ElementsAre(0, 1, 2, 77, 4, 5, 6));
}

TEST(LReplayRecord, AfterAJumpThatStaysTheNewTimesCountUntilTheOldOnesComeAgain) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    station.record(3);
    const auto pushAt = [&](std::int64_t pts, int number) {
        station.replay.pushVideoFrame(test::numberedPicture(number, pts, {1, 50}).get());
    };
    constexpr std::int64_t far = 1'000'000'000;
    pushAt(far, 3);
    pushAt(far + 1, 4);
    pushAt(far + 3, 5); // with a hole
    pushAt(7, 6);       // the old times, as if they had run on
    pushAt(8, 7);
    ASSERT_EQ(station.replay.getTotalFrames(), 9);
    std::vector<int> numbers;
    for (int frame = 0; frame < 9; ++frame)
        numbers.push_back(station.shown(frame)->number);
    EXPECT_THAT(numbers, ElementsAre(0, 1, 2, 3, 4, 5, 5, 6, 7));
}

TEST(LReplayRecord, SoundBehindAJumpBelongsToThePictureThatJumped) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    constexpr std::int64_t far = 1'000'000'000; // in pictures
    int number = 0;
    for (const std::int64_t at : {std::int64_t{0}, std::int64_t{1}, far, far + 1, far + 2}) {
        station.replay.pushVideoFrame(test::numberedPicture(number++, at, {1, 50}).get());
        station.replay.pushAudioFrame(test::numberedSound(at * 960, 960).get());
    }
    ASSERT_EQ(station.replay.getTotalFrames(), 5);
    for (const int frame : {4, 3, 2, 1, 0}) {
        station.sink.clear();
        station.shown(frame);
        ASSERT_TRUE(test::waitUntil([&] { return !station.sink.blocks().empty(); })) << frame;
        EXPECT_EQ(station.sink.blocks()[0].pts, frame * 960);
    }
}

TEST(LReplayRecord, AnAbsurdFirstTimeFillsNothing) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    station.replay.pushVideoFrame(test::numberedPicture(1, most, {1, 1}).get());
    EXPECT_EQ(station.replay.getTotalFrames(), 1);
    auto sound = test::numberedSound(0, 960);
    sound->pts = most;
    sound->time_base = {1, 1};
    station.replay.pushAudioFrame(sound.get());
    station.shown(0);
    ASSERT_TRUE(test::waitUntil([&] { return !station.sink.blocks().empty(); }));
    EXPECT_EQ(station.sink.blocks()[0].pts, 0);
}

TEST(LReplayRecord, ADayIsAHoleAndASlotMoreIsNone) {
    constexpr int day = 4'320'000;
    {
        ReplayStation station;
        ASSERT_TRUE(station.replay.startRecording());
        station.push(0, {1, 50});
        station.replay.pushVideoFrame(test::numberedPicture(1, day, {1, 50}).get());
        ASSERT_EQ(station.replay.getTotalFrames(), day + 1);
        // Each has its own time code, also where one batch of entries ends and the next begins.
        for (const int frame : {1, 2, 4096, 4097, 4098, 8192, 8193, day - 1, day}) {
            const int seconds = frame / 50;
            char timecode[64];
            std::snprintf(timecode, sizeof timecode, "%02d:%02d:%02d:%02d", 10 + seconds / 3600,
                          seconds / 60 % 60, seconds % 60, frame % 50);
            EXPECT_EQ(station.shown(frame)->number, 1);
            // The first has the picture's own.
            EXPECT_EQ(station.replay.getPosTC(), frame == 1 ? "34:00:00:00" : timecode);
            EXPECT_NEAR(station.replay.getPosMs(), frame * 20.0, 1e-6);
        }
    }
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    station.push(0, {1, 50});
    station.replay.pushVideoFrame(test::numberedPicture(1, day + 1, {1, 50}).get());
    EXPECT_EQ(station.replay.getTotalFrames(), 2);
}

TEST(LReplayRecord, TimesThatGoBackAreDroppedUntilTheyAreBack) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    for (const int number : {10, 11, 5, 11, 10, 12})
        station.push(number, {1, 50});
    ASSERT_EQ(station.replay.getTotalFrames(), 3);
    EXPECT_EQ(station.shown(2)->number, 12);
}

// Its time is the time since the start, which is the earlier one here: it counts as 0.
TEST(LReplayRecord, APictureWithoutATimeBehindLaterOnesHolds) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    station.push(50000, {1, 50}); // at 1000 s
    station.push(50001, {1, 50});
    ASSERT_EQ(station.replay.getTotalFrames(), 2);
    const auto untimed = test::numberedPicture(7, AV_NOPTS_VALUE, {1, 50});
    station.replay.pushVideoFrame(untimed.get());
    EXPECT_EQ(station.replay.getTotalFrames(), 2);
    station.push(50002, {1, 50});
    EXPECT_EQ(station.replay.getTotalFrames(), 3);
    EXPECT_EQ(station.shown(1)->number, 50001);
    EXPECT_EQ(station.shown(2)->number, 50002);
}

TEST(LReplayRecord, APictureWithoutATimeBehindEarlierOnesFills) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    station.push(0, {1, 50});
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const auto untimed = test::numberedPicture(77, AV_NOPTS_VALUE, {1, 50});
    station.replay.pushVideoFrame(untimed.get());
    const int total = station.replay.getTotalFrames();
    ASSERT_GE(total, 11); // slots 0 to 10, or more where the machine is busy
    EXPECT_EQ(station.shown(0)->number, 0);
    EXPECT_EQ(station.shown(5)->number, 77);
    EXPECT_EQ(station.shown(total - 1)->number, 77);
    station.push(total + 100, {1, 50});
    EXPECT_EQ(station.replay.getTotalFrames(), total + 101);
}

TEST(LReplayRecord, WithoutTimesTheClockCounts) {
    ReplayStation station(1000.0);
    ASSERT_TRUE(station.replay.startRecording());
    for (int number = 0; number < 4; ++number) {
        const auto picture = test::numberedPicture(number, AV_NOPTS_VALUE, {0, 1});
        const int before = station.replay.getTotalFrames();
        ASSERT_TRUE(test::waitUntil([&] {
            station.replay.pushVideoFrame(picture.get());
            return station.replay.getTotalFrames() > before;
        }));
    }
    EXPECT_EQ(station.shown(0)->number, 0);
    EXPECT_EQ(station.shown(station.replay.getTotalFrames() - 1)->number, 3);
}

TEST(LReplayRecord, AChangeOfSizeGoesOnInTheSameFile) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    station.push(0, {1, 50});
    const auto wide = test::plainPicture(160, 96, {200, 128, 128});
    wide->pts = 1;
    wide->time_base = {1, 50};
    station.replay.pushVideoFrame(wide.get());
    station.push(2, {1, 50});
    ASSERT_EQ(station.replay.getTotalFrames(), 3);
    EXPECT_EQ(station.shown(0)->number, 0);
    EXPECT_EQ(station.shown(1)->number, 65535); // bright all over
    const auto last = station.shown(2);
    EXPECT_EQ(last->number, 2);
    EXPECT_EQ(last->width, 320);
    station.replay.setVideoFormat({1, 0, 0, 50.0, 0}); // native
    EXPECT_EQ(station.shown(1)->width, 160);
    EXPECT_EQ(station.shown(0)->width, 320);
}

TEST(LReplayRecord, PicturesOfAllFormatsAreStored) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    int number = 0;
    for (const AVPixelFormat format :
         {AV_PIX_FMT_UYVY422, AV_PIX_FMT_RGBA, AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_YUVA420P,
          AV_PIX_FMT_NV12, AV_PIX_FMT_YUVJ422P, AV_PIX_FMT_GRAY8}) {
        const auto picture = test::makePicture(320, 64, format, number++, {1, 50});
        station.replay.pushVideoFrame(picture.get());
        EXPECT_EQ(station.replay.getTotalFrames(), number) << format;
    }
}

TEST(LReplayRecord, APictureThatCannotBeReadIsDropped) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    auto picture = test::numberedPicture(1, 0, {1, 50});
    picture->data[1] = nullptr;
    station.replay.pushVideoFrame(picture.get());
    const quol::FramePtr empty = quol::makeFrame();
    station.replay.pushVideoFrame(empty.get());
    EXPECT_EQ(station.replay.getTotalFrames(), 0);
    station.push(1, {1, 50});
    EXPECT_EQ(station.replay.getTotalFrames(), 1);
}

TEST(LReplayRecord, OnlyInterleaved16BitStereoIsStored) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    for (const auto& [channels, format] : {std::pair{2, AV_SAMPLE_FMT_S16P},
                                           {2, AV_SAMPLE_FMT_FLT},
                                           {2, AV_SAMPLE_FMT_FLTP},
                                           {1, AV_SAMPLE_FMT_S16},
                                           {6, AV_SAMPLE_FMT_S16},
                                           {2, AV_SAMPLE_FMT_S32}}) {
        const auto sound = test::makeSound(480, 48000, channels, format);
        station.replay.pushAudioFrame(sound.get());
    }
    EXPECT_EQ(sizeOf(station.audioPath()), 0U);
    station.replay.pushAudioFrame(test::numberedSound(0, 480).get());
    EXPECT_EQ(sizeOf(station.audioPath()), 480U * 4);
    station.replay.pushAudioFrame(test::numberedSound(480, 960).get());
    EXPECT_EQ(sizeOf(station.audioPath()), 1440U * 4);
}

TEST(LReplayRecord, SoundBeforeTheFirstPictureIsDropped) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    station.push(50, {1, 50});
    station.replay.pushAudioFrame(test::numberedSound(0, 480).get());
    EXPECT_EQ(sizeOf(station.audioPath()), 0U);
    station.replay.pushAudioFrame(test::numberedSound(48000, 480).get());
    EXPECT_EQ(sizeOf(station.audioPath()), 480U * 4);
}

TEST(LReplayRecord, TheFirstFrameMayBeSound) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    station.replay.pushAudioFrame(test::numberedSound(48000, 480).get()); // at 1 s
    station.push(51, {1, 50});                                            // a slot later
    EXPECT_EQ(station.replay.getTotalFrames(), 2);
}

// ---------------------------------------------------------------------------- time codes

TEST(LReplayTimecode, OfTheFramesIsTakenWhereItIsLongEnough) {
    ReplayStation station;
    station.replay.setProps("timecodeSource", "1");
    station.replay.setProps("timecode", "false");
    ASSERT_TRUE(station.replay.startRecording());
    station.push(0, {1, 50}, "11:22:33:44");
    station.push(1, {1, 50}, "11:22:33:45;extra");
    station.push(2, {1, 50}, "1:2:3:4");
    station.push(3, {1, 50});
    EXPECT_EQ(station.shown(0)->timecode, "11:22:33:44");
    EXPECT_EQ(station.shown(1)->timecode, "11:22:33:45");
    EXPECT_EQ(station.shown(2)->timecode, "00:00:00:00");
    EXPECT_EQ(station.shown(3)->timecode, "00:00:00:00");
}

TEST(LReplayTimecode, OfTheFramesHasNoOwnForTheSlotsThatAreFilled) {
    ReplayStation station;
    station.replay.setProps("timecodeSource", "1");
    station.replay.setProps("timecode", "false");
    ASSERT_TRUE(station.replay.startRecording());
    station.push(0, {1, 25}, "11:22:33:00");
    station.push(1, {1, 25}, "11:22:33:01");
    EXPECT_EQ(station.shown(1)->timecode, "11:22:33:01");
    EXPECT_EQ(station.shown(2)->timecode, "11:22:33:01");
    // The later of the two.
    const auto found = station.after([&] { station.replay.posSetTC("11:22:33:01"); });
    EXPECT_EQ(station.replay.getPos(), 2);
    EXPECT_EQ(found->timecode, "11:22:33:01");
}

TEST(LReplayTimecode, OfTheFramesCountsOnFromTheLocalTimeWhereTheyHaveNone) {
    ReplayStation station; // "timecode" is on
    station.replay.setProps("timecodeSource", "1");
    ASSERT_TRUE(station.replay.startRecording());
    station.push(0, {1, 50});
    station.push(1, {1, 50}, "11:22:33:44");
    station.push(4, {1, 50}, "11:22:33:45"); // fills 2 to 4
    const std::string first = station.shown(0)->timecode;
    EXPECT_EQ(first.substr(8), ":00");
    EXPECT_NE(first, "10:00:00:00");
    EXPECT_EQ(station.shown(1)->timecode, "11:22:33:44");
    EXPECT_EQ(station.shown(2)->timecode, "11:22:33:45");
    EXPECT_EQ(station.shown(3)->timecode, first.substr(0, 8) + ":03");
    EXPECT_EQ(station.shown(4)->timecode, first.substr(0, 8) + ":04");
}

// At a rate of 1 only frame 0 is below it.
TEST(LReplayTimecode, OfTheClockNeverReachesTheRate) {
    for (const double rate : {1.0, 0.5, 2.0}) {
        ReplayStation station(rate);
        station.replay.setProps("timecodeSource", "0");
        ASSERT_TRUE(station.replay.startRecording());
        for (int number = 0; number < 20; ++number) {
            station.push(number, {4, 1});
            const int frames = std::stoi(station.shown(1000)->timecode.substr(9));
            EXPECT_LE(frames, std::max(0.0, rate - 1.0)) << rate;
        }
    }
}

TEST(LReplayTimecode, OfAStartTextCountsOn) {
    ReplayStation station;
    station.replay.setProps("timecodeStart", "23:59:59:48");
    ASSERT_TRUE(station.replay.startRecording());
    for (const int number : {0, 1, 2, 6})
        station.push(number, {1, 50});
    std::vector<std::string> timecodes;
    for (int frame = 0; frame < 7; ++frame)
        timecodes.push_back(station.shown(frame)->timecode);
    // The first of the slots that are filled has the picture's own, the others theirs.
    EXPECT_THAT(timecodes, ElementsAre("23:59:59:48", "23:59:59:49", "24:00:00:00", "24:00:00:04",
                                       "24:00:00:02", "24:00:00:03", "24:00:00:04"));
}

TEST(LReplayTimecode, IsZeroWhereNothingApplies) {
    ReplayStation station;
    station.replay.setProps("timecode", "yes"); // neither "true" nor "1"
    ASSERT_TRUE(station.replay.startRecording());
    station.record(3);
    for (int frame = 0; frame < 3; ++frame)
        EXPECT_EQ(station.shown(frame)->timecode, "00:00:00:00");
}

int secondsOf(const std::string& timecode) {
    int hours = -1;
    int minutes = -1;
    int seconds = -1;
    int frames = -1;
    EXPECT_EQ(std::sscanf(timecode.c_str(), "%d:%d:%d:%d", &hours, &minutes, &seconds, &frames), 4);
    EXPECT_LT(frames, 50);
    return hours * 3600 + minutes * 60 + seconds;
}

TEST(LReplayTimecode, OfTheClockIsTheLocalTimeAndCountsOnWithinAHole) {
    ReplayStation station;
    station.replay.setProps("timecodeSource", "0");
    const int before = secondOfDay();
    ASSERT_TRUE(station.replay.startRecording());
    station.push(0, {1, 50});
    station.push(100, {1, 50});
    const int after = secondOfDay();
    const int first = secondsOf(station.shown(0)->timecode);
    if (before <= after) { // not around midnight
        EXPECT_GE(first, before);
        EXPECT_LE(first, after);
    }
    const std::string own = station.shown(1)->timecode;
    EXPECT_EQ(secondsOf(station.shown(51)->timecode), secondsOf(own) + 1);
    EXPECT_EQ(station.shown(51)->timecode.substr(9), own.substr(9));
}

TEST(LReplayTimecode, OtherSourcesStartAtTheLocalTime) {
    ReplayStation station;
    station.replay.setProps("timecodeSource", "7");
    const int before = secondOfDay();
    ASSERT_TRUE(station.replay.startRecording());
    const int after = secondOfDay();
    station.record(1);
    const std::string timecode = station.shown(0)->timecode;
    EXPECT_EQ(timecode.substr(8), ":00");
    if (before <= after) {
        EXPECT_GE(secondsOf(timecode), before);
        EXPECT_LE(secondsOf(timecode), after);
    }
}

TEST(LReplayPictures, InAHostsOwnMemoryAreStoredToo) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    const auto picture = test::makePicture(64, 36, AV_PIX_FMT_YUV420P, 0, {1, 50}, 90);
    station.replay.pushVideoFrame(test::hostsOwn(*picture).get());
    EXPECT_EQ(station.replay.getTotalFrames(), 1);
    ASSERT_TRUE(station.shown(0));
}

TEST(LReplayPictures, InAHostsOwnMemoryWithRowsThatAreTooShortAreRefused) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    const auto picture = test::makePicture(64, 36, AV_PIX_FMT_YUV420P, 0, {1, 50}, 90);
    const quol::FramePtr own = test::hostsOwn(*picture);
    for (const int row : {0, 32, 63}) {
        std::fill_n(own->linesize, 3, row);
        station.replay.pushVideoFrame(own.get());
    }
    EXPECT_EQ(station.replay.getTotalFrames(), 0);
}

// ------------------------------------------------------------------ start, stop and clear

TEST(LReplayControl, StartFailsWhereTheFilesCannotBeMade) {
    ReplayStation station;
    station.replay.setRecordPath("/nowhere", "replay");
    EXPECT_FALSE(station.replay.startRecording());
    EXPECT_EQ(test::statusOf(station.replay), 0);
    station.replay.setRecordPath(station.folder, "replay");
    EXPECT_TRUE(station.replay.startRecording());
    station.replay.setRecordPath("/nowhere", "replay");
    station.replay.stopRecording();
    EXPECT_FALSE(station.replay.startRecording());
    EXPECT_EQ(test::statusOf(station.replay), 0);
}

TEST(LReplayControl, StartFailsWhereOneOfThemCannotBeMade) {
    ReplayStation station;
    std::filesystem::create_directory(station.audioPath());
    EXPECT_FALSE(station.replay.startRecording());
    EXPECT_EQ(test::statusOf(station.replay), 0);
    EXPECT_FALSE(std::filesystem::exists(station.videoPath())); // what was made goes again
    station.replay.clearRecording(); // and leaves alone what it has not made
    EXPECT_TRUE(std::filesystem::exists(station.audioPath()));
    // A file that was there stays.
    std::ofstream(station.videoPath()) << "mine";
    EXPECT_FALSE(station.replay.startRecording());
    EXPECT_TRUE(std::filesystem::exists(station.videoPath()));
}

TEST(LReplayControl, EmptyTextsAreTheDefaults) {
    const std::string folder = test::newFolder("empty_texts");
    const std::string before = std::filesystem::current_path();
    std::filesystem::current_path(folder);
    {
        LReplay replay;
        replay.setProps("name", "x");
        EXPECT_TRUE(replay.startRecording()); // as it is made
        EXPECT_TRUE(std::filesystem::exists(folder + "/replay_x_v.bin"));
        replay.clearRecording();
        EXPECT_TRUE(std::filesystem::is_empty(folder));
        replay.setRecordPath("", "");
        replay.setExportPath("", "");
        EXPECT_TRUE(replay.startRecording());
        EXPECT_TRUE(std::filesystem::exists(folder + "/replay_x_v.bin"));
        EXPECT_TRUE(std::filesystem::exists(folder + "/replay_x_a.bin"));
        replay.pushVideoFrame(test::numberedPicture(1, 0, {1, 50}).get());
        EXPECT_TRUE(replay.exportRange(0, 0, "")); // an empty folder stays one: here
        EXPECT_TRUE(std::filesystem::exists(folder + "/x_0s_0s.mov"));
        replay.setProps("name", "");
        replay.setExportPath(folder, "clip");
        EXPECT_TRUE(replay.exportRange(0, 0, ""));
        EXPECT_TRUE(std::filesystem::exists(folder + "/clip_0s_0s.mov"));
    }
    std::filesystem::current_path(before);
}

TEST(LReplayControl, WithoutAThreadItRecordsAndTheNextStartPlays) {
    const std::string folder = test::newFolder("no_thread");
    std::unique_ptr<LReplay> replay;
    {
        const test::NoThreads noThreads;
        ASSERT_TRUE(noThreads.works());
        test::CapturedStream error(test::CapturedStream::Stream::error);
        replay.reset(static_cast<LReplay*>(static_cast<LObject*>(quolsdk_replay_create())));
        ASSERT_NE(replay, nullptr);
        EXPECT_THAT(error.text(), testing::StartsWith("LReplay: No thread: "));
    }
    test::ReplaySink sink;
    test::told([&] { replay->addSink(&sink); });
    replay->setRecordPath(folder, "r");
    ASSERT_TRUE(replay->startRecording());
    replay->pushVideoFrame(test::numberedPicture(5, 0, {1, 50}).get());
    replay->posSet(0);
    EXPECT_TRUE(test::waitUntil([&] { return !sink.pictures().empty(); }));
    test::told([&] { replay->removeSink(&sink); });
}

TEST(LReplayControl, WithoutANameTheObjectsOwnNumberKeepsTwoApart) {
    const std::string folder = test::newFolder("unnamed");
    LReplay one;
    LReplay two;
    for (LReplay* replay : {&one, &two}) {
        replay->setRecordPath(folder + "/", "clip");
        ASSERT_TRUE(replay->startRecording());
        const auto number = std::to_string(reinterpret_cast<std::uintptr_t>(replay) & 0xFFFFFF);
        EXPECT_TRUE(std::filesystem::exists(folder + "/clip_" + number + "_v.bin"));
        EXPECT_TRUE(std::filesystem::exists(folder + "/clip_" + number + "_a.bin"));
    }
}

TEST(LReplayControl, StopKeepsWhatIsStored) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    station.record(10);
    station.replay.stopRecording();
    station.push(10, {1, 50});
    EXPECT_EQ(station.replay.getTotalFrames(), 10);
    EXPECT_EQ(station.shown(9)->number, 9);
}

TEST(LReplayControl, ClearForgetsAndRemoves) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    station.record(10);
    station.shown(5);
    station.replay.clearRecording();
    EXPECT_EQ(test::statusOf(station.replay), 0);
    EXPECT_EQ(station.replay.getTotalFrames(), 0);
    EXPECT_EQ(station.replay.getPos(), 0);
    EXPECT_FALSE(std::filesystem::exists(station.videoPath()));
    EXPECT_FALSE(std::filesystem::exists(station.audioPath()));
    station.replay.clearRecording();
    // And begins anew.
    ASSERT_TRUE(station.replay.startRecording());
    station.push(1000, {1, 50});
    ASSERT_EQ(station.replay.getTotalFrames(), 1);
    EXPECT_EQ(station.shown(0)->number, 1000);
    EXPECT_EQ(station.replay.getPosTC(), "10:00:00:00");
}

TEST(LReplayControl, StartWithoutAClearTruncatesAndKeepsTheIndex) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    station.record(10);
    station.replay.pushAudioFrame(test::numberedSound(0, 960).get());
    station.replay.stopRecording();
    ASSERT_TRUE(station.replay.startRecording());
    EXPECT_EQ(sizeOf(station.videoPath()), 0U);
    EXPECT_EQ(sizeOf(station.audioPath()), 0U);
    EXPECT_EQ(station.replay.getTotalFrames(), 10);
    station.record(5);
    EXPECT_EQ(station.replay.getTotalFrames(), 15);
    // Behind the old entries, and counted from 0 again.
    EXPECT_EQ(station.shown(12)->number, 2);
    EXPECT_NEAR(station.replay.getPosMs(), 40.0, 1e-9);
    station.replay.posSetMs(180.0);
    EXPECT_EQ(station.replay.getPos(), 9);
    // What the old entries point at is gone.
    station.sink.clear();
    station.replay.posSet(9);
    EXPECT_EQ(station.shown(14)->number, 4);
    for (const int number : station.sink.numbers())
        EXPECT_EQ(number, 4);
}

TEST(LReplayControl, StartWhileRecordingBeginsAnewInTheSameFiles) {
    ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    station.record(10);
    station.replay.setRecordPath("/nowhere", "other");
    ASSERT_TRUE(station.replay.startRecording());
    EXPECT_EQ(sizeOf(station.videoPath()), 0U);
    station.record(2);
    EXPECT_GT(sizeOf(station.videoPath()), 0U);
    EXPECT_EQ(station.replay.getTotalFrames(), 12);
}

TEST(LReplayControl, TheDestructorLeavesTheFiles) {
    std::string path;
    {
        ReplayStation station;
        path = station.videoPath();
        ASSERT_TRUE(station.replay.startRecording());
        station.record(3);
    }
    EXPECT_GT(sizeOf(path), 0U);
}

TEST(LReplayControl, QualityIsTheBitRateOfTheNextRecording) {
    ReplayStation station;
    const auto sizeWith = [&](const char* quality) {
        station.replay.setProps("quality", quality);
        EXPECT_TRUE(station.replay.startRecording());
        for (int number = 0; number < 30; ++number) {
            const auto picture = test::makePicture(320, 180, AV_PIX_FMT_YUV422P, number, {1, 50},
                                                   static_cast<unsigned>(number));
            station.replay.pushVideoFrame(picture.get());
        }
        const auto size = sizeOf(station.videoPath());
        station.replay.clearRecording();
        return size;
    };
    const auto best = sizeWith("100");
    const auto worst = sizeWith("1");
    EXPECT_GT(best, 2 * worst);
    EXPECT_EQ(sizeWith("-5"), worst); // clamped
    EXPECT_EQ(sizeWith("1000"), best);
}

// The bit rate is one a second: so many pictures in it that each has few bits, small as it is.
std::string storedWith(const char* quality) {
    ReplayStation station(500.0);
    if (quality != nullptr) station.replay.setProps("quality", quality);
    EXPECT_TRUE(station.replay.startRecording());
    for (int number = 0; number < 30; ++number) {
        const auto picture = test::makePicture(320, 180, AV_PIX_FMT_YUV422P, number, {1, 500},
                                               static_cast<unsigned>(number));
        station.replay.pushVideoFrame(picture.get());
    }
    EXPECT_EQ(station.replay.getTotalFrames(), 30);
    const std::ifstream file(station.videoPath(), std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return std::move(bytes).str();
}

TEST(LReplayControl, QualityIs86UnlessItIsSet) {
    const std::string stored = storedWith(nullptr);
    EXPECT_FALSE(stored.empty());
    EXPECT_TRUE(stored == storedWith("86"));
    EXPECT_FALSE(stored == storedWith("60")); // were it held down by anything else
}

} // namespace

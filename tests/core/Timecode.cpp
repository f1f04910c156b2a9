#include "core/Timecode.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <limits>
#include <random>
#include <string>

#include "support/WallClock.h"

namespace {

constexpr double rates[] = {24000.0 / 1001, 24.0, 25.0,  30000.0 / 1001, 29.97, 30.0,
                            48.0,           50.0, 59.94, 60000.0 / 1001, 60.0,  100.0,
                            12.5,           1.0};

std::string textOf(int hours, int minutes, int seconds, int frames) {
    char text[64];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d:%02d", hours, minutes, seconds, frames);
    return text;
}

// Counts a frame at a time, as a clock that shows a time code would.
class CountingClock {
public:
    explicit CountingClock(int framesPerSecond) : framesPerSecond_(framesPerSecond) {}

    void tick() {
        if (++frames_ < framesPerSecond_) return;
        frames_ = 0;
        if (++seconds_ < 60) return;
        seconds_ = 0;
        if (++minutes_ < 60) return;
        minutes_ = 0;
        if (++hours_ == 24) hours_ = 0;
    }
    std::string text() const { return textOf(hours_, minutes_, seconds_, frames_); }

private:
    int framesPerSecond_;
    int hours_ = 0;
    int minutes_ = 0;
    int seconds_ = 0;
    int frames_ = 0;
};

TEST(TimecodeText, ReadsFourNumbers) {
    const auto timecode = quol::parseTimecode("01:02:03:04");
    ASSERT_TRUE(timecode.has_value());
    EXPECT_EQ(timecode->hours, 1);
    EXPECT_EQ(timecode->minutes, 2);
    EXPECT_EQ(timecode->seconds, 3);
    EXPECT_EQ(timecode->frames, 4);
}

TEST(TimecodeText, ReadsNumbersOfAnyWidthAndIgnoresWhatFollows) {
    for (const char* text : {"1:2:3:4", "001:002:003:004", "01:02:03:04 drop", " 1: 2: 3: 4"}) {
        const auto timecode = quol::parseTimecode(text);
        ASSERT_TRUE(timecode.has_value()) << text;
        EXPECT_EQ(quol::formatTimecode(*timecode), "01:02:03:04") << text;
    }
}

TEST(TimecodeText, IsRefusedUnlessAllFourNumbersAreThere) {
    for (const char* text : {"", "01", "01:02:03", "01:02:03:", "a:b:c:d", "01:02:03;04",
                             "01.02.03.04", ":::", "01:02:x3:04", "00:00:00"}) {
        EXPECT_FALSE(quol::parseTimecode(text).has_value()) << text;
    }
}

TEST(TimecodeText, IsRefusedWhereNoIntHoldsANumber) {
    EXPECT_EQ(quol::parseTimecode("2147483647:-2147483648:0:0")->hours, 2147483647);
    for (const char* text : {"2147483648:0:0:0", "0:-2147483649:0:0", "0:0:4294967297:0",
                             "0:0:0:99999999999999999999"})
        EXPECT_FALSE(quol::parseTimecode(text).has_value()) << text;
}

TEST(TimecodeText, IsWrittenWithTwoDigitsAndMoreWhereNeeded) {
    EXPECT_EQ(quol::formatTimecode({}), "00:00:00:00");
    EXPECT_EQ(quol::formatTimecode({1, 2, 3, 4}), "01:02:03:04");
    EXPECT_EQ(quol::formatTimecode({23, 59, 59, 24}), "23:59:59:24");
    EXPECT_EQ(quol::formatTimecode({100, 0, 0, 119}), "100:00:00:119");
    constexpr int low = std::numeric_limits<int>::min();
    EXPECT_EQ(quol::formatTimecode({low, low, low, low}),
              "-2147483648:-2147483648:-2147483648:-2147483648");
}

TEST(TimecodeText, ReadsBackEveryTextItWrites) {
    for (int hours = 0; hours < 24; hours += 7) {
        for (int minutes = 0; minutes < 60; minutes += 13) {
            for (int seconds = 0; seconds < 60; ++seconds) {
                for (int frames = 0; frames < 60; frames += 3) {
                    const std::string text = textOf(hours, minutes, seconds, frames);
                    const auto read = quol::parseTimecode(text);
                    ASSERT_TRUE(read.has_value()) << text;
                    ASSERT_EQ(quol::formatTimecode(*read), text);
                }
            }
        }
    }
}

TEST(TimecodeToFrames, CountsWithTheFloatingRate) {
    for (const double fps : rates) {
        std::mt19937 random(7);
        for (int i = 0; i < 2000; ++i) {
            const int h = static_cast<int>(random() % 24);
            const int m = static_cast<int>(random() % 60);
            const int s = static_cast<int>(random() % 60);
            const int f = static_cast<int>(random() % 60);
            const auto expected = static_cast<std::int64_t>((h * 3600 + m * 60 + s) * fps + f);
            ASSERT_EQ(quol::timecodeToFrames({h, m, s, f}, fps), expected)
                << textOf(h, m, s, f) << " at " << fps;
        }
    }
}

TEST(TimecodeToFrames, KnownCounts) {
    EXPECT_EQ(quol::timecodeToFrames({0, 0, 1, 0}, 25.0), 25);
    EXPECT_EQ(quol::timecodeToFrames({1, 0, 0, 0}, 25.0), 90000);
    EXPECT_EQ(quol::timecodeToFrames({10, 0, 0, 0}, 50.0), 1800000);
    EXPECT_EQ(quol::timecodeToFrames({0, 0, 1, 0}, 29.97), 29);
    EXPECT_EQ(quol::timecodeToFrames({0, 1, 0, 0}, 29.97), 1798);
    EXPECT_EQ(quol::timecodeToFrames({1, 0, 0, 0}, 30000.0 / 1001), 107892);
}

TEST(TimecodeToFrames, StoredTextThatIsNoTimecodeCountsAsZeros) {
    EXPECT_EQ(quol::timecodeTextToFrames("00:00:02:03", 25.0), 53);
    for (const char* text : {"", "nonsense", "01:00:00", "12"}) {
        EXPECT_EQ(quol::timecodeTextToFrames(text, 25.0), 0) << text;
    }
}

TEST(FramesToTimecode, CountsLikeAClockForAWholeDayAtWholeRates) {
    for (const int fps : {24, 25, 30, 50, 60}) {
        CountingClock clock(fps);
        const std::int64_t day = std::int64_t{24} * 3600 * fps;
        for (std::int64_t frame = 0; frame <= day + fps; ++frame) {
            // Every frame of the first, of the hours' and of the day's turns; a sample between.
            const std::int64_t inHour = frame % (std::int64_t{3600} * fps);
            const bool turn = inHour < 2 * fps || inHour > (std::int64_t{3600} - 2) * fps;
            if (frame < 100000 || turn || frame % 997 == 0) {
                ASSERT_EQ(quol::framesToTimecodeText(frame, fps), clock.text())
                    << frame << " at " << fps;
            }
            clock.tick();
        }
    }
}

TEST(FramesToTimecode, UsesTheWholeNumberDivisors) {
    for (const double fps : rates) {
        const auto perHour = static_cast<std::int64_t>(fps * 3600);
        const auto perMinute = static_cast<std::int64_t>(fps * 60);
        const auto perSecond = static_cast<std::int64_t>(fps);
        std::mt19937_64 random(11);
        for (int i = 0; i < 20000; ++i) {
            const auto frame = static_cast<std::int64_t>(random() % 10000000);
            const auto timecode = quol::framesToTimecode(frame, fps);
            ASSERT_EQ(timecode.hours, frame / perHour % 24) << frame << " at " << fps;
            ASSERT_EQ(timecode.minutes, frame / perMinute % 60) << frame << " at " << fps;
            ASSERT_EQ(timecode.seconds, frame / perSecond % 60) << frame << " at " << fps;
            ASSERT_EQ(timecode.frames, frame % perSecond) << frame << " at " << fps;
        }
    }
}

TEST(FramesToTimecode, A2997SourceCounts29FramesPerSecond) {
    const double fps = 30000.0 / 1001;
    EXPECT_EQ(quol::framesToTimecodeText(28, fps), "00:00:00:28");
    EXPECT_EQ(quol::framesToTimecodeText(29, fps), "00:00:01:00");
    EXPECT_EQ(quol::framesToTimecodeText(58, fps), "00:00:02:00");
}

TEST(FramesToTimecode, HoursWrapAt24) {
    EXPECT_EQ(quol::framesToTimecodeText(std::int64_t{24} * 90000 - 1, 25.0), "23:59:59:24");
    EXPECT_EQ(quol::framesToTimecodeText(std::int64_t{24} * 90000, 25.0), "00:00:00:00");
    EXPECT_EQ(quol::framesToTimecodeText(std::int64_t{25} * 90000 + 26, 25.0), "01:00:01:01");
}

TEST(FramesToTimecode, IsTheWayBackAtWholeRates) {
    for (const double fps : {24.0, 25.0, 30.0, 50.0, 60.0}) {
        for (std::int64_t frame = 0; frame < 24 * 3600 * 24; frame += 1013) {
            ASSERT_EQ(quol::timecodeToFrames(quol::framesToTimecode(frame, fps), fps), frame)
                << fps;
        }
    }
}

TEST(FramesToTimecode, RatesBelowOneAndNegativeCountsStayDefined) {
    EXPECT_EQ(quol::framesToTimecodeText(-1, 25.0), "00:00:00:00");
    EXPECT_EQ(quol::framesToTimecodeText(std::numeric_limits<std::int64_t>::min(), 25.0),
              "00:00:00:00");
    // At half a frame a second each frame counts as a second of its own.
    EXPECT_EQ(quol::framesToTimecodeText(0, 0.5), "00:00:00:00");
    EXPECT_EQ(quol::framesToTimecode(7, 0.5).seconds, 7);
    EXPECT_EQ(quol::framesToTimecode(7, 0.5).frames, 0);
    EXPECT_EQ(quol::framesToTimecode(7, 0.0).frames, 0);
    EXPECT_EQ(quol::framesToTimecode(7, -25.0).frames, 0);
}

TEST(TimecodeToFrames, RatesThatAreNoneStayDefined) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(quol::timecodeToFrames({1, 0, 0, 0}, infinity), 9000000000000000);
    EXPECT_EQ(quol::timecodeToFrames({1, 0, 0, 0}, nan), 0);
    EXPECT_EQ(quol::timecodeToFrames({0, 0, 0, 0}, infinity), 0);
    EXPECT_EQ(quol::framesToTimecodeText(0, nan), "00:00:00:00");
    EXPECT_EQ(quol::framesToTimecode(7, nan).frames, 0);
    EXPECT_EQ(quol::framesToTimecode(7, infinity).frames, 7);
    EXPECT_EQ(quol::framesAt(nan, 25.0), 0);
    EXPECT_EQ(quol::framesAt(0.0, infinity), 0);
}

TEST(FramesAt, EveryFrameOfARationalRateIsFoundAtItsOwnTime) {
    struct Rate {
        int numerator;
        int denominator;
    };
    for (const Rate rate : {Rate{24000, 1001}, Rate{24, 1}, Rate{25, 1}, Rate{30000, 1001},
                            Rate{30, 1}, Rate{50, 1}, Rate{60000, 1001}, Rate{60, 1}}) {
        const double fps = static_cast<double>(rate.numerator) / rate.denominator;
        const auto timeOf = [&](double frame) { return frame * rate.denominator / rate.numerator; };
        for (int frame = 0; frame < 200000; ++frame) {
            ASSERT_EQ(quol::framesAt(timeOf(frame), fps), frame) << fps;
        }
        for (int frame = 0; frame < 200000; frame += 7) {
            ASSERT_EQ(quol::framesAt(timeOf(frame + 0.5), fps), frame) << fps;
            ASSERT_EQ(quol::framesAt(timeOf(frame + 0.999), fps), frame) << fps;
        }
    }
}

TEST(FramesAt, TimesBeyondAllCountingStayDefined) {
    EXPECT_EQ(quol::framesAt(1e300, 25.0), 9000000000000000);
    EXPECT_EQ(quol::framesAt(-1e300, 25.0), -9000000000000000);
    EXPECT_EQ(quol::framesAt(std::numeric_limits<double>::infinity(), 25.0), 9000000000000000);
    EXPECT_EQ(quol::framesAt(0.0, 25.0), 0);
    EXPECT_EQ(quol::framesAt(-1.0, 25.0), -24); // truncated, not floored
}

TEST(FpsOrDefault, IsTheRateAboveZeroAnd25Otherwise) {
    EXPECT_EQ(quol::fpsOrDefault(50.0), 50.0);
    EXPECT_EQ(quol::fpsOrDefault(0.001), 0.001);
    EXPECT_EQ(quol::fpsOrDefault(0.0), 25.0);
    EXPECT_EQ(quol::fpsOrDefault(-30.0), 25.0);
    EXPECT_EQ(quol::fpsOrDefault(std::numeric_limits<double>::quiet_NaN()), 25.0);
}

TEST(WallClockTimecode, IsTheLocalTimeOfDay) {
    for (const double fps : {25.0, 29.97, 60.0}) {
        std::time_t before = 0;
        std::time_t after = 0;
        quol::Timecode now;
        do { // the three readings must lie in one second
            before = test::wallSecond();
            now = quol::wallClockTimecode(fps);
            after = test::wallSecond();
        } while (before != after);
        const int told = now.hours * 3600 + now.minutes * 60 + now.seconds;
        EXPECT_EQ(told, test::secondOfDay(before)) << fps;
        EXPECT_GE(now.frames, 0) << fps;
        EXPECT_LT(now.frames, fps) << fps;
    }
}

TEST(WallClockTimecode, FramesAreTheFractionOfTheSecondTimesTheRate) {
    struct Case {
        int milliseconds;
        double fps;
        int frames;
    };
    for (const Case& one : {Case{0, 25.0, 0}, Case{39, 25.0, 0}, Case{40, 25.0, 1},
                            Case{500, 25.0, 12}, Case{999, 25.0, 24}, Case{500, 29.97, 14},
                            Case{999, 29.97, 29}, Case{500, 60.0, 30}, Case{999, 60.0, 59}}) {
        const auto at = std::chrono::system_clock::from_time_t(1000000000) +
                        std::chrono::milliseconds(one.milliseconds);
        EXPECT_EQ(quol::wallClockTimecode(one.fps, at).frames, one.frames)
            << one.milliseconds << " ms at " << one.fps;
    }
}

TEST(Timecode, WholeFramesAreTruncatedAndStayNumbers) {
    EXPECT_EQ(quol::wholeFrames(2.9), 2);
    EXPECT_EQ(quol::wholeFrames(-2.9), -2);
    EXPECT_EQ(quol::wholeFrames(std::nan("")), 0);
    EXPECT_EQ(quol::wholeFrames(1e300), 9000000000000000);
    EXPECT_EQ(quol::wholeFrames(-1e300), -9000000000000000);
}

TEST(ClipTimecode, CountsOnFromItsStart) {
    EXPECT_EQ(quol::clipTimecodeText("10:00:00:00", 0.0, 50.0), "10:00:00:00");
    EXPECT_EQ(quol::clipTimecodeText("10:00:00:48", 0.04, 50.0), "10:00:01:00");
    EXPECT_EQ(quol::clipTimecodeText("09:59:59:24", 0.04, 25.0), "10:00:00:00");
    EXPECT_EQ(quol::clipTimecodeText("01:00:00:00", 3661.5, 25.0), "02:01:01:12");
}

TEST(ClipTimecode, AnEmptyStartOrOneThatIsNoneCountsFromZero) {
    EXPECT_EQ(quol::clipTimecodeText("", 1.5, 50.0), "00:00:01:25");
    EXPECT_EQ(quol::clipTimecodeText("noon", 1.5, 50.0), "00:00:01:25");
    EXPECT_EQ(quol::clipTimecodeText("1:2:3", 0.0, 50.0), "00:00:00:00");
}

TEST(ClipTimecode, HoursGoOnBehindTheDay) {
    EXPECT_EQ(quol::clipTimecodeText("23:59:59:49", 0.02, 50.0), "24:00:00:00");
    EXPECT_EQ(quol::clipTimecodeText("99:59:59:49", 0.02, 50.0), "100:00:00:00");
}

// The start in frames of the real rate, split by the whole rate.
TEST(ClipTimecode, FollowsTheFormulaAtAnyRate) {
    for (const double rate : rates) {
        for (const int frame : {0, 1, 17, 29, 58, 1000, 86399, 500000}) {
            const double startFrames = 3 + 2 * rate + 1 * 60 * rate + 7 * 3600 * rate;
            const long long total = frame + static_cast<long long>(startFrames);
            const auto whole = static_cast<long long>(rate);
            char expected[64];
            std::snprintf(expected, sizeof expected, "%02lld:%02lld:%02lld:%02lld",
                          total / (whole * 3600), total / (whole * 60) % 60, total / whole % 60,
                          total % whole);
            EXPECT_EQ(quol::clipTimecodeText("07:01:02:03", frame / rate, rate), expected)
                << frame << " at " << rate;
        }
    }
}

TEST(ClipTimecode, HostileNumbersGiveSomeText) {
    constexpr double infinite = std::numeric_limits<double>::infinity();
    for (const double rate : {0.0, -25.0, 0.5, 1e300, infinite, std::nan("")}) {
        for (const double seconds : {0.0, -1.0, 1e300, infinite, std::nan("")}) {
            for (const char* start : {"", "2147483647:2147483647:2147483647:2147483647",
                                      "-2147483648:00:00:00", "00:00:00:00"})
                EXPECT_FALSE(quol::clipTimecodeText(start, seconds, rate).empty());
        }
    }
    EXPECT_EQ(quol::clipTimecodeText("00:00:00:05", 0.0, 0.5), "00:00:05:00"); // counts seconds
}

} // namespace

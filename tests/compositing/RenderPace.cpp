#include "compositing/RenderPace.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

namespace {

constexpr std::int64_t second = 1'000'000'000;
constexpr std::int64_t start = 12'345 * second;

TEST(RenderPace, PicturesAreDueAtMultiplesOfThePeriod) {
    quol::RenderPace pace(start);
    EXPECT_EQ(pace.untilDue(0, 50.0, start), 0);
    EXPECT_EQ(pace.untilDue(1, 50.0, start), second / 50);
    EXPECT_EQ(pace.untilDue(500, 50.0, start + 10 * second), 0);
    EXPECT_EQ(pace.untilDue(500, 50.0, start + 11 * second), -second) << "late by a second";
    quol::RenderPace fractional(start);
    EXPECT_NEAR(static_cast<double>(fractional.untilDue(30000, 30000.0 / 1001, start)), 1001.0e9,
                1.0e4);
}

TEST(RenderPace, ARateThatChangesKeepsThePhase) {
    quol::RenderPace pace(start);
    const std::int64_t hour = 3600;
    const std::int64_t now = start + hour * second;
    EXPECT_EQ(pace.untilDue(hour * 50, 50.0, now), 0);
    EXPECT_NEAR(static_cast<double>(pace.untilDue(hour * 50, 25.0, now)), 0.0, 1.0e4);
    EXPECT_NEAR(static_cast<double>(pace.untilDue(hour * 50 + 1, 25.0, now)), 40.0e6, 1.0e4);
    EXPECT_NEAR(static_cast<double>(pace.untilDue(hour * 50 + 1, 60.0, now)), 40.0e6, 1.0e4)
        << "the picture in hand keeps its time";
}

TEST(RenderPace, WaitsOfASecondOrOnePictureAreSlept) {
    EXPECT_TRUE(quol::RenderPace::isSleepable(second, 50.0));
    EXPECT_FALSE(quol::RenderPace::isSleepable(second + 1, 50.0));
    EXPECT_TRUE(quol::RenderPace::isSleepable(4 * second, 0.25));
    EXPECT_FALSE(quol::RenderPace::isSleepable(5 * second, 0.25));
}

TEST(RenderPace, GoesOnFromWhereItIsBehindARestart) {
    quol::RenderPace pace(start);
    EXPECT_GT(pace.untilDue(100'000, 50.0, start), 1000 * second);
    pace.restart(100'000, 50.0, start);
    EXPECT_NEAR(static_cast<double>(pace.untilDue(100'000, 50.0, start)), 0.0, 1.0e4);
    EXPECT_NEAR(static_cast<double>(pace.untilDue(100'001, 50.0, start)), 20.0e6, 1.0e4);
}

TEST(RenderPace, OfRatesBeyondReasonGivesNumbersStill) {
    quol::RenderPace pace(start);
    EXPECT_GT(pace.untilDue(1, 1.0e-300, start), second);
    quol::RenderPace fast(start);
    EXPECT_LE(fast.untilDue(1, 1.0e300, start), 1);
    EXPECT_EQ(quol::rateOrDefault(0.0), 50.0);
    EXPECT_EQ(quol::rateOrDefault(-25.0), 50.0);
    EXPECT_EQ(quol::rateOrDefault(std::nan("")), 50.0);
    EXPECT_EQ(quol::rateOrDefault(25.0), 25.0);
}

TEST(RenderPace, LatePicturesAreDueAtOnceUntilTheClockIsCaughtUpWith) {
    quol::RenderPace pace(start);
    const std::int64_t now = start + second; // and of 25 that were due none was made
    for (std::int64_t index = 0; index < 25; ++index)
        EXPECT_LT(pace.untilDue(index, 25.0, now), 0) << index;
    EXPECT_EQ(pace.untilDue(25, 25.0, now), 0);
    EXPECT_EQ(pace.untilDue(26, 25.0, now), second / 25);
}

// Each is counted from the start: nothing adds up.
TEST(RenderPace, OfAFractionalRateDoesNotDriftInAYear) {
    quol::RenderPace pace(start);
    constexpr std::int64_t turns = 31536; // of 1001 seconds each
    EXPECT_NEAR(static_cast<double>(
                    pace.untilDue(turns * 30000, 30000.0 / 1001, start + turns * 1001 * second)),
                0.0, 1.0e4);
}

TEST(RenderPace, ARateThatChangesForEveryPictureKeepsEveryPeriod) {
    quol::RenderPace pace(start);
    const auto rateOf = [](std::int64_t index) {
        return index % 3 == 0 ? 25.0 : index % 3 == 1 ? 59.94 : 24.0;
    };
    double due = 0.0;
    pace.untilDue(0, rateOf(0), start);
    for (std::int64_t index = 1; index < 2000; ++index) {
        due += 1.0e9 / rateOf(index - 1);
        ASSERT_NEAR(static_cast<double>(pace.untilDue(index, rateOf(index), start)), due, 1.0e5)
            << index;
    }
}

} // namespace

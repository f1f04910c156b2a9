#include "core/PauseTimer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "core/Clock.h"

namespace {

using quol::nanosPerMilli;
using quol::PauseTimer;

constexpr std::int64_t now = 5'000'000'000;

TEST(PauseTimer, CountsFromItsBeginning) {
    PauseTimer timer;
    timer.begin(now);
    EXPECT_EQ(timer.lasted(now), 0);
    EXPECT_EQ(timer.lasted(now + 7), 7);
    timer.begin(now + 5);
    EXPECT_EQ(timer.lasted(now + 7), 2);
}

TEST(PauseTimer, EndsByItselfWhenItsTimeHasPassed) {
    PauseTimer timer;
    EXPECT_FALSE(timer.isOver(now));
    timer.begin(now);
    timer.endAfter(1500.0, now);
    EXPECT_FALSE(timer.isOver(now + 1500 * nanosPerMilli - 1));
    EXPECT_TRUE(timer.isOver(now + 1500 * nanosPerMilli));
}

TEST(PauseTimer, WithoutADelayItLastsUntilTold) {
    for (const double none : {0.0, -1.0, std::nan("")}) {
        PauseTimer timer;
        timer.begin(now);
        timer.endAfter(none, now);
        EXPECT_FALSE(timer.isOver(std::numeric_limits<std::int64_t>::max())) << none;
    }
}

TEST(PauseTimer, ASecondPauseLeavesTheEndOfTheFirst) {
    PauseTimer timer;
    timer.endAfter(10.0, now);
    timer.endAfter(0.0, now);
    EXPECT_TRUE(timer.isOver(now + 10 * nanosPerMilli));
}

TEST(PauseTimer, CancelledItDoesNotEndByItself) {
    PauseTimer timer;
    timer.endAfter(10.0, now);
    timer.cancel();
    EXPECT_FALSE(timer.isOver(now + 10 * nanosPerMilli));
}

TEST(PauseTimer, ADelayBeyondAllClocksIsALongOne) {
    PauseTimer timer;
    timer.endAfter(std::numeric_limits<double>::infinity(), now);
    EXPECT_FALSE(timer.isOver(now + std::int64_t{1'000'000} * quol::nanosPerSecond));
}

} // namespace

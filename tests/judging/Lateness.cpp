// What of a delay the soak program puts down to waiting for processors.
#include "soak/Lateness.h"

#include <gtest/gtest.h>

namespace {

using soak::Lateness;

TEST(Lateness, IsItsOwnWhereNothingWaited) {
    Lateness lateness;
    lateness.add(0.1, 0.0);
    EXPECT_DOUBLE_EQ(lateness.behind(), 0.1);
    EXPECT_DOUBLE_EQ(lateness.own(), 0.1);
    lateness.add(0.25, 0.0);
    EXPECT_DOUBLE_EQ(lateness.own(), 0.25);
}

TEST(Lateness, IsLessByWhatWasWaitedFor) {
    Lateness lateness;
    lateness.add(0.1, 0.07);
    EXPECT_DOUBLE_EQ(lateness.own(), 0.03);
    lateness.add(0.15, 0.05);
    EXPECT_DOUBLE_EQ(lateness.own(), 0.03);
}

TEST(Lateness, WaitingThatDelayedNothingExcusesNothingLater) {
    Lateness lateness;
    for (int picture = 0; picture < 100; ++picture)
        lateness.add(0.0, 0.03);
    EXPECT_EQ(lateness.own(), 0.0);
    lateness.add(0.06, 0.0);
    EXPECT_DOUBLE_EQ(lateness.own(), 0.06);
}

TEST(Lateness, WhatIsStillToBeMadeUpOfAnExcusedDelayIsExcused) {
    Lateness lateness;
    lateness.add(0.2, 0.2);
    for (const double behind : {0.18, 0.15, 0.12, 0.05}) {
        lateness.add(behind, 0.0);
        EXPECT_EQ(lateness.own(), 0.0) << behind;
    }
}

TEST(Lateness, OwnDelayIsMadeUpWithTheWhole) {
    Lateness lateness;
    lateness.add(0.2, 0.0);
    lateness.add(0.15, 0.0);
    EXPECT_DOUBLE_EQ(lateness.own(), 0.15);
    lateness.add(0.0, 0.0);
    EXPECT_EQ(lateness.own(), 0.0);
}

// Half of it own: that half is made up first, so no more of the whole is own than there is of it.
TEST(Lateness, MixedDelayIsMadeUpFromItsOwnPart) {
    Lateness lateness;
    lateness.add(0.2, 0.1);
    EXPECT_DOUBLE_EQ(lateness.own(), 0.1);
    lateness.add(0.15, 0.0);
    EXPECT_DOUBLE_EQ(lateness.own(), 0.05);
    lateness.add(0.15, 0.0);
    EXPECT_DOUBLE_EQ(lateness.own(), 0.05);
}

TEST(Lateness, ThatWouldHaveBeenMadeUpButForWaitingIsExcused) {
    Lateness lateness;
    lateness.add(0.2, 0.0);
    lateness.add(0.2, 0.03);
    EXPECT_DOUBLE_EQ(lateness.own(), 0.17);
}

TEST(Lateness, AheadOfItsTimeIsNotLate) {
    Lateness lateness;
    lateness.add(-0.01, 0.0);
    EXPECT_EQ(lateness.own(), 0.0);
    lateness.add(0.03, 0.0);
    EXPECT_DOUBLE_EQ(lateness.own(), 0.03);
}

} // namespace

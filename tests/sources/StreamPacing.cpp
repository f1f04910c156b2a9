#include "sources/StreamPacing.h"

#include <gtest/gtest.h>

#include "core/Clock.h"

namespace {

using quol::StreamPacing;

constexpr std::int64_t start = 100 * quol::nanosPerSecond;
constexpr std::int64_t milli = quol::nanosPerMilli;
constexpr std::int64_t rounding = 1000; // nanoseconds

StreamPacing running() {
    StreamPacing pacing;
    pacing.restart(start);
    return pacing;
}

TEST(StreamPacing, TheFirstPictureIsDueAtOnceWhateverItsTime) {
    for (const double first : {0.0, 3600.0, -5.0, -1.0, 1e9})
        EXPECT_EQ(running().waitFor(first, start), 0) << first;
}

TEST(StreamPacing, OthersAreDueByTheirDistanceFromTheFirst) {
    StreamPacing pacing = running();
    pacing.waitFor(3600.0, start);
    EXPECT_NEAR(pacing.waitFor(3600.04, start), 40 * milli, rounding);
    EXPECT_NEAR(pacing.waitFor(3600.08, start + 30 * milli), 50 * milli, rounding);
}

TEST(StreamPacing, TimeStampsBelowZeroArePacedToo) {
    StreamPacing pacing = running();
    pacing.waitFor(-1.0, start);
    EXPECT_NEAR(pacing.waitFor(-0.5, start), 500 * milli, rounding);
}

TEST(StreamPacing, ALatePictureIsDueAtOnceAndLeavesTheClock) {
    StreamPacing pacing = running();
    pacing.waitFor(10.0, start);
    EXPECT_EQ(pacing.waitFor(10.04, start + 41 * milli), 0);
    EXPECT_EQ(pacing.waitFor(10.08, start + 500 * milli), 0);
    EXPECT_NEAR(pacing.waitFor(10.6, start + 500 * milli), 100 * milli, rounding);
}

TEST(StreamPacing, TheFirstIsCountedFromTheConnectionNotFromItself) {
    StreamPacing pacing = running();
    pacing.waitFor(10.0, start + 300 * milli);
    EXPECT_EQ(pacing.waitFor(10.2, start + 300 * milli), 0);
    EXPECT_NEAR(pacing.waitFor(10.4, start + 300 * milli), 100 * milli, rounding);
}

TEST(StreamPacing, ALagBelowTwoSecondsIsWaitedFor) {
    StreamPacing pacing = running();
    pacing.waitFor(0.0, start);
    EXPECT_NEAR(pacing.waitFor(1.999, start), 1999 * milli, rounding);
    EXPECT_NEAR(pacing.waitFor(2.5, start + 501 * milli), 1999 * milli, rounding);
}

TEST(StreamPacing, AJumpOfTwoSecondsOrMoreSetsTheClockAnew) {
    for (const double jump : {2.0, 2.5, 1e6}) {
        StreamPacing pacing = running();
        pacing.waitFor(0.0, start);
        EXPECT_EQ(pacing.waitFor(jump, start), 0) << jump;
        EXPECT_NEAR(pacing.waitFor(jump + 0.04, start), 40 * milli, rounding) << jump;
    }
}

TEST(StreamPacing, AStepBackIsLateUntilTheTimeIsReachedAgain) {
    StreamPacing pacing = running();
    pacing.waitFor(3600.0, start);
    EXPECT_EQ(pacing.waitFor(0.0, start + 1), 0);
    EXPECT_EQ(pacing.waitFor(0.04, start + 2), 0);
    EXPECT_NEAR(pacing.waitFor(3600.04, start), 40 * milli, rounding);
}

TEST(StreamPacing, WhatIsSkippedDoesNotCount) {
    StreamPacing pacing = running();
    pacing.waitFor(0.0, start);
    pacing.skip(700 * milli);
    EXPECT_NEAR(pacing.waitFor(0.04, start + 700 * milli), 40 * milli, rounding);
}

TEST(StreamPacing, AnchoredItCountsFromNow) {
    StreamPacing pacing = running();
    pacing.waitFor(5.0, start);
    pacing.anchor(start + 900 * milli);
    EXPECT_NEAR(pacing.waitFor(5.1, start + 900 * milli), 100 * milli, rounding);
}

TEST(StreamPacing, ANewConnectionHasANewFirst) {
    StreamPacing pacing = running();
    pacing.waitFor(5.0, start);
    pacing.restart(start + 50 * milli);
    EXPECT_EQ(pacing.waitFor(6.9, start + 50 * milli), 0);
    EXPECT_NEAR(pacing.waitFor(7.0, start + 50 * milli), 100 * milli, rounding);
}

} // namespace

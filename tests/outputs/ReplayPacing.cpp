#include "outputs/ReplayPacing.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace {

using quol::ReplayPacing;

struct Played {
    std::int64_t frames = 0;
    int pictures = 0;
    double closest = 1e9; // two pictures, milliseconds
};

// Sleeps as long as it is told, or `late` longer.
Played play(double speed, double seconds, double late) {
    constexpr double period = 20.0;
    ReplayPacing pacing;
    Played played;
    double now = 0.0;
    double last = -1e9;
    while (now < seconds * 1000.0) {
        const double step = pacing.untilNext(speed, period) + late;
        now += step;
        const std::int64_t frames = pacing.advance(step, speed, period);
        if (frames == 0) continue;
        played.frames += frames;
        ++played.pictures;
        played.closest = std::min(played.closest, now - last);
        last = now;
    }
    return played;
}

TEST(ReplayPacing, FramesGoByAtTheSpeedAndNoFasterThanOnePictureAPeriod) {
    for (const double speed : {1.0, 0.5, 0.25, 2.0, 4.0, -1.0, -0.5, -4.0, 1.5, 0.75, 1.1, 100.0}) {
        for (const double late : {0.0, 0.3, 7.0}) {
            SCOPED_TRACE(testing::Message() << speed << ", late by " << late);
            const Played played = play(speed, 10.0, late);
            EXPECT_NEAR(static_cast<double>(played.frames), 500 * speed,
                        std::fabs(speed) * 2 + 1.01);
            EXPECT_LE(played.pictures, 501);
            EXPECT_GE(played.pictures, 350 * std::fmin(1.0, std::fabs(speed)));
            EXPECT_GE(played.closest, late > 0 ? 12.9 - late : 19.9);
        }
    }
}

TEST(ReplayPacing, AtSpeed4EachPictureIsFourFramesOn) {
    ReplayPacing pacing;
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(pacing.advance(10.0, 4.0, 20.0), 0);
        EXPECT_EQ(pacing.advance(10.0, 4.0, 20.0), 4);
    }
}

TEST(ReplayPacing, AtAQuarterAPictureStaysForFourPeriods) {
    ReplayPacing pacing;
    for (int i = 0; i < 20; ++i) {
        for (int part = 0; part < 3; ++part)
            EXPECT_EQ(pacing.advance(20.0, 0.25, 20.0), 0);
        EXPECT_EQ(pacing.advance(20.0, 0.25, 20.0), 1);
    }
}

TEST(ReplayPacing, ALateThreadCatchesUp) {
    ReplayPacing pacing;
    EXPECT_EQ(pacing.advance(50.0, 1.0, 20.0), 2);
    EXPECT_EQ(pacing.advance(9.0, 1.0, 20.0), 0);
    EXPECT_EQ(pacing.advance(1.0, 1.0, 20.0), 1);
    EXPECT_EQ(pacing.advance(50.0, -1.0, 20.0), -2);
}

TEST(ReplayPacing, AResetForgetsWhatWasLeft) {
    ReplayPacing pacing;
    EXPECT_EQ(pacing.advance(19.0, 1.0, 20.0), 0);
    pacing.reset();
    EXPECT_EQ(pacing.advance(19.0, 1.0, 20.0), 0);
    EXPECT_EQ(pacing.advance(1.0, 1.0, 20.0), 1);
}

TEST(ReplayPacing, StandsStillAtSpeed0) {
    ReplayPacing pacing;
    EXPECT_EQ(pacing.advance(1e6, 0.0, 20.0), 0);
    EXPECT_EQ(pacing.untilNext(0.0, 20.0), std::numeric_limits<double>::infinity());
}

TEST(ReplayPacing, WhatCannotBeCountedIsDropped) {
    ReplayPacing pacing;
    EXPECT_GT(pacing.advance(1e300, 1e6, 20.0), 0);
    EXPECT_EQ(pacing.advance(1.0, 1.0, 20.0), 0);
}

} // namespace

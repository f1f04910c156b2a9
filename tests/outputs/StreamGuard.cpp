#include "outputs/StreamGuard.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "core/Clock.h"

namespace {

using quol::StreamGuard;

constexpr std::int64_t second = quol::nanosPerSecond;
constexpr std::int64_t past = -1;

bool asked(StreamGuard& guard) {
    const AVIOInterruptCB callback = guard.callback();
    return callback.callback(callback.opaque) != 0;
}

TEST(StreamGuard, WithNothingUnderWayNothingExpires) {
    StreamGuard guard;
    EXPECT_FALSE(asked(guard));
    guard.holdOff(); // nobody reaches for an address
    EXPECT_FALSE(asked(guard));
}

TEST(StreamGuard, AStartHasItsTime) {
    StreamGuard guard;
    guard.starts(100 * second);
    EXPECT_FALSE(asked(guard));
    guard.starts(past);
    EXPECT_TRUE(asked(guard));
    guard.started();
    EXPECT_FALSE(asked(guard));
}

TEST(StreamGuard, AStopEndsAStartThatWaits) {
    StreamGuard guard;
    guard.starts(100 * second);
    guard.holdOff();
    EXPECT_TRUE(asked(guard));
    guard.letGo();
    EXPECT_FALSE(asked(guard));
}

TEST(StreamGuard, APacketHasItsTime) {
    StreamGuard guard;
    guard.sends(100 * second);
    EXPECT_FALSE(asked(guard));
    guard.sends(past);
    EXPECT_TRUE(asked(guard));
    guard.sends(100 * second); // another one
    EXPECT_FALSE(asked(guard));
}

TEST(StreamGuard, WhatIsLeftHasItsTimeHoweverLongAgoTheLatestPacketIs) {
    StreamGuard guard;
    guard.sends(past);
    guard.finishes(100 * second);
    EXPECT_FALSE(asked(guard));
    guard.finishes(past);
    EXPECT_TRUE(asked(guard));
    guard.sends(100 * second); // the end is the end for all packets
    EXPECT_TRUE(asked(guard));
}

TEST(StreamGuard, WhoHasGivenUpSendsNothingMore) {
    StreamGuard guard;
    guard.givesUp();
    EXPECT_TRUE(asked(guard));
    guard.sends(100 * second);
    EXPECT_TRUE(asked(guard));
    guard.finishes(100 * second);
    EXPECT_TRUE(asked(guard));
    guard.starts(100 * second); // until it starts again
    EXPECT_FALSE(asked(guard));
}

} // namespace

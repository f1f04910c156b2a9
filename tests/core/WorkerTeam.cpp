#include "core/WorkerTeam.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <new>
#include <thread>
#include <vector>

namespace {

TEST(WorkerTeam, DoesEachPartOnce) {
    quol::WorkerTeam team(3);
    for (int count = 0; count < 60; ++count) {
        std::vector<std::atomic<int>> done(static_cast<std::size_t>(count) + 1);
        team.run(count, [&](int part) { ++done[static_cast<std::size_t>(part)]; });
        for (int part = 0; part < count; ++part)
            ASSERT_EQ(done[static_cast<std::size_t>(part)], 1) << part << " of " << count;
        ASSERT_EQ(done[static_cast<std::size_t>(count)], 0);
    }
}

// Plain memory: what the helpers have written is seen behind run(), and what was written before it
// is seen by them.
TEST(WorkerTeam, HandsMemoryOverBothWays) {
    quol::WorkerTeam team(3);
    std::vector<int> values(64, 0);
    for (int turn = 1; turn <= 500; ++turn) {
        team.run(static_cast<int>(values.size()), [&](int part) {
            auto& value = values[static_cast<std::size_t>(part)];
            ASSERT_EQ(value, turn - 1);
            value = turn;
        });
        for (const int value : values)
            ASSERT_EQ(value, turn);
    }
}

TEST(WorkerTeam, WithoutHelpersDoesItAll) {
    quol::WorkerTeam team(0);
    int sum = 0;
    team.run(10, [&](int part) { sum += part; });
    EXPECT_EQ(sum, 45);
    EXPECT_EQ(team.size(), 1);
}

// The caller must not leave while helpers are still at its job, which stands on its stack.
TEST(WorkerTeam, WhatAPartThrowsComesOutOnceNobodyIsAtTheJob) {
    for (const int helpers : {0, 3}) {
        quol::WorkerTeam team(helpers);
        for (int bad = 0; bad < 16; ++bad) {
            std::atomic<int> begun{0};
            std::atomic<int> ended{0};
            const auto part = [&](int i) {
                ++begun;
                if (i == bad) {
                    ++ended;
                    throw std::bad_alloc();
                }
                std::this_thread::sleep_for(std::chrono::microseconds(300));
                ++ended;
            };
            ASSERT_THROW(team.run(16, part), std::bad_alloc);
            ASSERT_EQ(begun, ended);
            ASSERT_GT(begun, bad);
        }
        std::atomic<int> done{0};
        team.run(16, [&](int) { ++done; });
        ASSERT_EQ(done, 16); // the next job knows nothing of it
    }
}

TEST(WorkerTeam, WhenEveryPartThrowsOneOfThemIsHeard) {
    quol::WorkerTeam team(3);
    for (int i = 0; i < 100; ++i)
        ASSERT_THROW(team.run(64, [](int) { throw std::bad_alloc(); }), std::bad_alloc);
}

TEST(WorkerTeam, ComesAndGoesWithoutAJob) {
    for (int i = 0; i < 100; ++i) {
        const quol::WorkerTeam idle(3);
        quol::WorkerTeam brief(2);
        std::atomic<int> parts{0};
        brief.run(4, [&](int) { ++parts; });
        ASSERT_EQ(parts, 4);
    }
}

TEST(WorkerTeam, UsuallyHasThreeHelpersAtMost) {
    EXPECT_GE(quol::WorkerTeam::usualHelpers(), 0);
    EXPECT_LE(quol::WorkerTeam::usualHelpers(), 3);
}

} // namespace

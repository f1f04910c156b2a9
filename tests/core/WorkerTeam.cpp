#include "core/WorkerTeam.h"

#include <gtest/gtest.h>

#include <atomic>
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

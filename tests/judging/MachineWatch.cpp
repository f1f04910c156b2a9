// When the suite takes a measurement for one, and when for none because the machine was away.
#include "support/MachineWatch.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <thread>

#include "support/ChildProcess.h"

namespace {

using namespace std::chrono_literals;
using test::MachineWatch;
using Clock = std::chrono::steady_clock;

constexpr double never = 1e9; // seconds that no machine is away for
constexpr double always = 0.0;

double secondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

TEST(MachineWatch, SeesAProcessThatIsStopped) {
    test::ChildProcess child([] {
        MachineWatch watch;
        watch.begin();
        const auto begin = Clock::now();
        while (secondsSince(begin) < 30.0) {
            if (watch.longest() >= 0.25 && watch.lateness() >= 0.25) return 0;
            std::this_thread::sleep_for(5ms);
        }
        return 1;
    });
    std::optional<int> result;
    for (int i = 0; i < 50 && !result; ++i) {
        child.signal(SIGSTOP);
        std::this_thread::sleep_for(300ms);
        child.signal(SIGCONT);
        result = child.wait(100ms);
    }
    EXPECT_EQ(result, 0);
}

struct Away {
    double longest;
    double lateness;
};

// The machine may be away now and then, but not always: the first look that saw nothing of it, else
// the last.
template <typename IsSeen>
Away quietLook(IsSeen isSeen) {
    Away away{never, never};
    for (int i = 0; i < 50 && isSeen(away); ++i) {
        MachineWatch watch;
        watch.begin();
        std::this_thread::sleep_for(100ms);
        watch.end();
        away = {watch.longest(), watch.lateness()};
    }
    return away;
}

TEST(MachineWatch, SeesNothingOfAMachineThatIsThere) {
    const Away away = quietLook([](const Away& seen) {
        return std::max(seen.longest, seen.lateness) >= test::awayForLong;
    });
    EXPECT_LT(away.longest, test::awayForLong);
    EXPECT_LT(away.lateness, test::awayForLong);
    EXPECT_GT(away.longest, 0.0); // no clock is as exact as that
    EXPECT_GT(away.lateness, 0.0);
}

// A thread that wakes is let in beside them.
TEST(MachineWatch, SeesNothingOfBusyThreads) {
    std::atomic<bool> ending{false};
    std::vector<std::thread> busy;
    for (unsigned i = 0; i < 2 * std::thread::hardware_concurrency(); ++i)
        busy.emplace_back([&] {
            while (!ending) {
            }
        });
    const Away away = quietLook([](const Away& seen) { return seen.longest >= test::awayForLong; });
    ending = true;
    for (std::thread& thread : busy)
        thread.join();
    EXPECT_LT(away.longest, test::awayForLong);
}

TEST(MachineWatch, BeforeItBeginsSeesNothing) {
    const MachineWatch watch;
    EXPECT_EQ(watch.longest(), 0.0);
    EXPECT_EQ(watch.lateness(), 0.0);
}

// What a measurement makes of the test around it.
struct Outcome {
    int measurements = 0;
    testing::TestPartResultArray told;
};

// The first ones, so many, miss what is expected.
void measure(Outcome& outcome, double away, int missed) {
    const testing::ScopedFakeTestPartResultReporter kept(
        testing::ScopedFakeTestPartResultReporter::INTERCEPT_ALL_THREADS, &outcome.told);
    test::measured(
        [&](MachineWatch& watch) {
            watch.begin();
            EXPECT_GT(++outcome.measurements, missed);
        },
        away);
}

TEST(Measured, OnceWhereNothingIsMissed) {
    for (const double away : {never, always}) {
        Outcome outcome;
        measure(outcome, away, 0);
        EXPECT_EQ(outcome.measurements, 1);
        EXPECT_EQ(outcome.told.size(), 0);
    }
}

TEST(Measured, WhatIsMissedOnAMachineThatIsThereCountsAtOnce) {
    Outcome outcome;
    measure(outcome, never, 1);
    EXPECT_EQ(outcome.measurements, 1);
    ASSERT_EQ(outcome.told.size(), 1);
    EXPECT_TRUE(outcome.told.GetTestPartResult(0).nonfatally_failed());
}

TEST(Measured, AgainWhereTheMachineWasAway) {
    Outcome outcome;
    measure(outcome, always, 2);
    EXPECT_EQ(outcome.measurements, 3);
    EXPECT_EQ(outcome.told.size(), 0);
}

TEST(Measured, WhatIsMissedEachTimeFailsAndTellsWhy) {
    Outcome outcome;
    measure(outcome, always, test::mostMeasurements);
    EXPECT_EQ(outcome.measurements, test::mostMeasurements);
    ASSERT_EQ(outcome.told.size(), 2);
    EXPECT_TRUE(outcome.told.GetTestPartResult(0).failed());
    EXPECT_TRUE(outcome.told.GetTestPartResult(1).failed());
    EXPECT_NE(std::string(outcome.told.GetTestPartResult(1).message()).find("No measurement"),
              std::string::npos);
}

TEST(Measured, UnwatchedCountsAsThere) {
    Outcome outcome;
    {
        const testing::ScopedFakeTestPartResultReporter kept(
            testing::ScopedFakeTestPartResultReporter::INTERCEPT_ALL_THREADS, &outcome.told);
        test::measured([&](MachineWatch&) {
            ++outcome.measurements;
            FAIL();
        });
    }
    EXPECT_EQ(outcome.measurements, 1);
    ASSERT_EQ(outcome.told.size(), 1);
    EXPECT_TRUE(outcome.told.GetTestPartResult(0).fatally_failed());
}

TEST(Measured, SkippedIsSkipped) {
    Outcome outcome;
    {
        const testing::ScopedFakeTestPartResultReporter kept(
            testing::ScopedFakeTestPartResultReporter::INTERCEPT_ALL_THREADS, &outcome.told);
        test::measured([](MachineWatch&) { GTEST_SKIP() << "nothing to measure"; });
    }
    ASSERT_EQ(outcome.told.size(), 1);
    EXPECT_TRUE(outcome.told.GetTestPartResult(0).skipped());
}

} // namespace

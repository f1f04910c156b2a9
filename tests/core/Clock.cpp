#include "core/Clock.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

constexpr std::int64_t millis = quol::nanosPerMilli;
constexpr std::int64_t hour = 3600 * quol::nanosPerSecond;

TEST(SteadyNow, NeverGoesBackAndCountsNanoseconds) {
    const auto before = std::chrono::steady_clock::now();
    const std::int64_t first = quol::steadyNow();
    std::int64_t last = first;
    for (int i = 0; i < 10000; ++i) {
        const std::int64_t now = quol::steadyNow();
        ASSERT_GE(now, last);
        last = now;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const std::int64_t passed = quol::steadyNow() - first;
    const std::int64_t around = (std::chrono::steady_clock::now() - before).count();
    EXPECT_GE(passed, 20 * millis);
    EXPECT_LE(passed, around);
}

TEST(SleepFor, LastsAtLeastItsTime) {
    for (const std::int64_t wanted : {std::int64_t{1}, 2 * millis, 50 * millis}) {
        const std::int64_t start = quol::steadyNow();
        quol::sleepFor(wanted);
        EXPECT_GE(quol::steadyNow() - start, wanted);
    }
}

TEST(SleepFor, ZeroAndBelowReturn) {
    quol::sleepFor(0);
    quol::sleepFor(-1);
    quol::sleepFor(INT64_MIN);
    SUCCEED(); // a sleep of any of these would not end
}

std::atomic<int> interruptions{0};

void countInterruption(int) {
    ++interruptions;
}

TEST(SleepFor, GoesOnAfterASignal) {
    struct sigaction action {};
    struct sigaction previous {};
    action.sa_handler = countInterruption; // and no SA_RESTART
    sigaction(SIGUSR1, &action, &previous);
    interruptions = 0;

    std::atomic<bool> done{false};
    std::int64_t slept = 0;
    std::thread sleeper([&] {
        const std::int64_t start = quol::steadyNow();
        quol::sleepFor(200 * millis);
        slept = quol::steadyNow() - start;
        done = true;
    });
    while (!done) {
        pthread_kill(sleeper.native_handle(), SIGUSR1);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    sleeper.join();
    sigaction(SIGUSR1, &previous, nullptr);
    EXPECT_GT(interruptions, 0);
    EXPECT_GE(slept, 200 * millis);
}

TEST(Sleeper, SleepsItsTimeWhenNobodyWakesIt) {
    quol::Sleeper sleeper;
    const std::int64_t start = quol::steadyNow();
    EXPECT_TRUE(sleeper.sleepFor(30 * millis));
    EXPECT_GE(quol::steadyNow() - start, 30 * millis);
}

TEST(Sleeper, WakeEndsASleepThatIsOn) {
    quol::Sleeper sleeper;
    std::atomic<bool> woken{false};
    std::thread thread([&] { woken = !sleeper.sleepFor(hour); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    sleeper.wake();
    thread.join();
    EXPECT_TRUE(woken);
}

TEST(Sleeper, WakeBeforeTheSleepIsNotLost) {
    quol::Sleeper sleeper;
    sleeper.wake();
    EXPECT_FALSE(sleeper.sleepFor(hour));
    EXPECT_FALSE(sleeper.sleepFor(hour)); // remembered until it is reset
    EXPECT_FALSE(sleeper.sleepFor(0));
}

TEST(Sleeper, ResetForgetsTheWake) {
    quol::Sleeper sleeper;
    sleeper.wake();
    sleeper.reset();
    EXPECT_TRUE(sleeper.sleepFor(10 * millis));
    EXPECT_TRUE(sleeper.sleepFor(0));
    EXPECT_TRUE(sleeper.sleepFor(-5));
}

TEST(Sleeper, WakeEndsTheSleepOfEveryThread) {
    quol::Sleeper sleeper;
    std::atomic<int> woken{0};
    const auto sleep = [&] {
        if (!sleeper.sleepFor(hour)) ++woken;
    };
    std::thread first(sleep);
    std::thread second(sleep);
    sleeper.wake();
    first.join();
    second.join();
    EXPECT_EQ(woken, 2);
}

TEST(WholeMillisPeriod, IsCutToMillisecondsBetweenOneAndAnHour) {
    constexpr std::int64_t milli = quol::nanosPerMilli;
    EXPECT_EQ(quol::wholeMillisPeriod(50.0), 20 * milli);
    EXPECT_EQ(quol::wholeMillisPeriod(29.97), 33 * milli);
    EXPECT_EQ(quol::wholeMillisPeriod(1000.0), milli);
    EXPECT_EQ(quol::wholeMillisPeriod(1024.0), milli);
    EXPECT_EQ(quol::wholeMillisPeriod(1e300), milli);
    EXPECT_EQ(quol::wholeMillisPeriod(1e-300), 3600000 * milli);
}

} // namespace

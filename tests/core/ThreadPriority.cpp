#include "core/ThreadPriority.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <stdexcept>
#include <thread>

#include "support/NoThreads.h"

namespace {

using quol::runAtPriority;
using quol::ThreadPriority;

int priority() {
    return getpriority(PRIO_PROCESS, 0);
}

class EveryPriority : public testing::TestWithParam<ThreadPriority> {
protected:
    void SetUp() override {
        if (before >= wanted) GTEST_SKIP() << "the whole test runs at a low priority";
    }

    const int before = priority();
    const int wanted = static_cast<int>(GetParam());
};

TEST_P(EveryPriority, IsTheCallingThreadsOnlyAndThatOfThoseItStarts) {
    int lowered = before;
    int child = before;
    std::thread worker([&] {
        quol::lowerThreadPriority(GetParam());
        lowered = priority();
        std::thread([&] { child = priority(); }).join();
    });
    worker.join();
    EXPECT_EQ(lowered, wanted);
    EXPECT_EQ(child, wanted);
    EXPECT_EQ(priority(), before);
}

TEST_P(EveryPriority, IsTheWorksAndNotTheCallers) {
    int ofWork = before;
    runAtPriority(GetParam(), [&] { ofWork = priority(); });
    EXPECT_EQ(ofWork, wanted);
    EXPECT_EQ(priority(), before);
}

INSTANTIATE_TEST_SUITE_P(ThreadPriorities, EveryPriority,
                         testing::Values(ThreadPriority::behindAir, ThreadPriority::spareTime));

TEST(ThreadPriorities, OneThatIsLowerAlreadyStays) {
    int lowered = 0;
    std::thread([&] {
        setpriority(PRIO_PROCESS, 0, 15);
        quol::lowerThreadPriority(ThreadPriority::spareTime);
        lowered = priority();
    }).join();
    EXPECT_GE(lowered, 15);
}

TEST(ThreadPriorities, WhatTheWorkThrowsTheCallerGets) {
    const auto work = [] { throw std::runtime_error("no"); };
    EXPECT_THROW(runAtPriority(ThreadPriority::behindAir, work), std::runtime_error);
}

TEST(ThreadPriorities, WithoutAThreadTheCallerDoesTheWork) {
    const test::NoThreads none;
    ASSERT_TRUE(none.works());
    std::thread::id worker;
    runAtPriority(ThreadPriority::behindAir, [&] { worker = std::this_thread::get_id(); });
    EXPECT_EQ(worker, std::this_thread::get_id());
}

} // namespace

#include "core/ThreadPriority.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <thread>

namespace {

int priority() {
    return getpriority(PRIO_PROCESS, 0);
}

TEST(ThreadPriority, IsLoweredForTheCallingThreadOnlyAndThoseItStarts) {
    const int before = priority();
    if (before >= 10) GTEST_SKIP() << "the whole test runs at a low priority";
    int lowered = before;
    int child = before;
    std::thread worker([&] {
        quol::lowerThreadPriority();
        lowered = priority();
        std::thread([&] { child = priority(); }).join();
    });
    worker.join();
    EXPECT_EQ(lowered, 10);
    EXPECT_EQ(child, 10);
    EXPECT_EQ(priority(), before);
}

TEST(ThreadPriority, OneThatIsLowerAlreadyStays) {
    int lowered = 0;
    std::thread([&] {
        setpriority(PRIO_PROCESS, 0, 15);
        quol::lowerThreadPriority();
        lowered = priority();
    }).join();
    EXPECT_GE(lowered, 15);
}

} // namespace

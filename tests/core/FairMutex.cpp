#include "core/FairMutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

namespace {

TEST(FairMutex, IsLockedAgainByItsOwner) {
    quol::FairMutex mutex;
    const std::lock_guard outer(mutex);
    const std::lock_guard inner(mutex);
    SUCCEED();
}

TEST(FairMutex, StaysLockedUntilTheOutermostUnlock) {
    quol::FairMutex mutex;
    std::atomic<bool> entered{false};
    mutex.lock();
    mutex.lock();
    std::thread other([&] {
        const std::lock_guard lock(mutex);
        entered = true;
    });
    mutex.unlock();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(entered);
    mutex.unlock();
    other.join();
    EXPECT_TRUE(entered);
}

TEST(FairMutex, KeepsThreadsApart) {
    quol::FairMutex mutex;
    int counter = 0; // a race here is a failure under the thread sanitizer, too
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int turn = 0; turn < 2000; ++turn) {
                const std::lock_guard lock(mutex);
                const int seen = counter;
                if (turn % 100 == 0) std::this_thread::yield();
                counter = seen + 1;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(counter, 8000);
}

// A worker that is late takes its lock again at once, without ever sleeping.
TEST(FairMutex, LetsACallerInAlthoughAWorkerNeverPauses) {
    quol::FairMutex mutex;
    std::atomic<bool> ending{false};
    std::thread worker([&] {
        while (!ending) {
            const std::lock_guard lock(mutex);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    for (int call = 0; call < 50; ++call)
        const std::lock_guard lock(mutex);
    ending = true;
    worker.join();
}

TEST(FairMutex, ServesInTheOrderOfArrival) {
    quol::FairMutex mutex;
    std::vector<int> order;
    std::vector<std::thread> threads;
    mutex.lock();
    for (int i = 0; i < 5; ++i) {
        threads.emplace_back([&, i] {
            const std::lock_guard lock(mutex);
            order.push_back(i);
        });
        // Long enough for each to queue up before the next is made.
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    mutex.unlock();
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4}));
}

} // namespace

#include "core/FairMutex.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

// A thread that asks for a mutex, and of which can be told that it waits.
class Caller {
public:
    template <typename Body>
    Caller(quol::FairMutex& mutex, Body body)
        : thread_([this, &mutex, body] {
              id_ = gettid();
              const std::lock_guard lock(mutex);
              body();
          }) {}
    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;
    ~Caller() { thread_.join(); }

    // Waits until the thread sleeps, which it does for nothing but the mutex. False after too long.
    bool isWaiting() const {
        const auto deadline = std::chrono::steady_clock::now() + 20s;
        while (std::chrono::steady_clock::now() < deadline) {
            if (id_ != 0 && state() == 'S') return true;
            std::this_thread::sleep_for(1ms);
        }
        return false;
    }

private:
    // The letter behind the name, which is in brackets.
    char state() const {
        std::ifstream file("/proc/self/task/" + std::to_string(id_) + "/stat");
        const std::string text((std::istreambuf_iterator<char>(file)), {});
        const std::size_t end = text.rfind(')');
        return end == std::string::npos || end + 2 >= text.size() ? '?' : text[end + 2];
    }

    std::atomic<pid_t> id_{0};
    std::thread thread_;
};

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
    mutex.lock();
    {
        const Caller other(mutex, [&] { entered = true; });
        EXPECT_TRUE(other.isWaiting());
        mutex.unlock();
        std::this_thread::sleep_for(20ms);
        EXPECT_FALSE(entered);
        mutex.unlock();
        std::this_thread::sleep_for(20ms);
        EXPECT_FALSE(entered);
        mutex.unlock();
    }
    EXPECT_TRUE(entered);
}

TEST(FairMutex, OwnerGetsInAgainPastThoseWhoWait) {
    quol::FairMutex mutex;
    std::atomic<bool> entered{false};
    mutex.lock();
    {
        const Caller other(mutex, [&] { entered = true; });
        EXPECT_TRUE(other.isWaiting());
        mutex.lock(); // would wait for ever in the queue
        EXPECT_FALSE(entered);
        mutex.unlock();
        EXPECT_FALSE(entered);
        mutex.unlock();
    }
    EXPECT_TRUE(entered);
}

TEST(FairMutex, IsFreeAgainBehindEveryDepth) {
    quol::FairMutex mutex;
    for (int depth = 1; depth <= 5; ++depth) {
        for (int i = 0; i < depth; ++i)
            mutex.lock();
        for (int i = 0; i < depth; ++i)
            mutex.unlock();
        bool entered = false;
        {
            const Caller other(mutex, [&] { entered = true; });
        }
        EXPECT_TRUE(entered) << depth;
    }
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

// A worker that is late takes its lock again at once, without ever sleeping. Whoever asked before
// it did is served first, every time.
TEST(FairMutex, LetsACallerInAlthoughAWorkerLocksAgainAtOnce) {
    quol::FairMutex mutex;
    for (int turn = 0; turn < 20; ++turn) {
        std::atomic<bool> entered{false};
        mutex.lock();
        const Caller caller(mutex, [&] { entered = true; });
        EXPECT_TRUE(caller.isWaiting());
        mutex.unlock();
        mutex.lock();
        EXPECT_TRUE(entered) << turn;
        mutex.unlock();
    }
}

TEST(FairMutex, ServesInTheOrderOfArrival) {
    quol::FairMutex mutex;
    std::vector<int> order;
    {
        std::vector<std::unique_ptr<Caller>> callers;
        mutex.lock();
        for (int i = 0; i < 8; ++i) {
            callers.push_back(std::make_unique<Caller>(mutex, [&order, i] { order.push_back(i); }));
            EXPECT_TRUE(callers.back()->isWaiting());
        }
        mutex.unlock();
    }
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
}

} // namespace

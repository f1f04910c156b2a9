// What the soak program knows of threads that wait for a processor.
#include "soak/ThreadWaits.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

// Threads that are busy on one processor, all the same one.
class Crowd {
public:
    Crowd(int count, int nice) {
        for (int index = 0; index < count; ++index)
            threads_.emplace_back([this, nice] {
                cpu_set_t one;
                CPU_ZERO(&one);
                CPU_SET(firstProcessor(), &one);
                sched_setaffinity(0, sizeof one, &one);
                setpriority(PRIO_PROCESS, 0, nice);
                ++begun_;
                while (!ending_) {
                }
            });
        while (begun_ < count)
            std::this_thread::sleep_for(1ms);
    }
    // Until each of them has had the processor for so long, which is when each has waited for all
    // the others: by its own clock, which stands while there is no processor.
    void waitUntilEachRan(double seconds) const {
        std::vector<double> before;
        for (std::size_t index = 0; index < threads_.size(); ++index)
            before.push_back(ran(index));
        const auto begin = Clock::now();
        for (std::size_t index = 0; index < threads_.size(); ++index)
            while (ran(index) - before[index] < seconds && secondsSince(begin) < 60.0)
                std::this_thread::sleep_for(1ms);
    }
    ~Crowd() {
        ending_ = true;
        for (std::thread& thread : threads_)
            thread.join();
    }

private:
    double ran(std::size_t index) const {
        clockid_t clock{};
        timespec time{};
        pthread_getcpuclockid(threads_[index].native_handle(), &clock);
        clock_gettime(clock, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
    }
    static int firstProcessor() {
        cpu_set_t all;
        CPU_ZERO(&all);
        sched_getaffinity(0, sizeof all, &all);
        int first = 0;
        while (first < CPU_SETSIZE - 1 && !CPU_ISSET(first, &all))
            ++first;
        return first;
    }

    std::atomic<bool> ending_{false};
    std::atomic<int> begun_{0};
    mutable std::vector<std::thread> threads_;
};

bool systemTells() {
    return std::ifstream("/proc/self/schedstat").good();
}

TEST(ThreadWaits, TellsOfAThreadThatSharesItsProcessor) {
    if (!systemTells()) GTEST_SKIP() << "no schedstat on this system";
    const auto begin = Clock::now(); // what a thread waits for is told when it is over
    const Crowd crowd(3, 0);
    soak::ThreadWaits waits;
    crowd.waitUntilEachRan(0.2);
    const double longest = waits.longest();
    EXPECT_GE(longest, 0.2); // each of the three waited for two
    EXPECT_LE(longest, secondsSince(begin));
}

TEST(ThreadWaits, LeavesOutThreadsThatGiveWay) {
    if (!systemTells()) GTEST_SKIP() << "no schedstat on this system";
    double ordinary = 0.0;
    double givingWay = 0.0;
    for (const int nice : {0, 5}) {
        const Crowd crowd(3, nice);
        soak::ThreadWaits waits;
        crowd.waitUntilEachRan(0.2);
        (nice == 0 ? ordinary : givingWay) = waits.longest();
    }
    EXPECT_LT(givingWay, ordinary / 2);
}

TEST(ThreadWaits, CountsFromTheLastQuestion) {
    if (!systemTells()) GTEST_SKIP() << "no schedstat on this system";
    soak::ThreadWaits waits;
    double busy = 0.0;
    {
        const Crowd crowd(3, 0);
        crowd.waitUntilEachRan(0.2);
        busy = waits.longest();
    }
    EXPECT_LT(waits.longest(), busy / 2);
}

} // namespace

#include "support/MachineWatch.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <sched.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace test {

namespace {

using Clock = std::chrono::steady_clock;

void stayOn(int processor) {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(processor, &one);
    sched_setaffinity(0, sizeof one, &one);
}

void raise(std::atomic<double>& worst, double late) {
    double before = worst;
    while (late > before && !worst.compare_exchange_weak(before, late)) {
    }
}

bool isMissed(const testing::TestPartResultArray& results) {
    for (int i = 0; i < results.size(); ++i)
        if (results.GetTestPartResult(i).failed()) return true;
    return false;
}

void tell(const testing::TestPartResult& result) {
    const char* const file = result.file_name();
    const int line = result.line_number();
    if (result.skipped())
        GTEST_SKIP() << result.message();
    else if (result.fatally_failed())
        GTEST_FAIL_AT(file, line) << result.message();
    else if (result.failed())
        ADD_FAILURE_AT(file, line) << result.message();
}

// For the log: it does not count.
void print(const testing::TestPartResult& result) {
    if (result.failed())
        std::printf("%s:%d: missed\n%s\n", result.file_name() ? result.file_name() : "?",
                    result.line_number(), result.message());
}

} // namespace

void MachineWatch::begin() {
    threads_.emplace_back([this] { watch(lateness_); });
    cpu_set_t ours;
    CPU_ZERO(&ours);
    sched_getaffinity(0, sizeof ours, &ours);
    for (int processor = 0; processor < CPU_SETSIZE; ++processor) {
        if (!CPU_ISSET(processor, &ours)) continue;
        threads_.emplace_back([this, processor] {
            stayOn(processor);
            watch(longest_);
        });
    }
}

void MachineWatch::end() {
    ending_ = true;
    for (std::thread& thread : threads_)
        thread.join();
    threads_.clear();
}

void MachineWatch::watch(std::atomic<double>& worst) const {
    constexpr auto pause = std::chrono::milliseconds(5);
    while (!ending_) {
        const auto before = Clock::now();
        std::this_thread::sleep_for(pause);
        raise(worst, std::chrono::duration<double>(Clock::now() - before - pause).count());
    }
}

void measured(const std::function<void(MachineWatch&)>& measurement, double away) {
    for (int number = 1;; ++number) {
        MachineWatch watch;
        testing::TestPartResultArray results;
        {
            const testing::ScopedFakeTestPartResultReporter kept(
                testing::ScopedFakeTestPartResultReporter::INTERCEPT_ALL_THREADS, &results);
            measurement(watch);
        }
        watch.end();
        const bool counts = !isMissed(results) || watch.longest() < away;
        if (counts || number == mostMeasurements) {
            for (int i = 0; i < results.size(); ++i)
                tell(results.GetTestPartResult(i));
            if (!counts)
                ADD_FAILURE() << "No measurement: in each of " << number
                              << " the machine was away, in the last one for "
                              << watch.longest() * 1e3 << " ms at a time";
            return;
        }
        for (int i = 0; i < results.size(); ++i)
            print(results.GetTestPartResult(i));
        std::printf("Measured again: the machine was away for %.0f ms at a time\n",
                    watch.longest() * 1e3);
    }
}

} // namespace test

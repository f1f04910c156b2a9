// The library's only steady clock, and the sleeps that go with it.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace quol {

inline constexpr std::int64_t nanosPerSecond = 1'000'000'000;
inline constexpr std::int64_t nanosPerMilli = 1'000'000;

// Steady clock in nanoseconds.
std::int64_t steadyNow();

// Nanoseconds from one picture to the next at a rate above 0: whole milliseconds, one at least and
// an hour at the most.
std::int64_t wholeMillisPeriod(double fps);

// Sleeps the whole of `nanoseconds`, going on after an interruption; 0 and below return at once.
void sleepFor(std::int64_t nanoseconds);

// The sleep of a worker thread that another thread can end. `wake` is remembered until `reset`, so
// a wake-up just before the sleep is not lost.
class Sleeper {
public:
    // False when it was woken, true when the time has passed.
    bool sleepFor(std::int64_t nanoseconds);
    void wake();
    void reset();

private:
    std::mutex mutex_;
    std::condition_variable condition_;
    bool woken_ = false; // guarded by mutex_
};

} // namespace quol

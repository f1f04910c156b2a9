#include "core/Clock.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <ctime>

namespace quol {

std::int64_t steadyNow() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

std::int64_t wholeMillisPeriod(double fps) {
    constexpr double longest = 3600.0e3;
    const double milliseconds = std::floor(std::min(1000.0 / fps, longest));
    return static_cast<std::int64_t>(std::max(1.0, milliseconds)) * nanosPerMilli;
}

void sleepFor(std::int64_t nanoseconds) {
    if (nanoseconds <= 0) return;
    timespec left{static_cast<time_t>(nanoseconds / nanosPerSecond),
                  static_cast<long>(nanoseconds % nanosPerSecond)};
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {
    }
}

bool Sleeper::sleepFor(std::int64_t nanoseconds) {
    std::unique_lock lock(mutex_);
    return !condition_.wait_for(lock, std::chrono::nanoseconds(nanoseconds),
                                [this] { return woken_; });
}

void Sleeper::wake() {
    {
        const std::lock_guard lock(mutex_);
        woken_ = true;
    }
    condition_.notify_all();
}

void Sleeper::reset() {
    const std::lock_guard lock(mutex_);
    woken_ = false;
}

} // namespace quol

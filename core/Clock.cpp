#include "core/Clock.h"

#include <cerrno>
#include <chrono>
#include <ctime>

namespace quol {

std::int64_t steadyNow() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
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

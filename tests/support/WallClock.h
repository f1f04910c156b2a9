// The time of day by the clock that the library reads.
#pragma once

#include <chrono>
#include <ctime>

namespace test {

// Not time(): that one reads a clock of its own, which lags behind by a tick of the system's timer,
// and by more on a machine that is away.
inline std::time_t wallSecond() {
    return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
}

// Of the local day.
inline int secondOfDay(std::time_t second = wallSecond()) {
    std::tm local{};
    localtime_r(&second, &local);
    return (local.tm_hour * 60 + local.tm_min) * 60 + local.tm_sec;
}

} // namespace test

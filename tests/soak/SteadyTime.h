// The clock that everything here is measured by.
#pragma once

#include <chrono>
#include <cstdint>

namespace soak {

inline std::int64_t steadyNanos() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

inline double secondsSince(std::int64_t begin) {
    return static_cast<double>(steadyNanos() - begin) * 1e-9;
}

} // namespace soak

// How many pictures a second a compositor really makes.
#pragma once

#include <cstdint>

#include "core/Clock.h"

namespace quol {

// Measured over at least a second. One thread at a time.
class RateMeter {
public:
    explicit RateMeter(std::int64_t now) : start_(now) {}

    // Counts one picture; `now` on the steady clock.
    void count(std::int64_t now) {
        ++pictures_;
        const std::int64_t passed = now - start_;
        if (passed < nanosPerSecond) return;
        rate_ = static_cast<double>(pictures_) * static_cast<double>(nanosPerSecond) /
                static_cast<double>(passed);
        pictures_ = 0;
        start_ = now;
    }

    double rate() const { return rate_; } // 0.0 during the first second

private:
    std::int64_t start_;
    std::int64_t pictures_ = 0;
    double rate_ = 0.0;
};

} // namespace quol

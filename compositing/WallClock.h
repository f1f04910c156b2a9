// The time that a multiview's pictures tell, between two of them too.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <mutex>

namespace quol {

// Written by the render thread with every picture, read by the threads of the sources.
class WallClock {
public:
    // A picture of `seconds` is due at `due` on the steady clock, nanoseconds. From there on
    // `speed` seconds go by in one of the steady clock, `farthest` of them at most until the next
    // picture.
    void set(double seconds, std::int64_t due, double speed,
             double farthest = std::numeric_limits<double>::max()) {
        const std::lock_guard lock(mutex_);
        seconds_ = seconds;
        due_ = due;
        speed_ = speed;
        farthest_ = farthest;
    }

    // In seconds, at a moment of the steady clock; 0 before the first picture.
    double at(std::int64_t now) const {
        const std::lock_guard lock(mutex_);
        const double gone = static_cast<double>(now - due_) * 1.0e-9 * speed_;
        return std::max(0.0, seconds_ + std::min(gone, farthest_));
    }

private:
    mutable std::mutex mutex_; // guards all below
    double seconds_ = 0.0;
    std::int64_t due_ = 0;
    double speed_ = 0.0;
    double farthest_ = 0.0;
};

} // namespace quol

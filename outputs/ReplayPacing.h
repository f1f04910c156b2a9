// When the next picture of a replay is due, and how many frames further on it is.
#pragma once

#include <cmath>
#include <cstdint>

#include "core/Timecode.h"

namespace quol {

// Counts time at the speed set until it makes a frame. At most one picture a period is shown: above
// speed 1 frames are left out. What is left over counts for the next one, so that neither a late
// thread nor an odd speed changes the pace. All times in milliseconds.
class ReplayPacing {
public:
    void reset() {
        due_ = 0.0;
        waited_ = 0.0;
    }

    // So much time has passed. The frames to go on, or back; 0 when nothing is due yet.
    std::int64_t advance(double elapsed, double speed, double period) {
        due_ += elapsed * speed;
        waited_ += elapsed;
        if (!(std::fabs(due_) >= period && waited_ >= period - rounding)) return 0;
        const std::int64_t frames = wholeFrames(due_ / period);
        due_ -= static_cast<double>(frames) * period;
        if (!(std::fabs(due_) < period)) due_ = 0.0; // beyond what can be counted
        waited_ = std::fmod(waited_ + rounding, period);
        return frames;
    }

    // How long until the next one at that speed; infinite at speed 0.
    double untilNext(double speed, double period) const {
        return std::fmax((period - std::fabs(due_)) / std::fabs(speed), period - waited_);
    }

private:
    static constexpr double rounding = 1e-6;

    double due_ = 0.0;    // at the speed set, since the latest picture
    double waited_ = 0.0; // really, less whole periods
};

} // namespace quol

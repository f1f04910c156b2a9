// The levels of the preview's sound meter.
#pragma once

#include <algorithm>

namespace quol {

// One channel: the level now, and the held one above it.
class MeterLevel {
public:
    static constexpr int segments = 40;

    // One pass with a new level, 0.0 to 1.0.
    void set(float level) {
        current_ = level;
        hold();
    }
    // One pass without any.
    void fall() {
        current_ = std::max(0.0F, current_ - fallOfPass);
        hold();
    }

    float current() const { return current_; }
    float held() const { return held_; }

    int litSegments() const { return segmentsOf(current_); }
    // The one segment that marks the held level; -1 for none.
    int heldSegment() const {
        return held_ > smallestHeld ? std::min(segmentsOf(held_), segments - 1) : -1;
    }

private:
    static constexpr float fallOfPass = 0.1F;
    static constexpr int heldPasses = 45;
    static constexpr float heldFallOfPass = 0.006F;
    static constexpr float smallestHeld = 0.01F;

    static int segmentsOf(float level) {
        return std::clamp(static_cast<int>(level * static_cast<float>(segments)), 0, segments);
    }

    void hold() {
        if (current_ >= held_) {
            held_ = current_;
            counter_ = heldPasses;
        } else if (counter_ > 0) {
            --counter_;
        } else {
            held_ = std::max(0.0F, held_ - heldFallOfPass);
        }
    }

    float current_ = 0.0F;
    float held_ = 0.0F;
    int counter_ = 0; // passes until the held level falls
};

// Both channels. One thread at a time.
struct PreviewMeter {
    MeterLevel left;
    MeterLevel right;

    void set(float leftLevel, float rightLevel) {
        left.set(leftLevel);
        right.set(rightLevel);
    }
    void fall() {
        left.fall();
        right.fall();
    }
};

} // namespace quol

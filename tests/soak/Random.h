// Numbers that look like chance and are the same on every machine for the same seed.
#pragma once

#include <cstdint>

namespace soak {

// SplitMix64. The distributions of the standard library differ from one library to the next, so the
// ranges are made here.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next() {
        state_ += 0x9E3779B97F4A7C15U;
        std::uint64_t mixed = state_;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9U;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBU;
        return mixed ^ (mixed >> 31);
    }

    // 0 to count - 1; count is above 0.
    int below(int count) {
        const std::uint64_t upper = next() >> 32;
        return static_cast<int>(upper * static_cast<std::uint64_t>(count) >> 32);
    }
    int between(int first, int last) { return first + below(last - first + 1); } // both included
    bool chance(int percent) { return below(100) < percent; }

private:
    std::uint64_t state_;
};

} // namespace soak

// How a compositor counts its pictures and the sound that goes with them.
#pragma once

#include <algorithm>

extern "C" {
#include <libavutil/rational.h>
}

namespace quol {

// Ticks are counted in whole frames a second: at 29.97 the time base is 1/29.
inline AVRational tickBase(double fps) {
    return {1, static_cast<int>(std::clamp(fps, 1.0, 1.0e6))};
}

// Samples a channel in one tick, at least one and at most those of a minute. A tick too short for
// one counts as a fiftieth of a second.
inline int samplesOfTick(int sampleRate, double fps) {
    const double minute = std::min(60.0 * sampleRate, 1.0e8);
    const double samples = std::min(static_cast<double>(sampleRate) / fps, minute);
    const int length = static_cast<int>(samples);
    return std::max(1, length > 0 ? length : sampleRate / 50);
}

} // namespace quol

// Arithmetic on blocks of interleaved 16-bit stereo.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quol {

// mix = clamp(mix + (int)(sample * gain * master), -32768, 32767), the products in float, in this
// order, and cut towards zero, for `count` values of either channel. Any gains but a NaN.
void addToMix(std::int16_t* mix, const std::int16_t* samples, std::size_t count, float gain,
              float master = 1.0F);

// target[i] = samples[(int)(i * pairs / targetPairs)]: sound of another rate that lasts as long. i
// runs over both channels as they lie, so that they cross over where the lengths differ. Both
// lengths are above 0.
void stretchNearest(const std::int16_t* samples, int pairs, std::int16_t* target, int targetPairs);

// Largest absolute values of each channel, 0 to 32768.
struct StereoPeak {
    int left = 0;
    int right = 0;
};
StereoPeak largestSamples(const std::int16_t* samples, std::size_t pairs);

} // namespace quol

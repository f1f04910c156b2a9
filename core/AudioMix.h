// Arithmetic on blocks of interleaved 16-bit stereo.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quol {

// mix = clamp(mix + (int)(sample * gain), -32768, 32767), the product in float and cut towards
// zero, for `count` values of either channel. Any gain but a NaN.
void addToMix(std::int16_t* mix, const std::int16_t* samples, std::size_t count, float gain);

// Largest absolute values of each channel, 0 to 32768.
struct StereoPeak {
    int left = 0;
    int right = 0;
};
StereoPeak largestSamples(const std::int16_t* samples, std::size_t pairs);

} // namespace quol

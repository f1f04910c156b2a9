#include "core/AudioMix.h"

#include <algorithm>
#include <array>

#include "core/Vectorize.h"

namespace quol {

QUOL_VECTORIZED void addToMix(std::int16_t* __restrict mix, const std::int16_t* __restrict samples,
                              std::size_t count, float gain, float master) {
    // Beyond twice full scale the sum is clamped whatever the mix holds, and a whole number of
    // that size is still one.
    constexpr float beyond = 131072.0F;
    for (std::size_t i = 0; i < count; ++i) {
        const float product = static_cast<float>(samples[i]) * gain * master;
        const float bounded = std::min(std::max(product, -beyond), beyond);
        const int sum = mix[i] + static_cast<int>(bounded);
        mix[i] = static_cast<std::int16_t>(std::min(std::max(sum, -32768), 32767));
    }
}

void stretchNearest(const std::int16_t* samples, int pairs, std::int16_t* target, int targetPairs) {
    const int last = 2 * pairs - 1;
    for (int i = 0; i < 2 * targetPairs; ++i) {
        const double wanted = static_cast<double>(i) * pairs / targetPairs;
        target[i] = samples[std::min(static_cast<int>(wanted), last)];
    }
}

namespace {

// Whole vectors of samples at a time; even lanes are left, odd ones right.
constexpr std::size_t lanes = 16;
using Lanes = std::array<std::int16_t, lanes>;

QUOL_VECTORIZED void largestOfLanes(const std::int16_t* samples, std::size_t blocks, Lanes& high,
                                    Lanes& low) {
    Lanes highest{};
    Lanes lowest{};
    for (std::size_t block = 0; block < blocks; ++block) {
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            const std::int16_t sample = samples[block * lanes + lane];
            highest[lane] = std::max(highest[lane], sample);
            lowest[lane] = std::min(lowest[lane], sample);
        }
    }
    high = highest;
    low = lowest;
}

} // namespace

StereoPeak largestSamples(const std::int16_t* samples, std::size_t pairs) {
    const std::size_t blocks = pairs * 2 / lanes;
    Lanes high{};
    Lanes low{};
    largestOfLanes(samples, blocks, high, low);
    std::array<int, 2> peaks{};
    for (std::size_t lane = 0; lane < lanes; ++lane)
        peaks[lane % 2] = std::max({peaks[lane % 2], static_cast<int>(high[lane]), -low[lane]});
    for (std::size_t i = blocks * lanes; i < pairs * 2; ++i)
        peaks[i % 2] = std::max(peaks[i % 2], std::abs(static_cast<int>(samples[i])));
    return {peaks[0], peaks[1]};
}

} // namespace quol

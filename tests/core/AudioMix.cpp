#include "core/AudioMix.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <vector>

namespace {

using Samples = std::vector<std::int16_t>;

// The formula, sample by sample.
std::int16_t mixed(std::int16_t mix, std::int16_t sample, float gain) {
    const double product = static_cast<double>(static_cast<float>(sample) * gain);
    const double whole = product < 0.0 ? std::max(product, -1.0e9) : std::min(product, 1.0e9);
    const int sum = mix + static_cast<int>(whole);
    return static_cast<std::int16_t>(std::clamp(sum, -32768, 32767));
}

Samples noise(std::size_t count, unsigned seed) {
    std::mt19937 random(seed);
    Samples samples(count);
    for (auto& sample : samples)
        sample = static_cast<std::int16_t>(random());
    return samples;
}

TEST(AddToMix, EqualsTheFormulaForEverySampleAtEveryUsualGain) {
    Samples all(65536);
    for (int i = 0; i < 65536; ++i)
        all[static_cast<std::size_t>(i)] = static_cast<std::int16_t>(i - 32768);
    for (int percent = 0; percent <= 400; percent += 7) {
        const auto gain = static_cast<float>(percent / 100.0);
        Samples mix = noise(all.size(), 1);
        Samples wanted = mix;
        for (std::size_t i = 0; i < all.size(); ++i)
            wanted[i] = mixed(mix[i], all[i], gain);
        quol::addToMix(mix.data(), all.data(), all.size(), gain);
        ASSERT_EQ(mix, wanted) << percent << " %";
    }
}

TEST(AddToMix, LimitsAtAnyGain) {
    for (const float gain : {1.0e3F, 1.0e7F, 1.0e30F}) {
        Samples mix{0, 0, 32767, -32768, 5};
        const Samples samples{1, -1, -30000, 30000, 0};
        quol::addToMix(mix.data(), samples.data(), samples.size(), gain);
        Samples wanted{0, 0, 32767, -32768, 5};
        for (std::size_t i = 0; i < wanted.size(); ++i)
            wanted[i] = mixed(wanted[i], samples[i], gain);
        EXPECT_EQ(mix, wanted) << gain;
    }
}

TEST(AddToMix, TouchesNothingBeyondItsCount) {
    for (std::size_t count = 0; count < 70; ++count) {
        Samples mix(80, 100);
        const Samples samples(80, 1000);
        quol::addToMix(mix.data(), samples.data(), count, 1.0F);
        for (std::size_t i = 0; i < mix.size(); ++i)
            ASSERT_EQ(mix[i], i < count ? 1100 : 100) << count << " at " << i;
    }
}

TEST(LargestSamples, AreThoseOfEachChannelForEveryLength) {
    for (std::size_t pairs = 0; pairs < 100; ++pairs) {
        const Samples samples = noise(pairs * 2, static_cast<unsigned>(pairs));
        int left = 0;
        int right = 0;
        for (std::size_t i = 0; i < pairs; ++i) {
            left = std::max(left, std::abs(static_cast<int>(samples[i * 2])));
            right = std::max(right, std::abs(static_cast<int>(samples[i * 2 + 1])));
        }
        const quol::StereoPeak peak = quol::largestSamples(samples.data(), pairs);
        EXPECT_EQ(peak.left, left) << pairs;
        EXPECT_EQ(peak.right, right) << pairs;
    }
}

TEST(LargestSamples, CountTheLowestSampleInFull) {
    for (const std::size_t pairs : {std::size_t{1}, std::size_t{8}, std::size_t{33}}) {
        Samples samples(pairs * 2, 0);
        samples[(pairs - 1) * 2] = -32768;
        const quol::StereoPeak peak = quol::largestSamples(samples.data(), pairs);
        EXPECT_EQ(peak.left, 32768);
        EXPECT_EQ(peak.right, 0);
    }
}

} // namespace

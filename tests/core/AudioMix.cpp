#include "core/AudioMix.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <utility>
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

// The product is cut towards zero on both sides of it, and a negative gain turns the sound round.
TEST(AddToMix, EqualsTheFormulaAtGainsBeyondTheUsual) {
    Samples all(65536);
    for (int i = 0; i < 65536; ++i)
        all[static_cast<std::size_t>(i)] = static_cast<std::int16_t>(i - 32768);
    for (const float gain : {1.0e-30F, 1.0e-5F, 0.333F, 0.999F, 1.001F, 3.999F, 4.0F, 4.001F,
                             100.0F, 21474836.47F, -0.5F, -1.0F, -7.0F, -1.0e30F}) {
        Samples mix = noise(all.size(), 2);
        Samples wanted = mix;
        for (std::size_t i = 0; i < all.size(); ++i)
            wanted[i] = mixed(mix[i], all[i], gain);
        quol::addToMix(mix.data(), all.data(), all.size(), gain);
        ASSERT_EQ(mix, wanted) << gain;
    }
}

TEST(AddToMix, AnyPartOfAnySoundIsTheFormula) {
    std::mt19937 random(3);
    for (int turn = 0; turn < 5000; ++turn) {
        const std::size_t count = random() % 200;
        const std::size_t mixStart = random() % 20;
        const std::size_t start = random() % 20;
        const auto gain = static_cast<float>(static_cast<int>(random() % 400) / 100.0);
        Samples mix = noise(240, static_cast<unsigned>(random()));
        const Samples samples = noise(240, static_cast<unsigned>(random()));
        Samples wanted = mix;
        for (std::size_t i = 0; i < count; ++i)
            wanted[mixStart + i] = mixed(mix[mixStart + i], samples[start + i], gain);
        quol::addToMix(mix.data() + mixStart, samples.data() + start, count, gain);
        ASSERT_EQ(mix, wanted) << count << " at " << gain;
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

// One value alone in silence, at every place of blocks of every length.
TEST(LargestSamples, AreFoundAtEveryPlace) {
    for (std::size_t pairs = 1; pairs < 40; ++pairs) {
        for (std::size_t place = 0; place < pairs * 2; ++place) {
            for (const int value : {1, -1, 32767, -32767, -32768}) {
                Samples samples(pairs * 2, 0);
                samples[place] = static_cast<std::int16_t>(value);
                const quol::StereoPeak peak = quol::largestSamples(samples.data(), pairs);
                ASSERT_EQ(peak.left, place % 2 == 0 ? std::abs(value) : 0) << place;
                ASSERT_EQ(peak.right, place % 2 == 1 ? std::abs(value) : 0) << place;
            }
        }
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

TEST(AddToMix, MasterMultipliesBehindTheGain) {
    std::mt19937 random(3);
    Samples samples(1001);
    for (std::int16_t& sample : samples)
        sample = static_cast<std::int16_t>(random());
    for (const auto& [gain, master] : std::vector<std::pair<float, float>>{
             {0.3F, 0.7F}, {1.0F, 2.0F}, {0.1F, 1.0F}, {1.0F, 0.0F}}) {
        Samples mix(samples.size(), 100);
        quol::addToMix(mix.data(), samples.data(), samples.size(), gain, master);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const float product = static_cast<float>(samples[i]) * gain * master;
            ASSERT_EQ(mix[i], std::clamp(100 + static_cast<int>(product), -32768, 32767));
        }
    }
}

TEST(StretchNearest, TakesTheValueAtTheSameShareOfTheWay) {
    Samples samples(2 * 960);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<std::int16_t>(i);
    for (const int length : {1, 480, 882, 960, 1920, 2000}) {
        Samples target(static_cast<std::size_t>(length) * 2, -1);
        quol::stretchNearest(samples.data(), 960, target.data(), length);
        for (int i = 0; i < 2 * length; ++i) {
            const int wanted = static_cast<int>(static_cast<double>(i) * 960 / length);
            ASSERT_EQ(target[static_cast<std::size_t>(i)], std::min(wanted, 2 * 960 - 1));
        }
    }
}

} // namespace

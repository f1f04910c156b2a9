#include "compositing/MixRows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <vector>

namespace {

using u8 = std::uint8_t;

int faded(float a, float b, float p) {
    return static_cast<int>(b * p + a * (1 - p));
}

int dipped(float source, float share, float color) {
    return static_cast<int>(source * share + color);
}

// Shares whose sums with their rests round in different ways.
std::vector<float> shares() {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> any(0.0F, 1.0F);
    std::vector<float> all{0.0F, 1.0F, 0.5F, 1e-30F, 1e-8F, 0.99999994F};
    for (int i = 1; i < 100; ++i)
        all.push_back(static_cast<float>(i) / 100.0F);
    for (int i = 0; i < 20; ++i)
        all.push_back(any(random));
    return all;
}

std::array<u8, 256> everyLevel() {
    std::array<u8, 256> levels{};
    for (std::size_t i = 0; i < levels.size(); ++i)
        levels[i] = static_cast<u8>(i);
    return levels;
}

class EveryMixRows : public testing::TestWithParam<quol::MixRows> {};

TEST_P(EveryMixRows, FadesByTheFormulaForAllPairsOfLevels) {
    const std::array<u8, 256> b = everyLevel();
    for (const float p : shares()) {
        for (int level = 0; level < 256; ++level) {
            std::array<u8, 256> a{};
            a.fill(static_cast<u8>(level));
            std::array<u8, 256> target{};
            GetParam().fade(target.data(), a.data(), b.data(), b.size(), p);
            for (int i = 0; i < 256; ++i)
                ASSERT_EQ(target[static_cast<std::size_t>(i)],
                          faded(static_cast<float>(level), static_cast<float>(i), p))
                    << level << ' ' << i << ' ' << p;
        }
    }
}

TEST_P(EveryMixRows, DipsByTheFormulaForAllLevelsAndColors) {
    const std::array<u8, 256> source = everyLevel();
    for (const float share : shares()) {
        for (int level = 0; level < 256; ++level) {
            const float color = static_cast<float>(level) * (1 - share);
            std::array<u8, 256> target{};
            GetParam().dip(target.data(), source.data(), source.size(), share, color);
            for (int i = 0; i < 256; ++i)
                ASSERT_EQ(target[static_cast<std::size_t>(i)],
                          dipped(static_cast<float>(i), share, color))
                    << level << ' ' << i << ' ' << share;
        }
    }
}

TEST_P(EveryMixRows, WritesARowOfAnyLengthAndNothingBesideIt) {
    constexpr std::size_t border = 70;
    std::mt19937 random(2);
    for (std::size_t count = 0; count < 140; ++count) {
        // Exactly as long as the row, so that a read beyond it is one beyond the memory.
        std::vector<u8> a(count);
        std::vector<u8> b(count);
        std::generate(a.begin(), a.end(), [&] { return static_cast<u8>(random()); });
        std::generate(b.begin(), b.end(), [&] { return static_cast<u8>(random()); });
        std::vector<u8> expected(count + 2 * border, 77);
        std::vector<u8> target = expected;
        for (std::size_t i = 0; i < count; ++i)
            expected[border + i] = static_cast<u8>(faded(a[i], b[i], 0.3F));
        GetParam().fade(target.data() + border, a.data(), b.data(), count, 0.3F);
        ASSERT_EQ(target, expected) << count;
        for (std::size_t i = 0; i < count; ++i)
            expected[border + i] = static_cast<u8>(dipped(a[i], 0.3F, 99.7F));
        GetParam().dip(target.data() + border, a.data(), count, 0.3F, 99.7F);
        ASSERT_EQ(target, expected) << count;
    }
}

INSTANTIATE_TEST_SUITE_P(MixRows, EveryMixRows, testing::ValuesIn(quol::everyMixRows()),
                         [](const auto& info) {
                             std::string name = info.param.name;
                             std::erase(name, '-');
                             return name;
                         });

TEST(MixRows, PlainLoopsRunEverywhere) {
    EXPECT_STREQ(quol::everyMixRows().back().name, "plain");
    EXPECT_EQ(&quol::fastestMixRows(), &quol::everyMixRows().front());
}

} // namespace

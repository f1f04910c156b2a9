#include "compositing/SamplePicker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

using u8 = std::uint8_t;

// Of exactly that length, so that a read beyond it is one beyond the memory.
std::vector<u8> randomRow(int length) {
    std::mt19937 random(static_cast<unsigned>(length));
    std::vector<u8> row(static_cast<std::size_t>(length));
    std::generate(row.begin(), row.end(), [&random] { return static_cast<u8>(random()); });
    return row;
}

// What a picker makes of the row, between samples that are to stay as they are.
void expectPicked(const std::vector<u8>& row, const std::vector<int>& sources) {
    constexpr std::size_t border = 32;
    quol::SamplePicker picker;
    picker.learn(static_cast<int>(sources.size()), static_cast<int>(row.size()),
                 [&sources](int i) { return sources[static_cast<std::size_t>(i)]; });
    std::vector<u8> target(sources.size() + 2 * border, 99);
    std::vector<u8> expected = target;
    for (std::size_t i = 0; i < sources.size(); ++i)
        expected[border + i] = row[static_cast<std::size_t>(sources[i])];
    picker.pick(target.data() + border, row.data());
    ASSERT_EQ(target, expected) << sources.size() << " of " << row.size();
}

TEST(SamplePicker, NarrowsARowToAnyLength) {
    for (const int length : {1, 15, 16, 17, 33, 100, 257, 1024}) {
        const std::vector<u8> row = randomRow(length);
        for (int count = 1; count <= std::min(length, 300); ++count) {
            std::vector<int> sources;
            for (int i = 0; i < count; ++i)
                sources.push_back(i * length / count);
            expectPicked(row, sources);
        }
    }
}

TEST(SamplePicker, TakesSamplesFarApartAndCloseTogetherAlike) {
    std::mt19937 random(1);
    for (const int longest : {1, 3, 20, 200}) {
        std::vector<int> sources;
        for (int i = 0, at = 0; i < quol::SamplePicker::capacity; ++i) {
            sources.push_back(at);
            at += static_cast<int>(random() % static_cast<unsigned>(longest + 1));
        }
        expectPicked(randomRow(sources.back() + 1), sources);
    }
}

TEST(SamplePicker, ReadsTheEndOfARowAndNothingBeyond) {
    for (int length = 1; length <= 200; ++length) {
        std::vector<int> sources;
        for (int i = std::max(0, length - 40); i < length; ++i)
            sources.push_back(i);
        expectPicked(randomRow(length), sources);
    }
}

TEST(SamplePicker, LearnsAnew) {
    const std::vector<u8> row = randomRow(64);
    quol::SamplePicker picker;
    picker.learn(64, 64, [](int i) { return i; });
    picker.learn(20, 64, [](int i) { return 3 * i; });
    std::vector<u8> target(64, 99);
    picker.pick(target.data(), row.data());
    for (std::size_t i = 0; i < target.size(); ++i)
        ASSERT_EQ(target[i], i < 20 ? row[3 * i] : 99) << i;
}

} // namespace

#include "compositing/PlaneBlend.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace {

using u8 = std::uint8_t;

// ------------------------------------------------------------------------------- plain formulas

int blend(int target, int source, int e) {
    return e == 0 ? target : ((255 - e) * target + e * source) >> 8;
}

int borderBlend(int target, int level, int alpha) {
    return (target * (255 - alpha) + level * alpha) >> 8;
}

int cover(int target, int e) {
    return target + e * (255 - target) / 255;
}

int lumaKey(int y) {
    return y < 16 ? 0 : std::min(255, (y - 16) * 255 / 219);
}

// ----------------------------------------------------------------------------- every single value

// Every value of a byte, in order.
std::array<u8, 256> everyLevel() {
    std::array<u8, 256> levels{};
    for (int i = 0; i < 256; ++i)
        levels[static_cast<std::size_t>(i)] = static_cast<u8>(i);
    return levels;
}

const std::array<u8, 256> levels = everyLevel();

std::array<u8, 256> filled(int level) {
    std::array<u8, 256> row{};
    row.fill(static_cast<u8>(level));
    return row;
}

// Compares a row of 256 with what `formula` says for each place.
template <typename Formula>
testing::AssertionResult isRow(const std::array<u8, 256>& row, const Formula& formula) {
    for (int i = 0; i < 256; ++i) {
        const int expected = formula(i);
        if (row[static_cast<std::size_t>(i)] == expected) continue;
        return testing::AssertionFailure()
               << "at " << i << ": " << static_cast<int>(row[static_cast<std::size_t>(i)])
               << " in place of " << expected;
    }
    return testing::AssertionSuccess();
}

TEST(PlaneBlend, OneAlphaForARowIsTheFormulaForAllValues) {
    for (int e = 0; e < 256; ++e) {
        for (int target = 0; target < 256; ++target) {
            std::array<u8, 256> row = filled(target);
            quol::blendRow(row.data(), levels.data(), row.size(), static_cast<u8>(e));
            ASSERT_TRUE(isRow(row, [&](int i) { return blend(target, i, e); }))
                << target << ' ' << e;
        }
    }
}

TEST(PlaneBlend, AnAlphaForEachSampleIsTheFormulaForAllValues) {
    for (int source = 0; source < 256; ++source) {
        const std::array<u8, 256> sources = filled(source);
        for (int target = 0; target < 256; ++target) {
            std::array<u8, 256> row = filled(target);
            quol::blendRow(row.data(), sources.data(), levels.data(), row.size());
            ASSERT_TRUE(isRow(row, [&](int i) { return blend(target, source, i); }))
                << target << ' ' << source;
        }
    }
}

TEST(PlaneBlend, FullOpacityGivesTheSourceTimes255Over256) {
    for (int target = 0; target < 256; ++target) {
        std::array<u8, 256> row = filled(target);
        quol::blendRow(row.data(), levels.data(), row.size(), 255);
        ASSERT_TRUE(isRow(row, [](int i) { return i * 255 / 256; })) << target;
    }
}

TEST(PlaneBlend, LevelIsTheFormulaForAllValues) {
    for (int alpha = 0; alpha < 256; ++alpha) {
        for (int level = 0; level < 256; ++level) {
            std::array<u8, 256> row = levels;
            quol::blendLevel(row.data(), static_cast<u8>(level), static_cast<u8>(alpha),
                             row.size());
            ASSERT_TRUE(isRow(row, [&](int i) { return borderBlend(i, level, alpha); }))
                << level << ' ' << alpha;
        }
    }
}

TEST(PlaneBlend, LevelLeavesATransparentSampleAloneAndTreatsEveryOtherAlike) {
    for (int alpha = 0; alpha < 256; ++alpha) {
        for (int level = 0; level < 256; ++level) {
            for (const int target : {0, 1, 77, 200, 255}) {
                std::array<u8, 256> row = filled(target);
                quol::blendLevel(row.data(), static_cast<u8>(level), static_cast<u8>(alpha),
                                 levels.data(), row.size());
                ASSERT_TRUE(isRow(
                    row,
                    [&](int e) { return e == 0 ? target : borderBlend(target, level, alpha); }))
                    << target << ' ' << level << ' ' << alpha;
            }
        }
    }
}

TEST(PlaneBlend, CoverageIsTheFormulaForAllValues) {
    for (int e = 0; e < 256; ++e) {
        std::array<u8, 256> row = levels;
        quol::coverRow(row.data(), row.size(), static_cast<u8>(e));
        ASSERT_TRUE(isRow(row, [&](int i) { return cover(i, e); })) << e;
    }
    for (int target = 0; target < 256; ++target) {
        std::array<u8, 256> row = filled(target);
        quol::coverRow(row.data(), levels.data(), row.size());
        ASSERT_TRUE(isRow(row, [&](int e) { return cover(target, e); })) << target;
        for (int alpha = 0; alpha < 256; ++alpha) {
            row = filled(target);
            quol::coverRow(row.data(), static_cast<u8>(alpha), levels.data(), row.size());
            ASSERT_TRUE(isRow(row, [&](int e) { return e == 0 ? target : cover(target, alpha); }))
                << target << ' ' << alpha;
        }
    }
}

TEST(PlaneBlend, CoverageNeverShrinksAndFullOpacityCoversFully) {
    for (int target = 0; target < 256; ++target) {
        std::array<u8, 256> row = filled(target);
        quol::coverRow(row.data(), levels.data(), row.size());
        EXPECT_EQ(row[255], 255);
        EXPECT_EQ(row[0], target);
        EXPECT_TRUE(std::is_sorted(row.begin(), row.end())) << target;
    }
}

TEST(PlaneBlend, ScaledAlphaIsTheFormulaForAllValues) {
    for (int alpha = 0; alpha < 256; ++alpha) {
        std::array<u8, 256> row = levels;
        quol::scaleAlpha(row.data(), static_cast<u8>(alpha), row.size());
        ASSERT_TRUE(isRow(row, [&](int i) { return i * alpha / 255; })) << alpha;
    }
}

// `row` with as many other samples between its own.
template <std::size_t count>
std::vector<u8> everySecond(const std::array<u8, count>& row, u8 between) {
    std::vector<u8> spread;
    for (const u8 sample : row) {
        spread.push_back(sample);
        spread.push_back(between);
    }
    spread.pop_back();
    return spread;
}

TEST(PlaneBlend, KeysAreTheFormulasForAllValuesAtBothSteps) {
    const std::vector<u8> spread = everySecond(levels, 93);
    for (int e = 0; e < 256; ++e) {
        for (const int step : {1, 2}) {
            const u8* const key = step == 1 ? levels.data() : spread.data();
            std::array<u8, 256> row = filled(e);
            quol::keyByAlpha(row.data(), key, step, row.size());
            ASSERT_TRUE(isRow(row, [&](int k) { return k * e / 255; })) << e << ' ' << step;
            row = filled(e);
            quol::keyByLuma(row.data(), key, step, row.size());
            ASSERT_TRUE(isRow(row, [&](int y) { return lumaKey(y) * e / 255; }))
                << e << ' ' << step;
            row = filled(e);
            quol::takeLumaKey(row.data(), key, step, row.size());
            ASSERT_TRUE(isRow(row, [&](int y) { return lumaKey(y); })) << e << ' ' << step;
            row = filled(e);
            quol::takeEvery(row.data(), key, step, row.size());
            ASSERT_TRUE(isRow(row, [&](int i) { return i; })) << e << ' ' << step;
        }
    }
}

// ------------------------------------------------------------------------------------ whole rows

// A row somewhere in memory with other bytes around it, and a copy of how everything was.
class Row {
public:
    static constexpr std::size_t border = 64;

    Row(std::size_t length, std::size_t alignment, std::mt19937& random) : length_(length) {
        memory_.resize(length + 3 * border);
        const auto at = reinterpret_cast<std::uintptr_t>(memory_.data()) % border;
        start_ = border + (alignment + border - at) % border;
        fill(random);
    }

    // Random, with runs of 0 and of 255: values that have branches of their own.
    void fill(std::mt19937& random) {
        for (std::size_t i = 0; i < memory_.size(); ++i) {
            const unsigned kind = random() % 8;
            memory_[i] = static_cast<u8>(kind == 0 ? 0U : kind == 1 ? 255U : random());
        }
        before_ = memory_;
    }

    u8* data() { return memory_.data() + start_; }
    std::size_t length() const { return length_; }
    int before(std::size_t i) const { return before_[start_ + i]; }
    int now(std::size_t i) const { return memory_[start_ + i]; }

    bool isUntouchedOutside() const {
        const auto begin = static_cast<std::ptrdiff_t>(start_);
        const auto end = static_cast<std::ptrdiff_t>(start_ + length_);
        return std::equal(memory_.begin(), memory_.begin() + begin, before_.begin()) &&
               std::equal(memory_.begin() + end, memory_.end(), before_.begin() + end);
    }
    bool isUntouched() const { return memory_ == before_; }

private:
    std::vector<u8> memory_;
    std::vector<u8> before_;
    std::size_t length_;
    std::size_t start_ = 0;
};

// What one function gets in one call.
struct Call {
    u8* target;
    const u8* source; // twice as long as the row, for steps of 2
    const u8* alphas;
    std::size_t count;
    u8 level;
    u8 alpha;
};

// A function of rows beside what it is to make of one sample: `target` before, and the samples that
// belong to it.
struct RowFunction {
    std::string name;
    std::function<void(const Call&)> call;
    std::function<int(int target, int source, int secondSource, int e, const Call&)> formula;
};

std::vector<RowFunction> blends() {
    return {
        {"blendRow with one alpha",
         [](const Call& c) { quol::blendRow(c.target, c.source, c.count, c.alpha); },
         [](int t, int s, int, int, const Call& c) { return blend(t, s, c.alpha); }},
        {"blendRow", [](const Call& c) { quol::blendRow(c.target, c.source, c.alphas, c.count); },
         [](int t, int s, int, int e, const Call&) { return blend(t, s, e); }},
        {"blendLevel", [](const Call& c) { quol::blendLevel(c.target, c.level, c.alpha, c.count); },
         [](int t, int, int, int, const Call& c) { return borderBlend(t, c.level, c.alpha); }},
        {"blendLevel with alphas",
         [](const Call& c) { quol::blendLevel(c.target, c.level, c.alpha, c.alphas, c.count); },
         [](int t, int, int, int e, const Call& c) {
             return e == 0 ? t : borderBlend(t, c.level, c.alpha);
         }},
        {"coverRow with one alpha",
         [](const Call& c) { quol::coverRow(c.target, c.count, c.alpha); },
         [](int t, int, int, int, const Call& c) { return cover(t, c.alpha); }},
        {"coverRow", [](const Call& c) { quol::coverRow(c.target, c.alphas, c.count); },
         [](int t, int, int, int e, const Call&) { return cover(t, e); }},
        {"coverRow of a border",
         [](const Call& c) { quol::coverRow(c.target, c.alpha, c.alphas, c.count); },
         [](int t, int, int, int e, const Call& c) { return e == 0 ? t : cover(t, c.alpha); }},
        {"scaleAlpha", [](const Call& c) { quol::scaleAlpha(c.target, c.alpha, c.count); },
         [](int t, int, int, int, const Call& c) { return t * c.alpha / 255; }},
    };
}

std::vector<RowFunction> keys() {
    return {
        {"keyByAlpha", [](const Call& c) { quol::keyByAlpha(c.target, c.source, 1, c.count); },
         [](int t, int s, int, int, const Call&) { return s * t / 255; }},
        {"keyByAlpha of every second",
         [](const Call& c) { quol::keyByAlpha(c.target, c.source, 2, c.count); },
         [](int t, int, int s, int, const Call&) { return s * t / 255; }},
        {"keyByLuma", [](const Call& c) { quol::keyByLuma(c.target, c.source, 1, c.count); },
         [](int t, int s, int, int, const Call&) { return lumaKey(s) * t / 255; }},
        {"keyByLuma of every second",
         [](const Call& c) { quol::keyByLuma(c.target, c.source, 2, c.count); },
         [](int t, int, int s, int, const Call&) { return lumaKey(s) * t / 255; }},
        {"takeLumaKey", [](const Call& c) { quol::takeLumaKey(c.target, c.source, 1, c.count); },
         [](int, int s, int, int, const Call&) { return lumaKey(s); }},
        {"takeLumaKey of every second",
         [](const Call& c) { quol::takeLumaKey(c.target, c.source, 2, c.count); },
         [](int, int, int s, int, const Call&) { return lumaKey(s); }},
        {"takeEvery", [](const Call& c) { quol::takeEvery(c.target, c.source, 1, c.count); },
         [](int, int s, int, int, const Call&) { return s; }},
        {"takeEvery second", [](const Call& c) { quol::takeEvery(c.target, c.source, 2, c.count); },
         [](int, int, int s, int, const Call&) { return s; }},
    };
}

std::vector<RowFunction> allFunctions() {
    std::vector<RowFunction> all = blends();
    for (RowFunction& key : keys())
        all.push_back(std::move(key));
    return all;
}

// Samples that a step of 2 reaches in a row of `count`.
std::size_t reach(std::size_t count) {
    return count == 0 ? 0 : 2 * count - 1;
}

void checkRow(const RowFunction& function, std::size_t length, std::size_t alignment,
              std::mt19937& random) {
    Row target(length, alignment, random);
    Row source(reach(length), random() % Row::border, random);
    Row alphas(length, random() % Row::border, random);
    const Call call{target.data(),
                    source.data(),
                    alphas.data(),
                    length,
                    static_cast<u8>(random()),
                    static_cast<u8>(random())};
    function.call(call);
    for (std::size_t i = 0; i < length; ++i) {
        const int expected = function.formula(target.before(i), source.before(i),
                                              source.before(2 * i), alphas.before(i), call);
        if (target.now(i) == expected) continue;
        FAIL() << function.name << ", " << length << " at " << alignment << ", sample " << i << ": "
               << target.now(i) << " in place of " << expected;
    }
    ASSERT_TRUE(target.isUntouchedOutside())
        << function.name << ", " << length << " at " << alignment;
    ASSERT_TRUE(source.isUntouched()) << function.name << ", " << length;
    ASSERT_TRUE(alphas.isUntouched()) << function.name << ", " << length;
}

TEST(PlaneBlendRows, OfEveryLengthAtEveryAlignmentAreTheFormulaAndNothingElseIsWritten) {
    std::mt19937 random(1);
    for (const RowFunction& function : allFunctions()) {
        for (std::size_t length = 0; length <= 130; ++length) {
            for (std::size_t alignment = 0; alignment < Row::border; ++alignment) {
                checkRow(function, length, alignment, random);
                if (testing::Test::HasFatalFailure()) return;
            }
        }
    }
}

TEST(PlaneBlendRows, AsLongAsAPictureIsWideAreTheFormula) {
    std::mt19937 random(2);
    for (const RowFunction& function : allFunctions()) {
        for (const std::size_t length : {719U, 1920U, 3840U, 32768U}) {
            checkRow(function, length, random() % Row::border, random);
            if (testing::Test::HasFatalFailure()) return;
        }
    }
}

// Memory that ends at a page which cannot be read, and begins behind another one.
class FencedMemory {
public:
    FencedMemory() : page_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) {
        void* const memory =
            mmap(nullptr, 3 * page_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) return;
        memory_ = static_cast<u8*>(memory);
        isReady_ = mprotect(memory_ + page_, page_, PROT_READ | PROT_WRITE) == 0;
    }
    FencedMemory(const FencedMemory&) = delete;
    FencedMemory& operator=(const FencedMemory&) = delete;
    ~FencedMemory() {
        if (memory_ != nullptr) munmap(memory_, 3 * page_);
    }

    bool isReady() const { return isReady_; }
    u8* first() const { return memory_ + page_; }
    u8* last(std::size_t count) const { return memory_ + 2 * page_ - count; }

private:
    std::size_t page_;
    u8* memory_ = nullptr;
    bool isReady_ = false;
};

TEST(PlaneBlendRows, NothingBesideARowIsRead) {
    const FencedMemory target;
    const FencedMemory source;
    const FencedMemory alphas;
    ASSERT_TRUE(target.isReady() && source.isReady() && alphas.isReady());
    for (const RowFunction& function : allFunctions()) {
        const bool readsEverySecond = function.name.find("second") != std::string::npos;
        for (std::size_t length = 0; length <= 130; ++length) {
            const std::size_t sourceLength = readsEverySecond ? reach(length) : length;
            function.call({target.last(length), source.last(sourceLength), alphas.last(length),
                           length, 100, 200});
            function.call({target.first(), source.first(), alphas.first(), length, 100, 200});
        }
    }
    for (std::size_t length = 0; length <= 130; ++length) {
        std::fill(source.first(), source.first() + length, 0);
        EXPECT_EQ(quol::leadingZeros(source.first(), length), length);
        EXPECT_EQ(quol::trailingZeros(source.first(), length), length);
        std::fill(alphas.last(length), alphas.last(0), 0);
        EXPECT_EQ(quol::leadingZeros(alphas.last(length), length), length);
        EXPECT_EQ(quol::trailingZeros(alphas.last(length), length), length);
    }
}

// --------------------------------------------------------------------------------- runs of zeros

TEST(PlaneBlendZeros, AreCountedUpToTheFirstOtherSampleOfEitherSide) {
    for (std::size_t length = 0; length <= 40; ++length) {
        for (std::size_t offset = 0; offset < 8; ++offset) {
            for (std::size_t first = 0; first < length; ++first) {
                for (std::size_t last = first; last < length; ++last) {
                    // Around the row, others; within, zeros but for the two.
                    std::vector<u8> memory(offset + length + 16, 1);
                    u8* const row = memory.data() + offset;
                    std::fill(row, row + length, 0);
                    row[first] = 1;
                    row[last] = 128;
                    ASSERT_EQ(quol::leadingZeros(row, length), first) << length;
                    ASSERT_EQ(quol::trailingZeros(row, length), length - 1 - last) << length;
                }
            }
        }
    }
}

TEST(PlaneBlendZeros, OfARowThatIsAllZerosAreItsLength) {
    for (std::size_t length = 0; length <= 130; ++length) {
        std::vector<u8> memory(length + 16, 9);
        u8* const row = memory.data() + 8;
        std::fill(row, row + length, 0);
        EXPECT_EQ(quol::leadingZeros(row, length), length);
        EXPECT_EQ(quol::trailingZeros(row, length), length);
    }
}

} // namespace

#include "compositing/TileGamut.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

using Samples = std::vector<std::int16_t>;
using Levels = std::vector<std::uint8_t>;

float inRange(float value) {
    return std::min(std::max(value, 0.0F), 255.0F);
}

int level(float value) {
    return static_cast<int>(inRange(value + 0.5F));
}

// Rows as a tile has them, and their levels.
struct Tile {
    int width;
    bool isTwo;
    Samples y[2];
    Samples u;
    Samples v;
    Levels luma[2];
    Levels levelsU;
    Levels levelsV;

    Tile(int wide, bool two, int spread, std::mt19937& chance) : width(wide), isTwo(two) {
        const auto pairs = static_cast<std::size_t>((wide + 1) / 2);
        for (Samples* const row : {&y[0], &y[1], &u, &v}) {
            row->resize(row == &u || row == &v ? pairs : static_cast<std::size_t>(wide));
            for (auto& sample : *row)
                sample = static_cast<std::int16_t>(
                    8160 - spread / 2 + static_cast<int>(chance() % static_cast<unsigned>(spread)));
        }
        for (Levels* const row : {&luma[0], &luma[1], &levelsU, &levelsV}) {
            const bool isLuma = row == &luma[0] || row == &luma[1];
            row->resize(isLuma ? static_cast<std::size_t>(wide) : pairs);
            for (auto& each : *row)
                each = static_cast<std::uint8_t>(chance());
        }
    }

    quol::TileGamut::Rows rows() const {
        return {{y[0].data(), isTwo ? y[1].data() : nullptr}, u.data(), v.data(), width};
    }

    bool hold() {
        quol::TileGamut gamut;
        const bool left = gamut.isLeft(rows());
        std::uint8_t* const targets[2] = {luma[0].data(), luma[1].data()};
        if (left) gamut.hold(rows(), targets, levelsU.data(), levelsV.data());
        return left;
    }
};

struct Colour {
    float red = 0.0F;
    float green = 0.0F;
    float blue = 0.0F;
};

Colour colourOf(int y, int u, int v) {
    const float luma = (static_cast<float>(y) / 64.0F - 16.00125F) * 1.16438F;
    const float du = (static_cast<float>(u) / 64.0F - 127.5F) * 1.13843F;
    const float dv = (static_cast<float>(v) / 64.0F - 127.5F) * 1.13843F;
    return {luma + 1.40200F * dv, luma - 0.34414F * du - 0.71414F * dv, luma + 1.77200F * du};
}

// How far a colour is outside, in levels.
float excess(const Colour& colour) {
    const float most = std::max({colour.red, colour.green, colour.blue});
    const float least = std::min({colour.red, colour.green, colour.blue});
    return std::max(most - 255.0F, -least);
}

// One sample of chroma and what belongs to it, one after the other. False where it is too near the
// limit to say: there integers decide.
bool holdPlainly(const Tile& tile, int x, Levels (&luma)[2], std::uint8_t& u, std::uint8_t& v) {
    const auto at = static_cast<std::size_t>(x);
    Colour sum;
    float farthest = -1000.0F;
    int count = 0;
    std::vector<std::pair<std::uint8_t*, std::uint8_t>> held;
    for (int line = 0; line < (tile.isTwo ? 2 : 1); ++line) {
        for (int i = 2 * x; i < std::min(2 * x + 2, tile.width); ++i) {
            const auto place = static_cast<std::size_t>(i);
            Colour colour = colourOf(tile.y[line][place], tile.u[at], tile.v[at]);
            farthest = std::max(farthest, excess(colour));
            colour = {inRange(colour.red), inRange(colour.green), inRange(colour.blue)};
            const float grey = 0.299F * colour.red + 0.587F * colour.green + 0.114F * colour.blue;
            held.emplace_back(&luma[line][place], static_cast<std::uint8_t>(level(grey)));
            sum = {sum.red + colour.red, sum.green + colour.green, sum.blue + colour.blue};
            ++count;
        }
    }
    if (farthest > 1.3F && farthest < 1.7F) return false;
    if (farthest < 1.5F) return true;
    for (const auto& [target, value] : held)
        *target = value;
    const auto pixels = static_cast<float>(count);
    const Colour mean{sum.red / pixels, sum.green / pixels, sum.blue / pixels};
    u = static_cast<std::uint8_t>(
        level(-0.169F * mean.red - 0.331F * mean.green + 0.500F * mean.blue + 127.5F));
    v = static_cast<std::uint8_t>(
        level(0.500F * mean.red - 0.419F * mean.green - 0.081F * mean.blue + 127.5F));
    return true;
}

// Widths around those that are held in one go, odd ones, one row and two, few and many colours that
// leave the range.
TEST(TileGamut, HoldsEachPixelAsIfItWereAlone) {
    std::mt19937 chance(5);
    int compared = 0;
    for (const int width : {1, 2, 3, 16, 127, 128, 129, 130, 131, 257, 960}) {
        for (const bool isTwo : {true, false}) {
            for (const int spread : {4000, 9000, 16320}) {
                Tile tile(width, isTwo, spread, chance);
                const Tile before = tile;
                Tile expected = tile;
                if (!tile.hold()) continue;
                for (int x = 0; 2 * x < width; ++x) {
                    const auto at = static_cast<std::size_t>(x);
                    if (!holdPlainly(before, x, expected.luma, expected.levelsU[at],
                                     expected.levelsV[at]))
                        continue;
                    ++compared;
                    ASSERT_EQ(tile.levelsU[at], expected.levelsU[at]) << width << " at " << x;
                    ASSERT_EQ(tile.levelsV[at], expected.levelsV[at]) << width << " at " << x;
                    for (int line = 0; line < 2; ++line) {
                        for (int i = 2 * x; i < std::min(2 * x + 2, width); ++i)
                            ASSERT_EQ(tile.luma[line][static_cast<std::size_t>(i)],
                                      expected.luma[line][static_cast<std::size_t>(i)])
                                << width << " line " << line << " at " << i;
                    }
                }
            }
        }
    }
    EXPECT_GT(compared, 2000);
}

TEST(TileGamut, AStrayPixelIsHeldAndItsNeighboursAreLeft) {
    std::mt19937 chance(5);
    for (const int at : {0, 63, 64, 65, 149}) {
        Tile tile(300, true, 1000, chance);
        EXPECT_FALSE(tile.hold());
        tile.u[static_cast<std::size_t>(at)] = 16320;
        const Tile before = tile;
        ASSERT_TRUE(tile.hold()) << at;
        for (int x = 0; x < 150; ++x) {
            const auto place = static_cast<std::size_t>(x);
            const bool isHeld = x == at;
            const bool isSame = tile.levelsV[place] == before.levelsV[place] &&
                                tile.levelsU[place] == before.levelsU[place] &&
                                tile.luma[1][2 * place] == before.luma[1][2 * place];
            EXPECT_NE(isSame, isHeld) << x;
        }
    }
}

} // namespace

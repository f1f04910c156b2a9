#include "compositing/TileGamut.h"

#include <algorithm>
#include <cstddef>

#include "core/Vectorize.h"

namespace quol {

namespace {

using u8 = std::uint8_t;
using i16 = std::int16_t;

// Everything here counts in sixteenths of a level: sums of luma and chroma then fit 16 bits.
constexpr int one = 16;
constexpr int whole = 255 * one;
constexpr int unseen = one * 3 / 2;

constexpr int neutral = 8160; // 127.5 levels of 64

// A factor for values of 64 a level: `shift` bits and the four from 64 to 16.
constexpr int factorOf(double factor, int shift) {
    const double scaled = factor * (1 << shift) / 4.0;
    return static_cast<int>(scaled < 0.0 ? scaled - 0.5 : scaled + 0.5);
}

constexpr double chromaStretch = 1.13843;
constexpr int redOfV = factorOf(1.40200 * chromaStretch, 14);
constexpr int greenOfU = factorOf(-0.34414 * chromaStretch, 14);
constexpr int greenOfV = factorOf(-0.71414 * chromaStretch, 14);
constexpr int blueOfU = factorOf(1.77200 * chromaStretch, 14);
constexpr int lumaStretch = factorOf(1.16438, 16); // fits 16 bits with its sign
constexpr int lumaBlack = 298;                     // 0.06275 * 1.16438 * 255 levels

QUOL_VECTORIZED void sharesOf(i16* __restrict red, i16* __restrict green, i16* __restrict blue,
                              const i16* __restrict u, const i16* __restrict v, int count) {
    for (int i = 0; i < count; ++i) {
        const int du = u[i] - neutral;
        const int dv = v[i] - neutral;
        const auto r = static_cast<i16>((dv * redOfV) >> 14);
        const auto g = static_cast<i16>((du * greenOfU + dv * greenOfV) >> 14);
        const auto b = static_cast<i16>((du * blueOfU) >> 14);
        red[2 * i] = r;
        red[2 * i + 1] = r;
        green[2 * i] = g;
        green[2 * i + 1] = g;
        blue[2 * i] = b;
        blue[2 * i + 1] = b;
    }
}

QUOL_VECTORIZED void extremesOf(i16* __restrict most, i16* __restrict least,
                                const i16* __restrict red, const i16* __restrict green,
                                const i16* __restrict blue, int count) {
    for (int i = 0; i < count; ++i) {
        const i16 upper = std::max(red[i], blue[i]);
        const i16 lower = std::min(red[i], blue[i]);
        most[i] = std::max(upper, green[i]);
        least[i] = std::min(lower, green[i]);
    }
}

QUOL_VECTORIZED bool leaves(const i16* __restrict luma, const i16* __restrict most,
                            const i16* __restrict least, int count) {
    i16 highest = 0;
    i16 lowest = 0;
    for (int i = 0; i < count; ++i) {
        const auto y = static_cast<i16>(((luma[i] * lumaStretch) >> 16) - lumaBlack);
        highest = std::max(highest, static_cast<i16>(y + most[i]));
        lowest = std::min(lowest, static_cast<i16>(y + least[i]));
    }
    return highest > whole + unseen || lowest < -unseen;
}

u8 levelOf(float level) {
    return static_cast<u8>(std::clamp(level + 0.5F, 0.0F, 255.0F));
}

} // namespace

bool TileGamut::isLeft(const Rows& rows) {
    const int pairs = (rows.width + 1) / 2;
    const auto needed = static_cast<std::size_t>(2 * pairs);
    for (std::vector<i16>* const row : {&red_, &green_, &blue_, &most_, &least_}) {
        if (row->size() < needed) row->resize(needed);
    }
    sharesOf(red_.data(), green_.data(), blue_.data(), rows.u, rows.v, pairs);
    extremesOf(most_.data(), least_.data(), red_.data(), green_.data(), blue_.data(), 2 * pairs);
    return leaves(rows.luma[0], most_.data(), least_.data(), rows.width) ||
           (rows.luma[1] != nullptr &&
            leaves(rows.luma[1], most_.data(), least_.data(), rows.width));
}

void TileGamut::hold(const Rows& rows, u8* const luma[2], u8* u, u8* v) const {
    for (int x = 0; 2 * x < rows.width; ++x) {
        const auto left = static_cast<std::size_t>(2 * x);
        bool isBeyond = false;
        for (int line = 0; line < 2 && rows.luma[line] != nullptr; ++line) {
            for (int i = 2 * x; i < std::min(2 * x + 2, rows.width); ++i) {
                const int y = ((rows.luma[line][i] * lumaStretch) >> 16) - lumaBlack;
                isBeyond =
                    isBeyond || y + most_[left] > whole + unseen || y + least_[left] < -unseen;
            }
        }
        if (!isBeyond) continue;
        const float du = (static_cast<float>(rows.u[x]) / 64.0F - 127.5F) * 1.13843F;
        const float dv = (static_cast<float>(rows.v[x]) / 64.0F - 127.5F) * 1.13843F;
        float sums[3] = {};
        float pixels = 0.0F;
        for (int line = 0; line < 2 && rows.luma[line] != nullptr; ++line) {
            for (int i = 2 * x; i < std::min(2 * x + 2, rows.width); ++i) {
                const float y =
                    (static_cast<float>(rows.luma[line][i]) / 64.0F - 16.00125F) * 1.16438F;
                const float red = std::clamp(y + 1.40200F * dv, 0.0F, 255.0F);
                const float green = std::clamp(y - 0.34414F * du - 0.71414F * dv, 0.0F, 255.0F);
                const float blue = std::clamp(y + 1.77200F * du, 0.0F, 255.0F);
                luma[line][i] = levelOf(0.299F * red + 0.587F * green + 0.114F * blue);
                sums[0] += red;
                sums[1] += green;
                sums[2] += blue;
                pixels += 1.0F;
            }
        }
        const float red = sums[0] / pixels;
        const float green = sums[1] / pixels;
        const float blue = sums[2] / pixels;
        u[x] = levelOf(-0.169F * red - 0.331F * green + 0.500F * blue + 127.5F);
        v[x] = levelOf(0.500F * red - 0.419F * green - 0.081F * blue + 127.5F);
    }
}

} // namespace quol

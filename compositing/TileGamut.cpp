#include "compositing/TileGamut.h"

#include <algorithm>
#include <cstddef>

#include "core/Vectorize.h"

namespace quol {

namespace {

using u8 = std::uint8_t;
using i16 = std::int16_t;
using i32 = std::int32_t;

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

// One row of pixels: its luma, and its chroma added to what is there.
QUOL_VECTORIZED void holdRow(u8* __restrict target, i32* __restrict u, i32* __restrict v,
                             const i16* __restrict luma, const i16* __restrict red,
                             const i16* __restrict green, const i16* __restrict blue, int count) {
    for (int i = 0; i < count; ++i) {
        const int y = ((luma[i] * lumaStretch) >> 16) - lumaBlack;
        const int r = std::clamp(y + red[i], 0, whole);
        const int g = std::clamp(y + green[i], 0, whole);
        const int b = std::clamp(y + blue[i], 0, whole);
        // Factors of 1024.
        target[i] = static_cast<u8>((r * 306 + g * 601 + b * 117 + one * 512) / (one * 1024));
        u[i] += r * -173 + g * -339 + b * 512;
        v[i] += r * 512 + g * -429 + b * -83;
    }
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

void TileGamut::hold(const Rows& rows, u8* const luma[2], u8* u, u8* v) {
    const auto needed = static_cast<std::size_t>(rows.width);
    u_.assign(needed, 0);
    v_.assign(needed, 0);
    int lines = 0;
    for (int i = 0; i < 2 && rows.luma[i] != nullptr; ++i, ++lines)
        holdRow(luma[i], u_.data(), v_.data(), rows.luma[i], red_.data(), green_.data(),
                blue_.data(), rows.width);
    constexpr int half = one * 1024 * 255 / 2; // no colour
    for (int x = 0; 2 * x < rows.width; ++x) {
        const auto left = static_cast<std::size_t>(2 * x);
        const bool isPair = 2 * x + 1 < rows.width;
        const auto mean = [&](const std::vector<i32>& sums) {
            const int sum = isPair ? sums[left] + sums[left + 1] : sums[left];
            const int unit = one * 1024 * lines * (isPair ? 2 : 1);
            const int level = sum + half * lines * (isPair ? 2 : 1) + unit / 2;
            return static_cast<u8>(std::clamp(level / unit, 0, 255));
        };
        u[x] = mean(u_);
        v[x] = mean(v_);
    }
}

} // namespace quol

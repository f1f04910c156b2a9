#include "compositing/TileGamut.h"

#include <algorithm>
#include <bit>
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

// Held within 0 and 255. Floats that are not negative are in the order of their bits, negative ones
// have the sign of an integer: compared as integers they need no branch, for which the compiler
// would not make vectors.
float inRange(float value) {
    constexpr auto highest = std::bit_cast<std::int32_t>(255.0F);
    return std::bit_cast<float>(std::clamp(std::bit_cast<std::int32_t>(value), 0, highest));
}

u8 levelOf(float level) {
    return static_cast<u8>(static_cast<int>(inRange(level + 0.5F)));
}

constexpr int atOnce = 64; // samples of chroma that are held in one go

// What some samples of chroma and the luma that belongs to them become.
struct Held {
    u8 luma[2][2 * atOnce];
    u8 u[atOnce];
    u8 v[atOnce];
    u8 beyond[atOnce]; // 255 where they are to be taken, else 0
    u8 beyondLuma[2 * atOnce];
};

// `count` samples from `first` on, with `columns` of luma in each of `lines` rows. Without a branch
// and into memory that nothing else points to, so that the loop becomes vectors.
template <int lines, int columns>
inline __attribute__((always_inline)) void holdSome(Held& __restrict held,
                                                    const TileGamut::Rows& rows, const i16* most,
                                                    const i16* least, int first, int count) {
    const i16* const samplesU = rows.u + first;
    const i16* const samplesV = rows.v + first;
    const i16* const upper = rows.luma[0] + 2 * first;
    const i16* const lower = lines == 2 ? rows.luma[1] + 2 * first : nullptr;
    for (int x = 0; x < count; ++x) {
        const float du = (static_cast<float>(samplesU[x]) / 64.0F - 127.5F) * 1.13843F;
        const float dv = (static_cast<float>(samplesV[x]) / 64.0F - 127.5F) * 1.13843F;
        const int room = whole + unseen - most[2 * x];
        const int depth = -unseen - least[2 * x];
        float red = 0.0F;
        float green = 0.0F;
        float blue = 0.0F;
        bool isBeyond = false;
        const auto pixel = [&](i16 value) __attribute__((always_inline)) {
            const int level = ((value * lumaStretch) >> 16) - lumaBlack;
            isBeyond |= (level > room) | (level < depth);
            const float y = (static_cast<float>(value) / 64.0F - 16.00125F) * 1.16438F;
            const float r = inRange(y + 1.40200F * dv);
            const float g = inRange(y - 0.34414F * du - 0.71414F * dv);
            const float b = inRange(y + 1.77200F * du);
            red += r;
            green += g;
            blue += b;
            return levelOf(0.299F * r + 0.587F * g + 0.114F * b);
        };
        held.luma[0][2 * x] = pixel(upper[2 * x]);
        if constexpr (columns == 2) held.luma[0][2 * x + 1] = pixel(upper[2 * x + 1]);
        if constexpr (lines == 2) {
            held.luma[1][2 * x] = pixel(lower[2 * x]);
            if constexpr (columns == 2) held.luma[1][2 * x + 1] = pixel(lower[2 * x + 1]);
        }
        red /= lines * columns;
        green /= lines * columns;
        blue /= lines * columns;
        const auto beyond = static_cast<u8>(-static_cast<int>(isBeyond));
        held.beyond[x] = beyond;
        held.beyondLuma[2 * x] = beyond;
        held.beyondLuma[2 * x + 1] = beyond;
        held.u[x] = levelOf(-0.169F * red - 0.331F * green + 0.500F * blue + 127.5F);
        held.v[x] = levelOf(0.500F * red - 0.419F * green - 0.081F * blue + 127.5F);
    }
}

QUOL_VECTORIZED void holdQuads(Held& __restrict held, const TileGamut::Rows& rows, const i16* most,
                               const i16* least, int first, int count) {
    holdSome<2, 2>(held, rows, most, least, first, count);
}

QUOL_VECTORIZED void takeOver(u8* __restrict to, const u8* __restrict from,
                              const u8* __restrict beyond, int count) {
    for (int i = 0; i < count; ++i)
        to[i] = static_cast<u8>((from[i] & beyond[i]) | (to[i] & ~beyond[i]));
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
    const bool isTwo = rows.luma[1] != nullptr;
    const int pairs = rows.width / 2;
    const int all = (rows.width + 1) / 2;
    Held held;
    for (int first = 0, count = 0; first < all; first += count) {
        // The last of an odd width has one column.
        count = first < pairs ? std::min(atOnce, pairs - first) : 1;
        const int columns = first < pairs ? 2 : 1;
        const i16* const most = most_.data() + 2 * first;
        const i16* const least = least_.data() + 2 * first;
        if (!leaves(rows.luma[0] + 2 * first, most, least, columns * count) &&
            !(isTwo && leaves(rows.luma[1] + 2 * first, most, least, columns * count)))
            continue;
        const auto hold = columns == 2 ? (isTwo ? holdQuads : holdSome<1, 2>)
                                       : (isTwo ? holdSome<2, 1> : holdSome<1, 1>);
        hold(held, rows, most, least, first, count);
        takeOver(u + first, held.u, held.beyond, count);
        takeOver(v + first, held.v, held.beyond, count);
        for (int line = 0; line < (isTwo ? 2 : 1); ++line)
            takeOver(luma[line] + 2 * first, held.luma[line], held.beyondLuma, columns * count);
    }
}

} // namespace quol

#include "compositing/PlaneBlend.h"

#include <algorithm>
#include <cstring>

#include "core/Vectorize.h"

namespace quol {

namespace {

using u8 = std::uint8_t;
using u16 = std::uint16_t;

// All products here are at most 255 * 255, and so are the sums of two with weights of 255 together:
// 16 bits hold them, which doubles what a vector holds.

inline u8 mixed(unsigned target, unsigned source, unsigned e) {
    return static_cast<u8>(
        static_cast<u16>(static_cast<u16>((255U - e) * target) + static_cast<u16>(e * source)) >>
        8);
}

inline u8 over255(unsigned product) {
    return static_cast<u8>(static_cast<u16>(product) / 255U);
}

inline u8 covered(unsigned target, unsigned e) {
    return static_cast<u8>(target + over255(e * (255U - target)));
}

// (Y - 16) * 255 / 219 is x + x * 36 / 219; a factor of 10774 / 65536 gives the same whole numbers
// for every x up to 239.
inline u8 lumaKey(unsigned y) {
    const u16 x = static_cast<u16>(y < 16 ? 0U : y - 16U);
    const u16 k = static_cast<u16>(x + static_cast<u16>((x * 10774U) >> 16));
    return static_cast<u8>(std::min<u16>(255, k));
}

} // namespace

QUOL_VECTORIZED void blendRow(u8* __restrict target, const u8* __restrict source, std::size_t count,
                              u8 e) {
    if (e == 0) return;
    for (std::size_t i = 0; i < count; ++i)
        target[i] = mixed(target[i], source[i], e);
}

QUOL_VECTORIZED void blendRow(u8* __restrict target, const u8* __restrict source,
                              const u8* __restrict e, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const u8 blended = mixed(target[i], source[i], e[i]);
        target[i] = e[i] == 0 ? target[i] : blended;
    }
}

QUOL_VECTORIZED void blendLevel(u8* target, u8 level, u8 alpha, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        target[i] = mixed(target[i], level, alpha);
}

QUOL_VECTORIZED void blendLevel(u8* __restrict target, u8 level, u8 alpha, const u8* __restrict e,
                                std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const u8 blended = mixed(target[i], level, alpha);
        target[i] = e[i] == 0 ? target[i] : blended;
    }
}

QUOL_VECTORIZED void coverRow(u8* target, std::size_t count, u8 e) {
    for (std::size_t i = 0; i < count; ++i)
        target[i] = covered(target[i], e);
}

QUOL_VECTORIZED void coverRow(u8* __restrict target, const u8* __restrict e, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        target[i] = covered(target[i], e[i]);
}

QUOL_VECTORIZED void coverRow(u8* __restrict target, u8 alpha, const u8* __restrict e,
                              std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const u8 more = covered(target[i], alpha);
        target[i] = e[i] == 0 ? target[i] : more;
    }
}

QUOL_VECTORIZED void scaleAlpha(u8* e, u8 alpha, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        e[i] = over255(static_cast<unsigned>(e[i]) * alpha);
}

namespace {

template <int step>
QUOL_VECTORIZED void keyByAlphaOf(u8* __restrict e, const u8* __restrict key, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        e[i] = over255(static_cast<unsigned>(key[i * step]) * e[i]);
}

template <int step>
QUOL_VECTORIZED void keyByLumaOf(u8* __restrict e, const u8* __restrict key, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        e[i] = over255(static_cast<unsigned>(lumaKey(key[i * step])) * e[i]);
}

template <int step>
QUOL_VECTORIZED void takeLumaKeyOf(u8* __restrict e, const u8* __restrict key, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        e[i] = lumaKey(key[i * step]);
}

QUOL_VECTORIZED void takeEverySecond(u8* __restrict target, const u8* __restrict source,
                                     std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        target[i] = source[2 * i];
}

} // namespace

void keyByAlpha(u8* e, const u8* key, int step, std::size_t count) {
    step == 1 ? keyByAlphaOf<1>(e, key, count) : keyByAlphaOf<2>(e, key, count);
}

void keyByLuma(u8* e, const u8* key, int step, std::size_t count) {
    step == 1 ? keyByLumaOf<1>(e, key, count) : keyByLumaOf<2>(e, key, count);
}

void takeLumaKey(u8* e, const u8* key, int step, std::size_t count) {
    step == 1 ? takeLumaKeyOf<1>(e, key, count) : takeLumaKeyOf<2>(e, key, count);
}

namespace {

// Eight samples at once; whether all of them are 0.
bool areZero(const u8* samples) {
    std::uint64_t word = 0;
    std::memcpy(&word, samples, sizeof word);
    return word == 0;
}

constexpr std::size_t wordLength = sizeof(std::uint64_t);

} // namespace

std::size_t leadingZeros(const u8* samples, std::size_t count) {
    std::size_t i = 0;
    while (i + wordLength <= count && areZero(samples + i))
        i += wordLength;
    while (i < count && samples[i] == 0)
        ++i;
    return i;
}

std::size_t trailingZeros(const u8* samples, std::size_t count) {
    std::size_t end = count;
    while (end >= wordLength && areZero(samples + end - wordLength))
        end -= wordLength;
    while (end > 0 && samples[end - 1] == 0)
        --end;
    return count - end;
}

void takeEvery(u8* target, const u8* source, int step, std::size_t count) {
    if (step == 1) {
        std::memcpy(target, source, count);
    } else {
        takeEverySecond(target, source, count);
    }
}

} // namespace quol

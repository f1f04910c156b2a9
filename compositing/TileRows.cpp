#include "compositing/TileRows.h"

#include <algorithm>

#include "compositing/AxisFilter.h"
#include "core/Vectorize.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace quol {

namespace {

using u8 = std::uint8_t;
using u16 = std::uint16_t;
using i16 = std::int16_t;

constexpr int halfValue = 1 << 14; // rounds what `across` gives
constexpr int valueShift = 15;
constexpr int levelShift = 20;

QUOL_VECTORIZED void setOne(u16* __restrict sums, const u8* __restrict a, unsigned w, int count) {
    for (int i = 0; i < count; ++i)
        sums[i] = static_cast<u16>(a[i] * w);
}

QUOL_VECTORIZED void addOne(u16* __restrict sums, const u8* __restrict a, unsigned w, int count) {
    for (int i = 0; i < count; ++i)
        sums[i] = static_cast<u16>(sums[i] + a[i] * w);
}

QUOL_VECTORIZED void setThree(u16* __restrict sums, const u8* __restrict a, const u8* __restrict b,
                              const u8* __restrict c, unsigned wa, unsigned wb, unsigned wc,
                              int count) {
    for (int i = 0; i < count; ++i)
        sums[i] = static_cast<u16>(a[i] * wa + b[i] * wb + c[i] * wc);
}

QUOL_VECTORIZED void addThree(u16* __restrict sums, const u8* __restrict a, const u8* __restrict b,
                              const u8* __restrict c, unsigned wa, unsigned wb, unsigned wc,
                              int count) {
    for (int i = 0; i < count; ++i)
        sums[i] = static_cast<u16>(sums[i] + a[i] * wa + b[i] * wb + c[i] * wc);
}

QUOL_VECTORIZED void halve(i16* __restrict target, const u16* __restrict sums, int count) {
    for (int i = 0; i < count; ++i)
        target[i] = static_cast<i16>(sums[i] >> 1);
}

QUOL_VECTORIZED void halveEverySecond(i16* __restrict target, const u16* __restrict sums,
                                      int count) {
    for (int i = 0; i < count; ++i)
        target[i] = static_cast<i16>(sums[2 * i] >> 1);
}

QUOL_VECTORIZED void halveEveryFourth(i16* __restrict target, const u16* __restrict sums,
                                      int count) {
    for (int i = 0; i < count; ++i)
        target[i] = static_cast<i16>(sums[4 * i] >> 1);
}

i16 acrossOne(const i16* samples, const i16* weights, int taps) {
    int sum = halfValue;
    for (int k = 0; k < taps; ++k)
        sum += samples[k] * weights[k];
    return static_cast<i16>(sum >> valueShift);
}

#if defined(__SSE2__)

__m128i sumsOf(const i16* samples, const i16* weights, int taps) {
    __m128i sum = _mm_setzero_si128();
    for (int k = 0; k < taps; k += acrossStep) {
        const __m128i s = _mm_loadu_si128(reinterpret_cast<const __m128i*>(samples + k));
        const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(weights + k));
        sum = _mm_add_epi32(sum, _mm_madd_epi16(s, w));
    }
    return sum;
}

// Adds up the four parts of each of four sums.
__m128i addedUp(__m128i a, __m128i b, __m128i c, __m128i d) {
    const __m128i ab = _mm_add_epi32(_mm_unpacklo_epi32(a, b), _mm_unpackhi_epi32(a, b));
    const __m128i cd = _mm_add_epi32(_mm_unpacklo_epi32(c, d), _mm_unpackhi_epi32(c, d));
    return _mm_add_epi32(_mm_unpacklo_epi64(ab, cd), _mm_unpackhi_epi64(ab, cd));
}

// `fixedTaps` above 0 lets the compiler unroll.
template <int fixedTaps>
int acrossFours(i16* target, const i16* samples, const AxisFilter& filter) {
    const int taps = fixedTaps > 0 ? fixedTaps : filter.taps();
    const int count = filter.outputs() / 4 * 4;
    const int* const first = filter.firsts();
    const i16* weights = filter.weights(0);
    const __m128i half = _mm_set1_epi32(halfValue);
    for (int i = 0; i < count; i += 4) {
        const __m128i a = sumsOf(samples + first[i], weights, taps);
        const __m128i b = sumsOf(samples + first[i + 1], weights + taps, taps);
        const __m128i c = sumsOf(samples + first[i + 2], weights + 2 * taps, taps);
        const __m128i d = sumsOf(samples + first[i + 3], weights + 3 * taps, taps);
        weights += 4 * taps;
        const __m128i sum = _mm_srai_epi32(_mm_add_epi32(addedUp(a, b, c, d), half), valueShift);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(target + i), _mm_packs_epi32(sum, sum));
    }
    return count;
}

int acrossMany(i16* target, const i16* samples, const AxisFilter& filter) {
    if (filter.outputs() < 4) return 0;
    if (filter.taps() == acrossStep) return acrossFours<acrossStep>(target, samples, filter);
    if (filter.taps() == 2 * acrossStep)
        return acrossFours<2 * acrossStep>(target, samples, filter);
    return acrossFours<0>(target, samples, filter);
}

#else

int acrossMany(i16*, const i16*, const AxisFilter&) {
    return 0;
}

#endif

u8 levelOf(int sum) {
    return static_cast<u8>(std::clamp(sum >> levelShift, 0, 255));
}

QUOL_VECTORIZED void levelsOfOne(u8* __restrict target, const i16* __restrict values, int factor,
                                 int offset, int count) {
    for (int i = 0; i < count; ++i)
        target[i] = levelOf(values[i] * factor + offset);
}

QUOL_VECTORIZED void levelsOfThree(u8* __restrict target, const i16* __restrict a,
                                   const i16* __restrict b, const i16* __restrict c, int fa, int fb,
                                   int fc, int offset, int count) {
    for (int i = 0; i < count; ++i)
        target[i] = levelOf(a[i] * fa + b[i] * fb + c[i] * fc + offset);
}

QUOL_VECTORIZED void fade(u8* __restrict target, const i16* __restrict alpha, int neutral,
                          int count) {
    constexpr int opaque = 255 * 64;
    for (int i = 0; i < count; ++i) {
        const int away = (target[i] - neutral) * alpha[i];
        const int half = away < 0 ? -opaque / 2 : opaque / 2;
        target[i] = static_cast<u8>(neutral + (away + half) / opaque);
    }
}

QUOL_VECTORIZED void lay(u8* __restrict target, const u8* __restrict ink,
                         const u8* __restrict alpha, int count) {
    for (int i = 0; i < count; ++i) {
        // What is left over, divided by 255 and rounded.
        const unsigned rest = static_cast<unsigned>(target[i]) * (255U - alpha[i]) + 128U;
        const unsigned level = ((rest + (rest >> 8)) >> 8) + ink[i];
        target[i] = static_cast<u8>(level < 255U ? level : 255U);
    }
}

} // namespace

void weighRow(u16* sums, const u8* row, int weight, bool isFirst, int count) {
    const auto w = static_cast<unsigned>(weight);
    isFirst ? setOne(sums, row, w, count) : addOne(sums, row, w, count);
}

void weighRows(u16* sums, const u8* const rows[3], const i16* weights, bool isFirst, int count) {
    const auto a = static_cast<unsigned>(weights[0]);
    const auto b = static_cast<unsigned>(weights[1]);
    const auto c = static_cast<unsigned>(weights[2]);
    isFirst ? setThree(sums, rows[0], rows[1], rows[2], a, b, c, count)
            : addThree(sums, rows[0], rows[1], rows[2], a, b, c, count);
}

void pickRow(i16* target, const u16* sums, int step, int offset, int count) {
    const u16* const from = sums + offset;
    if (step == 1) return halve(target, from, count);
    if (step == 2) return halveEverySecond(target, from, count);
    if (step == 4) return halveEveryFourth(target, from, count);
    for (int i = 0; i < count; ++i)
        target[i] = static_cast<i16>(from[static_cast<std::ptrdiff_t>(i) * step] >> 1);
}

void acrossRow(i16* target, const i16* samples, const AxisFilter& filter) {
    for (int i = acrossMany(target, samples, filter); i < filter.outputs(); ++i)
        target[i] = acrossOne(samples + filter.first(i), filter.weights(i), filter.taps());
}

void levelRow(u8* target, const i16* values, const LevelRule& rule, int count) {
    levelsOfOne(target, values, rule.factors[0], rule.offset, count);
}

void levelRow(u8* target, const i16* const values[3], const LevelRule& rule, int count) {
    levelsOfThree(target, values[0], values[1], values[2], rule.factors[0], rule.factors[1],
                  rule.factors[2], rule.offset, count);
}

void fadeRow(u8* target, const i16* alpha, int neutral, int count) {
    fade(target, alpha, neutral, count);
}

void inkRow(u8* target, const u8* ink, const u8* alpha, int count) {
    lay(target, ink, alpha, count);
}

} // namespace quol

#include "compositing/MixRows.h"

#if defined(__x86_64__)
// The header's own "value that does not matter" is an uninitialized variable, which GCC warns
// about.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <immintrin.h>
#pragma GCC diagnostic pop
#else
#include <immintrin.h>
#endif
#endif

namespace quol {

namespace {

using u8 = std::uint8_t;

void fadePlain(u8* __restrict target, const u8* __restrict a, const u8* __restrict b,
               std::size_t count, float p) {
    const float rest = 1.0F - p;
    for (std::size_t i = 0; i < count; ++i)
        target[i] = static_cast<u8>(static_cast<int>(static_cast<float>(b[i]) * p + //
                                                     static_cast<float>(a[i]) * rest));
}

void dipPlain(u8* __restrict target, const u8* __restrict source, std::size_t count, float share,
              float color) {
    for (std::size_t i = 0; i < count; ++i)
        target[i] =
            static_cast<u8>(static_cast<int>(static_cast<float>(source[i]) * share + color));
}

#if defined(__x86_64__)

// By hand, because the compiler widens and narrows bytes on detours that cost as much as the
// arithmetic. Rows end with the plain loop.

// -------------------------------------------------------------------------------------- AVX2

__attribute__((target("avx2"))) inline __m256 eightLevels(const u8* samples) {
    const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(samples));
    return _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(bytes));
}

__attribute__((target("avx2"))) inline void putThirtyTwo(u8* target, const __m256 (&levels)[4]) {
    const __m256i low =
        _mm256_packs_epi32(_mm256_cvttps_epi32(levels[0]), _mm256_cvttps_epi32(levels[1]));
    const __m256i high =
        _mm256_packs_epi32(_mm256_cvttps_epi32(levels[2]), _mm256_cvttps_epi32(levels[3]));
    // Packing works in each half by itself: fours of samples have to find their places again.
    const __m256i places = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(target),
                        _mm256_permutevar8x32_epi32(_mm256_packus_epi16(low, high), places));
}

__attribute__((target("avx2"))) void fadeAvx2(u8* __restrict target, const u8* __restrict a,
                                              const u8* __restrict b, std::size_t count, float p) {
    const __m256 share = _mm256_set1_ps(p);
    const __m256 rest = _mm256_set1_ps(1.0F - p);
    std::size_t i = 0;
    for (; i + 32 <= count; i += 32) {
        __m256 levels[4];
        for (std::size_t k = 0; k < 4; ++k)
            levels[k] = _mm256_add_ps(_mm256_mul_ps(eightLevels(b + i + 8 * k), share),
                                      _mm256_mul_ps(eightLevels(a + i + 8 * k), rest));
        putThirtyTwo(target + i, levels);
    }
    fadePlain(target + i, a + i, b + i, count - i, p);
}

__attribute__((target("avx2"))) void dipAvx2(u8* __restrict target, const u8* __restrict source,
                                             std::size_t count, float share, float color) {
    const __m256 shares = _mm256_set1_ps(share);
    const __m256 colors = _mm256_set1_ps(color);
    std::size_t i = 0;
    for (; i + 32 <= count; i += 32) {
        __m256 levels[4];
        for (std::size_t k = 0; k < 4; ++k)
            levels[k] =
                _mm256_add_ps(_mm256_mul_ps(eightLevels(source + i + 8 * k), shares), colors);
        putThirtyTwo(target + i, levels);
    }
    dipPlain(target + i, source + i, count - i, share, color);
}

// ------------------------------------------------------------------------------------ AVX-512

__attribute__((target("avx512f"))) inline __m512 sixteenLevels(const u8* samples) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(samples));
    return _mm512_cvtepi32_ps(_mm512_cvtepu8_epi32(bytes));
}

__attribute__((target("avx512f"))) inline void putSixteen(u8* target, __m512 levels) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(target),
                     _mm512_cvtepi32_epi8(_mm512_cvttps_epi32(levels)));
}

__attribute__((target("avx512f"))) void fadeAvx512(u8* __restrict target, const u8* __restrict a,
                                                   const u8* __restrict b, std::size_t count,
                                                   float p) {
    const __m512 share = _mm512_set1_ps(p);
    const __m512 rest = _mm512_set1_ps(1.0F - p);
    std::size_t i = 0;
    for (; i + 16 <= count; i += 16)
        putSixteen(target + i, _mm512_add_ps(_mm512_mul_ps(sixteenLevels(b + i), share),
                                             _mm512_mul_ps(sixteenLevels(a + i), rest)));
    fadePlain(target + i, a + i, b + i, count - i, p);
}

__attribute__((target("avx512f"))) void dipAvx512(u8* __restrict target,
                                                  const u8* __restrict source, std::size_t count,
                                                  float share, float color) {
    const __m512 shares = _mm512_set1_ps(share);
    const __m512 colors = _mm512_set1_ps(color);
    std::size_t i = 0;
    for (; i + 16 <= count; i += 16)
        putSixteen(target + i,
                   _mm512_add_ps(_mm512_mul_ps(sixteenLevels(source + i), shares), colors));
    dipPlain(target + i, source + i, count - i, share, color);
}

#endif

std::vector<MixRows> runnableMixRows() {
    std::vector<MixRows> all;
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx512f")) all.push_back({"AVX-512", fadeAvx512, dipAvx512});
    if (__builtin_cpu_supports("avx2")) all.push_back({"AVX2", fadeAvx2, dipAvx2});
#endif
    all.push_back({"plain", fadePlain, dipPlain});
    return all;
}

} // namespace

const std::vector<MixRows>& everyMixRows() {
    static const std::vector<MixRows> all = runnableMixRows();
    return all;
}

} // namespace quol

#include "compositing/SamplePicker.h"

#if defined(__x86_64__)
#include <tmmintrin.h>
#endif

namespace quol {

namespace {

void pickOneByOne(std::uint8_t* target, const std::uint8_t* row, const int* sources, int count) {
    for (int i = 0; i < count; ++i)
        target[i] = row[sources[i]];
}

#if defined(__x86_64__)

bool canShuffle() {
    static const bool can = __builtin_cpu_supports("ssse3") != 0;
    return can;
}

__attribute__((target("ssse3"))) __m128i shuffled(const std::uint8_t* row,
                                                  const SampleGroup& group) {
    __m128i picked = _mm_setzero_si128();
    for (int i = 0; i < group.vectors; ++i) {
        const auto* const samples =
            reinterpret_cast<const __m128i*>(row + group.first + i * SampleGroup::length);
        const auto* const places =
            reinterpret_cast<const __m128i*>(group.places[static_cast<std::size_t>(i)].data());
        picked = _mm_or_si128(picked,
                              _mm_shuffle_epi8(_mm_loadu_si128(samples), _mm_load_si128(places)));
    }
    return picked;
}

__attribute__((target("ssse3"))) void pickGroups(std::uint8_t* target, const std::uint8_t* row,
                                                 const SampleGroup* groups, const int* sources,
                                                 int count) {
    for (int g = 0; g < count; ++g) {
        const int at = g * SampleGroup::length;
        if (groups[g].vectors > 0) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(target + at), shuffled(row, groups[g]));
        } else {
            pickOneByOne(target + at, row, sources + at, SampleGroup::length);
        }
    }
}

#else

bool canShuffle() {
    return false;
}

// There are no groups then.
void pickGroups(std::uint8_t*, const std::uint8_t*, const SampleGroup*, const int*, int) {}

#endif

} // namespace

void SamplePicker::learnGroups(int rowLength) {
    constexpr int length = SampleGroup::length;
    groupCount_ = canShuffle() ? count_ / length : 0;
    for (int g = 0; g < groupCount_; ++g) {
        SampleGroup& group = groups_[static_cast<std::size_t>(g)];
        const int* const sources = sources_.data() + g * length;
        group.first = sources[0];
        const int vectors = (sources[length - 1] - group.first) / length + 1;
        const bool fits =
            vectors <= SampleGroup::mostVectors && group.first + vectors * length <= rowLength;
        group.vectors = fits ? vectors : 0;
        for (int vector = 0; vector < group.vectors; ++vector) {
            auto& places = group.places[static_cast<std::size_t>(vector)];
            for (int i = 0; i < length; ++i) {
                const int place = sources[i] - group.first - vector * length;
                places[static_cast<std::size_t>(i)] =
                    static_cast<std::uint8_t>(place >= 0 && place < length ? place : 0x80);
            }
        }
    }
}

void SamplePicker::pick(std::uint8_t* target, const std::uint8_t* row) const {
    pickGroups(target, row, groups_.data(), sources_.data(), groupCount_);
    const int done = groupCount_ * SampleGroup::length;
    pickOneByOne(target + done, row, sources_.data() + done, count_ - done);
}

} // namespace quol

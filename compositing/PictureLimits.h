// Which pictures a compositor makes.
#pragma once

#include <cstdint>

namespace quol {

// Whether there can be a picture of that size: what a host asks for has to have an end, for memory
// has.
inline bool canBeMade(int width, int height) {
    constexpr int longestSide = 32768;
    constexpr std::int64_t mostSamples = std::int64_t{1} << 27;
    return width > 0 && height > 0 && width <= longestSide && height <= longestSide &&
           std::int64_t{width} * height <= mostSamples;
}

} // namespace quol

// Mixing rows of samples in floats, once for each kind of processor.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace quol {

// All give the same result to the last bit: each product and the sum are rounded to float by
// themselves, then truncated. Shares are from 0 to 1. Rows never overlap.
struct MixRows {
    const char* name;
    // target = (int)(b * p + a * (1 - p))
    void (*fade)(std::uint8_t* target, const std::uint8_t* a, const std::uint8_t* b,
                 std::size_t count, float p);
    // target = (int)(source * share + color); the result is to lie between 0 and 255
    void (*dip)(std::uint8_t* target, const std::uint8_t* source, std::size_t count, float share,
                float color);
};

// Those that this processor runs, the fastest first. The last runs everywhere.
const std::vector<MixRows>& everyMixRows();

inline const MixRows& fastestMixRows() {
    return everyMixRows().front();
}

} // namespace quol

// Drawing in packed 4:2:2, bytes U Y V Y for two columns.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/FrameRows.h"

namespace quol {

inline std::uint8_t* packedRow(const AVFrame& frame, int y) {
    return rowOf(frame, 0, y);
}

// Copies the row at `top` into all rows below it, up to before `end`.
inline void repeatPackedRow(const AVFrame& frame, int top, int end) {
    const auto bytes = static_cast<std::size_t>((frame.width + 1) / 2) * 4;
    for (int y = top + 1; y < end; ++y)
        std::memcpy(packedRow(frame, y), packedRow(frame, top), bytes);
}

// A pair of columns has one colour: that of its even column.
inline void setPackedPixel(std::uint8_t* row, int x, std::uint8_t luma, std::uint8_t u,
                           std::uint8_t v) {
    std::uint8_t* pair = row + static_cast<std::ptrdiff_t>(x / 2) * 4;
    pair[x % 2 == 0 ? 1 : 3] = luma;
    if (x % 2 == 0) {
        pair[0] = u;
        pair[2] = v;
    }
}

} // namespace quol

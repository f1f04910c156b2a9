// The rows of a picture's planes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "core/Handles.h"

namespace quol {

inline std::uint8_t* rowOf(const AVFrame& frame, int plane, int row) {
    return frame.data[plane] + static_cast<std::ptrdiff_t>(row) * frame.linesize[plane];
}

// `height` rows of `length` bytes, copied into `kept` in their order and one behind the other: what
// stands upside down in memory, or does not begin on whole pixels, cannot be handed on as it is.
inline const std::uint8_t* straightRows(const std::uint8_t* samples, std::ptrdiff_t stride,
                                        int length, int height, std::vector<std::uint8_t>& kept) {
    const auto bytes = static_cast<std::size_t>(length);
    kept.resize(bytes * static_cast<std::size_t>(height));
    for (int row = 0; row < height; ++row)
        std::memcpy(kept.data() + bytes * static_cast<std::size_t>(row), samples + row * stride,
                    bytes);
    return kept.data();
}

} // namespace quol

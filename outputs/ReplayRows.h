// What the conversions into a replay and out of it share.
#pragma once

#include <cstdint>

#include "core/Handles.h"

namespace quol {

// Whether a picture has rows that both convert as swscale does: an even number, and 8 or more,
// below which swscale takes rows from elsewhere.
inline bool haveReplayRows(const AVFrame& picture) {
    return picture.height >= 8 && picture.height % 2 == 0;
}

// Rounded up; processors have an instruction for it.
constexpr std::uint16_t mean(std::uint16_t one, std::uint16_t other) {
    return static_cast<std::uint16_t>((one + other + 1) >> 1);
}

} // namespace quol

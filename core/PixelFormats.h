// What the codes of videoFormatProps::pixelFormat stand for.
#pragma once

#include <cstdint>

#include "core/Handles.h"

namespace quol {

// The pixel format of a code; AV_PIX_FMT_NONE for 0, for the codes of formats that FFmpeg has none
// of, and for everything beyond the table.
AVPixelFormat pixelFormatOfCode(std::int32_t code);

} // namespace quol

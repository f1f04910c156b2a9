// What the colour codes of a live input's format ask for.
#pragma once

#include "core/PixelFormats.h"

namespace quol {

// The pixel format that a code of videoFormatProps::pixelFormat asks of a live input; the device's
// own where it asks for none.
inline AVPixelFormat liveTargetFormat(int code, int own) {
    const AVPixelFormat wanted = pixelFormatOfCode(code);
    return wanted != AV_PIX_FMT_NONE ? wanted : static_cast<AVPixelFormat>(own);
}

} // namespace quol

// What the colour codes of a live input's format ask for.
#pragma once

#include "core/Handles.h"

namespace quol {

// The pixel format that a code of videoFormatProps::pixelFormat asks of a live input;
// AV_PIX_FMT_NONE where the device's own is kept: 0, the codes of formats that no live input makes,
// and everything beyond the table.
AVPixelFormat liveTargetFormat(int code);

// The same, with the device's format where the code asks for none.
inline AVPixelFormat liveTargetFormat(int code, int own) {
    const AVPixelFormat wanted = liveTargetFormat(code);
    return wanted != AV_PIX_FMT_NONE ? wanted : static_cast<AVPixelFormat>(own);
}

} // namespace quol

// What the tests of the output share.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/Handles.h"
#include "quolsdk/LOutput.h"

namespace test {

OutputStats statsOf(LOutput& output);

// Waits until that many pictures have gone out since the output was made; false when the limit has
// passed.
bool waitForSent(LOutput& output, int count);

// Packed UYVY of one level, 64 x 36 unless told otherwise: fits a device of that size as it is.
quol::FramePtr levelPicture(int level, int width = 64, int height = 36);

// What one call of swscale makes of a picture, rows without padding.
std::vector<std::uint8_t> convertedAlone(const AVFrame& frame, int width, int height,
                                         AVPixelFormat format, int flags = SWS_BILINEAR);

} // namespace test

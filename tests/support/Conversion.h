// Whether a picture is what the scaler makes of another.
#pragma once

extern "C" {
#include <libavutil/frame.h>
}

namespace test {

// Whether `converted` is what a conversion of `source` to its size and format with `flags`
// (SWS_BILINEAR and its like) gives, byte by byte.
bool isConverted(const AVFrame& source, const AVFrame& converted, int flags);

} // namespace test

#include "support/Conversion.h"

#include <cstddef>
#include <cstring>

#include "core/Scaler.h"
#include "support/Frames.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace test {

bool isConverted(const AVFrame& source, const AVFrame& converted, int flags) {
    const auto format = static_cast<AVPixelFormat>(converted.format);
    const quol::FramePtr expected = makePicture(converted.width, converted.height, format);
    quol::Scaler scaler;
    if (!expected || !scaler.scale(source, *expected, flags)) return false;
    const auto* descriptor = av_pix_fmt_desc_get(format);
    for (int plane = 0; plane < 4 && expected->data[plane] != nullptr; ++plane) {
        const int bytes = av_image_get_linesize(format, converted.width, plane);
        const bool chroma = plane == 1 || plane == 2;
        const int rows =
            chroma ? AV_CEIL_RSHIFT(converted.height, descriptor->log2_chroma_h) : converted.height;
        for (std::ptrdiff_t y = 0; y < rows; ++y) {
            if (std::memcmp(converted.data[plane] + y * converted.linesize[plane],
                            expected->data[plane] + y * expected->linesize[plane],
                            static_cast<std::size_t>(bytes)) != 0)
                return false;
        }
    }
    return true;
}

} // namespace test

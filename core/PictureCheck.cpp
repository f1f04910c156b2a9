#include "core/PictureCheck.h"

#include <cstdlib>

#include "core/FormatNumber.h"
#include "core/Handles.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace quol {

bool hasReadablePlanes(const AVFrame& frame) {
    if (!isFormatNumber(frame.format, AV_PIX_FMT_NB)) return false;
    const auto format = static_cast<AVPixelFormat>(frame.format);
    const AVPixFmtDescriptor* const description = av_pix_fmt_desc_get(format);
    if (description == nullptr || (description->flags & AV_PIX_FMT_FLAG_HWACCEL) != 0) return false;
    if (frame.width < 1 || frame.height < 1) return false;
    int lengths[4] = {};
    if (av_image_fill_linesizes(lengths, format, frame.width) < 0) return false;
    for (int plane = 0; plane < av_pix_fmt_count_planes(format); ++plane) {
        if (frame.data[plane] == nullptr || std::abs(frame.linesize[plane]) < lengths[plane])
            return false;
    }
    const bool hasPalette = (description->flags & AV_PIX_FMT_FLAG_PAL) != 0;
    return !hasPalette || frame.data[1] != nullptr;
}

bool isReadablePicture(const AVFrame& frame) {
    return frame.buf[0] != nullptr && hasReadablePlanes(frame);
}

} // namespace quol

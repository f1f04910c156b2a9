#include "core/PixelFormats.h"

namespace quol {

AVPixelFormat pixelFormatOfCode(std::int32_t code) {
    switch (code) {
        case 1:
        case 2:
        case 13:
            return AV_PIX_FMT_YUV420P;
        case 3:
            return AV_PIX_FMT_NV12;
        case 5:
            return AV_PIX_FMT_RGB24;
        case 6:
            return AV_PIX_FMT_RGBA;
        case 7:
            return AV_PIX_FMT_ARGB;
        case 9:
            return AV_PIX_FMT_UYVY422;
        case 12:
            return AV_PIX_FMT_YUYV422;
        case 15:
            return AV_PIX_FMT_YUV422P;
        case 16:
            return AV_PIX_FMT_YUVA422P;
        case 17:
            return AV_PIX_FMT_YUVA420P;
        default:
            return AV_PIX_FMT_NONE;
    }
}

} // namespace quol

#include "compositing/TileSource.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace quol {

namespace {

// Every sample a byte of its own.
bool hasWholeBytes(const AVPixFmtDescriptor& form) {
    constexpr std::uint64_t others = AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BITSTREAM |
                                     AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_BAYER |
                                     AV_PIX_FMT_FLAG_FLOAT;
    if ((form.flags & others) != 0) return false;
    for (int i = 0; i < form.nb_components; ++i) {
        if (form.comp[i].depth != 8 || form.comp[i].shift != 0) return false;
    }
    return true;
}

bool isRgb(const AVPixFmtDescriptor& form) {
    return (form.flags & AV_PIX_FMT_FLAG_RGB) != 0;
}

bool hasAlpha(const AVPixFmtDescriptor& form) {
    return (form.flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
}

AVPixelFormat planarFormat(const AVPixFmtDescriptor& form) {
    const bool halfWidth = form.log2_chroma_w >= 1;
    const bool halfHeight = form.log2_chroma_h >= 1;
    if (hasAlpha(form)) {
        if (!halfWidth) return AV_PIX_FMT_YUVA444P;
        return halfHeight ? AV_PIX_FMT_YUVA420P : AV_PIX_FMT_YUVA422P;
    }
    if (!halfWidth) return AV_PIX_FMT_YUV444P;
    return halfHeight ? AV_PIX_FMT_YUV420P : AV_PIX_FMT_YUV422P;
}

bool isRead(const AVPixFmtDescriptor& form, AVPixelFormat format, TileSource::Reader reader) {
    if (!hasWholeBytes(form)) return false;
    if (reader == TileSource::Reader::processor) return true;
    return isPlanarYuv(format) || format == AV_PIX_FMT_UYVY422 || format == AV_PIX_FMT_RGB24 ||
           format == AV_PIX_FMT_RGBA;
}

AVPixelFormat formToConvertTo(const AVPixFmtDescriptor& form) {
    const bool isYuv = !isRgb(form) && form.nb_components >= 3 &&
                       (form.flags & (AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BAYER)) == 0;
    if (isYuv) return planarFormat(form);
    return hasAlpha(form) ? AV_PIX_FMT_RGBA : AV_PIX_FMT_RGB24;
}

} // namespace

bool isPlanarYuv(AVPixelFormat format) {
    const AVPixFmtDescriptor* const form = av_pix_fmt_desc_get(format);
    if (form == nullptr || !hasWholeBytes(*form) || isRgb(*form)) return false;
    return form->nb_components >= 3 && av_pix_fmt_count_planes(format) == form->nb_components;
}

const AVFrame* TileSource::get(const AVFrame& picture) {
    const auto format = static_cast<AVPixelFormat>(picture.format);
    const AVPixFmtDescriptor* const form = av_pix_fmt_desc_get(format);
    if (form == nullptr) return nullptr;
    if (isRead(*form, format, reader_)) return &picture;
    return converted_.get(picture, picture.width, picture.height, formToConvertTo(*form));
}

} // namespace quol

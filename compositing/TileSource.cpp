#include "compositing/TileSource.h"

#include <algorithm>
#include <cstddef>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace quol {

namespace {

// Every sample a byte of its own, all of one kind equally far apart. (Of six bytes for four pixels
// the description tells only about.)
bool hasWholeBytes(const AVPixFmtDescriptor& form) {
    if (&form == av_pix_fmt_desc_get(AV_PIX_FMT_UYYVYY411)) return false;
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

bool isYuv(const AVPixFmtDescriptor& form) {
    return !isRgb(form) && form.nb_components >= 3;
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
    if (isYuv(form) && (form.flags & (AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BAYER)) == 0)
        return planarFormat(form);
    return hasAlpha(form) ? AV_PIX_FMT_RGBA : AV_PIX_FMT_RGB24;
}

// Samples of one kind, from wherever they lie into a row of their own.
void gather(const AVFrame& picture, const AVComponentDescriptor& from, std::uint8_t* target,
            int stride, int width, int height) {
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* const samples = picture.data[from.plane] +
                                            std::ptrdiff_t{y} * picture.linesize[from.plane] +
                                            from.offset;
        std::uint8_t* const row = target + std::ptrdiff_t{y} * stride;
        for (int x = 0; x < width; ++x)
            row[x] = samples[std::ptrdiff_t{x} * from.step];
    }
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
    const bool isLong = picture.width > longest_ || picture.height > longest_;
    if (!isLong && isRead(*form, format, reader_)) return &picture;
    const AVFrame* source = &picture;
    const AVPixelFormat target = formToConvertTo(*form);
    if (isYuv(*form) && hasWholeBytes(*form) && !isPlanarYuv(format)) {
        source = split(picture, target);
        if (source == nullptr || !isLong) return source;
    }
    return converted_.get(*source, std::min(picture.width, longest_),
                          std::min(picture.height, longest_), target);
}

// By hand: the converter does not read all of these forms, and rounds some.
const AVFrame* TileSource::split(const AVFrame& picture, AVPixelFormat format) {
    const AVPixFmtDescriptor& from =
        *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
    const AVPixFmtDescriptor& to = *av_pix_fmt_desc_get(format);
    const bool hasSameShares =
        from.log2_chroma_w == to.log2_chroma_w && from.log2_chroma_h == to.log2_chroma_h;
    if (!hasSameShares || from.nb_components != to.nb_components) {
        return converted_.get(picture, picture.width, picture.height, format);
    }
    split_.reset(); // its memory comes back to the pool
    split_ = pool_.get(picture.width, picture.height, format);
    if (!split_) return nullptr;
    split_->pts = picture.pts;
    for (int i = 0; i < from.nb_components; ++i) {
        const bool isChroma = i == 1 || i == 2;
        const int width =
            isChroma ? AV_CEIL_RSHIFT(picture.width, from.log2_chroma_w) : picture.width;
        const int height =
            isChroma ? AV_CEIL_RSHIFT(picture.height, from.log2_chroma_h) : picture.height;
        const int plane = to.comp[i].plane;
        gather(picture, from.comp[i], split_->data[plane], split_->linesize[plane], width, height);
    }
    return split_.get();
}

} // namespace quol

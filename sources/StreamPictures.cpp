#include "sources/StreamPictures.h"

#include <algorithm>

#include "core/PixelFormats.h"

namespace quol {

AVPixelFormat plainFormat(AVPixelFormat format) {
    switch (format) {
        case AV_PIX_FMT_YUVJ420P:
            return AV_PIX_FMT_YUV420P;
        case AV_PIX_FMT_YUVJ422P:
            return AV_PIX_FMT_YUV422P;
        case AV_PIX_FMT_YUVJ444P:
            return AV_PIX_FMT_YUV444P;
        case AV_PIX_FMT_YUVJ440P:
            return AV_PIX_FMT_YUV440P;
        default:
            return format;
    }
}

AVFrame* StreamPictures::get(AVFrame& picture, const videoFormatProps& wanted, int scalerFlags) {
    const int width = wanted.width > 0 ? wanted.width : picture.width;
    const int height = wanted.height > 0 ? wanted.height : picture.height;
    const AVPixelFormat source = plainFormat(static_cast<AVPixelFormat>(picture.format));
    const AVPixelFormat asked = pixelFormatOfCode(wanted.pixelFormat);
    const AVPixelFormat format = asked != AV_PIX_FMT_NONE ? asked : source;
    if (picture.width == width && picture.height == height && source == format) return &picture;

    converted_ = pool_.get(width, height, format);
    const ScalerKey key{picture.width,
                        picture.height,
                        source,
                        width,
                        height,
                        format,
                        std::max<int>(scalerFlags, SWS_FAST_BILINEAR)};
    if (!converted_ || !scaler_.prepare(key) ||
        !scaler_.run(picture, converted_->data, converted_->linesize))
        return nullptr;
    converted_->pts = picture.pts;
    return converted_.get();
}

void StreamPictures::clear() {
    converted_.reset();
    scaler_ = Scaler();
    pool_.clear();
}

} // namespace quol

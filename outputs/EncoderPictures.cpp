#include "outputs/EncoderPictures.h"

#include "core/FFmpegCompat.h"
#include "core/ModeTables.h"
#include "core/PictureCheck.h"
#include "core/Timecode.h"
#include "quolsdk/LObject.h"

namespace quol {

namespace {

constexpr int defaultWidth = 1920;
constexpr int defaultHeight = 1080;

} // namespace

videoFormatProps encodedFormat(const videoFormatProps& wanted, LObject* from) {
    videoFormatProps format;
    if (wanted.mode != modeNative) format = wanted;
    if (from != nullptr) {
        if (format.width <= 0) format.width = from->getWidth();
        if (format.height <= 0) format.height = from->getHeight();
        if (!(format.fps > 0.0)) format.fps = from->getFPS();
    }
    if (format.width <= 0) format.width = defaultWidth;
    if (format.height <= 0) format.height = defaultHeight;
    format.fps = fpsOrDefault(format.fps);
    return format;
}

AVRational rationalRate(double fps) {
    constexpr int limit = 1000000;
    const AVRational rate = av_d2q(fps, limit);
    return rate.num > 0 && rate.den > 0 ? rate : AVRational{25, 1};
}

FramePtr EncoderPictures::fit(const AVFrame& frame, const AVCodecContext& encoder,
                              int scalerFlags) {
    if (!isReadablePicture(frame)) return nullptr;
    if (frame.width == encoder.width && frame.height == encoder.height &&
        frame.format == encoder.pix_fmt) {
        FramePtr same = cloneFrame(&frame);
        if (same) clearDuration(*same);
        return same;
    }
    FramePtr picture = make(encoder);
    if (!picture || !scaler_.scale(frame, *picture, scalerFlags)) return nullptr;
    return picture;
}

} // namespace quol

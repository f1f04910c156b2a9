#include "outputs/EncoderPicture.h"

#include "core/PicturePool.h"
#include "core/Scaler.h"

namespace quol {

FramePtr encoderPicture(const AVFrame& frame, const AVCodecContext& encoder, PicturePool& pool,
                        Scaler& scaler, int scalerFlags) {
    const bool fits = frame.width == encoder.width && frame.height == encoder.height &&
                      frame.format == encoder.pix_fmt;
    FramePtr picture =
        fits ? cloneFrame(&frame) : pool.get(encoder.width, encoder.height, encoder.pix_fmt);
    if (!picture || (!fits && !scaler.scale(frame, *picture, scalerFlags))) return nullptr;
    picture->pict_type = AV_PICTURE_TYPE_NONE; // or the encoder repeats the source's choices
    return picture;
}

} // namespace quol

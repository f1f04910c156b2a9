#include "outputs/EncoderPictures.h"

namespace quol {

FramePtr EncoderPictures::fit(const AVFrame& frame, const AVCodecContext& encoder,
                              int scalerFlags) {
    if (frame.width == encoder.width && frame.height == encoder.height &&
        frame.format == encoder.pix_fmt) {
        return cloneFrame(&frame);
    }
    FramePtr picture = pool_.get(encoder.width, encoder.height, encoder.pix_fmt);
    if (!picture || !scaler_.scale(frame, *picture, scalerFlags)) return nullptr;
    return picture;
}

} // namespace quol

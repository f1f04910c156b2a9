// Pictures in the form that an encoder takes.
#pragma once

#include "core/Handles.h"

namespace quol {

class PicturePool;
class Scaler;

// The picture in the encoder's size and format: a reference where it has them already, else scaled
// into a picture of the pool. Free of its source's choice of picture types. Null when it cannot be
// converted or memory is short.
FramePtr encoderPicture(const AVFrame& frame, const AVCodecContext& encoder, PicturePool& pool,
                        Scaler& scaler, int scalerFlags);

} // namespace quol

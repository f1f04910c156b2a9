// Pictures in the form that an encoder takes.
#pragma once

#include "core/Handles.h"
#include "core/PicturePool.h"
#include "core/Scaler.h"

namespace quol {

// One thread at a time.
class EncoderPictures {
public:
    // The picture in the encoder's size and format: a reference where it has them already. Null
    // without memory, or for a picture that cannot be scaled.
    FramePtr fit(const AVFrame& frame, const AVCodecContext& encoder, int scalerFlags);

    // Gives the memory back that it keeps.
    void clear() { pool_.clear(); }

private:
    PicturePool pool_;
    Scaler scaler_;
};

} // namespace quol

// What an encoder is given: its picture format, and pictures in it.
#pragma once

#include "core/Handles.h"
#include "core/PicturePool.h"
#include "core/Scaler.h"
#include "quolsdk/formats.h"

class LObject;

namespace quol {

// The wanted format, then the source's, then 1920x1080 at 25, each for what the ones before leave
// open. Mode 1 leaves all open; `from` may be null.
videoFormatProps encodedFormat(const videoFormatProps& wanted, LObject* from);

// As a fraction; 25 for what is none.
AVRational rationalRate(double fps);

// One thread at a time.
class EncoderPictures {
public:
    // The picture in the encoder's size and format: a reference where it has them already. How
    // long it was shown is left behind. Null without memory, or for one that cannot be scaled.
    FramePtr fit(const AVFrame& frame, const AVCodecContext& encoder, int scalerFlags);

    // One to be filled. Null without memory.
    FramePtr make(const AVCodecContext& encoder) {
        return pool_.get(encoder.width, encoder.height, encoder.pix_fmt);
    }

    // Gives the memory back that it keeps.
    void clear() { pool_.clear(); }

private:
    PicturePool pool_;
    Scaler scaler_;
};

} // namespace quol

// The pictures of a network stream in the size and format that a host wants.
#pragma once

#include "core/PicturePool.h"
#include "core/Scaler.h"
#include "quolsdk/formats.h"

namespace quol {

// The format that a picture of `format` is converted from: full-range formats count as their plain
// equals, so that nothing is converted for the range alone.
AVPixelFormat plainFormat(AVPixelFormat format);

// One thread at a time.
class StreamPictures {
public:
    // `picture` itself where it has the size and format wanted, else a conversion that stands until
    // the next call. A size of 0 or below, and a code that names no format, leave the picture's
    // own. Null when it cannot be converted or memory is short.
    AVFrame* get(AVFrame& picture, const videoFormatProps& wanted, int scalerFlags);

    // Gives scaler and memory back.
    void clear();

private:
    Scaler scaler_;
    PicturePool pool_;
    FramePtr converted_;
};

} // namespace quol

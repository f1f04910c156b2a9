// A picture in the size and format that somebody needs it in.
#pragma once

#include "core/Handles.h"
#include "core/PicturePool.h"
#include "core/Scaler.h"

namespace quol {

// True when both frames show the same memory as the same picture. While a reference to a picture is
// held nobody may write to it, so the contents are the same too.
bool isSamePicture(const AVFrame& a, const AVFrame& b);

// Keeps the result, and a reference to what it was made from: the same picture is not scaled again,
// unless its time has changed. Sources that write into the picture they have handed out are thus
// seen to move, where they count the time.
// One thread at a time.
class ScaledPicture {
public:
    // `source` itself where it fits already, else a bilinear conversion that stands until the next
    // call. Null when the picture cannot be converted or memory is short.
    const AVFrame* get(const AVFrame& source, int width, int height, AVPixelFormat format);

    // Whether `get` would have to scale: false where the picture fits already, or was the last one.
    bool wouldScale(const AVFrame& source, int width, int height, AVPixelFormat format) const;

    // Forgets the picture, and gives the memory back.
    void clear();

private:
    bool holds(const AVFrame& source, int width, int height, AVPixelFormat format) const;

    FramePtr source_; // what `scaled_` was made from
    FramePtr scaled_; // may have been handed on: never written to while others hold it
    PicturePool pool_;
    Scaler scaler_;
};

} // namespace quol

// The pixels that templates are drawn into, and the pictures made of them.
#pragma once

#include "core/Handles.h"
#include "core/PicturePool.h"
#include "graphics/VideoConverter.h"

namespace quol {

class LottieCanvas;

// One thread's own.
class LottieRaster {
public:
    LottieRaster(int width, int height);

    // Draws what is on the canvas over nothing.
    void draw(LottieCanvas& canvas);

    // What was drawn last as a picture in planar 4:2:0 with alpha, a new one each time: sinks may
    // hold it. Null when memory is short, or none could be drawn.
    FramePtr picture();

private:
    FramePtr drawn_; // premultiplied; null for a size that no picture can have
    PicturePool pool_;
    VideoConverter converter_;
};

} // namespace quol

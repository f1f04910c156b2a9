// A source's picture on the canvas of a switcher.
#pragma once

#include "core/Handles.h"
#include "core/PicturePool.h"
#include "core/Scaler.h"

namespace quol {

// How a picture of another shape than the canvas is shown.
enum class ScaleMode {
    stretch, // as the canvas, its shape lost
    fit,     // whole, with bars
    fill,    // covers the canvas; what hangs over is not seen
};

// What a host's number means: 1 fit, 2 fill, any other stretch.
constexpr ScaleMode scaleModeOf(int number) {
    return number == 1 ? ScaleMode::fit : number == 2 ? ScaleMode::fill : ScaleMode::stretch;
}

// Where a scaled picture lies on the canvas, in pixels; in fill mode `left` or `top` is below 0.
struct PicturePlace {
    int left = 0;
    int top = 0;
    int width = 0;
    int height = 0;
};

// The shape is that of the samples, in float; sizes are cut to whole pixels. All sizes above 0.
PicturePlace placeOf(ScaleMode mode, int width, int height, int canvasWidth, int canvasHeight);

// Makes 4:2:0 pictures of the canvas's size. One thread at a time.
class PictureFit {
public:
    // A reference to `source` where it is one already, else a new picture, black where the source
    // does not reach; all of it where no scaler can be made. The same source as the last time
    // gives the same picture again. Null when memory is short.
    FramePtr get(const AVFrame& source, ScaleMode mode, int canvasWidth, int canvasHeight,
                 int flags);

    // Forgets the picture, and gives the memory back.
    void clear();

private:
    struct Wish {
        ScaleMode mode = ScaleMode::stretch;
        int width = 0;
        int height = 0;
        int flags = 0;

        bool operator==(const Wish&) const = default;
    };

    void draw(const AVFrame& source, const PicturePlace& place, int flags, AVFrame& canvas);
    void drawByCopy(const AVFrame& source, const PicturePlace& place, int flags, AVFrame& canvas);

    Wish wish_;       // what `picture_` was made for
    FramePtr source_; // what it was made from
    FramePtr picture_;
    PicturePool pool_;
    PicturePool scaledPool_;
    Scaler scaler_;
};

} // namespace quol

// Pictures in a scene: still images and clips.
#pragma once

#include <memory>
#include <string>

#include "core/CairoHandles.h"
#include "core/MediaInput.h"
#include "core/Scaler.h"
#include "graphics/CGPanel.h"

namespace quol {

// A surface in a box. Compared by identity: a surface that is shown is not written to.
struct PictureInk {
    Box box;            // sizes of 0 and below: the surface's own
    bool scaled = true; // to the box; else as it is
    std::shared_ptr<cairo_surface_t> surface;
    double opacity = 1.0;

    bool operator==(const PictureInk&) const = default;
};

void drawInk(cairo_t* cr, const PictureInk& ink);
PixelRect inkBounds(const PictureInk& ink, const PixelRect& bounds);

// The open file of a video item: a picture a call, in the file's order. One thread at a time.
class VideoItemReader {
public:
    // Opens the first video stream of a file. False when it cannot be played.
    bool open(const std::string& path);

    int width() const;  // the decoder's, pixels
    int height() const; // the decoder's, pixels

    // The next picture as a surface of that size, which counts with the first picture and stands
    // from then on. Null at the end of the file, which `loop` goes back from, and for a picture
    // that cannot be had.
    std::shared_ptr<cairo_surface_t> next(int width, int height, bool loop);

private:
    FramePtr decodeNext(bool loop);
    FramePtr receive();
    std::shared_ptr<cairo_surface_t> toSurface(const AVFrame& picture);

    MediaInput input_;
    int stream_ = -1;
    CodecContextPtr decoder_;
    PacketPtr packet_;
    bool drained_ = false;
    int width_ = 0; // of the surfaces; 0 until the first picture
    int height_ = 0;
    Scaler scaler_;
};

} // namespace quol

// A picture as tiles read it.
#pragma once

#include <climits>

#include "core/Handles.h"
#include "core/PicturePool.h"
#include "core/ScaledPicture.h"

namespace quol {

// The picture in a form that tiles are made from: itself, or a conversion of the same size that
// stands until the next call. Null for one that nothing converts.
//
// On the main processor every form with 8 bits a sample is read as it is; with OpenGL planar YUV of
// 8 bits, UYVY 4:2:2, RGB24 and RGBA. Other YUV becomes planar with 8 bits and the same shares of
// chroma, everything else RGB24, or RGBA where it has alpha. YUV of 8 bits whose samples only lie
// otherwise in memory keeps them as they are.
//
// A picture with a side longer than `longest` is shrunk to it.
class TileSource {
public:
    enum class Reader { processor, graphics };

    explicit TileSource(Reader reader, int longest = INT_MAX)
        : reader_(reader), longest_(longest) {}

    const AVFrame* get(const AVFrame& picture);

private:
    const AVFrame* split(const AVFrame& picture, AVPixelFormat format);

    Reader reader_;
    int longest_;
    ScaledPicture converted_;
    PicturePool pool_;
    FramePtr split_;
};

// Planar YUV, 8 bits, with or without alpha: what OpenGL takes as a texture for each plane.
bool isPlanarYuv(AVPixelFormat format);

} // namespace quol

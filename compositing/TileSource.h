// A picture as tiles read it.
#pragma once

#include "core/Handles.h"
#include "core/ScaledPicture.h"

namespace quol {

// The picture in a form that tiles are made from: itself, or a conversion of the same size that
// stands until the next call. Null for one that nothing converts.
//
// On the main processor every form with 8 bits a sample is read as it is; with OpenGL planar YUV of
// 8 bits, UYVY 4:2:2, RGB24 and RGBA. Other YUV becomes planar with 8 bits and the same shares of
// chroma, everything else RGB24, or RGBA where it has alpha.
class TileSource {
public:
    enum class Reader { processor, graphics };

    explicit TileSource(Reader reader) : reader_(reader) {}

    const AVFrame* get(const AVFrame& picture);
    void clear() { converted_.clear(); }

private:
    Reader reader_;
    ScaledPicture converted_;
};

// Planar YUV, 8 bits, with or without alpha: what OpenGL takes as a texture for each plane.
bool isPlanarYuv(AVPixelFormat format);

} // namespace quol

// Planar pictures of 8 bits, sample by sample.
#pragma once

#include <algorithm>
#include <cstdint>
#include <random>

#include "core/Handles.h"
#include "core/PicturePool.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace test {

struct PlaneSize {
    int width;
    int height;
};

inline PlaneSize planeSize(const AVFrame& picture, int plane) {
    const auto* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
    if (plane != 1 && plane != 2) return {picture.width, picture.height};
    return {AV_CEIL_RSHIFT(picture.width, format->log2_chroma_w),
            AV_CEIL_RSHIFT(picture.height, format->log2_chroma_h)};
}

inline std::uint8_t& sample(const quol::FramePtr& picture, int plane, int x, int y) {
    return picture->data[plane][y * picture->linesize[plane] + x];
}

// What lies beside the picture, too.
inline void fillPlane(const quol::FramePtr& picture, int plane, int value) {
    std::fill_n(picture->data[plane], picture->linesize[plane] * planeSize(*picture, plane).height,
                static_cast<std::uint8_t>(value));
}

// Samples of any value, those that are outside the range of video, too.
inline quol::FramePtr noisePicture(int width, int height, AVPixelFormat format, unsigned seed) {
    quol::FramePtr picture = quol::PicturePool().get(width, height, format);
    std::mt19937 chance(seed);
    for (int plane = 0; plane < 4 && picture->data[plane] != nullptr; ++plane) {
        const PlaneSize size = planeSize(*picture, plane);
        for (int y = 0; y < size.height; ++y) {
            for (int x = 0; x < size.width; ++x)
                sample(picture, plane, x, y) = static_cast<std::uint8_t>(chance());
        }
    }
    return picture;
}

// How many samples of two pictures of one form differ.
inline int differences(const quol::FramePtr& one, const quol::FramePtr& other) {
    int found = 0;
    for (int plane = 0; plane < 4 && one->data[plane] != nullptr; ++plane) {
        const PlaneSize size = planeSize(*one, plane);
        for (int y = 0; y < size.height; ++y) {
            for (int x = 0; x < size.width; ++x)
                found += sample(one, plane, x, y) != sample(other, plane, x, y) ? 1 : 0;
        }
    }
    return found;
}

} // namespace test

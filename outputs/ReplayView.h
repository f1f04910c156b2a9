// From the form that replays are stored in to that of the pictures they show.
#pragma once

#include <cstdint>
#include <vector>

#include "core/Handles.h"

namespace quol {

// Planar 4:2:2 in full range to planar 4:2:0 in the range of video with an opaque alpha plane: what
// swscale makes of it with SWS_BILINEAR and accurate rounding, to the last bit and on every
// processor, in a fraction of the time. One thread at a time.
class ReplayView {
public:
    // Whether pictures like this one can be converted: their height is even, and 8 or more, below
    // which swscale takes rows from elsewhere.
    static bool takes(const AVFrame& picture);

    // Converts a picture that it takes into one of the same size in AV_PIX_FMT_YUVA420P, which
    // stands.
    void convert(const AVFrame& from, AVFrame& to);

private:
    void convertChroma(const AVFrame& from, AVFrame& to, int plane);

    // Of the rows of chroma that one row of the target is made of, two lie inside and two outside.
    std::vector<std::uint16_t> inner_;
    std::vector<std::uint16_t> outer_;
};

} // namespace quol

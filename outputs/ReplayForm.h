// From the pictures that come to the form that replays are stored in.
#pragma once

#include <cstdint>
#include <vector>

#include "core/Handles.h"

namespace quol {

// Planar 4:2:0 in the range of video, with or without alpha, to planar 4:2:2 in full range: what
// swscale makes of it with SWS_BILINEAR and accurate rounding, to the last bit and on every
// processor, in a tenth of the time. One thread at a time.
class ReplayForm {
public:
    // Whether pictures like this one can be converted: their height is even, and 8 or more, below
    // which swscale takes rows from elsewhere.
    static bool takes(const AVFrame& picture);

    // Converts a picture that it takes into one of the same size in AV_PIX_FMT_YUVJ422P, which
    // stands.
    void convert(const AVFrame& from, AVFrame& to);

private:
    void convertChroma(const AVFrame& from, AVFrame& to, int plane);

    // Of the last two rows of chroma: full range, with 7 bits more than a sample has.
    std::vector<std::uint16_t> rows_[2];
};

} // namespace quol

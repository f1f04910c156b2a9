// From what is drawn to what goes out.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "core/Handles.h"
#include "graphics/PixelRect.h"

namespace quol {

// Converts pictures of 32-bit pixels (AV_PIX_FMT_BGRA, premultiplied or not) to planar 4:2:0 with
// alpha (AV_PIX_FMT_YUVA420P): ITU-R BT.601 in the range of video, alpha as it is. Chroma stands
// between the pixels of a pair and between two rows, made of four rows by 1, 3, 3 and 1 eighths. It
// is what swscale makes of them with accurate rounding, in a sixth of the time. One thread at a
// time.
class VideoConverter {
public:
    // Converts `part`, which lies within both pictures and has even edges but for those of the
    // picture itself. Of `from` a row more is read above and below.
    void convert(const AVFrame& from, AVFrame& to, const PixelRect& part);

private:
    struct ChromaRow {
        int source = -1; // the row it is of; -1 for none
        bool blank = false;
        std::vector<std::int16_t> u;
        std::vector<std::int16_t> v;
    };

    const ChromaRow& chromaOf(const AVFrame& from, int row, const PixelRect& part);

    std::array<ChromaRow, 4> chroma_; // of the last rows, by row number
};

} // namespace quol

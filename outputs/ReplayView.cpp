#include "outputs/ReplayView.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "core/FrameRows.h"
#include "core/Vectorize.h"
#include "outputs/ReplayRows.h"

namespace quol {

namespace {

using u8 = std::uint8_t;
using u16 = std::uint16_t;

constexpr u8 opaque = 255;

// swscale counts a sample with 7 bits more, takes it to the range of video and rounds it to 8 bits,
// each step with whole numbers: (sample * 128 * 14071 + 33561947) >> 14, and that + 64 >> 7. For
// all samples the product's upper half gives the same.
QUOL_VECTORIZED void lumaRow(const u8* __restrict from, int count, u8* __restrict to) {
    for (int i = 0; i < count; ++i) {
        const u16 wide = static_cast<u16>((static_cast<u16>(from[i] << 8) * 28142U) >> 16);
        to[i] = static_cast<u8>(static_cast<u16>(wide + 2112) >> 7);
    }
}

// For chroma four rows meet before the rounding. Sums of two are kept upside down, counted from
// twice this: means of them that are rounded up, for which processors have an instruction, are
// means rounded down of what they stand for.
constexpr int ceiling = 32767;

constexpr int below(u8 sample) {
    return ceiling - ((sample * 1799 + 31883) >> 4); // (sample * 128 * 1799 + 4081085) >> 11
}

QUOL_VECTORIZED void addRows(const u8* __restrict one, const u8* __restrict other, int count,
                             u16* __restrict sums) {
    for (int i = 0; i < count; ++i)
        sums[i] = static_cast<u16>(below(one[i]) + below(other[i]));
}

// Three eighths of each row inside and one of each outside, rounded to 8 bits: (3 * inner + outer +
// 512) >> 10, of which each mean takes a bit off.
QUOL_VECTORIZED void betweenRows(const u16* __restrict inner, const u16* __restrict outer,
                                 int count, u8* __restrict to) {
    constexpr int white = 2 * ceiling + 128;
    for (int i = 0; i < count; ++i) {
        const u16 quarters = mean(inner[i], mean(inner[i], outer[i]));
        to[i] = static_cast<u8>(static_cast<u16>(white - quarters) >> 8);
    }
}

} // namespace

bool ReplayView::takes(const AVFrame& picture) {
    return picture.format == AV_PIX_FMT_YUVJ422P && haveReplayRows(picture);
}

void ReplayView::convert(const AVFrame& from, AVFrame& to) {
    for (int row = 0; row < from.height; ++row) {
        lumaRow(rowOf(from, 0, row), from.width, rowOf(to, 0, row));
        std::memset(rowOf(to, 3, row), opaque, static_cast<std::size_t>(from.width));
    }
    convertChroma(from, to, 1);
    convertChroma(from, to, 2);
}

// A row of the target lies between two of the source. Beyond the edge the last row counts.
void ReplayView::convertChroma(const AVFrame& from, AVFrame& to, int plane) {
    const int count = (from.width + 1) / 2;
    inner_.resize(static_cast<std::size_t>(count));
    outer_.resize(static_cast<std::size_t>(count));
    for (int row = 0; row < from.height / 2; ++row) {
        const int first = std::max(2 * row - 1, 0);
        const int last = std::min(2 * row + 2, from.height - 1);
        addRows(rowOf(from, plane, 2 * row), rowOf(from, plane, 2 * row + 1), count, inner_.data());
        addRows(rowOf(from, plane, first), rowOf(from, plane, last), count, outer_.data());
        betweenRows(inner_.data(), outer_.data(), count, rowOf(to, plane, row));
    }
}

} // namespace quol

#include "outputs/ReplayForm.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "core/FrameRows.h"
#include "core/Vectorize.h"
#include "outputs/ReplayRows.h"

namespace quol {

namespace {

using u8 = std::uint8_t;
using u16 = std::uint16_t;

// By value, and in 16 bits throughout: the loops below are as fast as their samples are narrow.
constexpr u16 lesser(u16 one, u16 other) {
    return one < other ? one : other;
}

// swscale counts a sample with 7 bits more, takes it to full range and rounds it to 8 bits, each
// step with whole numbers: (sample * 128 * 19077 - 39057361) >> 14, and that + 64 >> 7. What counts
// of it are 16 to 236, and for these the product's upper half gives the same.
QUOL_VECTORIZED void lumaRow(const u8* __restrict from, int count, u8* __restrict to) {
    for (int i = 0; i < count; ++i) {
        const u16 above = static_cast<u16>(lesser(std::max(from[i], u8{16}), 236) - 16);
        const u16 wide = static_cast<u16>((static_cast<u16>(above << 8) * 38155U) >> 16);
        to[i] = static_cast<u8>(lesser(static_cast<u16>((wide + 64) >> 7), 255));
    }
}

// For chroma two rows meet before the rounding. They are kept upside down, counted from above any
// that there is: means of them that are rounded up, for which processors have an instruction, are
// means rounded down of what they stand for.
constexpr int ceiling = 63231;

QUOL_VECTORIZED void widenRow(const u8* __restrict from, int count, u16* __restrict to) {
    for (int i = 0; i < count; ++i) {
        const int wide = (from[i] * 4663 - 72579) >> 5; // (sample * 128 * 4663 - 9289992) >> 12
        to[i] = static_cast<u16>(ceiling - std::min(wide, 32767));
    }
}

constexpr u8 levelOf(u16 kept) {
    constexpr u16 black = ceiling + 64;
    return static_cast<u8>(lesser(static_cast<u16>((black - lesser(kept, black)) >> 7), 255));
}

// Two rows between two: three quarters of the nearer one and one of the other, rounded to 8 bits,
// (3 * near + far + 256) >> 9, of which each mean takes a bit off.
QUOL_VECTORIZED void betweenRows(const u16* __restrict above, const u16* __restrict below,
                                 int count, u8* __restrict upper, u8* __restrict lower) {
    for (int i = 0; i < count; ++i) {
        const u16 middle = mean(above[i], below[i]);
        upper[i] = levelOf(mean(above[i], middle));
        lower[i] = levelOf(mean(below[i], middle));
    }
}

// Beyond the edge of the picture its last row counts.
QUOL_VECTORIZED void edgeRow(const u16* __restrict row, int count, u8* __restrict to) {
    for (int i = 0; i < count; ++i)
        to[i] = levelOf(row[i]);
}

} // namespace

bool ReplayForm::takes(const AVFrame& picture) {
    const bool known =
        picture.format == AV_PIX_FMT_YUV420P || picture.format == AV_PIX_FMT_YUVA420P;
    return known && haveReplayRows(picture);
}

void ReplayForm::convert(const AVFrame& from, AVFrame& to) {
    for (int row = 0; row < from.height; ++row)
        lumaRow(rowOf(from, 0, row), from.width, rowOf(to, 0, row));
    convertChroma(from, to, 1);
    convertChroma(from, to, 2);
}

// Between two rows of the source lie two of the target.
void ReplayForm::convertChroma(const AVFrame& from, AVFrame& to, int plane) {
    const int count = (from.width + 1) / 2;
    const int rows = from.height / 2;
    auto& above = rows_[0];
    auto& below = rows_[1];
    above.resize(static_cast<std::size_t>(count));
    below.resize(static_cast<std::size_t>(count));
    widenRow(rowOf(from, plane, 0), count, above.data());
    edgeRow(above.data(), count, rowOf(to, plane, 0));
    for (int row = 1; row < rows; ++row) {
        widenRow(rowOf(from, plane, row), count, below.data());
        betweenRows(above.data(), below.data(), count, rowOf(to, plane, 2 * row - 1),
                    rowOf(to, plane, 2 * row));
        std::swap(above, below);
    }
    edgeRow(above.data(), count, rowOf(to, plane, 2 * rows - 1));
}

} // namespace quol

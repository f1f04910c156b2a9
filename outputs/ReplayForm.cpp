#include "outputs/ReplayForm.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "core/Vectorize.h"

namespace quol {

namespace {

// swscale counts a sample with 7 bits more, takes it to full range and rounds it to 8 bits, each
// step with whole numbers. For luma the three steps are one: 16 to 235 become 0 to 255 by 19077 in
// units of 2^-14, the half that rounds included in the offset.
QUOL_VECTORIZED void lumaRow(const std::uint8_t* __restrict from, int count,
                             std::uint8_t* __restrict to) {
    for (int i = 0; i < count; ++i)
        to[i] = static_cast<std::uint8_t>(std::clamp((from[i] * 19077 - 296944) >> 14, 0, 255));
}

// For chroma two rows meet before the rounding. The most that 15 bits hold is the most there is.
QUOL_VECTORIZED void widenRow(const std::uint8_t* __restrict from, int count,
                              std::int16_t* __restrict to) {
    for (int i = 0; i < count; ++i)
        to[i] = static_cast<std::int16_t>(std::min((from[i] * 4663 - 72579) >> 5, 32767));
}

// The mean of two, rounded down, that needs no more bits than they have.
std::int16_t lowerMean(std::int16_t one, std::int16_t other) {
    return static_cast<std::int16_t>((one & other) + ((one ^ other) >> 1));
}

// Three quarters of the nearer row and one of the other, rounded to 8 bits: (3 * near + far + 256)
// >> 9, of which each mean takes a bit off.
QUOL_VECTORIZED void betweenRows(const std::int16_t* __restrict near,
                                 const std::int16_t* __restrict far, int count,
                                 std::uint8_t* __restrict to) {
    for (int i = 0; i < count; ++i) {
        const std::int16_t quarters = lowerMean(near[i], lowerMean(near[i], far[i]));
        to[i] = static_cast<std::uint8_t>(std::clamp((quarters + 64) >> 7, 0, 255));
    }
}

template <typename Frame>
auto* rowOf(Frame& frame, int plane, int row) {
    return frame.data[plane] + static_cast<std::ptrdiff_t>(row) * frame.linesize[plane];
}

} // namespace

bool ReplayForm::takes(const AVFrame& picture) {
    const bool known =
        picture.format == AV_PIX_FMT_YUV420P || picture.format == AV_PIX_FMT_YUVA420P;
    return known && picture.height >= 8 && picture.height % 2 == 0;
}

void ReplayForm::convert(const AVFrame& from, AVFrame& to) {
    for (int row = 0; row < from.height; ++row)
        lumaRow(rowOf(from, 0, row), from.width, rowOf(to, 0, row));
    convertChroma(from, to, 1);
    convertChroma(from, to, 2);
}

// A row of the source lies between two of the target: a quarter of a row above the one, a quarter
// below the other. Beyond the edge the last row counts.
void ReplayForm::convertChroma(const AVFrame& from, AVFrame& to, int plane) {
    const int count = (from.width + 1) / 2;
    const int rows = from.height / 2;
    auto& above = rows_[0];
    auto& here = rows_[1];
    above.resize(static_cast<std::size_t>(count));
    here.resize(static_cast<std::size_t>(count));
    widenRow(rowOf(from, plane, 0), count, above.data());
    betweenRows(above.data(), above.data(), count, rowOf(to, plane, 0));
    for (int row = 1; row < rows; ++row) {
        widenRow(rowOf(from, plane, row), count, here.data());
        betweenRows(above.data(), here.data(), count, rowOf(to, plane, 2 * row - 1));
        betweenRows(here.data(), above.data(), count, rowOf(to, plane, 2 * row));
        std::swap(above, here);
    }
    betweenRows(above.data(), above.data(), count, rowOf(to, plane, 2 * rows - 1));
}

} // namespace quol

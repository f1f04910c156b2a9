#include "graphics/VideoConverter.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "core/Vectorize.h"

namespace quol {

namespace {

// ITU-R BT.601 from full range RGB to Y of 16 to 235, U and V of 16 to 240, in units of 2^-15.
constexpr int redToY = 8414;
constexpr int greenToY = 16519;
constexpr int blueToY = 3208;
constexpr int redToU = -4865;
constexpr int greenToU = -9528;
constexpr int blueToU = 14392;
constexpr int redToV = 14392;
constexpr int greenToV = -12061;
constexpr int blueToV = -2332;

constexpr std::uint8_t blankLuma = 16;
constexpr std::uint8_t blankChroma = 128;

const std::uint32_t* pixelsOf(const AVFrame& from, int row, int left) {
    return reinterpret_cast<const std::uint32_t*>(from.data[0] + static_cast<std::ptrdiff_t>(row) *
                                                                     from.linesize[0]) +
           left;
}

// Most of a title is nothing.
QUOL_VECTORIZED bool isBlank(const std::uint32_t* pixels, int count) {
    std::uint32_t any = 0;
    for (int i = 0; i < count; ++i)
        any |= pixels[i];
    return any == 0;
}

// By 6 bits more than a sample has first, as the rounding is then.
QUOL_VECTORIZED void lumaOf(const std::uint32_t* __restrict pixels, int count,
                            std::uint8_t* __restrict luma, std::uint8_t* __restrict alpha) {
    constexpr int offset = (16 << 15) + (1 << 8);
    for (int i = 0; i < count; ++i) {
        const std::uint32_t pixel = pixels[i];
        const int blue = pixel & 255U;
        const int green = (pixel >> 8U) & 255U;
        const int red = (pixel >> 16U) & 255U;
        const int fine = (redToY * red + greenToY * green + blueToY * blue + offset) >> 9;
        luma[i] = static_cast<std::uint8_t>((fine + 32) >> 6);
    }
    for (int i = 0; i < count; ++i)
        alpha[i] = static_cast<std::uint8_t>(pixels[i] >> 24U);
}

// Of pairs of pixels, with 7 bits more than a sample has.
QUOL_VECTORIZED void chromaOfPairs(const std::uint32_t* __restrict pixels, int pairs,
                                   std::int16_t* __restrict u, std::int16_t* __restrict v) {
    constexpr int offset = (256 << 15) + (1 << 9);
    for (int i = 0; i < pairs; ++i) {
        const std::uint32_t one = pixels[2 * i];
        const std::uint32_t other = pixels[2 * i + 1];
        const int blue = static_cast<int>((one & 255U) + (other & 255U));
        const int green = static_cast<int>(((one >> 8U) & 255U) + ((other >> 8U) & 255U));
        const int red = static_cast<int>(((one >> 16U) & 255U) + ((other >> 16U) & 255U));
        u[i] = static_cast<std::int16_t>(
            ((redToU * red + greenToU * green + blueToU * blue + offset) >> 10) * 2);
        v[i] = static_cast<std::int16_t>(
            ((redToV * red + greenToV * green + blueToV * blue + offset) >> 10) * 2);
    }
}

using Rows = std::array<const std::int16_t*, 4>;

QUOL_VECTORIZED void between(const Rows& rows, int count, std::uint8_t* __restrict samples) {
    const std::int16_t* __restrict first = rows[0];
    const std::int16_t* __restrict second = rows[1];
    const std::int16_t* __restrict third = rows[2];
    const std::int16_t* __restrict fourth = rows[3];
    for (int i = 0; i < count; ++i) {
        const int eighths = first[i] + 3 * second[i] + 3 * third[i] + fourth[i];
        samples[i] = static_cast<std::uint8_t>(std::clamp((eighths + 512) >> 10, 0, 255));
    }
}

std::uint8_t* samplesOf(AVFrame& to, int plane, int row, int left) {
    return to.data[plane] + static_cast<std::ptrdiff_t>(row) * to.linesize[plane] + left;
}

} // namespace

const VideoConverter::ChromaRow& VideoConverter::chromaOf(const AVFrame& from, int row,
                                                          const PixelRect& part) {
    ChromaRow& chroma = chroma_[static_cast<std::size_t>(row) % chroma_.size()];
    if (chroma.source == row) return chroma;
    chroma.source = row;
    const int width = part.width();
    const std::uint32_t* const pixels = pixelsOf(from, row, part.left);
    const auto count = static_cast<std::size_t>((width + 1) / 2);
    const bool wasBlank = chroma.blank && chroma.u.size() == count;
    chroma.blank = isBlank(pixels, width);
    chroma.u.resize(count);
    chroma.v.resize(count);
    if (chroma.blank) {
        if (wasBlank) return chroma;
        std::fill(chroma.u.begin(), chroma.u.end(), std::int16_t{blankChroma << 7});
        std::fill(chroma.v.begin(), chroma.v.end(), std::int16_t{blankChroma << 7});
        return chroma;
    }
    chromaOfPairs(pixels, width / 2, chroma.u.data(), chroma.v.data());
    if (width % 2 == 0) return chroma;
    const std::array<std::uint32_t, 2> last{pixels[width - 1], pixels[width - 1]};
    chromaOfPairs(last.data(), 1, &chroma.u.back(), &chroma.v.back());
    return chroma;
}

void VideoConverter::convert(const AVFrame& from, AVFrame& to, const PixelRect& part) {
    const int width = part.width();
    for (int row = part.top; row < part.bottom; ++row) {
        std::uint8_t* const luma = samplesOf(to, 0, row, part.left);
        std::uint8_t* const alpha = samplesOf(to, 3, row, part.left);
        const std::uint32_t* const pixels = pixelsOf(from, row, part.left);
        if (isBlank(pixels, width)) {
            std::memset(luma, blankLuma, static_cast<std::size_t>(width));
            std::memset(alpha, 0, static_cast<std::size_t>(width));
        } else {
            lumaOf(pixels, width, luma, alpha);
        }
    }
    for (ChromaRow& row : chroma_)
        row.source = -1;
    const int count = (width + 1) / 2;
    for (int row = part.top / 2; row < (part.bottom + 1) / 2; ++row) {
        std::array<const ChromaRow*, 4> near{};
        for (int i = 0; i < 4; ++i)
            near[i] = &chromaOf(from, std::clamp(row * 2 - 1 + i, 0, from.height - 1), part);
        std::uint8_t* const u = samplesOf(to, 1, row, part.left / 2);
        std::uint8_t* const v = samplesOf(to, 2, row, part.left / 2);
        if (std::all_of(near.begin(), near.end(), [](const ChromaRow* r) { return r->blank; })) {
            std::memset(u, blankChroma, static_cast<std::size_t>(count));
            std::memset(v, blankChroma, static_cast<std::size_t>(count));
        } else {
            between({near[0]->u.data(), near[1]->u.data(), near[2]->u.data(), near[3]->u.data()},
                    count, u);
            between({near[0]->v.data(), near[1]->v.data(), near[2]->v.data(), near[3]->v.data()},
                    count, v);
        }
    }
}

} // namespace quol

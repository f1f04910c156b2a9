#include "compositing/OverlayBlend.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "compositing/PlaneBlend.h"
#include "core/FrameRows.h"
#include "core/Vectorize.h"

namespace quol {

namespace {

using Row = std::uint8_t;

QUOL_VECTORIZED void stingerRow(Row* target, const Row* source, const Row* alpha,
                                std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned a = alpha[i];
        target[i] = static_cast<Row>((source[i] * a + target[i] * (255U - a)) >> 8U);
    }
}

QUOL_VECTORIZED void titleSamples(Row* target, const Row* source, const Row* alpha,
                                  std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const float a = static_cast<float>(alpha[i]) / 255.0F;
        const float under = static_cast<float>(target[i]) * (1.0F - a);
        const float over = a * static_cast<float>(source[i]);
        target[i] = static_cast<Row>(static_cast<int>(under + over));
    }
}

// Titles are empty, or opaque, over long stretches: these cost a look at the alpha and a copy.
void titleRow(Row* target, const Row* source, const Row* alpha, std::size_t count) {
    constexpr std::size_t stretch = 64;
    const std::size_t first = leadingZeros(alpha, count);
    const std::size_t end = count - trailingZeros(alpha + first, count - first);
    for (std::size_t at = first; at < end; at += stretch) {
        const std::size_t length = std::min(stretch, end - at);
        const Row* const a = alpha + at;
        const bool isEven = std::memcmp(a, a + 1, length - 1) == 0;
        if (isEven && *a == 0) continue;
        if (isEven && *a == 255) {
            std::memcpy(target + at, source + at, length);
        } else {
            titleSamples(target + at, source + at, a, length);
        }
    }
}

template <typename BlendRow>
void overlayPicture(AVFrame& picture, const AVFrame& overlay, BlendRow blendRow) {
    const auto width = static_cast<std::size_t>(picture.width);
    const auto chromaWidth = (width + 1) / 2;
    for (int y = 0; y < picture.height; ++y)
        blendRow(rowOf(picture, 0, y), rowOf(overlay, 0, y), rowOf(overlay, 3, y), width);
    std::vector<Row> alpha(chromaWidth);
    for (int y = 0; y < (picture.height + 1) / 2; ++y) {
        takeEvery(alpha.data(), rowOf(overlay, 3, 2 * y), 2, chromaWidth);
        for (int plane = 1; plane <= 2; ++plane)
            blendRow(rowOf(picture, plane, y), rowOf(overlay, plane, y), alpha.data(), chromaWidth);
    }
}

} // namespace

void overlayStinger(AVFrame& picture, const AVFrame& overlay) {
    overlayPicture(picture, overlay, stingerRow);
}

void overlayTitles(AVFrame& picture, const AVFrame& overlay) {
    overlayPicture(picture, overlay, titleRow);
}

} // namespace quol

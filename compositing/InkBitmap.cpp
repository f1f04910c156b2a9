#include "compositing/InkBitmap.h"

#include <algorithm>
#include <cmath>

#include "compositing/LabelAtlas.h"
#include "compositing/TileRows.h"

namespace quol {

namespace {

std::uint8_t byteOf(float level) {
    return static_cast<std::uint8_t>(std::clamp(level * 255.0F + 0.5F, 0.0F, 255.0F));
}

float lumaOf(float red, float green, float blue) {
    return 0.299F * red + 0.587F * green + 0.114F * blue;
}

// Without the half that stands for no colour.
float uOf(float red, float green, float blue) {
    return -0.169F * red - 0.331F * green + 0.500F * blue;
}

float vOf(float red, float green, float blue) {
    return 0.500F * red - 0.419F * green - 0.081F * blue;
}

// Between the four pixels around a point of the atlas, in pixels.
float sampleAtlas(const LabelAtlas& atlas, float x, float y) {
    const float left = std::floor(x - 0.5F);
    const float top = std::floor(y - 0.5F);
    const float across = x - 0.5F - left;
    const float down = y - 0.5F - top;
    const int column = static_cast<int>(left);
    const int line = static_cast<int>(top);
    const float upper =
        atlas.coverage(column, line) * (1.0F - across) + atlas.coverage(column + 1, line) * across;
    const float lower = atlas.coverage(column, line + 1) * (1.0F - across) +
                        atlas.coverage(column + 1, line + 1) * across;
    return upper * (1.0F - down) + lower * down;
}

} // namespace

YuvLevels levelsOf(const wall::Color& color) {
    return {byteOf(lumaOf(color.red, color.green, color.blue)),
            byteOf(uOf(color.red, color.green, color.blue) + 0.5F),
            byteOf(vOf(color.red, color.green, color.blue) + 0.5F)};
}

void InkBitmap::draw(const TileInk& ink, const TileRect& visible) {
    bounds_ = intersection(ink.bounds, visible);
    if (bounds_.isEmpty()) return;
    pixels_.assign(
        static_cast<std::size_t>(bounds_.width) * static_cast<std::size_t>(bounds_.height),
        Pixel{});
    for (const InkBox& box : ink.boxes)
        drawBox(box);
    for (const InkGlyph& glyph : ink.glyphs)
        drawGlyph(glyph, wall::textColor);
    toSamples();
}

InkBitmap::Pixel* InkBitmap::row(int y) {
    return pixels_.data() + static_cast<std::ptrdiff_t>(y - bounds_.y) * bounds_.width - bounds_.x;
}

void InkBitmap::over(Pixel& pixel, const wall::Color& color, float coverage) {
    const float alpha = color.alpha * coverage;
    const float rest = 1.0F - alpha;
    pixel.red = color.red * alpha + pixel.red * rest;
    pixel.green = color.green * alpha + pixel.green * rest;
    pixel.blue = color.blue * alpha + pixel.blue * rest;
    pixel.alpha = alpha + pixel.alpha * rest;
}

void InkBitmap::drawBox(const InkBox& box) {
    const TileRect part = intersection(box.rect, bounds_);
    const float halfWidth = static_cast<float>(box.rect.width) * 0.5F;
    const float halfHeight = static_cast<float>(box.rect.height) * 0.5F;
    const bool isPlain = box.radius <= 0.0F && box.edgeWidth <= 0.0F;
    for (int y = part.y; y < part.bottom(); ++y) {
        Pixel* const pixels = row(y);
        for (int x = part.x; x < part.right(); ++x) {
            if (isPlain) {
                over(pixels[x], box.color, 1.0F);
                continue;
            }
            const float px = static_cast<float>(x - box.rect.x) + 0.5F - halfWidth;
            const float py = static_cast<float>(y - box.rect.y) + 0.5F - halfHeight;
            const float distance = roundedBoxDistance(px, py, halfWidth, halfHeight, box.radius);
            wall::Color color = box.color;
            if (box.edgeWidth > 0.0F) {
                const float inside = coverageAt(distance + box.edgeWidth);
                const auto mixed = [inside](float edge, float background) {
                    return edge + (background - edge) * inside;
                };
                color = {mixed(box.edge.red, color.red), mixed(box.edge.green, color.green),
                         mixed(box.edge.blue, color.blue), mixed(box.edge.alpha, color.alpha)};
            }
            over(pixels[x], color, coverageAt(distance));
        }
    }
}

void InkBitmap::drawGlyph(const InkGlyph& glyph, const wall::Color& color) {
    const LabelAtlas& atlas = labelAtlas();
    const TileRect part = intersection(glyph.rect, bounds_);
    const float stepX = glyph.width / static_cast<float>(glyph.rect.width);
    const float stepY = glyph.height / static_cast<float>(glyph.rect.height);
    for (int y = part.y; y < part.bottom(); ++y) {
        Pixel* const pixels = row(y);
        const float atlasY = glyph.y + (static_cast<float>(y - glyph.rect.y) + 0.5F) * stepY;
        for (int x = part.x; x < part.right(); ++x) {
            const float atlasX = glyph.x + (static_cast<float>(x - glyph.rect.x) + 0.5F) * stepX;
            over(pixels[x], color, sampleAtlas(atlas, atlasX, atlasY));
        }
    }
}

void InkBitmap::toSamples() {
    const int width = bounds_.width;
    const int height = bounds_.height;
    const int chromaWidth = (width + 1) / 2;
    const int chromaHeight = (height + 1) / 2;
    y_.resize(pixels_.size());
    alpha_.resize(pixels_.size());
    for (std::size_t i = 0; i < pixels_.size(); ++i) {
        const Pixel& pixel = pixels_[i];
        y_[i] = byteOf(lumaOf(pixel.red, pixel.green, pixel.blue));
        alpha_[i] = byteOf(pixel.alpha);
    }
    const auto samples =
        static_cast<std::size_t>(chromaWidth) * static_cast<std::size_t>(chromaHeight);
    u_.resize(samples);
    v_.resize(samples);
    chromaAlpha_.resize(samples);
    std::size_t at = 0;
    for (int y = 0; y < chromaHeight; ++y) {
        const Pixel* const upper = pixels_.data() + std::ptrdiff_t{2 * y} * width;
        const Pixel* const lower = 2 * y + 1 < height ? upper + width : upper;
        for (int x = 0; x < chromaWidth; ++x, ++at) {
            const int left = 2 * x;
            const int right = std::min(left + 1, width - 1);
            Pixel mean;
            for (const Pixel* pixel : {upper + left, upper + right, lower + left, lower + right}) {
                mean.red += pixel->red * 0.25F;
                mean.green += pixel->green * 0.25F;
                mean.blue += pixel->blue * 0.25F;
                mean.alpha += pixel->alpha * 0.25F;
            }
            const float grey = 0.5F * mean.alpha;
            u_[at] = byteOf(uOf(mean.red, mean.green, mean.blue) + grey);
            v_[at] = byteOf(vOf(mean.red, mean.green, mean.blue) + grey);
            chromaAlpha_[at] = byteOf(mean.alpha);
        }
    }
}

void InkBitmap::lay(AVFrame& canvas, int from, int to) const {
    const TileRect rows{0, 2 * from, canvas.width, 2 * (to - from)};
    const TileRect part =
        intersection(intersection(bounds_, {0, 0, canvas.width, canvas.height}), rows);
    if (part.isEmpty()) return;
    const auto target = [&canvas](int plane, int x, int y) {
        return canvas.data[plane] + std::ptrdiff_t{y} * canvas.linesize[plane] + x;
    };
    for (int y = part.y; y < part.bottom(); ++y) {
        const std::ptrdiff_t at =
            std::ptrdiff_t{y - bounds_.y} * bounds_.width + (part.x - bounds_.x);
        inkRow(target(0, part.x, y), y_.data() + at, alpha_.data() + at, part.width);
    }
    const int chromaWidth = (bounds_.width + 1) / 2;
    for (int y = part.y / 2; y < (part.bottom() + 1) / 2; ++y) {
        const std::ptrdiff_t at =
            std::ptrdiff_t{y - bounds_.y / 2} * chromaWidth + (part.x - bounds_.x) / 2;
        const int count = (part.width + 1) / 2;
        inkRow(target(1, part.x / 2, y), u_.data() + at, chromaAlpha_.data() + at, count);
        inkRow(target(2, part.x / 2, y), v_.data() + at, chromaAlpha_.data() + at, count);
    }
}

} // namespace quol

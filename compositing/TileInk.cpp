#include "compositing/TileInk.h"

#include <algorithm>
#include <cmath>

#include "compositing/LabelAtlas.h"

namespace quol {

namespace {

int rounded(float value) {
    return static_cast<int>(std::lround(value));
}

int evenBelow(int value) {
    return static_cast<int>(static_cast<unsigned>(value) & ~1U);
}

int evenAbove(int value) {
    return evenBelow(value + 1);
}

// A coordinate of the tile, -1 to 1, in pixels of the picture.
float acrossOf(const TileRect& tile, float x) {
    return static_cast<float>(tile.x) + (x + 1.0F) * 0.5F * static_cast<float>(tile.width);
}

float downOf(const TileRect& tile, float y) {
    return static_cast<float>(tile.y) + (1.0F - y) * 0.5F * static_cast<float>(tile.height);
}

// The characters of a text that the atlas has and that fit, and how wide they are.
struct FittingText {
    std::string text;
    float width = 0.0F;
};

FittingText fittingText(const std::string& name, float scale, float widest) {
    FittingText fitting;
    for (const char character : name) {
        const GlyphInfo* const glyph = labelAtlas().find(character);
        if (glyph == nullptr) continue;
        const float width = fitting.width + glyph->advance * scale;
        if (width > widest) break;
        fitting.width = width;
        fitting.text += character;
    }
    return fitting;
}

void addGlyphs(TileInk& ink, const std::string& text, float left, int baseline, float scale) {
    for (const char character : text) {
        const GlyphInfo& glyph = *labelAtlas().find(character);
        if (glyph.width > 0.0F && glyph.height > 0.0F) {
            // Whole pixels, and those the ink touches at the far edges.
            const int width = static_cast<int>(std::ceil(glyph.width * scale));
            const int height = static_cast<int>(std::ceil(glyph.height * scale));
            ink.glyphs.push_back({{rounded(left + glyph.bearingX * scale),
                                   baseline + rounded(glyph.bearingY * scale), width, height},
                                  glyph.x + LabelAtlas::inkX,
                                  glyph.y + LabelAtlas::inkY,
                                  static_cast<float>(width) / scale,
                                  static_cast<float>(height) / scale});
        }
        left += glyph.advance * scale;
    }
}

void addBar(TileInk& ink, const TileRect& tile, float begin, float end, int lit) {
    const int left = rounded(acrossOf(tile, begin));
    const int width = std::max(1, rounded(acrossOf(tile, end)) - left);
    const int top = rounded(downOf(tile, wall::barTop));
    const int bottom = rounded(downOf(tile, wall::barBottom));
    const int height = bottom - top;
    for (int i = 0; i < wall::segments; ++i) {
        const int lower = bottom - height * i / wall::segments;
        const int upper = bottom - height * (i + 1) / wall::segments;
        const int gap = lower - upper >= wall::smallestSegmentWithGap ? 1 : 0;
        InkBox box;
        box.rect = {left, upper + gap, width, lower - upper - gap};
        box.color = segmentColor(i, i < lit);
        ink.boxes.push_back(box);
    }
}

} // namespace

float roundedBoxDistance(float px, float py, float halfWidth, float halfHeight, float radius) {
    const float dx = std::fabs(px) - halfWidth + radius;
    const float dy = std::fabs(py) - halfHeight + radius;
    const float outX = std::max(dx, 0.0F);
    const float outY = std::max(dy, 0.0F);
    return std::min(std::max(dx, dy), 0.0F) + std::sqrt(outX * outX + outY * outY) - radius;
}

float coverageAt(float distance) {
    const float t = std::clamp(distance, 0.0F, 1.0F);
    return 1.0F - t * t * (3.0F - 2.0F * t);
}

wall::Color tallyColor(int tally) {
    if (tally == 2) return wall::programBorder;
    return tally == 1 ? wall::previewBorder : wall::plainBorder;
}

std::vector<TileRect> borderRects(const TileRect& tile) {
    constexpr int width = wall::borderWidth;
    if (tile.width <= 2 * width || tile.height <= 2 * width) return {tile};
    // Measured from the upper left, so that all edges but those of an odd picture are even.
    const int right = evenBelow(tile.right() - width);
    const int bottom = evenBelow(tile.bottom() - width);
    const int inner = bottom - tile.y - width;
    return {{tile.x, tile.y, tile.width, width},
            {right, tile.y + width, tile.right() - right, inner},
            {tile.x, bottom, tile.width, tile.bottom() - bottom},
            {tile.x, tile.y + width, width, inner}};
}

TileInk labelInk(const TileRect& tile, const std::string& name) {
    const wall::LabelSizes& sizes =
        tile.width > wall::widestSmallTile ? wall::largeLabel : wall::smallLabel;
    TileInk ink;
    if (tile.height < sizes.plateHeight + 2 * sizes.bottomSpacing) return ink;
    const float widest = wall::widestPlate * static_cast<float>(tile.width) -
                         2.0F * static_cast<float>(sizes.padding);
    const FittingText fitting = fittingText(name, sizes.textScale, widest);
    if (fitting.text.empty()) return ink;
    const int width = evenAbove(static_cast<int>(std::ceil(fitting.width)) + 2 * sizes.padding);
    InkBox plate;
    plate.rect = {evenBelow(tile.x + (tile.width - width) / 2),
                  evenBelow(tile.bottom()) - sizes.bottomSpacing - sizes.plateHeight, width,
                  sizes.plateHeight};
    plate.radius = sizes.radius;
    plate.color = wall::plateColor;
    plate.edge = wall::plateEdge;
    plate.edgeWidth = wall::plateEdgeWidth;
    ink.bounds = plate.rect;
    ink.boxes.push_back(plate);
    const float left =
        static_cast<float>(plate.rect.x) + (static_cast<float>(width) - fitting.width) * 0.5F;
    const float capHeight = labelAtlas().capHeight() * sizes.textScale;
    const int baseline =
        plate.rect.y + rounded((static_cast<float>(sizes.plateHeight) + capHeight) * 0.5F);
    addGlyphs(ink, fitting.text, left, baseline, sizes.textScale);
    return ink;
}

int litSegments(float level) {
    const float lit = std::ceil(level * static_cast<float>(wall::segments));
    return lit > 0.0F ? static_cast<int>(std::min(lit, static_cast<float>(wall::segments))) : 0;
}

wall::Color segmentColor(int segment, bool isLit) {
    const float height = static_cast<float>(segment) / static_cast<float>(wall::segments);
    wall::Color color = wall::lowerColor;
    if (height >= wall::middleZone) color = wall::middleColor;
    if (height >= wall::topZone) color = wall::topColor;
    if (isLit) return color;
    return {color.red * wall::unlitShade, color.green * wall::unlitShade,
            color.blue * wall::unlitShade, wall::unlitAlpha};
}

TileInk meterInk(const TileRect& tile, int litLeft, int litRight) {
    TileInk ink;
    const int left = evenBelow(rounded(acrossOf(tile, wall::meterLeft)));
    const int right = evenAbove(rounded(acrossOf(tile, wall::meterRight)));
    const int top = evenBelow(rounded(downOf(tile, wall::meterTop)));
    const int bottom = evenAbove(rounded(downOf(tile, wall::meterBottom)));
    if (right - left < wall::narrowestMeter || bottom - top < wall::lowestMeter) return ink;
    ink.bounds = {left, top, right - left, bottom - top};
    InkBox plate;
    plate.rect = ink.bounds;
    plate.color = wall::meterPlate;
    ink.boxes.push_back(plate);
    addBar(ink, tile, wall::leftBarBegin, wall::leftBarEnd, litLeft);
    addBar(ink, tile, wall::rightBarBegin, wall::rightBarEnd, litRight);
    return ink;
}

} // namespace quol

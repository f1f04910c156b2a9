// The ink of a tile as samples, ready to be laid over a picture.
#pragma once

#include <cstdint>
#include <vector>

#include "compositing/MultiviewLayout.h"
#include "compositing/TileInk.h"
#include "core/Color.h"
#include "core/Handles.h"

namespace quol {

// A colour in full range, as the wall's pictures have it.
YuvLevels levelsOf(const wall::Color& color);

// Boxes and glyphs are put over each other at full resolution, as OpenGL does with the pixels;
// chroma is the mean of four of them.
class InkBitmap {
public:
    // Forgets what was there. Of the ink only what lies in `visible` is drawn: a tile may be many
    // times larger than the wall. Both begin on even pixels.
    void draw(const TileInk& ink, const TileRect& visible);

    // Lays it over a planar 4:2:0 picture, in the rows of chroma from `from` to `to` of the whole
    // picture and their luma. Outside the picture nothing is laid.
    void lay(AVFrame& canvas, int from, int to) const;

private:
    // Premultiplied.
    struct Pixel {
        float red = 0.0F;
        float green = 0.0F;
        float blue = 0.0F;
        float alpha = 0.0F;
    };

    void drawBox(const InkBox& box);
    void drawGlyph(const InkGlyph& glyph, const wall::Color& color);
    void over(Pixel& pixel, const wall::Color& color, float coverage);
    void toSamples();
    Pixel* row(int y);

    TileRect bounds_;
    std::vector<Pixel> pixels_;
    // Premultiplied samples and their alpha, of the bounds.
    std::vector<std::uint8_t> y_, alpha_;
    std::vector<std::uint8_t> u_, v_, chromaAlpha_;
};

} // namespace quol

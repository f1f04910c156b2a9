// The characters of a multiview's labels, drawn once.
#pragma once

#include <map>

#include "core/CairoHandles.h"

namespace quol {

// One character: its cell in the atlas in pixels, and what cairo says of it.
struct GlyphInfo {
    float x = 0.0F;
    float y = 0.0F;
    float bearingX = 0.0F;
    float bearingY = 0.0F;
    float width = 0.0F;
    float height = 0.0F;
    float advance = 0.0F;
};

// The printable characters of ASCII, from the space onward, in cells of 16 by 16: white on nothing,
// premultiplied ARGB. The ink of each begins at (inkX, inkY) of its cell; what is tall reaches into
// the cell below, whose own ink begins as far down.
class LabelAtlas {
public:
    static constexpr int size = 256;
    static constexpr int cell = 16;
    static constexpr int inkX = 2;
    static constexpr int inkY = 12;
    static constexpr char first = ' ';
    static constexpr char last = '~';

    LabelAtlas();

    // Null for a character that is not in it.
    const GlyphInfo* find(char character) const;

    // How tall a capital letter is.
    float capHeight() const { return capHeight_; }

    // Rows of `stride` bytes, 4 bytes a pixel; null when memory was short.
    const unsigned char* pixels() const;
    int stride() const;

    // How much ink lies on a pixel, 0 to 1; nothing outside.
    float coverage(int x, int y) const;

private:
    SurfacePtr surface_;
    std::map<char, GlyphInfo> glyphs_;
    float capHeight_ = 0.0F;
};

// Made with the first request; any thread.
const LabelAtlas& labelAtlas();

} // namespace quol

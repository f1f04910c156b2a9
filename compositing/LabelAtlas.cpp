#include "compositing/LabelAtlas.h"

#include <array>

namespace quol {

namespace {

constexpr double fontSize = 14.0;

} // namespace

LabelAtlas::LabelAtlas() : surface_(makeSurface(size, size)) {
    if (!surface_) return;
    const CairoPtr cr(cairo_create(surface_.get()));
    cairo_select_font_face(cr.get(), "Sans", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_BOLD);
    cairo_set_font_size(cr.get(), fontSize);
    cairo_set_source_rgb(cr.get(), 1.0, 1.0, 1.0);
    constexpr int columns = size / cell;
    for (int i = 0; first + i <= last; ++i) {
        const int x = i % columns * cell;
        const int y = i / columns * cell;
        const char character = static_cast<char>(first + i);
        const std::array<char, 2> text{character, '\0'};
        cairo_text_extents_t extents;
        cairo_text_extents(cr.get(), text.data(), &extents);
        cairo_move_to(cr.get(), x + inkX - extents.x_bearing, y + inkY - extents.y_bearing);
        cairo_show_text(cr.get(), text.data());
        glyphs_[character] = {static_cast<float>(x),
                              static_cast<float>(y),
                              static_cast<float>(extents.x_bearing),
                              static_cast<float>(extents.y_bearing),
                              static_cast<float>(extents.width),
                              static_cast<float>(extents.height),
                              static_cast<float>(extents.x_advance)};
    }
    cairo_surface_flush(surface_.get());
    capHeight_ = glyphs_['H'].height;
}

const GlyphInfo* LabelAtlas::find(char character) const {
    const auto glyph = glyphs_.find(character);
    return glyph != glyphs_.end() ? &glyph->second : nullptr;
}

const unsigned char* LabelAtlas::pixels() const {
    return surface_ ? cairo_image_surface_get_data(surface_.get()) : nullptr;
}

int LabelAtlas::stride() const {
    return surface_ ? cairo_image_surface_get_stride(surface_.get()) : 0;
}

float LabelAtlas::coverage(int x, int y) const {
    if (!surface_ || x < 0 || y < 0 || x >= size || y >= size) return 0.0F;
    // White and premultiplied: every byte of a pixel is its alpha.
    return static_cast<float>(pixels()[y * stride() + 4 * x]) / 255.0F;
}

const LabelAtlas& labelAtlas() {
    static const LabelAtlas atlas;
    return atlas;
}

} // namespace quol

#include "sources/LiveText.h"

namespace quol {

SurfacePtr drawLiveText(int width, int height, const LiveText& text) {
    if (width < 1 || height < 1) return nullptr;
    SurfacePtr surface = makeSurface(width, height);
    if (!surface) return nullptr;
    const CairoPtr cr(cairo_create(surface.get()));
    cairo_set_operator(cr.get(), CAIRO_OPERATOR_CLEAR);
    cairo_paint(cr.get());
    cairo_set_operator(cr.get(), CAIRO_OPERATOR_OVER);
    if (text.onBlack) {
        cairo_set_source_rgb(cr.get(), 0.0, 0.0, 0.0);
        cairo_paint(cr.get());
    }
    cairo_select_font_face(cr.get(), "Arial", CAIRO_FONT_SLANT_NORMAL,
                           text.bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cr.get(), text.size);
    cairo_set_source_rgb(cr.get(), 1.0, 1.0, 1.0);
    cairo_text_extents_t extents{};
    cairo_text_extents(cr.get(), text.text, &extents);
    cairo_move_to(cr.get(), (width - extents.width) * 0.5 - extents.x_bearing,
                  (height - extents.height) * 0.5 - extents.y_bearing);
    cairo_show_text(cr.get(), text.text);
    return surface;
}

} // namespace quol

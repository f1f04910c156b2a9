#include "outputs/PreviewText.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "core/CairoHandles.h"
#include "core/Utf8.h"

namespace quol {

namespace {

constexpr int widestPlate = 4096; // pixels: every driver has textures of that size

struct FontOptionsDeleter {
    void operator()(cairo_font_options_t* options) const noexcept {
        cairo_font_options_destroy(options);
    }
};

// Makes letters of the family's bold face reach `height` pixels from top to foot, and returns how
// far the tops are above the base line.
double selectFont(cairo_t* cr, const char* family, int height) {
    const std::unique_ptr<cairo_font_options_t, FontOptionsDeleter> options(
        cairo_font_options_create());
    cairo_font_options_set_antialias(options.get(), CAIRO_ANTIALIAS_GRAY);
    cairo_font_options_set_hint_metrics(options.get(), CAIRO_HINT_METRICS_OFF);
    cairo_set_font_options(cr, options.get());
    cairo_select_font_face(cr, family, CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_BOLD);
    constexpr double probe = 100.0;
    cairo_set_font_size(cr, probe);
    cairo_font_extents_t extents{};
    cairo_font_extents(cr, &extents);
    const double reach = extents.ascent + extents.descent;
    const double size = reach > 0.0 ? probe * height / reach : height;
    cairo_set_font_size(cr, size);
    return extents.ascent * size / probe;
}

int widthOf(const std::string& text, const char* family, int height) {
    const SurfacePtr none = makeSurface(1, 1);
    if (!none) return 0;
    const CairoPtr cr(cairo_create(none.get()));
    selectFont(cr.get(), family, height);
    cairo_text_extents_t extents{};
    cairo_text_extents(cr.get(), text.c_str(), &extents);
    return static_cast<int>(
        std::clamp(std::ceil(extents.x_advance), 0.0, static_cast<double>(widestPlate)));
}

// The letters are told from the ground by their colour.
void setOpacity(std::uint8_t* pixel, const PlateLook& look) {
    constexpr int tolerance = 9;
    const bool isGround = std::abs(pixel[0] - look.color.red) <= tolerance &&
                          std::abs(pixel[1] - look.color.green) <= tolerance &&
                          std::abs(pixel[2] - look.color.blue) <= tolerance;
    pixel[3] = isGround ? static_cast<std::uint8_t>(look.opacity * 255) : 255;
}

void readPixels(cairo_surface_t* surface, const PlateLook& look, TextPlate& plate) {
    cairo_surface_flush(surface);
    const unsigned char* row = cairo_image_surface_get_data(surface);
    const auto width = static_cast<std::size_t>(plate.width);
    plate.rgba.resize(width * static_cast<std::size_t>(plate.height) * 4);
    std::uint8_t* to = plate.rgba.data();
    for (int y = 0; y < plate.height; ++y, row += cairo_image_surface_get_stride(surface)) {
        const auto* pixels = reinterpret_cast<const std::uint32_t*>(row);
        for (std::size_t x = 0; x < width; ++x, to += 4) {
            to[0] = static_cast<std::uint8_t>(pixels[x] >> 16);
            to[1] = static_cast<std::uint8_t>(pixels[x] >> 8);
            to[2] = static_cast<std::uint8_t>(pixels[x]);
            setOpacity(to, look);
        }
    }
}

} // namespace

TextPlate drawTextPlate(const std::string& text, const PlateLook& look, int fontHeight,
                        const char* family) {
    const std::string letters = toUtf8(text);
    const PlateMargins margins = marginsOf(fontHeight);
    TextPlate plate;
    plate.width = std::min(widthOf(letters, family, fontHeight) + margins.width, widestPlate);
    plate.height = fontHeight + margins.height;
    const SurfacePtr surface = makeSurface(plate.width, plate.height);
    if (!surface) return {};
    {
        const CairoPtr cr(cairo_create(surface.get()));
        const Tint ground = tintOf(look.color);
        cairo_set_source_rgb(cr.get(), ground.red, ground.green, ground.blue);
        cairo_paint(cr.get());
        const double ascent = selectFont(cr.get(), family, fontHeight);
        cairo_set_source_rgb(cr.get(), 1.0, 1.0, 1.0);
        cairo_move_to(cr.get(), margins.left, margins.top + ascent);
        cairo_show_text(cr.get(), letters.c_str());
    }
    readPixels(surface.get(), look, plate);
    return plate;
}

} // namespace quol

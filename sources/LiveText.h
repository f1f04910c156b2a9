// A line of white text for the pictures that a live input draws itself.
#pragma once

#include <cstdint>

#include "core/CairoHandles.h"

namespace quol {

struct LiveText {
    const char* text;
    double size;  // of the font, pixels
    bool bold;    // else of normal weight
    bool onBlack; // on a black ground, else on a clear one
};

// A picture of the text in "Arial", or what the system has in its place, centred on its ink. Null
// for a size that there can be no picture of.
SurfacePtr drawLiveText(int width, int height, const LiveText& text);

// Calls `use(x, y, pixel)` for every pixel of the picture, packed as ARGB32.
template <typename Use>
void forEachPixel(cairo_surface_t* surface, Use use) {
    cairo_surface_flush(surface);
    const unsigned char* row = cairo_image_surface_get_data(surface);
    const int width = cairo_image_surface_get_width(surface);
    const int height = cairo_image_surface_get_height(surface);
    for (int y = 0; y < height; ++y, row += cairo_image_surface_get_stride(surface)) {
        const auto* pixels = reinterpret_cast<const std::uint32_t*>(row);
        for (int x = 0; x < width; ++x)
            use(x, y, pixels[x]);
    }
}

} // namespace quol

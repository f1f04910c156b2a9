// What an item draws, pixel for pixel.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "core/CairoHandles.h"
#include "graphics/ItemPicture.h"

namespace test {

inline constexpr int pageWidth = 480;
inline constexpr int pageHeight = 270;
inline constexpr quol::PixelRect pageCanvas{0, 0, pageWidth, pageHeight};
inline constexpr auto pageTime = std::chrono::steady_clock::time_point(std::chrono::seconds(1000));

// A picture to draw on.
struct Page {
    quol::SurfacePtr surface = quol::makeSurface(pageWidth, pageHeight);
    quol::CairoPtr cr{cairo_create(surface.get())};

    const std::uint8_t* row(int y) const {
        cairo_surface_flush(surface.get());
        return cairo_image_surface_get_data(surface.get()) +
               static_cast<std::ptrdiff_t>(y) * cairo_image_surface_get_stride(surface.get());
    }
    // 0xAARRGGBB, premultiplied.
    std::uint32_t at(int x, int y) const {
        std::uint32_t pixel = 0;
        std::memcpy(&pixel, row(y) + x * 4, 4);
        return pixel;
    }
    int alphaAt(int x, int y) const { return static_cast<int>(at(x, y) >> 24); }
    int channelAt(int x, int y, int shift) const {
        return static_cast<int>(at(x, y) >> shift & 255U);
    }
};

inline std::string pixelText(std::uint32_t pixel) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%08X", pixel);
    return digits;
}

// "" for two pictures that are the same in every pixel.
inline std::string difference(const Page& drawn, const Page& wanted) {
    for (int y = 0; y < pageHeight; ++y) {
        if (std::memcmp(drawn.row(y), wanted.row(y), pageWidth * 4) == 0) continue;
        for (int x = 0; x < pageWidth; ++x) {
            if (drawn.at(x, y) != wanted.at(x, y))
                return std::to_string(x) + "," + std::to_string(y) + ": " +
                       pixelText(drawn.at(x, y)) + " for " + pixelText(wanted.at(x, y));
        }
    }
    return "";
}

// In any channel of any pixel.
inline int largestDifference(const Page& a, const Page& b) {
    int most = 0;
    for (int y = 0; y < pageHeight; ++y) {
        const std::uint8_t* const one = a.row(y);
        const std::uint8_t* const other = b.row(y);
        for (int i = 0; i < pageWidth * 4; ++i)
            most = std::max(most, std::abs(one[i] - other[i]));
    }
    return most;
}

inline bool isBlank(const Page& page) {
    return difference(page, Page()).empty();
}

template <typename Item>
Item& placed(Item& item, float x, float y, int w, int h) {
    item.x = x;
    item.y = y;
    item.w = w;
    item.h = h;
    return item;
}

// What an item shows at a moment.
inline void show(const Page& page, LCGItem& item,
                 std::chrono::steady_clock::time_point now = pageTime) {
    quol::TagClock tags;
    quol::ItemTeller teller(page.cr.get(), pageCanvas, tags,
                            {std::chrono::system_clock::now(), now});
    const quol::ItemPicture picture = teller.tell(item);
    cairo_new_path(page.cr.get());
    if (picture.visible) quol::drawItem(page.cr.get(), picture, pageCanvas);
}

// Texts by cairo alone.
inline void setFont(cairo_t* cr, const char* font, double size) {
    cairo_select_font_face(cr, font, CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cr, size);
}

inline double advance(cairo_t* cr, const std::string& piece) {
    cairo_text_extents_t extents;
    cairo_text_extents(cr, piece.c_str(), &extents);
    return extents.x_advance;
}

inline cairo_font_extents_t fontExtents(cairo_t* cr) {
    cairo_font_extents_t extents;
    cairo_font_extents(cr, &extents);
    return extents;
}

using Letters = std::vector<std::string>;

inline double widthOf(cairo_t* cr, const Letters& letters, double spacing) {
    double sum = 0.0;
    for (const std::string& letter : letters)
        sum += advance(cr, letter) + spacing;
    return sum;
}

inline void fillLetters(cairo_t* cr, const Letters& letters, double spacing, double x,
                        double baseline) {
    for (const std::string& letter : letters) {
        cairo_move_to(cr, x, baseline);
        cairo_text_path(cr, letter.c_str());
        x += advance(cr, letter) + spacing;
    }
    cairo_fill(cr);
}

} // namespace test

// The lines of a text item.
#pragma once

#include <cairo.h>

#include <string>
#include <vector>

#include "graphics/CGPanel.h"
#include "quolsdk/LCGProps.h"

namespace quol {

// A text ready to draw: everything it depends on, as plain values.
struct TextInk {
    Box box; // of the item, padding and all
    std::vector<std::string> lines;
    std::string font;
    double size = 0.0;
    double spacing = 0.0;
    double padding = 0.0;
    LCGColor color;
    double opacity = 1.0; // of text and item, without that of the colour
    std::string hAlign;
    std::string vAlign;

    bool operator==(const TextInk&) const = default;
};

// With the font made smaller where the item asks for it. `resolved` is the text without tags.
TextInk textInk(cairo_t* cr, const Box& box, const LCGTextProps& props, const std::string& resolved,
                double itemAlpha);

void drawInk(cairo_t* cr, const TextInk& ink);
PixelRect inkBounds(cairo_t* cr, const TextInk& ink, const PixelRect& bounds);

} // namespace quol

// Lines of text as cairo draws them, letter by letter.
#pragma once

#include <cairo.h>

#include <string>
#include <vector>

#include "core/Utf8.h"

namespace quol {

enum class EmptyLines { keep, drop };

// Cut at line feeds; one at the end begins no line.
std::vector<std::string> splitLines(const std::string& text, EmptyLines empty);

// Width of a line in the font of `cr`: advances with `spacing` behind each letter. What is no UTF-8
// has none.
double measureLine(cairo_t* cr, const std::string& line, double spacing);

// Adds a line to the path of `cr`, from (x, baseline) on.
void addLine(cairo_t* cr, const std::string& line, double spacing, double x, double baseline);

// Advance of a text drawn in one go; 0 for what is no UTF-8.
double advanceOf(cairo_t* cr, const std::string& text);

// Larger fonts are drawn at this size. Cairo cannot make one of 65536 pixels, and when it fails,
// none of that family any more, at any size, for the rest of the process.
constexpr int largestFont = 32767;

void selectFont(cairo_t* cr, const std::string& family, double size);

} // namespace quol

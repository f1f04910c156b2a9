#include "graphics/CGText.h"

#include <algorithm>
#include <cstddef>

namespace quol {

namespace {

double advanceOfPiece(cairo_t* cr, const std::string& piece) {
    if (!isValidUtf8(piece)) return 0.0;
    cairo_text_extents_t extents;
    cairo_text_extents(cr, piece.c_str(), &extents);
    return extents.x_advance;
}

} // namespace

std::vector<std::string> splitLines(const std::string& text, EmptyLines empty) {
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        if (end > begin || empty == EmptyLines::keep)
            lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

double measureLine(cairo_t* cr, const std::string& line, double spacing) {
    double width = 0.0;
    for (const std::string& piece : splitUtf8(line))
        width += advanceOfPiece(cr, piece) + spacing;
    return width;
}

void addLine(cairo_t* cr, const std::string& line, double spacing, double x, double baseline) {
    double pen = x;
    for (const std::string& piece : splitUtf8(line)) {
        if (isValidUtf8(piece)) {
            cairo_move_to(cr, pen, baseline);
            cairo_text_path(cr, piece.c_str());
        }
        pen += spacing + advanceOfPiece(cr, piece);
    }
}

double advanceOf(cairo_t* cr, const std::string& text) {
    return advanceOfPiece(cr, text);
}

void selectFont(cairo_t* cr, const std::string& family, double size) {
    cairo_select_font_face(cr, isValidUtf8(family) ? family.c_str() : "", CAIRO_FONT_SLANT_NORMAL,
                           CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cr, std::clamp<double>(size, -largestFont, largestFont));
}

} // namespace quol

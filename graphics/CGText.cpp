#include "graphics/CGText.h"

#include <algorithm>
#include <cstddef>

namespace quol {

namespace {

std::size_t sequenceLength(unsigned char lead) {
    if (lead >= 240) return 4;
    if (lead >= 224) return 3;
    if (lead >= 192) return 2;
    return 1;
}

double advanceOfPiece(cairo_t* cr, const std::string& piece) {
    if (!isValidUtf8(piece)) return 0.0;
    cairo_text_extents_t extents;
    cairo_text_extents(cr, piece.c_str(), &extents);
    return extents.x_advance;
}

// The code point at `at`, of `length` bytes; -1 where the bytes are none.
long codePoint(std::string_view text, std::size_t at, std::size_t length) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[at + i]); };
    if (length == 1) return byte(0) < 128 ? byte(0) : -1;
    if (byte(0) >= 0xF8) return -1; // would begin a longer one, which there is none of
    long value = byte(0) & (0xFF >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return -1;
        value = value << 6 | (byte(i) & 0x3F);
    }
    return value;
}

} // namespace

std::vector<std::string> splitUtf8(const std::string& text) {
    std::vector<std::string> pieces;
    for (std::size_t at = 0; at < text.size(); at += pieces.back().size())
        pieces.push_back(text.substr(at, sequenceLength(static_cast<unsigned char>(text[at]))));
    return pieces;
}

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

bool isValidUtf8(std::string_view text) {
    constexpr long smallest[] = {0, 0, 0x80, 0x800,
                                 0x10000}; // by length: no longer form than needed
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = sequenceLength(static_cast<unsigned char>(text[at]));
        if (at + length > text.size()) return false;
        const long value = codePoint(text, at, length);
        const bool isSurrogate = value >= 0xD800 && value <= 0xDFFF;
        if (value < smallest[length] || value > 0x10FFFF || isSurrogate || value == 0) return false;
        at += length;
    }
    return true;
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

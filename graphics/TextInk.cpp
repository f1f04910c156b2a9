#include "graphics/TextInk.h"

#include <algorithm>

#include "graphics/CGText.h"

namespace quol {

namespace {

constexpr double lineGap = 5.0; // pixels between lines, beyond the font's own
constexpr int smallestFont = 5; // what a text is shrunk to at most

double available(double size, double padding) {
    return std::max(1.0, size - 2.0 * padding);
}

double widestLine(cairo_t* cr, const std::vector<std::string>& lines, double spacing) {
    double widest = 0.0;
    for (const std::string& line : lines)
        widest = std::max(widest, measureLine(cr, line, spacing));
    return widest;
}

// The largest size, counted down from the font's own, that might fit. A letter's width grows with
// the size, but for a rounding to whole pixels, so what is far too wide need not be measured size
// by size.
int firstCandidate(cairo_t* cr, const LCGTextProps& props, const std::vector<std::string>& lines,
                   double width) {
    const int largest = std::min(props.fontSize, largestFont);
    int candidate = largest;
    cairo_set_font_size(cr, largest);
    for (const std::string& line : lines) {
        const auto letters = static_cast<double>(splitUtf8(line).size());
        const double spacing = letters * props.letterSpacing;
        if (spacing > width) return smallestFont;
        const double letterWidth = measureLine(cr, line, props.letterSpacing) - spacing;
        const double slack = 2.0 * letters;   // what rounding may add up to
        if (!(letterWidth > slack)) continue; // nor a spacing that is no number
        const double size = (width - spacing + slack) / (letterWidth - slack) * largest;
        candidate = std::min(
            candidate, static_cast<int>(std::clamp<double>(size + 1.0, smallestFont, largest)));
    }
    return candidate;
}

int shrunkSize(cairo_t* cr, const LCGTextProps& props, const std::vector<std::string>& lines,
               double width) {
    if (lines.empty()) return props.fontSize;
    int size = firstCandidate(cr, props, lines, width);
    while (size > smallestFont) {
        cairo_set_font_size(cr, size);
        if (widestLine(cr, lines, props.letterSpacing) <= width) break;
        --size;
    }
    return size;
}

// Calls `use` with each line, where its pen starts and its baseline.
template <typename Use>
void eachLine(cairo_t* cr, const TextInk& ink, Use use) {
    selectFont(cr, ink.font, ink.size);
    cairo_font_extents_t extents;
    cairo_font_extents(cr, &extents);
    const double width = available(ink.box.w, ink.padding);
    const double height = available(ink.box.h, ink.padding);
    const double step = extents.height + lineGap;
    const double block = static_cast<double>(ink.lines.size()) * step - lineGap;
    double baseline = ink.box.y + ink.padding + extents.ascent;
    if (ink.vAlign == "Center") baseline += (height - block) * 0.5;
    if (ink.vAlign == "Bottom") baseline += height - block;
    for (const std::string& line : ink.lines) {
        double pen = ink.box.x + ink.padding;
        if (ink.hAlign == "Center") pen += (width - measureLine(cr, line, ink.spacing)) * 0.5;
        if (ink.hAlign == "Right") pen += width - measureLine(cr, line, ink.spacing);
        use(line, pen, baseline);
        baseline += step;
    }
}

} // namespace

TextInk textInk(cairo_t* cr, const Box& box, const LCGTextProps& props, const std::string& resolved,
                double itemAlpha) {
    TextInk ink;
    ink.box = box;
    ink.lines = splitLines(resolved, EmptyLines::keep);
    ink.font = props.font;
    ink.size = props.fontSize;
    ink.spacing = props.letterSpacing;
    ink.padding = props.padding;
    ink.color = props.color;
    ink.opacity = props.textAlpha / 255.0 * itemAlpha;
    ink.hAlign = props.hAlign;
    ink.vAlign = props.vAlign;
    if (props.autoShrink && props.fontSize > smallestFont) {
        selectFont(cr, ink.font, ink.size);
        ink.size = shrunkSize(cr, props, ink.lines, available(box.w, props.padding));
    }
    return ink;
}

void drawInk(cairo_t* cr, const TextInk& ink) {
    cairo_new_path(cr);
    eachLine(cr, ink, [&](const std::string& line, double pen, double baseline) {
        addLine(cr, line, ink.spacing, pen, baseline);
        cairo_set_source_rgba(cr, ink.color.red(), ink.color.green(), ink.color.blue(),
                              ink.color.alpha() * ink.opacity);
        cairo_fill(cr);
    });
}

PixelRect inkBounds(cairo_t* cr, const TextInk& ink, const PixelRect& bounds) {
    PixelRect all;
    cairo_new_path(cr);
    eachLine(cr, ink, [&](const std::string& line, double pen, double baseline) {
        addLine(cr, line, ink.spacing, pen, baseline);
        double left = 0.0;
        double top = 0.0;
        double right = 0.0;
        double bottom = 0.0;
        cairo_fill_extents(cr, &left, &top, &right, &bottom);
        cairo_new_path(cr);
        if (left < right || top < bottom)
            all = around(all, touchedPixels(left, top, right, bottom, bounds));
    });
    return all;
}

} // namespace quol

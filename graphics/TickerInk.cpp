#include "graphics/TickerInk.h"

#include "core/CairoHandles.h"
#include "graphics/CGText.h"

namespace quol {

void TickerState::advance(std::chrono::steady_clock::time_point now, float duration,
                          int lineCount) {
    const float elapsed = std::chrono::duration<float>(now - lastSwitch).count();
    if (!inTransition && elapsed <= duration) return;
    if (lineCount < 2) {
        inTransition = false; // the text has lost its other lines during the slide
        return;
    }
    if (!inTransition) transitionProgress = 0.0F;
    inTransition = true;
    const float progress = (elapsed - duration) * 2.0F;
    if (progress < 1.0F) {
        transitionProgress = progress;
        return;
    }
    transitionProgress = 1.0F;
    inTransition = false;
    lastSwitch = now;
    currentLine = (currentLine + 1) % lineCount;
}

std::vector<std::string> tickerLines(const std::string& resolved) {
    std::vector<std::string> lines = splitLines(resolved, EmptyLines::drop);
    if (lines.empty()) lines.emplace_back();
    return lines;
}

TickerInk tickerInk(const Box& box, const LCGTickerProps& props,
                    const std::vector<std::string>& lines, const TickerState& state,
                    double itemAlpha) {
    TickerInk ink;
    ink.box = box;
    ink.font = props.font;
    ink.size = props.fontSize;
    ink.spacing = props.letterSpacing;
    ink.padding = props.padding;
    ink.color = props.color;
    ink.opacity = props.textAlpha / 255.0 * itemAlpha;
    ink.hAlign = props.hAlign;
    // A text with fewer lines than before may have left the number behind.
    const std::size_t current = static_cast<std::size_t>(state.currentLine) % lines.size();
    if (!state.inTransition) {
        ink.lines = {{lines[current], 0.0}};
        return ink;
    }
    const std::string& next = lines[(current + 1) % lines.size()];
    const double slid = box.h * static_cast<double>(state.transitionProgress);
    if (props.textMove == "Up") ink.lines = {{lines[current], -slid}, {next, box.h - slid}};
    if (props.textMove == "Down") ink.lines = {{lines[current], slid}, {next, slid - box.h}};
    return ink;
}

void drawInk(cairo_t* cr, const TickerInk& ink) {
    const SavedState saved(cr);
    const Box& box = ink.box;
    clipToInside(cr, box, ink.padding);
    selectFont(cr, ink.font, ink.size);
    cairo_font_extents_t extents;
    cairo_font_extents(cr, &extents);
    for (const TickerInk::Line& line : ink.lines) {
        const double advance = advanceOf(cr, line.text);
        double pen = box.x + ink.padding;
        if (ink.hAlign == "Center") pen = (box.w - advance) * 0.5 + box.x;
        if (ink.hAlign == "Right") pen = box.w + box.x - advance - ink.padding;
        const double baseline =
            (extents.ascent + box.h - extents.descent) * 0.5 + box.y + line.offset;
        addLine(cr, line.text, ink.spacing, pen, baseline);
        cairo_set_source_rgba(cr, ink.color.red(), ink.color.green(), ink.color.blue(),
                              ink.color.alpha() * ink.opacity);
        cairo_fill(cr);
    }
}

// Everything that its clip lets through.
PixelRect inkBounds(const TickerInk& ink, const PixelRect& bounds) {
    return insideBounds(ink.box, ink.padding, bounds);
}

} // namespace quol

#include "graphics/CGPanel.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "core/CairoHandles.h"

namespace quol {

namespace {

void setColor(cairo_t* cr, const LCGColor& color, double alpha) {
    cairo_set_source_rgba(cr, color.red(), color.green(), color.blue(), alpha);
}

void setGradient(cairo_t* cr, const Box& box, const PanelLook& look, double alpha) {
    const PatternPtr gradient(cairo_pattern_create_linear(box.x, box.y, box.x, box.y + box.h));
    const auto addStop = [&](double offset, const LCGColor& color) {
        cairo_pattern_add_color_stop_rgba(gradient.get(), offset, color.red(), color.green(),
                                          color.blue(), alpha);
    };
    addStop(0.0, look.gradientStart);
    addStop(1.0, look.gradientEnd);
    cairo_set_source(cr, gradient.get());
}

} // namespace

void addRoundedRectangle(cairo_t* cr, const Box& box, double percent) {
    if (percent <= 0.0) {
        cairo_rectangle(cr, box.x, box.y, box.w, box.h);
        return;
    }
    constexpr double pi = std::numbers::pi;
    const double r = std::min(box.w, box.h) * 0.5 * (percent / 100.0);
    cairo_new_sub_path(cr);
    cairo_arc(cr, box.x + box.w - r, box.y + r, r, -pi / 2, 0);
    cairo_arc(cr, box.x + box.w - r, box.y + box.h - r, r, 0, pi / 2);
    cairo_arc(cr, box.x + r, box.y + box.h - r, r, pi / 2, pi);
    cairo_arc(cr, box.x + r, box.y + r, r, pi, 3 * pi / 2);
    cairo_close_path(cr);
}

// Of a line of eight million pixels cairo 1.18 draws nothing, nor anything behind it.
constexpr int widestBorder = 1'000'000;

void drawPanel(cairo_t* cr, const Box& box, const PanelLook& look, double itemAlpha) {
    if (!look.isDrawn()) return;
    if (look.shadowAlpha > 0) {
        setColor(cr, look.shadowColor, look.shadowAlpha / 255.0 * itemAlpha);
        addRoundedRectangle(cr, {box.x + look.shadowX, box.y + look.shadowY, box.w, box.h},
                            look.radius);
        cairo_fill(cr);
    }
    const double fillAlpha = look.alpha / 255.0 * itemAlpha;
    if (look.type == "Color") {
        setColor(cr, look.color, fillAlpha);
    } else {
        setGradient(cr, box, look, fillAlpha);
    }
    addRoundedRectangle(cr, box, look.radius);
    cairo_fill(cr);
    if (look.borderSize < 1) return;
    addRoundedRectangle(cr, box, look.radius);
    setColor(cr, look.borderColor, look.borderAlpha / 255.0 * itemAlpha);
    cairo_set_line_width(cr, std::min(look.borderSize, widestBorder));
    cairo_stroke(cr);
}

PixelRect panelBounds(const Box& box, const PanelLook& look, const PixelRect& bounds) {
    if (!look.isDrawn()) return {};
    // A radius beyond half the side bulges out, and sizes below 0 turn the box over.
    const double bulge = std::abs(std::min(box.w, box.h)) * 0.5 * std::max(0, look.radius) / 100.0;
    const double out = std::max(0, look.borderSize) * 0.5 +
                       (look.radius > 100 ? 2.0 * bulge : 0.0) +
                       (box.w < 0.0 || box.h < 0.0 ? 2.0 * bulge : 0.0);
    // The corners of a stroke reach further than half its width.
    const double reach = out * 1.5;
    const PixelRect panel = touchedPixels(
        std::min(box.x, box.x + box.w) - reach, std::min(box.y, box.y + box.h) - reach,
        std::max(box.x, box.x + box.w) + reach, std::max(box.y, box.y + box.h) + reach, bounds);
    if (look.shadowAlpha <= 0) return panel;
    const double x = box.x + look.shadowX;
    const double y = box.y + look.shadowY;
    return around(
        panel,
        touchedPixels(std::min(x, x + box.w) - reach, std::min(y, y + box.h) - reach,
                      std::max(x, x + box.w) + reach, std::max(y, y + box.h) + reach, bounds));
}

void clipToInside(cairo_t* cr, const Box& box, double padding) {
    cairo_new_path(cr);
    cairo_rectangle(cr, box.x + padding, box.y + padding, box.w - 2.0 * padding,
                    box.h - 2.0 * padding);
    cairo_clip(cr);
}

PixelRect insideBounds(const Box& box, double padding, const PixelRect& bounds) {
    return touchedPixels(box.x + padding, box.y + padding, box.x + box.w - padding,
                         box.y + box.h - padding, bounds);
}

} // namespace quol

// Panels: the boxes behind texts, and rectangles.
#pragma once

#include <cairo.h>

#include <string>

#include "graphics/PixelRect.h"
#include "quolsdk/LCGColor.h"

namespace quol {

// A rectangle as items give it; sizes of 0 and below are none.
struct Box {
    double x = 0.0;
    double y = 0.0;
    double w = 0.0;
    double h = 0.0;

    bool operator==(const Box&) const = default;
};

// What all props records that have a panel say of it.
struct PanelLook {
    std::string type;
    LCGColor color;
    LCGColor gradientStart;
    LCGColor gradientEnd;
    int alpha = 255;
    int radius = 0;
    double shadowX = 0.0;
    double shadowY = 0.0;
    int shadowAlpha = 0;
    LCGColor shadowColor;
    LCGColor borderColor;
    int borderSize = 0;
    int borderAlpha = 255;

    bool operator==(const PanelLook&) const = default;
    bool isDrawn() const { return type == "Color" || type == "Gradient"; }
};

template <typename Props>
PanelLook panelOf(const Props& props) {
    return {props.bgType,
            props.bgColor,
            props.bgGradientStartColor,
            props.bgGradientEndColor,
            props.bgAlpha,
            props.bgRadius,
            props.bgShadowOffsetX,
            props.bgShadowOffsetY,
            props.bgShadowAlpha,
            props.bgShadowColor,
            props.borderColor,
            props.borderSize,
            props.borderAlpha};
}

// A closed path. `percent` of half the smaller side is the radius of the corners: 100 gives half
// circles; 0 and below none.
void addRoundedRectangle(cairo_t* cr, const Box& box, double percent);

// Shadow (without blur), fill and border, in this order; nothing for a type that draws nothing.
// Opacities are over 255, times `itemAlpha`; the alpha of the colours does not count.
void drawPanel(cairo_t* cr, const Box& box, const PanelLook& look, double itemAlpha);

// The pixels that drawPanel touches, within `bounds`.
PixelRect panelBounds(const Box& box, const PanelLook& look, const PixelRect& bounds);

// Nothing is drawn from now on outside of the box less `padding` on each side.
void clipToInside(cairo_t* cr, const Box& box, double padding);

// The pixels that are left by that, within `bounds`.
PixelRect insideBounds(const Box& box, double padding, const PixelRect& bounds);

} // namespace quol

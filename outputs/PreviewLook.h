// What the preview looks like, as plain numbers: colours, sizes, places.
#pragma once

#include <optional>
#include <string>

#include "core/Color.h"

namespace quol {

struct Tint {
    float red = 0.0F;
    float green = 0.0F;
    float blue = 0.0F;
    float alpha = 1.0F;

    bool operator==(const Tint&) const = default;
};

Tint tintOf(const Rgb& color);

// The ground that a text stands on.
struct PlateLook {
    Rgb color;
    double opacity = 1.0; // of the ground; the text itself is opaque

    bool operator==(const PlateLook&) const = default;
};

struct StatusLook {
    std::optional<Tint> border;
    PlateLook plate;
};

// `border` is the colour of a border that is wanted whatever the status.
StatusLook lookOf(const std::string& status, const std::optional<Rgb>& border);

inline constexpr PlateLook timecodePlate{{0, 0, 0}, 0.47};

// Half sizes of the picture on a surface that reaches from -1 to 1 in both directions.
struct PictureExtent {
    float halfWidth = 1.0F;
    float halfHeight = 1.0F;
};
PictureExtent extentOf(int surfaceWidth, int surfaceHeight, int pictureWidth, int pictureHeight,
                       bool keepsShape);

// Pixels on a surface of that height.
double borderWidth(int surfaceHeight);
int labelFontHeight(int surfaceHeight);
double labelDistance(int surfaceHeight); // from the label's lower edge to that of the surface
int timecodeFontHeight(int surfaceHeight);

// Room around a text, in pixels.
struct PlateMargins {
    int left = 0;
    int top = 0;
    int width = 0;  // all that the plate is wider than the text
    int height = 0; // and higher
};
PlateMargins marginsOf(int textHeight);

// Rectangle in pixels, y down.
struct PixelBox {
    float left = 0.0F;
    float top = 0.0F;
    float right = 0.0F;
    float bottom = 0.0F;
};

// Where the meter stands: a panel at the right edge with two columns of segments.
struct MeterPlace {
    PixelBox panel;
    float columnLeft[2] = {0.0F, 0.0F}; // left edge of each channel's column
    float columnWidth = 0.0F;
    float bottom = 0.0F;        // lower edge of segment 0
    float segmentPitch = 0.0F;  // from one segment to the next
    float segmentHeight = 0.0F; // less than the pitch, where there is room for a gap
};
MeterPlace placeMeter(int surfaceWidth, int surfaceHeight);

inline constexpr Tint meterPanel{0.06F, 0.06F, 0.06F, 0.7F};
Tint segmentTint(int segment, bool lit);

} // namespace quol

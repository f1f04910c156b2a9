// How a layer is to look in one picture: plain values, read once from the layer.
#pragma once

#include "core/Color.h"

struct AVFrame;
struct LLayerItem;

namespace quol {

struct LayerLook {
    int alpha = 255; // as the host wrote it
    int x = 0;
    int y = 0;
    float width = -1.0F; // 0 and below: the picture's own
    float height = -1.0F;
    float cropTop = 0.0F;
    float cropBottom = 0.0F;
    float cropLeft = 0.0F;
    float cropRight = 0.0F;
    int borderThickness = 0;
    Rgb borderColor;
    int borderAlpha = 255; // as the host wrote it
    int borderRadius = 0;  // percent
    bool isKeyed = false;  // a downstream key
};

// Under the mixer's layer lock.
LayerLook lookOf(const LLayerItem& item);

// Cut towards zero, and to what picture coordinates can be; 0 for a NaN.
int wholePixels(float value);

struct PictureSize {
    int width = 0;
    int height = 0;
};

// The size a picture is shown in.
PictureSize targetSize(const LayerLook& look, const AVFrame& picture);

// Radius of the corners in pixels: `percent` of the smaller side over `divisor` (100 in luma, 200
// in chroma samples), a whole number.
int cornerRadius(const PictureSize& target, int percent, int divisor);

} // namespace quol

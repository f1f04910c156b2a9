// Paints a layer on planar 4:2:0.
#pragma once

#include <cstdint>
#include <vector>

#include "compositing/LayerLook.h"
#include "compositing/LayerShape.h"
#include "core/Color.h"

struct AVFrame;

namespace quol {

enum class KeyKind { none, luma, alpha };

// A layer ready to paint: its picture has the target's size.
struct PaintedLayer {
    const AVFrame* picture = nullptr; // 4:2:0 8-bit; with alpha where the picture has some
    const AVFrame* key = nullptr;     // the same, of the same size
    KeyKind keyKind = KeyKind::none;  // which plane of the key counts
    bool opaque = false;              // samples are copied as they are, in the whole rectangle
    std::uint8_t alpha = 255;
    std::uint8_t borderAlpha = 255; // already times `alpha`
    YuvLevels border;
    PlaneShape luma;
    PlaneShape chroma;
};

// What the look of a layer says, for a target and a canvas of these sizes.
PaintedLayer paintedLayer(const LayerLook& look, const PictureSize& target,
                          const PictureSize& canvas);

// Rows of the canvas, from an even one to an even one or the last: what one thread paints.
using CanvasBand = SampleRange;

// Paints on a canvas of 4:2:0 8-bit, within `band`. With an alpha plane in it, coverage is kept
// there. Samples outside the canvas are passed over. `scratch` is memory that is kept between
// calls.
void paintLayer(AVFrame& canvas, const PaintedLayer& layer, const CanvasBand& band,
                std::vector<std::uint8_t>& scratch);

// Luma 0, chroma 128, and with an alpha plane nothing covered.
void clearCanvas(AVFrame& canvas, const CanvasBand& band);

} // namespace quol

// One plane of the two pictures of a transition, and the families of types that draw on it.
//
// Positions are computed on the canvas and divided for the planes of chroma, everything truncated.
// On a canvas of odd width these planes have one column more than half the width, truncated: it
// belongs to what lies at their right edge, and the same goes for rows.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quol {

template <typename Sample>
struct PlaneRows {
    Sample* data;
    std::ptrdiff_t stride;
    Sample* operator[](int row) const { return data + row * stride; }
};

struct TransitionPlane {
    PlaneRows<const std::uint8_t> a;
    PlaneRows<const std::uint8_t> b;
    PlaneRows<std::uint8_t> out;
    int columns; // that there are
    int rows;
    int canvasWidth;
    int canvasHeight;
    int divisor; // canvas to plane: 1 for luma, 2 for chroma
    std::uint8_t dipLevel;

    // What positions count in: `columns` and `rows`, less what an odd canvas has over half.
    int width() const { return canvasWidth / divisor; }
    int height() const { return canvasHeight / divisor; }
};

// That part of a length of the canvas, in samples of the plane.
inline int partOf(int length, float share, const TransitionPlane& plane) {
    return static_cast<int>(static_cast<float>(length) * share) / plane.divisor;
}

// Draws one plane at a position from 0 to 1.
using DrawPlane = void(const TransitionPlane& plane, float p);

DrawPlane drawFade, drawDip;
DrawPlane drawWipeLeftRight, drawWipeRightLeft, drawWipeTopBottom, drawWipeBottomTop;
DrawPlane drawWipeDiagonal, drawWipeBox, drawWipeCircle;
DrawPlane drawSlideLeftRight, drawSlideRightLeft, drawSlideTopBottom, drawSlideBottomTop;
DrawPlane drawSqueezeLeftRight, drawSqueezeRightLeft, drawSqueezeTopBottom, drawSqueezeBottomTop;

} // namespace quol

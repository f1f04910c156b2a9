// Slides: the second picture pushes the first one out. A shift of 0 shows the first alone, also on
// the column or row that chroma has over half of an odd canvas.
#include <cstring>

#include "compositing/TransitionPlane.h"

namespace quol {

namespace {

void copySamples(std::uint8_t* target, const std::uint8_t* source, int count) {
    if (count > 0) std::memcpy(target, source, static_cast<std::size_t>(count));
}

} // namespace

void drawSlideLeftRight(const TransitionPlane& plane, float p) {
    const int shift = partOf(plane.canvasWidth, p, plane);
    const int hidden = plane.width() - shift;
    for (int y = 0; y < plane.rows; ++y) {
        copySamples(plane.out[y], plane.b[y] + hidden, shift);
        copySamples(plane.out[y] + shift, plane.a[y], plane.columns - shift);
    }
}

void drawSlideRightLeft(const TransitionPlane& plane, float p) {
    const int shift = partOf(plane.canvasWidth, p, plane);
    const int edge = shift > 0 ? plane.width() - shift : plane.columns;
    for (int y = 0; y < plane.rows; ++y) {
        copySamples(plane.out[y], plane.a[y] + shift, edge);
        copySamples(plane.out[y] + edge, plane.b[y], plane.columns - edge);
    }
}

void drawSlideTopBottom(const TransitionPlane& plane, float p) {
    const int shift = partOf(plane.canvasHeight, p, plane);
    const int hidden = plane.height() - shift;
    for (int y = 0; y < plane.rows; ++y) {
        const bool isSecond = y < shift;
        copySamples(plane.out[y], isSecond ? plane.b[y + hidden] : plane.a[y - shift],
                    plane.columns);
    }
}

void drawSlideBottomTop(const TransitionPlane& plane, float p) {
    const int shift = partOf(plane.canvasHeight, p, plane);
    const int edge = shift > 0 ? plane.height() - shift : plane.rows;
    for (int y = 0; y < plane.rows; ++y) {
        const bool isSecond = y >= edge;
        copySamples(plane.out[y], isSecond ? plane.b[y - edge] : plane.a[y + shift], plane.columns);
    }
}

} // namespace quol

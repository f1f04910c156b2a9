#include "compositing/LayerShape.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace quol {

namespace {

// Largest whole number whose square is not above `radius`^2 - `distance`^2; -1 for none.
int halfChord(int radius, int distance) {
    const std::int64_t square =
        static_cast<std::int64_t>(radius) * radius - static_cast<std::int64_t>(distance) * distance;
    if (radius < 0 || square < 0) return -1;
    return static_cast<int>(std::sqrt(static_cast<double>(square)));
}

SampleRange clipped(int begin, int end, int canvasBegin, int canvasSize) {
    return {std::max(begin, begin - canvasBegin), std::min(end, begin - canvasBegin + canvasSize)};
}

} // namespace

PlaneShape lumaShape(const LayerLook& look, const PictureSize& target, const PictureSize& canvas) {
    PlaneShape shape;
    // A crop below 0 would show what lies beside the picture: there is nothing.
    shape.left = std::max(0, wholePixels(look.cropLeft));
    shape.top = std::max(0, wholePixels(look.cropTop));
    shape.right = target.width - std::max(0, wholePixels(look.cropRight));
    shape.bottom = target.height - std::max(0, wholePixels(look.cropBottom));
    shape.thickness = look.borderThickness;
    shape.radius = cornerRadius(target, look.borderRadius, 100);
    shape.x = look.x;
    shape.y = look.y;
    shape.canvasWidth = canvas.width;
    shape.canvasHeight = canvas.height;
    return shape;
}

PlaneShape chromaShape(const LayerLook& look, const PictureSize& target,
                       const PictureSize& canvas) {
    const PlaneShape luma = lumaShape(look, target, canvas);
    PlaneShape shape;
    shape.left = luma.left / 2;
    shape.top = luma.top / 2;
    shape.right = (target.width >> 1) - (target.width - luma.right) / 2;
    shape.bottom = (target.height >> 1) - (target.height - luma.bottom) / 2;
    shape.thickness = luma.thickness / 2;
    shape.radius = cornerRadius(target, look.borderRadius, 200);
    shape.x = luma.x / 2;
    shape.y = luma.y / 2;
    shape.canvasWidth = canvas.width / 2;
    shape.canvasHeight = canvas.height / 2;
    return shape;
}

PlaneShape copiedChroma(const PlaneShape& luma) {
    PlaneShape shape;
    shape.right = (luma.right + 1) / 2;
    shape.bottom = (luma.bottom + 1) / 2;
    shape.x = luma.x / 2;
    shape.y = luma.y / 2;
    shape.canvasWidth = (luma.canvasWidth + 1) / 2;
    shape.canvasHeight = (luma.canvasHeight + 1) / 2;
    return shape;
}

SampleRange visibleRows(const PlaneShape& shape) {
    return clipped(shape.top, shape.bottom, shape.y, shape.canvasHeight);
}

SampleRange visibleColumns(const PlaneShape& shape) {
    return clipped(shape.left, shape.right, shape.x, shape.canvasWidth);
}

RowSpans::RowSpans(const PlaneShape& shape, int row, const SampleRange& columns)
    : cursor_(columns.begin), columns_(columns) {
    const bool inTop = row < shape.top + shape.radius;
    const bool inBottom = row >= shape.bottom - shape.radius;
    if (shape.radius <= 0 || (!inTop && !inBottom)) {
        addEdges(shape, row, shape.right);
        return;
    }
    const int distance = row - (inTop ? shape.top + shape.radius : shape.bottom - shape.radius);
    const int leftEnd = std::min(shape.left + shape.radius, shape.right);
    addCorner(shape, shape.left + shape.radius, distance, leftEnd);
    addEdges(shape, row, std::max(shape.right - shape.radius, leftEnd));
    addCorner(shape, shape.right - shape.radius, distance, shape.right);
}

// Everything from the last decision up to `end` gets that coat.
void RowSpans::addUpTo(int end, Coat coat) {
    const int stop = std::min(end, columns_.end);
    if (stop <= cursor_) return;
    if (coat != Coat::none) {
        if (count_ > 0 && spans_[count_ - 1].coat == coat && spans_[count_ - 1].end == cursor_) {
            spans_[count_ - 1].end = stop;
        } else {
            spans_[count_++] = {cursor_, stop, coat};
        }
    }
    cursor_ = stop;
}

void RowSpans::addEdges(const PlaneShape& shape, int row, int end) {
    const int t = shape.thickness;
    if (row < shape.top + t || row >= shape.bottom - t) {
        addUpTo(end, Coat::border);
        return;
    }
    addUpTo(std::min(shape.left + t, end), Coat::border);
    addUpTo(std::min(shape.right - t, end), Coat::picture);
    addUpTo(end, Coat::border);
}

void RowSpans::addCorner(const PlaneShape& shape, int centre, int distance, int end) {
    const int outer = halfChord(shape.radius, distance);
    const int inner =
        shape.thickness < 1 ? outer : halfChord(shape.radius - shape.thickness, distance);
    if (outer >= 0) {
        addUpTo(std::min(centre - outer, end), Coat::none);
        if (inner >= 0) {
            addUpTo(std::min(centre - inner, end), Coat::border);
            addUpTo(std::min(centre + inner + 1, end), Coat::picture);
        }
        addUpTo(std::min(centre + outer + 1, end), Coat::border);
    }
    addUpTo(end, Coat::none);
}

} // namespace quol

// Which samples of a layer's plane show the picture, the border, or nothing.
#pragma once

#include <array>
#include <cstddef>

#include "compositing/LayerLook.h"

namespace quol {

// A layer in the samples of one plane. Rows and columns count in the scaled picture, uncropped.
struct PlaneShape {
    // The cropped rectangle: first row and column inside, and first behind it.
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
    int thickness = 0;
    int radius = 0;
    // Where (left, top) comes to lie on the canvas plane, and its size.
    int x = 0;
    int y = 0;
    int canvasWidth = 0;
    int canvasHeight = 0;

    // Whether the rectangle lies under every sample of the canvas.
    bool coversCanvas() const {
        return x <= 0 && y <= 0 && x + right - left >= canvasWidth &&
               y + bottom - top >= canvasHeight;
    }
    int canvasRow(int row) const { return y + row - top; }
    int canvasColumn(int column) const { return x + column - left; }
};

PlaneShape lumaShape(const LayerLook& look, const PictureSize& target, const PictureSize& canvas);

// For planes of half width and height: everything is halved and cut to whole samples.
PlaneShape chromaShape(const LayerLook& look, const PictureSize& target, const PictureSize& canvas);

// The same for a picture that is copied whole: an odd size counts its last, half sample.
PlaneShape copiedChroma(const PlaneShape& luma);

struct SampleRange {
    int begin = 0;
    int end = 0; // behind the last

    bool empty() const { return begin >= end; }
};

// Rows and columns of the rectangle that lie on the canvas.
SampleRange visibleRows(const PlaneShape& shape);
SampleRange visibleColumns(const PlaneShape& shape);
inline bool isVisible(const PlaneShape& shape) {
    return !visibleRows(shape).empty() && !visibleColumns(shape).empty();
}

enum class Coat { none, picture, border };

struct RowSpan {
    int begin = 0;
    int end = 0;
    Coat coat = Coat::none;
};

// One row as spans of picture and border from left to right; what no span covers shows nothing. In
// a corner, with d the distance from the corner's centre, a sample shows nothing where
// d > radius, the picture where d <= radius - thickness or there is no border, else the border.
// Outside the corners the border is what lies within `thickness` of an edge.
class RowSpans {
public:
    // Only columns of `columns`.
    RowSpans(const PlaneShape& shape, int row, const SampleRange& columns);

    const RowSpan* begin() const { return spans_.data(); }
    const RowSpan* end() const { return spans_.data() + count_; }

private:
    void addUpTo(int end, Coat coat);
    void addEdges(const PlaneShape& shape, int row, int end);
    void addCorner(const PlaneShape& shape, int centre, int distance, int end);

    std::array<RowSpan, 12> spans_{};
    std::size_t count_ = 0;
    int cursor_; // first column that no span has been decided for
    SampleRange columns_;
};

} // namespace quol

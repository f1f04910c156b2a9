// Squeezes: both pictures lie side by side, each narrowed to its part of the canvas; every sample
// is the nearest one.
#include <algorithm>
#include <cstring>

#include "compositing/SamplePicker.h"
#include "compositing/TransitionPlane.h"

namespace quol {

namespace {

// Two pictures that share a length: `cut` samples show the first one, the rest the second.
struct Shared {
    int length;
    int cut;

    // A cut at the far end leaves the second nothing, also where a plane of an odd canvas has one
    // sample more than `length`.
    bool isFirst(int i) const { return i < cut || (cut > 0 && cut >= length); }

    // Where the sample at `i` is taken from. One past `length` comes out as itself.
    int sourceOf(int i) const {
        if (cut <= 0 || cut >= length) return i;
        const std::int64_t place = i < cut ? i : i - cut;
        return static_cast<int>(place * length / (i < cut ? cut : length - cut));
    }
};

using Picture = PlaneRows<const std::uint8_t>;

// Piece by piece of columns. `first` lies to the left.
void squeezeColumns(const TransitionPlane& plane, const Shared& shared, const Picture& first,
                    const Picture& second) {
    SamplePicker picker;
    for (int start = 0; start < plane.columns;) {
        const bool isFirst = shared.isFirst(start);
        const int partEnd = isFirst && shared.cut < shared.length ? shared.cut : plane.columns;
        const int count = std::min(SamplePicker::capacity, partEnd - start);
        picker.learn(count, plane.columns, [&](int i) { return shared.sourceOf(start + i); });
        const Picture& picture = isFirst ? first : second;
        for (int y = 0; y < plane.rows; ++y)
            picker.pick(plane.out[y] + start, picture[y]);
        start += count;
    }
}

// `first` lies on top.
void squeezeRows(const TransitionPlane& plane, const Shared& shared, const Picture& first,
                 const Picture& second) {
    for (int y = 0; y < plane.rows; ++y) {
        const Picture& picture = shared.isFirst(y) ? first : second;
        std::memcpy(plane.out[y], picture[shared.sourceOf(y)],
                    static_cast<std::size_t>(plane.columns));
    }
}

} // namespace

void drawSqueezeLeftRight(const TransitionPlane& plane, float p) {
    const int cut = partOf(plane.canvasWidth, p, plane);
    squeezeColumns(plane, {plane.width(), cut}, plane.b, plane.a);
}

void drawSqueezeRightLeft(const TransitionPlane& plane, float p) {
    const int cut = partOf(plane.canvasWidth, 1.0F - p, plane);
    squeezeColumns(plane, {plane.width(), cut}, plane.a, plane.b);
}

void drawSqueezeTopBottom(const TransitionPlane& plane, float p) {
    const int cut = partOf(plane.canvasHeight, p, plane);
    squeezeRows(plane, {plane.height(), cut}, plane.b, plane.a);
}

void drawSqueezeBottomTop(const TransitionPlane& plane, float p) {
    const int cut = partOf(plane.canvasHeight, 1.0F - p, plane);
    squeezeRows(plane, {plane.height(), cut}, plane.a, plane.b);
}

} // namespace quol

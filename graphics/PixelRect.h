// Rectangles of whole pixels, and sets of them: what of a picture has to be drawn anew.
#pragma once

#include <vector>

namespace quol {

struct PixelRect {
    int left = 0;
    int top = 0;
    int right = 0;  // behind the last column
    int bottom = 0; // behind the last row

    bool operator==(const PixelRect&) const = default;
    bool empty() const { return left >= right || top >= bottom; }
    int width() const { return right - left; }
    int height() const { return bottom - top; }
};

// The part of `a` inside `b`; empty where they do not meet.
PixelRect intersection(const PixelRect& a, const PixelRect& b);

// The smallest rectangle around both; an empty one adds nothing.
PixelRect around(const PixelRect& a, const PixelRect& b);

// The pixels that a rectangle of any coordinates touches, one more all around, within `bounds`.
// Numbers that are none, or that cairo cannot hold, give all of `bounds`.
PixelRect touchedPixels(double left, double top, double right, double bottom,
                        const PixelRect& bounds);

// A few rectangles that do not meet each other, within bounds.
class DirtyRegion {
public:
    explicit DirtyRegion(const PixelRect& bounds) : bounds_(bounds) {}

    // Rectangles that meet are joined, and where there come to be many of them, all are.
    void add(const PixelRect& rect);
    void add(const DirtyRegion& other);
    void clear() { rects_.clear(); }
    bool empty() const { return rects_.empty(); }
    const std::vector<PixelRect>& rects() const { return rects_; }

private:
    PixelRect bounds_;
    std::vector<PixelRect> rects_;
};

} // namespace quol

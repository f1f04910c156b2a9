#include "graphics/PixelRect.h"

#include <algorithm>
#include <cmath>

namespace quol {

PixelRect intersection(const PixelRect& a, const PixelRect& b) {
    return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
            std::min(a.bottom, b.bottom)};
}

PixelRect around(const PixelRect& a, const PixelRect& b) {
    if (a.empty()) return b;
    if (b.empty()) return a;
    return {std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right),
            std::max(a.bottom, b.bottom)};
}

PixelRect touchedPixels(double left, double top, double right, double bottom,
                        const PixelRect& bounds) {
    // Beyond it cairo's coordinates come in again at the other side.
    constexpr double farthest = 1 << 23;
    for (const double edge : {left, top, right, bottom}) {
        if (!(std::abs(edge) < farthest - 2.0)) return bounds;
    }
    const auto column = [&](double value) {
        return static_cast<int>(std::clamp<double>(value, bounds.left, bounds.right));
    };
    const auto row = [&](double value) {
        return static_cast<int>(std::clamp<double>(value, bounds.top, bounds.bottom));
    };
    return {column(std::floor(std::min(left, right)) - 1.0),
            row(std::floor(std::min(top, bottom)) - 1.0),
            column(std::ceil(std::max(left, right)) + 1.0),
            row(std::ceil(std::max(top, bottom)) + 1.0)};
}

void DirtyRegion::add(const PixelRect& rect) {
    PixelRect joined = intersection(rect, bounds_);
    if (joined.empty()) return;
    // What was joined may meet others in turn.
    for (auto at = rects_.begin(); at != rects_.end();) {
        if (intersection(*at, joined).empty()) {
            ++at;
        } else {
            joined = around(joined, *at);
            rects_.erase(at);
            at = rects_.begin();
        }
    }
    rects_.push_back(joined);
    constexpr std::size_t many = 16;
    if (rects_.size() <= many) return;
    PixelRect all;
    for (const PixelRect& each : rects_)
        all = around(all, each);
    rects_.assign(1, all);
}

void DirtyRegion::add(const DirtyRegion& other) {
    for (const PixelRect& rect : other.rects_)
        add(rect);
}

} // namespace quol

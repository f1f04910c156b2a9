#include "compositing/MultiviewLayout.h"

#include <algorithm>
#include <cmath>

namespace quol {

namespace {

constexpr int usualHeight = 1080;
constexpr float half = 0.5F;

// An edge in pixels. Fractions are floats, so the same edge told by two neighbours may differ in
// its last bits: where it lies right between two even pixels both have to take the same one.
double evenEdge(double fraction, int size) {
    constexpr double lean = 0.003;
    const double edge = 2.0 * std::floor(fraction * size / 2.0 + 0.5 + lean);
    return edge == size + 1 ? size : edge; // of an odd size the last pixel ends the picture
}

} // namespace

std::string gridKey(int row, int column) {
    return std::to_string(row) + "_" + std::to_string(column);
}

MultiviewLayout::MultiviewLayout(int orientation, int gridSize, int height) {
    const float lines = static_cast<float>(height > 0 ? height : usualHeight);
    const float narrow = gridSize > 0 ? 1.0F / (2.0F * static_cast<float>(gridSize)) : 0.0F;
    const float wide = gridSize > 0 ? half / static_cast<float>(gridSize) : 0.0F;
    switch (orientation) {
        case 1: // the grid above the large windows
            preview_ = {0.0F, half, half, half};
            program_ = {half, half, half, half};
            firstCell_ = {0.0F, 0.0F, narrow, wide};
            break;
        case 2: // the grid at their right
            preview_ = {0.0F, 0.0F, half, half};
            program_ = {0.0F, half, half, half};
            firstCell_ = {half, 0.0F, wide, narrow};
            break;
        case 3: // the grid at their left
            preview_ = {half, 0.0F, half, half};
            program_ = {half, half, half, half};
            firstCell_ = {0.0F, 0.0F, wide, narrow};
            break;
        default: // the grid below them
            preview_ = {0.0F, 0.0F, half, half};
            program_ = {half, 0.0F, half, half};
            seam_ = half / lines;
            firstCell_ = {0.0F, half - seam_, narrow, wide};
            break;
    }
}

TilePlace MultiviewLayout::cell(int row, int column, int span) const {
    // Subtracted as numbers that do not run over.
    const auto down = static_cast<float>(static_cast<double>(row) - 1.0);
    const auto across = static_cast<float>(static_cast<double>(column) - 1.0);
    const auto cells = static_cast<float>(static_cast<double>(span) + 1.0);
    return {firstCell_.x + across * firstCell_.w, firstCell_.y + down * firstCell_.h,
            cells * firstCell_.w, cells * firstCell_.h};
}

TileRect tileRect(const TilePlace& place, float seam, int width, int height) {
    constexpr double farthest = 1.0e6;
    if (!(place.w > 0.0F) || !(place.h > 0.0F)) return {};
    const double top = static_cast<double>(place.y) + static_cast<double>(seam);
    const double left = evenEdge(place.x, width);
    const double right =
        evenEdge(static_cast<double>(place.x) + static_cast<double>(place.w), width);
    const double upper = evenEdge(top, height);
    const double lower = evenEdge(top + static_cast<double>(place.h), height);
    const bool isNear = std::min(left, upper) > -farthest && std::max(right, lower) < farthest;
    if (!isNear) return {};
    return {static_cast<int>(left), static_cast<int>(upper), static_cast<int>(right - left),
            static_cast<int>(lower - upper)};
}

TileRect intersection(const TileRect& a, const TileRect& b) {
    const int left = std::max(a.x, b.x);
    const int top = std::max(a.y, b.y);
    const int right = std::min(a.right(), b.right());
    const int bottom = std::min(a.bottom(), b.bottom());
    if (right <= left || bottom <= top) return {};
    return {left, top, right - left, bottom - top};
}

} // namespace quol

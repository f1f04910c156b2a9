// Wipes: in each row one run of samples comes from the second picture, the others from the first.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "compositing/TransitionPlane.h"

namespace quol {

namespace {

// Columns from `begin` on, without `end`.
struct Run {
    int begin = 0;
    int end = 0;
};

void copyPart(std::uint8_t* target, const std::uint8_t* source, int begin, int end) {
    if (begin < end)
        std::memcpy(target + begin, source + begin, static_cast<std::size_t>(end - begin));
}

// `runOf` tells for a row which samples come from the second picture.
template <typename RunOf>
void wipe(const TransitionPlane& plane, const RunOf& runOf) {
    for (int y = 0; y < plane.rows; ++y) {
        const Run wanted = runOf(y);
        const int begin = std::clamp(wanted.begin, 0, plane.columns);
        const int end = std::clamp(wanted.end, begin, plane.columns);
        copyPart(plane.out[y], plane.a[y], 0, begin);
        copyPart(plane.out[y], plane.b[y], begin, end);
        copyPart(plane.out[y], plane.a[y], end, plane.columns);
    }
}

Run wholeRow(const TransitionPlane& plane, bool isSecond) {
    return {0, isSecond ? plane.columns : 0};
}

} // namespace

void drawWipeLeftRight(const TransitionPlane& plane, float p) {
    const int cut = partOf(plane.canvasWidth, p, plane);
    wipe(plane, [&](int) { return Run{0, cut}; });
}

void drawWipeRightLeft(const TransitionPlane& plane, float p) {
    const int cut = partOf(plane.canvasWidth, 1.0F - p, plane);
    wipe(plane, [&](int) { return Run{cut, plane.columns}; });
}

void drawWipeTopBottom(const TransitionPlane& plane, float p) {
    const int cut = partOf(plane.canvasHeight, p, plane);
    wipe(plane, [&](int y) { return wholeRow(plane, y < cut); });
}

void drawWipeBottomTop(const TransitionPlane& plane, float p) {
    const int cut = partOf(plane.canvasHeight, 1.0F - p, plane);
    wipe(plane, [&](int y) { return wholeRow(plane, y >= cut); });
}

// A sample belongs to the second picture where its canvas coordinates sum up to less than the
// limit: divided for chroma, that count of columns rounds up.
void drawWipeDiagonal(const TransitionPlane& plane, float p) {
    const int limit =
        static_cast<int>(static_cast<float>(plane.canvasWidth + plane.canvasHeight) * p);
    wipe(plane, [&](int y) {
        const int left = std::max(0, limit - plane.divisor * y);
        return Run{0, (left + plane.divisor - 1) / plane.divisor};
    });
}

void drawWipeBox(const TransitionPlane& plane, float p) {
    const int centerX = plane.canvasWidth / 2 / plane.divisor;
    const int centerY = plane.canvasHeight / 2 / plane.divisor;
    const int dx = partOf(plane.canvasWidth / 2, p, plane);
    const int dy = partOf(plane.canvasHeight / 2, p, plane);
    wipe(plane, [&](int y) {
        const bool isInside = y >= centerY - dy && y < centerY + dy;
        return isInside ? Run{centerX - dx, centerX + dx} : Run{};
    });
}

void drawWipeCircle(const TransitionPlane& plane, float p) {
    const int halfWidth = plane.canvasWidth / 2;
    const int halfHeight = plane.canvasHeight / 2;
    const double reach = std::sqrt(static_cast<double>(halfWidth) * halfWidth +
                                   static_cast<double>(halfHeight) * halfHeight);
    const std::int64_t radius = static_cast<int>(p * reach) / plane.divisor;
    const int centerX = halfWidth / plane.divisor;
    const int centerY = halfHeight / plane.divisor;
    wipe(plane, [&](int y) {
        const std::int64_t d = y - centerY;
        const std::int64_t square = radius * radius - d * d;
        if (square <= 0) return Run{};
        const int half = static_cast<int>(std::sqrt(static_cast<double>(square)));
        return Run{centerX - half, centerX + half};
    });
}

} // namespace quol

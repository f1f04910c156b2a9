#include "compositing/LayerLook.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "core/Handles.h"
#include "quolsdk/LLayerItem.h"

namespace quol {

namespace {

// Far outside every canvas, and small enough that sums and squares stay numbers.
constexpr int farAway = 1 << 20;

} // namespace

int wholePixels(float value) {
    if (std::isnan(value)) return 0;
    constexpr auto limit = static_cast<float>(farAway);
    return static_cast<int>(std::clamp(value, -limit, limit));
}

LayerLook lookOf(const LLayerItem& item) {
    LayerLook look;
    look.alpha = item.alpha;
    look.x = wholePixels(item.x);
    look.y = wholePixels(item.y);
    look.width = item.width;
    look.height = item.height;
    look.cropTop = item.cropTop;
    look.cropBottom = item.cropBottom;
    look.cropLeft = item.cropLeft;
    look.cropRight = item.cropRight;
    look.borderThickness = std::clamp(item.borderThickness.load(), 0, farAway);
    look.borderColor = parseColorOrWhite(item.borderColor);
    look.borderAlpha = item.borderAlpha;
    look.borderRadius = item.borderRadius;
    look.isKeyed = item.isDSK;
    return look;
}

PictureSize targetSize(const LayerLook& look, const AVFrame& picture) {
    return {look.width > 0.0F ? wholePixels(look.width) : picture.width,
            look.height > 0.0F ? wholePixels(look.height) : picture.height};
}

int cornerRadius(const PictureSize& target, int percent, int divisor) {
    const std::int64_t side = std::min(target.width, target.height);
    const std::int64_t radius = side * percent / divisor;
    return static_cast<int>(std::clamp<std::int64_t>(radius, 0, farAway));
}

} // namespace quol

#include "outputs/PreviewLook.h"

#include <algorithm>
#include <cmath>

#include "outputs/PreviewMeter.h"

namespace quol {

namespace {

constexpr double statusOpacity = 0.9;
constexpr double plainOpacity = 0.59;

} // namespace

Tint tintOf(const Rgb& color) {
    const auto level = [](int channel) { return static_cast<float>(channel) / 255.0F; };
    return {level(color.red), level(color.green), level(color.blue)};
}

StatusLook lookOf(const std::string& status, const std::optional<Rgb>& border) {
    if (status == "program" || status == "record")
        return {Tint{0.59F, 0.0F, 0.0F}, {{0x8C, 0x14, 0x14}, statusOpacity}};
    if (status == "preview" || status == "live")
        return {Tint{0.20F, 0.63F, 0.31F}, {{0x14, 0x78, 0x28}, statusOpacity}};
    if (status == "trim") return {Tint{0.33F, 0.67F, 1.0F}, {{0x41, 0x82, 0xC8}, statusOpacity}};
    if (status == "ready") return {Tint{1.0F, 0.67F, 0.0F}, {{0xC8, 0x82, 0x00}, statusOpacity}};
    if (!border) return {std::nullopt, {{0, 0, 0}, plainOpacity}};
    const auto darker = [](int channel) { return channel * 60 / 100; };
    return {tintOf(*border),
            {{darker(border->red), darker(border->green), darker(border->blue)}, plainOpacity}};
}

PictureExtent extentOf(int surfaceWidth, int surfaceHeight, int pictureWidth, int pictureHeight,
                       bool keepsShape) {
    if (!keepsShape || surfaceWidth < 1 || surfaceHeight < 1 || pictureWidth < 1 ||
        pictureHeight < 1)
        return {};
    const float window = static_cast<float>(surfaceWidth) / static_cast<float>(surfaceHeight);
    const float picture = static_cast<float>(pictureWidth) / static_cast<float>(pictureHeight);
    if (window <= picture) return {1.0F, window / picture};
    return {picture / window, 1.0F};
}

double borderWidth(int surfaceHeight) {
    return std::max(2.0, 4.0 * surfaceHeight / 540);
}

int labelFontHeight(int surfaceHeight) {
    return std::max(10, static_cast<int>(0.035 * surfaceHeight));
}

double labelDistance(int surfaceHeight) {
    return 25 * std::max(0.4, surfaceHeight / 540.0);
}

int timecodeFontHeight(int surfaceHeight) {
    return std::max(10, static_cast<int>(36 * std::max(0.2, surfaceHeight / 1080.0)));
}

PlateMargins marginsOf(int textHeight) {
    if (textHeight < 14) return {6, 3, 12, 6};
    if (textHeight < 16) return {7, 3, 14, 6};
    return {textHeight / 2, textHeight / 4, textHeight & ~1, 2 * (textHeight / 4)};
}

MeterPlace placeMeter(int surfaceWidth, int surfaceHeight) {
    const double scale = std::max(0.4, surfaceHeight / 540.0);
    const auto pixels = [scale](double atHalfHd) {
        return static_cast<float>(std::max(1.0, std::round(atHalfHd * scale)));
    };
    const float margin = pixels(14);
    const float column = pixels(10);
    const float gap = pixels(4);
    const auto height = static_cast<float>(surfaceHeight);
    const auto right = static_cast<float>(surfaceWidth) - margin;
    MeterPlace place;
    // Whole pixels a segment, so that all look alike; none at all on a surface of a few rows.
    place.segmentPitch = std::max(1.0F, std::floor(height * 0.6F / MeterLevel::segments));
    place.segmentHeight =
        std::max(1.0F, place.segmentPitch - std::max(1.0F, std::floor(place.segmentPitch / 4)));
    place.columnWidth = column;
    const float length = place.segmentPitch * MeterLevel::segments;
    const float top = std::floor((height - length) / 2);
    place.bottom = top + length;
    place.columnLeft[0] = right - 2 * gap - 2 * column;
    place.columnLeft[1] = right - gap - column;
    place.panel = {right - 3 * gap - 2 * column, top - gap, right, place.bottom + gap};
    return place;
}

Tint segmentTint(int segment, bool lit) {
    constexpr float dim = 0.22F;
    const double place = static_cast<double>(segment) / MeterLevel::segments;
    Tint tint = place < 0.65   ? Tint{0.10F, 0.80F, 0.20F}
                : place < 0.88 ? Tint{0.95F, 0.80F, 0.10F}
                               : Tint{0.95F, 0.15F, 0.10F};
    if (!lit) tint = {tint.red * dim, tint.green * dim, tint.blue * dim};
    return tint;
}

} // namespace quol

#include "RgbSheet.h"

#include <algorithm>
#include <cstddef>

#include "PngWriter.h"

RgbSheet::RgbSheet(int width, int height, std::uint8_t grey)
    : width_(width), height_(height), pixels_(static_cast<std::size_t>(width) * height * 3, grey) {}

void RgbSheet::put(const Place& place, const LFrame::Video& picture) {
    const std::vector<std::uint8_t> rgb = scaleToRgb(picture.rgba, picture.width, picture.height,
                                                     picture.stride, place.width, place.height);
    if (rgb.empty()) return;
    const std::size_t row = static_cast<std::size_t>(place.width) * 3;
    for (int y = 0; y < place.height; ++y) {
        const std::size_t target =
            (static_cast<std::size_t>(place.top + y) * width_ + place.left) * 3;
        std::copy_n(&rgb[static_cast<std::size_t>(y) * row], row, &pixels_[target]);
    }
}

void RgbSheet::lay(const LFrame::Video& over) {
    for (std::size_t i = 0; i * 4 + 3 < over.rgba.size() && i * 3 + 2 < pixels_.size(); ++i) {
        const int open = 255 - over.rgba[i * 4 + 3];
        for (std::size_t c = 0; c < 3; ++c) {
            const int value = over.rgba[i * 4 + c] + pixels_[i * 3 + c] * open / 255;
            pixels_[i * 3 + c] = static_cast<std::uint8_t>(std::min(255, value));
        }
    }
}

bool RgbSheet::save(const std::string& path, int rows) const {
    return writePng(path, width_, std::min(rows, height_), pixels_);
}

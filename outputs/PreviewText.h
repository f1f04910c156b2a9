// A line of text on a plate, as a picture.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "outputs/PreviewLook.h"

namespace quol {

struct TextPlate {
    int width = 0; // pixels
    int height = 0;
    std::vector<std::uint8_t> rgba; // not premultiplied, no padding; empty when there is none
};

// Bold and white, `fontHeight` pixels from the top of the tallest letter to the foot of the lowest,
// in that family or what the system has in its place. The ground is as opaque as the look says, the
// letters and their soft edges wholly. A text that is no UTF-8 counts as Latin-1; a very long one
// is cut.
TextPlate drawTextPlate(const std::string& text, const PlateLook& look, int fontHeight,
                        const char* family);

} // namespace quol

// Colour text to picture levels.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace quol {

struct Rgb {
    int red = 0;
    int green = 0;
    int blue = 0;

    bool operator==(const Rgb&) const = default;
};

// 8-bit levels of a planar picture.
struct YuvLevels {
    std::uint8_t y = 0;
    std::uint8_t u = 128;
    std::uint8_t v = 128;
};

// Reads "#RRGGBB". Nothing for a text of another length or without the hash sign. A pair that does
// not begin with a hexadecimal number raises std::invalid_argument with the text "stoi".
std::optional<Rgb> parseColor(const std::string& text);

// Reads "#RRGGBB" and "#RGB", where each digit stands twice. Any other text is white; from the
// first channel that is no hexadecimal number on, channels are 255.
Rgb parseColorOrWhite(const std::string& text);

// BT.601 full range in doubles (JFIF), truncated to whole numbers:
// Y = 0.299 R + 0.587 G + 0.114 B, U = -0.1687 R - 0.3313 G + 0.5 B + 128,
// V = 0.5 R - 0.4187 G - 0.0813 B + 128.
YuvLevels toYuvTruncated(const Rgb& rgb);

} // namespace quol

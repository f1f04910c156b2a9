#include "core/Color.h"

namespace quol {

std::optional<Rgb> parseColor(const std::string& text) {
    if (text.size() != 7 || text[0] != '#') return std::nullopt;
    const auto pair = [&text](std::size_t at) {
        return std::stoi(text.substr(at, 2), nullptr, 16);
    };
    return Rgb{pair(1), pair(3), pair(5)};
}

YuvLevels toYuvTruncated(const Rgb& rgb) {
    const double r = rgb.red;
    const double g = rgb.green;
    const double b = rgb.blue;
    const double y = 0.299 * r + 0.587 * g + 0.114 * b;
    const double u = -0.1687 * r - 0.3313 * g + 0.5 * b + 128;
    const double v = 0.5 * r - 0.4187 * g - 0.0813 * b + 128;
    const auto level = [](double value) {
        return static_cast<std::uint8_t>(static_cast<int>(value));
    };
    return {level(y), level(u), level(v)};
}

} // namespace quol

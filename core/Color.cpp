#include "core/Color.h"

#include <array>
#include <charconv>
#include <cstddef>

namespace quol {

namespace {

// Value of a text that is hexadecimal digits throughout.
std::optional<int> hexadecimal(const std::string& digits) {
    int value = 0;
    const char* const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, value, 16);
    if (error != std::errc() || stop != end || value < 0) return std::nullopt;
    return value;
}

} // namespace

std::optional<Rgb> parseColor(const std::string& text) {
    if (text.size() != 7 || text[0] != '#') return std::nullopt;
    const auto pair = [&text](std::size_t at) {
        return std::stoi(text.substr(at, 2), nullptr, 16);
    };
    return Rgb{pair(1), pair(3), pair(5)};
}

Rgb parseColorOrWhite(const std::string& text) {
    std::array<int, 3> channels{255, 255, 255};
    const bool isLong = text.size() == 7;
    if (text.empty() || text[0] != '#' || (!isLong && text.size() != 4)) return {255, 255, 255};
    for (std::size_t i = 0; i < channels.size(); ++i) {
        const auto value =
            hexadecimal(isLong ? text.substr(1 + 2 * i, 2) : std::string(2, text[1 + i]));
        if (!value) break;
        channels[i] = *value;
    }
    return {channels[0], channels[1], channels[2]};
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

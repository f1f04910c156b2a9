// Colours in the text of a Lottie template.
#include <array>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>

#include "graphics/LottieSearch.h"
#include "graphics/LottieText.h"

namespace quol {

namespace {

constexpr auto npos = std::string::npos;

using Rgb = std::array<int, 3>;

// None for fewer than six digits.
std::optional<Rgb> parseColor(std::string_view text) {
    if (!text.empty() && text.front() == '#') text.remove_prefix(1);
    if (text.size() < 6) return std::nullopt;
    Rgb rgb{};
    for (std::size_t i = 0; i < rgb.size(); ++i)
        rgb[i] = std::stoi(std::string(text.substr(2 * i, 2)), nullptr, 16);
    return rgb;
}

// "1.0000,0.0000,0.5020", with a point in every locale.
std::string components(const Rgb& rgb) {
    std::string text;
    for (const int value : rgb) {
        std::array<char, 32> digits{};
        const auto written = std::to_chars(digits.data(), digits.data() + digits.size(),
                                           value / 255.0, std::chars_format::fixed, 4);
        if (!text.empty()) text += ',';
        text.append(digits.data(), written.ptr);
    }
    return text;
}

std::string plainColor(const Rgb& rgb) {
    return components(rgb) + ",1";
}

std::string gradient(const Rgb& from, const Rgb& to) {
    return "0," + components(from) + ",1," + components(to);
}

struct ColorPlace {
    std::size_t at = 0;
    ColorChange style = ColorChange::aeStyle;
};

std::optional<ColorPlace> findColor(const std::string& json, const TextPiece& layer,
                                    const std::string& param) {
    if (!param.empty()) {
        const std::size_t property = findText(json, '"' + param + '"', layer.begin);
        if (property != npos) return ColorPlace{property, ColorChange::aeStyle};
    }
    constexpr std::string_view key = R"("c":{)";
    // The index is that of the next layer: what lies behind it is no longer of this one.
    const std::size_t index = json.find(R"("ind":)", layer.end);
    const std::size_t inside = json.find(key, layer.end);
    if (inside < index) return ColorPlace{inside, ColorChange::aeStyle};
    const std::size_t before = json.rfind(key, layer.begin);
    if (before != npos) return ColorPlace{before, ColorChange::cavalryStyle};
    return std::nullopt;
}

// What stands between the brackets of the first list of numbers from `from` on.
std::optional<TextPiece> findNumbers(const std::string& json, std::size_t from) {
    constexpr std::string_view key = R"("k":[)";
    const std::size_t at = json.find(key, from);
    if (at == npos) return std::nullopt;
    const std::size_t end = json.find(']', at);
    if (end == npos) return std::nullopt;
    return TextPiece{at + key.size(), end};
}

} // namespace

ColorChange replaceColor(std::string& json, const std::string& layerName, const LottieColor& to) {
    const auto first = parseColor(to.color);
    if (!first) return ColorChange::ignored;
    const auto layer = findNamed(json, layerName);
    if (!layer) return ColorChange::noLayer;
    const auto place = findColor(json, *layer, to.param);
    if (!place) return ColorChange::noColor;
    const auto numbers = findNumbers(json, place->at);
    if (!numbers) return ColorChange::ignored;

    std::string text = plainColor(*first);
    if (!to.color2.empty()) {
        const auto second = parseColor(to.color2);
        if (!second) return ColorChange::ignored;
        text = gradient(*first, *second);
    }
    json.replace(numbers->begin, numbers->end - numbers->begin, text);
    return place->style;
}

} // namespace quol

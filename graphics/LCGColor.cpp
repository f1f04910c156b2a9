#include "quolsdk/LCGColor.h"

#include <limits>
#include <stdexcept>

LCGColor::LCGColor(const char* text) : argb(parse(text != nullptr ? text : "")) {}

std::uint32_t LCGColor::parse(const std::string& text) {
    constexpr std::uint32_t unreadable = 0xFFFFFFFFU;
    if (text.empty()) return 0;
    std::string digits = text[0] == '#' ? text.substr(1) : text;
    if (digits.size() == 6) digits.insert(0, "FF");
    try {
        const unsigned long long value = std::stoull(digits, nullptr, 16);
        return value <= std::numeric_limits<std::uint32_t>::max()
                   ? static_cast<std::uint32_t>(value)
                   : unreadable;
    } catch (const std::logic_error&) {
        return unreadable;
    }
}

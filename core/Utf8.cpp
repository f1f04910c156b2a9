#include "core/Utf8.h"

#include <cstddef>

namespace quol {

namespace {

std::size_t sequenceLength(unsigned char lead) {
    if (lead >= 240) return 4;
    if (lead >= 224) return 3;
    if (lead >= 192) return 2;
    return 1;
}

// The code point at `at`, of `length` bytes; -1 where the bytes are none.
long codePoint(std::string_view text, std::size_t at, std::size_t length) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[at + i]); };
    if (length == 1) return byte(0) < 128 ? byte(0) : -1;
    if (byte(0) >= 0xF8) return -1; // would begin a longer one, which there is none of
    long value = byte(0) & (0xFF >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return -1;
        value = value << 6 | (byte(i) & 0x3F);
    }
    return value;
}

} // namespace

std::vector<std::string> splitUtf8(const std::string& text) {
    std::vector<std::string> pieces;
    for (std::size_t at = 0; at < text.size(); at += pieces.back().size())
        pieces.push_back(text.substr(at, sequenceLength(static_cast<unsigned char>(text[at]))));
    return pieces;
}

bool isValidUtf8(std::string_view text) {
    constexpr long smallest[] = {0, 0, 0x80, 0x800,
                                 0x10000}; // by length: no longer form than needed
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = sequenceLength(static_cast<unsigned char>(text[at]));
        if (at + length > text.size()) return false;
        const long value = codePoint(text, at, length);
        const bool isSurrogate = value >= 0xD800 && value <= 0xDFFF;
        if (value < smallest[length] || value > 0x10FFFF || isSurrogate || value == 0) return false;
        at += length;
    }
    return true;
}

std::string toUtf8(std::string_view text) {
    if (isValidUtf8(text)) return std::string(text);
    std::string utf8;
    for (const char byte : text) {
        const auto letter = static_cast<unsigned char>(byte);
        if (letter < 0x80) {
            utf8 += byte;
        } else {
            utf8 += static_cast<char>(0xC0 | letter >> 6);
            utf8 += static_cast<char>(0x80 | (letter & 0x3F));
        }
    }
    return utf8;
}

} // namespace quol

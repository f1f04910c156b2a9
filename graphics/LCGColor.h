/// @file
/// Colours of the character generator.
#pragma once

#include <cstdint>
#include <string>

#include "quolsdk/export.h"

/// A colour as 0xAARRGGBB, made from a text: hexadecimal digits with or without a hash sign in
/// front, six of them meaning opaque. "" is 0; a text that is no number, or one of more than 32
/// bits, is 0xFFFFFFFF. Never throws.
class QUOLSDK_API LCGColor {
public:
    LCGColor() = default; ///< opaque black
    // A colour is written as a text wherever one is asked for.
    LCGColor(const char* text);                              ///< null counts as ""
    LCGColor(const std::string& text) : argb(parse(text)) {} ///< reads a text

    void assign(const std::string& text) { argb = parse(text); } ///< reads a text
    /// Reads a text.
    LCGColor& operator=(const std::string& text) {
        assign(text);
        return *this;
    }
    /// Reads a text.
    LCGColor& operator=(const char* text) { return *this = LCGColor(text); }

    std::uint32_t value() const { return argb; } ///< 0xAARRGGBB
    /// The same colour, alpha included.
    bool operator==(const LCGColor& other) const { return argb == other.argb; }

    double red() const { return component(16); }   ///< 0.0 to 1.0
    double green() const { return component(8); }  ///< 0.0 to 1.0
    double blue() const { return component(0); }   ///< 0.0 to 1.0
    double alpha() const { return component(24); } ///< 0.0 to 1.0

private:
    static std::uint32_t parse(const std::string& text);
    double component(unsigned shift) const {
        return static_cast<double>(argb >> shift & 255U) / 255.0;
    }

    std::uint32_t argb = 0xFF000000U;
};

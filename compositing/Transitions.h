// What a vision switcher shows between two pictures.
#pragma once

#include <cstdint>
#include <string>

struct AVFrame;

namespace quol {

// The colour that a dip goes through.
struct DipColor {
    std::uint8_t y = 16;
    std::uint8_t u = 128;
    std::uint8_t v = 128;
    bool operator==(const DipColor&) const = default;
};

// Reads six hexadecimal digits, with or without a hash sign before them. Any other text is black
// with a luma of 0.
DipColor dipColorOf(const std::string& parameter);

// Draws the picture that the transition shows at `position`: 0 is all of `a`, 1 all of `b`; what
// lies beyond counts as the nearer end, NaN as 0. All three are 4:2:0 planar with 8 bits a sample
// and of one size, and `out` shares no memory with the others. Every sample of `out` is written,
// and nothing beyond its rows.
//
// False, and `out` left alone, for a type that has no picture of its own between the two ("cut",
// "stinger", any unknown one), and for pictures that do not fit each other: the caller shows `a`
// below 0.5, else `b`.
bool drawTransition(const std::string& type, float position, const DipColor& dip, const AVFrame& a,
                    const AVFrame& b, AVFrame& out);

} // namespace quol

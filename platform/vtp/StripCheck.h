// Whether a strip is a picture of the kind and the size that were announced.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace quol::vtp {

// A coded picture's strips as they lie in its payload: `rows` in each but the last.
struct Strips {
    std::uint32_t rows = 0;
    std::vector<std::span<const std::uint8_t>> parts;
};

// False unless the strips are all there, fill the payload, and have as many rows as the picture.
bool splitStrips(std::span<const std::uint8_t> coded, std::uint32_t height, Strips& strips);

// True for a baseline JPEG picture of that size with one scan of three components, no other
// segments than those that takes and the JFIF label, and nothing behind it. A decoder, which
// believes what a picture says of itself, gets no others to see.
bool isPlainJpeg(std::span<const std::uint8_t> bytes, std::uint32_t width, std::uint32_t rows);

// Copies such a picture without its labels, which can only mislead a decoder. `to` has room for all
// of it; returns how many bytes there are.
std::size_t copyUnlabelled(std::span<const std::uint8_t> jpeg, std::uint8_t* to);

} // namespace quol::vtp

// Whether a strip is a picture of the kind and the size that were announced.
#pragma once

#include <cstdint>
#include <span>

namespace quol::vtp {

// True for a baseline JPEG picture of that size with one scan of three components, no other
// segments than those that takes, and nothing behind it. A decoder, which believes what a picture
// says of itself, gets no others to see.
bool isPlainJpeg(std::span<const std::uint8_t> bytes, std::uint32_t width, std::uint32_t rows);

} // namespace quol::vtp

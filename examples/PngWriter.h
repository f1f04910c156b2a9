// Pictures to PNG files, with FFmpeg's encoder.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Writes packed RGB pixels, `width * 3` bytes a row. False when it cannot.
bool writePng(const std::string& path, int width, int height, const std::vector<std::uint8_t>& rgb);

// Scales packed RGBA (`stride` bytes a row) to packed RGB of another size; empty when it cannot.
std::vector<std::uint8_t> scaleToRgb(const std::vector<std::uint8_t>& rgba, int width, int height,
                                     int stride, int targetWidth, int targetHeight);

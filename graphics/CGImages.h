// Still images as cairo surfaces, kept for the whole process.
#pragma once

#include <cstdint>
#include <string>

#include "core/CairoHandles.h"

namespace quol {

// The image of a file, premultiplied. A file is read once for the process and kept; one that cannot
// be read is tried again at each call. The reference is the caller's. Null when there is none, and
// for what is no plain file. Any thread; nobody waits for a file that another thread reads.
SurfacePtr loadImageSurface(const std::string& path);

// Multiplies red, green and blue of BGRA pixels by alpha / 255, in whole numbers.
void premultiply(std::uint8_t* pixels, int width, int height, int stride);

} // namespace quol

// Pictures that are kept for long, in great number.
#pragma once

#include <cstdint>

#include "core/Handles.h"

namespace quol {

// A picture in memory mapped for it alone, which goes back to the system with its last reference.
// An allocator keeps a good part of what many pictures leave behind: 450 MB of a clip of 1 GB. Its
// contents are undefined. Null for a size or format that no picture can have, and when memory is
// short.
FramePtr makeMappedPicture(int width, int height, AVPixelFormat format);

// Bytes that such a picture takes; 0 when there can be none.
std::uint64_t mappedPictureSize(int width, int height, AVPixelFormat format);

} // namespace quol

// Whether a picture that came from outside can be read.
#pragma once

struct AVFrame;

namespace quol {

// True for a picture in main memory that has a size, a format, and every plane of it with rows long
// enough. Anything else would be read out of bounds.
bool hasReadablePlanes(const AVFrame& frame);

// The same of a picture whose memory is counted, so that a reference keeps it.
bool isReadablePicture(const AVFrame& frame);

} // namespace quol

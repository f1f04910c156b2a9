// Whether sound that came from outside can be read.
#pragma once

struct AVFrame;

namespace quol {

// Whether blocks at that rate, Hz, keep a size that memory has room for when they are resampled.
bool isSoundRate(int sampleRate);

// True for sound in memory: a format, channels, samples at a rate that sound has, and every plane
// of them. Anything else would be read out of bounds, or grow beyond all measure.
bool isReadableSound(const AVFrame& frame);

} // namespace quol

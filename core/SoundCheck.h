// Whether sound that came from outside can be read.
#pragma once

struct AVFrame;

namespace quol {

// True for samples that lie in memory, all channels of them, at a rate that sound has: at a few
// samples a second a block would grow beyond all measure.
bool isReadableSound(const AVFrame& frame);

} // namespace quol

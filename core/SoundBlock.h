// Frames of sound.
#pragma once

#include <cstdint>

#include "core/Handles.h"

namespace quol {

// A frame to be filled; `samples` a channel, `sampleRate` in Hz. Null for a count below 1, a form
// that there is none of, and when memory is short.
FramePtr makeSoundFrame(AVSampleFormat format, const AVChannelLayout& layout, int samples,
                        int sampleRate);

// A silent frame of interleaved 16-bit stereo; `samples` a channel, `sampleRate` in Hz. Null for a
// count below 1 and when memory is short.
FramePtr makeSilentBlock(int samples, int sampleRate);

// The samples of a block made here, two a pair.
inline std::int16_t* samplesOf(const AVFrame& block) {
    return reinterpret_cast<std::int16_t*>(block.data[0]);
}

} // namespace quol

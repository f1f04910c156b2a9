// The sound of a network stream as 16-bit stereo.
#pragma once

#include "core/Resampler.h"

namespace quol {

// One thread at a time.
class StreamSound {
public:
    // One block as interleaved 16-bit stereo at `sampleRate` in Hz, its samples multiplied by
    // `gain` in percent and held within 16 bits. It has no time stamp. Null when nothing comes of
    // it: the resampler may keep a first block for later, and a rate that no sound has gives none.
    FramePtr convert(const AVFrame& block, int sampleRate, int gain);

    void reset() { resampler_.reset(); }

private:
    Resampler resampler_;
};

} // namespace quol

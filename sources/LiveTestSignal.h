// The picture and the tone of the built-in test signal.
#pragma once

#include "core/Handles.h"

namespace quol {

inline constexpr int testSignalWidth = 1920;
inline constexpr int testSignalHeight = 1080;
inline constexpr double testSignalFps = 25.0;
inline constexpr int testSignalSampleRate = 48000;
inline constexpr int testSignalSamples = 1920; // of one picture's length

// Colour bars, a row of blocks in another order, and grey, blue and red fields, with the name of
// the device across; AV_PIX_FMT_UYVY422. Null when memory is short.
FramePtr drawTestPicture();

// 1 kHz at about -9 dB, without a seam between its blocks.
class TestTone {
public:
    // The next block: interleaved 16-bit stereo, the same in both channels. Null when memory is
    // short; the tone stands still then.
    FramePtr next();

private:
    double phase_ = 0.0; // radians
};

} // namespace quol

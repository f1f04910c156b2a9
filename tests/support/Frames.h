// Frames made by hand.
#pragma once

#include <cstdint>

#include "core/Handles.h"

namespace test {

// A picture with a buffer of its own, filled with a pattern that depends on `seed`, time stamp and
// time base set.
quol::FramePtr makePicture(int width, int height, AVPixelFormat format, std::int64_t pts = 0,
                           AVRational timeBase = {1, 25}, unsigned seed = 1);

// Sets every byte of a plane, the padding of its rows too. A plane that the format lacks stays
// away.
void fillPlane(AVFrame& frame, int plane, std::uint8_t level);

// Sound with a sine of `hertz` at a tenth of full scale in every channel; 0 for silence.
// Interleaved or planar, 16-bit or float. The time base is 1 / sampleRate.
quol::FramePtr makeSound(int samples, int sampleRate, int channels, AVSampleFormat format,
                         std::int64_t pts = 0, double hertz = 1000.0);

} // namespace test

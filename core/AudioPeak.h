// Peak levels of a block of sound.
#pragma once

struct AVFrame;

namespace quol {

struct AudioPeak {
    float left = 0.0F;
    float right = 0.0F;
};

// Largest absolute value of every fourth sample, 1.0 being full scale. Planar float takes the first
// two planes (the first twice for one channel), interleaved 16-bit the first two channels (the
// first twice for one) over 32768. Any other format gives 0.
AudioPeak measurePeak(const AVFrame& frame);

// Largest absolute value of all samples. Planar float takes the first plane, and the second where
// there is one: one channel has nothing on the right. Interleaved 16-bit as above; any other format
// gives 0.
AudioPeak measureEverySample(const AVFrame& frame);

} // namespace quol

// Sound of any form and block length in frames of an encoder.
#pragma once

#include <cstdint>
#include <functional>

#include "core/Handles.h"
#include "core/Resampler.h"

namespace quol {

// Joins whatever comes, file after file, to one stream without a gap, counted in samples from 0.
// One thread.
class ConvertSound {
public:
    // Encodes one frame in the encoder's form.
    using Write = std::function<void(const AVFrame&)>;
    // False when the rest is not wanted any more.
    using GoOn = std::function<bool()>;

    ConvertSound(const AVCodecContext& encoder, Write write, GoOn goOn);

    // Sound of another form than the block before gets a resampler of its own. What cannot be
    // converted is left out.
    void add(const AVFrame& block);

    // The file has ended: what its resampler holds goes in, and the resampler is freed.
    void endFile();

    // Writes what is left, as a last frame that is as short as that.
    void finish();

private:
    void drainResampler();
    void keep(int samples);
    void writeFrame(int samples);
    FramePtr makeBlock(int samples) const;

    const AVSampleFormat format_;
    const AudioTarget target_;
    const int frameSize_; // samples
    ChannelLayout layout_;
    const Write write_;
    const GoOn goOn_;
    Resampler resampler_;
    FramePtr converted_;   // room for one turn of the resampler
    AudioFifoPtr waiting_; // less than a frame, between two calls
    std::int64_t samplesWritten_ = 0;
};

} // namespace quol

// Sound from whatever a frame holds to one fixed form.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "core/Handles.h"

namespace quol {

// The form a resampler delivers.
struct AudioTarget {
    int channels = 2; // in the default layout of that count
    AVSampleFormat format = AV_SAMPLE_FMT_S16;
    int sampleRate = 48000;
};

// True for sound that needs no conversion: interleaved 16-bit stereo at `sampleRate`.
inline bool isStereoS16(const AVFrame& frame, int sampleRate) {
    return frame.format == AV_SAMPLE_FMT_S16 && frame.ch_layout.nb_channels == 2 &&
           frame.sample_rate == sampleRate;
}

// One thread at a time.
class Resampler {
public:
    enum class Input {
        followed, // rebuilt whenever the input's rate, layout or format changes
        frozen,   // made for the first frame and never rebuilt; sound of another format or
                  // layout is refused, another rate goes through unnoticed
    };

    explicit Resampler(Input input = Input::followed) : input_(input) {}

    // Makes sure of a resampler from the form of `frame` to `target`. False when there can be none.
    bool prepare(const AVFrame& frame, const AudioTarget& target);

    // The frame as interleaved stereo of 16 bits at that rate, copied where it is that already.
    // Nothing where it cannot be converted.
    std::optional<std::vector<std::int16_t>> stereoS16(const AVFrame& frame, int sampleRate);

    // Room, in samples a channel, that a conversion of `samples` at `inputRate` may need.
    int capacity(int samples, int inputRate) const;

    // Converts one frame into the planes given, at most `room` samples a channel. Samples written,
    // negative on failure.
    int convert(const AVFrame& frame, std::uint8_t** planes, int room);

    // What `convert` had no room for: up to `room` more samples a channel, 0 when that was all.
    int convertMore(std::uint8_t** planes, int room);

    // The sound has ended: up to `room` samples a channel of what is still inside, 0 when that was
    // all. Until a reset no more sound may go in.
    int drain(std::uint8_t** planes, int room);

    // Whether `prepare` would leave everything as it is.
    bool fits(const AVFrame& frame, const AudioTarget& target) const {
        return context_ && (input_ == Input::frozen ? sameShape(frame) : sameKey(frame, target));
    }

    // Converts one frame and returns interleaved 16-bit samples; empty on failure. For a target of
    // AV_SAMPLE_FMT_S16.
    std::vector<std::int16_t> convertS16(const AVFrame& frame);

    explicit operator bool() const { return context_ != nullptr; }
    void reset() { context_.reset(); }

private:
    bool sameShape(const AVFrame& frame) const;
    bool sameKey(const AVFrame& frame, const AudioTarget& target) const;

    Input input_;
    SwrPtr context_;
    AudioTarget target_;
    int inputRate_ = 0;
    int inputFormat_ = AV_SAMPLE_FMT_NONE;
    ChannelLayout inputLayout_;
};

} // namespace quol

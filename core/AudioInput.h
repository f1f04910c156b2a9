// The sound side of a compositor's private sink.
#pragma once

#include <cstdint>
#include <mutex>

#include "core/AudioQueue.h"
#include "core/Resampler.h"

namespace quol {

// Takes sound of any form on the source's thread, keeps it as 16-bit stereo at one rate, and gives
// it out on the compositor's. Any thread.
class AudioInput {
public:
    static constexpr std::size_t maxRecords = 5000; // the oldest goes when more wait

    explicit AudioInput(int sampleRate) : rate_(sampleRate), queue_(maxRecords, sampleRate) {}

    // Queues one block with its time, 0.0 for one that has none. Null, an empty block and one that
    // cannot be converted are dropped.
    void push(const AVFrame* frame);

    // Copies up to `pairs` stereo samples, oldest first, and returns how many there were; the rest
    // of `target` is left as it is.
    std::size_t take(std::int16_t* target, std::size_t pairs);

    // Hands the same samples out where they lie, in pieces: `use(samples, pairs, before)`, under
    // the lock. They are gone then.
    template <typename Use>
    std::size_t consume(std::size_t pairs, Use use) {
        const std::lock_guard lock(mutex_);
        return queue_.consume(pairs, use);
    }

    // Like `take`, up to sound beyond `latest`, in seconds. Without a target it goes unheard.
    std::size_t takeDue(std::int16_t* target, std::size_t pairs, double latest);

    // Another rate from now on. What was queued at the old one is dropped.
    void setSampleRate(int sampleRate);

    void clear();

    // Stereo samples that wait.
    std::size_t pairs() const;
    std::size_t records() const;
    int sampleRate() const;

private:
    mutable std::mutex mutex_; // guards all below: the source's thread, the compositor's, a host's
    int rate_;
    AudioQueue queue_;
    Resampler resampler_;
};

} // namespace quol

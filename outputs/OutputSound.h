// The sound of an output, from a source's thread to the sound worker: 48 kHz stereo, 16 bits.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "core/AudioQueue.h"
#include "core/Clock.h"
#include "core/Resampler.h"

namespace quol {

inline constexpr int outputSampleRate = 48000;

// Stereo samples that go with one picture at that rate, 1920 where it is below 1. The whole part of
// the rate counts: 813 at 59.94.
int pairsPerPicture(double rate);

// Nanoseconds that the sound worker sleeps where there is no sound, and behind a block of `pairs`
// that the device has taken. A device that holds sound back itself is never waited for.
inline constexpr std::int64_t noSoundPause = 5 * nanosPerMilli;
std::int64_t soundPause(int pairs, bool deviceHoldsBack);

// (int16)(int)((float)sample * gain), which wraps beyond 16 bits; a product that no int holds, and
// one that is no number, gives 0.
std::int16_t applyGain(std::int16_t sample, float gain);

// What a format record's rate becomes before it goes to the device is up to two resamplers in a
// row. Sound is played in the order of its arrival, whatever its time.
//
// Any thread; pushes wait for each other.
class OutputSound {
public:
    // Converts one block and queues it; what cannot be converted is dropped. With 500 blocks
    // waiting the oldest goes.
    void push(const AVFrame& frame);

    // Takes up to `count` stereo samples, oldest first, whatever `pts` says; what is missing is
    // silence. Returns how many there were.
    int pop(double pts, std::int16_t* samples, int count);

    void clear();
    std::size_t records();

    // The rate that sound passes through on its way to 48000 Hz. One that no sound has, outside of
    // 1000 to 768000, is none of its own: a converter for it would take memory without end, or give
    // nothing.
    void setRate(int rate) {
        const bool isRate = rate >= 1000 && rate <= 768000;
        rate_.store(isRate ? rate : 0, std::memory_order_relaxed);
    }
    void setGain(float gain) { gain_.store(gain, std::memory_order_relaxed); }
    float gain() const { return gain_.load(std::memory_order_relaxed); }

private:
    static constexpr std::size_t maxRecords = 500;

    // What the second resampler is made for.
    struct InputKey {
        int rate = 0;
        int format = AV_SAMPLE_FMT_NONE;
        int channels = 0;
        bool operator==(const InputKey&) const = default;
    };

    std::vector<std::int16_t> converted(const AVFrame& frame);
    std::vector<std::int16_t> throughFirst(const AVFrame& frame, int rate);
    std::vector<std::int16_t> throughSecond(const AVFrame& frame);

    std::atomic<int> rate_{outputSampleRate}; // the host writes, `push` reads
    std::atomic<float> gain_{1.0F};           // the host writes, `push` reads

    std::mutex inputMutex_; // guards the resamplers; taken before queueMutex_
    Resampler first_{Resampler::Input::frozen};
    Resampler second_;
    InputKey secondKey_;

    std::mutex queueMutex_;
    AudioQueue queue_{maxRecords, outputSampleRate}; // guarded by queueMutex_
};

} // namespace quol

// The preview's sound: to the machine's device, and measured for the meter.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "core/Handles.h"
#include "core/Resampler.h"
#include "platform/sound/SoundDevice.h"

namespace quol {

// Peaks of one block of sound.
struct PeakSample {
    double time = 0.0; // of the block, seconds
    float left = 0.0F; // 0.0 to 1.0
    float right = 0.0F;
};

// Peaks that wait for the picture they belong to. Any thread.
class PeakQueue {
public:
    static constexpr std::size_t maxSamples = 5000; // the oldest goes when more wait

    void push(const PeakSample& sample);
    // Takes all that are no later than `latest`, seconds, and returns the last of them. Those that
    // are later wait, also before others: a source may have jumped back.
    std::optional<PeakSample> takeUntil(double latest);
    std::size_t size() const;

private:
    mutable std::mutex mutex_;
    std::deque<PeakSample> samples_; // guarded by mutex_
};

// Any thread. The device is opened on the thread that pushes the first block, and again when the
// sound changes its form.
class PreviewSound {
public:
    PreviewSound();
    ~PreviewSound();

    bool isEnabled() const { return enabled_; }
    // Whether sound is played: resumes the device, or pauses it and drops what it has not played.
    void setEnabled(bool enabled);
    // The same without dropping anything.
    void setEnabledKeeping(bool enabled);
    // The device alone, where there is one.
    void pause(bool paused);

    // Plays the block where sound is on, and keeps its peaks.
    void push(const AVFrame& frame);

    PeakQueue& peaks() { return peaks_; }

private:
    static constexpr std::size_t conversionBytes = 192000;

    bool isOpenedFor(const AVFrame& frame) const;
    void openDevice(const AVFrame& frame);
    void closeDevice();
    void play(const std::int16_t* samples, std::size_t pairs);

    std::atomic<bool> enabled_{false};
    std::mutex mutex_; // guards all below but the peaks
    std::unique_ptr<SoundDevice> device_;
    std::int64_t refusedAt_ = 0; // steady time at which no device was to be had; 0 for never
    int rate_ = 0;               // the form that the device was opened for, or refused
    int format_ = AV_SAMPLE_FMT_NONE;
    ChannelLayout layout_;
    Resampler resampler_;
    std::vector<std::int16_t> buffer_;
    PeakQueue peaks_;
};

} // namespace quol

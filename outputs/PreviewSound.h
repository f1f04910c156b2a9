// The preview's sound: to the machine's device, and measured for the meter.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "core/Clock.h"
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
    void clear();
    std::size_t size() const;

private:
    mutable std::mutex mutex_;
    std::deque<PeakSample> samples_; // guarded by mutex_
};

// How long a machine that had no device is left alone: a second after the first refusal, twice as
// long after each that follows, a minute at the most.
class RefusedDevice {
public:
    // Both in steady nanoseconds.
    bool mayBeAskedAt(std::int64_t now) const { return pause_ == 0 || now - since_ >= pause_; }
    void refused(std::int64_t now) {
        since_ = now;
        pause_ = pause_ == 0 ? firstPause : std::min(pause_ * 2, longestPause);
    }
    void forget() { pause_ = 0; }

private:
    static constexpr std::int64_t firstPause = nanosPerSecond;
    static constexpr std::int64_t longestPause = 60 * nanosPerSecond;

    std::int64_t since_ = 0;
    std::int64_t pause_ = 0; // 0 while it has not refused
};

// Any thread. The device is opened on the thread that pushes the first block, and again when the
// sound changes its form: the source waits for as long as the machine takes to open it.
class PreviewSound {
public:
    PreviewSound();
    ~PreviewSound();

    bool isEnabled() const { return enabled_; }
    // Whether sound is played: resumes the device, or pauses it and drops what it has not played.
    void setEnabled(bool enabled);
    // The same without dropping anything.
    void setEnabledKeeping(bool enabled);
    // Whether the source is paused. What waits is kept; the device runs where sound is on and the
    // source is not paused.
    void pause(bool paused);
    // Another source: nothing of the one before is played or measured any more, nor is it paused.
    void startAnew();

    // Plays the block where sound is on, and keeps its peaks.
    void push(const AVFrame& frame);

    PeakQueue& peaks() { return peaks_; }

private:
    static constexpr std::size_t conversionBytes = 192000;

    bool isOpenedFor(const AVFrame& frame) const;
    void openDevice(const AVFrame& frame);
    void closeDevice();
    void play(const std::int16_t* samples, std::size_t pairs);
    void pauseOrResume();

    std::atomic<bool> enabled_{false};
    std::mutex mutex_; // guards all below but the peaks
    std::unique_ptr<SoundDevice> device_;
    bool paused_ = false; // the source is
    RefusedDevice refused_;
    int rate_ = 0; // the form that the device was opened for, or refused
    int format_ = AV_SAMPLE_FMT_NONE;
    ChannelLayout layout_;
    Resampler resampler_;
    std::vector<std::int16_t> buffer_;
    PeakQueue peaks_;
};

} // namespace quol

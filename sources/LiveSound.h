// The way of live sound from the device to the sinks.
#pragma once

#include <mutex>
#include <string>

#include "core/FilterGraph.h"
#include "core/Resampler.h"
#include "sources/LiveState.h"

namespace quol {

// Time stamp, gain, the host's filters, peak levels, the wanted form. Any thread, one block after
// the other: the mutex is held from the gain to the sinks, also while sound is converted on the
// thread of a card's driver. Nobody but that thread and a run's own loop ever waits for it.
class LiveSound {
public:
    LiveSound(const LiveSettings& settings, LiveState& state, const LiveOutlets& outlets)
        : settings_(settings), state_(state), outlets_(outlets) {}

    // Takes one block; null is ignored. The frame stays the caller's; its time stamp may be filled
    // in, and its 16-bit samples are changed by the gain.
    void processAudioFrame(AVFrame* frame);

    // The end of a run: gives the filters back, unless a driver's call still uses them.
    void reset();

private:
    bool filterText(std::string& text) const;
    bool initAudioFilters(const AVFrame& frame, const std::string& text);
    void passOn(AVFrame& frame);
    void processAudioFrameInternal(AVFrame& frame);
    bool prepareResampler(const AVFrame& frame, const AudioTarget& target);
    void resample(const AVFrame& frame, const AudioTarget& target);

    // What a resampler was made for.
    struct Form {
        int rate = 0;
        int channels = 0;
        int format = -1;
        int targetRate = 0;
        int targetChannels = 0;
        bool operator==(const Form&) const = default;
    };

    const LiveSettings& settings_;
    LiveState& state_;
    const LiveOutlets& outlets_;
    std::mutex mutex_; // guards all below: loops, a card's driver, the end of a run
    FilterGraph graph_;
    FramePtr filtered_;
    std::string graphText_;
    Resampler resampler_;
    Form form_;
};

} // namespace quol

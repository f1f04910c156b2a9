// What the loops of a live input share with the object that runs them.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>

#include "core/AudioPeak.h"
#include "core/Clock.h"
#include "core/Timecode.h"
#include "quolsdk/SharedText.h"
#include "quolsdk/formats.h"

struct AVFrame;
class LFilter;

namespace quol {

// Written by hosts, read by the loops.
struct LiveSettings {
    std::atomic<bool> timecode{false};
    std::atomic<bool> gpu{false};
    std::atomic<std::int32_t> timecodeSource{0};
    std::atomic<std::int32_t> audioGain{100}; // percent
    std::atomic<std::int32_t> ndiBandwidth{100};
    SharedText timecodeStart{"01:00:00:00"};

    videoFormatProps videoFormat() const {
        const std::lock_guard lock(mutex);
        return video;
    }
    audioFormatProps audioFormat() const {
        const std::lock_guard lock(mutex);
        return audio;
    }

    mutable std::mutex mutex; // guards all below
    videoFormatProps video{1, 0, 0, 0.0, 0};
    audioFormatProps audio;
    LFilter* videoFilter = nullptr; // not owned; its text is read under the mutex
    LFilter* audioFilter = nullptr; // not owned; its text is read under the mutex
};

// Where frames go that are done.
struct LiveOutlets {
    std::function<void(AVFrame*)> picture;
    std::function<void(AVFrame*)> sound;
    std::function<void(const AudioPeak&)> peak;
};

// Written by the object, its loops and a card's driver; read by all of them.
struct LiveState {
    std::atomic<bool> running{false};
    std::atomic<std::int64_t> startTime{0}; // steady nanoseconds: where time stamps begin
    std::atomic<double> detectedFps{25.0};
    std::atomic<std::int32_t> detectedWidth{0};
    std::atomic<std::int32_t> detectedHeight{0};
    SharedText timecode{noTimecode};
    Sleeper sleeper; // the loops sleep, the end of the run wakes

    std::int64_t sinceStart() const { return steadyNow() - startTime; }
    void setSize(int width, int height) {
        detectedWidth = width;
        detectedHeight = height;
    }
};

inline double liveFps(const LiveSettings& settings, const LiveState& state) {
    const double wanted = settings.videoFormat().fps;
    return wanted > 0.0 ? wanted : fpsOrDefault(state.detectedFps);
}

} // namespace quol

// What a live input and its loops work with, in one place.
#pragma once

#include <utility>

#include "sources/LivePictures.h"
#include "sources/LiveSound.h"
#include "sources/LiveState.h"

namespace quol {

struct LiveHub {
    explicit LiveHub(LiveOutlets where) : outlets(std::move(where)) {}

    void processVideoFrame(AVFrame* frame,
                           LivePictures::Contents contents = LivePictures::Contents::moving) {
        pictures.processVideoFrame(frame, contents);
    }
    void processAudioFrame(AVFrame* frame) { sound.processAudioFrame(frame); }

    LiveSettings settings;
    LiveState state;
    const LiveOutlets outlets;
    LivePictures pictures{settings, state, outlets};
    LiveSound sound{settings, state, outlets};
};

// One run of a device: made by a start, ended by a stop. The object's thread is in `run` until the
// hub's `running` is cleared.
class LiveRun {
public:
    LiveRun() = default;
    LiveRun(const LiveRun&) = delete;
    LiveRun& operator=(const LiveRun&) = delete;
    virtual ~LiveRun() = default;

    virtual void run() = 0;
    // Called once by the stop, behind `running`, before the thread is waited for.
    virtual void end() {}
    // Called once by the stop when the calls of a driver have left, or were waited for in vain.
    virtual void settle() {}
};

} // namespace quol

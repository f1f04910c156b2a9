// The newest picture of a source, as a compositor's sink keeps it.
#pragma once

#include <cstdint>
#include <limits>
#include <mutex>

#include "core/Clock.h"
#include "core/Handles.h"

namespace quol {

// Written by the source's thread, read by the compositor's.
class PictureSlot {
public:
    // Takes a reference; null is ignored.
    void put(const AVFrame* frame) {
        FramePtr newest = cloneFrame(frame);
        if (!newest) return;
        const std::lock_guard lock(mutex_);
        frame_.swap(newest);
        time_ = steadyNow();
    }

    void clear() {
        const std::lock_guard lock(mutex_);
        frame_.reset();
    }

    // A reference; null for none, and for one that came before `since` on the steady clock.
    FramePtr newest(std::int64_t since = std::numeric_limits<std::int64_t>::min()) {
        const std::lock_guard lock(mutex_);
        if (!frame_ || time_ < since) return nullptr;
        return cloneFrame(frame_.get());
    }

private:
    std::mutex mutex_; // guards all below
    FramePtr frame_;
    std::int64_t time_ = 0; // steady clock
};

} // namespace quol

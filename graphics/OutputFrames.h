// The pictures that go out, one after the other, each made from the one before.
#pragma once

#include <vector>

#include "core/Handles.h"
#include "core/PicturePool.h"
#include "graphics/PixelRect.h"

namespace quol {

// A picture that somebody else holds is never written to. One that nobody holds any more is used
// again: only what has changed since it was the current one has to be brought up to date. One
// thread at a time.
class OutputFrames {
public:
    // All of `canvas`, whose edges are even.
    explicit OutputFrames(const PixelRect& canvas) : canvas_(canvas) {}

    // A picture like the current one, to be changed within `changes` only (edges even) and then to
    // become the current one. Null when memory is short.
    AVFrame* next(const std::vector<PixelRect>& changes);
    void makeCurrent(); // what `next` gave

    // Null before the first.
    const AVFrame* current() const;

private:
    struct Slot {
        FramePtr frame;
        DirtyRegion stale; // where it differs from the current picture
    };

    Slot* freeSlot();

    static constexpr std::size_t none = static_cast<std::size_t>(-1);

    const PixelRect canvas_;
    PicturePool pool_;
    std::vector<Slot> slots_;
    std::size_t current_ = none; // index of the current picture
    std::size_t next_ = none;    // index of that in the making
};

} // namespace quol

// What a compositor hangs into each of its sources.
#pragma once

#include <cstdint>

#include "compositing/PictureSlot.h"
#include "core/AudioInput.h"
#include "core/Handles.h"
#include "quolsdk/LSink.h"

class LObject;

namespace quol {

// Keeps the newest picture with the time it came, and the sound as a queue. A source that renders
// on demand is asked for its pictures, what it pushes is dropped; its sound is still pushed.
//
// Written by the source's thread, read by the compositor's.
class CompositorSink : public LSink {
public:
    // How long a picture counts as current.
    static constexpr std::int64_t freshNanos = 1'000'000'000;

    // Sound is kept at `sampleRate`.
    explicit CompositorSink(int sampleRate) : sound_(sampleRate) {}
    CompositorSink(const CompositorSink&) = delete;
    CompositorSink& operator=(const CompositorSink&) = delete;
    // Signs off from the source that is pulled. The sink must be detached by now.
    ~CompositorSink() override;

    // Asks `source` from now on, if it renders on demand. Called once, before the sink is attached.
    void pullFrom(LObject* source);

    // The source that is asked; null where pictures are pushed.
    LObject* pullSource() const { return pullSource_; }

    void pushVideoFrame(AVFrame* frame) override;
    void pushAudioFrame(AVFrame* frame) override;
    // Drops the sound and the picture.
    void flush() override;

    // What the source that is pulled renders now, else the picture that was pushed, unless it is
    // older than `freshNanos`. Null without one.
    FramePtr newestFrame();

    AudioInput& sound() { return sound_; }

private:
    LObject* pullSource_ = nullptr;
    AudioInput sound_;
    PictureSlot picture_;
};

} // namespace quol

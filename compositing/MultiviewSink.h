// The private sink of a multiview's tile.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>

#include "compositing/ForwardedTime.h"
#include "compositing/PictureSlot.h"
#include "core/AudioPeak.h"
#include "quolsdk/LSink.h"

class LObject;

namespace quol {
class WallClock;
} // namespace quol

// Keeps the newest picture and meters the sound. A multiview only watches: it never asks a source
// for pictures, so that no source runs by the pace of a wall.
//
// Written by the source's thread, read by the multiview's.
class MultiviewSink final : public LSink {
public:
    // With `forwards` the sound goes on to all sinks of `owner`, in the source's thread. With a
    // clock it goes on in the times of that; without, in its own.
    MultiviewSink(LObject* owner, bool forwards, const quol::WallClock* clock = nullptr)
        : owner_(owner), forwards_(forwards), clock_(clock) {}

    void pushVideoFrame(AVFrame* frame) override { picture_.put(frame); }
    // Sound that cannot be read is neither metered nor handed on.
    void pushAudioFrame(AVFrame* frame) override;
    // Drops the picture.
    void flush() override { picture_.clear(); }

    // A reference to the newest picture, however old; null without one.
    quol::FramePtr newestPicture() { return picture_.newest(); }

    // Peaks that rise at once and fall by 5 percent a block of sound; 1.0 is full scale. Nothing
    // where no sound has come since `since` on the steady clock.
    std::optional<quol::AudioPeak> levels(std::int64_t since) const;

private:
    void meter(const AVFrame& frame);
    void forward(AVFrame* frame);
    quol::FramePtr onWallTime(const AVFrame& frame);

    LObject* const owner_;
    const bool forwards_;
    const quol::WallClock* const clock_;
    quol::PictureSlot picture_;

    mutable std::mutex levelMutex_; // guards all below
    quol::ForwardedTime time_;
    quol::AudioPeak levels_;
    bool hasSound_ = false;
    std::int64_t soundTime_ = 0; // steady clock
};

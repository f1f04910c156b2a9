/// @file
/// The consumer side of the media graph.
#pragma once

#include "quolsdk/export.h"

struct AVFrame;

/// A consumer of pictures and sound. Derive from it and attach it to a source with
/// LObject::addSink.
///
/// Threads: all four operations are called on the source's worker thread (`flush` and
/// `setPaused` also on the host's thread that plays, pauses or stops the source), always while the
/// source holds its list of sinks. So they must return soon, and must never add or remove a sink
/// of the same source, nor pause or stop it. A sink that is attached to several sources is called
/// from several threads at once and locks for itself.
///
/// Lifetime: a sink must be detached from every source before it is destroyed.
class QUOLSDK_API LSink {
public:
    LSink() = default;
    LSink(const LSink&) = delete;
    LSink& operator=(const LSink&) = delete;
    virtual ~LSink();

    /// Receives one picture. The frame is borrowed for the call: to keep it, take a reference with
    /// `av_frame_clone` (quol::cloneFrame) and never write to its data, which others share.
    virtual void pushVideoFrame(AVFrame* frame) = 0;

    /// Receives one block of sound, borrowed like a picture.
    virtual void pushAudioFrame(AVFrame* frame) = 0;

    /// Forget what is queued: the source starts, jumps or stops.
    virtual void flush();

    /// The source is paused (true) or runs on (false).
    virtual void setPaused(bool paused);
};

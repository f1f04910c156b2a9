/// @file
/// The source side of the media graph.
#pragma once

#include <atomic>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "quolsdk/export.h"

struct AVFrame;
class LSink;

/// A source of pictures and sound: it makes frames on a thread of its own and hands each one to
/// the sinks attached to it.
///
/// Frames are `AVFrame`s. One given to a push is borrowed; one returned by a call is owned by the
/// caller, who frees it with `av_frame_free`. A connection never owns: source and sink live as
/// long as the host keeps them, and the host detaches a sink before it destroys either side.
///
/// Threads: every operation may be called from any thread, but none of addSink, removeSink from
/// inside a push of the same source (the list's mutex is held there and is not recursive).
///
/// Lock order: a compositor's own mutex, then `sinksMutex`, then `frameQueueMutex`, then a sink's
/// own mutex.
class QUOLSDK_API LObject {
public:
    /// Most frames that wait in `frameQueue`.
    static constexpr std::size_t maxQueuedFrames = 50;

    LObject() = default;
    LObject(const LObject&) = delete;
    LObject& operator=(const LObject&) = delete;
    /// Frees the queued frames. Sinks are not touched: they must be detached by now.
    virtual ~LObject();

    /// Attaches a sink behind those already there. There is no test for a sink that is attached
    /// already: it then gets every frame twice, until it has been removed twice. Waits for a
    /// distribution in progress. Prints one line.
    virtual void addSink(LSink* sink);

    /// Detaches the first entry of this sink and prints whether there was one. Waits for a
    /// distribution in progress: once it has returned, no further push reaches that entry.
    virtual void removeSink(LSink* sink);

    /// Time code of the current position, "hh:mm:ss:ff"; "00:00:00:00" where a class has none.
    virtual std::string getTimeCode();

    /// True when the object renders a picture on demand (renderVideoFrame).
    virtual bool canPullRender() const;

    /// Renders one picture now; owned by the caller. Null where a class cannot.
    virtual AVFrame* renderVideoFrame();

    /// Registers, or signs off, one consumer that will ask by renderVideoFrame.
    virtual void addPullConsumer();
    virtual void removePullConsumer(); ///< @copydoc addPullConsumer

    /// Stores the running state: 0 unless a class says otherwise.
    virtual void statusGet(int& status);

    virtual double getFPS();           ///< frames per second; 25.0 where none is known
    virtual int getWidth();            ///< pixels; 0 where none is known
    virtual int getHeight();           ///< pixels; 0 where none is known
    virtual std::string getModeName(); ///< name of the input mode; "Default" where there is none

    /// Hands one picture on: to each sink in the order of attachment, or, with no sink at all, as
    /// a reference into `frameQueue`, whose oldest frame goes when it holds more than 50. The frame
    /// stays the caller's.
    void distributeVideoFrame(AVFrame* frame);

    /// Hands one block of sound to each sink; with no sink it is dropped. The frame stays the
    /// caller's.
    void distributeAudioFrame(AVFrame* frame);

protected:
    /// Calls LSink::flush on every sink.
    void flushSinks();
    /// Calls LSink::setPaused on every sink.
    void setSinksPaused(bool paused);
    /// Frees every queued frame.
    void clearFrameQueue();
    /// Number of frames in `frameQueue`.
    std::size_t queuedFrames();

    std::deque<AVFrame*> frameQueue; ///< owned references; guarded by `frameQueueMutex`
    std::mutex frameQueueMutex;      ///< guards `frameQueue`
    std::vector<LSink*> sinks;       ///< not owned; guarded by `sinksMutex`
    std::mutex sinksMutex;           ///< held for the whole of every distribution
    /// Peak of the latest block of sound, 0.0 to 1.0. Written by the worker of the classes that
    /// measure, read by the object itself and those
    /// derived from it. Floating-point sound beyond full scale gives more than 1.0.
    std::atomic<float> audioPeakLeft{0.0F};
    std::atomic<float> audioPeakRight{0.0F}; ///< @copydoc audioPeakLeft
};

/// @file
/// A short clip with alpha, held in memory.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "quolsdk/FrameHandle.h"
#include "quolsdk/LObject.h"

namespace quol {
class MediaInput;
class Sleeper;
} // namespace quol

/// A source of one short clip with alpha, as it runs over the program to hide a cut. The whole clip
/// is decoded into memory, planar YUV 4:2:0 8-bit with alpha (YUVA420P) in the size asked for, so
/// that a start costs no decoding. It plays once at a fixed rate, or gives the picture for a
/// progress between 0 and 1. No sound.
///
/// Frames carry no timing of their own: a picture comes when it is due. With no sink at all the
/// latest 50 pictures are held, as LObject::distributeVideoFrame says.
///
/// Threads: any, also several at once. From inside a push of the same stinger `stop`, `clear`,
/// `setPlaybackRate` and the questions (`is...`, `get...`, `statusGet`) are allowed, and `playOnce`
/// does nothing; `load` and the destructor must not be called there. Elsewhere `playOnce`, `stop`,
/// `load` and the destructor wait for the push in progress: whoever calls them must not hold a lock
/// that a sink takes in its push.
class QUOLSDK_API LStinger : public LObject {
public:
    LStinger();
    /// Cancels a load in progress and waits for it, stops the playback and frees the clip.
    ~LStinger() override;

    /// Takes `fps` as the playback rate, stops the playback, frees the clip, and decodes the best
    /// video stream of `path` in `width` by `height` pixels. A path with a "%" is the pattern of an
    /// image sequence ("wipe_%03d.png"). True when there is at least one picture; what is damaged
    /// is left out. False, with a line on the error stream and an empty stinger, when there is
    /// none, when the size is none that a picture can have, and when the clip does not fit into the
    /// memory that is available. Pictures without alpha are opaque.
    ///
    /// One load at a time; a second one waits. Questions and playback meet an empty stinger
    /// meanwhile and never wait for the decoder. Decodes on the calling thread, at its priority.
    bool load(const std::string& path, int width, int height, double fps);

    /// Ends a load in progress, and every later one, with false, until allowLoad. It lasts, so that
    /// it is not lost on a load that is just about to begin. Does not wait.
    void cancelLoad();
    void allowLoad(); ///< takes cancelLoad back

    /// Frees the clip; a playback ends at its next picture. A load in progress goes on.
    void clear();

    /// Plays the clip from its first picture on a thread of its own, at the rate that holds now; a
    /// playback in progress ends first. Does nothing when there is no clip; where there is no
    /// thread to be had a line on the error stream says so.
    void playOnce();

    /// Ends the playback and waits for it. From inside a push it does not wait: the picture being
    /// pushed is the last one. The last picture stays where the sinks have it.
    void stop();

    /// The picture at a progress, held within 0 and 1: 0 is the first one, 1 the last one; no
    /// number counts as 0. Owned by the caller, who frees it with `av_frame_free`. Null when there
    /// is no clip.
    AVFrame* getFrameByProgress(double progress);

    bool isLoaded() const;  ///< there is a clip
    bool isPlaying() const; ///< from playOnce until the last picture has had its time
    int getFrameCount();    ///< pictures of the clip, 0 without one

    double getPlaybackRate() const;    ///< pictures a second, as set; at first 25
    void setPlaybackRate(double rate); ///< counts from the next playOnce; 0 and below plays at 25

    void statusGet(int& status) override; ///< 1 while it plays, else 0
    double getFPS() override;             ///< the rate it plays at

private:
    void playbackLoop();
    void endPlayback();
    quol::FramePtr frameAt(std::size_t index);
    void replaceFrames(std::vector<quol::FramePtr> clip);

    std::mutex loadMutex; ///< one load at a time; taken before every other lock
    /// Used under `loadMutex`; only MediaInput::interrupt is called from elsewhere.
    const std::unique_ptr<quol::MediaInput> input;
    std::atomic<bool> loadCancelled{false};

    std::mutex frameMutex; ///< guards `frames`; held for moments only
    std::vector<quol::FramePtr> frames;
    std::atomic<bool> loaded{false}; ///< written under `frameMutex`

    std::mutex threadMutex; ///< guards `thread`: one start or end at a time
    std::thread thread;     ///< runs playbackLoop
    std::atomic<bool> playing{false};
    std::atomic<double> playbackRate;
    const std::unique_ptr<quol::Sleeper> sleeper;
};

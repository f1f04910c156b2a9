// Sound on its way from a source's thread to the encoder of a session.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include "core/Resampler.h"
#include "outputs/AudioTrack.h"

namespace quol {

class EncoderSession;

// `push` and `clear` from any thread; `open` and `close` while no encoding thread runs.
class EncoderSound {
public:
    EncoderSound() = default;

    // Opens the encoder of that name (empty: the muxer's default, else "aac") for 48 kHz stereo.
    // Without an encoder of the name there is no sound, which is no error; false when it does not
    // open.
    bool open(EncoderSession& session, std::string encoder, int kilobits,
              AudioTrack::Waiting waiting);
    // Sound that comes behind this is dropped.
    void close();

    // Queues the sound as 16-bit stereo, with `time` where it has none of its own. The conversion
    // is made for the first block and never rebuilt: sound of another format or layout is dropped.
    // So is all while `refusing`, which is asked as by EncoderQueue.
    void push(const AVFrame& frame, double time, const std::atomic<bool>& refusing);
    // Drops the sound that waits.
    void clear();

    // The encoding thread's; null without sound.
    AudioTrack* track() const { return track_.get(); }

private:
    std::mutex mutex_; // guards all below; `track` is read without, since only open and close write
    std::unique_ptr<AudioTrack> track_;
    Resampler resampler_{Resampler::Input::frozen};
    int rate_ = 0; // the encoder's, Hz
};

} // namespace quol

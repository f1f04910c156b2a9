// The sound of a file that is being written: generated against the time of the pictures.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

#include "core/AudioQueue.h"
#include "core/Handles.h"
#include "core/Resampler.h"

namespace quol {

// Takes sound from a source's thread as it comes and gives it to an encoder exactly as far as the
// pictures have come. What is missing is silence, so the two tracks cannot drift apart.
//
// Where a picture stands in the file and what time the source gave it are two clocks. The first
// picture ties one to the other, and sound stands where its own time says. When the clocks part
// (the source jumped, or runs faster than the wall clock) they are tied anew. Sound that comes
// behind its picture, as it does from many files, is waited for: the file is none the worse when
// the sound of a moment is written a little after its picture. What is sent live is: its pictures
// wait for their sound. There it is waited for only as long as sound keeps coming. Sound that is
// counted by a clock of its own is taken in the order of its arrival.
//
// `push` and `clear` from any thread; `advance` and `finish` from the encoding thread alone.
class AudioTrack {
public:
    // Encodes one frame of sound, in the encoder's format and with its time stamp.
    using Write = std::function<void(const AVFrame&)>;

    // Whether sound that is missing is waited for in any case.
    enum class Waiting { always, whileSoundComes };

    // `pictureLength` in seconds: how far the clocks may part before they are tied anew.
    AudioTrack(const AVCodecContext& encoder, double pictureLength, Write write,
               Waiting waiting = Waiting::always);

    void push(AudioRecord record);
    void clear();

    // A picture of the source's time `sourceTime` stands at `fileTime` in the file; both seconds.
    // The first picture only ties the clocks. From the second on the sound is written up to it, but
    // for the part of a chunk that is left until the next, and for what has not come yet; behind a
    // long gap no more than ten seconds at a time, for pictures wait meanwhile.
    void advance(double sourceTime, double fileTime);

    // The pictures have ended: writes what is left up to the last of them, as long as `goOn` says
    // so.
    void finish(const std::function<bool()>& goOn = [] { return true; });

    // Takes stereo samples, oldest first, whatever their time; what is missing is silence. Returns
    // how many there were.
    int popAudioSamplesForPts(double pts, std::int16_t* samples, int count);

private:
    void tie(double sourceTime, double fileTime);
    void align();
    double longestWaitAt(double fileTime);
    bool soundIsThere();
    bool frontIsInPlace();
    int takeSound();
    // The source's time of the next sample, and how far behind it sound is still that of the
    // pictures.
    double due() const { return seconds(samplesWritten_ + filled_) - offset_; }
    double reach() const;
    double seconds(std::int64_t samples) const {
        return static_cast<double>(samples) / sampleRate_;
    }
    void fillChunk();
    void writeChunk();
    FramePtr encoderFrame();

    std::mutex mutex_; // guards the next two
    AudioQueue queue_;
    std::int64_t pushes_ = 0;

    // The encoding thread's own.
    const AVSampleFormat format_;
    const int sampleRate_;
    const int chunk_; // stereo samples in a frame of the encoder
    const double pictureLength_;
    const Waiting waiting_;
    ChannelLayout layout_;
    Write write_;
    Resampler converter_{
        Resampler::Input::frozen};      // for the formats that have no code of their own
    std::vector<std::int16_t> samples_; // the chunk to come
    int filled_ = 0;                    // stereo samples of it that are there
    std::int64_t samplesWritten_ = 0;
    bool tied_ = false;
    double offset_ = 0.0;  // file time - source time
    double target_ = 0.0;  // file time of the latest picture: how far the sound goes
    double parting_ = 0.0; // smoothed distance of the two clocks, seconds
    bool timed_ = true;    // sound is placed by its time
    bool alignPending_ = false;
    std::int64_t waited_ = 0;   // samples of silence written meanwhile
    std::int64_t patience_ = 0; // samples of silence to go while sound of the right time is due
    std::int64_t silence_ = 0;  // samples of silence before the queue's front is due
    std::int64_t pushesSeen_ = 0;
    std::optional<double> lastHeard_; // file time of the latest picture that found new sound
};

} // namespace quol

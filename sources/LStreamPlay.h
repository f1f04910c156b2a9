/// @file
/// The player of network streams.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "quolsdk/LObject.h"
#include "quolsdk/formats.h"

namespace quol {
class MediaInput;
class PauseTimer;
class Sleeper;
class StreamPacing;
} // namespace quol

/// Plays a network stream as a source: RTMP, SRT, UDP, HLS, whatever FFmpeg opens from an address.
///
/// One worker thread connects, reads, decodes, paces and distributes. An address that cannot be
/// opened, and a stream that breaks off, are tried again once a second for as long as it plays;
/// each attempt that fails writes a line to standard output. 30 seconds without a byte count as a
/// break.
///
/// The first picture of a connection goes out at once, the others by the distance of their time
/// stamps from its own; a late one goes at once, and where the stamps jump ahead by two seconds or
/// more the clock goes on from there. Pictures carry the stream's time stamps and no time base.
/// Sound goes out as it is read, as 16-bit stereo without a time stamp. Without a sink pictures are
/// held in a queue of 50, the oldest going first, and sound is dropped.
///
/// Properties (setProps):
///
/// | Key | Value | Effect |
/// |---|---|---|
/// | "audio_gain" | whole number | percent; held within the range of 16 bits |
/// | "scaling_quality" | whole number | 1 neighbour, 2 bilinear, 3 lanczos, else bicubic |
/// | "scale_type" | text | stored only |
/// | "audio_track" | whole number | stored only: see switchAudioTrack |
///
/// Threads: any operation from any thread. From inside a push of this source none of `pause`,
/// `resume`, `ready`, `play`, `stop`, `streamUrlSet` and the destructor. `play`, `stop`,
/// `streamUrlSet` and the destructor wait for each other, and return within a second.
class QUOLSDK_API LStreamPlay : public LObject {
public:
    LStreamPlay();
    /// Stops.
    ~LStreamPlay() override;

    /// Sets the address. Another one stops what plays; it does not start again by itself.
    void streamUrlSet(const std::string& url);

    /// Starts; true also when it plays already. False without an address, and when the system gives
    /// no thread. An address that cannot be opened yet is no failure.
    bool play();

    /// Ends the worker and closes the stream; nothing when it does not play.
    void stop();

    /// Stops reading. A delay above 0 (milliseconds) lets the pause end by itself. Servers drop
    /// those who do not read for long: it then connects anew when it goes on.
    void pause(double delayMs = 0.0);

    /// Goes on where it paused; the time paused does not count.
    void resume();

    /// Flushes the sinks and sets the clock of the pictures to now.
    void ready();

    /// Whether an address can be opened, and closes it again. Takes as long as that takes, five
    /// seconds at the most; what plays is left alone.
    bool checkStream(const std::string& url);

    /// Takes the sound of another stream of the open address, by its index among all of them, from
    /// the next packet on. No sound for an index that is none or not of sound; below 0 for none.
    /// One that has not sent anything yet, where the container does not announce it, is heard once
    /// it does.
    /// Without effect while it does not play; a connection made anew begins with the best one.
    void switchAudioTrack(int index);

    /// Peak levels of the latest block of sound, 0.0 to 1.0.
    void getAudioPeak(float& left, float& right);
    void resetAudioPeak(); ///< sets both to 0 until the next block

    void setAudioDelay(int ms); ///< stored; without effect
    void setVideoDelay(int ms); ///< @copydoc setAudioDelay

    /// Sets a property of the table above; unknown keys are ignored.
    /// @throws std::invalid_argument, std::out_of_range for a value that is no number
    void setProps(const std::string& key, const std::string& value);

    /// Output format. Below mode 2 it becomes the stream's own size and rate with each connection.
    /// Pictures are scaled to it; the rate is never converted.
    void setVideoFormat(const videoFormatProps& format);
    void getVideoFormat(videoFormatProps& format); ///< the format in use, expanded
    /// Output format: in any mode but 1 a rate above 0 resamples; channels and bits do not count.
    /// The bits stay as they are given, whatever the mode.
    void setAudioFormat(const audioFormatProps& format);
    void getAudioFormat(audioFormatProps& format); ///< the format in use, expanded

    std::string getTimeCode() override;   ///< "00:00:00:00": a live stream has none
    void statusGet(int& status) override; ///< 1 between play and stop, connected or not; else 0
    double getFPS() override;             ///< the format's rate, else the stream's, else 25.0
    /// Pixels of the stream's pictures, as they were when it was opened, or else of the first one:
    /// 0 before.
    int getWidth() override;
    int getHeight() override; ///< @copydoc getWidth

private:
    class QUOLSDK_LOCAL DecodeLoop;

    void decodeLoopInternal();
    void stopLocked();
    void resumeClock();
    void endTimedPause();
    void forgetPause();

    /// Serialises play, stop and streamUrlSet; taken before every other mutex.
    std::mutex controlMutex;
    std::string url;    ///< guarded by `controlMutex`; the worker reads it, none changes it then
    std::thread thread; ///< guarded by `controlMutex`

    /// The demuxer: the worker's; only MediaInput::interrupt is called across.
    const std::unique_ptr<quol::MediaInput> input;

    std::mutex settingsMutex; ///< guards the next six: hosts and worker write, both read
    videoFormatProps videoFormat;
    audioFormatProps audioFormat;
    std::string scaleType = "letter-box";
    double sourceFps = 0.0; ///< written by the worker, as are the next two
    int sourceWidth = 0;
    int sourceHeight = 0;

    /// Held from a change of pause until the sinks know of it, by hosts and by the worker that ends
    /// a timed one: whoever changes it last tells them last. Behind `controlMutex`, before the
    /// others.
    std::mutex pauseMutex;
    std::mutex clockMutex; ///< guards the next two: hosts and worker
    const std::unique_ptr<quol::StreamPacing> pacing;
    const std::unique_ptr<quol::PauseTimer> pauseTimer;

    // Flags and numbers: hosts write, the worker reads, and the other way round where it says so.
    std::atomic<bool> playing{false};
    std::atomic<bool> paused{false};    ///< cleared by the worker too: a timed pause ends
    std::atomic<bool> connected{false}; ///< written by the worker alone, which clears it at its end
    /// The stream asked for; `noTrackWanted` for none. Taken by the worker.
    std::atomic<std::int64_t> wantedTrack;
    std::atomic<bool> audioEnabled{true};
    std::atomic<std::int32_t> scalingQuality{0};
    std::atomic<std::int32_t> scalerFlags{0};
    std::atomic<std::int32_t> audioGain{100};
    std::atomic<std::int32_t> audioTrack{0};
    std::atomic<std::int32_t> audioDelayMs{0};
    std::atomic<std::int32_t> videoDelayMs{0};

    const std::unique_ptr<quol::Sleeper> sleeper; ///< the worker sleeps, stop wakes
};

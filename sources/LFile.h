/// @file
/// The file player.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "quolsdk/LObject.h"
#include "quolsdk/formats.h"

class LFilter;
struct AVCodecContext;

namespace quol {
class PauseTimer;
class Sleeper;
} // namespace quol

/// Plays one media file or image sequence as a source.
///
/// States: closed; running (`play`, `resume`, `setPos`); paused (`pause`, `ready`); holding the
/// last picture at the end of the file (property "eof_hold", the default); ended (end of the file
/// without it, or the out point without "loop"). Positions are milliseconds of the file's own time.
///
/// One worker thread demuxes, decodes, filters, paces and distributes. Pictures are held back until
/// their time on the steady clock; sound goes out as it is decoded, just ahead of the pictures it
/// belongs to, or by its own time where there are none. Attach the sinks before `play`: with none
/// attached the player stops after 15 pictures until the next `setPos`.
///
/// Properties (setProps):
///
/// | Key | Value | Effect |
/// |---|---|---|
/// | "loop" | boolean | at the end start again from 0, at the out point from the in point |
/// | "rate", "speed" | double | playback rate; 0 and below pace as 1.0; sound only near 1.0 |
/// | "scale_type" | text | "letter-box" (default), "crop", anything else stretches |
/// | "scaling_quality" | whole number | 1 neighbour, 2 bilinear, 4 lanczos, else bicubic |
/// | "deinterlace" | boolean | frames marked as interlaced are deinterlaced |
/// | "eof_hold" | boolean | at the end stay on the last picture (default true) |
/// | "timecodeSource" | whole number | 0 stamps the time of day, else the file's time code |
/// | "audio_gain", "audio_track", "gpu" | | stored only |
///
/// Sound goes out while the rate is within 0.01 of 1.0 and is dropped at any other.
///
/// Threads: any operation from any thread. From inside a push of this source none of `play`,
/// `ready`, `pause`, `resume`, `stop`, `fileNameSet` and the destructor; a `setPos` from there ends
/// a pause when the push is over. `play`, `ready`, `stop`, `fileNameSet` and the destructor wait
/// for each other.
class QUOLSDK_API LFile : public LObject {
public:
    LFile();
    /// Stops.
    ~LFile() override;

    /// Sets the file to play; a "%" makes it the pattern of an image sequence ("shot_%04d.png").
    /// Another name stops what plays.
    void fileNameSet(const std::string& path);

    /// Opens the file and starts, or resumes when it plays already. False when the file cannot be
    /// opened. Pictures or sound of a codec without a decoder are left out: a file that has nothing
    /// else runs and shows nothing. Starts at the beginning, or where `setPos` has pointed since
    /// the last `stop`; not at the in point.
    bool play();

    /// Opens the file and stands paused; no picture is forced.
    void ready();

    /// Holds the picture. A delay above 0 (milliseconds) lets the pause end by itself.
    void pause(double delayMs = 0.0);

    /// Goes on; the time paused does not count.
    void resume();

    /// Jumps. The picture at that position comes next, and a paused file runs on.
    void setPos(double ms);

    /// Jumps to a time code of a file that has one; a text of other than four numbers is ignored.
    void setPosTC(const std::string& timecode);

    /// Ends the worker and closes the file. Returns within a second.
    void stop();

    /// Sets a property of the table above; unknown keys are ignored.
    /// @throws std::invalid_argument, std::out_of_range for a value that is no number
    void setProps(const std::string& key, const std::string& value);

    /// Output format. Below mode 2 it becomes the file's own size and rate at the next `play`.
    void setVideoFormat(const videoFormatProps& format);
    void getVideoFormat(videoFormatProps& format); ///< the format in use, expanded
    /// Output format: a rate above 0 resamples (to 768000 Hz at the most), a channel count above 0
    /// remixes.
    void setAudioFormat(const audioFormatProps& format);
    void getAudioFormat(audioFormatProps& format); ///< the format in use, expanded

    /// A host's own filters, not owned, null for none. The filter must outlive its use.
    void setVideoFilter(LFilter* filter);
    void setAudioFilter(LFilter* filter); ///< @copydoc setVideoFilter

    /// Delays the sound by that many milliseconds, on two channels; below 1 for none.
    void setAudioDelay(int ms);
    /// Stored; without effect.
    void setVideoDelay(int ms);

    /// Milliseconds; 0.0 with no file open or no duration known.
    double getDurationMs();
    /// Position of the latest picture: its frame number over the source's rate. 0.0 without an open
    /// file, a picture or a rate.
    double getPosMs();
    /// In point, out point and duration, milliseconds.
    void InOutGet(double& in, double& out, double& duration);

    /// Time code of the position, the in point and the out point (the duration when none is set);
    /// "00:00:00:00" for a file that carries no time code.
    std::string getTimeCode() override;
    std::string getPosTC(); ///< the same as getTimeCode
    std::string getInTC();  ///< @copydoc getTimeCode
    std::string getOutTC(); ///< @copydoc getTimeCode

    void statusGet(int& status) override; ///< 1 while playing, paused or holding, else 0
    double getFPS() override;             ///< the format's rate, else the file's, else 25.0
    /// Pixels of the file's pictures: 0 before the first `play` and without a picture. `stop`
    /// leaves them as they are.
    int getWidth() override;
    int getHeight() override; ///< @copydoc getWidth

    /// Hook for hardware decoding, which this player does not do: false.
    bool initHWDecoder(AVCodecContext* context);

    /// Playback rate. A host that writes it raises `rateChanged` behind it.
    std::atomic<double> rate{1.0};
    std::atomic<bool> rateChanged{false}; ///< the worker anchors its clock anew; cleared by it
    std::atomic<double> inPointMs{0.0};   ///< where a loop at the out point goes; written by hosts
    std::atomic<double> outPointMs{0.0};  ///< counts above 0 only; written by hosts

private:
    class QUOLSDK_LOCAL DecodeLoop;
    struct QUOLSDK_LOCAL Decoders;

    // What is known of the open file.
    struct Media {
        bool open = false;
        bool hasVideo = false;
        bool hasTimecode = false;
        std::string startTimecode; // empty where the file has none
        double durationMs = 0.0;
        double fps = 25.0;
        int width = 0;
        int height = 0;
    };

    void decodeLoopInternal(bool scrub);
    bool isWorker() const;
    void endPause();
    void loopTo(double ms);
    void resumeClock();
    bool playLocked();
    void stopLocked();
    bool openFile();
    bool openInput();
    void readTimecode(Media& media);
    bool openVideo(Media& media);
    bool openAudio();
    void closeFile();
    Media mediaNow();
    std::string timecodeAt(double frames);

    /// Serialises play, ready, stop and fileNameSet; taken before every other mutex.
    std::mutex controlMutex;
    std::string filePath; ///< guarded by `controlMutex`
    std::thread thread;   ///< guarded by `controlMutex`

    /// Demuxer and decoders. They belong to the worker while it runs, else to the holder of
    /// `controlMutex`; only MediaInput::interrupt is called across.
    const std::unique_ptr<Decoders> decoders;

    std::mutex mediaMutex; ///< guards `media`: written at open and close, read by hosts and worker
    Media media;

    std::mutex settingsMutex; ///< guards the next five: written by hosts, read by the worker
    videoFormatProps videoFormat;
    audioFormatProps audioFormat;
    std::string scaleType = "letter-box";
    LFilter* videoFilter = nullptr; ///< not owned
    LFilter* audioFilter = nullptr; ///< not owned

    /// Held from a change of pause until the sinks know of it, by hosts and by the worker that ends
    /// a timed one: whoever changes it last tells them last. Behind `controlMutex`, before the
    /// others.
    std::mutex pauseMutex;
    std::mutex clockMutex;       ///< guards the next five: hosts and worker
    std::int64_t clockStart = 0; ///< steady nanoseconds at which position 0 would have played
    const std::unique_ptr<quol::PauseTimer> pauseTimer;
    double seekTargetMs = -1.0;
    bool seekIsOfLoop = false; ///< the pending jump is the worker's own: it ends with its file
    bool resumeDue = false;    ///< set inside a push, for the worker behind it

    // Flags and numbers: hosts write, the worker reads, and the other way round where it says so.
    std::atomic<bool> playing{false}; ///< cleared by the worker too: end of file, out point
    std::atomic<bool> paused{false};
    std::atomic<int> stopsWaiting{0};     ///< calls of stop that have not got `controlMutex` yet
    std::atomic<bool> seekPending{false}; ///< cleared by the worker
    std::atomic<bool> eofReached{false};  ///< set by the worker
    std::atomic<std::int32_t> currentFrame{0}; ///< written by the worker
    std::atomic<bool> loop{false};
    std::atomic<bool> eofHold{true};
    std::atomic<bool> deinterlace{false};
    std::atomic<bool> gpu{false};
    std::atomic<std::int32_t> scalingQuality{0};
    std::atomic<std::int32_t> scalerFlags{0};
    std::atomic<std::int32_t> audioGain{100};
    std::atomic<std::int32_t> audioTrack{0};
    std::atomic<std::int32_t> timecodeSource{1};
    std::atomic<std::int32_t> audioDelayMs{0};
    std::atomic<std::int32_t> videoDelayMs{0};

    const std::unique_ptr<quol::Sleeper> sleeper; ///< the worker sleeps, stop wakes
};

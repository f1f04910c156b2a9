/// @file
/// The recorder: one source into one movie file.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "quolsdk/LSink.h"
#include "quolsdk/formats.h"

class LObject;

namespace quol {
class Dictionary;
class DiskReserve;
class EncoderPictures;
class EncoderQueue;
class EncoderSession;
class EncoderSound;
struct QueuedPicture;
} // namespace quol

/// A sink that encodes pictures and sound into a file, on a thread of its own.
///
/// The steady clock since the start, less the pauses, gives the pictures their times; sound is
/// written as far as the pictures have come, up to a second behind them while it is waited for, and
/// with silence for what is missing. A source that stops leaves a gap, in the middle of which
/// nothing is written. At most one picture goes into each tick of the file's rate.
///
/// A recording that runs out of disk, or whose file cannot be written, ends by itself while there
/// is room to finish the file, and says so on the error stream.
///
/// What is made for the air comes first: the encoding thread and those of the picture's encoder
/// give way to ordinary threads (nice value 5). On a full machine the queue grows before a picture
/// of the programme is late.
///
/// Properties (setProps), for the next `Record`:
///
/// | Key | Value | Effect |
/// |---|---|---|
/// | "durationMs" | double | the recording ends by itself after that long; 0 or less: never |
/// | "play_while_rec" | boolean | fragmented file, readable while it grows |
/// | "timecode" | boolean | writes a start time code, unless the options hold one |
/// | "timecodeSource" | whole number | 0 clock, 1 the source's getTimeCode, 2 "timecodeStart" |
/// | "timecodeStart" | text | "01:00:00:00" unless set |
/// | "scaling_quality" | whole number | 1 nearest, 2 bilinear (default), 3 Lanczos, else bicubic |
///
/// Threads: any. Record and Stop wait for each other and must not be called from inside a push.
class QUOLSDK_API LRecorder : public LSink {
public:
    /// How a recording stands.
    struct Stats {
        int state = 0;                  ///< as statusGet
        std::int64_t framesWritten = 0; ///< pictures encoded
        std::int64_t framesDropped = 0; ///< pictures lost, whatever the reason
        double secondsRecorded = 0.0;   ///< length of the picture track
        std::int64_t fileSize = 0;      ///< bytes, by the file system
        std::string filePath;           ///< of the recording that runs, else as set
    };

    LRecorder();
    /// Stops.
    ~LRecorder() override;

    void setContainer(const std::string& name);  ///< muxer, "mp4"; empty: by the file's ending
    void setVideoCodec(const std::string& name); ///< encoder, "libx264"; empty: the muxer's default
    void setAudioCodec(const std::string& name); ///< encoder, "aac"; empty: the muxer's default
    void setFilePath(const std::string& path);   ///< file to write; an existing one is replaced
    void setVideoBitrate(int kbps);              ///< kilobits a second, 5000
    void setAudioBitrate(int kbps);              ///< kilobits a second, 128

    /// Picture format of the file. Mode 1, and what is missing in others, is taken from the source,
    /// else 1920x1080 at 25.
    void setVideoFormat(const videoFormatProps& format);
    void getVideoFormat(videoFormatProps& format);       ///< as stored, expanded
    void setAudioFormat(const audioFormatProps& format); ///< stored; sound is 48 kHz stereo
    void getAudioFormat(audioFormatProps& format);       ///< as stored, expanded

    /// Sets a property of the table above; unknown keys are ignored.
    /// @throws std::invalid_argument, std::out_of_range for a value that is no number
    void setProps(const std::string& key, const std::string& value);

    /// Adds encoder options, "preset=fast crf=20 fastdecode": a word without "=" gets the value
    /// "1". An equal key is replaced. What the encoder does not know goes to the muxer.
    void customSet(const std::string& options);

    /// Starts. False when it records already, or the file cannot be begun; the error stream tells.
    bool Record();
    /// Encodes what is queued, finishes the file and leaves the source. Harmless when idle.
    void Stop();
    /// Pauses (true) or goes on (false); the file goes on without a gap.
    void Pause(bool pause);

    void statusGet(int& status); ///< 1 while recording, paused included, else 0
    void getStats(Stats& stats); ///< how the recording stands

    static std::vector<std::string> getAvailableContainers(); ///< names of all muxers, sorted
    /// Names of all encoders that a container takes; an empty name is "mp4".
    static std::vector<std::string> getAvailableVideoCodecs(const std::string& container);
    static std::vector<std::string> getAvailableAudioCodecs(
        const std::string& container); ///< @copydoc getAvailableVideoCodecs

    /// Queues a reference to the picture; with 61 waiting the new one is dropped and counted.
    void pushVideoFrame(AVFrame* frame) override;
    /// Queues the sound as 16-bit stereo. The conversion is made for the first block and never
    /// rebuilt: sound of another format or layout is dropped.
    void pushAudioFrame(AVFrame* frame) override;
    /// Drops the pictures that wait.
    void flush() override;

    /// What to record, not owned; counts from the next `Record`. Null: only what is pushed by hand.
    std::atomic<LObject*> source{nullptr};

private:
    // What a recording is asked to be. Copied at its start, so that the host may change it.
    struct Settings {
        std::string container = "mp4";
        std::string videoCodec = "libx264";
        std::string audioCodec = "aac";
        int videoBitrate = 5000; // kilobits a second
        int audioBitrate = 128;  // kilobits a second
        std::string filePath;
        videoFormatProps videoFormat;
        audioFormatProps audioFormat;
        std::map<std::string, std::string> options; // for the encoder
        double durationMs = 0.0;
        bool playWhileRec = false;
        int scalingQuality = 2;
        bool timecode = false;
        int timecodeSource = 0;
        std::string timecodeStart = "01:00:00:00";
    };
    bool initFFmpeg(LObject* from);
    bool initVideo(LObject* from, quol::Dictionary& options);
    bool initFile(quol::Dictionary& options);
    bool startThread(LObject* from);
    std::string startTimecode(LObject* from, double fps) const;
    void setTimecode(LObject* from, double fps, quol::Dictionary& options);
    void stopLocked();

    void encodeLoop();
    void encodePicture(const quol::QueuedPicture& record);
    bool fileTakesMore();
    void tellEnded(int error);
    void startClock();
    std::int64_t elapsedNow();

    std::mutex settingsMutex;
    Settings settings;        ///< guarded by `settingsMutex`
    std::string recordedPath; ///< of the recording that runs; guarded by `settingsMutex`

    /// Serialises Record and Stop; taken before every other mutex.
    std::mutex controlMutex;
    std::thread thread;            ///< guarded by `controlMutex`
    LObject* attachedTo = nullptr; ///< guarded by `controlMutex`
    Settings job;                  ///< the recording's own; written before the thread starts

    // Made before the thread starts, then the encoding thread's alone, freed after it is joined.
    std::unique_ptr<quol::EncoderSession> session;
    const std::unique_ptr<quol::DiskReserve> reserve;
    const std::unique_ptr<quol::EncoderPictures> pictures;
    std::int64_t lastVideoPts = -1; ///< in the encoder's time base

    // Filled by the source's thread, emptied by the encoding thread; they have locks of their own.
    const std::unique_ptr<quol::EncoderQueue> queue;
    const std::unique_ptr<quol::EncoderSound> sound;

    std::mutex clockMutex;       ///< guards the next two
    std::int64_t startTime = 0;  ///< steady microseconds, moved on by every pause
    std::int64_t pauseStart = 0; ///< steady microseconds

    std::atomic<bool> recording{false}; ///< cleared by the encoding thread too
    std::atomic<bool> paused{false};
    std::atomic<std::int64_t> framesEncoded{0};
    std::atomic<double> secondsRecorded{0.0};
};

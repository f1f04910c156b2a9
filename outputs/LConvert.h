/// @file
/// The converter: media files, joined, into one new file.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "quolsdk/export.h"
#include "quolsdk/formats.h"

namespace quol {
class ConvertInput;
class ConvertOutput;
struct ConvertSettings;
} // namespace quol

/// Joins a list of media files into one new file, encoding everything anew, on a thread of its own.
/// It stands beside the graph: neither a source nor a sink. The host polls how far it is.
///
/// Pictures and sound are two plain sequences: each picture of the inputs becomes one picture of
/// the output, at the output's rate, and the sound of the inputs follows without a gap; the times
/// of the inputs play no part. An input that cannot be read is left out. So are streams that there
/// is no decoder for.
///
/// A conversion takes what is left of the machine: its threads give way to those that make pictures
/// (nice value 5).
///
/// Properties (setProps), for the next `Start`, are options of the video encoder: "preset", "tune",
/// "g" (pictures from one key picture to the next) and "bf" (B pictures in a row). An encoder that
/// does not know one ignores it; a value that it refuses fails the conversion.
///
/// Threads: any. Start and Stop wait for each other; settings made while a conversion runs are for
/// the next one.
class QUOLSDK_API LConvert {
public:
    LConvert();
    /// Stops.
    ~LConvert();
    LConvert(const LConvert&) = delete;            ///< not copied
    LConvert& operator=(const LConvert&) = delete; ///< not copied

    void setContainer(const std::string& name); ///< muxer, "mp4"; empty: by the file's ending
    void setVideoCodec(
        const std::string& name); ///< encoder, "libx264"; unknown: the muxer's default
    void setAudioCodec(const std::string& name); ///< encoder, "aac"; unknown: the muxer's default
    void setVideoBitrate(int kbps);              ///< kilobits a second, 15000
    void setAudioBitrate(int kbps);              ///< kilobits a second, 128

    /// Picture format of the output, 1920x1080 at 25. A width or height not above 0 counts as 1920
    /// or 1080. The encoder's first pixel format is taken.
    void setVideoFormat(const videoFormatProps& format);
    void getVideoFormat(videoFormatProps& format); ///< as stored, expanded
    /// Sound format of the output, 48000 Hz and 2 channels. The encoder's first sample format is
    /// taken.
    void setAudioFormat(const audioFormatProps& format);
    void getAudioFormat(audioFormatProps& format); ///< as stored, expanded

    /// The file to write. An existing one is replaced, unless it is one of the inputs.
    void setFilePath(const std::string& path);

    void addInputFile(const std::string& path);    ///< behind those there; one may be there twice
    void removeInputFile(const std::string& path); ///< all of that name
    void clearInputFiles();                        ///< none is left

    /// Sets a property of the list above; other keys are ignored.
    void setProps(const std::string& key, const std::string& value);

    /// Starts. False when it is converting, without a file path or an input file, and where there
    /// is no thread to be had. Whether the output could be opened is told by `statusGet`, and by
    /// the error stream.
    bool Start();
    /// Ends the conversion where it is and waits for it; the file can be played as far as it goes.
    /// One that is stopped before its first picture and sound are written may be unreadable.
    ///
    /// An input or an address that does not answer is left within half a second, but not while its
    /// name is looked up. The encoder is closed behind the file, and finishes the pictures that it
    /// is at: a second with quick presets, up to half a minute with the slowest. Harmless when
    /// idle.
    void Stop();

    void statusGet(int& status); ///< 0 idle or finished, 1 converting, -1 the output failed to open

    static std::vector<std::string> getAvailableContainers(); ///< names of all muxers, sorted
    /// Names of all encoders that a container takes; an empty name is "mp4".
    static std::vector<std::string> getAvailableVideoCodecs(const std::string& container);
    static std::vector<std::string> getAvailableAudioCodecs(
        const std::string& container); ///< @copydoc getAvailableVideoCodecs

    /// How far the conversion is, 0.0 to 1.0, never going back; 1.0 at its end, stopped or not.
    /// Where no input tells its duration: seconds of the current file, up to 1.0. To be read only.
    std::atomic<double> progress{0.0};

private:
    bool initFFmpeg();
    void convertLoop();
    std::vector<double> measureInputs();
    void convertFile(const std::string& path);
    void convertPackets();
    void tellProgress();
    bool goOn();
    void end(int result);

    std::mutex settingsMutex;
    const std::unique_ptr<quol::ConvertSettings> settings; ///< guarded by `settingsMutex`

    /// Serialises Start and Stop; taken before `settingsMutex`.
    std::mutex controlMutex;
    std::thread thread; ///< guarded by `controlMutex`

    /// The conversion's own copy; written before the thread starts.
    const std::unique_ptr<quol::ConvertSettings> job;
    /// The conversion thread's, but for its interruption.
    const std::unique_ptr<quol::ConvertInput> input;
    std::unique_ptr<quol::ConvertOutput> output; ///< the conversion thread's
    double totalSeconds = 1.0;                   ///< of all inputs; the conversion thread's
    double secondsBefore = 0.0;                  ///< of the inputs done; the conversion thread's

    std::atomic<bool> running{false};  ///< set by Start, cleared by the conversion thread
    std::atomic<bool> stopping{false}; ///< set by Stop, cleared by Start
    std::atomic<int> status{0};        ///< set by Start and by the conversion thread
};

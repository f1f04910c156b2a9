/// @file
/// Instant replay: records what it is given and plays any part of it meanwhile.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "quolsdk/LObject.h"
#include "quolsdk/LSink.h"
#include "quolsdk/formats.h"

namespace quol {
class ReplayDecoder;
class ReplayEncoder;
class ReplayMovie;
class ReplayPacing;
class ReplayReader;
class ReplayWriter;
class Sleeper;
struct ReplayPicture;
struct ReplaySize;
struct ReplaySlot;
struct ReplayStore;
} // namespace quol

/// A sink that stores each picture as a JPEG and each block of sound as it is, and a source that
/// plays them back at any speed, from any place, while more comes in.
///
/// The pictures go into `<path><name>_<id>_v.bin`, the sound into `<path><name>_<id>_a.bin`, each
/// behind the one before; id is the property "name" or else a number of the object's own. What lies
/// where is kept in memory alone, 40 bytes for each frame of the output rate and 24 for each block
/// of sound, so the files are of no use without the object. They grow without limit and stay on the
/// disk when the object goes.
///
/// Frame n of a recording is n / rate seconds behind its first one. A source that is slower than
/// the rate fills the frames that it leaves open with its next picture; of one that is faster some
/// pictures are dropped. A gap is filled like that, too, up to 4,320,000 frames, a day at 50 a
/// second; a larger jump of the source's times is none: that picture takes the next frame, and the
/// one behind it tells whether the source's times go on from there or from where they were.
/// Pictures are stored in the size they come in, and played in the size of the format.
///
/// Sound is stored as it is pushed, interleaved 16-bit stereo only, and played at speed 1 (within
/// 0.01) and in live mode. A picture that goes with sound is pushed with its time in the recording
/// as its time stamp, as sound is; one that goes without has none: its time does not run.
///
/// Three modes: trim, which stands still and takes seeks and steps; playing; live, which shows the
/// newest picture. A new replay is in trim mode, 1920x1080 at 50, sound at 48000 Hz.
///
/// Properties (setProps):
///
/// | Key | Value | Effect |
/// |---|---|---|
/// | "quality" | whole number, 1 to 100 | 2 Mbit/s each, 86; from the next recording on |
/// | "timecode" | boolean | the recording counts on from a start time code; false unless set |
/// | "timecodeSource" | whole number | 0 local clock, 1 the frames' own, 2 and others the start |
/// | "timecodeStart" | text | the start under source 2, "01:00:00:00"; else the local time |
/// | "audio.preview" | boolean | sound is played back; true unless set |
/// | "name" | text | id of the files of the next recording, and base name of an export |
///
/// The frames of a stored time code have no drop-frame, and its hours go on behind 23; what does
/// not fit into 11 characters is cut.
///
/// Threads: any, pushes too. The playback thread runs from construction to destruction and pushes
/// into the sinks, outside every mutex of this object: a sink may ask it anything. The object may
/// not be destroyed while one pushes into it or calls it.
class QUOLSDK_API LReplay : public LObject, public LSink {
public:
    LReplay();
    /// Ends playback and closes the files, which stay on the disk.
    ~LReplay() override;

    /// Where the next recording goes: a folder, "./", and the beginning of the files' names,
    /// "replay"; empty texts are these two. A folder without "/" at its end gets one; it must
    /// exist.
    void setRecordPath(const std::string& path, const std::string& name);
    /// Where an export without a file name goes, "/tmp/", and its base name, "export". A folder
    /// without "/" at its end gets one, but an empty one stays empty.
    void setExportPath(const std::string& path, const std::string& name);

    /// Size of the pictures played, and the rate of recording and playback. A width or height below
    /// 1, or mode 1, plays pictures in the size they are stored in; a rate of 0 or below counts as
    /// 50. The rate must stay as it is while something is stored.
    void setVideoFormat(const videoFormatProps& format);
    void getVideoFormat(videoFormatProps& format); ///< as stored, expanded
    /// Rate that sound is played and exported with; one of 0 or below counts as 48000. Stored as it
    /// is: modes are not looked up.
    void setAudioFormat(const audioFormatProps& format);
    void getAudioFormat(audioFormatProps& format); ///< as stored

    /// Sets a property of the table above; unknown keys are ignored.
    /// @throws std::invalid_argument, std::out_of_range for a value that is no number
    void setProps(const std::string& key, const std::string& value);

    /// Makes the two files, or empties them, and begins. False when they cannot be made; nothing is
    /// recorded then. What was recorded before stays in the index, over files that it may not fit
    /// any more: clear between two recordings. While it records, it begins anew in the same files.
    bool startRecording();
    /// Ends recording; what is stored can be played on.
    void stopRecording();
    /// Ends recording, forgets everything and removes the files.
    void clearRecording();

    void play();        ///< plays at the speed set
    void pause();       ///< stands still
    void setModeLive(); ///< shows the newest picture, and each one that comes
    void setModeTrim(); ///< stands still, takes seeks and steps
    /// 1.0 unless set; below 0 backward. Leaves live mode and does not start to play. Faster than
    /// 1, frames are left out. A speed that is no number counts as 0.
    void setSpeed(double speed);

    /// Goes to a frame, the nearest one there is. This and all that follow leave live mode.
    void posSet(int frame);
    /// Goes to the frame nearest to that time, in milliseconds since the first one; the earlier of
    /// two as near.
    void posSetMs(double milliseconds);
    /// Goes to the last frame of exactly that time code; without one nothing happens.
    void posSetTC(const std::string& timecode);
    void stepForward(int frames);  ///< goes so many frames on; the latest of several steps counts
    void stepBackward(int frames); ///< goes so many frames back

    int getTotalFrames();   ///< frames stored
    double getDurationMs(); ///< time of the last frame, milliseconds; 0 when empty
    int getCurrentFrame();  ///< position, in frames
    int getPos();           ///< @copydoc getCurrentFrame
    double getPosMs();      ///< time at the position, milliseconds; 0.0 outside the recording
    std::string getPosTC(); ///< time code there; "00:00:00:00" outside the recording

    /// Writes the frames from `first` to `last`, both included, into a movie: the stored JPEGs and
    /// the stored sound as they are, and the first frame's time code. Numbers outside are the
    /// nearest ones inside; two that are reversed are swapped. The file's ending says which
    /// container; an empty name is `<path><base>_<start>s_<length>s.mov` (setExportPath, or the
    /// property "name" as base), start and length in whole seconds.
    ///
    /// Runs on the caller's thread, also while it records. A picture that cannot be read is left
    /// out. False with nothing stored, for a file that cannot be written, one that is of the
    /// recording itself, pipes and devices, a disk that gets full, and when the recording is
    /// cleared or begun anew meanwhile; the file then has what was written until then.
    bool exportRange(int first, int last, const std::string& file);
    /// The same from the first frame at `firstMs` or later to the last one at `lastMs` or earlier,
    /// in milliseconds; where there is none, frame 0.
    bool exportRangeMs(double firstMs, double lastMs, const std::string& file);

    double getFPS() override;             ///< of the format
    int getWidth() override;              ///< of the format
    int getHeight() override;             ///< of the format
    std::string getModeName() override;   ///< "Replay"
    void statusGet(int& status) override; ///< 1 while playing, else 2 while recording, else 0
    std::string getTimeCode() override;   ///< as getPosTC

    /// Stores a picture, on the caller's thread: as long as it takes to encode it. Dropped when
    /// nothing is recorded, and when its frame is filled already.
    void pushVideoFrame(AVFrame* frame) override;
    /// Stores a block of sound. Anything but interleaved 16-bit stereo is ignored.
    void pushAudioFrame(AVFrame* frame) override;
    void flush() override;                ///< nothing
    void setPaused(bool paused) override; ///< nothing

private:
    // What a host sets. Copied where it is used.
    struct Settings {
        std::string recordPath = "./";
        std::string recordName = "replay";
        std::string exportPath = "/tmp/";
        std::string exportName = "export";
        std::string name;
        videoFormatProps videoFormat;
        audioFormatProps audioFormat;
        int quality = 86;
        bool timecode = false;
        int timecodeSource = 0;
        std::string timecodeStart = "01:00:00:00";
    };
    // What an export takes.
    struct Range {
        std::size_t first = 0; // both frames are in it
        std::size_t last = 0;
        double start = 0.0;      // seconds: time of the first frame
        double slotLength = 0.0; // seconds
        std::uint64_t generation = 0;
    };
    // What the playback thread knows from one pass to the next.
    struct Shown {
        std::int64_t position = -1;   // the latest one, -1 before it
        std::uint64_t generation = 0; // of the recording that it was shown of
        double soundFrom = -1.0;      // seconds: how far the sound has been played
        std::size_t soundsSeen = 0;   // blocks that were there then
        std::int64_t passed = 0;      // steady nanoseconds of the latest pass, 0 behind a rest
    };

    Settings settingsNow();
    void startPlayback();
    bool beginRecording();
    void endRecording();
    void dropNewFile(const quol::ReplayWriter& writer, const std::string& path);
    void seekLocked(std::int64_t position);
    void step(std::int64_t frames);
    void setMode(bool playing, bool live);

    // Recording: the threads that push.
    double timeLocked(const AVFrame& frame);
    double soundTimeLocked(double time, double rate) const;
    bool findSlot(const AVFrame& frame, quol::ReplaySlot& slot);
    bool prepareEncoder(const AVFrame& frame, const Settings& now, const quol::ReplaySlot& slot);
    std::string slotTimecode(const AVFrame& frame, const Settings& now,
                             const quol::ReplaySlot& slot) const;
    void storePicture(const AVFrame& frame);
    bool storeSlots(const Settings& now, const quol::ReplaySlot& slot, quol::ReplayPicture picture);
    void storeSound(const AVFrame& frame);

    // Export: the caller's thread.
    std::string exportPath(const Settings& now, double first, double last) const;
    bool exportFrames(int first, int last, const std::string& file);
    quol::ReplaySize storedSize(const Range& range, const quol::ReplayReader& video);
    bool writeMovie(quol::ReplayMovie& movie, const Range& range, const quol::ReplayReader& video,
                    const quol::ReplayReader* audio);

    // Playback: the playback thread alone.
    void playbackLoop();
    std::int64_t pass(Shown& shown);
    bool decideLocked(Shown& shown, double elapsed, std::int64_t& pause);
    void moveLocked(std::int64_t frames);
    void show(Shown& shown);
    void playSound(Shown& shown, const Settings& now);
    bool soundGoesAlong() const;

    std::mutex settingsMutex; // the last of all
    Settings settings;        // guarded by `settingsMutex`

    // Start, stop and clear, one at a time. Taken before `videoMutex`.
    std::mutex controlMutex;

    // Tables, files and the position. Never held while something is encoded, decoded, written, read
    // or pushed.
    std::mutex videoMutex;
    const std::unique_ptr<quol::ReplayStore> store; // guarded by `videoMutex`; the paths are
                                                    // written under `controlMutex` as well

    // One picture at a time, one block of sound at a time, whoever pushes them. Taken before
    // `videoMutex`.
    std::mutex captureMutex;
    std::mutex soundMutex;
    const std::unique_ptr<quol::ReplayEncoder> encoder; // guarded by `captureMutex`
    std::uint64_t encoderGeneration = 0; // the recording it was made for; by `captureMutex`

    // Written under `videoMutex`, so that no seek is lost between the host that asks and the thread
    // that plays; read anywhere.
    std::atomic<bool> recording{false};
    std::atomic<bool> playing{false};
    std::atomic<bool> live{false};
    std::atomic<std::int32_t> position{0};
    std::atomic<bool> seekPending{false};
    std::atomic<std::int32_t> stepFrames{0};
    std::atomic<double> speed{1.0};
    std::atomic<bool> audioPreview{true}; // written by hosts, read by the playback thread

    std::atomic<bool> alive{true};                      // the destructor writes it
    const std::unique_ptr<quol::ReplayDecoder> decoder; // the playback thread's own
    const std::unique_ptr<quol::ReplayPacing> pacing;   // the playback thread's own
    const std::unique_ptr<quol::Sleeper> sleeper;
    std::thread thread; // runs playbackLoop; the last, for it uses all of the above
};

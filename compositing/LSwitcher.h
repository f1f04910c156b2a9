/// @file
/// The vision switcher: a program, a preview, and every way from the one to the other.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "quolsdk/FrameHandle.h"
#include "quolsdk/LObject.h"
#include "quolsdk/SwitcherPreviewObject.h"
#include "quolsdk/formats.h"

class LCharacter;
class LStinger;
class SwitcherSink;

namespace quol {
class DetachedSinks;
class FairMutex;
class RateMeter;
class RecentPicture;
class RenderPace;
class RenderTurn;
class Sleeper;
struct SwitcherLayer;
struct SwitcherScene;
struct SwitcherTick;
} // namespace quol

/// Switches between two layers, A and B. The transition position says what is seen: 0 is layer A
/// alone, 1 layer B alone, between them both, by the transition's type. Below the middle A is the
/// program and B the preview, from the middle on it is the other way round. A new switcher is at 0.
///
/// Over the picture lie the stinger, while one plays, and the titles. A source that stops leaves
/// its last picture standing. A source that renders on demand (LObject::canPullRender) is asked for
/// a picture at every tick; a switcher and its preview are never its own source: they are ignored.
///
/// The canvas is planar YUV 4:2:0 8-bit; of the video format only size and rate count. A new
/// switcher is 1280x720 at 50 a second. A picture that has the canvas's size and format already is
/// handed through without a copy. Sound is 16-bit stereo at the sample rate of the audio format,
/// 48000 Hz where it names none.
///
/// Transition types: "fade"; "dip", through the colour of the parameter ("#RRGGBB"); "wipe_lr",
/// "wipe_rl", "wipe_tb", "wipe_bt", "wipe_diagonal", "wipe_box", "wipe_circle"; "slide_lr",
/// "slide_rl", "slide_tb", "slide_bt"; "squeeze_lr", "squeeze_rl", "squeeze_tb", "squeeze_bt";
/// "stinger", a clip with alpha over a cut. Any other type, "cut" too, changes at the middle.
///
/// Properties (setProps):
///
/// | Key | Value | Effect |
/// |---|---|---|
/// | "timecode" | boolean | frames carry their time code as metadata "timecode" |
/// | "timecodeSource" | whole number | 0 the wall clock, else the frame counter (default) |
/// | "extAudio" | boolean | as setExtAudio |
/// | "scaling_quality" | whole number | 1 neighbour, 2 bilinear, 4 lanczos, else bicubic |
/// | "scale_mode" | whole number | 1 fits with bars, 2 fills and cuts, else stretches |
/// | "masterMute", "extAudioMute" | boolean | silences all sound |
/// | "masterGain", "extAudioGain" | whole number | master gain in percent, held within 0 and 200 |
/// | "audioGain" | whole number | master gain in percent, any |
///
/// Frames carry `pts` in ticks and a `time_base` of 1 over the rate cut to a whole number.
///
/// The pictures come by the switcher's own clock, from construction on, while there is no pull
/// consumer; late ones are made up for, none is left out. While there is one they come on request,
/// on the thread that asks. When the last one has signed off, the count of frames begins anew.
///
/// Several consumers may pull: those that ask within half a period of each other get the same
/// picture. Two switchers that show each other have no clock: each waits to be asked.
///
/// Threads: any. Changes wait for the picture in the making. A source or titles must not be
/// destroyed while in use: take it away first, while a transition runs by `removeSource`, or
/// destroy the switcher. Sinks must not call the switcher, nor its preview, from a push. Two
/// switchers must not have each other's preview object as their source.
class QUOLSDK_API LSwitcher : public LObject {
public:
    /// Starts the thread. Throws std::system_error where there is none to be had.
    LSwitcher();
    /// Ends the threads, an automatic transition and the loading of a stinger among them, and lets
    /// go of all sources. Pull consumers should have signed off, and the preview's sinks be
    /// removed.
    ~LSwitcher() override;

    /// Gives the program another source; null for none. The source that is there already keeps its
    /// picture.
    void setProgram(LObject* source);
    /// The same for the preview, with the sinks that follow it.
    void setPreview(LObject* source);
    /// Takes a source away wherever it is, in the sound too: even while the layers change places.
    /// Once it has returned, the switcher does not touch the source any more.
    void removeSource(LObject* source);
    LObject* getCurrentPreviewSource();        ///< null for none
    bool hasSource(const LObject* source);     ///< whether program or preview has it; null never
    SwitcherPreviewObject* getPreviewObject(); ///< the preview output; never null

    void setVideoFormat(const videoFormatProps& format); ///< of the canvas, from the next tick on
    void getVideoFormat(videoFormatProps& format);       ///< as stored, expanded
    /// The rate counts from the next tick on; sound that waits is dropped when it changes.
    void setAudioFormat(const audioFormatProps& format);
    void getAudioFormat(audioFormatProps& format); ///< as stored, expanded

    /// What happens between the layers; `parameter` is the colour of a "dip".
    void setTransitionType(const std::string& type, const std::string& parameter = "");
    /// Moves the transition by hand, 0 to 1; held within them, NaN is ignored. It stays there.
    void setTransition(float position);
    /// The layers change places; the position stays.
    void setCutTransition();
    /// Takes the transition to its other end within that time, on a thread of its own; then the
    /// layers change places and the position is where it was. "cut" becomes "fade" for good. A
    /// stinger that is loaded plays instead, in its own time; one that is not is a jump. Where
    /// there is no thread to be had the layers change places at once, with a line.
    void setAutoTransition(double durationMs);

    /// Loads a clip with alpha for the type "stinger", on a thread of its own, at the canvas's size
    /// of now; one that is being loaded is given up. A line tells the outcome. The whole clip is
    /// held in memory, 2.5 bytes a pixel and picture.
    void setStinger(const std::string& path);
    /// What the clip lasts on air; the layers change places at half of it. Below 1: 1000 ms.
    void setStingerDuration(int milliseconds);
    /// Plays the stinger, with a cut behind it, whatever the type. Nothing when none is loaded.
    void triggerStinger();

    /// How loud the program's and the preview's source are in the sound, percent, any.
    void setProgAudioGain(int percent);
    void setPrevAudioGain(int percent); ///< @copydoc setProgAudioGain
    void setMasterGain(int percent);    ///< of all sound, held within 0 and 200
    void setMasterMute(bool mute);      ///< silences all sound

    /// Whether the sound is that of the external source instead of the layers'.
    void setExtAudio(bool on);
    void setExtAudioObject(LObject* source); ///< null for none; of its pictures nothing is seen
    void flushExtAudio();                    ///< drops the external sound that waits

    /// Puts titles on top of what is there. Null is ignored.
    void addCG(LCharacter* character);
    void removeCG(LCharacter* character); ///< unknown ones are ignored
    int getCGCount();                     ///< titles that lie on top
    LCharacter* getCGByIndex(int index);  ///< the lowest is 0; null out of range

    /// What the switcher does, at one moment.
    struct SwitcherStats {
        double renderRate = 0.0;     ///< frames a second, measured
        std::string activeSource;    ///< "SubA", "SubB", or "Transition" between them
        double position = 0.0;       ///< of the transition, percent
        std::int64_t frameCount = 0; ///< since the clock was started
        std::string timecode;        ///< of the next frame
        float peakA = 0.0F;          ///< of the sound taken of layer A, 0 to 1, before gains
        float peakB = 0.0F;          ///< of layer B
        float masterPeak = 0.0F;     ///< of the sound sent
        double audioDelay = 0.0;     ///< ms of sound that wait, of the layer with more
        double drift = 0.0;          ///< ms by which the frames sent last longer than the sound
    };
    void getStats(SwitcherStats& stats); ///< waits for the picture in the making

    std::string getTimeCode() override; ///< of the next frame, at the format's rate
    /// "hh:mm:ss:ff" of a frame by "timecodeSource". A rate of 0 and below counts as 25.
    std::string getTimecodeString(std::int64_t frame, double fps);

    /// Keys are compared exactly, unknown ones ignored. A whole number that cannot be read raises
    /// `std::invalid_argument` or `std::out_of_range`; nothing is changed then.
    void setProps(const std::string& key, const std::string& value);

    /// Starts the thread unless it runs, or a pull consumer is there. Where there is none to be had
    /// a line on the error stream says so, and the next change of the scene tries again.
    void ensureRunning();

    bool canPullRender() const override; ///< true
    /// Renders one picture now, on this thread, for the switcher's own sinks too; owned by the
    /// caller. Null when both layers are empty, and when another thread takes longer than 100 ms
    /// over a picture. Asked for from within itself, as by two switchers that show each other, it
    /// gives null.
    AVFrame* renderVideoFrame() override;
    void addPullConsumer() override;    ///< the switcher's own clock stands from then on
    void removePullConsumer() override; ///< the last one starts the clock again

private:
    struct AutoTransition {
        std::thread thread;
        std::atomic<bool> isDone{false};
    };

    bool isOwn(const LObject* source) const;
    SwitcherSink* exchangeSource(quol::SwitcherLayer& layer, LObject* source,
                                 quol::DetachedSinks& detached);
    void applySource(bool toProgram, LObject* source);
    void changeScene(const std::function<void(quol::SwitcherScene&)>& change);

    void runAutoTransition(double durationMs);
    bool startStinger();
    void loadStinger(const std::string& path, int width, int height, double fps);
    void endStingerLoad();

    void startThread();
    void switcherLoop();
    bool waitForTurn(quol::RenderPace& pace);
    bool endsNow();
    double currentRate();
    quol::FramePtr renderFrame();
    void renderScene(quol::SwitcherTick& tick);
    void renderWhole(quol::SwitcherTick& tick);
    void renderPicture(quol::SwitcherTick& tick);
    quol::FramePtr layerPicture(quol::SwitcherLayer& layer, const quol::SwitcherTick& tick,
                                bool isSkipped);
    quol::FramePtr mixPictures(const quol::SwitcherTick& tick, const AVFrame& a, const AVFrame& b);
    quol::FramePtr stingerPicture(quol::SwitcherTick& tick);
    void overlayStingerOn(quol::SwitcherTick& tick);
    void overlayTitlesOn(quol::SwitcherTick& tick);
    bool makeWritable(quol::FramePtr& picture);
    void renderSound(quol::SwitcherTick& tick);
    void mixLayer(int index, int pairs, quol::SwitcherTick& tick);
    void mixExternal(quol::SwitcherTick& tick);
    void handOn(quol::SwitcherTick& tick);

    /// One change of sources at a time, attaching included; taken before every other lock. The
    /// render thread never takes it.
    std::recursive_mutex controlMutex;

    /// Guards `scene`; held while a picture is in the making. The preview's lock comes before it.
    const std::unique_ptr<quol::FairMutex> sceneMutex;
    const std::unique_ptr<quol::SwitcherScene> scene;

    SwitcherPreviewObject preview;

    /// One picture at a time, its way to the sinks included. Comes before the scene's lock.
    const std::unique_ptr<quol::RenderTurn> renderTurn;
    const std::unique_ptr<quol::RateMeter> rateMeter;  ///< guarded by `renderTurn`
    const std::unique_ptr<quol::RecentPicture> recent; ///< guarded by `renderTurn`
    std::atomic<double> renderRate{0.0};

    std::atomic<int> pullConsumers{0};
    std::mutex threadMutex; ///< guards the next three; no other lock is taken under it
    std::thread thread;
    bool running = false;
    bool ending = false;
    const std::unique_ptr<quol::Sleeper> sleeper; ///< of `thread`

    std::mutex autoMutex; ///< guards the next two
    std::list<AutoTransition> autoTransitions;
    const std::unique_ptr<quol::Sleeper> autoSleeper; ///< woken once, at the end

    std::unique_ptr<LStinger> stinger; ///< set once, under `sceneMutex`
    const std::unique_ptr<SwitcherSink> stingerSink;
    std::thread stingerLoader; ///< guarded by `controlMutex`
};

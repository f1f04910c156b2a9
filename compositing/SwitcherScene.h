// What a switcher shows and hears: everything its render thread and its controls share. All of it
// is guarded by the switcher's scene lock.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "compositing/PictureFit.h"
#include "compositing/SwitcherSink.h"
#include "compositing/Transitions.h"
#include "core/ModeTables.h"
#include "core/ScaledPicture.h"
#include "quolsdk/formats.h"

class LCharacter;
class LObject;

namespace quol {

// One side of the transition: a source, and what is rendered of it.
struct SwitcherLayer {
    LObject* source = nullptr;          // not owned
    std::unique_ptr<SwitcherSink> sink; // attached to `source`
    FramePtr lastFrame;                 // the last picture that came; stands while none comes
    PictureFit fit;
    float peak = 0.0F;
};

// Titles over the program.
struct TitleLayer {
    LCharacter* character = nullptr; // not owned
    std::unique_ptr<SwitcherSink> sink;
    ScaledPicture scaled;
};

// The clip over the program.
struct StingerState {
    int duration = 1000; // milliseconds, as the host gave it
    int cutPoint = 500;  // milliseconds after the start
    bool isPlaying = false;
    bool isSwapped = false;     // the layers have changed places behind it
    std::int64_t startTime = 0; // steady clock

    // What the clip lasts: 1000 ms where the host gave less than 1.
    int effectiveDuration() const { return duration < 1 ? 1000 : duration; }
};

struct SwitcherScene {
    SwitcherScene();

    // Which of the two layers is the program: the first while the position is below the middle.
    int programIndex() const { return position < 0.5F ? 0 : 1; }
    SwitcherLayer& program() { return *layers[programIndex()]; }
    SwitcherLayer& preview() { return *layers[1 - programIndex()]; }

    // The layers change places, with all that is rendered of them.
    void swapLayers();
    // Held within 0 and 1. NaN changes nothing.
    void setPosition(float newPosition);
    // The volumes as position, type and gains want them.
    void updateVolumes();
    // Hertz; 48000 where the format names none, and at most what any sound has.
    int sampleRate() const {
        return audioFormat.sampleRate > 0 ? std::min(audioFormat.sampleRate, maxSampleRate) : 48000;
    }

    std::array<std::unique_ptr<SwitcherLayer>, 2> layers; // never null
    float position = 0.0F;                                // 0 the first layer, 1 the second
    std::string transitionType = "fade";
    std::string transitionParameter;
    DipColor dipColor;

    int programGain = 100; // percent
    int previewGain = 0;
    std::array<float, 2> volumes{1.0F, 0.0F}; // of the layers
    int masterGain = 100;
    bool isMuted = false;
    float masterPeak = 0.0F;

    bool isExternalAudio = false;
    LObject* externalSource = nullptr;          // not owned
    std::unique_ptr<SwitcherSink> externalSink; // made once, at 48000 Hz

    std::list<TitleLayer> titles; // the lowest first
    StingerState stinger;

    videoFormatProps videoFormat;
    audioFormatProps audioFormat;
    int scalingQuality = 0;
    int scaleMode = 0;
    bool isTimecodeStamped = false;
    int timecodeSource = 1; // 0 the wall clock, else the frame counter

    std::int64_t frameIndex = 0;  // of the next frame
    std::int64_t samplesSent = 0; // a channel

    // Memory of the rendering, kept from tick to tick.
    PicturePool mixedPool;  // pictures between two pictures
    PicturePool copiedPool; // copies to be written to
    std::vector<std::int16_t> samples;
    std::vector<std::int16_t> stretched;
};

// One tick on its way.
struct SwitcherTick {
    std::int64_t index = 0;
    int width = 0; // of the canvas
    int height = 0;
    double fps = 0.0;
    int sampleRate = 0;
    float position = 0.0F;
    bool isWatched = false;      // somebody sees the rendered preview
    bool isPreviewMoved = false; // another source is on preview than before
    FramePtr picture;            // null without a source
    FramePtr previewPicture;     // null where nobody watches
    FramePtr sound;
    FramePtr previewSound;
};

} // namespace quol

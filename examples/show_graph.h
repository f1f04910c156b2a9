// The objects of a show and how they hang together:
//
//     camera 1, camera 2, bars -> switcher -> mixer -> recorder, stream, wall
//                                    |          |
//                                    +-> replay +   inset, titles and opening lie over it, too
#pragma once

#include <string>

#include "quolsdk/LAnimation.h"
#include "quolsdk/LCharacter.h"
#include "quolsdk/LFile.h"
#include "quolsdk/LLive.h"
#include "quolsdk/LMixer.h"
#include "quolsdk/LRecorder.h"
#include "quolsdk/LReplay.h"
#include "quolsdk/LStream.h"
#include "quolsdk/LSwitcher.h"
#include "show_timing.h"

namespace show {

constexpr int pictureWidth = 1280;
constexpr int pictureHeight = 720;

// What a show is made from, and what it leaves. Empty texts leave a thing out.
struct Files {
    std::string camera1;
    std::string camera2;
    std::string titles;    // a project with items "lowerthird", "crawl" and "logo"
    std::string opening;   // a Lottie template
    std::string stinger;   // a clip with alpha
    std::string recording; // the movie to write
    std::string server;    // the address to go live to
};

struct Graph {
    // A player that nobody listens to stops. With these the cameras run, also while they are
    // neither on air nor next.
    CountSink fromCamera1;
    CountSink fromCamera2;
    RepeatSink cleanFeed;  // what the switcher makes
    ArrivalSink programme; // what the mixer makes

    LFile camera1;
    LFile camera2;
    LLive bars;
    LCharacter titles;
    LAnimation opening;
    LSwitcher switcher;
    LReplay replay;
    LMixer mixer;
    LRecorder recorder;
    LStream stream;

    Graph() = default;
    Graph(const Graph&) = delete;
    Graph& operator=(const Graph&) = delete;
    // Ends what runs, from the last link of the chain to the first.
    ~Graph();

    // Everything runs, camera 1 is on air. False, with a line, when a camera is not to be had.
    bool open(const Files& files);
    // Returns with the recording's first moment. False, with a line, when it cannot be written.
    bool startRecording(const Files& files);
    // The server has answered: from here on every picture of the programme is to be sent.
    void beginLive();
    void endLive();
    // Pictures of the programme between the two, of the last time.
    std::int64_t picturesLive() const { return liveTo_ - liveFrom_; }
    // Finishes the recording and the stream.
    void finish();

    // By the name that a script uses; null for none.
    LObject* source(const std::string& name);

private:
    bool openCameras(const Files& files);
    void openTitles(const Files& files);
    void openSwitcher(const Files& files);
    void openReplay();
    void openMixer();

    std::string replayFolder_; // of its own; empty without one
    bool isLive_ = false;
    std::int64_t liveFrom_ = 0; // pictures of the programme by then
    std::int64_t liveTo_ = 0;
    bool isOpen_ = false;
};

} // namespace show

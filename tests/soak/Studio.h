// The whole graph: every class of the library at work in one programme of 1280x720 at 25.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "quolsdk/LAnimation.h"
#include "quolsdk/LAudioMixer.h"
#include "quolsdk/LCharacter.h"
#include "quolsdk/LConvert.h"
#include "quolsdk/LFile.h"
#include "quolsdk/LFilter.h"
#include "quolsdk/LFrame.h"
#include "quolsdk/LLive.h"
#include "quolsdk/LMixer.h"
#include "quolsdk/LMultiview.h"
#include "quolsdk/LOutput.h"
#include "quolsdk/LPreview.h"
#include "quolsdk/LReader.h"
#include "quolsdk/LRecorder.h"
#include "quolsdk/LReplay.h"
#include "quolsdk/LSignal.h"
#include "quolsdk/LStream.h"
#include "quolsdk/LStreamPlay.h"
#include "quolsdk/LSwitcher.h"
#include "soak/Desk.h"
#include "soak/ProgrammeWatch.h"
#include "soak/Spare.h"
#include "support/RtmpServer.h"
#include "support/XServer.h"

namespace soak {

inline constexpr double programmeRate = 25.0;
videoFormatProps programmeFormat();

// Takes what comes and forgets it. Each source that lasts has one, as it would have its meter in a
// studio: one without any sink keeps its latest 50 pictures.
class Lamp : public LSink {
public:
    void pushVideoFrame(AVFrame*) override {}
    void pushAudioFrame(AVFrame*) override {}
};

struct Studio {
    // Builds the graph at rest (see `rest`). The server and the screen may be null.
    Studio(Desk& desk, test::RtmpServer* server, test::XServer* screen);
    // Takes it apart in the documented order.
    ~Studio();
    Studio(const Studio&) = delete;
    Studio& operator=(const Studio&) = delete;

    // What can be on a layer, a tile or a bus; `number` from 0 to sourceCount - 1. The last ones
    // are made by the mixer's own pictures and stay out of it.
    LObject* source(int number);
    static constexpr int layerSources = 9;
    static constexpr int sourceCount = 10;

    // Everything as it was at the beginning: what can be compared from one rest to the next.
    void rest();
    // From there on the air: network, recording and replay begin.
    void goOnAir();

    bool sendOverNetwork(); // VTP and its receiver; false when it was not found
    void startStream();
    void startPlayer();
    void startRecorder(Random& random);
    void stopRecorder();
    void refillReplay();
    void openView(int index); // in its window

    Desk& desk;
    test::RtmpServer* const server;
    test::XServer* const screen;
    Lamp lamp;

    LFilter picturesUpsideDown{LFilter::Type::video};
    LFile players[2];
    LSignal signal;
    LLive camera;
    LLive toneCamera; // never touched: its tone is to go on
    LLive vtpIn;
    LStreamPlay player;
    LCharacter titles; // over the programme
    LCharacter board;  // a layer of the mixer
    LAnimation animation;
    LReplay replay;

    LMixer mixer;
    LSwitcher switcher;
    LAudioMixer sound;
    LAudioMixer toneMixer;
    LMultiview wall;

    ProgrammeWatch programmeWatch{programmeRate};
    ToneWatch toneWatch;
    LOutput vtpOut;
    LRecorder recorder;
    LStream stream;
    LConvert convert;
    LFrame tap;
    std::unique_ptr<test::HostWindow> windows[2];
    std::unique_ptr<LPreview> views[2];
    std::vector<std::unique_ptr<Spare>> spares;

    // Of the script, not of the library.
    int vtpDevice = 0; // of the live input
    int recordings = 0;
    bool recording = false;
    std::string recordedFile;
    bool streaming = false;

private:
    std::vector<LObject*> watched(); // whatever feeds the lamp, but the file players
    void openViews();
    void setPictureFormat(const videoFormatProps& format);
    void emptyPools();
    void restSources();
    void restPictures();
    void restTitles();
};

// What the script may do, by part of the studio.
std::vector<Operation> sourceOperations(Studio& studio);
std::vector<Operation> mixingOperations(Studio& studio);
std::vector<Operation> titleOperations(Studio& studio);
std::vector<Operation> storeOperations(Studio& studio);
std::vector<Operation> networkOperations(Studio& studio);
std::vector<Operation> monitorOperations(Studio& studio);
std::vector<Operation> spareOperations(Studio& studio);

} // namespace soak

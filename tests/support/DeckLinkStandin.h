// The control of the stand-in for the DeckLink driver: a test says which cards the machine has and
// what they do, and sees what the library did with them. The stand-in is a shared library of its
// own, which the library under test finds as it would find the real one (see tests/CMakeLists.txt).
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/decklink/Numbers.h"

namespace test {

struct DeckLinkMode {
    std::uint32_t code = 0;
    std::optional<std::string> name; // none: GetName fails
    long width = 0;
    long height = 0;
    std::int64_t duration = 1; // of a frame, in units of 1/scale second
    std::int64_t scale = 25;
};

// 1080p50 ('Hp50', 1000/50000), 1080p25 ('Hp25', 1000/25000), 1080i59 ('Hi59', 1001/30000) and
// 576i ('pal ', 1/25).
std::vector<DeckLinkMode> deckLinkModes();

struct DeckLinkCard {
    std::optional<std::string> model; // none: GetModelName fails
    bool input = true;                // answers IDeckLinkInput; the next three likewise
    bool output = true;
    bool attributes = true;
    bool configuration = true;
    std::optional<std::int64_t> inputLines = 3; // the masks; none: the attribute cannot be read
    std::optional<std::int64_t> outputLines = 3;
    std::optional<bool> formatDetection = true;
    std::vector<DeckLinkMode> modes = deckLinkModes();
    std::int32_t rowAlignment = 1;            // what RowBytesForPixelFormat rounds up to
    std::optional<std::int32_t> rowBytesTold; // what it says instead
};

// The machine that reset() makes: "Stand-in Duo" with input and output (SDI, HDMI), and "Stand-in
// Capture", input only (SDI, HDMI, Component, Composite, S-Video), without format detection.
std::vector<DeckLinkCard> deckLinkMachine();

using DeckLinkBytes = std::shared_ptr<std::vector<std::uint8_t>>;

// A picture that a card captured, or one that it was told to show.
struct DeckLinkFrame {
    long width = 0;
    long height = 0;
    long rowBytes = 0;
    std::uint32_t pixelFormat = 0;
    std::uint32_t flags = 0;
    DeckLinkBytes bytes; // of a captured one, let go when its last reference is given back
    std::map<std::uint32_t, std::string> timecodes; // by format; "hh:mm:ss:ff" in one to show
    struct StreamTime {
        std::int64_t time = 0; // microseconds
        std::int64_t duration = 0;
    };
    std::optional<StreamTime> streamTime; // none: GetStreamTime fails
};

// A captured picture whose bytes tell from `seed`. `rowBytes` 0 is the tight stride; an unknown
// format has two bytes for a pixel.
DeckLinkFrame deckLinkPicture(long width, long height, std::uint32_t pixelFormat, unsigned seed = 0,
                              long rowBytes = 0);

// 16-bit stereo, interleaved.
struct DeckLinkSound {
    std::vector<std::int16_t> samples;
};

struct DeckLinkCall {
    std::size_t card = 0;
    std::string method;                  // "IDeckLinkInput::EnableVideoInput"
    std::vector<std::int64_t> arguments; // the numbers among them

    friend bool operator==(const DeckLinkCall&, const DeckLinkCall&) = default;
};

struct DeckLinkCardState {
    bool callback = false; // one is installed
    bool videoInput = false;
    bool audioInput = false;
    bool streaming = false;
    bool paused = false;
    std::uint32_t inputMode = 0;
    std::uint32_t inputFormat = 0;
    std::uint32_t inputFlags = 0;
    std::optional<std::int64_t> inputConnection; // as set by configuration
    std::optional<std::int64_t> outputConnection;

    bool videoOutput = false;
    bool audioOutput = false;
    std::uint32_t outputMode = 0;
    std::uint32_t outputFlags = 0;
    bool inDisplay = false; // a DisplayVideoFrameSync is being held back
    int framesShown = 0;
    std::deque<DeckLinkFrame> shown;   // the latest 64, as they were at that time
    std::int64_t samplesWritten = 0;   // sample frames
    std::deque<DeckLinkSound> written; // the latest 512 blocks
};

// An object that the driver handed out and that has references left.
struct DeckLinkObject {
    std::string interface; // "IDeckLinkVideoBuffer"
    std::uint64_t id = 0;
    unsigned long references = 0;
};

struct DeckLinkState {
    std::vector<DeckLinkCardState> cards;
    int iterators = 0; // made so far
    // The calls on inputs, outputs and configurations, all cards in one order.
    std::vector<DeckLinkCall> calls;
    // A picture and its IDeckLinkVideoBuffer count for themselves. A callback is not among them: it
    // is the library's own object.
    std::vector<DeckLinkObject> live;
    // What no user of the driver may do: a call after the last reference was given back, bytes
    // taken outside an access, an access that does not end, a picture shown during an access.
    std::vector<std::string> misuses;

    std::size_t liveOf(const std::string& interface) const;
    // All references to them together.
    unsigned long referencesOf(const std::string& interface) const;
    std::vector<DeckLinkCall> callsOf(const std::string& method) const;
};

// All of it on any thread.
class DeckLinkStandin {
public:
    // As if just loaded, with deckLinkMachine(). What still exists is not told of any more.
    virtual void reset() = 0;
    // Cards that are in use go on as they were until they are let go.
    virtual void setCards(std::vector<DeckLinkCard> cards) = 0;
    // The entry point gives null.
    virtual void refuseIterator(bool refuse) = 0;
    // The next `times` calls of "IDeckLinkInput::StartStreams" and its like give `result` and do
    // nothing else, on whichever object; below 0 for all calls, 0 for none any more.
    virtual void fail(const std::string& method,
                      quol::decklink::HRESULT result = quol::decklink::E_FAIL, int times = -1) = 0;

    // Holds the calls of "IDeckLinkInput::EnableVideoInput" and its like on a card, which count as
    // made then, for as long as they are named.
    virtual void holdCalls(const std::set<std::string>& methods) = 0;

    // Calls the card's callback with a picture, with sound, with both or with neither, on the
    // calling thread, as the driver does on its own. What the callback gave back; nothing when none
    // is installed. It calls whether the streams run or not: the driver too may be late.
    virtual std::optional<quol::decklink::HRESULT> deliver(
        std::size_t card, const std::optional<DeckLinkFrame>& frame,
        const std::optional<DeckLinkSound>& sound = std::nullopt) = 0;
    // The same for a change of format. A mode of 0 tells of none.
    virtual std::optional<quol::decklink::HRESULT> changeFormat(std::size_t card,
                                                                std::uint32_t events,
                                                                std::uint32_t mode,
                                                                std::uint32_t flags) = 0;

    // Holds every DisplayVideoFrameSync inside the call until it is let go.
    virtual void holdDisplay(bool hold) = 0;
    // Holds pictures back to the rate of the mode, and sound to its own, as a card does. Off at
    // first.
    virtual void paceOutput(bool pace) = 0;

    virtual DeckLinkState state() = 0;
    // Waits until it is as the test wants it; false when the limit has passed.
    virtual bool wait(const std::function<bool(const DeckLinkState&)>& condition,
                      std::chrono::milliseconds limit = std::chrono::seconds(30)) = 0;

protected:
    ~DeckLinkStandin() = default;
};

// Loads it from where the loader finds "libDeckLinkAPI.so"; throws std::runtime_error where there
// is none, which means that the test is not run as tests/CMakeLists.txt says.
DeckLinkStandin& deckLinkStandin();

} // namespace test

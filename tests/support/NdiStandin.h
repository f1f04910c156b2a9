// The control of the stand-in for the NDI runtime: a test says what is on the network and what
// happens, and sees what the library did. The stand-in is a shared library of its own, which the
// library under test finds as it would find the real one (see tests/CMakeLists.txt).
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/ndi/Records.h"

namespace test {

using NdiBytes = std::shared_ptr<std::vector<std::uint8_t>>;

// A frame: its record, and what the record's pointer points at. The pointer itself, and that of the
// metadata, mean nothing here. The memory of a frame that was given is let go as soon as it comes
// back, so that using it later is seen by the address sanitizer; a test that keeps a reference of
// its own keeps it alive.
struct NdiVideo {
    quol::ndi::NDIlib_video_frame_v2_t record;
    NdiBytes bytes;
};
struct NdiAudio {
    quol::ndi::NDIlib_audio_frame_v2_t record;
    NdiBytes bytes;
};

// A progressive picture of 25 frames a second with bytes that tell from `seed`. A stride of 0 is
// the tight one.
NdiVideo ndiPicture(int width, int height, const char (&fourCC)[5], unsigned seed = 0,
                    int stride = 0);
// Sound with planes one behind the other, sample i of channel c being (i + 1000 * c) / 65536.
NdiAudio ndiSound(int samples, int channels = 2, int sampleRate = 48000);

struct NdiFinder {
    bool alive = true;
    bool showLocalSources = false;
    std::optional<std::string> groups;
    std::optional<std::string> extraIps;
    std::vector<std::uint32_t> waits; // time-outs in milliseconds
};

struct NdiReceiver {
    bool alive = true;
    std::int32_t colorFormat = 0;
    std::int32_t bandwidth = 0;
    bool allowVideoFields = false;
    std::string name;
    std::optional<std::string> source; // connected to
    std::optional<std::string> url;
    std::uint32_t captures = 0; // calls
    std::uint32_t timeout = 0;  // of the latest, milliseconds
    int given = 0;
    int freed = 0;

    int outstanding() const { return given - freed; }
};

struct NdiSender {
    bool alive = true;
    std::string name;
    std::optional<std::string> groups;
    bool clockVideo = false;
    bool clockAudio = false;
    int videoSent = 0;
    int audioSent = 0;
    bool inVideoSend = false;   // a call is being held back
    std::deque<NdiVideo> video; // the latest 64; `bytes` as they were during the call
    std::deque<NdiAudio> audio; // the latest 512
};

struct NdiState {
    int initializeCalls = 0;
    int destroyCalls = 0;
    std::vector<NdiFinder> finders; // all that were made, in their order
    std::vector<NdiReceiver> receivers;
    std::vector<NdiSender> senders;
    std::size_t queued = 0; // given by the test, not captured yet
    // What no user of the runtime may do: a handle used after its end, a frame given back twice or
    // to another receiver, a receiver destroyed while frames of it are out.
    std::vector<std::string> misuses;

    // Everything that was made is gone, and every frame came back.
    bool allGivenBack() const;
};

struct NdiFailures {
    bool initialize = false; // gives false
    bool findCreate = false; // gives null, as the next two
    bool receiverCreate = false;
    bool senderCreate = false;
    bool listing = false;    // the sources are counted, but the array of them is null
    bool sourceName = false; // the first source has no name
};

// All of it on any thread.
class NdiStandin {
public:
    // As if just loaded. What still exists counts as destroyed from now on.
    virtual void reset() = 0;
    virtual void setSources(std::vector<std::string> names) = 0;
    virtual void setFailures(const NdiFailures& failures) = 0;

    // For the next captures of a receiver that is connected to anything, in this order.
    virtual void give(NdiVideo frame) = 0;
    virtual void give(NdiAudio frame) = 0;
    virtual void give(quol::ndi::FrameType other) = 0; // metadata, an error, a change

    // Holds every video send inside the call until it is let go.
    virtual void holdVideoSends(bool hold) = 0;
    // Holds a clocked sender's video back to its frame rate, as the real one does. Off at first.
    virtual void paceVideoSends(bool pace) = 0;

    virtual NdiState state() = 0;
    // Waits until it is as the test wants it; false when the limit has passed.
    virtual bool wait(const std::function<bool(const NdiState&)>& condition,
                      std::chrono::milliseconds limit = std::chrono::seconds(30)) = 0;

protected:
    ~NdiStandin() = default;
};

// Loads it from where the loader finds "libndi.so.6"; throws std::runtime_error where there is
// none, which means that the test is not run as tests/CMakeLists.txt says.
NdiStandin& ndiStandin();

} // namespace test

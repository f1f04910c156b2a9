// What the tests of the file player share: a player with a sink on it, and the clip's own frames to
// hold its output against.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "quolsdk/LFile.h"
#include "support/CollectingSink.h"

namespace test {

// A player that shows what it keeps from its hosts.
class OpenFile : public LFile {
public:
    // A class that derives from one with a worker ends it before it goes itself.
    ~OpenFile() override { stop(); }
    std::size_t queued() { return queuedFrames(); }
    float peakLeft() const { return audioPeakLeft; }
    void forgetPeak() { audioPeakLeft = 0.0F; }
    float peakRight() const { return audioPeakRight; }
};

// A player for a clip of the suite with one sink on it, taken apart in the order that the two need.
// At the end of the clip it ends, unless a test says otherwise.
class FilePlayer {
public:
    // `keep` as CollectingSink has it.
    explicit FilePlayer(const std::string& clip, std::size_t keep = 0);
    ~FilePlayer();
    FilePlayer(const FilePlayer&) = delete;
    FilePlayer& operator=(const FilePlayer&) = delete;

    int status();
    // Waits until the player says that it does not run any more; false when the limit has passed.
    bool waitForEnd(std::chrono::milliseconds limit = std::chrono::seconds(40));
    // Plays the clip to its end; false when it does not get there. The player stands ended: at an
    // out point its last picture may still be on its way.
    bool playToEnd();
    // Plays the clip to its end and stops: whatever comes has come.
    bool playOut();

    OpenFile file;
    CollectingSink sink;
};

int statusOf(LObject& object);

// Of a file that carries none, and of no file.
constexpr auto zeroTimecode = "00:00:00:00";

// That a player answers as one does that has no file open.
void expectClosed(LFile& file);

videoFormatProps customVideo(int width, int height, double fps, int pixelFormat = 0);
videoFormatProps nativeVideo(int pixelFormat);

// All frames of the best stream of a type, decoded to the last one, in the order of the decoder.
std::vector<quol::FramePtr> decodeAll(const std::string& path, AVMediaType type);
// The same one by one, for clips that are too long to be kept.
void decodeEach(const std::string& path, AVMediaType type,
                const std::function<void(quol::FramePtr)>& take);

// A number for what a picture shows: its size, format and every byte that is seen.
std::uint64_t fingerprint(const AVFrame& picture);

// What is wrong with a run of time stamps, of which each must be `step` behind the one before;
// empty when nothing is.
std::string irregularity(const std::vector<PictureSeen>& pictures, double step);

// Seconds on the steady clock from a moment on.
class Stopwatch {
public:
    Stopwatch();
    double seconds() const;
    double at(std::int64_t steadyNanoseconds) const; // of a time of arrival

private:
    std::int64_t start_;
};

} // namespace test

// What the tests of the replay share: pictures that tell their number, and a replay with a sink.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "core/Handles.h"
#include "quolsdk/LReplay.h"
#include "quolsdk/LSink.h"

namespace test {

constexpr int numberedWidth = 320;
constexpr int numberedHeight = 64;

// A picture that shows its number, 0 to 65535, in sixteen boxes; made from planar 4:2:0.
quol::FramePtr numberedPicture(int number, std::int64_t pts, AVRational timeBase);
// What a picture of any size and planar 8-bit format shows; -1 for something that is no number.
int numberIn(const AVFrame& picture);

// A block of sound in which every pair of samples tells where it stands: left counts pairs from
// `first`, right is its negative.
quol::FramePtr numberedSound(std::int64_t first, int pairs, int sampleRate = 48000);

// Remembers what a replay showed and played.
class ReplaySink : public LSink {
public:
    struct Picture {
        int number = -1;
        std::string timecode;
        std::optional<double> seconds; // its time, where it has one
        int width = 0;
        int height = 0;
        int format = -1;
        std::int64_t arrived = 0; // steady nanoseconds
    };
    struct Block {
        std::int64_t pts = 0;
        int samples = 0;
        int sampleRate = 0;
        std::int16_t first = 0; // left sample
        std::int64_t arrived = 0;
    };

    void pushVideoFrame(AVFrame* frame) override;
    void pushAudioFrame(AVFrame* frame) override;

    std::vector<Picture> pictures() const;
    std::vector<Block> blocks() const;
    std::vector<int> numbers() const;
    void clear();
    // Called from inside each push of a picture.
    void onPicture(std::function<void()> call);

private:
    mutable std::mutex mutex_; // guards all below
    std::vector<Picture> pictures_;
    std::vector<Block> blocks_;
    std::function<void()> onPicture_;
};

// A replay that records numbered pictures into a folder of its own, at 320x64 and that rate.
class ReplayStation {
public:
    explicit ReplayStation(double rate = 50.0);
    ~ReplayStation();
    ReplayStation(const ReplayStation&) = delete;
    ReplayStation& operator=(const ReplayStation&) = delete;

    // Pushes picture number `number`, which stands at number * timeBase.
    void push(int number, AVRational timeBase, const std::string& timecode = "");
    // Numbers 0 to count - 1 at the replay's own rate, 50 unless set.
    void record(int count, AVRational timeBase = {1, 50});
    // Seeks and waits for what comes of it.
    std::optional<ReplaySink::Picture> shown(int frame);
    // Waits for the next picture after `action`.
    std::optional<ReplaySink::Picture> after(const std::function<void()>& action);

    std::string videoPath() const { return folder + "/replay_cam_v.bin"; }
    std::string audioPath() const { return folder + "/replay_cam_a.bin"; }

    std::string folder;
    LReplay replay;
    ReplaySink sink;
};

// A folder of a test's own, new and empty.
std::string newFolder(const std::string& name);

} // namespace test

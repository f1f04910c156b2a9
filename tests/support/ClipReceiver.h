// A live input that receives the numbered clip, and all that it says.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "quolsdk/LLive.h"
#include "quolsdk/LSink.h"
#include "support/NumberedClip.h"

namespace test {

// What came, in its order.
class NumberedSink : public LSink {
public:
    struct Picture {
        int number = 0;
        double seconds = 0.0;     // pts * time base
        std::int64_t arrived = 0; // steady nanoseconds
    };
    struct Block {
        std::size_t first = 0; // pair of the sound
        double seconds = 0.0;
    };

    // How many pictures apart those are that it keeps.
    explicit NumberedSink(int keepEvery) : keepEvery_(keepEvery) {}

    void pushVideoFrame(AVFrame* frame) override;
    void pushAudioFrame(AVFrame* frame) override;

    int latest() const; // number of the latest picture, -1 before it
    std::vector<Picture> pictures() const;
    std::vector<Block> blocks() const;
    std::vector<std::int16_t> sound() const;            // 16-bit stereo; other sound does not count
    std::map<int, quol::FramePtr> keptPictures() const; // by their numbers

private:
    const int keepEvery_;
    mutable std::mutex mutex_; // guards all below
    std::vector<Picture> pictures_;
    std::vector<Block> blocks_;
    std::vector<std::int16_t> sound_;
    std::map<int, quol::FramePtr> kept_;
};

class ClipReceiver {
public:
    explicit ClipReceiver(int keepEvery) : sink(keepEvery) { live.addSink(&sink); }
    ~ClipReceiver() {
        live.Stop();
        live.removeSink(&sink);
    }
    ClipReceiver(const ClipReceiver&) = delete;
    ClipReceiver& operator=(const ClipReceiver&) = delete;

    // Waits for the sender of that name and receives it. False when it is not heard of.
    bool start(const std::string& name);
    // Waits for that picture or a later one.
    bool waitFor(int number) const;
    // Waits until its sound has come up to the beginning of that picture, or what is behind it.
    bool waitForSound(int number) const;

    // Pictures between the first and the last that did not come.
    int lost() const;
    // Numbers and times rise.
    bool isInOrder() const;
    // How far the sound is behind each flash by the time stamps, in seconds, as SoundClock has it.
    std::map<int, double> soundBehind(const std::vector<SoundPiece>& pieces) const;

    NumberedSink sink;
    LLive live;
};

} // namespace test

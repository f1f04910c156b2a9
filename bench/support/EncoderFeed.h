// Pictures and sound for an encoder, in real time: from memory, as a source of the library, and
// from the same bytes in files for ffmpeg.
#pragma once

#include <functional>
#include <vector>

#include "core/Handles.h"
#include "quolsdk/LObject.h"
#include "support/Commands.h"

namespace bench {

// Makes the files, unless they are there: two seconds of 1920x1080 in planar 4:2:0, and their
// sound.
bool makeFeed();

// Goes round and round through them, at whole pictures a second that divide 48000.
class EncoderFeed : public LObject {
public:
    explicit EncoderFeed(int rate) : rate_(rate) {}

    double getFPS() override { return rate_; }
    int getWidth() override;
    int getHeight() override;

    // Takes what makeFeed has made into memory.
    bool read();
    // Hands that many pictures on, each in its time; `before` is told which comes next.
    void run(int frames, const std::function<void(int)>& before);

private:
    int rate_;
    std::vector<quol::FramePtr> pictures_;
    std::vector<quol::FramePtr> sound_;
};

// ffmpeg reading them as often as needed, in real time; the encoders come behind it.
Command feedOfPeer(int frames, int rate);

} // namespace bench

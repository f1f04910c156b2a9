// A source that never runs short of anything itself.
#pragma once

#include <atomic>
#include <chrono>
#include <thread>

#include "core/Handles.h"
#include "support/Frames.h"
#include "support/MemoryShortage.h"
#include "support/RunningMixer.h"

namespace test {

// One picture of 80 x 60 after another and the sound beside it, every few milliseconds. What they
// are made of is made before; its thread is spared, its sinks are not.
class Feed : public WatchedSource {
public:
    explicit Feed(unsigned seed) {
        for (std::int64_t i = 0; i < 8; ++i)
            pictures_[i] = makePicture(80, 60, AV_PIX_FMT_YUV420P, 0, {1, 200}, seed + i);
        sound_ = makeSound(240, 48000, 2, AV_SAMPLE_FMT_S16);
        thread_ = std::thread([this] { run(); });
    }
    ~Feed() override {
        isEnding_ = true;
        thread_.join();
    }

private:
    void run() {
        isSpared = true;
        for (std::int64_t i = 0; !isEnding_; ++i) {
            AVFrame& picture = *pictures_[i % 8];
            picture.pts = i;
            sound_->pts = i * 240;
            distributeAudioFrame(sound_.get());
            distributeVideoFrame(&picture);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }

    quol::FramePtr pictures_[8];
    quol::FramePtr sound_;
    std::atomic<bool> isEnding_{false};
    std::thread thread_;
};

} // namespace test

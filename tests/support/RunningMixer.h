// What the tests of the layer mixer share: a mixer on the main processor with a sink on it, and
// sources of which all is known.
#pragma once

#include <atomic>
#include <mutex>
#include <string>

#include "quolsdk/LMixer.h"
#include "support/CollectingSink.h"
#include "support/FilePlayer.h"
#include "support/LiveSource.h"
#include "support/PlainFrames.h"

namespace test {

// A source driven by hand that tells how it is used.
class WatchedSource : public HandSource {
public:
    void addSink(LSink* sink) override;
    void removeSink(LSink* sink) override;

    std::size_t sinkCount();
    std::atomic<int> added{0};   // calls of addSink
    std::atomic<int> removed{0}; // calls of removeSink
};

// A source that renders on demand: the picture it was told, null without one.
class PulledSource : public WatchedSource {
public:
    explicit PulledSource(quol::FramePtr picture = nullptr) : picture_(std::move(picture)) {}

    bool canPullRender() const override { return pulled; }
    AVFrame* renderVideoFrame() override;
    void addPullConsumer() override { ++consumers; }
    void removePullConsumer() override { --consumers; }

    void show(quol::FramePtr picture);

    std::atomic<bool> pulled{true};
    std::atomic<int> consumers{0};
    std::atomic<int> renders{0};

private:
    std::mutex mutex_; // guards the next
    quol::FramePtr picture_;
};

// A mixer on the main processor that shows what it keeps from its hosts.
class OpenMixer : public LMixer {
public:
    explicit OpenMixer(Renderer renderer = Renderer::processor) : LMixer(renderer) {}
    std::size_t queued() { return queuedFrames(); }
    float peakLeft() const { return audioPeakLeft; }
    float peakRight() const { return audioPeakRight; }
};

// A mixer with a sink, on a small canvas. Sources are to be made before it.
class RunningMixer {
public:
    explicit RunningMixer(const videoFormatProps& format = customVideo(64, 48, 50, 1),
                          std::size_t keep = 1);
    ~RunningMixer();
    RunningMixer(const RunningMixer&) = delete;
    RunningMixer& operator=(const RunningMixer&) = delete;

    // A picture (a block of sound) that was begun after the call; null when none comes.
    quol::FramePtr nextPicture();
    quol::FramePtr nextSound();

    // Of the next picture.
    Levels levelsAt(int x, int y) { return test::levelsAt(nextPicture().get(), x, y); }

    // Pushes the picture until the layer has taken it; false when it never does. The next picture
    // then shows it.
    bool give(const std::string& layer, LObject& source, const quol::FramePtr& picture);

    // Waits until a picture has these levels there; false when none comes.
    bool shows(int x, int y, const Levels& levels);

    OpenMixer mixer;
    CollectingSink sink;
};

} // namespace test

// A sink that remembers what it was given.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "core/Handles.h"
#include "quolsdk/LSink.h"

namespace test {

// What one push told.
struct PictureSeen {
    std::int64_t pts = 0;
    double seconds = 0.0; // pts * time base
    int width = 0;
    int height = 0;
    int format = -1;
    std::string timecode;     // metadata "timecode"
    std::int64_t arrived = 0; // steady nanoseconds
};

struct SoundSeen {
    double seconds = 0.0;
    int samples = 0;
    int sampleRate = 0;
    int channels = 0;
    int format = -1;
    std::int64_t arrived = 0; // steady nanoseconds
};

class CollectingSink : public LSink {
public:
    // How many frames to keep references to, the latest ones; 0 for none.
    explicit CollectingSink(std::size_t keep = 0) : keep_(keep) {}

    void pushVideoFrame(AVFrame* frame) override;
    void pushAudioFrame(AVFrame* frame) override;
    void flush() override;
    void setPaused(bool paused) override;

    std::vector<PictureSeen> pictures() const;
    std::vector<SoundSeen> sounds() const;
    std::vector<std::string> events() const; // "flush", "paused", "running" in their order
    std::size_t pictureCount() const;
    std::size_t soundCount() const;
    // What came behind the latest flush.
    std::vector<PictureSeen> picturesSinceFlush() const;
    std::vector<SoundSeen> soundsSinceFlush() const;
    // How often flush was called.
    std::size_t flushCount() const;
    // All pictures (sounds) that are kept, in their order; references of their own.
    std::vector<quol::FramePtr> keptPictures() const;
    std::vector<quol::FramePtr> keptSounds() const;
    quol::FramePtr latestPicture() const; // a reference of its own; null without one
    quol::FramePtr latestSound() const;
    void clear();

    // Waits until that many pictures (sounds) have come; false when the limit has passed.
    bool waitForPictures(std::size_t count,
                         std::chrono::milliseconds limit = std::chrono::seconds(20)) const;
    bool waitForSounds(std::size_t count,
                       std::chrono::milliseconds limit = std::chrono::seconds(20)) const;

private:
    std::size_t keep_;
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<PictureSeen> pictures_;
    std::vector<SoundSeen> sounds_;
    std::vector<std::string> events_;
    std::size_t flushes_ = 0;
    std::size_t picturesAtFlush_ = 0;
    std::size_t soundsAtFlush_ = 0;
    std::vector<quol::FramePtr> keptPictures_;
    std::vector<quol::FramePtr> keptSounds_;
};

// One whose pictures take 30 ms each: those who want the list of sinks meanwhile wait for it.
class SlowSink : public CollectingSink {
public:
    void pushVideoFrame(AVFrame* frame) override;
};

// One that does not come back from a change of pause before its gate is open, as it is at first.
// Its sound takes 20 ms a block: sound alone is not over at once.
class PauseGateSink : public CollectingSink {
public:
    void pushAudioFrame(AVFrame* frame) override;
    void setPaused(bool paused) override;
    void close();
    void open();

private:
    std::mutex mutex_;
    std::condition_variable opened_;
    bool closed_ = false;
};

// What a sink was told last of a pause, "paused" or "running"; empty for nothing.
std::string pauseToldLast(const CollectingSink& sink);

// Polls until `condition` holds; false when the limit has passed.
bool waitUntil(const std::function<bool()>& condition,
               std::chrono::milliseconds limit = std::chrono::seconds(20));

} // namespace test

// A switcher that makes its pictures and sound one tick at a time, and sources that say what they
// are told.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <optional>
#include <ostream>
#include <vector>

#include "quolsdk/LSwitcher.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/FilePlayer.h"
#include "support/PlainFrames.h"
#include "support/RunningMixer.h"
#include "support/ThisProcess.h"

namespace test {

inline constexpr int steppedWidth = 64;
inline constexpr int steppedHeight = 48;
inline constexpr int steppedBlock = 960; // pairs in a tick at 48000 Hz and 50 pictures a second

struct Level {
    int left = 0;
    int right = 0;
    bool operator==(const Level&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Level& level);

inline constexpr Level silence{0, 0};

// The one level of a whole block; nothing where there are several.
std::optional<Level> steadyLevel(const std::vector<std::int16_t>& samples);

// A source whose pictures and sound are of the times it is told.
class Speaker : public WatchedSource {
public:
    void show(double seconds) {
        const quol::FramePtr picture = plainPicture(steppedWidth, steppedHeight, {100, 128, 128});
        picture->time_base = {1, 1000};
        picture->pts = std::llround(seconds * 1000);
        distributeVideoFrame(picture.get());
    }

    void say(int samples, Level level, double seconds, int sampleRate = 48000) {
        const quol::FramePtr sound = plainSound(samples, static_cast<std::int16_t>(level.left),
                                                static_cast<std::int16_t>(level.right),
                                                std::llround(seconds * sampleRate), sampleRate);
        distributeAudioFrame(sound.get());
    }

    // Sound for a good number of ticks, all of it due.
    void sayLong(Level level, int sampleRate = 48000) {
        show(1000.0);
        say(sampleRate * 2, level, 0.0, sampleRate);
    }

    // Pairs (first, -first), (first + 1, -first - 1) and so on, all of it due.
    void count(int samples, int first = 1) {
        show(1000.0);
        const quol::FramePtr sound = plainSound(samples, 0, 0);
        auto* values = reinterpret_cast<std::int16_t*>(sound->data[0]);
        for (int i = 0; i < samples; ++i) {
            *values++ = static_cast<std::int16_t>(first + i);
            *values++ = static_cast<std::int16_t>(-(first + i));
        }
        distributeAudioFrame(sound.get());
    }
};

// Tells what is there for classes that derive from it.
class OpenSwitcher : public LSwitcher {
public:
    Level peaks() const { // in 16-bit steps
        return {static_cast<int>(audioPeakLeft * 32768.0F),
                static_cast<int>(audioPeakRight * 32768.0F)};
    }
};

// A switcher that stands still between two ticks. Sources are to be made before it.
class SteppedSwitcher {
public:
    explicit SteppedSwitcher(double fps = 50.0) {
        switcher.addPullConsumer();
        // Once its own thread has gone, nothing moves but on request.
        EXPECT_TRUE(waitUntil([this] { return threadsOfThisProcess() <= idle_; }));
        switcher.setVideoFormat(customVideo(steppedWidth, steppedHeight, fps, 1));
        switcher.addSink(&sink);
    }
    ~SteppedSwitcher() {
        switcher.setProgram(nullptr);
        switcher.setPreview(nullptr);
        switcher.setExtAudioObject(nullptr);
        switcher.removeSink(&sink);
        switcher.removePullConsumer();
    }
    SteppedSwitcher(const SteppedSwitcher&) = delete;
    SteppedSwitcher& operator=(const SteppedSwitcher&) = delete;

    // The block of one more tick; null when there was none, or more than one.
    quol::FramePtr tick() {
        sink.clear();
        picture.reset(switcher.renderVideoFrame());
        return sink.soundCount() == 1 ? sink.latestSound() : nullptr;
    }

    std::vector<std::int16_t> samples() {
        const quol::FramePtr sound = tick();
        return sound ? samplesOf(*sound) : std::vector<std::int16_t>();
    }

    std::optional<Level> level() { return steadyLevel(samples()); }

    LSwitcher::SwitcherStats stats() {
        LSwitcher::SwitcherStats read;
        switcher.getStats(read);
        return read;
    }

    void setRate(int sampleRate) { switcher.setAudioFormat({0, 16, sampleRate, 2}); }

private:
    const int idle_ = threadsWhenIdle();

public:
    OpenSwitcher switcher;
    CollectingSink sink{1};
    quol::FramePtr picture; // of the latest tick
};

// How many pairs of a block, from its start on, have this level; the rest must be silent, else -1.
int pairsAhead(const std::vector<std::int16_t>& samples, Level level);

} // namespace test

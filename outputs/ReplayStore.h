// What a replay has stored: the tables, the files they speak of, and where they lie.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>

extern "C" {
#include <libavutil/rational.h>
}

#include "core/ModeTables.h"
#include "outputs/ReplayFiles.h"
#include "outputs/ReplayIndex.h"

namespace quol {

// All of it under the replay's `videoMutex`. Writers and readers are taken along and used without
// it: what a disk takes its time for holds nobody up.
struct ReplayStore {
    ReplayPictures pictures;
    ReplaySounds sounds;

    std::string videoPath; // empty before the first recording and after a clear
    std::string audioPath;
    std::shared_ptr<ReplayWriter> videoWriter; // null while nothing is recorded
    std::shared_ptr<ReplayWriter> audioWriter;
    std::shared_ptr<ReplayReader> videoReader; // null before the first recording
    std::shared_ptr<ReplayReader> audioReader;

    // Counts every start and every clear: what was begun before one does not go in behind it.
    std::uint64_t generation = 0;
    std::int64_t startTime = 0;      // steady nanoseconds, of the latest start
    std::optional<double> firstTime; // of the recording's first frame, seconds
    // What `firstTime` would be if the latest far jump of the source's times was no mistake.
    std::optional<double> otherFirstTime;
    std::int64_t slots = -1;   // the latest one that is filled, counted from the start
    std::string startTimecode; // empty for none
};

// Where a picture belongs that comes in.
struct ReplaySlot {
    std::uint64_t generation = 0;
    std::int64_t first = 0; // the slots that it fills
    std::int64_t last = 0;
    double time = 0.0; // its own, seconds since the recording's first frame
    double rate = 0.0; // slots a second
    std::string startTimecode;
};

// Slots a second. Faster than this nothing is.
inline double replayRate(double fps) {
    constexpr double otherwise = 50.0;
    constexpr double fastest = 1e6;
    return fps > 0.0 ? std::min(fps, fastest) : otherwise;
}

// Pairs of samples a second that sound is played and exported with.
inline int replaySoundRate(const audioFormatProps& format) {
    constexpr int otherwise = 48000;
    return format.sampleRate > 0 ? std::min(format.sampleRate, maxSampleRate) : otherwise;
}

// What a recording begins with, again and again.
inline void rewind(ReplayStore& store) {
    store.firstTime.reset();
    store.otherFirstTime.reset();
    store.slots = -1;
}

// What a slot lasts, as FFmpeg wants it: exact for whole rates and those of NTSC.
inline AVRational replayTimeBase(double rate) {
    constexpr int ntsc = 1001;
    constexpr int most = std::numeric_limits<int>::max();
    const double ticks = std::clamp(std::round(rate * ntsc), 1.0, static_cast<double>(most));
    return {ntsc, static_cast<int>(ticks)};
}

} // namespace quol

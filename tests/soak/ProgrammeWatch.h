// Sinks that hold a source against the clock.
#pragma once

#include <cstdint>
#include <limits>
#include <mutex>

#include "quolsdk/LSink.h"
#include "soak/Lateness.h"
#include "soak/ThreadWaits.h"

namespace soak {

// How the pictures and the sound of the programme came, since the last question.
struct ProgrammeCount {
    std::int64_t pictures = 0;
    std::int64_t late = 0;    // a period or more behind their time
    std::int64_t missing = 0; // numbers that were left out: ticks without a picture
    double worst = 0.0;       // milliseconds behind their time
    // Of the late ones: those that would not have been, had nothing that makes what is on air
    // waited for a processor.
    std::int64_t explained = 0;
    std::int64_t blocks = 0; // of sound
    std::int64_t gaps = 0;   // blocks that do not follow the one before
};

// Pictures are due at their number times the period behind the earliest of all. Any thread.
class ProgrammeWatch : public LSink {
public:
    explicit ProgrammeWatch(double fps) : period_(1.0 / fps) {}
    ProgrammeCount take();

    void pushVideoFrame(AVFrame* frame) override;
    void pushAudioFrame(AVFrame* frame) override;

private:
    const double period_; // seconds
    std::mutex mutex_;    // guards all below
    ProgrammeCount count_;
    std::int64_t lastNumber_ = -1;
    double origin_ = std::numeric_limits<double>::max(); // steady seconds of number 0
    ThreadWaits waits_;
    double stolen_ = 0.0; // seconds, by other machines
    Lateness lateness_;
    double nextSound_ = -1.0; // seconds
};

// A steady tone: silence within it is a gap that is heard. Any thread.
class ToneWatch : public LSink {
public:
    // Gaps since the last question: stretches of at least a millisecond, once the tone is there.
    std::int64_t takeGaps();
    bool heard();

    void pushVideoFrame(AVFrame*) override {}
    void pushAudioFrame(AVFrame* frame) override;

private:
    std::mutex mutex_; // guards all below
    bool heard_ = false;
    int silent_ = 0; // sample pairs up to now
    std::int64_t gaps_ = 0;
};

} // namespace soak

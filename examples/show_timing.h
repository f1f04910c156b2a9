// Whether pictures come when they are due.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

#include "quolsdk/FrameHandle.h"
#include "quolsdk/LSink.h"

namespace show {

// A picture as it arrived.
struct Arrival {
    std::int64_t number = 0; // that the source gave it
    double seconds = 0.0;    // of a steady clock
};

// Late pictures one behind the other.
struct Delay {
    double seconds = 0.0; // when the first of them was due, since the first picture of all
    std::int64_t pictures = 0;
    double worst = 0.0; // seconds behind its time, the latest one
};

struct Punctuality {
    std::int64_t pictures = 0; // that came
    std::int64_t missing = 0;  // numbers that none came with
    std::int64_t late = 0;     // came when the next one was due, or later still
    double worst = 0.0;        // seconds behind its time, the latest one
    std::vector<Delay> delays; // in their order
};

// When the first of the pictures was due, on their clock: the one that was earliest, by its number,
// was on time. 0 without a picture.
double startOf(const std::vector<Arrival>& arrivals, double period);

// The next moment, from `now` on, that is so many seconds behind one at which a picture is due; by
// the same clock.
double nextDue(const std::vector<Arrival>& arrivals, double period, double behind, double now);

// Picture n is due n periods behind the first one. The earliest, by that, was on time; the others
// are held against it.
Punctuality judge(const std::vector<Arrival>& arrivals, double period);

// A sink that notes when pictures come.
class ArrivalSink : public LSink {
public:
    void pushVideoFrame(AVFrame* frame) override;
    void pushAudioFrame(AVFrame* frame) override;

    // Watches so many pictures come, for four times as long as they take at the most, and comes
    // back so many seconds behind a moment at which one is due.
    void waitUntilDue(int pictures, double period, double behind);
    std::vector<Arrival> arrivals() const;

private:
    mutable std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<Arrival> arrivals_; // guarded by `mutex_`
};

// A sink that counts pictures.
class CountSink : public LSink {
public:
    void pushVideoFrame(AVFrame* frame) override;
    void pushAudioFrame(AVFrame* frame) override;

    std::int64_t pictures() const { return pictures_; }

private:
    std::atomic<std::int64_t> pictures_{0}; // written by the source's thread
};

// A sink behind a switcher that counts pictures shown twice: a source whose next picture was not
// there in time. A switcher hands on a picture of its own size as it is, so that the second time it
// is the same memory; what it draws itself, as in a transition, is always another.
class RepeatSink : public LSink {
public:
    void pushVideoFrame(AVFrame* frame) override;
    void pushAudioFrame(AVFrame* frame) override;

    std::int64_t pictures() const;
    std::int64_t repeated() const;

private:
    mutable std::mutex mutex_; // guards all below
    quol::FramePtr latest_;    // holds the memory, so that it cannot be another's meanwhile
    std::int64_t pictures_ = 0;
    std::int64_t repeated_ = 0;
};

} // namespace show

// What the tests of the character generator share: a generator that makes a picture when it is told
// to, and what its pictures hold.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

#include "core/Handles.h"
#include "quolsdk/LCharacter.h"
#include "quolsdk/LSink.h"

namespace test {

// Keeps the thread that pushes a picture until the next one is asked for.
class GateSink : public LSink {
public:
    void pushVideoFrame(AVFrame* frame) override;
    void pushAudioFrame(AVFrame* frame) override;

    // Waits until a picture is there; a reference of its own, null when none comes.
    quol::FramePtr held();
    // Lets the one that is held go and waits for the next.
    quol::FramePtr next();
    // From now on everything goes through at once.
    void open();

private:
    quol::FramePtr waitForPicture(std::unique_lock<std::mutex>& lock);

    std::mutex mutex_; // guards all below
    std::condition_variable changed_;
    quol::FramePtr picture_; // null while none is held
    bool open_ = false;
};

// A generator that stands still between two pictures: its thread has handed one on and has not
// begun the next. So what is changed shows in the next picture, fields may be read and written like
// any others, and it is known what moves how often. No other sink can be attached meanwhile.
class SteppedTitles {
public:
    SteppedTitles();
    ~SteppedTitles();
    SteppedTitles(const SteppedTitles&) = delete;
    SteppedTitles& operator=(const SteppedTitles&) = delete;

    quol::FramePtr picture() { return gate_.held(); } // the latest
    quol::FramePtr step() { return gate_.next(); }    // makes one more
    quol::FramePtr step(int times);                   // the last of several

    LCharacter character;

private:
    GateSink gate_;
};

// A panel of one colour, for titles that can be told apart.
LCGRectProps panelOf(const char* color);

// One sample of a planar 4:2:0 picture with alpha; -1 for a null picture.
int sampleAt(const AVFrame* picture, int plane, int x, int y);
inline int lumaAt(const quol::FramePtr& picture, int x, int y) {
    return sampleAt(picture.get(), 0, x, y);
}
inline int alphaAt(const quol::FramePtr& picture, int x, int y) {
    return sampleAt(picture.get(), 3, x, y);
}

// All that a picture shows.
std::vector<std::uint8_t> samplesShown(const AVFrame& picture);

// How many pixels of a part of a picture are not transparent.
int inked(const quol::FramePtr& picture, int left, int top, int right, int bottom);

// Whether two pictures are one and the same memory.
bool samePicture(const quol::FramePtr& one, const quol::FramePtr& other);

} // namespace test

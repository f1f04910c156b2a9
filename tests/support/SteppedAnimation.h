// What the tests of Lottie templates share: a player that makes a picture when it is told to, and
// what its pictures show.
#pragma once

#include <ostream>
#include <string>

#include "core/Handles.h"
#include "quolsdk/LAnimation.h"
#include "support/LottieTemplates.h"
#include "support/SteppedTitles.h"

namespace test {

// The canvas that a template of the suite fills, at the rate it plays at: a frame of a template for
// each picture, without rounding, and nobody waits for the clock.
videoFormatProps lottieFormat(double fps = 1024.0);

// A player that stands still between two pictures: its thread has handed one on and has not begun
// the next. So what is changed shows in the next picture. No other sink can be attached meanwhile.
class SteppedAnimation {
public:
    explicit SteppedAnimation(double fps = 1024.0);
    ~SteppedAnimation();
    SteppedAnimation(const SteppedAnimation&) = delete;
    SteppedAnimation& operator=(const SteppedAnimation&) = delete;

    // Loads a template from a file of its own. The first one that is no failure makes the first
    // picture.
    bool load(int id, const std::string& json);

    quol::FramePtr picture() { return gate_.held(); } // the latest
    quol::FramePtr step() { return gate_.next(); }    // makes one more

    LAnimation animation;

private:
    GateSink gate_;
};

// A pixel of a planar 4:2:0 picture with alpha.
struct LottiePixel {
    int y = -1;
    int u = -1;
    int v = -1;
    int alpha = -1;
};
LottiePixel pixelAt(const quol::FramePtr& picture, int x, int y);

// A pixel in red, green and blue, of premultiplied colours; equal where rounding makes no more than
// a difference of 3.
LottiePixel pixelOf(int red, int green, int blue, int alpha = 255);
bool operator==(const LottiePixel& one, const LottiePixel& other);
std::ostream& operator<<(std::ostream& out, const LottiePixel& pixel);

// In the middle of the picture.
LottiePixel middleOf(const quol::FramePtr& picture);

// Whether every pixel is.
bool isTransparent(const quol::FramePtr& picture);

// The frame of columnsTemplate that is shown; -1 for none, -2 for several.
int columnOf(const quol::FramePtr& picture);

} // namespace test

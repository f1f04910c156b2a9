// Where one layer of a Lottie template stands, from picture to picture.
#pragma once

#include "graphics/LottieText.h"

namespace quol {

struct LottiePlayhead {
    float currentFrame = 0.0F;
    int totalFrames = 0;
    float fps = 30.0F; // the template's own
    LottieMarkers markers;
    bool playing = true;
    bool exiting = false; // on its way out, no longer held by STOP
};

// Takes over the length of another template, as the engine tells it: frames and seconds. Without a
// duration it counts as one of 30 frames a second.
void setLength(LottiePlayhead& playhead, float frames, float duration);

// Goes on by one picture of a loop that makes `loopFps` of them a second. False when the layer has
// left. A layer that is not playing stays.
bool step(LottiePlayhead& playhead, double loopFps);

} // namespace quol

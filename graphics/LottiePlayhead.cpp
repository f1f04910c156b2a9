#include "graphics/LottiePlayhead.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace quol {

namespace {

constexpr int notSet = LottieMarkers::unset;
constexpr float defaultRate = 30.0F;

int wholeFrames(float frames) {
    constexpr double most = std::numeric_limits<int>::max();
    return std::isnan(frames) ? 0 : static_cast<int>(std::clamp<double>(frames, 0.0, most));
}

// Whether there is still something to show. What is no number, of rates that are none, is past the
// end: nothing would ever get such a layer there.
bool advance(LottiePlayhead& playhead, double loopFps) {
    const float before = playhead.currentFrame;
    const double step = static_cast<double>(playhead.fps) / loopFps;
    playhead.currentFrame = static_cast<float>(static_cast<double>(before) + step);
    // A layer that no longer moves (a rate of 0, or a step too small for the frame it is at) would
    // stay on its way out for ever.
    if (playhead.exiting && !(playhead.currentFrame > before)) return false;
    return playhead.currentFrame < static_cast<float>(playhead.totalFrames);
}

} // namespace

void setLength(LottiePlayhead& playhead, float frames, float duration) {
    playhead.totalFrames = wholeFrames(frames);
    playhead.fps =
        duration > 0.0F ? static_cast<float>(playhead.totalFrames) / duration : defaultRate;
}

bool step(LottiePlayhead& playhead, double loopFps) {
    if (!playhead.playing) return true;
    const LottieMarkers& markers = playhead.markers;
    const bool beforeStop =
        markers.stop == notSet || playhead.currentFrame < static_cast<float>(markers.stop);
    if (beforeStop || playhead.exiting) {
        if (advance(playhead, loopFps)) return true;
        if (playhead.exiting) return false;
        playhead.currentFrame = markers.loop == notSet ? 0.0F : static_cast<float>(markers.loop);
    } else if (markers.loop == notSet) {
        playhead.playing = false;
        playhead.currentFrame = static_cast<float>(markers.stop);
    } else {
        playhead.currentFrame = static_cast<float>(markers.loop);
    }
    return true;
}

} // namespace quol

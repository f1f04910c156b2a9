// What the tests of the switcher share: a switcher on a small canvas that stands still between two
// ticks. Sources of which all is known are beside the mixer's (support/RunningMixer.h).
#pragma once

#include <string>

#include "quolsdk/LCharacter.h"
#include "quolsdk/LSwitcher.h"
#include "support/CollectingSink.h"
#include "support/FilePlayer.h"
#include "support/PlainFrames.h"
#include "support/RunningMixer.h"

namespace test {

// A switcher whose own clock has ended: every tick is asked for by the test, on its thread. Sources
// and titles are to be made before it.
class PulledSwitcher {
public:
    explicit PulledSwitcher(const videoFormatProps& format = customVideo(64, 48, 50, 1));
    // Takes away what is there.
    ~PulledSwitcher();
    PulledSwitcher(const PulledSwitcher&) = delete;
    PulledSwitcher& operator=(const PulledSwitcher&) = delete;

    // The picture of one more tick; null for none.
    quol::FramePtr tick() { return quol::FramePtr(switcher.renderVideoFrame()); }

    LSwitcher::SwitcherStats stats();

    // Percent, exact for 0 and 100.
    double position() { return stats().position; }

    LSwitcher switcher;
    CollectingSink sink{1};
};

// Noise that no two seeds have in common.
quol::FramePtr noisePicture(unsigned seed, int width = 64, int height = 48,
                            AVPixelFormat format = AV_PIX_FMT_YUV420P);

// Pictures of `source`, whole, as a canvas shows them in one of the switcher's scale modes, by a
// scaler made for this one picture; what the picture does not reach is black.
quol::FramePtr fittedByHand(const AVFrame& source, int mode, int width, int height, int flags);

// Whether two pictures are one and the same memory.
bool sharesMemory(const quol::FramePtr& one, const quol::FramePtr& other);

} // namespace test

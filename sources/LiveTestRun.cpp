#include "sources/LiveTestRun.h"

#include "core/HadMemory.h"
#include "core/Log.h"
#include "sources/LiveTestSignal.h"

namespace quol {

// A picture that is late skips nothing: the deadlines stay where they are, and the loop catches up
// by not sleeping.
void LiveTestRun::run() {
    constexpr std::int64_t period = nanosPerSecond / static_cast<std::int64_t>(testSignalFps);
    LiveState& state = hub_.state;
    state.setSize(testSignalWidth, testSignalHeight);
    state.detectedFps = testSignalFps;
    TestTone tone;
    FramePtr picture;
    std::int64_t deadline = steadyNow();
    while (state.running) {
        deadline += period;
        hadMemory([&] {
            if (!picture) picture = drawTestPicture();
            const FramePtr frame = cloneFrame(picture.get());
            hub_.processVideoFrame(frame.get(), LivePictures::Contents::sameAsEver);
        });
        hadMemory([&] {
            const FramePtr sound = tone.next();
            if (sound) sound->pts = AV_NOPTS_VALUE;
            hub_.processAudioFrame(sound.get());
        });
        state.sleeper.sleepFor(deadline - steadyNow());
    }
    logOut("LLive: Test Signal Thread Exiting.");
}

} // namespace quol

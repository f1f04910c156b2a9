// What device is asked for, and one that is refused, or is lost while it plays. SDL's own functions
// stand behind those of this program.
#include <SDL.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <vector>

#include "core/Clock.h"
#include "outputs/PreviewSound.h"
#include "support/CollectingSink.h"
#include "support/Frames.h"
#include "support/FunctionBehind.h"

namespace {

std::atomic<bool> refuses{false};
std::atomic<bool> isLost{false};
std::atomic<int> closed{0};
std::mutex mutex;
std::vector<std::int64_t> askedAt; // guarded by mutex: steady nanoseconds
SDL_AudioSpec askedFor{};          // guarded by mutex: the latest

} // namespace

extern "C" SDL_AudioDeviceID SDL_OpenAudioDevice(const char* device, int capture,
                                                 const SDL_AudioSpec* wanted,
                                                 SDL_AudioSpec* obtained, int changes) {
    {
        const std::lock_guard lock(mutex);
        askedAt.push_back(quol::steadyNow());
        askedFor = *wanted;
    }
    if (refuses) return 0;
    return test::functionBehind<decltype(SDL_OpenAudioDevice)>("SDL_OpenAudioDevice")(
        device, capture, wanted, obtained, changes);
}

extern "C" SDL_AudioStatus SDL_GetAudioDeviceStatus(SDL_AudioDeviceID device) {
    if (isLost) return SDL_AUDIO_STOPPED;
    return test::functionBehind<decltype(SDL_GetAudioDeviceStatus)>("SDL_GetAudioDeviceStatus")(
        device);
}

extern "C" void SDL_CloseAudioDevice(SDL_AudioDeviceID device) {
    ++closed;
    test::functionBehind<decltype(SDL_CloseAudioDevice)>("SDL_CloseAudioDevice")(device);
}

namespace {

class PreviewSoundLost : public testing::Test {
protected:
    PreviewSoundLost() {
        setenv("SDL_AUDIODRIVER", "dummy", 1);
        refuses = false;
        isLost = false;
        closed = 0;
        askedAt.clear();
        sound.setEnabled(true);
    }

    void push(int rate = 48000) {
        sound.push(*test::makeSound(480, rate, 2, AV_SAMPLE_FMT_S16, 0, 1000.0));
        ++pushed;
    }
    static std::vector<std::int64_t> asked() {
        const std::lock_guard lock(mutex);
        return askedAt;
    }

    quol::PreviewSound sound;
    std::size_t pushed = 0;
};

TEST_F(PreviewSoundLost, ADeviceIsAskedForInAFormOfItsOwnAtTheRateOfTheSound) {
    push(44100);
    ASSERT_EQ(asked().size(), 1U);
    const std::lock_guard lock(mutex);
    EXPECT_EQ(askedFor.freq, 44100);
    EXPECT_EQ(askedFor.format, AUDIO_S16SYS);
    EXPECT_EQ(askedFor.channels, 2);
    EXPECT_EQ(askedFor.samples, 1024);
}

TEST_F(PreviewSoundLost, ADeviceThatIsLostIsClosedAndAskedForAnew) {
    push();
    push();
    EXPECT_EQ(asked().size(), 1U);
    EXPECT_EQ(closed, 0);
    isLost = true;
    push();
    EXPECT_EQ(closed, 1);
    EXPECT_EQ(asked().size(), 2U);
    isLost = false;
    push();
    EXPECT_EQ(asked().size(), 2U);
    EXPECT_EQ(sound.peaks().size(), pushed); // the meter went on all the while
}

TEST_F(PreviewSoundLost, LostForGoodItIsLeftAloneForASecondThenForTwo) {
    push();
    refuses = true;
    isLost = true;
    push();
    EXPECT_EQ(closed, 1);
    ASSERT_EQ(asked().size(), 2U);
    EXPECT_TRUE(test::waitUntil(
        [&] {
            push();
            return asked().size() == 4;
        },
        std::chrono::seconds(60)));
    const std::vector<std::int64_t> moments = asked();
    EXPECT_GE(moments[2] - moments[1], quol::nanosPerSecond);
    EXPECT_GE(moments[3] - moments[2], 2 * quol::nanosPerSecond);
    EXPECT_EQ(sound.peaks().size(), std::min<std::size_t>(pushed, quol::PeakQueue::maxSamples));
    push(44100); // another form may have one
    EXPECT_EQ(asked().size(), 5U);
    refuses = false;
    isLost = false;
    push(32000);
    push(32000);
    EXPECT_EQ(asked().size(), 6U);
}

} // namespace

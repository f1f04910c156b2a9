// The preview's sound, to SDL's drivers that need no device.
#include "outputs/PreviewSound.h"

#include <SDL.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <limits>
#include <thread>

#include "core/Clock.h"
#include "outputs/LPreviewWin32Impl.h"
#include "quolsdk/LObject.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/Frames.h"

namespace {

using quol::FramePtr;
using quol::PeakQueue;
using quol::PeakSample;

constexpr auto patience = std::chrono::seconds(60);
constexpr double forEver = std::numeric_limits<double>::infinity();

// Interleaved 16-bit stereo with samples that count, none of them 0.
FramePtr countingSound(int samples, int first, std::int64_t pts = 0) {
    FramePtr sound = test::makeSound(samples, 48000, 2, AV_SAMPLE_FMT_S16, pts, 0.0);
    auto* const to = reinterpret_cast<std::int16_t*>(sound->data[0]);
    for (int i = 0; i < samples; ++i) {
        to[i * 2] = static_cast<std::int16_t>(1 + (first + i) % 30000);
        to[i * 2 + 1] = static_cast<std::int16_t>(-1 - (first + i) % 30000);
    }
    return sound;
}

// ------------------------------------------------------------------------------------ peaks

TEST(PeakQueueTest, TakesAllThatAreNoLaterAndGivesTheLastOfThem) {
    PeakQueue peaks;
    EXPECT_FALSE(peaks.takeUntil(forEver));
    peaks.push({1.0, 0.1F, 0.2F});
    peaks.push({1.02, 0.3F, 0.4F});
    peaks.push({1.04, 0.5F, 0.6F});
    EXPECT_FALSE(peaks.takeUntil(0.99));
    const auto taken = peaks.takeUntil(1.02);
    ASSERT_TRUE(taken);
    EXPECT_EQ(taken->left, 0.3F);
    EXPECT_EQ(taken->right, 0.4F);
    EXPECT_EQ(peaks.size(), 1U);
    EXPECT_EQ(peaks.takeUntil(2.0)->left, 0.5F);
    EXPECT_FALSE(peaks.takeUntil(2.0));
}

TEST(PeakQueueTest, HoldsFiveThousandTheNewest) {
    PeakQueue peaks;
    for (int i = 0; i < 5003; ++i)
        peaks.push({static_cast<double>(i), 0.0F, 0.0F});
    EXPECT_EQ(peaks.size(), 5000U);
    EXPECT_FALSE(peaks.takeUntil(2.5));
    EXPECT_EQ(peaks.takeUntil(3.5)->time, 3.0);
}

TEST(PeakQueueTest, SoundFromBeforeAJumpBackDoesNotHoldUpWhatFollows) {
    PeakQueue peaks;
    peaks.push({60.0, 0.9F, 0.9F});
    peaks.push({0.0, 0.1F, 0.1F});
    EXPECT_EQ(peaks.takeUntil(0.05)->left, 0.1F);
    EXPECT_EQ(peaks.size(), 1U);
}

TEST(PreviewSoundPeaks, AreTheLargestOfAllSamplesOver32768) {
    quol::PreviewSound sound;
    FramePtr block = test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_S16, 24000, 0.0);
    auto* const samples = reinterpret_cast<std::int16_t*>(block->data[0]);
    samples[2 * 101] = -32768; // not every fourth
    samples[2 * 203 + 1] = 8192;
    sound.push(*block);
    auto peak = sound.peaks().takeUntil(forEver);
    ASSERT_TRUE(peak);
    EXPECT_EQ(peak->left, 1.0F);
    EXPECT_EQ(peak->right, 0.25F);
    EXPECT_EQ(peak->time, 0.5);
    block->pts = AV_NOPTS_VALUE;
    sound.push(*block);
    EXPECT_EQ(sound.peaks().takeUntil(forEver)->time, 0.0);
    // Any other form is converted first.
    for (const AVSampleFormat format : {AV_SAMPLE_FMT_FLTP, AV_SAMPLE_FMT_S32, AV_SAMPLE_FMT_FLT}) {
        sound.push(*test::makeSound(4800, 44100, 2, format, 0, 1000.0));
        peak = sound.peaks().takeUntil(forEver);
        ASSERT_TRUE(peak);
        EXPECT_NEAR(peak->left, 0.1F, 0.01F) << format;
        EXPECT_NEAR(peak->right, 0.1F, 0.01F) << format;
    }
    sound.push(*test::makeSound(4800, 48000, 1, AV_SAMPLE_FMT_S16, 0, 1000.0));
    EXPECT_NEAR(sound.peaks().takeUntil(forEver)->left, 0.0707F, 0.001F); // 3 dB less each
}

TEST(PreviewSoundPeaks, ABlockLongerThanTheBufferIsMeasuredWhole) {
    quol::PreviewSound sound;
    FramePtr block = test::makeSound(150000, 48000, 2, AV_SAMPLE_FMT_S16, 0, 0.0);
    reinterpret_cast<std::int16_t*>(block->data[0])[2 * 149999] = 16384;
    sound.push(*block);
    EXPECT_EQ(sound.peaks().takeUntil(forEver)->left, 0.5F);
}

// ----------------------------------------------------------------------------------- device

class PreviewDevice : public testing::Test {
protected:
    PreviewDevice() {
        setenv("SDL_AUDIODRIVER", "disk", 1);
        setenv("SDL_DISKAUDIOFILE", path.c_str(), 1);
    }

    // What the device was given, without the silence before, between and behind.
    std::vector<std::int16_t> played() const {
        std::ifstream file(path, std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
        std::vector<std::int16_t> samples(bytes.size() / 2);
        std::copy_n(bytes.data(), samples.size() * 2, reinterpret_cast<char*>(samples.data()));
        std::erase(samples, 0);
        return samples;
    }
    bool plays(std::size_t values) {
        return test::waitUntil([&] { return played().size() >= values; }, patience);
    }

    const std::string path = test::temporaryPath("played.raw");
};

std::vector<std::int16_t> samplesOf(const std::vector<const AVFrame*>& blocks) {
    std::vector<std::int16_t> all;
    for (const AVFrame* block : blocks) {
        const auto* const samples = reinterpret_cast<const std::int16_t*>(block->data[0]);
        all.insert(all.end(), samples, samples + block->nb_samples * 2);
    }
    return all;
}

TEST_F(PreviewDevice, GetsWhatWasPushed) {
    quol::PreviewSound sound;
    sound.setEnabled(true);
    const FramePtr first = countingSound(9600, 0);
    const FramePtr second = countingSound(4800, 9600);
    sound.push(*first);
    sound.push(*second);
    EXPECT_TRUE(plays(14400 * 2));
    EXPECT_EQ(played(), samplesOf({first.get(), second.get()}));
    EXPECT_EQ(sound.peaks().size(), 2U);
}

TEST_F(PreviewDevice, GetsNothingWhileSoundIsOff) {
    quol::PreviewSound sound;
    sound.push(*countingSound(4800, 0));
    EXPECT_EQ(SDL_WasInit(SDL_INIT_AUDIO), 0U); // not even asked for one
    sound.setEnabled(true);
    const FramePtr wanted = countingSound(4800, 4800);
    sound.push(*wanted);
    EXPECT_TRUE(plays(4800 * 2));
    sound.setEnabled(false);
    sound.push(*countingSound(4800, 9600));
    sound.setEnabled(true);
    const FramePtr more = countingSound(4800, 14400);
    sound.push(*more);
    EXPECT_TRUE(plays(9600 * 2));
    EXPECT_EQ(played(), samplesOf({wanted.get(), more.get()}));
    EXPECT_EQ(sound.peaks().size(), 4U);
}

TEST_F(PreviewDevice, WhatWaitsGoesWithSoundAndStaysThroughAPause) {
    quol::PreviewSound sound;
    sound.setEnabled(true);
    const FramePtr first = countingSound(480, 0);
    sound.push(*first);
    EXPECT_TRUE(plays(480 * 2));
    sound.pause(true);
    const FramePtr kept = countingSound(4800, 480);
    sound.push(*kept);
    sound.pause(false);
    EXPECT_TRUE(plays(5280 * 2));
    EXPECT_EQ(played(), samplesOf({first.get(), kept.get()}));
    sound.pause(true);
    sound.push(*countingSound(4800, 20000));
    sound.setEnabled(false); // drops it
    sound.setEnabled(true);
    sound.pause(false);
    const FramePtr last = countingSound(480, 5280);
    sound.push(*last);
    EXPECT_TRUE(plays(5760 * 2));
    EXPECT_EQ(played(), samplesOf({first.get(), kept.get(), last.get()}));
}

TEST_F(PreviewDevice, APausedSourceStaysSilentWhateverElseIsSet) {
    quol::PreviewSound sound;
    sound.setEnabled(true);
    const FramePtr first = countingSound(480, 0);
    sound.push(*first);
    EXPECT_TRUE(plays(480 * 2));
    sound.pause(true);
    sound.setEnabledKeeping(true);
    sound.setEnabled(true);
    sound.push(*countingSound(480, 480));
    sound.setEnabledKeeping(false);
    sound.pause(false); // the source goes on, the sound is off
    sound.push(*countingSound(480, 20000));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(played(), samplesOf({first.get()}));
}

TEST_F(PreviewDevice, AnotherObjectIsHeardAlthoughTheOneBeforeIsPaused) {
    LObject paused;
    LObject other;
    LPreviewWin32Impl preview;
    preview.setAudio(true);
    preview.previewObject(&paused);
    const FramePtr first = countingSound(480, 0);
    paused.distributeAudioFrame(first.get());
    EXPECT_TRUE(plays(480 * 2));
    preview.setPaused(true);
    paused.distributeAudioFrame(countingSound(480, 20000).get()); // goes with its source
    preview.previewObject(&other);
    const FramePtr second = countingSound(480, 480);
    other.distributeAudioFrame(second.get());
    EXPECT_TRUE(plays(960 * 2));
    EXPECT_EQ(played(), samplesOf({first.get(), second.get()}));
    preview.previewObject(nullptr);
}

TEST(PreviewSoundPeaks, GoWithTheirSource) {
    quol::PreviewSound sound;
    sound.push(*countingSound(480, 0));
    sound.startAnew();
    EXPECT_EQ(sound.peaks().size(), 0U);
}

TEST(PreviewSoundRefusal, IsFollowedByPausesThatDoubleUpToAMinute) {
    quol::RefusedDevice refused;
    EXPECT_TRUE(refused.mayBeAskedAt(0));
    std::int64_t now = 5 * quol::nanosPerSecond;
    for (const int seconds : {1, 2, 4, 8, 16, 32, 60, 60, 60}) {
        refused.refused(now);
        now += seconds * quol::nanosPerSecond;
        EXPECT_FALSE(refused.mayBeAskedAt(now - 1)) << seconds;
        EXPECT_TRUE(refused.mayBeAskedAt(now)) << seconds;
    }
    refused.refused(now);
    refused.forget();
    EXPECT_TRUE(refused.mayBeAskedAt(now));
    refused.refused(now);
    EXPECT_TRUE(refused.mayBeAskedAt(now + quol::nanosPerSecond));
}

TEST_F(PreviewDevice, IsOpenedAnewForAnotherForm) {
    quol::PreviewSound sound;
    sound.setEnabled(true);
    sound.push(*countingSound(4800, 0));
    EXPECT_TRUE(plays(4800 * 2));
    // The driver begins its file anew with each device.
    sound.push(*test::makeSound(4410, 44100, 2, AV_SAMPLE_FMT_FLTP, 0, 1000.0));
    EXPECT_TRUE(test::waitUntil(
        [&] {
            const std::vector<std::int16_t> now = played();
            return now.size() > 4000 * 2 && std::abs(now[0]) < 4000 &&
                   *std::max_element(now.begin(), now.end()) < 4000;
        },
        patience));
}

TEST_F(PreviewDevice, AQueueThatGrowsBeyondASecondIsDropped) {
    quol::PreviewSound sound;
    sound.setEnabled(true);
    sound.push(*countingSound(480, 0));
    EXPECT_TRUE(plays(480 * 2));
    sound.pause(true);
    for (int i = 0; i < 100; ++i)
        sound.push(*countingSound(960, i * 960)); // two seconds
    sound.pause(false);
    EXPECT_TRUE(plays((480 + 40000) * 2));
    EXPECT_TRUE(test::waitUntil([&] { return played().size() >= (480 + 960 * 48) * 2; }, patience));
    EXPECT_LE(played().size(), (480U + 960 * 51) * 2);
}

TEST_F(PreviewDevice, RefusedTheMeterGoesOn) {
    setenv("SDL_AUDIODRIVER", "nosuchdriver", 1);
    LObject source;
    LPreviewWin32Impl preview;
    preview.setAudio(true);
    preview.setProps("audio_meter", "1");
    preview.previewObject(&source);
    for (int i = 0; i < 5; ++i)
        source.distributeAudioFrame(countingSound(960, 0).get());
    EXPECT_EQ(SDL_WasInit(SDL_INIT_AUDIO), 0U);
    preview.previewObject(nullptr);
    quol::PreviewSound sound;
    sound.setEnabled(true);
    for (int i = 0; i < 5; ++i)
        sound.push(*countingSound(960, 0));
    EXPECT_EQ(sound.peaks().size(), 5U);
}

TEST_F(PreviewDevice, TheHostsOwnSdlIsLeftAlone) {
    ASSERT_EQ(SDL_InitSubSystem(SDL_INIT_AUDIO), 0);
    const SDL_AudioSpec wanted{48000, AUDIO_S16SYS, 2, 0, 1024, 0, 0, nullptr, nullptr};
    {
        quol::PreviewSound sound;
        sound.setEnabled(true);
        sound.push(*countingSound(480, 0));
        EXPECT_TRUE(plays(480 * 2));
    }
    EXPECT_NE(SDL_WasInit(SDL_INIT_AUDIO), 0U);
    const SDL_AudioDeviceID device = SDL_OpenAudioDevice(nullptr, 0, &wanted, nullptr, 0);
    EXPECT_NE(device, 0U);
    SDL_CloseAudioDevice(device);
    SDL_QuitSubSystem(SDL_INIT_AUDIO);
    EXPECT_EQ(SDL_WasInit(SDL_INIT_AUDIO), 0U);
}

TEST_F(PreviewDevice, TheProcesssSignalsStayTheHosts) {
    quol::PreviewSound sound;
    sound.setEnabled(true);
    sound.push(*countingSound(480, 0));
    EXPECT_TRUE(plays(480 * 2));
    for (const int number : {SIGINT, SIGTERM}) {
        struct sigaction action {};
        sigaction(number, nullptr, &action);
        EXPECT_EQ(action.sa_handler, SIG_DFL) << number;
    }
    EXPECT_EQ(SDL_GetHint(SDL_HINT_NO_SIGNAL_HANDLERS), nullptr);
}

TEST_F(PreviewDevice, TwoPreviewsPlayAtOnce) {
    setenv("SDL_AUDIODRIVER", "dummy", 1);
    quol::PreviewSound one;
    quol::PreviewSound other;
    one.setEnabled(true);
    other.setEnabled(true);
    for (int i = 0; i < 20; ++i) {
        one.push(*countingSound(960, 0));
        other.push(*countingSound(960, 0));
    }
    EXPECT_NE(SDL_WasInit(SDL_INIT_AUDIO), 0U);
}

// ---------------------------------------------------------------- through the preview's settings

TEST_F(PreviewDevice, IsFedWhereThePreviewIsAskedForSound) {
    LObject source;
    LPreviewWin32Impl preview;
    preview.previewObject(&source);
    const auto push = [&](const FramePtr& block) { source.distributeAudioFrame(block.get()); };
    push(countingSound(480, 20000)); // neither sound nor meter
    std::vector<FramePtr> heard;
    const auto hear = [&] {
        heard.push_back(countingSound(480, static_cast<int>(heard.size()) * 480));
        push(heard.back());
        EXPECT_TRUE(plays(heard.size() * 480 * 2)) << heard.size();
    };
    preview.setProps("audio", "true");
    hear();
    preview.setProps("audio", "yes"); // not "true"
    push(countingSound(480, 20000));
    preview.setProps("audio_enabled", "1");
    hear();
    preview.setProps("mute", "1");
    push(countingSound(480, 20000));
    preview.setProps("mute", "0");
    hear();
    preview.mute(true);
    push(countingSound(480, 20000));
    preview.mute(false);
    hear();
    preview.setAudio(false);
    push(countingSound(480, 20000));
    preview.previewEnable(nullptr, true, false);
    hear();
    preview.previewEnable(nullptr, false, false);
    push(countingSound(480, 20000));
    preview.previewEnable(nullptr, true, false);
    preview.setPaused(true);
    preview.setPaused(false);
    hear();
    std::vector<const AVFrame*> blocks;
    for (const FramePtr& block : heard)
        blocks.push_back(block.get());
    EXPECT_EQ(played(), samplesOf(blocks));
    preview.pushAudioFrame(nullptr);
    preview.pushAudioFrame(quol::makeFrame().get());
}

} // namespace

#include "outputs/OutputSound.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <thread>

#include "support/CapturedStream.h"
#include "support/Frames.h"
#include "support/PlainFrames.h"

namespace {

using quol::applyGain;
using quol::OutputSound;
using test::CapturedStream;
using test::plainSound;
using testing::HasSubstr;

std::vector<std::int16_t> popAll(OutputSound& sound, int most = 200000) {
    std::vector<std::int16_t> samples(static_cast<std::size_t>(most) * 2);
    const int count = sound.pop(0.0, samples.data(), most);
    samples.resize(static_cast<std::size_t>(count) * 2);
    return samples;
}

TEST(OutputSound, PairsOfOnePicture) {
    EXPECT_EQ(quol::pairsPerPicture(25.0), 1920);
    EXPECT_EQ(quol::pairsPerPicture(50.0), 960);
    EXPECT_EQ(quol::pairsPerPicture(60000.0 / 1001), 813) << "48000 / 59";
    EXPECT_EQ(quol::pairsPerPicture(30000.0 / 1001), 1655) << "48000 / 29";
    EXPECT_EQ(quol::pairsPerPicture(24000.0 / 1001), 2086) << "48000 / 23";
    EXPECT_EQ(quol::pairsPerPicture(0.5), 1920);
    EXPECT_EQ(quol::pairsPerPicture(0.0), 1920);
    EXPECT_EQ(quol::pairsPerPicture(-1.0), 1920);
    EXPECT_EQ(quol::pairsPerPicture(std::nan("")), 1920);
    EXPECT_EQ(quol::pairsPerPicture(1e9), 1);
}

TEST(OutputSound, PauseIsTwoMillisecondsLessThanTheSound) {
    constexpr std::int64_t milli = 1'000'000;
    EXPECT_EQ(quol::soundPause(1920, false), 38 * milli);
    EXPECT_EQ(quol::soundPause(960, false), 18 * milli);
    EXPECT_EQ(quol::soundPause(813, false), 14 * milli);
    EXPECT_EQ(quol::soundPause(144, false), 1 * milli);
    EXPECT_EQ(quol::soundPause(143, false), 0);
    EXPECT_EQ(quol::soundPause(1, false), 0);
    EXPECT_EQ(quol::soundPause(1920, true), 0) << "the device is waited for already";
    EXPECT_EQ(quol::noSoundPause, 5 * milli);
}

TEST(OutputSound, RateThatNoSoundHasIsNone) {
    for (int rate : {1, 5, 999, 768001, 2147483647, -2147483647}) {
        CapturedStream out(CapturedStream::Stream::output);
        OutputSound sound;
        sound.setRate(rate);
        const auto frame = test::makeSound(960, 48000, 2, AV_SAMPLE_FMT_S16);
        sound.push(*frame);
        EXPECT_EQ(popAll(sound), test::samplesOf(*frame)) << rate;
        EXPECT_EQ(out.text(), "");
    }
    for (int rate : {1000, 768000}) {
        CapturedStream out(CapturedStream::Stream::output);
        OutputSound sound;
        sound.setRate(rate);
        sound.push(*test::makeSound(48000, 48000, 2, AV_SAMPLE_FMT_S16));
        EXPECT_THAT(out.text(), HasSubstr("new input: " + std::to_string(rate) + "Hz"));
    }
}

TEST(OutputSoundGain, IsTheProductCutTowardsZero) {
    EXPECT_EQ(applyGain(1000, 1.0F), 1000);
    EXPECT_EQ(applyGain(1000, 1.5F), 1500);
    EXPECT_EQ(applyGain(-3, 0.5F), -1);
    EXPECT_EQ(applyGain(3, 0.5F), 1);
    EXPECT_EQ(applyGain(-1000, -1.0F), 1000);
    EXPECT_EQ(applyGain(1234, 0.0F), 0);
}

TEST(OutputSoundGain, AllSamplesPassUnchangedAtOne) {
    for (int sample = -32768; sample <= 32767; ++sample)
        ASSERT_EQ(applyGain(static_cast<std::int16_t>(sample), 1.0F), sample);
}

TEST(OutputSoundGain, ResultsBeyondSixteenBitsWrap) {
    EXPECT_EQ(applyGain(32767, 1.5F), static_cast<std::int16_t>(49150 - 65536));
    EXPECT_EQ(applyGain(-32768, 2.0F), 0);
    EXPECT_EQ(applyGain(-32768, -1.0F), -32768);
    EXPECT_EQ(applyGain(30000, 2.0F), static_cast<std::int16_t>(60000 - 65536));
    EXPECT_EQ(applyGain(20000, 10.0F), static_cast<std::int16_t>(200000 % 65536));
}

TEST(OutputSoundGain, ProductsThatNoIntHoldsAreSilence) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(applyGain(32767, 65540.0F), 0) << "just above 2^31";
    EXPECT_EQ(applyGain(-32768, 65536.0F), 0) << "-2^31 itself wraps to 0";
    EXPECT_EQ(applyGain(-32768, 65537.0F), 0);
    EXPECT_EQ(applyGain(1, infinity), 0);
    EXPECT_EQ(applyGain(-1, infinity), 0);
    EXPECT_EQ(applyGain(0, infinity), 0);
    EXPECT_EQ(applyGain(77, std::nanf("")), 0);
}

TEST(OutputSound, StereoAtItsOwnRatePassesUnchangedAndUnannounced) {
    for (int rate : {48000, 0, -1}) {
        CapturedStream out(CapturedStream::Stream::output);
        OutputSound sound;
        sound.setRate(rate);
        const auto frame = test::makeSound(960, 48000, 2, AV_SAMPLE_FMT_S16);
        sound.push(*frame);
        EXPECT_EQ(popAll(sound), test::samplesOf(*frame));
        EXPECT_EQ(out.text(), "");
    }
}

TEST(OutputSound, GainIsAppliedOnTheStraightPath) {
    OutputSound sound;
    sound.setGain(1.5F);
    sound.push(*plainSound(4, 1000, -30000));
    const auto samples = popAll(sound);
    ASSERT_EQ(samples.size(), 8U);
    EXPECT_EQ(samples[0], 1500);
    EXPECT_EQ(samples[1], static_cast<std::int16_t>(-45000 + 65536));
}

TEST(OutputSound, GainIsAppliedBehindTheResampler) {
    OutputSound sound;
    sound.setGain(2.0F);
    const auto frame = test::makeSound(4800, 48000, 2, AV_SAMPLE_FMT_FLTP, 0, 0.0);
    for (int i = 0; i < 4800; ++i)
        reinterpret_cast<float*>(frame->extended_data[0])[i] = 0.25F;
    sound.push(*frame);
    const auto samples = popAll(sound);
    ASSERT_EQ(samples.size(), 9600U);
    EXPECT_EQ(samples[4800], 16384);
    EXPECT_EQ(samples[4801], 0);
}

TEST(OutputSound, OtherShapesGoThroughTheSecondResamplerAlone) {
    CapturedStream out(CapturedStream::Stream::output);
    OutputSound sound;
    sound.push(*test::makeSound(960, 48000, 2, AV_SAMPLE_FMT_FLTP));
    EXPECT_EQ(popAll(sound).size(), 960U * 2);
    EXPECT_EQ(out.text(), "[LOutput] Audio Resampler re-created for new input: 48000Hz\n");
    sound.push(*test::makeSound(960, 48000, 2, AV_SAMPLE_FMT_FLTP, 960));
    EXPECT_EQ(out.text(), "[LOutput] Audio Resampler re-created for new input: 48000Hz\n")
        << "the same shape is no change";
    sound.push(*test::makeSound(960, 44100, 2, AV_SAMPLE_FMT_FLTP));
    EXPECT_THAT(out.text(), HasSubstr("re-created for new input: 44100Hz\n"));
}

TEST(OutputSound, EveryPartOfTheShapeIsAKeyOfTheSecondResampler) {
    CapturedStream out(CapturedStream::Stream::output);
    OutputSound sound;
    const auto lines = [&] {
        const std::string text = out.text();
        return std::count(text.begin(), text.end(), '\n');
    };
    sound.push(*test::makeSound(960, 32000, 1, AV_SAMPLE_FMT_S16));
    EXPECT_EQ(lines(), 1);
    sound.push(*test::makeSound(960, 32000, 1, AV_SAMPLE_FMT_FLT));
    EXPECT_EQ(lines(), 2);
    sound.push(*test::makeSound(960, 32000, 6, AV_SAMPLE_FMT_FLT));
    EXPECT_EQ(lines(), 3);
    sound.push(*test::makeSound(960, 44100, 6, AV_SAMPLE_FMT_FLT));
    EXPECT_EQ(lines(), 4);
}

TEST(OutputSound, RateOfTheFormatEqualToTheBlocksNeedsOneResampler) {
    CapturedStream out(CapturedStream::Stream::output);
    OutputSound sound;
    sound.setRate(44100);
    sound.push(*test::makeSound(44100, 44100, 2, AV_SAMPLE_FMT_S16));
    EXPECT_EQ(out.text(), "[LOutput] Audio Resampler re-created for new input: 44100Hz\n");
    const auto samples = popAll(sound).size() / 2;
    EXPECT_NEAR(static_cast<double>(samples), 48000.0, 100.0);
}

TEST(OutputSound, RateOfTheFormatOtherThanTheBlocksTakesBothResamplers) {
    CapturedStream out(CapturedStream::Stream::output);
    OutputSound sound;
    sound.setRate(32000);
    sound.push(*test::makeSound(48000, 48000, 2, AV_SAMPLE_FMT_S16));
    EXPECT_EQ(out.text(), "[LOutput] Audio Resampler re-created for new input: 32000Hz\n");
    const auto samples = popAll(sound).size() / 2;
    EXPECT_NEAR(static_cast<double>(samples), 48000.0, 150.0);
}

TEST(OutputSound, ToneKeepsItsPitchThroughBothResamplers) {
    OutputSound sound;
    sound.setRate(44100);
    sound.push(*test::makeSound(96000, 96000, 6, AV_SAMPLE_FMT_FLTP, 0, 1000.0));
    const auto samples = popAll(sound);
    ASSERT_GT(samples.size(), 90000U);
    int crossings = 0;
    for (std::size_t i = 2; i < samples.size(); i += 2)
        crossings += samples[i - 2] < 0 && samples[i] >= 0 ? 1 : 0;
    EXPECT_NEAR(crossings, 1000 * static_cast<double>(samples.size()) / 96000, 3);
}

// Stereo samples that come out for each of the later blocks of many alike.
double pairsABlock(OutputSound& sound, int rate) {
    constexpr int blocks = 4;
    for (int i = 0; i < blocks; ++i)
        sound.push(*plainSound(4800, 100, 100, 0, rate));
    popAll(sound);
    for (int i = 0; i < blocks; ++i)
        sound.push(*plainSound(4800, 100, 100, 0, rate));
    return static_cast<double>(popAll(sound).size()) / 2 / blocks;
}

TEST(OutputSound, FirstResamplerIsNeverRebuilt) {
    CapturedStream out(CapturedStream::Stream::output);
    OutputSound sound;
    sound.setRate(24000);
    EXPECT_NEAR(pairsABlock(sound, 48000), 4800.0, 50.0);
    // Another rate of input goes through as if it were the first one's: half as many samples at the
    // first stage, twice as many at the second.
    EXPECT_NEAR(pairsABlock(sound, 96000), 4800.0, 50.0);
    // Another shape would be read as something that it is not.
    sound.push(*test::makeSound(4800, 96000, 6, AV_SAMPLE_FMT_FLTP));
    EXPECT_EQ(popAll(sound).size(), 0U);
    // A later rate of the format counts for the second stage alone: what it gets is still 24000 a
    // second and taken for 32000.
    sound.setRate(32000);
    EXPECT_NEAR(pairsABlock(sound, 48000), 3600.0, 50.0);
    EXPECT_THAT(out.text(), HasSubstr("re-created for new input: 32000Hz"));
}

TEST(OutputSound, BlockOfMoreThanFiveHundredDropsTheOldest) {
    OutputSound sound;
    for (int i = 0; i < 500; ++i)
        sound.push(*plainSound(1, static_cast<std::int16_t>(i), 0));
    EXPECT_EQ(sound.records(), 500U);
    sound.push(*plainSound(1, 500, 0));
    EXPECT_EQ(sound.records(), 500U);
    const auto samples = popAll(sound);
    ASSERT_EQ(samples.size(), 1000U);
    EXPECT_EQ(samples[0], 1);
    EXPECT_EQ(samples[998], 500);
}

TEST(OutputSound, PopTakesAcrossBlocksAndLeavesTheRest) {
    OutputSound sound;
    sound.push(*plainSound(3, 1, -1));
    sound.push(*plainSound(5, 2, -2));
    std::vector<std::int16_t> samples(8, 99);
    EXPECT_EQ(sound.pop(0.0, samples.data(), 4), 4);
    EXPECT_EQ(samples, (std::vector<std::int16_t>{1, -1, 1, -1, 1, -1, 2, -2}));
    EXPECT_EQ(sound.records(), 1U);
    EXPECT_EQ(sound.pop(0.0, samples.data(), 4), 4);
    EXPECT_EQ(samples, (std::vector<std::int16_t>{2, -2, 2, -2, 2, -2, 2, -2}));
    EXPECT_EQ(sound.records(), 0U);
}

TEST(OutputSound, WhatIsShortIsSilentAndTheCountIsTheRealOne) {
    OutputSound sound;
    sound.push(*plainSound(2, 7, 8));
    std::vector<std::int16_t> samples(10, 99);
    EXPECT_EQ(sound.pop(0.0, samples.data(), 5), 2);
    EXPECT_EQ(samples, (std::vector<std::int16_t>{7, 8, 7, 8, 0, 0, 0, 0, 0, 0}));
    samples.assign(10, 99);
    EXPECT_EQ(sound.pop(0.0, samples.data(), 5), 0);
    EXPECT_EQ(samples, std::vector<std::int16_t>(10, 0));
}

TEST(OutputSound, TimeAskedForChangesNothing) {
    OutputSound sound;
    sound.push(*plainSound(2, 5, 5, 48000 * 100));
    std::vector<std::int16_t> samples(4);
    EXPECT_EQ(sound.pop(-50.0, samples.data(), 1), 1);
    EXPECT_EQ(sound.pop(1e9, samples.data(), 1), 1);
}

TEST(OutputSound, BlockWithoutATimePlaysInItsTurn) {
    OutputSound sound;
    sound.push(*plainSound(1, 1, 1, 96000));
    const auto timeless = plainSound(1, 2, 2);
    timeless->pts = AV_NOPTS_VALUE;
    sound.push(*timeless);
    sound.push(*plainSound(1, 3, 3, 96001));
    EXPECT_EQ(popAll(sound), (std::vector<std::int16_t>{1, 1, 2, 2, 3, 3}));
}

TEST(OutputSound, BadBlocksAndCountsAreHarmless) {
    CapturedStream out(CapturedStream::Stream::output);
    OutputSound sound;
    sound.push(*quol::makeFrame());
    auto frame = plainSound(4, 1, 1);
    frame->sample_rate = 0;
    sound.push(*frame);
    frame = plainSound(4, 1, 1);
    frame->nb_samples = -3;
    sound.push(*frame);
    frame = plainSound(4, 1, 1);
    frame->format = AV_SAMPLE_FMT_NB;
    sound.push(*frame);
    frame = plainSound(4, 1, 1);
    frame->data[0] = nullptr;
    sound.push(*frame);
    EXPECT_EQ(sound.records(), 0U);
    std::int16_t pair[2] = {99, 99};
    EXPECT_EQ(sound.pop(0.0, pair, 0), 0);
    EXPECT_EQ(sound.pop(0.0, pair, -4), 0);
    EXPECT_EQ(pair[0], 99);
    EXPECT_EQ(sound.pop(0.0, nullptr, 4), 0);
    EXPECT_EQ(out.text(), "");
}

TEST(OutputSound, PushesAndPopsFromSeveralThreads) {
    OutputSound sound;
    constexpr int blocks = 200;
    const auto pushing = [&] {
        for (int i = 0; i < blocks; ++i) {
            sound.setGain(1.0F);
            sound.push(*plainSound(10, 1, 1));
        }
    };
    std::thread first(pushing);
    std::thread second(pushing);
    std::vector<std::int16_t> samples(20);
    int taken = 0;
    while (taken < 2 * blocks * 10)
        taken += sound.pop(0.0, samples.data(), 10);
    first.join();
    second.join();
    EXPECT_EQ(taken, 2 * blocks * 10);
    EXPECT_EQ(sound.records(), 0U);
}

} // namespace

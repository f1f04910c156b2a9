#include "core/Resampler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <vector>

#include "support/Frames.h"

namespace {

using Input = quol::Resampler::Input;
constexpr quol::AudioTarget stereo48{2, AV_SAMPLE_FMT_S16, 48000};

// Largest distance of `samples` (interleaved stereo) from the sine that makeSound makes.
double sineError(const std::vector<std::int16_t>& samples, int rate, int firstPair, int skip) {
    double worst = 0.0;
    for (std::size_t i = static_cast<std::size_t>(skip); i < samples.size() / 2; ++i) {
        const double seconds = (firstPair + static_cast<double>(i)) / rate;
        const double value = 0.1 * 32767 * std::sin(2 * std::numbers::pi * 1000.0 * seconds);
        worst = std::max(
            {worst, std::fabs(samples[i * 2] - value), std::fabs(samples[i * 2 + 1] - value)});
    }
    return worst;
}

TEST(IsStereoS16, IsTrueForExactlyThatForm) {
    const auto form = [](int rate, int channels, AVSampleFormat format) {
        return quol::isStereoS16(*test::makeSound(16, rate, channels, format), 48000);
    };
    EXPECT_TRUE(form(48000, 2, AV_SAMPLE_FMT_S16));
    EXPECT_FALSE(form(44100, 2, AV_SAMPLE_FMT_S16));
    EXPECT_FALSE(form(48000, 1, AV_SAMPLE_FMT_S16));
    EXPECT_FALSE(form(48000, 6, AV_SAMPLE_FMT_S16));
    EXPECT_FALSE(form(48000, 2, AV_SAMPLE_FMT_S16P));
    EXPECT_FALSE(form(48000, 2, AV_SAMPLE_FMT_FLT));
}

TEST(Resampler, StereoShortsComeOutAsTheyAre) {
    quol::Resampler resampler;
    const quol::FramePtr sound = test::makeSound(1000, 48000, 2, AV_SAMPLE_FMT_S16);
    ASSERT_TRUE(resampler.prepare(*sound, stereo48));
    const std::vector<std::int16_t> samples = resampler.convertS16(*sound);
    const auto* input = reinterpret_cast<const std::int16_t*>(sound->data[0]);
    EXPECT_EQ(samples, std::vector<std::int16_t>(input, input + 2000));
}

TEST(Resampler, EveryFormOfStereoBecomesTheSameShorts) {
    for (const AVSampleFormat format :
         {AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_S16P, AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_FLTP}) {
        quol::Resampler resampler;
        const quol::FramePtr sound = test::makeSound(1000, 48000, 2, format);
        ASSERT_TRUE(resampler.prepare(*sound, stereo48));
        const std::vector<std::int16_t> samples = resampler.convertS16(*sound);
        ASSERT_EQ(samples.size(), 2000U) << av_get_sample_fmt_name(format);
        EXPECT_LE(sineError(samples, 48000, 0, 0), 1.5) << av_get_sample_fmt_name(format);
    }
}

TEST(Resampler, OtherChannelCountsBecomeStereo) {
    for (const int channels : {1, 2, 6, 8}) {
        quol::Resampler resampler;
        const quol::FramePtr sound = test::makeSound(480, 48000, channels, AV_SAMPLE_FMT_FLTP);
        ASSERT_TRUE(resampler.prepare(*sound, stereo48));
        const std::vector<std::int16_t> samples = resampler.convertS16(*sound);
        ASSERT_EQ(samples.size(), 960U) << channels;
        for (std::size_t i = 0; i < 480; ++i)
            ASSERT_EQ(samples[i * 2], samples[i * 2 + 1]);
        EXPECT_GT(*std::max_element(samples.begin(), samples.end()), 1000) << channels;
    }
}

TEST(Resampler, AnotherRateKeepsTheLengthAndThePitchOverManyBlocks) {
    for (const int rate : {44100, 32000, 96000}) {
        quol::Resampler resampler;
        std::vector<std::int16_t> all;
        constexpr int blocks = 100;
        for (int block = 0; block < blocks; ++block) {
            const quol::FramePtr sound =
                test::makeSound(1024, rate, 2, AV_SAMPLE_FMT_FLTP, std::int64_t{1024} * block);
            ASSERT_TRUE(resampler.prepare(*sound, stereo48));
            EXPECT_GE(resampler.capacity(sound->nb_samples, rate), 1024 * 48000 / rate);
            const std::vector<std::int16_t> part = resampler.convertS16(*sound);
            all.insert(all.end(), part.begin(), part.end());
        }
        const double expected = 1024.0 * blocks * 48000 / rate;
        EXPECT_NEAR(static_cast<double>(all.size()) / 2, expected, 64) << rate;
        // The filter needs some samples to settle in.
        EXPECT_LE(sineError(all, 48000, 0, 200), 40.0) << rate;
    }
}

TEST(Resampler, ConvertWritesNoMoreThanItsRoom) {
    quol::Resampler resampler;
    const quol::FramePtr sound = test::makeSound(100, 48000, 2, AV_SAMPLE_FMT_FLTP);
    ASSERT_TRUE(resampler.prepare(*sound, stereo48));
    std::vector<std::int16_t> target(100, 99);
    auto* plane = reinterpret_cast<std::uint8_t*>(target.data());
    EXPECT_EQ(resampler.convert(*sound, &plane, 30), 30);
    EXPECT_EQ(target[60], 99);
}

TEST(Resampler, FollowedInputIsRebuiltWhenItsFormChanges) {
    quol::Resampler resampler(Input::followed);
    const auto convert = [&](int rate, int channels, AVSampleFormat format) {
        const quol::FramePtr sound = test::makeSound(960, rate, channels, format);
        EXPECT_TRUE(resampler.prepare(*sound, stereo48));
        return resampler.convertS16(*sound);
    };
    EXPECT_EQ(convert(48000, 2, AV_SAMPLE_FMT_FLTP).size(), 1920U);
    EXPECT_EQ(convert(48000, 1, AV_SAMPLE_FMT_S16).size(), 1920U);
    EXPECT_EQ(convert(48000, 6, AV_SAMPLE_FMT_FLTP).size(), 1920U);
    EXPECT_LT(convert(96000, 2, AV_SAMPLE_FMT_FLTP).size(), 1000U);
    const auto back = convert(48000, 2, AV_SAMPLE_FMT_FLTP);
    ASSERT_EQ(back.size(), 1920U);
    EXPECT_LE(sineError(back, 48000, 0, 0), 1.5);
}

TEST(Resampler, FollowedInputIsRebuiltForAnotherTarget) {
    quol::Resampler resampler;
    const quol::FramePtr sound = test::makeSound(960, 48000, 2, AV_SAMPLE_FMT_FLTP);
    ASSERT_TRUE(resampler.prepare(*sound, stereo48));
    EXPECT_EQ(resampler.convertS16(*sound).size(), 1920U);
    ASSERT_TRUE(resampler.prepare(*sound, {1, AV_SAMPLE_FMT_S16, 48000}));
    EXPECT_EQ(resampler.convertS16(*sound).size(), 960U);
}

TEST(Resampler, FrozenInputIsNeverRebuilt) {
    quol::Resampler resampler(Input::frozen);
    const quol::FramePtr first = test::makeSound(960, 48000, 2, AV_SAMPLE_FMT_FLTP);
    ASSERT_TRUE(resampler.prepare(*first, stereo48));
    EXPECT_FALSE(resampler.prepare(*test::makeSound(960, 48000, 2, AV_SAMPLE_FMT_S16), stereo48));
    EXPECT_FALSE(resampler.prepare(*test::makeSound(960, 48000, 1, AV_SAMPLE_FMT_FLTP), stereo48));
    // Another rate goes through as if it were the first one's: sample by sample.
    const quol::FramePtr faster = test::makeSound(960, 96000, 2, AV_SAMPLE_FMT_FLTP);
    ASSERT_TRUE(resampler.prepare(*faster, stereo48));
    std::vector<std::int16_t> samples(1920);
    auto* plane = reinterpret_cast<std::uint8_t*>(samples.data());
    EXPECT_EQ(resampler.convert(*faster, &plane, 960), 960);
    EXPECT_TRUE(resampler.prepare(*first, stereo48));
}

TEST(Resampler, FrozenInputTakesAnewAfterReset) {
    quol::Resampler resampler(Input::frozen);
    EXPECT_FALSE(static_cast<bool>(resampler));
    ASSERT_TRUE(resampler.prepare(*test::makeSound(960, 48000, 2, AV_SAMPLE_FMT_FLTP), stereo48));
    EXPECT_TRUE(static_cast<bool>(resampler));
    resampler.reset();
    EXPECT_FALSE(static_cast<bool>(resampler));
    EXPECT_TRUE(resampler.prepare(*test::makeSound(960, 48000, 1, AV_SAMPLE_FMT_S16), stereo48));
}

TEST(Resampler, SoundWithoutARateOrAChannelIsRefused) {
    for (const Input input : {Input::followed, Input::frozen}) {
        quol::Resampler resampler(input);
        const quol::FramePtr sound = test::makeSound(64, 48000, 2, AV_SAMPLE_FMT_S16);
        sound->sample_rate = 0;
        EXPECT_FALSE(resampler.prepare(*sound, stereo48));
        EXPECT_FALSE(resampler.prepare(*quol::makeFrame(), stereo48));
        sound->sample_rate = 48000;
        EXPECT_FALSE(resampler.prepare(*sound, {2, AV_SAMPLE_FMT_S16, 0}));
        // The refusals leave nothing behind.
        EXPECT_TRUE(resampler.prepare(*sound, stereo48));
    }
}

TEST(Resampler, WhatHadNoRoomComesAfterwardsAndTheEndLast) {
    quol::Resampler resampler;
    const quol::AudioTarget target{2, AV_SAMPLE_FMT_S16, 48000};
    const quol::FramePtr block = test::makeSound(4410, 44100, 2, AV_SAMPLE_FMT_S16);
    ASSERT_TRUE(resampler.prepare(*block, target));
    constexpr int room = 1000;
    std::vector<std::int16_t> samples(2 * room);
    auto* plane = reinterpret_cast<std::uint8_t*>(samples.data());
    int count = resampler.convert(*block, &plane, room);
    EXPECT_EQ(count, room);
    int all = count;
    while (count == room)
        all += count = resampler.convertMore(&plane, room);
    EXPECT_EQ(resampler.convertMore(&plane, room), 0);
    EXPECT_LT(all, 4800); // some samples wait for what follows
    do
        all += count = resampler.drain(&plane, room);
    while (count == room);
    EXPECT_NEAR(all, 4800, 2);
}

TEST(Resampler, FitsTellsWhetherItWouldBeRebuilt) {
    const quol::AudioTarget target{2, AV_SAMPLE_FMT_S16, 48000};
    const quol::FramePtr block = test::makeSound(100, 44100, 2, AV_SAMPLE_FMT_S16);
    const quol::FramePtr faster = test::makeSound(100, 48000, 2, AV_SAMPLE_FMT_S16);
    const quol::FramePtr mono = test::makeSound(100, 44100, 1, AV_SAMPLE_FMT_S16);
    for (const Input input : {Input::followed, Input::frozen}) {
        quol::Resampler resampler(input);
        EXPECT_FALSE(resampler.fits(*block, target));
        ASSERT_TRUE(resampler.prepare(*block, target));
        EXPECT_TRUE(resampler.fits(*block, target));
        EXPECT_EQ(resampler.fits(*faster, target), input == Input::frozen);
        EXPECT_FALSE(resampler.fits(*mono, target));
    }
}

} // namespace

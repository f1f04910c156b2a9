#include "core/AudioPeak.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

#include "support/Frames.h"

namespace {

quol::FramePtr silence(int samples, int channels, AVSampleFormat format) {
    return test::makeSound(samples, 48000, channels, format, 0, 0.0);
}

std::int16_t* shorts(AVFrame& frame) {
    return reinterpret_cast<std::int16_t*>(frame.data[0]);
}

float* floats(AVFrame& frame, int plane) {
    return reinterpret_cast<float*>(frame.extended_data[plane]);
}

TEST(AudioPeak, SilenceIsZero) {
    for (const AVSampleFormat format : {AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_FLTP}) {
        for (const int channels : {1, 2, 6}) {
            const quol::AudioPeak peak = quol::measurePeak(*silence(1024, channels, format));
            EXPECT_EQ(peak.left, 0.0F);
            EXPECT_EQ(peak.right, 0.0F);
        }
    }
}

TEST(AudioPeak, ShortsCountOver32768) {
    const quol::FramePtr frame = silence(8, 2, AV_SAMPLE_FMT_S16);
    shorts(*frame)[0] = 32767;
    shorts(*frame)[1] = -32768;
    const quol::AudioPeak peak = quol::measurePeak(*frame);
    EXPECT_EQ(peak.left, 32767.0F / 32768.0F);
    EXPECT_EQ(peak.right, 1.0F);
}

TEST(AudioPeak, OnlyEveryFourthSampleCounts) {
    for (int at = 0; at < 16; ++at) {
        SCOPED_TRACE(at);
        const quol::FramePtr interleaved = silence(16, 2, AV_SAMPLE_FMT_S16);
        shorts(*interleaved)[at * 2] = 16384;
        EXPECT_EQ(quol::measurePeak(*interleaved).left, at % 4 == 0 ? 0.5F : 0.0F);
        EXPECT_EQ(quol::measurePeak(*interleaved).right, 0.0F);

        const quol::FramePtr planar = silence(16, 2, AV_SAMPLE_FMT_FLTP);
        floats(*planar, 1)[at] = -0.5F;
        EXPECT_EQ(quol::measurePeak(*planar).right, at % 4 == 0 ? 0.5F : 0.0F);
        EXPECT_EQ(quol::measurePeak(*planar).left, 0.0F);
    }
}

TEST(AudioPeak, OneChannelCountsForBothSides) {
    const quol::FramePtr interleaved = silence(4, 1, AV_SAMPLE_FMT_S16);
    shorts(*interleaved)[0] = -8192;
    EXPECT_EQ(quol::measurePeak(*interleaved).left, 0.25F);
    EXPECT_EQ(quol::measurePeak(*interleaved).right, 0.25F);
    const quol::FramePtr planar = silence(4, 1, AV_SAMPLE_FMT_FLTP);
    floats(*planar, 0)[0] = 0.125F;
    EXPECT_EQ(quol::measurePeak(*planar).left, 0.125F);
    EXPECT_EQ(quol::measurePeak(*planar).right, 0.125F);
}

TEST(AudioPeak, FloatsAboveFullScaleAreToldAsTheyAre) {
    const quol::FramePtr frame = silence(4, 2, AV_SAMPLE_FMT_FLTP);
    floats(*frame, 0)[0] = -3.5F;
    EXPECT_EQ(quol::measurePeak(*frame).left, 3.5F);
}

TEST(AudioPeak, SampleThatIsNoNumberDoesNotCount) {
    const quol::FramePtr frame = silence(12, 2, AV_SAMPLE_FMT_FLTP);
    floats(*frame, 0)[0] = std::numeric_limits<float>::quiet_NaN();
    floats(*frame, 0)[4] = 0.25F;
    floats(*frame, 0)[8] = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(quol::measurePeak(*frame).left, 0.25F);
}

TEST(AudioPeak, OtherFormatsAndEmptyBlocksAreZero) {
    for (const AVSampleFormat format : {AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_S16P}) {
        const quol::FramePtr loud = test::makeSound(1024, 48000, 2, format);
        EXPECT_EQ(quol::measurePeak(*loud).left, 0.0F);
        EXPECT_EQ(quol::measurePeak(*loud).right, 0.0F);
    }
    const quol::FramePtr empty = test::makeSound(64, 48000, 2, AV_SAMPLE_FMT_S16);
    EXPECT_GT(quol::measurePeak(*empty).left, 0.0F);
    empty->nb_samples = 0;
    EXPECT_EQ(quol::measurePeak(*empty).left, 0.0F);
    EXPECT_EQ(quol::measurePeak(*quol::makeFrame()).left, 0.0F);
}

TEST(AudioPeak, FollowsThePlainSearchOnRandomSound) {
    std::mt19937 random(5);
    for (int run = 0; run < 500; ++run) {
        const int samples = 1 + static_cast<int>(random() % 200);
        const int channels = 1 + static_cast<int>(random() % 8);
        const int second = channels > 1 ? 1 : 0;

        const quol::FramePtr interleaved = silence(samples, channels, AV_SAMPLE_FMT_S16);
        for (int i = 0; i < samples * channels; ++i)
            shorts(*interleaved)[i] = static_cast<std::int16_t>(random());
        const quol::FramePtr planar = silence(samples, channels, AV_SAMPLE_FMT_FLTP);
        for (int channel = 0; channel < channels; ++channel) {
            for (int i = 0; i < samples; ++i) {
                floats(*planar, channel)[i] =
                    static_cast<float>(static_cast<int>(random() % 20001) - 10000) / 8000.0F;
            }
        }
        int left = 0;
        int right = 0;
        float planarLeft = 0.0F;
        float planarRight = 0.0F;
        for (int i = 0; i < samples; i += 4) {
            left = std::max(left, std::abs(int{shorts(*interleaved)[i * channels]}));
            right = std::max(right, std::abs(int{shorts(*interleaved)[i * channels + second]}));
            planarLeft = std::max(planarLeft, std::abs(floats(*planar, 0)[i]));
            planarRight = std::max(planarRight, std::abs(floats(*planar, second)[i]));
        }
        const quol::AudioPeak peak = quol::measurePeak(*interleaved);
        ASSERT_EQ(peak.left, static_cast<float>(left) / 32768.0F);
        ASSERT_EQ(peak.right, static_cast<float>(right) / 32768.0F);
        const quol::AudioPeak planarPeak = quol::measurePeak(*planar);
        ASSERT_EQ(planarPeak.left, planarLeft);
        ASSERT_EQ(planarPeak.right, planarRight);
    }
}

} // namespace

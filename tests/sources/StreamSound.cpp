#include "sources/StreamSound.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "core/SoundBlock.h"
#include "support/Frames.h"

namespace {

using quol::FramePtr;
using quol::StreamSound;
using testing::ElementsAre;

FramePtr blockOf(const std::vector<std::int16_t>& samples) {
    FramePtr block = quol::makeSilentBlock(static_cast<int>(samples.size() / 2), 48000);
    std::copy(samples.begin(), samples.end(), quol::samplesOf(*block));
    return block;
}

std::vector<std::int16_t> amplified(const std::vector<std::int16_t>& samples, int gain) {
    StreamSound sound;
    const FramePtr result = sound.convert(*blockOf(samples), 48000, gain);
    if (!result) return {};
    const std::int16_t* first = quol::samplesOf(*result);
    return {first, first + static_cast<std::ptrdiff_t>(result->nb_samples) * 2};
}

TEST(StreamSound, AHundredPercentIsTheSoundItself) {
    EXPECT_THAT(amplified({1, -2, 32767, -32768}, 100), ElementsAre(1, -2, 32767, -32768));
}

TEST(StreamSound, TwoHundredPercentClipsAtTheLimits) {
    EXPECT_THAT(amplified({100, -100, 16383, -16384, 16384, -16385, 32767, -32768}, 200),
                ElementsAre(200, -200, 32766, -32768, 32767, -32768, 32767, -32768));
}

TEST(StreamSound, ProductsAreCutTowardsZero) {
    EXPECT_THAT(amplified({3, -3, 1, -1}, 50), ElementsAre(1, -1, 0, 0));
    EXPECT_THAT(amplified({100, -100, 7, -7}, 33), ElementsAre(33, -33, 2, -2));
}

TEST(StreamSound, OtherGainsAreNoReasonToFail) {
    EXPECT_THAT(amplified({5, -5}, 0), ElementsAre(0, 0));
    EXPECT_THAT(amplified({5, -5}, -100), ElementsAre(-5, 5));
    EXPECT_THAT(amplified({5, -5}, 2147483647), ElementsAre(32767, -32768));
    EXPECT_THAT(amplified({5, -5}, -2147483647), ElementsAre(-32768, 32767));
}

TEST(StreamSound, IsAlwaysInterleavedStereoWithoutATime) {
    for (const AVSampleFormat format : {AV_SAMPLE_FMT_FLTP, AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_S32}) {
        for (const int channels : {1, 2, 6}) {
            if (format == AV_SAMPLE_FMT_S32 && channels != 2) continue;
            StreamSound sound;
            FramePtr block = format == AV_SAMPLE_FMT_S32
                                 ? quol::makeFrame()
                                 : test::makeSound(480, 48000, channels, format, 90);
            if (format == AV_SAMPLE_FMT_S32) {
                block->format = format;
                block->sample_rate = 48000;
                block->nb_samples = 480;
                av_channel_layout_default(&block->ch_layout, 2);
                ASSERT_GE(av_frame_get_buffer(block.get(), 0), 0);
                std::fill_n(block->data[0], 480 * 8, std::uint8_t{0});
            }
            const FramePtr result = sound.convert(*block, 48000, 100);
            ASSERT_TRUE(result) << format << " " << channels;
            EXPECT_EQ(result->format, AV_SAMPLE_FMT_S16);
            EXPECT_EQ(result->ch_layout.nb_channels, 2);
            EXPECT_EQ(result->sample_rate, 48000);
            EXPECT_EQ(result->nb_samples, 480);
            EXPECT_EQ(result->pts, AV_NOPTS_VALUE);
        }
    }
}

TEST(StreamSound, AnotherRateLosesNothing) {
    StreamSound sound;
    std::int64_t samples = 0;
    for (int i = 0; i < 100; ++i) {
        const FramePtr block = test::makeSound(441, 44100, 2, AV_SAMPLE_FMT_FLTP, i * 441);
        const FramePtr result = sound.convert(*block, 48000, 100);
        if (!result) continue;
        EXPECT_EQ(result->sample_rate, 48000);
        samples += result->nb_samples;
    }
    EXPECT_NEAR(static_cast<double>(samples), 48000.0, 64.0); // what the resampler still keeps
}

TEST(StreamSound, FollowsAChangeOfTheSound) {
    StreamSound sound;
    EXPECT_TRUE(sound.convert(*test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_FLTP), 48000, 100));
    EXPECT_TRUE(sound.convert(*test::makeSound(1024, 44100, 1, AV_SAMPLE_FMT_S16), 48000, 100));
    EXPECT_TRUE(sound.convert(*test::makeSound(1024, 44100, 1, AV_SAMPLE_FMT_S16), 44100, 100));
}

TEST(StreamSound, RatesThatNoSoundHasGiveNothing) {
    StreamSound sound;
    const FramePtr block = test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_S16);
    for (const int rate : {0, -1, 1, 2'000'000'000})
        EXPECT_FALSE(sound.convert(*block, rate, 100)) << rate;
    block->sample_rate = 1;
    EXPECT_FALSE(sound.convert(*block, 48000, 100));
    block->sample_rate = 48000;
    EXPECT_TRUE(sound.convert(*block, 48000, 100));
}

} // namespace

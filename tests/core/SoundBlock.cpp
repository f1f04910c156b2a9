#include "core/SoundBlock.h"

#include <gtest/gtest.h>

namespace {

TEST(SoundBlock, IsSilentStereoOfItsLengthAndRate) {
    const quol::FramePtr block = quol::makeSilentBlock(961, 44100);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->format, AV_SAMPLE_FMT_S16);
    EXPECT_EQ(block->ch_layout.nb_channels, 2);
    EXPECT_EQ(block->nb_samples, 961);
    EXPECT_EQ(block->sample_rate, 44100);
    for (int i = 0; i < 961 * 2; ++i)
        ASSERT_EQ(quol::samplesOf(*block)[i], 0) << i;
}

TEST(SoundFrame, IsOfTheFormAskedFor) {
    const quol::ChannelLayout layout(6);
    const quol::FramePtr frame =
        quol::makeSoundFrame(AV_SAMPLE_FMT_FLTP, *layout.get(), 100, 96000);
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->format, AV_SAMPLE_FMT_FLTP);
    EXPECT_TRUE(layout.equals(frame->ch_layout));
    EXPECT_EQ(frame->nb_samples, 100);
    EXPECT_EQ(frame->sample_rate, 96000);
    for (int plane = 0; plane < 6; ++plane)
        EXPECT_NE(frame->extended_data[plane], nullptr) << plane;
}

TEST(SoundFrame, OfNoFormOrLengthIsNone) {
    const quol::ChannelLayout stereo(2);
    EXPECT_EQ(quol::makeSoundFrame(AV_SAMPLE_FMT_NONE, *stereo.get(), 100, 48000), nullptr);
    EXPECT_EQ(quol::makeSoundFrame(AV_SAMPLE_FMT_S16, *quol::ChannelLayout().get(), 100, 48000),
              nullptr);
    EXPECT_EQ(quol::makeSoundFrame(AV_SAMPLE_FMT_S16, *stereo.get(), 0, 48000), nullptr);
}

TEST(SoundBlock, OfNoLengthIsNone) {
    EXPECT_EQ(quol::makeSilentBlock(0, 48000), nullptr);
    EXPECT_EQ(quol::makeSilentBlock(-1, 48000), nullptr);
}

} // namespace

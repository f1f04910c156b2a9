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

TEST(SoundBlock, OfNoLengthIsNone) {
    EXPECT_EQ(quol::makeSilentBlock(0, 48000), nullptr);
    EXPECT_EQ(quol::makeSilentBlock(-1, 48000), nullptr);
}

} // namespace

#include "outputs/PreviewMeter.h"

#include <gtest/gtest.h>

namespace {

using quol::MeterLevel;

TEST(PreviewMeter, LightsAFortiethForEachSegment) {
    MeterLevel level;
    EXPECT_EQ(level.litSegments(), 0);
    EXPECT_EQ(level.heldSegment(), -1);
    level.set(0.5F);
    EXPECT_EQ(level.litSegments(), 20);
    level.set(0.0249F);
    EXPECT_EQ(level.litSegments(), 0);
    level.set(0.03F);
    EXPECT_EQ(level.litSegments(), 1);
    level.set(0.999F);
    EXPECT_EQ(level.litSegments(), 39);
}

TEST(PreviewMeter, ALevelOfOneLightsAll40) {
    MeterLevel level;
    level.set(1.0F);
    EXPECT_EQ(level.litSegments(), 40);
    EXPECT_EQ(level.heldSegment(), 39);
    level.set(3.0F);
    EXPECT_EQ(level.litSegments(), 40);
}

TEST(PreviewMeter, WithoutANewLevelItDropsATenthAPassToZero) {
    MeterLevel level;
    level.set(0.35F);
    level.fall();
    EXPECT_FLOAT_EQ(level.current(), 0.25F);
    level.fall();
    level.fall();
    EXPECT_FLOAT_EQ(level.current(), 0.05F);
    level.fall();
    EXPECT_EQ(level.current(), 0.0F);
    level.fall();
    EXPECT_EQ(level.current(), 0.0F);
}

TEST(PreviewMeter, TheHeldLevelStands45PassesAndThenFallsByItself) {
    MeterLevel level;
    level.set(0.8F);
    for (int pass = 0; pass < 45; ++pass) {
        level.set(0.1F);
        ASSERT_EQ(level.held(), 0.8F) << pass;
    }
    level.set(0.1F);
    EXPECT_FLOAT_EQ(level.held(), 0.794F);
    level.fall();
    EXPECT_FLOAT_EQ(level.held(), 0.788F);
}

TEST(PreviewMeter, ALevelAtTheHeldOneHoldsItAnew) {
    MeterLevel level;
    level.set(0.8F);
    for (int pass = 0; pass < 40; ++pass)
        level.set(0.1F);
    level.set(0.8F);
    for (int pass = 0; pass < 45; ++pass)
        level.set(0.1F);
    EXPECT_EQ(level.held(), 0.8F);
    level.set(0.9F);
    EXPECT_EQ(level.held(), 0.9F);
}

TEST(PreviewMeter, TheMarkerGoesWhereTheHeldLevelIsNotAboveAHundredth) {
    MeterLevel level;
    level.set(0.01F);
    EXPECT_EQ(level.heldSegment(), -1);
    level.set(0.011F);
    EXPECT_EQ(level.heldSegment(), 0);
    level.set(0.5F);
    for (int pass = 0; pass < 400; ++pass)
        level.fall();
    EXPECT_EQ(level.heldSegment(), -1);
    EXPECT_EQ(level.held(), 0.0F);
}

TEST(PreviewMeter, ChannelsAreMeasuredApart) {
    quol::PreviewMeter meter;
    meter.set(0.5F, 0.25F);
    EXPECT_EQ(meter.left.litSegments(), 20);
    EXPECT_EQ(meter.right.litSegments(), 10);
    meter.fall();
    EXPECT_EQ(meter.left.litSegments(), 16);
    EXPECT_EQ(meter.right.litSegments(), 6);
}

} // namespace

#include "compositing/LayerLook.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "core/Handles.h"
#include "quolsdk/LLayerItem.h"

namespace {

TEST(LayerLook, CutsPositionsTowardsZero) {
    EXPECT_EQ(quol::wholePixels(3.99F), 3);
    EXPECT_EQ(quol::wholePixels(-3.99F), -3);
    EXPECT_EQ(quol::wholePixels(-0.5F), 0);
}

TEST(LayerLook, BoundsWhatNoPictureHas) {
    constexpr int far = 1 << 20;
    EXPECT_EQ(quol::wholePixels(std::numeric_limits<float>::quiet_NaN()), 0);
    EXPECT_EQ(quol::wholePixels(std::numeric_limits<float>::infinity()), far);
    EXPECT_EQ(quol::wholePixels(-std::numeric_limits<float>::infinity()), -far);
    EXPECT_EQ(quol::wholePixels(1.0e30F), far);
}

TEST(LayerLook, TakesThePicturesSizeForNoneOfItsOwn) {
    AVFrame picture{};
    picture.width = 320;
    picture.height = 180;
    quol::LayerLook look;
    EXPECT_EQ(quol::targetSize(look, picture).width, 320);
    EXPECT_EQ(quol::targetSize(look, picture).height, 180);
    look.width = 0.0F;
    look.height = 99.9F;
    EXPECT_EQ(quol::targetSize(look, picture).width, 320);
    EXPECT_EQ(quol::targetSize(look, picture).height, 99);
    look.width = 0.5F;
    EXPECT_EQ(quol::targetSize(look, picture).width, 0) << "above 0, but no pixel";
    look.width = std::nanf("");
    EXPECT_EQ(quol::targetSize(look, picture).width, 320);
}

TEST(LayerLook, RadiusIsAPercentageOfTheSmallerSide) {
    EXPECT_EQ(quol::cornerRadius({200, 51}, 50, 100), 25);
    EXPECT_EQ(quol::cornerRadius({51, 200}, 50, 200), 12);
    EXPECT_EQ(quol::cornerRadius({200, 100}, 0, 100), 0);
    EXPECT_EQ(quol::cornerRadius({200, 100}, -20, 100), 0);
    EXPECT_EQ(quol::cornerRadius({200, 100}, std::numeric_limits<int>::max(), 100), 1 << 20);
}

TEST(LayerLook, IsReadOffTheLayer) {
    LLayerItem item("layer");
    item.alpha = -4;
    item.x = 12.7F;
    item.y = -3.2F;
    item.width = 64.0F;
    item.height = 36.0F;
    item.cropTop = 1.0F;
    item.cropBottom = 2.0F;
    item.cropLeft = 3.0F;
    item.cropRight = 4.0F;
    item.borderThickness = 5;
    item.borderColor = "#F00";
    item.borderAlpha = 70;
    item.borderRadius = 15;
    item.isDSK = true;
    const quol::LayerLook look = quol::lookOf(item);
    EXPECT_EQ(look.alpha, -4);
    EXPECT_EQ(look.x, 12);
    EXPECT_EQ(look.y, -3);
    EXPECT_EQ(look.width, 64.0F);
    EXPECT_EQ(look.height, 36.0F);
    EXPECT_EQ(look.cropTop, 1.0F);
    EXPECT_EQ(look.cropBottom, 2.0F);
    EXPECT_EQ(look.cropLeft, 3.0F);
    EXPECT_EQ(look.cropRight, 4.0F);
    EXPECT_EQ(look.borderThickness, 5);
    EXPECT_EQ(look.borderColor.red, 255);
    EXPECT_EQ(look.borderColor.green, 0);
    EXPECT_EQ(look.borderAlpha, 70);
    EXPECT_EQ(look.borderRadius, 15);
    EXPECT_TRUE(look.isKeyed);
}

} // namespace

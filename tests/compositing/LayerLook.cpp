#include "compositing/LayerLook.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "core/Handles.h"
#include "quolsdk/LLayerItem.h"

namespace {

TEST(LayerLook, CutsPositionsTowardsZero) {
    EXPECT_EQ(quol::wholePixels(3.99F), 3);
    EXPECT_EQ(quol::wholePixels(-3.99F), -3);
    EXPECT_EQ(quol::wholePixels(-0.5F), 0);
}

TEST(LayerLook, CutsEveryQuarterOfAPixel) {
    for (int quarters = -4 * 8192; quarters <= 4 * 8192; ++quarters)
        ASSERT_EQ(quol::wholePixels(static_cast<float>(quarters) / 4.0F), quarters / 4);
    EXPECT_EQ(quol::wholePixels(std::numeric_limits<float>::denorm_min()), 0);
    EXPECT_EQ(quol::wholePixels(-0.0F), 0);
}

TEST(LayerLook, BoundsWhatNoPictureHas) {
    constexpr int far = 1 << 20;
    EXPECT_EQ(quol::wholePixels(std::numeric_limits<float>::quiet_NaN()), 0);
    EXPECT_EQ(quol::wholePixels(std::numeric_limits<float>::infinity()), far);
    EXPECT_EQ(quol::wholePixels(-std::numeric_limits<float>::infinity()), -far);
    EXPECT_EQ(quol::wholePixels(1.0e30F), far);
    for (const float value :
         {static_cast<float>(far), 2147483648.0F, 1.0e30F, std::numeric_limits<float>::max()}) {
        EXPECT_EQ(quol::wholePixels(value), far);
        EXPECT_EQ(quol::wholePixels(-value), -far);
    }
    EXPECT_EQ(quol::wholePixels(1048575.0F), far - 1);
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

TEST(LayerLook, TakesNoSizeForTheWrongSideAndBoundsIt) {
    AVFrame picture{};
    picture.width = 320;
    picture.height = 180;
    constexpr float infinite = std::numeric_limits<float>::infinity();
    quol::LayerLook look;
    for (const float none : {0.0F, -0.0F, -0.5F, -1000.0F, -infinite, std::nanf("")}) {
        look.width = none;
        look.height = 50.0F;
        EXPECT_EQ(quol::targetSize(look, picture).width, 320) << none;
        EXPECT_EQ(quol::targetSize(look, picture).height, 50) << none;
        std::swap(look.width, look.height);
        EXPECT_EQ(quol::targetSize(look, picture).width, 50) << none;
        EXPECT_EQ(quol::targetSize(look, picture).height, 180) << none;
    }
    for (const float large : {1.0e9F, infinite}) {
        look.width = look.height = large;
        EXPECT_EQ(quol::targetSize(look, picture).width, 1 << 20);
        EXPECT_EQ(quol::targetSize(look, picture).height, 1 << 20);
    }
}

TEST(LayerLook, RadiusOfEverySmallTargetIsCutToAWholeNumber) {
    for (int width = 0; width <= 40; ++width) {
        for (int height = 0; height <= 40; ++height) {
            for (int percent = 0; percent <= 210; percent += 7) {
                const int side = std::min(width, height);
                ASSERT_EQ(quol::cornerRadius({width, height}, percent, 100), side * percent / 100);
                ASSERT_EQ(quol::cornerRadius({width, height}, percent, 200), side * percent / 200);
            }
        }
    }
    EXPECT_EQ(quol::cornerRadius({100, 100}, std::numeric_limits<int>::min(), 100), 0);
    EXPECT_EQ(quol::cornerRadius({1 << 20, 1 << 20}, std::numeric_limits<int>::max(), 200),
              1 << 20);
}

TEST(LayerLook, KeepsTheThicknessWithinWhatAPictureCanHave) {
    LLayerItem item("layer");
    const auto thicknessOf = [&item](int thickness) {
        item.borderThickness = thickness;
        return quol::lookOf(item).borderThickness;
    };
    EXPECT_EQ(thicknessOf(-1), 0);
    EXPECT_EQ(thicknessOf(std::numeric_limits<int>::min()), 0);
    EXPECT_EQ(thicknessOf(0), 0);
    EXPECT_EQ(thicknessOf(3000), 3000);
    EXPECT_EQ(thicknessOf(std::numeric_limits<int>::max()), 1 << 20);
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

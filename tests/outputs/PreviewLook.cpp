#include "outputs/PreviewLook.h"

#include <gtest/gtest.h>

#include "outputs/LPreviewWin32Impl.h"

namespace {

using quol::lookOf;
using quol::Rgb;
using quol::StatusLook;
using quol::Tint;

void expectLook(const StatusLook& look, const Tint& border, const Rgb& plate) {
    ASSERT_TRUE(look.border);
    EXPECT_EQ(*look.border, border);
    EXPECT_EQ(look.plate.color, plate);
    EXPECT_EQ(look.plate.opacity, 0.9);
}

TEST(PreviewLook, EachStatusHasItsColours) {
    for (const std::optional<Rgb>& flag : {std::optional<Rgb>(), std::optional<Rgb>({1, 2, 3})}) {
        expectLook(lookOf("program", flag), {0.59F, 0, 0}, {0x8C, 0x14, 0x14});
        expectLook(lookOf("record", flag), {0.59F, 0, 0}, {0x8C, 0x14, 0x14});
        expectLook(lookOf("preview", flag), {0.20F, 0.63F, 0.31F}, {0x14, 0x78, 0x28});
        expectLook(lookOf("live", flag), {0.20F, 0.63F, 0.31F}, {0x14, 0x78, 0x28});
        expectLook(lookOf("trim", flag), {0.33F, 0.67F, 1.0F}, {0x41, 0x82, 0xC8});
        expectLook(lookOf("ready", flag), {1.0F, 0.67F, 0}, {0xC8, 0x82, 0x00});
    }
}

TEST(PreviewLook, AnyOtherStatusHasNoBorderAndABlackPlate) {
    for (const char* status : {"", "empty", "Ready", "READY", "program ", "x"}) {
        const StatusLook look = lookOf(status, std::nullopt);
        EXPECT_FALSE(look.border) << status;
        EXPECT_EQ(look.plate.color, (Rgb{0, 0, 0}));
        EXPECT_EQ(look.plate.opacity, 0.59);
    }
}

TEST(PreviewLook, TheBorderFlagGivesAnyOtherStatusItsColour) {
    const StatusLook look = lookOf("Ready", Rgb{255, 128, 10});
    ASSERT_TRUE(look.border);
    EXPECT_EQ(*look.border, (Tint{1.0F, 128 / 255.0F, 10 / 255.0F}));
    EXPECT_EQ(look.plate.color, (Rgb{153, 76, 6})); // 60 percent
    EXPECT_EQ(look.plate.opacity, 0.59);
}

TEST(PreviewLook, WithoutTheFlagThePictureFillsTheSurface) {
    const quol::PictureExtent extent = quol::extentOf(640, 360, 100, 100, false);
    EXPECT_EQ(extent.halfWidth, 1.0F);
    EXPECT_EQ(extent.halfHeight, 1.0F);
}

TEST(PreviewLook, WithItThePictureKeepsItsShape) {
    // Narrower than the surface, wider, the same, and no picture at all.
    quol::PictureExtent extent = quol::extentOf(640, 360, 100, 100, true);
    EXPECT_FLOAT_EQ(extent.halfWidth, 0.5625F);
    EXPECT_EQ(extent.halfHeight, 1.0F);
    extent = quol::extentOf(640, 360, 200, 50, true);
    EXPECT_EQ(extent.halfWidth, 1.0F);
    EXPECT_FLOAT_EQ(extent.halfHeight, 640.0F / 360 / 4);
    extent = quol::extentOf(640, 360, 1920, 1080, true);
    EXPECT_EQ(extent.halfWidth, 1.0F);
    EXPECT_EQ(extent.halfHeight, 1.0F);
    extent = quol::extentOf(640, 360, 0, 0, true);
    EXPECT_EQ(extent.halfWidth, 1.0F);
    EXPECT_EQ(extent.halfHeight, 1.0F);
}

TEST(PreviewLook, SizesFollowTheSurfacesHeight) {
    EXPECT_EQ(quol::borderWidth(100), 2.0);
    EXPECT_EQ(quol::borderWidth(270), 2.0);
    EXPECT_EQ(quol::borderWidth(540), 4.0);
    EXPECT_EQ(quol::borderWidth(1080), 8.0);
    EXPECT_EQ(quol::labelFontHeight(1), 10);
    EXPECT_EQ(quol::labelFontHeight(314), 10);
    EXPECT_EQ(quol::labelFontHeight(315), 11);
    EXPECT_EQ(quol::labelFontHeight(1080), 37);
    EXPECT_EQ(quol::labelDistance(100), 10.0);
    EXPECT_EQ(quol::labelDistance(216), 10.0);
    EXPECT_EQ(quol::labelDistance(540), 25.0);
    EXPECT_EQ(quol::labelDistance(1080), 50.0);
    EXPECT_EQ(quol::timecodeFontHeight(1), 10); // of 7.2
    EXPECT_EQ(quol::timecodeFontHeight(300), 10);
    EXPECT_EQ(quol::timecodeFontHeight(360), 12);
    EXPECT_EQ(quol::timecodeFontHeight(1080), 36);
    EXPECT_EQ(quol::timecodeFontHeight(2160), 72);
}

TEST(PreviewLook, MarginsFollowTheTextsHeight) {
    const auto expect = [](int height, int left, int top, int width, int more) {
        const quol::PlateMargins margins = quol::marginsOf(height);
        EXPECT_EQ(margins.left, left) << height;
        EXPECT_EQ(margins.top, top) << height;
        EXPECT_EQ(margins.width, width) << height;
        EXPECT_EQ(margins.height, more) << height;
    };
    expect(10, 6, 3, 12, 6);
    expect(13, 6, 3, 12, 6);
    expect(14, 7, 3, 14, 6);
    expect(15, 7, 3, 14, 6);
    expect(16, 8, 4, 16, 8);
    expect(17, 8, 4, 16, 8);
    expect(37, 18, 9, 36, 18);
}

TEST(PreviewLook, SegmentsAreGreenThenYellowThenRed) {
    for (int i = 0; i < 40; ++i) {
        const Tint lit = quol::segmentTint(i, true);
        const Tint dim = quol::segmentTint(i, false);
        EXPECT_EQ(lit, quol::segmentTint(i < 26 ? 0 : i < 36 ? 26 : 36, true)) << i;
        EXPECT_LT(dim.red + dim.green + dim.blue, (lit.red + lit.green + lit.blue) / 3);
    }
    EXPECT_GT(quol::segmentTint(0, true).green, quol::segmentTint(0, true).red);
    EXPECT_GT(quol::segmentTint(39, true).red, quol::segmentTint(39, true).green * 2);
}

TEST(PreviewLook, TheMeterStandsInsideItsPanelAndTheSurface) {
    for (const auto& [width, height] : {std::pair{1920, 1080}, {640, 360}, {320, 180}}) {
        const quol::MeterPlace place = quol::placeMeter(width, height);
        EXPECT_GT(place.panel.left, 0);
        EXPECT_GT(place.panel.top, 0);
        EXPECT_LT(place.panel.right, width);
        EXPECT_LT(place.panel.bottom, height);
        EXPECT_GT(place.columnLeft[0], place.panel.left);
        EXPECT_GT(place.columnLeft[1], place.columnLeft[0] + place.columnWidth);
        EXPECT_LT(place.columnLeft[1] + place.columnWidth, place.panel.right);
        EXPECT_LT(place.bottom, place.panel.bottom);
        EXPECT_GT(place.bottom - 40 * place.segmentPitch, place.panel.top);
        EXPECT_GE(place.segmentHeight, 1.0F);
    }
}

TEST(PreviewColor, NamesAndHexadecimalColoursAreTaken) {
    const auto parsed = [](const char* text) {
        Rgb color{1, 2, 3};
        LPreviewWin32Impl::parseColor(text, color);
        return color;
    };
    EXPECT_EQ(parsed("red"), (Rgb{255, 0, 0}));
    EXPECT_EQ(parsed("green"), (Rgb{0, 255, 0}));
    EXPECT_EQ(parsed("black"), (Rgb{0, 0, 0}));
    EXPECT_EQ(parsed("white"), (Rgb{255, 255, 255}));
    EXPECT_EQ(parsed("#12aBcD"), (Rgb{0x12, 0xAB, 0xCD}));
    EXPECT_EQ(parsed("#1aF"), (Rgb{0x11, 0xAA, 0xFF}));
    for (const char* other : {"", "#", "blue", "Red", "#12345", "#1234567", "123456", "#12345G",
                              "#+1-2+3", "# 1 2 3", "#0x1"})
        EXPECT_EQ(parsed(other), (Rgb{1, 2, 3})) << other;
}

} // namespace

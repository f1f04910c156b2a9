#include "outputs/PreviewText.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using quol::drawTextPlate;
using quol::PlateLook;
using quol::TextPlate;

constexpr PlateLook red{{0x8C, 0x14, 0x14}, 0.9};

std::vector<int> pixelAt(const TextPlate& plate, int x, int y) {
    const std::uint8_t* const pixel =
        plate.rgba.data() + (static_cast<std::size_t>(y) * plate.width + x) * 4;
    return {pixel[0], pixel[1], pixel[2], pixel[3]};
}

// Rows and columns in which there are letters: left, top, right, bottom.
std::vector<int> inkOf(const TextPlate& plate) {
    std::vector<int> box{plate.width, plate.height, -1, -1};
    for (int y = 0; y < plate.height; ++y) {
        for (int x = 0; x < plate.width; ++x) {
            if (pixelAt(plate, x, y)[3] != 255) continue;
            box = {std::min(box[0], x), std::min(box[1], y), std::max(box[2], x),
                   std::max(box[3], y)};
        }
    }
    return box;
}

TEST(PreviewText, ThePlateIsTheTextsHeightAndItsMargins) {
    for (const int height : {10, 13, 14, 15, 16, 17, 37, 72}) {
        const quol::PlateMargins margins = quol::marginsOf(height);
        const TextPlate none = drawTextPlate("", red, height, "Arial");
        EXPECT_EQ(none.width, margins.width) << height;
        EXPECT_EQ(none.height, height + margins.height) << height;
        const TextPlate one = drawTextPlate("M", red, height, "Arial");
        const TextPlate two = drawTextPlate("MM", red, height, "Arial");
        EXPECT_EQ(one.height, none.height);
        EXPECT_NEAR(two.width - one.width, one.width - none.width, 1) << height;
        const std::vector<int> ink = inkOf(two);
        EXPECT_GE(ink[0], margins.left - 1);
        EXPECT_GE(ink[1], margins.top);
        EXPECT_LT(ink[3], margins.top + height);
    }
}

TEST(PreviewText, LettersAreBold) {
    const TextPlate plate = drawTextPlate("I", red, 100, "Arial");
    const int row = 25 + 50;
    int stem = 0;
    for (int x = 0; x < plate.width; ++x)
        stem += pixelAt(plate, x, row)[3] == 255 ? 1 : 0;
    EXPECT_GE(stem, 11);
}

TEST(PreviewText, TallAndDeepLettersReachOverTheWholeHeight) {
    const TextPlate plate = drawTextPlate("\xC3\x85gjpqy|", red, 60, "Arial"); // with a ring on top
    const std::vector<int> ink = inkOf(plate);
    EXPECT_LE(ink[1], 15 + 8);
    EXPECT_GE(ink[3], 15 + 60 - 8);
    EXPECT_GE(ink[1], 15 - 2);
    EXPECT_LE(ink[3], 15 + 60 + 2);
}

TEST(PreviewText, TheGroundIsAsOpaqueAsItIsAskedAndTheLettersWholly) {
    const TextPlate plate = drawTextPlate("HHH", red, 40, "Arial");
    EXPECT_EQ(pixelAt(plate, 0, 0), (std::vector<int>{0x8C, 0x14, 0x14, 229})); // 0.9 * 255
    int white = 0;
    int soft = 0;
    for (std::size_t i = 0; i < plate.rgba.size(); i += 4) {
        const std::uint8_t* const pixel = plate.rgba.data() + i;
        const bool isGround = std::abs(pixel[0] - 0x8C) <= 9 && std::abs(pixel[1] - 0x14) <= 9 &&
                              std::abs(pixel[2] - 0x14) <= 9;
        ASSERT_EQ(pixel[3], isGround ? 229 : 255);
        const bool isWhite = pixel[0] == 255 && pixel[1] == 255 && pixel[2] == 255;
        white += isWhite ? 1 : 0;
        soft += isWhite || isGround ? 0 : 1;
    }
    EXPECT_GT(white, 300);
    EXPECT_GT(soft, 20); // edges are smoothed
    EXPECT_EQ(pixelAt(drawTextPlate("x", quol::timecodePlate, 20, "Courier New"), 0, 0)[3], 119);
    EXPECT_EQ(pixelAt(drawTextPlate("x", {{0, 0, 0}, 0.59}, 20, "Arial"), 0, 0)[3], 150);
}

TEST(PreviewText, CourierIsOfFixedPitch) {
    const TextPlate narrow = drawTextPlate("iiiiiiii", red, 40, "Courier New");
    const TextPlate wide = drawTextPlate("MMMMMMMM", red, 40, "Courier New");
    EXPECT_EQ(narrow.width, wide.width);
    EXPECT_LT(drawTextPlate("iiiiiiii", red, 40, "Arial").width,
              drawTextPlate("MMMMMMMM", red, 40, "Arial").width);
}

TEST(PreviewText, WhatIsNoUtf8CountsAsLatin1) {
    const TextPlate latin = drawTextPlate("\xC7\xF0", red, 30, "Arial");
    const TextPlate utf8 = drawTextPlate("\xC3\x87\xC3\xB0", red, 30, "Arial");
    EXPECT_EQ(latin.rgba, utf8.rgba);
    EXPECT_FALSE(latin.rgba.empty());
}

TEST(PreviewText, AVeryLongTextIsCut) {
    const TextPlate plate = drawTextPlate(std::string(200000, 'W'), red, 30, "Arial");
    EXPECT_EQ(plate.width, 4096);
    EXPECT_EQ(plate.rgba.size(), static_cast<std::size_t>(4096) * plate.height * 4);
    // What there is room for is there, as if there were no more.
    EXPECT_EQ(plate.rgba, drawTextPlate(std::string(1000, 'W'), red, 30, "Arial").rgba);
    EXPECT_GT(inkOf(plate)[2], 4000);
}

} // namespace

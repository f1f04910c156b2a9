#include "core/Color.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <stdexcept>
#include <string>

namespace {

TEST(ColorText, ReadsEveryLevelOfEveryComponent) {
    for (int level = 0; level < 256; ++level) {
        const int red = level;
        const int green = 255 - level;
        const int blue = level * 37 % 256;
        for (const char* format : {"#%02X%02X%02X", "#%02x%02x%02x"}) {
            char text[16];
            std::snprintf(text, sizeof text, format, static_cast<unsigned>(red),
                          static_cast<unsigned>(green), static_cast<unsigned>(blue));
            const auto rgb = quol::parseColor(text);
            ASSERT_TRUE(rgb.has_value()) << text;
            EXPECT_EQ(rgb->red, red) << text;
            EXPECT_EQ(rgb->green, green) << text;
            EXPECT_EQ(rgb->blue, blue) << text;
        }
    }
}

TEST(ColorText, OfAnotherLengthIsNone) {
    for (const char* text : {"", "#", "red", "#FFF", "#FFFFF", "#FFFFFFF", "#FFFFFFFF"}) {
        EXPECT_FALSE(quol::parseColor(text).has_value()) << text;
    }
}

TEST(ColorText, OfSevenCharactersWithoutTheHashSignIsNone) {
    for (const char* text : {"FFFFFFF", "0xFFFFF", " #FFFFF", "zzzzzzz"}) {
        EXPECT_FALSE(quol::parseColor(text).has_value()) << text;
    }
}

TEST(ColorText, PairThatIsNotHexadecimalRaisesInvalidArgumentStoi) {
    for (const char* text : {"#GG0000", "#00GG00", "#0000GG", "#      ", "#zzzzzz"}) {
        try {
            quol::parseColor(text);
            ADD_FAILURE() << text << " was read";
        } catch (const std::invalid_argument& exception) {
            EXPECT_STREQ(exception.what(), "stoi") << text;
        }
    }
}

TEST(ColorText, PairCountsAsFarAsItIsHexadecimal) {
    const auto rgb = quol::parseColor("#1G2H3I");
    ASSERT_TRUE(rgb.has_value());
    EXPECT_EQ(rgb->red, 1);
    EXPECT_EQ(rgb->green, 2);
    EXPECT_EQ(rgb->blue, 3);
}

TEST(YuvLevels, KnownColors) {
    struct Known {
        quol::Rgb rgb;
        int y;
        int u;
        int v;
    };
    for (const Known& known : {
             Known{{0, 0, 0}, 0, 128, 128},
             Known{{255, 255, 255}, 255, 128, 128},
             Known{{128, 128, 128}, 127, 128, 128}, // the weights' sum falls just short of 1
             Known{{255, 0, 0}, 76, 84, 255},
             Known{{0, 255, 0}, 149, 43, 21},
             Known{{0, 0, 255}, 29, 255, 107},
         }) {
        const quol::YuvLevels levels = quol::toYuvTruncated(known.rgb);
        SCOPED_TRACE(testing::Message()
                     << known.rgb.red << ' ' << known.rgb.green << ' ' << known.rgb.blue);
        EXPECT_EQ(levels.y, known.y);
        EXPECT_EQ(levels.u, known.u);
        EXPECT_EQ(levels.v, known.v);
    }
}

TEST(YuvLevels, EveryColorByTheFormula) {
    for (int r = 0; r < 256; ++r) {
        for (int g = 0; g < 256; ++g) {
            for (int b = 0; b < 256; ++b) {
                const quol::YuvLevels levels = quol::toYuvTruncated({r, g, b});
                const int y = static_cast<int>(0.299 * r + 0.587 * g + 0.114 * b);
                const int u = static_cast<int>(-0.1687 * r - 0.3313 * g + 0.5 * b + 128);
                const int v = static_cast<int>(0.5 * r - 0.4187 * g - 0.0813 * b + 128);
                if (levels.y == y && levels.u == u && levels.v == v) continue;
                FAIL() << r << ' ' << g << ' ' << b;
            }
        }
    }
}

void expectColor(const char* text, int red, int green, int blue) {
    const quol::Rgb rgb = quol::parseColorOrWhite(text);
    EXPECT_EQ(rgb.red, red) << text;
    EXPECT_EQ(rgb.green, green) << text;
    EXPECT_EQ(rgb.blue, blue) << text;
}

TEST(ColorOrWhite, ReadsSixDigitsAndThree) {
    expectColor("#1a2B3c", 0x1A, 0x2B, 0x3C);
    expectColor("#000000", 0, 0, 0);
    expectColor("#4c9", 0x44, 0xCC, 0x99);
    expectColor("#000", 0, 0, 0);
}

TEST(ColorOrWhite, IsWhiteForEveryOtherShape) {
    for (const char* text : {"", "#", "#1", "#12", "#1234", "#12345", "#1234567", "123456", "0000",
                             "red", "x123", "?000000"})
        expectColor(text, 255, 255, 255);
}

TEST(ColorOrWhite, KeepsTheChannelsBeforeOneThatCannotBeRead) {
    expectColor("#12G456", 0x12, 255, 255);
    expectColor("#1234-1", 0x12, 0x34, 255);
    expectColor("#+10203", 255, 255, 255);
    expectColor("#1z3", 0x11, 255, 255);
    expectColor("# 10203", 255, 255, 255);
}

TEST(ColorOrWhite, WhiteIsFullInLumaAndWithoutColour) {
    const quol::YuvLevels levels = quol::toYuvTruncated(quol::parseColorOrWhite("none"));
    EXPECT_EQ(levels.y, 255);
    EXPECT_EQ(levels.u, 128);
    EXPECT_EQ(levels.v, 128);
}

} // namespace

#include "quolsdk/LCGColor.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

#include "quolsdk/LCharacter.h"

namespace {

// All the ways that a text becomes a colour; they have to agree.
std::uint32_t read(const std::string& text) {
    const LCGColor made(text);
    LCGColor assigned;
    assigned.assign(text);
    LCGColor set;
    set = text;
    EXPECT_EQ(assigned, made) << text;
    EXPECT_EQ(set, made) << text;
    if (text.find('\0') == std::string::npos) {
        EXPECT_EQ(LCGColor(text.c_str()), made) << text;
        LCGColor setPlain;
        setPlain = text.c_str();
        EXPECT_EQ(setPlain, made) << text;
    }
    EXPECT_EQ(LCharacter::hexToUint(text), made.value()) << text;
    return made.value();
}

TEST(TitleColor, IsOpaqueBlackByDefault) {
    EXPECT_EQ(LCGColor().value(), 0xFF000000U);
}

TEST(TitleColor, OfSixDigitsIsOpaque) {
    EXPECT_EQ(read("#FF8800"), 0xFFFF8800U);
    EXPECT_EQ(read("FF8800"), 0xFFFF8800U);
    EXPECT_EQ(read("#ff88Aa"), 0xFFFF88AAU);
    EXPECT_EQ(read("000000"), 0xFF000000U);
}

TEST(TitleColor, OfEightDigitsHasItsAlphaInFront) {
    EXPECT_EQ(read("80FF8800"), 0x80FF8800U);
    EXPECT_EQ(read("#80FF8800"), 0x80FF8800U);
    EXPECT_EQ(read("#00FFFFFF"), 0x00FFFFFFU);
}

TEST(TitleColor, OfAnyOtherLengthIsTheNumberItself) {
    EXPECT_EQ(read("#F"), 0xFU);
    EXPECT_EQ(read("#FFF"), 0xFFFU);
    EXPECT_EQ(read("#1234567"), 0x1234567U);
    EXPECT_EQ(read("0"), 0U);
    EXPECT_EQ(read("000000FF8800"), 0x00FF8800U);
}

TEST(TitleColor, OfAnEmptyTextIs0) {
    EXPECT_EQ(read(""), 0U);
    EXPECT_EQ(LCGColor(static_cast<const char*>(nullptr)).value(), 0U);
}

TEST(TitleColor, OfATextThatIsNoNumberIsOpaqueWhite) {
    for (const char* text : {"xyz", "#", "##FF8800", "#-", " ", "red!", "zFF8800"}) {
        EXPECT_EQ(read(text), 0xFFFFFFFFU) << text;
    }
}

TEST(TitleColor, OfMoreThan32BitsIsOpaqueWhite) {
    EXPECT_EQ(read("100000000"), 0xFFFFFFFFU);
    EXPECT_EQ(read("#1FFFFFFFFFFFFFFF"), 0xFFFFFFFFU);
    EXPECT_EQ(read("FFFFFFFFFFFFFFFFFFFF"), 0xFFFFFFFFU);
    EXPECT_EQ(read(std::string(100000, 'F')), 0xFFFFFFFFU);
    EXPECT_EQ(read("FFFFFFFF"), 0xFFFFFFFFU);
    EXPECT_EQ(read("FFFFFFFE"), 0xFFFFFFFEU);
}

TEST(TitleColor, CountsAsFarAsItIsHexadecimal) {
    EXPECT_EQ(read("12xy"), 0x12U);
    EXPECT_EQ(read("#FF88GG"), 0xFFFF88U); // six characters: opaque is put in front
    EXPECT_EQ(read("GG0000"), 0xFFU);
    EXPECT_EQ(read("red"), 0xFFFFFFFFU);
    EXPECT_EQ(read("blue"), 0xBU);
    EXPECT_EQ(read("0x12"), 0x12U);
    EXPECT_EQ(read("0x"), 0U);
    EXPECT_EQ(read("  7F"), 0x7FU);
}

TEST(TitleColor, ComponentsAreFrom0To1) {
    const LCGColor color("#3366CCFF");
    EXPECT_DOUBLE_EQ(color.alpha(), 0x33 / 255.0);
    EXPECT_DOUBLE_EQ(color.red(), 0x66 / 255.0);
    EXPECT_DOUBLE_EQ(color.green(), 0xCC / 255.0);
    EXPECT_DOUBLE_EQ(color.blue(), 1.0);
    const LCGColor none("");
    EXPECT_EQ(none.alpha() + none.red() + none.green() + none.blue(), 0.0);
}

TEST(TitleColor, IsWrittenInSixCapitalDigitsWithoutItsAlpha) {
    EXPECT_EQ(LCharacter::uintToHex(0x80FF8800U), "#FF8800");
    EXPECT_EQ(LCharacter::uintToHex(0xFFABCDEFU), "#ABCDEF");
    EXPECT_EQ(LCharacter::uintToHex(0x0000000AU), "#00000A");
    EXPECT_EQ(LCharacter::uintToHex(0U), "#000000");
    EXPECT_EQ(LCharacter::uintToHex(0xFFFFFFFFU), "#FFFFFF");
}

TEST(TitleColor, ComesBackOpaqueFromItsWrittenForm) {
    std::mt19937 random(1);
    for (int i = 0; i < 10000; ++i) {
        const auto color = static_cast<std::uint32_t>(random());
        EXPECT_EQ(LCGColor(LCharacter::uintToHex(color)).value(), color | 0xFF000000U);
    }
}

} // namespace

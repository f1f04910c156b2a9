#include <gtest/gtest.h>

#include <cstdio>
#include <iomanip>
#include <locale>
#include <sstream>
#include <stdexcept>

#include "graphics/LottieText.h"

namespace quol {
void PrintTo(ColorChange change, std::ostream* out) {
    constexpr const char* names[] = {"ignored", "no layer", "no colour", "AE", "Cavalry"};
    *out << names[static_cast<int>(change)];
}
} // namespace quol

namespace {

using quol::ColorChange;
using quol::LottieColor;
using quol::replaceColor;

// A shape layer with the name before its content.
std::string layerFirst(const std::string& name, const std::string& numbers) {
    return R"({"ty":4,"nm":")" + name + R"(","shapes":[{"ty":"fl","c":{"a":0,"k":[)" + numbers +
           R"(]},"o":{"a":0,"k":100}}]})";
}

// A shape with its name behind the colour.
std::string colorFirst(const std::string& name, const std::string& numbers) {
    return R"({"ty":"fl","c":{"a":0,"k":[)" + numbers + R"(]},"nm":")" + name + R"("})";
}

// The numbers that a colour becomes; with what became of it where that is no change.
std::string numbersOf(const LottieColor& color) {
    std::string json = layerFirst("L", "0");
    const ColorChange change = replaceColor(json, "L", color);
    if (change != ColorChange::aeStyle) return "(no change)";
    const std::size_t begin = json.find("\"k\":[") + 5;
    return json.substr(begin, json.find(']') - begin);
}

// --------------------------------------------------------------------------------- numbers

TEST(LottieColors, AreFourDecimalsAndAnOpaqueOne) {
    EXPECT_EQ(numbersOf({"#FF0000", "", ""}), "1.0000,0.0000,0.0000,1");
    EXPECT_EQ(numbersOf({"FF0000", "", ""}), "1.0000,0.0000,0.0000,1");
    EXPECT_EQ(numbersOf({"#0080ff", "", ""}), "0.0000,0.5020,1.0000,1");
    EXPECT_EQ(numbersOf({"#010203", "", ""}), "0.0039,0.0078,0.0118,1");
}

TEST(LottieColors, OfAllValuesAreThoseOfTheStreams) {
    for (int value = 0; value < 256; ++value) {
        std::ostringstream expected;
        expected.imbue(std::locale::classic());
        expected << std::fixed << std::setprecision(4) << value / 255.0;
        char digits[8];
        std::snprintf(digits, sizeof digits, "%02X0000", value);
        EXPECT_EQ(numbersOf({digits, "", ""}), expected.str() + ",0.0000,0.0000,1");
    }
}

TEST(LottieColors, TwoMakeAGradient) {
    EXPECT_EQ(numbersOf({"#FF0000", "#0000FF", ""}),
              "0,1.0000,0.0000,0.0000,1,0.0000,0.0000,1.0000");
    EXPECT_EQ(numbersOf({"FF8000", "00FF33", ""}), "0,1.0000,0.5020,0.0000,1,0.0000,1.0000,0.2000");
}

TEST(LottieColors, WhatStandsBehindSixDigitsIsNotLookedAt) {
    EXPECT_EQ(numbersOf({"#FF0000zz", "#00FF00 and more", ""}),
              "0,1.0000,0.0000,0.0000,1,0.0000,1.0000,0.0000");
}

TEST(LottieColors, OneHashIsLeftOut) {
    EXPECT_THROW(numbersOf({"##FF0000", "", ""}), std::invalid_argument); // "#F" is no number
    EXPECT_EQ(numbersOf({"#FF000", "", ""}), "(no change)");
}

TEST(LottieColors, FewerThanSixDigitsAreIgnored) {
    for (const std::string color : {"", "#", "#12", "12345", "#12345", "zz", "#zzzzz"}) {
        std::string json = layerFirst("L", "0");
        EXPECT_EQ(replaceColor(json, "L", {color, "", ""}), ColorChange::ignored) << color;
        EXPECT_EQ(replaceColor(json, "none", {color, "", ""}), ColorChange::ignored) << color;
        EXPECT_EQ(json, layerFirst("L", "0"));
    }
}

TEST(LottieColors, ASecondColorOfFewerThanSixDigitsIsIgnoredToo) {
    for (const std::string color2 : {"#", "#12", "12345", "zz"}) {
        std::string json = layerFirst("L", "0");
        EXPECT_EQ(replaceColor(json, "L", {"#FF0000", color2, ""}), ColorChange::ignored);
        EXPECT_EQ(json, layerFirst("L", "0"));
    }
}

TEST(LottieColors, DigitsThatAreNoneThrowAndChangeNothing) {
    std::string json = layerFirst("L", "0");
    EXPECT_THROW(replaceColor(json, "L", {"#GG0000", "", ""}), std::invalid_argument);
    EXPECT_THROW(replaceColor(json, "L", {"#0000  ", "", ""}), std::invalid_argument);
    EXPECT_THROW(replaceColor(json, "none", {"#FF00zz", "", ""}), std::invalid_argument);
    EXPECT_THROW(replaceColor(json, "L", {"#FF0000", "#00GG00", ""}), std::invalid_argument);
    EXPECT_EQ(json, layerFirst("L", "0"));
}

TEST(LottieColors, APairIsReadAsFarAsItIsANumber) {
    EXPECT_EQ(numbersOf({"F/ F-1", "", ""}), "0.0588,0.0588,-0.0039,1");
    EXPECT_EQ(numbersOf({"0x+f00", "", ""}), "0.0000,0.0588,0.0000,1");
}

class CommaDecimals : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
};

TEST(LottieColors, HaveAPointInEveryLocale) {
    const std::locale before = std::locale::global(std::locale(std::locale(), new CommaDecimals));
    const std::string numbers = numbersOf({"#FF8000", "", ""});
    std::locale::global(before);
    EXPECT_EQ(numbers, "1.0000,0.5020,0.0000,1");
}

// ----------------------------------------------------------------------------------- place

TEST(LottieColorPlace, IsTheFirstColorBehindTheName) {
    std::string json = layerFirst("A", "1,1,1,1") + layerFirst("B", "0,0,0,1");
    EXPECT_EQ(replaceColor(json, "A", {"#FF0000", "", ""}), ColorChange::aeStyle);
    EXPECT_EQ(json, layerFirst("A", "1.0000,0.0000,0.0000,1") + layerFirst("B", "0,0,0,1"));
    EXPECT_EQ(replaceColor(json, "B", {"#0000FF", "", ""}), ColorChange::aeStyle);
    EXPECT_EQ(json, layerFirst("A", "1.0000,0.0000,0.0000,1") +
                        layerFirst("B", "0.0000,0.0000,1.0000,1"));
}

TEST(LottieColorPlace, IsOfTheFirstLayerOfTheName) {
    std::string json = layerFirst("A", "1") + layerFirst("A", "2");
    EXPECT_EQ(replaceColor(json, "A", {"#FF0000", "", ""}), ColorChange::aeStyle);
    EXPECT_EQ(json, layerFirst("A", "1.0000,0.0000,0.0000,1") + layerFirst("A", "2"));
}

TEST(LottieColorPlace, IsInsideALayerWhoseColorComesBeforeTheNextIndex) {
    std::string json = "[" + layerFirst("A", "1") + R"(,{"ind":2,"nm":"B"}])";
    EXPECT_EQ(replaceColor(json, "A", {"#FF0000", "", ""}), ColorChange::aeStyle);
    EXPECT_EQ(json, "[" + layerFirst("A", "1.0000,0.0000,0.0000,1") + R"(,{"ind":2,"nm":"B"}])");
}

TEST(LottieColorPlace, IsTheLastBeforeTheNameWhereTheNextLayerComesFirst) {
    const std::string next = R"(,{"ind":2},)" + layerFirst("B", "3");
    std::string json = colorFirst("X", "1") + colorFirst("A", "2") + next;
    EXPECT_EQ(replaceColor(json, "A", {"#FF0000", "", ""}), ColorChange::cavalryStyle);
    EXPECT_EQ(json, colorFirst("X", "1") + colorFirst("A", "1.0000,0.0000,0.0000,1") + next);
}

TEST(LottieColorPlace, IsTheLastBeforeTheNameWhereNoneFollows) {
    std::string json = colorFirst("A", "2");
    EXPECT_EQ(replaceColor(json, "A", {"#00FF00", "#FF0000", ""}), ColorChange::cavalryStyle);
    EXPECT_EQ(json, colorFirst("A", "0,0.0000,1.0000,0.0000,1,1.0000,0.0000,0.0000"));
}

TEST(LottieColorPlace, IsThatOfANamedProperty) {
    const std::string layer = R"({"nm":"A","c":{"k":[1]},"ef":[{"nm":"Tint","v":{"k":[)";
    std::string json = layer + "2]}}]}";
    EXPECT_EQ(replaceColor(json, "A", {"#FF0000", "", "Tint"}), ColorChange::aeStyle);
    EXPECT_EQ(json, layer + "1.0000,0.0000,0.0000,1]}}]}");
}

TEST(LottieColorPlace, APropertyIsLookedForFromTheNameOnTillTheEnd) {
    // Also in a layer behind this one, and not before it.
    std::string json = R"({"sc":{"k":[1]},"nm":"A","c":{"k":[2]}},{"ind":2,"sc":{"k":[3]}})";
    EXPECT_EQ(replaceColor(json, "A", {"#FF0000", "", "sc"}), ColorChange::aeStyle);
    EXPECT_EQ(json, R"({"sc":{"k":[1]},"nm":"A","c":{"k":[2]}},)"
                    R"({"ind":2,"sc":{"k":[1.0000,0.0000,0.0000,1]}})");
}

TEST(LottieColorPlace, WithoutThePropertyItIsThatOfTheLayer) {
    std::string inside = layerFirst("A", "1");
    EXPECT_EQ(replaceColor(inside, "A", {"#FF0000", "", "Tint"}), ColorChange::aeStyle);
    EXPECT_EQ(inside, layerFirst("A", "1.0000,0.0000,0.0000,1"));
    std::string before = R"("Tint")" + colorFirst("A", "1");
    EXPECT_EQ(replaceColor(before, "A", {"#FF0000", "", "Tint"}), ColorChange::cavalryStyle);
    EXPECT_EQ(before, R"("Tint")" + colorFirst("A", "1.0000,0.0000,0.0000,1"));
}

TEST(LottieColorPlace, AnEmptyPropertyIsNone) {
    const std::string rest = R"(,{"nm":"","k":[5]})";
    std::string json = layerFirst("A", "1") + rest;
    EXPECT_EQ(replaceColor(json, "A", {"#FF0000", "", ""}), ColorChange::aeStyle);
    EXPECT_EQ(json, layerFirst("A", "1.0000,0.0000,0.0000,1") + rest);
}

TEST(LottieColorPlace, IsOfTheLayerWhoseNameIsWhole) {
    std::string json = layerFirst("Title 2", "1");
    EXPECT_EQ(replaceColor(json, "Title", {"#FF0000", "", ""}), ColorChange::noLayer);
    EXPECT_EQ(json, layerFirst("Title 2", "1"));
}

TEST(LottieColorPlace, AnUnknownLayerHasNone) {
    std::string json = layerFirst("A", "1");
    EXPECT_EQ(replaceColor(json, "B", {"#FF0000", "", ""}), ColorChange::noLayer);
    EXPECT_EQ(replaceColor(json, "", {"#FF0000", "", ""}), ColorChange::noLayer);
    EXPECT_EQ(replaceColor(json, "B", {"#FF0000", "#1", ""}), ColorChange::noLayer);
    EXPECT_EQ(json, layerFirst("A", "1"));
}

TEST(LottieColorPlace, ALayerWithoutAColorAnywhereHasNone) {
    for (const std::string before :
         {R"({"nm":"A","k":[1]})", R"({"nm":"A","ind":1},{"c":{"k":[1]}})",
          R"({"c": {"k":[1]},"nm":"A"})"}) {
        std::string json = before;
        EXPECT_EQ(replaceColor(json, "A", {"#FF0000", "", ""}), ColorChange::noColor) << before;
        EXPECT_EQ(json, before);
    }
}

TEST(LottieColorPlace, AColorWithoutAListOfNumbersIsLeftAlone) {
    for (const std::string before : {R"({"nm":"A","c":{"k":5}})", R"({"nm":"A","c":{"k":[1,0)",
                                     R"({"nm":"A","c":{)", R"({"k":[1],"nm":"A","Tint":1})"}) {
        std::string json = before;
        EXPECT_EQ(replaceColor(json, "A", {"#FF0000", "", "Tint"}), ColorChange::ignored) << before;
        EXPECT_EQ(json, before);
    }
}

TEST(LottieColorPlace, NumbersEndAtTheNextBracket) {
    std::string json = R"({"nm":"A","c":{"a":1,"k":[{"t":0,"s":[1,0,0,1]},{"t":9}]}})";
    EXPECT_EQ(replaceColor(json, "A", {"#FF0000", "", ""}), ColorChange::aeStyle);
    EXPECT_EQ(json, R"({"nm":"A","c":{"a":1,"k":[1.0000,0.0000,0.0000,1]},{"t":9}]}})");
}

TEST(LottieColorPlace, AnyNameIsSafe) {
    std::string json;
    EXPECT_EQ(replaceColor(json, "", {"#FF0000", "", ""}), ColorChange::noLayer);
    json = R"({"nm":"","c":{"k":[]}})";
    EXPECT_EQ(replaceColor(json, "\"", {"#FF0000", "", "\""}), ColorChange::noLayer);
    EXPECT_EQ(replaceColor(json, "", {"#FF0000", "", "\"\"\""}), ColorChange::aeStyle);
    EXPECT_EQ(json, R"({"nm":"","c":{"k":[1.0000,0.0000,0.0000,1]}})");
}

} // namespace

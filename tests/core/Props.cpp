#include "core/Props.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

TEST(BooleanProperty, IsTrueForExactlyTrueAndExactly1) {
    EXPECT_TRUE(quol::parseBool("true"));
    EXPECT_TRUE(quol::parseBool("1"));
}

TEST(BooleanProperty, SpelledWithACapitalLetterIsFalse) {
    for (const char* text : {"True", "TRUE", "tRUE", "truE"}) {
        EXPECT_FALSE(quol::parseBool(text)) << text;
    }
}

TEST(BooleanProperty, EveryOtherTextIsFalse) {
    for (const char* text : {"", " ", "0", "false", "yes", "on", "2", "01", "1.0", "+1", " 1", "1 ",
                             " true", "true ", "true\n", "trueish", "tru"}) {
        EXPECT_FALSE(quol::parseBool(text)) << text;
    }
    EXPECT_FALSE(quol::parseBool(std::string("1\0", 2)));
}

TEST(WholeNumberProperty, TakesALeadingNumberAndIgnoresWhatFollows) {
    EXPECT_EQ(quol::parseInt("42"), 42);
    EXPECT_EQ(quol::parseInt("-7"), -7);
    EXPECT_EQ(quol::parseInt("+7"), 7);
    EXPECT_EQ(quol::parseInt("  12"), 12);
    EXPECT_EQ(quol::parseInt("12abc"), 12);
    EXPECT_EQ(quol::parseInt("12.9"), 12);
    EXPECT_EQ(quol::parseInt("0x10"), 0);
    EXPECT_EQ(quol::parseInt("010"), 10);
    EXPECT_EQ(quol::parseInt("2147483647"), 2147483647);
    EXPECT_EQ(quol::parseInt("-2147483648"), -2147483647 - 1);
}

TEST(FloatingProperty, TakesALeadingNumberAndIgnoresWhatFollows) {
    EXPECT_EQ(quol::parseDouble("1.5"), 1.5);
    EXPECT_EQ(quol::parseDouble("-0.25x"), -0.25);
    EXPECT_EQ(quol::parseDouble("  3"), 3.0);
    EXPECT_EQ(quol::parseDouble("1e3 and more"), 1000.0);
    EXPECT_EQ(quol::parseDouble("1,5"), 1.0);
}

// The text of what `parse` throws.
template <typename Exception, typename Parse>
std::string thrownText(Parse parse) {
    try {
        parse();
    } catch (const Exception& exception) {
        return exception.what();
    }
    return "nothing thrown";
}

TEST(WholeNumberProperty, WithNoLeadingNumberRaisesInvalidArgumentStoi) {
    for (const char* text : {"", " ", "abc", "x1", "-", "true", ".5"}) {
        EXPECT_EQ(thrownText<std::invalid_argument>([&] { quol::parseInt(text); }), "stoi") << text;
    }
}

TEST(WholeNumberProperty, OutOfRangeRaisesOutOfRangeStoi) {
    for (const char* text : {"2147483648", "-2147483649", "99999999999999999999999"}) {
        EXPECT_EQ(thrownText<std::out_of_range>([&] { quol::parseInt(text); }), "stoi") << text;
    }
}

TEST(FloatingProperty, WithNoLeadingNumberRaisesInvalidArgumentStod) {
    for (const char* text : {"", " ", "abc", "-", "x1.0"}) {
        EXPECT_EQ(thrownText<std::invalid_argument>([&] { quol::parseDouble(text); }), "stod")
            << text;
    }
}

TEST(FloatingProperty, OutOfRangeRaisesOutOfRangeStod) {
    for (const char* text : {"1e999", "-1e999"}) {
        EXPECT_EQ(thrownText<std::out_of_range>([&] { quol::parseDouble(text); }), "stod") << text;
    }
}

TEST(OptionList, SplitsAtBlanksAndAtTheFirstEqualsSign) {
    EXPECT_THAT(quol::parseOptionList("preset=fast crf=20"),
                ElementsAre(Pair("crf", "20"), Pair("preset", "fast")));
    EXPECT_THAT(quol::parseOptionList("x264-params=a=1:b=2"),
                ElementsAre(Pair("x264-params", "a=1:b=2")));
}

TEST(OptionList, WordWithNoEqualsSignGetsTheValue1) {
    EXPECT_THAT(quol::parseOptionList("fastdecode g=5"),
                ElementsAre(Pair("fastdecode", "1"), Pair("g", "5")));
}

TEST(OptionList, LaterKeyReplacesAnEqualOne) {
    EXPECT_THAT(quol::parseOptionList("g=5 g=7"), ElementsAre(Pair("g", "7")));
}

TEST(OptionList, ManyBlanksSeparateLikeOne) {
    EXPECT_THAT(quol::parseOptionList("  a=1   b=  "), ElementsAre(Pair("a", "1"), Pair("b", "")));
    EXPECT_THAT(quol::parseOptionList(""), IsEmpty());
    EXPECT_THAT(quol::parseOptionList("   "), IsEmpty());
}

} // namespace

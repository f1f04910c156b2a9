#include "core/Utf8.h"

#include <gtest/gtest.h>

namespace {

using quol::toUtf8;

TEST(Utf8, ATextThatIsUtf8StaysAsItIs) {
    for (const char* text : {"", "plain", "\xC3\x87", "\xE2\x82\xAC", "\xF0\x9F\x8E\xAC"})
        EXPECT_EQ(toUtf8(text), text);
}

TEST(Utf8, AnyOtherBecomesOneLetterAByte) {
    EXPECT_EQ(toUtf8("\xC7"), "\xC3\x87");
    EXPECT_EQ(toUtf8("a\xFF"
                     "b"),
              "a\xC3\xBF"
              "b");
    EXPECT_EQ(toUtf8("\x80\xBF"), "\xC2\x80\xC2\xBF");
    EXPECT_EQ(toUtf8("\xC3\x87\xC3"), "\xC3\x83\xC2\x87\xC3\x83"); // the last one is cut short
}

TEST(Utf8, TheResultIsAlwaysUtf8) {
    for (int first = 1; first < 256; ++first) {
        const std::string text{static_cast<char>(first), 'x', static_cast<char>(255 - first + 1)};
        EXPECT_TRUE(quol::isValidUtf8(toUtf8(text))) << first;
    }
}

} // namespace

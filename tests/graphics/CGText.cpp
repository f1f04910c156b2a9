#include "graphics/CGText.h"

#include <gtest/gtest.h>

#include <random>

#include "core/CairoHandles.h"

namespace {

using quol::EmptyLines;
using quol::isValidUtf8;
using quol::splitLines;
using quol::splitUtf8;
using Pieces = std::vector<std::string>;
using namespace std::string_literals;

// ------------------------------------------------------------------------------------- pieces

TEST(TextPieces, AreOneForEachLetter) {
    EXPECT_EQ(splitUtf8("aé€😀z"), (Pieces{"a", "é", "€", "😀", "z"}));
    EXPECT_EQ(splitUtf8(""), Pieces{});
    EXPECT_EQ(splitUtf8("a\0b"s), (Pieces{"a", "\0"s, "b"}));
}

TEST(TextPieces, GoByTheFirstByteAlone) {
    EXPECT_EQ(splitUtf8("\xC3xy"), (Pieces{"\xC3x", "y"}));
    EXPECT_EQ(splitUtf8("\xE2xyz"), (Pieces{"\xE2xy", "z"}));
    EXPECT_EQ(splitUtf8("\xF0wxyz"), (Pieces{"\xF0wxy", "z"}));
    EXPECT_EQ(splitUtf8("\xFFwxyz"), (Pieces{"\xFFwxy", "z"}));
}

TEST(TextPieces, StrayContinuationBytesStandAlone) {
    EXPECT_EQ(splitUtf8("\x80\xBFx"), (Pieces{"\x80", "\xBF", "x"}));
}

TEST(TextPieces, EveryFirstByteHasItsLength) {
    for (int lead = 0; lead < 256; ++lead) {
        const std::size_t wanted = lead >= 240 ? 4 : lead >= 224 ? 3 : lead >= 192 ? 2 : 1;
        const std::string text = std::string(1, static_cast<char>(lead)) + "abcd";
        ASSERT_EQ(splitUtf8(text).front().size(), wanted) << lead;
    }
}

TEST(TextPieces, ThatTheEndCutsAreTheRest) {
    EXPECT_EQ(splitUtf8("x\xC3"), (Pieces{"x", "\xC3"}));
    EXPECT_EQ(splitUtf8("\xE2\x82"), (Pieces{"\xE2\x82"}));
    EXPECT_EQ(splitUtf8("\xF0\x9F\x98"), (Pieces{"\xF0\x9F\x98"}));
}

TEST(TextPieces, MakeTheTextTogetherWhateverItIs) {
    std::mt19937 random(1);
    for (int i = 0; i < 5000; ++i) {
        std::string text(random() % 40, '\0');
        for (char& c : text)
            c = static_cast<char>(random());
        std::string joined;
        for (const std::string& piece : splitUtf8(text)) {
            ASSERT_FALSE(piece.empty());
            joined += piece;
        }
        ASSERT_EQ(joined, text);
    }
}

// -------------------------------------------------------------------------------------- lines

TEST(TextLines, AreCutAtLineFeeds) {
    EXPECT_EQ(splitLines("a\nbc\nd", EmptyLines::keep), (Pieces{"a", "bc", "d"}));
    EXPECT_EQ(splitLines("a\nbc\nd", EmptyLines::drop), (Pieces{"a", "bc", "d"}));
    EXPECT_EQ(splitLines("a\r\nb", EmptyLines::keep), (Pieces{"a\r", "b"}));
}

TEST(TextLines, LineFeedAtTheEndBeginsNone) {
    EXPECT_EQ(splitLines("a\n", EmptyLines::keep), (Pieces{"a"}));
    EXPECT_EQ(splitLines("a\n\n", EmptyLines::keep), (Pieces{"a", ""}));
    EXPECT_EQ(splitLines("\n", EmptyLines::keep), (Pieces{""}));
}

TEST(TextLines, EmptyOnesAreKeptOrDropped) {
    EXPECT_EQ(splitLines("\na\n\n\nb", EmptyLines::keep), (Pieces{"", "a", "", "", "b"}));
    EXPECT_EQ(splitLines("\na\n\n\nb\n", EmptyLines::drop), (Pieces{"a", "b"}));
    EXPECT_EQ(splitLines("\n\n\n", EmptyLines::drop), Pieces{});
    EXPECT_EQ(splitLines(" \n\t", EmptyLines::drop), (Pieces{" ", "\t"}));
}

TEST(TextLines, EmptyTextHasNone) {
    EXPECT_EQ(splitLines("", EmptyLines::keep), Pieces{});
    EXPECT_EQ(splitLines("", EmptyLines::drop), Pieces{});
}

// -------------------------------------------------------------------------------------- UTF-8

std::string encoded(unsigned value, std::size_t length) {
    if (length == 1) return std::string(1, static_cast<char>(value));
    std::string text;
    for (std::size_t i = 1; i < length; ++i, value >>= 6)
        text.insert(0, 1, static_cast<char>(0x80 | (value & 0x3F)));
    const unsigned marker = 0xFFU << (8 - length) & 0xFFU;
    text.insert(0, 1, static_cast<char>(marker | value));
    return text;
}

std::size_t shortestLength(unsigned value) {
    return value < 0x80 ? 1 : value < 0x800 ? 2 : value < 0x10000 ? 3 : 4;
}

TEST(ValidUtf8, EveryCodePointInItsShortestFormIs) {
    EXPECT_TRUE(isValidUtf8(""));
    for (unsigned value = 1; value <= 0x10FFFF; ++value) {
        const bool isSurrogate = value >= 0xD800 && value < 0xE000;
        const std::string text = encoded(value, shortestLength(value));
        ASSERT_EQ(isValidUtf8(text), !isSurrogate) << std::hex << value;
    }
}

TEST(ValidUtf8, LongerFormsThanNeededAreNot) {
    for (unsigned value = 0; value < 0x10000; ++value) {
        for (std::size_t length = shortestLength(value) + 1; length <= 4; ++length)
            ASSERT_FALSE(isValidUtf8(encoded(value, length))) << std::hex << value;
    }
}

TEST(ValidUtf8, NothingBeyondTheLastCodePointIs) {
    for (unsigned value = 0x110000; value < 0x200000; value += 61)
        ASSERT_FALSE(isValidUtf8(encoded(value, 4))) << std::hex << value;
}

TEST(ValidUtf8, FirstBytesThatThereAreNoneOfAreNot) {
    for (int lead = 0x80; lead < 0x100; ++lead) {
        if (lead >= 0xC2 && lead <= 0xF4) continue;
        for (const char* rest : {"", "\x80", "\x90\x80", "\x80\x80\x80", "\x8F\xBF\xBF",
                                 "\x90\x80\x80", "\xBF\xBF\xBF", "\x80\x80\x80\x80"}) {
            const std::string text = std::string(1, static_cast<char>(lead)) + rest;
            ASSERT_FALSE(isValidUtf8(text))
                << std::hex << lead << " " << testing::PrintToString(rest);
        }
    }
}

TEST(ValidUtf8, SequencesThatAreCutOrMixedAreNot) {
    for (const char* text : {"\xC3", "\xE2\x82", "\xF0\x9F\x98", "a\xC3", "\xC3z", "\xE2\x82z",
                             "\xE2z\x82", "\xF0\x9F\x98z", "\x80", "ok\xBF", "\xC3\xC3\xA9"})
        EXPECT_FALSE(isValidUtf8(text)) << testing::PrintToString(text);
}

TEST(ValidUtf8, ZeroByteIsNot) {
    EXPECT_FALSE(isValidUtf8("\0"s)); // a text of C ends there
    EXPECT_FALSE(isValidUtf8("ab\0cd"s));
}

// What the check is for: cairo gives up a context for a text that it cannot read.
bool cairoTakes(const std::string& text) {
    const quol::SurfacePtr surface = quol::makeSurface(1, 1);
    const quol::CairoPtr cr(cairo_create(surface.get()));
    cairo_text_extents_t extents;
    cairo_text_extents(cr.get(), text.c_str(), &extents);
    return cairo_status(cr.get()) == CAIRO_STATUS_SUCCESS;
}

TEST(ValidUtf8, CairoTakesWhateverPasses) {
    constexpr unsigned char bytes[] = {'a',  0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xC1,
                                       0xC2, 0xDF, 0xE0, 0xE2, 0xED, 0xEF, 0xF0, 0xF1, 0xF4, 0xF5,
                                       0xF7, 0xF8, 0xF9, 0xFB, 0xFC, 0xFD, 0xFE, 0xFF};
    std::mt19937 random(2);
    int valid = 0;
    for (int i = 0; i < 40000; ++i) {
        std::string text(1 + random() % 5, '\0');
        for (char& c : text)
            c = static_cast<char>(bytes[random() % sizeof bytes]);
        if (!isValidUtf8(text)) continue;
        ++valid;
        ASSERT_TRUE(cairoTakes(text)) << testing::PrintToString(text);
    }
    EXPECT_GT(valid, 500);
}

// ------------------------------------------------------------------------------------ drawing

class TextOnAPage : public testing::Test {
protected:
    TextOnAPage() { quol::selectFont(cr_.get(), "DejaVu Sans", 40.0); }

    double width(const std::string& text, double spacing = 0.0) const {
        return quol::measureLine(cr_.get(), text, spacing);
    }
    // Right edge of the path of a line.
    double pathEnd(const std::string& text, double spacing) const {
        cairo_new_path(cr_.get());
        quol::addLine(cr_.get(), text, spacing, 0.0, 50.0);
        double left = 0.0;
        double top = 0.0;
        double right = 0.0;
        double bottom = 0.0;
        cairo_path_extents(cr_.get(), &left, &top, &right, &bottom);
        return right;
    }

    const quol::SurfacePtr surface_ = quol::makeSurface(400, 100);
    const quol::CairoPtr cr_{cairo_create(surface_.get())};
};

TEST_F(TextOnAPage, SpacingCountsBehindEveryLetter) {
    EXPECT_GT(width("abc"), 0.0);
    EXPECT_DOUBLE_EQ(width("abc", 7.0), width("abc") + 21.0);
    EXPECT_DOUBLE_EQ(width("é€", -2.0), width("é€") - 4.0);
    EXPECT_EQ(width(""), 0.0);
}

TEST_F(TextOnAPage, LineIsAsWideAsItsLetters) {
    EXPECT_DOUBLE_EQ(width("AVAé"), width("A") + width("V") + width("A") + width("é"));
}

TEST_F(TextOnAPage, PiecesThatAreNoUtf8HaveNoWidthAndLeaveTheContextWhole) {
    for (const char* broken :
         {"\x80", "\xC3", "\xE2\x82", "\xF8\x90\x80\x80", "\xFC\x8F\xBF\xBF"}) {
        EXPECT_EQ(width(broken), 0.0);
        EXPECT_EQ(quol::advanceOf(cr_.get(), std::string("ab") + broken), 0.0);
        EXPECT_EQ(pathEnd(broken, 0.0), 0.0);
        EXPECT_EQ(cairo_status(cr_.get()), CAIRO_STATUS_SUCCESS) << testing::PrintToString(broken);
    }
    EXPECT_DOUBLE_EQ(width("a\x80"
                           "b",
                           3.0),
                     width("ab") + 9.0);
}

TEST_F(TextOnAPage, LettersStandWhereTheMeasureSays) {
    const double plain = pathEnd("AB", 0.0);
    EXPECT_NEAR(pathEnd("AB", 10.0), plain + 10.0, 0.1);
    EXPECT_NEAR(pathEnd("A\x80"
                        "B",
                        10.0),
                plain + 20.0, 0.1);
    EXPECT_NEAR(pathEnd("AAB", 0.0), plain + width("A"), 0.1);
}

TEST_F(TextOnAPage, FontFamilyThatIsNoUtf8IsTheDefaultOne) {
    quol::selectFont(cr_.get(), "\xFF\xFE", 40.0);
    EXPECT_GT(width("a"), 0.0);
    EXPECT_EQ(cairo_status(cr_.get()), CAIRO_STATUS_SUCCESS);
}

} // namespace

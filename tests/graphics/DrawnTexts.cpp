// Texts as items draw them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "support/Page.h"

namespace {

using test::difference;
using test::fillLetters;
using test::fontExtents;
using test::isBlank;
using test::Letters;
using test::Page;
using test::placed;
using test::setFont;
using test::show;
using test::widthOf;

constexpr int height = test::pageHeight;

// ------------------------------------------------------------------------------------ texts

struct TextCase {
    const char* hAlign;
    const char* vAlign;
    int padding;
    float spacing;
};

LCGTextItem& dressed(LCGTextItem& item, const TextCase& sample) {
    placed(item, 60.0F, 20.0F, 350, 220);
    item.props.text = "Çığ ß\n\nüç öğe";
    item.props.font = "DejaVu Sans";
    item.props.fontSize = 31;
    item.props.color = "#80FFCC10";
    item.props.textAlpha = 204;
    item.props.letterSpacing = sample.spacing;
    item.props.padding = sample.padding;
    item.props.hAlign = sample.hAlign;
    item.props.vAlign = sample.vAlign;
    item.alpha = 0.5F;
    return item;
}

// The text of `dressed` by the formulas for lines and baselines.
void drawPlainly(cairo_t* cr, const TextCase& sample) {
    const std::vector<Letters> lines = {
        {"Ç", "ı", "ğ", " ", "ß"}, {}, {"ü", "ç", " ", "ö", "ğ", "e"}};
    setFont(cr, "DejaVu Sans", 31.0);
    const cairo_font_extents_t font = fontExtents(cr);
    const double availableWidth = 350.0 - 2.0 * sample.padding;
    const double availableHeight = 220.0 - 2.0 * sample.padding;
    const double step = font.height + 5.0;
    const double block = 3.0 * step - 5.0;
    double baseline = 20.0 + sample.padding + font.ascent;
    if (std::strcmp(sample.vAlign, "Center") == 0)
        baseline = (availableHeight - block) * 0.5 + 20.0 + sample.padding + font.ascent;
    if (std::strcmp(sample.vAlign, "Bottom") == 0)
        baseline = 20.0 + sample.padding + availableHeight - block + font.ascent;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const double lineWidth = widthOf(cr, lines[i], sample.spacing);
        double x = 60.0 + sample.padding;
        if (std::strcmp(sample.hAlign, "Center") == 0) x += (availableWidth - lineWidth) * 0.5;
        if (std::strcmp(sample.hAlign, "Right") == 0)
            x = 60.0 + sample.padding + availableWidth - lineWidth;
        cairo_set_source_rgba(cr, 1.0, 204.0 / 255.0, 16.0 / 255.0,
                              128.0 / 255.0 * (204.0 / 255.0 * 0.5));
        fillLetters(cr, lines[i], sample.spacing, x, baseline + static_cast<double>(i) * step);
    }
}

TEST(Texts, StandByAlignmentPaddingAndSpacing) {
    for (const char* hAlign : {"Left", "Center", "Right", "else"}) {
        for (const char* vAlign : {"Top", "Center", "Bottom", "else"}) {
            for (const auto& [padding, spacing] :
                 {std::pair(0, 0.0F), std::pair(17, 3.5F), std::pair(300, -4.0F)}) {
                const TextCase sample{hAlign, vAlign, padding, spacing};
                if (padding == 300 && std::strcmp(hAlign, "Left") != 0) continue;
                if (padding == 300 && std::strcmp(vAlign, "Top") != 0) continue;
                LCGTextItem item;
                Page drawn;
                show(drawn, dressed(item, sample));
                const Page wanted;
                drawPlainly(wanted.cr.get(), sample);
                EXPECT_EQ(difference(drawn, wanted), "")
                    << hAlign << " " << vAlign << " padding " << padding;
                EXPECT_EQ(isBlank(drawn), padding == 300);
            }
        }
    }
}

TEST(Texts, GoWithTheirGroup) {
    LCGTextItem alone;
    Page wanted;
    dressed(alone, {"Left", "Top", 0, 0.0F});
    alone.x = 85.25F;
    alone.y = 12.5F;
    show(wanted, alone);
    LCGGroup group;
    group.x = 25.25F;
    group.y = -7.5F;
    LCGTextItem member;
    member.group = &group;
    Page drawn;
    show(drawn, dressed(member, {"Left", "Top", 0, 0.0F}));
    EXPECT_EQ(difference(drawn, wanted), "");
    group.show = false;
    Page hidden;
    show(hidden, member);
    EXPECT_TRUE(isBlank(hidden));
}

TEST(Texts, WithoutAPanelHaveNoBorderEither) {
    LCGTextItem plain;
    Page wanted;
    show(wanted, dressed(plain, {"Left", "Top", 0, 0.0F}));
    LCGTextItem item;
    dressed(item, {"Left", "Top", 0, 0.0F});
    item.props.bgType = "None";
    item.props.borderSize = 4;
    item.props.bgShadowAlpha = 255;
    item.props.outlineSize = 9; // these are data only
    item.props.textShadowAlpha = 255;
    item.props.textShadowOffsetX = 9.0F;
    Page drawn;
    show(drawn, item);
    EXPECT_EQ(difference(drawn, wanted), "");
}

TEST(Texts, MayLeaveTheirBox) {
    LCGTextItem item;
    dressed(item, {"Left", "Top", 0, 0.0F}).w = 5;
    LCGTextItem wide;
    Page drawn;
    show(drawn, item);
    Page wanted;
    show(wanted, dressed(wide, {"Left", "Top", 0, 0.0F}));
    EXPECT_EQ(difference(drawn, wanted), "");
}

// Counted down a pixel at a time.
double plainlyShrunk(cairo_t* cr, const LCGTextProps& props, const std::vector<Letters>& lines,
                     double available) {
    if (!props.autoShrink || props.fontSize <= 5) return props.fontSize;
    for (int size = props.fontSize; size > 5; --size) {
        setFont(cr, props.font.c_str(), size);
        double widest = 0.0;
        for (const Letters& line : lines)
            widest = std::max(widest, widthOf(cr, line, props.letterSpacing));
        if (widest <= available) return size;
    }
    return 5.0;
}

TEST(Texts, ShrinkToTheSizeThatAPlainCountDownFinds) {
    const std::pair<std::string, std::vector<Letters>> texts[] = {
        {"Wide ğö\n\nilWW", {{"W", "i", "d", "e", " ", "ğ", "ö"}, {}, {"i", "l", "W", "W"}}},
        {std::string(60, 'i'), {Letters(60, "i")}}};
    const Page page;
    for (const auto& [line, letters] : texts) {
        for (const char* font : {"DejaVu Sans", "DejaVu Serif"}) {
            for (const float spacing : {0.0F, 2.5F, -3.0F, 30.0F}) {
                for (const int size : {4, 5, 6, 23, 40, 111}) {
                    LCGTextProps props;
                    props.text = line;
                    props.font = font;
                    props.fontSize = size;
                    props.letterSpacing = spacing;
                    props.autoShrink = true;
                    props.padding = 3;
                    for (int boxWidth = 1; boxWidth < 1500; boxWidth += boxWidth / 6 + 1) {
                        const quol::TextInk ink = quol::textInk(
                            page.cr.get(), {0.0, 0.0, static_cast<double>(boxWidth), 9.0}, props,
                            props.text, 1.0);
                        ASSERT_EQ(ink.size, plainlyShrunk(page.cr.get(), props, letters,
                                                          std::max(1.0, boxWidth - 6.0)))
                            << font << " " << size << " spacing " << spacing << " in " << boxWidth;
                    }
                }
            }
        }
    }
}

TEST(Texts, OfSizeFiveOrLessDoNotShrinkAndLargerOnesStopThere) {
    const Page page;
    const auto sizeIn = [&page](int fontSize, double boxWidth) {
        LCGTextProps props;
        props.text = std::string(200, 'W');
        props.fontSize = fontSize;
        props.autoShrink = true;
        return quol::textInk(page.cr.get(), {0.0, 0.0, boxWidth, 10.0}, props, props.text, 1.0)
            .size;
    };
    for (const int small : {1, 4, 5})
        EXPECT_EQ(sizeIn(small, 10.0), small);
    for (const int large : {6, 7, 60, 300})
        EXPECT_EQ(sizeIn(large, 10.0), 5.0) << large;
    EXPECT_EQ(sizeIn(6, 100000.0), 6.0);
}

TEST(Texts, KeepTheirSizeWhereTheyAreNotToShrink) {
    const Page page;
    LCGTextProps props;
    props.text = std::string(200, 'W');
    props.fontSize = 60;
    EXPECT_EQ(quol::textInk(page.cr.get(), {0.0, 0.0, 10.0, 10.0}, props, props.text, 1.0).size,
              60.0);
    props.autoShrink = true;
    EXPECT_EQ(quol::textInk(page.cr.get(), {0.0, 0.0, 10.0, 10.0}, props, props.text, 1.0).size,
              5.0);
    EXPECT_EQ(quol::textInk(page.cr.get(), {0.0, 0.0, 10.0, 10.0}, props, "", 1.0).size, 60.0);
}

// A font that cairo cannot make would take its whole family along.
TEST(Texts, OfAnySizeLeaveTheirFontUsable) {
    for (const int size : {1000000, -1000000, 65536}) {
        LCGTextItem huge;
        placed(huge, 0.0F, 0.0F, 100, 100);
        huge.props.text = std::string("x");
        huge.props.fontSize = size;
        show(Page(), huge);
        LCGTextItem item;
        placed(item, 0.0F, 0.0F, 100, 100);
        item.props.text = std::string("x");
        Page page;
        show(page, item);
        EXPECT_FALSE(isBlank(page)) << size;
    }
}

TEST(Texts, DrawWhatIsValidOfABrokenText) {
    LCGTextItem whole;
    placed(whole, 10.0F, 10.0F, 300, 80);
    whole.props.text = "ab";
    Page wanted;
    show(wanted, whole);
    LCGTextItem broken;
    placed(broken, 10.0F, 10.0F, 300, 80);
    broken.props.text =
        "a\x80"
        "b\xE2\x82";
    Page drawn;
    show(drawn, broken);
    EXPECT_EQ(difference(drawn, wanted), "");
}

} // namespace

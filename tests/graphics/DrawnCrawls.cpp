// Tickers and crawls as items draw them.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string>
#include <vector>

#include "graphics/CGImages.h"
#include "graphics/ItemPicture.h"
#include "support/CapturedStream.h"
#include "support/Page.h"

namespace {

using namespace std::chrono_literals;
using test::advance;
using test::difference;
using test::fillLetters;
using test::fontExtents;
using test::isBlank;
using test::largestDifference;
using test::Letters;
using test::Page;
using test::placed;
using test::setFont;
using test::show;
using test::widthOf;

constexpr auto start = test::pageTime;

// ---------------------------------------------------------------------------------- tickers

// Two lines that rest for a second, in a box of 300x64 at (50, 40).
struct Ticker {
    Ticker() {
        placed(item, 50.0F, 40.0F, 300, 64);
        item.props.text = "one\n\ntwo";
        item.props.font = "DejaVu Sans";
        item.props.fontSize = 28;
        item.props.padding = 6;
        item.props.letterSpacing = 2.0F;
        item.props.textMoveDuration = 1.0F;
        item.state->lastSwitch = start;
    }
    Page after(std::chrono::milliseconds time) {
        Page page;
        show(page, item, start + time);
        return page;
    }
    LCGTickerItem item;
};

// A line of the ticker by the formula, cut to the padded box.
void drawTickerLine(const Page& page, const Letters& letters, double offset,
                    const std::string& hAlign = "Left") {
    cairo_t* const cr = page.cr.get();
    cairo_save(cr);
    cairo_rectangle(cr, 56.0, 46.0, 288.0, 52.0);
    cairo_clip(cr);
    setFont(cr, "DejaVu Sans", 28.0);
    const cairo_font_extents_t font = fontExtents(cr);
    std::string line;
    for (const std::string& letter : letters)
        line += letter;
    double x = 56.0;
    if (hAlign == "Center") x = (300.0 - advance(cr, line)) * 0.5 + 50.0;
    if (hAlign == "Right") x = 300.0 + 50.0 - advance(cr, line) - 6.0;
    cairo_set_source_rgba(cr, 1.0, 1.0, 1.0, 1.0);
    fillLetters(cr, letters, 2.0, x, (font.ascent + 64.0 - font.descent) * 0.5 + 40.0 + offset);
    cairo_restore(cr);
}

const Letters one = {"o", "n", "e"};
const Letters two = {"t", "w", "o"};

TEST(Tickers, AlignTheirLine) {
    for (const char* align : {"Left", "Center", "Right"}) {
        Ticker ticker;
        ticker.item.props.hAlign = align;
        ticker.item.props.vAlign = "Bottom"; // not used
        const Page wanted;
        drawTickerLine(wanted, one, 0.0, align);
        EXPECT_EQ(difference(ticker.after(0ms), wanted), "") << align;
    }
}

TEST(Tickers, SlideUp) {
    Ticker ticker;
    const Page resting;
    drawTickerLine(resting, one, 0.0);
    EXPECT_EQ(difference(ticker.after(1000ms), resting), "");
    for (const auto& [time, slid] : {std::pair(1125ms, 16.0), std::pair(1375ms, 48.0)}) {
        const Page wanted;
        drawTickerLine(wanted, one, -slid);
        drawTickerLine(wanted, two, 64.0 - slid);
        EXPECT_EQ(difference(ticker.after(time), wanted), "") << time.count();
    }
}

TEST(Tickers, SlideDown) {
    Ticker ticker;
    ticker.item.props.textMove = "Down";
    for (const auto& [time, slid] : {std::pair(1125ms, 16.0), std::pair(1375ms, 48.0)}) {
        const Page wanted;
        drawTickerLine(wanted, one, slid);
        drawTickerLine(wanted, two, slid - 64.0);
        EXPECT_EQ(difference(ticker.after(time), wanted), "") << time.count();
    }
}

TEST(Tickers, AreBlankDuringAnyOtherSlide) {
    Ticker ticker;
    ticker.item.props.textMove = "Left";
    EXPECT_FALSE(isBlank(ticker.after(900ms)));
    EXPECT_TRUE(isBlank(ticker.after(1250ms)));
    EXPECT_FALSE(isBlank(ticker.after(1500ms)));
}

TEST(Tickers, RestAgainFromTheEndOfTheirSlideOn) {
    Ticker ticker;
    ticker.after(1250ms);
    const Page second;
    drawTickerLine(second, two, 0.0);
    EXPECT_EQ(difference(ticker.after(1750ms), second), ""); // a late tick ends the slide
    EXPECT_EQ(difference(ticker.after(2750ms), second), "");
    EXPECT_NE(difference(ticker.after(2800ms), second), "");
    const Page first;
    drawTickerLine(first, one, 0.0);
    EXPECT_EQ(difference(ticker.after(3250ms), first), "");
}

TEST(Tickers, WithOneLineNeverSlide) {
    Ticker ticker;
    ticker.item.props.text = "\none\n\n";
    const Page wanted;
    drawTickerLine(wanted, one, 0.0);
    for (const auto time : {0ms, 1250ms, 1500ms, 60000ms})
        EXPECT_EQ(difference(ticker.after(time), wanted), "") << time.count();
}

const char* const wideLine = "a line of text that is wider than its box";

// All that would change how it looks if it counted.
template <typename Props>
void setWhatDoesNotCount(Props& props) {
    props.autoShrink = true;
    props.outlineSize = 9;
    props.outlineColor = "#FF0000";
    props.textShadowAlpha = 255;
    props.textShadowOffsetX = 9.0F;
    props.textShadowOffsetY = 9.0F;
    props.textShadowColor = "#00FF00";
}

TEST(Tickers, AreNeitherShrunkNorOutlinedNorShadowed) {
    Ticker plain;
    plain.item.props.text = wideLine;
    const Page wanted = plain.after(0ms);
    EXPECT_FALSE(isBlank(wanted));
    Ticker ticker;
    ticker.item.props.text = wideLine;
    setWhatDoesNotCount(ticker.item.props);
    EXPECT_EQ(difference(ticker.after(0ms), wanted), "");
}

// ----------------------------------------------------------------------------------- crawls

// Text and font of a crawl, and what the plain drawing of it needs.
struct Crawl {
    explicit Crawl(bool vertical) {
        placed(item, 40.0F, 30.0F, 300, 120);
        item.props.text = "ab\n\ncde\nf";
        item.props.font = "DejaVu Sans";
        item.props.fontSize = 30;
        item.props.color = "#C0FFCC10";
        item.props.textAlpha = 204;
        item.props.letterSpacing = 1.5F;
        item.props.separatorPadding = 8;
        item.props.textSeparator = "+-";
        item.props.textMove = vertical ? "Vertical" : "Horizontal";
        item.props.textSpeed = 0.0F;
        item.alpha = 0.5F;
    }
    LCGCrawlItem item;
    std::vector<Letters> entries = {{"a", "b"}, {"c", "d", "e"}, {"f"}};
    Letters separator = {"+", "-"};
};

// The whole strip of a crawl on one surface, as the formulas have it. Empty columns (rows) are left
// out in front: the surface begins at `from` and has `length` of them.
struct Strip {
    quol::SurfacePtr surface;
    double total = 0.0;
};

Strip bakePlainly(const Crawl& crawl, double from = 0.0, int length = 0) {
    const LCGCrawlProps& props = crawl.item.props;
    const bool vertical = props.textMove == "Vertical";
    const auto bake = [&](cairo_t* cr) {
        setFont(cr, props.font.c_str(), props.fontSize);
        const LCGColor color = props.color;
        cairo_set_source_rgba(cr, color.red(), color.green(), color.blue(), color.alpha());
        const cairo_font_extents_t font = fontExtents(cr);
        const double spacing = props.letterSpacing;
        const quol::SurfacePtr image = quol::loadImageSurface(props.separatorImage);
        const double scale = image ? static_cast<double>(props.fontSize) /
                                         cairo_image_surface_get_height(image.get())
                                   : 1.0;
        double gap = props.separatorPadding + props.fontSize;
        if (!vertical) {
            gap = props.separatorPadding * 2.0 +
                  (image ? cairo_image_surface_get_width(image.get()) * scale
                         : advance(cr, props.textSeparator));
        }
        const double middle = (crawl.item.h + font.ascent - font.descent) * 0.5;
        double cursor = -from;
        for (std::size_t i = 0; i < crawl.entries.size(); ++i) {
            const Letters& entry = crawl.entries[i];
            fillLetters(cr, entry, spacing, vertical ? 0.0 : cursor,
                        vertical ? cursor + font.ascent : middle);
            cursor += vertical ? props.fontSize + 10.0 : widthOf(cr, entry, spacing);
            if (i + 1 == crawl.entries.size() && !crawl.item.moveLoop) break;
            if (image) {
                cairo_save(cr);
                cairo_translate(cr, vertical ? 0.0 : props.separatorPadding + cursor,
                                vertical ? cursor : (crawl.item.h - props.fontSize) * 0.5);
                cairo_scale(cr, scale, scale);
                cairo_set_source_surface(cr, image.get(), 0.0, 0.0);
                cairo_paint(cr);
                cairo_restore(cr);
            } else {
                fillLetters(cr, crawl.separator, spacing,
                            vertical ? 0.0 : props.separatorPadding + cursor,
                            vertical ? cursor + font.ascent : middle);
            }
            cursor += gap;
        }
        return cursor + from;
    };
    const Page measure;
    Strip strip;
    strip.total = bake(measure.cr.get());
    if (length == 0) length = static_cast<int>(std::max(strip.total, 1.0));
    strip.surface = vertical ? quol::makeSurface(crawl.item.w, length)
                             : quol::makeSurface(length, crawl.item.h);
    const quol::CairoPtr cr(cairo_create(strip.surface.get()));
    bake(cr.get());
    return strip;
}

// The strip behind the padded box, `shift` pixels along its way.
void paintPlainly(const Page& page, const Crawl& crawl, cairo_surface_t* strip, double shift) {
    cairo_t* const cr = page.cr.get();
    const LCGCrawlItem& item = crawl.item;
    const bool vertical = item.props.textMove == "Vertical";
    const double padding = item.props.padding;
    cairo_save(cr);
    cairo_rectangle(cr, item.x + padding, item.y + padding, item.w - 2.0 * padding,
                    item.h - 2.0 * padding);
    cairo_clip(cr);
    cairo_translate(cr, vertical ? static_cast<double>(item.scrollX) : shift,
                    vertical ? shift : static_cast<double>(item.y));
    cairo_set_source_surface(cr, strip, 0.0, 0.0);
    cairo_paint_with_alpha(cr, 204.0 / 255.0 * item.alpha);
    cairo_restore(cr);
}

void expectLikePlain(Crawl& crawl) {
    const Strip strip = bakePlainly(crawl);
    const bool vertical = crawl.item.props.textMove == "Vertical";
    crawl.item.scrollX = 47.0F;
    bool any = false;
    for (const float at : {50.0F, 41.25F, -3.0F, -60.5F, 199.75F, 339.0F, 40.9921875F}) {
        (vertical ? crawl.item.scrollY : crawl.item.scrollX) = at;
        Page drawn;
        show(drawn, crawl.item);
        const Page wanted;
        paintPlainly(wanted, crawl, strip.surface.get(), at);
        EXPECT_EQ(difference(drawn, wanted), "") << "at " << at;
        any = any || !isBlank(drawn);
    }
    EXPECT_TRUE(any);
    EXPECT_DOUBLE_EQ(crawl.item.state->strip->length(), strip.total);
}

TEST(Crawls, LieLikeOneLongStrip) {
    for (const bool vertical : {false, true}) {
        for (const bool loop : {false, true}) {
            for (const int padding : {0, 9}) {
                Crawl crawl(vertical);
                crawl.item.moveLoop = loop;
                crawl.item.props.padding = padding;
                SCOPED_TRACE(std::to_string(vertical) + std::to_string(loop) +
                             std::to_string(padding));
                expectLikePlain(crawl);
            }
        }
    }
}

TEST(Crawls, HaveImagesBetweenTheirEntries) {
    for (const bool vertical : {false, true}) {
        Crawl crawl(vertical);
        crawl.item.props.separatorImage = test::mediaPath("still.png");
        SCOPED_TRACE(vertical);
        expectLikePlain(crawl);
    }
}

TEST(Crawls, FallBackToTextWhereTheImageIsMissing) {
    Crawl crawl(false);
    crawl.item.props.separatorImage = test::temporaryPath("no_such_separator.png");
    expectLikePlain(crawl);
}

// Makes it a crawl of that many entries, one like the other.
void prolong(Crawl& crawl, int entries) {
    crawl.item.alpha = 1.0F;
    crawl.entries.assign(static_cast<std::size_t>(entries), {"W", "ö", "r", "d", "g"});
    crawl.item.props.text.clear();
    for (int i = 0; i < entries; ++i)
        crawl.item.props.text += "Wördg\n";
}

// A letter that lies across two tiles is smoothed a little differently by cairo: two levels were
// seen. A column too many or too few would be hundreds.
TEST(Crawls, HaveNoSeams) {
    for (const bool vertical : {false, true}) {
        Crawl crawl(vertical);
        prolong(crawl, vertical ? 300 : 150);
        const Strip strip = bakePlainly(crawl);
        ASSERT_GT(strip.total, 20000.0);
        for (const double fraction : {0.0, 0.5, 0.25}) {
            // Steps shorter than the box: every place is seen.
            for (int from = -200; from < strip.total; from += 110) {
                const auto at = static_cast<float>(30 - from + fraction);
                (vertical ? crawl.item.scrollY : crawl.item.scrollX) = at;
                Page drawn;
                show(drawn, crawl.item);
                const Page wanted;
                paintPlainly(wanted, crawl, strip.surface.get(), at);
                ASSERT_LE(largestDifference(drawn, wanted), 4)
                    << (vertical ? "down" : "across") << " at " << at << ": "
                    << difference(drawn, wanted);
            }
        }
    }
}

// No surface is that long.
TEST(Crawls, MayBeAsLongAsTheyLike) {
    for (const bool vertical : {false, true}) {
        Crawl crawl(vertical);
        prolong(crawl, 5000);
        Page first;
        show(first, crawl.item);
        const double length = crawl.item.state->strip->length();
        ASSERT_GT(length, 300000.0);
        // All entries look the same: one far back, and one near the start.
        const double period = length / 5000.0;
        const double far = std::round(4990.0 * period);
        const double near = far - 4988.0 * period;
        auto& scroll = vertical ? crawl.item.scrollY : crawl.item.scrollX;
        scroll = static_cast<float>(30.0 - near);
        Page wanted;
        show(wanted, crawl.item);
        EXPECT_FALSE(isBlank(wanted));
        scroll = static_cast<float>(30.0 - far);
        Page drawn;
        show(drawn, crawl.item);
        // A float holds places that far out in steps of a sixteenth.
        EXPECT_LE(largestDifference(drawn, wanted), 20);
    }
}

TEST(Crawls, KeepTheirLookUntilTheirTextChanges) {
    Crawl crawl(false);
    crawl.item.scrollX = 45.0F;
    Page before;
    show(before, crawl.item);
    crawl.item.props.color = "#0000FF";
    crawl.item.props.fontSize = 12;
    Page same;
    show(same, crawl.item);
    EXPECT_EQ(difference(same, before), "");
    crawl.item.props.text += "g";
    Page other;
    show(other, crawl.item);
    EXPECT_NE(difference(other, before), "");
    EXPECT_EQ(other.channelAt(50, 90, 16), 0); // no red in blue letters
}

TEST(Crawls, AreNeitherShrunkNorOutlinedNorShadowed) {
    for (const bool vertical : {false, true}) {
        Page pages[2];
        for (const bool dressed : {false, true}) {
            Crawl crawl(vertical);
            crawl.item.props.text = wideLine;
            if (dressed) setWhatDoesNotCount(crawl.item.props);
            crawl.item.scrollX = 45.0F;
            crawl.item.scrollY = 35.0F;
            show(pages[dressed ? 1 : 0], crawl.item);
        }
        EXPECT_FALSE(isBlank(pages[0]));
        EXPECT_EQ(difference(pages[1], pages[0]), "") << vertical;
    }
}

TEST(Crawls, GoWithTheirGroupTextAndBox) {
    for (const bool vertical : {false, true}) {
        Crawl alone(vertical);
        alone.item.x = 65.0F;
        alone.item.y = 23.0F;
        alone.item.scrollX = 72.0F;
        alone.item.scrollY = 30.0F;
        Page wanted;
        show(wanted, alone.item);
        EXPECT_FALSE(isBlank(wanted));
        LCGGroup group;
        group.x = 25.0F;
        group.y = -7.0F;
        Crawl member(vertical);
        member.item.group = &group;
        member.item.scrollX = 47.0F;
        member.item.scrollY = 37.0F;
        Page drawn;
        show(drawn, member.item);
        EXPECT_EQ(difference(drawn, wanted), "") << vertical;
    }
}

TEST(Crawls, BeginAgainByTheirOwnPlaceAndNotTheirGroups) {
    for (const bool vertical : {false, true}) {
        LCGGroup group;
        group.x = 25.0F;
        group.y = 25.0F;
        Crawl crawl(vertical);
        crawl.item.group = &group;
        show(Page(), crawl.item);
        const auto length = static_cast<float>(crawl.item.state->strip->length());
        const float start = vertical ? 30.0F : 40.0F;
        const float size = vertical ? 120.0F : 300.0F;
        auto& scroll = vertical ? crawl.item.scrollY : crawl.item.scrollX;
        crawl.item.props.textSpeed = -5.0F;
        scroll = start - length + 10.0F; // still to be seen, and 5 pixels from it
        const float before = scroll;
        show(Page(), crawl.item);
        EXPECT_EQ(scroll, before - 5.0F) << vertical;
        scroll = start - length - 2.0F;
        show(Page(), crawl.item);
        EXPECT_EQ(scroll, start + size) << vertical;
    }
}

TEST(Crawls, WithNothingToSayRunOn) {
    Crawl crawl(false);
    crawl.item.props.text = "\n\n";
    crawl.item.props.textSpeed = -4.0F;
    crawl.item.scrollX = 45.0F;
    Page page;
    show(page, crawl.item);
    EXPECT_TRUE(isBlank(page));
    EXPECT_EQ(crawl.item.scrollX, 41.0F);
}

TEST(Crawls, BeginAgainWhenAllOfThemHasLeft) {
    EXPECT_EQ(quol::movedScroll(-55.0F, -5.0F, 40.0F, 300.0F, 100.0), -60.0F); // just not
    EXPECT_EQ(quol::movedScroll(-56.0F, -5.0F, 40.0F, 300.0F, 100.0), 340.0F);
    EXPECT_EQ(quol::movedScroll(335.0F, 5.0F, 40.0F, 300.0F, 100.0), 340.0F); // just not
    EXPECT_EQ(quol::movedScroll(336.0F, 5.0F, 40.0F, 300.0F, 100.0), -60.0F);
    EXPECT_EQ(quol::movedScroll(9999.0F, 0.0F, 40.0F, 300.0F, 100.0), 9999.0F);
}

} // namespace

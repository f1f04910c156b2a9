#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <numbers>

#include "core/Handles.h"
#include "graphics/CGImages.h"
#include "graphics/CGText.h"
#include "graphics/ItemPicture.h"
#include "support/CapturedStream.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace {

using namespace std::chrono_literals;
using quol::PixelRect;
using std::numbers::pi;

constexpr int width = 480;
constexpr int height = 270;
constexpr PixelRect canvas{0, 0, width, height};
constexpr auto start = std::chrono::steady_clock::time_point(1000s);

// A picture to draw on.
struct Page {
    quol::SurfacePtr surface = quol::makeSurface(width, height);
    quol::CairoPtr cr{cairo_create(surface.get())};

    const std::uint8_t* row(int y) const {
        cairo_surface_flush(surface.get());
        return cairo_image_surface_get_data(surface.get()) +
               static_cast<std::ptrdiff_t>(y) * cairo_image_surface_get_stride(surface.get());
    }
    // 0xAARRGGBB, premultiplied.
    std::uint32_t at(int x, int y) const {
        std::uint32_t pixel = 0;
        std::memcpy(&pixel, row(y) + x * 4, 4);
        return pixel;
    }
    int alphaAt(int x, int y) const { return static_cast<int>(at(x, y) >> 24); }
    int channelAt(int x, int y, int shift) const {
        return static_cast<int>(at(x, y) >> shift & 255U);
    }
};

std::string text(std::uint32_t pixel) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%08X", pixel);
    return digits;
}

// "" for two pictures that are the same in every pixel.
std::string difference(const Page& drawn, const Page& wanted) {
    for (int y = 0; y < height; ++y) {
        if (std::memcmp(drawn.row(y), wanted.row(y), width * 4) == 0) continue;
        for (int x = 0; x < width; ++x) {
            if (drawn.at(x, y) != wanted.at(x, y))
                return std::to_string(x) + "," + std::to_string(y) + ": " + text(drawn.at(x, y)) +
                       " for " + text(wanted.at(x, y));
        }
    }
    return "";
}

// In any channel of any pixel.
int largestDifference(const Page& a, const Page& b) {
    int most = 0;
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* const one = a.row(y);
        const std::uint8_t* const other = b.row(y);
        for (int i = 0; i < width * 4; ++i)
            most = std::max(most, std::abs(one[i] - other[i]));
    }
    return most;
}

bool isBlank(const Page& page) {
    return difference(page, Page()).empty();
}

template <typename Item>
Item& placed(Item& item, float x, float y, int w, int h) {
    item.x = x;
    item.y = y;
    item.w = w;
    item.h = h;
    return item;
}

// What an item shows at a moment.
void show(const Page& page, LCGItem& item, std::chrono::steady_clock::time_point now = start) {
    quol::TagClock tags;
    quol::ItemTeller teller(page.cr.get(), canvas, tags, {std::chrono::system_clock::now(), now});
    const quol::ItemPicture picture = teller.tell(item);
    cairo_new_path(page.cr.get());
    if (picture.visible) quol::drawItem(page.cr.get(), picture, canvas);
}

// ---------------------------------------------------------------------------------- panels

// A panel of 100x50 at (40, 30).
struct Panel {
    Panel() {
        placed(item, 40.0F, 30.0F, 100, 50);
        item.props.bgType = "Color";
        item.props.bgColor = "#FF0000";
    }
    Page page() {
        Page drawn;
        show(drawn, item);
        return drawn;
    }
    LCGRectItem item;
};

TEST(Panels, LieWhereTheyWerePutToThePixel) {
    const Page page = Panel().page();
    for (const int x : {40, 139}) {
        for (const int y : {30, 79})
            EXPECT_EQ(page.at(x, y), 0xFFFF0000U) << x << "," << y;
    }
    for (const int x : {39, 140})
        EXPECT_EQ(page.at(x, 50), 0U) << x;
    for (const int y : {29, 80})
        EXPECT_EQ(page.at(60, y), 0U) << y;
}

TEST(Panels, OfOtherTypesAreNotDrawn) {
    for (const char* type : {"Solid", "None", "", "color", "gradient", "Color "}) {
        Panel panel;
        panel.item.props.bgType = type;
        panel.item.props.borderSize = 4;
        panel.item.props.bgShadowAlpha = 255;
        EXPECT_TRUE(isBlank(panel.page())) << type;
    }
    EXPECT_EQ(LCGRectProps().bgType, "Solid");
}

TEST(Panels, TakeTheirOpacityFromTheirAlphaAndTheItems) {
    Panel panel;
    panel.item.props.bgColor = "#10FF0000"; // whose own does not count
    panel.item.props.bgAlpha = 204;
    panel.item.alpha = 0.5F;
    EXPECT_EQ(panel.page().at(60, 50), 0x66660000U);
}

TEST(Panels, FadeFromTopToBottom) {
    Panel panel;
    panel.item.props.bgType = "Gradient";
    panel.item.props.bgGradientStartColor = "#00FF0000"; // whose alpha does not count
    panel.item.props.bgGradientEndColor = "#0000FF";
    const Page page = panel.page();
    EXPECT_EQ(page.alphaAt(60, 30), 255);
    EXPECT_NEAR(page.channelAt(60, 30, 16), 255, 4);
    EXPECT_NEAR(page.channelAt(60, 30, 0), 0, 4);
    EXPECT_NEAR(page.channelAt(60, 79, 16), 0, 4);
    EXPECT_NEAR(page.channelAt(60, 79, 0), 255, 4);
    EXPECT_NEAR(page.channelAt(60, 54, 16), 128, 4);
    EXPECT_EQ(page.at(40, 54), page.at(139, 54));
}

TEST(Panels, HaveTheirBorderOnTheEdge) {
    Panel panel;
    panel.item.props.borderSize = 4;
    panel.item.props.borderColor = "#00FF00";
    const Page page = panel.page();
    for (const int x : {38, 41, 138, 141})
        EXPECT_EQ(page.at(x, 50), 0xFF00FF00U) << x;
    EXPECT_EQ(page.at(37, 50), 0U);
    EXPECT_EQ(page.at(142, 50), 0U);
    for (const int x : {42, 137})
        EXPECT_EQ(page.at(x, 50), 0xFFFF0000U) << x;
    EXPECT_EQ(page.at(60, 28), 0xFF00FF00U);
    EXPECT_EQ(page.at(60, 27), 0U);
    EXPECT_EQ(page.at(60, 81), 0xFF00FF00U);
    EXPECT_EQ(page.at(60, 82), 0U);
}

TEST(Panels, BlendTheirBorderByItsAlphaAndTheItems) {
    Panel panel;
    panel.item.props.borderSize = 4;
    panel.item.props.borderColor = "#00FF00";
    panel.item.props.borderAlpha = 204;
    panel.item.alpha = 0.5F;
    EXPECT_EQ(panel.page().at(38, 50), 0x66006600U);
}

TEST(Panels, ThrowAShadowWithoutBlurAside) {
    Panel panel;
    panel.item.props.bgShadowAlpha = 204;
    panel.item.props.bgShadowColor = "#0000FF";
    panel.item.props.bgShadowOffsetX = 10.0F;
    panel.item.props.bgShadowOffsetY = -7.0F;
    const Page page = panel.page();
    EXPECT_EQ(page.at(149, 23), 0xCC0000CCU);
    EXPECT_EQ(page.at(150, 23), 0U);
    EXPECT_EQ(page.at(149, 22), 0U);
    EXPECT_EQ(page.at(149, 72), 0xCC0000CCU);
    EXPECT_EQ(page.at(149, 73), 0U);
    EXPECT_EQ(page.at(50, 23), 0xCC0000CCU);
    EXPECT_EQ(page.at(49, 23), 0U);
    EXPECT_EQ(page.at(60, 50), 0xFFFF0000U); // under the panel
    panel.item.alpha = 0.5F;
    EXPECT_EQ(panel.page().at(149, 23), 0x66000066U);
}

// Corner by corner, as the formulas have it.
void roundedPath(cairo_t* cr, double x, double y, double w, double h, double r) {
    cairo_new_sub_path(cr);
    cairo_arc(cr, x + w - r, y + r, r, -pi / 2, 0);
    cairo_arc(cr, x + w - r, y + h - r, r, 0, pi / 2);
    cairo_arc(cr, x + r, y + h - r, r, pi / 2, pi);
    cairo_arc(cr, x + r, y + r, r, pi, 3 * pi / 2);
    cairo_close_path(cr);
}

TEST(Panels, RoundTheirCornersByAShareOfHalfTheSmallerSide) {
    const std::pair<int, double> radii[] = {{100, 25.0}, {40, 10.0}, {1, 0.25}};
    for (const auto& [percent, radius] : radii) {
        LCGRectItem item;
        placed(item, 40.0F, 30.0F, 200, 50);
        item.props.bgType = "Color";
        item.props.bgColor = "#FFFFFF";
        item.props.bgRadius = percent;
        Page drawn;
        show(drawn, item);
        const Page wanted;
        cairo_set_source_rgba(wanted.cr.get(), 1.0, 1.0, 1.0, 1.0);
        roundedPath(wanted.cr.get(), 40.0, 30.0, 200.0, 50.0, radius);
        cairo_fill(wanted.cr.get());
        EXPECT_EQ(difference(drawn, wanted), "") << percent;
    }
}

TEST(Panels, OfRadius100ArePills) {
    LCGRectItem item;
    placed(item, 40.0F, 30.0F, 200, 50);
    item.props.bgType = "Color";
    item.props.bgRadius = 100;
    Page page;
    show(page, item);
    EXPECT_EQ(page.alphaAt(41, 31), 0);
    EXPECT_EQ(page.alphaAt(46, 36), 0); // 25 * (1 - 1 / sqrt(2)) = 7.3 from the corner
    EXPECT_EQ(page.alphaAt(48, 38), 255);
    EXPECT_EQ(page.alphaAt(66, 30), 255); // the straight side begins 25 pixels from the corner
    EXPECT_LT(page.alphaAt(60, 30), 255);
    EXPECT_GT(page.alphaAt(40, 55), 240);
}

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

void setFont(cairo_t* cr, const char* font, double size) {
    cairo_select_font_face(cr, font, CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cr, size);
}

double advance(cairo_t* cr, const std::string& piece) {
    cairo_text_extents_t extents;
    cairo_text_extents(cr, piece.c_str(), &extents);
    return extents.x_advance;
}

cairo_font_extents_t fontExtents(cairo_t* cr) {
    cairo_font_extents_t extents;
    cairo_font_extents(cr, &extents);
    return extents;
}

using Letters = std::vector<std::string>;

double widthOf(cairo_t* cr, const Letters& letters, double spacing) {
    double sum = 0.0;
    for (const std::string& letter : letters)
        sum += advance(cr, letter) + spacing;
    return sum;
}

void fillLetters(cairo_t* cr, const Letters& letters, double spacing, double x, double baseline) {
    for (const std::string& letter : letters) {
        cairo_move_to(cr, x, baseline);
        cairo_text_path(cr, letter.c_str());
        x += advance(cr, letter) + spacing;
    }
    cairo_fill(cr);
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
        huge.props.text = "x";
        huge.props.fontSize = size;
        show(Page(), huge);
        LCGTextItem item;
        placed(item, 0.0F, 0.0F, 100, 100);
        item.props.text = "x";
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

// ----------------------------------------------------------------------------------- images

// A name of its own at every call: what is read is kept for the whole process, which may run a test
// several times.
std::string freshName(const std::string& name) {
    static int number = 0;
    return std::to_string(++number) + name;
}

using Pixel = std::array<std::uint8_t, 4>; // red, green, blue, alpha, not premultiplied

// Writes a PNG of one colour.
std::string writeImage(const std::string& name, int w, int h, const Pixel& pixel) {
    const quol::FramePtr frame = quol::makeFrame();
    frame->width = w;
    frame->height = h;
    frame->format = AV_PIX_FMT_RGBA;
    EXPECT_GE(av_frame_get_buffer(frame.get(), 32), 0);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x)
            std::memcpy(frame->data[0] + y * frame->linesize[0] + x * 4, pixel.data(), 4);
    }
    const AVCodec* const codec = avcodec_find_encoder(AV_CODEC_ID_PNG);
    const quol::CodecContextPtr encoder(avcodec_alloc_context3(codec));
    encoder->width = w;
    encoder->height = h;
    encoder->pix_fmt = AV_PIX_FMT_RGBA;
    encoder->time_base = {1, 25};
    const quol::PacketPtr packet = quol::makePacket();
    EXPECT_GE(avcodec_open2(encoder.get(), codec, nullptr), 0);
    EXPECT_GE(avcodec_send_frame(encoder.get(), frame.get()), 0);
    EXPECT_GE(avcodec_receive_packet(encoder.get(), packet.get()), 0);
    std::string path = test::temporaryPath(name);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(packet->data), packet->size);
    return path;
}

std::uint32_t firstPixel(cairo_surface_t* surface) {
    std::uint32_t pixel = 0;
    std::memcpy(&pixel, cairo_image_surface_get_data(surface), 4);
    return pixel;
}

Page imagePage(const std::string& path, float x, float y, int w, int h, float alpha = 1.0F) {
    LCGImageItem item;
    placed(item, x, y, w, h);
    item.props.path = path;
    item.alpha = alpha;
    Page page;
    show(page, item);
    return page;
}

TEST(Images, AreScaledToTheirBox) {
    const std::string path = writeImage("scaled.png", 8, 4, {255, 0, 0, 255});
    const Page page = imagePage(path, 40.0F, 30.0F, 160, 40);
    // Enlarged, the outermost pixels fade out: ten (five) pixels to both sides of the edge.
    EXPECT_EQ(page.at(52, 37), 0xFFFF0000U);
    EXPECT_EQ(page.at(187, 62), 0xFFFF0000U);
    EXPECT_EQ(page.at(28, 50), 0U);
    EXPECT_EQ(page.at(211, 50), 0U);
    EXPECT_EQ(page.at(100, 23), 0U);
    EXPECT_EQ(page.at(100, 76), 0U);
}

TEST(Images, LieToThePixelAtTheirOwnSize) {
    const std::string path = writeImage("own_size.png", 30, 20, {0, 255, 0, 255});
    for (const auto& [w, h] : {std::pair(0, 0), std::pair(30, 20), std::pair(-5, 20)}) {
        const Page page = imagePage(path, 40.0F, 30.0F, w, h);
        EXPECT_EQ(page.at(40, 30), 0xFF00FF00U);
        EXPECT_EQ(page.at(69, 49), 0xFF00FF00U);
        EXPECT_EQ(page.at(39, 30), 0U);
        EXPECT_EQ(page.at(70, 49), 0U);
        EXPECT_EQ(page.at(40, 29), 0U);
        EXPECT_EQ(page.at(69, 50), 0U);
    }
}

// As cairo scales them, but for the rounding of positions to parts of a pixel.
TEST(Images, LookLikeAPlainScaledPaint) {
    const std::string path = test::mediaPath("still.png");
    const quol::SurfacePtr image = quol::loadImageSurface(path);
    ASSERT_NE(image, nullptr);
    for (const auto& [w, h] : {std::pair(333, 111), std::pair(50, 200), std::pair(37, 23)}) {
        const Page drawn = imagePage(path, 40.0F, 30.0F, w, h, 0.5F);
        const Page wanted;
        cairo_translate(wanted.cr.get(), 40.0, 30.0);
        cairo_scale(wanted.cr.get(),
                    static_cast<double>(w) / cairo_image_surface_get_width(image.get()),
                    static_cast<double>(h) / cairo_image_surface_get_height(image.get()));
        cairo_set_source_surface(wanted.cr.get(), image.get(), 0.0, 0.0);
        cairo_paint_with_alpha(wanted.cr.get(), 0.5);
        EXPECT_LE(largestDifference(drawn, wanted), 8) << w << "x" << h;
        EXPECT_FALSE(isBlank(drawn));
    }
}

TEST(Images, AreReadOnce) {
    const std::string name = freshName("once.png");
    const std::string path = writeImage(name, 4, 4, {255, 0, 0, 255});
    const quol::SurfacePtr first = quol::loadImageSurface(path);
    ASSERT_NE(first, nullptr);
    writeImage(name, 4, 4, {0, 255, 0, 255});
    EXPECT_EQ(quol::loadImageSurface(path).get(), first.get());
    std::filesystem::remove(path);
    EXPECT_EQ(quol::loadImageSurface(path).get(), first.get());
    EXPECT_EQ(firstPixel(first.get()), 0xFFFF0000U);
}

TEST(Images, ThatAreMissingAreTriedAgain) {
    const std::string name = freshName("late.png");
    const std::string path = test::temporaryPath(name);
    EXPECT_EQ(quol::loadImageSurface(path), nullptr);
    EXPECT_TRUE(isBlank(imagePage(path, 10.0F, 10.0F, 50, 50)));
    writeImage(name, 4, 4, {255, 0, 0, 255});
    EXPECT_EQ(imagePage(path, 10.0F, 10.0F, 50, 50).at(30, 30), 0xFFFF0000U);
}

// The decoder's pictures are multiplied in whole numbers, cairo's own reader rounds.
TEST(Images, OfTheCapitalEndingComeFromTheDecoder) {
    const Pixel pixel = {201, 99, 255, 100}; // 201 * 100 / 255 = 78.8, 99 * 100 / 255 = 38.8
    const quol::SurfacePtr lower = quol::loadImageSurface(writeImage("a.png", 4, 4, pixel));
    const quol::SurfacePtr upper = quol::loadImageSurface(writeImage("A.PNG", 4, 4, pixel));
    ASSERT_NE(lower, nullptr);
    ASSERT_NE(upper, nullptr);
    EXPECT_EQ(firstPixel(lower.get()), 0x644F2764U);
    EXPECT_EQ(firstPixel(upper.get()), 0x644E2664U);
}

TEST(Images, OfAWrongEndingComeFromTheDecoderToo) {
    const std::string path = test::temporaryPath("really_ppm.png");
    std::ofstream(path, std::ios::binary) << "P6\n2 2\n255\n" << std::string(12, '\xFF');
    const quol::SurfacePtr surface = quol::loadImageSurface(path);
    ASSERT_NE(surface, nullptr);
    EXPECT_EQ(firstPixel(surface.get()), 0xFFFFFFFFU);
}

TEST(Images, WithAlphaLetThroughWhatIsBehind) {
    const std::string path = writeImage("half.png", 4, 4, {255, 255, 255, 51});
    EXPECT_EQ(imagePage(path, 40.0F, 30.0F, 0, 0).at(41, 31), 0x33333333U);
    EXPECT_NEAR(imagePage(path, 40.0F, 30.0F, 0, 0, 0.5F).alphaAt(41, 31), 26, 1);
}

// ------------------------------------------------------------------------------------ clips

// Ten pictures of 160x90.
const std::string& clip() {
    static const std::string path = test::mediaPath("seq/seq_%04d.png");
    return path;
}

// A picture of the clip as it comes from its file.
quol::SurfacePtr clipPicture(int number) {
    char name[64];
    std::snprintf(name, sizeof name, "seq/seq_%04d.png", number);
    return quol::loadImageSurface(test::mediaPath(name));
}

Page plainPicture(cairo_surface_t* surface, double x, double y, double alpha) {
    Page page;
    cairo_set_source_surface(page.cr.get(), surface, x, y);
    cairo_paint_with_alpha(page.cr.get(), alpha);
    return page;
}

struct Clip {
    Clip(int w, int h, bool loop) {
        placed(item, 40.0F, 30.0F, w, h);
        item.moveLoop = loop;
        opened = item.reader->open(clip());
    }
    Page next() {
        Page page;
        show(page, item);
        return page;
    }
    LCGVideoItem item;
    bool opened = false;
};

TEST(Clips, ShowAPictureATickAndEnd) {
    Clip video(160, 90, false);
    ASSERT_TRUE(video.opened);
    EXPECT_EQ(video.item.reader->width(), 160);
    EXPECT_EQ(video.item.reader->height(), 90);
    for (int number = 1; number <= 10; ++number) {
        const quol::SurfacePtr picture = clipPicture(number);
        ASSERT_NE(picture, nullptr);
        ASSERT_EQ(difference(video.next(), plainPicture(picture.get(), 40.0, 30.0, 1.0)), "")
            << number;
    }
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(isBlank(video.next()));
}

TEST(Clips, BeginAgainBehindOneEmptyTick) {
    Clip video(160, 90, true);
    ASSERT_TRUE(video.opened);
    video.item.alpha = 0.5F;
    for (int round = 0; round < 3; ++round) {
        for (const int number : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}) {
            const Page page = video.next();
            if (number > 2 && number < 10) continue;
            const Page wanted = plainPicture(clipPicture(number).get(), 40.0, 30.0, 0.5);
            ASSERT_EQ(difference(page, wanted), "") << round << ", picture " << number;
        }
        EXPECT_TRUE(isBlank(video.next())) << round;
    }
}

TEST(Clips, KeepTheSizeOfTheirFirstPicture) {
    Clip video(80, 60, true);
    ASSERT_TRUE(video.opened);
    const auto reaches = [](const Page& page, int x, int y) {
        return page.alphaAt(x, y) == 255 && page.alphaAt(x + 1, y) == 0 &&
               page.alphaAt(x, y + 1) == 0;
    };
    EXPECT_TRUE(reaches(video.next(), 119, 89));
    video.item.w = 200;
    video.item.h = 20;
    EXPECT_TRUE(reaches(video.next(), 119, 89));
}

TEST(Clips, WithAlphaArePremultiplied) {
    LCGVideoItem item;
    placed(item, 40.0F, 30.0F, 16, 16);
    ASSERT_TRUE(item.reader->open(writeImage("alpha_clip.png", 16, 16, {201, 99, 255, 100})));
    Page page;
    show(page, item);
    EXPECT_EQ(page.at(45, 35), 0x644E2664U);
}

TEST(Clips, StandStillWhileHidden) {
    Clip video(160, 90, false);
    ASSERT_TRUE(video.opened);
    video.next();
    video.item.show = false;
    for (int i = 0; i < 20; ++i)
        EXPECT_TRUE(isBlank(video.next()));
    video.item.show = true;
    EXPECT_EQ(difference(video.next(), plainPicture(clipPicture(2).get(), 40.0, 30.0, 1.0)), "");
}

TEST(Clips, WithPicturesOutOfOrderLoseNone) {
    LCGVideoItem item;
    placed(item, 0.0F, 0.0F, 64, 36);
    item.moveLoop = false;
    ASSERT_TRUE(item.reader->open(test::mediaPath("h264_aac.mp4")));
    int pictures = 0;
    for (int tick = 0; tick < 120; ++tick) {
        Page page;
        show(page, item);
        if (isBlank(page)) break;
        ++pictures;
    }
    EXPECT_EQ(pictures, 100);
}

// ------------------------------------------------------------------------------------ drift

struct Drift {
    const char* name;
    const char* type;
    float x;
    float y;
    float speed;
    float endX; // with a loop, having left
    float endY;
};

TEST(Drifts, ComeInAgainAtTheOtherSide) {
    const Drift drifts[] = {{"left", "Horizontal", -98.0F, 30.0F, -5.0F, width, 30.0F},
                            {"right", "Horizontal", width - 2.0F, 30.0F, 5.0F, -100.0F, 30.0F},
                            {"up", "Vertical", 40.0F, -48.0F, -5.0F, 40.0F, height},
                            {"down", "Vertical", 40.0F, height - 2.0F, 5.0F, 40.0F, -50.0F}};
    for (const Drift& drift : drifts) {
        for (const bool loop : {true, false}) {
            SCOPED_TRACE(drift.name);
            LCGRectItem item;
            placed(item, drift.x, drift.y, 100, 50);
            item.startX = 7.0F;
            item.startY = 8.0F;
            item.moveType = drift.type;
            item.moveSpeed = drift.speed;
            item.moveLoop = loop;
            show(Page(), item);
            EXPECT_EQ(item.show, loop);
            EXPECT_EQ(item.x, loop ? drift.endX : 7.0F);
            EXPECT_EQ(item.y, loop ? drift.endY : 8.0F);
        }
    }
}

TEST(Drifts, OfNoKnownTypeAreNone) {
    LCGRectItem item;
    placed(item, -500.0F, 30.0F, 100, 50);
    item.moveType = "Diagonal";
    item.moveSpeed = 5.0F;
    item.moveLoop = false;
    show(Page(), item);
    EXPECT_EQ(item.x, -500.0F);
    EXPECT_TRUE(item.show);
}

} // namespace

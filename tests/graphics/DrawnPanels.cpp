// Panels as items draw them, and how items drift.
#include <gtest/gtest.h>

#include <cstdint>
#include <numbers>

#include "support/Page.h"

namespace {

using std::numbers::pi;
using test::difference;
using test::isBlank;
using test::Page;
using test::placed;
using test::show;

constexpr int width = test::pageWidth;
constexpr int height = test::pageHeight;

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

// Red from the first pixel of the box to the last, nothing beside it.
void expectWholeBox(const Page& page) {
    for (const int x : {40, 139}) {
        for (const int y : {30, 79})
            EXPECT_EQ(page.at(x, y), 0xFFFF0000U) << x << "," << y;
    }
    for (const int x : {39, 140})
        EXPECT_EQ(page.at(x, 50), 0U) << x;
    for (const int y : {29, 80})
        EXPECT_EQ(page.at(60, y), 0U) << y;
}

TEST(Panels, LieWhereTheyWerePutToThePixel) {
    expectWholeBox(Panel().page());
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

TEST(Panels, RoundTheirShadowAndTheirBorderAlike) {
    Panel panel;
    panel.item.props.bgRadius = 40;
    panel.item.props.borderSize = 1;
    panel.item.props.borderColor = "#00FF00";
    panel.item.props.bgShadowAlpha = 204;
    panel.item.props.bgShadowColor = "#0000FF";
    panel.item.props.bgShadowOffsetX = 10.0F;
    panel.item.props.bgShadowOffsetY = 7.0F;
    const Page wanted;
    cairo_t* const cr = wanted.cr.get();
    cairo_set_source_rgba(cr, 0.0, 0.0, 1.0, 204.0 / 255.0);
    roundedPath(cr, 50.0, 37.0, 100.0, 50.0, 10.0);
    cairo_fill(cr);
    cairo_set_source_rgba(cr, 1.0, 0.0, 0.0, 1.0);
    roundedPath(cr, 40.0, 30.0, 100.0, 50.0, 10.0);
    cairo_fill(cr);
    cairo_set_source_rgba(cr, 0.0, 1.0, 0.0, 1.0);
    roundedPath(cr, 40.0, 30.0, 100.0, 50.0, 10.0);
    cairo_set_line_width(cr, 1.0);
    cairo_stroke(cr);
    EXPECT_EQ(difference(panel.page(), wanted), "");
}

// ------------------------------------------------------------------------- panels behind texts

// What a text of that class needs to show inside its padded box.
void settle(LCGTextItem& /*item*/) {}
void settle(LCGCrawlItem& item) {
    item.props.textSpeed = 0.0F;
    item.scrollX = 60.0F;
}
void settle(LCGTickerItem& /*item*/) {}

template <typename Item>
class PanelsBehind : public testing::Test {
protected:
    PanelsBehind() {
        placed(item, 40.0F, 30.0F, 100, 50);
        item.props.font = "DejaVu Sans";
        item.props.fontSize = 30;
        item.props.padding = 20;
        item.props.bgType = "Color";
        item.props.bgColor = "#FF0000";
        settle(item);
    }
    Page page() {
        Page drawn;
        show(drawn, item);
        return drawn;
    }
    Item item;
};

using InkedItems = testing::Types<LCGTextItem, LCGCrawlItem, LCGTickerItem>;
TYPED_TEST_SUITE(PanelsBehind, InkedItems);

// How many pixels of a page have that colour.
int countOf(const Page& page, std::uint32_t pixel) {
    int count = 0;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            count += page.at(x, y) == pixel ? 1 : 0;
    return count;
}

TYPED_TEST(PanelsBehind, FillTheWholeBoxBelowTheText) {
    this->item.props.text = "M";
    const Page page = this->page();
    expectWholeBox(page);
    EXPECT_GT(countOf(page, 0xFFFFFFFFU), 10);
}

TYPED_TEST(PanelsBehind, StayWithoutAText) {
    this->item.props.text = "";
    EXPECT_EQ(countOf(this->page(), 0xFFFF0000U), 100 * 50);
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

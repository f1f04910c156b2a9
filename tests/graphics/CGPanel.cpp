#include "graphics/CGPanel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <sstream>

#include "core/CairoHandles.h"
#include "quolsdk/LCGProps.h"

namespace {

using quol::Box;
using quol::PanelLook;
using quol::PixelRect;

constexpr int width = 160;
constexpr int height = 120;
constexpr PixelRect canvas{0, 0, width, height};

// The pixels that a panel leaves a trace in, told as the rectangle around them.
PixelRect drawn(const Box& box, const PanelLook& look) {
    const quol::SurfacePtr page = quol::makeSurface(width, height);
    const quol::CairoPtr cr(cairo_create(page.get()));
    quol::drawPanel(cr.get(), box, look, 1.0);
    cairo_surface_flush(page.get());
    const auto* const data = cairo_image_surface_get_data(page.get());
    const int stride = cairo_image_surface_get_stride(page.get());
    PixelRect all;
    for (int y = 0; y < height; ++y) {
        const auto* const row = data + static_cast<std::ptrdiff_t>(y) * stride;
        int first = 0;
        int last = width * 4;
        while (first < last && row[first] == 0)
            ++first;
        while (last > first && row[last - 1] == 0)
            --last;
        if (first < last) all = quol::around(all, {first / 4, y, (last + 3) / 4, y + 1});
    }
    return all;
}

std::string told(const PixelRect& rect) {
    std::ostringstream text;
    text << rect.left << ',' << rect.top << " to " << rect.right << ',' << rect.bottom;
    return text.str();
}

// "" where all that is drawn lies within the bounds that are told.
std::string beyondBounds(const Box& box, const PanelLook& look) {
    const PixelRect pixels = drawn(box, look);
    const PixelRect bounds = quol::panelBounds(box, look, canvas);
    if (pixels.empty() || quol::intersection(pixels, bounds) == pixels) return "";
    std::ostringstream text;
    text << "box " << box.x << ' ' << box.y << ' ' << box.w << ' ' << box.h << " radius "
         << look.radius << " border " << look.borderSize << " shadow " << look.shadowAlpha << " at "
         << look.shadowX << ' ' << look.shadowY << ": draws " << told(pixels) << ", told "
         << told(bounds);
    return text.str();
}

PanelLook opaque() {
    PanelLook look;
    look.type = "Color";
    look.color = "#FFFFFF";
    look.borderColor = "#FFFFFF";
    look.shadowColor = "#FFFFFF";
    look.gradientStart = "#FFFFFF";
    look.gradientEnd = "#FFFFFF";
    return look;
}

TEST(PanelBounds, AreNoneForATypeThatDrawsNothing) {
    PanelLook look = opaque();
    look.shadowAlpha = 255;
    look.borderSize = 5;
    for (const char* type : {"None", "Solid", "", "color", "Color ", "gradient"}) {
        look.type = type;
        EXPECT_TRUE(quol::panelBounds({10, 10, 50, 50}, look, canvas).empty()) << type;
        EXPECT_TRUE(drawn({10, 10, 50, 50}, look).empty()) << type;
    }
}

TEST(PanelBounds, OfAPlainPanelAreItsBoxAndOnePixel) {
    EXPECT_EQ(quol::panelBounds({20, 30, 50, 40}, opaque(), canvas), (PixelRect{19, 29, 71, 71}));
    EXPECT_EQ(drawn({20, 30, 50, 40}, opaque()), (PixelRect{20, 30, 70, 70}));
}

TEST(PanelBounds, HoldTheShadowToo) {
    PanelLook look = opaque();
    look.shadowAlpha = 1;
    look.shadowX = -15.0;
    look.shadowY = 20.0;
    const PixelRect bounds = quol::panelBounds({30, 30, 50, 40}, look, canvas);
    EXPECT_EQ(bounds, (PixelRect{14, 29, 81, 91}));
}

TEST(PanelBounds, OfATransparentShadowAreThePanelsAlone) {
    PanelLook look = opaque();
    look.shadowX = 50.0;
    for (const int alpha : {0, -1, -255}) {
        look.shadowAlpha = alpha;
        EXPECT_EQ(quol::panelBounds({20, 30, 50, 40}, look, canvas), (PixelRect{19, 29, 71, 71}));
        EXPECT_EQ(drawn({20, 30, 50, 40}, look), (PixelRect{20, 30, 70, 70}));
    }
}

TEST(PanelBounds, ReachToTheCornersOfTheBorder) {
    PanelLook look = opaque();
    look.borderSize = 20;
    const PixelRect pixels = drawn({40, 40, 50, 40}, look);
    EXPECT_EQ(pixels, (PixelRect{30, 30, 100, 90}));
    EXPECT_EQ(beyondBounds({40, 40, 50, 40}, look), "");
}

// Panels of a kind, each field drawn by chance.
class RandomPanels {
public:
    explicit RandomPanels(unsigned seed) : random_(seed) {}

    double between(double least, double most) {
        return std::uniform_real_distribution<double>(least, most)(random_);
    }
    bool oneIn(unsigned chances) { return random_() % chances == 0; }
    int whole(int least, int most) {
        return std::uniform_int_distribution<int>(least, most)(random_);
    }
    // Whole as an item's own, or anywhere between as one that drifts.
    double place(double least, double most) {
        const double value = between(least, most);
        return oneIn(2) ? std::round(value) : value;
    }
    PanelLook look(int largestRadius, int largestBorder, double farthestShadow) {
        PanelLook look = opaque();
        if (oneIn(3)) look.type = "Gradient";
        if (!oneIn(3)) look.radius = whole(-10, largestRadius);
        if (oneIn(2)) look.borderSize = whole(-2, largestBorder);
        if (oneIn(2)) look.shadowAlpha = 255;
        look.shadowX = place(-farthestShadow, farthestShadow);
        look.shadowY = place(-farthestShadow, farthestShadow);
        if (oneIn(4)) look.alpha = 0; // border and shadow alone
        return look;
    }

private:
    std::mt19937 random_;
};

TEST(PanelBounds, HoldEveryPixelOfPlainPanels) {
    RandomPanels panels(1);
    for (int i = 0; i < 4000; ++i) {
        const Box box{panels.place(-60, 180), panels.place(-60, 140), panels.place(0, 120),
                      panels.place(0, 90)};
        ASSERT_EQ(beyondBounds(box, panels.look(100, 20, 30.0)), "");
    }
}

TEST(PanelBounds, HoldEveryPixelOfPanelsThatAreTurnedOver) {
    RandomPanels panels(2);
    for (int i = 0; i < 4000; ++i) {
        const Box box{panels.place(-100, 260), panels.place(-100, 220), panels.place(-120, 120),
                      panels.place(-90, 90)};
        ASSERT_EQ(beyondBounds(box, panels.look(100, 20, 30.0)), "");
    }
}

TEST(PanelBounds, HoldEveryPixelOfPanelsWithHugeRadii) {
    RandomPanels panels(3);
    for (int i = 0; i < 4000; ++i) {
        const Box box{panels.place(-200, 300), panels.place(-200, 260), panels.place(-120, 120),
                      panels.place(-90, 90)};
        ASSERT_EQ(beyondBounds(box, panels.look(1000, 40, 200.0)), "");
    }
}

TEST(PanelBounds, HoldEveryPixelOfTinyPanelsWithThickBorders) {
    RandomPanels panels(4);
    for (int i = 0; i < 4000; ++i) {
        const Box box{panels.place(-60, 220), panels.place(-60, 180), panels.place(-3, 3),
                      panels.place(-3, 3)};
        ASSERT_EQ(beyondBounds(box, panels.look(400, 60, 60.0)), "");
    }
}

TEST(PanelBounds, HoldEveryPixelOfPanelsOfAnySizeAtAll) {
    RandomPanels panels(5);
    const auto anything = [&panels](double usual) {
        const double scale = panels.oneIn(2) ? 1.0 : std::pow(10.0, panels.between(0.0, 7.0));
        return panels.place(-usual, usual) * scale;
    };
    for (int i = 0; i < 4000; ++i) {
        const Box box{anything(100.0), anything(100.0), anything(100.0), anything(100.0)};
        PanelLook look = panels.look(100, 20, 100.0);
        if (panels.oneIn(3)) look.radius = static_cast<int>(anything(100.0));
        if (panels.oneIn(3)) look.borderSize = static_cast<int>(anything(100.0));
        if (panels.oneIn(3)) look.shadowX = anything(100.0);
        if (panels.oneIn(3)) look.shadowY = anything(100.0);
        ASSERT_EQ(beyondBounds(box, look), "") << i;
    }
}

TEST(PanelBounds, OfNumbersThatAreNoneAreAllOfThePicture) {
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double odd : {infinity, -infinity, std::nan("")}) {
        EXPECT_EQ(quol::panelBounds({odd, 10, 50, 50}, opaque(), canvas), canvas);
        PanelLook look = opaque();
        look.shadowAlpha = 255;
        look.shadowY = odd;
        EXPECT_EQ(quol::panelBounds({10, 10, 50, 50}, look, canvas), canvas);
    }
}

template <typename Props>
class PanelLooks : public testing::Test {};

using Records = testing::Types<LCGTextProps, LCGCrawlProps, LCGTickerProps, LCGRectProps>;
TYPED_TEST_SUITE(PanelLooks, Records);

TYPED_TEST(PanelLooks, AreTakenFromRecordsFieldByField) {
    TypeParam props;
    props.bgType = "Gradient";
    props.bgColor = "#000001";
    props.bgGradientStartColor = "#000002";
    props.bgGradientEndColor = "#000003";
    props.bgAlpha = 1;
    props.bgRadius = 2;
    props.borderColor = "#000004";
    props.borderSize = 3;
    props.borderAlpha = 4;
    props.bgShadowOffsetX = 5.5F;
    props.bgShadowOffsetY = 6.5F;
    props.bgShadowAlpha = 7;
    props.bgShadowColor = "#000005";
    const PanelLook wanted{"Gradient", "#000001", "#000002", "#000003", 1, 2, 5.5,
                           6.5,        7,         "#000005", "#000004", 3, 4};
    EXPECT_EQ(quol::panelOf(props), wanted);
}

} // namespace

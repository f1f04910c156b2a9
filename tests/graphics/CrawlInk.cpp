#include "graphics/CrawlInk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "graphics/CGText.h"
#include "support/CapturedStream.h"

namespace {

using quol::CrawlStrip;
using quol::movedScroll;

// ------------------------------------------------------------------------------------ movement

// A box from 100 on, 300 long.
float moved(float at, float speed, double length = 50.0) {
    return movedScroll(at, speed, 100.0F, 300.0F, length);
}

TEST(CrawlScroll, MovesByItsSpeed) {
    EXPECT_EQ(moved(200.0F, -5.0F), 195.0F);
    EXPECT_EQ(moved(200.0F, 5.0F), 205.0F);
    EXPECT_EQ(moved(200.0F, 0.25F), 200.25F);
}

TEST(CrawlScroll, BackwardBeginsAgainBehindTheBoxOnceAllHasLeftIt) {
    EXPECT_EQ(moved(55.0F, -5.0F), 50.0F); // its end is just at the start of the box
    EXPECT_EQ(moved(54.0F, -5.0F), 400.0F);
    EXPECT_EQ(moved(-1.0e6F, -5.0F), 400.0F);
}

TEST(CrawlScroll, ForwardBeginsAgainBeforeTheBoxOnceAllHasLeftIt) {
    EXPECT_EQ(moved(395.0F, 5.0F), 400.0F);
    EXPECT_EQ(moved(396.0F, 5.0F), 50.0F);
    EXPECT_EQ(moved(1.0e6F, 5.0F), 50.0F);
}

TEST(CrawlScroll, OnlyTheEndThatItRunsToCounts) {
    EXPECT_EQ(moved(1000.0F, -5.0F), 995.0F); // still on its way in
    EXPECT_EQ(moved(-1000.0F, 5.0F), -995.0F);
}

TEST(CrawlScroll, StandingStillNeverBeginsAgain) {
    for (const float at : {-1.0e6F, 0.0F, 200.0F, 1.0e6F})
        EXPECT_EQ(moved(at, 0.0F), at);
}

TEST(CrawlScroll, EmptyTextRunsThroughTheBoxAsWell) {
    EXPECT_EQ(moved(105.0F, -5.0F, 0.0), 100.0F);
    EXPECT_EQ(moved(104.0F, -5.0F, 0.0), 400.0F);
    EXPECT_EQ(moved(396.0F, 5.0F, 0.0), 100.0F);
}

TEST(CrawlScroll, TurnTakesAsManyPicturesAsTheWayIsLong) {
    float at = 400.0F;
    int pictures = 0;
    do {
        at = moved(at, -4.0F);
        ++pictures;
    } while (at != 400.0F && pictures < 1000);
    EXPECT_EQ(pictures, 88); // 350 pixels in steps of 4, and one to begin again
}

TEST(CrawlScroll, NumbersThatAreNoneDoNotMoveIt) {
    const float none = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(std::isnan(moved(200.0F, none)));
    EXPECT_EQ(moved(200.0F, -std::numeric_limits<float>::infinity()), 400.0F);
    EXPECT_EQ(moved(200.0F, std::numeric_limits<float>::infinity()), 50.0F);
}

// -------------------------------------------------------------------------------------- length

class CrawlLength : public testing::Test {
protected:
    CrawlLength() {
        props_.font = "DejaVu Sans";
        props_.fontSize = 30;
    }
    double length(const std::string& text, bool loop = true) {
        return CrawlStrip(cr_.get(), props_, text, 640, 60, loop).length();
    }
    double width(const std::string& text) {
        quol::selectFont(cr_.get(), props_.font, props_.fontSize);
        return quol::measureLine(cr_.get(), text, props_.letterSpacing);
    }
    // Of a separator between its paddings: one text, without the spacing of letters.
    double separator() {
        quol::selectFont(cr_.get(), props_.font, props_.fontSize);
        return props_.separatorPadding * 2.0 + quol::advanceOf(cr_.get(), props_.textSeparator);
    }

    LCGCrawlProps props_;
    const quol::SurfacePtr surface_ = quol::makeSurface(1, 1);
    const quol::CairoPtr cr_{cairo_create(surface_.get())};
};

TEST_F(CrawlLength, IsThatOfEntriesAndTheSeparatorsBehindThem) {
    const double a = width("first entry");
    const double b = width("two");
    EXPECT_NEAR(length("first entry\ntwo"), a + b + 2 * separator(), 1e-9);
    EXPECT_NEAR(length("first entry\ntwo", false), a + b + separator(), 1e-9);
    EXPECT_NEAR(length("two"), b + separator(), 1e-9);
    EXPECT_NEAR(length("two", false), b, 1e-9);
}

TEST_F(CrawlLength, EmptyLinesAreNoEntries) {
    EXPECT_EQ(length("\n\ntwo\n\n"), length("two"));
    EXPECT_EQ(length(""), 0.0);
    EXPECT_EQ(length("\n\n"), 0.0);
}

TEST_F(CrawlLength, SpacingCountsInEntriesAndNotInTheSeparator) {
    const double plain = length("abcd");
    props_.letterSpacing = 3.0F;
    EXPECT_NEAR(length("abcd"), plain + 12.0, 1e-9);
}

TEST_F(CrawlLength, SeparatorHasItsPaddingTwice) {
    props_.separatorPadding = 0;
    const double bare = length("abcd");
    props_.separatorPadding = 25;
    EXPECT_NEAR(length("abcd"), bare + 50.0, 1e-9);
}

TEST_F(CrawlLength, ImageSeparatorIsAsHighAsTheFont) {
    const std::string path = test::temporaryPath("separator.png");
    const quol::SurfacePtr image = quol::makeSurface(40, 20);
    ASSERT_EQ(cairo_surface_write_to_png(image.get(), path.c_str()), CAIRO_STATUS_SUCCESS);
    props_.separatorImage = path;
    EXPECT_NEAR(length("abcd"), width("abcd") + 2 * 20.0 + 40.0 * 30.0 / 20.0, 1e-9);
    EXPECT_NEAR(length("abcd", false), width("abcd"), 1e-9);
}

TEST_F(CrawlLength, MissingImageGivesWayToTheText) {
    const double withText = length("a\nb");
    props_.separatorImage = test::temporaryPath("none.png");
    EXPECT_EQ(length("a\nb"), withText);
}

TEST_F(CrawlLength, UprightCountsLinesOfTenPixelsMoreThanTheFont) {
    props_.textMove = "Vertical";
    EXPECT_NEAR(length("a\nlonger\nc"), 3 * (30.0 + 10.0) + 3 * (20.0 + 30.0), 1e-9);
    EXPECT_NEAR(length("a\nlonger\nc", false), 3 * 40.0 + 2 * 50.0, 1e-9);
    EXPECT_EQ(length("", false), 0.0);
}

TEST_F(CrawlLength, AnyOtherWayIsSideways) {
    props_.textMove = "vertical";
    EXPECT_NEAR(length("a", false), width("a"), 1e-9);
}

TEST_F(CrawlLength, EveryStripIsToldFromTheOthers) {
    const CrawlStrip one(cr_.get(), props_, "a", 640, 60, true);
    const CrawlStrip other(cr_.get(), props_, "a", 640, 60, true);
    EXPECT_NE(one.serial(), other.serial());
    EXPECT_EQ(one.text(), "a");
}

// -------------------------------------------------------------------------------------- tiles

// Three windows on a strip, its start at `start`, as pixels.
std::vector<std::uint8_t> window(CrawlStrip& strip, double start, bool vertical) {
    const quol::SurfacePtr page = quol::makeSurface(200, 120);
    const quol::CairoPtr cr(cairo_create(page.get()));
    strip.paint(cr.get(), vertical ? 0.0 : start, vertical ? start : 0.0, {0, 0, 200, 120}, 1.0);
    EXPECT_EQ(cairo_status(cr.get()), CAIRO_STATUS_SUCCESS);
    cairo_surface_flush(page.get());
    const auto* const data = cairo_image_surface_get_data(page.get());
    return {data,
            data + static_cast<std::ptrdiff_t>(cairo_image_surface_get_stride(page.get())) * 120};
}

bool isBlank(const std::vector<std::uint8_t>& pixels) {
    return std::all_of(pixels.begin(), pixels.end(), [](std::uint8_t byte) { return byte == 0; });
}

std::string manyEntries(int count) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += "entry " + std::to_string(i) + "\n";
    return text;
}

TEST_F(CrawlLength, StripLongerThanAnySurfaceIsDrawnToItsEnd) {
    for (const bool vertical : {false, true}) {
        props_.textMove = vertical ? "Vertical" : "Horizontal";
        CrawlStrip strip(cr_.get(), props_, manyEntries(1000), 200, 120, false);
        ASSERT_GT(strip.length(), 65000.0);
        EXPECT_FALSE(isBlank(window(strip, 0.0, vertical)));
        EXPECT_FALSE(isBlank(window(strip, -40000.0, vertical)));
        EXPECT_FALSE(isBlank(window(strip, 110.0 - strip.length(), vertical)));
        EXPECT_TRUE(isBlank(window(strip, -10.0 - strip.length(), vertical)));
        EXPECT_TRUE(isBlank(window(strip, 210.0, vertical)));
    }
}

TEST_F(CrawlLength, PlaceInAStripLooksTheSameWhicheverWayItIsReached) {
    CrawlStrip walked(cr_.get(), props_, manyEntries(200), 200, 120, true);
    CrawlStrip fresh(cr_.get(), props_, manyEntries(200), 200, 120, true);
    for (int step = 0; step < 400; ++step) {
        const double start = 200.0 - step * 31.5;
        const auto seen = window(walked, start, false);
        if (step % 8 != 0) continue;
        fresh = CrawlStrip(cr_.get(), props_, manyEntries(200), 200, 120, true);
        ASSERT_EQ(seen, window(fresh, start, false)) << step;
    }
}

TEST_F(CrawlLength, OddPlacesAndSizesDrawNothingAndFailNothing) {
    const double infinity = std::numeric_limits<double>::infinity();
    CrawlStrip strip(cr_.get(), props_, manyEntries(10), 200, 120, true);
    for (const double start : {infinity, -infinity, std::nan(""), 1.0e30, -1.0e30})
        EXPECT_TRUE(isBlank(window(strip, start, false))) << start;
    for (const int thickness : {0, -5, 40000, std::numeric_limits<int>::max()}) {
        CrawlStrip odd(cr_.get(), props_, "text", thickness, thickness, true);
        EXPECT_TRUE(isBlank(window(odd, 0.0, false))) << thickness;
    }
}

} // namespace

#include "graphics/PixelRect.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bitset>
#include <cmath>
#include <limits>
#include <ostream>
#include <random>

namespace quol {
void PrintTo(const PixelRect& rect, std::ostream* out) {
    *out << rect.left << ',' << rect.top << " to " << rect.right << ',' << rect.bottom;
}
} // namespace quol

namespace {

using quol::around;
using quol::DirtyRegion;
using quol::intersection;
using quol::PixelRect;
using quol::touchedPixels;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double none = std::numeric_limits<double>::quiet_NaN();

constexpr PixelRect canvas{0, 0, 100, 50};

// A set of pixels of the canvas, the plain way.
class Pixels {
public:
    void add(const PixelRect& rect) {
        for (int y = std::max(0, rect.top); y < std::min(canvas.bottom, rect.bottom); ++y) {
            for (int x = std::max(0, rect.left); x < std::min(canvas.right, rect.right); ++x)
                set_.set(static_cast<std::size_t>(y * canvas.right + x));
        }
    }
    // Whether all pixels of the other are of this one too.
    bool covers(const Pixels& other) const { return (other.set_ & ~set_).none(); }

private:
    std::bitset<static_cast<std::size_t>(canvas.right* canvas.bottom)> set_;
};

PixelRect randomRect(std::mt19937& random, int around, int largest) {
    const auto place = [&] {
        return static_cast<int>(random() % static_cast<unsigned>(around)) - 8;
    };
    const int left = place();
    const int top = place();
    const auto size = [&] { return static_cast<int>(random() % static_cast<unsigned>(largest)); };
    return {left, top, left + size(), top + size()};
}

// --------------------------------------------------------------------------------- rectangles

TEST(PixelRectangle, IsEmptyWithoutWidthOrHeight) {
    EXPECT_TRUE(PixelRect().empty());
    EXPECT_TRUE((PixelRect{5, 5, 5, 9}).empty());
    EXPECT_TRUE((PixelRect{5, 5, 9, 5}).empty());
    EXPECT_TRUE((PixelRect{5, 5, 4, 9}).empty());
    EXPECT_FALSE((PixelRect{5, 5, 6, 6}).empty());
    EXPECT_EQ((PixelRect{1, 2, 4, 8}).width(), 3);
    EXPECT_EQ((PixelRect{1, 2, 4, 8}).height(), 6);
}

TEST(PixelRectangle, IntersectionIsWhatBothHave) {
    EXPECT_EQ(intersection({0, 0, 10, 10}, {5, 6, 20, 8}), (PixelRect{5, 6, 10, 8}));
    EXPECT_EQ(intersection({0, 0, 10, 10}, {2, 2, 3, 3}), (PixelRect{2, 2, 3, 3}));
    EXPECT_TRUE(intersection({0, 0, 10, 10}, {10, 0, 20, 10}).empty()); // side by side
    EXPECT_TRUE(intersection({0, 0, 10, 10}, {20, 20, 30, 30}).empty());
}

TEST(PixelRectangle, AroundBothIsTheSmallestThatHoldsThem) {
    EXPECT_EQ(around({0, 1, 2, 3}, {10, 0, 11, 2}), (PixelRect{0, 0, 11, 3}));
    EXPECT_EQ(around({5, 5, 5, 5}, {10, 10, 11, 11}), (PixelRect{10, 10, 11, 11}));
    EXPECT_EQ(around({10, 10, 11, 11}, {90, 90, 80, 80}), (PixelRect{10, 10, 11, 11}));
    EXPECT_TRUE(around(PixelRect(), PixelRect()).empty());
}

// --------------------------------------------------------------------------------- touched ones

TEST(TouchedPixels, AreOneMoreAllAround) {
    EXPECT_EQ(touchedPixels(10.0, 20.0, 30.0, 40.0, canvas), (PixelRect{9, 19, 31, 41}));
    EXPECT_EQ(touchedPixels(10.1, 20.9, 29.1, 39.9, canvas), (PixelRect{9, 19, 31, 41}));
    EXPECT_EQ(touchedPixels(-0.5, -0.5, 0.5, 0.5, {-10, -10, 10, 10}), (PixelRect{-2, -2, 2, 2}));
}

TEST(TouchedPixels, StayWithinTheBounds) {
    EXPECT_EQ(touchedPixels(-1000.0, -1000.0, 1000.0, 1000.0, canvas), canvas);
    EXPECT_TRUE(touchedPixels(200.0, 10.0, 300.0, 20.0, canvas).empty());
    EXPECT_TRUE(touchedPixels(10.0, -300.0, 20.0, -200.0, canvas).empty());
}

TEST(TouchedPixels, OfPlacesThatCairoCannotHoldAreAll) {
    for (const double far : {8388607.0, -8388607.0, 1.0e8, -1.0e8, 1.0e300}) {
        EXPECT_EQ(touchedPixels(far, 10.0, far + 10.0, 20.0, canvas), canvas) << far;
        EXPECT_EQ(touchedPixels(10.0, far, 20.0, far + 10.0, canvas), canvas) << far;
    }
    EXPECT_TRUE(touchedPixels(8000000.0, 10.0, 8000010.0, 20.0, canvas).empty());
    EXPECT_TRUE(touchedPixels(10.0, -8000010.0, 20.0, -8000000.0, canvas).empty());
}

TEST(TouchedPixels, OfARectangleThatIsTurnedOverAreTheSame) {
    EXPECT_EQ(touchedPixels(30.0, 40.0, 10.0, 20.0, canvas),
              touchedPixels(10.0, 20.0, 30.0, 40.0, canvas));
}

TEST(TouchedPixels, OfNumbersThatAreNoneAreAll) {
    for (const double odd : {infinity, -infinity, none}) {
        EXPECT_EQ(touchedPixels(odd, 1.0, 2.0, 2.0, canvas), canvas);
        EXPECT_EQ(touchedPixels(1.0, odd, 2.0, 2.0, canvas), canvas);
        EXPECT_EQ(touchedPixels(1.0, 1.0, odd, 2.0, canvas), canvas);
        EXPECT_EQ(touchedPixels(1.0, 1.0, 2.0, odd, canvas), canvas);
    }
    EXPECT_EQ(touchedPixels(-infinity, 1.0, infinity, 2.0, canvas), canvas);
}

// -------------------------------------------------------------------------------------- regions

// "" for a region that covers all that was added and whose rectangles are as they have to be.
std::string faultOf(const DirtyRegion& region, const Pixels& added) {
    Pixels covered;
    const auto& rects = region.rects();
    for (std::size_t i = 0; i < rects.size(); ++i) {
        if (rects[i].empty()) return "an empty rectangle";
        if (intersection(rects[i], canvas) != rects[i]) return "a rectangle beyond the bounds";
        for (std::size_t other = 0; other < i; ++other) {
            if (!intersection(rects[i], rects[other]).empty()) return "two rectangles meet";
        }
        covered.add(rects[i]);
    }
    return covered.covers(added) ? "" : "a pixel is missing";
}

TEST(DirtyPixels, BeginWithNone) {
    const DirtyRegion region(canvas);
    EXPECT_TRUE(region.empty());
    EXPECT_TRUE(region.rects().empty());
}

TEST(DirtyPixels, AreWhatWasAddedWithinTheBounds) {
    DirtyRegion region(canvas);
    region.add({-5, -5, 10, 10});
    region.add({90, 40, 200, 200});
    EXPECT_EQ(region.rects(), (std::vector<PixelRect>{{0, 0, 10, 10}, {90, 40, 100, 50}}));
}

TEST(DirtyPixels, EmptyAndOutlyingRectanglesAddNothing) {
    DirtyRegion region(canvas);
    region.add(PixelRect());
    region.add({30, 30, 20, 40});
    region.add({100, 0, 200, 50});
    EXPECT_TRUE(region.empty());
}

TEST(DirtyPixels, RectanglesThatMeetAreJoined) {
    DirtyRegion region(canvas);
    region.add({0, 0, 10, 10});
    region.add({20, 0, 30, 10});
    region.add({10, 20, 20, 30}); // meets neither
    EXPECT_EQ(region.rects().size(), 3U);
    region.add({5, 5, 25, 6}); // meets the first two; what they make together not the third
    EXPECT_EQ(region.rects(), (std::vector<PixelRect>{{10, 20, 20, 30}, {0, 0, 30, 10}}));
}

TEST(DirtyPixels, WhatWasJoinedMeetsOthersInTurn) {
    DirtyRegion region(canvas);
    region.add({0, 0, 10, 10});
    region.add({12, 8, 20, 30}); // beside it
    region.add({0, 20, 5, 40});
    EXPECT_EQ(region.rects().size(), 3U);
    region.add({4, 4, 5, 22}); // joins the first and the third
    EXPECT_EQ(region.rects().size(), 2U);
    region.add({9, 9, 13, 12});
    EXPECT_EQ(region.rects(), (std::vector<PixelRect>{{0, 0, 20, 40}}));
}

TEST(DirtyPixels, SideBySideTheyAreKeptApart) {
    DirtyRegion region(canvas);
    region.add({0, 0, 10, 10});
    region.add({10, 0, 20, 10});
    EXPECT_EQ(region.rects().size(), 2U);
}

TEST(DirtyPixels, ManyBecomeOne) {
    DirtyRegion region(canvas);
    for (int i = 0; i < 16; ++i)
        region.add({i * 6, i, i * 6 + 2, i + 1});
    EXPECT_EQ(region.rects().size(), 16U);
    region.add({97, 48, 98, 49});
    EXPECT_EQ(region.rects(), (std::vector<PixelRect>{{0, 0, 98, 49}}));
}

TEST(DirtyPixels, ClearedTheyBeginAgain) {
    DirtyRegion region(canvas);
    region.add({0, 0, 10, 10});
    region.clear();
    EXPECT_TRUE(region.empty());
    region.add({1, 1, 2, 2});
    EXPECT_EQ(region.rects(), (std::vector<PixelRect>{{1, 1, 2, 2}}));
}

TEST(DirtyPixels, CoverRandomRectanglesWithoutMeeting) {
    std::mt19937 random(1);
    std::size_t several = 0;
    for (int run = 0; run < 2000; ++run) {
        DirtyRegion region(canvas);
        Pixels added;
        const int largest = 2 + static_cast<int>(random() % 24);
        for (std::size_t count = random() % 40; count > 0; --count) {
            const PixelRect rect = randomRect(random, 110, largest);
            region.add(rect);
            added.add(rect);
            ASSERT_EQ(faultOf(region, added), "") << "run " << run;
            several = std::max(several, region.rects().size());
        }
    }
    EXPECT_EQ(several, 16U);
}

TEST(DirtyPixels, CoverAnotherRegionThatIsAdded) {
    std::mt19937 random(2);
    for (int run = 0; run < 1000; ++run) {
        DirtyRegion region(canvas);
        DirtyRegion other(canvas);
        Pixels added;
        for (int i = 0; i < 8; ++i) {
            const PixelRect rect = randomRect(random, 110, 16);
            (i % 2 == 0 ? region : other).add(rect);
            added.add(rect);
        }
        region.add(other);
        ASSERT_EQ(faultOf(region, added), "") << "run " << run;
    }
}

} // namespace

#include "compositing/LayerShape.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

using quol::Coat;
using quol::LayerLook;
using quol::PictureSize;
using quol::PlaneShape;
using quol::RowSpan;
using quol::RowSpans;
using quol::SampleRange;

// --------------------------------------------------------------------------------- plain rules

// What one sample of a plane shows, by the rule of corners and edges.
Coat coatOf(const PlaneShape& shape, int column, int row) {
    const int rad = shape.radius;
    const bool atLeft = column < shape.left + rad;
    const bool atRight = column >= shape.right - rad;
    const bool atTop = row < shape.top + rad;
    const bool atBottom = row >= shape.bottom - rad;
    if ((atLeft || atRight) && (atTop || atBottom)) {
        const double dx = column - (atLeft ? shape.left + rad : shape.right - rad);
        const double dy = row - (atTop ? shape.top + rad : shape.bottom - rad);
        const double d = std::sqrt(dx * dx + dy * dy);
        if (d > rad) return Coat::none;
        return d <= rad - shape.thickness || shape.thickness < 1 ? Coat::picture : Coat::border;
    }
    const int t = shape.thickness;
    const bool isNearEdge = column < shape.left + t || column >= shape.right - t ||
                            row < shape.top + t || row >= shape.bottom - t;
    return t > 0 && isNearEdge ? Coat::border : Coat::picture;
}

char letterOf(Coat coat) {
    if (coat == Coat::none) return '.';
    return coat == Coat::picture ? 'p' : 'b';
}

// A row by the rule, one letter a sample: p for the picture, b for the border.
std::string plainRow(const PlaneShape& shape, int row, const SampleRange& columns) {
    std::string letters;
    for (int column = columns.begin; column < columns.end; ++column)
        letters += letterOf(coatOf(shape, column, row));
    return letters;
}

// The same from the spans, or what is wrong with them.
std::string spannedRow(const PlaneShape& shape, int row, const SampleRange& columns) {
    std::string letters(static_cast<std::size_t>(std::max(0, columns.end - columns.begin)), '.');
    int cursor = columns.begin;
    for (const RowSpan& span : RowSpans(shape, row, columns)) {
        if (span.begin < cursor || span.end <= span.begin || span.end > columns.end)
            return "a span out of its place";
        if (span.coat == Coat::none) return "a span of nothing";
        std::fill(letters.begin() + (span.begin - columns.begin),
                  letters.begin() + (span.end - columns.begin), letterOf(span.coat));
        cursor = span.end;
    }
    return letters;
}

std::size_t spanCount(const PlaneShape& shape, int row) {
    const RowSpans spans(shape, row, {shape.left, shape.right});
    return static_cast<std::size_t>(spans.end() - spans.begin());
}

std::string describe(const PlaneShape& shape, int row) {
    return "columns " + std::to_string(shape.left) + ".." + std::to_string(shape.right) +
           ", rows " + std::to_string(shape.top) + ".." + std::to_string(shape.bottom) +
           ", radius " + std::to_string(shape.radius) + ", thickness " +
           std::to_string(shape.thickness) + ", row " + std::to_string(row);
}

// A rectangle with its top left corner at (left, top) of the picture.
PlaneShape rectangle(int left, int top, int width, int height, int radius, int thickness) {
    PlaneShape shape;
    shape.left = left;
    shape.top = top;
    shape.right = left + width;
    shape.bottom = top + height;
    shape.radius = radius;
    shape.thickness = thickness;
    return shape;
}

// ---------------------------------------------------------------------------------------- spans

void checkAllRows(const PlaneShape& shape) {
    const SampleRange columns{shape.left, shape.right};
    for (int row = shape.top; row < shape.bottom; ++row) {
        ASSERT_EQ(spannedRow(shape, row, columns), plainRow(shape, row, columns))
            << describe(shape, row);
    }
}

TEST(RowSpans, OfEverySmallRectangleFollowTheRuleSampleBySample) {
    for (int width = 0; width <= 17; ++width) {
        for (int height = 0; height <= 17; ++height) {
            for (int radius = 0; radius <= 20; ++radius) {
                for (int thickness = 0; thickness <= 11; ++thickness) {
                    checkAllRows(rectangle(0, 0, width, height, radius, thickness));
                    if (testing::Test::HasFatalFailure()) return;
                }
            }
        }
    }
}

TEST(RowSpans, OfCroppedRectanglesLieWhereTheRectangleLies) {
    for (const int left : {1, 2, 13}) {
        for (const int top : {0, 3, 8}) {
            for (int size = 0; size <= 9; ++size) {
                for (int radius = 0; radius <= 7; ++radius) {
                    for (int thickness = 0; thickness <= 4; ++thickness) {
                        checkAllRows(rectangle(left, top, size, 9 - size, radius, thickness));
                        if (testing::Test::HasFatalFailure()) return;
                    }
                }
            }
        }
    }
}

TEST(RowSpans, OfAFewColumnsAreThoseOfTheWholeRowCutToThem) {
    for (const auto& shape : {rectangle(0, 0, 17, 13, 6, 2), rectangle(3, 2, 16, 16, 8, 0),
                              rectangle(1, 1, 9, 17, 4, 4), rectangle(0, 0, 12, 12, 20, 3),
                              rectangle(2, 0, 15, 9, 0, 2)}) {
        for (int row = shape.top; row < shape.bottom; ++row) {
            for (int begin = shape.left; begin <= shape.right; ++begin) {
                for (int end = begin; end <= shape.right; ++end) {
                    const SampleRange columns{begin, end};
                    ASSERT_EQ(spannedRow(shape, row, columns), plainRow(shape, row, columns))
                        << describe(shape, row) << ", only " << begin << ".." << end;
                }
            }
        }
    }
}

TEST(RowSpans, OfLargeRectanglesFollowTheRuleToo) {
    std::mt19937 random(1);
    const auto upTo = [&random](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit + 1));
    };
    for (int run = 0; run < 4000; ++run) {
        const PlaneShape shape = rectangle(upTo(300), upTo(300), upTo(1920), 1 + upTo(1079),
                                           upTo(800), upTo(1) * upTo(900));
        const int row = shape.top + upTo(shape.bottom - shape.top - 1);
        const SampleRange columns{shape.left, shape.right};
        ASSERT_EQ(spannedRow(shape, row, columns), plainRow(shape, row, columns))
            << describe(shape, row);
    }
}

// The farthest a look can ask for: values are cut to 2^20 before they come here.
TEST(RowSpans, OfTheLargestRadiusAndThicknessFollowTheRule) {
    constexpr int far = 1 << 20;
    for (const int radius : {32767, 32768, far - 1, far}) {
        for (const int thickness : {0, 1, 32767, far - 1, far}) {
            const PlaneShape shape = rectangle(0, 0, 32768, 8, radius, thickness);
            const SampleRange columns{0, 32768};
            for (const int row : {0, 3, 7}) {
                ASSERT_EQ(spannedRow(shape, row, columns), plainRow(shape, row, columns))
                    << describe(shape, row);
            }
        }
    }
}

TEST(RowSpans, NoColumnsGiveNoSpans) {
    const PlaneShape shape = rectangle(0, 0, 10, 10, 3, 2);
    for (const SampleRange& columns : {SampleRange{0, 0}, SampleRange{5, 5}, SampleRange{7, 4}}) {
        for (int row = 0; row < 10; ++row) {
            const RowSpans spans(shape, row, columns);
            EXPECT_EQ(spans.begin(), spans.end());
        }
    }
}

// A corner gives border, picture, border at most, and so does what lies between two corners. That
// is less than the spans have room for.
TEST(RowSpans, OfOneRowAreNineAtMost) {
    std::size_t most = 0;
    for (int width = 0; width <= 40; ++width) {
        for (int height = 0; height <= 20; ++height) {
            for (int radius = 0; radius <= 24; ++radius) {
                for (int thickness = 0; thickness <= 24; ++thickness) {
                    const PlaneShape shape = rectangle(0, 0, width, height, radius, thickness);
                    for (int row = 0; row < height; ++row)
                        most = std::max(most, spanCount(shape, row));
                }
            }
        }
    }
    EXPECT_LE(most, 9U);
    EXPECT_GE(most, 3U);
}

// --------------------------------------------------------------------------------------- shapes

LayerLook croppedLook(float left, float top, float right, float bottom) {
    LayerLook look;
    look.cropLeft = left;
    look.cropTop = top;
    look.cropRight = right;
    look.cropBottom = bottom;
    return look;
}

TEST(LayerShape, LumaTakesTheLookAsItIs) {
    LayerLook look = croppedLook(3, 5, 7, 11);
    look.x = -13;
    look.y = 17;
    look.borderThickness = 9;
    look.borderRadius = 10;
    const PlaneShape shape = quol::lumaShape(look, {101, 67}, {320, 180});
    EXPECT_EQ(shape.left, 3);
    EXPECT_EQ(shape.top, 5);
    EXPECT_EQ(shape.right, 94);
    EXPECT_EQ(shape.bottom, 56);
    EXPECT_EQ(shape.thickness, 9);
    EXPECT_EQ(shape.radius, 6);
    EXPECT_EQ(shape.x, -13);
    EXPECT_EQ(shape.y, 17);
    EXPECT_EQ(shape.canvasWidth, 320);
    EXPECT_EQ(shape.canvasHeight, 180);
}

TEST(LayerShape, ChromaIsEveryMeasureHalvedByItself) {
    for (int size = 1; size <= 9; ++size) {
        for (int first = 0; first <= 5; ++first) {
            for (int second = 0; second <= 5; ++second) {
                const LayerLook look =
                    croppedLook(static_cast<float>(first), static_cast<float>(second),
                                static_cast<float>(second), static_cast<float>(first));
                const PlaneShape shape = quol::chromaShape(look, {size, 10 - size}, {7, 8});
                ASSERT_EQ(shape.left, first / 2);
                ASSERT_EQ(shape.top, second / 2);
                ASSERT_EQ(shape.right, size / 2 - second / 2);
                ASSERT_EQ(shape.bottom, (10 - size) / 2 - first / 2);
                ASSERT_EQ(shape.canvasWidth, 3);
                ASSERT_EQ(shape.canvasHeight, 4);
            }
        }
    }
}

TEST(LayerShape, ChromaThicknessIsHalvedAndCut) {
    LayerLook look;
    for (int thickness = 0; thickness <= 20; ++thickness) {
        look.borderThickness = thickness;
        EXPECT_EQ(quol::lumaShape(look, {40, 40}, {40, 40}).thickness, thickness);
        EXPECT_EQ(quol::chromaShape(look, {40, 40}, {40, 40}).thickness, thickness / 2);
    }
}

TEST(LayerShape, RadiusIsAPercentageOfTheSmallerSideAndHalfOfItInChroma) {
    LayerLook look;
    for (int percent = 0; percent <= 120; ++percent) {
        look.borderRadius = percent;
        for (const PictureSize& target :
             {PictureSize{101, 300}, PictureSize{300, 101}, PictureSize{33, 33}}) {
            const int side = std::min(target.width, target.height);
            EXPECT_EQ(quol::lumaShape(look, target, {1, 1}).radius, side * percent / 100);
            EXPECT_EQ(quol::chromaShape(look, target, {1, 1}).radius, side * percent / 200);
        }
    }
}

TEST(LayerShape, ChromaPositionIsHalvedTowardsZero) {
    LayerLook look;
    for (int position = -9; position <= 9; ++position) {
        look.x = position;
        look.y = -position;
        for (const PlaneShape& shape :
             {quol::chromaShape(look, {8, 8}, {8, 8}),
              quol::copiedChroma(quol::lumaShape(look, {8, 8}, {8, 8}))}) {
            EXPECT_EQ(shape.x, position / 2);
            EXPECT_EQ(shape.y, -position / 2);
        }
    }
}

TEST(LayerShape, CopiedChromaCountsTheLastHalfSample) {
    const LayerLook look;
    for (int size = 1; size <= 9; ++size) {
        const PlaneShape shape =
            quol::copiedChroma(quol::lumaShape(look, {size, size + 1}, {size + 2, size + 3}));
        EXPECT_EQ(shape.left, 0);
        EXPECT_EQ(shape.top, 0);
        EXPECT_EQ(shape.right, (size + 1) / 2);
        EXPECT_EQ(shape.bottom, (size + 2) / 2);
        EXPECT_EQ(shape.canvasWidth, (size + 3) / 2);
        EXPECT_EQ(shape.canvasHeight, (size + 4) / 2);
    }
}

TEST(LayerShape, CropsAreCutToWholeSamples) {
    const PlaneShape shape =
        quol::lumaShape(croppedLook(0.9F, 1.99F, 2.5F, 3.1F), {20, 20}, {20, 20});
    EXPECT_EQ(shape.left, 0);
    EXPECT_EQ(shape.top, 1);
    EXPECT_EQ(shape.right, 18);
    EXPECT_EQ(shape.bottom, 17);
}

TEST(LayerShape, CropsBelowZeroAndThoseThatAreNoNumbersAreNone) {
    constexpr float none = std::numeric_limits<float>::quiet_NaN();
    constexpr float infinite = std::numeric_limits<float>::infinity();
    for (const float crop : {-1.0F, -1000.0F, -infinite, none}) {
        const LayerLook look = croppedLook(crop, crop, crop, crop);
        for (const PlaneShape& shape : {quol::lumaShape(look, {20, 10}, {40, 40}),
                                        quol::chromaShape(look, {40, 20}, {80, 80})}) {
            EXPECT_EQ(shape.left, 0);
            EXPECT_EQ(shape.top, 0);
            EXPECT_EQ(shape.right, 20);
            EXPECT_EQ(shape.bottom, 10);
        }
    }
}

TEST(LayerShape, CropsBeyondThePictureLeaveNothing) {
    constexpr float infinite = std::numeric_limits<float>::infinity();
    for (const float crop : {10.0F, 11.0F, 20.0F, 1.0e9F, infinite}) {
        const LayerLook look = croppedLook(crop, crop, crop, crop);
        EXPECT_FALSE(quol::isVisible(quol::lumaShape(look, {20, 20}, {100, 100})));
        EXPECT_FALSE(quol::isVisible(quol::chromaShape(look, {20, 20}, {100, 100})));
    }
}

// ---------------------------------------------------------------------------------- on the canvas

// The samples of one direction that lie on the canvas, found one by one.
std::vector<int> onCanvas(int begin, int end, int place, int size) {
    std::vector<int> seen;
    for (int i = begin; i < end; ++i) {
        const int at = place + i - begin;
        if (at >= 0 && at < size) seen.push_back(i);
    }
    return seen;
}

std::vector<int> listed(const SampleRange& range) {
    std::vector<int> samples;
    for (int i = range.begin; i < range.end; ++i)
        samples.push_back(i);
    return samples;
}

TEST(VisibleSamples, AreThoseThatLieOnTheCanvas) {
    for (int begin = 0; begin <= 4; ++begin) {
        for (int end = 0; end <= 9; ++end) {
            for (int place = -12; place <= 12; ++place) {
                for (int size = 0; size <= 8; ++size) {
                    PlaneShape shape;
                    shape.left = shape.top = begin;
                    shape.right = shape.bottom = end;
                    shape.x = shape.y = place;
                    shape.canvasWidth = shape.canvasHeight = size;
                    const std::vector<int> seen = onCanvas(begin, end, place, size);
                    ASSERT_EQ(listed(quol::visibleRows(shape)), seen);
                    ASSERT_EQ(listed(quol::visibleColumns(shape)), seen);
                    ASSERT_EQ(quol::isVisible(shape), !seen.empty());
                    for (const int i : seen) {
                        ASSERT_EQ(shape.canvasRow(i), place + i - begin);
                        ASSERT_EQ(shape.canvasColumn(i), place + i - begin);
                    }
                }
            }
        }
    }
}

TEST(VisibleSamples, RowsAndColumnsAreNotTakenForEachOther) {
    PlaneShape shape = rectangle(2, 3, 20, 30, 0, 0);
    shape.x = -5;
    shape.y = 4;
    shape.canvasWidth = 10;
    shape.canvasHeight = 6;
    EXPECT_EQ(quol::visibleColumns(shape).begin, 7);
    EXPECT_EQ(quol::visibleColumns(shape).end, 17);
    EXPECT_EQ(quol::visibleRows(shape).begin, 3);
    EXPECT_EQ(quol::visibleRows(shape).end, 5);
}

TEST(VisibleSamples, FarOutsideAreNone) {
    constexpr int far = 1 << 20;
    for (const int x : {-far, far}) {
        for (const int y : {-far, 0, far}) {
            LayerLook look;
            look.x = x;
            look.y = y;
            EXPECT_FALSE(quol::isVisible(quol::lumaShape(look, {32768, 16}, {1920, 1080})));
            EXPECT_FALSE(quol::isVisible(quol::chromaShape(look, {32768, 16}, {1920, 1080})));
        }
    }
}

TEST(LayerShape, CoversTheCanvasWhenEverySampleOfItIsUnderTheRectangle) {
    for (int place = -4; place <= 4; ++place) {
        for (int length = 0; length <= 10; ++length) {
            for (int size = 1; size <= 6; ++size) {
                PlaneShape wide = rectangle(0, 0, length, 100, 0, 0);
                wide.x = place;
                wide.y = -10;
                wide.canvasWidth = size;
                wide.canvasHeight = 20;
                const bool covers =
                    static_cast<int>(onCanvas(0, length, place, size).size()) == size;
                ASSERT_EQ(wide.coversCanvas(), covers);
                PlaneShape high = rectangle(0, 0, 100, length, 0, 0);
                high.x = -10;
                high.y = place;
                high.canvasWidth = 20;
                high.canvasHeight = size;
                ASSERT_EQ(high.coversCanvas(), covers);
            }
        }
    }
}

// What is copied over the whole canvas in luma leaves no sample of chroma open.
TEST(LayerShape, CopiedLayerThatCoversInLumaCoversInChroma) {
    for (int width = 1; width <= 12; ++width) {
        for (int canvas = 1; canvas <= 9; ++canvas) {
            for (int x = -8; x <= 8; ++x) {
                LayerLook look;
                look.x = look.y = x;
                const PlaneShape luma = quol::lumaShape(look, {width, width}, {canvas, canvas});
                if (!luma.coversCanvas()) continue;
                EXPECT_TRUE(quol::copiedChroma(luma).coversCanvas())
                    << width << " at " << x << " on " << canvas;
            }
        }
    }
}

} // namespace

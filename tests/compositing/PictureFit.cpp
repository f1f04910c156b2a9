#include "compositing/PictureFit.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <tuple>
#include <utility>
#include <vector>

#include "core/ScaledPicture.h"
#include "support/PlainFrames.h"

namespace {

using quol::FramePtr;
using quol::PictureFit;
using quol::PicturePlace;
using quol::placeOf;
using quol::ScaleMode;
using test::Levels;
using test::plainPicture;

void expectPlace(const PicturePlace& place, int left, int top, int width, int height) {
    EXPECT_EQ(std::tie(place.left, place.top, place.width, place.height),
              std::tie(left, top, width, height));
}

TEST(PicturePlace, StretchedIsTheWholeCanvas) {
    expectPlace(placeOf(ScaleMode::stretch, 4, 3, 1920, 1080), 0, 0, 1920, 1080);
    expectPlace(placeOf(ScaleMode::stretch, 1, 1000, 17, 11), 0, 0, 17, 11);
}

TEST(PicturePlace, FittedIsWholeBetweenBars) {
    expectPlace(placeOf(ScaleMode::fit, 720, 576, 1920, 1080), 285, 0, 1350, 1080);
    // 1920 / 2.4F is just below 800, and is cut.
    expectPlace(placeOf(ScaleMode::fit, 1920, 800, 1920, 1080), 0, 140, 1920, 799);
    expectPlace(placeOf(ScaleMode::fit, 1280, 720, 1920, 1080), 0, 0, 1920, 1080);
    expectPlace(placeOf(ScaleMode::fit, 1080, 1920, 1920, 1080), 656, 0, 607, 1080);
}

TEST(PicturePlace, FilledHangsOverBothSides) {
    expectPlace(placeOf(ScaleMode::fill, 720, 576, 1920, 1080), 0, -228, 1920, 1536);
    expectPlace(placeOf(ScaleMode::fill, 1920, 800, 1920, 1080), -336, 0, 2592, 1080);
    expectPlace(placeOf(ScaleMode::fill, 1280, 720, 1920, 1080), 0, 0, 1920, 1080);
}

TEST(PicturePlace, ThinStripsMayBeNothing) {
    expectPlace(placeOf(ScaleMode::fit, 10000, 1, 16, 9), 0, 4, 16, 0);
}

TEST(ScaleModes, AreOneForFitAndTwoForFill) {
    EXPECT_EQ(quol::scaleModeOf(0), ScaleMode::stretch);
    EXPECT_EQ(quol::scaleModeOf(1), ScaleMode::fit);
    EXPECT_EQ(quol::scaleModeOf(2), ScaleMode::fill);
    EXPECT_EQ(quol::scaleModeOf(3), ScaleMode::stretch);
    EXPECT_EQ(quol::scaleModeOf(-1), ScaleMode::stretch);
}

TEST(PictureFit, PictureThatFitsIsHandedThrough) {
    for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ420P}) {
        for (const ScaleMode mode : {ScaleMode::stretch, ScaleMode::fit, ScaleMode::fill}) {
            PictureFit fit;
            const FramePtr source = plainPicture(64, 36, {90, 100, 110}, format);
            const FramePtr shown = fit.get(*source, mode, 64, 36, SWS_BICUBIC);
            ASSERT_TRUE(shown);
            EXPECT_EQ(shown->data[0], source->data[0]);
        }
    }
}

// Where the source is, its colour; elsewhere black.
void expectShown(const AVFrame& picture, const PicturePlace& place, const Levels& levels) {
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            const bool inside = x >= place.left && x < place.left + place.width && y >= place.top &&
                                y < place.top + place.height;
            ASSERT_EQ(test::levelsAt(&picture, x, y).y, inside ? levels.y : 0) << x << "," << y;
        }
    }
    for (int plane = 1; plane <= 2; ++plane) {
        const int level = plane == 1 ? levels.u : levels.v;
        for (int y = 0; y < (picture.height + 1) / 2; ++y) {
            for (int x = 0; x < (picture.width + 1) / 2; ++x) {
                const bool inside =
                    x >= place.left / 2 && x < place.left / 2 + (place.width + 1) / 2 &&
                    y >= place.top / 2 && y < place.top / 2 + (place.height + 1) / 2;
                ASSERT_EQ(picture.data[plane][y * picture.linesize[plane] + x],
                          inside ? level : 128)
                    << plane << ": " << x << "," << y;
            }
        }
    }
}

TEST(PictureFit, EveryShapeInEveryModeLiesAtItsPlaceWithBlackAround) {
    const Levels levels{180, 60, 200};
    for (const auto& [width, height] : std::vector<std::pair<int, int>>{
             {64, 64}, {128, 36}, {36, 128}, {33, 21}, {7, 3}, {640, 360}, {1, 1}}) {
        for (const auto& [w, h] : std::vector<std::pair<int, int>>{{64, 36}, {128, 90}, {63, 37}}) {
            for (const ScaleMode mode : {ScaleMode::stretch, ScaleMode::fit, ScaleMode::fill}) {
                SCOPED_TRACE(testing::Message() << width << "x" << height << " on " << w << "x" << h
                                                << " mode " << static_cast<int>(mode));
                PictureFit fit;
                const FramePtr source = plainPicture(width, height, levels);
                const FramePtr shown = fit.get(*source, mode, w, h, SWS_POINT);
                ASSERT_TRUE(shown);
                EXPECT_EQ(shown->format, AV_PIX_FMT_YUV420P);
                expectShown(*shown, placeOf(mode, width, height, w, h), levels);
            }
        }
    }
}

// A pattern with no symmetry.
FramePtr patternedPicture(int width, int height) {
    FramePtr picture = plainPicture(width, height, {}, AV_PIX_FMT_YUV422P);
    for (int plane = 0; plane < 3; ++plane) {
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < (plane == 0 ? width : width / 2); ++x)
                picture->data[plane][y * picture->linesize[plane] + x] =
                    static_cast<std::uint8_t>(x * 13 + y * 29 + x * y * (plane + 3));
    }
    return picture;
}

TEST(PictureFit, ScalesAsSwscaleDoesAllOfIt) {
    const FramePtr source = patternedPicture(100, 80);
    for (const ScaleMode mode : {ScaleMode::stretch, ScaleMode::fit, ScaleMode::fill}) {
        for (const int flags : {SWS_BICUBIC, SWS_BILINEAR, SWS_LANCZOS, SWS_POINT}) {
            const PicturePlace place = placeOf(mode, 100, 80, 128, 72);
            PictureFit fit;
            const FramePtr shown = fit.get(*source, mode, 128, 72, flags);
            const FramePtr whole =
                quol::PicturePool().get(place.width, place.height, AV_PIX_FMT_YUV420P);
            ASSERT_TRUE(quol::Scaler().scale(*source, *whole, flags));
            for (int y = 0; y < 72; ++y) {
                for (int x = 0; x < 128; ++x) {
                    const int sx = x - place.left;
                    const int sy = y - place.top;
                    if (sx < 0 || sy < 0 || sx >= place.width || sy >= place.height) continue;
                    ASSERT_EQ(test::levelsAt(shown.get(), x, y).y,
                              test::levelsAt(whole.get(), sx, sy).y);
                }
            }
        }
    }
}

TEST(PictureFit, ThinStripsAndOverlongFillsAreBlack) {
    PictureFit fit;
    const FramePtr strip = plainPicture(10000, 1, {200, 90, 90});
    expectShown(*fit.get(*strip, ScaleMode::fit, 16, 9, SWS_BICUBIC), {}, {});
    expectShown(*fit.get(*strip, ScaleMode::fill, 64, 36, SWS_BICUBIC), {}, {});
}

TEST(PictureFit, SamePictureIsScaledOnce) {
    PictureFit fit;
    FramePtr source = plainPicture(32, 32, {200, 90, 90});
    source->pts = 1;
    const FramePtr first = fit.get(*source, ScaleMode::fit, 64, 36, SWS_BICUBIC);
    EXPECT_EQ(fit.get(*source, ScaleMode::fit, 64, 36, SWS_BICUBIC)->data[0], first->data[0]);
    EXPECT_NE(fit.get(*source, ScaleMode::fill, 64, 36, SWS_BICUBIC)->data[0], first->data[0]);
    source->pts = 2;
    const FramePtr later = fit.get(*source, ScaleMode::fit, 64, 36, SWS_BICUBIC);
    EXPECT_NE(later->data[0], first->data[0]);
    expectShown(*first, placeOf(ScaleMode::fit, 32, 32, 64, 36), {200, 90, 90}); // still whole
}

// Half of an overhang of one is none: the place begins on the canvas and ends beyond it.
TEST(PictureFit, OverhangOfOneSampleStaysOffTheCanvas) {
    struct Case {
        int width, height, canvasWidth, canvasHeight;
    };
    for (const Case& each : std::vector<Case>{{1278, 1024, 1280, 1024},
                                              {800, 641, 1280, 1024},
                                              {720, 577, 1280, 1024},
                                              {1920, 1081, 2560, 1440},
                                              {1436, 1080, 640, 480},
                                              {641, 360, 640, 360},
                                              {64, 33, 64, 32}}) {
        SCOPED_TRACE(testing::Message() << each.width << "x" << each.height);
        PictureFit fit;
        const FramePtr source = plainPicture(each.width, each.height, {180, 60, 200});
        const FramePtr shown =
            fit.get(*source, ScaleMode::fill, each.canvasWidth, each.canvasHeight, SWS_BICUBIC);
        ASSERT_TRUE(shown);
        expectShown(
            *shown,
            placeOf(ScaleMode::fill, each.width, each.height, each.canvasWidth, each.canvasHeight),
            {180, 60, 200});
    }
}

} // namespace

#include "outputs/ReplayView.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "core/Scaler.h"
#include "outputs/ReplayForm.h"
#include "support/PlanarPictures.h"

namespace {

using quol::FramePtr;
using quol::PicturePool;
using quol::ReplayView;
using test::noisePicture;
using test::sample;

FramePtr converted(const FramePtr& picture) {
    FramePtr view = PicturePool().get(picture->width, picture->height, AV_PIX_FMT_YUVA420P);
    ReplayView().convert(*picture, *view);
    return view;
}

TEST(ReplayView, IsWhatSwscaleMakesWithAccurateRounding) {
    unsigned seed = 1;
    for (const auto& [width, height] :
         {std::pair{720, 576}, {1280, 720}, {321, 94}, {640, 8}, {48, 10}, {17, 1080}}) {
        const FramePtr picture = noisePicture(width, height, AV_PIX_FMT_YUVJ422P, seed++);
        const FramePtr expected = PicturePool().get(width, height, AV_PIX_FMT_YUVA420P);
        quol::Scaler scaler;
        ASSERT_TRUE(scaler.scale(*picture, *expected, SWS_BILINEAR | SWS_ACCURATE_RND));
        ASSERT_TRUE(ReplayView::takes(*picture));
        EXPECT_EQ(test::differences(converted(picture), expected), 0) << width << 'x' << height;
    }
}

// Every value of luma, and chroma of any four rows.
TEST(ReplayView, EveryValueComesAsTheStepsOfSwscaleGiveIt) {
    const FramePtr picture = noisePicture(512, 512, AV_PIX_FMT_YUVJ422P, 1);
    for (int y = 0; y < 512; ++y) {
        for (int x = 0; x < 512; ++x)
            sample(picture, 0, x, y) = static_cast<std::uint8_t>(x);
    }
    test::fillPlane(picture, 2, 255);
    const FramePtr view = converted(picture);
    for (int x = 0; x < 256; ++x) {
        const int wide = ((x << 7) * 14071 + 33561947) >> 14;
        EXPECT_EQ(sample(view, 0, x, 300), (wide + 64) >> 7) << x;
    }
    for (int plane = 1; plane < 3; ++plane) {
        for (int y = 0; y < 256; ++y) {
            for (int x = 0; x < 256; ++x) {
                int sum = 512;
                for (const auto& [row, weight] : {std::pair{-1, 1}, {0, 3}, {1, 3}, {2, 1}}) {
                    const int value = sample(picture, plane, x, std::clamp(2 * y + row, 0, 511));
                    sum += weight * (((value << 7) * 1799 + 4081085) >> 11);
                }
                ASSERT_EQ(sample(view, plane, x, y), sum >> 10) << plane << " at " << x << ',' << y;
            }
        }
    }
}

TEST(ReplayView, IsOpaqueAndInTheRangeOfVideo) {
    const FramePtr picture = noisePicture(64, 8, AV_PIX_FMT_YUVJ422P, 1);
    const auto expect = [&](int y, int u, int v, int videoY, int videoU, int videoV) {
        test::fillPlane(picture, 0, y);
        test::fillPlane(picture, 1, u);
        test::fillPlane(picture, 2, v);
        const FramePtr view = converted(picture);
        for (int row = 0; row < 8; ++row) {
            EXPECT_EQ(sample(view, 0, 63, row), videoY) << row;
            EXPECT_EQ(sample(view, 1, 31, row / 2), videoU) << row;
            EXPECT_EQ(sample(view, 2, 31, row / 2), videoV) << row;
            EXPECT_EQ(sample(view, 3, 63, row), 255) << row;
        }
    };
    expect(0, 128, 128, 16, 128, 128);
    expect(255, 255, 0, 235, 240, 16);
}

// What was plain comes back as it was, but for what full range cannot tell apart.
TEST(ReplayView, GivesBackWhatWasStored) {
    for (int value = 16; value <= 235; ++value) {
        const FramePtr picture = noisePicture(64, 8, AV_PIX_FMT_YUVA420P, 1);
        for (int plane = 0; plane < 3; ++plane)
            test::fillPlane(picture, plane, value);
        test::fillPlane(picture, 3, 255);
        const FramePtr stored = PicturePool().get(64, 8, AV_PIX_FMT_YUVJ422P);
        quol::ReplayForm().convert(*picture, *stored);
        EXPECT_EQ(test::differences(converted(stored), picture), 0) << value;
    }
}

TEST(ReplayView, WritesNothingBesideThePicture) {
    const FramePtr picture = noisePicture(50, 8, AV_PIX_FMT_YUVJ422P, 1);
    const FramePtr view = PicturePool().get(50, 8, AV_PIX_FMT_YUVA420P);
    for (int plane = 0; plane < 4; ++plane)
        test::fillPlane(view, plane, 77);
    ReplayView().convert(*picture, *view);
    for (int plane = 0; plane < 4; ++plane) {
        const test::PlaneSize size = test::planeSize(*view, plane);
        ASSERT_GT(view->linesize[plane], size.width);
        for (int y = 0; y < size.height; ++y) {
            for (int x = size.width; x < view->linesize[plane]; ++x)
                EXPECT_EQ(sample(view, plane, x, y), 77) << plane;
        }
    }
}

TEST(ReplayView, TakesNothingElse) {
    EXPECT_TRUE(ReplayView::takes(*noisePicture(64, 8, AV_PIX_FMT_YUVJ422P, 1)));
    EXPECT_FALSE(ReplayView::takes(*noisePicture(64, 9, AV_PIX_FMT_YUVJ422P, 1)));
    EXPECT_FALSE(ReplayView::takes(*noisePicture(64, 6, AV_PIX_FMT_YUVJ422P, 1)));
    EXPECT_FALSE(ReplayView::takes(*PicturePool().get(64, 8, AV_PIX_FMT_YUV422P)));
    EXPECT_FALSE(ReplayView::takes(*PicturePool().get(64, 8, AV_PIX_FMT_YUVJ420P)));
}

} // namespace

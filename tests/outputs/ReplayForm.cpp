#include "outputs/ReplayForm.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "core/Scaler.h"
#include "support/PlanarPictures.h"

namespace {

using quol::FramePtr;
using quol::PicturePool;
using quol::ReplayForm;
using test::noisePicture;
using test::sample;

FramePtr converted(const FramePtr& picture) {
    FramePtr form = PicturePool().get(picture->width, picture->height, AV_PIX_FMT_YUVJ422P);
    ReplayForm().convert(*picture, *form);
    return form;
}

TEST(ReplayForm, IsWhatSwscaleMakesWithAccurateRounding) {
    unsigned seed = 1;
    for (const auto format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVA420P}) {
        for (const auto& [width, height] :
             {std::pair{720, 576}, {1280, 720}, {321, 94}, {640, 8}, {48, 10}, {17, 1080}}) {
            const FramePtr picture = noisePicture(width, height, format, seed++);
            const FramePtr expected = PicturePool().get(width, height, AV_PIX_FMT_YUVJ422P);
            quol::Scaler scaler;
            ASSERT_TRUE(scaler.scale(*picture, *expected, SWS_BILINEAR | SWS_ACCURATE_RND));
            ASSERT_TRUE(ReplayForm::takes(*picture));
            EXPECT_EQ(test::differences(converted(picture), expected), 0) << width << 'x' << height;
        }
    }
}

// Every value of luma, and every pair of values of chroma one above the other.
TEST(ReplayForm, EveryValueComesAsTheStepsOfSwscaleGiveIt) {
    const FramePtr picture = noisePicture(512, 512, AV_PIX_FMT_YUV420P, 1);
    for (int y = 0; y < 512; ++y) {
        for (int x = 0; x < 512; ++x)
            sample(picture, 0, x, y) = static_cast<std::uint8_t>(x);
    }
    for (int y = 0; y < 256; ++y) {
        for (int x = 0; x < 256; ++x) {
            sample(picture, 1, x, y) = static_cast<std::uint8_t>(y % 2 == 0 ? x : y);
            sample(picture, 2, x, y) = static_cast<std::uint8_t>(y % 2 == 0 ? x : y - 1);
        }
    }
    const FramePtr form = converted(picture);
    for (int x = 0; x < 256; ++x) {
        const int wide = (std::min(x << 7, 30189) * 19077 - 39057361) >> 14;
        EXPECT_EQ(sample(form, 0, x, 300), std::clamp((wide + 64) >> 7, 0, 255)) << x;
    }
    const auto wide = [](int value) {
        return (std::min(value << 7, 30775) * 4663 - 9289992) >> 12;
    };
    for (int plane = 1; plane < 3; ++plane) {
        for (int y = 1; y < 511; ++y) {
            const int near = y / 2;
            const int far = y % 2 == 0 ? near - 1 : near + 1;
            for (int x = 0; x < 256; ++x) {
                const int sum = 3 * wide(sample(picture, plane, x, near)) +
                                wide(sample(picture, plane, x, far));
                ASSERT_EQ(sample(form, plane, x, y), std::clamp((sum + 256) >> 9, 0, 255))
                    << plane << " at " << x << ',' << y;
            }
        }
    }
}

TEST(ReplayForm, VideoRangeBecomesFullRange) {
    const FramePtr picture = noisePicture(64, 8, AV_PIX_FMT_YUV420P, 1);
    const auto expect = [&](int y, int u, int v, int fullY, int fullU, int fullV) {
        test::fillPlane(picture, 0, y);
        test::fillPlane(picture, 1, u);
        test::fillPlane(picture, 2, v);
        const FramePtr form = converted(picture);
        for (int row = 0; row < 8; ++row) {
            EXPECT_EQ(sample(form, 0, 63, row), fullY) << row;
            EXPECT_EQ(sample(form, 1, 31, row), fullU) << row;
            EXPECT_EQ(sample(form, 2, 31, row), fullV) << row;
        }
    };
    expect(16, 128, 128, 0, 128, 128);
    expect(235, 240, 16, 255, 255, 0);
    expect(255, 255, 0, 255, 255, 0);
    expect(0, 16, 240, 0, 0, 255);
}

TEST(ReplayForm, WritesNothingBesideThePicture) {
    const FramePtr picture = noisePicture(50, 8, AV_PIX_FMT_YUV420P, 1);
    const FramePtr form = PicturePool().get(50, 8, AV_PIX_FMT_YUVJ422P);
    for (int plane = 0; plane < 3; ++plane)
        test::fillPlane(form, plane, 77);
    ReplayForm().convert(*picture, *form);
    for (int plane = 0; plane < 3; ++plane) {
        const int width = test::planeSize(*form, plane).width;
        ASSERT_GT(form->linesize[plane], width);
        for (int y = 0; y < 8; ++y) {
            for (int x = width; x < form->linesize[plane]; ++x)
                EXPECT_EQ(sample(form, plane, x, y), 77) << plane;
        }
    }
}

TEST(ReplayForm, TakesNothingElse) {
    EXPECT_TRUE(ReplayForm::takes(*noisePicture(64, 8, AV_PIX_FMT_YUV420P, 1)));
    EXPECT_FALSE(ReplayForm::takes(*noisePicture(64, 9, AV_PIX_FMT_YUV420P, 1)));
    EXPECT_FALSE(ReplayForm::takes(*noisePicture(64, 6, AV_PIX_FMT_YUV420P, 1)));
    EXPECT_FALSE(ReplayForm::takes(*PicturePool().get(64, 8, AV_PIX_FMT_YUV422P)));
    EXPECT_FALSE(ReplayForm::takes(*PicturePool().get(64, 8, AV_PIX_FMT_YUVJ420P)));
    EXPECT_FALSE(ReplayForm::takes(*PicturePool().get(64, 8, AV_PIX_FMT_NV12)));
}

} // namespace

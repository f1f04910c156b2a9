#include "outputs/ReplayForm.h"

#include <gtest/gtest.h>

#include <random>

#include "core/PicturePool.h"
#include "core/Scaler.h"

namespace {

using quol::FramePtr;
using quol::PicturePool;
using quol::ReplayForm;

struct Extent {
    int width;
    int height;
};

Extent extentOf(const AVFrame& picture, int plane) {
    const bool halved = plane == 1 || plane == 2;
    const bool low = halved && picture.format != AV_PIX_FMT_YUVJ422P;
    return {halved ? (picture.width + 1) / 2 : picture.width,
            low ? (picture.height + 1) / 2 : picture.height};
}

std::uint8_t& sample(const FramePtr& picture, int plane, int x, int y) {
    return picture->data[plane][y * picture->linesize[plane] + x];
}

// Samples of any value, those that are outside the range of video, too.
FramePtr noise(int width, int height, AVPixelFormat format, unsigned seed) {
    FramePtr picture = PicturePool().get(width, height, format);
    std::mt19937 chance(seed);
    for (int plane = 0; plane < 4 && picture->data[plane] != nullptr; ++plane) {
        const Extent extent = extentOf(*picture, plane);
        for (int y = 0; y < extent.height; ++y) {
            for (int x = 0; x < extent.width; ++x)
                sample(picture, plane, x, y) = static_cast<std::uint8_t>(chance());
        }
    }
    return picture;
}

FramePtr converted(const FramePtr& picture) {
    FramePtr form = PicturePool().get(picture->width, picture->height, AV_PIX_FMT_YUVJ422P);
    ReplayForm().convert(*picture, *form);
    return form;
}

int differences(const FramePtr& one, const FramePtr& other) {
    int found = 0;
    for (int plane = 0; plane < 3; ++plane) {
        const Extent extent = extentOf(*one, plane);
        for (int y = 0; y < extent.height; ++y) {
            for (int x = 0; x < extent.width; ++x)
                found += sample(one, plane, x, y) != sample(other, plane, x, y) ? 1 : 0;
        }
    }
    return found;
}

TEST(ReplayForm, IsWhatSwscaleMakesWithAccurateRounding) {
    unsigned seed = 1;
    for (const auto format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVA420P}) {
        for (const Extent size : {Extent{720, 576}, Extent{1280, 720}, Extent{321, 94},
                                  Extent{640, 8}, Extent{48, 10}, Extent{17, 1080}}) {
            const FramePtr picture = noise(size.width, size.height, format, seed++);
            const FramePtr expected =
                PicturePool().get(size.width, size.height, AV_PIX_FMT_YUVJ422P);
            quol::Scaler scaler;
            ASSERT_TRUE(scaler.scale(*picture, *expected, SWS_BILINEAR | SWS_ACCURATE_RND));
            ASSERT_TRUE(ReplayForm::takes(*picture));
            EXPECT_EQ(differences(converted(picture), expected), 0)
                << size.width << 'x' << size.height;
        }
    }
}

// Every value of luma, and every pair of values of chroma one above the other.
TEST(ReplayForm, EveryValueComesAsTheStepsOfSwscaleGiveIt) {
    const FramePtr picture = noise(512, 512, AV_PIX_FMT_YUV420P, 1);
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
    const FramePtr picture = noise(64, 8, AV_PIX_FMT_YUV420P, 1);
    const auto fill = [&](int y, int u, int v) {
        for (int plane = 0; plane < 3; ++plane) {
            const int value = plane == 0 ? y : plane == 1 ? u : v;
            std::fill_n(picture->data[plane], picture->linesize[plane] * (plane == 0 ? 8 : 4),
                        static_cast<std::uint8_t>(value));
        }
    };
    const auto expect = [&](int y, int u, int v) {
        const FramePtr form = converted(picture);
        for (int row = 0; row < 8; ++row) {
            EXPECT_EQ(sample(form, 0, 63, row), y) << row;
            EXPECT_EQ(sample(form, 1, 31, row), u) << row;
            EXPECT_EQ(sample(form, 2, 31, row), v) << row;
        }
    };
    fill(16, 128, 128);
    expect(0, 128, 128);
    fill(235, 240, 16);
    expect(255, 255, 0);
    fill(255, 255, 0);
    expect(255, 255, 0);
}

TEST(ReplayForm, WritesNothingBesideThePicture) {
    const FramePtr picture = noise(50, 8, AV_PIX_FMT_YUV420P, 1);
    const FramePtr form = PicturePool().get(50, 8, AV_PIX_FMT_YUVJ422P);
    for (int plane = 0; plane < 3; ++plane)
        std::fill_n(form->data[plane], form->linesize[plane] * 8, std::uint8_t{77});
    ReplayForm().convert(*picture, *form);
    for (int plane = 0; plane < 3; ++plane) {
        const int width = extentOf(*form, plane).width;
        ASSERT_GT(form->linesize[plane], width);
        for (int y = 0; y < 8; ++y) {
            for (int x = width; x < form->linesize[plane]; ++x)
                EXPECT_EQ(sample(form, plane, x, y), 77) << plane;
        }
    }
}

TEST(ReplayForm, TakesNothingElse) {
    EXPECT_TRUE(ReplayForm::takes(*noise(64, 8, AV_PIX_FMT_YUV420P, 1)));
    EXPECT_FALSE(ReplayForm::takes(*noise(64, 9, AV_PIX_FMT_YUV420P, 1)));
    EXPECT_FALSE(ReplayForm::takes(*noise(64, 6, AV_PIX_FMT_YUV420P, 1)));
    EXPECT_FALSE(ReplayForm::takes(*PicturePool().get(64, 8, AV_PIX_FMT_YUV422P)));
    EXPECT_FALSE(ReplayForm::takes(*PicturePool().get(64, 8, AV_PIX_FMT_YUVJ420P)));
    EXPECT_FALSE(ReplayForm::takes(*PicturePool().get(64, 8, AV_PIX_FMT_NV12)));
}

} // namespace

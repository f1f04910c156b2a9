#include "core/PictureCheck.h"

#include <gtest/gtest.h>

#include "support/Frames.h"

namespace {

quol::FramePtr good(AVPixelFormat format = AV_PIX_FMT_YUV420P) {
    return test::makePicture(64, 36, format);
}

TEST(PictureCheck, TakesPicturesOfAllForms) {
    for (const AVPixelFormat format :
         {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVA422P, AV_PIX_FMT_NV12, AV_PIX_FMT_RGBA,
          AV_PIX_FMT_RGB24, AV_PIX_FMT_UYVY422, AV_PIX_FMT_GRAY8, AV_PIX_FMT_PAL8,
          AV_PIX_FMT_MONOBLACK, AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_GBRP10LE}) {
        EXPECT_TRUE(quol::isReadablePicture(*good(format))) << format;
    }
}

TEST(PictureCheck, TakesRowsFromBottomToTop) {
    const quol::FramePtr picture = good();
    for (int plane = 0; plane < 3; ++plane) {
        const int rows = plane == 0 ? 36 : 18;
        picture->data[plane] += static_cast<std::ptrdiff_t>(rows - 1) * picture->linesize[plane];
        picture->linesize[plane] = -picture->linesize[plane];
    }
    EXPECT_TRUE(quol::isReadablePicture(*picture));
}

TEST(PictureCheck, RefusesWhatLacksSomething) {
    const auto refused = [](auto spoil, AVPixelFormat format = AV_PIX_FMT_YUV420P) {
        const quol::FramePtr picture = good(format);
        spoil(*picture);
        return !quol::isReadablePicture(*picture);
    };
    EXPECT_TRUE(refused([](AVFrame& frame) { frame.width = 0; }));
    EXPECT_TRUE(refused([](AVFrame& frame) { frame.height = -1; }));
    EXPECT_TRUE(refused([](AVFrame& frame) { frame.format = AV_PIX_FMT_NONE; }));
    EXPECT_TRUE(refused([](AVFrame& frame) { frame.format = 100000; }));
    EXPECT_TRUE(refused([](AVFrame& frame) { frame.format = AV_PIX_FMT_VAAPI; }));
    EXPECT_TRUE(refused([](AVFrame& frame) { frame.data[2] = nullptr; }));
    EXPECT_TRUE(refused([](AVFrame& frame) { frame.linesize[1] = 31; }));
    EXPECT_TRUE(refused([](AVFrame& frame) { frame.linesize[0] = 0; }));
    EXPECT_TRUE(refused([](AVFrame& frame) { frame.data[1] = nullptr; }, AV_PIX_FMT_PAL8));
    EXPECT_FALSE(quol::isReadablePicture(*quol::makeFrame()));
}

} // namespace

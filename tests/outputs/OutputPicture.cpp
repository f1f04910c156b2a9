#include "outputs/OutputPicture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "outputs/OutputSettings.h"
#include "support/Frames.h"

namespace {

using quol::OutputPicture;
using quol::PictureForm;

PictureForm packed(AVPixelFormat format, int width, int height, int extra = 0) {
    return {width, height, format, quol::packedRowBytes(format, width) + extra};
}

std::vector<std::uint8_t> bytesOf(OutputPicture& picture) {
    return {picture.data(), picture.data() + picture.size()};
}

// What one call of swscale makes of the picture.
std::vector<std::uint8_t> scaledAlone(const AVFrame& frame, const PictureForm& form, int flags) {
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(form.rowBytes) * form.height);
    const quol::SwsPtr scaler(
        sws_getContext(frame.width, frame.height, static_cast<AVPixelFormat>(frame.format),
                       form.width, form.height, form.format, flags, nullptr, nullptr, nullptr));
    std::uint8_t* const planes[4] = {bytes.data(), nullptr, nullptr, nullptr};
    const int strides[4] = {form.rowBytes, 0, 0, 0};
    EXPECT_GT(sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, planes, strides),
              0);
    return bytes;
}

TEST(OutputPicture, RowBytesOfPackedFormats) {
    EXPECT_EQ(quol::packedRowBytes(AV_PIX_FMT_UYVY422, 1920), 1920 * 2);
    EXPECT_EQ(quol::packedRowBytes(AV_PIX_FMT_BGRA, 1920), 1920 * 4);
    EXPECT_EQ(quol::packedRowBytes(AV_PIX_FMT_BGR24, 1920), 1920 * 3);
    EXPECT_EQ(quol::packedRowBytes(AV_PIX_FMT_BGR24, 0), 0);
    EXPECT_EQ(quol::packedRowBytes(AV_PIX_FMT_BGR24, -5), 0);
    EXPECT_EQ(quol::packedRowBytes(AV_PIX_FMT_NONE, 1920), 0);
}

TEST(OutputPicture, PictureThatFitsIsCopiedRowByRow) {
    const PictureForm form = packed(AV_PIX_FMT_UYVY422, 62, 20);
    const auto frame = test::makePicture(62, 20, AV_PIX_FMT_UYVY422);
    ASSERT_GT(frame->linesize[0], form.rowBytes);
    OutputPicture picture;
    ASSERT_TRUE(picture.draw(*frame, form, SWS_BILINEAR));
    ASSERT_EQ(picture.size(), std::size_t{62 * 2 * 20});
    for (int row = 0; row < 20; ++row) {
        for (int byte = 0; byte < form.rowBytes; ++byte) {
            ASSERT_EQ(picture.data()[row * form.rowBytes + byte],
                      frame->data[0][row * frame->linesize[0] + byte]);
        }
    }
}

TEST(OutputPicture, PaddingOfTheDevicesRowsStaysZero) {
    const PictureForm form = packed(AV_PIX_FMT_BGRA, 10, 4, 24);
    const auto frame = test::makePicture(10, 4, AV_PIX_FMT_BGRA);
    OutputPicture picture;
    ASSERT_TRUE(picture.draw(*frame, form, SWS_BILINEAR));
    for (int row = 0; row < 4; ++row) {
        for (int byte = 40; byte < 64; ++byte)
            EXPECT_EQ(picture.data()[row * 64 + byte], 0);
        EXPECT_EQ(picture.data()[row * 64 + 39], frame->data[0][row * frame->linesize[0] + 39]);
    }
}

TEST(OutputPicture, UpsideDownRowsAreCopiedToo) {
    const PictureForm form = packed(AV_PIX_FMT_BGRA, 8, 6);
    const auto frame = test::makePicture(8, 6, AV_PIX_FMT_BGRA);
    const auto upright = quol::cloneFrame(frame.get());
    frame->data[0] += static_cast<std::ptrdiff_t>(frame->linesize[0]) * 5;
    frame->linesize[0] = -frame->linesize[0];
    OutputPicture picture;
    ASSERT_TRUE(picture.draw(*frame, form, SWS_BILINEAR));
    EXPECT_EQ(picture.data()[0], upright->data[0][upright->linesize[0] * 5]);
    EXPECT_EQ(picture.data()[5 * 32], upright->data[0][0]);
}

TEST(OutputPicture, OthersAreWhatOneCallOfTheScalerMakes) {
    for (AVPixelFormat format : {AV_PIX_FMT_UYVY422, AV_PIX_FMT_BGRA, AV_PIX_FMT_BGR24}) {
        for (int flags : {SWS_BILINEAR, SWS_BICUBIC, SWS_LANCZOS}) {
            const PictureForm form = packed(format, 96, 54);
            const auto frame = test::makePicture(160, 90, AV_PIX_FMT_YUV420P);
            OutputPicture picture;
            ASSERT_TRUE(picture.draw(*frame, form, flags));
            EXPECT_EQ(bytesOf(picture), scaledAlone(*frame, form, flags));
        }
    }
}

TEST(OutputPicture, FrameOfANewSizeIsScaledToTheSameOutputSize) {
    const PictureForm form = packed(AV_PIX_FMT_UYVY422, 64, 36);
    OutputPicture picture;
    for (int width : {128, 64, 320, 128}) {
        const auto frame = test::makePicture(width, 72, AV_PIX_FMT_YUV422P);
        ASSERT_TRUE(picture.draw(*frame, form, SWS_BILINEAR));
        EXPECT_EQ(bytesOf(picture), scaledAlone(*frame, form, SWS_BILINEAR));
    }
}

TEST(OutputPicture, NewFormIsNoticedWithTheSameSource) {
    const auto frame = test::makePicture(160, 90, AV_PIX_FMT_YUV420P);
    OutputPicture picture;
    for (const PictureForm& form :
         {packed(AV_PIX_FMT_UYVY422, 96, 54), packed(AV_PIX_FMT_BGRA, 96, 54),
          packed(AV_PIX_FMT_BGRA, 32, 18), packed(AV_PIX_FMT_UYVY422, 320, 180)}) {
        ASSERT_TRUE(picture.draw(*frame, form, SWS_BILINEAR));
        EXPECT_EQ(bytesOf(picture), scaledAlone(*frame, form, SWS_BILINEAR));
    }
}

TEST(OutputPicture, QualityCountsForTheNextScaler) {
    const PictureForm form = packed(AV_PIX_FMT_BGRA, 64, 36);
    const auto frame = test::makePicture(160, 90, AV_PIX_FMT_YUV420P);
    const auto bilinear = scaledAlone(*frame, form, SWS_BILINEAR);
    const auto lanczos = scaledAlone(*frame, form, SWS_LANCZOS);
    ASSERT_NE(bilinear, lanczos);
    OutputPicture picture;
    picture.draw(*frame, form, SWS_BILINEAR);
    picture.draw(*frame, form, SWS_LANCZOS);
    EXPECT_EQ(bytesOf(picture), bilinear);
    picture.forgetScaler();
    picture.draw(*frame, form, SWS_LANCZOS);
    EXPECT_EQ(bytesOf(picture), lanczos);
}

TEST(OutputPicture, WhatCannotBeConvertedLeavesTheStalePicture) {
    const PictureForm form = packed(AV_PIX_FMT_UYVY422, 64, 36);
    const auto frame = test::makePicture(160, 90, AV_PIX_FMT_YUV420P);
    OutputPicture picture;
    ASSERT_TRUE(picture.draw(*frame, form, SWS_BILINEAR));
    const auto stale = bytesOf(picture);

    const auto empty = quol::makeFrame();
    EXPECT_TRUE(picture.draw(*empty, form, SWS_BILINEAR));
    EXPECT_EQ(bytesOf(picture), stale);

    const auto unknown = quol::cloneFrame(frame.get());
    unknown->format = AV_PIX_FMT_NB + 7;
    EXPECT_TRUE(picture.draw(*unknown, form, SWS_BILINEAR));
    EXPECT_EQ(bytesOf(picture), stale);

    const auto none = test::makePicture(64, 36, AV_PIX_FMT_BAYER_BGGR8);
    none->format = AV_PIX_FMT_VAAPI; // a format of the hardware's
    EXPECT_TRUE(picture.draw(*none, form, SWS_BILINEAR));
    EXPECT_EQ(bytesOf(picture), stale);

    ASSERT_TRUE(picture.draw(*frame, form, SWS_BILINEAR));
    EXPECT_EQ(bytesOf(picture), stale) << "the next one that can be converted is";
}

TEST(OutputPicture, FirstPictureOfAFormThatCannotBeReadIsBlack) {
    const auto empty = quol::makeFrame();
    const auto frame = test::makePicture(64, 36, AV_PIX_FMT_UYVY422);
    OutputPicture picture;
    const struct {
        AVPixelFormat format;
        std::vector<int> black;
    } forms[] = {{AV_PIX_FMT_UYVY422, {128, 16, 128, 16}},
                 {AV_PIX_FMT_BGRA, {0, 0, 0, 255}},
                 {AV_PIX_FMT_BGR24, {0, 0, 0}},
                 {AV_PIX_FMT_UYVY422, {128, 16, 128, 16}}};
    for (const auto& one : forms) {
        const PictureForm form = packed(one.format, 64, 36, 12);
        ASSERT_TRUE(picture.draw(*empty, form, SWS_BILINEAR));
        for (int row = 0; row < 36; ++row) {
            for (int i = 0; i < form.rowBytes; ++i) {
                const bool isPadding = i >= form.rowBytes - 12;
                const auto pixel = static_cast<std::size_t>(i) % one.black.size();
                ASSERT_EQ(picture.data()[row * form.rowBytes + i],
                          isPadding ? 0 : one.black[pixel]);
            }
        }
        // Whatever it holds then is not for another form to show.
        ASSERT_TRUE(picture.draw(*frame, form, SWS_BILINEAR));
    }
}

TEST(OutputPicture, FormWithoutSizeOrWithShortRowsIsRefused) {
    const auto frame = test::makePicture(64, 36, AV_PIX_FMT_YUV420P);
    OutputPicture picture;
    EXPECT_FALSE(picture.draw(*frame, {0, 36, AV_PIX_FMT_BGRA, 256}, SWS_BILINEAR));
    EXPECT_FALSE(picture.draw(*frame, {64, 0, AV_PIX_FMT_BGRA, 256}, SWS_BILINEAR));
    EXPECT_FALSE(picture.draw(*frame, {-64, 36, AV_PIX_FMT_BGRA, 256}, SWS_BILINEAR));
    EXPECT_FALSE(picture.draw(*frame, {64, 36, AV_PIX_FMT_BGRA, 255}, SWS_BILINEAR));
    EXPECT_FALSE(picture.draw(*frame, {64, 36, AV_PIX_FMT_NONE, 256}, SWS_BILINEAR));
    EXPECT_TRUE(picture.draw(*frame, {64, 36, AV_PIX_FMT_BGRA, 256}, SWS_BILINEAR));
}

TEST(OutputSettings, WholeRateCutsAndNeverFails) {
    EXPECT_EQ(quol::wholeRate(25.0), 25);
    EXPECT_EQ(quol::wholeRate(30000.0 / 1001), 29);
    EXPECT_EQ(quol::wholeRate(60000.0 / 1001), 59);
    EXPECT_EQ(quol::wholeRate(0.999), 0);
    EXPECT_EQ(quol::wholeRate(0.0), 0);
    EXPECT_EQ(quol::wholeRate(-25.0), 0);
    EXPECT_EQ(quol::wholeRate(std::nan("")), 0);
    EXPECT_EQ(quol::wholeRate(std::numeric_limits<double>::infinity()), 1'000'000);
}

} // namespace

#include "sources/StreamPictures.h"

#include <gtest/gtest.h>

#include <array>
#include <utility>

#include "support/FilePlayer.h"
#include "support/Frames.h"

namespace {

using quol::FramePtr;
using quol::StreamPictures;
using test::customVideo;
using test::makePicture;
using test::nativeVideo;

TEST(StreamPictures, FullRangeFormatsCountAsTheirPlainEquals) {
    EXPECT_EQ(quol::plainFormat(AV_PIX_FMT_YUVJ420P), AV_PIX_FMT_YUV420P);
    EXPECT_EQ(quol::plainFormat(AV_PIX_FMT_YUVJ422P), AV_PIX_FMT_YUV422P);
    EXPECT_EQ(quol::plainFormat(AV_PIX_FMT_YUVJ444P), AV_PIX_FMT_YUV444P);
    EXPECT_EQ(quol::plainFormat(AV_PIX_FMT_YUVJ440P), AV_PIX_FMT_YUV440P);
    for (const AVPixelFormat format :
         {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ411P, AV_PIX_FMT_RGBA, AV_PIX_FMT_NONE})
        EXPECT_EQ(quol::plainFormat(format), format);
}

TEST(StreamPictures, EachCodeHasItsFormatAndAllOthersKeepTheSource) {
    constexpr std::array<AVPixelFormat, 20> expected{
        AV_PIX_FMT_YUV444P,  AV_PIX_FMT_YUV420P,  AV_PIX_FMT_YUV420P, AV_PIX_FMT_NV12,
        AV_PIX_FMT_YUV444P,  AV_PIX_FMT_RGB24,    AV_PIX_FMT_RGBA,    AV_PIX_FMT_ARGB,
        AV_PIX_FMT_YUV444P,  AV_PIX_FMT_UYVY422,  AV_PIX_FMT_YUV444P, AV_PIX_FMT_YUV444P,
        AV_PIX_FMT_YUYV422,  AV_PIX_FMT_YUV420P,  AV_PIX_FMT_YUV444P, AV_PIX_FMT_YUV422P,
        AV_PIX_FMT_YUVA422P, AV_PIX_FMT_YUVA420P, AV_PIX_FMT_YUV444P, AV_PIX_FMT_YUV444P};
    const FramePtr source = makePicture(64, 36, AV_PIX_FMT_YUV444P);
    StreamPictures pictures;
    for (std::size_t code = 0; code < expected.size(); ++code) {
        const AVFrame* got = pictures.get(*source, nativeVideo(static_cast<int>(code)), 4);
        ASSERT_NE(got, nullptr) << code;
        EXPECT_EQ(got->format, expected[code]) << code;
        EXPECT_EQ(got == source.get(), expected[code] == AV_PIX_FMT_YUV444P) << code;
    }
    EXPECT_EQ(pictures.get(*source, nativeVideo(-1), 4), source.get());
}

TEST(StreamPictures, WhatFitsIsPassedAsItIs) {
    const FramePtr plain = makePicture(64, 36, AV_PIX_FMT_YUV420P);
    const FramePtr full = makePicture(64, 36, AV_PIX_FMT_YUVJ420P);
    StreamPictures pictures;
    for (const auto& wanted : {customVideo(64, 36, 25.0), customVideo(64, 36, 25.0, 1),
                               customVideo(0, 0, 0.0), customVideo(-5, -5, 0.0, 13)}) {
        EXPECT_EQ(pictures.get(*plain, wanted, 0), plain.get());
        EXPECT_EQ(pictures.get(*full, wanted, 0), full.get());
    }
}

TEST(StreamPictures, EitherSideAloneIsScaled) {
    const FramePtr source = makePicture(64, 36, AV_PIX_FMT_YUV420P, 77);
    StreamPictures pictures;
    for (const auto& [width, height] : {std::pair{128, 0}, {0, 72}, {128, 72}}) {
        const AVFrame* got = pictures.get(*source, customVideo(width, height, 0.0), 4);
        ASSERT_NE(got, nullptr);
        EXPECT_EQ(got->width, width > 0 ? width : 64);
        EXPECT_EQ(got->height, height > 0 ? height : 36);
        EXPECT_EQ(got->pts, 77);
        EXPECT_EQ(got->linesize[0] % 32, 0);
    }
}

TEST(StreamPictures, FullRangeIsNotConvertedWhenItIsScaled) {
    const FramePtr source = makePicture(64, 36, AV_PIX_FMT_YUVJ420P);
    test::fillPlane(*source, 0, 250);
    test::fillPlane(*source, 1, 128);
    test::fillPlane(*source, 2, 128);
    StreamPictures pictures;
    const AVFrame* got = pictures.get(*source, customVideo(32, 18, 0.0), 4);
    ASSERT_NE(got, nullptr);
    EXPECT_EQ(got->format, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(got->data[0][0], 250);
}

TEST(StreamPictures, TheFlagsChooseTheScaler) {
    const FramePtr source = makePicture(64, 36, AV_PIX_FMT_YUV420P);
    StreamPictures pictures;
    const auto print = [&](int flags) {
        return test::fingerprint(*pictures.get(*source, customVideo(150, 90, 0.0), flags));
    };
    const auto fast = print(1);
    EXPECT_EQ(print(0), fast); // below 1 it is 1
    EXPECT_EQ(print(-7), fast);
    const auto bicubic = print(4);
    const auto nearest = print(16);
    const auto lanczos = print(512);
    EXPECT_NE(bicubic, nearest);
    EXPECT_NE(bicubic, lanczos);
    EXPECT_NE(nearest, lanczos);
}

TEST(StreamPictures, WhatASinkKeepsIsNotWrittenTo) {
    const FramePtr first = makePicture(64, 36, AV_PIX_FMT_YUV420P, 1, {1, 25}, 1);
    const FramePtr second = makePicture(64, 36, AV_PIX_FMT_YUV420P, 2, {1, 25}, 2);
    StreamPictures pictures;
    const FramePtr kept = quol::cloneFrame(pictures.get(*first, customVideo(32, 18, 0.0), 4));
    const auto before = test::fingerprint(*kept);
    const AVFrame* next = pictures.get(*second, customVideo(32, 18, 0.0), 4);
    EXPECT_NE(next->data[0], kept->data[0]);
    EXPECT_EQ(test::fingerprint(*kept), before);
}

TEST(StreamPictures, ASizeThatNoPictureCanHaveGivesNone) {
    const FramePtr source = makePicture(64, 36, AV_PIX_FMT_YUV420P);
    StreamPictures pictures;
    EXPECT_EQ(pictures.get(*source, customVideo(2'000'000'000, 2'000'000'000, 0.0), 4), nullptr);
    EXPECT_NE(pictures.get(*source, customVideo(32, 18, 0.0), 4), nullptr);
}

TEST(StreamPictures, ClearedItWorksAgain) {
    const FramePtr source = makePicture(64, 36, AV_PIX_FMT_YUV420P);
    StreamPictures pictures;
    pictures.get(*source, customVideo(32, 18, 0.0), 4);
    pictures.clear();
    EXPECT_NE(pictures.get(*source, customVideo(32, 18, 0.0), 4), nullptr);
}

} // namespace

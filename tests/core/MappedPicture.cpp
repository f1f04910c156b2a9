#include "core/MappedPicture.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstring>
#include <limits>

#include "core/PictureCheck.h"
#include "core/Scaler.h"
#include "support/Frames.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace {

using quol::makeMappedPicture;
using quol::mappedPictureSize;

// Rows of a plane.
int rowsOf(const AVFrame& picture, int plane) {
    const auto* form = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
    const bool isChroma = plane == 1 || plane == 2;
    return isChroma ? AV_CEIL_RSHIFT(picture.height, form->log2_chroma_h) : picture.height;
}

class MappedPicture : public testing::TestWithParam<AVPixelFormat> {};

TEST_P(MappedPicture, HasPlanesThatLieApartWithinItsSize) {
    for (const auto& [width, height] : {std::pair{1, 1}, {1920, 1080}, {65, 49}, {33, 2}}) {
        const quol::FramePtr picture = makeMappedPicture(width, height, GetParam());
        ASSERT_NE(picture, nullptr);
        EXPECT_EQ(picture->width, width);
        EXPECT_EQ(picture->height, height);
        EXPECT_EQ(picture->format, GetParam());
        EXPECT_TRUE(quol::isReadablePicture(*picture));
        EXPECT_EQ(picture->buf[0]->size, mappedPictureSize(width, height, GetParam()));
        const std::uint8_t* free = picture->buf[0]->data;
        for (int plane = 0; plane < av_pix_fmt_count_planes(GetParam()); ++plane) {
            EXPECT_GE(picture->data[plane], free);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(picture->data[plane]) % 32, 0U);
            EXPECT_EQ(picture->linesize[plane] % 32, 0);
            free = picture->data[plane] + rowsOf(*picture, plane) * picture->linesize[plane];
        }
        EXPECT_LE(free, picture->buf[0]->data + picture->buf[0]->size);
        std::memset(picture->buf[0]->data, 1, picture->buf[0]->size);
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, MappedPicture,
                         testing::Values(AV_PIX_FMT_YUVA420P, AV_PIX_FMT_YUV420P, AV_PIX_FMT_RGBA,
                                         AV_PIX_FMT_NV12, AV_PIX_FMT_YUV422P10));

TEST(MappedPictures, TakeAScalersOutputOfEverySize) {
    const quol::FramePtr source = test::makePicture(50, 30, AV_PIX_FMT_YUVA420P);
    quol::Scaler scaler;
    for (int width = 1; width < 70; ++width) {
        const quol::FramePtr picture = makeMappedPicture(width, 71 - width, AV_PIX_FMT_YUVA420P);
        ASSERT_NE(picture, nullptr);
        EXPECT_TRUE(scaler.scale(*source, *picture, SWS_BICUBIC)) << width;
    }
}

TEST(MappedPictures, AreGivenBackWithTheirLastReference) {
    quol::FramePtr picture = makeMappedPicture(64, 48, AV_PIX_FMT_YUVA420P);
    quol::FramePtr clone = quol::cloneFrame(picture.get());
    void* const memory = picture->data[0];
    EXPECT_EQ(clone->data[0], memory);
    picture.reset();
    EXPECT_EQ(msync(memory, 1, MS_ASYNC), 0);
    clone.reset();
    EXPECT_EQ(msync(memory, 1, MS_ASYNC), -1);
    EXPECT_EQ(errno, ENOMEM);
}

TEST(MappedPictures, AreNoneForASizeThatNoPictureHas) {
    constexpr int most = std::numeric_limits<int>::max();
    for (const auto& [width, height] : {std::pair{0, 1},
                                        {1, 0},
                                        {-1, 1},
                                        {1, -1},
                                        {most, 1},
                                        {1, most},
                                        {most, most},
                                        {100000, 100000}}) {
        EXPECT_EQ(makeMappedPicture(width, height, AV_PIX_FMT_YUVA420P), nullptr);
        EXPECT_EQ(mappedPictureSize(width, height, AV_PIX_FMT_YUVA420P), 0U);
    }
    EXPECT_EQ(makeMappedPicture(16, 16, AV_PIX_FMT_NONE), nullptr);
}

} // namespace

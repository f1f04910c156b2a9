#include "core/ScaledPicture.h"

#include <gtest/gtest.h>

#include <cstring>

#include "support/Frames.h"
#include "support/PlainFrames.h"

namespace {

TEST(ScaledPicture, IsThePictureItselfWhereItFits) {
    quol::ScaledPicture scaled;
    const quol::FramePtr picture = test::makePicture(64, 36, AV_PIX_FMT_YUV420P);
    EXPECT_FALSE(scaled.wouldScale(*picture, 64, 36, AV_PIX_FMT_YUV420P));
    EXPECT_EQ(scaled.get(*picture, 64, 36, AV_PIX_FMT_YUV420P), picture.get());
}

TEST(ScaledPicture, ConvertsSizeAndFormat) {
    quol::ScaledPicture scaled;
    const quol::FramePtr picture = test::plainPicture(64, 36, {90, 70, 200});
    const AVFrame* const result = scaled.get(*picture, 33, 21, AV_PIX_FMT_YUVA420P);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->width, 33);
    EXPECT_EQ(result->height, 21);
    EXPECT_EQ(result->format, AV_PIX_FMT_YUVA420P);
    EXPECT_EQ(test::levelsAt(result, 16, 10), (test::Levels{90, 70, 200}));
    EXPECT_EQ(result->data[3][0], 255);
}

// What is written into the result shows whether it was made anew.
TEST(ScaledPicture, OfTheSamePictureIsNotMadeAgain) {
    quol::ScaledPicture scaled;
    const quol::FramePtr picture = test::makePicture(64, 36, AV_PIX_FMT_YUV420P);
    const AVFrame* const first = scaled.get(*picture, 32, 18, AV_PIX_FMT_YUV420P);
    ASSERT_NE(first, nullptr);
    const auto mark = static_cast<std::uint8_t>(first->data[0][0] ^ 0x55);
    first->data[0][0] = mark;
    const quol::FramePtr again = quol::cloneFrame(picture.get());
    EXPECT_FALSE(scaled.wouldScale(*again, 32, 18, AV_PIX_FMT_YUV420P));
    EXPECT_EQ(scaled.get(*again, 32, 18, AV_PIX_FMT_YUV420P)->data[0][0], mark);
}

TEST(ScaledPicture, IsMadeAgainForAnotherPictureSizeOrFormat) {
    quol::ScaledPicture scaled;
    const quol::FramePtr picture = test::plainPicture(64, 36, {50, 128, 128});
    const quol::FramePtr other = test::plainPicture(64, 36, {150, 128, 128});
    ASSERT_NE(scaled.get(*picture, 32, 18, AV_PIX_FMT_YUV420P), nullptr);
    EXPECT_TRUE(scaled.wouldScale(*other, 32, 18, AV_PIX_FMT_YUV420P));
    EXPECT_EQ(scaled.get(*other, 32, 18, AV_PIX_FMT_YUV420P)->data[0][0], 150);
    EXPECT_TRUE(scaled.wouldScale(*other, 30, 18, AV_PIX_FMT_YUV420P));
    EXPECT_EQ(scaled.get(*other, 30, 18, AV_PIX_FMT_YUV420P)->width, 30);
    EXPECT_TRUE(scaled.wouldScale(*other, 30, 18, AV_PIX_FMT_YUVA420P));
    EXPECT_EQ(scaled.get(*other, 30, 18, AV_PIX_FMT_YUVA420P)->format, AV_PIX_FMT_YUVA420P);
}

TEST(ScaledPicture, ThatSomebodyHoldsIsNotWrittenTo) {
    quol::ScaledPicture scaled;
    const quol::FramePtr dark = test::plainPicture(64, 36, {40, 128, 128});
    const quol::FramePtr bright = test::plainPicture(64, 36, {200, 128, 128});
    const quol::FramePtr held = quol::cloneFrame(scaled.get(*dark, 32, 18, AV_PIX_FMT_YUV420P));
    ASSERT_NE(held, nullptr);
    ASSERT_NE(scaled.get(*bright, 32, 18, AV_PIX_FMT_YUV420P), nullptr);
    EXPECT_EQ(held->data[0][0], 40);
}

// The memory of a picture goes to the next one when nobody holds it: it must not be taken for it.
TEST(ScaledPicture, DoesNotTakeAnotherPictureInTheSameMemoryForTheSame) {
    quol::ScaledPicture scaled;
    quol::PicturePool pool;
    for (const int level : {30, 60, 90, 120}) {
        const quol::FramePtr picture = pool.get(64, 36, AV_PIX_FMT_YUV420P);
        test::fillPlane(*picture, 0, static_cast<std::uint8_t>(level));
        test::fillPlane(*picture, 1, 128);
        test::fillPlane(*picture, 2, 128);
        EXPECT_EQ(scaled.get(*picture, 32, 18, AV_PIX_FMT_YUV420P)->data[0][0], level);
    }
}

TEST(ScaledPicture, OfWhatCannotBeConvertedIsNull) {
    quol::ScaledPicture scaled;
    const quol::FramePtr picture = test::makePicture(64, 36, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(scaled.get(*picture, 0, 18, AV_PIX_FMT_YUV420P), nullptr);
    EXPECT_EQ(scaled.get(*picture, 32, -1, AV_PIX_FMT_YUV420P), nullptr);
    EXPECT_EQ(scaled.get(*picture, 32, 18, AV_PIX_FMT_NONE), nullptr);
    EXPECT_NE(scaled.get(*picture, 32, 18, AV_PIX_FMT_YUV420P), nullptr) << "and it goes on";
}

TEST(ScaledPicture, HoldsNothingBehindClear) {
    quol::ScaledPicture scaled;
    const quol::FramePtr picture = test::makePicture(64, 36, AV_PIX_FMT_YUV420P);
    ASSERT_NE(scaled.get(*picture, 32, 18, AV_PIX_FMT_YUV420P), nullptr);
    EXPECT_EQ(av_buffer_get_ref_count(picture->buf[0]), 2);
    scaled.clear();
    EXPECT_EQ(av_buffer_get_ref_count(picture->buf[0]), 1);
    EXPECT_TRUE(scaled.wouldScale(*picture, 32, 18, AV_PIX_FMT_YUV420P));
}

} // namespace

#include "core/ScaledPicture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <utility>
#include <vector>

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

// What was handed on keeps its contents however many pictures follow, and is used again only when
// it has come back.
TEST(ScaledPicture, EveryHeldResultKeepsItsContents) {
    quol::ScaledPicture scaled;
    std::vector<quol::FramePtr> held;
    for (int level = 20; level < 220; level += 10) {
        const quol::FramePtr picture = test::plainPicture(64, 36, {level, 128, 128});
        const AVFrame* const result = scaled.get(*picture, 32, 18, AV_PIX_FMT_YUV420P);
        ASSERT_NE(result, nullptr);
        held.push_back(quol::cloneFrame(result));
        for (std::size_t i = 0; i < held.size(); ++i)
            ASSERT_EQ(test::levelsAt(held[i].get(), 31, 17).y, 20 + 10 * static_cast<int>(i));
    }
}

TEST(ScaledPicture, ThatNobodyHoldsIsWrittenInPlace) {
    quol::ScaledPicture scaled;
    const AVFrame* first = nullptr;
    const std::uint8_t* memory = nullptr;
    for (const int level : {40, 80, 120}) {
        const quol::FramePtr picture = test::plainPicture(64, 36, {level, 128, 128});
        const AVFrame* const result = scaled.get(*picture, 32, 18, AV_PIX_FMT_YUV420P);
        ASSERT_NE(result, nullptr);
        if (first == nullptr) {
            first = result;
            memory = result->data[0];
        }
        EXPECT_EQ(result, first);
        EXPECT_EQ(result->data[0], memory);
        EXPECT_EQ(result->data[0][0], level);
    }
}

TEST(ScaledPicture, OfWhatCannotBeConvertedForgetsTheOneBefore) {
    quol::ScaledPicture scaled;
    const quol::FramePtr picture = test::makePicture(64, 36, AV_PIX_FMT_YUV420P);
    ASSERT_NE(scaled.get(*picture, 32, 18, AV_PIX_FMT_YUV420P), nullptr);
    const quol::FramePtr odd = test::makePicture(64, 36, AV_PIX_FMT_YUV420P, 0, {1, 25}, 2);
    odd->format = AV_PIX_FMT_VAAPI;
    EXPECT_EQ(scaled.get(*odd, 32, 18, AV_PIX_FMT_YUV420P), nullptr);
    EXPECT_TRUE(scaled.wouldScale(*picture, 32, 18, AV_PIX_FMT_YUV420P));
    EXPECT_EQ(av_buffer_get_ref_count(picture->buf[0]), 1);
}

TEST(SamePicture, IsAnotherFrameOnTheSameMemory) {
    const quol::FramePtr picture = test::makePicture(64, 36, AV_PIX_FMT_YUV420P);
    const quol::FramePtr again = quol::cloneFrame(picture.get());
    EXPECT_TRUE(quol::isSamePicture(*picture, *again));
    again->pts = 99; // what it shows is the same
    EXPECT_TRUE(quol::isSamePicture(*picture, *again));
}

TEST(SamePicture, IsNotOneOfEqualContents) {
    const quol::FramePtr picture = test::makePicture(64, 36, AV_PIX_FMT_YUV420P);
    const quol::FramePtr twin = test::makePicture(64, 36, AV_PIX_FMT_YUV420P);
    EXPECT_FALSE(quol::isSamePicture(*picture, *twin));
}

TEST(SamePicture, IsNotAnotherPartOrReadingOfTheSameMemory) {
    const quol::FramePtr picture = test::makePicture(64, 36, AV_PIX_FMT_YUV420P);
    const auto differs = [&picture](auto change) {
        const quol::FramePtr other = quol::cloneFrame(picture.get());
        change(*other);
        return !quol::isSamePicture(*picture, *other) && !quol::isSamePicture(*other, *picture);
    };
    EXPECT_TRUE(differs([](AVFrame& frame) { frame.width = 62; }));
    EXPECT_TRUE(differs([](AVFrame& frame) { frame.height = 34; }));
    EXPECT_TRUE(differs([](AVFrame& frame) { frame.format = AV_PIX_FMT_YUVJ420P; }));
    EXPECT_TRUE(differs([](AVFrame& frame) { frame.data[0] += 2; }));
    EXPECT_TRUE(differs([](AVFrame& frame) { std::swap(frame.data[1], frame.data[2]); }));
    EXPECT_TRUE(differs([](AVFrame& frame) { frame.linesize[0] *= 2; }));
}

// Its memory belongs to somebody else, who may have written to it since.
TEST(SamePicture, IsNeverOneWithoutAnOwnerOfItsMemory) {
    const quol::FramePtr owner = test::makePicture(64, 36, AV_PIX_FMT_YUV420P);
    const quol::FramePtr view = quol::makeFrame();
    view->width = owner->width;
    view->height = owner->height;
    view->format = owner->format;
    for (int plane = 0; plane < 3; ++plane) {
        view->data[plane] = owner->data[plane];
        view->linesize[plane] = owner->linesize[plane];
    }
    EXPECT_FALSE(quol::isSamePicture(*view, *view));
    EXPECT_FALSE(quol::isSamePicture(*view, *owner));
}

} // namespace

#include "core/Scaler.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "core/PicturePool.h"
#include "support/Frames.h"

extern "C" {
#include <libavutil/cpu.h>
}

namespace {

quol::FramePtr blank(int width, int height, AVPixelFormat format) {
    quol::FramePtr frame = quol::PicturePool().get(width, height, format);
    for (const AVBufferRef* buffer : frame->buf) {
        if (buffer != nullptr) std::memset(buffer->data, 0xAB, buffer->size);
    }
    return frame;
}

// The visible bytes of a packed picture.
std::string visible(const AVFrame& frame, int bytesPerPixel) {
    std::string bytes;
    for (int row = 0; row < frame.height; ++row) {
        bytes.append(reinterpret_cast<const char*>(frame.data[0]) + row * frame.linesize[0],
                     static_cast<std::size_t>(frame.width * bytesPerPixel));
    }
    return bytes;
}

// The same by a scaler made for this one picture.
std::string reference(const AVFrame& source, int width, int height, AVPixelFormat format,
                      int flags) {
    const quol::FramePtr target = blank(width, height, format);
    const quol::SwsPtr context(sws_getContext(source.width, source.height,
                                              static_cast<AVPixelFormat>(source.format), width,
                                              height, format, flags, nullptr, nullptr, nullptr));
    sws_scale(context.get(), source.data, source.linesize, 0, source.height, target->data,
              target->linesize);
    return visible(*target, 4);
}

TEST(Scaler, GivesWhatAFreshScalerGivesWhateverWasScaledBefore) {
    quol::Scaler scaler;
    for (const int width : {64, 33, 64}) {
        for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_RGBA, AV_PIX_FMT_NV12}) {
            for (const int flags : {SWS_BILINEAR, SWS_POINT, SWS_BICUBIC}) {
                for (const int targetWidth : {64, 100}) {
                    const quol::FramePtr source = test::makePicture(width, 48, format);
                    const quol::FramePtr target = blank(targetWidth, 50, AV_PIX_FMT_RGBA);
                    ASSERT_TRUE(scaler.scale(*source, *target, flags));
                    ASSERT_EQ(visible(*target, 4),
                              reference(*source, targetWidth, 50, AV_PIX_FMT_RGBA, flags));
                }
            }
        }
    }
}

TEST(Scaler, SameSizeAndFormatIsACopy) {
    quol::Scaler scaler;
    const quol::FramePtr source = test::makePicture(64, 48, AV_PIX_FMT_RGBA);
    const quol::FramePtr target = blank(64, 48, AV_PIX_FMT_RGBA);
    ASSERT_TRUE(scaler.scale(*source, *target, SWS_BILINEAR));
    EXPECT_EQ(visible(*target, 4), visible(*source, 4));
}

TEST(Scaler, RunsIntoPlanesOfTheCallers) {
    quol::Scaler scaler;
    const quol::FramePtr source = test::makePicture(32, 16, AV_PIX_FMT_YUV420P);
    ASSERT_TRUE(
        scaler.prepare({32, 16, AV_PIX_FMT_YUV420P, 32, 16, AV_PIX_FMT_RGBA, SWS_BILINEAR}));
    std::string pixels(32 * 16 * 4, '\0');
    std::uint8_t* const planes[4] = {reinterpret_cast<std::uint8_t*>(pixels.data())};
    const int strides[4] = {32 * 4};
    scaler.run(*source, planes, strides);
    EXPECT_EQ(pixels, reference(*source, 32, 16, AV_PIX_FMT_RGBA, SWS_BILINEAR));
}

TEST(Scaler, ImpossibleKeyIsRefusedAndTheNextOneWorks) {
    quol::Scaler scaler;
    const quol::ScalerKey good{32, 16, AV_PIX_FMT_YUV420P, 32, 16, AV_PIX_FMT_RGBA, SWS_BILINEAR};
    quol::ScalerKey bad = good;
    bad.sourceFormat = AV_PIX_FMT_NONE;
    EXPECT_FALSE(scaler.prepare(bad));
    EXPECT_FALSE(scaler.prepare(bad));
    EXPECT_TRUE(scaler.prepare(good));
    bad = good;
    bad.height = 0;
    EXPECT_FALSE(scaler.prepare(bad));
    EXPECT_TRUE(scaler.prepare(good));
    EXPECT_FALSE(scaler.prepare({}));
}

TEST(Scaler, RefusedScalingLeavesTheTargetUnchanged) {
    quol::Scaler scaler;
    const quol::FramePtr source = test::makePicture(32, 16, AV_PIX_FMT_YUV420P);
    source->format = AV_PIX_FMT_NONE;
    const quol::FramePtr target = blank(32, 16, AV_PIX_FMT_RGBA);
    const std::string before = visible(*target, 4);
    EXPECT_FALSE(scaler.scale(*source, *target, SWS_BILINEAR));
    EXPECT_EQ(visible(*target, 4), before);
}

// Widths that are multiples of 16 are those that the gather instruction would be taken for.
TEST(Scaler, GivesWhatAScalerMadeByHandGives) {
    const quol::FramePtr source = test::makePicture(256, 144, AV_PIX_FMT_YUV420P, 0, {1, 25}, 9);
    for (const auto& [width, height] : {std::pair(64, 48), {80, 45}, {61, 37}, {512, 288}}) {
        const quol::FramePtr target = blank(width, height, AV_PIX_FMT_RGBA);
        ASSERT_TRUE(quol::Scaler().scale(*source, *target, SWS_BILINEAR));
        EXPECT_EQ(visible(*target, 4),
                  reference(*source, width, height, AV_PIX_FMT_RGBA, SWS_BILINEAR))
            << width;
    }
}

// Those of the processor itself, whatever was done to the process's before.
int detectedFlags() {
    av_force_cpu_flags(-1);
    return av_get_cpu_flags();
}

TEST(Scaler, LeavesTheProcessorFlagsAsTheyAre) {
    const int flags = detectedFlags();
    const quol::FramePtr source = test::makePicture(64, 48, AV_PIX_FMT_YUV420P);
    const quol::FramePtr target = blank(32, 32, AV_PIX_FMT_RGBA);
    ASSERT_TRUE(quol::Scaler().scale(*source, *target, SWS_BILINEAR));
    EXPECT_EQ(av_get_cpu_flags(), flags);
}

TEST(Scaler, WritesFullRangeWhenAskedTo) {
    const quol::FramePtr white = test::makePicture(32, 32, AV_PIX_FMT_RGBA);
    test::fillPlane(*white, 0, 255);
    const quol::FramePtr target = blank(32, 32, AV_PIX_FMT_YUV420P);
    quol::Scaler scaler;
    ASSERT_TRUE(scaler.scale(*white, *target, SWS_BILINEAR));
    EXPECT_EQ(target->data[0][0], 235);
    for (int turn = 0; turn < 2; ++turn) {
        ASSERT_TRUE(scaler.setFullRangeOutput());
        ASSERT_TRUE(scaler.run(*white, target->data, target->linesize));
        EXPECT_EQ(target->data[0][0], 255);
        EXPECT_EQ(target->data[1][0], 128);
    }
}

// The gather instruction, which scalers made here go without, gives no other samples.
TEST(Scaler, GivesTheSameSamplesAsAScalerThatUsesEveryInstruction) {
    for (const AVPixelFormat format :
         {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUVA420P, AV_PIX_FMT_NV12,
          AV_PIX_FMT_UYVY422, AV_PIX_FMT_RGB24, AV_PIX_FMT_RGBA, AV_PIX_FMT_YUV422P10LE}) {
        const quol::FramePtr source = test::makePicture(352, 96, format, 0, {1, 25}, 11);
        for (int width = 16; width <= 720; width += 16) {
            const quol::FramePtr target = blank(width, 50, AV_PIX_FMT_RGBA);
            ASSERT_TRUE(quol::Scaler().scale(*source, *target, SWS_BILINEAR));
            ASSERT_EQ(visible(*target, 4),
                      reference(*source, width, 50, AV_PIX_FMT_RGBA, SWS_BILINEAR))
                << format << " to " << width;
        }
    }
}

TEST(Scaler, LeavesTheProcessorFlagsAsTheyAreWhileManyThreadsMakeScalers) {
    const int flags = detectedFlags();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([i] {
            const quol::FramePtr source = test::makePicture(64, 48, AV_PIX_FMT_YUV420P);
            for (int width = 16; width < 116; ++width) {
                const quol::FramePtr target = blank(width + i, 32, AV_PIX_FMT_RGBA);
                quol::Scaler scaler;
                if (!scaler.scale(*source, *target, SWS_BILINEAR)) ADD_FAILURE() << width;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(av_get_cpu_flags(), flags);
}

TEST(Scaler, FullRangeHoldsUntilAnotherScalerIsPrepared) {
    const quol::FramePtr white = test::makePicture(32, 32, AV_PIX_FMT_RGBA);
    test::fillPlane(*white, 0, 255);
    const quol::FramePtr target = blank(32, 32, AV_PIX_FMT_YUV420P);
    quol::Scaler scaler;
    ASSERT_TRUE(scaler.scale(*white, *target, SWS_BILINEAR));
    ASSERT_TRUE(scaler.setFullRangeOutput());
    ASSERT_TRUE(scaler.scale(*white, *target, SWS_BILINEAR)); // the same once more
    EXPECT_EQ(target->data[0][0], 255);
    const quol::FramePtr other = blank(32, 30, AV_PIX_FMT_YUV420P);
    ASSERT_TRUE(scaler.scale(*white, *other, SWS_BILINEAR));
    EXPECT_EQ(other->data[0][0], 235);
    ASSERT_TRUE(scaler.scale(*white, *target, SWS_BILINEAR));
    EXPECT_EQ(target->data[0][0], 235);
}

TEST(Scaler, FullRangeSpreadsEveryGreyOverAllLevels) {
    const quol::FramePtr greys = test::makePicture(256, 16, AV_PIX_FMT_RGBA);
    for (int row = 0; row < 16; ++row) {
        for (int i = 0; i < 256 * 4; ++i)
            greys->data[0][row * greys->linesize[0] + i] = static_cast<std::uint8_t>(i / 4);
    }
    const quol::FramePtr target = blank(256, 16, AV_PIX_FMT_YUV420P);
    quol::Scaler scaler;
    ASSERT_TRUE(
        scaler.prepare({256, 16, AV_PIX_FMT_RGBA, 256, 16, AV_PIX_FMT_YUV420P, SWS_BILINEAR}));
    ASSERT_TRUE(scaler.setFullRangeOutput());
    ASSERT_TRUE(scaler.run(*greys, target->data, target->linesize));
    for (int grey = 0; grey < 256; ++grey)
        EXPECT_NEAR(target->data[0][8 * target->linesize[0] + grey], grey, 1) << grey;
}

TEST(Scaler, FullRangeIsRefusedWhereNothingIsPrepared) {
    EXPECT_FALSE(quol::Scaler().setFullRangeOutput());
}

} // namespace

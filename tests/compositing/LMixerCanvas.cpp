// The canvas of a mixer in every format and size.
#include <gtest/gtest.h>

#include <limits>
#include <utility>
#include <vector>

#include "compositing/LayerRenderer.h"
#include "support/Frames.h"
#include "support/MixerPictures.h"
#include "support/RunningMixer.h"
extern "C" {
#include <libavutil/pixdesc.h>
}

namespace {

using test::blackLevels;
using test::blended;
using test::bright;
using test::customVideo;
using test::grey;
using test::HandSource;
using test::levelsOf;
using test::packedAt;
using test::plainPicture;
using test::RunningMixer;

} // namespace

// ------------------------------------------------------------------------------ canvas formats

TEST(LMixerPictures, ThePixelFormatOfTheFormatIsThatOfTheCanvas) {
    const std::vector<std::pair<int, AVPixelFormat>> formats = {
        {0, AV_PIX_FMT_RGBA},     {1, AV_PIX_FMT_YUV420P},  {2, AV_PIX_FMT_YUV420P},
        {3, AV_PIX_FMT_NV12},     {5, AV_PIX_FMT_RGB24},    {6, AV_PIX_FMT_RGBA},
        {7, AV_PIX_FMT_ARGB},     {9, AV_PIX_FMT_UYVY422},  {12, AV_PIX_FMT_YUYV422},
        {13, AV_PIX_FMT_YUV420P}, {15, AV_PIX_FMT_YUV422P}, {16, AV_PIX_FMT_YUVA422P},
        {17, AV_PIX_FMT_YUVA420P}};
    RunningMixer running;
    for (const auto& [pixelFormat, format] : formats) {
        running.mixer.setVideoFormat(customVideo(66, 50, 50, pixelFormat));
        const quol::FramePtr picture = running.nextPicture();
        ASSERT_NE(picture, nullptr);
        EXPECT_EQ(picture->format, format) << pixelFormat;
        EXPECT_EQ(picture->width, 66) << pixelFormat;
        EXPECT_EQ(picture->height, 50) << pixelFormat;
    }
}

TEST(LMixerPictures, APixelFormatWithoutACanvasGivesSoundButNoPicture) {
    RunningMixer running;
    for (const int pixelFormat :
         {4, 8, 10, 11, 14, 18, -1, 1000, std::numeric_limits<int>::min()}) {
        running.mixer.setVideoFormat(customVideo(64, 48, 50, pixelFormat));
        ASSERT_TRUE(running.sink.waitForSounds(running.sink.soundCount() + 2));
        const std::size_t pictures = running.sink.pictureCount();
        EXPECT_TRUE(running.sink.waitForSounds(running.sink.soundCount() + 3));
        EXPECT_EQ(running.sink.pictureCount(), pictures) << pixelFormat;
    }
    running.mixer.setVideoFormat(customVideo(64, 48, 50, 1));
    EXPECT_EQ(levelsOf(running.nextPicture().get()), blackLevels);
}

TEST(LMixerPictures, ASizeThatNoCanvasCanHaveGivesSoundButNoPicture) {
    constexpr int largest = std::numeric_limits<int>::max();
    RunningMixer running;
    for (const auto& [width, height] :
         {std::pair{0, 0}, std::pair{0, 48}, std::pair{64, 0}, std::pair{-64, 48},
          std::pair{64, -48}, std::pair{largest, largest}, std::pair{largest, 1}}) {
        running.mixer.setVideoFormat(customVideo(width, height, 50, 1));
        ASSERT_TRUE(running.sink.waitForSounds(running.sink.soundCount() + 2));
        const std::size_t pictures = running.sink.pictureCount();
        EXPECT_TRUE(running.sink.waitForSounds(running.sink.soundCount() + 3));
        EXPECT_EQ(running.sink.pictureCount(), pictures) << width << 'x' << height;
    }
    running.mixer.setVideoFormat({39, 64, 48, 50.0, 1}); // a mode that there is not
    ASSERT_TRUE(running.sink.waitForSounds(running.sink.soundCount() + 2));
    EXPECT_EQ(running.nextSound()->nb_samples, 960);
    running.mixer.setVideoFormat(customVideo(64, 48, 50, 1));
    EXPECT_NE(running.nextPicture(), nullptr);
}

TEST(LMixerPictures, CanvasesOfAnySizeAreFilledToTheirEdges) {
    HandSource source;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(100, 100, grey)));
    for (const auto& [width, height] :
         {std::pair{1, 1}, std::pair{2, 2}, std::pair{1, 99}, std::pair{99, 1}, std::pair{33, 17},
          std::pair{35, 65}, std::pair{64, 33}}) {
        running.mixer.setVideoFormat(customVideo(width, height, 50, 1));
        item->alpha = 255;
        EXPECT_EQ(levelsOf(running.nextPicture().get()), grey) << width << 'x' << height;
        item->alpha = 128; // chroma of an odd edge is not blended
        EXPECT_EQ(test::levelsAt(running.nextPicture().get(), width - 1, height - 1).y,
                  blended(0, grey.y, 128))
            << width << 'x' << height;
    }
}

TEST(LMixerPictures, InPlanarCanvasesWithAlphaTheLayersAreOpaqueAndTheRestIsNot) {
    for (const int pixelFormat : {16, 17}) {
        HandSource opaque;
        HandSource half;
        RunningMixer running(customVideo(64, 48, 50, pixelFormat));
        running.mixer.addLayer("a", &opaque, 0, 0, 0, 255, 32, 24);
        running.mixer.addLayer("b", &half, 1, 32, 24, 128, 32, 24);
        ASSERT_TRUE(running.give("a", opaque, plainPicture(32, 24, grey)));
        ASSERT_TRUE(running.give("b", half, plainPicture(32, 24, bright)));
        const quol::FramePtr picture = running.nextPicture();
        ASSERT_NE(picture, nullptr);
        const auto alphaAt = [&](int x, int y) {
            return picture->data[3][y * picture->linesize[3] + x];
        };
        EXPECT_EQ(alphaAt(8, 8), 255) << pixelFormat;
        EXPECT_EQ(alphaAt(40, 8), 0) << pixelFormat;
        EXPECT_EQ(alphaAt(8, 40), 0) << pixelFormat;
        EXPECT_NEAR(alphaAt(40, 40), 128, 1) << pixelFormat;
        EXPECT_EQ(picture->data[0][8 * picture->linesize[0] + 8], grey.y) << pixelFormat;
    }
}

TEST(LMixerPictures, InPackedRgbaCanvasesTheLayersAreOpaqueAndTheRestIsNot) {
    for (const int pixelFormat : {0, 6, 7}) {
        HandSource source;
        RunningMixer running(customVideo(64, 48, 50, pixelFormat));
        running.mixer.addLayer("a", &source, 0, 0, 0, 255, 32, 24);
        ASSERT_TRUE(running.give("a", source, plainPicture(32, 24, {235})));
        const quol::FramePtr picture = running.nextPicture();
        ASSERT_NE(picture, nullptr);
        for (const int component : packedAt(*picture, 8, 8))
            EXPECT_GE(component, 253) << pixelFormat;
        const int alphaPlace = pixelFormat == 7 ? 0 : 3;
        EXPECT_EQ(packedAt(*picture, 40, 40)[static_cast<std::size_t>(alphaPlace)], 0);
    }
}

TEST(LMixerPictures, InCanvasesWithoutAlphaALayerHasItsLevelsAndTheRestIsBlack) {
    HandSource source;
    RunningMixer running;
    running.mixer.addLayer("a", &source, 0, 0, 0, 255, 32, 24);
    ASSERT_TRUE(running.give("a", source, plainPicture(32, 24, bright)));
    struct Case {
        int pixelFormat;
        int step;   // bytes from one luma sample to the next
        int offset; // of the first luma sample
    };
    for (const Case& each : {Case{3, 1, 0}, Case{9, 2, 1}, Case{12, 2, 0}, Case{15, 1, 0}}) {
        running.mixer.setVideoFormat(customVideo(64, 48, 50, each.pixelFormat));
        const quol::FramePtr picture = running.nextPicture();
        ASSERT_NE(picture, nullptr);
        const auto lumaAt = [&](int x, int y) {
            return picture->data[0][y * picture->linesize[0] + x * each.step + each.offset];
        };
        EXPECT_EQ(lumaAt(8, 8), bright.y) << each.pixelFormat;
        EXPECT_EQ(lumaAt(40, 40), 0) << each.pixelFormat;
    }
    running.mixer.setVideoFormat(customVideo(64, 48, 50, 5));
    const quol::FramePtr rgb = running.nextPicture();
    ASSERT_NE(rgb, nullptr);
    EXPECT_EQ(rgb->data[0][40 * rgb->linesize[0] + 40 * 3], 0);
    EXPECT_GT(rgb->data[0][8 * rgb->linesize[0] + 8 * 3], 150);
}

TEST(LMixerPictures, TheFormatOfTheCanvasMayChangeOnAir) {
    HandSource source;
    RunningMixer running;
    running.mixer.addLayer("a", &source, 0, 0, 0, 255, 4096, 4096);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    std::int64_t before = running.nextPicture()->pts;
    for (const auto& [width, height] :
         {std::pair{320, 180}, std::pair{16, 16}, std::pair{64, 48}}) {
        running.mixer.setVideoFormat(customVideo(width, height, 50, 1));
        const quol::FramePtr picture = running.nextPicture();
        ASSERT_NE(picture, nullptr);
        EXPECT_EQ(picture->width, width);
        EXPECT_EQ(picture->height, height);
        EXPECT_EQ(levelsOf(picture.get()), grey);
        EXPECT_GT(picture->pts, before);
        before = picture->pts;
    }
}

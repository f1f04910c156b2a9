// Every format that a canvas can have.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <set>
#include <utility>
#include <vector>

#include "support/Frames.h"
#include "support/LayerScene.h"
#include "support/PlainFrames.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace {

using quol::Canvas;
using quol::LayerLook;
using test::bright;
using test::LayerScene;
using test::Levels;
using test::lookAt;
using test::plainPicture;

TEST(CanvasFormat, FollowsThePixelFormatOfTheMixer) {
    const std::vector<std::pair<int, AVPixelFormat>> known{
        {0, AV_PIX_FMT_RGBA},      {1, AV_PIX_FMT_YUV420P},  {2, AV_PIX_FMT_YUV420P},
        {3, AV_PIX_FMT_NV12},      {5, AV_PIX_FMT_RGB24},    {6, AV_PIX_FMT_RGBA},
        {7, AV_PIX_FMT_ARGB},      {9, AV_PIX_FMT_UYVY422},  {12, AV_PIX_FMT_YUYV422},
        {13, AV_PIX_FMT_YUV420P},  {15, AV_PIX_FMT_YUV422P}, {16, AV_PIX_FMT_YUVA422P},
        {17, AV_PIX_FMT_YUVA420P},
    };
    std::set<int> named;
    for (const auto& [pixelFormat, format] : known) {
        EXPECT_EQ(quol::canvasFormat(pixelFormat), format) << pixelFormat;
        named.insert(pixelFormat);
    }
    for (int pixelFormat = -300; pixelFormat <= 300; ++pixelFormat) {
        if (named.count(pixelFormat) == 0) {
            EXPECT_EQ(quol::canvasFormat(pixelFormat), AV_PIX_FMT_NONE) << pixelFormat;
        }
    }
    EXPECT_EQ(quol::canvasFormat(std::numeric_limits<std::int32_t>::min()), AV_PIX_FMT_NONE);
    EXPECT_EQ(quol::canvasFormat(std::numeric_limits<std::int32_t>::max()), AV_PIX_FMT_NONE);
}

// What bytes of a canvas without layers are to be, plane by plane and byte by byte in turn.
struct EmptyCanvas {
    int pixelFormat;
    std::vector<std::vector<int>> planes;
};

std::vector<EmptyCanvas> emptyCanvases() {
    return {
        {0, {{0, 0, 0, 0}}},
        {1, {{0}, {128}, {128}}},
        {2, {{0}, {128}, {128}}},
        {3, {{0}, {128}}},
        {5, {{0}}},
        {6, {{0, 0, 0, 0}}},
        {7, {{0, 0, 0, 0}}},
        {9, {{128, 0}}},
        {12, {{0, 128}}},
        {13, {{0}, {128}, {128}}},
        {15, {{0}, {128}, {128}}},
        {16, {{0}, {128}, {128}, {0}}},
        {17, {{0}, {128}, {128}, {0}}},
    };
}

TEST(ProcessorCanvas, CanvasOfEveryFormatIsBlackOrTransparentWithoutLayers) {
    LayerScene scene;
    for (const EmptyCanvas& empty : emptyCanvases()) {
        const AVPixelFormat format = quol::canvasFormat(empty.pixelFormat);
        SCOPED_TRACE(av_get_pix_fmt_name(format));
        const quol::FramePtr canvas = scene.render({64, 48, format});
        ASSERT_TRUE(canvas);
        ASSERT_EQ(canvas->width, 64);
        ASSERT_EQ(canvas->height, 48);
        ASSERT_EQ(canvas->format, format);
        for (std::size_t plane = 0; plane < empty.planes.size(); ++plane) {
            const std::vector<int>& bytes = empty.planes[plane];
            for (std::size_t i = 0; i < 16; ++i)
                EXPECT_EQ(canvas->data[plane][i], bytes[i % bytes.size()]) << plane << ' ' << i;
        }
    }
}

TEST(ProcessorCanvas, CanvasOfEveryFormatShowsItsLayersToTheLastColumnAndRow) {
    LayerScene scene;
    const quol::FramePtr picture = test::makePicture(31, 21, AV_PIX_FMT_RGBA);
    LayerLook look = lookAt(3, 3);
    look.alpha = 200;
    scene.add(look, *picture);
    for (const EmptyCanvas& empty : emptyCanvases()) {
        const AVPixelFormat format = quol::canvasFormat(empty.pixelFormat);
        SCOPED_TRACE(av_get_pix_fmt_name(format));
        for (const int width : {37, 38}) {
            for (const int height : {27, 28})
                EXPECT_EQ(scene.differenceOn({width, height, format}), "")
                    << width << ' ' << height;
        }
    }
}

TEST(ProcessorCanvas, CanvasWithoutASizeOrAFormatGivesNoPicture) {
    LayerScene scene;
    const quol::FramePtr picture = plainPicture(16, 16, bright);
    scene.add(lookAt(0, 0), *picture);
    for (const Canvas& canvas :
         {Canvas{0, 48, AV_PIX_FMT_YUV420P}, Canvas{64, 0, AV_PIX_FMT_YUV420P},
          Canvas{-1, 48, AV_PIX_FMT_YUV420P}, Canvas{64, -48, AV_PIX_FMT_RGBA},
          Canvas{64, 48, AV_PIX_FMT_NONE}, Canvas{}}) {
        EXPECT_FALSE(scene.render(canvas));
    }
    EXPECT_TRUE(scene.render({16, 16, AV_PIX_FMT_YUV420P}));
}

TEST(ProcessorCanvas, CanvasTooLargeForMemoryGivesNoPictureAndTheNextOneIsMade) {
    LayerScene scene;
    constexpr int largest = std::numeric_limits<int>::max();
    EXPECT_FALSE(scene.render({largest, largest, AV_PIX_FMT_YUV420P}));
    EXPECT_FALSE(scene.render({largest, largest, AV_PIX_FMT_RGBA}));
    EXPECT_TRUE(scene.render({16, 16, AV_PIX_FMT_YUV420P}));
}

// Alpha of a pixel of a packed picture, in its place among four bytes.
int packedAlpha(const AVFrame& picture, int x, int y) {
    const int place = picture.format == AV_PIX_FMT_ARGB ? 0 : 3;
    return picture.data[0][y * picture.linesize[0] + x * 4 + place];
}

TEST(ProcessorCanvas, CanvasWithAlphaStaysTransparentWhereNothingIsPainted) {
    LayerScene scene;
    const quol::FramePtr picture = plainPicture(16, 16, bright);
    const quol::FramePtr half = plainPicture(16, 16, bright, AV_PIX_FMT_YUVA420P, 128);
    const quol::FramePtr clear = plainPicture(16, 16, bright, AV_PIX_FMT_YUVA420P, 0);
    scene.add(lookAt(0, 0), *picture);
    scene.add(lookAt(16, 0), *half);
    scene.add(lookAt(32, 0), *clear);
    for (const AVPixelFormat format : {AV_PIX_FMT_RGBA, AV_PIX_FMT_ARGB}) {
        const quol::FramePtr canvas = scene.render({64, 32, format});
        ASSERT_TRUE(canvas);
        EXPECT_EQ(packedAlpha(*canvas, 8, 8), 255);
        EXPECT_EQ(packedAlpha(*canvas, 24, 8), 128);
        EXPECT_EQ(packedAlpha(*canvas, 40, 8), 0);
        EXPECT_EQ(packedAlpha(*canvas, 56, 8), 0);
        EXPECT_EQ(packedAlpha(*canvas, 8, 24), 0);
    }
    for (const AVPixelFormat format : {AV_PIX_FMT_YUVA420P, AV_PIX_FMT_YUVA422P}) {
        const quol::FramePtr canvas = scene.render({64, 32, format});
        ASSERT_TRUE(canvas);
        const auto alphaAt = [&](int x, int y) {
            return static_cast<int>(canvas->data[3][y * canvas->linesize[3] + x]);
        };
        EXPECT_EQ(alphaAt(8, 8), 255);
        EXPECT_EQ(alphaAt(24, 8), 128);
        EXPECT_EQ(alphaAt(40, 8), 0);
        EXPECT_EQ(alphaAt(56, 8), 0);
        EXPECT_EQ(alphaAt(8, 24), 0);
    }
}

TEST(ProcessorCanvas, CoverageOfLayersUponEachOtherAddsUp) {
    LayerScene scene;
    const quol::FramePtr half = plainPicture(16, 16, bright, AV_PIX_FMT_YUVA420P, 128);
    int covered = 0;
    for (int layers = 1; layers <= 4; ++layers) {
        scene.add(lookAt(0, 0), *half);
        covered += 128 * (255 - covered) / 255;
        const quol::FramePtr canvas = scene.render({16, 16, AV_PIX_FMT_YUVA420P});
        EXPECT_EQ(canvas->data[3][0], covered) << layers;
    }
}

} // namespace

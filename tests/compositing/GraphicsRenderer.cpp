// The graphics path against a model of its shaders in plain arithmetic, on whatever driver there
// is.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "compositing/LayerRenderer.h"
#include "core/Scaler.h"
#include "quolsdk/LMixer.h"
#include "support/CapturedStream.h"
#include "support/ClipFile.h"
#include "support/CollectingSink.h"
#include "support/FilePlayer.h"
#include "support/Frames.h"
#include "support/Instrumented.h"
#include "support/LayerScene.h"
#include "support/LiveSource.h"
#include "support/PlainFrames.h"
#include "support/ShaderModel.h"
#include "support/ThisProcess.h"

namespace {

using quol::LayerLook;
using quol::LayerState;
using quol::RenderedLayer;

class GraphicsRenderer : public testing::Test {
protected:
    void SetUp() override {
        renderer = quol::makeGraphicsRenderer(quol::GraphicsDriver::any);
        if (!renderer) GTEST_SKIP() << "no OpenGL driver on this machine";
    }

    void add(const LayerLook& look, quol::FramePtr picture, quol::FramePtr key = nullptr) {
        states.push_back(std::make_unique<LayerState>());
        RenderedLayer layer;
        layer.look = look;
        layer.picture = picture.get();
        layer.key = key.get();
        layer.state = states.back().get();
        layers.push_back(layer);
        frames.push_back(std::move(picture));
        frames.push_back(std::move(key));
    }

    struct Comparison;

    // Sizes of the pictures are multiples of `step`.
    Comparison compare(int turns, int step);

    void clear() {
        for (auto& state : states)
            renderer->deleteTextures(state->textures);
        states.clear();
        layers.clear();
        frames.clear();
    }

    void TearDown() override {
        if (renderer) clear();
    }

    std::unique_ptr<quol::LayerRenderer> renderer;
    std::vector<std::unique_ptr<LayerState>> states;
    std::vector<RenderedLayer> layers;
    std::vector<quol::FramePtr> frames;
};

// Pictures that change slowly from sample to sample, as pictures do: in noise, the 8 bits that a
// driver keeps of a place between two samples would be seen.
quol::FramePtr gradient(int width, int height, AVPixelFormat format, unsigned seed) {
    quol::FramePtr picture = test::plainPicture(width, height, {0, 0, 0}, format, 0);
    for (int plane = 0; plane < 4 && picture->data[plane] != nullptr; ++plane) {
        const bool chroma = plane == 1 || plane == 2;
        const bool fullHeight = format == AV_PIX_FMT_YUV422P || format == AV_PIX_FMT_YUVA422P;
        const int planeWidth = chroma ? (width + 1) / 2 : width;
        const int planeHeight = chroma && !fullHeight ? (height + 1) / 2 : height;
        for (int y = 0; y < planeHeight; ++y) {
            for (int x = 0; x < planeWidth; ++x) {
                const unsigned base = seed * 37 + static_cast<unsigned>(plane) * 61;
                const int wave = static_cast<int>((base + static_cast<unsigned>(x + y)) % 400);
                picture->data[plane][y * picture->linesize[plane] + x] =
                    static_cast<std::uint8_t>(20 + std::abs(wave - 200));
            }
        }
    }
    return picture;
}

// Random layers one above the other, and how far what is drawn is from the model.
struct GraphicsRenderer::Comparison {
    int layers = 0;
    int pixels = 0;
    int beyondOneLevel = 0;
    int beyondTwoLevels = 0;
    int undecided = 0;
};

GraphicsRenderer::Comparison GraphicsRenderer::compare(int turns, int step) {
    constexpr AVPixelFormat formats[] = {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P,
                                         AV_PIX_FMT_YUVA420P, AV_PIX_FMT_YUVA422P};
    constexpr quol::Canvas canvas{96, 64, AV_PIX_FMT_RGBA};
    std::mt19937 random(static_cast<unsigned>(step));
    const auto dice = [&random](int least, int most) {
        return least + static_cast<int>(random() % static_cast<unsigned>(most - least + 1));
    };
    const auto picture = [&](int w, int h) {
        return gradient(w, h, formats[dice(0, 3)], static_cast<unsigned>(dice(0, 1000)));
    };
    Comparison result;
    for (int turn = 0; turn < turns; ++turn) {
        for (int count = dice(1, 3); count > 0; --count) {
            // In its own size: what scaling adds is looked at elsewhere.
            const int w = dice(1, 50 * 2 / step) * step;
            const int h = dice(1, 40 * 2 / step) * step;
            LayerLook look;
            look.alpha = dice(0, 1) != 0 ? 255 : dice(0, 255);
            look.x = dice(-30, 60);
            look.y = dice(-30, 40);
            for (float* crop : {&look.cropLeft, &look.cropTop, &look.cropRight, &look.cropBottom}) {
                if (dice(0, 1) != 0) *crop = static_cast<float>(dice(0, 20));
            }
            if (dice(0, 1) != 0) look.borderThickness = dice(0, 8);
            look.borderAlpha = dice(0, 255);
            look.borderColor = {dice(0, 255), dice(0, 255), dice(0, 255)};
            if (dice(0, 1) != 0) look.borderRadius = dice(0, 50);
            look.isKeyed = dice(0, 2) == 0;
            quol::FramePtr shown = picture(w, h);
            quol::FramePtr key = look.isKeyed && dice(0, 3) != 0 ? picture(w, h) : nullptr;
            // Layer by layer, each on what the driver has made of those before: their roundings
            // would add up.
            test::ShaderModel model(canvas.width, canvas.height);
            model.load(*renderer->render(canvas, layers));
            model.draw(look, *shown, key.get());
            add(look, std::move(shown), std::move(key));
            const quol::FramePtr drawn = renderer->render(canvas, layers);
            ++result.layers;
            result.pixels += canvas.width * canvas.height;
            result.beyondOneLevel += model.differences(*drawn, 1);
            result.beyondTwoLevels += model.differences(*drawn, 2);
            result.undecided += model.undecided();
        }
        clear();
    }
    return result;
}

TEST_F(GraphicsRenderer, DrawsWhatTheShadersSayToOneLevel) {
    const Comparison result = compare(150, 2);
    EXPECT_EQ(result.beyondOneLevel, 0) << "of " << result.pixels << " in " << result.layers;
    // Pixels whose centre lies on an edge that the shader decides by: few.
    EXPECT_LT(result.undecided, result.pixels / 20);
}

// Chroma of an odd size lies between its samples everywhere, and the shader doubles what the driver
// rounds there.
TEST_F(GraphicsRenderer, DrawsOddSizesToTwoLevelsButForAFewPixels) {
    const Comparison result = compare(150, 1);
    EXPECT_LT(result.beyondOneLevel, result.pixels / 200) << "of " << result.pixels;
    EXPECT_LT(result.beyondTwoLevels, result.pixels / 50'000) << "of " << result.pixels;
}

TEST_F(GraphicsRenderer, ScalesByLinearSampling) {
    for (const auto& [w, h] : {std::pair(17.0F, 9.0F), {40.0F, 30.0F}, {90.0F, 60.0F}}) {
        LayerLook look;
        look.width = w;
        look.height = h;
        look.x = 3;
        look.y = 2;
        quol::FramePtr picture = gradient(40, 30, AV_PIX_FMT_YUV420P, 5);
        test::ShaderModel model(96, 64);
        model.draw(look, *picture, nullptr);
        add(look, std::move(picture));
        const quol::FramePtr drawn = renderer->render({96, 64, AV_PIX_FMT_RGBA}, layers);
        // A driver keeps 8 bits of a place between two samples; where the gradient starts again
        // that is more than a level.
        EXPECT_LT(model.differences(*drawn, 1), 96 * 64 / 10) << w;
        EXPECT_EQ(model.differences(*drawn, 8), 0) << w;
        clear();
    }
}

TEST_F(GraphicsRenderer, CropsInPixelsOfThePictureAndBordersInThoseOfTheCanvas) {
    LayerLook look;
    look.x = 5;
    look.y = 2;
    look.width = 80;
    look.height = 60;
    look.cropTop = 4;
    look.cropBottom = 6;
    look.cropLeft = 8;
    look.cropRight = 2;
    look.borderThickness = 3;
    look.borderColor = {255, 128, 0};
    look.borderRadius = 20;
    quol::FramePtr picture = test::plainPicture(40, 30, test::bright);
    test::ShaderModel model(96, 64);
    model.draw(look, *picture, nullptr);
    add(look, std::move(picture));
    const quol::FramePtr drawn = renderer->render({96, 64, AV_PIX_FMT_RGBA}, layers);
    EXPECT_EQ(model.differences(*drawn, 1), 0);
    EXPECT_LT(model.undecided(), 96 * 64 / 20);
}

// Packed RGBA whose alpha grows from column to column.
quol::FramePtr alphaRamp(int width, int height) {
    quol::FramePtr picture = test::makeRgba(width, height, 0, 200, 30, 60);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            picture->data[0][y * picture->linesize[0] + 4 * x + 3] =
                static_cast<std::uint8_t>(40 + 5 * x);
    }
    return picture;
}

TEST_F(GraphicsRenderer, KeysByPicturesOfAnySizeAndForm) {
    LayerLook look;
    look.x = 3;
    look.y = 2;
    look.width = 80;
    look.height = 60;
    look.isKeyed = true;
    std::vector<quol::FramePtr> keys;
    keys.push_back(test::plainPicture(20, 16, {126, 128, 128}));
    keys.push_back(gradient(20, 16, AV_PIX_FMT_YUV420P, 1));
    keys.push_back(gradient(60, 50, AV_PIX_FMT_YUVA422P, 2));
    keys.push_back(alphaRamp(24, 18));
    keys.push_back(test::plainPicture(24, 18, {126, 128, 128}, AV_PIX_FMT_NV12));
    for (quol::FramePtr& key : keys) {
        const auto format = static_cast<AVPixelFormat>(key->format);
        SCOPED_TRACE(format);
        quol::FramePtr planar = quol::cloneFrame(key.get());
        if (format == AV_PIX_FMT_RGBA || format == AV_PIX_FMT_NV12) {
            planar = test::scaledByHand(
                *key, key->width, key->height,
                format == AV_PIX_FMT_RGBA ? AV_PIX_FMT_YUVA420P : AV_PIX_FMT_YUV420P);
        }
        quol::FramePtr picture = test::plainPicture(40, 30, test::bright);
        test::ShaderModel model(96, 64);
        model.draw(look, *picture, planar.get());
        add(look, std::move(picture), std::move(key));
        const quol::FramePtr drawn = renderer->render({96, 64, AV_PIX_FMT_RGBA}, layers);
        EXPECT_EQ(model.differences(*drawn, 2), 0);
        clear();
    }
}

TEST_F(GraphicsRenderer, WhatCannotBeConvertedIsNotDrawnAndIsNoKey) {
    // A hardware picture, which no scaler reads.
    const auto unreadable = [] {
        quol::FramePtr picture = test::plainPicture(40, 30, {0, 128, 128});
        picture->format = AV_PIX_FMT_VAAPI;
        return picture;
    };
    LayerLook look;
    look.isKeyed = true;
    quol::FramePtr fill = test::plainPicture(40, 30, test::bright);
    test::ShaderModel model(40, 30);
    model.draw({}, *fill, nullptr);
    add(look, std::move(fill), unreadable());
    add({}, unreadable());
    const quol::FramePtr drawn = renderer->render({40, 30, AV_PIX_FMT_RGBA}, layers);
    EXPECT_EQ(model.differences(*drawn, 1), 0);
}

// No driver has textures of that size.
TEST_F(GraphicsRenderer, ACanvasTooLargeForTheDriverIsTransparentAndToldOnce) {
    const std::string line = "LMixer [GPU]: Framebuffer is not complete!\n";
    add({}, test::plainPicture(64, 32, test::bright));
    test::CapturedStream error(test::CapturedStream::Stream::error);
    for (int i = 0; i < 2; ++i) {
        const quol::FramePtr large = renderer->render({1 << 17, 16, AV_PIX_FMT_RGBA}, layers);
        ASSERT_NE(large, nullptr);
        const std::string bytes = test::visibleBytes(*large);
        EXPECT_EQ(bytes.find_first_not_of('\0'), std::string::npos);
        const std::size_t at = error.text().find(line);
        EXPECT_NE(at, std::string::npos);
        EXPECT_EQ(error.text().find(line, at + 1), std::string::npos);
        test::fillPlane(*large, 0, 255); // what the next one may find in its memory
    }
    const std::string told = error.text();
    const quol::FramePtr drawn = renderer->render({64, 32, AV_PIX_FMT_RGBA}, layers);
    ASSERT_NE(drawn, nullptr);
    EXPECT_EQ(drawn->data[0][3], 255);
    EXPECT_EQ(error.text(), told) << "all is well again";
}

TEST_F(GraphicsRenderer, DestinationAlphaTakesTheSquare) {
    LayerLook look;
    look.alpha = 128;
    add(look, test::plainPicture(16, 16, {235, 128, 128}));
    const quol::FramePtr drawn = renderer->render({16, 16, AV_PIX_FMT_RGBA}, layers);
    EXPECT_NEAR(drawn->data[0][3], 128 * 128 / 255, 1);
    EXPECT_NEAR(drawn->data[0][0], 128, 1);
}

TEST_F(GraphicsRenderer, WithoutLayersIsTransparentOrBlack) {
    const quol::FramePtr rgba = renderer->render({33, 17, AV_PIX_FMT_RGBA}, {});
    for (int i = 0; i < 33 * 4; ++i)
        ASSERT_EQ(rgba->data[0][i], 0);
    const quol::FramePtr planar = renderer->render({34, 18, AV_PIX_FMT_YUV420P}, {});
    EXPECT_EQ(test::levelsAt(planar.get(), 5, 5), (test::Levels{0, 128, 128})) << "full range";
    const quol::FramePtr other = renderer->render({34, 18, AV_PIX_FMT_NV12}, {});
    EXPECT_EQ(other->data[0][0], 16) << "limited range";
}

TEST_F(GraphicsRenderer, WritesPlanarPicturesInFullRange) {
    add({}, test::plainPicture(64, 32, {235, 128, 128}));
    EXPECT_NEAR(renderer->render({64, 32, AV_PIX_FMT_YUV420P}, layers)->data[0][0], 255, 1);
    EXPECT_NEAR(renderer->render({64, 32, AV_PIX_FMT_YUV422P}, layers)->data[0][0], 235, 1);
}

TEST_F(GraphicsRenderer, MakesEveryCanvasFormatAndSizeInTurn) {
    add({}, test::plainPicture(64, 32, {126, 128, 128}));
    for (const int size : {16, 64, 33, 128}) {
        for (int pixelFormat = 0; pixelFormat <= 17; ++pixelFormat) {
            const AVPixelFormat format = quol::canvasFormat(pixelFormat);
            const quol::FramePtr canvas = renderer->render({size * 2, size, format}, layers);
            ASSERT_EQ(canvas == nullptr, format == AV_PIX_FMT_NONE) << pixelFormat;
            if (canvas) {
                ASSERT_EQ(canvas->width, size * 2);
            }
        }
    }
    EXPECT_EQ(renderer->render({0, 10, AV_PIX_FMT_RGBA}, layers), nullptr);
}

TEST_F(GraphicsRenderer, ConvertsPicturesOfOtherFormsFirst) {
    for (const AVPixelFormat format :
         {AV_PIX_FMT_RGBA, AV_PIX_FMT_BGRA, AV_PIX_FMT_RGB24, AV_PIX_FMT_NV12, AV_PIX_FMT_UYVY422,
          AV_PIX_FMT_GRAY8, AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_YUVJ420P}) {
        quol::FramePtr picture = test::makePicture(48, 24, format);
        const bool withAlpha = format == AV_PIX_FMT_RGBA || format == AV_PIX_FMT_BGRA;
        const quol::FramePtr planar = test::plainPicture(
            48, 24, {0, 0, 0}, withAlpha ? AV_PIX_FMT_YUVA420P : AV_PIX_FMT_YUV420P);
        ASSERT_TRUE(quol::Scaler().scale(*picture, *planar, SWS_BILINEAR));
        test::ShaderModel model(64, 32);
        model.draw({}, *planar, nullptr);
        add({}, std::move(picture));
        const quol::FramePtr drawn = renderer->render({64, 32, AV_PIX_FMT_RGBA}, layers);
        // The pattern jumps from sample to sample, and so does what the driver rounds between them.
        EXPECT_EQ(model.differences(*drawn, 8), 0) << format;
        clear();
    }
}

TEST_F(GraphicsRenderer, DrawsPicturesThatStandUpsideDownInMemory) {
    quol::FramePtr picture = gradient(40, 30, AV_PIX_FMT_YUV420P, 3);
    for (int plane = 0; plane < 3; ++plane) {
        const int rows = plane == 0 ? 30 : 15;
        picture->data[plane] += static_cast<std::ptrdiff_t>(rows - 1) * picture->linesize[plane];
        picture->linesize[plane] = -picture->linesize[plane];
    }
    test::ShaderModel model(40, 30);
    model.draw({}, *picture, nullptr);
    add({}, std::move(picture));
    const quol::FramePtr drawn = renderer->render({40, 30, AV_PIX_FMT_RGBA}, layers);
    EXPECT_EQ(model.differences(*drawn, 1), 0);
}

TEST_F(GraphicsRenderer, GivesTheMemoryOfDeletedTexturesBack) {
    // Fewer where they take forty times as long, and where what is in use is told to the byte.
    constexpr int turns = test::isInstrumented ? 100 : 1000;
    constexpr int side = 512; // a megabyte or more a layer
    const auto turn = [&] {
        add({}, test::plainPicture(side, side, {100, 128, 128}, AV_PIX_FMT_YUVA420P));
        ASSERT_NE(renderer->render({16, 16, AV_PIX_FMT_RGBA}, layers), nullptr);
        quol::LayerTextures& used = states[0]->textures;
        ASSERT_NE(used.a, 0U);
        ASSERT_EQ(used.key, 0U) << "only a key has a texture of it";
        renderer->deleteTextures({used.y, used.u, used.v, used.a});
        used = {};
        clear();
    };
    for (int i = 0; i < 20; ++i)
        turn();
    const auto memoryKiB = [] {
        return test::isInstrumented ? static_cast<long>(test::heapOfThisProcess() / 1024)
                                    : test::residentKiB();
    };
    const long before = memoryKiB();
    for (int i = 0; i < turns; ++i)
        turn();
    EXPECT_LT(memoryKiB() - before, turns * 1024L / 3);
}

TEST(LMixerGraphics, ShowsLivePicturesAndComesAndGoes) {
    if (!quol::makeGraphicsRenderer(quol::GraphicsDriver::any))
        GTEST_SKIP() << "no OpenGL driver on this machine";
    test::LiveSource source;
    source.start();
    for (int turn = 0; turn < 4; ++turn) {
        LMixer mixer(LMixer::Renderer::graphics);
        videoFormatProps format;
        format.width = 160;
        format.height = 90;
        format.fps = 25.0;
        format.pixelFormat = 1;
        mixer.setVideoFormat(format);
        test::CollectingSink sink(1);
        mixer.addSink(&sink);
        mixer.addLayer("live", &source);
        mixer.addLayer("small", &source, 1, 10.0F, 10.0F, 200, 64.0F, 36.0F);
        EXPECT_TRUE(sink.waitForPictures(sink.pictureCount() + 10));
        mixer.removeLayer("small");
        EXPECT_TRUE(sink.waitForPictures(sink.pictureCount() + 3));
        mixer.removeSink(&sink);
    }
}

TEST(LMixerGraphics, LayersThatAreGoneLeaveNoMemoryBehind) {
    if (!quol::makeGraphicsRenderer(quol::GraphicsDriver::any))
        GTEST_SKIP() << "no OpenGL driver on this machine";
    constexpr int turns = 200;
    constexpr int side = 512; // more than half a megabyte a layer
    const quol::FramePtr picture =
        test::plainPicture(side, side, test::bright, AV_PIX_FMT_YUVA420P);
    test::HandSource source;
    LMixer mixer(LMixer::Renderer::graphics);
    mixer.setVideoFormat(test::customVideo(16, 16, 200.0, 1));
    test::CollectingSink sink(1);
    mixer.addSink(&sink);
    const auto isSeen = [&] { return test::levelsAt(sink.latestPicture().get(), 5, 5).y > 0; };
    const auto turn = [&] {
        mixer.addLayer("layer", &source);
        ASSERT_TRUE(test::waitUntil([&] {
            source.distributeVideoFrame(picture.get());
            return isSeen();
        }));
        mixer.removeLayer("layer");
        ASSERT_TRUE(test::waitUntil([&] { return !isSeen(); }));
    };
    for (int i = 0; i < 20; ++i)
        turn();
    const long before = test::residentKiB();
    for (int i = 0; i < turns; ++i)
        turn();
    if (!test::isInstrumented) { // what is freed is kept for a while
        EXPECT_LT(test::residentKiB() - before, turns * 1024L / 3);
    }
    mixer.removeSink(&sink);
}

} // namespace

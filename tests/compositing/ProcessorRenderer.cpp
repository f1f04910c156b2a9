// The processor path as a whole: what it paints, against a reference that tells it sample by
// sample.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "compositing/LayerRenderer.h"
#include "core/PicturePool.h"
#include "core/Scaler.h"
#include "support/Frames.h"
#include "support/PlainFrames.h"
#include "support/ReferencePainter.h"

namespace {

using quol::Canvas;
using quol::LayerLook;
using quol::LayerState;
using quol::RenderedLayer;

class Dice {
public:
    explicit Dice(unsigned seed) : random_(seed) {}
    int operator()(int least, int most) {
        return least + static_cast<int>(random_() % static_cast<unsigned>(most - least + 1));
    }
    bool oneIn(int count) { return (*this)(1, count) == 1; }

private:
    std::mt19937 random_;
};

// Layers with the pictures they show.
class Scene {
public:
    void add(const LayerLook& look, quol::FramePtr picture, quol::FramePtr key = nullptr) {
        states_.push_back(std::make_unique<LayerState>());
        RenderedLayer layer;
        layer.look = look;
        layer.picture = picture.get();
        layer.key = key.get();
        layer.state = states_.back().get();
        layers.push_back(layer);
        frames_.push_back(std::move(picture));
        if (key) frames_.push_back(std::move(key));
    }

    std::vector<RenderedLayer> layers;

private:
    std::vector<std::unique_ptr<LayerState>> states_;
    std::vector<quol::FramePtr> frames_;
};

quol::FramePtr randomPicture(Dice& dice, int width, int height) {
    const AVPixelFormat format = dice.oneIn(2) ? AV_PIX_FMT_YUV420P : AV_PIX_FMT_YUVA420P;
    quol::FramePtr picture = test::makePicture(width, height, format, 0, {1, 25},
                                               static_cast<unsigned>(dice(1, 1 << 20)));
    if (format == AV_PIX_FMT_YUVA420P && dice.oneIn(2)) {
        // Whole and no opacity, as titles have it.
        for (int row = 0; row < height; ++row) {
            for (int column = 0; column < width; ++column) {
                std::uint8_t& alpha =
                    picture
                        ->data[3][static_cast<std::ptrdiff_t>(row) * picture->linesize[3] + column];
                if (!dice.oneIn(4)) alpha = alpha < 128 ? 0 : 255;
            }
        }
    }
    return picture;
}

LayerLook randomLook(Dice& dice) {
    LayerLook look;
    look.alpha = dice.oneIn(2) ? 255 : dice(-20, 300);
    look.x = dice.oneIn(2) ? 0 : dice(-70, 70);
    look.y = dice.oneIn(2) ? 0 : dice(-70, 70);
    if (dice.oneIn(2)) {
        look.cropLeft = static_cast<float>(dice(-3, 24));
        look.cropTop = static_cast<float>(dice(-3, 24));
        look.cropRight = static_cast<float>(dice(0, 24)) + 0.75F;
        look.cropBottom = static_cast<float>(dice(0, 24));
    }
    if (dice.oneIn(2)) look.borderThickness = dice(0, 14);
    if (dice.oneIn(2)) look.borderRadius = dice(-10, 140);
    look.borderAlpha = dice.oneIn(2) ? 255 : dice(-20, 300);
    look.borderColor = {dice(0, 255), dice(0, 255), dice(0, 255)};
    return look;
}

TEST(ProcessorRenderer, PaintsWhatTheReferencePaints) {
    Dice dice(2026);
    const auto renderer = quol::makeProcessorRenderer();
    for (int turn = 0; turn < 3000; ++turn) {
        const int width = dice(1, 75);
        const int height = dice(1, 75);
        Scene scene;
        test::ReferencePainter reference(width, height);
        for (int layers = dice(0, 3); layers > 0; --layers) {
            const bool fits = dice.oneIn(4);
            const int pictureWidth = fits ? width : dice(1, 80);
            const int pictureHeight = fits ? height : dice(1, 80);
            LayerLook look = randomLook(dice);
            look.isKeyed = dice.oneIn(3);
            quol::FramePtr picture = randomPicture(dice, pictureWidth, pictureHeight);
            quol::FramePtr key;
            if (look.isKeyed && !dice.oneIn(4))
                key = randomPicture(dice, pictureWidth, pictureHeight);
            reference.paint(look, *picture, key.get());
            scene.add(look, std::move(picture), std::move(key));
        }
        const AVPixelFormat format = dice.oneIn(2) ? AV_PIX_FMT_YUV420P : AV_PIX_FMT_YUVA420P;
        const quol::FramePtr painted = renderer->render({width, height, format}, scene.layers);
        ASSERT_NE(painted, nullptr);
        ASSERT_EQ(painted->format, format);
        ASSERT_EQ(reference.firstDifference(*painted), "")
            << "turn " << turn << ", canvas " << width << "x" << height;
    }
}

// Large enough to be painted in many bands by several threads.
TEST(ProcessorRenderer, PaintsTheSameInBands) {
    Dice dice(7);
    const auto renderer = quol::makeProcessorRenderer();
    for (int turn = 0; turn < 6; ++turn) {
        const int width = 401 + turn;
        const int height = 299 + turn;
        Scene scene;
        test::ReferencePainter reference(width, height);
        for (int layers = 0; layers < 3; ++layers) {
            const LayerLook look = randomLook(dice);
            quol::FramePtr picture = randomPicture(dice, 380, 290);
            reference.paint(look, *picture, nullptr);
            scene.add(look, std::move(picture));
        }
        const quol::FramePtr painted =
            renderer->render({width, height, AV_PIX_FMT_YUVA420P}, scene.layers);
        ASSERT_EQ(reference.firstDifference(*painted), "") << "turn " << turn;
    }
}

// A picture that has to be scaled is what swscale makes of it, painted.
TEST(ProcessorRenderer, ScalesBilinearly) {
    const auto renderer = quol::makeProcessorRenderer();
    for (const AVPixelFormat format :
         {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_NV12,
          AV_PIX_FMT_UYVY422, AV_PIX_FMT_RGB24, AV_PIX_FMT_RGBA, AV_PIX_FMT_GRAY8,
          AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_YUVA422P}) {
        for (const int alpha : {255, 180}) {
            LayerLook look;
            look.alpha = alpha;
            look.width = 48.9F;
            look.height = 27.0F;
            look.x = 3;
            look.y = -2;
            quol::FramePtr picture = test::makePicture(96, 54, format);
            // The letter of the rule: into planes with alpha, unless the layer is copied.
            const bool isCopied = alpha == 255 && format != AV_PIX_FMT_YUVA422P;
            const quol::FramePtr scaled = quol::PicturePool().get(
                48, 27, isCopied ? AV_PIX_FMT_YUV420P : AV_PIX_FMT_YUVA420P);
            ASSERT_TRUE(quol::Scaler().scale(*picture, *scaled, SWS_BILINEAR));
            test::ReferencePainter reference(64, 40);
            reference.paint(look, *scaled, nullptr);
            Scene scene;
            scene.add(look, std::move(picture));
            const quol::FramePtr painted =
                renderer->render({64, 40, AV_PIX_FMT_YUV420P}, scene.layers);
            EXPECT_EQ(reference.firstDifference(*painted), "") << format << " at " << alpha;
        }
    }
}

TEST(ProcessorRenderer, HandsTheOnlyLayerOnWhereItIsTheCanvas) {
    const auto renderer = quol::makeProcessorRenderer();
    Scene scene;
    scene.add({}, test::makePicture(64, 36, AV_PIX_FMT_YUV420P));
    const quol::FramePtr painted = renderer->render({64, 36, AV_PIX_FMT_YUV420P}, scene.layers);
    ASSERT_NE(painted, nullptr);
    EXPECT_EQ(painted->data[0], scene.layers[0].picture->data[0]);
    EXPECT_EQ(painted->pts, AV_NOPTS_VALUE);
}

TEST(ProcessorRenderer, WithoutLayersIsBlackOrTransparent) {
    const auto renderer = quol::makeProcessorRenderer();
    const quol::FramePtr planar = renderer->render({33, 17, AV_PIX_FMT_YUV420P}, {});
    EXPECT_EQ(test::ReferencePainter(33, 17).firstDifference(*planar), "");
    for (const AVPixelFormat format : {AV_PIX_FMT_RGBA, AV_PIX_FMT_ARGB}) {
        const quol::FramePtr packed = renderer->render({33, 17, format}, {});
        ASSERT_NE(packed, nullptr);
        const int alphaByte = format == AV_PIX_FMT_RGBA ? 3 : 0;
        for (int column = 0; column < 33; ++column)
            ASSERT_EQ(packed->data[0][16 * packed->linesize[0] + column * 4 + alphaByte], 0);
    }
}

TEST(ProcessorRenderer, LeavesACanvasWithAlphaTransparentWhereNothingLies) {
    const auto renderer = quol::makeProcessorRenderer();
    Scene scene;
    LayerLook look;
    look.x = 16;
    look.y = 8;
    scene.add(look, test::plainPicture(16, 8, {180, 90, 160}));
    for (const AVPixelFormat format :
         {AV_PIX_FMT_RGBA, AV_PIX_FMT_ARGB, AV_PIX_FMT_YUVA422P, AV_PIX_FMT_YUVA420P}) {
        const quol::FramePtr canvas = renderer->render({64, 32, format}, scene.layers);
        ASSERT_NE(canvas, nullptr) << format;
        const auto alphaAt = [&](int x, int y) -> int {
            if (canvas->data[3] != nullptr) return canvas->data[3][y * canvas->linesize[3] + x];
            return canvas
                ->data[0][y * canvas->linesize[0] + x * 4 + (format == AV_PIX_FMT_RGBA ? 3 : 0)];
        };
        for (int y = 0; y < 32; ++y) {
            for (int x = 0; x < 64; ++x) {
                const bool inside = x >= 16 && x < 32 && y >= 8 && y < 16;
                ASSERT_EQ(alphaAt(x, y), inside ? 255 : 0) << format << " " << x << "," << y;
            }
        }
    }
}

TEST(ProcessorRenderer, MakesEveryCanvasFormatThereIs) {
    const auto renderer = quol::makeProcessorRenderer();
    Scene scene;
    scene.add({}, test::plainPicture(64, 32, {126, 128, 128}));
    for (int pixelFormat = 0; pixelFormat <= 17; ++pixelFormat) {
        const AVPixelFormat format = quol::canvasFormat(pixelFormat);
        const quol::FramePtr canvas = renderer->render({64, 32, format}, scene.layers);
        const bool isNone = pixelFormat == 4 || pixelFormat == 8 || pixelFormat == 10 ||
                            pixelFormat == 11 || pixelFormat == 14;
        EXPECT_EQ(canvas == nullptr, isNone) << pixelFormat;
        if (canvas) {
            EXPECT_EQ(canvas->format, format);
        }
    }
    EXPECT_EQ(quol::canvasFormat(18), AV_PIX_FMT_NONE);
    EXPECT_EQ(quol::canvasFormat(-1), AV_PIX_FMT_NONE);
}

TEST(ProcessorRenderer, PassesOverWhatCannotBeShown) {
    const auto renderer = quol::makeProcessorRenderer();
    EXPECT_EQ(renderer->render({0, 32, AV_PIX_FMT_YUV420P}, {}), nullptr);
    EXPECT_EQ(renderer->render({64, -1, AV_PIX_FMT_YUV420P}, {}), nullptr);
    for (const float size : {0.5F, 1.0e9F, 40000.0F}) {
        Scene scene;
        LayerLook look;
        look.width = size;
        look.height = size;
        scene.add(look, test::plainPicture(16, 8, {200, 100, 100}));
        const quol::FramePtr canvas = renderer->render({64, 32, AV_PIX_FMT_YUV420P}, scene.layers);
        ASSERT_NE(canvas, nullptr);
        EXPECT_EQ(test::ReferencePainter(64, 32).firstDifference(*canvas), "") << size;
    }
}

// Sources are free to write to a picture only when nobody holds it; a picture that is still shown
// is taken for what it was.
TEST(ProcessorRenderer, DoesNotScaleAPictureThatHasNotChangedAgain) {
    const auto renderer = quol::makeProcessorRenderer();
    Scene scene;
    LayerLook look;
    look.width = 32.0F;
    look.height = 16.0F;
    scene.add(look, test::plainPicture(64, 32, {50, 128, 128}));
    const Canvas canvas{64, 32, AV_PIX_FMT_YUV420P};
    ASSERT_NE(renderer->render(canvas, scene.layers), nullptr);
    EXPECT_FALSE(scene.layers[0].state->picture.scaled.wouldScale(*scene.layers[0].picture, 32, 16,
                                                                  AV_PIX_FMT_YUV420P));
}

} // namespace

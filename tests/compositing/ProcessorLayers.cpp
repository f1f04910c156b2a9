// Layers of every kind on the main processor: whatever comes, the picture is that of the rules.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <random>
#include <string>
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
using test::blackLevels;
using test::bright;
using test::LayerScene;
using test::Levels;
using test::levelsAt;
using test::lookAt;
using test::plainPicture;
using test::scaledByHand;

constexpr Levels brightBlended{199, 139, 109}; // at full opacity

// ------------------------------------------------------------------------------------- any layers

// Formats that pictures come in; the first few twice, for they have rules of their own.
constexpr std::array sourceFormats{
    AV_PIX_FMT_YUV420P,  AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVA420P,    AV_PIX_FMT_YUVA420P,
    AV_PIX_FMT_YUVA422P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_RGBA,        AV_PIX_FMT_BGRA,
    AV_PIX_FMT_RGB24,    AV_PIX_FMT_NV12,    AV_PIX_FMT_UYVY422,     AV_PIX_FMT_YUVJ420P,
    AV_PIX_FMT_GRAY8,    AV_PIX_FMT_YUV444P, AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_YUV422P10LE,
};

// A show of random layers whose pictures come, stay for a while, and change.
class Show {
public:
    explicit Show(unsigned seed) : random_(seed) {}

    // 0 to `limit`.
    int upTo(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit + 1)); }
    bool oneIn(int count) { return upTo(count - 1) == 0; }

    // swscale passes over the last row of packed 4:2:2 where the height is odd.
    static int readableHeight(AVPixelFormat format, int height) {
        const bool isPacked = format == AV_PIX_FMT_UYVY422 || format == AV_PIX_FMT_YUYV422;
        return isPacked ? (height + 1) / 2 * 2 : height;
    }

    quol::FramePtr picture(AVPixelFormat format, int width, int height) {
        quol::FramePtr picture =
            test::makePicture(width, height, format, 0, {1, 25}, static_cast<unsigned>(random_()));
        if (picture->data[3] != nullptr && oneIn(2)) makePlainRows(*picture);
        return picture;
    }

    quol::FramePtr picture() {
        const int place = upTo(static_cast<int>(sourceFormats.size()) - 1);
        const AVPixelFormat format = sourceFormats[static_cast<std::size_t>(place)];
        const int height = 1 + upTo(60);
        return picture(format, 1 + upTo(60), readableHeight(format, height));
    }

    LayerLook look(const Canvas& canvas) {
        if (oneIn(8)) return lookOverAll(canvas);
        LayerLook look =
            lookAt(upTo(2 * canvas.width) - canvas.width, upTo(2 * canvas.height) - canvas.height);
        look.alpha = oneIn(2) ? 255 : upTo(300) - 20;
        if (oneIn(2)) look.width = static_cast<float>(1 + upTo(70)) + 0.75F;
        if (oneIn(2)) look.height = static_cast<float>(1 + upTo(70)) + 0.25F;
        if (oneIn(3)) {
            look.cropLeft = static_cast<float>(upTo(40) - 10) / 2.0F;
            look.cropTop = static_cast<float>(upTo(40) - 10) / 2.0F;
            look.cropRight = static_cast<float>(upTo(40) - 10) / 2.0F;
            look.cropBottom = static_cast<float>(upTo(40) - 10) / 2.0F;
        }
        if (oneIn(3)) look.borderThickness = upTo(8);
        if (oneIn(2)) look.borderRadius = upTo(60);
        look.borderAlpha = oneIn(2) ? 255 : upTo(300) - 20;
        look.borderColor = {upTo(255), upTo(255), upTo(255)};
        look.isKeyed = oneIn(4);
        return look;
    }

    // Puts other layers on the scene, or changes some of those before.
    void goOn(const Canvas& canvas, LayerScene& scene) {
        layers_.resize(static_cast<std::size_t>(upTo(4)));
        scene.clear();
        for (Layer& layer : layers_) {
            if (!layer.picture || oneIn(2)) layer.look = look(canvas);
            if (!layer.picture || oneIn(2)) layer.picture = picture();
            if (!layer.key || oneIn(2)) layer.key = picture();
            scene.add(layer.look, *layer.picture, oneIn(4) ? nullptr : layer.key.get());
        }
    }

private:
    struct Layer {
        LayerLook look;
        quol::FramePtr picture;
        quol::FramePtr key;
    };

    // The whole canvas exactly, or a little more.
    LayerLook lookOverAll(const Canvas& canvas) {
        const int more = oneIn(2) ? 0 : upTo(5);
        return lookAt(-upTo(more), -upTo(more), static_cast<float>(canvas.width + more),
                      static_cast<float>(canvas.height + more));
    }

    // Rows of a title: transparent or opaque from end to end, or neither.
    void makePlainRows(AVFrame& picture) {
        for (int row = 0; row < picture.height; ++row) {
            std::uint8_t* const samples =
                picture.data[3] + static_cast<std::ptrdiff_t>(row) * picture.linesize[3];
            const int kind = upTo(2);
            if (kind < 2) std::memset(samples, kind * 255, static_cast<std::size_t>(picture.width));
        }
    }

    std::mt19937 random_;
    std::vector<Layer> layers_;
};

void compareShow(unsigned seed, int pictures, AVPixelFormat format) {
    Show show(seed);
    LayerScene scene;
    Canvas canvas;
    for (int turn = 0; turn < pictures; ++turn) {
        if (turn % 20 == 0) canvas = {1 + show.upTo(80), 1 + show.upTo(110), format};
        show.goOn(canvas, scene);
        ASSERT_EQ(scene.differenceOn(canvas), "")
            << "turn " << turn << " on " << av_get_pix_fmt_name(format);
    }
}

TEST(ProcessorLayers, AreScaledAndPaintedByTheRules) {
    compareShow(1, 2500, AV_PIX_FMT_YUV420P);
}

TEST(ProcessorLayers, AreScaledAndPaintedByTheRulesAndCoverTheCanvas) {
    compareShow(2, 2500, AV_PIX_FMT_YUVA420P);
}

TEST(ProcessorLayers, AreConvertedToTheFormatOfTheCanvas) {
    unsigned seed = 3;
    for (const AVPixelFormat format :
         {AV_PIX_FMT_RGBA, AV_PIX_FMT_NV12, AV_PIX_FMT_RGB24, AV_PIX_FMT_ARGB, AV_PIX_FMT_UYVY422,
          AV_PIX_FMT_YUYV422, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUVA422P}) {
        compareShow(seed++, 150, format);
        if (testing::Test::HasFatalFailure()) return;
    }
}

TEST(ProcessorLayers, ConvertOddSizesToTheLastColumnAndRow) {
    for (const AVPixelFormat format : {AV_PIX_FMT_RGBA, AV_PIX_FMT_ARGB, AV_PIX_FMT_RGB24}) {
        for (const auto& [width, height] :
             {std::pair{43, 21}, {21, 33}, {1, 1}, {85, 2}, {31, 64}}) {
            LayerScene scene;
            const quol::FramePtr picture = plainPicture(100, 80, {235, 128, 128});
            scene.add(lookAt(0, 0), *picture);
            const quol::FramePtr canvas = scene.render({width, height, format});
            ASSERT_TRUE(canvas);
            ASSERT_EQ(canvas->width, width);
            ASSERT_EQ(canvas->height, height);
            const int bytes = format == AV_PIX_FMT_RGB24 ? 3 : 4;
            for (int row = 0; row < height; ++row) {
                for (int byte = 0; byte < width * bytes; ++byte) {
                    ASSERT_NEAR(canvas->data[0][row * canvas->linesize[0] + byte], 254, 2)
                        << width << " x " << height << " at " << byte << ", " << row;
                }
            }
        }
    }
}

// ---------------------------------------------------------------- pictures without alpha, scaled

// The other planes of a picture with alpha, when that plane is opaque all over.
testing::AssertionResult isOpaque(AVFrame& picture) {
    for (int row = 0; row < picture.height; ++row) {
        const std::uint8_t* const alphas =
            picture.data[3] + static_cast<std::ptrdiff_t>(row) * picture.linesize[3];
        if (!std::all_of(alphas, alphas + picture.width, [](int alpha) { return alpha == 255; }))
            return testing::AssertionFailure() << "row " << row;
    }
    return testing::AssertionSuccess();
}

// Such a picture, unless it is RGB, is scaled without an alpha plane: what is left out would be
// opaque all over.
TEST(ScaledWithoutAlpha, IsTheSameAsWithAnOpaqueAlphaPlane) {
    Show show(40);
    for (const AVPixelFormat format :
         {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P, AV_PIX_FMT_NV12,
          AV_PIX_FMT_UYVY422, AV_PIX_FMT_YUYV422, AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUVJ422P,
          AV_PIX_FMT_GRAY8, AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_P010LE,
          AV_PIX_FMT_YUV411P}) {
        for (int turn = 0; turn < 40; ++turn) {
            const int width = 1 + show.upTo(turn % 2 == 0 ? 60 : 400);
            const int height = Show::readableHeight(format, 1 + show.upTo(60));
            const bool isScaled = turn % 4 != 0;
            const int targetWidth = isScaled ? 1 + show.upTo(300) : width;
            const int targetHeight = isScaled ? 1 + show.upTo(60) : height;
            SCOPED_TRACE(testing::Message()
                         << av_get_pix_fmt_name(format) << ' ' << width << " x " << height << " to "
                         << targetWidth << " x " << targetHeight);
            const quol::FramePtr source = show.picture(format, width, height);
            const quol::FramePtr plain =
                scaledByHand(*source, targetWidth, targetHeight, AV_PIX_FMT_YUV420P);
            const quol::FramePtr withAlpha =
                scaledByHand(*source, targetWidth, targetHeight, AV_PIX_FMT_YUVA420P);
            ASSERT_TRUE(plain && withAlpha);
            ASSERT_TRUE(isOpaque(*withAlpha));
            withAlpha->format = AV_PIX_FMT_YUV420P; // the other planes
            ASSERT_EQ(test::firstDifference(*withAlpha, *plain), "");
        }
    }
}

// ----------------------------------------------------------------------------------- odd targets

TEST(ProcessorLayers, OfATargetBeyondAllMemoryArePassedOver) {
    LayerScene scene;
    const quol::FramePtr picture = plainPicture(64, 48, bright);
    constexpr float infinite = std::numeric_limits<float>::infinity();
    for (const auto& [width, height] :
         {std::pair{32769.0F, 10.0F}, std::pair{10.0F, 32769.0F}, std::pair{20000.0F, 20000.0F},
          std::pair{32768.0F, 4097.0F}, std::pair{infinite, 10.0F}, std::pair{10.0F, 1.0e30F}}) {
        scene.clear();
        scene.add(lookAt(0, 0, width, height), *picture);
        const quol::FramePtr canvas = scene.render({64, 48, AV_PIX_FMT_YUV420P});
        ASSERT_TRUE(canvas);
        EXPECT_EQ(levelsAt(canvas.get(), 5, 5), blackLevels) << width << " x " << height;
    }
}

TEST(ProcessorLayers, OfTheLongestSideArePainted) {
    LayerScene scene;
    const quol::FramePtr picture = plainPicture(64, 48, bright);
    for (const auto& [width, height] : {std::pair{32768.0F, 4.0F}, std::pair{4.0F, 32768.0F}}) {
        scene.clear();
        scene.add(lookAt(0, 0, width, height), *picture);
        const quol::FramePtr canvas = scene.render({64, 48, AV_PIX_FMT_YUV420P});
        ASSERT_TRUE(canvas);
        EXPECT_EQ(levelsAt(canvas.get(), 3, 3), bright) << width << " x " << height;
    }
}

TEST(ProcessorLayers, OfLessThanAPixelArePassedOver) {
    LayerScene scene;
    const quol::FramePtr picture = plainPicture(64, 48, bright);
    for (const auto& [width, height] : {std::pair{0.5F, 10.0F}, std::pair{10.0F, 0.99F}}) {
        scene.clear();
        scene.add(lookAt(0, 0, width, height), *picture);
        const quol::FramePtr canvas = scene.render({64, 48, AV_PIX_FMT_YUV420P});
        EXPECT_EQ(levelsAt(canvas.get(), 0, 0), blackLevels);
    }
}

TEST(ProcessorLayers, WithARadiusAloneStaySquare) {
    LayerScene scene;
    const quol::FramePtr picture = plainPicture(32, 32, bright);
    LayerLook look = lookAt(4, 4);
    look.borderRadius = 50;
    scene.add(look, *picture);
    quol::FramePtr canvas = scene.render({40, 40, AV_PIX_FMT_YUV420P});
    EXPECT_EQ(levelsAt(canvas.get(), 4, 4), bright);
    // With anything that blends the layer it counts.
    look.alpha = 254;
    scene.clear();
    scene.add(look, *picture);
    canvas = scene.render({40, 40, AV_PIX_FMT_YUV420P});
    EXPECT_EQ(levelsAt(canvas.get(), 4, 4), blackLevels);
    EXPECT_NE(levelsAt(canvas.get(), 20, 20).y, 0);
}

// ---------------------------------------------------------------------- what cannot be converted

// A hardware picture, which no scaler reads.
quol::FramePtr unreadablePicture() {
    quol::FramePtr picture = plainPicture(64, 48, {0, 128, 128});
    picture->format = AV_PIX_FMT_VAAPI;
    return picture;
}

// It hides nothing, though it would cover all.
TEST(ProcessorLayers, ThatCannotBeConvertedArePassedOver) {
    LayerScene scene;
    const quol::FramePtr lower = plainPicture(64, 48, bright);
    const quol::FramePtr upper = unreadablePicture();
    scene.add(lookAt(0, 0), *lower);
    scene.add(lookAt(0, 0), *upper);
    const quol::FramePtr picture = scene.render({64, 48, AV_PIX_FMT_YUV420P});
    ASSERT_TRUE(picture);
    EXPECT_EQ(levelsAt(picture.get(), 10, 10), bright);
    EXPECT_EQ(levelsAt(picture.get(), 63, 47), bright);
}

TEST(ProcessorLayers, WhoseKeyCannotBeConvertedAreBlendedUnkeyed) {
    LayerScene scene;
    const quol::FramePtr fill = plainPicture(64, 48, bright);
    const quol::FramePtr key = unreadablePicture();
    LayerLook look = lookAt(0, 0);
    look.isKeyed = true;
    scene.add(look, *fill, key.get());
    const quol::FramePtr picture = scene.render({64, 48, AV_PIX_FMT_YUV420P});
    EXPECT_EQ(levelsAt(picture.get(), 10, 10), brightBlended);
}

TEST(ProcessorLayers, ThatLackTheirKeyAreBlendedUnkeyed) {
    LayerScene scene;
    const quol::FramePtr fill = plainPicture(64, 48, bright);
    LayerLook look = lookAt(0, 0);
    look.isKeyed = true;
    scene.add(look, *fill);
    const quol::FramePtr picture = scene.render({64, 48, AV_PIX_FMT_YUV420P});
    EXPECT_EQ(levelsAt(picture.get(), 10, 10), brightBlended);
}

TEST(ProcessorLayers, ThatAreNoKeysTakeNoNoticeOfAKeyPicture) {
    LayerScene scene;
    const quol::FramePtr fill = plainPicture(64, 48, bright);
    const quol::FramePtr key = plainPicture(64, 48, blackLevels);
    LayerLook look = lookAt(0, 0);
    look.alpha = 254;
    scene.add(look, *fill, key.get());
    const quol::FramePtr picture = scene.render({64, 48, AV_PIX_FMT_YUV420P});
    EXPECT_EQ(levelsAt(picture.get(), 10, 10).y, 254 * 200 >> 8);
}

} // namespace

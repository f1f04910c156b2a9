// What the main processor leaves out, and whose memory a picture lies in.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "support/Frames.h"
#include "support/LayerScene.h"
#include "support/PlainFrames.h"

namespace {

using quol::Canvas;
using quol::LayerLook;
using test::firstDifference;
using test::LayerScene;
using test::lookAt;
using test::makePicture;

quol::FramePtr noise(int width, int height, AVPixelFormat format, unsigned seed) {
    return makePicture(width, height, format, 0, {1, 25}, seed);
}

// ------------------------------------------------------------------------------ what is left out

// Every layer copied, somewhere over or beside the canvas: many hide others.
TEST(ProcessorSharing, PictureIsThatOfAllLayersWhateverCoversWhat) {
    std::mt19937 random(20);
    const auto upTo = [&random](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit + 1));
    };
    LayerScene scene;
    for (int turn = 0; turn < 2000; ++turn) {
        scene.clear();
        std::vector<quol::FramePtr> pictures;
        for (int i = 0; i < 4; ++i) {
            pictures.push_back(noise(1 + upTo(20), 1 + upTo(20), AV_PIX_FMT_YUV420P, random()));
            LayerLook look = lookAt(upTo(10) - 7, upTo(10) - 7);
            if (upTo(3) == 0) look.alpha = 128;
            scene.add(look, *pictures.back());
        }
        const AVPixelFormat format = upTo(1) == 0 ? AV_PIX_FMT_YUV420P : AV_PIX_FMT_YUVA420P;
        ASSERT_EQ(scene.differenceOn({1 + upTo(12), 1 + upTo(12), format}), "") << turn;
    }
}

// Whether the layer at that place holds this picture, scaled.
bool isScaled(LayerScene& scene, std::size_t place, const AVFrame& source, int width, int height) {
    return !scene.scaledPicture(place).wouldScale(source, width, height, AV_PIX_FMT_YUV420P);
}

TEST(ProcessorSharing, LayerUnderACopiedOneThatCoversTheCanvasIsNotEvenScaled) {
    LayerScene scene;
    const quol::FramePtr lower = makePicture(30, 20, AV_PIX_FMT_RGB24);
    const quol::FramePtr upper = makePicture(64, 48, AV_PIX_FMT_YUV422P);
    scene.add(lookAt(0, 0), *lower);
    scene.add(lookAt(0, 0), *upper);
    ASSERT_TRUE(scene.render({64, 48, AV_PIX_FMT_YUV420P}));
    EXPECT_FALSE(isScaled(scene, 0, *lower, 30, 20));
    EXPECT_TRUE(isScaled(scene, 1, *upper, 64, 48));
    // By one column less it does not cover.
    ASSERT_TRUE(scene.render({65, 48, AV_PIX_FMT_YUV420P}));
    EXPECT_TRUE(isScaled(scene, 0, *lower, 30, 20));
}

TEST(ProcessorSharing, LayerOutsideTheCanvasIsNotScaled) {
    LayerScene scene;
    const quol::FramePtr picture = makePicture(30, 20, AV_PIX_FMT_RGB24);
    const Canvas canvas{64, 48, AV_PIX_FMT_YUV420P};
    for (const LayerLook& look : {lookAt(64, 0), lookAt(-40, 0), lookAt(0, 48), lookAt(0, -30)}) {
        scene.clear();
        scene.add(look, *picture);
        ASSERT_TRUE(scene.render(canvas));
        EXPECT_FALSE(isScaled(scene, 0, *picture, 30, 20));
    }
}

// --------------------------------------------------------------------------------- shared memory

TEST(ProcessorSharing, SingleLayerThatIsTheCanvasIsHandedOnWithoutACopy) {
    LayerScene scene;
    const quol::FramePtr picture = makePicture(64, 48, AV_PIX_FMT_YUV420P);
    scene.add(lookAt(0, 0), *picture);
    const quol::FramePtr canvas = scene.render({64, 48, AV_PIX_FMT_YUV420P});
    ASSERT_TRUE(canvas);
    for (int plane = 0; plane < 3; ++plane)
        EXPECT_EQ(canvas->data[plane], picture->data[plane]);
    EXPECT_EQ(firstDifference(*canvas, *picture), "");
    EXPECT_EQ(av_frame_is_writable(canvas.get()), 0); // the layer's source holds it too
    EXPECT_EQ(canvas->pts, AV_NOPTS_VALUE);           // times are the mixer's own
}

TEST(ProcessorSharing, SharedPictureOutlivesItsSourceAndItsRenderer) {
    quol::FramePtr canvas;
    quol::FramePtr expected;
    {
        LayerScene scene;
        const quol::FramePtr picture = makePicture(64, 48, AV_PIX_FMT_YUV420P);
        expected = test::scaledByHand(*picture, 64, 48, AV_PIX_FMT_YUV420P);
        scene.add(lookAt(0, 0), *picture);
        canvas = scene.render({64, 48, AV_PIX_FMT_YUV420P});
    }
    EXPECT_EQ(firstDifference(*canvas, *expected), "");
}

// What was handed on is never written to again, though a new picture needs memory to be scaled to.
TEST(ProcessorSharing, ScaledPictureThatWasHandedOnIsKeptFromThoseThatFollow) {
    LayerScene scene;
    const Canvas canvas{64, 48, AV_PIX_FMT_YUV420P};
    std::vector<quol::FramePtr> handedOn;
    std::vector<quol::FramePtr> expected;
    for (unsigned i = 0; i < 20; ++i) {
        const quol::FramePtr picture = noise(50, 40, AV_PIX_FMT_YUV422P, i);
        scene.clear();
        scene.add(lookAt(0, 0, 64.0F, 48.0F), *picture);
        handedOn.push_back(scene.render(canvas));
        expected.push_back(scene.reference(canvas));
        if (i % 4 == 3) { // one goes, and its memory may be used again
            handedOn.erase(handedOn.begin());
            expected.erase(expected.begin());
        }
        for (std::size_t k = 0; k < handedOn.size(); ++k)
            ASSERT_EQ(firstDifference(*handedOn[k], *expected[k]), "") << k << " of " << i;
    }
}

TEST(ProcessorSharing, PaintedPictureThatWasHandedOnIsKeptFromThoseThatFollow) {
    LayerScene scene;
    for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVA420P, AV_PIX_FMT_RGBA}) {
        const Canvas canvas{64, 48, format};
        std::vector<quol::FramePtr> handedOn;
        std::vector<quol::FramePtr> expected;
        for (int i = 0; i < 12; ++i) {
            const quol::FramePtr picture =
                noise(50, 40, AV_PIX_FMT_RGB24, static_cast<unsigned>(i));
            scene.clear();
            scene.add(lookAt(i, -i), *picture);
            handedOn.push_back(scene.render(canvas));
            expected.push_back(scene.reference(canvas));
            if (i % 3 == 2) {
                handedOn.erase(handedOn.begin());
                expected.erase(expected.begin());
            }
            for (std::size_t k = 0; k < handedOn.size(); ++k)
                ASSERT_EQ(firstDifference(*handedOn[k], *expected[k]), "") << k << ' ' << i;
        }
    }
}

TEST(ProcessorSharing, LayerThatIsNotTheWholeCanvasIsNeverShared) {
    LayerScene scene;
    const quol::FramePtr picture = makePicture(64, 48, AV_PIX_FMT_YUV420P);
    const quol::FramePtr title = makePicture(8, 8, AV_PIX_FMT_YUVA420P);
    LayerLook faded = lookAt(0, 0);
    faded.alpha = 254;
    const auto isShared = [&](const Canvas& canvas) {
        const quol::FramePtr made = scene.render(canvas);
        return made && made->data[0] == picture->data[0];
    };
    for (const LayerLook& look : {lookAt(1, 0), lookAt(0, 1), lookAt(-2, 0), faded}) {
        scene.clear();
        scene.add(look, *picture);
        EXPECT_FALSE(isShared({64, 48, AV_PIX_FMT_YUV420P}));
    }
    scene.clear();
    scene.add(lookAt(0, 0), *picture);
    EXPECT_FALSE(isShared({62, 48, AV_PIX_FMT_YUV420P}));
    EXPECT_FALSE(isShared({64, 46, AV_PIX_FMT_YUV420P}));
    EXPECT_FALSE(isShared({64, 48, AV_PIX_FMT_YUVA420P}));
    scene.add(lookAt(10, 10), *title);
    EXPECT_FALSE(isShared({64, 48, AV_PIX_FMT_YUV420P}));
    // The picture of the source is as it was.
    const quol::FramePtr same = makePicture(64, 48, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(firstDifference(*picture, *same), "");
}

TEST(ProcessorSharing, CoveringLayerUnderATitleIsCopiedAndThenPaintedOn) {
    LayerScene scene;
    const quol::FramePtr picture = noise(64, 48, AV_PIX_FMT_YUV420P, 1);
    const quol::FramePtr title = noise(30, 20, AV_PIX_FMT_YUVA420P, 2);
    for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVA420P}) {
        scene.clear();
        scene.add(lookAt(0, 0), *picture);
        scene.add(lookAt(7, 9), *title);
        EXPECT_EQ(scene.differenceOn({64, 48, format}), "");
    }
}

} // namespace

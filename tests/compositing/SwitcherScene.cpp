#include "compositing/SwitcherScene.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using quol::SwitcherScene;

TEST(SwitcherScene, BelowTheMiddleTheFirstLayerIsTheProgramFromItOnTheSecond) {
    SwitcherScene scene;
    for (const float p : {0.0F, 0.25F, 0.499F}) {
        scene.setPosition(p);
        EXPECT_EQ(&scene.program(), scene.layers[0].get());
        EXPECT_EQ(&scene.preview(), scene.layers[1].get());
    }
    for (const float p : {0.5F, 0.75F, 1.0F}) {
        scene.setPosition(p);
        EXPECT_EQ(&scene.program(), scene.layers[1].get());
        EXPECT_EQ(&scene.preview(), scene.layers[0].get());
    }
}

TEST(SwitcherScene, PositionIsHeldWithinItsEndsAndNoNumberChangesNothing) {
    SwitcherScene scene;
    scene.setPosition(0.25F);
    scene.setPosition(std::nanf(""));
    EXPECT_EQ(scene.position, 0.25F);
    scene.setPosition(-3.0F);
    EXPECT_EQ(scene.position, 0.0F);
    scene.setPosition(std::numeric_limits<float>::infinity());
    EXPECT_EQ(scene.position, 1.0F);
}

TEST(SwitcherScene, SwapTakesAllOfALayerAlong) {
    SwitcherScene scene;
    quol::SwitcherLayer* const first = scene.layers[0].get();
    quol::SwitcherLayer* const second = scene.layers[1].get();
    scene.swapLayers();
    EXPECT_EQ(scene.layers[0].get(), second);
    EXPECT_EQ(scene.layers[1].get(), first);
    EXPECT_EQ(scene.position, 0.0F);
}

TEST(SwitcherScene, VolumesCrossOverWithThePosition) {
    SwitcherScene scene;
    scene.programGain = 80;
    scene.previewGain = 20;
    for (int i = 0; i <= 100; ++i) {
        const float p = static_cast<float>(i) / 100.0F;
        scene.setPosition(p);
        scene.updateVolumes();
        EXPECT_NEAR(scene.volumes[0], 0.8 * (1.0 - p) + 0.2 * p, 1e-6);
        EXPECT_NEAR(scene.volumes[1], 0.8 * p + 0.2 * (1.0 - p), 1e-6);
    }
}

TEST(SwitcherScene, VolumesOfAStingerSwitchHardInTheMiddle) {
    SwitcherScene scene;
    scene.transitionType = "stinger";
    scene.programGain = 90;
    scene.previewGain = 10;
    scene.setPosition(0.499F);
    scene.updateVolumes();
    EXPECT_FLOAT_EQ(scene.volumes[0], 0.9F);
    EXPECT_FLOAT_EQ(scene.volumes[1], 0.1F);
    scene.setPosition(0.5F);
    scene.updateVolumes();
    EXPECT_FLOAT_EQ(scene.volumes[0], 0.1F);
    EXPECT_FLOAT_EQ(scene.volumes[1], 0.9F);
}

TEST(SwitcherScene, NewOneIsAtItsDefaults) {
    const SwitcherScene scene;
    EXPECT_EQ(scene.position, 0.0F);
    EXPECT_EQ(scene.transitionType, "fade");
    EXPECT_EQ(scene.transitionParameter, "");
    EXPECT_EQ(scene.dipColor, (quol::DipColor{16, 128, 128}));
    EXPECT_EQ(scene.programGain, 100);
    EXPECT_EQ(scene.previewGain, 0);
    EXPECT_EQ(scene.volumes[0], 1.0F);
    EXPECT_EQ(scene.volumes[1], 0.0F);
    EXPECT_EQ(scene.masterGain, 100);
    EXPECT_FALSE(scene.isMuted);
    EXPECT_EQ(scene.scalingQuality, 0);
    EXPECT_EQ(scene.scaleMode, 0);
    EXPECT_EQ(scene.stinger.duration, 1000);
    EXPECT_EQ(scene.stinger.cutPoint, 500);
    EXPECT_FALSE(scene.isTimecodeStamped);
    EXPECT_EQ(scene.timecodeSource, 1);
    EXPECT_FALSE(scene.isExternalAudio);
    EXPECT_EQ(scene.sampleRate(), 48000);
}

} // namespace

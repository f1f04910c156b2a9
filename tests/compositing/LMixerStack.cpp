// How the layers of a mixer lie on each other: order, places, decoration and downstream keys.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <thread>
#include <utility>

#include "compositing/LayerRenderer.h"
#include "support/Frames.h"
#include "support/MixerPictures.h"
#include "support/RunningMixer.h"

namespace {

using test::blackLevels;
using test::blended;
using test::bright;
using test::dark;
using test::grey;
using test::HandSource;
using test::Levels;
using test::levelsOf;
using test::plainPicture;
using test::RunningMixer;
using namespace std::chrono_literals;

} // namespace

// --------------------------------------------------------------------------- stacking order

TEST(LMixerPictures, AHigherZIndexLiesOnTop) {
    HandSource first;
    HandSource second;
    RunningMixer running;
    running.mixer.addLayer("a", &first, 2);
    running.mixer.addLayer("b", &second, 1);
    ASSERT_TRUE(running.give("a", first, plainPicture(64, 48, grey)));
    ASSERT_TRUE(running.give("b", second, plainPicture(64, 48, bright)));
    EXPECT_EQ(levelsOf(running.nextPicture().get()), grey);
    running.mixer.getLayer("b")->zIndex = 3;
    EXPECT_EQ(levelsOf(running.nextPicture().get()), bright);
    running.mixer.getLayer("b")->zIndex = std::numeric_limits<int>::min();
    EXPECT_EQ(levelsOf(running.nextPicture().get()), grey);
    running.mixer.getLayer("b")->zIndex = std::numeric_limits<int>::max();
    EXPECT_EQ(levelsOf(running.nextPicture().get()), bright);
}

TEST(LMixerPictures, WithEqualZIndexTheLaterNameLiesOnTop) {
    HandSource first;
    HandSource second;
    HandSource third;
    RunningMixer running;
    running.mixer.addLayer("b", &second, 4);
    running.mixer.addLayer("c", &third, 4);
    running.mixer.addLayer("a", &first, 4);
    ASSERT_TRUE(running.give("a", first, plainPicture(64, 48, grey)));
    ASSERT_TRUE(running.give("b", second, plainPicture(64, 48, dark)));
    ASSERT_TRUE(running.give("c", third, plainPicture(64, 48, bright)));
    EXPECT_EQ(levelsOf(running.nextPicture().get()), bright);
    running.mixer.getLayer("c")->visible = false;
    EXPECT_EQ(levelsOf(running.nextPicture().get()), dark);
    running.mixer.getLayer("a")->zIndex = 5;
    EXPECT_EQ(levelsOf(running.nextPicture().get()), grey);
}

TEST(LMixerPictures, ATranslucentLayerIsBlendedWithWhatLiesBeneath) {
    HandSource under;
    HandSource over;
    RunningMixer running;
    running.mixer.addLayer("a", &under);
    running.mixer.addLayer("b", &over, 1, 8, 4, 100, 32, 24);
    ASSERT_TRUE(running.give("a", under, plainPicture(64, 48, dark)));
    ASSERT_TRUE(running.give("b", over, plainPicture(32, 24, bright)));
    const quol::FramePtr picture = running.nextPicture();
    EXPECT_EQ(test::levelsAt(picture.get(), 7, 4), dark);
    EXPECT_EQ(test::levelsAt(picture.get(), 8, 3).y, dark.y);
    EXPECT_EQ(test::levelsAt(picture.get(), 8, 4), blended(dark, bright, 100));
    EXPECT_EQ(test::levelsAt(picture.get(), 39, 27), blended(dark, bright, 100));
    EXPECT_EQ(test::levelsAt(picture.get(), 40, 27), dark);
    EXPECT_EQ(test::levelsAt(picture.get(), 39, 28), dark);
}

TEST(LMixerPictures, AlphaCountsWithin0To255) {
    HandSource source;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    item->alpha = 100000;
    EXPECT_EQ(levelsOf(running.nextPicture().get()), grey);
    item->alpha = -100;
    EXPECT_EQ(levelsOf(running.nextPicture().get()), blackLevels);
    item->alpha = 0;
    EXPECT_EQ(levelsOf(running.nextPicture().get()), blackLevels);
    item->alpha = 255;
    EXPECT_EQ(levelsOf(running.nextPicture().get()), grey);
}

TEST(LMixerPictures, ATransparentPictureShowsWhatLiesBeneath) {
    HandSource under;
    HandSource over;
    RunningMixer running;
    running.mixer.addLayer("a", &under);
    running.mixer.addLayer("b", &over, 1);
    ASSERT_TRUE(running.give("a", under, plainPicture(64, 48, dark)));
    ASSERT_TRUE(running.give("b", over, plainPicture(64, 48, bright, AV_PIX_FMT_YUVA420P, 0)));
    EXPECT_EQ(levelsOf(running.nextPicture().get()), dark);
    ASSERT_TRUE(running.give("b", over, plainPicture(64, 48, bright, AV_PIX_FMT_YUVA420P, 80)));
    EXPECT_EQ(levelsOf(running.nextPicture().get()), blended(dark, bright, 80));
}

// ------------------------------------------------------------------------- place and decoration

TEST(LMixerPictures, ALayerThatLiesPartlyOrWhollyOutsideIsClipped) {
    HandSource source;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    for (const int alpha : {255, 254}) { // copied, and blended
        item->alpha = alpha;
        const Levels seen = alpha == 255 ? grey : blended(blackLevels, grey, alpha);
        running.mixer.editLayer("a", [](LLayerItem& layer) {
            layer.x = -32.0F;
            layer.y = -24.0F;
        });
        quol::FramePtr picture = running.nextPicture();
        EXPECT_EQ(test::levelsAt(picture.get(), 0, 0), seen);
        EXPECT_EQ(test::levelsAt(picture.get(), 31, 23), seen);
        EXPECT_EQ(test::levelsAt(picture.get(), 32, 23), blackLevels);
        EXPECT_EQ(test::levelsAt(picture.get(), 31, 24), blackLevels);
        running.mixer.editLayer("a", [](LLayerItem& layer) {
            layer.x = 50.0F;
            layer.y = 40.0F;
        });
        picture = running.nextPicture();
        EXPECT_EQ(test::levelsAt(picture.get(), 49, 40), blackLevels);
        EXPECT_EQ(test::levelsAt(picture.get(), 50, 40), seen);
        EXPECT_EQ(test::levelsAt(picture.get(), 63, 47), seen);
        for (const auto& [x, y] :
             {std::pair{64.0F, 0.0F}, std::pair{0.0F, 48.0F}, std::pair{-64.0F, 0.0F},
              std::pair{0.0F, -48.0F}, std::pair{1e30F, 0.0F}, std::pair{0.0F, -1e30F}}) {
            running.mixer.editLayer("a", [x = x, y = y](LLayerItem& layer) {
                layer.x = x;
                layer.y = y;
            });
            EXPECT_EQ(levelsOf(running.nextPicture().get()), blackLevels) << x << ' ' << y;
        }
    }
}

TEST(LMixerPictures, ALayerIsScaledToItsSize) {
    HandSource source;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", &source, 0, 0, 0, 255, 32.9F, 24.9F);
    ASSERT_TRUE(running.give("a", source, plainPicture(200, 100, grey)));
    const quol::FramePtr picture = running.nextPicture();
    EXPECT_EQ(test::levelsAt(picture.get(), 31, 23), grey);
    EXPECT_EQ(test::levelsAt(picture.get(), 32, 23), blackLevels);
    EXPECT_EQ(test::levelsAt(picture.get(), 31, 24), blackLevels);
    // One side by itself: the other is the picture's own.
    item->height = 0.0F;
    const quol::FramePtr tall = running.nextPicture();
    EXPECT_EQ(test::levelsAt(tall.get(), 31, 47), grey);
    EXPECT_EQ(test::levelsAt(tall.get(), 32, 47), blackLevels);
    item->height = 0.5F; // no whole pixel: nothing is left
    EXPECT_EQ(levelsOf(running.nextPicture().get()), blackLevels);
}

TEST(LMixerPictures, SizesAndPlacesThatAreNoNumbersDoNoHarm) {
    HandSource source;
    RunningMixer running;
    running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float infinity = std::numeric_limits<float>::infinity();
    constexpr float huge = std::numeric_limits<float>::max();
    for (const int alpha : {255, 100}) {
        for (const float value : {nan, infinity, -infinity, huge, -huge, 32769.0F}) {
            running.mixer.addLayer("a", &source, 0, value, value, alpha);
            EXPECT_NE(running.nextPicture(), nullptr);
            running.mixer.addLayer("a", &source, 0, 0, 0, alpha, value, value);
            EXPECT_NE(running.nextPicture(), nullptr);
            running.mixer.addLayer("a", &source, 0, 0, 0, alpha, 20, value);
            EXPECT_NE(running.nextPicture(), nullptr);
            running.mixer.addLayer("a", &source, 0, 0, 0, alpha, 40, 40, value, value, value, value,
                                   std::numeric_limits<int>::max(), "", false, 0);
            running.mixer.setLayerBorderRadius("a", std::numeric_limits<int>::max());
            EXPECT_NE(running.nextPicture(), nullptr);
            running.mixer.setLayerBorderRadius("a", std::numeric_limits<int>::min());
            EXPECT_NE(running.nextPicture(), nullptr);
        }
    }
    running.mixer.addLayer("a", &source);
    EXPECT_EQ(levelsOf(running.nextPicture().get()), grey);
}

TEST(LMixerPictures, ACroppedLayerMovesToItsPlace) {
    HandSource source;
    const quol::FramePtr given = plainPicture(64, 48, grey);
    // The left 16 columns and the top 8 rows are another colour, and are cropped away.
    for (int y = 0; y < 48; ++y)
        std::memset(given->data[0] + y * given->linesize[0], bright.y, y < 8 ? 64 : 16);
    RunningMixer running;
    running.mixer.addLayer("a", &source, 0, 4, 2, 255, 64, 48, 8, 20, 16, 30, 0, "#FFFFFF", false,
                           100);
    ASSERT_TRUE(running.give("a", source, given));
    const quol::FramePtr picture = running.nextPicture();
    const int seen = blended(0, grey.y, 255);
    EXPECT_EQ(test::levelsAt(picture.get(), 4, 2).y, seen);
    EXPECT_EQ(test::levelsAt(picture.get(), 3, 2).y, 0);
    EXPECT_EQ(test::levelsAt(picture.get(), 4, 1).y, 0);
    // 64 - 16 - 30 columns and 48 - 8 - 20 rows are left.
    EXPECT_EQ(test::levelsAt(picture.get(), 21, 21).y, seen);
    EXPECT_EQ(test::levelsAt(picture.get(), 22, 21).y, 0);
    EXPECT_EQ(test::levelsAt(picture.get(), 21, 22).y, 0);
}

TEST(LMixerPictures, ABorderLiesWithinTheLayer) {
    HandSource source;
    RunningMixer running;
    running.mixer.addLayer("a", &source, 0, 8, 8, 255, 32, 24, 0, 0, 0, 0, 4, "#000", false, 100);
    ASSERT_TRUE(running.give("a", source, plainPicture(32, 24, bright)));
    const quol::FramePtr picture = running.nextPicture();
    EXPECT_EQ(test::levelsAt(picture.get(), 8, 8).y, 0);
    EXPECT_EQ(test::levelsAt(picture.get(), 11, 20).y, 0);
    EXPECT_EQ(test::levelsAt(picture.get(), 12, 12).y, blended(0, bright.y, 255));
    EXPECT_EQ(test::levelsAt(picture.get(), 35, 27).y, blended(0, bright.y, 255));
    EXPECT_EQ(test::levelsAt(picture.get(), 36, 28).y, 0);
    running.mixer.editLayer("a", [](LLayerItem& layer) { layer.borderColor = "white"; });
    const quol::FramePtr white = running.nextPicture();
    EXPECT_EQ(test::levelsAt(white.get(), 8, 8).y, (255 * 255) >> 8);
    EXPECT_EQ(test::levelsAt(white.get(), 7, 8).y, 0);
}

TEST(LMixerPictures, OnTheProcessorALayerWithARadiusAloneStaysSquare) {
    HandSource source;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    running.mixer.setLayerBorderRadius("a", 50);
    EXPECT_EQ(levelsOf(running.nextPicture().get()), grey);
    // With anything else that it has, the corners go.
    item->alpha = 254;
    const quol::FramePtr rounded = running.nextPicture();
    EXPECT_EQ(test::levelsAt(rounded.get(), 0, 0), blackLevels);
    EXPECT_EQ(test::levelsAt(rounded.get(), 63, 47), blackLevels);
    EXPECT_EQ(test::levelsAt(rounded.get(), 32, 24), blended(blackLevels, grey, 254));
}

// --------------------------------------------------------------------------- downstream keys

TEST(LMixerPictures, AKeyLayerWhoseKeyHasProducedNothingShowsItsFillUnkeyed) {
    HandSource under;
    HandSource fill;
    HandSource key;
    RunningMixer running;
    running.mixer.addLayer("a", &under);
    running.mixer.addDSK("k", &fill, &key, 1);
    ASSERT_TRUE(running.give("a", under, plainPicture(64, 48, dark)));
    ASSERT_TRUE(running.give("k", fill, plainPicture(64, 48, bright)));
    EXPECT_EQ(levelsOf(running.nextPicture().get()), blended(dark, bright, 255));
    running.mixer.addDSK("k", &fill, nullptr, 1);
    EXPECT_EQ(levelsOf(running.nextPicture().get()), blended(dark, bright, 255));
}

TEST(LMixerPictures, AKeyLayerWhoseFillHasProducedNothingIsLeftOut) {
    HandSource fill;
    HandSource key;
    RunningMixer running;
    running.mixer.addDSK("k", &fill, &key);
    ASSERT_TRUE(running.give("k", key, plainPicture(64, 48, {235})));
    EXPECT_EQ(levelsOf(running.nextPicture().get()), blackLevels);
}

TEST(LMixerPictures, TheFillIsSeenWhereTheKeyIsBright) {
    HandSource under;
    HandSource fill;
    HandSource key;
    const quol::FramePtr halves = plainPicture(64, 48, {16});
    for (int y = 0; y < 48; ++y)
        std::memset(halves->data[0] + y * halves->linesize[0] + 32, 235, 32);
    RunningMixer running;
    running.mixer.addLayer("a", &under);
    running.mixer.addDSK("k", &fill, &key, 1);
    ASSERT_TRUE(running.give("a", under, plainPicture(64, 48, dark)));
    ASSERT_TRUE(running.give("k", fill, plainPicture(64, 48, bright)));
    ASSERT_TRUE(running.give("k", key, halves));
    const quol::FramePtr picture = running.nextPicture();
    EXPECT_EQ(test::levelsAt(picture.get(), 0, 0), dark);
    EXPECT_EQ(test::levelsAt(picture.get(), 31, 47), dark);
    EXPECT_EQ(test::levelsAt(picture.get(), 32, 0), blended(dark, bright, 255));
    EXPECT_EQ(test::levelsAt(picture.get(), 63, 47), blended(dark, bright, 255));
}

TEST(LMixerPictures, AKeyWithAlphaKeysByItAndNotByItsLuma) {
    HandSource under;
    HandSource fill;
    HandSource key;
    RunningMixer running;
    running.mixer.addLayer("a", &under);
    running.mixer.addDSK("k", &fill, &key, 1);
    ASSERT_TRUE(running.give("a", under, plainPicture(64, 48, dark)));
    ASSERT_TRUE(running.give("k", fill, plainPicture(64, 48, bright)));
    ASSERT_TRUE(running.give("k", key, plainPicture(64, 48, {235}, AV_PIX_FMT_YUVA420P, 60)));
    EXPECT_EQ(levelsOf(running.nextPicture().get()), blended(dark, bright, 60));
    ASSERT_TRUE(running.give("k", key, plainPicture(64, 48, {16}, AV_PIX_FMT_YUVA422P, 255)));
    EXPECT_EQ(levelsOf(running.nextPicture().get()), blended(dark, bright, 255));
}

TEST(LMixerPictures, AKeyThatStopsStandsOnItsLastPicture) {
    HandSource fill;
    HandSource key;
    RunningMixer running;
    running.mixer.addDSK("k", &fill, &key);
    ASSERT_TRUE(running.give("k", fill, plainPicture(64, 48, bright)));
    ASSERT_TRUE(running.give("k", key, plainPicture(64, 48, {16})));
    std::this_thread::sleep_for(1200ms);
    EXPECT_EQ(levelsOf(running.nextPicture().get()), blackLevels);
}

TEST(LMixerPictures, FillAndKeyOfAnySizeAreScaledToTheLayer) {
    HandSource fill;
    HandSource key;
    RunningMixer running;
    running.mixer.addDSK("k", &fill, &key, 0, 16, 8, 255, 32, 24);
    ASSERT_TRUE(running.give("k", fill, plainPicture(200, 30, bright)));
    ASSERT_TRUE(running.give("k", key, plainPicture(17, 99, {235})));
    const quol::FramePtr picture = running.nextPicture();
    EXPECT_EQ(test::levelsAt(picture.get(), 15, 8), blackLevels);
    EXPECT_EQ(test::levelsAt(picture.get(), 16, 8), blended(blackLevels, bright, 255));
    EXPECT_EQ(test::levelsAt(picture.get(), 47, 31), blended(blackLevels, bright, 255));
    EXPECT_EQ(test::levelsAt(picture.get(), 48, 31), blackLevels);
}

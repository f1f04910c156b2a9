// Titles on the canvas of a mixer: the character generator as a layer.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "quolsdk/LCharacter.h"
#include "quolsdk/LSink.h"
#include "support/Frames.h"
#include "support/LayerScene.h"
#include "support/RunningMixer.h"
#include "support/SteppedTitles.h"

namespace {

using test::bright;
using test::CollectingSink;
using test::customVideo;
using test::firstDifference;
using test::grey;
using test::HandSource;
using test::Levels;
using test::panelOf;
using test::plainPicture;
using test::RunningMixer;
using test::sampleAt;
using test::waitUntil;

constexpr int width = 64;
constexpr int height = 48;

// What a blend of the processor path makes of one sample.
int blended(int under, int over, int alpha) {
    return ((255 - alpha) * under + alpha * over) >> 8;
}

// What a canvas has to be: titles, from their top left corner, over a picture that fills it.
quol::FramePtr composed(const AVFrame& under, const AVFrame& titles, int layerAlpha = 255) {
    quol::FramePtr canvas = test::makePicture(under.width, under.height, AV_PIX_FMT_YUV420P);
    for (int plane = 0; plane < 3; ++plane) {
        const int shift = plane > 0 ? 1 : 0;
        for (int y = 0; y < under.height; y += 1 << shift) {
            for (int x = 0; x < under.width; x += 1 << shift) {
                const int alpha = sampleAt(&titles, 3, x, y) * layerAlpha / 255;
                const int below = sampleAt(&under, plane, x, y);
                const int result =
                    alpha > 0 ? blended(below, sampleAt(&titles, plane, x, y), alpha) : below;
                canvas->data[plane][(y >> shift) * canvas->linesize[plane] + (x >> shift)] =
                    static_cast<std::uint8_t>(result);
            }
        }
    }
    return canvas;
}

std::uint8_t planeOf(const Levels& levels, int plane) {
    return static_cast<std::uint8_t>(plane == 0 ? levels.y : plane == 1 ? levels.u : levels.v);
}

LCGRectProps glassOf(const char* color, int alpha) {
    LCGRectProps props = panelOf(color);
    props.bgAlpha = alpha;
    return props;
}

LCGTextProps textOf(const char* text, int size = 30) {
    LCGTextProps props;
    props.text = text;
    props.fontSize = size;
    return props;
}

// Noise that goes on air below the titles.
quol::FramePtr noise(int pictureWidth = width, int pictureHeight = height) {
    return test::makePicture(pictureWidth, pictureHeight, AV_PIX_FMT_YUV420P, 0, {1, 25}, 3);
}

// A mixer with titles above a picture. What it must show is known from the titles' own pictures.
class OnAir {
public:
    explicit OnAir(quol::FramePtr below = noise(), std::size_t keep = 1)
        : under(std::move(below)), running(customVideo(under->width, under->height, 50, 1), keep) {
        titles.addSink(&seen);
        running.mixer.addLayer("below", &background);
        EXPECT_TRUE(running.give("below", background, under));
        running.mixer.addLayer("titles", &titles, 1);
    }
    ~OnAir() { titles.removeSink(&seen); }
    OnAir(const OnAir&) = delete;
    OnAir& operator=(const OnAir&) = delete;

    // Waits until a picture of the titles has ink there, or has none.
    bool titlesHaveInk(int x, int y, bool ink = true) {
        return waitUntil([&] {
            const quol::FramePtr picture = seen.latestPicture();
            return picture && (test::alphaAt(picture, x, y) > 0) == ink;
        });
    }

    // Waits until the canvas is that of the titles as they are; what differs, empty for nothing.
    // For titles that stand still.
    std::string differenceOnAir(int layerAlpha = 255) {
        std::string difference = "no picture";
        waitUntil([&] {
            const quol::FramePtr picture = seen.latestPicture();
            const quol::FramePtr canvas = running.sink.latestPicture();
            if (!picture || !canvas) return false;
            difference = firstDifference(*canvas, *composed(*under, *picture, layerAlpha));
            return difference.empty();
        });
        return difference;
    }

    // Waits until the canvas is that of the background alone.
    bool showsBackgroundAlone() {
        return waitUntil([&] {
            const quol::FramePtr canvas = running.sink.latestPicture();
            return canvas && firstDifference(*canvas, *under).empty();
        });
    }

    quol::FramePtr under;
    HandSource background;
    LCharacter titles;
    CollectingSink seen{1}; // what the titles hand on
    RunningMixer running;
};

// ------------------------------------------------------------------------------------ the picture

TEST(LMixerTitles, AHalfTransparentPanelIsBlendedByItsAlphaWithItsColourPremultiplied) {
    OnAir air(plainPicture(width, height, grey));
    air.titles.addItem("panel", 0, 0, 32, 100, glassOf("#FF0000", 128));
    ASSERT_TRUE(air.titlesHaveInk(8, 8));
    EXPECT_EQ(air.differenceOnAir(), "");
    const quol::FramePtr picture = air.seen.latestPicture();
    // Red at full strength has 81 90 240, none of it 16 128 128; an alpha of 128 may be dithered.
    const Levels half = test::levelsAt(picture.get(), 8, 8);
    EXPECT_NEAR(test::alphaAt(picture, 8, 8), 128, 1);
    EXPECT_NEAR(half.y, 49, 1);
    EXPECT_NEAR(half.u, 109, 1);
    EXPECT_NEAR(half.v, 184, 1);
    const Levels onAir = air.running.levelsAt(8, 8);
    EXPECT_NEAR(onAir.y, blended(grey.y, 49, 128), 1);
    EXPECT_NEAR(onAir.u, blended(grey.u, 109, 128), 1);
    EXPECT_NEAR(onAir.v, blended(grey.v, 184, 128), 1);
    EXPECT_EQ(air.running.levelsAt(48, 8), grey);
}

TEST(LMixerTitles, TheCanvasIsThePictureBelowBlendedSampleBySample) {
    OnAir air;
    LCGRectProps gradient = panelOf("#000000");
    gradient.bgType = "Gradient";
    gradient.bgAlpha = 200;
    gradient.bgRadius = 60;
    air.titles.addItem("gradient", 3, 5, 41, 33, gradient);
    air.titles.addItem("opaque", 50, 0, 10, 10, panelOf("#00FF00"));
    air.titles.addItem("text", 0, 0, width, height, textOf("Tk"));
    ASSERT_TRUE(air.titlesHaveInk(55, 5));
    EXPECT_EQ(air.differenceOnAir(), "");
}

TEST(LMixerTitles, TheLayersAlphaComesOnTop) {
    OnAir air;
    air.titles.addItem("panel", 0, 0, 40, 30, glassOf("#FFFFFF", 128));
    air.titles.addItem("text", 0, 0, width, height, textOf("Tk"));
    ASSERT_TRUE(air.titlesHaveInk(8, 8));
    for (const int alpha : {100, 0, 255}) {
        air.running.mixer.editLayer("titles", [=](LLayerItem& layer) { layer.alpha = alpha; });
        EXPECT_EQ(air.differenceOnAir(alpha), "") << alpha;
    }
}

// All of the canvas at once, without bounds.
TEST(LMixerTitles, OnACanvasOfTheirOwnSizeTheyAreBlendedSampleBySampleToo) {
    OnAir air(noise(1920, 1080));
    air.titles.addItem("panel", 100, 800, 1700, 200, glassOf("#203080", 160));
    air.titles.addItem("text", 150, 800, 1600, 200, textOf("Titles over a picture", 90));
    ASSERT_TRUE(air.titlesHaveInk(110, 810));
    EXPECT_EQ(air.differenceOnAir(), "");
}

TEST(LMixerTitles, OnASmallerCanvasTheyAreScaled) {
    OnAir air(noise(480, 270));
    air.running.mixer.editLayer("titles", [](LLayerItem& layer) {
        layer.width = 480.0F;
        layer.height = 270.0F;
    });
    air.titles.addItem("panel", 101, 803, 1700, 200, glassOf("#203080", 160));
    air.titles.addItem("text", 150, 800, 1600, 200, textOf("Scaled titles", 150));
    ASSERT_TRUE(air.titlesHaveInk(110, 810));
    std::string difference;
    EXPECT_TRUE(waitUntil([&] {
        const quol::FramePtr scaled =
            test::scaledByHand(*air.seen.latestPicture(), 480, 270, AV_PIX_FMT_YUVA420P);
        const quol::FramePtr canvas = air.running.nextPicture();
        difference = firstDifference(*canvas, *composed(*air.under, *scaled));
        return difference.empty();
    })) << difference;
}

TEST(LMixerTitles, TheOrderOfLayersCountsForThemToo) {
    HandSource source;
    OnAir air;
    air.titles.addItem("panel", 0, 0, width, height, panelOf("#FFFFFF"));
    ASSERT_TRUE(air.titlesHaveInk(8, 8));
    EXPECT_EQ(air.differenceOnAir(), "");
    air.running.mixer.addLayer("above", &source, 2, 0.0F, 0.0F);
    ASSERT_TRUE(air.running.give("above", source, plainPicture(16, 16, bright)));
    EXPECT_EQ(air.running.levelsAt(8, 8), bright);
    air.running.mixer.editLayer("titles", [](LLayerItem& layer) { layer.zIndex = 3; });
    EXPECT_EQ(air.differenceOnAir(), "");
    air.running.mixer.removeLayer("above");
}

TEST(LMixerTitles, AsAKeyTheyCutTheFillOutByTheirAlpha) {
    HandSource source;
    OnAir air(noise(480, 270)); // the key is scaled to the fill
    air.running.mixer.removeLayer("titles");
    air.titles.addItem("panel", 100, 100, 1500, 600, glassOf("#000000", 128));
    air.titles.addItem("text", 100, 100, 1500, 900, textOf("Key", 300));
    ASSERT_TRUE(air.titlesHaveInk(110, 110));
    air.running.mixer.addDSK("key", &source, &air.titles, 2);
    ASSERT_TRUE(air.running.give("key", source, plainPicture(480, 270, bright)));
    EXPECT_TRUE(waitUntil([&] {
        const quol::FramePtr key =
            test::scaledByHand(*air.seen.latestPicture(), 480, 270, AV_PIX_FMT_YUVA420P);
        for (int plane = 0; plane < 3; ++plane)
            test::fillPlane(*key, plane, planeOf(bright, plane));
        return firstDifference(*air.running.nextPicture(), *composed(*air.under, *key)).empty();
    }));
    air.titles.showItem("panel", false);
    air.titles.showItem("text", false);
    EXPECT_TRUE(air.showsBackgroundAlone()); // the layer's source is the fill
    air.running.mixer.removeLayer("key");
}

TEST(LMixerTitles, OneGeneratorIsSeenOnTwoMixers) {
    OnAir air;
    RunningMixer other;
    other.mixer.addLayer("titles", &air.titles);
    air.titles.addItem("panel", 0, 0, width, height, panelOf("#FFFFFF"));
    ASSERT_TRUE(air.titlesHaveInk(8, 8));
    EXPECT_EQ(air.differenceOnAir(), "");
    EXPECT_TRUE(other.shows(8, 8, air.running.levelsAt(8, 8)));
    air.running.mixer.removeLayer("titles");
    EXPECT_TRUE(air.showsBackgroundAlone());
    EXPECT_GT(other.levelsAt(8, 8).y, 200);
    other.mixer.removeLayer("titles");
}

// -------------------------------------------------------------------------------- nothing to show

// Pushes `picture` as if it were the titles' own, much faster than the mixer renders, and tells how
// many of the canvases meanwhile are not the background alone.
int canvasesWithMore(OnAir& air, const quol::FramePtr& picture) {
    air.running.nextPicture(); // what was in the making before is through
    air.running.sink.clear();
    EXPECT_TRUE(waitUntil([&] {
        air.titles.distributeVideoFrame(picture.get());
        return air.running.sink.pictureCount() >= 40;
    }));
    int count = 0;
    for (const quol::FramePtr& canvas : air.running.sink.keptPictures())
        count += firstDifference(*canvas, *air.under).empty() ? 0 : 1;
    return count;
}

class LMixerEmptyTitles : public testing::Test {
protected:
    // Opaque, so that it is seen wherever the layer is drawn.
    quol::FramePtr opaque = plainPicture(width, height, bright, AV_PIX_FMT_YUVA420P);
    OnAir air{noise(), 40};
};

TEST_F(LMixerEmptyTitles, WithoutAnItemTheLayerIsLeftOutWhateverPictureItHas) {
    EXPECT_EQ(canvasesWithMore(air, opaque), 0);
}

TEST_F(LMixerEmptyTitles, WithAllItemsHiddenToo) {
    air.titles.addItem("a", 0, 0, width, height, panelOf("#FFFFFF"));
    air.titles.addItem("b", 0, 0, width, height, textOf("text"));
    air.titles.showItem("a", false);
    air.titles.showItem("b", false);
    ASSERT_TRUE(waitUntil([&] { return !air.titles.hasVisibleItem(); }));
    EXPECT_EQ(canvasesWithMore(air, opaque), 0);
}

TEST_F(LMixerEmptyTitles, TheCanvasIsThatOfAMixerWithoutTheLayer) {
    RunningMixer without;
    without.mixer.addLayer("below", &air.background);
    ASSERT_TRUE(without.give("below", air.background, air.under));
    air.titles.addItem("a", 0, 0, width, height, panelOf("#FFFFFF"));
    ASSERT_EQ(air.differenceOnAir(), "");
    air.titles.remove("a");
    ASSERT_TRUE(waitUntil([&] { return !air.titles.hasVisibleItem(); }));
    EXPECT_EQ(firstDifference(*air.running.nextPicture(), *without.nextPicture()), "");
    without.mixer.removeLayer("below");
}

// Only the items' own switches are asked, not their groups', nor whether there is anything to see.
TEST_F(LMixerEmptyTitles, AnItemThatIsNotHiddenBringsTheLayerInWithNothingToSee) {
    air.titles.addItem("a", 0, 0, width, height, panelOf("#FFFFFF"));
    air.titles.showItem(air.titles.group({"a"}), false);
    ASSERT_TRUE(waitUntil([&] { return air.titles.hasVisibleItem(); }));
    EXPECT_GT(canvasesWithMore(air, opaque), 0);
}

TEST_F(LMixerEmptyTitles, ALayerOfTheSamePictureFromAnotherSourceIsNotLeftOut) {
    HandSource other;
    air.running.mixer.addLayer("other", &other, 2);
    EXPECT_TRUE(air.running.give("other", other, opaque));
    EXPECT_FALSE(firstDifference(*air.running.nextPicture(), *air.under).empty());
    air.running.mixer.removeLayer("other");
}

// ---------------------------------------------------------------------------------------- changes

TEST(LMixerTitles, ShowingAnItemBringsItOnAirAndHidingTakesItAway) {
    OnAir air;
    air.titles.addItem("panel", 4, 4, 40, 30, glassOf("#FFFF00", 200));
    for (int i = 0; i < 5; ++i) {
        air.titles.showItem("panel", true);
        ASSERT_TRUE(air.titlesHaveInk(8, 8));
        EXPECT_EQ(air.differenceOnAir(), "");
        air.titles.showItem("panel", false);
        EXPECT_TRUE(air.showsBackgroundAlone());
    }
}

TEST(LMixerTitles, AGroupIsShownAndHiddenOnAir) {
    OnAir air;
    air.titles.addItem("panel", 4, 4, 40, 30, panelOf("#FFFF00"));
    air.titles.addItem("text", 0, 0, width, height, textOf("Tk"));
    const std::string group = air.titles.group({"panel", "text"});
    for (int i = 0; i < 5; ++i) {
        air.titles.showItem(group, true);
        ASSERT_TRUE(air.titlesHaveInk(8, 8));
        EXPECT_EQ(air.differenceOnAir(), "");
        air.titles.showItem(group, false);
        EXPECT_TRUE(air.showsBackgroundAlone());
    }
}

TEST(LMixerTitles, ANewTextGoesOnAir) {
    OnAir air;
    air.titles.addItem("text", 0, 0, width, height, textOf("Old"));
    ASSERT_TRUE(waitUntil(
        [&] { return !firstDifference(*air.running.nextPicture(), *air.under).empty(); }));
    EXPECT_EQ(air.differenceOnAir(), "");
    for (const char* text : {"New", "", "Newer", "New"}) {
        const quol::FramePtr before = air.seen.latestPicture();
        air.titles.updateItem("text", 0, 0, width, height, 1.0F, true, textOf(text));
        ASSERT_TRUE(waitUntil([&] { return !test::samePicture(air.seen.latestPicture(), before); }))
            << text;
        EXPECT_EQ(air.differenceOnAir(), "") << text;
    }
}

// Keeps a small copy of each picture.
class CornerSink : public LSink {
public:
    void pushVideoFrame(AVFrame* frame) override {
        quol::FramePtr corner = test::makePicture(width, height, AV_PIX_FMT_YUVA420P);
        for (int plane = 0; plane < 4; ++plane) {
            const int shift = plane == 1 || plane == 2 ? 1 : 0;
            for (int row = 0; row < height >> shift; ++row) {
                const std::uint8_t* const from =
                    frame->data[plane] + static_cast<std::ptrdiff_t>(row) * frame->linesize[plane];
                std::copy(from, from + (width >> shift),
                          corner->data[plane] +
                              static_cast<std::ptrdiff_t>(row) * corner->linesize[plane]);
            }
        }
        const std::lock_guard lock(mutex_);
        corners_.push_back(std::move(corner));
    }
    void pushAudioFrame(AVFrame* /*frame*/) override {}

    // What every canvas over `under` may be.
    std::vector<std::string> canvases(const AVFrame& under) {
        const std::lock_guard lock(mutex_);
        std::vector<std::string> all;
        for (const quol::FramePtr& corner : corners_)
            all.push_back(test::visibleBytes(*composed(under, *corner)));
        return all;
    }

private:
    std::mutex mutex_;
    std::vector<quol::FramePtr> corners_;
};

TEST(LMixerTitles, EveryCanvasOfACrawlHoldsOnePictureOfItWhole) {
    CornerSink corners;
    quol::FramePtr under = noise();
    HandSource background;
    LCharacter titles;
    titles.addSink(&corners); // sees every picture before the mixer does
    {
        RunningMixer running(customVideo(width, height, 50, 1), 60);
        running.mixer.addLayer("below", &background);
        ASSERT_TRUE(running.give("below", background, under));
        running.mixer.addLayer("titles", &titles, 1);
        LCGCrawlProps crawl;
        crawl.text = "A crawl that is long enough to stay in sight for all of the test";
        crawl.textSpeed = -1.0F;
        titles.addItem("crawl", 0, 0, width, height, crawl);
        ASSERT_TRUE(running.sink.waitForPictures(running.sink.pictureCount() + 60));
        const std::vector<quol::FramePtr> kept = running.sink.keptPictures();
        const std::vector<std::string> known = corners.canvases(*under); // of later ones too
        std::size_t changes = 0;
        std::string before;
        for (const quol::FramePtr& canvas : kept) {
            const std::string bytes = test::visibleBytes(*canvas);
            EXPECT_NE(std::find(known.begin(), known.end(), bytes), known.end());
            changes += bytes != before ? 1U : 0U;
            before = bytes;
        }
        EXPECT_GT(changes, 10U); // it runs
    }
    titles.removeSink(&corners);
}

// ---------------------------------------------------------------------------------------- the end

TEST(LMixerTitles, WithItsLayerGoneTheGeneratorMayEndWhileTheMixerGoesOn) {
    HandSource background;
    const quol::FramePtr under = noise();
    RunningMixer running;
    running.mixer.addLayer("below", &background);
    ASSERT_TRUE(running.give("below", background, under));
    for (std::size_t i = 0; i < 30; ++i) {
        auto titles = std::make_unique<LCharacter>();
        LCGCrawlProps crawl;
        crawl.text = "on its way out";
        titles->addItem("panel", 0, 0, width, height, panelOf("#FFFFFF"));
        titles->addItem("crawl", 0, 0, width, height, crawl); // drawn at every tick
        running.mixer.addLayer("titles", titles.get(), 1);
        const std::size_t more = i % 3;
        ASSERT_TRUE(running.sink.waitForPictures(running.sink.pictureCount() + more));
        running.mixer.removeLayer("titles");
        titles.reset();
    }
    EXPECT_EQ(firstDifference(*running.nextPicture(), *under), "");
    EXPECT_EQ(running.mixer.getLayerCount(), 1);
}

TEST(LMixerTitles, TheMixerMayEndBeforeTheGenerator) {
    LCharacter titles;
    CollectingSink seen;
    titles.addItem("panel", 0, 0, width, height, panelOf("#FFFFFF"));
    for (int i = 0; i < 10; ++i) {
        RunningMixer running;
        running.mixer.addLayer("titles", &titles);
        ASSERT_TRUE(waitUntil([&] { return running.levelsAt(8, 8).y > 200; }));
    }
    titles.addSink(&seen);
    EXPECT_TRUE(seen.waitForPictures(3));
    titles.removeSink(&seen);
}

TEST(LMixerTitles, AnotherSourceInTheLayersPlaceLetsGoOfTheGenerator) {
    HandSource other;
    OnAir air;
    auto titles = std::make_unique<LCharacter>();
    titles->addItem("panel", 0, 0, width, height, panelOf("#FFFFFF"));
    air.running.mixer.addLayer("titles", titles.get(), 1);
    ASSERT_TRUE(waitUntil([&] { return air.running.levelsAt(8, 8).y > 200; }));
    air.running.mixer.addLayer("titles", &other, 1);
    titles.reset();
    EXPECT_TRUE(air.showsBackgroundAlone());
    ASSERT_TRUE(air.running.give("titles", other, plainPicture(width, height, bright)));
    EXPECT_EQ(air.running.levelsAt(8, 8), bright);
    air.running.mixer.removeLayer("titles");
}

} // namespace

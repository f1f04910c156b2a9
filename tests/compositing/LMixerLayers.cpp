// The layers of a mixer: adding, changing and removing them, and what their sources get to know.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <limits>
#include <thread>

#include "quolsdk/LSink.h"
#include "support/CapturedStream.h"
#include "support/RunningMixer.h"
#include "support/ThisProcess.h"

namespace {

using test::blackLevels;
using test::bright;
using test::grey;
using test::Levels;
using test::plainPicture;
using test::PulledSource;
using test::RunningMixer;
using test::WatchedSource;
using namespace std::chrono_literals;

// Beyond this a pushed picture is not current any more.
constexpr auto staleAfter = 1100ms;

// A sink that keeps its source inside a push until it is let go.
class HoldingSink : public LSink {
public:
    void pushVideoFrame(AVFrame* /*frame*/) override {
        std::unique_lock lock(mutex_);
        isHolding_ = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return isOpen_; });
    }
    void pushAudioFrame(AVFrame* /*frame*/) override {}

    void letGo() {
        const std::lock_guard lock(mutex_);
        isOpen_ = true;
        changed_.notify_all();
    }
    bool waitUntilHolding() {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, 20s, [this] { return isHolding_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isHolding_ = false;
    bool isOpen_ = false;
};

// A source whose thread stands in a push for as long as this lives.
class HeldSource {
public:
    HeldSource() {
        source.addSink(&sink_);
        source.added = 0;
        thread_ = std::thread([this] {
            const quol::FramePtr picture = plainPicture(16, 16, grey);
            source.distributeVideoFrame(picture.get());
        });
    }
    ~HeldSource() {
        letGo();
        source.removeSink(&sink_);
    }
    HeldSource(const HeldSource&) = delete;
    HeldSource& operator=(const HeldSource&) = delete;

    bool isHeld() { return sink_.waitUntilHolding(); }
    void letGo() {
        sink_.letGo();
        if (thread_.joinable()) thread_.join();
    }

    WatchedSource source;

private:
    HoldingSink sink_;
    std::thread thread_;
};

} // namespace

// ------------------------------------------------------------------------------- a new mixer

TEST(LMixerLayers, ANewMixerIs720pAtFiftyWithStereoAt48kHz) {
    LMixer mixer(LMixer::Renderer::processor);
    videoFormatProps video;
    audioFormatProps audio;
    mixer.getVideoFormat(video);
    mixer.getAudioFormat(audio);
    EXPECT_EQ(video.mode, 4U);
    EXPECT_EQ(video.width, 1280);
    EXPECT_EQ(video.height, 720);
    EXPECT_EQ(video.fps, 50.0);
    EXPECT_EQ(video.pixelFormat, 0);
    EXPECT_EQ(audio.sampleRate, 48000);
    EXPECT_EQ(audio.bitsPerSample, 16);
    EXPECT_EQ(audio.channels, 2);
    EXPECT_EQ(mixer.getLayerCount(), 0);
    EXPECT_TRUE(mixer.canPullRender());
}

TEST(LMixerLayers, ANewMixerProducesPicturesBeforeItHasLayers) {
    test::CollectingSink sink(1);
    LMixer mixer(LMixer::Renderer::processor);
    mixer.addSink(&sink);
    EXPECT_TRUE(sink.waitForPictures(3));
    EXPECT_TRUE(sink.waitForSounds(3));
    mixer.removeSink(&sink);
    EXPECT_EQ(sink.latestPicture()->width, 1280);
    EXPECT_EQ(sink.latestPicture()->height, 720);
    EXPECT_EQ(sink.latestPicture()->format, AV_PIX_FMT_RGBA);
}

TEST(LMixerLayers, EnsureRunningStartsNoSecondThread) {
    RunningMixer running;
    ASSERT_NE(running.nextPicture(), nullptr);
    const int before = test::threadsOfThisProcess();
    running.mixer.ensureRunning();
    running.mixer.ensureRunning();
    EXPECT_EQ(test::threadsOfThisProcess(), before);
    EXPECT_NE(running.nextPicture(), nullptr);
}

// -------------------------------------------------------------------------------- addLayer

TEST(LMixerLayers, ANewItemHasTheDefaults) {
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("name", nullptr);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->name, "name");
    EXPECT_EQ(item->source, nullptr);
    EXPECT_TRUE(item->visible);
    EXPECT_EQ(item->alpha, 255);
    EXPECT_EQ(item->x, 0.0F);
    EXPECT_EQ(item->y, 0.0F);
    EXPECT_EQ(item->width, -1.0F);
    EXPECT_EQ(item->height, -1.0F);
    EXPECT_EQ(item->cropTop, 0.0F);
    EXPECT_EQ(item->cropBottom, 0.0F);
    EXPECT_EQ(item->cropLeft, 0.0F);
    EXPECT_EQ(item->cropRight, 0.0F);
    EXPECT_EQ(item->borderThickness, 0);
    EXPECT_EQ(item->borderColor, "#FFFFFF");
    EXPECT_EQ(item->borderAlpha, 255);
    EXPECT_EQ(item->borderRadius, 0);
    EXPECT_FALSE(item->audioEnabled);
    EXPECT_EQ(item->audioGain, 100);
    EXPECT_EQ(item->zIndex, 0);
    EXPECT_EQ(item->keySource, nullptr);
    EXPECT_FALSE(item->isDSK);
}

TEST(LMixerLayers, TheFullFormStoresEveryArgument) {
    WatchedSource source;
    RunningMixer running;
    LLayerItem* const item =
        running.mixer.addLayer("a", &source, 7, 1.5F, -2.5F, 128, 320.0F, 180.0F, 1.0F, 2.0F, 3.0F,
                               4.0F, 5, "#123456", true, 50);
    EXPECT_EQ(running.mixer.getLayer("a"), item);
    EXPECT_EQ(item->source, &source);
    EXPECT_EQ(item->zIndex, 7);
    EXPECT_EQ(item->x, 1.5F);
    EXPECT_EQ(item->y, -2.5F);
    EXPECT_EQ(item->alpha, 128);
    EXPECT_EQ(item->width, 320.0F);
    EXPECT_EQ(item->height, 180.0F);
    EXPECT_EQ(item->cropTop, 1.0F);
    EXPECT_EQ(item->cropBottom, 2.0F);
    EXPECT_EQ(item->cropLeft, 3.0F);
    EXPECT_EQ(item->cropRight, 4.0F);
    EXPECT_EQ(item->borderThickness, 5);
    EXPECT_EQ(item->borderColor, "#123456");
    EXPECT_TRUE(item->audioEnabled);
    EXPECT_EQ(item->audioGain, 50);
}

TEST(LMixerLayers, TheShortFormIsTheFullOneWithoutCropAndBorder) {
    WatchedSource source;
    RunningMixer running;
    running.mixer.addLayer("a", &source, 7, 1.0F, 2.0F, 128, 320.0F, 180.0F, 1.0F, 2.0F, 3.0F, 4.0F,
                           5, "#123456", false, 50);
    LLayerItem* const item =
        running.mixer.addLayer("a", &source, 3, 9.0F, 8.0F, 64, 32.0F, 18.0F, true, 70);
    EXPECT_EQ(item->zIndex, 3);
    EXPECT_EQ(item->x, 9.0F);
    EXPECT_EQ(item->y, 8.0F);
    EXPECT_EQ(item->alpha, 64);
    EXPECT_EQ(item->width, 32.0F);
    EXPECT_EQ(item->height, 18.0F);
    EXPECT_EQ(item->cropTop, 0.0F);
    EXPECT_EQ(item->cropBottom, 0.0F);
    EXPECT_EQ(item->cropLeft, 0.0F);
    EXPECT_EQ(item->cropRight, 0.0F);
    EXPECT_EQ(item->borderThickness, 0);
    EXPECT_EQ(item->borderColor, "#FFFFFF");
    EXPECT_TRUE(item->audioEnabled);
    EXPECT_EQ(item->audioGain, 70);
}

TEST(LMixerLayers, ANegativeAlphaOrOneAbove255IsStoredUnchanged) {
    RunningMixer running;
    for (const int alpha : {-1, -1000, 256, 100000, std::numeric_limits<int>::min(),
                            std::numeric_limits<int>::max()}) {
        EXPECT_EQ(running.mixer.addLayer("a", nullptr, 0, 0, 0, alpha)->alpha, alpha);
        EXPECT_EQ(running.mixer.addDSK("k", nullptr, nullptr, 0, 0, 0, alpha)->alpha, alpha);
        EXPECT_EQ(running.mixer.addImage("i", "", 0, 0, 0, alpha)->alpha, alpha);
    }
    EXPECT_NE(running.nextPicture(), nullptr);
}

TEST(LMixerLayers, ASourceGetsOneSinkForEachLayerThatShowsIt) {
    WatchedSource source;
    RunningMixer running;
    running.mixer.addLayer("a", &source);
    running.mixer.addLayer("b", &source);
    EXPECT_EQ(source.sinkCount(), 2U);
    running.mixer.addDSK("k", &source, &source);
    EXPECT_EQ(source.sinkCount(), 4U);
    running.mixer.removeLayer("b");
    EXPECT_EQ(source.sinkCount(), 3U);
    running.mixer.removeLayer("k");
    EXPECT_EQ(source.sinkCount(), 1U);
    running.mixer.removeLayer("a");
    EXPECT_EQ(source.sinkCount(), 0U);
}

// Adds layer a once more, 16 to the right.
void expectMovedWithItsPicture(RunningMixer& running, WatchedSource& source, LLayerItem* item) {
    EXPECT_EQ(running.mixer.addLayer("a", &source, 4, 16, 0), item);
    EXPECT_EQ(source.added, 1);
    EXPECT_EQ(source.removed, 0);
    const quol::FramePtr canvas = running.nextPicture();
    EXPECT_EQ(test::levelsAt(canvas.get(), 15, 0), blackLevels);
    EXPECT_EQ(test::levelsAt(canvas.get(), 16, 0), grey);
}

TEST(LMixerLayers, AddingUnderAnExistingNameWithTheSameSourceKeepsThePicture) {
    WatchedSource source;
    const quol::FramePtr picture = plainPicture(64, 48, grey);
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, picture));
    expectMovedWithItsPicture(running, source, item);
}

TEST(LMixerLayers, AddingTheSameSourceAgainKeepsThePictureThatItFrozeOn) {
    WatchedSource source;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    std::this_thread::sleep_for(staleAfter);
    expectMovedWithItsPicture(running, source, item);
}

TEST(LMixerLayers, AddingUnderAnExistingNameWithTheSameSourceKeepsThePullRelation) {
    PulledSource source(plainPicture(64, 48, grey));
    RunningMixer running;
    running.mixer.addLayer("a", &source);
    EXPECT_EQ(source.consumers, 1);
    running.mixer.addLayer("a", &source, 4);
    EXPECT_EQ(source.consumers, 1);
    EXPECT_EQ(source.sinkCount(), 1U);
    EXPECT_EQ(running.levelsAt(5, 5), grey);
    running.mixer.removeLayer("a");
    EXPECT_EQ(source.consumers, 0);
    EXPECT_EQ(source.sinkCount(), 0U);
}

TEST(LMixerLayers, AddingUnderAnExistingNameResetsTheBorderRadiusButNotItsAlpha) {
    WatchedSource source;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", &source);
    running.mixer.setLayerBorderRadius("a", 25);
    item->borderAlpha = 40;
    EXPECT_EQ(item->borderRadius, 25);
    running.mixer.addLayer("a", &source);
    EXPECT_EQ(item->borderRadius, 0);
    EXPECT_EQ(item->borderAlpha, 40);
}

TEST(LMixerLayers, AddingUnderAnExistingNameLeavesAHiddenLayerHidden) {
    WatchedSource source;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", &source);
    item->visible = false;
    running.mixer.addLayer("a", &source);
    EXPECT_FALSE(item->visible);
}

TEST(LMixerLayers, AddingUnderAnExistingNameWithANullSourceRemovesTheSinkAndThePicture) {
    WatchedSource source;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    EXPECT_EQ(running.levelsAt(5, 5), grey);
    EXPECT_EQ(running.mixer.addLayer("a", nullptr), item);
    EXPECT_EQ(item->source, nullptr);
    EXPECT_EQ(source.removed, 1);
    EXPECT_EQ(source.sinkCount(), 0U);
    EXPECT_EQ(running.levelsAt(5, 5), blackLevels);
}

TEST(LMixerLayers, ANullSourceEndsThePullRelation) {
    PulledSource source(plainPicture(64, 48, grey));
    RunningMixer running;
    running.mixer.addLayer("a", &source);
    EXPECT_EQ(running.levelsAt(5, 5), grey);
    running.mixer.addLayer("a", nullptr);
    EXPECT_EQ(source.consumers, 0);
    const int renders = source.renders;
    EXPECT_EQ(running.levelsAt(5, 5), blackLevels);
    EXPECT_EQ(source.renders, renders);
}

TEST(LMixerLayers, AnotherSourceStartsWithoutAPicture) {
    WatchedSource first;
    WatchedSource second;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", &first);
    ASSERT_TRUE(running.give("a", first, plainPicture(64, 48, grey)));
    EXPECT_EQ(running.mixer.addLayer("a", &second), item);
    EXPECT_EQ(first.sinkCount(), 0U);
    EXPECT_EQ(second.sinkCount(), 1U);
    EXPECT_EQ(running.levelsAt(5, 5), blackLevels);
    ASSERT_TRUE(running.give("a", second, plainPicture(64, 48, bright)));
    EXPECT_EQ(running.levelsAt(5, 5), bright);
}

TEST(LMixerLayers, PicturesThatASourcePushesAfterItsLayerWentAreNotShown) {
    WatchedSource source;
    RunningMixer running;
    running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    running.mixer.removeLayer("a");
    const quol::FramePtr picture = plainPicture(64, 48, bright);
    source.distributeVideoFrame(picture.get());
    EXPECT_EQ(running.levelsAt(5, 5), blackLevels);
    running.mixer.addLayer("a", &source);
    EXPECT_EQ(running.levelsAt(5, 5), blackLevels);
}

TEST(LMixerLayers, AMixerIsNeverItsOwnLayer) {
    RunningMixer running;
    EXPECT_EQ(running.mixer.addLayer("a", &running.mixer)->source, nullptr);
    LLayerItem* const key = running.mixer.addDSK("k", &running.mixer, &running.mixer);
    EXPECT_EQ(key->source, nullptr);
    EXPECT_EQ(key->keySource, nullptr);
    EXPECT_EQ(running.levelsAt(5, 5), blackLevels);
    running.mixer.removeLayer("a");
    running.mixer.removeLayer("k");
    EXPECT_NE(running.nextPicture(), nullptr);
}

// ----------------------------------------------------------------------------------- addDSK

TEST(LMixerLayers, ADownstreamKeyHasNoCropBorderRadiusOrSound) {
    WatchedSource fill;
    WatchedSource key;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("k", &fill, 7, 1.0F, 2.0F, 128, 320.0F, 180.0F,
                                                    1.0F, 2.0F, 3.0F, 4.0F, 5, "#123456", true, 50);
    running.mixer.setLayerBorderRadius("k", 30);
    EXPECT_EQ(running.mixer.addDSK("k", &fill, &key, 3, 9.0F, 8.0F, 64, 32.0F, 18.0F), item);
    EXPECT_TRUE(item->isDSK);
    EXPECT_EQ(item->source, &fill);
    EXPECT_EQ(item->keySource, &key);
    EXPECT_EQ(item->zIndex, 3);
    EXPECT_EQ(item->x, 9.0F);
    EXPECT_EQ(item->y, 8.0F);
    EXPECT_EQ(item->alpha, 64);
    EXPECT_EQ(item->width, 32.0F);
    EXPECT_EQ(item->height, 18.0F);
    EXPECT_EQ(item->cropTop, 0.0F);
    EXPECT_EQ(item->cropBottom, 0.0F);
    EXPECT_EQ(item->cropLeft, 0.0F);
    EXPECT_EQ(item->cropRight, 0.0F);
    EXPECT_EQ(item->borderThickness, 0);
    EXPECT_EQ(item->borderColor, "#FFFFFF");
    EXPECT_EQ(item->borderRadius, 0);
    EXPECT_FALSE(item->audioEnabled);
    EXPECT_EQ(item->audioGain, 100);
    EXPECT_EQ(fill.added, 1);
    EXPECT_EQ(key.added, 1);
}

TEST(LMixerLayers, OfADownstreamKeyOnlyThePairWhoseSourceDiffersIsExchanged) {
    PulledSource fill;
    PulledSource key;
    PulledSource other;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addDSK("k", &fill, &key);
    EXPECT_EQ(fill.consumers, 1);
    EXPECT_EQ(key.consumers, 1);

    EXPECT_EQ(running.mixer.addDSK("k", &fill, &other), item);
    EXPECT_EQ(fill.added, 1);
    EXPECT_EQ(fill.removed, 0);
    EXPECT_EQ(fill.consumers, 1);
    EXPECT_EQ(key.consumers, 0);
    EXPECT_EQ(key.sinkCount(), 0U);
    EXPECT_EQ(other.consumers, 1);
    EXPECT_EQ(other.sinkCount(), 1U);

    EXPECT_EQ(running.mixer.addDSK("k", &key, &other), item);
    EXPECT_EQ(fill.consumers, 0);
    EXPECT_EQ(fill.sinkCount(), 0U);
    EXPECT_EQ(key.consumers, 1);
    EXPECT_EQ(other.added, 1);

    running.mixer.addDSK("k", nullptr, nullptr);
    EXPECT_EQ(key.consumers, 0);
    EXPECT_EQ(other.consumers, 0);
    EXPECT_EQ(key.sinkCount() + other.sinkCount(), 0U);
    EXPECT_TRUE(item->isDSK);
}

TEST(LMixerLayers, ADownstreamKeyKeepsItsFillWhileTheKeyIsExchanged) {
    WatchedSource fill;
    WatchedSource key;
    WatchedSource other;
    RunningMixer running;
    running.mixer.addDSK("k", &fill, &key);
    ASSERT_TRUE(running.give("k", fill, plainPicture(64, 48, bright)));
    ASSERT_TRUE(running.give("k", key, plainPicture(64, 48, {16})));
    EXPECT_EQ(running.levelsAt(5, 5), blackLevels); // keyed out
    running.mixer.addDSK("k", &fill, &other);
    EXPECT_NE(running.levelsAt(5, 5), blackLevels); // the old key went, the fill did not
}

TEST(LMixerLayers, AddLayerOnADownstreamKeyLeavesTheKeyOnIt) {
    WatchedSource fill;
    WatchedSource key;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addDSK("k", &fill, &key);
    ASSERT_TRUE(running.give("k", fill, plainPicture(64, 48, bright)));
    ASSERT_TRUE(running.give("k", key, plainPicture(64, 48, {16})));
    running.mixer.addLayer("k", &fill);
    EXPECT_TRUE(item->isDSK);
    EXPECT_EQ(item->keySource, &key);
    EXPECT_EQ(key.sinkCount(), 1U);
    EXPECT_EQ(running.levelsAt(5, 5), blackLevels);
}

// --------------------------------------------------------------------------------- addImage

TEST(LMixerLayers, AnImageStoresItsArgumentsAndHasNoSource) {
    RunningMixer running;
    LLayerItem* const item =
        running.mixer.addImage("i", test::mediaPath("still.png"), 7, 1.0F, 2.0F, 128, 320.0F,
                               180.0F, 1.0F, 2.0F, 3.0F, 4.0F, 5, "#123456");
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(running.mixer.getLayer("i"), item);
    EXPECT_EQ(item->source, nullptr);
    EXPECT_EQ(item->zIndex, 7);
    EXPECT_EQ(item->x, 1.0F);
    EXPECT_EQ(item->y, 2.0F);
    EXPECT_EQ(item->alpha, 128);
    EXPECT_EQ(item->width, 320.0F);
    EXPECT_EQ(item->height, 180.0F);
    EXPECT_EQ(item->cropTop, 1.0F);
    EXPECT_EQ(item->cropBottom, 2.0F);
    EXPECT_EQ(item->cropLeft, 3.0F);
    EXPECT_EQ(item->cropRight, 4.0F);
    EXPECT_EQ(item->borderThickness, 5);
    EXPECT_EQ(item->borderColor, "#123456");
}

TEST(LMixerLayers, AnImageInPlaceOfALayerLetsGoOfItsSourcesAndKeepsSoundAndBorderSettings) {
    PulledSource fill;
    PulledSource key;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addDSK("a", &fill, &key);
    item->audioEnabled = true;
    item->audioGain = 30;
    item->borderAlpha = 40;
    item->borderRadius = 50;
    EXPECT_EQ(running.mixer.addImage("a", test::mediaPath("still.png")), item);
    EXPECT_EQ(item->source, nullptr);
    EXPECT_EQ(item->keySource, nullptr);
    EXPECT_EQ(fill.consumers, 0);
    EXPECT_EQ(key.consumers, 0);
    EXPECT_EQ(fill.sinkCount() + key.sinkCount(), 0U);
    EXPECT_TRUE(item->audioEnabled);
    EXPECT_EQ(item->audioGain, 30);
    EXPECT_EQ(item->borderAlpha, 40);
    EXPECT_EQ(item->borderRadius, 50);
    EXPECT_FALSE(item->isDSK);
}

TEST(LMixerLayers, AnImageKeepsItsPictureWhenTheLayerIsAddedWithoutASourceAgain) {
    RunningMixer running;
    running.mixer.addImage("i", test::mediaPath("still.png"), 0, 0, 0, 255, 64, 48);
    const Levels shown = running.levelsAt(5, 5);
    EXPECT_NE(shown, blackLevels);
    running.mixer.addLayer("i", nullptr, 0, 0, 0, 255, 64, 48);
    EXPECT_EQ(running.levelsAt(5, 5), shown);
}

TEST(LMixerLayers, ASourceInPlaceOfAnImageTakesTheImageAway) {
    WatchedSource source;
    RunningMixer running;
    running.mixer.addImage("i", test::mediaPath("still.png"), 0, 0, 0, 255, 64, 48);
    EXPECT_NE(running.levelsAt(5, 5), blackLevels);
    running.mixer.addLayer("i", &source);
    EXPECT_EQ(running.levelsAt(5, 5), blackLevels);
    ASSERT_TRUE(running.give("i", source, plainPicture(64, 48, grey)));
    EXPECT_EQ(running.levelsAt(5, 5), grey);
}

// -------------------------------------------------------------------- removing and looking up

TEST(LMixerLayers, RemovingAnUnknownLayerChangesNothing) {
    WatchedSource source;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", &source);
    running.mixer.removeLayer("b");
    running.mixer.removeLayer("");
    running.mixer.removeLayer("A");
    EXPECT_EQ(running.mixer.getLayerCount(), 1);
    EXPECT_EQ(running.mixer.getLayer("a"), item);
    EXPECT_EQ(source.sinkCount(), 1U);
}

TEST(LMixerLayers, ARemovedLayerComesBackAsANewOne) {
    WatchedSource source;
    RunningMixer running;
    LLayerItem* item = running.mixer.addLayer("a", &source);
    item->borderAlpha = 3;
    item->visible = false;
    running.mixer.removeLayer("a");
    EXPECT_EQ(running.mixer.getLayer("a"), nullptr);
    EXPECT_EQ(running.mixer.getLayerCount(), 0);
    item = running.mixer.addLayer("a", &source);
    EXPECT_EQ(item->borderAlpha, 255);
    EXPECT_TRUE(item->visible);
}

TEST(LMixerLayers, ASourceMayGoOnceItsLayerIsRemoved) {
    RunningMixer running;
    {
        PulledSource source(plainPicture(64, 48, grey));
        WatchedSource key;
        running.mixer.addLayer("a", &source);
        running.mixer.addDSK("k", &source, &key);
        ASSERT_TRUE(running.give("k", key, plainPicture(64, 48, bright)));
        running.mixer.removeLayer("a");
        running.mixer.removeLayer("k");
    }
    EXPECT_EQ(running.levelsAt(5, 5), blackLevels);
}

TEST(LMixerLayers, GetLayerOfAnUnknownNameIsNull) {
    RunningMixer running;
    EXPECT_EQ(running.mixer.getLayer("a"), nullptr);
    EXPECT_EQ(running.mixer.getLayer(""), nullptr);
}

TEST(LMixerLayers, GetLayerByIndexWalksNameOrderNotStackingOrder) {
    RunningMixer running;
    LLayerItem* const c = running.mixer.addLayer("c", nullptr, -5);
    LLayerItem* const a = running.mixer.addLayer("a", nullptr, 9);
    LLayerItem* const b = running.mixer.addLayer("b", nullptr, 0);
    EXPECT_EQ(running.mixer.getLayerCount(), 3);
    EXPECT_EQ(running.mixer.getLayerByIndex(0), a);
    EXPECT_EQ(running.mixer.getLayerByIndex(1), b);
    EXPECT_EQ(running.mixer.getLayerByIndex(2), c);
    b->visible = false;
    EXPECT_EQ(running.mixer.getLayerByIndex(1), b);
}

TEST(LMixerLayers, GetLayerByIndexOutOfRangeIsNull) {
    RunningMixer running;
    EXPECT_EQ(running.mixer.getLayerByIndex(0), nullptr);
    running.mixer.addLayer("a", nullptr);
    for (const int index :
         {-1, 1, 2, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()})
        EXPECT_EQ(running.mixer.getLayerByIndex(index), nullptr) << index;
}

TEST(LMixerLayers, AnyTextIsAName) {
    const std::string withZero("a\0b", 3);
    const std::string longName(100000, 'x');
    RunningMixer running;
    for (const std::string& name :
         {std::string(), std::string("%s%n"), std::string("\xff\xfe"), withZero, longName}) {
        LLayerItem* const item = running.mixer.addLayer(name, nullptr);
        EXPECT_EQ(item->name, name);
        EXPECT_EQ(running.mixer.getLayer(name), item);
    }
    EXPECT_EQ(running.mixer.getLayerCount(), 5);
    EXPECT_EQ(running.mixer.getLayer("a"), nullptr);
    EXPECT_NE(running.nextPicture(), nullptr);
}

// ---------------------------------------------------------------------------------- writing

TEST(LMixerLayers, EditLayerChangesALayerAndRefusesUnknownNames) {
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", nullptr);
    EXPECT_TRUE(running.mixer.editLayer("a", [](LLayerItem& layer) {
        layer.alpha = 7;
        layer.borderColor = "#123456";
    }));
    EXPECT_EQ(item->alpha, 7);
    EXPECT_EQ(item->borderColor, "#123456");
    bool isCalled = false;
    EXPECT_FALSE(running.mixer.editLayer("b", [&](LLayerItem&) { isCalled = true; }));
    EXPECT_FALSE(isCalled);
}

TEST(LMixerLayers, ARadiusForAnUnknownNameIsIgnored) {
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", nullptr);
    running.mixer.setLayerBorderRadius("b", 25);
    EXPECT_EQ(item->borderRadius, 0);
    EXPECT_EQ(running.mixer.getLayerCount(), 1);
    running.mixer.setLayerBorderRadius("a", 25);
    EXPECT_EQ(item->borderRadius, 25);
}

TEST(LMixerLayers, FieldsWrittenDirectlyAreSeenByTheNextPicture) {
    WatchedSource source;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    item->x = 20.0F;
    item->y = 10.9F; // cut to 10
    const quol::FramePtr canvas = running.nextPicture();
    EXPECT_EQ(test::levelsAt(canvas.get(), 19, 10), blackLevels);
    EXPECT_EQ(test::levelsAt(canvas.get(), 20, 9).y, 0);
    EXPECT_EQ(test::levelsAt(canvas.get(), 20, 10), grey);
}

// ---------------------------------------------------------------------------------- formats

TEST(LMixerLayers, SetVideoFormatExpandsTheMode) {
    RunningMixer running;
    videoFormatProps format;
    running.mixer.setVideoFormat({2, 1, 2, 3.0, 15});
    running.mixer.getVideoFormat(format);
    EXPECT_EQ(format.mode, 2U);
    EXPECT_EQ(format.width, 720);
    EXPECT_EQ(format.height, 486);
    EXPECT_EQ(format.fps, 30000.0 / 1001.0);
    EXPECT_EQ(format.pixelFormat, 15);
}

TEST(LMixerLayers, Modes0And1KeepTheCallersSizeAndRate) {
    RunningMixer running;
    for (const std::uint32_t mode : {0U, 1U}) {
        videoFormatProps format;
        running.mixer.setVideoFormat({mode, 120, 70, 12.5, 1});
        running.mixer.getVideoFormat(format);
        EXPECT_EQ(format.mode, mode);
        EXPECT_EQ(format.width, 120);
        EXPECT_EQ(format.height, 70);
        EXPECT_EQ(format.fps, 12.5);
        const quol::FramePtr canvas = running.nextPicture();
        ASSERT_NE(canvas, nullptr);
        EXPECT_EQ(canvas->width, 120);
        EXPECT_EQ(canvas->height, 70);
    }
}

TEST(LMixerLayers, SetAudioFormatIsStoredWithoutExpansion) {
    RunningMixer running;
    running.mixer.setAudioFormat({10, 24, 12345, 7});
    audioFormatProps format;
    running.mixer.getAudioFormat(format);
    EXPECT_EQ(format.mode, 10U);
    EXPECT_EQ(format.bitsPerSample, 24);
    EXPECT_EQ(format.sampleRate, 12345);
    EXPECT_EQ(format.channels, 7);
}

TEST(LMixerLayers, ARateThatNoSoundCanHaveLeavesALayerWithoutSoundOnly) {
    for (const int rate : {0, -48000, 1, std::numeric_limits<int>::max()}) {
        WatchedSource source;
        RunningMixer running;
        running.mixer.setAudioFormat({0, 16, rate, 2});
        running.mixer.addLayer("a", &source)->audioEnabled = true;
        const quol::FramePtr sound = test::plainSound(960, 1000, 1000);
        for (int i = 0; i < 5; ++i)
            source.distributeAudioFrame(sound.get());
        ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey))) << rate;
        EXPECT_EQ(running.levelsAt(5, 5), grey) << rate;
        EXPECT_NE(running.nextSound(), nullptr) << rate;
    }
}

// ------------------------------------------------------------- sources that hold up their sinks

TEST(LMixerLayers, AttachingToASourceThatHoldsDoesNotHoldUpThePictures) {
    HeldSource held;
    ASSERT_TRUE(held.isHeld());
    RunningMixer running;
    std::thread adding([&] { running.mixer.addLayer("a", &held.source); });
    EXPECT_TRUE(test::waitUntil([&] { return held.source.added == 1; }));
    EXPECT_NE(running.nextPicture(), nullptr);
    EXPECT_EQ(running.mixer.getLayerCount(), 1);
    held.letGo();
    adding.join();
    running.mixer.removeLayer("a");
}

TEST(LMixerLayers, DetachingFromASourceThatHoldsDoesNotHoldUpThePictures) {
    WatchedSource source;
    HoldingSink holding;
    RunningMixer running;
    running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    source.addSink(&holding);
    std::thread pushing([&] {
        const quol::FramePtr picture = plainPicture(64, 48, bright);
        source.distributeVideoFrame(picture.get());
    });
    EXPECT_TRUE(holding.waitUntilHolding());
    std::thread removing([&] { running.mixer.removeLayer("a"); });
    EXPECT_TRUE(test::waitUntil([&] { return source.removed == 1; }));
    EXPECT_EQ(running.levelsAt(5, 5), blackLevels);
    EXPECT_EQ(running.mixer.getLayer("a"), nullptr);
    holding.letGo();
    removing.join();
    pushing.join();
    EXPECT_EQ(source.sinkCount(), 1U);
    source.removeSink(&holding);
}

TEST(LMixerLayers, ALayerIsAttachedAndDetachedOnceWithTheLinesOfItsSource) {
    WatchedSource source;
    RunningMixer running;
    std::string text;
    {
        test::CapturedStream out(test::CapturedStream::Stream::output);
        running.mixer.addLayer("a", &source);
        running.mixer.addLayer("a", &source);
        running.mixer.removeLayer("a");
        running.mixer.removeLayer("a");
        text = out.text();
    }
    EXPECT_THAT(text, testing::ContainsRegex("^\\[LObject\\] addSink this=0x[0-9a-f]+ "
                                             "sink=0x[0-9a-f]+\n"
                                             "\\[LObject\\] removeSink this=0x[0-9a-f]+ "
                                             "sink=0x[0-9a-f]+\n"
                                             "\\[LObject\\] removeSink success!\n$"));
}

// Changes of the compositors that memory is refused in the middle of: behind them all is as it was
// or all is as it was meant to be, and what has come and gone leaves nothing with the sources.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "compositing/LayerState.h"
#include "quolsdk/LAudioMixer.h"
#include "quolsdk/LCharacter.h"
#include "quolsdk/LMixer.h"
#include "quolsdk/LMultiview.h"
#include "quolsdk/LSwitcher.h"
#include "support/CapturedStream.h"
#include "support/FilePlayer.h"
#include "support/MemoryShortage.h"
#include "support/PlainFrames.h"
#include "support/RunningMixer.h"

namespace {

using test::CountingSink;
using test::WatchedSource;

const std::string oldText(40, 'o'); // longer than a string holds by itself
const std::string newText(40, 'n');

// Four sources and a compositor, which goes before they do.
template <typename Compositor>
struct Scene {
    template <typename... Args>
    explicit Scene(Args&&... args) : compositor(std::in_place, std::forward<Args>(args)...) {}

    using Counts = std::vector<std::size_t>;
    Counts sinks() { // of the sources
        return {a.sinkCount(), b.sinkCount(), c.sinkCount(), d.sinkCount()};
    }

    WatchedSource a, b, c, d;
    std::optional<Compositor> compositor;
};

// A scene of its own for each allocation of a change, which fails in its turn, until there is none
// left to fail. `check` is told whether the change was refused. How many there were.
template <typename Scene, typename Change, typename Check>
int refuseEachOf(const Change& change, const Check& check) {
    for (int number = 0; number < 1000; ++number) {
        SCOPED_TRACE(number);
        Scene scene;
        bool isRefused = false;
        test::failAfter = number;
        try {
            change(scene);
        } catch (const std::bad_alloc&) {
            isRefused = true;
        }
        const bool isMet = test::failAfter < 0;
        test::failAfter = -1;
        check(scene, isRefused);
        scene.compositor.reset();
        EXPECT_EQ(scene.sinks(), typename Scene::Counts(4, 0));
        EXPECT_TRUE(isMet || !isRefused);
        if (!isMet || testing::Test::HasFailure()) return number;
    }
    ADD_FAILURE() << "no end";
    return -1;
}

// ------------------------------------------------------------------------------------------ mixer

struct MixerScene : Scene<LMixer> {
    MixerScene() : Scene(LMixer::Renderer::processor) {
        compositor->addLayer("there", &a, 1, 1.0F, 1.0F, 200, 20.0F, 20.0F, 0.0F, 0.0F, 0.0F, 0.0F,
                             1, oldText, false, 100);
        compositor->addDSK("key", &a, &b, 2);
    }
    LLayerItem& item(const char* name) { return *compositor->getLayer(name); }
};

TEST(RefusedMixerChange, ALayerIsTheOldOneOrTheNewOne) {
    const auto change = [](MixerScene& scene) {
        scene.compositor->addLayer("there", &scene.c, 5, 5.0F, 5.0F, 100, 30.0F, 30.0F, 1.0F, 1.0F,
                                   1.0F, 1.0F, 2, newText, true, 50);
    };
    const auto check = [](MixerScene& scene, bool isRefused) {
        const LLayerItem& item = scene.item("there");
        EXPECT_EQ(item.source, isRefused ? &scene.a : &scene.c);
        EXPECT_EQ(item.zIndex, isRefused ? 1 : 5);
        EXPECT_EQ(item.alpha, isRefused ? 200 : 100);
        EXPECT_EQ(item.borderColor, isRefused ? oldText : newText);
        EXPECT_EQ(scene.sinks(),
                  isRefused ? (MixerScene::Counts{2, 1, 0, 0}) : (MixerScene::Counts{1, 1, 1, 0}));
    };
    EXPECT_GT(refuseEachOf<MixerScene>(change, check), 2);
}

TEST(RefusedMixerChange, ALayerThatWasNotThereIsThereOrNot) {
    const auto change = [](MixerScene& scene) { scene.compositor->addLayer(newText, &scene.c); };
    const auto check = [](MixerScene& scene, bool isRefused) {
        EXPECT_EQ(scene.compositor->getLayer(newText) == nullptr, isRefused);
        EXPECT_EQ(scene.compositor->getLayerCount(), isRefused ? 2 : 3);
        EXPECT_EQ(scene.c.sinkCount(), isRefused ? 0U : 1U);
    };
    EXPECT_GT(refuseEachOf<MixerScene>(change, check), 4);
}

TEST(RefusedMixerChange, AKeyHasBothOldSourcesOrBothNewOnes) {
    const auto change = [](MixerScene& scene) {
        scene.compositor->addDSK("key", &scene.c, &scene.d, 9);
    };
    const auto check = [](MixerScene& scene, bool isRefused) {
        const LLayerItem& item = scene.item("key");
        EXPECT_EQ(item.source, isRefused ? &scene.a : &scene.c);
        EXPECT_EQ(item.keySource, isRefused ? &scene.b : &scene.d);
        EXPECT_EQ(item.zIndex, isRefused ? 2 : 9);
        EXPECT_EQ(scene.sinks(),
                  isRefused ? (MixerScene::Counts{2, 1, 0, 0}) : (MixerScene::Counts{1, 0, 1, 1}));
    };
    EXPECT_GT(refuseEachOf<MixerScene>(change, check), 3);
}

TEST(RefusedMixerChange, AKeyInPlaceOfALayerIsAKeyOrTheLayer) {
    const auto change = [](MixerScene& scene) {
        scene.compositor->addDSK("there", &scene.a, &scene.d, 9);
    };
    const auto check = [](MixerScene& scene, bool isRefused) {
        const LLayerItem& item = scene.item("there");
        EXPECT_EQ(item.source, &scene.a);
        EXPECT_EQ(item.keySource, isRefused ? nullptr : &scene.d);
        EXPECT_EQ(item.isDSK, !isRefused);
        EXPECT_EQ(scene.sinks(),
                  isRefused ? (MixerScene::Counts{2, 1, 0, 0}) : (MixerScene::Counts{2, 1, 0, 1}));
    };
    EXPECT_GT(refuseEachOf<MixerScene>(change, check), 1);
}

TEST(RefusedMixerChange, AnImageInPlaceOfALayerIsThereOrTheLayer) {
    test::refusesFFmpeg = false; // decoders do not all bear it
    const test::CapturedStream errors(test::CapturedStream::Stream::error);
    const std::string path = test::mediaPath("still.png");
    const auto change = [&](MixerScene& scene) {
        scene.compositor->addImage("key", path, 9, 0.0F, 0.0F, 255, -1.0F, -1.0F, 0.0F, 0.0F, 0.0F,
                                   0.0F, 0, newText);
    };
    const auto check = [](MixerScene& scene, bool isRefused) {
        const LLayerItem& item = scene.item("key");
        EXPECT_EQ(item.source, isRefused ? &scene.a : nullptr);
        EXPECT_EQ(item.keySource, isRefused ? &scene.b : nullptr);
        EXPECT_EQ(item.zIndex, isRefused ? 2 : 9);
        EXPECT_EQ(item.borderColor, isRefused ? "#FFFFFF" : newText);
        EXPECT_EQ(scene.sinks(),
                  isRefused ? (MixerScene::Counts{2, 1, 0, 0}) : (MixerScene::Counts{1, 0, 0, 0}));
    };
    EXPECT_GT(refuseEachOf<MixerScene>(change, check), 4);
    test::refusesFFmpeg = true;
}

TEST(RefusedMixerChange, ALayerGoesWithBothItsSourcesOrStaysWithThem) {
    const auto change = [](MixerScene& scene) { scene.compositor->removeLayer("key"); };
    const auto check = [](MixerScene& scene, bool isRefused) {
        const LLayerItem* const item = scene.compositor->getLayer("key");
        ASSERT_EQ(item != nullptr, isRefused);
        if (item != nullptr) {
            EXPECT_EQ(item->source, &scene.a);
            EXPECT_EQ(item->keySource, &scene.b);
        }
        EXPECT_EQ(scene.sinks(),
                  isRefused ? (MixerScene::Counts{2, 1, 0, 0}) : (MixerScene::Counts{1, 0, 0, 0}));
    };
    refuseEachOf<MixerScene>(change, check); // may need none at all
}

// What is not taken with its picture would be late for good.
class SoundOfAMixerWithoutMemory : public testing::Test {
protected:
    // Half a second of sound that is due; how much of it still waits.
    void say(const char* layer) {
        source.distributeAudioFrame(test::plainSound(24000, 1000, 1000).get());
        EXPECT_GT(waiting(layer), 9600U);
    }
    std::size_t waiting(const char* layer) {
        std::size_t pairs = 0;
        mixer.editLayer(
            layer, [&](LLayerItem& item) { pairs = item.state->picture.sink->sound().pairs(); });
        return pairs;
    }

    WatchedSource source;
    CountingSink sink;
    LMixer mixer{LMixer::Renderer::processor};
};

TEST_F(SoundOfAMixerWithoutMemory, IsTakenOfALayerThatThereIsNoListFor) {
    mixer.setVideoFormat(test::customVideo(64, 48, 50));
    mixer.LObject::addSink(&sink);
    ASSERT_TRUE(sink.getsSounds());
    {
        const test::Spared here;
        test::failEvery = 1;
        mixer.addLayer("a", &source, 1, 0.0F, 0.0F, 255, 64.0F, 48.0F, true, 100);
        say("a");
        EXPECT_TRUE(test::waitUntil([&] { return waiting("a") == 0; }));
    }
    mixer.LObject::removeSink(&sink);
}

TEST_F(SoundOfAMixerWithoutMemory, IsTakenAtARateThatThereIsNoRoomFor) {
    mixer.setVideoFormat(test::customVideo(64, 48, 100));
    mixer.addLayer("a", &source, 1, 0.0F, 0.0F, 255, 64.0F, 48.0F, true, 100);
    mixer.LObject::addSink(&sink);
    ASSERT_TRUE(sink.getsSounds());
    {
        const test::Spared here;
        test::failEvery = 1;
        mixer.setVideoFormat(test::customVideo(64, 48, 10)); // longer blocks than ever before
        say("a");
        EXPECT_TRUE(test::waitUntil([&] { return waiting("a") == 0; }));
    }
    mixer.LObject::removeSink(&sink);
}

// --------------------------------------------------------------------------------------- switcher

// The program shows the first source, the preview the second, with two sinks that follow it.
struct SwitcherScene : Scene<LSwitcher> {
    SwitcherScene() {
        compositor->setProgram(&a);
        compositor->setPreview(&b);
        for (CountingSink& each : followers)
            compositor->getPreviewObject()->addSink(&each);
    }
    ~SwitcherScene() {
        if (compositor) compositor.reset();
    }
    CountingSink followers[2];
};

TEST(RefusedSwitcherChange, ThePreviewAndAllThatFollowItHaveTheOldSourceOrTheNewOne) {
    const auto change = [](SwitcherScene& scene) { scene.compositor->setPreview(&scene.c); };
    int refusedOfFollowers = 0;
    const auto check = [&](SwitcherScene& scene, bool isRefused) {
        EXPECT_EQ(scene.compositor->getCurrentPreviewSource(), isRefused ? &scene.b : &scene.c);
        EXPECT_EQ(scene.sinks(), isRefused ? (SwitcherScene::Counts{1, 3, 0, 0})
                                           : (SwitcherScene::Counts{1, 0, 3, 0}));
        if (isRefused && scene.c.added > 1) ++refusedOfFollowers;
        scene.compositor->setPreview(&scene.c);
        EXPECT_EQ(scene.sinks(), (SwitcherScene::Counts{1, 0, 3, 0}));
    };
    EXPECT_GT(refuseEachOf<SwitcherScene>(change, check), 3);
    EXPECT_GT(refusedOfFollowers, 1);
}

TEST(RefusedSwitcherChange, TheProgramHasTheOldSourceOrTheNewOne) {
    const auto change = [](SwitcherScene& scene) { scene.compositor->setProgram(&scene.c); };
    const auto check = [](SwitcherScene& scene, bool isRefused) {
        EXPECT_EQ(scene.sinks(), isRefused ? (SwitcherScene::Counts{1, 3, 0, 0})
                                           : (SwitcherScene::Counts{0, 3, 1, 0}));
        scene.compositor->setCutTransition();
        EXPECT_EQ(scene.compositor->getCurrentPreviewSource(), isRefused ? &scene.a : &scene.c);
    };
    EXPECT_GT(refuseEachOf<SwitcherScene>(change, check), 2);
}

// What is on air is cut whatever there is for those who watch the preview.
TEST(RefusedSwitcherChange, ACutIsMadeAndAllThatFollowThePreviewHaveOneSource) {
    int stayed = 0;
    const auto change = [](SwitcherScene& scene) { scene.compositor->setCutTransition(); };
    const auto check = [&](SwitcherScene& scene, bool isRefused) {
        EXPECT_FALSE(isRefused);
        EXPECT_EQ(scene.compositor->getCurrentPreviewSource(), &scene.a);
        const bool hasStayed = scene.b.sinkCount() == 3;
        if (hasStayed) ++stayed;
        EXPECT_EQ(scene.sinks(), hasStayed ? (SwitcherScene::Counts{1, 3, 0, 0})
                                           : (SwitcherScene::Counts{3, 1, 0, 0}));
        scene.compositor->setTransition(0.1F); // the next change takes them along
        EXPECT_EQ(scene.sinks(), (SwitcherScene::Counts{3, 1, 0, 0}));
    };
    EXPECT_GT(refuseEachOf<SwitcherScene>(change, check), 1);
    EXPECT_GT(stayed, 1);
}

// They may have stayed behind with a source that the host now takes away and ends.
TEST(RefusedSwitcherChange, ThoseThatStayedBehindLeaveASourceThatGoes) {
    const auto change = [](SwitcherScene& scene) { scene.compositor->setCutTransition(); };
    const auto check = [](SwitcherScene& scene, bool /*isRefused*/) {
        test::failAfter = 0;
        scene.compositor->removeSource(&scene.b);
        test::failAfter = -1;
        EXPECT_EQ(scene.b.sinkCount(), 0U);
        EXPECT_TRUE(scene.a.sinkCount() == 1 || scene.a.sinkCount() == 3);
    };
    EXPECT_GT(refuseEachOf<SwitcherScene>(change, check), 1);
}

TEST(RefusedSwitcherChange, TakingASourceAwayNeedsNone) {
    const auto change = [](SwitcherScene& scene) {
        scene.compositor->setExtAudioObject(nullptr);
        scene.compositor->removeSource(&scene.a);
        scene.compositor->removeSource(&scene.b);
    };
    const auto check = [](SwitcherScene& scene, bool isRefused) {
        EXPECT_FALSE(isRefused);
        EXPECT_EQ(scene.sinks(), (SwitcherScene::Counts{0, 0, 0, 0}));
    };
    EXPECT_EQ(refuseEachOf<SwitcherScene>(change, check), 0);
}

TEST(RefusedSwitcherChange, TheExternalSoundIsOfTheOldSourceOrOfTheNewOne) {
    const auto change = [](SwitcherScene& scene) { scene.compositor->setExtAudioObject(&scene.d); };
    const auto check = [](SwitcherScene& scene, bool isRefused) {
        EXPECT_EQ(scene.sinks(), isRefused ? (SwitcherScene::Counts{1, 3, 1, 0})
                                           : (SwitcherScene::Counts{1, 3, 0, 1}));
        scene.compositor->setExtAudioObject(nullptr); // and it knows which
        EXPECT_EQ(scene.sinks(), (SwitcherScene::Counts{1, 3, 0, 0}));
    };
    struct WithExternalSound : SwitcherScene {
        WithExternalSound() { compositor->setExtAudioObject(&c); }
    };
    EXPECT_GT(refuseEachOf<WithExternalSound>(change, check), 0);
    const auto checkFirst = [](SwitcherScene& scene, bool isRefused) {
        EXPECT_EQ(scene.d.sinkCount(), isRefused ? 0U : 1U);
        scene.compositor->setExtAudioObject(&scene.d);
        EXPECT_EQ(scene.d.sinkCount(), 1U);
        EXPECT_EQ(scene.d.removed, isRefused ? 0 : 1);
    };
    EXPECT_GT(refuseEachOf<SwitcherScene>(change, checkFirst), 1);
}

// Titles that tell how many look at them.
class Titles : public LCharacter {
public:
    std::size_t sinkCount() {
        const std::lock_guard lock(sinksMutex);
        return sinks.size();
    }
};

TEST(RefusedSwitcherChange, TitlesLieOnTopOrNot) {
    struct WithTitles : SwitcherScene {
        ~WithTitles() { EXPECT_EQ(titles.sinkCount(), 0U); }
        Titles titles;
    };
    const auto change = [](WithTitles& scene) { scene.compositor->addCG(&scene.titles); };
    const auto check = [](WithTitles& scene, bool isRefused) {
        EXPECT_EQ(scene.compositor->getCGCount(), isRefused ? 0 : 1);
        EXPECT_EQ(scene.titles.sinkCount(), isRefused ? 0U : 1U);
        scene.compositor->removeCG(&scene.titles);
        EXPECT_EQ(scene.titles.sinkCount(), 0U);
    };
    EXPECT_GT(refuseEachOf<WithTitles>(change, check), 2);
}

// What shows of the stinger is what its sink in the switcher has got.
TEST(RefusedSwitcherChange, AStingerThatWasRefusedIsSeenTheNextTime) {
    const test::CapturedStream errors(test::CapturedStream::Stream::error);
    const std::string path = test::mediaPath("still.png");
    const auto change = [&](SwitcherScene& scene) {
        scene.compositor->setVideoFormat(test::customVideo(64, 48, 50));
        scene.compositor->setStinger(path);
    };
    const auto check = [&](SwitcherScene& scene, bool /*isRefused*/) {
        LSwitcher& switcher = *scene.compositor;
        switcher.setStinger(path);
        const test::Levels plain{100, 128, 128};
        const quol::FramePtr picture = test::plainPicture(64, 48, plain);
        test::CollectingSink sink(1);
        switcher.LObject::addSink(&sink);
        EXPECT_TRUE(test::waitUntil([&] {
            scene.a.distributeVideoFrame(picture.get());
            scene.b.distributeVideoFrame(picture.get());
            switcher.triggerStinger(); // nothing until it is loaded
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            const quol::FramePtr seen = sink.latestPicture();
            return seen && !(test::levelsAt(seen.get(), 32, 24) == plain);
        }));
        switcher.LObject::removeSink(&sink);
    };
    EXPECT_GT(refuseEachOf<SwitcherScene>(change, check), 4);
}

// -------------------------------------------------------------------------------------- multiview

struct WallScene : Scene<LMultiview> {
    WallScene() : Scene(LMultiview::Renderer::processor) {
        compositor->setupGrid(MultiviewOrientation::gridBelow, 2);
        compositor->setPGMSource(&a);
        compositor->setGridPos(&b, 1, 1, 0, oldText);
        compositor->setGridPos(&b, 1, 2, 0, oldText);
        before = tiles();
    }
    // Every tile with its label and its place.
    std::vector<std::string> tiles() {
        std::vector<std::string> told;
        for (const LMultiview::LayoutInfo& tile : compositor->getLayoutInfo())
            told.push_back(tile.key + " " + tile.name + " " + std::to_string(tile.x) + " " +
                           std::to_string(tile.y) + " " + std::to_string(tile.w));
        return told;
    }
    std::vector<std::string> before;
};

TEST(RefusedWallChange, ALargeWindowForwardsTheOldSourceOrTheNewOne) {
    const auto change = [](WallScene& scene) { scene.compositor->setPGMSource(&scene.c); };
    const auto check = [](WallScene& scene, bool isRefused) {
        EXPECT_EQ(scene.sinks(),
                  isRefused ? (WallScene::Counts{1, 2, 0, 0}) : (WallScene::Counts{0, 2, 1, 0}));
        CountingSink sink;
        scene.compositor->LObject::addSink(&sink);
        const quol::FramePtr sound = test::plainSound(480, 1000, 1000);
        (isRefused ? scene.c : scene.a).distributeAudioFrame(sound.get());
        EXPECT_EQ(sink.sounds, 0);
        (isRefused ? scene.a : scene.c).distributeAudioFrame(sound.get());
        EXPECT_EQ(sink.sounds, 1);
        scene.compositor->LObject::removeSink(&sink);
    };
    EXPECT_GT(refuseEachOf<WallScene>(change, check), 2);
}

TEST(RefusedWallChange, ATileIsTheOldOneOrTheNewOne) {
    const auto change = [](WallScene& scene) {
        scene.compositor->setGridPos(&scene.c, 1, 1, 1, newText);
    };
    const auto check = [](WallScene& scene, bool isRefused) {
        EXPECT_EQ(scene.tiles() == scene.before, isRefused);
        EXPECT_EQ(scene.tiles().at(0).find(isRefused ? oldText : newText), 4U);
        EXPECT_EQ(scene.sinks(),
                  isRefused ? (WallScene::Counts{1, 2, 0, 0}) : (WallScene::Counts{1, 1, 1, 0}));
    };
    EXPECT_GT(refuseEachOf<WallScene>(change, check), 2);
}

TEST(RefusedWallChange, ATileThatWasNotThereIsThereOrNot) {
    const auto change = [](WallScene& scene) {
        scene.compositor->setGridPos(&scene.c, 2, 2, 0, newText);
    };
    const auto check = [](WallScene& scene, bool isRefused) {
        EXPECT_EQ(scene.tiles() == scene.before, isRefused);
        EXPECT_EQ(scene.c.sinkCount(), isRefused ? 0U : 1U);
    };
    EXPECT_GT(refuseEachOf<WallScene>(change, check), 3);
}

TEST(RefusedWallChange, AGridIsTheOldOneOrTheNewOne) {
    const auto change = [](WallScene& scene) {
        scene.compositor->setupGrid(MultiviewOrientation::gridLeft, 3);
    };
    const auto check = [](WallScene& scene, bool isRefused) {
        EXPECT_EQ(scene.tiles() == scene.before, isRefused);
        EXPECT_EQ(scene.tiles().size(), isRefused ? 4U : 2U);
        EXPECT_EQ(scene.sinks(),
                  isRefused ? (WallScene::Counts{1, 2, 0, 0}) : (WallScene::Counts{1, 0, 0, 0}));
    };
    EXPECT_GT(refuseEachOf<WallScene>(change, check), 0);
    struct EmptyWall : Scene<LMultiview> {
        EmptyWall() : Scene(LMultiview::Renderer::processor) {}
    };
    const auto setUp = [](EmptyWall& scene) {
        scene.compositor->setupGrid(MultiviewOrientation::gridLeft, 3);
    };
    const auto checkFirst = [](EmptyWall& scene, bool isRefused) {
        EXPECT_EQ(scene.compositor->getLayoutInfo().size(), isRefused ? 0U : 2U);
    };
    EXPECT_GT(refuseEachOf<EmptyWall>(setUp, checkFirst), 3);
}

// ------------------------------------------------------------------------------------ audio mixer

struct SoundScene : Scene<LAudioMixer> {
    SoundScene() { compositor->addChannel(oldText, &a); }
};

TEST(RefusedAudioMixerChange, AChannelHasTheOldSourceOrTheNewOne) {
    const auto change = [](SoundScene& scene) { scene.compositor->addChannel(oldText, &scene.b); };
    const auto check = [](SoundScene& scene, bool isRefused) {
        EXPECT_EQ(scene.sinks(),
                  isRefused ? (SoundScene::Counts{1, 0, 0, 0}) : (SoundScene::Counts{0, 1, 0, 0}));
        scene.compositor->removeChannel(oldText);
        EXPECT_EQ(scene.sinks(), SoundScene::Counts(4, 0));
    };
    EXPECT_GT(refuseEachOf<SoundScene>(change, check), 2);
}

} // namespace

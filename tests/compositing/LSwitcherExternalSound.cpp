// The sound that a switcher takes from elsewhere instead of its layers'.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "quolsdk/LSwitcher.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/FilePlayer.h"
#include "support/PlainFrames.h"
#include "support/RefusingSource.h"
#include "support/RunningMixer.h"
#include "support/SteppedSwitcher.h"

namespace {

using test::Level;
using test::PulledSource;
using test::silence;
using test::Speaker;
using test::SteppedSwitcher;
using test::WatchedSource;

constexpr int block = test::steppedBlock;

// A switcher with both layers and the external source in use; the layers are at full scale, so that
// a trace of them would be heard.
struct ExternalScene {
    Speaker a;
    Speaker b;
    Speaker outside;
    SteppedSwitcher stepped;

    ExternalScene() {
        stepped.switcher.setProgram(&a);
        stepped.switcher.setPreview(&b);
        stepped.switcher.setPrevAudioGain(100);
        stepped.switcher.setExtAudioObject(&outside);
    }

    // External sound on; only what comes from now on is heard.
    void turnOn() {
        stepped.switcher.setExtAudio(true);
        a.sayLong({16384, 16384});
        b.sayLong({8192, 8192});
    }

    // External sound on or off; there waits some of all three from now on, for several ticks.
    void prepare(bool isOn) {
        stepped.switcher.setExtAudio(isOn);
        a.sayLong({1000, 1000});
        b.sayLong({500, 500});
        outside.say(10 * block, {3000, 3000}, 0.0);
    }
};

} // namespace

TEST(LSwitcherSound, ExternalSoundIsHeardInsteadOfTheLayers) {
    ExternalScene scene;
    SteppedSwitcher& stepped = scene.stepped;
    scene.turnOn();
    EXPECT_EQ(stepped.level(), silence);
    scene.outside.say(2 * block, {1000, -2000}, 0.0);
    EXPECT_EQ(stepped.level(), (Level{1000, -2000}));
    for (const float position : {0.3F, 0.7F}) {
        stepped.switcher.setTransition(position);
        EXPECT_EQ(stepped.level(), position < 0.5F ? (Level{1000, -2000}) : silence);
    }
    scene.outside.count(block);
    const std::vector<std::int16_t> samples = stepped.samples();
    ASSERT_EQ(samples.size(), 2U * block);
    for (int i = 0; i < block; ++i)
        ASSERT_EQ(samples.at(static_cast<std::size_t>(i) * 2), i + 1) << "as it is at this rate";
    stepped.switcher.setExtAudio(false);
    stepped.switcher.setTransition(0.0F);
    scene.a.sayLong({16384, 16384});
    scene.outside.say(block, {1, 1}, 0.0);
    EXPECT_EQ(stepped.level(), (Level{16384, 16384}));
}

TEST(LSwitcherSound, WithExternalSoundOnlyThePreviewsMeterMoves) {
    ExternalScene scene;
    SteppedSwitcher& stepped = scene.stepped;
    scene.turnOn();
    scene.outside.say(3 * block, {4096, 4096}, 0.0);
    ASSERT_NE(stepped.tick(), nullptr);
    EXPECT_EQ(stepped.stats().peakA, 0.0F);
    EXPECT_EQ(stepped.stats().peakB, 0.25F);
    EXPECT_EQ(stepped.stats().masterPeak, 0.125F);
    stepped.switcher.setTransition(0.5F);
    ASSERT_NE(stepped.tick(), nullptr);
    EXPECT_EQ(stepped.stats().peakA, 0.5F);
    EXPECT_EQ(stepped.stats().peakB, 0.0F);
    EXPECT_EQ(stepped.stats().masterPeak, 0.125F);
}

TEST(LSwitcherSound, TheLayersSoundIsUsedUpBehindTheExternal) {
    ExternalScene scene;
    SteppedSwitcher& stepped = scene.stepped;
    stepped.switcher.setExtAudio(true);
    scene.a.sayLong({1, 1});
    ASSERT_NE(stepped.tick(), nullptr);
    const double before = stepped.stats().audioDelay;
    ASSERT_NE(stepped.tick(), nullptr);
    EXPECT_DOUBLE_EQ(stepped.stats().audioDelay, before - 20.0);
}

TEST(LSwitcherSound, ExternalSoundIsTakenAtItsOwnRateAndStretchedToTheBlock) {
    struct Case {
        int rate;
        double fps;
        int pairs;    // of the block
        int external; // pairs taken
    };
    for (const Case& each :
         {Case{44100, 50.0, 882, 960}, Case{96000, 50.0, 1920, 960}, Case{44100, 29.97, 1471, 1601},
          Case{8000, 25.0, 320, 1920}, Case{48000, 25.0, 1920, 1920}}) {
        Speaker program;
        Speaker outside;
        SteppedSwitcher stepped(each.fps);
        stepped.setRate(each.rate);
        stepped.switcher.setProgram(&program);
        program.show(1000.0);
        stepped.switcher.setExtAudio(true);
        stepped.switcher.setExtAudioObject(&outside);
        outside.count(2 * each.external);
        for (int first : {1, 1 + each.external}) {
            const std::vector<std::int16_t> heard = stepped.samples();
            ASSERT_EQ(heard.size(), static_cast<std::size_t>(each.pairs) * 2) << each.rate;
            for (std::size_t i = 0; i < heard.size(); ++i) {
                const auto from =
                    static_cast<int>(static_cast<double>(i) * each.external / each.pairs);
                const int value = first + from / 2;
                ASSERT_EQ(heard[i], from % 2 == 0 ? value : -value) << each.rate << " at " << i;
            }
        }
        EXPECT_EQ(stepped.level(), silence);
    }
}

TEST(LSwitcherSound, ExternalSoundIsDueByTheProgramsPicture) {
    ExternalScene scene;
    SteppedSwitcher& stepped = scene.stepped;
    stepped.switcher.setExtAudio(true);
    scene.a.show(10.0);
    scene.b.show(20.0);
    scene.outside.say(block, {1, 1}, 10.049);
    scene.outside.say(block, {2, 2}, 10.051);
    scene.outside.say(block, {3, 3}, 20.049);
    scene.outside.say(block, {4, 4}, 20.051);
    EXPECT_EQ(stepped.level(), (Level{1, 1}));
    EXPECT_EQ(stepped.level(), silence);
    stepped.switcher.setCutTransition();
    EXPECT_EQ(stepped.level(), (Level{2, 2}));
    EXPECT_EQ(stepped.level(), (Level{3, 3}));
    EXPECT_EQ(stepped.level(), silence);
    stepped.switcher.setProgram(nullptr);
    scene.outside.say(block, {5, 5}, 0.0);
    EXPECT_EQ(stepped.level(), silence) << "behind what is not due";
    stepped.switcher.flushExtAudio();
    scene.outside.say(block, {6, 6}, 0.04);
    EXPECT_EQ(stepped.level(), (Level{6, 6})) << "without a program by a time of zero";
}

TEST(LSwitcherSound, ExternalSoundHasTheMasterGainOnlyAndWaitsWhileMuted) {
    ExternalScene scene;
    SteppedSwitcher& stepped = scene.stepped;
    scene.turnOn();
    stepped.switcher.setProgAudioGain(0);
    stepped.switcher.setPrevAudioGain(0);
    scene.outside.say(4 * block, {20000, -1001}, 0.0);
    stepped.switcher.setMasterGain(50);
    EXPECT_EQ(stepped.level(), (Level{10000, -500}));
    stepped.switcher.setMasterGain(200);
    EXPECT_EQ(stepped.level(), (Level{32767, -2002}));
    stepped.switcher.setMasterMute(true);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(stepped.level(), silence);
    stepped.switcher.setMasterMute(false);
    EXPECT_EQ(stepped.level(), (Level{32767, -2002}));
    EXPECT_EQ(stepped.level(), (Level{32767, -2002}));
    EXPECT_EQ(stepped.level(), silence);
}

TEST(LSwitcherSound, ExternalSoundWaitsWhileItIsOff) {
    ExternalScene scene;
    scene.a.show(1000.0);
    scene.outside.say(block, {1000, 1000}, 0.0);
    EXPECT_EQ(scene.stepped.level(), silence);
    scene.stepped.switcher.setExtAudio(true); // what waits is of long ago
    EXPECT_EQ(scene.stepped.level(), silence);
}

TEST(LSwitcherSound, SettingExternalSoundToWhatItIsDropsNothing) {
    for (const bool isOn : {false, true}) {
        ExternalScene scene;
        SteppedSwitcher& stepped = scene.stepped;
        scene.prepare(isOn);
        ASSERT_NE(stepped.tick(), nullptr);
        const double before = stepped.stats().audioDelay;
        stepped.switcher.setExtAudio(isOn);
        EXPECT_EQ(stepped.level(), isOn ? (Level{3000, 3000}) : (Level{1500, 1500}));
        EXPECT_DOUBLE_EQ(stepped.stats().audioDelay, before - 20.0);
        stepped.switcher.setProps("extAudio", isOn ? "1" : "0");
        EXPECT_EQ(stepped.level(), isOn ? (Level{3000, 3000}) : (Level{1500, 1500}));
        EXPECT_DOUBLE_EQ(stepped.stats().audioDelay, before - 40.0);
    }
}

TEST(LSwitcherSound, SwitchingToExternalSoundAndBackDropsAllThatWaits) {
    for (const bool isOn : {false, true}) {
        ExternalScene scene;
        SteppedSwitcher& stepped = scene.stepped;
        scene.prepare(isOn);
        EXPECT_EQ(stepped.level(), isOn ? (Level{3000, 3000}) : (Level{1500, 1500}));
        stepped.switcher.setProps("extAudio", isOn ? "false" : "true");
        EXPECT_EQ(stepped.level(), silence);
        EXPECT_EQ(stepped.stats().audioDelay, 0.0);
        EXPECT_EQ(stepped.stats().peakA, 0.0F);
        EXPECT_EQ(stepped.stats().peakB, 0.0F);
        stepped.switcher.setExtAudio(true);
        EXPECT_EQ(stepped.level(), silence) << "nothing of the external source either";
        // The pictures stay where they are.
        EXPECT_NE(stepped.picture, nullptr);
    }
}

TEST(LSwitcherSound, FlushingTheExternalSoundDropsThatAlone) {
    ExternalScene scene;
    SteppedSwitcher& stepped = scene.stepped;
    stepped.switcher.flushExtAudio();
    stepped.switcher.setExtAudio(true);
    scene.b.sayLong({8192, 8192});
    scene.outside.say(10 * block, {3000, 3000}, 0.0);
    EXPECT_EQ(stepped.level(), (Level{3000, 3000}));
    stepped.switcher.flushExtAudio();
    EXPECT_EQ(stepped.level(), silence);
    EXPECT_EQ(stepped.stats().peakB, 0.25F);
    scene.outside.say(block, {4000, 4000}, 0.0);
    EXPECT_EQ(stepped.level(), (Level{4000, 4000}));
}

TEST(LSwitcherSound, TheExternalSourceIsReplacedAndTakenAway) {
    PulledSource other;
    ExternalScene scene;
    SteppedSwitcher& stepped = scene.stepped;
    stepped.switcher.setExtAudio(true);
    EXPECT_EQ(scene.outside.sinkCount(), 1U);
    stepped.switcher.setExtAudioObject(&scene.outside);
    EXPECT_EQ(scene.outside.sinkCount(), 1U);
    stepped.switcher.setExtAudioObject(&other);
    EXPECT_EQ(scene.outside.sinkCount(), 0U);
    EXPECT_EQ(other.sinkCount(), 1U);
    EXPECT_EQ(other.consumers, 0) << "of its pictures nothing is wanted";
    other.distributeAudioFrame(test::plainSound(block, 700, 700).get());
    scene.outside.say(block, {1000, 1000}, 0.0);
    EXPECT_EQ(stepped.level(), (Level{700, 700}));
    EXPECT_EQ(other.renders, 0);
    stepped.switcher.setExtAudioObject(nullptr);
    EXPECT_EQ(other.sinkCount(), 0U);
    stepped.switcher.setExtAudioObject(nullptr);
    EXPECT_EQ(stepped.level(), silence);
    stepped.switcher.setExtAudioObject(&stepped.switcher); // never its own
    EXPECT_EQ(stepped.level(), silence);
    EXPECT_EQ(stepped.level(), silence);
    stepped.switcher.setExtAudioObject(&scene.outside);
    scene.outside.say(block, {1000, 1000}, 0.0);
    EXPECT_EQ(stepped.level(), (Level{1000, 1000}));
}

TEST(LSwitcherSound, ExternalSoundThatWasNeverGivenIsSilence) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.flushExtAudio();
    stepped.switcher.setProgram(&source);
    stepped.switcher.setExtAudio(true);
    source.sayLong({1000, 1000});
    EXPECT_EQ(stepped.level(), silence);
}

TEST(LSwitcherSound, ASwitcherThatGoesLetsGoOfItsExternalSource) {
    WatchedSource outside;
    {
        LSwitcher switcher;
        switcher.setExtAudioObject(&outside);
        EXPECT_EQ(outside.sinkCount(), 1U);
    }
    EXPECT_EQ(outside.sinkCount(), 0U);
}

TEST(LSwitcherSound, AnExternalSourceThatCouldNotBeHadIsNotLeftEither) {
    test::RefusingSource source;
    {
        LSwitcher switcher;
        EXPECT_THROW(switcher.setExtAudioObject(&source), std::bad_alloc);
    }
    EXPECT_EQ(source.left, 0);
}

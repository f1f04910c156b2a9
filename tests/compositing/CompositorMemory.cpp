// The compositors when memory is short: a tick may be lost, the next one comes, and what a host
// could not have can be had again.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "quolsdk/LAudioMixer.h"
#include "quolsdk/LMixer.h"
#include "quolsdk/LMultiview.h"
#include "quolsdk/LStinger.h"
#include "quolsdk/LSwitcher.h"
#include "support/CapturedStream.h"
#include "support/Feed.h"
#include "support/FilePlayer.h"
#include "support/MemoryShortage.h"

namespace {

using test::CapturedStream;
using test::CountingSink;
using test::Feed;
using test::refuseEach;
using test::refuseInTurn;
using test::survivesDrought;

constexpr int rounds = 30; // shortages, of which each hits another place of a tick

videoFormatProps quickFormat() {
    return test::customVideo(64, 48, 200);
}

// A sink on an object for as long as it stands.
template <typename Object>
class Watched {
public:
    explicit Watched(Object& object) : object_(object) { object_.LObject::addSink(&sink); }
    ~Watched() { object_.LObject::removeSink(&sink); }
    Watched(const Watched&) = delete;
    Watched& operator=(const Watched&) = delete;

    bool goesOn() const { return sink.getsPictures() && sink.getsSounds(); }
    CountingSink sink;

private:
    Object& object_;
};

class CompositorMemory : public testing::Test {
protected:
    Feed a{1};
    Feed b{100};
};

using LMixerMemory = CompositorMemory;
using LSwitcherMemory = CompositorMemory;
using LMultiviewMemory = CompositorMemory;
using LAudioMixerMemory = CompositorMemory;

// ------------------------------------------------------------------------------------------ mixer

TEST_F(LMixerMemory, ATickShortOfItIsLostAndTheNextComes) {
    LMixer mixer(LMixer::Renderer::processor);
    mixer.setVideoFormat(quickFormat());
    mixer.addLayer("a", &a, 1, 0, 0, 255, 64, 48, true, 100);
    mixer.addLayer("b", &b, 2, 8, 8, 128, 20, 20, true, 100);
    mixer.addDSK("key", &a, &b, 3, 4, 4, 255, 30, 30);
    const Watched watched(mixer);
    ASSERT_TRUE(watched.goesOn());
    EXPECT_EQ(refuseInTurn(rounds, [&] { return watched.goesOn(); }), rounds);
    EXPECT_TRUE(survivesDrought([&] { return watched.goesOn(); }));
}

TEST_F(LMixerMemory, AConsumerThatPullsIsAnsweredBehindIt) {
    LMixer mixer(LMixer::Renderer::processor);
    mixer.setVideoFormat(quickFormat());
    mixer.addLayer("a", &a, 1, 0, 0, 128, 40, 30, true, 100);
    std::atomic<bool> isEnding{false};
    std::atomic<int> answers{0};
    mixer.addPullConsumer();
    std::thread consumer([&] {
        test::isSpared = true;
        while (!isEnding) {
            const quol::FramePtr picture(mixer.renderVideoFrame());
            if (picture) ++answers;
        }
    });
    const auto goesOn = [&] {
        const int before = answers;
        return test::waitUntil([&] { return answers >= before + 2; });
    };
    EXPECT_EQ(refuseInTurn(rounds, goesOn), rounds);
    isEnding = true;
    consumer.join();
    mixer.removePullConsumer();
}

TEST_F(LMixerMemory, LayersThatCouldNotBeHadCanBeHadAgain) {
    LMixer mixer(LMixer::Renderer::processor);
    mixer.setVideoFormat(quickFormat());
    const Watched watched(mixer);
    const std::string longName(100, 'n');
    EXPECT_GT(refuseEach(
                  [&] {
                      mixer.addLayer(longName, &a);
                      mixer.addDSK("key", &a, &b);
                      mixer.addLayer(longName, &b);
                      mixer.addImage("key", test::mediaPath("still.png"));
                      mixer.removeLayer(longName);
                  },
                  [&] {
                      mixer.removeLayer(longName);
                      mixer.removeLayer("key");
                      ASSERT_EQ(a.sinkCount(), 0U);
                      ASSERT_EQ(b.sinkCount(), 0U);
                  }),
              10);
    mixer.addLayer(longName, &a);
    EXPECT_EQ(a.sinkCount(), 1U);
    EXPECT_TRUE(watched.goesOn());
}

TEST_F(LMixerMemory, DestroyedWithoutAnyItLetsGoOfItsSources) {
    auto mixer = std::make_unique<LMixer>(LMixer::Renderer::processor);
    mixer->addLayer("a", &a);
    mixer->addDSK("key", &a, &b);
    ASSERT_EQ(a.sinkCount(), 2U);
    test::failEvery = 1;
    mixer.reset();
    test::failEvery = 0;
    EXPECT_EQ(a.sinkCount(), 0U);
    EXPECT_EQ(b.sinkCount(), 0U);
}

// --------------------------------------------------------------------------------------- switcher

TEST_F(LSwitcherMemory, ATickShortOfItIsLostAndTheNextComes) {
    LSwitcher switcher;
    switcher.setVideoFormat(quickFormat());
    switcher.setProps("timecode", "true");
    switcher.setProgram(&a);
    switcher.setPreview(&b);
    switcher.setExtAudioObject(&b);
    switcher.setTransitionType("wipe", "");
    switcher.setTransition(0.4F);
    const Watched watched(switcher);
    const Watched preview(*switcher.getPreviewObject());
    ASSERT_TRUE(watched.goesOn());
    ASSERT_TRUE(preview.goesOn());
    const auto goOn = [&] { return watched.goesOn() && preview.goesOn(); };
    EXPECT_EQ(refuseInTurn(rounds, goOn), rounds);
    switcher.setExtAudio(true);
    EXPECT_EQ(refuseInTurn(rounds / 4, goOn), rounds / 4);
    EXPECT_TRUE(survivesDrought(goOn));
}

TEST_F(LSwitcherMemory, AnAutomaticTransitionGetsToItsEnd) {
    LSwitcher switcher;
    switcher.setVideoFormat(quickFormat());
    switcher.setProgram(&a);
    switcher.setPreview(&b);
    CountingSink follower;
    switcher.getPreviewObject()->addSink(&follower);
    for (int i = 0; i < 20; ++i) {
        LObject* const before = switcher.getCurrentPreviewSource();
        switcher.setAutoTransition(40);
        {
            const test::Spared here;
            test::failEvery = 1 + i % 3;
            EXPECT_TRUE(test::waitUntil([&] {
                LSwitcher::SwitcherStats stats;
                test::withMemory([&] {
                    switcher.getStats(stats);
                    return 0;
                });
                return switcher.getCurrentPreviewSource() != before && stats.position < 0.5;
            })) << i;
        }
    }
    switcher.getPreviewObject()->removeSink(&follower);
}

TEST_F(LSwitcherMemory, SourcesThatCouldNotBeHadCanBeHadAgain) {
    LSwitcher switcher;
    switcher.setVideoFormat(quickFormat());
    const Watched watched(switcher);
    const auto takeAway = [&] {
        switcher.removeSource(&a);
        switcher.removeSource(&b);
        ASSERT_EQ(a.sinkCount(), 0U);
        ASSERT_EQ(b.sinkCount(), 0U);
    };
    EXPECT_GT(refuseEach(
                  [&] {
                      switcher.setProgram(&a);
                      switcher.setPreview(&b);
                      switcher.setExtAudioObject(&b);
                      switcher.setProgram(&b);
                      switcher.setPreview(&a);
                      switcher.setTransitionType(std::string(40, 't'), std::string(40, 'p'));
                  },
                  takeAway),
              5);
    switcher.setTransitionType("fade", "");
    switcher.setProgram(&a);
    EXPECT_TRUE(watched.goesOn());
}

TEST_F(LSwitcherMemory, DestroyedWithoutAnyItLetsGoOfItsSources) {
    auto switcher = std::make_unique<LSwitcher>();
    switcher->setProgram(&a);
    switcher->setPreview(&b);
    switcher->setExtAudioObject(&b);
    test::failEvery = 1;
    switcher.reset();
    test::failEvery = 0;
    EXPECT_EQ(a.sinkCount(), 0U);
    EXPECT_EQ(b.sinkCount(), 0U);
}

// -------------------------------------------------------------------------------------- multiview

TEST_F(LMultiviewMemory, ATickShortOfItIsLostAndTheNextComes) {
    LMultiview wall(LMultiview::Renderer::processor);
    wall.setVideoFormat(test::customVideo(192, 108, 200));
    wall.setupGrid(MultiviewOrientation::gridBelow, 2);
    wall.setPGMSource(&a);
    wall.setPVWSource(&b);
    wall.setGridPos(&a, 1, 1, 0, "a camera");
    wall.setGridPos(&b, 1, 2, 0, "another camera, with a name that is long");
    const Watched watched(wall);
    ASSERT_TRUE(watched.goesOn());
    EXPECT_EQ(refuseInTurn(rounds, [&] { return watched.goesOn(); }), rounds);
    EXPECT_TRUE(survivesDrought([&] { return watched.goesOn(); }));
}

TEST_F(LMultiviewMemory, TilesThatCouldNotBeHadCanBeHadAgain) {
    LMultiview wall(LMultiview::Renderer::processor);
    wall.setVideoFormat(test::customVideo(192, 108, 200));
    const Watched watched(wall);
    EXPECT_GT(refuseEach(
                  [&] {
                      wall.setupGrid(MultiviewOrientation::gridBelow, 2);
                      wall.setPGMSource(&a);
                      wall.setGridPos(&b, 1, 1, 0, std::string(40, 'n'));
                      wall.setGridPos(&a, 1, 1, 0, "a");
                      wall.setGridPGM(1, 2);
                      wall.getLayoutInfo();
                  },
                  [&] {
                      wall.setPGMSource(nullptr);
                      wall.removeGridPos(1, 1);
                      ASSERT_EQ(a.sinkCount(), 0U);
                      ASSERT_EQ(b.sinkCount(), 0U);
                  }),
              8);
    wall.setPGMSource(&a);
    EXPECT_TRUE(watched.goesOn());
}

// ------------------------------------------------------------------------- audio mixer and stinger

TEST_F(LAudioMixerMemory, ABlockShortOfItIsLostAndTheNextComes) {
    LAudioMixer mixer;
    mixer.addChannel("a", &a);
    mixer.setChannelMute("a", false);
    const Watched watched(mixer);
    ASSERT_TRUE(watched.sink.getsSounds());
    const auto goesOn = [&] { return watched.sink.getsSounds(); };
    EXPECT_GT(refuseInTurn(30, goesOn), 20);
    EXPECT_TRUE(survivesDrought(goesOn));
}

TEST_F(LAudioMixerMemory, ChannelsThatCouldNotBeHadCanBeHadAgain) {
    LAudioMixer mixer;
    const std::string name(40, 'n');
    EXPECT_GT(refuseEach(
                  [&] {
                      mixer.addChannel(name, &a);
                      mixer.addChannel(name, &b);
                  },
                  [&] {
                      mixer.removeChannel(name);
                      ASSERT_EQ(a.sinkCount(), 0U);
                      ASSERT_EQ(b.sinkCount(), 0U);
                  }),
              3);
    mixer.addChannel(name, &a);
    EXPECT_EQ(a.sinkCount(), 1U);
}

TEST(LStingerMemory, AClipForWhichThereIsNoneIsNoClipAndTheNextIsWhole) {
    const CapturedStream errors(CapturedStream::Stream::error);
    test::refusesFFmpeg = false; // decoders do not all bear it
    LStinger stinger;
    const std::string path = test::mediaPath("still.png");
    EXPECT_GT(refuseEach([&] { stinger.load(path, 64, 48, 25.0); }), 5);
    test::refusesFFmpeg = true;
    EXPECT_TRUE(stinger.load(path, 64, 48, 25.0));
    EXPECT_EQ(stinger.getFrameCount(), 1);
}

TEST(LStingerMemory, APictureForWhichThereIsNoneDoesNotEndThePlayback) {
    LStinger stinger;
    CountingSink sink;
    stinger.addSink(&sink);
    ASSERT_TRUE(stinger.load(test::mediaPath("mjpeg.avi"), 64, 48, 100.0));
    const int whole = stinger.getFrameCount();
    ASSERT_GT(whole, 8);
    stinger.playOnce();
    {
        const test::Spared here;
        const int before = test::failures;
        test::failEvery = 7; // a reference takes several
        EXPECT_TRUE(test::waitUntil([&] { return !stinger.isPlaying(); }));
        test::failEvery = 0;
        EXPECT_GT(test::failures, before + 1);
    }
    EXPECT_GT(sink.pictures, 0);
    EXPECT_LT(sink.pictures, whole);
    stinger.removeSink(&sink);
}

} // namespace

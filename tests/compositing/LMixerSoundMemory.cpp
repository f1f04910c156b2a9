// The sound of a layer mixer's layers where memory is short: none of it stays behind.
#include <gtest/gtest.h>

#include "compositing/LayerState.h"
#include "quolsdk/LMixer.h"
#include "support/FilePlayer.h"
#include "support/MemoryShortage.h"
#include "support/PlainFrames.h"
#include "support/RunningMixer.h"

namespace {

using test::CountingSink;
using test::WatchedSource;

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

} // namespace

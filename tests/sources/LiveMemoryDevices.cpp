// A live input of a device when memory is short: a picture may be lost, but nothing of the
// runtime's or the driver's, and the next one comes.
#include <gtest/gtest.h>

#include "quolsdk/LLive.h"
#include "support/DeckLinkStandin.h"
#include "support/FilePlayer.h"
#include "support/MemoryShortage.h"
#include "support/NdiStandin.h"

namespace {

using test::CountingSink;

// Has none for anything; counts what it was asked to take.
class PoorSink : public CountingSink {
public:
    void pushVideoFrame(AVFrame* frame) override {
        CountingSink::pushVideoFrame(frame);
        throw std::bad_alloc();
    }
    void pushAudioFrame(AVFrame* frame) override {
        CountingSink::pushAudioFrame(frame);
        throw std::bad_alloc();
    }
};

class LLiveDeviceMemory : public testing::Test {
protected:
    LLiveDeviceMemory() {
        ndi.reset();
        driver.reset();
    }

    test::NdiStandin& ndi = test::ndiStandin();
    test::DeckLinkStandin& driver = test::deckLinkStandin();
    CountingSink sink;
};

TEST_F(LLiveDeviceMemory, ANetworkSourcesFrameIsLostAndGivenBackAndTheNextComes) {
    driver.setCards({});
    ndi.setSources({"HOST (Camera 1)"});
    LLive live;
    live.DeviceSet(0);
    int count = 0;
    live.DeviceChannelGetCount(0, count);
    live.DeviceChannelSet(0);
    live.addSink(&sink);
    ASSERT_TRUE(live.Start());
    bool isConverted = false;
    const auto give = [&] {
        ndi.give(test::ndiPicture(64, 48, "UYVY"));
        ndi.give(test::ndiSound(480));
    };
    const auto goesOn = [&] {
        const int pictures = sink.pictures;
        const int sounds = sink.sounds;
        // Each other time in the runtime's own memory.
        isConverted = !isConverted;
        live.setVideoFormat(test::customVideo(64, 48, 25, isConverted ? 1 : 0));
        for (int i = 0; i < 6; ++i)
            give();
        return test::waitUntil([&] { return sink.pictures > pictures && sink.sounds > sounds; });
    };
    ASSERT_TRUE(goesOn());
    int refused = 0;
    for (int number = 0; number < 30; ++number) {
        const test::Spared here;
        const int before = test::failures;
        test::refuseOneOfThoseToCome(number);
        for (int i = 0; i < 6; ++i)
            give();
        ndi.wait([](const test::NdiState& state) { return state.queued == 0; });
        test::waitUntil([&] { return test::failures > before; }, std::chrono::milliseconds(200));
        test::failEvery = 0;
        refused += test::failures - before;
        EXPECT_TRUE(goesOn()) << number;
    }
    EXPECT_GT(refused, 10);
    live.Stop();
    live.removeSink(&sink);
    EXPECT_EQ(ndi.state().receivers.back().outstanding(), 0);
    EXPECT_TRUE(ndi.state().misuses.empty());
}

// On the caller's thread, and on the one that has to make a receiver. Nothing of the runtime's may
// be left behind by a start that came to nothing.
TEST_F(LLiveDeviceMemory, ANetworkSourcesStartComesToNothingAndTheNextOneRuns) {
    driver.setCards({});
    ndi.setSources({"HOST (Camera 1)"});
    LLive live;
    live.DeviceSet(0);
    int count = 0;
    live.DeviceChannelGetCount(0, count);
    live.DeviceChannelSet(0);
    live.addSink(&sink);
    const auto stop = [&] {
        live.Stop();
        for (const test::NdiReceiver& receiver : ndi.state().receivers)
            EXPECT_FALSE(receiver.alive);
        EXPECT_TRUE(ndi.state().misuses.empty());
    };
    EXPECT_GT(test::refuseEach([&] { live.Start(); }, stop), 1);

    int refused = 0;
    for (int number = 0; number < 8; ++number) {
        const test::Spared here;
        const int before = test::failures;
        const std::size_t receivers = ndi.state().receivers.size();
        test::refuseOneOfThoseToCome(number);
        EXPECT_TRUE(live.Start());
        EXPECT_TRUE(test::waitUntil([&] {
            int status = 1;
            live.statusGet(status);
            const test::NdiState now = ndi.state();
            return status == 0 ||
                   (now.receivers.size() > receivers && now.receivers.back().captures > 0);
        })) << number;
        test::failEvery = 0;
        refused += test::failures - before;
        stop();
    }
    EXPECT_GT(refused, 0);

    ASSERT_TRUE(live.Start());
    EXPECT_TRUE(test::waitUntil([&] {
        ndi.give(test::ndiPicture(64, 48, "UYVY"));
        return sink.pictures > 0;
    }));
    live.removeSink(&sink);
    live.Stop(); // its last pictures may still be held by somebody, and the receiver with them
    EXPECT_TRUE(ndi.state().misuses.empty());
}

TEST_F(LLiveDeviceMemory, ACardsPictureIsLostAndTheNextComes) {
    LLive live;
    live.addSink(&sink);
    int count = 0;
    live.DeviceGetCount(count);
    live.DeviceSet(0);
    live.DeviceChannelSet(0);
    live.DeviceFormatVideoSet(0);
    ASSERT_TRUE(live.Start());
    const auto picture = test::deckLinkPicture(64, 48, quol::decklink::bmdFormat8BitYUV);
    const test::DeckLinkSound sound{std::vector<std::int16_t>(1920)};
    const auto goesOn = [&] {
        const int pictures = sink.pictures;
        const int sounds = sink.sounds;
        driver.deliver(0, picture, sound);
        return test::waitUntil([&] { return sink.pictures > pictures && sink.sounds > sounds; });
    };
    ASSERT_TRUE(goesOn());
    // Pictures go out on the object's thread, sound on the driver's, through which nothing may be
    // thrown. Not by failing allocations: the stand-in does not bear them in its own.
    PoorSink poor;
    live.addSink(&poor);
    for (int i = 0; i < 5; ++i)
        EXPECT_NO_THROW(EXPECT_TRUE(goesOn()));
    EXPECT_TRUE(test::waitUntil([&] { return poor.pictures >= 5 && poor.sounds >= 5; }));
    live.removeSink(&poor);
    live.Stop();
    live.removeSink(&sink);
    EXPECT_TRUE(driver.state().misuses.empty());
}

} // namespace

// A live input with NDI sources.
#include <gtest/gtest.h>

#include <cstring>

#include "quolsdk/LLive.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/Conversion.h"
#include "support/DeckLinkStandin.h"
#include "support/Frames.h"
#include "support/NdiStandin.h"

namespace {

using test::CapturedStream;
using test::CollectingSink;
using test::ndiPicture;
using test::ndiSound;
using test::NdiState;

constexpr int ndiDevice = 0;

class OpenLive : public LLive {
public:
    float peakLeft() const { return audioPeakLeft; }
};

class LLiveNdi : public testing::Test {
protected:
    LLiveNdi() {
        runtime.reset();
        test::deckLinkStandin().reset();
        test::deckLinkStandin().setCards({});
        runtime.setSources({"HOST (Camera 1)", "HOST (Camera 2)"});
        live = std::make_unique<OpenLive>();
        live->addSink(&sink);
        live->DeviceSet(ndiDevice);
    }
    ~LLiveNdi() override { close(); }

    void close() {
        if (!live) return;
        live->Stop();
        live->removeSink(&sink);
        live.reset();
    }
    bool start(int channel = 0) {
        int count = 0;
        live->DeviceChannelGetCount(ndiDevice, count);
        live->DeviceChannelSet(channel);
        return live->Start();
    }
    // Of the receiver that is made with this setting; -1 when none is.
    std::int32_t bandwidthOf(const char* setting) {
        const std::size_t before = runtime.state().receivers.size();
        live->setProps("ndi_bandwidth", setting);
        EXPECT_TRUE(start());
        const bool isMade = runtime.wait(
            [before](const NdiState& state) { return state.receivers.size() == before + 1; });
        return isMade ? runtime.state().receivers.back().bandwidth : -1;
    }
    quol::FramePtr shown(const test::NdiVideo& frame) {
        const std::size_t before = sink.pictureCount();
        runtime.give(frame);
        EXPECT_TRUE(sink.waitForPictures(before + 1));
        return sink.latestPicture();
    }
    void expectAllGivenBack() {
        const NdiState state = runtime.state();
        EXPECT_TRUE(state.allGivenBack());
        EXPECT_EQ(state.misuses, std::vector<std::string>{});
    }
    // Waits until what was given before has been taken.
    void waitTaken() {
        EXPECT_TRUE(runtime.wait([](const NdiState& state) { return state.queued == 0; }));
    }

    test::NdiStandin& runtime = test::ndiStandin();
    CollectingSink sink{8};
    std::unique_ptr<OpenLive> live;
};

TEST_F(LLiveNdi, SourcesAreTheChannels) {
    int count = 0;
    std::string name;
    std::string description;
    live->DeviceChannelGetByIndex(ndiDevice, 0, name, description);
    EXPECT_EQ(name, ""); // not counted yet
    live->DeviceChannelGetCount(ndiDevice, count);
    EXPECT_EQ(count, 2);
    live->DeviceChannelGetByIndex(ndiDevice, 1, name, description);
    EXPECT_EQ(name, "HOST (Camera 2)");
    live->DeviceChannelGetByIndex(ndiDevice, 2, name, description);
    EXPECT_EQ(name, "");
    const NdiState state = runtime.state();
    ASSERT_EQ(state.finders.size(), 1U);
    EXPECT_TRUE(state.finders[0].showLocalSources);
    EXPECT_FALSE(state.finders[0].groups);
    EXPECT_FALSE(state.finders[0].extraIps);
    EXPECT_EQ(state.finders[0].waits, std::vector<std::uint32_t>{100});
}

TEST_F(LLiveNdi, EachObjectInitialisesAndEndsTheRuntimeOnce) {
    EXPECT_EQ(runtime.state().initializeCalls, 1);
    {
        const LLive another;
        EXPECT_EQ(runtime.state().initializeCalls, 2);
    }
    EXPECT_EQ(runtime.state().destroyCalls, 1);
    close();
    EXPECT_EQ(runtime.state().destroyCalls, 2);
    expectAllGivenBack();
}

TEST_F(LLiveNdi, ARuntimeThatCannotWorkIsToldOfAndGivesNothing) {
    close();
    runtime.reset();
    test::NdiFailures failures;
    failures.initialize = true;
    runtime.setFailures(failures);
    std::string told;
    {
        CapturedStream error(CapturedStream::Stream::error);
        LLive refused;
        int count = -1;
        refused.DeviceChannelGetCount(ndiDevice, count);
        EXPECT_EQ(count, 0);
        told = error.text();
    }
    EXPECT_EQ(told, "LLive: NDIlib_initialize failed!\n");
    EXPECT_EQ(runtime.state().destroyCalls, 0);
}

TEST_F(LLiveNdi, WithoutAFinderTheListIsEmpty) {
    close();
    runtime.reset();
    runtime.setSources({"HOST (Camera 1)"});
    test::NdiFailures failures;
    failures.findCreate = true;
    runtime.setFailures(failures);
    LLive without;
    int count = -1;
    without.DeviceChannelGetCount(ndiDevice, count);
    EXPECT_EQ(count, 0);
}

TEST_F(LLiveNdi, AListThatIsNullIsEmptyAndASourceWithoutANameIsNone) {
    test::NdiFailures failures;
    failures.listing = true;
    runtime.setFailures(failures);
    int count = -1;
    live->DeviceChannelGetCount(ndiDevice, count);
    EXPECT_EQ(count, 0);
    failures = {};
    failures.sourceName = true;
    runtime.setFailures(failures);
    live->DeviceChannelGetCount(ndiDevice, count);
    EXPECT_EQ(count, 2);
    std::string name = "x";
    std::string description;
    live->DeviceChannelGetByIndex(ndiDevice, 0, name, description);
    EXPECT_EQ(name, "");
    live->DeviceChannelGetByIndex(ndiDevice, 1, name, description);
    EXPECT_EQ(name, "HOST (Camera 2)");
    std::string told;
    {
        CapturedStream error(CapturedStream::Stream::error);
        ASSERT_TRUE(start(0));
        EXPECT_TRUE(runtime.wait([](const NdiState& state) {
            return !state.receivers.empty() && state.receivers.back().captures > 0;
        }));
        live->Stop();
        told = error.text();
    }
    EXPECT_EQ(told,
              "LLive: Selected NDI source index (0) is out of bounds or empty. "
              "Waiting/receiver not connected.\n");
}

TEST_F(LLiveNdi, TheReceiverIsMadeAsTheRuntimeIsFastestAndConnected) {
    ASSERT_TRUE(start(1));
    ASSERT_TRUE(runtime.wait([](const NdiState& state) {
        return !state.receivers.empty() && state.receivers[0].captures > 0;
    }));
    const test::NdiReceiver receiver = runtime.state().receivers[0];
    EXPECT_EQ(receiver.colorFormat, 100);
    EXPECT_EQ(receiver.bandwidth, 100);
    EXPECT_TRUE(receiver.allowVideoFields);
    EXPECT_EQ(receiver.name, "LLive Receiver");
    EXPECT_EQ(receiver.source, "HOST (Camera 2)");
    EXPECT_FALSE(receiver.url);
    EXPECT_EQ(receiver.timeout, 100U);
    live->Stop();
    EXPECT_FALSE(runtime.state().receivers[0].alive);
}

TEST_F(LLiveNdi, TheBandwidthIsReadWhenTheReceiverIsMade) {
    struct Setting {
        const char* value;
        std::int32_t bandwidth;
    };
    const Setting settings[] = {{"lowest", 0}, {"high", 100}, {"low", 0}, {"", 100}};
    for (const Setting& setting : settings)
        EXPECT_EQ(bandwidthOf(setting.value), setting.bandwidth) << setting.value;
}

TEST_F(LLiveNdi, ABandwidthInOtherLettersThanLowIsTheFullOne) {
    for (const char* other : {"LOW", "Low", "LOWEST", "low ", " low", "lower"}) {
        EXPECT_EQ(bandwidthOf("low"), 0);
        EXPECT_EQ(bandwidthOf(other), 100) << other;
    }
}

TEST_F(LLiveNdi, AChannelThatIsNoneIsToldOfAndNothingIsConnected) {
    for (const int channel : {-1, 2}) {
        std::string told;
        {
            CapturedStream error(CapturedStream::Stream::error);
            ASSERT_TRUE(start(channel));
            EXPECT_TRUE(runtime.wait([](const NdiState& state) {
                return !state.receivers.empty() && state.receivers.back().alive &&
                       state.receivers.back().captures > 0;
            }));
            live->Stop();
            told = error.text();
        }
        EXPECT_EQ(told, "LLive: Selected NDI source index (" + std::to_string(channel) +
                            ") is out of bounds or empty. Waiting/receiver not connected.\n");
        EXPECT_FALSE(runtime.state().receivers.back().source);
    }
}

TEST_F(LLiveNdi, WithoutAReceiverTheRunEndsByItself) {
    test::NdiFailures failures;
    failures.receiverCreate = true;
    runtime.setFailures(failures);
    EXPECT_TRUE(start());
    EXPECT_TRUE(test::waitUntil([this] {
        int status = 1;
        live->statusGet(status);
        return status == 0;
    }));
}

TEST_F(LLiveNdi, APictureReachesTheSinkInTheRuntimesMemory) {
    ASSERT_TRUE(start());
    const test::NdiVideo frame = ndiPicture(64, 32, "UYVY", 3);
    const quol::FramePtr picture = shown(frame);
    EXPECT_EQ(picture->data[0], frame.bytes->data());
    EXPECT_EQ(picture->format, AV_PIX_FMT_UYVY422);
    EXPECT_EQ(picture->linesize[0], 128);
    EXPECT_EQ(picture->time_base.den, 1000000);
    EXPECT_GE(picture->pts, 0);
    EXPECT_EQ(live->getWidth(), 64);
    EXPECT_EQ(live->getHeight(), 32);
    EXPECT_EQ(live->getFPS(), 25.0);
    EXPECT_EQ(av_frame_is_writable(picture.get()), 0);
    EXPECT_EQ(runtime.state().receivers[0].outstanding(), 1);
}

TEST_F(LLiveNdi, PixelFormatsOfTheRuntime) {
    ASSERT_TRUE(start());
    EXPECT_EQ(shown(ndiPicture(64, 32, "RGBA"))->format, AV_PIX_FMT_RGBA);
    EXPECT_EQ(shown(ndiPicture(64, 32, "RGBX"))->format, AV_PIX_FMT_RGBA);
    EXPECT_EQ(shown(ndiPicture(64, 32, "BGRA"))->format, AV_PIX_FMT_BGRA);
    EXPECT_EQ(shown(ndiPicture(64, 32, "BGRX"))->format, AV_PIX_FMT_BGRA);
    EXPECT_EQ(shown(ndiPicture(64, 32, "????"))->format, AV_PIX_FMT_BGRA); // whatever it is
    EXPECT_EQ(shown(ndiPicture(64, 32, "NV12"))->format, AV_PIX_FMT_NV12);
    // The plane of alpha behind the picture is left aside.
    const test::NdiVideo withAlpha = ndiPicture(64, 32, "UYVA", 1, 128);
    const quol::FramePtr opaque = shown(withAlpha);
    EXPECT_EQ(opaque->format, AV_PIX_FMT_UYVY422);
    EXPECT_EQ(opaque->data[0], withAlpha.bytes->data());
    EXPECT_EQ(opaque->linesize[0], 128);
    for (const auto& picture : {ndiPicture(64, 32, "I420", 1), ndiPicture(64, 32, "YV12", 1)}) {
        const quol::FramePtr planar = shown(picture);
        EXPECT_EQ(planar->format, AV_PIX_FMT_YUV420P);
        EXPECT_EQ(planar->data[1] - planar->data[0], 64 * 32); // in the order given
        EXPECT_EQ(planar->data[2] - planar->data[1], 32 * 16);
    }
}

TEST_F(LLiveNdi, RowsLieAtTheStrideOfTheRecord) {
    ASSERT_TRUE(start());
    const quol::FramePtr packed = shown(ndiPicture(60, 32, "UYVY", 1, 160));
    EXPECT_EQ(packed->linesize[0], 160);
    const quol::FramePtr planar = shown(ndiPicture(60, 32, "I420", 1, 96));
    EXPECT_EQ(planar->linesize[0], 96);
    EXPECT_EQ(planar->linesize[1], 48);
    EXPECT_EQ(planar->data[1] - planar->data[0], 96 * 32);
}

TEST_F(LLiveNdi, RecordsThatMakeNoPictureAreGivenBack) {
    ASSERT_TRUE(start());
    test::NdiVideo bad = ndiPicture(64, 32, "BGRA");
    bad.record.line_stride_in_bytes = 128; // rows would overlap
    runtime.give(bad);
    bad = ndiPicture(64, 32, "UYVY");
    bad.record.xres = 0;
    runtime.give(bad);
    bad = ndiPicture(64, 32, "UYVY");
    bad.record.yres = -32;
    runtime.give(bad);
    test::NdiAudio sound = ndiSound(480);
    sound.record.no_samples = 0;
    runtime.give(sound);
    sound = ndiSound(480);
    sound.record.channel_stride_in_bytes = 4;
    runtime.give(sound);
    runtime.give(ndiSound(4, 256)); // more channels than there are
    sound = ndiSound(480);
    sound.record.no_samples = 1 << 30; // more bytes than can be told
    sound.record.no_channels = 1;
    runtime.give(sound);
    shown(ndiPicture(48, 24, "UYVY"));
    EXPECT_EQ(sink.pictureCount(), 1U);
    EXPECT_EQ(sink.soundCount(), 0U);
    sink.clear();
    EXPECT_TRUE(
        runtime.wait([](const NdiState& state) { return state.receivers[0].outstanding() == 0; }));
}

TEST_F(LLiveNdi, ARecordThatMakesNoPictureTellsNoSize) {
    ASSERT_TRUE(start());
    shown(ndiPicture(48, 24, "UYVY"));
    test::NdiVideo bad = ndiPicture(64, 32, "UYVY");
    bad.record.yres = -32;
    runtime.give(bad);
    EXPECT_TRUE(runtime.wait([](const NdiState& state) { return state.receivers[0].freed == 1; }));
    EXPECT_EQ(live->getWidth(), 48);
    EXPECT_EQ(live->getHeight(), 24);
}

TEST_F(LLiveNdi, AConvertedPictureIsScaledAsTheOthersAre) {
    ASSERT_TRUE(start());
    live->setVideoFormat({1, 0, 0, 0.0, 3});
    const test::NdiVideo frame = ndiPicture(64, 32, "UYVY", 5);
    const quol::FramePtr picture = shown(frame);
    const quol::FramePtr source = test::makePicture(64, 32, AV_PIX_FMT_UYVY422);
    for (int y = 0; y < 32; ++y)
        std::memcpy(source->data[0] + y * source->linesize[0], frame.bytes->data() + y * 128, 128);
    EXPECT_TRUE(test::isConverted(*source, *picture, SWS_BILINEAR));
    EXPECT_FALSE(test::isConverted(*source, *picture, SWS_POINT)); // where it would be seen
    EXPECT_FALSE(test::isConverted(*source, *picture, SWS_FAST_BILINEAR));
}

TEST_F(LLiveNdi, AConvertedPictureIsGivenBackAtOnce) {
    ASSERT_TRUE(start());
    live->setVideoFormat({1, 0, 0, 0.0, 6}); // in mode 1 too
    for (const auto& frame : {ndiPicture(64, 32, "UYVY", 5, 160), ndiPicture(64, 32, "NV12", 5)}) {
        const quol::FramePtr picture = shown(frame);
        EXPECT_EQ(picture->format, AV_PIX_FMT_RGBA);
        EXPECT_TRUE(runtime.wait(
            [](const NdiState& state) { return state.receivers[0].outstanding() == 0; }));
    }
}

TEST_F(LLiveNdi, AColourCodeThatAsksForNothingKeepsTheFormat) {
    ASSERT_TRUE(start());
    live->setVideoFormat({1, 0, 0, 0.0, 4});
    const test::NdiVideo frame = ndiPicture(64, 32, "UYVY");
    EXPECT_EQ(shown(frame)->data[0], frame.bytes->data());
}

TEST_F(LLiveNdi, SoundReachesTheSinkInTheRuntimesMemoryWhateverTheGain) {
    ASSERT_TRUE(start());
    live->setProps("audio_gain", "200");
    const test::NdiAudio sound = ndiSound(480, 2);
    runtime.give(sound);
    ASSERT_TRUE(sink.waitForSounds(1));
    const quol::FramePtr block = sink.latestSound();
    EXPECT_EQ(block->format, AV_SAMPLE_FMT_FLTP);
    EXPECT_EQ(block->nb_samples, 480);
    EXPECT_EQ(block->sample_rate, 48000);
    EXPECT_EQ(block->time_base.den, 48000);
    EXPECT_EQ(block->data[0], sound.bytes->data());
    const auto* right = reinterpret_cast<const float*>(block->data[1]);
    EXPECT_EQ(right[10], 1010.0F / 65536.0F);
    EXPECT_GT(live->peakLeft(), 0.0F);
}

TEST_F(LLiveNdi, SoundOfMoreChannelsThanAFrameHasRoomForKeepsThemAll) {
    ASSERT_TRUE(start());
    runtime.give(ndiSound(480, 16));
    ASSERT_TRUE(sink.waitForSounds(1));
    quol::FramePtr block = sink.latestSound();
    ASSERT_EQ(block->ch_layout.nb_channels, 16);
    const auto* last = reinterpret_cast<const float*>(block->extended_data[15]);
    EXPECT_EQ(last[479], 15479.0F / 65536.0F);
    block.reset();
    runtime.give(ndiSound(480, 1));
    ASSERT_TRUE(sink.waitForSounds(2));
    EXPECT_EQ(sink.latestSound()->ch_layout.nb_channels, 1);
    runtime.give(ndiSound(4, 255));
    ASSERT_TRUE(sink.waitForSounds(3));
    EXPECT_EQ(sink.latestSound()->ch_layout.nb_channels, 255);
}

TEST_F(LLiveNdi, OtherFramesAreLetPass) {
    ASSERT_TRUE(start());
    for (const auto type :
         {quol::ndi::frame_type_metadata, quol::ndi::frame_type_error,
          quol::ndi::frame_type_status_change, quol::ndi::frame_type_source_change})
        runtime.give(type);
    shown(ndiPicture(64, 32, "UYVY"));
    EXPECT_EQ(sink.pictureCount(), 1U);
}

TEST_F(LLiveNdi, FramesHeldPastTheStopKeepTheReceiverAlive) {
    ASSERT_TRUE(start());
    const test::NdiVideo frame = ndiPicture(64, 32, "UYVY", 7);
    const std::vector<std::uint8_t> expected = *frame.bytes;
    quol::FramePtr picture = shown(frame);
    runtime.give(ndiSound(480));
    ASSERT_TRUE(sink.waitForSounds(1));
    quol::FramePtr sound = sink.latestSound();
    sink.clear();
    close(); // the object too is gone
    NdiState state = runtime.state();
    EXPECT_TRUE(state.receivers[0].alive);
    EXPECT_FALSE(state.receivers[0].source); // nothing more is received for nobody
    EXPECT_EQ(state.receivers[0].outstanding(), 2);
    EXPECT_EQ(state.destroyCalls, 0);
    EXPECT_EQ(std::memcmp(picture->data[0], expected.data(), expected.size()), 0);
    sound.reset();
    EXPECT_TRUE(runtime.state().receivers[0].alive);
    picture.reset();
    EXPECT_FALSE(runtime.state().receivers[0].alive);
    EXPECT_EQ(runtime.state().destroyCalls, 1);
    expectAllGivenBack();
}

TEST_F(LLiveNdi, ARestartGetsAReceiverOfItsOwnWhileTheOldOnesFramesAreHeld) {
    ASSERT_TRUE(start());
    quol::FramePtr held = shown(ndiPicture(64, 32, "UYVY"));
    sink.clear();
    ASSERT_TRUE(start(1));
    shown(ndiPicture(32, 16, "UYVY"));
    const NdiState state = runtime.state();
    ASSERT_EQ(state.receivers.size(), 2U);
    EXPECT_EQ(state.receivers[1].source, "HOST (Camera 2)");
    held.reset();
    EXPECT_FALSE(runtime.state().receivers[0].alive);
    sink.clear();
    close();
    expectAllGivenBack();
}

TEST_F(LLiveNdi, WithoutASinkTheQueueHoldsFiftyPictures) {
    live->removeSink(&sink);
    ASSERT_TRUE(start());
    for (unsigned i = 0; i < 60; ++i) {
        runtime.give(ndiPicture(64, 32, "UYVY", i));
        runtime.give(ndiSound(480));
    }
    EXPECT_TRUE(runtime.wait([](const NdiState& state) {
        return state.queued == 0 && !state.receivers.empty() && state.receivers[0].given == 120 &&
               state.receivers[0].outstanding() == 50;
    }));
    live->addSink(&sink);
    close();
    expectAllGivenBack();
}

} // namespace

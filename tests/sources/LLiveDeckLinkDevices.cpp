// A live input with DeckLink cards.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <mutex>
#include <thread>

#include "core/Clock.h"
#include "platform/decklink/Cards.h"
#include "quolsdk/LFilter.h"
#include "quolsdk/LLive.h"
#include "sources/DeckLinkInputCallback.h"
#include "sources/LiveDeckLink.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/DeckLinkStandin.h"
#include "support/NoThreads.h"

namespace {

using namespace quol::decklink;
using test::CapturedStream;
using test::CollectingSink;
using test::DeckLinkCall;
using test::DeckLinkFrame;
using test::deckLinkPicture;
using test::DeckLinkSound;
using test::DeckLinkState;

constexpr std::size_t firstCard = 0;
constexpr std::size_t secondCard = 1;

DeckLinkFrame noSignal(long width = 1920, long height = 1080) {
    DeckLinkFrame frame = deckLinkPicture(width, height, bmdFormat8BitYUV);
    frame.flags = bmdFrameHasNoInputSource;
    return frame;
}

DeckLinkSound silence(std::size_t pairs = 960) {
    return {std::vector<std::int16_t>(pairs * 2, 0)};
}

// A sink that holds its source up until it is let go.
class SlowSink : public LSink {
public:
    void pushVideoFrame(AVFrame* frame) override {
        const std::lock_guard lock(gate);
        kept.push_back(quol::cloneFrame(frame));
    }
    void pushAudioFrame(AVFrame*) override {
        inSound = true;
        const std::lock_guard lock(soundGate);
    }
    std::mutex gate;
    std::mutex soundGate;
    std::atomic<bool> inSound{false};
    std::vector<quol::FramePtr> kept;
};

// Takes its time over sound.
class PatientSink : public LSink {
public:
    void pushVideoFrame(AVFrame*) override {}
    void pushAudioFrame(AVFrame*) override {
        inSound = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        leftSound = true;
    }
    std::atomic<bool> inSound{false};
    std::atomic<bool> leftSound{false};
};

class LLiveDeckLink : public testing::Test {
protected:
    LLiveDeckLink() { driver.reset(); }
    ~LLiveDeckLink() override { close(); }

    void open() {
        live = std::make_unique<LLive>();
        live->addSink(&sink);
        int count = 0;
        live->DeviceGetCount(count);
        EXPECT_EQ(count, 5);
    }
    void close() {
        if (!live) return;
        live->Stop();
        live->removeSink(&sink);
        live.reset();
    }
    bool startCard(int card, int channel = 0, int format = 0) {
        open();
        live->DeviceSet(card);
        live->DeviceChannelSet(channel);
        live->DeviceFormatVideoSet(format);
        return live->Start();
    }
    // The driver tells of another format, and is inside `method`, which holds it up.
    std::thread heldChange(const std::string& method) {
        const std::size_t before = driver.state().callsOf(method).size();
        driver.holdCalls({method});
        std::thread call([this] { driver.changeFormat(0, 1, fourCC("pal "), 0); });
        EXPECT_TRUE(driver.wait([&](const DeckLinkState& state) {
            return state.callsOf(method).size() == before + 1;
        }));
        return call;
    }
    // What the card shows of one picture.
    quol::FramePtr shown(const DeckLinkFrame& frame, std::size_t card = firstCard) {
        const std::size_t before = sink.pictureCount();
        driver.deliver(card, frame);
        EXPECT_TRUE(sink.waitForPictures(before + 1));
        return sink.latestPicture();
    }
    // Everything is given back, save the one reference to the buffer of each wrapped picture.
    void expectAllGivenBack(unsigned long wrapped) {
        sink.clear();
        close();
        const DeckLinkState state = driver.state();
        EXPECT_EQ(state.misuses, std::vector<std::string>{});
        for (const test::DeckLinkObject& object : state.live) {
            EXPECT_EQ(object.interface, "IDeckLinkVideoBuffer");
            EXPECT_EQ(object.references, 1U);
        }
        EXPECT_EQ(state.live.size(), wrapped);
    }
    test::DeckLinkCardState card(std::size_t index = firstCard) {
        return driver.state().cards[index];
    }
    std::vector<std::string> methodsOf(std::size_t index) {
        std::vector<std::string> methods;
        for (const DeckLinkCall& call : driver.state().calls) {
            if (call.card == index) methods.push_back(call.method);
        }
        return methods;
    }

    test::DeckLinkStandin& driver = test::deckLinkStandin();
    CollectingSink sink{8};
    std::unique_ptr<LLive> live;
};

TEST_F(LLiveDeckLink, CardsStandBeforeTheFixedDevices) {
    open();
    const char* const names[] = {"Stand-in Duo", "Stand-in Capture", "NDI Receiver", "VTP Receiver",
                                 "Test Signal"};
    for (int i = 0; i < 5; ++i) {
        std::string name;
        std::string description = "x";
        live->DeviceGetByIndex(i, name, description);
        EXPECT_EQ(name, names[i]);
        EXPECT_EQ(description.empty(), i < 2);
    }
    driver.refuseIterator(true);
    int count = 0;
    live->DeviceGetCount(count);
    EXPECT_EQ(count, 3);
    std::string name;
    std::string description;
    live->DeviceGetByIndex(0, name, description);
    EXPECT_EQ(name, "NDI Receiver"); // device numbers shift with the cards
    driver.refuseIterator(false);
    expectAllGivenBack(0);
}

TEST_F(LLiveDeckLink, ConnectorsAreTheChannels) {
    auto cards = test::deckLinkMachine();
    cards[0].inputLines = 4; // optical alone: no line came of it
    driver.setCards(cards);
    open();
    int count = 0;
    live->DeviceChannelGetCount(0, count);
    EXPECT_EQ(count, 1);
    std::string name;
    std::string description;
    live->DeviceChannelGetByIndex(0, 0, name, description);
    EXPECT_EQ(name, "HDMI (Auto)");
    live->DeviceChannelGetCount(1, count);
    EXPECT_EQ(count, 5);
    const char* const lines[] = {"SDI", "HDMI", "Component", "Composite", "S-Video"};
    for (int i = 0; i < 5; ++i) {
        live->DeviceChannelGetByIndex(1, i, name, description);
        EXPECT_EQ(name, lines[i]);
    }
    for (const int none : {-1, 5}) {
        live->DeviceChannelGetByIndex(1, none, name, description);
        EXPECT_EQ(name, "");
    }
}

TEST_F(LLiveDeckLink, AChannelHasNoNameBeforeTheyWereCounted) {
    open();
    std::string name = "none";
    std::string description;
    live->DeviceChannelGetByIndex(0, 0, name, description);
    EXPECT_EQ(name, "");
    // Nor when the devices were counted anew.
    int count = 0;
    live->DeviceChannelGetCount(0, count);
    live->DeviceChannelGetByIndex(0, 0, name, description);
    EXPECT_EQ(name, "SDI");
    live->DeviceGetCount(count);
    live->DeviceChannelGetByIndex(0, 0, name, description);
    EXPECT_EQ(name, "");
}

TEST_F(LLiveDeckLink, AChannelIsAskedOfTheCardAgainForItsName) {
    open();
    int count = 0;
    live->DeviceChannelGetCount(0, count);
    EXPECT_EQ(count, 2);
    driver.fail("IDeckLinkProfileAttributes::GetInt", E_FAIL, 1); // tells of no connectors now
    std::string name;
    std::string description;
    live->DeviceChannelGetByIndex(0, 0, name, description);
    EXPECT_EQ(name, "HDMI (Auto)");
    live->DeviceChannelGetByIndex(0, 0, name, description);
    EXPECT_EQ(name, "SDI");
    driver.fail("IDeckLinkProfileAttributes::GetInt", E_FAIL, 1);
    live->DeviceChannelGetByIndex(0, 1, name, description); // there is one channel only
    EXPECT_EQ(name, "");
}

TEST_F(LLiveDeckLink, NumbersBeyondAllDevicesAreNone) {
    open();
    for (const int none : {-1, 5, INT_MIN, INT_MAX}) {
        std::string name = "x";
        std::string description = "x";
        live->DeviceGetByIndex(none, name, description);
        EXPECT_EQ(name, "");
        EXPECT_EQ(description, "");
        int count = -1;
        live->DeviceChannelGetCount(none, count);
        EXPECT_EQ(count, 0);
        name = "x";
        live->DeviceChannelGetByIndex(none, 0, name, description);
        EXPECT_EQ(name, "");
        live->DeviceFormatVideoGetCount(none, 0, count);
        EXPECT_EQ(count, 0);
        live->DeviceSet(none);
        live->DeviceChannelSet(none);
        EXPECT_FALSE(live->Start());
    }
}

TEST_F(LLiveDeckLink, FormatsAreAutoDetectionAndTheModesOfTheCard) {
    auto cards = test::deckLinkMachine();
    cards[0].modes[1].name.reset();
    driver.setCards(cards);
    open();
    int count = 0;
    live->DeviceFormatVideoGetCount(0, 1, count);
    EXPECT_EQ(count, 5);
    std::string name;
    videoFormatProps format{9, 9, 9, 9.0, 9};
    live->DeviceFormatVideoGetByIndex(0, 0, 0, name, format);
    EXPECT_EQ(name, "Auto Detection");
    EXPECT_EQ(format.mode, 0U);
    EXPECT_EQ(format.width, 0);
    EXPECT_EQ(format.fps, 0.0);
    live->DeviceFormatVideoGetByIndex(0, 0, 1, name, format);
    EXPECT_EQ(name, cards[0].modes[0].name);
    EXPECT_EQ(format.mode, 1U);
    EXPECT_EQ(format.width, 1920);
    EXPECT_EQ(format.height, 1080);
    EXPECT_EQ(format.fps, 50.0);
    EXPECT_EQ(format.pixelFormat, 0);
    live->DeviceFormatVideoGetByIndex(0, 0, 2, name, format);
    EXPECT_EQ(name, "Unknown");
    live->DeviceFormatVideoGetByIndex(0, 0, 3, name, format);
    EXPECT_EQ(format.fps, 30000.0 / 1001.0);
    expectAllGivenBack(0);
}

TEST_F(LLiveDeckLink, ChoosingAChannelSwitchesTheConnector) {
    open();
    CapturedStream output(CapturedStream::Stream::output);
    live->DeviceSet(1);
    live->DeviceChannelSet(3);
    EXPECT_EQ(card(secondCard).inputConnection, 16);
    EXPECT_EQ(output.text(), "LLive: DeckLink Input Connection Set To: Composite (BMD Code: 16)\n");
    live->DeviceChannelSet(77); // a connector it lacks
    live->DeviceChannelSet(-1);
    EXPECT_EQ(card(secondCard).inputConnection, 16);
}

TEST_F(LLiveDeckLink, StartTakesTheConnectorFromTheLinesHeldThen) {
    ASSERT_TRUE(startCard(0, 1));
    EXPECT_EQ(card().inputConnection, 1); // choosing the channel has dropped the lines
    int count = 0;
    live->DeviceChannelGetCount(0, count);
    ASSERT_TRUE(live->Start());
    EXPECT_EQ(card().inputConnection, 2);
}

TEST_F(LLiveDeckLink, CountingTheDevicesDropsTheFormatsAndKeepsTheChoice) {
    ASSERT_TRUE(startCard(0));
    live->Stop();
    int count = 0;
    live->DeviceGetCount(count);
    EXPECT_FALSE(live->Start()); // no format is left to start with
    live->DeviceChannelSet(0);
    EXPECT_TRUE(live->Start());
    live->Stop();
    driver.setCards({});
    live->DeviceGetCount(count);
    EXPECT_EQ(count, 3);
    EXPECT_TRUE(live->Start()); // device 0 is another one now
    live->Stop();
    // NDI has one format, the card five.
    live->DeviceFormatVideoGetCount(0, 0, count);
    EXPECT_EQ(count, 1);
}

TEST_F(LLiveDeckLink, StartsInTheOrderGivenAndSaysSo) {
    std::string told;
    {
        CapturedStream output(CapturedStream::Stream::output);
        ASSERT_TRUE(startCard(0));
        live->Stop();
        told = output.text();
    }
    EXPECT_NE(told.find("LLive: DeckLink Input Connection Set To: SDI (BMD Code: 1)\n"
                        "LLive: Starting DeckLink...\n"
                        "LLive: Start - Connection Set To: 1\n"
                        "LLive: DeckLink Auto Mode Enabled.\n"
                        "LLive: DeckLink Started (Mode: 1215313200).\n"
                        "LLive: Stopped Safely.\n"),
              std::string::npos)
        << told;
    const DeckLinkState state = driver.state();
    std::vector<DeckLinkCall> calls;
    std::copy_if(state.calls.begin(), state.calls.end(), std::back_inserter(calls),
                 [](const DeckLinkCall& call) {
                     return call.method.find("IDeckLinkInput::") == 0 &&
                            call.method != "IDeckLinkInput::GetDisplayModeIterator";
                 });
    const auto argumentsOf = [&calls](std::size_t i) { return calls[i].arguments; };
    std::vector<std::string> methods;
    for (const DeckLinkCall& call : calls)
        methods.push_back(call.method.substr(16));
    EXPECT_EQ(methods,
              (std::vector<std::string>{"SetCallback", "EnableAudioInput", "EnableVideoInput",
                                        "FlushStreams", "StartStreams", "StopStreams",
                                        "SetCallback", "DisableVideoInput", "DisableAudioInput"}));
    EXPECT_EQ(argumentsOf(1), (std::vector<std::int64_t>{48000, 16, 2}));
    EXPECT_EQ(argumentsOf(2), (std::vector<std::int64_t>{0x48703530, bmdFormat8BitYUV, 1}));
    expectAllGivenBack(0);
}

TEST_F(LLiveDeckLink, ACardWithoutFormatDetectionStaysIn1080p50) {
    std::string told;
    {
        CapturedStream output(CapturedStream::Stream::output);
        ASSERT_TRUE(startCard(1));
        told = output.text();
    }
    EXPECT_EQ(told.find("Mode Enabled"), std::string::npos);
    EXPECT_EQ(card(secondCard).inputMode, bmdModeHD1080p50);
    EXPECT_EQ(card(secondCard).inputFlags, 0U);
    // Whatever comes in.
    const auto enabled = [this] {
        return driver.state().callsOf("IDeckLinkInput::EnableVideoInput").size();
    };
    EXPECT_EQ(enabled(), 1U);
    EXPECT_EQ(shown(deckLinkPicture(720, 576, bmdFormat8BitYUV), secondCard)->width, 720);
    EXPECT_EQ(shown(noSignal(1280, 720), secondCard)->width, 1280);
    EXPECT_EQ(shown(deckLinkPicture(64, 32, bmdFormat8BitBGRA), secondCard)->width, 64);
    EXPECT_EQ(card(secondCard).inputMode, bmdModeHD1080p50);
    EXPECT_EQ(enabled(), 1U);
}

TEST_F(LLiveDeckLink, AChosenFormatIsStartedInAndSetsSizeAndRate) {
    std::string told;
    {
        CapturedStream output(CapturedStream::Stream::output);
        ASSERT_TRUE(startCard(0, 0, 2));
        told = output.text();
    }
    EXPECT_NE(told.find("LLive: DeckLink Manual Mode with Auto-Color Enabled.\n"),
              std::string::npos);
    EXPECT_EQ(card().inputMode, fourCC("Hp25"));
    EXPECT_EQ(live->getFPS(), 25.0);
    EXPECT_EQ(live->getWidth(), 1920);
    EXPECT_EQ(live->getHeight(), 1080);
    EXPECT_EQ(live->getModeName(), "No Signal");
}

TEST_F(LLiveDeckLink, AFormatThatIsNoneDoesNotStart) {
    EXPECT_FALSE(startCard(0, 0, 5));
    live->DeviceFormatVideoSet(-1); // counts as the first
    EXPECT_TRUE(live->Start());
}

TEST_F(LLiveDeckLink, ACardWithoutInputDoesNotStart) {
    auto cards = test::deckLinkMachine();
    cards[0].input = false;
    driver.setCards(cards);
    EXPECT_FALSE(startCard(0));
}

TEST_F(LLiveDeckLink, ACardThatCannotBeConfiguredStartsAsItStands) {
    auto cards = test::deckLinkMachine();
    cards[0].configuration = false;
    driver.setCards(cards);
    std::string told;
    {
        CapturedStream output(CapturedStream::Stream::output);
        ASSERT_TRUE(startCard(0));
        told = output.text();
    }
    EXPECT_EQ(told.find("Connection Set To"), std::string::npos) << told;
    EXPECT_NE(told.find("LLive: DeckLink Started"), std::string::npos) << told;
    EXPECT_EQ(card().inputConnection, std::nullopt);
    shown(deckLinkPicture(64, 32, bmdFormat8BitYUV));
}

TEST_F(LLiveDeckLink, WithoutAThreadStartIsFalseAndTheCardIsLeft) {
    open();
    live->DeviceSet(0);
    live->DeviceChannelSet(0);
    {
        const test::NoThreads none;
        ASSERT_TRUE(none.works());
        EXPECT_FALSE(live->Start());
    }
    int status = 1;
    live->statusGet(status);
    EXPECT_EQ(status, 0);
    EXPECT_FALSE(card().callback);
    EXPECT_FALSE(card().streaming);
    EXPECT_FALSE(card().videoInput);
    // Nothing keeps the card once another device is chosen.
    driver.setCards({});
    int count = 0;
    live->DeviceSet(-1);
    live->DeviceGetCount(count);
    EXPECT_EQ(driver.state().liveOf("IDeckLinkInput"), 0U);
    driver.setCards(test::deckLinkMachine());
    live->DeviceGetCount(count);
    live->DeviceSet(0);
    live->DeviceChannelSet(0);
    EXPECT_TRUE(live->Start());
    shown(deckLinkPicture(64, 32, bmdFormat8BitYUV));
}

TEST_F(LLiveDeckLink, TheRateOfACardIsNotThatOfAnotherDevice) {
    for (const int other : {2, 3, 4}) {
        ASSERT_TRUE(startCard(0, 0, 3));
        EXPECT_EQ(live->getFPS(), 30000.0 / 1001.0);
        live->Stop();
        live->DeviceSet(other);
        live->DeviceChannelSet(0);
        EXPECT_TRUE(live->Start());
        EXPECT_TRUE(test::waitUntil([this] { return live->getFPS() == 25.0; })) << other;
        close();
    }
}

TEST_F(LLiveDeckLink, WhatTheCardRefusesIsToldAndNothingIsUndone) {
    struct Refusal {
        const char* method;
        const char* message;
    };
    const Refusal refusals[] = {
        {"IDeckLinkInput::EnableVideoInput", "LLive: DeckLink EnableVideoInput FAILED!\n"},
        {"IDeckLinkInput::StartStreams", "LLive: DeckLink StartStreams FAILED!\n"}};
    for (const Refusal& refusal : refusals) {
        driver.fail(refusal.method, E_FAIL, 1);
        std::string told;
        {
            open();
            CapturedStream error(CapturedStream::Stream::error);
            live->DeviceSet(0);
            live->DeviceChannelSet(0);
            EXPECT_FALSE(live->Start());
            told = error.text();
        }
        EXPECT_EQ(told, refusal.message);
        EXPECT_TRUE(card().callback);
        int status = 1;
        live->statusGet(status);
        EXPECT_EQ(status, 0);
        // Calls of the driver find nobody.
        EXPECT_EQ(driver.deliver(0, deckLinkPicture(64, 32, bmdFormat8BitYUV), silence()), S_OK);
        EXPECT_TRUE(live->Start());
        close();
        sink.clear();
    }
}

TEST_F(LLiveDeckLink, ALateCallAfterTheObjectHasGoneFindsNobody) {
    open();
    driver.fail("IDeckLinkInput::StartStreams", E_FAIL, 1);
    live->DeviceSet(0);
    live->DeviceChannelSet(0);
    EXPECT_FALSE(live->Start());
    const auto input = query<IDeckLinkInput>(cards().at(firstCard)); // keeps the callback
    close();
    EXPECT_EQ(driver.deliver(0, deckLinkPicture(64, 32, bmdFormat8BitYUV), silence()), S_OK);
    EXPECT_EQ(driver.changeFormat(0, 1, fourCC("Hp25"), 0), S_OK);
    EXPECT_EQ(sink.pictureCount(), 0U);
    EXPECT_EQ(driver.state().liveOf("IDeckLinkVideoInputFrame"), 0U);
}

TEST_F(LLiveDeckLink, APictureReachesTheSinkInTheDriversMemory) {
    ASSERT_TRUE(startCard(0));
    const DeckLinkFrame frame = deckLinkPicture(64, 32, bmdFormat8BitYUV, 3);
    const quol::FramePtr picture = shown(frame);
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->data[0], frame.bytes->data());
    EXPECT_EQ(picture->format, AV_PIX_FMT_UYVY422);
    EXPECT_EQ(picture->width, 64);
    EXPECT_EQ(picture->height, 32);
    EXPECT_EQ(picture->linesize[0], 128);
    EXPECT_EQ(picture->time_base.den, 1000000);
    EXPECT_GE(picture->pts, 0);
    EXPECT_EQ(av_frame_is_writable(picture.get()), 0);
}

// The moment at which the driver brings something counts, however late it is shown.
TEST_F(LLiveDeckLink, PicturesSoundAndTheCardCarryTheTimeOfTheirArrival) {
    SlowSink slow;
    const std::int64_t began = quol::steadyNow();
    ASSERT_TRUE(startCard(0));
    const std::int64_t begun = quol::steadyNow();
    live->addSink(&slow);
    struct Delivery {
        std::int64_t from = 0;
        std::int64_t to = 0;
    };
    std::vector<Delivery> deliveries;
    const auto deliver = [&](const std::optional<DeckLinkFrame>& frame,
                             const std::optional<DeckLinkSound>& sound = std::nullopt) {
        quol::sleepFor(100 * quol::nanosPerMilli);
        const std::int64_t from = quol::steadyNow();
        driver.deliver(0, frame, sound);
        deliveries.push_back({from, quol::steadyNow()});
    };
    const DeckLinkFrame signal = deckLinkPicture(64, 32, bmdFormat8BitYUV);
    {
        const std::lock_guard hold(slow.gate);
        deliver(signal);
        deliver(signal);
        deliver(noSignal(64, 32));
        live->setVideoFormat({1, 0, 0, 0.0, 6});
        deliver(signal);
        quol::sleepFor(100 * quol::nanosPerMilli);
    }
    ASSERT_TRUE(sink.waitForPictures(4));
    const auto expectWithin = [&](double seconds, const Delivery& delivery) {
        constexpr double rounding = 1e-4;
        EXPECT_GE(seconds, static_cast<double>(delivery.from - begun) / 1e9 - rounding);
        EXPECT_LE(seconds, static_cast<double>(delivery.to - began) / 1e9 + rounding);
    };
    const auto pictures = sink.pictures();
    for (std::size_t i = 0; i < 4; ++i)
        expectWithin(pictures[i].seconds, deliveries[i]);
    EXPECT_EQ(pictures[3].format, AV_PIX_FMT_RGBA);
    deliver(std::nullopt, silence());
    ASSERT_EQ(sink.soundCount(), 1U);
    expectWithin(sink.sounds()[0].seconds, deliveries[4]);
    live->Stop();
    live->removeSink(&slow);
    slow.kept.clear();
}

TEST_F(LLiveDeckLink, EveryReferenceIsGivenBackSaveOneOfEachWrappedPicture) {
    ASSERT_TRUE(startCard(0));
    for (int i = 0; i < 5; ++i)
        shown(deckLinkPicture(64, 32, bmdFormat8BitYUV, static_cast<unsigned>(i)));
    shown(noSignal(64, 32));
    expectAllGivenBack(5);
}

TEST_F(LLiveDeckLink, AConvertedPictureKeepsNothingOfTheDrivers) {
    ASSERT_TRUE(startCard(0));
    live->setVideoFormat({1, 0, 0, 0.0, 6}); // in mode 1 too
    const DeckLinkFrame frame = deckLinkPicture(64, 32, bmdFormat8BitYUV, 5, 256);
    const quol::FramePtr picture = shown(frame);
    ASSERT_EQ(picture->format, AV_PIX_FMT_RGBA);
    const quol::FramePtr source(av_frame_alloc());
    source->width = 64;
    source->height = 32;
    source->format = AV_PIX_FMT_UYVY422;
    source->data[0] = frame.bytes->data();
    source->linesize[0] = 256;
    const quol::FramePtr expected(av_frame_alloc());
    expected->width = 64;
    expected->height = 32;
    expected->format = AV_PIX_FMT_RGBA;
    ASSERT_GE(av_frame_get_buffer(expected.get(), 32), 0);
    quol::SwsPtr scaler(sws_getContext(64, 32, AV_PIX_FMT_UYVY422, 64, 32, AV_PIX_FMT_RGBA,
                                       SWS_FAST_BILINEAR, nullptr, nullptr, nullptr));
    sws_scale(scaler.get(), source->data, source->linesize, 0, 32, expected->data,
              expected->linesize);
    for (int y = 0; y < 32; ++y) {
        for (int x = 0; x < 64 * 4; ++x) {
            ASSERT_EQ(picture->data[0][y * picture->linesize[0] + x],
                      expected->data[0][y * expected->linesize[0] + x]);
        }
    }
    expectAllGivenBack(0);
}

TEST_F(LLiveDeckLink, AColourCodeThatAsksForNothingKeepsTheFormat) {
    ASSERT_TRUE(startCard(0));
    live->setVideoFormat({1, 0, 0, 0.0, 4});
    const DeckLinkFrame frame = deckLinkPicture(64, 32, bmdFormat8BitYUV);
    EXPECT_EQ(shown(frame)->data[0], frame.bytes->data());
}

TEST_F(LLiveDeckLink, RowsLieAtTheDriversStride) {
    ASSERT_TRUE(startCard(0));
    const DeckLinkFrame frame = deckLinkPicture(60, 32, bmdFormat8BitYUV, 3, 192);
    const quol::FramePtr picture = shown(frame);
    EXPECT_EQ(picture->linesize[0], 192);
    EXPECT_EQ(picture->data[0], frame.bytes->data());
}

TEST_F(LLiveDeckLink, PixelFormatsOfTheDriver) {
    ASSERT_TRUE(startCard(0));
    EXPECT_EQ(shown(deckLinkPicture(64, 32, bmdFormat8BitARGB))->format, AV_PIX_FMT_ARGB);
    EXPECT_EQ(shown(deckLinkPicture(64, 32, bmdFormat8BitBGRA))->format, AV_PIX_FMT_BGRA);
    const quol::FramePtr ten = shown(deckLinkPicture(96, 32, bmdFormat10BitYUV));
    EXPECT_EQ(ten->format, AV_PIX_FMT_YUV422P10LE);
    EXPECT_EQ(ten->width, 96);
    // An unknown format shows nothing, and the next picture comes.
    const std::size_t before = sink.pictureCount();
    driver.deliver(0, deckLinkPicture(64, 32, fourCC("????")));
    shown(deckLinkPicture(64, 32, bmdFormat8BitYUV));
    EXPECT_EQ(sink.pictureCount(), before + 1);
    expectAllGivenBack(3);
}

TEST_F(LLiveDeckLink, APictureThatCannotBeReadIsSkipped) {
    ASSERT_TRUE(startCard(0));
    for (const char* method :
         {"IDeckLinkVideoBuffer::StartAccess", "IDeckLinkVideoBuffer::GetBytes"}) {
        const std::size_t before = sink.pictureCount();
        driver.fail(method, E_FAIL, 1);
        driver.deliver(0, deckLinkPicture(64, 32, bmdFormat8BitYUV));
        shown(deckLinkPicture(64, 32, bmdFormat8BitYUV));
        EXPECT_EQ(sink.pictureCount(), before + 1) << method;
    }
    expectAllGivenBack(2);
}

TEST_F(LLiveDeckLink, WithoutASignalTheCardIsShownAsItIs) {
    ASSERT_TRUE(startCard(0));
    LFilter filter(LFilter::Type::video);
    filter.setProps("hflip", "1");
    live->setVideoFilter(&filter);
    live->setVideoFormat({0, 32, 16, 0.0, 1});
    live->setProps("timecode", "1");
    const quol::FramePtr picture = shown(noSignal(720, 576));
    EXPECT_EQ(picture->width, 720);
    EXPECT_EQ(picture->height, 576);
    EXPECT_EQ(picture->format, AV_PIX_FMT_UYVY422);
    EXPECT_EQ(picture->data[0][1], 94); // not mirrored: the light bar is on the left
    EXPECT_EQ(picture->time_base.den, 1000000);
    EXPECT_EQ(av_dict_get(picture->metadata, "timecode", nullptr, 0), nullptr);
    live->setVideoFilter(nullptr);
    expectAllGivenBack(0);
}

TEST_F(LLiveDeckLink, TheCardIsRebuiltAtANewSizeOnlyBehindASignal) {
    ASSERT_TRUE(startCard(0));
    const quol::FramePtr first = shown(noSignal(720, 576));
    const quol::FramePtr second = shown(noSignal(1280, 720));
    EXPECT_EQ(second->width, 720);
    EXPECT_EQ(second->data[0], first->data[0]); // drawn once
    shown(deckLinkPicture(64, 32, bmdFormat8BitYUV));
    EXPECT_EQ(shown(noSignal(1280, 720))->width, 1280);
}

TEST_F(LLiveDeckLink, SoundIsTakenUnlessThePictureHasNoSignal) {
    ASSERT_TRUE(startCard(0));
    DeckLinkSound sound;
    for (int i = 0; i < 20; ++i)
        sound.samples.push_back(static_cast<std::int16_t>(i * 100));
    driver.deliver(0, deckLinkPicture(64, 32, bmdFormat8BitYUV), sound);
    ASSERT_EQ(sink.soundCount(), 1U); // on the driver's thread
    const quol::FramePtr block = sink.latestSound();
    EXPECT_EQ(block->nb_samples, 10);
    EXPECT_EQ(block->sample_rate, 48000);
    EXPECT_EQ(block->ch_layout.nb_channels, 2);
    EXPECT_EQ(block->time_base.den, 48000);
    EXPECT_EQ(std::memcmp(block->data[0], sound.samples.data(), 40), 0);
    driver.deliver(0, noSignal(64, 32), sound);
    EXPECT_EQ(sink.soundCount(), 1U);
    driver.deliver(0, std::nullopt, sound); // sound without a picture
    EXPECT_EQ(sink.soundCount(), 2U);
    driver.deliver(0, std::nullopt, silence(0));
    driver.deliver(0, std::nullopt, std::nullopt);
    driver.fail("IDeckLinkAudioInputPacket::GetBytes", E_FAIL, 1);
    driver.deliver(0, std::nullopt, sound);
    EXPECT_EQ(sink.soundCount(), 2U);
}

TEST_F(LLiveDeckLink, NothingHappensBeforeAndBehindTheRun) {
    ASSERT_TRUE(startCard(0));
    live->Stop();
    driver.deliver(0, deckLinkPicture(64, 32, bmdFormat8BitYUV), silence());
    EXPECT_EQ(sink.pictureCount(), 0U);
    EXPECT_EQ(sink.soundCount(), 0U);
    EXPECT_FALSE(card().callback);
    EXPECT_FALSE(card().streaming);
    EXPECT_FALSE(card().videoInput);
    EXPECT_FALSE(card().audioInput);
}

TEST_F(LLiveDeckLink, GapsInTheStreamTimeAreReported) {
    ASSERT_TRUE(startCard(0));
    const auto at = [](std::int64_t time, std::int64_t duration = 20000) {
        DeckLinkFrame frame = deckLinkPicture(64, 32, bmdFormat8BitYUV);
        frame.streamTime = {time, duration};
        return frame;
    };
    std::string told;
    {
        CapturedStream output(CapturedStream::Stream::output);
        driver.deliver(0, at(1000000)); // the first is no gap, wherever it starts
        driver.deliver(0, at(1020000));
        driver.deliver(0, at(1100000));                               // three are missing
        driver.deliver(0, at(1129999));                               // half a picture is none
        driver.deliver(0, deckLinkPicture(64, 32, bmdFormat8BitYUV)); // tells no time
        driver.deliver(0, at(1149999));
        driver.deliver(0, at(500000));    // back
        driver.deliver(0, at(540000, 0)); // a duration that is none
        told = output.text();
    }
    EXPECT_EQ(told,
              "[DECKLINK DROP DETECTED] 3 frames dropped! (Current StreamTime: 1100000, "
              "Expected: 1040000)\n"
              "[DECKLINK DROP DETECTED] 0 frames dropped! (Current StreamTime: 1129999, "
              "Expected: 1120000)\n");
}

TEST_F(LLiveDeckLink, TheCardsTimecodeIsStampedOnlyWhenItIsTheSource) {
    ASSERT_TRUE(startCard(0));
    DeckLinkFrame frame = deckLinkPicture(64, 32, bmdFormat8BitYUV);
    frame.timecodes[bmdTimecodeRP188Any] = "10:11:12:13";
    live->setProps("timecodeSource", "1");
    shown(frame);
    EXPECT_EQ(live->getTimeCode(), "");
    live->setProps("timecode", "true");
    EXPECT_EQ(live->getTimeCode(), "00:00:00:00");
    shown(frame);
    EXPECT_EQ(live->getTimeCode(), "10:11:12:13");
    EXPECT_EQ(sink.pictures().back().timecode, "10:11:12:13");
    shown(deckLinkPicture(64, 32, bmdFormat8BitYUV)); // without one the last stays
    EXPECT_EQ(sink.pictures().back().timecode, "10:11:12:13");
    expectAllGivenBack(3);
}

TEST_F(LLiveDeckLink, TheFirstChangeOfFormatAlwaysRestartsTheInput) {
    ASSERT_TRUE(startCard(0));
    driver.changeFormat(0, 1, bmdModeHD1080p50, 0); // nothing changed
    const auto pauses = [this] {
        return driver.state().callsOf("IDeckLinkInput::PauseStreams").size();
    };
    EXPECT_EQ(pauses(), 1U);
    EXPECT_EQ(live->getFPS(), 50.0);
    driver.changeFormat(0, 1, bmdModeHD1080p50, 0);
    EXPECT_EQ(pauses(), 1U);
    driver.changeFormat(0, 1, fourCC("pal "), 0);
    EXPECT_EQ(pauses(), 2U);
    EXPECT_EQ(card().inputMode, fourCC("pal "));
    EXPECT_EQ(card().inputFormat, bmdFormat8BitYUV);
    EXPECT_EQ(card().inputFlags, 1U);
    EXPECT_TRUE(card().streaming);
    EXPECT_EQ(live->getWidth(), 720);
    EXPECT_EQ(live->getHeight(), 576);
    EXPECT_EQ(live->getFPS(), 25.0);
    driver.changeFormat(0, 1, fourCC("pal "), bmdDetectedVideoInputRGB444);
    EXPECT_EQ(pauses(), 3U);
    EXPECT_EQ(card().inputFormat, bmdFormat8BitARGB);
    driver.changeFormat(0, 1, 0, 0); // tells of no mode
    EXPECT_EQ(pauses(), 3U);
    expectAllGivenBack(0);
}

TEST_F(LLiveDeckLink, InAChosenFormatOnlyTheColoursAreFollowed) {
    ASSERT_TRUE(startCard(0, 0, 2));
    driver.changeFormat(0, 1, fourCC("pal "), bmdDetectedVideoInputRGB444);
    EXPECT_EQ(card().inputMode, fourCC("Hp25"));
    EXPECT_EQ(card().inputFormat, bmdFormat8BitARGB);
    EXPECT_EQ(live->getWidth(), 1920);
    EXPECT_EQ(live->getFPS(), 25.0);
}

TEST_F(LLiveDeckLink, AStartForgetsThePixelFormatOfTheRunBefore) {
    ASSERT_TRUE(startCard(0));
    driver.changeFormat(0, 1, bmdModeHD1080p50, 0);
    ASSERT_TRUE(live->Start());
    driver.changeFormat(0, 1, bmdModeHD1080p50, 0);
    EXPECT_EQ(driver.state().callsOf("IDeckLinkInput::PauseStreams").size(), 2U);
}

// A run of its own, without the object that makes and ends it.
class DeckLinkRun : public testing::Test {
protected:
    DeckLinkRun() {
        driver.reset();
        const Card card = cards().at(firstCard);
        input = query<IDeckLinkInput>(card);
        for (auto& row : displayModes(input.get()))
            modes.push_back(std::move(row.mode));
        run = std::make_unique<quol::LiveDeckLink>(hub, card, input, 0);
        hub.state.running = true;
        callback = quol::DeckLinkInputCallback::make();
        EXPECT_TRUE(run->start(modes.at(0).get(), callback.get()));
    }
    // The last mode that the card was set up in.
    std::int64_t mode() const {
        return driver.state().callsOf("IDeckLinkInput::EnableVideoInput").back().arguments.at(0);
    }
    std::size_t pauses() const {
        return driver.state().callsOf("IDeckLinkInput::PauseStreams").size();
    }

    test::DeckLinkStandin& driver = test::deckLinkStandin();
    int pictures = 0;
    int sounds = 0;
    quol::LiveHub hub{quol::LiveOutlets{[this](AVFrame*) { ++pictures; },
                                        [this](AVFrame*) { ++sounds; },
                                        [](const quol::AudioPeak&) {}}};
    ComRef<IDeckLinkInput> input;
    std::vector<ComRef<IDeckLinkDisplayMode>> modes;
    std::unique_ptr<quol::LiveDeckLink> run;
    ComRef<quol::DeckLinkInputCallback> callback;
};

// The driver may be about to call when the end comes.
TEST_F(DeckLinkRun, AChangeOfFormatBehindTheEndIsNotFollowed) {
    run->formatChanged(*modes.at(1).get(), 0);
    EXPECT_EQ(pauses(), 1U);
    EXPECT_EQ(mode(), fourCC("Hp25"));
    run->end();
    run->settle();
    run->formatChanged(*modes.at(3).get(), 0);
    EXPECT_EQ(pauses(), 1U);
    EXPECT_FALSE(driver.state().cards[firstCard].streaming);
    EXPECT_EQ(mode(), fourCC("Hp25"));
    EXPECT_EQ(hub.state.detectedWidth, 1920);
}

TEST_F(DeckLinkRun, WhatArrivesBehindTheStopIsLeftAlone) {
    // The stand-in's own callback hands out pictures and sound of the driver's.
    class Forward final : public IDeckLinkInputCallback {
    public:
        explicit Forward(quol::LiveDeckLink& to) : to_(to) {}
        HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
        ULONG AddRef() override { return 2; }
        ULONG Release() override { return 1; }
        HRESULT VideoInputFormatChanged(std::uint32_t, IDeckLinkDisplayMode*,
                                        std::uint32_t) override {
            return S_OK;
        }
        HRESULT VideoInputFrameArrived(IDeckLinkVideoInputFrame* frame,
                                       IDeckLinkAudioInputPacket* sound) override {
            to_.frameArrived(frame, sound);
            return S_OK;
        }

    private:
        quol::LiveDeckLink& to_;
    } forward(*run);
    input->SetCallback(&forward);
    const DeckLinkFrame frame = deckLinkPicture(64, 32, bmdFormat8BitYUV);
    driver.deliver(firstCard, frame, silence());
    EXPECT_EQ(sounds, 1);
    EXPECT_EQ(driver.state().liveOf("IDeckLinkVideoInputFrame"), 1U); // waits for the loop
    hub.state.running = false;
    driver.deliver(firstCard, frame, silence());
    EXPECT_EQ(sounds, 1);
    EXPECT_EQ(driver.state().liveOf("IDeckLinkVideoInputFrame"), 1U);
    input->SetCallback(nullptr);
    run->end();
}

// The driver is slow about the change: the stop reaches the card all the same, and the streams that
// the change was about to start do not run on.
TEST_F(LLiveDeckLink, AChangeOfFormatInProgressHoldsNoStopUp) {
    for (const char* method :
         {"IDeckLinkInput::EnableVideoInput", "IDeckLinkInput::StartStreams"}) {
        driver.reset();
        ASSERT_TRUE(startCard(0));
        std::thread call = heldChange(method);
        std::thread stopper([this] { live->Stop(); });
        EXPECT_TRUE(driver.wait([](const DeckLinkState& state) {
            return state.callsOf("IDeckLinkInput::StopStreams").size() == 1 &&
                   !state.callsOf("IDeckLinkInput::DisableAudioInput").empty();
        })) << method;
        driver.holdCalls({});
        call.join();
        stopper.join();
        EXPECT_FALSE(card().streaming) << method;
        EXPECT_FALSE(card().videoInput) << method;
        // Behind the end no more is asked of the card than was asked already.
        EXPECT_EQ(driver.state().callsOf("IDeckLinkInput::StartStreams").size(),
                  std::string(method) == "IDeckLinkInput::StartStreams" ? 2U : 1U);
        EXPECT_NE(live->getHeight(), 576) << method; // nobody follows it any more
        ASSERT_TRUE(live->Start());
        EXPECT_TRUE(card().streaming);
        close();
    }
}

// The loop looks at its queue ten times a second by itself.
TEST_F(LLiveDeckLink, APictureIsPassedOnAsSoonAsItComes) {
    ASSERT_TRUE(startCard(0));
    const DeckLinkFrame picture = deckLinkPicture(64, 32, bmdFormat8BitYUV);
    shown(picture);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 40; ++i)
        shown(picture);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

// Held up for longer than a stop waits.
TEST_F(LLiveDeckLink, ALateChangeOfFormatLeavesTheCardOff) {
    for (const char* method :
         {"IDeckLinkInput::PauseStreams", "IDeckLinkInput::EnableVideoInput"}) {
        driver.reset();
        ASSERT_TRUE(startCard(0));
        std::thread call = heldChange(method);
        live->Stop();
        driver.holdCalls({});
        call.join();
        EXPECT_FALSE(card().videoInput) << method;
        EXPECT_FALSE(card().streaming) << method;
        close();
    }
}

TEST_F(LLiveDeckLink, StreamsThatAChangeOfFormatStartsBehindTheStopAreStoppedAgain) {
    const std::string start = "IDeckLinkInput::StartStreams";
    const std::string next = "IDeckLinkInput::SetCallback"; // what a stop does next
    ASSERT_TRUE(startCard(0));
    driver.holdCalls({start, next});
    std::thread call([this] { driver.changeFormat(0, 1, fourCC("pal "), 0); });
    EXPECT_TRUE(
        driver.wait([&](const DeckLinkState& state) { return state.callsOf(start).size() == 2; }));
    std::thread stopper([this] { live->Stop(); });
    EXPECT_TRUE(
        driver.wait([&](const DeckLinkState& state) { return state.callsOf(next).size() == 2; }));
    driver.holdCalls({next});
    call.join();
    EXPECT_TRUE(card().streaming);
    driver.holdCalls({});
    stopper.join();
    EXPECT_FALSE(card().streaming);
    EXPECT_FALSE(card().videoInput);
}

TEST_F(LLiveDeckLink, TheQueueHoldsThirtyPicturesAndDropsTheOldest) {
    SlowSink slow;
    ASSERT_TRUE(startCard(0));
    live->addSink(&slow);
    {
        const std::lock_guard hold(slow.gate);
        driver.deliver(0, deckLinkPicture(64, 32, bmdFormat8BitYUV, 0));
        ASSERT_TRUE(sink.waitForPictures(1)); // the loop is in the slow sink, or on its way there
        for (unsigned i = 1; i <= 40; ++i)
            driver.deliver(0, deckLinkPicture(64, 32, bmdFormat8BitYUV, i));
    }
    ASSERT_TRUE(sink.waitForPictures(31));
    ASSERT_TRUE(driver.wait(
        [](const DeckLinkState& state) { return state.liveOf("IDeckLinkVideoInputFrame") <= 31; }));
    live->Stop();
    EXPECT_EQ(sink.pictureCount(), 31U);
    EXPECT_EQ(sink.latestPicture()->data[0][0],
              deckLinkPicture(64, 32, bmdFormat8BitYUV, 40).bytes->at(0));
    live->removeSink(&slow);
    slow.kept.clear();
    expectAllGivenBack(31);
}

TEST_F(LLiveDeckLink, PicturesHeldPastTheStopStayReadable) {
    ASSERT_TRUE(startCard(0));
    const DeckLinkFrame frame = deckLinkPicture(64, 32, bmdFormat8BitYUV, 9);
    const std::vector<std::uint8_t> expected = *frame.bytes;
    quol::FramePtr held = shown(frame);
    sink.clear();
    close();
    EXPECT_EQ(std::memcmp(held->data[0], expected.data(), expected.size()), 0);
    EXPECT_EQ(driver.state().liveOf("IDeckLinkVideoInputFrame"), 1U);
    held.reset();
    EXPECT_EQ(driver.state().liveOf("IDeckLinkVideoInputFrame"), 0U);
    EXPECT_EQ(driver.state().misuses, std::vector<std::string>{});
}

TEST_F(LLiveDeckLink, StopGivesBackWhatWaitsInTheQueue) {
    SlowSink slow;
    ASSERT_TRUE(startCard(0));
    live->addSink(&slow);
    std::thread stopper;
    {
        const std::lock_guard hold(slow.gate);
        driver.deliver(0, deckLinkPicture(64, 32, bmdFormat8BitYUV, 0));
        ASSERT_TRUE(sink.waitForPictures(1));
        for (unsigned i = 1; i <= 10; ++i)
            driver.deliver(0, deckLinkPicture(64, 32, bmdFormat8BitYUV, i));
        stopper = std::thread([this] { live->Stop(); });
        EXPECT_TRUE(driver.wait(
            [](const DeckLinkState& state) { return !state.cards[firstCard].callback; }));
    }
    stopper.join();
    EXPECT_EQ(sink.pictureCount(), 1U);
    live->removeSink(&slow);
    slow.kept.clear();
    expectAllGivenBack(1);
}

TEST_F(LLiveDeckLink, StopWaitsForACallInProgress) {
    PatientSink patient;
    ASSERT_TRUE(startCard(0));
    live->addSink(&patient);
    std::thread call([this] { driver.deliver(0, std::nullopt, silence()); });
    ASSERT_TRUE(test::waitUntil([&] { return patient.inSound.load(); }));
    live->Stop();
    EXPECT_TRUE(patient.leftSound);
    call.join();
    live->removeSink(&patient);
}

// The driver's thread is stuck in a sink for longer than the stop waits for it.
TEST_F(LLiveDeckLink, StopDoesNotWaitForALateCallForEverButTheEndDoes) {
    SlowSink slow;
    ASSERT_TRUE(startCard(0));
    live->removeSink(&sink);
    live->addSink(&slow);
    std::unique_lock hold(slow.soundGate);
    std::thread call([this] { driver.deliver(0, std::nullopt, silence()); });
    ASSERT_TRUE(test::waitUntil([&] { return slow.inSound.load(); }));
    live->Stop(); // returns though the call is still inside
    int status = 1;
    live->statusGet(status);
    EXPECT_EQ(status, 0);
    // That call has been given up: other stops do not wait for it again.
    const std::int64_t before = quol::steadyNow();
    constexpr int others = 8;
    for (int i = 0; i < others; ++i) {
        ASSERT_TRUE(live->Start());
        live->Stop();
    }
    EXPECT_LT(quol::steadyNow() - before, others * quol::nanosPerSecond);
    std::atomic<bool> gone{false};
    std::thread end([&] {
        live.reset();
        gone = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(gone);
    hold.unlock();
    call.join();
    end.join();
}

TEST_F(LLiveDeckLink, DriverAndHostAtTheSameTime) {
    ASSERT_TRUE(startCard(0));
    live->setProps("timecode", "1");
    live->setProps("timecodeSource", "1");
    std::atomic<bool> end{false};
    std::thread capture([&] {
        unsigned number = 0;
        while (!end) {
            DeckLinkFrame frame = deckLinkPicture(64, 32, bmdFormat8BitYUV, ++number);
            frame.timecodes[bmdTimecodeRP188Any] = "01:02:03:04";
            if (number % 5 == 0) frame.flags = bmdFrameHasNoInputSource;
            driver.deliver(0, frame, silence());
            if (number % 7 == 0)
                driver.changeFormat(0, 1, number % 2 == 0 ? fourCC("Hp25") : fourCC("pal "), 0);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    for (int i = 0; i < 15; ++i) {
        live->setVideoFormat({1, 0, 0, 0.0, i % 2 == 0 ? 1 : 0});
        live->getTimeCode();
        EXPECT_TRUE(sink.waitForPictures(sink.pictureCount() + 2));
        if (i % 3 == 0) {
            live->Stop();
            EXPECT_TRUE(live->Start());
        }
    }
    live->Stop();
    end = true;
    capture.join();
}

TEST(DeckLinkCallback, AnswersItsInterfacesAndCountsItsReferences) {
    auto callback = quol::DeckLinkInputCallback::make();
    for (const REFIID id : {quol::decklink::IUnknown::iid, IDeckLinkInputCallback::iid}) {
        void* object = nullptr;
        EXPECT_EQ(callback->QueryInterface(id, &object), S_OK);
        EXPECT_EQ(object, static_cast<IDeckLinkInputCallback*>(callback.get()));
        EXPECT_EQ(callback->Release(), 1U);
    }
    void* object = &callback;
    EXPECT_EQ(callback->QueryInterface(IDeckLink::iid, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(callback->QueryInterface(IDeckLink::iid, nullptr), E_POINTER);
    EXPECT_EQ(callback->AddRef(), 2U);
    EXPECT_EQ(callback->Release(), 1U);
    EXPECT_EQ(callback->VideoInputFrameArrived(nullptr, nullptr), S_OK);
    EXPECT_EQ(callback->VideoInputFormatChanged(0, nullptr, 0), S_OK);
}

} // namespace

// A live input with DeckLink cards: what it lists, and how it starts.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/decklink/Cards.h"
#include "sources/DeckLinkInputCallback.h"
#include "support/CapturedStream.h"
#include "support/LiveCards.h"
#include "support/NoThreads.h"

namespace {

using namespace quol::decklink;
using test::CapturedStream;
using test::DeckLinkCall;
using test::deckLinkPicture;
using test::DeckLinkState;
using test::firstCard;
using test::secondCard;
using test::silence;
using LLiveDeckLink = test::LiveCards;

// An input whose queue of pictures can be looked at.
class OpenLive : public LLive {
public:
    std::size_t queued() { return queuedFrames(); }
    // The time stamp of the oldest picture; -1 without one.
    std::int64_t oldest() {
        const std::lock_guard lock(frameQueueMutex);
        return frameQueue.empty() ? -1 : frameQueue.front()->pts;
    }
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

TEST_F(LLiveDeckLink, CountingTheDevicesKeepsAChannelAndAFormatThatAreNotTheFirst) {
    ASSERT_TRUE(startCard(0, 1, 2));
    EXPECT_EQ(card().inputMode, fourCC("Hp25"));
    EXPECT_EQ(card().inputConnection, 1); // no lines were held
    live->Stop();
    int count = 0;
    live->DeviceGetCount(count);
    // Formats and lines are asked for anew, nothing is chosen.
    live->DeviceFormatVideoGetCount(0, 1, count);
    EXPECT_EQ(count, 5);
    live->DeviceChannelGetCount(0, count);
    EXPECT_EQ(count, 2);
    ASSERT_TRUE(live->Start());
    EXPECT_EQ(card().inputMode, fourCC("Hp25"));
    EXPECT_EQ(card().inputConnection, 2);
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

TEST_F(LLiveDeckLink, InTheAutomaticModeItStartsIn1080p50AndSaysSo) {
    std::string told;
    {
        CapturedStream output(CapturedStream::Stream::output);
        ASSERT_TRUE(startCard(0, 0, 0));
        told = output.text();
    }
    EXPECT_NE(told.find("LLive: DeckLink Auto Mode Enabled.\n"), std::string::npos) << told;
    EXPECT_EQ(told.find("Manual Mode"), std::string::npos) << told;
    EXPECT_EQ(card().inputMode, fourCC("Hp50"));
    EXPECT_EQ(card().inputFlags, bmdVideoInputEnableFormatDetection);
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
    EXPECT_EQ(shown(test::noSignal(1280, 720), secondCard)->width, 1280);
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

TEST_F(LLiveDeckLink, WithoutASinkTheQueueHoldsTheFiftyNewestPictures) {
    auto made = std::make_unique<OpenLive>();
    OpenLive& alone = *made;
    live = std::move(made);
    int count = 0;
    alone.DeviceGetCount(count);
    alone.DeviceSet(0);
    alone.DeviceChannelSet(0);
    ASSERT_TRUE(alone.Start());
    const test::DeckLinkFrame picture = deckLinkPicture(64, 32, bmdFormat8BitYUV);
    for (std::size_t i = 1; i <= 50; ++i) {
        driver.deliver(firstCard, picture);
        ASSERT_TRUE(test::waitUntil([&] { return alone.queued() == i; })) << i;
    }
    for (int more = 0; more < 10; ++more) {
        const std::int64_t before = alone.oldest();
        driver.deliver(firstCard, picture);
        ASSERT_TRUE(test::waitUntil([&] { return alone.oldest() > before; })) << more;
        EXPECT_EQ(alone.queued(), 50U);
    }
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

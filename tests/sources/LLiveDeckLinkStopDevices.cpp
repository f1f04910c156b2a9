// Changes of format and stops of a live input with DeckLink cards, also at the same time.
#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "core/Clock.h"
#include "platform/decklink/Cards.h"
#include "sources/DeckLinkInputCallback.h"
#include "sources/LiveDeckLink.h"
#include "support/CapturedStream.h"
#include "support/LiveCards.h"

namespace {

using namespace quol::decklink;
using test::CapturedStream;
using test::DeckLinkFrame;
using test::deckLinkPicture;
using test::DeckLinkState;
using test::firstCard;
using test::HeldSink;
using test::PatientSink;
using test::silence;
using LLiveDeckLink = test::LiveCards;

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

TEST_F(LLiveDeckLink, StopGivesBackWhatWaitsInTheQueue) {
    HeldSink slow;
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
    HeldSink slow;
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

} // namespace

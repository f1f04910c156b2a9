// What the tests of a live input with DeckLink cards share: an input on the stand-in's machine, and
// sinks that hold its threads up.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/decklink/Numbers.h"
#include "quolsdk/LLive.h"
#include "support/CollectingSink.h"
#include "support/DeckLinkStandin.h"

namespace test {

constexpr std::size_t firstCard = 0;
constexpr std::size_t secondCard = 1;

inline DeckLinkFrame noSignal(long width = 1920, long height = 1080) {
    DeckLinkFrame frame = deckLinkPicture(width, height, quol::decklink::bmdFormat8BitYUV);
    frame.flags = quol::decklink::bmdFrameHasNoInputSource;
    return frame;
}

inline DeckLinkSound silence(std::size_t pairs = 960) {
    return {std::vector<std::int16_t>(pairs * 2, 0)};
}

// A sink that holds its source up until it is let go.
class HeldSink : public LSink {
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

class LiveCards : public testing::Test {
protected:
    LiveCards() { driver.reset(); }
    ~LiveCards() override { close(); }

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
        std::thread call([this] { driver.changeFormat(0, 1, quol::decklink::fourCC("pal "), 0); });
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
        for (const DeckLinkObject& object : state.live) {
            EXPECT_EQ(object.interface, "IDeckLinkVideoBuffer");
            EXPECT_EQ(object.references, 1U);
        }
        EXPECT_EQ(state.live.size(), wrapped);
    }
    DeckLinkCardState card(std::size_t index = firstCard) { return driver.state().cards[index]; }
    std::vector<std::string> methodsOf(std::size_t index) {
        std::vector<std::string> methods;
        for (const DeckLinkCall& call : driver.state().calls) {
            if (call.card == index) methods.push_back(call.method);
        }
        return methods;
    }

    DeckLinkStandin& driver = deckLinkStandin();
    CollectingSink sink{8};
    std::unique_ptr<LLive> live;
};

} // namespace test

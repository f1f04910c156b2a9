// The DeckLink driver as the library calls it, and that the stand-in tells of mistakes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstring>
#include <thread>

#include "platform/decklink/Cards.h"
#include "support/DeckLinkStandin.h"

namespace {

using namespace quol::decklink;
using test::DeckLinkState;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// A callback that remembers what came.
class Callback final : public IDeckLinkInputCallback {
public:
    HRESULT QueryInterface(REFIID /*id*/, void** /*object*/) override { return E_NOINTERFACE; }
    ULONG AddRef() override { return ++references; }
    ULONG Release() override { return --references; }
    HRESULT VideoInputFormatChanged(std::uint32_t newEvents, IDeckLinkDisplayMode* newMode,
                                    std::uint32_t newFlags) override {
        events = newEvents;
        flags = newFlags;
        mode = newMode == nullptr ? 0 : newMode->GetDisplayMode();
        return S_OK;
    }
    HRESULT VideoInputFrameArrived(IDeckLinkVideoInputFrame* newFrame,
                                   IDeckLinkAudioInputPacket* newSound) override {
        ++calls;
        frame = ComRef<IDeckLinkVideoInputFrame>::retain(newFrame);
        sound = ComRef<IDeckLinkAudioInputPacket>::retain(newSound);
        return result;
    }

    std::atomic<ULONG> references = 1;
    HRESULT result = S_OK;
    int calls = 0;
    std::uint32_t events = 0;
    std::uint32_t flags = 0;
    std::uint32_t mode = 0;
    ComRef<IDeckLinkVideoInputFrame> frame;
    ComRef<IDeckLinkAudioInputPacket> sound;
};

class DeckLinkDevices : public ::testing::Test {
protected:
    void SetUp() override { standin.reset(); }

    ComRef<IDeckLinkInput> input(std::size_t card = 0) {
        return query<IDeckLinkInput>(cards().at(card));
    }
    ComRef<IDeckLinkOutput> output() { return query<IDeckLinkOutput>(cards().at(0)); }

    // A picture as it arrives at a callback.
    ComRef<IDeckLinkVideoInputFrame> arrived(const test::DeckLinkFrame& picture) {
        Callback callback;
        const auto in = input();
        in->SetCallback(&callback);
        EXPECT_EQ(standin.deliver(0, picture), S_OK);
        in->SetCallback(nullptr);
        return std::move(callback.frame);
    }

    test::DeckLinkStandin& standin = test::deckLinkStandin();
};

TEST_F(DeckLinkDevices, CardsAreListedInTheDriversOrder) {
    const std::vector<Card> found = cards();
    ASSERT_THAT(found, SizeIs(2));
    EXPECT_EQ(modelName(found[0].get()), "Stand-in Duo");
    EXPECT_EQ(modelName(found[1].get()), "Stand-in Capture");
    EXPECT_EQ(standin.state().iterators, 1);
}

TEST_F(DeckLinkDevices, EveryThreadFindsTheDriver) {
    std::array<std::size_t, 8> found{};
    {
        std::vector<std::jthread> threads;
        for (std::size_t& one : found)
            threads.emplace_back([&one] { one = cards().size(); });
    }
    EXPECT_THAT(found, ::testing::Each(2U));
    EXPECT_THAT(standin.state().live, IsEmpty());
}

TEST_F(DeckLinkDevices, CardsAreChosenByWhatTheyAnswer) {
    EXPECT_THAT(cardsWith<IDeckLinkInput>(), SizeIs(2));
    const std::vector<Card> outputs = cardsWith<IDeckLinkOutput>();
    ASSERT_THAT(outputs, SizeIs(1));
    EXPECT_EQ(modelName(outputs[0].get()), "Stand-in Duo");
}

TEST_F(DeckLinkDevices, EverythingIsGivenBack) {
    {
        const std::vector<Card> found = cards();
        const std::vector<DisplayMode> modes = displayModes(input().get());
        EXPECT_EQ(standin.state().liveOf("IDeckLink"), 2U);
        EXPECT_EQ(standin.state().liveOf("IDeckLinkDisplayMode"), 4U);
        EXPECT_EQ(standin.state().live.size(), 6U);
    }
    EXPECT_THAT(standin.state().live, IsEmpty());
    EXPECT_THAT(standin.state().misuses, IsEmpty());
}

TEST_F(DeckLinkDevices, NoIteratorIsNoCards) {
    standin.refuseIterator(true);
    EXPECT_FALSE(createIterator());
    EXPECT_THAT(cards(), IsEmpty());
    standin.refuseIterator(false);
    standin.fail("IDeckLinkIterator::Next");
    EXPECT_THAT(cards(), IsEmpty());
    standin.fail("IDeckLinkIterator::Next", E_FAIL, 0);
    standin.setCards({});
    EXPECT_THAT(cards(), IsEmpty());
    EXPECT_THAT(standin.state().live, IsEmpty());
}

TEST_F(DeckLinkDevices, ACardWithoutANameHasAnEmptyOne) {
    std::vector<test::DeckLinkCard> one(1);
    one.front().model.reset();
    standin.setCards(one);
    EXPECT_EQ(modelName(cards().at(0).get()), "");
}

TEST_F(DeckLinkDevices, LinesAreThoseOfTheCardOrTheOtherOne) {
    const std::vector<Card> found = cards();
    const auto inputs = [](const Card& card) {
        return connectorLines(card.get(), BMDDeckLinkVideoInputConnections, "HDMI (Auto)");
    };
    const auto outputs = [](const Card& card) {
        return connectorLines(card.get(), BMDDeckLinkVideoOutputConnections, "Default");
    };
    EXPECT_THAT(inputs(found[0]), ElementsAre("SDI", "HDMI"));
    EXPECT_THAT(inputs(found[1]), ElementsAre("SDI", "HDMI", "Component", "Composite", "S-Video"));
    EXPECT_THAT(outputs(found[0]), ElementsAre("SDI", "HDMI"));
    EXPECT_THAT(outputs(found[1]), ElementsAre("Default"));
    standin.fail("IDeckLinkProfileAttributes::GetInt");
    EXPECT_THAT(inputs(found[0]), ElementsAre("HDMI (Auto)"));

    test::DeckLinkCard mute;
    mute.attributes = false;
    standin.setCards({mute});
    EXPECT_THAT(inputs(cards().at(0)), ElementsAre("HDMI (Auto)"));
}

TEST_F(DeckLinkDevices, FlagsAreReadOrFalse) {
    const std::vector<Card> found = cards();
    constexpr std::uint32_t flag = BMDDeckLinkSupportsInputFormatDetection;
    EXPECT_TRUE(flagAttribute(found[0].get(), flag));
    EXPECT_FALSE(flagAttribute(found[1].get(), flag));
    standin.fail("IDeckLinkProfileAttributes::GetFlag");
    EXPECT_FALSE(flagAttribute(found[0].get(), flag));
}

TEST_F(DeckLinkDevices, ConnectionsAreSetWhereACardCanBeConfigured) {
    const std::vector<Card> found = cards();
    EXPECT_EQ(setConnection(found[1].get(), BMDDeckLinkVideoInputConnections, 16), S_OK);
    EXPECT_EQ(setConnection(found[0].get(), BMDDeckLinkVideoOutputConnections, 2), S_OK);
    const DeckLinkState state = standin.state();
    EXPECT_EQ(state.cards[1].inputConnection, 16);
    EXPECT_EQ(state.cards[0].outputConnection, 2);
    EXPECT_EQ(state.cards[0].inputConnection, std::nullopt);
    EXPECT_THAT(
        state.callsOf("IDeckLinkConfiguration::SetInt"),
        ElementsAre(
            test::DeckLinkCall{
                1, "IDeckLinkConfiguration::SetInt", {BMDDeckLinkVideoInputConnections, 16}},
            test::DeckLinkCall{
                0, "IDeckLinkConfiguration::SetInt", {BMDDeckLinkVideoOutputConnections, 2}}));

    standin.fail("IDeckLinkConfiguration::SetInt", E_ACCESSDENIED);
    EXPECT_EQ(setConnection(found[0].get(), BMDDeckLinkVideoOutputConnections, 1), E_ACCESSDENIED);
    EXPECT_EQ(standin.state().cards[0].outputConnection, 2);

    test::DeckLinkCard fixed;
    fixed.configuration = false;
    standin.setCards({fixed});
    EXPECT_EQ(setConnection(cards().at(0).get(), BMDDeckLinkVideoInputConnections, 1),
              std::nullopt);
}

TEST_F(DeckLinkDevices, ModesComeWithNameSizeAndRate) {
    const std::vector<DisplayMode> modes = displayModes(input().get());
    ASSERT_THAT(modes, SizeIs(4));
    EXPECT_EQ(modes[0].name, "1080p50");
    EXPECT_EQ(modes[0].size, (ModeSize{1920, 1080, 50.0}));
    EXPECT_EQ(modes[0].mode->GetDisplayMode(), bmdModeHD1080p50);
    EXPECT_EQ(modes[2].size, (ModeSize{1920, 1080, 30000.0 / 1001.0}));
    EXPECT_EQ(modes[3].name, "PAL");
    EXPECT_EQ(modes[3].size, (ModeSize{720, 576, 25.0}));
    EXPECT_THAT(displayModes(output().get()), SizeIs(4));
}

TEST_F(DeckLinkDevices, WhatAModeDoesNotTellIsFilledIn) {
    test::DeckLinkCard card;
    card.modes = {{1, std::nullopt, 100, 50, 0, 25}, {2, "Huge", 1L << 40, -1, 1, 25}};
    standin.setCards({card});
    std::vector<DisplayMode> modes = displayModes(input().get());
    ASSERT_THAT(modes, SizeIs(2));
    EXPECT_EQ(modes[0].name, "Unknown");
    EXPECT_EQ(modes[0].size, (ModeSize{100, 50, 0.0}));
    EXPECT_EQ(modes[1].size, (ModeSize{2147483647, 0, 25.0}));
    standin.fail("IDeckLinkDisplayMode::GetFrameRate");
    EXPECT_EQ(modeSize(*modes[1].mode.get()).frameRate, 0.0);
    standin.fail("IDeckLinkInput::GetDisplayModeIterator");
    EXPECT_THAT(displayModes(input().get()), IsEmpty());
}

// ----------------------------------------------------------------------------- input and output

TEST_F(DeckLinkDevices, AnInputRunsAsItIsTold) {
    const auto in = input();
    EXPECT_EQ(in->StartStreams(), E_ACCESSDENIED);
    EXPECT_EQ(in->EnableVideoInput(fourCC("none"), bmdFormat8BitYUV, 0), E_INVALIDARG);
    EXPECT_EQ(in->EnableVideoInput(bmdModeHD1080p50, bmdFormat8BitYUV, 1), S_OK);
    EXPECT_EQ(in->EnableAudioInput(48000, 16, 2), S_OK);
    EXPECT_EQ(in->StartStreams(), S_OK);
    EXPECT_EQ(in->EnableVideoInput(fourCC("Hp25"), bmdFormat8BitYUV, 1), E_ACCESSDENIED);
    EXPECT_EQ(in->PauseStreams(), S_OK);
    EXPECT_TRUE(standin.state().cards[0].paused);
    EXPECT_EQ(in->EnableVideoInput(fourCC("Hp25"), bmdFormat8BitARGB, 1), S_OK);
    EXPECT_EQ(in->StartStreams(), S_OK);
    test::DeckLinkCardState state = standin.state().cards[0];
    EXPECT_TRUE(state.streaming && !state.paused && state.videoInput && state.audioInput);
    EXPECT_EQ(state.inputMode, fourCC("Hp25"));
    EXPECT_EQ(state.inputFormat, bmdFormat8BitARGB);
    EXPECT_EQ(state.inputFlags, 1U);
    EXPECT_EQ(in->StopStreams(), S_OK);
    EXPECT_EQ(in->DisableVideoInput(), S_OK);
    EXPECT_EQ(in->DisableAudioInput(), S_OK);
    state = standin.state().cards[0];
    EXPECT_FALSE(state.streaming || state.paused || state.videoInput || state.audioInput);
    EXPECT_EQ(standin.state().callsOf("IDeckLinkInput::EnableAudioInput").at(0).arguments,
              (std::vector<std::int64_t>{48000, 16, 2}));
}

TEST_F(DeckLinkDevices, ACallFailsAsOftenAsScripted) {
    const auto in = input();
    standin.fail("IDeckLinkInput::FlushStreams", E_OUTOFMEMORY, 2);
    EXPECT_EQ(in->FlushStreams(), E_OUTOFMEMORY);
    EXPECT_EQ(in->FlushStreams(), E_OUTOFMEMORY);
    EXPECT_EQ(in->FlushStreams(), S_OK);
}

TEST_F(DeckLinkDevices, ACallbackGetsPicturesAndSound) {
    Callback callback;
    const auto in = input();
    EXPECT_EQ(standin.deliver(0, std::nullopt), std::nullopt);
    in->SetCallback(&callback);
    EXPECT_EQ(callback.references, 2U);
    test::DeckLinkFrame picture = test::deckLinkPicture(16, 4, bmdFormat8BitYUV, 3);
    picture.streamTime = {40000, 20000};
    picture.timecodes[bmdTimecodeRP188Any] = "10:11:12:13";
    picture.flags = bmdFrameHasNoInputSource;
    callback.result = E_FAIL;
    EXPECT_EQ(standin.deliver(0, picture, test::DeckLinkSound{{1, 2, 3, 4}}), E_FAIL);

    IDeckLinkVideoInputFrame& frame = *callback.frame.get();
    EXPECT_EQ(frame.GetWidth(), 16);
    EXPECT_EQ(frame.GetHeight(), 4);
    EXPECT_EQ(frame.GetRowBytes(), 32);
    EXPECT_EQ(frame.GetPixelFormat(), bmdFormat8BitYUV);
    EXPECT_EQ(frame.GetFlags(), bmdFrameHasNoInputSource);
    BMDTimeValue time = 0;
    BMDTimeValue duration = 0;
    EXPECT_EQ(frame.GetStreamTime(&time, &duration, 1000), S_OK);
    EXPECT_EQ(time, 40);
    EXPECT_EQ(duration, 20);
    const auto timecode = received<IDeckLinkTimecode>(
        [&](auto** out) { return frame.GetTimecode(bmdTimecodeRP188Any, out); });
    ASSERT_TRUE(timecode);
    EXPECT_EQ(driverText([&](const char** out) { return timecode->GetString(out); }),
              "10:11:12:13");
    EXPECT_FALSE(received<IDeckLinkTimecode>(
        [&](auto** out) { return frame.GetTimecode(bmdTimecodeRP188VITC2, out); }));
    EXPECT_EQ(callback.sound->GetSampleFrameCount(), 2);
    void* bytes = nullptr;
    EXPECT_EQ(callback.sound->GetBytes(&bytes), S_OK);
    EXPECT_EQ(static_cast<std::int16_t*>(bytes)[3], 4);

    EXPECT_EQ(standin.deliver(0, std::nullopt, std::nullopt), E_FAIL);
    EXPECT_FALSE(callback.frame);
    EXPECT_FALSE(callback.sound);
    in->SetCallback(nullptr);
    EXPECT_EQ(callback.references, 1U);
    EXPECT_EQ(callback.calls, 2);
}

TEST_F(DeckLinkDevices, ACallbackHearsOfAChangedFormat) {
    Callback callback;
    const auto in = input();
    in->SetCallback(&callback);
    EXPECT_EQ(standin.changeFormat(0, 7, fourCC("pal "), bmdDetectedVideoInputRGB444), S_OK);
    EXPECT_EQ(callback.events, 7U);
    EXPECT_EQ(callback.mode, fourCC("pal "));
    EXPECT_EQ(callback.flags, bmdDetectedVideoInputRGB444);
    EXPECT_EQ(standin.changeFormat(0, 1, 0, 0), S_OK);
    EXPECT_EQ(callback.mode, 0U);
    EXPECT_THAT(standin.state().live, SizeIs(1));
    in->SetCallback(nullptr);
}

TEST_F(DeckLinkDevices, ACardForgetsItsCallbackWithItsLastInput) {
    Callback callback;
    auto in = input();
    auto again = query<IDeckLinkInput>(in);
    in->SetCallback(&callback);
    in.reset();
    EXPECT_TRUE(standin.state().cards[0].callback);
    again.reset();
    EXPECT_FALSE(standin.state().cards[0].callback);
    EXPECT_EQ(callback.references, 1U);
}

TEST_F(DeckLinkDevices, ThePictureAndItsBufferAreCountedForThemselves) {
    test::DeckLinkFrame picture = test::deckLinkPicture(16, 4, bmdFormat8BitYUV, 3);
    const std::weak_ptr<std::vector<std::uint8_t>> bytes = picture.bytes;
    auto frame = arrived(picture);
    const std::vector<std::uint8_t> expected = *picture.bytes;
    picture.bytes.reset();

    auto buffer = query<IDeckLinkVideoBuffer>(frame);
    ASSERT_TRUE(buffer);
    EXPECT_EQ(query<IDeckLinkVideoBuffer>(frame).get(), buffer.get());
    EXPECT_EQ(standin.state().referencesOf("IDeckLinkVideoBuffer"), 1U);
    EXPECT_EQ(standin.state().referencesOf("IDeckLinkVideoInputFrame"), 1U);
    EXPECT_EQ(buffer->StartAccess(bmdBufferAccessRead), S_OK);
    void* found = nullptr;
    EXPECT_EQ(buffer->GetBytes(&found), S_OK);
    const auto* const first = static_cast<const std::uint8_t*>(found);
    EXPECT_EQ(std::vector<std::uint8_t>(first, first + expected.size()), expected);
    EXPECT_EQ(buffer->EndAccess(bmdBufferAccessRead), S_OK);

    frame.reset();
    EXPECT_FALSE(bytes.expired());
    buffer.reset();
    EXPECT_TRUE(bytes.expired());
    EXPECT_THAT(standin.state().live, IsEmpty());
    EXPECT_THAT(standin.state().misuses, IsEmpty());
}

TEST_F(DeckLinkDevices, AReferenceThatIsKeptIsSeen) {
    auto frame = arrived(test::deckLinkPicture(16, 4, bmdFormat8BitYUV));
    IDeckLinkVideoBuffer* const leaked = query<IDeckLinkVideoBuffer>(frame).release();
    leaked->AddRef();
    frame.reset();
    const DeckLinkState state = standin.state();
    ASSERT_THAT(state.live, SizeIs(1));
    EXPECT_EQ(state.live[0].interface, "IDeckLinkVideoBuffer");
    EXPECT_EQ(state.live[0].references, 2U);
    leaked->Release();
    leaked->Release();
    EXPECT_THAT(standin.state().live, IsEmpty());
}

TEST_F(DeckLinkDevices, AReferenceThatIsGivenBackTwiceIsSeen) {
    auto frame = arrived(test::deckLinkPicture(16, 4, bmdFormat8BitYUV));
    IDeckLinkVideoInputFrame* const dangling = frame.get();
    frame.reset();
    dangling->Release();
    dangling->GetWidth();
    EXPECT_THAT(
        standin.state().misuses,
        ElementsAre(HasSubstr("IDeckLinkVideoInputFrame::Release after the last reference"),
                    HasSubstr("IDeckLinkVideoInputFrame::GetWidth after the last reference")));
}

TEST_F(DeckLinkDevices, AccessesThatAreNotInPairsAreSeen) {
    const auto frame = arrived(test::deckLinkPicture(16, 4, bmdFormat8BitYUV));
    auto buffer = query<IDeckLinkVideoBuffer>(frame);
    void* bytes = nullptr;
    EXPECT_EQ(buffer->GetBytes(&bytes), E_ACCESSDENIED);
    EXPECT_EQ(buffer->EndAccess(bmdBufferAccessRead), E_ACCESSDENIED);
    EXPECT_EQ(buffer->StartAccess(bmdBufferAccessRead), S_OK);
    buffer.reset();
    EXPECT_THAT(standin.state().misuses, ElementsAre(HasSubstr("GetBytes outside an access"),
                                                     HasSubstr("EndAccess without its StartAccess"),
                                                     HasSubstr("given back during an access")));
}

TEST_F(DeckLinkDevices, AnOutputShowsWhatWasWritten) {
    const auto out = output();
    EXPECT_EQ(out->EnableVideoOutput(fourCC("none"), 0), E_INVALIDARG);
    EXPECT_EQ(out->EnableVideoOutput(bmdModeHD1080p50, bmdVideoOutputRP188), S_OK);
    const auto frame = received<IDeckLinkMutableVideoFrame>(
        [&](auto** made) { return out->CreateVideoFrame(8, 2, 20, bmdFormat8BitYUV, 0, made); });
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->SetTimecodeFromComponents(bmdTimecodeRP188VITC2, 1, 2, 3, 4, 0), S_OK);
    {
        const auto buffer = query<IDeckLinkVideoBuffer>(frame);
        EXPECT_EQ(buffer->StartAccess(bmdBufferAccessWrite), S_OK);
        void* bytes = nullptr;
        EXPECT_EQ(buffer->GetBytes(&bytes), S_OK);
        std::memset(bytes, 0x5A, 40);
        EXPECT_EQ(out->DisplayVideoFrameSync(frame.get()), S_OK);
        EXPECT_THAT(standin.state().misuses, ElementsAre(HasSubstr("during an access")));
        EXPECT_EQ(buffer->EndAccess(bmdBufferAccessWrite), S_OK);
    }
    EXPECT_EQ(out->DisplayVideoFrameSync(frame.get()), S_OK);
    const test::DeckLinkCardState state = standin.state().cards[0];
    EXPECT_EQ(state.outputMode, bmdModeHD1080p50);
    EXPECT_EQ(state.outputFlags, 4U);
    EXPECT_EQ(state.framesShown, 2);
    const test::DeckLinkFrame& shown = state.shown.back();
    EXPECT_EQ(shown.width, 8);
    EXPECT_EQ(shown.height, 2);
    EXPECT_EQ(shown.rowBytes, 20);
    EXPECT_EQ(shown.pixelFormat, bmdFormat8BitYUV);
    EXPECT_EQ(*shown.bytes, std::vector<std::uint8_t>(40, 0x5A));
    EXPECT_THAT(shown.timecodes, ElementsAre(std::pair<const std::uint32_t, std::string>(
                                     bmdTimecodeRP188VITC2, "01:02:03:04")));
    EXPECT_EQ(out->DisableVideoOutput(), S_OK);
    EXPECT_EQ(out->DisplayVideoFrameSync(frame.get()), E_ACCESSDENIED);
}

TEST_F(DeckLinkDevices, RowsHaveTheLengthThatTheCardWants) {
    test::DeckLinkCard card;
    card.rowAlignment = 128;
    standin.setCards({card});
    const auto out = output();
    std::int32_t bytes = 0;
    EXPECT_EQ(out->RowBytesForPixelFormat(bmdFormat8BitYUV, 720, &bytes), S_OK);
    EXPECT_EQ(bytes, 1536);
    EXPECT_EQ(out->RowBytesForPixelFormat(bmdFormat8BitBGRA, 1920, &bytes), S_OK);
    EXPECT_EQ(bytes, 7680);
    EXPECT_EQ(out->RowBytesForPixelFormat(bmdFormat10BitYUV, 1920, &bytes), S_OK);
    EXPECT_EQ(bytes, 5120);
    EXPECT_EQ(out->RowBytesForPixelFormat(fourCC("what"), 1920, &bytes), E_INVALIDARG);
    IDeckLinkMutableVideoFrame* frame = nullptr;
    EXPECT_EQ(out->CreateVideoFrame(720, 2, 1439, bmdFormat8BitYUV, 0, &frame), E_INVALIDARG);
    EXPECT_EQ(out->CreateVideoFrame(0, 2, 1440, bmdFormat8BitYUV, 0, &frame), E_INVALIDARG);
    EXPECT_EQ(frame, nullptr);
}

TEST_F(DeckLinkDevices, AnOutputKeepsItsSound) {
    const auto out = output();
    std::array<std::int16_t, 4> samples = {10, -10, 20, -20};
    std::uint32_t written = 0;
    EXPECT_EQ(out->WriteAudioSamplesSync(samples.data(), 2, &written), E_ACCESSDENIED);
    EXPECT_EQ(out->EnableAudioOutput(48000, 16, 2, 2), S_OK);
    EXPECT_EQ(out->WriteAudioSamplesSync(samples.data(), 2, &written), S_OK);
    EXPECT_EQ(written, 2U);
    const DeckLinkState state = standin.state();
    EXPECT_EQ(state.cards[0].samplesWritten, 2);
    EXPECT_THAT(state.cards[0].written.at(0).samples, ElementsAre(10, -10, 20, -20));
    EXPECT_EQ(state.callsOf("IDeckLinkOutput::EnableAudioOutput").at(0).arguments,
              (std::vector<std::int64_t>{48000, 16, 2, 2}));
    EXPECT_EQ(out->DisableAudioOutput(), S_OK);
    EXPECT_FALSE(standin.state().cards[0].audioOutput);
}

TEST_F(DeckLinkDevices, AHeldDisplayHoldsItsCaller) {
    const auto out = output();
    out->EnableVideoOutput(bmdModeHD1080p50, 0);
    const auto frame = received<IDeckLinkMutableVideoFrame>(
        [&](auto** made) { return out->CreateVideoFrame(8, 2, 16, bmdFormat8BitYUV, 0, made); });
    standin.holdDisplay(true);
    std::jthread caller([&] { EXPECT_EQ(out->DisplayVideoFrameSync(frame.get()), S_OK); });
    EXPECT_TRUE(standin.wait([](const DeckLinkState& s) { return s.cards[0].inDisplay; }));
    EXPECT_EQ(standin.state().cards[0].framesShown, 0);
    standin.holdDisplay(false);
    EXPECT_TRUE(standin.wait([](const DeckLinkState& s) { return s.cards[0].framesShown == 1; }));
}

TEST_F(DeckLinkDevices, APacedOutputKeepsToTheRateOfItsMode) {
    const auto out = output();
    out->EnableVideoOutput(fourCC("Hp25"), 0);
    out->EnableAudioOutput(48000, 16, 2, 2);
    const auto frame = received<IDeckLinkMutableVideoFrame>(
        [&](auto** made) { return out->CreateVideoFrame(8, 2, 16, bmdFormat8BitYUV, 0, made); });
    standin.paceOutput(true);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 3; ++i)
        out->DisplayVideoFrameSync(frame.get());
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(80));
    std::vector<std::int16_t> samples(std::size_t{2} * 960);
    const auto soundStart = std::chrono::steady_clock::now();
    for (int i = 0; i < 3; ++i)
        out->WriteAudioSamplesSync(samples.data(), 960, nullptr);
    EXPECT_GE(std::chrono::steady_clock::now() - soundStart, std::chrono::milliseconds(40));
}

TEST_F(DeckLinkDevices, PicturesMayArriveAndGoOnDifferentThreads) {
    Callback callback;
    const auto in = input();
    in->SetCallback(&callback);
    std::vector<ComRef<IDeckLinkVideoInputFrame>> frames;
    std::jthread driver([&] {
        for (int i = 0; i < 50; ++i) {
            standin.deliver(0, test::deckLinkPicture(16, 2, bmdFormat8BitYUV));
            frames.push_back(std::move(callback.frame));
        }
        in->SetCallback(nullptr);
    });
    EXPECT_TRUE(standin.wait([](const DeckLinkState& s) {
        return s.liveOf("IDeckLinkVideoInputFrame") == 50 && !s.cards[0].callback;
    }));
    driver.join();
    frames.clear();
    EXPECT_EQ(standin.state().liveOf("IDeckLinkVideoInputFrame"), 0U);
    EXPECT_THAT(standin.state().misuses, IsEmpty());
}

} // namespace

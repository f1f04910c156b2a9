// The output with a DeckLink card as its device.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "quolsdk/LOutput.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/DeckLinkStandin.h"
#include "support/Frames.h"
#include "support/LiveSource.h"
#include "support/PlainFrames.h"
#include "support/RunningOutput.h"

namespace {

using namespace quol::decklink;
using test::CapturedStream;
using test::DeckLinkCall;
using test::DeckLinkCard;
using test::DeckLinkFrame;
using test::DeckLinkState;
using test::levelPicture;
using test::statsOf;
using testing::HasSubstr;

constexpr auto outputStream = CapturedStream::Stream::output;
constexpr auto errorStream = CapturedStream::Stream::error;
constexpr std::int64_t connection = fourCC("vocn");

constexpr int hd50 = 0; // the stand-in's modes
constexpr int hd25 = 1;
constexpr int pal = 3;

std::vector<std::vector<std::int64_t>> argumentsOf(const DeckLinkState& state,
                                                   const std::string& method) {
    std::vector<std::vector<std::int64_t>> arguments;
    for (const DeckLinkCall& call : state.callsOf(method))
        arguments.push_back(call.arguments);
    return arguments;
}

class LOutputDeckLink : public testing::Test {
protected:
    LOutputDeckLink() { driver.reset(); }
    ~LOutputDeckLink() override {
        output.reset();
        const DeckLinkState state = driver.state();
        EXPECT_TRUE(state.live.empty()) << state.live.front().interface;
        EXPECT_TRUE(state.misuses.empty()) << state.misuses.front();
    }

    int countDevices() {
        int count = -1;
        output->DeviceGetCount(count);
        return count;
    }
    int countFormats(int device = 0) {
        int count = -1;
        output->DeviceFormatVideoGetCount(device, 0, count);
        return count;
    }
    // The first card, its modes known, in PAL.
    void choosePal() {
        countDevices();
        countFormats();
        output->DeviceFormatVideoSet(pal);
    }
    void startPal() {
        choosePal();
        output->setEnabled(true);
    }
    bool waitForShown(int count) {
        return driver.wait(
            [=](const DeckLinkState& state) { return state.cards[0].framesShown >= count; });
    }
    bool waitForHeld() {
        return driver.wait([](const DeckLinkState& state) { return state.cards[0].inDisplay; });
    }
    DeckLinkFrame latest() { return driver.state().cards[0].shown.back(); }
    void push(const quol::FramePtr& frame) { output->pushVideoFrame(frame.get()); }
    // A machine with one card that can play.
    void setCard(const DeckLinkCard& card) { driver.setCards({card}); }

    test::DeckLinkStandin& driver = test::deckLinkStandin();
    std::unique_ptr<LOutput> output = std::make_unique<LOutput>();
};

TEST_F(LOutputDeckLink, OnlyCardsThatPlayAreOffered) {
    EXPECT_EQ(countDevices(), 3);
    std::string name;
    std::string description = "left";
    output->DeviceGetByIndex(0, name, description);
    EXPECT_EQ(name, "Stand-in Duo");
    EXPECT_EQ(description, "");
    output->DeviceGetByIndex(1, name, description);
    EXPECT_EQ(name, "NDI Output");
    output->DeviceGetByIndex(2, name, description);
    EXPECT_EQ(name, "VTP Output");
    output->DeviceGetByIndex(3, name, description);
    EXPECT_EQ(name, "");
}

TEST_F(LOutputDeckLink, CountingAgainFindsWhatHasChanged) {
    EXPECT_EQ(countDevices(), 3);
    driver.setCards({});
    EXPECT_EQ(countDevices(), 2);
    EXPECT_TRUE(driver.state().live.empty());
    driver.setCards({test::deckLinkMachine()[0], test::deckLinkMachine()[0]});
    EXPECT_EQ(countDevices(), 4);
    driver.refuseIterator(true);
    EXPECT_EQ(countDevices(), 2);
}

TEST_F(LOutputDeckLink, BeforeTheFirstCountThereIsNoCard) {
    std::string name;
    std::string description;
    output->DeviceGetByIndex(0, name, description);
    EXPECT_EQ(name, "NDI Output");
    EXPECT_FALSE(output->startDeckLink());
}

TEST_F(LOutputDeckLink, ConnectorsAreTheBitsOfTheMask) {
    DeckLinkCard card = test::deckLinkMachine()[0];
    card.outputLines = 1 | 2 | 4 | 8 | 16 | 32;
    setCard(card);
    countDevices();
    int count = -1;
    output->DeviceChannelGetCount(0, count);
    EXPECT_EQ(count, 5);
    const char* const lines[] = {"SDI", "HDMI", "Component", "Composite", "S-Video"};
    std::string name;
    std::string description;
    for (int i = 0; i < 5; ++i) {
        output->DeviceChannelGetByIndex(0, i, name, description);
        EXPECT_EQ(name, lines[i]);
        EXPECT_EQ(description, std::string(lines[i]) + " Output Port");
    }
    for (int i : {-1, 5}) {
        output->DeviceChannelGetByIndex(0, i, name, description);
        EXPECT_EQ(name, "");
        EXPECT_EQ(description, "");
    }
}

TEST_F(LOutputDeckLink, CardWithoutConnectorsHasADefault) {
    DeckLinkCard none = test::deckLinkMachine()[0];
    none.outputLines = 0;
    DeckLinkCard silent = none;
    silent.outputLines.reset();
    DeckLinkCard bare = none;
    bare.attributes = false;
    driver.setCards({none, silent, bare});
    countDevices();
    for (int device = 0; device < 3; ++device) {
        std::string name;
        std::string description;
        output->DeviceChannelGetByIndex(device, 0, name, description);
        EXPECT_EQ(name, "Default");
        EXPECT_EQ(description, "Default Output Port");
    }
}

TEST_F(LOutputDeckLink, ModesBeforeTheirCountAreNothing) {
    countDevices();
    std::string name = "left";
    videoFormatProps format{9, 8, 7, 6.0, 5};
    output->DeviceFormatVideoGetByIndex(0, 0, 0, name, format);
    EXPECT_EQ(name, "left");
    EXPECT_EQ(format.width, 8);
}

TEST_F(LOutputDeckLink, ModesAreCountedKeptAndPrinted) {
    countDevices();
    std::string name;
    videoFormatProps format{};
    CapturedStream out(outputStream);
    EXPECT_EQ(countFormats(), 4);
    EXPECT_EQ(out.text(),
              "[LOutput DEBUG] Mode 0: 1080p50 (1920x1080)\n"
              "[LOutput DEBUG] Mode 1: 1080p25 (1920x1080)\n"
              "[LOutput DEBUG] Mode 2: 1080i59.94 (1920x1080)\n"
              "[LOutput DEBUG] Mode 3: PAL (720x576)\n");
    output->DeviceFormatVideoGetByIndex(0, 0, 2, name, format);
    EXPECT_EQ(name, "1080i59.94");
    EXPECT_EQ(format.mode, 0U);
    EXPECT_EQ(format.width, 1920);
    EXPECT_EQ(format.height, 1080);
    EXPECT_EQ(format.fps, 30000.0 / 1001);
    for (int index : {-1, 4}) {
        name = "left";
        output->DeviceFormatVideoGetByIndex(0, 0, index, name, format);
        EXPECT_EQ(name, "left");
    }
    EXPECT_EQ(countFormats(), 4);
    EXPECT_EQ(driver.state().liveOf("IDeckLinkDisplayMode"), 4U) << "the old ones were released";
}

TEST_F(LOutputDeckLink, ModeWithoutANameIsUnknown) {
    DeckLinkCard card = test::deckLinkMachine()[0];
    card.modes[0].name.reset();
    setCard(card);
    countDevices();
    countFormats();
    std::string name;
    videoFormatProps format;
    output->DeviceFormatVideoGetByIndex(0, 0, 0, name, format);
    EXPECT_EQ(name, "Unknown");
}

TEST_F(LOutputDeckLink, StartConnectsAndSwitchesOn) {
    CapturedStream out(outputStream);
    choosePal();
    EXPECT_TRUE(output->startDeckLink());
    EXPECT_TRUE(output->startDeckLink()) << "runs already";
    const DeckLinkState state = driver.state();
    EXPECT_EQ(argumentsOf(state, "IDeckLinkConfiguration::SetInt"),
              (std::vector<std::vector<std::int64_t>>{{connection, 1}}));
    EXPECT_EQ(argumentsOf(state, "IDeckLinkOutput::EnableVideoOutput"),
              (std::vector<std::vector<std::int64_t>>{{fourCC("pal "), 0}}));
    EXPECT_EQ(argumentsOf(state, "IDeckLinkOutput::EnableAudioOutput"),
              (std::vector<std::vector<std::int64_t>>{{48000, 16, 2, 2}}));
    EXPECT_THAT(out.text(), HasSubstr("[LOutput] DeckLink Output Connection Set To: SDI\n"));
    EXPECT_THAT(out.text(), HasSubstr("[LOutput] DeckLink Output started.\n"));
    output->stopDeckLink();
    EXPECT_TRUE(out.text().ends_with("[LOutput] DeckLink Output stopped.\n"));
    EXPECT_FALSE(driver.state().cards[0].videoOutput);
    EXPECT_FALSE(driver.state().cards[0].audioOutput);
    EXPECT_EQ(driver.state().liveOf("IDeckLinkOutput"), 0U);
}

TEST_F(LOutputDeckLink, ConnectorOfTheHostsChoice) {
    choosePal();
    output->DeviceChannelSet(1);
    output->setEnabled(true);
    EXPECT_EQ(driver.state().cards[0].outputConnection, 2);
}

TEST_F(LOutputDeckLink, DefaultConnectorComesOutAsHdmi) {
    DeckLinkCard card = test::deckLinkMachine()[0];
    card.outputLines = 0;
    setCard(card);
    startPal();
    EXPECT_EQ(driver.state().cards[0].outputConnection, 2);
}

TEST_F(LOutputDeckLink, ConnectorBeyondTheLinesIsLeftAlone) {
    choosePal();
    output->DeviceChannelSet(7);
    output->setEnabled(true);
    EXPECT_TRUE(driver.state().cards[0].videoOutput);
    EXPECT_FALSE(driver.state().cards[0].outputConnection.has_value());
}

TEST_F(LOutputDeckLink, ConnectorThatCannotBeSetIsAWarning) {
    CapturedStream error(errorStream);
    driver.fail("IDeckLinkConfiguration::SetInt");
    startPal();
    EXPECT_EQ(error.text(), "[LOutput] Warning: Failed to set output connection!\n");
    EXPECT_TRUE(driver.state().cards[0].videoOutput);
}

TEST_F(LOutputDeckLink, ConnectorChangesAtOnceWhileTheCardRuns) {
    CapturedStream out(outputStream);
    choosePal();
    output->DeviceChannelSet(1);
    EXPECT_FALSE(driver.state().cards[0].outputConnection.has_value()) << "not before the start";
    output->setEnabled(true);
    output->DeviceChannelSet(0);
    EXPECT_EQ(driver.state().cards[0].outputConnection, 1);
    EXPECT_THAT(out.text(), HasSubstr("[LOutput] DeckLink Output Connection Changed To: SDI\n"));
    output->DeviceChannelSet(9);
    EXPECT_EQ(driver.state().cards[0].outputConnection, 1);
    EXPECT_EQ(driver.state().callsOf("IDeckLinkOutput::EnableVideoOutput").size(), 1U);
}

TEST_F(LOutputDeckLink, FormatsMustHaveBeenCounted) {
    CapturedStream error(errorStream);
    countDevices();
    EXPECT_FALSE(output->startDeckLink());
    EXPECT_EQ(error.text(), "Invalid format index for DeckLink!\n");
    EXPECT_EQ(driver.state().liveOf("IDeckLinkOutput"), 0U);
    countFormats();
    output->DeviceFormatVideoSet(4);
    EXPECT_FALSE(output->startDeckLink());
    output->DeviceFormatVideoSet(0);
    EXPECT_TRUE(output->startDeckLink());
}

TEST_F(LOutputDeckLink, CardThatIsRefusedStaysTakenWithoutWorkers) {
    CapturedStream out(outputStream);
    CapturedStream error(errorStream);
    driver.fail("IDeckLinkOutput::EnableVideoOutput", E_ACCESSDENIED, 1);
    choosePal();
    EXPECT_FALSE(output->startDeckLink());
    EXPECT_EQ(error.text(), "EnableVideoOutput failed!\n");
    EXPECT_TRUE(output->startDeckLink());
    EXPECT_EQ(out.text().find("thread started"), std::string::npos);
    EXPECT_EQ(out.text().find("Output started"), std::string::npos);
    push(levelPicture(9));
    EXPECT_EQ(statsOf(*output).framesQueued, 0) << "not before it is enabled";
    output->setEnabled(true); // now frames are taken, and go nowhere
    for (int i = 0; i < 7; ++i)
        push(levelPicture(i));
    EXPECT_EQ(statsOf(*output).framesQueued, 5);
    EXPECT_EQ(statsOf(*output).framesDropped, 2);
    output->setEnabled(false);
    EXPECT_THAT(out.text(), HasSubstr("[LOutput] DeckLink Output stopped.\n"));
    EXPECT_EQ(statsOf(*output).framesQueued, 5) << "the queue keeps what it holds";
    output->setEnabled(true);
    EXPECT_TRUE(waitForShown(5));
}

TEST_F(LOutputDeckLink, SoundThatIsRefusedIsAWarning) {
    CapturedStream error(errorStream);
    driver.fail("IDeckLinkOutput::EnableAudioOutput");
    choosePal();
    EXPECT_TRUE(output->startDeckLink());
    EXPECT_EQ(error.text(), "[LOutput] Warning: EnableAudioOutput failed!\n");
}

TEST_F(LOutputDeckLink, CardThatLosesItsOutputIsTold) {
    CapturedStream error(errorStream);
    choosePal();
    driver.fail("IDeckLink::QueryInterface", E_NOINTERFACE);
    const bool started = output->startDeckLink();
    driver.fail("IDeckLink::QueryInterface", S_OK, 0);
    EXPECT_FALSE(started);
    EXPECT_EQ(error.text(), "Failed to get IDeckLinkOutput!\n");
}

TEST_F(LOutputDeckLink, PictureIsShownInTheCardsForm) {
    startPal();
    const auto frame = test::makePicture(320, 180, AV_PIX_FMT_YUV420P);
    push(frame);
    ASSERT_TRUE(waitForShown(1));
    EXPECT_EQ(latest().width, 720);
    EXPECT_EQ(latest().height, 576);
    EXPECT_EQ(latest().rowBytes, 1440);
    EXPECT_EQ(latest().pixelFormat, bmdFormat8BitYUV);
    EXPECT_EQ(*latest().bytes, test::convertedAlone(*frame, 720, 576, AV_PIX_FMT_UYVY422));
    EXPECT_TRUE(latest().timecodes.empty());
    // The scaler that stands knows nothing of the new colour; the new target does.
    output->setProps("DeckLink.color_format", "BGRA");
    push(frame);
    ASSERT_TRUE(waitForShown(2));
    EXPECT_EQ(latest().pixelFormat, bmdFormat8BitBGRA);
    EXPECT_EQ(latest().rowBytes, 2880);
    EXPECT_EQ(*latest().bytes, test::convertedAlone(*frame, 720, 576, AV_PIX_FMT_BGRA));
    EXPECT_TRUE(test::waitForSent(*output, 2));
    output->setEnabled(false);
    EXPECT_EQ(driver.state().liveOf("IDeckLinkMutableVideoFrame"), 0U);
    EXPECT_EQ(driver.state().liveOf("IDeckLinkVideoBuffer"), 0U);
}

TEST_F(LOutputDeckLink, RowsAreAsLongAsTheCardWants) {
    DeckLinkCard card = test::deckLinkMachine()[0];
    card.rowAlignment = 1024;
    setCard(card);
    startPal();
    const auto frame = test::makePicture(320, 180, AV_PIX_FMT_YUV420P);
    push(frame);
    ASSERT_TRUE(waitForShown(1));
    ASSERT_EQ(latest().rowBytes, 2048);
    const auto expected = test::convertedAlone(*frame, 720, 576, AV_PIX_FMT_UYVY422);
    const DeckLinkFrame shown = latest();
    for (int row = 0; row < 576; ++row) {
        ASSERT_TRUE(std::equal(expected.begin() + row * 1440, expected.begin() + (row + 1) * 1440,
                               shown.bytes->begin() + row * 2048));
    }
}

TEST_F(LOutputDeckLink, RowsThatTheCardDoesNotTellAreComputed) {
    CapturedStream error(errorStream);
    driver.fail("IDeckLinkOutput::RowBytesForPixelFormat");
    startPal();
    push(levelPicture(5, 720, 576));
    push(levelPicture(6, 720, 576));
    ASSERT_TRUE(waitForShown(2));
    EXPECT_EQ(latest().rowBytes, 1440);
    EXPECT_THAT(*latest().bytes, testing::Each(6));
    const std::string line =
        "[LOutput] RowBytesForPixelFormat failed! Defaulting to calculated stride.\n";
    EXPECT_EQ(error.text(), line) << "once for each form";
    output->setProps("DeckLink.color_format", "BGRA");
    push(levelPicture(7, 720, 576));
    ASSERT_TRUE(waitForShown(3));
    EXPECT_EQ(latest().rowBytes, 2880);
    EXPECT_EQ(error.text(), line + line);
}

TEST_F(LOutputDeckLink, RowsOfNothingAndLessAreComputed) {
    for (const std::int32_t told : {0, -4}) {
        CapturedStream error(errorStream);
        output = std::make_unique<LOutput>();
        DeckLinkCard card = test::deckLinkMachine()[0];
        card.rowBytesTold = told;
        setCard(card);
        startPal();
        push(levelPicture(5, 720, 576));
        ASSERT_TRUE(waitForShown(1)) << told;
        EXPECT_EQ(latest().rowBytes, 1440) << told;
        EXPECT_THAT(*latest().bytes, testing::Each(5)) << told;
        EXPECT_EQ(error.text(),
                  "[LOutput] RowBytesForPixelFormat failed! Defaulting to calculated stride.\n");
        output->setEnabled(false);
    }
}

using Timecodes = std::map<std::uint32_t, std::string>;

class LOutputDeckLinkTimecode : public LOutputDeckLink {
protected:
    void SetUp() override {
        output->setProps("timecode", "true");
        startPal();
        EXPECT_EQ(driver.state().cards[0].outputFlags, bmdVideoOutputRP188);
    }

    // What the card gets with a picture that has this one; null for none.
    Timecodes showWith(const char* timecode) {
        av_dict_set(&frame->metadata, "timecode", timecode, 0);
        push(frame);
        EXPECT_TRUE(waitForShown(++shown));
        return latest().timecodes;
    }

private:
    const quol::FramePtr frame = levelPicture(5, 720, 576);
    int shown = 0;
};

TEST_F(LOutputDeckLinkTimecode, GoesOutWithThePicture) {
    EXPECT_EQ(showWith("01:02:03:04"), (Timecodes{{bmdTimecodeRP188VITC2, "01:02:03:04"}}));
    EXPECT_EQ(showWith("10:59:00:24"), (Timecodes{{bmdTimecodeRP188VITC2, "10:59:00:24"}}));
    EXPECT_EQ(showWith("23:59:59:99"), (Timecodes{{bmdTimecodeRP188VITC2, "23:59:59:99"}}));
}

TEST_F(LOutputDeckLinkTimecode, OfFewerThanFourFieldsIsNone) {
    EXPECT_EQ(showWith("01:02:03:04").size(), 1U);
    EXPECT_EQ(showWith("01:02:03"), Timecodes{});
    EXPECT_EQ(showWith("none"), Timecodes{});
}

TEST_F(LOutputDeckLinkTimecode, ThatASourceDoesNotGiveIsNone) {
    EXPECT_EQ(showWith("01:02:03:04").size(), 1U);
    EXPECT_EQ(showWith(nullptr), Timecodes{});
}

TEST_F(LOutputDeckLinkTimecode, ThatNoDayHasIsNone) {
    for (const char* wrong :
         {"24:00:00:00", "00:60:00:00", "00:00:60:00", "00:00:00:100", "-1:00:00:00", "00:-1:00:00",
          "00:00:-1:00", "00:00:00:-1", "256:00:00:00", "4294967296:00:00:00",
          "00:00:00:99999999999999999999"})
        EXPECT_EQ(showWith(wrong), Timecodes{}) << wrong;
}

TEST_F(LOutputDeckLink, TimecodeIsLeftAwayUnlessItIsAskedFor) {
    startPal();
    EXPECT_EQ(driver.state().cards[0].outputFlags, 0U);
    const auto frame = levelPicture(5, 720, 576);
    av_dict_set(&frame->metadata, "timecode", "01:02:03:04", 0);
    push(frame);
    ASSERT_TRUE(waitForShown(1));
    EXPECT_TRUE(latest().timecodes.empty());
}

TEST_F(LOutputDeckLink, PictureThatTheCardCannotMakeIsSkipped) {
    startPal();
    driver.fail("IDeckLinkOutput::CreateVideoFrame", E_OUTOFMEMORY, 1);
    push(levelPicture(5, 720, 576));
    push(levelPicture(6, 720, 576));
    ASSERT_TRUE(waitForShown(1));
    EXPECT_THAT(*latest().bytes, testing::Each(6));
    EXPECT_TRUE(test::waitForSent(*output, 2));
}

TEST_F(LOutputDeckLink, MemoryThatCannotBeWrittenIsNotShown) {
    startPal();
    driver.fail("IDeckLinkVideoBuffer::StartAccess", E_FAIL, 1);
    push(levelPicture(5, 720, 576));
    push(levelPicture(6, 720, 576));
    ASSERT_TRUE(waitForShown(1));
    ASSERT_TRUE(test::waitForSent(*output, 2));
    driver.fail("IDeckLinkVideoBuffer::GetBytes", E_FAIL, 1);
    push(levelPicture(7, 720, 576));
    push(levelPicture(8, 720, 576));
    ASSERT_TRUE(waitForShown(2));
    ASSERT_TRUE(test::waitForSent(*output, 4));
    EXPECT_EQ(driver.state().cards[0].framesShown, 2);
    EXPECT_THAT(*latest().bytes, testing::Each(8));
}

TEST_F(LOutputDeckLink, FailingDisplayLosesOnePictureOnly) {
    startPal();
    driver.fail("IDeckLinkOutput::DisplayVideoFrameSync", E_FAIL, 1);
    push(levelPicture(5, 720, 576));
    push(levelPicture(6, 720, 576));
    ASSERT_TRUE(waitForShown(1));
    EXPECT_THAT(*latest().bytes, testing::Each(6));
}

TEST_F(LOutputDeckLink, SoundIsWrittenAPictureAtATime) {
    choosePal();
    output->setEnabled(true);
    for (int i = 0; i < 3; ++i)
        output->pushAudioFrame(test::plainSound(1920, 100, -100).get());
    ASSERT_TRUE(driver.wait(
        [](const DeckLinkState& state) { return state.cards[0].samplesWritten >= 3 * 1920; }));
    const auto written = driver.state().cards[0].written;
    ASSERT_FALSE(written.empty());
    ASSERT_EQ(written.front().samples.size(), 3840U);
    EXPECT_EQ(written.front().samples[0], 100);
    EXPECT_EQ(written.front().samples[1], -100);
}

TEST_F(LOutputDeckLink, CardHoldsSoundBackItself) {
    startPal();
    const auto begun = std::chrono::steady_clock::now();
    for (int i = 0; i < 200; ++i)
        output->pushAudioFrame(test::plainSound(1920, 1, 1).get());
    ASSERT_TRUE(driver.wait(
        [](const DeckLinkState& state) { return state.cards[0].samplesWritten >= 200 * 1920; }));
    // With a pause behind each it would take more than seven.
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(6));
}

TEST_F(LOutputDeckLink, PictureIsSwitchedOffBeforeSound) {
    startPal();
    output->setEnabled(false);
    std::vector<std::string> calls;
    for (const DeckLinkCall& call : driver.state().calls) {
        if (call.method.find("Output::Disable") != std::string::npos) calls.push_back(call.method);
    }
    EXPECT_EQ(calls, (std::vector<std::string>{"IDeckLinkOutput::DisableVideoOutput",
                                               "IDeckLinkOutput::DisableAudioOutput"}));
}

TEST_F(LOutputDeckLink, FormatsCountedAfterTheChoiceCountAtTheStart) {
    countDevices();
    output->DeviceFormatVideoSet(pal); // no mode is known yet
    countFormats();
    output->setEnabled(true);
    EXPECT_EQ(driver.state().cards[0].outputMode, fourCC("pal "));
    push(levelPicture(5, 720, 576));
    ASSERT_TRUE(waitForShown(1));
    EXPECT_EQ(latest().width, 720);
    EXPECT_EQ(latest().height, 576);
    EXPECT_THAT(*latest().bytes, testing::Each(5));
}

TEST_F(LOutputDeckLink, FirstPictureThatCannotBeReadIsBlack) {
    startPal();
    const auto broken = levelPicture(1);
    broken->format = AV_PIX_FMT_NB + 3;
    push(broken);
    ASSERT_TRUE(waitForShown(1));
    const DeckLinkFrame shown = latest();
    for (std::size_t i = 0; i < shown.bytes->size(); ++i)
        ASSERT_EQ((*shown.bytes)[i], i % 2 == 0 ? 128 : 16);
}

// The queue is the output's: what a card has left in it goes to the next device.
TEST_F(LOutputDeckLink, PicturesLeftByACardGoOutOnTheNextDevice) {
    for (const int next : {1, 2}) { // NDI, VTP
        CapturedStream error(errorStream);
        output = std::make_unique<LOutput>();
        driver.fail("IDeckLinkOutput::EnableVideoOutput", E_ACCESSDENIED, 1);
        choosePal();
        output->setEnabled(true);
        for (int i = 0; i < 3; ++i)
            push(levelPicture(i, 720, 576));
        EXPECT_EQ(statsOf(*output).framesQueued, 3);
        output->setDevice(next);
        EXPECT_EQ(error.text(), "EnableVideoOutput failed!\n");
        EXPECT_TRUE(test::waitForSent(*output, 3)) << next;
    }
}

TEST_F(LOutputDeckLink, FormatChangeStartsTheCardAnew) {
    startPal();
    CapturedStream out(outputStream);
    output->DeviceFormatVideoSet(hd25);
    const std::string text = out.text();
    EXPECT_TRUE(
        text.starts_with("[LOutput] Video Format set to: 1920x1080 @ 25 FPS\n"
                         "[LOutput] Format changed while running. Restarting DeckLink...\n"));
    EXPECT_LT(text.find("[LOutput] DeckLink Output stopped.\n"),
              text.find("[LOutput] DeckLink Output started.\n"));
    EXPECT_EQ(argumentsOf(driver.state(), "IDeckLinkOutput::EnableVideoOutput"),
              (std::vector<std::vector<std::int64_t>>{{fourCC("pal "), 0}, {fourCC("Hp25"), 0}}));
    push(levelPicture(5, 1920, 1080));
    ASSERT_TRUE(waitForShown(1));
    EXPECT_EQ(latest().width, 1920);
    EXPECT_EQ(latest().rowBytes, 3840);
}

TEST_F(LOutputDeckLink, PicturesThatWaitGoOutInTheFormatTheyWereMeantFor) {
    startPal();
    driver.holdDisplay(true);
    push(levelPicture(1, 720, 576));
    ASSERT_TRUE(waitForHeld());
    push(levelPicture(2, 720, 576));
    std::thread changing([&] { output->DeviceFormatVideoSet(hd50); });
    driver.holdDisplay(false);
    changing.join();
    const DeckLinkState state = driver.state();
    ASSERT_EQ(state.cards[0].shown.size(), 2U);
    EXPECT_EQ(state.cards[0].shown[1].width, 720);
    EXPECT_EQ(state.cards[0].outputMode, fourCC("Hp50"));
}

TEST_F(LOutputDeckLink, FormatBeyondTheModesKeepsTheSize) {
    CapturedStream out(outputStream);
    countDevices();
    countFormats();
    output->DeviceFormatVideoSet(pal);
    output->DeviceFormatVideoSet(50);
    EXPECT_TRUE(out.text().ends_with("[LOutput] Video Format set to: 720x576 @ 25 FPS\n"));
    EXPECT_EQ(statsOf(*output).width, 720);
}

TEST_F(LOutputDeckLink, StatisticsTellTheModesSize) {
    countDevices();
    EXPECT_EQ(statsOf(*output).frameRate, 25.0) << "no mode is known";
    countFormats();
    EXPECT_EQ(statsOf(*output).frameRate, 50.0) << "format 0 of the card";
    output->setDevice(1);
    EXPECT_EQ(statsOf(*output).frameRate, 25.0) << "NDI goes by what was set";
    output->setDevice(0);
    output->DeviceFormatVideoSet(2);
    EXPECT_EQ(statsOf(*output).frameRate, 30000.0 / 1001);
    EXPECT_EQ(statsOf(*output).width, 1920);
}

TEST_F(LOutputDeckLink, ModeWithoutADurationDividesNothingByZero) {
    DeckLinkCard card = test::deckLinkMachine()[0];
    card.modes[0].duration = 0;
    card.modes[0].width = 720;
    card.modes[0].height = 576;
    setCard(card);
    countDevices();
    countFormats();
    output->DeviceFormatVideoSet(0);
    EXPECT_EQ(statsOf(*output).frameRate, 0.0);
    output->setEnabled(true);
    output->pushAudioFrame(test::plainSound(1920, 1, 1).get());
    EXPECT_TRUE(driver.wait(
        [](const DeckLinkState& state) { return state.cards[0].samplesWritten >= 1920; }));
}

TEST_F(LOutputDeckLink, ChangeOfDeviceStopsTheCard) {
    startPal();
    output->setDevice(2);
    EXPECT_FALSE(driver.state().cards[0].videoOutput);
    EXPECT_EQ(driver.state().liveOf("IDeckLinkOutput"), 0U);
}

TEST_F(LOutputDeckLink, CardsMayBeCountedWhileOneRuns) {
    startPal();
    driver.setCards({});
    EXPECT_EQ(countDevices(), 2);
    push(levelPicture(5, 720, 576));
    EXPECT_TRUE(test::waitForSent(*output, 1));
    output->DeviceChannelSet(0); // device 0 is NDI now
    output->setEnabled(false);
    EXPECT_EQ(driver.state().liveOf("IDeckLinkOutput"), 0U);
}

TEST_F(LOutputDeckLink, QueueAtASlowCardKeepsTheFiveLatest) {
    startPal();
    driver.holdDisplay(true);
    push(levelPicture(0, 720, 576));
    ASSERT_TRUE(waitForHeld());
    for (int i = 1; i <= 8; ++i)
        push(levelPicture(i, 720, 576));
    EXPECT_EQ(statsOf(*output).framesQueued, 5);
    EXPECT_EQ(statsOf(*output).framesDropped, 3);
    driver.holdDisplay(false);
    EXPECT_TRUE(waitForShown(6));
    EXPECT_THAT(*latest().bytes, testing::Each(8));
}

TEST_F(LOutputDeckLink, DestroyedWhileASourcePushes) {
    driver.paceOutput(true);
    test::LiveSource source;
    choosePal();
    output->setSource(&source);
    output->setEnabled(true);
    source.start();
    ASSERT_TRUE(waitForShown(3));
    output.reset();
    EXPECT_TRUE(source.waitForPictures(2));
    source.stop();
    EXPECT_FALSE(driver.state().cards[0].videoOutput);
}

} // namespace

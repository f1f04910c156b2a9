// The driver's binary interface, and what holds and loads it, on a machine without one.
#include "platform/decklink/DeckLink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "platform/decklink/Cards.h"
#include "platform/decklink/ComRef.h"
#include "platform/decklink/Driver.h"

namespace {

using namespace quol::decklink;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string standins = QUOLSDK_TEST_STANDINS;

// ------------------------------------------------------------------------------------- layout

// The place of a method in the table of virtual functions, from its pointer to member: the offset
// in bytes and one more.
template <typename Method>
long slot(Method method) {
    std::array<std::intptr_t, 2> parts{};
    static_assert(sizeof(method) == sizeof(parts));
    std::memcpy(parts.data(), &method, sizeof(method));
    return (parts[0] - 1) / static_cast<long>(sizeof(void*));
}

template <auto... methods>
std::vector<long> slots() {
    return {slot(methods)...};
}

MATCHER_P(CountsFrom, first, "") {
    for (std::size_t i = 0; i < arg.size(); ++i) {
        if (arg[i] != first + static_cast<long>(i)) return false;
    }
    return true;
}

std::string text(const REFIID& id) {
    std::string written;
    for (int i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) written += '-';
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02X", id.bytes[i]);
        written += digits.data();
    }
    return written;
}

TEST(DeckLinkLayout, MethodsStandInTheDriversOrder) {
    EXPECT_THAT((slots<&IUnknown::QueryInterface, &IUnknown::AddRef, &IUnknown::Release>()),
                CountsFrom(0))
        << "IUnknown";
    EXPECT_THAT((slots<&IDeckLinkIterator::Next>()), CountsFrom(3)) << "IDeckLinkIterator";
    EXPECT_THAT((slots<&IDeckLink::GetModelName, &IDeckLink::GetDisplayName>()), CountsFrom(3))
        << "IDeckLink";
    EXPECT_THAT(
        (slots<&IDeckLinkProfileAttributes::GetFlag, &IDeckLinkProfileAttributes::GetInt,
               &IDeckLinkProfileAttributes::GetFloat, &IDeckLinkProfileAttributes::GetString>()),
        CountsFrom(3))
        << "IDeckLinkProfileAttributes";
    EXPECT_THAT((slots<&IDeckLinkConfiguration::SetFlag, &IDeckLinkConfiguration::GetFlag,
                       &IDeckLinkConfiguration::SetInt, &IDeckLinkConfiguration::GetInt,
                       &IDeckLinkConfiguration::SetFloat, &IDeckLinkConfiguration::GetFloat,
                       &IDeckLinkConfiguration::SetString, &IDeckLinkConfiguration::GetString,
                       &IDeckLinkConfiguration::WriteConfigurationToPreferences>()),
                CountsFrom(3))
        << "IDeckLinkConfiguration";
    EXPECT_THAT((slots<&IDeckLinkDisplayModeIterator::Next>()), CountsFrom(3))
        << "IDeckLinkDisplayModeIterator";
    EXPECT_THAT(
        (slots<&IDeckLinkDisplayMode::GetName, &IDeckLinkDisplayMode::GetDisplayMode,
               &IDeckLinkDisplayMode::GetWidth, &IDeckLinkDisplayMode::GetHeight,
               &IDeckLinkDisplayMode::GetFrameRate, &IDeckLinkDisplayMode::GetFieldDominance,
               &IDeckLinkDisplayMode::GetFlags>()),
        CountsFrom(3))
        << "IDeckLinkDisplayMode";
    EXPECT_THAT(
        (slots<&IDeckLinkInput::DoesSupportVideoMode, &IDeckLinkInput::GetDisplayMode,
               &IDeckLinkInput::GetDisplayModeIterator, &IDeckLinkInput::SetScreenPreviewCallback,
               &IDeckLinkInput::EnableVideoInput,
               &IDeckLinkInput::EnableVideoInputWithAllocatorProvider,
               &IDeckLinkInput::DisableVideoInput, &IDeckLinkInput::GetAvailableVideoFrameCount,
               &IDeckLinkInput::EnableAudioInput, &IDeckLinkInput::DisableAudioInput,
               &IDeckLinkInput::GetAvailableAudioSampleFrameCount, &IDeckLinkInput::StartStreams,
               &IDeckLinkInput::StopStreams, &IDeckLinkInput::PauseStreams,
               &IDeckLinkInput::FlushStreams, &IDeckLinkInput::SetCallback,
               &IDeckLinkInput::GetHardwareReferenceClock>()),
        CountsFrom(3))
        << "IDeckLinkInput";
    EXPECT_THAT((slots<&IDeckLinkInputCallback::VideoInputFormatChanged,
                       &IDeckLinkInputCallback::VideoInputFrameArrived>()),
                CountsFrom(3))
        << "IDeckLinkInputCallback";
    EXPECT_THAT(
        (slots<&IDeckLinkOutput::DoesSupportVideoMode, &IDeckLinkOutput::GetDisplayMode,
               &IDeckLinkOutput::GetDisplayModeIterator, &IDeckLinkOutput::SetScreenPreviewCallback,
               &IDeckLinkOutput::EnableVideoOutput, &IDeckLinkOutput::DisableVideoOutput,
               &IDeckLinkOutput::CreateVideoFrame, &IDeckLinkOutput::CreateVideoFrameWithBuffer,
               &IDeckLinkOutput::RowBytesForPixelFormat, &IDeckLinkOutput::CreateAncillaryData,
               &IDeckLinkOutput::DisplayVideoFrameSync, &IDeckLinkOutput::ScheduleVideoFrame,
               &IDeckLinkOutput::SetScheduledFrameCompletionCallback,
               &IDeckLinkOutput::GetBufferedVideoFrameCount, &IDeckLinkOutput::EnableAudioOutput,
               &IDeckLinkOutput::DisableAudioOutput, &IDeckLinkOutput::WriteAudioSamplesSync,
               &IDeckLinkOutput::BeginAudioPreroll, &IDeckLinkOutput::EndAudioPreroll,
               &IDeckLinkOutput::ScheduleAudioSamples,
               &IDeckLinkOutput::GetBufferedAudioSampleFrameCount,
               &IDeckLinkOutput::FlushBufferedAudioSamples, &IDeckLinkOutput::SetAudioCallback,
               &IDeckLinkOutput::StartScheduledPlayback, &IDeckLinkOutput::StopScheduledPlayback,
               &IDeckLinkOutput::IsScheduledPlaybackRunning,
               &IDeckLinkOutput::GetScheduledStreamTime, &IDeckLinkOutput::GetReferenceStatus,
               &IDeckLinkOutput::GetHardwareReferenceClock,
               &IDeckLinkOutput::GetFrameCompletionReferenceTimestamp>()),
        CountsFrom(3))
        << "IDeckLinkOutput";
    EXPECT_THAT((slots<&IDeckLinkVideoFrame::GetWidth, &IDeckLinkVideoFrame::GetHeight,
                       &IDeckLinkVideoFrame::GetRowBytes, &IDeckLinkVideoFrame::GetPixelFormat,
                       &IDeckLinkVideoFrame::GetFlags, &IDeckLinkVideoFrame::GetTimecode,
                       &IDeckLinkVideoFrame::GetAncillaryData>()),
                CountsFrom(3))
        << "IDeckLinkVideoFrame";
    EXPECT_THAT(
        (slots<&IDeckLinkMutableVideoFrame::SetFlags, &IDeckLinkMutableVideoFrame::SetTimecode,
               &IDeckLinkMutableVideoFrame::SetTimecodeFromComponents,
               &IDeckLinkMutableVideoFrame::SetAncillaryData,
               &IDeckLinkMutableVideoFrame::SetTimecodeUserBits,
               &IDeckLinkMutableVideoFrame::SetInterfaceProvider>()),
        CountsFrom(12))
        << "IDeckLinkMutableVideoFrame";
    EXPECT_THAT((slots<&IDeckLinkVideoInputFrame::GetStreamTime,
                       &IDeckLinkVideoInputFrame::GetHardwareReferenceTimestamp>()),
                CountsFrom(12))
        << "IDeckLinkVideoInputFrame";
    EXPECT_THAT((slots<&IDeckLinkVideoBuffer::GetBytes, &IDeckLinkVideoBuffer::StartAccess,
                       &IDeckLinkVideoBuffer::EndAccess>()),
                CountsFrom(3))
        << "IDeckLinkVideoBuffer";
    EXPECT_THAT((slots<&IDeckLinkTimecode::GetBCD, &IDeckLinkTimecode::GetComponents,
                       &IDeckLinkTimecode::GetString, &IDeckLinkTimecode::GetFlags,
                       &IDeckLinkTimecode::GetTimecodeUserBits>()),
                CountsFrom(3))
        << "IDeckLinkTimecode";
    EXPECT_THAT(
        (slots<&IDeckLinkAudioInputPacket::GetSampleFrameCount,
               &IDeckLinkAudioInputPacket::GetBytes, &IDeckLinkAudioInputPacket::GetPacketTime>()),
        CountsFrom(3))
        << "IDeckLinkAudioInputPacket";
}

TEST(DeckLinkLayout, InterfacesAreKnownByTheirIdentifiers) {
    EXPECT_EQ(text(IUnknown::iid), "00000000-0000-0000-C000-000000000046");
    EXPECT_EQ(text(IDeckLinkIterator::iid), "50FB36CD-3063-4B73-BDBB-958087F2D8BA");
    EXPECT_EQ(text(IDeckLink::iid), "C418FBDD-0587-48ED-8FE5-640F0A14AF91");
    EXPECT_EQ(text(IDeckLinkProfileAttributes::iid), "17D4BF8E-4911-473A-80A0-731CF6FF345B");
    EXPECT_EQ(text(IDeckLinkConfiguration::iid), "912F634B-2D4E-40A4-8AAB-8D80B73F1289");
    EXPECT_EQ(text(IDeckLinkDisplayModeIterator::iid), "9C88499F-F601-4021-B80B-032E4EB41C35");
    EXPECT_EQ(text(IDeckLinkDisplayMode::iid), "3EB2C1AB-0A3D-4523-A3AD-F40D7FB14E78");
    EXPECT_EQ(text(IDeckLinkInput::iid), "4095DB82-E294-4B8C-AAA8-3B9E80C49336");
    EXPECT_EQ(text(IDeckLinkInputCallback::iid), "3A94F075-C37D-4BA8-BCC0-1D778C8F881B");
    EXPECT_EQ(text(IDeckLinkOutput::iid), "1A8077F1-9FE2-4533-8147-2294305E253F");
    EXPECT_EQ(text(IDeckLinkVideoFrame::iid), "6502091C-615F-4F51-BAF6-45C4256DD5B0");
    EXPECT_EQ(text(IDeckLinkMutableVideoFrame::iid), "CF9EB134-0374-4C5B-95FA-1EC14819FF62");
    EXPECT_EQ(text(IDeckLinkVideoInputFrame::iid), "C9ADD3D2-BE52-488D-AB2D-7FDEF7AF0C95");
    EXPECT_EQ(text(IDeckLinkVideoBuffer::iid), "CCB4B64A-5C86-4E02-B778-885D352709FE");
    EXPECT_EQ(text(IDeckLinkTimecode::iid), "BC6CFBD3-8317-4325-AC1C-1216391E9340");
    EXPECT_EQ(text(IDeckLinkAudioInputPacket::iid), "E43D5870-2894-11DE-8C30-0800200C9A66");
}

TEST(DeckLinkLayout, AnIdentifierIsBytesInTheOrderOfItsText) {
    constexpr REFIID id = interfaceId("50FB36CD-3063-4B73-BDBB-958087F2D8BA");
    EXPECT_THAT(id.bytes, ElementsAre(0x50, 0xFB, 0x36, 0xCD, 0x30, 0x63, 0x4B, 0x73, 0xBD, 0xBB,
                                      0x95, 0x80, 0x87, 0xF2, 0xD8, 0xBA));
    static_assert(std::is_trivially_copyable_v<REFIID>);
}

TEST(DeckLinkLayout, NumbersAreThePublishedOnes) {
    EXPECT_EQ(static_cast<std::uint32_t>(E_NOTIMPL), 0x80000001U);
    EXPECT_EQ(static_cast<std::uint32_t>(E_OUTOFMEMORY), 0x80000002U);
    EXPECT_EQ(static_cast<std::uint32_t>(E_INVALIDARG), 0x80000003U);
    EXPECT_EQ(static_cast<std::uint32_t>(E_NOINTERFACE), 0x80000004U);
    EXPECT_EQ(static_cast<std::uint32_t>(E_POINTER), 0x80000005U);
    EXPECT_EQ(static_cast<std::uint32_t>(E_FAIL), 0x80000008U);
    EXPECT_EQ(static_cast<std::uint32_t>(E_ACCESSDENIED), 0x80000009U);
    EXPECT_TRUE(succeeded(S_OK));
    EXPECT_TRUE(succeeded(1));
    EXPECT_FALSE(succeeded(E_FAIL));
    EXPECT_EQ(BMDDeckLinkVideoInputConnections, 0x7669636EU);
    EXPECT_EQ(BMDDeckLinkVideoOutputConnections, 0x766F636EU);
    EXPECT_EQ(BMDDeckLinkSupportsInputFormatDetection, 0x696E6664U);
    EXPECT_EQ(bmdModeHD1080p50, 0x48703530U);
    EXPECT_EQ(bmdFormat8BitYUV, 0x32767579U);
    EXPECT_EQ(bmdFormat10BitYUV, 0x76323130U);
    EXPECT_EQ(bmdFormat8BitARGB, 0x20U);
    EXPECT_EQ(bmdFormat8BitBGRA, 0x42475241U);
    EXPECT_EQ(bmdTimecodeRP188VITC2, 0x72703132U);
    EXPECT_EQ(bmdTimecodeRP188Any, 0x72703138U);
    EXPECT_EQ(bmdVideoInputEnableFormatDetection, 1U);
    EXPECT_EQ(bmdDetectedVideoInputRGB444, 2U);
    EXPECT_EQ(bmdVideoOutputRP188, 4U);
    EXPECT_EQ(bmdFrameHasNoInputSource, 0x80000000U);
    EXPECT_EQ(bmdBufferAccessRead, 1U);
    EXPECT_EQ(bmdBufferAccessWrite, 2U);
    EXPECT_EQ(bmdAudioSampleRate48kHz, 48000U);
    EXPECT_EQ(bmdAudioSampleType16bitInteger, 16U);
    EXPECT_EQ(bmdAudioOutputStreamContinuous, 0U);
    EXPECT_EQ(bmdAudioOutputStreamContinuousDontResample, 1U);
    EXPECT_EQ(bmdAudioOutputStreamTimestamped, 2U);
}

// --------------------------------------------------------------------------------- references

class Counted final : public IDeckLink {
public:
    HRESULT QueryInterface(REFIID id, void** object) override {
        if (!(id == IDeckLink::iid)) return E_NOINTERFACE;
        *object = static_cast<IDeckLink*>(this);
        AddRef();
        return S_OK;
    }
    ULONG AddRef() override { return ++references; }
    ULONG Release() override { return --references; }
    HRESULT GetModelName(const char** /*name*/) override { return E_FAIL; }
    HRESULT GetDisplayName(const char** name) override {
        *name = nullptr;
        return S_OK;
    }

    ULONG references = 1;
};
using Ref = ComRef<IDeckLink>;

TEST(ComRef, AnAdoptedReferenceIsGivenBackOnce) {
    Counted object;
    {
        const Ref reference = Ref::adopt(&object);
        EXPECT_EQ(reference.get(), &object);
        EXPECT_EQ(object.references, 1U);
    }
    EXPECT_EQ(object.references, 0U);
}

TEST(ComRef, ARetainedReferenceLeavesTheCallersAlone) {
    Counted object;
    {
        const Ref reference = Ref::retain(&object);
        EXPECT_EQ(object.references, 2U);
    }
    EXPECT_EQ(object.references, 1U);
}

TEST(ComRef, CopiesCountAndMovesDoNot) {
    Counted object;
    Ref first = Ref::adopt(&object);
    Ref second = first;
    EXPECT_EQ(object.references, 2U);
    const Ref third = std::move(first);
    EXPECT_FALSE(first); // NOLINT(bugprone-use-after-move): it says what is left
    EXPECT_EQ(object.references, 2U);
    second = third;
    EXPECT_EQ(object.references, 2U);
    Ref& itself = second;
    second = std::move(itself);
    EXPECT_TRUE(second);
    EXPECT_EQ(object.references, 2U);
    second = Ref();
    EXPECT_EQ(object.references, 1U);
}

TEST(ComRef, ResetGivesBackAndReleaseHandsOver) {
    Counted object;
    Ref reference = Ref::retain(&object);
    reference.reset();
    reference.reset();
    EXPECT_EQ(object.references, 1U);
    reference = Ref::adopt(&object);
    EXPECT_EQ(reference.release(), &object);
    EXPECT_FALSE(reference);
    EXPECT_EQ(object.references, 1U);
}

TEST(ComRef, NullIsNoReference) {
    EXPECT_FALSE(Ref::retain(nullptr));
    EXPECT_FALSE(Ref::adopt(nullptr));
    EXPECT_FALSE(query<IDeckLink>(Ref()));
}

TEST(ComRef, AskingForAnInterfaceAddsAReferenceWhereThereIsOne) {
    Counted object;
    {
        const auto card = query<IDeckLink>(&object);
        EXPECT_TRUE(card);
        EXPECT_EQ(object.references, 2U);
        EXPECT_FALSE(query<IDeckLinkInput>(card));
        EXPECT_EQ(object.references, 2U);
    }
    EXPECT_EQ(object.references, 1U);
}

TEST(ComRef, WhatAFailedCallWroteIsNotTaken) {
    Counted object;
    EXPECT_FALSE(received<IDeckLink>([&](IDeckLink** out) {
        *out = &object;
        return E_FAIL;
    }));
    EXPECT_FALSE(received<IDeckLink>([](IDeckLink** /*out*/) { return S_OK; }));
    EXPECT_EQ(object.references, 1U);
}

TEST(DriverText, IsCopiedAndFreed) {
    // That it is freed is for the address sanitizer to see.
    EXPECT_EQ(driverText([](const char** out) {
                  *out = strdup("Caméra");
                  return S_OK;
              }),
              "Caméra");
}

TEST(DriverText, OfAFailedCallOrOfNullIsNone) {
    Counted object;
    EXPECT_EQ(driverText([&](const char** out) { return object.GetModelName(out); }), std::nullopt);
    EXPECT_EQ(driverText([&](const char** out) { return object.GetDisplayName(out); }),
              std::nullopt);
}

// ------------------------------------------------------------------------------------- loader

TEST(DeckLinkLoader, NoLibraryIsNoDriver) {
    EXPECT_EQ(loadEntryPoint({}), nullptr);
    EXPECT_EQ(loadEntryPoint({standins + "/nowhere/libDeckLinkAPI.so", __FILE__}), nullptr);
}

TEST(DeckLinkLoader, ADriverWithoutTheEntryPointIsNone) {
    EXPECT_EQ(loadEntryPoint({standins + "/lacking/libDeckLinkAPI.so"}), nullptr);
}

TEST(DeckLinkLoader, ADriverWithANullEntryPointIsNone) {
    EXPECT_EQ(loadEntryPoint({standins + "/null/libDeckLinkAPI.so"}), nullptr);
}

TEST(DeckLinkLoader, ABrokenDriverMakesWayForTheNextOne) {
    const CreateIterator create = loadEntryPoint({standins + "/lacking/libDeckLinkAPI.so",
                                                  standins + "/null/libDeckLinkAPI.so",
                                                  standins + "/devices/libDeckLinkAPI.so"});
    ASSERT_NE(create, nullptr);
    const auto iterator = ComRef<IDeckLinkIterator>::adopt(create());
    EXPECT_TRUE(iterator);
}

TEST(DeckLinkLoader, AMachineWithoutADriverHasNoCards) {
    if (loadEntryPoint({"libDeckLinkAPI.so"}) != nullptr)
        GTEST_SKIP() << "this machine has a DeckLink driver of its own";
    EXPECT_FALSE(createIterator());
    EXPECT_THAT(cards(), IsEmpty());
    EXPECT_THAT(cardsWith<IDeckLinkOutput>(), IsEmpty());
}

// ------------------------------------------------------------------------------------- tables

TEST(ConnectorLines, EachBitHasItsLineInTheTablesOrder) {
    EXPECT_THAT(connectorLines(1), ElementsAre("SDI"));
    EXPECT_THAT(connectorLines(2), ElementsAre("HDMI"));
    EXPECT_THAT(connectorLines(8), ElementsAre("Component"));
    EXPECT_THAT(connectorLines(16), ElementsAre("Composite"));
    EXPECT_THAT(connectorLines(32), ElementsAre("S-Video"));
    EXPECT_THAT(connectorLines(-1),
                ElementsAre("SDI", "HDMI", "Component", "Composite", "S-Video"));
}

TEST(ConnectorLines, OpticalAndUnknownBitsHaveNone) {
    EXPECT_THAT(connectorLines(4), IsEmpty());
    EXPECT_THAT(connectorLines(64), IsEmpty());
    EXPECT_THAT(connectorLines(std::int64_t{1} << 40), IsEmpty());
    EXPECT_THAT(connectorLines(0), IsEmpty());
}

TEST(ConnectorLines, InputsGoByTheWordsInALine) {
    EXPECT_EQ(inputConnection("SDI"), 1U);
    EXPECT_EQ(inputConnection("HDMI"), 2U);
    EXPECT_EQ(inputConnection("Component"), 8U);
    EXPECT_EQ(inputConnection("Composite"), 16U);
    EXPECT_EQ(inputConnection("S-Video"), 32U);
    EXPECT_EQ(inputConnection("HDMI (Auto)"), 2U);
    EXPECT_EQ(inputConnection("S-Video, Composite, Component, HDMI"), 2U);
    EXPECT_EQ(inputConnection("S-Video, Composite, Component"), 8U);
    EXPECT_EQ(inputConnection("S-Video, Composite"), 16U);
}

TEST(ConnectorLines, AnUnknownLineOfAnInputIsSdi) {
    EXPECT_EQ(inputConnection(""), 1U);
    EXPECT_EQ(inputConnection("hdmi"), 1U);
    EXPECT_EQ(inputConnection("Default"), 1U);
}

TEST(ConnectorLines, OutputsGoByTheWholeLine) {
    EXPECT_EQ(outputConnection("SDI"), 1U);
    EXPECT_EQ(outputConnection("HDMI"), 2U);
    EXPECT_EQ(outputConnection("Component"), 8U);
    EXPECT_EQ(outputConnection("Composite"), 16U);
    EXPECT_EQ(outputConnection("S-Video"), 32U);
}

TEST(ConnectorLines, AnUnknownLineOfAnOutputIsHdmi) {
    EXPECT_EQ(outputConnection("Default"), 2U);
    EXPECT_EQ(outputConnection(""), 2U);
    EXPECT_EQ(outputConnection("SDI 1"), 2U);
    EXPECT_EQ(outputConnection("sdi"), 2U);
}

TEST(DeckLinkCards, ACardThatIsNotThereTellsNothing) {
    EXPECT_EQ(modelName(nullptr), "");
    EXPECT_EQ(intAttribute(nullptr, BMDDeckLinkVideoInputConnections), std::nullopt);
    EXPECT_FALSE(flagAttribute(nullptr, BMDDeckLinkSupportsInputFormatDetection));
    EXPECT_THAT(connectorLines(nullptr, BMDDeckLinkVideoInputConnections, "HDMI (Auto)"),
                ElementsAre("HDMI (Auto)"));
    EXPECT_EQ(setConnection(nullptr, BMDDeckLinkVideoInputConnections, 1), std::nullopt);
    EXPECT_THAT(displayModes<IDeckLinkInput>(nullptr), IsEmpty());
    EXPECT_THAT(displayModes<IDeckLinkOutput>(nullptr), IsEmpty());
}

} // namespace

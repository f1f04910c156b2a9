// The interfaces of the DeckLink driver, generation 14.3 and later, under their published names.
//
// They are a binary interface: the order of the virtual functions is the order in which the driver
// has them, and a destructor that is declared takes two places behind them. Nothing may be moved,
// added or left out, used or not. All objects are counted; platform/decklink/ComRef.h holds them.
#pragma once

#include <cstdint>

#include "platform/decklink/Numbers.h"

namespace quol::decklink {

class IUnknown {
public:
    static constexpr REFIID iid = interfaceId("00000000-0000-0000-C000-000000000046");

    virtual HRESULT QueryInterface(REFIID id, void** object) = 0;
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;
};

class IDeckLinkDisplayMode : public IUnknown {
public:
    static constexpr REFIID iid = interfaceId("3EB2C1AB-0A3D-4523-A3AD-F40D7FB14E78");

    virtual HRESULT GetName(const char** name) = 0;
    virtual std::uint32_t GetDisplayMode() = 0;
    virtual long GetWidth() = 0;
    virtual long GetHeight() = 0;
    virtual HRESULT GetFrameRate(BMDTimeValue* duration, BMDTimeScale* scale) = 0;
    virtual std::uint32_t GetFieldDominance() = 0;
    virtual std::uint32_t GetFlags() = 0;

protected:
    virtual ~IDeckLinkDisplayMode() = default;
};

class IDeckLinkDisplayModeIterator : public IUnknown {
public:
    static constexpr REFIID iid = interfaceId("9C88499F-F601-4021-B80B-032E4EB41C35");

    virtual HRESULT Next(IDeckLinkDisplayMode** mode) = 0;

protected:
    virtual ~IDeckLinkDisplayModeIterator() = default;
};

class IDeckLinkTimecode : public IUnknown {
public:
    static constexpr REFIID iid = interfaceId("BC6CFBD3-8317-4325-AC1C-1216391E9340");

    virtual std::uint32_t GetBCD() = 0;
    virtual HRESULT GetComponents(std::uint8_t* hours, std::uint8_t* minutes, std::uint8_t* seconds,
                                  std::uint8_t* frames) = 0;
    virtual HRESULT GetString(const char** text) = 0;
    virtual std::uint32_t GetFlags() = 0;
    virtual HRESULT GetTimecodeUserBits(std::uint32_t* bits) = 0;

protected:
    virtual ~IDeckLinkTimecode() = default;
};

class IDeckLinkVideoBuffer : public IUnknown {
public:
    static constexpr REFIID iid = interfaceId("CCB4B64A-5C86-4E02-B778-885D352709FE");

    // Between StartAccess and EndAccess.
    virtual HRESULT GetBytes(void** bytes) = 0;
    virtual HRESULT StartAccess(std::uint32_t flags) = 0;
    virtual HRESULT EndAccess(std::uint32_t flags) = 0;

protected:
    virtual ~IDeckLinkVideoBuffer() = default;
};

class IDeckLinkVideoFrame : public IUnknown {
public:
    static constexpr REFIID iid = interfaceId("6502091C-615F-4F51-BAF6-45C4256DD5B0");

    virtual long GetWidth() = 0;
    virtual long GetHeight() = 0;
    virtual long GetRowBytes() = 0;
    virtual std::uint32_t GetPixelFormat() = 0;
    virtual std::uint32_t GetFlags() = 0;
    virtual HRESULT GetTimecode(std::uint32_t format, IDeckLinkTimecode** timecode) = 0;
    virtual HRESULT GetAncillaryData(void** ancillary) = 0;

protected:
    virtual ~IDeckLinkVideoFrame() = default;
};

class IDeckLinkMutableVideoFrame : public IDeckLinkVideoFrame {
public:
    static constexpr REFIID iid = interfaceId("CF9EB134-0374-4C5B-95FA-1EC14819FF62");

    virtual HRESULT SetFlags(std::uint32_t flags) = 0;
    virtual HRESULT SetTimecode(std::uint32_t format, IDeckLinkTimecode* timecode) = 0;
    virtual HRESULT SetTimecodeFromComponents(std::uint32_t format, std::uint8_t hours,
                                              std::uint8_t minutes, std::uint8_t seconds,
                                              std::uint8_t frames, std::uint32_t flags) = 0;
    virtual HRESULT SetAncillaryData(void* ancillary) = 0;
    virtual HRESULT SetTimecodeUserBits(std::uint32_t format, std::uint32_t bits) = 0;
    virtual HRESULT SetInterfaceProvider(REFIID id, IUnknown* provider) = 0;

protected:
    ~IDeckLinkMutableVideoFrame() override = default;
};

class IDeckLinkVideoInputFrame : public IDeckLinkVideoFrame {
public:
    static constexpr REFIID iid = interfaceId("C9ADD3D2-BE52-488D-AB2D-7FDEF7AF0C95");

    virtual HRESULT GetStreamTime(BMDTimeValue* time, BMDTimeValue* duration,
                                  BMDTimeScale scale) = 0;
    virtual HRESULT GetHardwareReferenceTimestamp(BMDTimeScale scale, BMDTimeValue* time,
                                                  BMDTimeValue* duration) = 0;

protected:
    ~IDeckLinkVideoInputFrame() override = default;
};

class IDeckLinkAudioInputPacket : public IUnknown {
public:
    static constexpr REFIID iid = interfaceId("E43D5870-2894-11DE-8C30-0800200C9A66");

    virtual long GetSampleFrameCount() = 0;
    virtual HRESULT GetBytes(void** bytes) = 0;
    virtual HRESULT GetPacketTime(BMDTimeValue* time, BMDTimeScale scale) = 0;

protected:
    virtual ~IDeckLinkAudioInputPacket() = default;
};

// Ours: the driver calls it, on its own thread. Either argument of the second may be null.
class IDeckLinkInputCallback : public IUnknown {
public:
    static constexpr REFIID iid = interfaceId("3A94F075-C37D-4BA8-BCC0-1D778C8F881B");

    virtual HRESULT VideoInputFormatChanged(std::uint32_t events, IDeckLinkDisplayMode* mode,
                                            std::uint32_t flags) = 0;
    virtual HRESULT VideoInputFrameArrived(IDeckLinkVideoInputFrame* frame,
                                           IDeckLinkAudioInputPacket* sound) = 0;

protected:
    virtual ~IDeckLinkInputCallback() = default;
};

class IDeckLinkInput : public IUnknown {
public:
    static constexpr REFIID iid = interfaceId("4095DB82-E294-4B8C-AAA8-3B9E80C49336");

    virtual HRESULT DoesSupportVideoMode(std::uint32_t connection, std::uint32_t mode,
                                         std::uint32_t pixelFormat, std::uint32_t conversion,
                                         std::uint32_t flags, std::uint32_t* actualMode,
                                         bool* supported) = 0;
    virtual HRESULT GetDisplayMode(std::uint32_t mode, IDeckLinkDisplayMode** result) = 0;
    virtual HRESULT GetDisplayModeIterator(IDeckLinkDisplayModeIterator** iterator) = 0;
    virtual HRESULT SetScreenPreviewCallback(void* callback) = 0;
    virtual HRESULT EnableVideoInput(std::uint32_t mode, std::uint32_t pixelFormat,
                                     std::uint32_t flags) = 0;
    virtual HRESULT EnableVideoInputWithAllocatorProvider(std::uint32_t mode,
                                                          std::uint32_t pixelFormat,
                                                          std::uint32_t flags, void* provider) = 0;
    virtual HRESULT DisableVideoInput() = 0;
    virtual HRESULT GetAvailableVideoFrameCount(std::uint32_t* count) = 0;
    virtual HRESULT EnableAudioInput(std::uint32_t rate, std::uint32_t sampleType,
                                     std::uint32_t channels) = 0;
    virtual HRESULT DisableAudioInput() = 0;
    virtual HRESULT GetAvailableAudioSampleFrameCount(std::uint32_t* count) = 0;
    virtual HRESULT StartStreams() = 0;
    virtual HRESULT StopStreams() = 0;
    virtual HRESULT PauseStreams() = 0;
    virtual HRESULT FlushStreams() = 0;
    virtual HRESULT SetCallback(IDeckLinkInputCallback* callback) = 0;
    virtual HRESULT GetHardwareReferenceClock(BMDTimeScale scale, BMDTimeValue* time,
                                              BMDTimeValue* timeInFrame,
                                              BMDTimeValue* ticksPerFrame) = 0;

protected:
    virtual ~IDeckLinkInput() = default;
};

class IDeckLinkOutput : public IUnknown {
public:
    static constexpr REFIID iid = interfaceId("1A8077F1-9FE2-4533-8147-2294305E253F");

    virtual HRESULT DoesSupportVideoMode(std::uint32_t connection, std::uint32_t mode,
                                         std::uint32_t pixelFormat, std::uint32_t conversion,
                                         std::uint32_t flags, std::uint32_t* actualMode,
                                         bool* supported) = 0;
    virtual HRESULT GetDisplayMode(std::uint32_t mode, IDeckLinkDisplayMode** result) = 0;
    virtual HRESULT GetDisplayModeIterator(IDeckLinkDisplayModeIterator** iterator) = 0;
    virtual HRESULT SetScreenPreviewCallback(void* callback) = 0;
    virtual HRESULT EnableVideoOutput(std::uint32_t mode, std::uint32_t flags) = 0;
    virtual HRESULT DisableVideoOutput() = 0;
    virtual HRESULT CreateVideoFrame(std::int32_t width, std::int32_t height, std::int32_t rowBytes,
                                     std::uint32_t pixelFormat, std::uint32_t flags,
                                     IDeckLinkMutableVideoFrame** frame) = 0;
    virtual HRESULT CreateVideoFrameWithBuffer(std::int32_t width, std::int32_t height,
                                               std::int32_t rowBytes, std::uint32_t pixelFormat,
                                               std::uint32_t flags, IDeckLinkVideoBuffer* buffer,
                                               IDeckLinkMutableVideoFrame** frame) = 0;
    virtual HRESULT RowBytesForPixelFormat(std::uint32_t pixelFormat, std::int32_t width,
                                           std::int32_t* rowBytes) = 0;
    virtual HRESULT CreateAncillaryData(std::uint32_t pixelFormat, void** ancillary) = 0;
    virtual HRESULT DisplayVideoFrameSync(IDeckLinkVideoFrame* frame) = 0;
    virtual HRESULT ScheduleVideoFrame(IDeckLinkVideoFrame* frame, BMDTimeValue time,
                                       BMDTimeValue duration, BMDTimeScale scale) = 0;
    virtual HRESULT SetScheduledFrameCompletionCallback(void* callback) = 0;
    virtual HRESULT GetBufferedVideoFrameCount(std::uint32_t* count) = 0;
    virtual HRESULT EnableAudioOutput(std::uint32_t rate, std::uint32_t sampleType,
                                      std::uint32_t channels, std::uint32_t streamType) = 0;
    virtual HRESULT DisableAudioOutput() = 0;
    virtual HRESULT WriteAudioSamplesSync(void* samples, std::uint32_t sampleFrames,
                                          std::uint32_t* written) = 0;
    virtual HRESULT BeginAudioPreroll() = 0;
    virtual HRESULT EndAudioPreroll() = 0;
    virtual HRESULT ScheduleAudioSamples(void* samples, std::uint32_t sampleFrames,
                                         BMDTimeValue time, BMDTimeScale scale,
                                         std::uint32_t* written) = 0;
    virtual HRESULT GetBufferedAudioSampleFrameCount(std::uint32_t* count) = 0;
    virtual HRESULT FlushBufferedAudioSamples() = 0;
    virtual HRESULT SetAudioCallback(void* callback) = 0;
    virtual HRESULT StartScheduledPlayback(BMDTimeValue time, BMDTimeScale scale, double speed) = 0;
    virtual HRESULT StopScheduledPlayback(BMDTimeValue time, BMDTimeValue* actualTime,
                                          BMDTimeScale scale) = 0;
    virtual HRESULT IsScheduledPlaybackRunning(bool* running) = 0;
    virtual HRESULT GetScheduledStreamTime(BMDTimeScale scale, BMDTimeValue* time,
                                           double* speed) = 0;
    virtual HRESULT GetReferenceStatus(std::uint32_t* status) = 0;
    virtual HRESULT GetHardwareReferenceClock(BMDTimeScale scale, BMDTimeValue* time,
                                              BMDTimeValue* timeInFrame,
                                              BMDTimeValue* ticksPerFrame) = 0;
    virtual HRESULT GetFrameCompletionReferenceTimestamp(IDeckLinkVideoFrame* frame,
                                                         BMDTimeScale scale,
                                                         BMDTimeValue* time) = 0;

protected:
    virtual ~IDeckLinkOutput() = default;
};

class IDeckLinkConfiguration : public IUnknown {
public:
    static constexpr REFIID iid = interfaceId("912F634B-2D4E-40A4-8AAB-8D80B73F1289");

    virtual HRESULT SetFlag(std::uint32_t id, bool value) = 0;
    virtual HRESULT GetFlag(std::uint32_t id, bool* value) = 0;
    virtual HRESULT SetInt(std::uint32_t id, std::int64_t value) = 0;
    virtual HRESULT GetInt(std::uint32_t id, std::int64_t* value) = 0;
    virtual HRESULT SetFloat(std::uint32_t id, double value) = 0;
    virtual HRESULT GetFloat(std::uint32_t id, double* value) = 0;
    virtual HRESULT SetString(std::uint32_t id, const char* value) = 0;
    virtual HRESULT GetString(std::uint32_t id, const char** value) = 0;
    virtual HRESULT WriteConfigurationToPreferences() = 0;

protected:
    virtual ~IDeckLinkConfiguration() = default;
};

class IDeckLinkProfileAttributes : public IUnknown {
public:
    static constexpr REFIID iid = interfaceId("17D4BF8E-4911-473A-80A0-731CF6FF345B");

    virtual HRESULT GetFlag(std::uint32_t id, bool* value) = 0;
    virtual HRESULT GetInt(std::uint32_t id, std::int64_t* value) = 0;
    virtual HRESULT GetFloat(std::uint32_t id, double* value) = 0;
    virtual HRESULT GetString(std::uint32_t id, const char** value) = 0;

protected:
    virtual ~IDeckLinkProfileAttributes() = default;
};

// A card, or one of the independent channels of a card.
class IDeckLink : public IUnknown {
public:
    static constexpr REFIID iid = interfaceId("C418FBDD-0587-48ED-8FE5-640F0A14AF91");

    virtual HRESULT GetModelName(const char** name) = 0;
    virtual HRESULT GetDisplayName(const char** name) = 0;

protected:
    virtual ~IDeckLink() = default;
};

class IDeckLinkIterator : public IUnknown {
public:
    static constexpr REFIID iid = interfaceId("50FB36CD-3063-4B73-BDBB-958087F2D8BA");

    virtual HRESULT Next(IDeckLink** card) = 0;
};

} // namespace quol::decklink

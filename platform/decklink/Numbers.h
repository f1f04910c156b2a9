// The numbers of the DeckLink driver's interface.
#pragma once

#include <cstdint>

namespace quol::decklink {

using HRESULT = std::int32_t; // 0 and above is success
using ULONG = unsigned long;
using BMDTimeValue = std::int64_t;
using BMDTimeScale = std::int64_t; // units in a second

constexpr HRESULT resultCode(std::uint32_t bits) {
    return static_cast<HRESULT>(bits);
}
inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT E_NOTIMPL = resultCode(0x80000001);
inline constexpr HRESULT E_OUTOFMEMORY = resultCode(0x80000002);
inline constexpr HRESULT E_INVALIDARG = resultCode(0x80000003);
inline constexpr HRESULT E_NOINTERFACE = resultCode(0x80000004);
inline constexpr HRESULT E_POINTER = resultCode(0x80000005);
inline constexpr HRESULT E_FAIL = resultCode(0x80000008);
inline constexpr HRESULT E_ACCESSDENIED = resultCode(0x80000009);

constexpr bool succeeded(HRESULT result) {
    return result >= 0;
}

// An interface's identifier, its bytes in the order in which they are written. Passed by value.
struct REFIID {
    std::uint8_t bytes[16];

    friend constexpr bool operator==(const REFIID& a, const REFIID& b) {
        for (int i = 0; i < 16; ++i) {
            if (a.bytes[i] != b.bytes[i]) return false;
        }
        return true;
    }
};
static_assert(sizeof(REFIID) == 16 && alignof(REFIID) == 1);

// From its text, "00000000-0000-0000-C000-000000000046".
constexpr REFIID interfaceId(const char (&text)[37]) {
    REFIID id{};
    int digit = 0;
    for (const char letter : text) {
        if (letter == '-' || letter == '\0') continue;
        const int value = letter >= 'A' ? letter - 'A' + 10 : letter - '0';
        std::uint8_t& byte = id.bytes[digit / 2];
        byte = static_cast<std::uint8_t>(byte << 4 | value);
        ++digit;
    }
    return id;
}

// The first letter lies in the highest byte.
constexpr std::uint32_t fourCC(const char (&letters)[5]) {
    std::uint32_t code = 0;
    for (int i = 0; i < 4; ++i)
        code = code << 8 | static_cast<unsigned char>(letters[i]);
    return code;
}

// Attributes and settings of a card.
inline constexpr std::uint32_t BMDDeckLinkVideoInputConnections = fourCC("vicn");  // also a setting
inline constexpr std::uint32_t BMDDeckLinkVideoOutputConnections = fourCC("vocn"); // also a setting
inline constexpr std::uint32_t BMDDeckLinkSupportsInputFormatDetection = fourCC("infd");

// Connectors, as bits of the two connection masks.
inline constexpr std::uint32_t bmdVideoConnectionSDI = 1;
inline constexpr std::uint32_t bmdVideoConnectionHDMI = 2;
inline constexpr std::uint32_t bmdVideoConnectionOpticalSDI = 4;
inline constexpr std::uint32_t bmdVideoConnectionComponent = 8;
inline constexpr std::uint32_t bmdVideoConnectionComposite = 16;
inline constexpr std::uint32_t bmdVideoConnectionSVideo = 32;

inline constexpr std::uint32_t bmdModeHD1080p50 = fourCC("Hp50");

// Pixel formats.
inline constexpr std::uint32_t bmdFormat8BitYUV = fourCC("2vuy");
inline constexpr std::uint32_t bmdFormat10BitYUV = fourCC("v210");
inline constexpr std::uint32_t bmdFormat8BitARGB = 0x20;
inline constexpr std::uint32_t bmdFormat8BitBGRA = fourCC("BGRA");

inline constexpr std::uint32_t bmdVideoInputFlagDefault = 0;
inline constexpr std::uint32_t bmdVideoInputEnableFormatDetection = 1;
inline constexpr std::uint32_t bmdDetectedVideoInputRGB444 = 2; // in VideoInputFormatChanged
inline constexpr std::uint32_t bmdVideoOutputFlagDefault = 0;
inline constexpr std::uint32_t bmdVideoOutputRP188 = 4;
inline constexpr std::uint32_t bmdFrameFlagDefault = 0;
inline constexpr std::uint32_t bmdFrameHasNoInputSource = 1U << 31;
inline constexpr std::uint32_t bmdTimecodeFlagDefault = 0;

inline constexpr std::uint32_t bmdTimecodeRP188VITC2 = fourCC("rp12");
inline constexpr std::uint32_t bmdTimecodeRP188Any = fourCC("rp18");

// Flags of an access to a picture's bytes.
inline constexpr std::uint32_t bmdBufferAccessRead = 1;
inline constexpr std::uint32_t bmdBufferAccessWrite = 2;

inline constexpr std::uint32_t bmdAudioSampleRate48kHz = 48000;
inline constexpr std::uint32_t bmdAudioSampleType16bitInteger = 16;
inline constexpr std::uint32_t bmdAudioOutputStreamContinuous = 0;
inline constexpr std::uint32_t bmdAudioOutputStreamContinuousDontResample = 1;
inline constexpr std::uint32_t bmdAudioOutputStreamTimestamped = 2;

} // namespace quol::decklink

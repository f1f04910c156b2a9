#include "core/ModeTables.h"

#include <array>

namespace quol {

namespace {

constexpr double rate23976 = 24000.0 / 1001;
constexpr double rate2997 = 30000.0 / 1001;
constexpr double rate5994 = 60000.0 / 1001;

constexpr bool progressive = false;
constexpr bool interlaced = true;

constexpr std::array<VideoMode, lastVideoMode - firstTableMode + 1> videoModes{{
    {720, 486, rate2997, interlaced, 59},     // 2
    {720, 576, 25, interlaced, 50},           // 3
    {1280, 720, 50, progressive, 50},         // 4
    {1280, 720, rate5994, progressive, 59},   // 5
    {1280, 720, 60, progressive, 60},         // 6
    {1920, 1080, rate23976, progressive, 23}, // 7
    {1920, 1080, 24, progressive, 24},        // 8
    {1920, 1080, 25, progressive, 25},        // 9
    {1920, 1080, rate2997, progressive, 29},  // 10
    {1920, 1080, 30, progressive, 30},        // 11
    {1920, 1080, 25, interlaced, 50},         // 12
    {1920, 1080, 50, progressive, 50},        // 13
    {1920, 1080, rate2997, interlaced, 59},   // 14
    {1920, 1080, rate5994, progressive, 59},  // 15
    {1920, 1080, 30, interlaced, 60},         // 16
    {1920, 1080, 60, progressive, 60},        // 17
    {2048, 1080, rate23976, progressive, 23}, // 18
    {2048, 1080, 24, progressive, 24},        // 19
    {2048, 1080, 25, progressive, 25},        // 20
    {2048, 1080, 50, progressive, 50},        // 21
    {2048, 1080, 60, progressive, 60},        // 22
    {3840, 2160, rate23976, progressive, 23}, // 23
    {3840, 2160, 24, progressive, 24},        // 24
    {3840, 2160, 25, progressive, 25},        // 25
    {3840, 2160, rate2997, progressive, 29},  // 26
    {3840, 2160, 30, progressive, 30},        // 27
    {3840, 2160, 25, interlaced, 50},         // 28
    {3840, 2160, 50, progressive, 50},        // 29
    {3840, 2160, rate2997, interlaced, 59},   // 30
    {3840, 2160, rate5994, progressive, 59},  // 31
    {3840, 2160, 30, interlaced, 60},         // 32
    {3840, 2160, 60, progressive, 60},        // 33
    {4096, 2160, rate23976, progressive, 23}, // 34
    {4096, 2160, 24, progressive, 24},        // 35
    {4096, 2160, 25, progressive, 25},        // 36
    {4096, 2160, 50, progressive, 50},        // 37
    {4096, 2160, 60, progressive, 60},        // 38
}};

constexpr std::array<AudioMode, lastAudioMode - firstTableMode + 1> audioModes{{
    {11025, 2, 16},   // 2
    {22050, 2, 16},   // 3
    {44100, 2, 16},   // 4
    {44100, 6, 16},   // 5
    {48000, 2, 16},   // 6
    {48000, 6, 16},   // 7
    {48000, 8, 16},   // 8
    {48000, 16, 16},  // 9
    {96000, 2, 16},   // 10
    {96000, 6, 16},   // 11
    {96000, 8, 16},   // 12
    {192000, 2, 16},  // 13
    {192000, 6, 16},  // 14
    {192000, 8, 16},  // 15
    {44100, 2, 24},   // 16
    {48000, 2, 24},   // 17
    {48000, 6, 24},   // 18
    {48000, 8, 24},   // 19
    {48000, 16, 24},  // 20
    {96000, 2, 24},   // 21
    {96000, 6, 24},   // 22
    {96000, 8, 24},   // 23
    {192000, 2, 24},  // 24
    {192000, 6, 24},  // 25
    {192000, 8, 24},  // 26
    {44100, 2, -32},  // 27
    {48000, 2, -32},  // 28
    {48000, 6, -32},  // 29
    {48000, 8, -32},  // 30
    {48000, 16, -32}, // 31
    {96000, 2, -32},  // 32
    {96000, 6, -32},  // 33
    {96000, 8, -32},  // 34
    {192000, 2, -32}, // 35
    {192000, 6, -32}, // 36
    {192000, 8, -32}, // 37
}};

// 2 is a hole that appends nothing; 9 and 10 are the same format.
constexpr std::array<std::string_view, 18> pixelFormatFilters{{
    "",
    ",format=yuv420p",
    "",
    ",format=nv12",
    ",format=gbrp10le",
    ",format=rgb24",
    ",format=rgba",
    ",format=argb",
    ",format=rgb8",
    ",format=uyvy422",
    ",format=uyvy422",
    ",format=yuv422p10le",
    ",format=yuyv422",
    ",format=yvu420p",
    ",format=yvyu422",
    ",format=yuv422p",
    ",format=yuva422p",
    ",format=yuva420p",
}};

template <typename Table>
auto findRow(const Table& table, std::uint32_t mode) {
    const bool inTable = mode >= firstTableMode && mode - firstTableMode < table.size();
    return inTable ? &table[mode - firstTableMode] : nullptr;
}

} // namespace

const VideoMode* findVideoMode(std::uint32_t mode) {
    return findRow(videoModes, mode);
}

const AudioMode* findAudioMode(std::uint32_t mode) {
    return findRow(audioModes, mode);
}

void expandVideoFormat(videoFormatProps& format) {
    if (format.mode < firstTableMode) return;
    const VideoMode* row = findVideoMode(format.mode);
    format.width = row != nullptr ? row->width : 0;
    format.height = row != nullptr ? row->height : 0;
    format.fps = row != nullptr ? row->fps : 0.0;
}

void expandAudioFormat(audioFormatProps& format) {
    if (format.mode < firstTableMode) return;
    const AudioMode* row = findAudioMode(format.mode);
    format.sampleRate = row != nullptr ? row->sampleRate : 0;
    format.channels = row != nullptr ? row->channels : 0;
    format.bitsPerSample = row != nullptr ? row->bitsPerSample : 0;
}

std::string_view pixelFormatFilter(std::int32_t pixelFormat) {
    const auto row = static_cast<std::size_t>(pixelFormat);
    return pixelFormat >= 0 && row < pixelFormatFilters.size() ? pixelFormatFilters[row] : "";
}

} // namespace quol

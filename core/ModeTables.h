// The tables behind videoFormatProps and audioFormatProps, and the one rule that expands them.
#pragma once

#include <cstdint>
#include <string_view>

#include "quolsdk/formats.h"

namespace quol {

// Faster sound there is none: a larger rate is a mistake, and converting to it would take memory
// without end.
constexpr int maxSampleRate = 768000;

// What the numbers of `mode` mean beside the rows of the tables.
inline constexpr std::uint32_t modeCustom = 0;
inline constexpr std::uint32_t modeNative = 1;
inline constexpr std::uint32_t firstTableMode = 2;
inline constexpr std::uint32_t lastVideoMode = 38;
inline constexpr std::uint32_t lastAudioMode = 37;

struct VideoMode {
    std::int32_t width;
    std::int32_t height;
    double fps;
    bool interlaced;
    int labelRate; // whole-number rate of mode labels: the field rate of an interlaced mode
};

struct AudioMode {
    std::int32_t sampleRate;
    std::int32_t channels;
    std::int32_t bitsPerSample;
};

// The row of a mode, null outside 2..38 (video) and 2..37 (audio).
const VideoMode* findVideoMode(std::uint32_t mode);
const AudioMode* findAudioMode(std::uint32_t mode);

// Overwrites the record by its mode: 0 and 1 change nothing, a table row sets size and rate (rate,
// channels and bits), a mode beyond the table sets them to 0. `pixelFormat` is never touched.
void expandVideoFormat(videoFormatProps& format);
void expandAudioFormat(audioFormatProps& format);

// The filter that a value of `pixelFormat` appends to a filter chain, ",format=..."; empty for 0,
// for 2 and for values beyond the table.
std::string_view pixelFormatFilter(std::int32_t pixelFormat);

} // namespace quol

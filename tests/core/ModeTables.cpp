#include "core/ModeTables.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string_view>

namespace {

enum class Scan { interlaced, progressive };

// Rates with a fraction as two whole numbers, so that nothing here repeats the library's constants.
struct VideoRow {
    std::uint32_t mode;
    int width;
    int height;
    int rateNumerator;
    int rateDenominator;
    Scan scan;
    int labelRate;
};

constexpr VideoRow videoRows[] = {
    {2, 720, 486, 30000, 1001, Scan::interlaced, 59},
    {3, 720, 576, 25, 1, Scan::interlaced, 50},
    {4, 1280, 720, 50, 1, Scan::progressive, 50},
    {5, 1280, 720, 60000, 1001, Scan::progressive, 59},
    {6, 1280, 720, 60, 1, Scan::progressive, 60},
    {7, 1920, 1080, 24000, 1001, Scan::progressive, 23},
    {8, 1920, 1080, 24, 1, Scan::progressive, 24},
    {9, 1920, 1080, 25, 1, Scan::progressive, 25},
    {10, 1920, 1080, 30000, 1001, Scan::progressive, 29},
    {11, 1920, 1080, 30, 1, Scan::progressive, 30},
    {12, 1920, 1080, 25, 1, Scan::interlaced, 50},
    {13, 1920, 1080, 50, 1, Scan::progressive, 50},
    {14, 1920, 1080, 30000, 1001, Scan::interlaced, 59},
    {15, 1920, 1080, 60000, 1001, Scan::progressive, 59},
    {16, 1920, 1080, 30, 1, Scan::interlaced, 60},
    {17, 1920, 1080, 60, 1, Scan::progressive, 60},
    {18, 2048, 1080, 24000, 1001, Scan::progressive, 23},
    {19, 2048, 1080, 24, 1, Scan::progressive, 24},
    {20, 2048, 1080, 25, 1, Scan::progressive, 25},
    {21, 2048, 1080, 50, 1, Scan::progressive, 50},
    {22, 2048, 1080, 60, 1, Scan::progressive, 60},
    {23, 3840, 2160, 24000, 1001, Scan::progressive, 23},
    {24, 3840, 2160, 24, 1, Scan::progressive, 24},
    {25, 3840, 2160, 25, 1, Scan::progressive, 25},
    {26, 3840, 2160, 30000, 1001, Scan::progressive, 29},
    {27, 3840, 2160, 30, 1, Scan::progressive, 30},
    {28, 3840, 2160, 25, 1, Scan::interlaced, 50},
    {29, 3840, 2160, 50, 1, Scan::progressive, 50},
    {30, 3840, 2160, 30000, 1001, Scan::interlaced, 59},
    {31, 3840, 2160, 60000, 1001, Scan::progressive, 59},
    {32, 3840, 2160, 30, 1, Scan::interlaced, 60},
    {33, 3840, 2160, 60, 1, Scan::progressive, 60},
    {34, 4096, 2160, 24000, 1001, Scan::progressive, 23},
    {35, 4096, 2160, 24, 1, Scan::progressive, 24},
    {36, 4096, 2160, 25, 1, Scan::progressive, 25},
    {37, 4096, 2160, 50, 1, Scan::progressive, 50},
    {38, 4096, 2160, 60, 1, Scan::progressive, 60},
};

struct AudioRow {
    std::uint32_t mode;
    int rate;
    int channels;
    int bits;
};

constexpr AudioRow audioRows[] = {
    {2, 11025, 2, 16},   {3, 22050, 2, 16},    {4, 44100, 2, 16},    {5, 44100, 6, 16},
    {6, 48000, 2, 16},   {7, 48000, 6, 16},    {8, 48000, 8, 16},    {9, 48000, 16, 16},
    {10, 96000, 2, 16},  {11, 96000, 6, 16},   {12, 96000, 8, 16},   {13, 192000, 2, 16},
    {14, 192000, 6, 16}, {15, 192000, 8, 16},  {16, 44100, 2, 24},   {17, 48000, 2, 24},
    {18, 48000, 6, 24},  {19, 48000, 8, 24},   {20, 48000, 16, 24},  {21, 96000, 2, 24},
    {22, 96000, 6, 24},  {23, 96000, 8, 24},   {24, 192000, 2, 24},  {25, 192000, 6, 24},
    {26, 192000, 8, 24}, {27, 44100, 2, -32},  {28, 48000, 2, -32},  {29, 48000, 6, -32},
    {30, 48000, 8, -32}, {31, 48000, 16, -32}, {32, 96000, 2, -32},  {33, 96000, 6, -32},
    {34, 96000, 8, -32}, {35, 192000, 2, -32}, {36, 192000, 6, -32}, {37, 192000, 8, -32},
};

constexpr std::uint32_t largest = std::numeric_limits<std::uint32_t>::max();

videoFormatProps customVideo(std::uint32_t mode) {
    return {mode, 123, 45, 67.5, 9};
}

audioFormatProps customAudio(std::uint32_t mode) {
    return {mode, 8, 12345, 3};
}

TEST(VideoModes, EveryRowOverwritesSizeAndRate) {
    std::uint32_t next = 2;
    for (const VideoRow& row : videoRows) {
        SCOPED_TRACE(row.mode);
        EXPECT_EQ(row.mode, next++);
        videoFormatProps format = customVideo(row.mode);
        quol::expandVideoFormat(format);
        EXPECT_EQ(format.mode, row.mode);
        EXPECT_EQ(format.width, row.width);
        EXPECT_EQ(format.height, row.height);
        EXPECT_EQ(format.fps, static_cast<double>(row.rateNumerator) / row.rateDenominator);
        EXPECT_EQ(format.pixelFormat, 9);
    }
    EXPECT_EQ(next, 39U);
}

TEST(VideoModes, EveryRowTellsScanAndLabelRate) {
    for (const VideoRow& row : videoRows) {
        SCOPED_TRACE(row.mode);
        const quol::VideoMode* mode = quol::findVideoMode(row.mode);
        ASSERT_NE(mode, nullptr);
        EXPECT_EQ(mode->interlaced, row.scan == Scan::interlaced);
        EXPECT_EQ(mode->labelRate, row.labelRate);
    }
}

TEST(VideoModes, LabelGivesTheFieldRateOfAnInterlacedMode) {
    for (std::uint32_t number = 2; number <= 38; ++number) {
        SCOPED_TRACE(number);
        const quol::VideoMode* mode = quol::findVideoMode(number);
        ASSERT_NE(mode, nullptr);
        EXPECT_EQ(mode->labelRate, static_cast<int>(mode->fps * (mode->interlaced ? 2 : 1)));
    }
}

TEST(VideoModes, Mode0KeepsWhatTheCallerWrote) {
    videoFormatProps format = customVideo(0);
    quol::expandVideoFormat(format);
    EXPECT_EQ(format.width, 123);
    EXPECT_EQ(format.height, 45);
    EXPECT_EQ(format.fps, 67.5);
    EXPECT_EQ(format.pixelFormat, 9);
}

TEST(VideoModes, Mode1KeepsTheWidthAndHeightThatTheCallerWrote) {
    videoFormatProps format = customVideo(1);
    quol::expandVideoFormat(format);
    EXPECT_EQ(format.mode, 1U);
    EXPECT_EQ(format.width, 123);
    EXPECT_EQ(format.height, 45);
    EXPECT_EQ(format.fps, 67.5);
    EXPECT_EQ(format.pixelFormat, 9);
}

TEST(VideoModes, Mode39AndAboveGiveWidth0Height0Fps0) {
    for (const std::uint32_t mode : {39U, 40U, 64U, 1000U, largest - 1, largest}) {
        SCOPED_TRACE(mode);
        videoFormatProps format = customVideo(mode);
        quol::expandVideoFormat(format);
        EXPECT_EQ(format.mode, mode);
        EXPECT_EQ(format.width, 0);
        EXPECT_EQ(format.height, 0);
        EXPECT_EQ(format.fps, 0.0);
        EXPECT_EQ(format.pixelFormat, 9);
    }
}

TEST(VideoModes, OnlyTheTablesRowsAreFound) {
    for (const std::uint32_t mode : {0U, 1U, 39U, 40U, largest}) {
        EXPECT_EQ(quol::findVideoMode(mode), nullptr) << mode;
    }
}

TEST(AudioModes, EveryRowOverwritesBitsRateAndChannels) {
    std::uint32_t next = 2;
    for (const AudioRow& row : audioRows) {
        SCOPED_TRACE(row.mode);
        EXPECT_EQ(row.mode, next++);
        audioFormatProps format = customAudio(row.mode);
        quol::expandAudioFormat(format);
        EXPECT_EQ(format.mode, row.mode);
        EXPECT_EQ(format.sampleRate, row.rate);
        EXPECT_EQ(format.channels, row.channels);
        EXPECT_EQ(format.bitsPerSample, row.bits);
    }
    EXPECT_EQ(next, 38U);
}

TEST(AudioModes, Modes0And1LeaveTheRecordUnchanged) {
    for (const std::uint32_t mode : {0U, 1U}) {
        SCOPED_TRACE(mode);
        audioFormatProps format = customAudio(mode);
        quol::expandAudioFormat(format);
        EXPECT_EQ(format.mode, mode);
        EXPECT_EQ(format.bitsPerSample, 8);
        EXPECT_EQ(format.sampleRate, 12345);
        EXPECT_EQ(format.channels, 3);
    }
}

TEST(AudioModes, Mode38AndAboveGiveZeros) {
    for (const std::uint32_t mode : {38U, 39U, 1000U, largest}) {
        SCOPED_TRACE(mode);
        audioFormatProps format = customAudio(mode);
        quol::expandAudioFormat(format);
        EXPECT_EQ(format.mode, mode);
        EXPECT_EQ(format.bitsPerSample, 0);
        EXPECT_EQ(format.sampleRate, 0);
        EXPECT_EQ(format.channels, 0);
        EXPECT_EQ(quol::findAudioMode(mode), nullptr);
    }
    EXPECT_EQ(quol::findAudioMode(0), nullptr);
    EXPECT_EQ(quol::findAudioMode(1), nullptr);
}

TEST(PixelFormats, EveryRowAppendsItsText) {
    constexpr std::string_view texts[] = {
        /*  0 */ "",
        /*  1 */ ",format=yuv420p",
        /*  2 */ "",
        /*  3 */ ",format=nv12",
        /*  4 */ ",format=gbrp10le",
        /*  5 */ ",format=rgb24",
        /*  6 */ ",format=rgba",
        /*  7 */ ",format=argb",
        /*  8 */ ",format=rgb8",
        /*  9 */ ",format=uyvy422",
        /* 10 */ ",format=uyvy422",
        /* 11 */ ",format=yuv422p10le",
        /* 12 */ ",format=yuyv422",
        /* 13 */ ",format=yvu420p",
        /* 14 */ ",format=yvyu422",
        /* 15 */ ",format=yuv422p",
        /* 16 */ ",format=yuva422p",
        /* 17 */ ",format=yuva420p",
    };
    int value = 0;
    for (const std::string_view text : texts) {
        EXPECT_EQ(quol::pixelFormatFilter(value), text) << value;
        ++value;
    }
}

TEST(PixelFormats, ValuesBeyondTheTableAppendNothing) {
    constexpr std::int32_t low = std::numeric_limits<std::int32_t>::min();
    constexpr std::int32_t high = std::numeric_limits<std::int32_t>::max();
    for (const std::int32_t value : {-1, -2, 18, 19, 256, low, high}) {
        EXPECT_EQ(quol::pixelFormatFilter(value), "") << value;
    }
}

} // namespace

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <numbers>
#include <ostream>

#include "core/SoundBlock.h"
#include "sources/LiveNoSignal.h"
#include "sources/LiveTestSignal.h"

namespace {

struct Levels {
    int y, u, v;
    bool operator==(const Levels&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Levels& levels) {
    return out << levels.y << ' ' << levels.u << ' ' << levels.v;
}

Levels levelsAt(const AVFrame& picture, int x, int y) {
    const std::uint8_t* pair = picture.data[0] + y * picture.linesize[0] + x / 2 * 4;
    return {pair[x % 2 == 0 ? 1 : 3], pair[0], pair[2]};
}

// The test picture without its text, written down a second time.
Levels testLevels(int x, int y) {
    constexpr std::array<Levels, 8> bars{{{180, 128, 128},
                                          {162, 44, 142},
                                          {131, 156, 44},
                                          {112, 72, 58},
                                          {84, 184, 198},
                                          {65, 100, 212},
                                          {35, 212, 114},
                                          {16, 128, 128}}};
    constexpr std::array<std::size_t, 8> blocks{6, 7, 4, 7, 2, 7, 0, 7}; // as bars
    if (y < 720) return bars[static_cast<std::size_t>(x / 240)];
    if (y < 810) return bars[blocks[static_cast<std::size_t>(x / 240)]];
    if (x < 480) return {30, 160, 140};
    if (x < 960) return {235, 128, 128};
    if (x < 1440) return {40, 180, 180};
    return {16, 128, 128};
}

Levels cardBar(int x, int width) {
    constexpr std::array<Levels, 8> bars{{{94, 128, 128},
                                          {84, 83, 135},
                                          {68, 143, 83},
                                          {58, 98, 90},
                                          {42, 157, 165},
                                          {32, 112, 172},
                                          {16, 172, 120},
                                          {6, 128, 128}}};
    // A pair of columns takes the colour of its even one.
    const Levels own = bars[static_cast<std::size_t>(x * 8 / width)];
    const Levels even = bars[static_cast<std::size_t>((x - x % 2) * 8 / width)];
    return {own.y, even.u, even.v};
}

// Compares a card with its formula; the pixels of its text are counted.
int checkCard(int width, int height) {
    const quol::FramePtr card = quol::drawNoSignalCard(width, height);
    EXPECT_TRUE(card) << width << 'x' << height;
    if (!card) return -1;
    EXPECT_EQ(card->width, width);
    EXPECT_EQ(card->height, height);
    EXPECT_EQ(card->format, AV_PIX_FMT_UYVY422);
    const int band = height / 6;
    const int top = (height - band) / 2;
    int ink = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const Levels seen = levelsAt(*card, x, y);
            const bool inBand = y >= top && y < top + band;
            const Levels expected = inBand ? Levels{6, 128, 128} : cardBar(x, width);
            if (inBand && seen == Levels{94, 128, 128}) {
                ++ink;
            } else if (!(seen == expected)) {
                ADD_FAILURE() << width << 'x' << height << " at " << x << ", " << y << ": " << seen
                              << " instead of " << expected;
                return -1;
            }
        }
    }
    return ink;
}

TEST(LiveDrawings, TheTestPictureHasItsBarsBlocksFieldsAndText) {
    const quol::FramePtr picture = quol::drawTestPicture();
    ASSERT_TRUE(picture);
    ASSERT_EQ(picture->width, 1920);
    ASSERT_EQ(picture->height, 1080);
    ASSERT_EQ(picture->format, AV_PIX_FMT_UYVY422);
    int ink = 0;
    int left = 1920;
    int right = 0;
    for (int y = 0; y < 1080; ++y) {
        for (int x = 0; x < 1920; ++x) {
            const Levels seen = levelsAt(*picture, x, y);
            const Levels expected = testLevels(x, y);
            if (seen == expected) continue;
            // Odd columns of a letter keep the colour of their pair.
            const bool letter =
                y >= 472 && y <= 606 &&
                (seen.y == 235 || (x % 2 == 1 && seen.y == expected.y && seen.u == 128));
            ASSERT_TRUE(letter) << seen << " at " << x << ", " << y;
            if (seen.y != 235) continue;
            ++ink;
            left = std::min(left, x);
            right = std::max(right, x);
        }
    }
    EXPECT_GT(ink, 1000);
    EXPECT_NEAR(left + right, 1919, 6); // in the middle
}

TEST(LiveDrawings, TheCardHasDimmedBarsADarkBandAndTextInItsMiddle) {
    EXPECT_GT(checkCard(1920, 1080), 1000);
    EXPECT_GT(checkCard(1280, 720), 500);
    EXPECT_GT(checkCard(720, 576), 100);
    EXPECT_GT(checkCard(720, 486), 100);
}

TEST(LiveDrawings, ACardOfAnySizeCanBeDrawn) {
    for (const int width : {1, 2, 3, 7, 8, 9, 17, 640}) {
        for (const int height : {1, 2, 5, 6, 7, 12, 13, 37})
            EXPECT_GE(checkCard(width, height), 0);
    }
}

TEST(LiveDrawings, BelowSixRowsTheCardHasNoBand) {
    EXPECT_EQ(checkCard(64, 5), 0);
}

TEST(LiveDrawings, ASizeThatNoPictureHasGivesNoCard) {
    EXPECT_FALSE(quol::drawNoSignalCard(0, 1080));
    EXPECT_FALSE(quol::drawNoSignalCard(1920, 0));
    EXPECT_FALSE(quol::drawNoSignalCard(-16, 16));
    EXPECT_FALSE(quol::drawNoSignalCard(1 << 30, 1 << 30));
}

TEST(LiveDrawings, TheToneIsTheFormulaInBothChannelsForAMinute) {
    quol::TestTone tone;
    double phase = 0.0;
    for (int block = 0; block < 60 * 25; ++block) {
        const quol::FramePtr sound = tone.next();
        ASSERT_TRUE(sound);
        ASSERT_EQ(sound->nb_samples, 1920);
        ASSERT_EQ(sound->sample_rate, 48000);
        ASSERT_EQ(sound->format, AV_SAMPLE_FMT_S16);
        ASSERT_EQ(sound->ch_layout.nb_channels, 2);
        const std::int16_t* samples = quol::samplesOf(*sound);
        for (int i = 0; i < 1920; ++i) {
            const int expected = static_cast<int>(std::sin(phase) * 12000);
            ASSERT_EQ(samples[2 * i], expected) << "block " << block << " sample " << i;
            ASSERT_EQ(samples[2 * i + 1], expected);
            phase += 0.1308996938995747;
            if (phase > 2 * std::numbers::pi) phase -= 2 * std::numbers::pi;
        }
    }
}

// Against the clock, not against the formula: how often it swings in a minute, and how far one
// sample may be from the next where blocks meet.
TEST(LiveDrawings, TheToneIsOneKilohertzAndContinuousOverAMinute) {
    constexpr int seconds = 60;
    constexpr double steepest = 12000 * 2 * std::numbers::pi / 48 + 2;
    quol::TestTone tone;
    int last = 0;
    int rising = 0;
    int largest = 0;
    double inPhase = 0.0;
    double quadrature = 0.0;
    std::int64_t at = 0;
    for (int block = 0; block < seconds * 25; ++block) {
        const quol::FramePtr sound = tone.next();
        const std::int16_t* samples = quol::samplesOf(*sound);
        for (int i = 0; i < sound->nb_samples; ++i, ++at) {
            const int sample = samples[2 * i];
            ASSERT_LE(std::abs(sample - last), steepest) << "sample " << at;
            if (last <= 0 && sample > 0) ++rising;
            largest = std::max(largest, std::abs(sample));
            const double angle = 2 * std::numbers::pi * 1000.0 / 48000.0 * static_cast<double>(at);
            inPhase += sample * std::sin(angle);
            quadrature += sample * std::cos(angle);
            last = sample;
        }
    }
    EXPECT_NEAR(rising, seconds * 1000, 1);
    EXPECT_GE(largest, 11999);
    EXPECT_LE(largest, 12000);
    // All of the power lies at 1 kHz, and its phase has not moved in the minute.
    const double half = static_cast<double>(at) / 2;
    EXPECT_NEAR(inPhase / half, 12000, 3);
    EXPECT_NEAR(quadrature / half, 0, 3);
}

} // namespace

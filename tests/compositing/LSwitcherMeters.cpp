// What a switcher tells of its sound, and its master gain and format.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "quolsdk/LSwitcher.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/FilePlayer.h"
#include "support/PlainFrames.h"
#include "support/RunningMixer.h"
#include "support/SteppedSwitcher.h"

namespace {

using test::customVideo;
using test::Level;
using test::silence;
using test::Speaker;
using test::steadyLevel;
using test::SteppedSwitcher;

constexpr int width = test::steppedWidth;
constexpr int height = test::steppedHeight;
constexpr int block = test::steppedBlock;

} // namespace

// ------------------------------------------------------------------------------------ the meters

TEST(LSwitcherSound, TheMetersOfTheLayersStandBeforeTheGainsTheMastersBehind) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    a.sayLong({8192, -16384});
    b.sayLong({-4096, 2048});
    stepped.switcher.setProgAudioGain(50);
    stepped.switcher.setMasterGain(50);
    EXPECT_EQ(stepped.level(), (Level{2048, -4096}));
    EXPECT_EQ(stepped.stats().peakA, 0.5F);
    EXPECT_EQ(stepped.stats().peakB, 0.125F) << "not heard, but there";
    EXPECT_EQ(stepped.stats().masterPeak, 0.125F);
    EXPECT_EQ(stepped.switcher.peaks(), (Level{2048, 4096}));
    stepped.switcher.setMasterMute(true);
    EXPECT_EQ(stepped.level(), silence);
    EXPECT_EQ(stepped.stats().peakA, 0.5F);
    EXPECT_EQ(stepped.stats().masterPeak, 0.0F);
    EXPECT_EQ(stepped.switcher.peaks(), silence);
}

TEST(LSwitcherSound, ALayerThatFallsSilentOrGoesHasNoPeak) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    a.show(1.0);
    a.say(block, {-32768, 0}, 0.0);
    b.sayLong({0, 16384});
    ASSERT_NE(stepped.tick(), nullptr);
    EXPECT_EQ(stepped.stats().peakA, 1.0F);
    EXPECT_EQ(stepped.stats().peakB, 0.5F);
    stepped.switcher.setPreview(nullptr);
    ASSERT_NE(stepped.tick(), nullptr);
    EXPECT_EQ(stepped.stats().peakA, 0.0F);
    EXPECT_EQ(stepped.stats().peakB, 0.0F);
}

TEST(LSwitcherSound, ThePeakOfALayerIsItsLoudestSampleTheObjectsEveryFourth) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    source.show(1.0);
    source.say(5, {0, 0}, 0.0);
    source.say(1, {16384, 0}, 0.0);
    ASSERT_NE(stepped.tick(), nullptr);
    EXPECT_EQ(stepped.stats().peakA, 0.5F);
    EXPECT_EQ(stepped.stats().masterPeak, 0.5F);
    EXPECT_EQ(stepped.switcher.peaks(), silence) << "between two that are looked at";
}

// -------------------------------------------------------------------------------- the master gain

TEST(LSwitcherSound, TheMasterGainIsHeldWithinTwoHundredButForOneKey) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    source.sayLong({1000, -1000});
    const auto left = [&] { return stepped.level().value_or(Level{-1, -1}).left; };
    for (const auto& [percent, expected] :
         {std::pair{50, 500}, std::pair{200, 2000}, std::pair{201, 2000}, std::pair{100000, 2000},
          std::pair{0, 0}, std::pair{-1, 0}, std::pair{100, 1000}}) {
        stepped.switcher.setMasterGain(percent);
        EXPECT_EQ(left(), expected) << percent;
        for (const char* key : {"masterGain", "extAudioGain"}) {
            stepped.switcher.setMasterGain(77);
            stepped.switcher.setProps(key, std::to_string(percent));
            EXPECT_EQ(left(), expected) << key << ' ' << percent;
        }
    }
    for (const auto& [percent, expected] : {std::pair{50, 500}, std::pair{201, 2010},
                                            std::pair{1000, 10000}, std::pair{-100, -1000}}) {
        stepped.switcher.setProps("audioGain", std::to_string(percent));
        EXPECT_EQ(left(), expected) << percent;
    }
}

TEST(LSwitcherSound, EveryWayToMuteIsTheSameMute) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    source.sayLong({1000, -1000});
    const Level sound{1000, -1000};
    for (const char* key : {"masterMute", "extAudioMute"}) {
        for (const char* value : {"true", "1"}) {
            stepped.switcher.setProps(key, value);
            EXPECT_EQ(stepped.level(), silence) << key << ' ' << value;
            stepped.switcher.setMasterMute(false);
            EXPECT_EQ(stepped.level(), sound) << key << ' ' << value;
        }
        for (const char* value : {"false", "0", "", "TRUE", "yes", "2", " 1"}) {
            stepped.switcher.setMasterMute(true);
            EXPECT_EQ(stepped.level(), silence);
            stepped.switcher.setProps(key, value);
            EXPECT_EQ(stepped.level(), sound) << key << ' ' << value;
        }
    }
}

// ------------------------------------------------------------------------------------ the format

TEST(LSwitcherSound, TheModeOfTheAudioFormatSetsRateAndChannels) {
    SteppedSwitcher stepped;
    const auto stored = [&](const audioFormatProps& format) {
        stepped.switcher.setAudioFormat(format);
        audioFormatProps read;
        stepped.switcher.getAudioFormat(read);
        return read;
    };
    const audioFormatProps custom = stored({0, 24, 12345, 5});
    EXPECT_EQ(custom.mode, 0U);
    EXPECT_EQ(custom.bitsPerSample, 24);
    EXPECT_EQ(custom.sampleRate, 12345);
    EXPECT_EQ(custom.channels, 5);
    const audioFormatProps native = stored({1, 24, 22050, 1});
    EXPECT_EQ(native.sampleRate, 22050);
    const audioFormatProps row = stored({26, 16, 1, 1});
    EXPECT_EQ(row.mode, 26U);
    EXPECT_EQ(row.sampleRate, 192000);
    EXPECT_EQ(row.channels, 8);
    EXPECT_EQ(row.bitsPerSample, 16) << "the bits stay";
    quol::FramePtr sound = stepped.tick();
    ASSERT_NE(sound, nullptr);
    EXPECT_EQ(sound->sample_rate, 192000);
    EXPECT_EQ(sound->ch_layout.nb_channels, 2) << "stereo it is, whatever is stored";
    EXPECT_EQ(sound->format, AV_SAMPLE_FMT_S16);
    const audioFormatProps beyond = stored({38, 16, 44100, 2});
    EXPECT_EQ(beyond.sampleRate, 0);
    EXPECT_EQ(beyond.channels, 0);
    sound = stepped.tick();
    ASSERT_NE(sound, nullptr);
    EXPECT_EQ(sound->sample_rate, 48000);
}

TEST(LSwitcherSound, AnotherRateDropsWhatWaitsOfTheLayersTheSameOneNothing) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    a.sayLong({10000, -10000});
    b.sayLong({10000, -10000});
    stepped.setRate(48000);
    stepped.setRate(0); // means the same
    EXPECT_EQ(stepped.level(), (Level{10000, -10000}));
    stepped.setRate(44100);
    EXPECT_EQ(stepped.level(), silence);
    EXPECT_EQ(stepped.stats().audioDelay, 0.0);
    a.sayLong({5000, -5000}, 44100);
    const quol::FramePtr sound = stepped.tick();
    ASSERT_NE(sound, nullptr);
    EXPECT_EQ(sound->nb_samples, 882);
    EXPECT_EQ(steadyLevel(test::samplesOf(*sound)), (Level{5000, -5000})) << "at the new rate";
}

// ---------------------------------------------------------------------------------- the read-outs

TEST(LSwitcherSound, TheDelayIsOfTheLayerOfWhichMoreWaits) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    a.show(1.0);
    b.show(1.0);
    ASSERT_NE(stepped.tick(), nullptr);
    EXPECT_EQ(stepped.stats().audioDelay, 0.0);
    a.say(block + 480, {1, 1}, 1.0);
    b.say(block + 4800, {1, 1}, 5.0); // not due
    ASSERT_NE(stepped.tick(), nullptr);
    EXPECT_DOUBLE_EQ(stepped.stats().audioDelay, 120.0);
    stepped.switcher.setPreview(nullptr);
    a.say(960, {1, 1}, 5.0);
    ASSERT_NE(stepped.tick(), nullptr);
    EXPECT_DOUBLE_EQ(stepped.stats().audioDelay, 20.0);
    stepped.setRate(44100);
    a.say(882 * 2, {1, 1}, 5.0, 44100);
    ASSERT_NE(stepped.tick(), nullptr);
    EXPECT_DOUBLE_EQ(stepped.stats().audioDelay, 40.0);
}

TEST(LSwitcherSound, TheDriftIsWhatTheBlocksAreShorterThanTheirPictures) {
    SteppedSwitcher stepped;
    const auto driftOf = [&](int ticks) {
        const double before = stepped.stats().drift;
        for (int i = 0; i < ticks; ++i)
            EXPECT_NE(stepped.tick(), nullptr);
        return stepped.stats().drift - before;
    };
    EXPECT_NEAR(driftOf(20), 0.0, 1.0e-6);
    stepped.switcher.setVideoFormat(customVideo(width, height, 29.97, 1));
    EXPECT_NEAR(driftOf(100), 100.0 * (1000.0 / 29.97 - 1601.0 / 48.0), 1.0e-6);
    stepped.setRate(44100);
    EXPECT_NEAR(driftOf(100), 100.0 * (1000.0 / 29.97 - 1471.0 / 44.1), 1.0e-6);
    stepped.switcher.setVideoFormat(customVideo(width, height, 0.0, 1));
    EXPECT_NEAR(driftOf(10), 0.0, 1.0e-6) << "no rate is fifty";
}

// What a switcher takes of the sound of its sources, and what it makes of it, tick by tick.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "quolsdk/LSwitcher.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/FilePlayer.h"
#include "support/PlainFrames.h"
#include "support/RunningMixer.h"
#include "support/SteppedSwitcher.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace {

using test::customVideo;
using test::Level;
using test::pairsAhead;
using test::silence;
using test::Speaker;
using test::SteppedSwitcher;

constexpr int width = test::steppedWidth;
constexpr int height = test::steppedHeight;
constexpr int block = test::steppedBlock;

} // namespace

// ------------------------------------------------------------------------------------- the block

TEST(LSwitcherSound, ABlockLastsAsLongAsAPictureCutToWholeSamples) {
    struct Case {
        int rate;
        double fps;
        int pairs;
    };
    SteppedSwitcher stepped;
    for (const Case& each :
         {Case{48000, 50.0, 960}, Case{48000, 25.0, 1920}, Case{48000, 30000.0 / 1001.0, 1601},
          Case{48000, 60.0, 800}, Case{44100, 50.0, 882}, Case{44100, 29.97, 1471},
          Case{96000, 50.0, 1920}, Case{0, 50.0, 960}, Case{-1, 25.0, 1920}, Case{48000, 0.0, 960},
          Case{48000, -25.0, 960}}) {
        stepped.setRate(each.rate);
        stepped.switcher.setVideoFormat(customVideo(width, height, each.fps, 1));
        const quol::FramePtr sound = stepped.tick();
        ASSERT_NE(sound, nullptr);
        EXPECT_EQ(sound->nb_samples, each.pairs) << each.rate << " at " << each.fps;
        EXPECT_EQ(sound->sample_rate, each.rate > 0 ? each.rate : 48000);
        EXPECT_EQ(sound->format, AV_SAMPLE_FMT_S16);
        EXPECT_EQ(sound->ch_layout.nb_channels, 2);
    }
}

TEST(LSwitcherSound, ATickTooShortForOneSampleCountsAsAFiftiethOfASecond) {
    SteppedSwitcher stepped(100000.0);
    quol::FramePtr sound = stepped.tick();
    ASSERT_NE(sound, nullptr);
    EXPECT_EQ(sound->nb_samples, 960);
    stepped.setRate(44100);
    sound = stepped.tick();
    ASSERT_NE(sound, nullptr);
    EXPECT_EQ(sound->nb_samples, 882);
}

TEST(LSwitcherSound, ABlockHasTheTimeOfItsPictureInSamples) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    source.show(0.0);
    for (const auto& [fps, base] :
         {std::pair{50.0, 50}, std::pair{29.97, 29}, std::pair{25.0, 25}}) {
        for (const int rate : {48000, 44100}) {
            stepped.switcher.setVideoFormat(customVideo(width, height, fps, 1));
            stepped.setRate(rate);
            for (int i = 0; i < 4; ++i) {
                const std::int64_t index = stepped.stats().frameCount;
                const quol::FramePtr sound = stepped.tick();
                ASSERT_NE(sound, nullptr);
                ASSERT_NE(stepped.picture, nullptr);
                EXPECT_EQ(stepped.picture->pts, index);
                EXPECT_EQ(av_cmp_q(stepped.picture->time_base, {1, base}), 0);
                EXPECT_EQ(sound->pts, av_rescale_q(index, {1, base}, {1, rate}));
                EXPECT_EQ(av_cmp_q(sound->time_base, {1, rate}), 0);
                EXPECT_EQ(stepped.stats().frameCount, index + 1);
            }
        }
    }
}

TEST(LSwitcherSound, WithoutASourceThereIsSilenceAndNoPicture) {
    SteppedSwitcher stepped;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(stepped.level(), silence);
        EXPECT_EQ(stepped.picture, nullptr);
    }
    EXPECT_EQ(stepped.sink.pictureCount(), 0U);
    EXPECT_EQ(stepped.stats().masterPeak, 0.0F);
}

// ----------------------------------------------------------------------------------- the volumes

TEST(LSwitcherSound, TheSoundFadesInAStraightLineWhateverThePictureDoes) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    a.sayLong({10000, -8000});
    b.sayLong({4000, 20000});
    for (const char* type : {"fade", "wipe_lr", "squeeze_tb", "dip", "cut", "no type"}) {
        stepped.switcher.setTransitionType(type);
        const std::vector<std::pair<float, Level>> curve = {{0.0F, {10000, -8000}},
                                                            {0.25F, {8500, -1000}},
                                                            {0.5F, {7000, 6000}},
                                                            {0.75F, {5500, 13000}},
                                                            {1.0F, {4000, 20000}}};
        for (const auto& [position, level] : curve) {
            stepped.switcher.setTransition(position);
            EXPECT_EQ(stepped.level(), level) << type << " at " << position;
        }
    }
}

TEST(LSwitcherSound, GainsArePercentAndFadeIntoEachOther) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    a.sayLong({10000, -10000});
    b.sayLong({1000, 2000});
    stepped.switcher.setProgAudioGain(50);
    EXPECT_EQ(stepped.level(), (Level{5000, -5000}));
    stepped.switcher.setPrevAudioGain(25);
    EXPECT_EQ(stepped.level(), (Level{5250, -4500}));
    stepped.switcher.setTransition(0.25F); // 43.75 and 31.25 percent
    EXPECT_EQ(stepped.level(), (Level{4375 + 312, -4375 + 625}));
    stepped.switcher.setTransition(1.0F);
    EXPECT_EQ(stepped.level(), (Level{2500 + 500, -2500 + 1000}));
    stepped.switcher.setTransition(0.0F);
    stepped.switcher.setPrevAudioGain(0);
    stepped.switcher.setProgAudioGain(300);
    EXPECT_EQ(stepped.level(), (Level{30000, -30000}));
}

TEST(LSwitcherSound, AVolumeOfNothingAndBelowIsNotHeard) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    a.sayLong({10000, 10000});
    b.sayLong({2000, 2000});
    stepped.switcher.setProgAudioGain(0);
    EXPECT_EQ(stepped.level(), silence);
    stepped.switcher.setProgAudioGain(-100);
    EXPECT_EQ(stepped.level(), silence);
    // -25 and 75 percent make 50, of the layer that goes; the other has -50.
    stepped.switcher.setPrevAudioGain(100);
    stepped.switcher.setTransition(0.75F);
    EXPECT_EQ(stepped.level(), (Level{5000, 5000}));
}

TEST(LSwitcherSound, AVolumeOfAThousandthAndBelowIsNotHeard) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    a.sayLong({32767, -32767});
    stepped.switcher.setTransition(0.9995F);
    EXPECT_EQ(stepped.level(), silence) << "it would be 16";
    stepped.switcher.setTransition(0.998F);
    const Level heard = stepped.level().value_or(silence);
    EXPECT_NEAR(heard.left, 65, 1);
    EXPECT_NEAR(heard.right, -65, 1);
}

TEST(LSwitcherSound, GainsOfAnySizeDoNoHarm) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    a.sayLong({10000, -10000});
    b.sayLong({2000, 2000});
    constexpr int largest = std::numeric_limits<int>::max();
    constexpr int lowest = std::numeric_limits<int>::min();
    stepped.switcher.setProgAudioGain(largest);
    EXPECT_EQ(stepped.level(), (Level{32767, -32768}));
    stepped.switcher.setProps("audioGain", std::to_string(largest));
    EXPECT_EQ(stepped.level(), (Level{32767, -32768}));
    stepped.switcher.setProps("audioGain", std::to_string(lowest));
    EXPECT_EQ(stepped.level(), (Level{-32768, 32767}));
    stepped.switcher.setProgAudioGain(lowest);
    EXPECT_EQ(stepped.level(), silence);
}

TEST(LSwitcherSound, TheTypeStingerChangesTheSoundAtTheMiddle) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    a.sayLong({10000, 10000});
    b.sayLong({2000, 2000});
    stepped.switcher.setTransitionType("stinger");
    stepped.switcher.setPrevAudioGain(50);
    const std::vector<std::pair<float, int>> curve = {{0.0F, 11000}, {0.3F, 11000}, {0.49F, 11000},
                                                      {0.5F, 7000},  {0.8F, 7000},  {1.0F, 7000}};
    for (const auto& [position, level] : curve) {
        stepped.switcher.setTransition(position);
        EXPECT_EQ(stepped.level(), (Level{level, level})) << position;
    }
}

TEST(LSwitcherSound, AnotherTypeLeavesTheSoundUntilThePositionMoves) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    a.sayLong({10000, 10000});
    b.sayLong({2000, 2000});
    stepped.switcher.setPrevAudioGain(0);
    stepped.switcher.setTransition(0.25F);
    EXPECT_EQ(stepped.level(), (Level{8000, 8000}));
    stepped.switcher.setTransitionType("stinger");
    EXPECT_EQ(stepped.level(), (Level{8000, 8000}));
    stepped.switcher.setTransition(0.25F);
    EXPECT_EQ(stepped.level(), (Level{10000, 10000}));
    stepped.switcher.setTransitionType("fade");
    EXPECT_EQ(stepped.level(), (Level{10000, 10000}));
    stepped.switcher.setTransition(0.25F);
    EXPECT_EQ(stepped.level(), (Level{8000, 8000}));
}

TEST(LSwitcherSound, ACutTakesTheSoundAlong) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    a.sayLong({10000, 10000});
    b.sayLong({2000, 2000});
    EXPECT_EQ(stepped.level(), (Level{10000, 10000}));
    stepped.switcher.setCutTransition();
    EXPECT_EQ(stepped.level(), (Level{2000, 2000}));
    EXPECT_EQ(stepped.stats().peakA, 2000.0F / 32768.0F);
    EXPECT_EQ(stepped.stats().peakB, 10000.0F / 32768.0F);
    stepped.switcher.setTransition(1.0F);
    EXPECT_EQ(stepped.level(), (Level{10000, 10000}));
    stepped.switcher.setCutTransition();
    EXPECT_EQ(stepped.level(), (Level{2000, 2000}));
}

TEST(LSwitcherSound, AnAutomaticTransitionEndsWithTheSoundOfTheOther) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    a.sayLong({10000, 10000});
    b.sayLong({2000, 2000});
    ASSERT_EQ(stepped.level(), (Level{10000, 10000}));
    stepped.switcher.setAutoTransition(1.0);
    EXPECT_TRUE(test::waitUntil([&] {
        return stepped.switcher.getCurrentPreviewSource() == &a &&
               stepped.stats().activeSource == "SubA";
    }));
    EXPECT_EQ(stepped.level(), (Level{2000, 2000}));
}

TEST(LSwitcherSound, FullScaleIsTheLimit) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    stepped.switcher.setPrevAudioGain(100);
    a.sayLong({30000, -30000});
    b.sayLong({20000, -20000});
    EXPECT_EQ(stepped.level(), (Level{32767, -32768}));
    EXPECT_EQ(stepped.stats().masterPeak, 1.0F);
}

TEST(LSwitcherSound, EachShareIsHeldWithinFullScaleTheFirstLayersFirst) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    stepped.switcher.setProgAudioGain(200);
    stepped.switcher.setPrevAudioGain(100);
    a.sayLong({30000, -30000});
    b.sayLong({-20000, 20000});
    EXPECT_EQ(stepped.level(), (Level{32767 - 20000, -32768 + 20000}));
}

// ------------------------------------------------------------------------------ what is due when

TEST(LSwitcherSound, SoundIsTakenUpToAFiftiethOfASecondAndMoreAheadOfThePicture) {
    struct Case {
        double seconds;
        bool isDue;
    };
    for (const Case& each : {Case{0.0, true}, Case{10.0, true}, Case{10.049, true},
                             Case{10.051, false}, Case{11.0, false}}) {
        Speaker source;
        SteppedSwitcher stepped;
        stepped.switcher.setProgram(&source);
        source.show(10.0);
        source.say(block, {1000, 1000}, each.seconds);
        EXPECT_EQ(stepped.level(), each.isDue ? (Level{1000, 1000}) : silence) << each.seconds;
        // It is not lost, and comes when the pictures have come so far.
        source.show(11.0);
        EXPECT_EQ(stepped.level(), each.isDue ? silence : (Level{1000, 1000})) << each.seconds;
    }
}

TEST(LSwitcherSound, WithoutAPictureSoundIsDueByATimeOfZero) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    source.say(block, {1000, 1000}, 0.04);
    source.say(block, {1000, 1000}, 0.06);
    EXPECT_EQ(stepped.level(), (Level{1000, 1000}));
    EXPECT_EQ(stepped.level(), silence);
    EXPECT_EQ(stepped.picture, nullptr);
}

TEST(LSwitcherSound, WhatIsLeftOfABlockHasATimeOfItsOwn) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    source.show(1.0);
    source.say(5 * block, {1000, 1000}, 1.001);
    for (int i = 0; i < 3; ++i) // at 1.001, 1.021 and 1.041
        EXPECT_EQ(stepped.level(), (Level{1000, 1000})) << i;
    EXPECT_EQ(stepped.level(), silence);
    source.show(1.02);
    EXPECT_EQ(stepped.level(), (Level{1000, 1000}));
    EXPECT_EQ(stepped.level(), silence);
    source.show(1.04);
    EXPECT_EQ(stepped.level(), (Level{1000, 1000}));
    source.show(5.0);
    EXPECT_EQ(stepped.level(), silence) << "it is used up";
}

TEST(LSwitcherSound, BlocksOfAnyLengthFollowEachOtherWithoutAGap) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    int next = 1;
    for (const int samples : {1, 959, 961, 700, 1300, 3, 2881, 960, 17, 858}) {
        source.count(samples, next);
        next += samples;
    }
    ASSERT_EQ((next - 1) % block, 0);
    std::vector<std::int16_t> heard;
    for (int i = 0; i < (next - 1) / block; ++i) {
        const std::vector<std::int16_t> samples = stepped.samples();
        heard.insert(heard.end(), samples.begin(), samples.end());
    }
    ASSERT_EQ(heard.size(), static_cast<std::size_t>(next - 1) * 2);
    for (int i = 1; i < next; ++i) {
        ASSERT_EQ(heard.at(static_cast<std::size_t>(i) * 2 - 2), i);
        ASSERT_EQ(heard.at(static_cast<std::size_t>(i) * 2 - 1), -i);
    }
    EXPECT_EQ(stepped.level(), silence);
}

TEST(LSwitcherSound, WhatIsMissingAtTheEndOfABlockIsSilent) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    source.show(1.0);
    source.say(500, {1000, 1000}, 1.0);
    source.say(500, {1000, 1000}, 1.06); // not due yet
    EXPECT_EQ(pairsAhead(stepped.samples(), {1000, 1000}), 500);
    source.show(1.02);
    EXPECT_EQ(pairsAhead(stepped.samples(), {1000, 1000}), 500);
    EXPECT_EQ(stepped.level(), silence);
}

TEST(LSwitcherSound, ThePictureOfALayerThatIsNotSeenTellsWhatIsDueAllTheSame) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    stepped.switcher.setPrevAudioGain(100);
    a.show(0.0);
    b.show(5.0);
    b.say(block, {1000, 1000}, 5.0);
    EXPECT_EQ(stepped.level(), (Level{1000, 1000}));
    b.say(block, {1000, 1000}, 5.1);
    EXPECT_EQ(stepped.level(), silence);
    b.show(5.1);
    EXPECT_EQ(stepped.level(), (Level{1000, 1000}));
}

TEST(LSwitcherSound, SoundOfALayerThatIsNotHeardIsTakenToo) {
    Speaker a;
    Speaker b;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&a);
    stepped.switcher.setPreview(&b);
    b.count(3 * block);
    EXPECT_EQ(stepped.level(), silence);
    EXPECT_EQ(stepped.level(), silence);
    stepped.switcher.setCutTransition();
    EXPECT_EQ(stepped.samples().front(), 2 * block + 1);
}

TEST(LSwitcherSound, SoundOfAnotherRateOrFormIsConverted) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    stepped.setRate(44100);
    source.sayLong({10000, -10000}, 48000);
    EXPECT_EQ(stepped.samples().size(), 2U * 882);
    const std::vector<std::int16_t> samples = stepped.samples(); // the filter has settled
    ASSERT_EQ(samples.size(), 2U * 882);
    for (std::size_t k = 0; k < samples.size(); ++k)
        ASSERT_NEAR(samples[k], k % 2 == 0 ? 10000 : -10000, 2) << k;
}

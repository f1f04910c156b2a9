// Gains, mutes and meters of an audio mixer.
#include "quolsdk/LAudioMixer.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "support/RunningAudioMixer.h"
#include "support/RunningMixer.h"

namespace {

using test::longSound;
using test::plainSound;
using test::push;
using test::RunningAudioMixer;
using test::WatchedSource;

constexpr float fullScale = 32768.0F;

class Sounding : public test::SoundingAudioMixer {
public:
    using SoundingAudioMixer::SoundingAudioMixer;

    // Of blocks that were begun after the call.
    std::pair<float, float> channelLevels(const std::string& name = "a") {
        EXPECT_TRUE(passBlocks());
        std::pair<float, float> levels{-1.0F, -1.0F};
        mixer.getChannelLevel(name, levels.first, levels.second);
        return levels;
    }
    std::pair<float, float> masterLevels() {
        EXPECT_TRUE(passBlocks());
        std::pair<float, float> levels{-1.0F, -1.0F};
        mixer.getMasterLevel(levels.first, levels.second);
        return levels;
    }
};

using Levels = std::pair<float, float>;

} // namespace

// ----------------------------------------------------------------------------------------- gain

TEST(LAudioMixerLevels, GainIsInPercentAndProductsAreCutTowardsZero) {
    WatchedSource source;
    Sounding running(source, 1001, -1001);
    const std::vector<std::pair<int, int>> gains = {
        {100, 1001}, {200, 2002}, {150, 1501}, {50, 500}, {33, 330}, {1, 10}, {0, 0}};
    for (const auto& [percent, sample] : gains) {
        running.mixer.setChannelGain("a", percent);
        EXPECT_TRUE(running.isSteady(sample, -sample)) << percent;
    }
}

TEST(LAudioMixerLevels, GainIsClampedTo0And200) {
    WatchedSource source;
    Sounding running(source, 1000, -1000);
    for (const int percent : {201, 100000, 2147483647}) {
        running.mixer.setChannelGain("a", percent);
        EXPECT_TRUE(running.isSteady(2000, -2000)) << percent;
    }
    for (const int percent : {-1, -100, -2147483647 - 1}) {
        running.mixer.setChannelGain("a", percent);
        EXPECT_TRUE(running.isSteady(0, 0)) << percent;
    }
}

TEST(LAudioMixerLevels, AGainOf200OnAFullScaleChannelClipsAndTheMeterReadsOne) {
    WatchedSource source;
    Sounding running(source, 32767, -32768);
    running.mixer.setChannelGain("a", 200);
    EXPECT_TRUE(running.isSteady(32767, -32768));
    EXPECT_EQ(running.channelLevels(), Levels(1.0F, 1.0F));
    EXPECT_EQ(running.masterLevels(), Levels(32767.0F / fullScale, 1.0F));
}

TEST(LAudioMixerLevels, MasterVolumeIsInPercentAndClampedTo0And200) {
    WatchedSource source;
    Sounding running(source, 1001, -1001);
    const std::vector<std::pair<int, int>> volumes = {{100, 1001}, {50, 500},    {200, 2002},
                                                      {201, 2002}, {9999, 2002}, {0, 0},
                                                      {-1, 0},     {-9999, 0}};
    for (const auto& [percent, sample] : volumes) {
        running.mixer.setMasterVolume(percent);
        EXPECT_TRUE(running.isSteady(sample, -sample)) << percent;
    }
}

TEST(LAudioMixerLevels, GainAndMasterVolumeMultiply) {
    WatchedSource source;
    Sounding running(source, 1000, -1000);
    running.mixer.setChannelGain("a", 150);
    running.mixer.setMasterVolume(150);
    EXPECT_TRUE(running.isSteady(2250, -2250));
    running.mixer.setChannelGain("a", 50);
    running.mixer.setMasterVolume(50);
    EXPECT_TRUE(running.isSteady(250, -250));
}

TEST(LAudioMixerLevels, AGainOfNextToNothingIsSilence) {
    WatchedSource source;
    Sounding running(source, 32767, -32768);
    running.mixer.setChannelGain("a", 1);
    running.mixer.setMasterVolume(50);
    EXPECT_TRUE(running.isSteady(163, -163));
    running.mixer.setMasterVolume(9); // 0.0009 in all would leave 29
    EXPECT_TRUE(running.isSteady(0, 0));
}

TEST(LAudioMixerLevels, TheGainOfOneChannelLeavesTheOthersAlone) {
    WatchedSource source;
    WatchedSource other;
    Sounding running(source, 1000, 2000);
    running.addHeard("b", other);
    push(other, longSound(300, 400));
    running.mixer.setChannelGain("b", 10);
    EXPECT_TRUE(running.isSteady(1030, 2040));
}

// ----------------------------------------------------------------------------------------- mutes

TEST(LAudioMixerLevels, AMutedChannelIsSilentAndItsMeterIsAt0) {
    WatchedSource source;
    Sounding running(source, 1000, 2000);
    ASSERT_TRUE(running.isSteady(1000, 2000));
    running.mixer.setChannelMute("a", true);
    EXPECT_TRUE(running.isSteady(0, 0));
    EXPECT_EQ(running.channelLevels(), Levels(0.0F, 0.0F));
    running.mixer.setChannelMute("a", false);
    EXPECT_TRUE(running.isSteady(1000, 2000));
}

TEST(LAudioMixerLevels, AMutedChannelsQueueIsConsumedSoUnmutingIsHeardAtThePresent) {
    WatchedSource source;
    RunningAudioMixer running;
    running.mixer.addChannel("a", &source);
    push(source, plainSound(2880, 1000, 1000));
    ASSERT_TRUE(running.passBlocks(4));
    running.mixer.setChannelMute("a", false);
    push(source, plainSound(960, 2000, 2000));
    EXPECT_EQ(running.heardAfter(960), std::vector<int>(960, 2000));
}

TEST(LAudioMixerLevels, MutingAChannelLeavesItsGainAlone) {
    WatchedSource source;
    Sounding running(source, 1000, 2000);
    running.mixer.setChannelGain("a", 50);
    running.mixer.setChannelMute("a", true);
    running.mixer.setChannelGain("a", 150);
    running.mixer.setChannelMute("a", false);
    EXPECT_TRUE(running.isSteady(1500, 3000));
}

TEST(LAudioMixerLevels, TheMasterMuteSilencesAllAndChannelsKeepTheirMeters) {
    WatchedSource source;
    Sounding running(source, 8192, 16384);
    running.mixer.setMasterMute(true);
    EXPECT_TRUE(running.isSteady(0, 0));
    EXPECT_EQ(running.masterLevels(), Levels(0.0F, 0.0F));
    EXPECT_EQ(running.mixer.getMasterLevel(), 0.0F);
    EXPECT_EQ(running.channelLevels(), Levels(0.25F, 0.5F));
    running.mixer.setMasterMute(false);
    EXPECT_TRUE(running.isSteady(8192, 16384));
}

TEST(LAudioMixerLevels, QueuesAreConsumedUnderTheMasterMuteToo) {
    WatchedSource source;
    RunningAudioMixer running;
    running.addHeard("a", source);
    running.mixer.setMasterMute(true);
    ASSERT_TRUE(running.passBlocks());
    push(source, plainSound(2880, 1000, 1000));
    ASSERT_TRUE(running.passBlocks(4));
    running.mixer.setMasterMute(false);
    push(source, plainSound(960, 2000, 2000));
    EXPECT_EQ(running.heardAfter(960), std::vector<int>(960, 2000));
}

TEST(LAudioMixerLevels, TheMasterMuteLeavesTheMasterVolumeAlone) {
    WatchedSource source;
    Sounding running(source, 1000, 2000);
    running.mixer.setMasterVolume(50);
    running.mixer.setMasterMute(true);
    ASSERT_TRUE(running.isSteady(0, 0));
    running.mixer.setMasterMute(false);
    EXPECT_TRUE(running.isSteady(500, 1000));
}

// ---------------------------------------------------------------------------------------- meters

TEST(LAudioMixerLevels, AChannelsLevelsAreBehindItsGain) {
    WatchedSource source;
    Sounding running(source, 8192, -16384);
    EXPECT_EQ(running.channelLevels(), Levels(0.25F, 0.5F));
    running.mixer.setChannelGain("a", 50);
    EXPECT_EQ(running.channelLevels(), Levels(0.125F, 0.25F));
    running.mixer.setChannelGain("a", 200);
    EXPECT_EQ(running.channelLevels(), Levels(0.5F, 1.0F));
    running.mixer.setChannelGain("a", 0);
    EXPECT_EQ(running.channelLevels(), Levels(0.0F, 0.0F));
}

TEST(LAudioMixerLevels, AChannelsLevelsAreBeforeTheMasterVolume) {
    WatchedSource source;
    Sounding running(source, 8192, -16384);
    running.mixer.setMasterVolume(50);
    EXPECT_EQ(running.channelLevels(), Levels(0.25F, 0.5F));
    EXPECT_EQ(running.masterLevels(), Levels(0.125F, 0.25F));
    running.mixer.setMasterVolume(0);
    EXPECT_EQ(running.channelLevels(), Levels(0.25F, 0.5F));
    EXPECT_EQ(running.masterLevels(), Levels(0.0F, 0.0F));
}

TEST(LAudioMixerLevels, TheLevelWithoutSidesIsTheLargerOfTheTwo) {
    WatchedSource source;
    WatchedSource other;
    Sounding running(source, 8192, -16384);
    ASSERT_TRUE(running.passBlocks());
    EXPECT_EQ(running.mixer.getChannelLevel("a"), 0.5F);
    EXPECT_EQ(running.mixer.getMasterLevel(), 0.5F);
    running.mixer.removeChannel("a");
    running.addHeard("b", other);
    push(other, longSound(-16384, 0));
    ASSERT_TRUE(running.passBlocks());
    EXPECT_EQ(running.mixer.getChannelLevel("b"), 0.5F);
    EXPECT_EQ(running.mixer.getMasterLevel(), 0.5F);
}

TEST(LAudioMixerLevels, AnUnknownNameGives0And0) {
    LAudioMixer mixer;
    float left = 0.7F;
    float right = 0.8F;
    mixer.getChannelLevel("nobody", left, right);
    EXPECT_EQ(left, 0.0F);
    EXPECT_EQ(right, 0.0F);
    EXPECT_EQ(mixer.getChannelLevel("nobody"), 0.0F);
}

TEST(LAudioMixerLevels, ARemovedChannelsLevelIs0) {
    WatchedSource source;
    Sounding running(source, 8192, -16384);
    ASSERT_EQ(running.channelLevels(), Levels(0.25F, 0.5F));
    running.mixer.removeChannel("a");
    EXPECT_EQ(running.mixer.getChannelLevel("a"), 0.0F);
    EXPECT_EQ(running.masterLevels(), Levels(0.0F, 0.0F));
}

TEST(LAudioMixerLevels, MetersFallTo0WhenTheSoundEnds) {
    WatchedSource source;
    RunningAudioMixer running;
    running.addHeard("a", source);
    push(source, plainSound(9600, 8192, 8192));
    ASSERT_EQ(running.heardAfter(9600).size(), 9600U);
    EXPECT_EQ(running.mixer.getChannelLevel("a"), 0.0F);
    EXPECT_EQ(running.mixer.getMasterLevel(), 0.0F);
}

TEST(LAudioMixerLevels, MetersCountEverySample) {
    WatchedSource source;
    RunningAudioMixer running;
    running.addHeard("a", source);
    // One loud pair a block, at each place in turn.
    for (int place = 0; place < 960; place += 137) {
        const quol::FramePtr sound = longSound(0, 0);
        auto* samples = reinterpret_cast<std::int16_t*>(sound->data[0]);
        for (int pair = place; pair < sound->nb_samples; pair += 960) {
            samples[pair * 2] = 16384;
            samples[pair * 2 + 1] = -8192;
        }
        running.mixer.setAudioFormat({0, 16, 48000, 2}); // drops what is left of the one before
        push(source, sound);
        EXPECT_TRUE(test::waitUntil([&] {
            float left = 0.0F;
            float right = 0.0F;
            running.mixer.getMasterLevel(left, right);
            return left == 0.5F && right == 0.25F;
        })) << place;
        float left = 0.0F;
        float right = 0.0F;
        running.mixer.getChannelLevel("a", left, right);
        EXPECT_EQ(Levels(left, right), Levels(0.5F, 0.25F)) << place;
    }
}

TEST(LAudioMixerLevels, TheMostNegativeSampleIsFullScale) {
    WatchedSource source;
    Sounding running(source, -32768, 0);
    EXPECT_EQ(running.channelLevels(), Levels(1.0F, 0.0F));
    EXPECT_EQ(running.masterLevels(), Levels(1.0F, 0.0F));
}

TEST(LAudioMixerLevels, TheMastersLevelsAreOfTheSumOfAllChannels) {
    WatchedSource source;
    WatchedSource other;
    Sounding running(source, 8192, 8192);
    running.addHeard("b", other);
    push(other, longSound(8192, -8192));
    EXPECT_EQ(running.masterLevels(), Levels(0.5F, 0.0F));
    EXPECT_EQ(running.channelLevels("b"), Levels(0.25F, 0.25F));
}

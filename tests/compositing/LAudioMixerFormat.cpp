// The format of an audio mixer's blocks.
#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "support/RunningAudioMixer.h"
#include "support/RunningMixer.h"

namespace {

using test::longSound;
using test::plainSound;
using test::push;
using test::RunningAudioMixer;
using test::SoundingAudioMixer;
using test::WatchedSource;

audioFormatProps storedFormat(LAudioMixer& mixer) {
    audioFormatProps format{99, 99, 99, 99};
    mixer.getAudioFormat(format);
    return format;
}

void expectBlocks(RunningAudioMixer& running, int samples, int sampleRate) {
    const quol::FramePtr block = running.nextBlock();
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->nb_samples, samples);
    EXPECT_EQ(block->sample_rate, sampleRate);
    EXPECT_EQ(block->format, AV_SAMPLE_FMT_S16);
    EXPECT_EQ(block->ch_layout.nb_channels, 2);
}

} // namespace

TEST(LAudioMixerFormat, TheFormatIs48kHzWith16BitsAnd2ChannelsAtFirst) {
    RunningAudioMixer running;
    const audioFormatProps format = storedFormat(running.mixer);
    EXPECT_EQ(format.sampleRate, 48000);
    EXPECT_EQ(format.bitsPerSample, 16);
    EXPECT_EQ(format.channels, 2);
    EXPECT_EQ(format.mode, 0U);
    expectBlocks(running, 960, 48000);
}

TEST(LAudioMixerFormat, AtRatesOfTheirOwnBlocksStill20Milliseconds) {
    RunningAudioMixer running;
    for (const auto& [rate, samples] : std::vector<std::pair<int, int>>{
             {44100, 882}, {48000, 960}, {96000, 1920}, {11025, 220}, {50, 1}, {99, 1}}) {
        running.mixer.setAudioFormat({0, 16, rate, 2});
        expectBlocks(running, samples, rate);
    }
}

TEST(LAudioMixerFormat, ARateBelow50HasBlocksOf960) {
    RunningAudioMixer running;
    for (const int rate : {49, 1, 0, -48000}) {
        running.mixer.setAudioFormat({0, 16, rate, 2});
        expectBlocks(running, 960, rate);
    }
    running.mixer.setAudioFormat({0, 16, 48000, 2});
    expectBlocks(running, 960, 48000);
}

TEST(LAudioMixerFormat, AModeExpandsToItsRateAndChannelsAndTheMixStaysStereo) {
    struct Row {
        std::uint32_t mode;
        int sampleRate;
        int channels;
    };
    RunningAudioMixer running;
    for (const Row& row :
         {Row{6, 48000, 2}, Row{5, 44100, 6}, Row{13, 192000, 2}, Row{9, 48000, 16}}) {
        running.mixer.setAudioFormat({row.mode, 24, 1, 1});
        const audioFormatProps format = storedFormat(running.mixer);
        EXPECT_EQ(format.mode, row.mode);
        EXPECT_EQ(format.sampleRate, row.sampleRate);
        EXPECT_EQ(format.channels, row.channels);
        EXPECT_EQ(format.bitsPerSample, 24) << "stays as it was given";
        expectBlocks(running, row.sampleRate / 50, row.sampleRate);
    }
}

TEST(LAudioMixerFormat, ModesThatAreNoneKeepOrClearTheFields) {
    RunningAudioMixer running;
    running.mixer.setAudioFormat({1, 24, 32000, 5});
    EXPECT_EQ(storedFormat(running.mixer).sampleRate, 32000);
    EXPECT_EQ(storedFormat(running.mixer).channels, 5);
    running.mixer.setAudioFormat({38, 24, 32000, 5});
    EXPECT_EQ(storedFormat(running.mixer).sampleRate, 0);
    EXPECT_EQ(storedFormat(running.mixer).channels, 0);
    expectBlocks(running, 960, 0);
}

TEST(LAudioMixerFormat, AnotherFormatDropsWhatWasQueuedAtTheOldRate) {
    WatchedSource source;
    SoundingAudioMixer running(source, 1000, 1000);
    ASSERT_TRUE(running.isSteady(1000, 1000));
    running.mixer.setAudioFormat({4, 16, 0, 0});
    EXPECT_TRUE(running.isSteady(0, 0));
    EXPECT_EQ(running.mixer.getChannelLevel("a"), 0.0F);
}

TEST(LAudioMixerFormat, TheSameFormatAgainDropsWhatWasQueuedToo) {
    WatchedSource source;
    SoundingAudioMixer running(source, 1000, 1000);
    running.mixer.setAudioFormat({0, 16, 48000, 2});
    EXPECT_TRUE(running.isSteady(0, 0));
}

TEST(LAudioMixerFormat, AChannelsSoundFollowsAnotherFormat) {
    WatchedSource source;
    SoundingAudioMixer running(source, 1000, 1000);
    running.mixer.setAudioFormat({4, 16, 0, 0});
    ASSERT_TRUE(running.passBlocks());
    running.sink.clear();
    for (int i = 0; i < 25; ++i) // half a second in all
        push(source, plainSound(960, 8000, 8000, i * 960LL));
    const std::size_t atLeast = 21850; // the resampler keeps some to itself
    const std::vector<int> heard = running.heardAfter(atLeast);
    EXPECT_GE(heard.size(), atLeast);
    EXPECT_LE(heard.size(), 22050U);

    running.mixer.setAudioFormat({6, 16, 0, 0});
    push(source, longSound(3001, -3001));
    EXPECT_TRUE(running.isSteady(3001, -3001)) << "back at its own rate, sample for sample";
}

TEST(LAudioMixerFormat, SoundAtTheNewRateIsTakenSampleForSample) {
    WatchedSource source;
    WatchedSource later;
    SoundingAudioMixer running(source, 1000, 1000);
    running.mixer.setAudioFormat({4, 16, 0, 0});
    push(source, longSound(3001, -3001, 44100));
    EXPECT_TRUE(running.isSteady(3001, -3001));
    running.addHeard("b", later);
    push(later, longSound(500, -500, 44100));
    EXPECT_TRUE(running.isSteady(3501, -3501)) << "a channel added later has the new rate too";
}

TEST(LAudioMixerFormat, AtARateOf0NothingIsHeardAndNothingBreaks) {
    WatchedSource source;
    SoundingAudioMixer running(source, 1000, 1000);
    running.mixer.setAudioFormat({99, 16, 48000, 2});
    push(source, plainSound(960, 1000, 1000));
    EXPECT_TRUE(running.isSteady(0, 0));
    running.mixer.setAudioFormat({6, 16, 0, 0});
    push(source, longSound(2000, 2000));
    EXPECT_TRUE(running.isSteady(2000, 2000));
}

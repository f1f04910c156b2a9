// What an audio mixer takes of the sound of its channels.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <vector>

#include "compositing/AudioMixerSink.h"
#include "support/Frames.h"
#include "support/RunningAudioMixer.h"
#include "support/RunningMixer.h"

extern "C" {
#include <libavutil/avutil.h>
}

namespace {

using test::longSound;
using test::plainSound;
using test::push;
using test::RunningAudioMixer;
using test::WatchedSource;

std::vector<int> countedFrom(int first, std::size_t count) {
    std::vector<int> values(count);
    std::iota(values.begin(), values.end(), first);
    return values;
}

} // namespace

TEST(LAudioMixerSound, TheSamplesOfAChannelAreHeardAsTheyAre) {
    WatchedSource source;
    RunningAudioMixer running;
    running.addHeard("a", source);
    push(source, test::countingSound(5000, 1));
    EXPECT_EQ(running.heardAfter(5000), countedFrom(1, 5000));
    EXPECT_EQ(running.heard(1).size(), 5000U);
    EXPECT_EQ(running.heard(1).front(), -1);
    EXPECT_EQ(running.heard(1).back(), -5000);
}

TEST(LAudioMixerSound, ARecordTakenInPartKeepsItsRest) {
    WatchedSource source;
    RunningAudioMixer running;
    running.addHeard("a", source);
    int first = 1;
    for (const int samples : {1, 959, 961, 700, 1300, 3, 2881, 960, 17}) {
        push(source, test::countingSound(samples, first));
        first += samples;
    }
    const auto count = static_cast<std::size_t>(first - 1);
    EXPECT_EQ(running.heardAfter(count), countedFrom(1, count));
}

TEST(LAudioMixerSound, SoundIsTakenInTheOrderItCameWhateverItsTimeSays) {
    WatchedSource source;
    RunningAudioMixer running;
    running.addHeard("a", source);
    const std::vector<std::int64_t> times = {
        48000LL * 3600, 0, AV_NOPTS_VALUE, -48000LL * 10, 48000LL * 86400 * 365, 960};
    int first = 1;
    for (const std::int64_t time : times) {
        const quol::FramePtr sound = test::countingSound(500, first);
        sound->pts = time;
        push(source, sound);
        first += 500;
    }
    const quol::FramePtr timeless = test::countingSound(500, first);
    timeless->time_base = {0, 1};
    push(source, timeless);
    EXPECT_EQ(running.heardAfter(3500), countedFrom(1, 3500));
}

TEST(LAudioMixerSound, SoundThatComesTooSlowlyLeavesSilenceInItsShare) {
    WatchedSource slow;
    WatchedSource steady;
    RunningAudioMixer running;
    running.addHeard("slow", slow);
    running.addHeard("steady", steady);
    push(steady, longSound(1000, 1000));
    ASSERT_TRUE(running.isSteady(1000, 1000));
    running.sink.clear();
    push(slow, plainSound(100, 500, 500));
    EXPECT_TRUE(test::waitUntil([&] {
        const std::vector<int> values = running.heard();
        return std::count(values.begin(), values.end(), 1500) == 100;
    }));
    EXPECT_TRUE(running.isSteady(1000, 1000));
}

TEST(LAudioMixerSound, ASourceThatIsSilentIsSilence) {
    WatchedSource source;
    RunningAudioMixer running;
    running.addHeard("a", source);
    EXPECT_TRUE(running.isSteady(0, 0));
    EXPECT_EQ(running.mixer.getChannelLevel("a"), 0.0F);
}

TEST(LAudioMixerSound, PicturesPassIt) {
    WatchedSource source;
    RunningAudioMixer running;
    running.addHeard("a", source);
    const quol::FramePtr picture = test::makePicture(64, 48, AV_PIX_FMT_YUV420P);
    source.distributeVideoFrame(picture.get());
    push(source, longSound(1000, 1000));
    EXPECT_TRUE(running.isSteady(1000, 1000));
    EXPECT_EQ(running.sink.pictureCount(), 0U);
    EXPECT_EQ(av_buffer_get_ref_count(picture->buf[0]), 1) << "no reference is kept";
}

TEST(LAudioMixerSound, PlanarFloatIsConverted) {
    WatchedSource source;
    RunningAudioMixer running;
    running.addHeard("a", source);
    const quol::FramePtr sound = test::makeSound(480000, 48000, 2, AV_SAMPLE_FMT_FLTP, 0, 0.0);
    std::fill_n(reinterpret_cast<float*>(sound->data[0]), sound->nb_samples, 0.25F);
    std::fill_n(reinterpret_cast<float*>(sound->data[1]), sound->nb_samples, -0.5F);
    push(source, sound);
    EXPECT_TRUE(running.isSteady(8192, -16384));
}

TEST(LAudioMixerSound, OneChannelIsHeardOnBothSides) {
    WatchedSource source;
    RunningAudioMixer running;
    running.addHeard("a", source);
    const quol::FramePtr mono = test::makeSound(480000, 48000, 1, AV_SAMPLE_FMT_S16, 0, 0.0);
    std::fill_n(reinterpret_cast<std::int16_t*>(mono->data[0]), mono->nb_samples,
                std::int16_t{10000});
    push(source, mono);
    ASSERT_TRUE(running.passBlocks());
    float left = 0.0F;
    float right = 0.0F;
    running.mixer.getChannelLevel("a", left, right);
    EXPECT_GT(left, 0.2F);
    EXPECT_EQ(left, right);
}

TEST(LAudioMixerSound, SoundAtAnotherRateLastsAsLong) {
    WatchedSource source;
    RunningAudioMixer running;
    running.addHeard("a", source);
    for (int i = 0; i < 50; ++i) // a second in all
        push(source, plainSound(882, 8000, 8000, i * 882LL, 44100));
    const std::size_t atLeast = 47800; // the resampler keeps some to itself
    const std::vector<int> heard = running.heardAfter(atLeast);
    EXPECT_GE(heard.size(), atLeast);
    EXPECT_LE(heard.size(), 48000U);
    for (std::size_t i = 1000; i < heard.size(); ++i)
        ASSERT_NEAR(heard[i], 8000, 2) << i;
}

TEST(LAudioMixerSound, TheResamplerFollowsItsInput) {
    WatchedSource source;
    RunningAudioMixer running;
    running.addHeard("a", source);
    int level = 4000;
    for (const int rate : {44100, 32000, 96000, 48000, 22050}) {
        running.mixer.setAudioFormat({0, 16, 48000, 2}); // drops what is left of the one before
        push(source, longSound(static_cast<std::int16_t>(level), 0, rate));
        EXPECT_TRUE(test::waitUntil([&] {
            const quol::FramePtr block = running.sink.latestSound();
            if (!block) return false;
            const std::vector<std::int16_t> samples = test::samplesOf(*block);
            return std::abs(samples[0] - level) <= 2 && std::abs(samples[1]) <= 2 &&
                   std::abs(samples[samples.size() - 2] - level) <= 2;
        })) << rate;
        level += 1000;
    }
}

TEST(LAudioMixerSound, SoundThatCannotBeConvertedIsSilence) {
    WatchedSource source;
    RunningAudioMixer running;
    running.addHeard("a", source);
    const quol::FramePtr sound = plainSound(960, 1000, 1000);
    sound->sample_rate = 0;
    push(source, sound);
    sound->sample_rate = 48000;
    sound->format = -1;
    push(source, sound);
    sound->format = AV_SAMPLE_FMT_S16;
    sound->nb_samples = 0;
    push(source, sound);
    sound->nb_samples = -5;
    push(source, sound);
    ASSERT_TRUE(running.passBlocks());
    EXPECT_TRUE(running.heard().empty());
    push(source, longSound(1000, 1000));
    EXPECT_TRUE(running.isSteady(1000, 1000));
}

TEST(LAudioMixerSound, TheOldestGoesWhenMoreThan5000RecordsWait) {
    AudioMixerSink sink(48000);
    for (int i = 1; i <= 5003; ++i)
        sink.pushAudioFrame(plainSound(1, static_cast<std::int16_t>(i), 0).get());
    EXPECT_EQ(sink.sound.records(), 5000U);
    std::array<std::int16_t, 2> oldest{};
    EXPECT_EQ(sink.sound.take(oldest.data(), 1), 1U);
    EXPECT_EQ(oldest[0], 4);
}

TEST(LAudioMixerSound, ItsSinkIgnoresNothingAndPictures) {
    AudioMixerSink sink(48000);
    sink.pushAudioFrame(nullptr);
    sink.pushVideoFrame(nullptr);
    sink.pushVideoFrame(test::makePicture(64, 48, AV_PIX_FMT_YUV420P).get());
    EXPECT_EQ(sink.sound.records(), 0U);
}

TEST(LAudioMixerSound, ChannelsAreAddedUpInTheOrderOfTheirNames) {
    WatchedSource source1;
    WatchedSource source2;
    WatchedSource source3;
    RunningAudioMixer running;
    running.addHeard("c", source1);
    running.addHeard("b", source2);
    running.addHeard("a", source3);
    push(source1, longSound(-30000, 30000));
    push(source2, longSound(30000, -30000));
    push(source3, longSound(30000, -30000));
    // a and b meet the clamp before c is taken off; in any other order 30000 were left.
    EXPECT_TRUE(running.isSteady(32767 - 30000, -32768 + 30000));
}

// The sound of the file player: all of it, in its form, delayed, measured.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <thread>

#include "quolsdk/LFilter.h"
#include "support/CapturedStream.h"
#include "support/FilePlayer.h"
#include "support/MachineWatch.h"

namespace {

using test::FilePlayer;
using test::mediaPath;
using test::SoundSeen;
using test::Stopwatch;
using test::waitUntil;
using namespace std::chrono_literals;

std::int64_t samplesOf(const std::vector<SoundSeen>& sounds) {
    return std::accumulate(sounds.begin(), sounds.end(), std::int64_t{0},
                           [](std::int64_t sum, const SoundSeen& s) { return sum + s.samples; });
}

// Where a block does not begin at the end of the one before; empty when none.
std::string hole(const std::vector<SoundSeen>& sounds, double tolerance = 0.002) {
    for (std::size_t i = 1; i < sounds.size(); ++i) {
        const SoundSeen& before = sounds[i - 1];
        const double end = before.seconds + static_cast<double>(before.samples) / before.sampleRate;
        if (std::fabs(sounds[i].seconds - end) > tolerance) {
            return "block " + std::to_string(i) + " at " + std::to_string(sounds[i].seconds) +
                   " behind " + std::to_string(end);
        }
    }
    return {};
}

// Sample of a channel on a scale of 1.
double sampleOf(const AVFrame& frame, int channel, int at) {
    const auto format = static_cast<AVSampleFormat>(frame.format);
    const bool planar = av_sample_fmt_is_planar(format) != 0;
    const std::uint8_t* plane = frame.extended_data[planar ? channel : 0];
    const int index = planar ? at : at * frame.ch_layout.nb_channels + channel;
    switch (av_get_packed_sample_fmt(format)) {
        case AV_SAMPLE_FMT_S16:
            return reinterpret_cast<const std::int16_t*>(plane)[index] / 32768.0;
        case AV_SAMPLE_FMT_S32:
            return reinterpret_cast<const std::int32_t*>(plane)[index] / 2147483648.0;
        default:
            return reinterpret_cast<const float*>(plane)[index];
    }
}

// All samples of one channel, in a row.
std::vector<double> channelOf(const std::vector<quol::FramePtr>& frames, int channel) {
    std::vector<double> samples;
    for (const quol::FramePtr& frame : frames) {
        for (int i = 0; i < frame->nb_samples; ++i)
            samples.push_back(sampleOf(*frame, channel, i));
    }
    return samples;
}

double largest(const std::vector<double>& samples, std::size_t from, std::size_t to) {
    double peak = 0.0;
    for (std::size_t i = from; i < std::min(to, samples.size()); ++i)
        peak = std::max(peak, std::fabs(samples[i]));
    return peak;
}

audioFormatProps sound(int rate, int channels) {
    audioFormatProps format;
    format.sampleRate = rate;
    format.channels = channels;
    return format;
}

constexpr std::size_t all = 100000;

} // namespace

class SoundOfClip : public testing::TestWithParam<const char*> {};

TEST_P(SoundOfClip, ComesWholeAndUnchangedWithoutAGap) {
    const auto expected = test::decodeAll(mediaPath(GetParam()), AVMEDIA_TYPE_AUDIO);
    ASSERT_FALSE(expected.empty());
    FilePlayer player(GetParam(), all);
    ASSERT_TRUE(player.playOut());
    const auto frames = player.sink.keptSounds();
    EXPECT_EQ(hole(player.sink.sounds()), "");
    EXPECT_EQ(player.sink.sounds().front().sampleRate, expected.front()->sample_rate);
    EXPECT_EQ(player.sink.sounds().front().format, expected.front()->format);
    for (int channel = 0; channel < expected.front()->ch_layout.nb_channels; ++channel)
        EXPECT_EQ(channelOf(frames, channel), channelOf(expected, channel)) << channel;
}

INSTANTIATE_TEST_SUITE_P(LFileSound, SoundOfClip,
                         testing::Values("hevc.mp4", "mpeg2.mpg", "mjpeg.avi", "prores.mov",
                                         "vp9_opus.webm", "av_tc.mxf", "mono.wav", "aac51.mp4",
                                         "flac.flac", "cover.mp3"));

// ----------------------------------------------------------------------------- beside its pictures

// A decoder that works on several pictures at once gives them late; consumers that play what comes
// as it comes would hear a beep before they see the flash.
class SoundBesidePictures : public testing::TestWithParam<const char*> {};

TEST_P(SoundBesidePictures, IsNotAheadOfThemByMoreThanTheyLieApartInTheFile) {
    FilePlayer player(GetParam());
    ASSERT_TRUE(player.playOut());
    const auto pictures = player.sink.pictures();
    ASSERT_GT(pictures.size(), 20U);
    const double length = pictures[1].seconds - pictures[0].seconds;
    double lead = -1.0;
    for (const SoundSeen& sound : player.sink.sounds()) {
        const auto next = std::find_if(pictures.begin(), pictures.end(), [&](const auto& picture) {
            return picture.arrived > sound.arrived;
        });
        if (next == pictures.begin()) continue;
        lead = std::max(lead, sound.seconds - std::prev(next)->seconds);
    }
    EXPECT_LT(lead, 2.0 * length);
    EXPECT_GT(lead, -2.0 * length);
}

INSTANTIATE_TEST_SUITE_P(LFileSound, SoundBesidePictures,
                         testing::Values("flash_beep.mov", "h264_aac.mp4", "hevc.mp4"));

// -------------------------------------------------------------------------------- its own form

TEST(LFileSound, NativeKeepsRateAndChannels) {
    FilePlayer player("aac51.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForSounds(3));
    EXPECT_EQ(player.sink.sounds()[2].channels, 6);
    EXPECT_EQ(player.sink.sounds()[2].sampleRate, 48000);
}

class ForcedChannels : public testing::TestWithParam<std::pair<const char*, int>> {};

TEST_P(ForcedChannels, AllSoundComesInThatCount) {
    const auto [clip, channels] = GetParam();
    FilePlayer player(clip, all);
    player.file.setAudioFormat(sound(0, channels));
    ASSERT_TRUE(player.playOut());
    const auto expected = test::decodeAll(mediaPath(clip), AVMEDIA_TYPE_AUDIO);
    EXPECT_EQ(samplesOf(player.sink.sounds()),
              static_cast<std::int64_t>(channelOf(expected, 0).size()));
    for (const SoundSeen& block : player.sink.sounds())
        ASSERT_EQ(block.channels, channels);
    EXPECT_EQ(hole(player.sink.sounds()), "");
    // And something is to be heard in it.
    double peak = 0.0;
    for (int channel = 0; channel < channels; ++channel) {
        const auto samples = channelOf(player.sink.keptSounds(), channel);
        peak = std::max(peak, largest(samples, 0, samples.size()));
    }
    EXPECT_GT(peak, 0.02);
}

INSTANTIATE_TEST_SUITE_P(LFileSound, ForcedChannels,
                         testing::Values(std::pair{"aac51.mp4", 2}, std::pair{"aac51.mp4", 1},
                                         std::pair{"hevc.mp4", 1}, std::pair{"hevc.mp4", 6},
                                         std::pair{"mono.wav", 2}, std::pair{"mono.wav", 8}));

TEST(LFileSound, AForcedCountThatItHasAlreadyChangesNothing) {
    const auto expected = test::decodeAll(mediaPath("mjpeg.avi"), AVMEDIA_TYPE_AUDIO);
    FilePlayer player("mjpeg.avi", all);
    player.file.setAudioFormat(sound(0, 2));
    ASSERT_TRUE(player.playOut());
    EXPECT_EQ(channelOf(player.sink.keptSounds(), 1), channelOf(expected, 1));
}

TEST(LFileSound, TheCountChangesWhileItPlays) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForSounds(3));
    const auto turnsTo = [&](int channels) {
        return waitUntil([&] { return player.sink.sounds().back().channels == channels; });
    };
    player.file.setAudioFormat(sound(0, 1));
    EXPECT_TRUE(turnsTo(1));
    player.file.setAudioFormat(sound(0, 6));
    EXPECT_TRUE(turnsTo(6));
    player.file.setAudioFormat(sound(0, 0));
    EXPECT_TRUE(turnsTo(2));
    EXPECT_EQ(hole(player.sink.sounds()), "");
}

TEST(LFileSound, AGainAndATrackAreStoredAndChangeNothing) {
    const auto expected = test::decodeAll(mediaPath("mjpeg.avi"), AVMEDIA_TYPE_AUDIO);
    FilePlayer player("mjpeg.avi", all);
    player.file.setProps("audio_gain", "50");
    player.file.setProps("audio_track", "7");
    ASSERT_TRUE(player.playOut());
    for (int channel = 0; channel < 2; ++channel)
        EXPECT_EQ(channelOf(player.sink.keptSounds(), channel), channelOf(expected, channel));
}

// ------------------------------------------------------------------------------------ resampling

TEST(LFileSound, ARateResamples) {
    FilePlayer player("hevc.mp4", all);
    audioFormatProps format;
    format.mode = 4; // 44100, stereo
    player.file.setAudioFormat(format);
    ASSERT_TRUE(player.playOut());
    for (const SoundSeen& block : player.sink.sounds())
        ASSERT_EQ(block.sampleRate, 44100);
    EXPECT_EQ(hole(player.sink.sounds()), "");
    const auto expected = test::decodeAll(mediaPath("hevc.mp4"), AVMEDIA_TYPE_AUDIO);
    EXPECT_NEAR(static_cast<double>(samplesOf(player.sink.sounds())),
                static_cast<double>(channelOf(expected, 0).size()) * 44100 / 48000, 2.0);
    // The tone is the same: 440 Hz cross zero 880 times a second.
    const auto samples = channelOf(player.sink.keptSounds(), 0);
    int crossings = 0;
    for (std::size_t i = 4411; i < 40000; ++i)
        crossings += (samples[i - 1] < 0) != (samples[i] < 0) ? 1 : 0;
    EXPECT_NEAR(crossings, 880.0 * (40000 - 4411) / 44100, 6);
}

TEST(LFileSound, TheRateChangesWhileItPlays) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForSounds(5));
    player.file.setAudioFormat(sound(96000, 0));
    EXPECT_TRUE(waitUntil([&] { return player.sink.sounds().back().sampleRate == 96000; }));
    player.file.setAudioFormat(sound(0, 0));
    EXPECT_TRUE(waitUntil([&] { return player.sink.sounds().back().sampleRate == 48000; }));
}

TEST(LFileSound, AChangeOfFormInTheFileIsFollowed) {
    FilePlayer player("sound_change.ts");
    ASSERT_TRUE(player.playOut());
    const auto sounds = player.sink.sounds();
    ASSERT_FALSE(sounds.empty());
    EXPECT_EQ(sounds.front().sampleRate, 48000);
    EXPECT_EQ(sounds.front().channels, 2);
    EXPECT_EQ(sounds.back().sampleRate, 44100);
    EXPECT_EQ(sounds.back().channels, 1);
}

// A channel that only mono has.
TEST(LFileSound, AChainThatTakesOneFormOnlyIsTriedWithTheNext) {
    LFilter filter(LFilter::Type::audio);
    filter.setProps("channelmap", "map=FC-FC");
    FilePlayer player("sound_change.ts");
    player.file.setAudioFilter(&filter);
    test::CapturedStream errors(test::CapturedStream::Stream::error);
    ASSERT_TRUE(player.playOut());
    const std::string message = "LFile: Audio filter init FAILED for: anull,channelmap=map=FC-FC\n";
    EXPECT_EQ(errors.text(), message);
    const auto sounds = player.sink.sounds();
    ASSERT_FALSE(sounds.empty());
    EXPECT_EQ(sounds.front().channels, 1);
    EXPECT_GT(sounds.front().seconds, 2.0) << "the stereo half is lost";
    EXPECT_EQ(sounds.back().sampleRate, 44100);
}

TEST(LFileSound, AForcedFormHoldsThroughAChangeInTheFile) {
    FilePlayer player("sound_change.ts");
    player.file.setAudioFormat(sound(48000, 2));
    ASSERT_TRUE(player.playOut());
    const auto sounds = player.sink.sounds();
    ASSERT_FALSE(sounds.empty());
    EXPECT_GE(sounds.back().seconds - sounds.front().seconds, 1.8);
    for (const SoundSeen& block : sounds) {
        EXPECT_EQ(block.sampleRate, 48000);
        EXPECT_EQ(block.channels, 2);
    }
}

// ----------------------------------------------------------------------------- without pictures

// No picture comes that would set the clock anew: the sound does, and does not rush to its end.
TEST(LFileSound, BehindTheLastPictureItKeepsItsTimeThroughAChangeOfRate) {
    FilePlayer player("long_sound.mkv");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForSounds(1));
    ASSERT_TRUE(waitUntil([&] { return player.sink.sounds().back().seconds > 3.2; }));
    const Stopwatch watch;
    player.file.setProps("rate", "1.005");
    ASSERT_TRUE(player.waitForEnd());
    EXPECT_GT(watch.seconds(), 5.0);
    EXPECT_NEAR(player.sink.sounds().back().seconds, 9.0, 0.1);
}

TEST(LFileSound, BehindTheLastPictureManyChangesOfRateDoNotRushIt) {
    test::measured([](test::MachineWatch& watch) {
        FilePlayer player("long_sound.mkv");
        ASSERT_TRUE(player.file.play());
        ASSERT_TRUE(player.sink.waitForSounds(1));
        ASSERT_TRUE(waitUntil([&] { return player.sink.sounds().back().seconds > 3.2; }));
        watch.begin();
        const Stopwatch stopwatch;
        const double before = player.sink.sounds().back().seconds;
        for (int i = 0; i < 15; ++i) {
            player.file.setProps("rate", "1.0");
            std::this_thread::sleep_for(100ms);
        }
        const double played = player.sink.sounds().back().seconds - before;
        EXPECT_NEAR(played, stopwatch.seconds(), 0.6); // a block or so for each
    });
}

TEST(LFileSound, BehindTheLastPictureItKeepsItsTimeThroughAJump) {
    FilePlayer player("long_sound.mkv");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(5));
    const Stopwatch watch;
    player.file.setPos(3000.0);
    ASSERT_TRUE(player.waitForEnd());
    EXPECT_GT(watch.seconds(), 5.5);
    EXPECT_NEAR(player.sink.sounds().back().seconds, 9.0, 0.1);
}

TEST(LFileSound, BehindTheLastPictureAPauseHoldsItBehindAJumpToo) {
    FilePlayer player("long_sound.mkv");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(5));
    for (const bool atOnce : {false, true}) {
        player.file.setPos(3000.0);
        const std::size_t before = player.sink.soundCount();
        if (!atOnce) {
            EXPECT_TRUE(waitUntil([&] { return player.sink.soundCount() > before + 10; }));
        }
        player.file.pause();
        std::this_thread::sleep_for(300ms); // the picture of a jump that was just made
        const std::size_t held = player.sink.soundCount();
        std::this_thread::sleep_for(500ms);
        EXPECT_EQ(player.sink.soundCount(), held) << atOnce;
        EXPECT_LT(player.sink.sounds().back().seconds, 5.0) << atOnce;
        player.file.resume();
        EXPECT_TRUE(player.sink.waitForSounds(held + 10)) << atOnce;
    }
}

TEST(LFileSound, BehindTheLastPictureItIsPlayedToItsEndBeforeALoop) {
    FilePlayer player("sound_tail.mkv");
    player.file.setProps("loop", "true");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(51));
    player.file.stop();
    const auto pictures = player.sink.pictures();
    ASSERT_EQ(pictures[25].seconds, 0.0);
    EXPECT_GT(static_cast<double>(pictures[25].arrived - pictures[0].arrived) / 1e9, 2.4);
}

// Farther apart than sound and pictures ever lie in a file, and more than a decoder keeps back.
TEST(LFileSound, SlidesComeWhenTheirSoundDoes) {
    test::measured([](test::MachineWatch& watch) {
        FilePlayer player("slides.mkv");
        watch.begin();
        ASSERT_TRUE(player.playToEnd());
        const auto pictures = player.sink.pictures();
        ASSERT_EQ(pictures.size(), 3U);
        const auto at = [&](std::int64_t arrived) {
            return static_cast<double>(arrived - pictures[0].arrived) / 1e9;
        };
        EXPECT_NEAR(at(pictures[1].arrived), 3.0, 0.3);
        EXPECT_NEAR(at(pictures[2].arrived), 6.0, 0.3);
        for (const SoundSeen& block : player.sink.sounds()) {
            EXPECT_LT(at(block.arrived), block.seconds + 0.3) << block.seconds;
            EXPECT_GT(at(block.arrived), block.seconds - 3.2) << block.seconds;
        }
        EXPECT_NEAR(player.sink.sounds().back().seconds, 9.0, 0.1);
    });
}

// ----------------------------------------------------------------------------------------- delay

TEST(LFileSound, ADelayPutsSilenceBeforeTheSoundAndLosesNoneOfIt) {
    FilePlayer player("mjpeg.avi", all);
    player.file.setAudioDelay(250);
    ASSERT_TRUE(player.playOut());
    const auto expected = test::decodeAll(mediaPath("mjpeg.avi"), AVMEDIA_TYPE_AUDIO);
    for (int channel = 0; channel < 2; ++channel) {
        const auto samples = channelOf(player.sink.keptSounds(), channel);
        const auto plain = channelOf(expected, channel);
        ASSERT_EQ(samples.size(), plain.size() + 12000);
        EXPECT_EQ(largest(samples, 0, 12000), 0.0);
        EXPECT_TRUE(std::equal(plain.begin(), plain.end(), samples.begin() + 12000));
    }
}

TEST(LFileSound, ADelayBelowOneIsNone) {
    const auto expected = test::decodeAll(mediaPath("mjpeg.avi"), AVMEDIA_TYPE_AUDIO);
    for (const int delay : {0, -500}) {
        FilePlayer player("mjpeg.avi", all);
        player.file.setAudioDelay(delay);
        ASSERT_TRUE(player.playOut());
        EXPECT_EQ(channelOf(player.sink.keptSounds(), 0), channelOf(expected, 0)) << delay;
    }
}

TEST(LFileSound, ADelayIsThatOfTheFirstTwoChannels) {
    FilePlayer player("aac51.mp4", all);
    player.file.setAudioDelay(500);
    ASSERT_TRUE(player.playOut());
    const auto frames = player.sink.keptSounds();
    EXPECT_EQ(largest(channelOf(frames, 0), 0, 23000), 0.0);
    EXPECT_EQ(largest(channelOf(frames, 1), 0, 23000), 0.0);
    EXPECT_GT(largest(channelOf(frames, 2), 0, 23000), 0.02);
}

TEST(LFileSound, TheVideoDelayHasNoEffect) {
    FilePlayer player("silent.mp4");
    player.file.setVideoDelay(5000);
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playToEnd());
    EXPECT_EQ(player.sink.pictureCount(), 25U);
    EXPECT_EQ(test::irregularity(player.sink.pictures(), 0.04), "");
}

// ----------------------------------------------------------------------------------------- peaks

TEST(LFileSound, PeaksOfPlanarFloat) {
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForSounds(20));
    // What the encoder makes of a tone overshoots a little.
    EXPECT_NEAR(player.file.peakLeft(), 0.25F, 0.08F);
    EXPECT_NEAR(player.file.peakRight(), 0.125F, 0.04F);
}

TEST(LFileSound, PeaksOfInterleavedSixteenBit) {
    FilePlayer player("mjpeg.avi");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForSounds(5));
    EXPECT_NEAR(player.file.peakLeft(), 0.25F, 0.01F);
    EXPECT_NEAR(player.file.peakRight(), 0.125F, 0.01F);
}

TEST(LFileSound, OneChannelIsThePeakOfBoth) {
    FilePlayer player("mono.wav");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForSounds(5));
    EXPECT_NEAR(player.file.peakLeft(), 0.5F, 0.01F);
    EXPECT_EQ(player.file.peakRight(), player.file.peakLeft());
}

TEST(LFileSound, AnyOtherFormatHasNoPeak) {
    LFilter filter(LFilter::Type::audio);
    filter.setProps("aformat", "sample_fmts=s32");
    FilePlayer player("h264_aac.mp4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(waitUntil([&] { return player.file.peakLeft() > 0.1F; }));
    player.file.setAudioFilter(&filter);
    EXPECT_TRUE(waitUntil([&] {
        return player.sink.sounds().back().format == AV_SAMPLE_FMT_S32 &&
               player.file.peakLeft() == 0.0F && player.file.peakRight() == 0.0F;
    }));
}

TEST(LFileSound, PeaksAreMeasuredWhereTheSoundIsNotHeard) {
    FilePlayer player("h264_aac.mp4");
    player.file.setProps("rate", "4");
    ASSERT_TRUE(player.file.play());
    EXPECT_TRUE(waitUntil([&] { return player.file.peakLeft() > 0.2F; }));
    EXPECT_EQ(player.sink.soundCount(), 0U);
}

TEST(LFileSound, PeaksAreThoseBehindTheFilters) {
    LFilter filter(LFilter::Type::audio);
    filter.setProps("volume", "2.0");
    FilePlayer player("h264_aac.mp4");
    player.file.setAudioFilter(&filter);
    ASSERT_TRUE(player.file.play());
    EXPECT_TRUE(waitUntil([&] { return std::fabs(player.file.peakLeft() - 0.5F) < 0.05F; }));
}

// --------------------------------------------------------------------------------- host's filters

TEST(LFileSound, AFilterChangesWhileItPlays) {
    LFilter filter(LFilter::Type::audio);
    FilePlayer player("h264_aac.mp4", 1);
    player.file.setAudioFilter(&filter);
    player.file.setProps("loop", "true");
    ASSERT_TRUE(player.file.play());
    const auto peaksAt = [&](double level, double tolerance) {
        return waitUntil([&] {
            const quol::FramePtr block = player.sink.latestSound();
            if (!block) return false;
            double peak = 0.0;
            for (int i = 0; i < block->nb_samples; ++i)
                peak = std::max(peak, std::fabs(sampleOf(*block, 0, i)));
            return std::fabs(peak - level) < tolerance;
        });
    };
    EXPECT_TRUE(peaksAt(0.25, 0.03));
    filter.setProps("volume", "0");
    EXPECT_TRUE(peaksAt(0.0, 1e-6));
    filter.setProps("volume", "2");
    EXPECT_TRUE(peaksAt(0.5, 0.05));
    player.file.setAudioFilter(nullptr);
    EXPECT_TRUE(peaksAt(0.25, 0.03));
}

TEST(LFileSound, ABrokenFilterIsToldOfOnceAndTheSoundIsBackWhenItIsMended) {
    LFilter filter(LFilter::Type::audio);
    filter.setProps("nosuchfilter", "x=1");
    FilePlayer player("h264_aac.mp4");
    player.file.setAudioFilter(&filter);
    player.file.setAudioDelay(20);
    player.file.setProps("loop", "true");
    test::CapturedStream errors(test::CapturedStream::Stream::error);
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(15));
    EXPECT_EQ(player.sink.soundCount(), 0U);
    const std::string message =
        "LFile: Audio filter init FAILED for: "
        "adelay=delays=20ms|20ms,nosuchfilter=x=1\n";
    EXPECT_NE(errors.text().find(message), std::string::npos) << errors.text();
    for (int jump = 0; jump < 3; ++jump) {
        player.file.setPos(200.0 * jump);
        ASSERT_TRUE(player.sink.waitForPictures(player.sink.pictureCount() + 5));
    }
    std::string text = errors.text();
    const std::size_t at = text.find(message);
    EXPECT_NE(at, std::string::npos) << text;
    EXPECT_EQ(text.find(message, at + 1), std::string::npos) << text;
    filter.setProps("nosuchfilter", "");
    EXPECT_TRUE(player.sink.waitForSounds(3));
    text = errors.text();
    EXPECT_EQ(text.find("Audio filter init FAILED", at + message.size()), std::string::npos);
}

TEST(LFileSound, AFilterThatChangesTheFormReachesTheSinks) {
    LFilter filter(LFilter::Type::audio);
    filter.setProps("aformat", "sample_fmts=s16:channel_layouts=mono");
    FilePlayer player("h264_aac.mp4");
    player.file.setAudioFilter(&filter);
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForSounds(3));
    EXPECT_EQ(player.sink.sounds()[2].channels, 1);
    EXPECT_EQ(player.sink.sounds()[2].format, AV_SAMPLE_FMT_S16);
}

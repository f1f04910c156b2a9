// Pictures, sound and tracks of the stream player, at addresses that always answer: files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <thread>
#include <utility>

#include "core/MediaInput.h"
#include "sources/LStreamPlayLoop.h"
#include "support/CapturedStream.h"
#include "support/FilePlayer.h"
#include "support/Program.h"
#include "support/StreamFeed.h"

namespace {

using test::made;
using test::mediaPath;
using test::OpenStream;
using test::Stopwatch;
using test::StreamPlayer;
using test::temporaryPath;
using test::waitUntil;
using namespace std::chrono_literals;

void waitForTheEndOfSound(const test::CollectingSink& sink) {
    std::size_t before = 0;
    ASSERT_TRUE(waitUntil([&] {
        before = sink.soundCount();
        const std::size_t pictures = sink.pictureCount();
        return sink.waitForPictures(pictures + 10) && sink.soundCount() == before;
    }));
}

} // namespace

// --------------------------------------------------------------------------------- pictures

TEST(LStreamPlay, PicturesComeInTheirTime) {
    StreamPlayer player(mediaPath("h264_aac.mp4"));
    player.stream.play();
    ASSERT_TRUE(player.sink.waitForPictures(51));
    const auto pictures = player.sink.pictures();
    // None is early; a busy machine makes some late.
    const double all = static_cast<double>(pictures[50].arrived - pictures[0].arrived) / 1e9;
    EXPECT_GT(all, 1.9);
    for (std::size_t i = 1; i < 51; ++i)
        EXPECT_GT(pictures[i].pts, pictures[i - 1].pts) << i;
}

TEST(LStreamPlay, PicturesCarryTheStreamsTimeStampsAndNoTimeBase) {
    const auto expected = test::decodeAll(mediaPath("h264.ts"), AVMEDIA_TYPE_VIDEO);
    StreamPlayer player(mediaPath("h264.ts"), 5);
    player.stream.play();
    ASSERT_TRUE(player.sink.waitForPictures(20));
    player.stream.stop();
    const auto pictures = player.sink.pictures();
    for (std::size_t i = 0; i < 20; ++i)
        EXPECT_EQ(pictures[i].pts, expected[i]->pts) << i;
    EXPECT_EQ(player.sink.latestPicture()->time_base.num, 0);
}

TEST(LStreamPlay, WhatFitsArrivesAsItWasDecoded) {
    const auto expected = test::decodeAll(mediaPath("mjpeg.avi"), AVMEDIA_TYPE_VIDEO);
    StreamPlayer player(mediaPath("mjpeg.avi"), 10);
    player.stream.play();
    ASSERT_TRUE(player.sink.waitForPictures(10));
    player.stream.stop();
    const auto kept = player.sink.keptPictures();
    const std::size_t first = player.sink.pictureCount() - kept.size();
    for (std::size_t i = 0; i < kept.size(); ++i) {
        EXPECT_EQ(kept[i]->format, AV_PIX_FMT_YUVJ420P);
        EXPECT_EQ(test::fingerprint(*kept[i]), test::fingerprint(*expected[first + i])) << i;
    }
}

TEST(LStreamPlay, WithoutASinkFiftyPicturesAreKeptAndReadingGoesOn) {
    OpenStream stream;
    test::CollectingSink sink;
    stream.streamUrlSet(mediaPath("h264_aac.mp4"));
    stream.play();
    ASSERT_TRUE(waitUntil([&] { return stream.queued() == 50; }));
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(stream.queued(), 50U);
    stream.addSink(&sink);
    ASSERT_TRUE(sink.waitForPictures(1));
    EXPECT_GT(sink.pictures()[0].pts, 0); // not what was kept
    stream.stop();
    stream.removeSink(&sink);
}

TEST(LStreamPlay, AJumpAheadIsNoReasonToStandStill) {
    StreamPlayer player(mediaPath("gap.mkv")); // 25 pictures, a hole of 2.5 s, 25 pictures
    player.stream.play();
    ASSERT_TRUE(player.sink.waitForPictures(50));
    const auto pictures = player.sink.pictures();
    const double gap = static_cast<double>(pictures[25].pts - pictures[24].pts) / 1000.0;
    EXPECT_GT(gap, 2.4);
    const double stood = static_cast<double>(pictures[25].arrived - pictures[24].arrived) / 1e9;
    EXPECT_LT(stood, 2.0);
    const double rest = static_cast<double>(pictures[49].arrived - pictures[25].arrived) / 1e9;
    EXPECT_GT(rest, 0.85); // and behind it they are paced again
}

TEST(LStreamPlay, PicturesWithoutATimeStampAreNotPaced) {
    // This container has times of decoding only, and with pictures out of order no others follow
    // from them.
    const std::string path =
        made("no_pts.avi", {"-f", "lavfi", "-i", "testsrc2=size=64x48:rate=1:duration=40", "-c:v",
                            "libx264", "-preset", "veryfast", "-bf", "2"});
    StreamPlayer player(path);
    const Stopwatch watch;
    player.stream.play();
    ASSERT_TRUE(player.sink.waitForPictures(30));
    EXPECT_LT(watch.seconds(), 15.0); // half a minute of pictures
    const auto pictures = player.sink.pictures();
    for (std::size_t i = 0; i < 30; ++i)
        EXPECT_EQ(pictures[i].pts, AV_NOPTS_VALUE) << i;
}

TEST(LStreamPlay, AStreamThatChangesItsSizeIsScaledToTheFirst) {
    const std::string path = temporaryPath("sizes.ts");
    const std::string first =
        made("large.ts", {"-f", "lavfi", "-i", "testsrc2=size=320x180:rate=25:duration=1", "-c:v",
                          "mpeg2video", "-g", "5"});
    const std::string second =
        made("small.ts", {"-f", "lavfi", "-i", "testsrc2=size=192x108:rate=25:duration=1", "-c:v",
                          "mpeg2video", "-g", "5"});
    ASSERT_EQ(std::system(("cat " + first + " " + second + " >" + path).c_str()), 0);
    const auto sizesOf = [&](std::uint32_t mode) {
        StreamPlayer player(path);
        videoFormatProps format{};
        format.mode = mode;
        player.stream.setVideoFormat(format);
        player.stream.play();
        EXPECT_TRUE(player.sink.waitForPictures(45));
        player.stream.stop();
        const auto pictures = player.sink.pictures();
        return std::pair{pictures.front().width, pictures[44].width};
    };
    EXPECT_EQ(sizesOf(1), (std::pair{320, 320}));
    EXPECT_EQ(sizesOf(39), (std::pair{320, 192})); // no size is wanted: each as it comes
}

TEST(LStreamPlay, ScalingQualityChangesThePictures) {
    const auto printOf = [](const char* quality) {
        StreamPlayer player(mediaPath("silent.mp4"), 1000);
        player.stream.setVideoFormat([] {
            videoFormatProps format{};
            format.mode = 3;
            return format;
        }());
        if (*quality != '\0') player.stream.setProps("scaling_quality", quality);
        player.stream.play();
        EXPECT_TRUE(player.sink.waitForPictures(1));
        player.stream.stop();
        return test::fingerprint(*player.sink.keptPictures().front());
    };
    const auto bicubic = printOf("0");
    EXPECT_EQ(printOf("4"), bicubic);
    EXPECT_NE(printOf("1"), bicubic);
    EXPECT_NE(printOf("3"), bicubic);
    EXPECT_NE(printOf(""), bicubic); // never set, it is the fast one
}

TEST(LStreamPlay, TheScaleTypeIsOnlyStored) {
    const auto printOf = [](const char* type) {
        StreamPlayer player(mediaPath("silent.mp4"), 1000);
        videoFormatProps format{};
        format.mode = 3;
        player.stream.setVideoFormat(format);
        player.stream.setProps("scale_type", type);
        player.stream.play();
        EXPECT_TRUE(player.sink.waitForPictures(1));
        player.stream.stop();
        return test::fingerprint(*player.sink.keptPictures().front());
    };
    const auto letterBox = printOf("letter-box");
    EXPECT_EQ(printOf("crop"), letterBox);
    EXPECT_EQ(printOf(""), letterBox);
}

// ------------------------------------------------------------------------------------ sound

TEST(LStreamPlay, SoundIsStereoOfSixteenBitsAtItsOwnRate) {
    for (const char* clip : {"mono.wav", "aac51.mp4"}) {
        StreamPlayer player(mediaPath(clip));
        player.stream.play();
        ASSERT_TRUE(player.sink.waitForSounds(5)) << clip;
        const test::SoundSeen sound = player.sink.sounds()[0];
        EXPECT_EQ(sound.channels, 2);
        EXPECT_EQ(sound.format, AV_SAMPLE_FMT_S16);
        EXPECT_EQ(sound.sampleRate, std::string(clip) == "mono.wav" ? 44100 : 48000);
        EXPECT_EQ(sound.seconds, -1.0); // no time stamp
    }
}

TEST(LStreamPlay, AWantedRateResamplesInAnyModeButOne) {
    const auto rateOf = [](const audioFormatProps& format) {
        StreamPlayer player(mediaPath("h264_aac.mp4"));
        player.stream.setAudioFormat(format);
        player.stream.play();
        EXPECT_TRUE(player.sink.waitForSounds(3));
        return player.sink.sounds()[0].sampleRate;
    };
    EXPECT_EQ(rateOf({0, 16, 44100, 2}), 44100);
    EXPECT_EQ(rateOf({10, 0, 0, 0}), 96000);
    EXPECT_EQ(rateOf({1, 16, 44100, 2}), 48000);
    EXPECT_EQ(rateOf({0, 16, 0, 2}), 48000);
    EXPECT_EQ(rateOf({99, 16, 44100, 2}), 48000);
}

TEST(LStreamPlay, AudioGainClips) {
    const std::string path =
        made("loud.wav", {"-f", "lavfi", "-i", "aevalsrc=0.8*sgn(sin(2*PI*100*t))|0.25:s=48000:d=1",
                          "-c:a", "pcm_s16le"});
    StreamPlayer player(path, 1);
    player.stream.setProps("audio_gain", "200");
    player.stream.play();
    ASSERT_TRUE(player.sink.waitForSounds(2));
    player.stream.stop();
    const quol::FramePtr block = player.sink.latestSound();
    const auto* samples = reinterpret_cast<const std::int16_t*>(block->data[0]);
    int low = 0;
    int high = 0;
    for (int i = 0; i < block->nb_samples; ++i) {
        low = std::min<int>(low, samples[2 * i]);
        high = std::max<int>(high, samples[2 * i]);
        EXPECT_NEAR(samples[2 * i + 1], 16384, 2);
    }
    EXPECT_EQ(low, -32768);
    EXPECT_EQ(high, 32767);
}

TEST(LStreamPlay, PeaksAreMeasuredBehindTheGainAndCanBeReset) {
    StreamPlayer player(mediaPath("h264_aac.mp4")); // 0.25 and 0.125 of full scale
    float left = -1.0F;
    float right = -1.0F;
    player.stream.getAudioPeak(left, right);
    EXPECT_EQ(left, 0.0F);
    EXPECT_EQ(right, 0.0F);
    player.stream.setProps("audio_gain", "200");
    player.stream.play();
    ASSERT_TRUE(player.sink.waitForSounds(20));
    player.stream.stop();
    player.stream.getAudioPeak(left, right);
    EXPECT_NEAR(left, 0.5, 0.1);
    EXPECT_NEAR(right, 0.25, 0.06);
    player.stream.resetAudioPeak();
    player.stream.getAudioPeak(left, right);
    EXPECT_EQ(left, 0.0F);
    EXPECT_EQ(right, 0.0F);
}

TEST(LStreamPlay, AStreamWithoutSoundAndOneWithoutAPicture) {
    StreamPlayer silent(mediaPath("silent.mp4"));
    silent.stream.play();
    EXPECT_TRUE(silent.sink.waitForPictures(10));
    EXPECT_EQ(silent.sink.soundCount(), 0U);
    StreamPlayer dark(mediaPath("flac.flac"));
    dark.stream.play();
    EXPECT_TRUE(dark.sink.waitForSounds(10));
    EXPECT_EQ(dark.sink.pictureCount(), 0U);
    EXPECT_EQ(dark.stream.getFPS(), 25.0);
    EXPECT_EQ(dark.stream.getWidth(), 0);
}

TEST(LStreamPlay, TheCoverOfAProgrammeOfSoundIsNoPicture) {
    const std::string path = made("cover.m4a", {"-f",
                                                "lavfi",
                                                "-i",
                                                "sine=r=48000:d=2",
                                                "-f",
                                                "lavfi",
                                                "-i",
                                                "color=red:s=64x64:d=1",
                                                "-map",
                                                "0",
                                                "-map",
                                                "1",
                                                "-c:a",
                                                "aac",
                                                "-c:v",
                                                "mjpeg",
                                                "-frames:v",
                                                "1",
                                                "-disposition:v:0",
                                                "attached_pic"});
    quol::MediaInput input;
    ASSERT_TRUE(input.open(path) && input.findStreamInfo()) << path;
    ASSERT_GE(input.bestStream(AVMEDIA_TYPE_VIDEO), 0);
    StreamPlayer player(path);
    player.stream.play();
    ASSERT_TRUE(player.sink.waitForSounds(50));
    EXPECT_EQ(player.sink.pictureCount(), 0U);
    EXPECT_EQ(player.stream.getFPS(), 25.0);
    EXPECT_EQ(player.stream.getWidth(), 0);
}

TEST(LStreamPlay, TheTicksOfTimeStampsAreNoRate) {
    const std::unique_ptr<AVFormatContext, void (*)(AVFormatContext*)> context(
        avformat_alloc_context(), avformat_free_context);
    AVStream* stream = avformat_new_stream(context.get(), nullptr);
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(quol::liveRate(*stream), 0.0);
    stream->r_frame_rate = {90000, 1};
    EXPECT_EQ(quol::liveRate(*stream), 0.0);
    stream->r_frame_rate = {1000, 1};
    EXPECT_EQ(quol::liveRate(*stream), 1000.0);
    stream->avg_frame_rate = {90000, 1};
    EXPECT_EQ(quol::liveRate(*stream), 1000.0);
    stream->avg_frame_rate = {50, 1};
    EXPECT_EQ(quol::liveRate(*stream), 50.0);
}

// ----------------------------------------------------------------------------------- tracks

class Tracks : public testing::Test {
protected:
    // Stream 0 a picture, 1 and 2 sound: of a quarter and of half of full scale.
    static const std::string& clip() {
        static const std::string path =
            made("tracks.mkv",
                 {"-f",   "lavfi",    "-i",   "testsrc2=size=64x48:rate=25:duration=40",
                  "-f",   "lavfi",    "-i",   "aevalsrc=0.25*sgn(sin(2*PI*100*t))|0:s=48000:d=40",
                  "-f",   "lavfi",    "-i",   "aevalsrc=0.5*sgn(sin(2*PI*100*t))|0:s=48000:d=40",
                  "-map", "0",        "-map", "1",
                  "-map", "2",        "-c:v", "mpeg4",
                  "-c:a", "pcm_s16le"});
        return path;
    }
    static bool peakComes(LStreamPlay& stream, float wanted) {
        return waitUntil([&] {
            float left = 0.0F;
            float right = 0.0F;
            stream.getAudioPeak(left, right);
            return std::abs(left - wanted) < 0.05F;
        });
    }
};

TEST_F(Tracks, AreSwitchedWhileItPlays) {
    StreamPlayer player(clip());
    player.stream.play();
    EXPECT_TRUE(peakComes(player.stream, 0.25F));
    player.stream.switchAudioTrack(2);
    EXPECT_TRUE(peakComes(player.stream, 0.5F));
    player.stream.switchAudioTrack(1);
    EXPECT_TRUE(peakComes(player.stream, 0.25F));
}

TEST_F(Tracks, AnIndexThatIsNoSoundIsSilenceAndThePictureGoesOn) {
    for (const int index : {-1, 0, 3, 1000, -2147483647}) {
        StreamPlayer player(clip());
        player.stream.play();
        ASSERT_TRUE(player.sink.waitForSounds(1));
        player.stream.switchAudioTrack(index);
        waitForTheEndOfSound(player.sink);
        player.stream.switchAudioTrack(2);
        EXPECT_TRUE(peakComes(player.stream, 0.5F)) << index;
    }
}

TEST_F(Tracks, AskedForBeforeTheStreamIsOpenIsTaken) {
    StreamPlayer player(clip());
    player.stream.switchAudioTrack(-1); // without effect: it does not play
    player.stream.play();
    player.stream.switchAudioTrack(2);
    EXPECT_TRUE(peakComes(player.stream, 0.5F));
    player.stream.stop();
    player.stream.resetAudioPeak();
    player.stream.play();
    EXPECT_TRUE(peakComes(player.stream, 0.25F));
}

TEST_F(Tracks, ThePropertyIsOnlyStored) {
    StreamPlayer player(clip());
    player.stream.setProps("audio_track", "2");
    player.stream.play();
    ASSERT_TRUE(player.sink.waitForSounds(3));
    EXPECT_TRUE(peakComes(player.stream, 0.25F));
}

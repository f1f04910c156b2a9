// Each kind of file that the suite has, played to its end: every picture of it once, in order, to
// the byte as the decoder gave it.
#include <gtest/gtest.h>

#include <chrono>
#include <ostream>
#include <thread>

#include "support/CapturedStream.h"
#include "support/FilePlayer.h"

namespace {

using test::FilePlayer;
using test::fingerprint;
using test::mediaPath;

struct Clip {
    const char* name;
    int width;
    int height;
    AVPixelFormat format;
    std::size_t pictures;
};

std::ostream& operator<<(std::ostream& out, const Clip& clip) {
    return out << clip.name;
}

class EachClip : public testing::TestWithParam<Clip> {};

} // namespace

TEST_P(EachClip, IsPlayedToItsLastPictureByteByByte) {
    const Clip& clip = GetParam();
    const auto expected = test::decodeAll(mediaPath(clip.name), AVMEDIA_TYPE_VIDEO);
    ASSERT_EQ(expected.size(), clip.pictures);

    FilePlayer player(clip.name, 1000);
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playOut());
    const auto seen = player.sink.pictures();
    ASSERT_EQ(seen.size(), clip.pictures);
    EXPECT_EQ(seen.front().width, clip.width);
    EXPECT_EQ(seen.front().height, clip.height);
    EXPECT_EQ(seen.front().format, clip.format);
    for (std::size_t i = 1; i < seen.size(); ++i)
        EXPECT_GT(seen[i].seconds, seen[i - 1].seconds) << i;

    const auto pictures = player.sink.keptPictures();
    for (std::size_t i = 0; i < pictures.size(); ++i)
        ASSERT_EQ(fingerprint(*pictures[i]), fingerprint(*expected[i])) << "picture " << i;
}

TEST_P(EachClip, TellsItsSize) {
    const Clip& clip = GetParam();
    FilePlayer player(clip.name);
    ASSERT_TRUE(player.file.play());
    EXPECT_EQ(player.file.getWidth(), clip.width);
    EXPECT_EQ(player.file.getHeight(), clip.height);
    videoFormatProps format;
    player.file.getVideoFormat(format);
    EXPECT_EQ(format.width, clip.width);
    EXPECT_EQ(format.height, clip.height);
}

INSTANTIATE_TEST_SUITE_P(LFileFormats, EachClip,
                         testing::Values(Clip{"h264_aac.mp4", 320, 180, AV_PIX_FMT_YUV420P, 100},
                                         Clip{"long_gop.mp4", 320, 180, AV_PIX_FMT_YUV420P, 150},
                                         Clip{"h264.ts", 320, 180, AV_PIX_FMT_YUV420P, 75},
                                         Clip{"hevc.mp4", 320, 180, AV_PIX_FMT_YUV420P, 25},
                                         Clip{"mpeg2.mpg", 320, 180, AV_PIX_FMT_YUV420P, 25},
                                         Clip{"mjpeg.avi", 320, 180, AV_PIX_FMT_YUVJ420P, 25},
                                         Clip{"prores.mov", 320, 180, AV_PIX_FMT_YUV422P10, 25},
                                         Clip{"vp9_opus.webm", 320, 180, AV_PIX_FMT_YUV420P, 25},
                                         Clip{"av_tc.mxf", 320, 180, AV_PIX_FMT_YUV422P, 50},
                                         Clip{"rate2997.mp4", 320, 180, AV_PIX_FMT_YUV420P, 90},
                                         Clip{"silent.mp4", 320, 180, AV_PIX_FMT_YUV420P, 25},
                                         Clip{"tenbit.mp4", 320, 180, AV_PIX_FMT_YUV420P10, 25},
                                         Clip{"interlaced.ts", 320, 180, AV_PIX_FMT_YUV420P, 25},
                                         Clip{"odd_size.mkv", 321, 183, AV_PIX_FMT_YUV420P, 25},
                                         Clip{"sar.mp4", 160, 180, AV_PIX_FMT_YUV420P, 25},
                                         Clip{"vfr.mkv", 320, 180, AV_PIX_FMT_YUV420P, 33},
                                         Clip{"gap.mkv", 320, 180, AV_PIX_FMT_YUV420P, 50},
                                         Clip{"aac51.mp4", 320, 180, AV_PIX_FMT_YUV420P, 25},
                                         Clip{"size_change.ts", 320, 180, AV_PIX_FMT_YUV420P, 50},
                                         Clip{"still.png", 160, 90, AV_PIX_FMT_RGB24, 1},
                                         Clip{"seq/seq_%04d.png", 160, 90, AV_PIX_FMT_RGB24, 10}));

// ------------------------------------------------------------------- codecs that nobody knows

TEST(LFileFormats, OfSoundThatNobodyKnowsThePictureIsPlayedAndTheOtherWayRound) {
    FilePlayer pictures("unknown_sound.mkv");
    ASSERT_TRUE(pictures.playOut());
    EXPECT_EQ(pictures.sink.pictureCount(), 25U);
    EXPECT_EQ(pictures.sink.soundCount(), 0U);
    FilePlayer sound("unknown_picture.mkv");
    ASSERT_TRUE(sound.playOut());
    EXPECT_EQ(sound.sink.pictureCount(), 0U);
    EXPECT_GT(sound.sink.soundCount(), 0U);
}

TEST(LFileFormats, AFileOfWhichNothingCanBeDecodedOpensAndHasNothingToShow) {
    FilePlayer player("unknown.mkv");
    ASSERT_TRUE(player.file.play());
    EXPECT_NEAR(player.file.getDurationMs(), 1000.0, 100.0);
    EXPECT_EQ(player.file.getWidth(), 0);
    EXPECT_TRUE(player.waitForEnd());
    player.file.setProps("eof_hold", "true");
    ASSERT_TRUE(player.file.play());
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(player.status(), 1);
    player.file.stop();
    EXPECT_EQ(player.sink.pictureCount(), 0U);
    EXPECT_EQ(player.sink.soundCount(), 0U);
}

// ------------------------------------------------------------------------------------- together

TEST(LFileFormats, FlashAndBeepFallTogether) {
    FilePlayer player("flash_beep.mov", 1000);
    player.file.outPointMs = 2040.0;
    ASSERT_TRUE(player.playOut());
    std::vector<double> flashes;
    for (const quol::FramePtr& picture : player.sink.keptPictures()) {
        const bool white = picture->data[0][360 * picture->linesize[0] + 640] > 128;
        if (white)
            flashes.push_back(static_cast<double>(picture->pts) * av_q2d(picture->time_base));
    }
    std::vector<double> beeps;
    double silentSince = -1.0;
    for (const quol::FramePtr& block : player.sink.keptSounds()) {
        const auto* samples = reinterpret_cast<const std::int16_t*>(block->data[0]);
        const double start = static_cast<double>(block->pts) * av_q2d(block->time_base);
        for (int i = 0; i < block->nb_samples; ++i) {
            if (samples[2 * i] == 0) continue;
            const double now = start + static_cast<double>(i) / block->sample_rate;
            if (now - silentSince > 0.5) beeps.push_back(now);
            silentSince = now;
        }
    }
    ASSERT_GE(flashes.size(), 3U);
    ASSERT_GE(beeps.size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(flashes[i], static_cast<double>(i), 0.0005);
        EXPECT_NEAR(beeps[i], static_cast<double>(i), 0.0005);
    }
}

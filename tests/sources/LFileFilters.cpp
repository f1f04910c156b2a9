// The file player's picture chain: size, rate, pixel format, deinterlacing, the host's own filters.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "quolsdk/LFilter.h"
#include "support/CapturedStream.h"
#include "support/FilePlayer.h"

namespace {

using test::customVideo;
using test::FilePlayer;
using test::fingerprint;
using test::irregularity;
using test::mediaPath;
using test::nativeVideo;
using test::waitUntil;
using namespace std::chrono_literals;

constexpr double tick = 0.04;

// A clip that goes round and round while a test changes what is made of it.
class Looping : public FilePlayer {
public:
    explicit Looping(const std::string& clip = "silent.mp4") : FilePlayer(clip, 1) {
        file.setProps("loop", "true");
    }

    // Waits for a picture of that size and format.
    bool shows(int width, int height, AVPixelFormat format = AV_PIX_FMT_YUV420P) {
        return waitUntil([&] {
            const quol::FramePtr picture = sink.latestPicture();
            return picture && picture->width == width && picture->height == height &&
                   picture->format == format;
        });
    }

    // Waits for a picture with that luma in its middle.
    bool showsLuma(int level) {
        return waitUntil([&] {
            const quol::FramePtr picture = sink.latestPicture();
            return picture && lumaAt(*picture, picture->width / 2, picture->height / 2) == level;
        });
    }

    static int lumaAt(const AVFrame& picture, int x, int y) {
        return picture.data[0][y * picture.linesize[0] + x];
    }
};

// The first picture of a clip, by a chain that is set before it plays.
quol::FramePtr firstPicture(const std::string& clip, const std::string& scaleType,
                            const videoFormatProps& format, const std::string& quality = "0") {
    FilePlayer player(clip, 100);
    player.file.setVideoFormat(format);
    player.file.setProps("scale_type", scaleType);
    player.file.setProps("scaling_quality", quality);
    player.file.setProps("rate", "8");
    EXPECT_TRUE(player.playOut());
    auto pictures = player.sink.keptPictures();
    return pictures.empty() ? nullptr : std::move(pictures.front());
}

videoFormatProps tableVideo(std::uint32_t mode) {
    videoFormatProps format;
    format.mode = mode;
    return format;
}

bool isBlackRow(const AVFrame& picture, int y) {
    for (int x = 0; x < picture.width; ++x) {
        if (Looping::lumaAt(picture, x, y) != 16) return false;
    }
    return true;
}

bool isBlackColumn(const AVFrame& picture, int x) {
    for (int y = 0; y < picture.height; ++y) {
        if (Looping::lumaAt(picture, x, y) != 16) return false;
    }
    return true;
}

std::size_t countOf(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos;
         at = text.find(part, at + part.size()))
        ++count;
    return count;
}

} // namespace

// -------------------------------------------------------------------------------- direct path

TEST(LFileChain, NativeWithNothingAskedForGoesDirectly) {
    const auto expected = test::decodeAll(mediaPath("silent.mp4"), AVMEDIA_TYPE_VIDEO);
    FilePlayer player("silent.mp4", 100);
    player.file.setProps("rate", "8");
    // None of these asks for a chain by itself.
    player.file.setProps("scale_type", "crop");
    player.file.setProps("scaling_quality", "1");
    ASSERT_TRUE(player.playOut());
    const auto pictures = player.sink.keptPictures();
    ASSERT_EQ(pictures.size(), expected.size());
    for (std::size_t i = 0; i < pictures.size(); ++i)
        EXPECT_EQ(fingerprint(*pictures[i]), fingerprint(*expected[i])) << i;
}

TEST(LFileChain, NativeLeavesEvenOddSizesAndLongPixelsAlone) {
    const quol::FramePtr odd = firstPicture("odd_size.mkv", "letter-box", nativeVideo(0));
    EXPECT_EQ(odd->width, 321);
    EXPECT_EQ(odd->height, 183);
    const quol::FramePtr wide = firstPicture("sar.mp4", "letter-box", nativeVideo(0));
    EXPECT_EQ(wide->width, 160);
    EXPECT_EQ(wide->height, 180);
    EXPECT_EQ(wide->sample_aspect_ratio.num, 2);
}

// ------------------------------------------------------------------------------ explicit sizes

TEST(LFileChain, LetterBoxFitsThePictureInAndFillsUpWithBlack) {
    // 16:9 into 720x576: as wide, 405 high.
    const quol::FramePtr picture = firstPicture("silent.mp4", "letter-box", tableVideo(3));
    ASSERT_EQ(picture->width, 720);
    ASSERT_EQ(picture->height, 576);
    EXPECT_EQ(picture->sample_aspect_ratio.num, 1);
    EXPECT_EQ(picture->sample_aspect_ratio.den, 1);
    EXPECT_TRUE(isBlackRow(*picture, 0));
    EXPECT_TRUE(isBlackRow(*picture, 80));
    EXPECT_FALSE(isBlackRow(*picture, 95));
    EXPECT_FALSE(isBlackRow(*picture, 288));
    EXPECT_FALSE(isBlackRow(*picture, 480));
    EXPECT_TRUE(isBlackRow(*picture, 495));
    EXPECT_TRUE(isBlackRow(*picture, 575));
}

TEST(LFileChain, LetterBoxIsTheDefault) {
    FilePlayer player("silent.mp4", 100);
    player.file.setVideoFormat(tableVideo(3));
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playOut());
    const quol::FramePtr asked = firstPicture("silent.mp4", "letter-box", tableVideo(3));
    EXPECT_EQ(fingerprint(*player.sink.keptPictures().front()), fingerprint(*asked));
}

TEST(LFileChain, CropFillsThePictureAndCutsWhatIsOver) {
    const quol::FramePtr picture = firstPicture("silent.mp4", "crop", tableVideo(3));
    ASSERT_EQ(picture->width, 720);
    ASSERT_EQ(picture->height, 576);
    EXPECT_FALSE(isBlackRow(*picture, 0));
    EXPECT_FALSE(isBlackRow(*picture, 575));
    EXPECT_FALSE(isBlackColumn(*picture, 0));
    EXPECT_FALSE(isBlackColumn(*picture, 719));
}

TEST(LFileChain, AnyOtherScaleTypeStretches) {
    const quol::FramePtr stretched = firstPicture("silent.mp4", "stretch", tableVideo(3));
    ASSERT_EQ(stretched->width, 720);
    ASSERT_EQ(stretched->height, 576);
    EXPECT_FALSE(isBlackRow(*stretched, 0));
    EXPECT_FALSE(isBlackRow(*stretched, 575));
    for (const char* type : {"", "Crop", "letter-box "}) {
        const quol::FramePtr other = firstPicture("silent.mp4", type, tableVideo(3));
        EXPECT_EQ(fingerprint(*other), fingerprint(*stretched)) << type;
    }
    const quol::FramePtr cropped = firstPicture("silent.mp4", "crop", tableVideo(3));
    EXPECT_NE(fingerprint(*cropped), fingerprint(*stretched));
}

TEST(LFileChain, ACustomFormatOfARunningFileIsExplicit) {
    Looping player;
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(1));
    player.file.setVideoFormat(customVideo(160, 160, 0.0));
    EXPECT_TRUE(player.shows(160, 160));
    player.file.setVideoFormat(customVideo(96, 54, 25.0, 6));
    EXPECT_TRUE(player.shows(96, 54, AV_PIX_FMT_RGBA));
    player.file.setVideoFormat(nativeVideo(0));
    EXPECT_TRUE(player.shows(320, 180));
}

TEST(LFileChain, ACustomFormatWithoutASizeHasNoChain) {
    Looping player;
    ASSERT_TRUE(player.file.play());
    player.file.setVideoFormat(customVideo(160, 160, 0.0));
    ASSERT_TRUE(player.shows(160, 160));
    player.file.setVideoFormat(customVideo(160, 0, 50.0));
    EXPECT_TRUE(player.shows(320, 180));
    player.file.setVideoFormat(customVideo(160, 160, 0.0));
    ASSERT_TRUE(player.shows(160, 160));
    player.file.setVideoFormat(tableVideo(39));
    EXPECT_TRUE(player.shows(320, 180));
}

// ----------------------------------------------------------------------------- automatic sizes

TEST(LFileChain, AutomaticMakesPixelsSquareAndSidesEven) {
    const quol::FramePtr wide = firstPicture("sar.mp4", "stretch", nativeVideo(1));
    EXPECT_EQ(wide->width, 320);
    EXPECT_EQ(wide->height, 180);
    EXPECT_EQ(wide->sample_aspect_ratio.num, wide->sample_aspect_ratio.den);
    const quol::FramePtr odd = firstPicture("odd_size.mkv", "stretch", nativeVideo(1));
    EXPECT_EQ(odd->width, 322);
    EXPECT_EQ(odd->height, 184);
}

TEST(LFileChain, AutomaticLetterBoxGrowsToSixteenByNine) {
    const quol::FramePtr picture = firstPicture("odd_size.mkv", "letter-box", nativeVideo(1));
    EXPECT_EQ(picture->width, 328);
    EXPECT_EQ(picture->height, 184);
    EXPECT_TRUE(isBlackColumn(*picture, 0));
    EXPECT_TRUE(isBlackColumn(*picture, 327));
    EXPECT_FALSE(isBlackColumn(*picture, 164));
}

TEST(LFileChain, AutomaticCropShrinksToSixteenByNine) {
    const quol::FramePtr picture = firstPicture("odd_size.mkv", "crop", nativeVideo(1));
    EXPECT_EQ(picture->width, 322);
    EXPECT_EQ(picture->height, 182);
}

TEST(LFileChain, AutomaticKeepsTheFilesOwnRate) {
    FilePlayer player("silent.mp4");
    player.file.setVideoFormat(nativeVideo(3));
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playOut());
    EXPECT_EQ(player.sink.pictureCount(), 25U);
    EXPECT_EQ(irregularity(player.sink.pictures(), tick), "");
}

// ------------------------------------------------------------------------------- pixel formats

TEST(LFileChain, EachPixelFormatOfTheTable) {
    const std::pair<int, AVPixelFormat> table[] = {
        {1, AV_PIX_FMT_YUV420P},  {3, AV_PIX_FMT_NV12},       {4, AV_PIX_FMT_GBRP10LE},
        {5, AV_PIX_FMT_RGB24},    {6, AV_PIX_FMT_RGBA},       {7, AV_PIX_FMT_ARGB},
        {8, AV_PIX_FMT_RGB8},     {9, AV_PIX_FMT_UYVY422},    {10, AV_PIX_FMT_UYVY422},
        {12, AV_PIX_FMT_YUYV422}, {11, AV_PIX_FMT_YUV422P10}, {14, AV_PIX_FMT_YVYU422},
        {15, AV_PIX_FMT_YUV422P}, {16, AV_PIX_FMT_YUVA422P},  {17, AV_PIX_FMT_YUVA420P},
    };
    Looping player;
    ASSERT_TRUE(player.file.play());
    for (const auto& [value, format] : table) {
        player.file.setVideoFormat(nativeVideo(value));
        EXPECT_TRUE(player.shows(320, 180, format)) << value;
    }
    // The hole in the table, and what lies beyond it, change nothing.
    for (const int value : {2, 18, -1}) {
        player.file.setVideoFormat(nativeVideo(value));
        EXPECT_TRUE(player.shows(320, 180, AV_PIX_FMT_YUV420P)) << value;
        player.file.setVideoFormat(nativeVideo(6));
        EXPECT_TRUE(player.shows(320, 180, AV_PIX_FMT_RGBA)) << value;
    }
}

TEST(LFileChain, APixelFormatOfTheTableBehindAnExplicitSize) {
    videoFormatProps format = tableVideo(3);
    format.pixelFormat = 9;
    const quol::FramePtr picture = firstPicture("silent.mp4", "letter-box", format);
    EXPECT_EQ(picture->width, 720);
    EXPECT_EQ(picture->format, AV_PIX_FMT_UYVY422);
}

// ----------------------------------------------------------------------------------- the rate

TEST(LFileChain, AHigherRateRepeatsPictures) {
    FilePlayer player("seq/seq_%04d.png", 100); // plays at the rate of the format it opens with
    player.file.ready();
    player.file.setVideoFormat(customVideo(160, 90, 50.0));
    player.file.setPos(0.0);
    ASSERT_TRUE(player.waitForEnd());
    player.file.stop();
    const auto pictures = player.sink.pictures();
    ASSERT_GE(pictures.size(), 20U);
    const std::vector<test::PictureSeen> tail(pictures.end() - 18, pictures.end());
    EXPECT_EQ(irregularity(tail, 0.02), "");
}

TEST(LFileChain, TheRateOfATableModeIsMadeOfTheFilesToTheLastPicture) {
    FilePlayer player("silent.mp4", 100);
    player.file.setVideoFormat(tableVideo(4)); // 1280x720 at 50
    player.file.setProps("rate", "4");
    ASSERT_TRUE(player.playOut());
    const auto pictures = player.sink.pictures();
    EXPECT_EQ(pictures.size(), 50U);
    EXPECT_EQ(irregularity(pictures, 0.02), "");
    const auto kept = player.sink.keptPictures();
    for (std::size_t i = 0; i + 1 < kept.size(); i += 2)
        EXPECT_EQ(fingerprint(*kept[i]), fingerprint(*kept[i + 1])) << i;
}

TEST(LFileChain, ALowerRateDropsPictures) {
    FilePlayer player("silent.mp4");
    player.file.setProps("rate", "0.5");
    player.file.ready();
    player.file.setVideoFormat(customVideo(320, 180, 12.5));
    player.file.setPos(0.0);
    ASSERT_TRUE(player.waitForEnd());
    player.file.stop();
    const auto pictures = player.sink.picturesSinceFlush();
    ASSERT_TRUE(pictures.empty()); // stop flushes; what counts came before
    const auto all = player.sink.pictures();
    ASSERT_GE(all.size(), 12U);
    const std::vector<test::PictureSeen> tail(all.end() - 11, all.end());
    EXPECT_EQ(irregularity(tail, 0.08), "");
}

TEST(LFileChain, AVariableRateBecomesEven) {
    FilePlayer player("vfr.mkv");
    player.file.setVideoFormat(tableVideo(3)); // at 25
    player.file.setProps("rate", "4");
    ASSERT_TRUE(player.playOut());
    const auto pictures = player.sink.pictures();
    // To 1.92 s, and the last one as long as it may last.
    EXPECT_GE(pictures.size(), 49U);
    EXPECT_LE(pictures.size(), 51U);
    EXPECT_EQ(irregularity(pictures, tick), "");
}

TEST(LFileChain, ThousandthsOfARateAreGoodEnoughForABrokenOne) {
    FilePlayer player("rate2997.mp4");
    player.file.setVideoFormat(tableVideo(2)); // at 30000/1001, written as 29970/1000
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playOut());
    EXPECT_EQ(player.sink.pictureCount(), 90U);
    EXPECT_EQ(irregularity(player.sink.pictures(), 1001.0 / 30000), "");
}

TEST(LFileChain, ALoopByAChainShowsEveryPictureOfEachRound) {
    FilePlayer player("silent.mp4");
    player.file.setVideoFormat(tableVideo(3));
    player.file.setProps("loop", "true");
    player.file.setProps("rate", "4");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(60));
    const auto pictures = player.sink.pictures();
    for (std::size_t i = 0; i < 60; ++i)
        EXPECT_NEAR(pictures[i].seconds, static_cast<double>(i % 25) * tick, 0.001) << i;
}

// ------------------------------------------------------------------------------------- quality

TEST(LFileChain, ScalingQualityChoosesTheScaler) {
    const auto shot = [](const std::string& quality) {
        return fingerprint(*firstPicture("silent.mp4", "stretch", tableVideo(3), quality));
    };
    const std::uint64_t neighbour = shot("1");
    const std::uint64_t bilinear = shot("2");
    const std::uint64_t bicubic = shot("3");
    const std::uint64_t lanczos = shot("4");
    EXPECT_NE(neighbour, bilinear);
    EXPECT_NE(bilinear, bicubic);
    EXPECT_NE(bicubic, lanczos);
    EXPECT_NE(neighbour, bicubic);
    EXPECT_NE(neighbour, lanczos);
    EXPECT_NE(bilinear, lanczos);
    for (const char* other : {"0", "5", "-1"})
        EXPECT_EQ(shot(other), bicubic) << other;
}

// -------------------------------------------------------------------------------- deinterlacing

TEST(LFileChain, FieldsAreMadeIntoFrames) {
    FilePlayer woven("interlaced.ts", 100);
    FilePlayer straight("interlaced.ts", 100);
    straight.file.setProps("deinterlace", "true");
    for (FilePlayer* player : {&woven, &straight}) {
        player->file.setProps("rate", "8");
        ASSERT_TRUE(player->playOut());
        ASSERT_EQ(player->sink.pictureCount(), 25U);
        EXPECT_EQ(irregularity(player->sink.pictures(), tick), "");
    }
    const auto before = woven.sink.keptPictures();
    const auto after = straight.sink.keptPictures();
    EXPECT_EQ(after[12]->width, 320);
    EXPECT_EQ(after[12]->height, 180);
    // The lines of the first field stay; those of the other moment are made from them.
    const int row = before[12]->width;
    int kept = 0;
    int made = 0;
    for (int y = 10; y < 170; ++y) {
        const bool same = std::memcmp(before[12]->data[0] + y * before[12]->linesize[0],
                                      after[12]->data[0] + y * after[12]->linesize[0],
                                      static_cast<std::size_t>(row)) == 0;
        if (y % 2 == 0) {
            EXPECT_TRUE(same) << "line " << y;
            kept += same ? 1 : 0;
        } else {
            made += same ? 0 : 1;
        }
    }
    EXPECT_EQ(kept, 80);
    EXPECT_GT(made, 20);
}

TEST(LFileChain, FramesThatAreNoFieldsAreLeftAsTheyAre) {
    const auto expected = test::decodeAll(mediaPath("silent.mp4"), AVMEDIA_TYPE_VIDEO);
    FilePlayer player("silent.mp4", 100);
    player.file.setProps("deinterlace", "1");
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playOut());
    const auto pictures = player.sink.keptPictures();
    ASSERT_EQ(pictures.size(), 25U);
    for (std::size_t i = 0; i < pictures.size(); ++i)
        EXPECT_EQ(fingerprint(*pictures[i]), fingerprint(*expected[i])) << i;
}

TEST(LFileChain, DeinterlacingOfANativeFileBringsTheAutomaticLetterBox) {
    FilePlayer player("odd_size.mkv", 100);
    player.file.setProps("deinterlace", "true");
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playOut());
    ASSERT_EQ(player.sink.pictureCount(), 25U);
    EXPECT_EQ(player.sink.pictures()[0].width, 328);
    EXPECT_EQ(player.sink.pictures()[0].height, 184);
}

// ------------------------------------------------------------------------------ the host's own

TEST(LFileFilter, MirrorsThePictureToThePixel) {
    const auto expected = test::decodeAll(mediaPath("silent.mp4"), AVMEDIA_TYPE_VIDEO);
    LFilter filter(LFilter::Type::video);
    filter.setProps("hflip", "true");
    FilePlayer player("silent.mp4", 100);
    player.file.setVideoFilter(&filter);
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playOut());
    const auto pictures = player.sink.keptPictures();
    ASSERT_EQ(pictures.size(), expected.size());
    const AVFrame& mirrored = *pictures[10];
    const AVFrame& source = *expected[10];
    ASSERT_EQ(mirrored.width, source.width);
    for (int y = 0; y < source.height; ++y) {
        for (int x = 0; x < source.width; ++x) {
            ASSERT_EQ(Looping::lumaAt(mirrored, x, y),
                      Looping::lumaAt(source, source.width - 1 - x, y))
                << x << ", " << y;
        }
    }
}

TEST(LFileFilter, WithGpuItIsAppliedHereAllTheSame) {
    LFilter filter(LFilter::Type::video);
    filter.setProps("crop", "w=100:h=50");
    FilePlayer player("silent.mp4");
    player.file.setVideoFilter(&filter);
    player.file.setProps("gpu", "true");
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playOut());
    EXPECT_EQ(player.sink.pictures()[0].width, 100);
}

TEST(LFileFilter, AnEmptyOneBringsTheAutomaticSize) {
    LFilter filter(LFilter::Type::video);
    FilePlayer player("sar.mp4");
    player.file.setVideoFilter(&filter);
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playOut());
    EXPECT_EQ(player.sink.pictures()[0].width, 320);
}

TEST(LFileFilter, ChangesShowWhileItPlays) {
    LFilter filter(LFilter::Type::video);
    Looping player;
    player.file.setVideoFilter(&filter);
    ASSERT_TRUE(player.file.play());
    filter.setProps("lutyuv", "y=200");
    EXPECT_TRUE(player.showsLuma(200));
    filter.setProps("lutyuv", "y=30");
    EXPECT_TRUE(player.showsLuma(30));
    filter.setProps("LutYUV", "");
    filter.setProps("crop", "w=100:h=50");
    EXPECT_TRUE(player.shows(100, 50));
    player.file.setVideoFilter(nullptr);
    EXPECT_TRUE(player.shows(320, 180));
    EXPECT_EQ(player.status(), 1);
}

TEST(LFileFilter, StandsBehindTheFormatsOwnChain) {
    LFilter filter(LFilter::Type::video);
    filter.setProps("crop", "w=600:h=500:x=0:y=0");
    FilePlayer player("silent.mp4");
    player.file.setVideoFormat(tableVideo(3));
    player.file.setVideoFilter(&filter);
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playOut());
    EXPECT_EQ(player.sink.pictures()[0].width, 600);
    EXPECT_EQ(player.sink.pictures()[0].height, 500);
}

TEST(LFileFilter, OneThatKeepsPicturesBackGivesThemAllUpAtTheEnd) {
    LFilter filter(LFilter::Type::video);
    filter.setProps("tmix", "frames=3");
    filter.setProps("reverse", "true"); // gives nothing before it has all
    FilePlayer player("silent.mp4");
    player.file.setVideoFilter(&filter);
    player.file.setProps("rate", "8");
    player.file.setProps("eof_hold", "true");
    ASSERT_TRUE(player.file.play());
    EXPECT_TRUE(player.sink.waitForPictures(25));
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(player.sink.pictureCount(), 25U);
    EXPECT_EQ(irregularity(player.sink.pictures(), tick), "");
}

TEST(LFileFilter, WhatOneStillHoldsAtStopGoesOutAtOnceAndWithoutATimecode) {
    LFilter filter(LFilter::Type::video);
    filter.setProps("atadenoise", "s=9"); // looks at four pictures ahead
    FilePlayer player("h264_aac.mp4");
    player.file.setVideoFilter(&filter);
    player.file.setProps("rate", "0.2"); // far from its end
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForPictures(3));
    player.file.stop();
    const auto pictures = player.sink.pictures();
    EXPECT_EQ(irregularity(pictures, tick), "");
    const auto isHeld = [](const auto& picture) { return picture.timecode.empty(); };
    const auto firstHeld = std::find_if(pictures.begin(), pictures.end(), isHeld);
    EXPECT_GE(pictures.end() - firstHeld, 4);
    EXPECT_TRUE(std::all_of(firstHeld, pictures.end(), isHeld));
}

TEST(LFileFilter, ABrokenOneIsToldOfOnceAndThePictureIsBackWhenItIsMended) {
    LFilter filter(LFilter::Type::video);
    filter.setProps("nosuchfilter", "true");
    Looping player("h264_aac.mp4");
    player.file.setVideoFilter(&filter);
    test::CapturedStream errors(test::CapturedStream::Stream::error);
    ASSERT_TRUE(player.file.play());
    // The sound goes on, so the pictures have had their chance.
    ASSERT_TRUE(player.sink.waitForSounds(20));
    EXPECT_EQ(player.sink.pictureCount(), 0U);
    const std::string chain =
        R"(scale=w='round(iw*sar/2)*2':h='round(ih/2)*2',pad=w='round(max(iw\,ih*(16/9))/2)*2')"
        R"(:h='round(max(ih\,iw*(9/16))/2)*2':x='(ow-iw)/2':y='(oh-ih)/2',setsar=1,nosuchfilter)";
    // What FFmpeg calls the mistake depends on its version.
    const auto messages = [&] {
        const std::string text = errors.text();
        return countOf(text, "AVFILTER PARSE ERROR: Invalid argument\nDESC: " + chain + "\n") +
               countOf(text, "AVFILTER PARSE ERROR: Filter not found\nDESC: " + chain + "\n");
    };
    EXPECT_EQ(messages(), 1U) << errors.text();
    filter.setProps("nosuchfilter", "false");
    EXPECT_TRUE(player.sink.waitForPictures(5));
    EXPECT_EQ(messages(), 1U);
    // Broken once more, it is told of once more.
    filter.setProps("nosuchfilter", "true");
    EXPECT_TRUE(waitUntil([&] { return messages() == 2; }));
    EXPECT_EQ(countOf(errors.text(), "AVFILTER PARSE ERROR"), 2U);
}

TEST(LFileFilter, OneThatCannotBeSetUpIsSilentAndShowsNothing) {
    LFilter filter(LFilter::Type::video);
    filter.setProps("crop", "w=10000");
    Looping player("h264_aac.mp4");
    player.file.setVideoFilter(&filter);
    test::CapturedStream errors(test::CapturedStream::Stream::error);
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(player.sink.waitForSounds(20));
    EXPECT_EQ(player.sink.pictureCount(), 0U);
    EXPECT_EQ(countOf(errors.text(), "AVFILTER PARSE ERROR"), 0U);
    filter.setProps("crop", "w=100");
    EXPECT_TRUE(player.sink.waitForPictures(3));
}

TEST(LFileFilter, PicturesOfAnotherSizeInTheMiddleAreFiltered) {
    LFilter filter(LFilter::Type::video);
    filter.setProps("hflip", "true");
    FilePlayer player("size_change.ts");
    player.file.setVideoFilter(&filter);
    player.file.setProps("scale_type", "stretch");
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playOut());
    const auto pictures = player.sink.pictures();
    ASSERT_EQ(pictures.size(), 50U);
    EXPECT_EQ(pictures.front().width, 320);
    EXPECT_EQ(pictures.back().width, 240);
    EXPECT_EQ(pictures.back().height, 160);
}

TEST(LFileFilter, AnExplicitSizeHoldsForPicturesOfAnySize) {
    FilePlayer player("size_change.ts");
    player.file.setVideoFormat(tableVideo(3));
    player.file.setProps("rate", "8");
    ASSERT_TRUE(player.playOut());
    const auto pictures = player.sink.pictures();
    EXPECT_GE(pictures.size(), 49U);
    for (const test::PictureSeen& picture : pictures) {
        EXPECT_EQ(picture.width, 720);
        EXPECT_EQ(picture.height, 576);
    }
}

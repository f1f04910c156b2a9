// The pictures and the sound of a stream, read back from a file as its address.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <thread>

#include "core/Scaler.h"
#include "support/CapturedStream.h"
#include "support/Frames.h"
#include "support/LiveSource.h"
#include "support/MachineWatch.h"
#include "support/RecordedFile.h"
#include "support/Recording.h"
#include "support/Streaming.h"

namespace {

using namespace std::chrono_literals;
using test::HandSource;
using test::LiveSource;
using test::readRecordedFile;
using test::RecordedFile;
using test::statsOf;
using test::statusOf;
using test::streamed;
using test::temporaryPath;

// The largest sample between two times of the file.
float loudestBetween(const RecordedFile& file, double from, double to) {
    float loudest = 0.0F;
    for (std::size_t i = 0; i < file.sound.size(); ++i) {
        const double seconds = file.soundStart + static_cast<double>(i / 2) / file.soundRate;
        if (seconds >= from && seconds < to) loudest = std::max(loudest, std::fabs(file.sound[i]));
    }
    return loudest;
}

// --------------------------------------------------------------------------------- the picture

constexpr double blackBelow = 16.5; // luma; the dark pictures of the source begin there
constexpr double sourceAbove = 17.0;

TEST(LStreamPictures, SourceThatChangesItsSizeIsScaled) {
    const std::string path = temporaryPath("resized.ts");
    LiveSource source;
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl(path);
    source.start();
    ASSERT_TRUE(stream.Start());
    ASSERT_TRUE(test::waitForSent(stream, 10));
    source.changeSize(320, 240);
    ASSERT_TRUE(test::waitForMore(stream, 10));
    source.changeFormat(AV_PIX_FMT_UYVY422);
    ASSERT_TRUE(test::waitForMore(stream, 10));
    stream.Stop();
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    for (const auto& picture : file.pictures) {
        EXPECT_EQ(picture.width, 160);
        EXPECT_EQ(picture.height, 90);
    }
}

TEST(LStreamPictures, AreScaledBicubically) {
    const std::string path = temporaryPath("scaled.mkv");
    HandSource source;
    LStream stream;
    stream.setVideoCodec("ffvhuff");
    stream.setAudioCodec("none");
    stream.source = &source;
    stream.setStreamUrl(path);
    videoFormatProps format;
    format.width = 96;
    format.height = 54;
    stream.setVideoFormat(format);
    const auto picture = test::makePicture(160, 90, AV_PIX_FMT_YUV420P);
    ASSERT_TRUE(stream.Start());
    stream.pushVideoFrame(picture.get());
    ASSERT_TRUE(test::waitForSent(stream, 1));
    stream.Stop();
    const RecordedFile file = readRecordedFile(path, test::Keep::pictures);
    const auto first = std::find_if(file.pictures.begin(), file.pictures.end(),
                                    [](const auto& one) { return one.luma > blackBelow; });
    ASSERT_NE(first, file.pictures.end());
    const AVFrame& seen = *first->frame;
    const auto differsFrom = [&](int flags) {
        const auto wanted = test::makePicture(96, 54, static_cast<AVPixelFormat>(seen.format));
        quol::Scaler scaler;
        EXPECT_TRUE(scaler.scale(*picture, *wanted, flags));
        int different = 0;
        for (int y = 0; y < 54; ++y) {
            const std::uint8_t* one = seen.data[0] + y * seen.linesize[0];
            const std::uint8_t* other = wanted->data[0] + y * wanted->linesize[0];
            different += std::memcmp(one, other, 96) != 0 ? 1 : 0;
        }
        return different;
    };
    EXPECT_EQ(differsFrom(SWS_BICUBIC), 0);
    EXPECT_GT(differsFrom(SWS_BILINEAR), 0);
}

TEST(LStreamPictures, SourceThatStopsIsFollowedByBlackPicturesAndSilence) {
    const std::string path = temporaryPath("stalled.ts");
    LiveSource source;
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl(path);
    source.start();
    ASSERT_TRUE(stream.Start());
    ASSERT_TRUE(test::waitForSent(stream, 25));
    source.setSilent(true);
    ASSERT_TRUE(test::waitForMore(stream, 50));
    source.setSilent(false);
    ASSERT_TRUE(test::waitForMore(stream, 40));
    stream.Stop();
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    // The longest run of black pictures.
    double longest = 0.0;
    double from = -1.0;
    double to = -1.0;
    double begin = -1.0;
    for (const auto& picture : file.pictures) {
        if (picture.luma >= blackBelow) {
            begin = -1.0;
        } else if (begin < 0.0) {
            begin = picture.seconds;
        } else if (picture.seconds - begin > longest) {
            longest = picture.seconds - begin;
            from = begin;
            to = picture.seconds;
        }
    }
    EXPECT_GT(longest, 1.2); // of the 2 s
    EXPECT_LT(file.longestPictureGap(), 1.0);
    // Sound has no hole, is silent there, and comes back with the pictures.
    EXPECT_LT(file.soundHoles, 0.05);
    EXPECT_NEAR(file.soundSeconds(), file.pictureSeconds(), 0.7);
    double loudest = 0.0;
    for (std::size_t i = 0; i < file.soundPairs(); ++i) {
        const double at = file.soundStart + static_cast<double>(i) / file.soundRate;
        if (at > from + 0.2 && at < to - 0.2)
            loudest = std::max<double>(loudest, std::fabs(file.sound[i * 2]));
    }
    EXPECT_LT(loudest, 0.01);
    const auto sounds = test::beeps(file);
    ASSERT_FALSE(sounds.empty());
    EXPECT_GT(sounds.back(), to);
    EXPECT_LT(sounds.front(), from);
}

TEST(LStreamPictures, SourceThatNeverBeginsIsABlackStreamWithSilence) {
    const std::string path = temporaryPath("nothing.ts");
    HandSource source;
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl(path);
    ASSERT_TRUE(stream.Start());
    ASSERT_TRUE(test::waitForSent(stream, 40));
    stream.Stop();
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    for (const auto& picture : file.pictures)
        EXPECT_NEAR(picture.luma, 16.0, 0.6);
    ASSERT_NE(file.audio(), nullptr);
    EXPECT_GT(file.soundSeconds(), 1.0);
    EXPECT_LT(file.largestSample(), 0.001);
}

// Of no format, without memory, or with lines too short for the width that they tell.
TEST(LStreamPictures, SourceOfPicturesThatNobodyCanUseIsAStalledOne) {
    HandSource source;
    source.width = 64;
    source.height = 48;
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl(temporaryPath("unusable.ts"));
    ASSERT_TRUE(stream.Start());
    std::atomic<bool> running{true};
    std::thread pushing([&] {
        const auto unknown = test::makePicture(64, 48, AV_PIX_FMT_YUV420P);
        unknown->format = 999;
        const auto empty = test::makePicture(64, 48, AV_PIX_FMT_YUV420P);
        empty->data[1] = nullptr;
        const auto narrow = test::makePicture(64, 48, AV_PIX_FMT_YUV420P);
        narrow->linesize[0] = 8;
        for (; running; std::this_thread::sleep_for(5ms))
            for (const auto& picture : {unknown.get(), empty.get(), narrow.get()})
                source.distributeVideoFrame(picture);
    });
    EXPECT_TRUE(test::waitForSent(stream, 10));
    // Black at the full rate, in whatever tick an unusable one falls.
    test::measured([&](test::MachineWatch& watch) {
        watch.begin();
        const std::int64_t before = statsOf(stream).framesSent;
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_TRUE(test::waitForMore(stream, 75));
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
        const auto sent = static_cast<double>(statsOf(stream).framesSent - before);
        EXPECT_GT(sent / taken.count(), 0.85 * stream.source.load()->getFPS());
    });
    running = false;
    pushing.join();
    stream.Stop();
    for (const auto& picture : readRecordedFile(temporaryPath("unusable.ts")).pictures)
        EXPECT_NEAR(picture.luma, 16.0, 0.6);
}

TEST(LStreamPictures, BlackIs16And128InFullRangeFormatsToo) {
    for (const char* codec : {"libx264", "mjpeg"}) {
        const std::string path = temporaryPath(std::string("black_") + codec + ".mkv");
        HandSource source;
        LStream stream;
        stream.setVideoCodec(codec);
        stream.source = &source;
        stream.setStreamUrl(path);
        ASSERT_TRUE(stream.Start());
        ASSERT_TRUE(test::waitForSent(stream, 5));
        stream.Stop();
        const RecordedFile file = readRecordedFile(path, test::Keep::pictures);
        ASSERT_FALSE(file.pictures.empty());
        const AVFrame& picture = *file.pictures.back().frame;
        EXPECT_NEAR(picture.data[0][0], 16, 1) << codec;
        EXPECT_NEAR(picture.data[1][0], 128, 1) << codec;
        EXPECT_NEAR(picture.data[2][0], 128, 1) << codec;
    }
}

TEST(LStreamPictures, PausedStreamIsBlackAndDropsWhatWaited) {
    const std::string path = temporaryPath("paused.ts");
    LiveSource source;
    source.setSound(true);
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl(path);
    source.start();
    ASSERT_TRUE(stream.Start());
    ASSERT_TRUE(test::waitForSent(stream, 20));
    stream.setPaused(true);
    EXPECT_EQ(statusOf(stream), 1);
    EXPECT_EQ(statsOf(stream).queueLength, 0);
    ASSERT_TRUE(test::waitForMore(stream, 40));
    EXPECT_EQ(statsOf(stream).framesDropped, 0); // refused, not dropped
    stream.setPaused(false);
    ASSERT_TRUE(test::waitForMore(stream, 20));
    stream.Stop();
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    const auto black = std::count_if(file.pictures.begin(), file.pictures.end(),
                                     [](const auto& one) { return one.luma < blackBelow; });
    EXPECT_GE(black, 30);
    EXPECT_GT(file.pictures.back().luma + file.pictures[file.pictures.size() - 2].luma,
              2 * sourceAbove - 2);
    const auto dark = [](const auto& one) { return one.luma < blackBelow; };
    EXPECT_FALSE(std::all_of(file.pictures.end() - 10, file.pictures.end(), dark));
    const auto begin = std::search_n(file.pictures.begin(), file.pictures.end(), 20, true,
                                     [&](const auto& one, bool is) { return dark(one) == is; });
    const auto end = std::find_if_not(begin, file.pictures.end(), dark);
    ASSERT_NE(end, file.pictures.end());
    EXPECT_GT(end->seconds - begin->seconds, 1.2); // the source beeps every 0.6 s
    EXPECT_LT(loudestBetween(file, begin->seconds + 0.3, end->seconds - 0.1), 0.001);
    EXPECT_GT(loudestBetween(file, 0.0, begin->seconds), 0.05);
    EXPECT_GT(loudestBetween(file, end->seconds, file.soundSeconds()), 0.05);
}

TEST(LStreamPictures, StartGoesOnWithAPausedStream) {
    LiveSource source;
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl(temporaryPath("paused_before.ts"));
    stream.setPaused(true);
    source.start();
    ASSERT_TRUE(stream.Start());
    ASSERT_TRUE(test::waitForSent(stream, 20));
    stream.Stop();
    const RecordedFile file = readRecordedFile(temporaryPath("paused_before.ts"));
    const auto dark = [](const auto& one) { return one.luma < blackBelow; };
    EXPECT_FALSE(std::all_of(file.pictures.begin(), file.pictures.end(), dark));
}

// A slow source has its pictures far apart: that is no stall.
TEST(LStreamPictures, SlowSourceIsNotTakenForAStalledOne) {
    const std::string path = temporaryPath("slow.ts");
    HandSource source;
    source.fps = 1.0;
    LStream stream;
    stream.source = &source;
    videoFormatProps format;
    format.fps = 25.0;
    stream.setVideoFormat(format);
    stream.setStreamUrl(path);
    const auto grey = test::makePicture(160, 90, AV_PIX_FMT_YUV420P);
    for (int plane = 0; plane < 3; ++plane)
        test::fillPlane(*grey, plane, 128);
    ASSERT_TRUE(stream.Start());
    for (int i = 0; i < 6; ++i) {
        stream.pushVideoFrame(grey.get());
        std::this_thread::sleep_for(300ms); // far more than 60 ms, far less than 1.5 s
    }
    stream.Stop();
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.pictures.size(), 6U);
    for (const auto& picture : file.pictures)
        EXPECT_NEAR(picture.luma, 128.0, 2.0);
}

TEST(LStreamPictures, AreStamped60MillisecondsAhead) {
    HandSource source;
    source.fps = 1000.0;
    LStream stream;
    stream.setAudioCodec("none");
    stream.source = &source;
    stream.setStreamUrl(temporaryPath("ahead.mkv"));
    const auto picture = test::makePicture(160, 90, AV_PIX_FMT_YUV420P);
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(stream.Start());
    stream.pushVideoFrame(picture.get());
    stream.pushVideoFrame(picture.get());
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    ASSERT_TRUE(test::waitForSent(stream, 1));
    stream.Stop();
    const RecordedFile file = readRecordedFile(temporaryPath("ahead.mkv"));
    const auto first = std::find_if(file.pictures.begin(), file.pictures.end(),
                                    [](const auto& one) { return one.luma > blackBelow; });
    ASSERT_NE(first, file.pictures.end());
    EXPECT_GE(first->seconds, 0.060);
    EXPECT_LE(first->seconds, 0.061 + taken.count());
}

TEST(LStreamPictures, SoundIsWithThePicture) {
    LStream stream;
    const RecordedFile file = streamed(stream, temporaryPath("sync.ts"), 120);
    const auto seen = test::flashes(file);
    const auto heard = test::beeps(file);
    ASSERT_GE(seen.size(), 3U);
    ASSERT_GE(heard.size(), 3U);
    std::vector<double> apart = test::distances(seen, heard);
    std::sort(apart.begin(), apart.end());
    EXPECT_NEAR(apart[apart.size() / 2], 0.0, 0.05);
}

// Seconds between pictures that a source announces are waited for up to two.
TEST(LStreamPictures, ASourceThatAnnouncesLessThanOneInTwoSecondsIsBlackBetween) {
    HandSource source;
    source.fps = 0.1;
    LStream stream;
    stream.source = &source;
    videoFormatProps format;
    format.fps = 25.0;
    stream.setVideoFormat(format);
    stream.setStreamUrl(temporaryPath("seldom.ts"));
    ASSERT_TRUE(stream.Start());
    const auto picture = test::makePicture(160, 90, AV_PIX_FMT_YUV420P);
    source.distributeVideoFrame(picture.get());
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(test::waitForSent(stream, 10));
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    EXPECT_GT(taken.count(), 1.9);
    EXPECT_LT(taken.count(), 9.0); // not fifteen
}

TEST(LStreamPictures, UnusableSoundIsLeftOut) {
    const std::string path = temporaryPath("unusable_sound.ts");
    LiveSource source;
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl(path);
    source.setSound(false);
    source.start();
    ASSERT_TRUE(stream.Start());
    const auto slow = test::makeSound(1000, 48000, 2, AV_SAMPLE_FMT_FLT);
    slow->sample_rate = 1; // a block of 96 million samples
    const auto nothing = test::makeSound(1000, 48000, 2, AV_SAMPLE_FMT_S16);
    nothing->data[0] = nullptr;
    const auto unknown = test::makeSound(1000, 48000, 2, AV_SAMPLE_FMT_S16);
    unknown->format = 99;
    for (AVFrame* block : {slow.get(), nothing.get(), unknown.get()})
        stream.pushAudioFrame(block);
    ASSERT_TRUE(test::waitForSent(stream, 20));
    stream.Stop();
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    EXPECT_LT(file.largestSample(), 0.001);
}

} // namespace

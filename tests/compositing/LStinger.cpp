#include "quolsdk/LStinger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <thread>

#include "compositing/CompositorSink.h"
#include "core/MediaInput.h"
#include "core/Scaler.h"
#include "support/CapturedStream.h"
#include "support/ClipFile.h"
#include "support/FilePlayer.h"
#include "support/Frames.h"
#include "support/LayerScene.h"
#include "support/PlainFrames.h"

extern "C" {
#include <libswscale/swscale.h>
}

namespace {

using test::alphaClip;
using test::alphaOf;
using test::CapturedStream;
using test::CollectingSink;
using test::countingPictures;
using test::mediaPath;
using test::pngSequence;
using test::statusOf;
using test::Stopwatch;
using test::temporaryPath;
using test::waitUntil;
using testing::HasSubstr;
using namespace std::chrono_literals;

constexpr double neverEnding = 0.001; // pictures a second

// A stinger whose queue of pictures can be looked at.
class OpenStinger : public LStinger {
public:
    ~OpenStinger() override { stop(); }
    std::size_t queued() { return queuedFrames(); }
};

// A stinger with a sink on it, taken apart in the order that the two need.
class WithSink {
public:
    explicit WithSink(LSink& attached) : sink_(attached) { stinger.addSink(&sink_); }
    ~WithSink() {
        stinger.stop();
        stinger.removeSink(&sink_);
    }
    WithSink(const WithSink&) = delete;
    WithSink& operator=(const WithSink&) = delete;

    LStinger stinger;

private:
    LSink& sink_;
};

// A sink that does something at each picture.
class ActingSink : public CollectingSink {
public:
    explicit ActingSink(std::function<void()> act) : CollectingSink(100), act_(std::move(act)) {}
    void pushVideoFrame(AVFrame* frame) override {
        CollectingSink::pushVideoFrame(frame);
        act_();
    }

private:
    std::function<void()> act_;
};

bool loadCounting(LStinger& stinger, int pictures, double fps = 25.0) {
    const std::string name = "counting" + std::to_string(pictures);
    return stinger.load(alphaClip(name, countingPictures(pictures)), 64, 48, fps);
}

// The alpha of a picture that must have the same all over; -1 for none.
int alphaOfAll(const AVFrame* picture) {
    if (picture == nullptr || picture->format != AV_PIX_FMT_YUVA420P) return -1;
    for (int y = 0; y < picture->height; ++y) {
        for (int x = 0; x < picture->width; ++x) {
            if (picture->data[3][y * picture->linesize[3] + x] != picture->data[3][0]) return -2;
        }
    }
    return picture->data[3][0];
}

int alphaAt(LStinger& stinger, double progress) {
    const quol::FramePtr picture(stinger.getFrameByProgress(progress));
    return alphaOfAll(picture.get());
}

std::vector<int> alphasOf(const CollectingSink& sink) {
    std::vector<int> alphas;
    for (const quol::FramePtr& picture : sink.keptPictures())
        alphas.push_back(alphaOfAll(picture.get()));
    return alphas;
}

std::vector<int> countingAlphas(int count) {
    std::vector<int> alphas;
    for (int i = 0; i < count; ++i)
        alphas.push_back(alphaOf(i));
    return alphas;
}

bool waitForEnd(LStinger& stinger) {
    return waitUntil([&] { return !stinger.isPlaying(); });
}

void expectEmpty(LStinger& stinger) {
    EXPECT_FALSE(stinger.isLoaded());
    EXPECT_EQ(stinger.getFrameCount(), 0);
    EXPECT_EQ(quol::FramePtr(stinger.getFrameByProgress(0.5)), nullptr);
}

// ------------------------------------------------------------------------------------- loading

TEST(LStinger, ANewOneIsEmptyAtTwentyFive) {
    LStinger stinger;
    expectEmpty(stinger);
    EXPECT_FALSE(stinger.isPlaying());
    EXPECT_EQ(statusOf(stinger), 0);
    EXPECT_EQ(stinger.getPlaybackRate(), 25.0);
    EXPECT_EQ(stinger.getFPS(), 25.0);
}

TEST(LStinger, HoldsEveryPictureInTheSizeAskedFor) {
    LStinger stinger;
    const std::string clip = alphaClip("size", countingPictures(5, 60, 40));
    ASSERT_TRUE(stinger.load(clip, 101, 75, 50.0));
    EXPECT_TRUE(stinger.isLoaded());
    EXPECT_EQ(stinger.getFrameCount(), 5);
    EXPECT_EQ(stinger.getPlaybackRate(), 50.0);
    EXPECT_EQ(stinger.getFPS(), 50.0);
    EXPECT_FALSE(stinger.isPlaying());
    for (int i = 0; i < 5; ++i) {
        const quol::FramePtr picture(stinger.getFrameByProgress(i / 4.0));
        ASSERT_NE(picture, nullptr);
        EXPECT_EQ(picture->width, 101);
        EXPECT_EQ(picture->height, 75);
        EXPECT_EQ(alphaOfAll(picture.get()), alphaOf(i));
    }
}

TEST(LStinger, PicturesAreScaledBicubically) {
    std::vector<quol::FramePtr> pictures;
    pictures.push_back(test::makePicture(40, 30, AV_PIX_FMT_RGBA));
    const std::string path = alphaClip("scaled", pictures);
    const quol::FramePtr decoded = quol::decodeFirstPicture(path, 1);
    ASSERT_NE(decoded, nullptr);
    const auto scaled = [&](int flags) {
        quol::FramePtr picture = test::plainPicture(64, 48, {}, AV_PIX_FMT_YUVA420P);
        EXPECT_TRUE(quol::Scaler().scale(*decoded, *picture, flags));
        return picture;
    };
    LStinger stinger;
    ASSERT_TRUE(stinger.load(path, 64, 48, 25.0));
    const quol::FramePtr picture(stinger.getFrameByProgress(0.0));
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(test::firstDifference(*picture, *scaled(SWS_BICUBIC)), "");
    EXPECT_NE(test::firstDifference(*picture, *scaled(SWS_BILINEAR)), "");
}

TEST(LStinger, PicturesCarryNoTime) {
    LStinger stinger;
    ASSERT_TRUE(loadCounting(stinger, 2));
    const quol::FramePtr picture(stinger.getFrameByProgress(1.0));
    EXPECT_EQ(picture->pts, AV_NOPTS_VALUE);
}

TEST(LStinger, AlphaIsStraight) {
    LStinger stinger;
    std::vector<quol::FramePtr> pictures;
    pictures.push_back(test::makeRgba(64, 48, 255, 255, 255, 255));
    pictures.push_back(test::makeRgba(64, 48, 0, 255, 255, 255));
    ASSERT_TRUE(stinger.load(alphaClip("straight", pictures), 64, 48, 25.0));
    for (const double progress : {0.0, 1.0}) {
        const quol::FramePtr picture(stinger.getFrameByProgress(progress));
        EXPECT_EQ(alphaOfAll(picture.get()), progress == 0.0 ? 255 : 0);
        EXPECT_EQ(picture->data[0][0], 235); // white, also where it is not seen
    }
}

TEST(LStinger, EveryFormOfAlphaIsTaken) {
    const std::pair<AVPixelFormat, AVCodecID> forms[] = {{AV_PIX_FMT_ARGB, AV_CODEC_ID_QTRLE},
                                                         {AV_PIX_FMT_RGBA, AV_CODEC_ID_PNG},
                                                         {AV_PIX_FMT_YUVA420P, AV_CODEC_ID_FFV1},
                                                         {AV_PIX_FMT_YUVA444P10, AV_CODEC_ID_FFV1}};
    for (const auto& [format, codec] : forms) {
        std::vector<quol::FramePtr> pictures;
        pictures.push_back(test::makePicture(64, 48, format));
        // Half transparent; in ten bits 514 of 1023.
        const int level = format == AV_PIX_FMT_YUVA444P10 ? 2 : 128;
        for (AVBufferRef* buffer : pictures[0]->buf) {
            if (buffer != nullptr) std::memset(buffer->data, level, buffer->size);
        }
        const std::string path = temporaryPath("alpha" + std::to_string(format) + ".mov");
        test::writeClip(path, codec, pictures);
        for (const int width : {64, 100}) {
            LStinger stinger;
            ASSERT_TRUE(stinger.load(path, width, 48, 25.0)) << "format " << format;
            const quol::FramePtr picture(stinger.getFrameByProgress(0.0));
            EXPECT_NEAR(picture->data[3][0], 128, 1) << "format " << format;
        }
    }
}

TEST(LStinger, PicturesWithoutAlphaAreOpaque) {
    const std::pair<AVPixelFormat, AVCodecID> forms[] = {{AV_PIX_FMT_YUV420P, AV_CODEC_ID_FFV1},
                                                         {AV_PIX_FMT_YUV422P10, AV_CODEC_ID_FFV1},
                                                         {AV_PIX_FMT_GRAY8, AV_CODEC_ID_FFV1},
                                                         {AV_PIX_FMT_RGB24, AV_CODEC_ID_QTRLE},
                                                         {AV_PIX_FMT_YUVJ420P, AV_CODEC_ID_MJPEG}};
    for (const auto& [format, codec] : forms) {
        const std::string path = temporaryPath("opaque" + std::to_string(format) + ".mov");
        std::vector<quol::FramePtr> pictures;
        pictures.push_back(test::makePicture(64, 48, format));
        test::writeClip(path, codec, pictures);
        for (const int width : {64, 100}) {
            LStinger stinger;
            ASSERT_TRUE(stinger.load(path, width, 48, 25.0)) << "format " << format;
            EXPECT_EQ(alphaAt(stinger, 0.0), 255) << "format " << format << ", width " << width;
        }
    }
}

TEST(LStinger, APercentSignMakesASequence) {
    LStinger stinger;
    const std::string pattern = pngSequence("sequence", countingPictures(4));
    ASSERT_TRUE(stinger.load(pattern, 64, 48, 25.0));
    EXPECT_EQ(stinger.getFrameCount(), 4);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(alphaAt(stinger, i / 3.0), alphaOf(i));
    // The same without the sign is one picture.
    const std::string first = std::filesystem::path(pattern).parent_path() / "000.png";
    ASSERT_TRUE(stinger.load(first, 64, 48, 25.0));
    EXPECT_EQ(stinger.getFrameCount(), 1);
}

TEST(LStinger, ASequenceLoadsAtAnyRate) {
    LStinger stinger;
    const std::string pattern = pngSequence("rates", countingPictures(3));
    for (const double fps : {0.0, -1.0, 0.5, 29.97, 1000.0, std::nan("")}) {
        EXPECT_TRUE(stinger.load(pattern, 64, 48, fps)) << fps;
        EXPECT_EQ(stinger.getFrameCount(), 3) << fps;
        EXPECT_EQ(stinger.getFPS(), fps > 0.0 ? fps : 25.0) << fps;
    }
}

TEST(LStinger, SoundBesideThePicturesIsLeft) {
    LStinger stinger;
    ASSERT_TRUE(stinger.load(mediaPath("h264_aac.mp4"), 32, 18, 25.0));
    EXPECT_EQ(stinger.getFrameCount(), 100); // those that a decoder holds back too
}

TEST(LStinger, PicturesOfAnotherSizeInTheMiddleAreScaledToo) {
    LStinger stinger;
    ASSERT_TRUE(stinger.load(mediaPath("size_change.ts"), 64, 48, 25.0));
    EXPECT_EQ(stinger.getFrameCount(), 50);
    const quol::FramePtr last(stinger.getFrameByProgress(1.0));
    EXPECT_EQ(last->width, 64);
    EXPECT_EQ(alphaOfAll(last.get()), 255);
}

TEST(LStinger, WhatIsNoClipIsRefusedWithALine) {
    const std::string pipe = temporaryPath("pipe.mov");
    std::filesystem::remove(pipe);
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const std::string note = temporaryPath("note.txt");
    std::ofstream(note) << std::string(5000, 'x'); // which FFmpeg would show on a terminal
    LStinger stinger;
    for (const std::string& path :
         {std::string(), temporaryPath("missing.mov"), temporaryPath("missing_%03d.png"),
          temporaryPath(""), std::string("%"), pipe, note, mediaPath("text.mp4"),
          mediaPath("empty.mp4"), mediaPath("random.mp4"), mediaPath("truncated_no_moov.mp4"),
          mediaPath("huge_png.png"), mediaPath("flac.flac"), mediaPath("mono.wav")}) {
        ASSERT_TRUE(loadCounting(stinger, 1));
        CapturedStream error(CapturedStream::Stream::error);
        EXPECT_FALSE(stinger.load(path, 64, 48, 25.0)) << path;
        EXPECT_EQ(error.text(), "[LStinger] Clip could not be decoded: " + path + "\n");
        // The clip before it is gone all the same.
        expectEmpty(stinger);
    }
}

TEST(LStinger, ASizeThatNoPictureCanHaveIsRefused) {
    constexpr int most = std::numeric_limits<int>::max();
    constexpr int least = std::numeric_limits<int>::min();
    const std::string clip = alphaClip("sizes", countingPictures(1));
    LStinger stinger;
    for (const auto& [width, height] : {std::pair{0, 48},
                                        {64, 0},
                                        {0, 0},
                                        {-1, 48},
                                        {64, -1},
                                        {least, least},
                                        {most, 1},
                                        {1, most},
                                        {most, most}}) {
        EXPECT_FALSE(stinger.load(clip, width, height, 25.0)) << width << "x" << height;
        expectEmpty(stinger);
    }
    EXPECT_TRUE(stinger.load(clip, 1, 1, 25.0));
    EXPECT_EQ(alphaAt(stinger, 0.0), alphaOf(0));
}

TEST(LStinger, DamageInTheMiddleIsLeftOut) {
    const std::string pattern = pngSequence("damaged", countingPictures(6));
    const std::string third = std::filesystem::path(pattern).parent_path() / "002.png";
    std::ofstream(third, std::ios::trunc) << "This was a picture.";
    LStinger stinger;
    ASSERT_TRUE(stinger.load(pattern, 64, 48, 25.0));
    EXPECT_EQ(stinger.getFrameCount(), 5);
    EXPECT_EQ(alphaAt(stinger, 0.25), alphaOf(1));
    EXPECT_EQ(alphaAt(stinger, 0.50), alphaOf(3));
}

TEST(LStinger, DamagedFilesGiveWhatCanBeDecoded) {
    LStinger stinger;
    for (const char* name : {"bitflips.mp4", "truncated.mp4"}) {
        EXPECT_TRUE(stinger.load(mediaPath(name), 64, 48, 25.0)) << name;
        EXPECT_GT(stinger.getFrameCount(), 5) << name;
        EXPECT_LE(stinger.getFrameCount(), 100) << name;
    }
}

TEST(LStinger, ClearGoesBackToEmptyAndPicturesOutsideStand) {
    LStinger stinger;
    ASSERT_TRUE(loadCounting(stinger, 3));
    const quol::FramePtr picture(stinger.getFrameByProgress(0.0));
    stinger.clear();
    expectEmpty(stinger);
    EXPECT_EQ(alphaOfAll(picture.get()), alphaOf(0));
    EXPECT_TRUE(loadCounting(stinger, 2));
    EXPECT_EQ(stinger.getFrameCount(), 2);
}

TEST(LStinger, AnsweringDoesNotWaitForALoad) {
    LStinger stinger;
    ASSERT_TRUE(loadCounting(stinger, 1));
    std::atomic<bool> done{false};
    bool result = false;
    std::thread loader([&] {
        result = stinger.load(mediaPath("h264_aac.mp4"), 1280, 720, 25.0);
        done = true;
    });
    // Both the clip before and the one to come have pictures: none is answered while it decodes.
    int empty = 0;
    while (!done) {
        const quol::FramePtr picture(stinger.getFrameByProgress(0.5));
        if (!picture) ++empty;
        std::this_thread::sleep_for(1ms);
    }
    loader.join();
    EXPECT_TRUE(result);
    EXPECT_GT(empty, 0);
    EXPECT_EQ(stinger.getFrameCount(), 100);
}

TEST(LStinger, LoadsFromSeveralThreadsComeOneByOne) {
    const std::string two = alphaClip("two", countingPictures(2));
    const std::string three = alphaClip("three", countingPictures(3));
    LStinger stinger;
    std::vector<std::thread> loaders;
    std::atomic<int> loadedClips{0};
    for (int i = 0; i < 4; ++i) {
        loaders.emplace_back([&, i] {
            for (int n = 0; n < 10; ++n) {
                if (stinger.load(i % 2 == 0 ? two : three, 64, 48, 25.0)) ++loadedClips;
            }
        });
    }
    for (std::thread& loader : loaders)
        loader.join();
    EXPECT_EQ(loadedClips, 40);
    EXPECT_THAT(stinger.getFrameCount(), testing::AnyOf(2, 3));
    EXPECT_EQ(alphaAt(stinger, 1.0), alphaOf(stinger.getFrameCount() - 1));
}

// ---------------------------------------------------------------------------------- cancelling

TEST(LStinger, ALoadInProgressIsCancelled) {
    LStinger stinger;
    ASSERT_TRUE(loadCounting(stinger, 1));
    CapturedStream error(CapturedStream::Stream::error);
    bool result = true;
    std::thread loader([&] { result = stinger.load(mediaPath("h264_aac.mp4"), 1920, 1080, 25.0); });
    EXPECT_TRUE(waitUntil([&] { return !stinger.isLoaded(); }));
    stinger.cancelLoad();
    loader.join();
    EXPECT_FALSE(result);
    expectEmpty(stinger);
    EXPECT_THAT(error.text(), HasSubstr("[LStinger] Clip was cancelled: "));
}

TEST(LStinger, ACancelLastsUntilItIsTakenBack) {
    LStinger stinger;
    stinger.cancelLoad();
    EXPECT_FALSE(loadCounting(stinger, 2));
    EXPECT_FALSE(loadCounting(stinger, 2));
    stinger.allowLoad();
    EXPECT_TRUE(loadCounting(stinger, 2));
}

// ------------------------------------------------------------------------------------ progress

TEST(LStinger, ProgressPicksAPictureAndIsHeldWithinZeroAndOne) {
    LStinger stinger;
    ASSERT_TRUE(loadCounting(stinger, 5));
    const std::pair<double, int> wanted[] = {{0.0, 0},   {0.2499, 0}, {0.25, 1}, {0.5, 2},
                                             {0.749, 2}, {0.75, 3},   {0.99, 3}, {1.0, 4},
                                             {1.5, 4},   {1e300, 4},  {-0.1, 0}, {-1e300, 0}};
    for (const auto& [progress, index] : wanted)
        EXPECT_EQ(alphaAt(stinger, progress), alphaOf(index)) << progress;
    constexpr double infinite = std::numeric_limits<double>::infinity();
    EXPECT_EQ(alphaAt(stinger, infinite), alphaOf(4));
    EXPECT_EQ(alphaAt(stinger, -infinite), alphaOf(0));
    EXPECT_EQ(alphaAt(stinger, std::nan("")), alphaOf(0));
}

TEST(LStinger, OnePictureIsGivenAtEveryProgress) {
    LStinger stinger;
    ASSERT_TRUE(loadCounting(stinger, 1));
    for (const double progress : {0.0, 0.3, 0.999, 1.0})
        EXPECT_EQ(alphaAt(stinger, progress), alphaOf(0));
}

TEST(LStinger, PicturesShareTheirData) {
    LStinger stinger;
    ASSERT_TRUE(loadCounting(stinger, 1));
    const quol::FramePtr one(stinger.getFrameByProgress(0.0));
    const quol::FramePtr other(stinger.getFrameByProgress(0.0));
    EXPECT_NE(one, other);
    EXPECT_EQ(one->data[0], other->data[0]);
}

// ------------------------------------------------------------------------------------- playing

TEST(LStinger, PlaysEachPictureOnceInOrderAndEnds) {
    CollectingSink sink(100);
    WithSink with(sink);
    ASSERT_TRUE(loadCounting(with.stinger, 12, 100.0));
    with.stinger.playOnce();
    EXPECT_TRUE(sink.waitForPictures(12));
    EXPECT_TRUE(waitForEnd(with.stinger));
    EXPECT_EQ(statusOf(with.stinger), 0);
    EXPECT_EQ(alphasOf(sink), countingAlphas(12));
    EXPECT_TRUE(with.stinger.isLoaded());
    with.stinger.playOnce();
    EXPECT_TRUE(waitForEnd(with.stinger));
    EXPECT_EQ(sink.pictureCount(), 24U);
    EXPECT_EQ(sink.soundCount(), 0U);
}

TEST(LStinger, PlayingAnEmptyOneDoesNothing) {
    CollectingSink sink;
    WithSink with(sink);
    with.stinger.playOnce();
    EXPECT_FALSE(with.stinger.isPlaying());
    with.stinger.stop();
    EXPECT_EQ(sink.pictureCount(), 0U);
}

TEST(LStinger, PlaysFromTheCallUntilTheLastPictureHasHadItsTime) {
    CollectingSink sink;
    WithSink with(sink);
    ASSERT_TRUE(loadCounting(with.stinger, 5, 20.0));
    const Stopwatch watch;
    with.stinger.playOnce();
    EXPECT_TRUE(with.stinger.isPlaying());
    EXPECT_EQ(statusOf(with.stinger), 1);
    ASSERT_TRUE(waitForEnd(with.stinger));
    EXPECT_GE(watch.seconds(), 5 * 0.05);
    const auto pictures = sink.pictures();
    ASSERT_EQ(pictures.size(), 5U);
    for (std::size_t i = 0; i < 5; ++i)
        EXPECT_GE(watch.at(pictures[i].arrived), static_cast<double>(i) * 0.05) << i;
}

TEST(LStinger, ARateThatIsNotAboveZeroPlaysAtTwentyFive) {
    CollectingSink sink;
    WithSink with(sink);
    ASSERT_TRUE(loadCounting(with.stinger, 4));
    for (const double rate : {0.0, -50.0, std::nan("")}) {
        sink.clear();
        with.stinger.setPlaybackRate(rate);
        EXPECT_EQ(with.stinger.getFPS(), 25.0);
        const Stopwatch watch;
        with.stinger.playOnce();
        ASSERT_TRUE(waitForEnd(with.stinger)) << rate;
        EXPECT_GE(watch.seconds(), 4 * 0.04) << rate;
        EXPECT_EQ(sink.pictureCount(), 4U) << rate;
    }
}

TEST(LStinger, ARateBeyondMicrosecondsPlaysWithoutRest) {
    CollectingSink sink;
    WithSink with(sink);
    ASSERT_TRUE(loadCounting(with.stinger, 3));
    for (const double rate : {2e6, 1e300, std::numeric_limits<double>::infinity()}) {
        sink.clear();
        with.stinger.setPlaybackRate(rate);
        with.stinger.playOnce();
        ASSERT_TRUE(waitForEnd(with.stinger)) << rate;
        EXPECT_EQ(sink.pictureCount(), 3U) << rate;
    }
}

TEST(LStinger, ANewRateCountsFromTheNextStart) {
    CollectingSink sink;
    WithSink with(sink);
    ASSERT_TRUE(loadCounting(with.stinger, 2, neverEnding));
    with.stinger.playOnce();
    ASSERT_TRUE(sink.waitForPictures(1));
    with.stinger.setPlaybackRate(100.0);
    EXPECT_EQ(with.stinger.getPlaybackRate(), 100.0);
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(sink.pictureCount(), 1U);
    with.stinger.playOnce();
    EXPECT_TRUE(waitForEnd(with.stinger));
    EXPECT_EQ(sink.pictureCount(), 3U);
}

// The cut behind a stinger comes by the clock: what a sink takes too long is made up for.
TEST(LStinger, ASinkThatHangsDoesNotMoveTheEnd) {
    std::atomic<bool> hung{false};
    ActingSink sink([&] {
        if (!hung.exchange(true)) std::this_thread::sleep_for(2s);
    });
    WithSink with(sink);
    ASSERT_TRUE(loadCounting(with.stinger, 20, 10.0));
    const Stopwatch watch;
    with.stinger.playOnce();
    ASSERT_TRUE(waitForEnd(with.stinger));
    EXPECT_EQ(alphasOf(sink), countingAlphas(20));
    EXPECT_GE(watch.seconds(), 2.0);
    EXPECT_LT(watch.seconds(), 3.5); // 3.9 if each picture had its time behind the one before
}

TEST(LStinger, WithoutSinksTheLatestFiftyAreQueued) {
    OpenStinger stinger;
    ASSERT_TRUE(loadCounting(stinger, 55, 2000.0));
    stinger.playOnce();
    ASSERT_TRUE(waitForEnd(stinger));
    EXPECT_EQ(stinger.queued(), 50U);
}

TEST(LStinger, StopEndsALongPictureAtOnce) {
    CollectingSink sink;
    WithSink with(sink);
    ASSERT_TRUE(loadCounting(with.stinger, 3, neverEnding));
    with.stinger.playOnce();
    ASSERT_TRUE(sink.waitForPictures(1));
    with.stinger.stop();
    EXPECT_FALSE(with.stinger.isPlaying());
    EXPECT_EQ(sink.pictureCount(), 1U);
    EXPECT_TRUE(with.stinger.isLoaded());
    with.stinger.stop();
}

TEST(LStinger, AfterAStopTheLastPictureStaysInASinkForASecond) {
    quol::CompositorSink sink(48000);
    WithSink with(sink);
    ASSERT_TRUE(loadCounting(with.stinger, 3, neverEnding));
    // Where the machine stands still for a second, the stop is made again.
    ASSERT_TRUE(waitUntil([&] {
        with.stinger.playOnce();
        EXPECT_TRUE(waitUntil([&] { return sink.newestFrame() != nullptr; }));
        with.stinger.stop();
        return alphaOfAll(sink.newestFrame().get()) == alphaOf(0);
    }));
    std::this_thread::sleep_for(1010ms);
    EXPECT_EQ(sink.newestFrame(), nullptr);
    EXPECT_TRUE(with.stinger.isLoaded());
}

TEST(LStinger, TheDestructorEndsALongPicture) {
    CollectingSink sink;
    {
        LStinger stinger;
        stinger.addSink(&sink);
        ASSERT_TRUE(loadCounting(stinger, 3, neverEnding));
        stinger.playOnce();
        ASSERT_TRUE(sink.waitForPictures(1));
    }
    EXPECT_EQ(sink.pictureCount(), 1U);
}

TEST(LStinger, AStartDuringThePlaybackBeginsAnew) {
    CollectingSink sink(100);
    WithSink with(sink);
    ASSERT_TRUE(loadCounting(with.stinger, 4, neverEnding));
    for (std::size_t i = 1; i <= 3; ++i) {
        with.stinger.playOnce();
        ASSERT_TRUE(sink.waitForPictures(i));
        EXPECT_TRUE(with.stinger.isPlaying());
    }
    EXPECT_EQ(alphasOf(sink), (std::vector{alphaOf(0), alphaOf(0), alphaOf(0)}));
}

TEST(LStinger, ALoadStopsThePlaybackFirst) {
    CollectingSink sink(100);
    WithSink with(sink);
    ASSERT_TRUE(loadCounting(with.stinger, 4, neverEnding));
    with.stinger.playOnce();
    ASSERT_TRUE(sink.waitForPictures(1));
    ASSERT_TRUE(loadCounting(with.stinger, 3, 1000.0));
    EXPECT_FALSE(with.stinger.isPlaying());
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(sink.pictureCount(), 1U);
}

TEST(LStinger, AClearEndsThePlaybackAtTheNextPicture) {
    LStinger* playing = nullptr;
    ActingSink sink([&] { playing->clear(); });
    WithSink with(sink);
    playing = &with.stinger;
    ASSERT_TRUE(loadCounting(with.stinger, 4, 100.0));
    with.stinger.playOnce();
    EXPECT_TRUE(waitForEnd(with.stinger));
    EXPECT_EQ(alphasOf(sink), (std::vector{alphaOf(0)}));
}

TEST(LStinger, AStopFromInsideAPushEndsWithThatPicture) {
    LStinger* playing = nullptr;
    ActingSink sink([&] { playing->stop(); });
    WithSink with(sink);
    playing = &with.stinger;
    ASSERT_TRUE(loadCounting(with.stinger, 4, 100.0));
    for (std::size_t i = 1; i <= 2; ++i) {
        with.stinger.playOnce();
        EXPECT_TRUE(waitForEnd(with.stinger));
        with.stinger.stop();
        EXPECT_EQ(sink.pictureCount(), i);
    }
}

TEST(LStinger, AStopFromInsideAPushMeetsOneFromOutside) {
    LStinger* playing = nullptr;
    ActingSink sink([&] {
        std::this_thread::sleep_for(1ms);
        playing->stop();
    });
    WithSink with(sink);
    playing = &with.stinger;
    ASSERT_TRUE(loadCounting(with.stinger, 4, 1000.0));
    for (int i = 0; i < 100; ++i) {
        with.stinger.playOnce();
        with.stinger.stop();
        EXPECT_FALSE(with.stinger.isPlaying());
    }
}

TEST(LStinger, StartsAndStopsFromManyThreadsAreSafe) {
    CollectingSink sink;
    WithSink with(sink);
    ASSERT_TRUE(loadCounting(with.stinger, 5, 1000.0));
    const std::string other = alphaClip("other", countingPictures(3));
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            for (int n = 0; n < 100; ++n) {
                if (i == 0) with.stinger.stop();
                if (i == 1 && n % 10 == 0) with.stinger.clear();
                if (i == 2 && n % 5 == 0) with.stinger.load(other, 64, 48, 500.0);
                if (i != 2) with.stinger.playOnce();
                const quol::FramePtr picture(with.stinger.getFrameByProgress(0.5));
                statusOf(with.stinger);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    with.stinger.stop();
    EXPECT_FALSE(with.stinger.isPlaying());
    const std::size_t before = sink.pictureCount();
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(sink.pictureCount(), before);
    // It is as good as new.
    ASSERT_TRUE(with.stinger.load(other, 64, 48, 100.0));
    with.stinger.playOnce();
    EXPECT_TRUE(waitForEnd(with.stinger));
    EXPECT_EQ(sink.pictureCount(), before + 3);
}

} // namespace

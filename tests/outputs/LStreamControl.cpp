// A stream as its host steers it: messages, statistics, queues, threads and its end.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

#include "support/CapturedStream.h"
#include "support/Frames.h"
#include "support/LiveSource.h"
#include "support/NoThreads.h"
#include "support/RecordedFile.h"
#include "support/Recording.h"
#include "support/Streaming.h"

namespace {

using test::CapturedStream;
using test::HandSource;
using test::LiveSource;
using test::readRecordedFile;
using test::RecordedFile;
using test::StalledFile;
using test::statsOf;
using test::statusOf;
using test::streamed;
using test::temporaryPath;
using testing::HasSubstr;
using namespace std::chrono_literals;

// --------------------------------------------------------------------------------- control

TEST(LStreamControl, MessagesOfAStream) {
    const std::string path = temporaryPath("messages.flv");
    HandSource source;
    LStream stream;
    stream.source = &source;
    stream.setStreamUrl(path);
    CapturedStream out(CapturedStream::Stream::output);
    ASSERT_TRUE(stream.Start());
    EXPECT_THAT(out.text(), HasSubstr("[LStream] Yayın Başladı: " + path + "\n[LObject] addSink"));
    EXPECT_FALSE(stream.Start()); // it streams already
    ASSERT_TRUE(test::waitForSent(stream, 2));
    stream.Stop();
    EXPECT_THAT(out.text(), HasSubstr("[LStream] Yayın Durduruldu.\n"));
    EXPECT_THAT(out.text(), HasSubstr("[LObject] removeSink success!\n"));
    const std::string before = out.text();
    stream.Stop();
    EXPECT_EQ(out.text(), before);
}

TEST(LStreamControl, StatsInEveryState) {
    const std::string path = temporaryPath("stats.flv");
    LiveSource source;
    LStream stream;
    LStream::Stats stats = statsOf(stream);
    EXPECT_FALSE(stats.running);
    EXPECT_EQ(stats.framesSent + stats.bytesSent + stats.framesDropped, 0);
    EXPECT_EQ(stats.width, 0);
    EXPECT_EQ(stats.fps, 0.0);
    EXPECT_EQ(stats.url, "");
    stream.source = &source;
    stream.setStreamUrl(path);
    EXPECT_EQ(statsOf(stream).url, path);
    source.start();
    ASSERT_TRUE(stream.Start());
    ASSERT_TRUE(test::waitForSent(stream, 10));
    stream.setStreamUrl("other.flv");
    stats = statsOf(stream);
    EXPECT_TRUE(stats.running);
    EXPECT_GT(stats.bytesSent, 0);
    EXPECT_EQ(stats.width, 160);
    EXPECT_EQ(stats.height, 90);
    EXPECT_EQ(stats.fps, 25.0);
    EXPECT_EQ(stats.url, path); // of the one that runs
    stream.Stop();
    stats = statsOf(stream);
    EXPECT_FALSE(stats.running);
    EXPECT_EQ(stats.url, "other.flv");
    const RecordedFile file = readRecordedFile(path);
    std::int64_t bytes = 0;
    for (const auto& one : file.streams)
        for (const auto& packet : one.packets)
            bytes += packet.size;
    EXPECT_EQ(stats.framesSent, static_cast<std::int64_t>(file.pictures.size()));
    EXPECT_NEAR(static_cast<double>(stats.bytesSent), static_cast<double>(bytes),
                static_cast<double>(bytes) * 0.02); // start codes and lengths differ
    // A start counts anew, one that leads to nothing too.
    stream.setStreamUrl(temporaryPath("no such folder/stats.flv"));
    EXPECT_FALSE(stream.Start());
    stats = statsOf(stream);
    EXPECT_EQ(stats.framesSent, 0);
    EXPECT_EQ(stats.bytesSent, 0);
}

TEST(LStreamControl, FullQueueOf11LosesTheNewestPictureAndCountsIt) {
    HandSource source;
    source.width = StalledFile::size;
    source.height = StalledFile::size;
    source.fps = 1000.0;
    StalledFile file("full.yuv"); // its ending names the muxer
    LStream stream;
    stream.setVideoCodec("rawvideo");
    stream.setAudioCodec("none");
    stream.source = &source;
    stream.setStreamUrl(file.path());
    ASSERT_TRUE(stream.Start());
    const auto picture =
        test::makePicture(StalledFile::size, StalledFile::size, AV_PIX_FMT_YUV420P);
    std::size_t references = 0;
    for (int refused = 0; refused < 100;) {
        const std::int64_t before = statsOf(stream).framesDropped;
        stream.pushVideoFrame(picture.get());
        std::this_thread::sleep_for(3ms);
        refused = statsOf(stream).framesDropped > before ? refused + 1 : 0;
        ASSERT_LT(++references, 10000U);
    }
    EXPECT_EQ(statsOf(stream).queueLength, 11);
    const std::int64_t dropped = statsOf(stream).framesDropped;
    stream.pushVideoFrame(picture.get());
    EXPECT_EQ(statsOf(stream).queueLength, 11);
    EXPECT_EQ(statsOf(stream).framesDropped, dropped + 1);
    stream.flush();
    EXPECT_EQ(statsOf(stream).queueLength, 0);
    stream.pushVideoFrame(picture.get());
    EXPECT_EQ(statsOf(stream).queueLength, 1);
    stream.setPaused(true);
    EXPECT_EQ(statsOf(stream).queueLength, 0);
    stream.pushVideoFrame(picture.get());
    EXPECT_EQ(statsOf(stream).queueLength, 0);
    file.letGo();
    stream.Stop();
    EXPECT_EQ(av_buffer_get_ref_count(picture->buf[0]), 1);
    EXPECT_EQ(statsOf(stream).framesDropped, dropped + 1);
    stream.setStreamUrl(temporaryPath("no such folder/full.yuv"));
    EXPECT_FALSE(stream.Start());
    EXPECT_EQ(statsOf(stream).framesDropped, 0);
}

TEST(LStreamControl, WithoutAThreadStartIsFalseAndTheSourceIsLeft) {
    const std::string path = temporaryPath("no_thread.yuv");
    HandSource source;
    LStream stream;
    stream.setVideoCodec("rawvideo");
    stream.setProps("threads", "1"); // or the encoder is what fails
    stream.setAudioCodec("none");
    stream.source = &source;
    stream.setStreamUrl(path);
    CapturedStream out(CapturedStream::Stream::output);
    CapturedStream error(CapturedStream::Stream::error);
    {
        const test::NoThreads none;
        ASSERT_TRUE(none.works());
        EXPECT_FALSE(stream.Start());
    }
    EXPECT_EQ(statusOf(stream), 0);
    EXPECT_THAT(out.text(), HasSubstr("removeSink success!"));
    EXPECT_THAT(error.text(), HasSubstr("[LStream] Could not start: "));
    const auto picture = test::makePicture(64, 48, AV_PIX_FMT_YUV420P);
    source.distributeVideoFrame(picture.get());
    EXPECT_EQ(statsOf(stream).queueLength, 0);
    ASSERT_TRUE(stream.Start());
    EXPECT_TRUE(test::waitForSent(stream, 2));
    stream.Stop();
}

TEST(LStreamControl, IdleStreamRefusesAllFramesAndNullOnes) {
    LStream stream;
    const auto picture = test::makePicture(64, 48, AV_PIX_FMT_YUV420P);
    const auto sound = test::makeSound(1920, 48000, 2, AV_SAMPLE_FMT_S16);
    stream.pushVideoFrame(picture.get());
    stream.pushAudioFrame(sound.get());
    stream.pushVideoFrame(nullptr);
    stream.pushAudioFrame(nullptr);
    EXPECT_EQ(av_buffer_get_ref_count(picture->buf[0]), 1);
    EXPECT_EQ(statsOf(stream).queueLength, 0);
}

TEST(LStreamControl, DestroyedWhileStreamingItFinishesTheFile) {
    const std::string path = temporaryPath("destroyed.mp4");
    LiveSource source;
    source.start();
    {
        LStream stream;
        stream.source = &source;
        stream.setStreamUrl(path);
        ASSERT_TRUE(stream.Start());
        ASSERT_TRUE(test::waitForSent(stream, 10));
    }
    ASSERT_TRUE(source.waitForPictures(2)); // it goes on without a sink
    EXPECT_EQ(readRecordedFile(path).error, "");
}

TEST(LStreamControl, ThreadsMayPressEverythingAtOnce) {
    LiveSource source;
    LStream stream;
    const std::string path = temporaryPath("pressed.flv");
    stream.setStreamUrl(path);
    stream.setStreamClone(true);
    const std::string folder = temporaryPath("pressed");
    std::filesystem::create_directory(folder);
    stream.setStreamClonePath(folder);
    stream.source = &source;
    source.start();
    const auto end = std::chrono::steady_clock::now() + 3s;
    std::atomic<int> started{0};
    const auto press = [&](unsigned seed) {
        unsigned random = seed;
        while (std::chrono::steady_clock::now() < end) {
            random = random * 1664525U + 1013904223U;
            switch (random >> 29) {
                case 0:
                case 1:
                    started += stream.Start() ? 1 : 0;
                    break;
                case 2:
                    stream.Stop();
                    break;
                case 3:
                    stream.setPaused(true);
                    break;
                case 4:
                    stream.setPaused(false);
                    break;
                case 5:
                    stream.setStreamUrl(path);
                    stream.flush();
                    break;
                case 6:
                    stream.customSet("g=12");
                    break;
                default:
                    EXPECT_GE(statsOf(stream).framesSent, 0);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds((random >> 16) % 40));
        }
    };
    std::thread one(press, 1U);
    std::thread two(press, 2U);
    one.join();
    two.join();
    EXPECT_GT(started, 0);
    stream.Stop();
    EXPECT_EQ(statusOf(stream), 0);
    EXPECT_EQ(streamed(stream, path).error, "");
}

} // namespace

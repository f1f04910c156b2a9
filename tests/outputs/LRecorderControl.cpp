// The recorder's operations, states and messages.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <thread>

#include "quolsdk/LRecorder.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/Frames.h"
#include "support/LiveSource.h"
#include "support/NoThreads.h"
#include "support/RecordedFile.h"
#include "support/Recording.h"
#include "support/RunningMixer.h"

namespace {

using namespace std::chrono_literals;
using test::CapturedStream;
using test::Encoding;
using test::LiveSource;
using test::StalledFile;
using test::statsOf;
using test::statusOf;
using test::temporaryPath;
using testing::HasSubstr;
using testing::Not;

const Encoding quick{"mov", "mpeg4", "pcm_s16le", ""};

// --------------------------------------------------------------------------------- states

TEST(LRecorderControl, StopWithoutRecordSaysSoAndDoesNothing) {
    CapturedStream out(CapturedStream::Stream::output);
    LRecorder recorder;
    recorder.Stop();
    EXPECT_EQ(statusOf(recorder), 0);
    EXPECT_EQ(out.text(), "LRecorder: Stopped and resources freed.\n");
}

TEST(LRecorderControl, RecorderThatWasNeverStartedGoesWithoutAWord) {
    CapturedStream out(CapturedStream::Stream::output);
    { LRecorder recorder; }
    EXPECT_EQ(out.text(), "");
}

TEST(LRecorderControl, WholeRecordingSaysExactlyTheseLines) {
    CapturedStream out(CapturedStream::Stream::output);
    CapturedStream error(CapturedStream::Stream::error);
    LRecorder recorder;
    test::configure(recorder, temporaryPath("lines.mov"), quick);
    ASSERT_TRUE(recorder.Record());
    recorder.Pause(false);
    recorder.Pause(true);
    recorder.Pause(true);
    recorder.Pause(false);
    recorder.Pause(false);
    recorder.Stop();
    EXPECT_EQ(out.text(),
              "LRecorder: Paused.\n"
              "LRecorder: Resumed.\n"
              "LRecorder: Stopped and resources freed.\n");
    EXPECT_EQ(error.text(), "");
}

TEST(LRecorderControl, RecordTwiceReturnsFalseAndTheFirstGoesOn) {
    const std::string path = temporaryPath("twice.mov");
    LiveSource source;
    LRecorder recorder;
    test::configure(recorder, path, quick);
    recorder.source = &source;
    ASSERT_TRUE(recorder.Record());
    source.start();
    ASSERT_TRUE(test::waitForWritten(recorder, 3));
    EXPECT_FALSE(recorder.Record());
    EXPECT_EQ(statusOf(recorder), 1);
    const std::int64_t before = statsOf(recorder).framesWritten;
    EXPECT_GE(before, 3);
    EXPECT_TRUE(test::waitForWritten(recorder, before + 3));
    source.stop();
    recorder.Stop();
    EXPECT_GE(test::readRecordedFile(path).pictures.size(), 6U);
}

TEST(LRecorderControl, RecordIsPossibleAgainAfterStop) {
    LiveSource source;
    LRecorder recorder;
    recorder.source = &source;
    source.start();
    for (const char* name : {"again_1.mov", "again_2.mov"}) {
        test::configure(recorder, temporaryPath(name), quick);
        ASSERT_TRUE(recorder.Record());
        ASSERT_TRUE(test::waitForWritten(recorder, 5));
        recorder.Stop();
        EXPECT_EQ(statusOf(recorder), 0);
        const test::RecordedFile file = test::readRecordedFile(temporaryPath(name));
        EXPECT_EQ(file.error, "");
        EXPECT_GE(file.pictures.size(), 5U);
        EXPECT_LT(file.pictures.front().seconds, 5.0); // a clock of its own
    }
}

TEST(LRecorderControl, RecordAfterAnEndOfItsOwnNeedsNoStop) {
    LiveSource source;
    LRecorder recorder;
    recorder.source = &source;
    source.start();
    test::configure(recorder, temporaryPath("ended_1.mov"), quick);
    recorder.setProps("durationMs", "200");
    ASSERT_TRUE(recorder.Record());
    ASSERT_TRUE(test::waitUntil([&] { return statusOf(recorder) == 0; }));
    recorder.setFilePath(temporaryPath("ended_2.mov"));
    recorder.setProps("durationMs", "0");
    ASSERT_TRUE(recorder.Record());
    EXPECT_TRUE(test::waitForWritten(recorder, 10));
    recorder.Stop();
    EXPECT_EQ(test::readRecordedFile(temporaryPath("ended_1.mov")).error, "");
    EXPECT_EQ(test::readRecordedFile(temporaryPath("ended_2.mov")).error, "");
}

TEST(LRecorderControl, WithoutAThreadRecordIsFalseAndTheSourceIsLeft) {
    test::WatchedSource source;
    LRecorder recorder;
    recorder.source = &source;
    test::configure(recorder, temporaryPath("no_thread.nut"), quick);
    recorder.setContainer("nut");
    recorder.setVideoCodec("rawvideo"); // makes no threads of its own
    recorder.setAudioCodec("pcm_s16le");
    CapturedStream out(CapturedStream::Stream::output);
    {
        const test::NoThreads none;
        ASSERT_TRUE(none.works());
        EXPECT_FALSE(recorder.Record());
    }
    EXPECT_EQ(statusOf(recorder), 0);
    EXPECT_EQ(source.sinkCount(), 0U);
    EXPECT_TRUE(recorder.Record());
    EXPECT_EQ(source.sinkCount(), 1U);
    recorder.Stop();
}

TEST(LRecorderControl, RecordAfterAFailedOneIsPossible) {
    LRecorder recorder;
    test::configure(recorder, temporaryPath("no_such_folder/file.mov"), quick);
    EXPECT_FALSE(recorder.Record());
    EXPECT_EQ(statusOf(recorder), 0);
    recorder.setFilePath(temporaryPath("after_failure.mov"));
    EXPECT_TRUE(recorder.Record());
    EXPECT_EQ(statusOf(recorder), 1);
    recorder.Stop();
}

TEST(LRecorderControl, AttachesItselfToTheSourceAndLeavesItAtStop) {
    LiveSource source;
    LiveSource other;
    LRecorder recorder;
    recorder.source = &source;
    test::configure(recorder, temporaryPath("attached.mov"), quick);
    CapturedStream out(CapturedStream::Stream::output);
    ASSERT_TRUE(recorder.Record());
    EXPECT_THAT(out.text(), HasSubstr("[LObject] addSink this="));
    recorder.source = &other; // counts from the next recording on
    recorder.Stop();
    EXPECT_THAT(out.text(), HasSubstr("[LObject] removeSink success!\n"
                                      "LRecorder: Stopped and resources freed.\n"));
    EXPECT_THAT(out.text(), Not(HasSubstr("FAILED")));
    const std::string before = out.text();
    recorder.Stop(); // nothing is left to leave
    EXPECT_EQ(out.text(), before + "LRecorder: Stopped and resources freed.\n");
}

TEST(LRecorderControl, DestroyedWhileRecordingItFinishesTheFile) {
    const std::string path = temporaryPath("destroyed.mp4");
    LiveSource source;
    source.start();
    {
        LRecorder recorder;
        test::configure(recorder, path);
        recorder.source = &source;
        ASSERT_TRUE(recorder.Record());
        ASSERT_TRUE(test::waitForWritten(recorder, 10));
    }
    ASSERT_TRUE(source.waitForPictures(2)); // it goes on without a sink
    const test::RecordedFile file = test::readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    EXPECT_GE(file.pictures.size(), 10U);
}

TEST(LRecorderControl, StatsInEveryState) {
    const std::string path = temporaryPath("stats.mov");
    LiveSource source;
    LRecorder recorder;
    LRecorder::Stats stats = statsOf(recorder);
    EXPECT_EQ(stats.state, 0);
    EXPECT_EQ(stats.framesWritten, 0);
    EXPECT_EQ(stats.framesDropped, 0);
    EXPECT_EQ(stats.secondsRecorded, 0.0);
    EXPECT_EQ(stats.fileSize, 0);
    EXPECT_EQ(stats.filePath, "");

    test::configure(recorder, path, quick);
    EXPECT_EQ(statsOf(recorder).filePath, path);
    EXPECT_EQ(statsOf(recorder).fileSize, 0);
    recorder.source = &source;
    source.start();
    ASSERT_TRUE(recorder.Record());
    ASSERT_TRUE(test::waitForWritten(recorder, 25));
    stats = statsOf(recorder);
    EXPECT_EQ(stats.state, 1);
    EXPECT_GE(stats.secondsRecorded, 1.0 - 1e-9); // 25 pictures of 40 ms, no two in one tick
    EXPECT_EQ(stats.framesDropped, 0);

    recorder.Pause(true);
    EXPECT_EQ(statsOf(recorder).state, 1);
    recorder.Stop();
    const LRecorder::Stats last = statsOf(recorder);
    EXPECT_EQ(last.state, 0);
    EXPECT_GE(last.framesWritten, 25);
    EXPECT_EQ(last.fileSize, static_cast<std::int64_t>(std::filesystem::file_size(path)));
    recorder.setFilePath("file:" + path);
    EXPECT_EQ(statsOf(recorder).fileSize, last.fileSize);
    const test::RecordedFile file = test::readRecordedFile(path);
    EXPECT_EQ(last.framesWritten, static_cast<std::int64_t>(file.pictures.size()));
    EXPECT_NEAR(last.secondsRecorded, file.pictures.back().seconds + 0.04, 0.001);

    source.stop();
    ASSERT_TRUE(recorder.Record()); // counts anew
    stats = statsOf(recorder);
    EXPECT_EQ(stats.state, 1);
    EXPECT_EQ(stats.framesWritten, 0);
    EXPECT_EQ(stats.secondsRecorded, 0.0);
}

// Whoever looks while a picture is being encoded finds it in both numbers or in neither.
TEST(LRecorderControl, LengthIsNeverShortOfThePicturesCounted) {
    LRecorder recorder;
    test::configure(recorder, temporaryPath("length.mov"), quick);
    test::setPictures(recorder, 1280, 720, 25);
    ASSERT_TRUE(recorder.Record());
    recorder.pushVideoFrame(test::makePicture(1280, 720, AV_PIX_FMT_YUV420P, 0, {1, 25}, 1).get());
    LRecorder::Stats stats;
    const auto begin = std::chrono::steady_clock::now();
    while (stats.framesWritten == 0 && std::chrono::steady_clock::now() - begin < 60s)
        recorder.getStats(stats);
    EXPECT_EQ(stats.framesWritten, 1);
    EXPECT_GE(stats.secondsRecorded, 0.04 - 1e-9);
    recorder.Stop();
}

TEST(LRecorderControl, FileSizeGrowsWhileItRecords) {
    LRecorder recorder;
    test::configure(recorder, temporaryPath("growing.ts"), {"mpegts", "mpeg2video", "mp2", ""});
    test::setPictures(recorder, 320, 180, 100);
    ASSERT_TRUE(recorder.Record());
    std::int64_t first = 0;
    for (int i = 0; i < 3000 && (first == 0 || statsOf(recorder).fileSize <= first); ++i) {
        recorder.pushVideoFrame(
            test::makePicture(320, 180, AV_PIX_FMT_YUV420P, i, {1, 100}, 1 + i).get());
        std::this_thread::sleep_for(10ms);
        if (first == 0) first = statsOf(recorder).fileSize;
    }
    EXPECT_GT(first, 0);
    EXPECT_GT(statsOf(recorder).fileSize, first);
    recorder.Stop();
}

// ---------------------------------------------------------------------------------- pushes

TEST(LRecorderControl, IdleRecorderRefusesAllFrames) {
    LRecorder recorder;
    const auto picture = test::makePicture(64, 48, AV_PIX_FMT_YUV420P);
    const auto sound = test::makeSound(1920, 48000, 2, AV_SAMPLE_FMT_S16);
    recorder.pushVideoFrame(picture.get());
    recorder.pushAudioFrame(sound.get());
    EXPECT_EQ(av_buffer_get_ref_count(picture->buf[0]), 1);
    EXPECT_EQ(statsOf(recorder).framesDropped, 0);
}

TEST(LRecorderControl, NullAndEmptyFramesAreIgnored) {
    LRecorder recorder;
    test::configure(recorder, temporaryPath("null.mov"), quick);
    ASSERT_TRUE(recorder.Record());
    recorder.pushVideoFrame(nullptr);
    recorder.pushAudioFrame(nullptr);
    const quol::FramePtr empty = quol::makeFrame();
    recorder.pushVideoFrame(empty.get());
    recorder.pushAudioFrame(empty.get());
    recorder.Stop();
    EXPECT_EQ(statsOf(recorder).framesWritten, 0);
}

TEST(LRecorderControl, PushedFrameStaysAsItWas) {
    const std::string path = temporaryPath("borrowed.mov");
    LRecorder recorder;
    test::configure(recorder, path, quick);
    test::setPictures(recorder, 64, 48, 25);
    ASSERT_TRUE(recorder.Record());
    auto picture = test::makePicture(64, 48, AV_PIX_FMT_YUV420P, 4711, {1, 90000});
    picture->pict_type = AV_PICTURE_TYPE_B;
    recorder.pushVideoFrame(picture.get());
    ASSERT_TRUE(test::waitForWritten(recorder, 1));
    recorder.Stop();
    EXPECT_EQ(picture->pts, 4711);
    EXPECT_EQ(picture->pict_type, AV_PICTURE_TYPE_B);
    EXPECT_EQ(av_buffer_get_ref_count(picture->buf[0]), 1); // nothing is kept either
}

TEST(LRecorderControl, FullQueueOf61LosesTheNewestPictureAndCountsIt) {
    LRecorder recorder;
    StalledFile file("full.raw");
    test::configure(recorder, file.path(), StalledFile::encoding());
    test::setPictures(recorder, StalledFile::size, StalledFile::size, 1000);
    ASSERT_TRUE(recorder.Record());
    std::string accepted;
    int pushed = 0;
    // Pushes one picture of a level of its own; whether it was taken.
    const auto push = [&] {
        const std::int64_t before = statsOf(recorder).framesDropped;
        const auto level = static_cast<char>(16 + pushed++ % 200);
        test::pushGrey(recorder, StalledFile::size, StalledFile::size, level);
        std::this_thread::sleep_for(3ms); // a tick of its own
        const bool taken = statsOf(recorder).framesDropped == before;
        if (taken) accepted.push_back(level);
        return taken;
    };
    // The encoder has stopped for good once nothing has been taken for so long.
    for (int refused = 0; refused < 200 && pushed < 10000;)
        refused = push() ? 0 : refused + 1;
    const LRecorder::Stats full = statsOf(recorder);
    EXPECT_GE(full.framesDropped, 200);
    EXPECT_EQ(pushed, full.framesWritten + 61 + full.framesDropped);

    std::thread stopping([&recorder] { recorder.Stop(); });
    EXPECT_EQ(file.levels(), accepted); // in order, all that waited, and none of the newest
    stopping.join();
    EXPECT_EQ(statsOf(recorder).framesWritten, static_cast<std::int64_t>(accepted.size()));
    EXPECT_EQ(statsOf(recorder).framesDropped, full.framesDropped);
    // A start counts anew, one that leads to nothing too.
    recorder.setFilePath(test::temporaryPath("no such folder/full.raw"));
    EXPECT_FALSE(recorder.Record());
    EXPECT_EQ(statsOf(recorder).framesWritten, 0);
    EXPECT_EQ(statsOf(recorder).framesDropped, 0);
}

// Until the encoder stands still behind a full queue: nothing has been taken for so long.
void pushUntilStill(LRecorder& recorder, int level) {
    for (int refused = 0; refused < 200;) {
        const std::int64_t before = statsOf(recorder).framesDropped;
        test::pushGrey(recorder, StalledFile::size, StalledFile::size, level);
        std::this_thread::sleep_for(3ms);
        refused = statsOf(recorder).framesDropped > before ? refused + 1 : 0;
    }
}

TEST(LRecorderControl, FlushEmptiesTheQueue) {
    LRecorder recorder;
    StalledFile file("flushed.raw");
    test::configure(recorder, file.path(), StalledFile::encoding());
    test::setPictures(recorder, StalledFile::size, StalledFile::size, 1000);
    ASSERT_TRUE(recorder.Record());
    pushUntilStill(recorder, 50);
    const std::int64_t inHand = statsOf(recorder).framesWritten;
    const auto marked = test::makePicture(StalledFile::size, StalledFile::size, AV_PIX_FMT_YUV420P);
    recorder.flush();
    recorder.pushVideoFrame(marked.get());
    EXPECT_EQ(av_buffer_get_ref_count(marked->buf[0]), 2);
    recorder.flush();
    EXPECT_EQ(av_buffer_get_ref_count(marked->buf[0]), 1);
    test::pushGrey(recorder, StalledFile::size, StalledFile::size, 200);
    std::thread stopping([&recorder] { recorder.Stop(); });
    const std::string levels = file.levels();
    stopping.join();
    EXPECT_EQ(levels, std::string(static_cast<std::size_t>(inHand), 50) + static_cast<char>(200));
}

TEST(LRecorderControl, StopEncodesThePicturesThatWait) {
    LRecorder recorder;
    StalledFile file("waiting.raw");
    test::configure(recorder, file.path(), StalledFile::encoding());
    test::setPictures(recorder, StalledFile::size, StalledFile::size, 1000);
    ASSERT_TRUE(recorder.Record());
    std::string pushed;
    for (int i = 0; i < 40; ++i) { // more than the system buffers
        pushed.push_back(static_cast<char>(20 + i));
        test::pushGrey(recorder, StalledFile::size, StalledFile::size, 20 + i);
        std::this_thread::sleep_for(3ms);
    }
    std::thread stopping([&recorder] { recorder.Stop(); });
    ASSERT_TRUE(test::waitUntil([&] { return statusOf(recorder) == 0; }));
    EXPECT_LT(statsOf(recorder).framesWritten, 40);
    EXPECT_EQ(file.levels(), pushed);
    stopping.join();
}

TEST(LRecorderControl, PausedRecorderRefusesFramesAndTakesThemAgainWhenItGoesOn) {
    LRecorder recorder;
    StalledFile file("paused.raw");
    test::configure(recorder, file.path(), StalledFile::encoding());
    test::setPictures(recorder, StalledFile::size, StalledFile::size, 1000);
    ASSERT_TRUE(recorder.Record());
    file.letGo();
    const auto push = [&recorder](int level) {
        test::pushGrey(recorder, StalledFile::size, StalledFile::size, level);
        std::this_thread::sleep_for(3ms);
    };
    push(50);
    recorder.Pause(true);
    EXPECT_EQ(statusOf(recorder), 1);
    for (int i = 0; i < 100; ++i)
        push(100); // more than the queue would hold
    EXPECT_EQ(statsOf(recorder).framesDropped, 0);
    recorder.Pause(false);
    push(150);
    recorder.Stop();
    EXPECT_EQ(file.levels(), std::string("\x32\x96"));
}

TEST(LRecorderControl, PauseBeforeRecordDoesNotReachTheRecording) {
    const std::string path = temporaryPath("paused_before.mov");
    LiveSource source;
    LRecorder recorder;
    test::configure(recorder, path, quick);
    recorder.source = &source;
    recorder.Pause(true);
    source.start();
    ASSERT_TRUE(recorder.Record());
    EXPECT_TRUE(test::waitForWritten(recorder, 3));
    recorder.Stop();
    EXPECT_GE(test::readRecordedFile(path).pictures.size(), 3U);
}

TEST(LRecorderControl, StopWhilePausedFinishesTheFile) {
    const std::string path = temporaryPath("stopped_paused.mov");
    LiveSource source;
    LRecorder recorder;
    test::configure(recorder, path, quick);
    recorder.source = &source;
    source.start();
    ASSERT_TRUE(recorder.Record());
    ASSERT_TRUE(test::waitForWritten(recorder, 5));
    recorder.Pause(true);
    recorder.Stop();
    const test::RecordedFile file = test::readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    EXPECT_GE(file.pictures.size(), 5U);
}

TEST(LRecorderControl, ThreadsMayPressEverythingAtOnce) {
    LiveSource source;
    LRecorder recorder;
    const std::string first = temporaryPath("pressed_1.mov");
    const std::string second = temporaryPath("pressed_2.mov");
    test::configure(recorder, first, quick);
    recorder.source = &source;
    source.start();
    const auto end = std::chrono::steady_clock::now() + 3s;
    std::atomic<int> started{0};
    const auto press = [&](unsigned seed) {
        std::mt19937 random(seed);
        while (std::chrono::steady_clock::now() < end) {
            switch (random() % 8) {
                case 0:
                case 1:
                    started += recorder.Record() ? 1 : 0;
                    break;
                case 2:
                    recorder.Stop();
                    break;
                case 3:
                    recorder.Pause(true);
                    break;
                case 4:
                    recorder.Pause(false);
                    break;
                case 5:
                    recorder.setFilePath(random() % 2 == 0 ? first : second);
                    break;
                case 6:
                    recorder.customSet("g=12");
                    break;
                default: {
                    const LRecorder::Stats stats = statsOf(recorder);
                    EXPECT_GE(stats.secondsRecorded, 0.0);
                    EXPECT_GE(stats.framesWritten, 0);
                }
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(random() % 40));
        }
    };
    std::thread one(press, 1U);
    std::thread two(press, 2U);
    one.join();
    two.join();
    EXPECT_GT(started, 0);
    recorder.Stop();
    EXPECT_EQ(statusOf(recorder), 0);

    // And it is as good as new.
    recorder.setFilePath(first);
    ASSERT_TRUE(recorder.Record());
    ASSERT_TRUE(test::waitForWritten(recorder, 5));
    recorder.Stop();
    EXPECT_EQ(test::readRecordedFile(first).error, "");
}

} // namespace

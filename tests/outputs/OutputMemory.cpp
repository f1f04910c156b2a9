// What takes pictures to files and streams when memory is short: a picture may be lost, the process
// and what was written before must not be.
#include <gtest/gtest.h>

#include <memory>

#include "quolsdk/LRecorder.h"
#include "quolsdk/LStream.h"
#include "support/CapturedStream.h"
#include "support/Feed.h"
#include "support/MemoryShortage.h"
#include "support/RecordedFile.h"
#include "support/Recording.h"
#include "support/Replays.h"
#include "support/Streaming.h"

namespace {

using test::Feed;
using test::temporaryPath;

// Encoders and muxers do not all bear it where their own memory fails.
class OutputMemory : public testing::Test {
protected:
    OutputMemory() { test::refusesFFmpeg = false; }
    ~OutputMemory() override { test::refusesFFmpeg = true; }

    Feed feed{1};
};

// The queue, the pictures, the sound and the files of a recording; on the source's thread, too.
class PoorFeed : public test::WatchedSource {
public:
    // One picture and its sound, and one allocation of the sinks fails, the first, second ...
    void push(int number) {
        const quol::FramePtr picture = test::withMemory([&] {
            return test::makePicture(64, 48, AV_PIX_FMT_YUV420P, number, {1, 25});
        });
        const quol::FramePtr sound = test::withMemory([&] {
            return test::makeSound(1920, 48000, 2, AV_SAMPLE_FMT_FLT, std::int64_t{number} * 1920);
        });
        test::failAfter = number % 12;
        distributeAudioFrame(sound.get());
        distributeVideoFrame(picture.get());
        test::failAfter = -1;
    }
};

// One allocation of the thread that encodes fails, the first, the second ... A packet or a picture
// is lost, or the muxer gives up; what was written before can be played.
TEST_F(OutputMemory, ARecordingLosesPicturesOrEndsAndTheFileIsWhole) {
    test::refusesFFmpeg = true;
    int goneOn = 0;
    for (int number = 0; number < 12; ++number) {
        const std::string path = temporaryPath("short.mp4");
        LRecorder recorder;
        test::configure(recorder, path);
        test::setPictures(recorder, 64, 48, 50);
        recorder.source = &feed;
        ASSERT_TRUE(recorder.Record());
        ASSERT_TRUE(test::waitForWritten(recorder, 5));
        test::refuseOnce(number);
        const std::int64_t before = test::statsOf(recorder).framesWritten;
        EXPECT_TRUE(test::waitUntil([&] {
            return test::statsOf(recorder).framesWritten >= before + 3 ||
                   test::statusOf(recorder) == 0;
        })) << number;
        goneOn += test::statusOf(recorder);
        recorder.Stop();
        const test::RecordedFile file = test::readRecordedFile(path);
        EXPECT_EQ(file.error, "") << number;
        EXPECT_GE(file.pictures.size(), 4U) << number;
    }
    EXPECT_GT(goneOn, 3);
}

// The library's own memory: encoders may crash where theirs fails.
TEST_F(OutputMemory, ARecordingThatCouldNotBeStartedCanBeStartedAgain) {
    const test::CapturedStream errors(test::CapturedStream::Stream::error);
    const std::string path = temporaryPath("started.mp4");
    LRecorder recorder;
    test::configure(recorder, path);
    test::setPictures(recorder, 64, 48, 50);
    recorder.source = &feed;
    bool started = false;
    EXPECT_GT(test::refuseEach(
                  [&] {
                      started = false;
                      started = recorder.Record();
                  },
                  [&] {
                      ASSERT_EQ(test::statusOf(recorder), started ? 1 : 0);
                      recorder.Stop();
                      ASSERT_EQ(feed.sinkCount(), 0U);
                  }),
              5);
    ASSERT_TRUE(recorder.Record());
    EXPECT_TRUE(test::waitForWritten(recorder, 5));
    recorder.Stop();
    EXPECT_EQ(test::readRecordedFile(path).error, "");
}

TEST_F(OutputMemory, APushThatARecorderHasNoneForIsLostAndCounted) {
    const std::string path = temporaryPath("pushed.mp4");
    PoorFeed source;
    LRecorder recorder;
    test::configure(recorder, path);
    test::setPictures(recorder, 64, 48, 25);
    recorder.source = &source;
    ASSERT_TRUE(recorder.Record());
    for (int i = 0; i < 100; ++i) {
        EXPECT_NO_THROW(source.push(i));
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_TRUE(test::waitForWritten(recorder, 5));
    recorder.Stop();
    EXPECT_EQ(test::readRecordedFile(path).error, "");
}

TEST_F(OutputMemory, AStreamLosesPicturesOrItsConnectionAndStopsAsEver) {
    test::refusesFFmpeg = true;
    int goneOn = 0;
    for (int number = 0; number < 12; ++number) {
        const std::string path = temporaryPath("short.ts");
        LStream stream;
        stream.setStreamUrl(path);
        stream.source = &feed;
        ASSERT_TRUE(stream.Start());
        ASSERT_TRUE(test::waitForSent(stream, 5));
        test::refuseOnce(number);
        EXPECT_EQ(test::statusOf(stream), 1) << number;
        const std::int64_t before = test::statsOf(stream).framesSent;
        if (test::waitUntil([&] { return test::statsOf(stream).framesSent >= before + 3; },
                            std::chrono::milliseconds(3000)))
            ++goneOn;
        stream.Stop();
        EXPECT_EQ(test::readRecordedFile(path).error, "") << number;
    }
    EXPECT_GT(goneOn, 3);
}

TEST_F(OutputMemory, AReplayLosesPicturesAndStoresTheNext) {
    test::ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    PoorFeed source;
    source.addSink(&station.replay);
    for (int i = 0; i < 100; ++i)
        EXPECT_NO_THROW(source.push(i));
    source.removeSink(&station.replay);
    station.replay.stopRecording();
    EXPECT_GT(station.replay.getTotalFrames(), 50);
    EXPECT_TRUE(station.after([&] { station.replay.posSet(20); }));
}

} // namespace

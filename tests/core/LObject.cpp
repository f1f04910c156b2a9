#include "quolsdk/LObject.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/Frames.h"

namespace {

using test::CapturedStream;
using test::CollectingSink;
using testing::ElementsAre;

// An object that shows what it keeps from its hosts.
class OpenObject : public LObject {
public:
    using LObject::audioPeakLeft;
    using LObject::audioPeakRight;
    using LObject::clearFrameQueue;
    using LObject::flushSinks;
    using LObject::queuedFrames;
    using LObject::setSinksPaused;

    std::vector<std::int64_t> queuedTimes() {
        const std::lock_guard lock(frameQueueMutex);
        std::vector<std::int64_t> times;
        for (const AVFrame* frame : frameQueue)
            times.push_back(frame->pts);
        return times;
    }
};

quol::FramePtr picture(std::int64_t pts) {
    return test::makePicture(16, 16, AV_PIX_FMT_YUV420P, pts);
}

void distribute(LObject& object, std::int64_t pts) {
    const quol::FramePtr frame = picture(pts);
    object.distributeVideoFrame(frame.get());
}

std::vector<std::int64_t> timesOf(const CollectingSink& sink) {
    std::vector<std::int64_t> times;
    for (const auto& seen : sink.pictures())
        times.push_back(seen.pts);
    return times;
}

std::string line(const char* format, const void* object, const void* sink) {
    char text[128];
    std::snprintf(text, sizeof text, format, object, sink);
    return text;
}

std::string addLine(const LObject& object, const LSink* sink) {
    return line("[LObject] addSink this=%p sink=%p\n", &object, sink);
}

std::string removeLine(const LObject& object, const LSink* sink) {
    return line("[LObject] removeSink this=%p sink=%p\n", &object, sink);
}

TEST(LObject, GetFpsIs25AndGetTimeCodeIsZero) {
    LObject object;
    EXPECT_EQ(object.getFPS(), 25.0);
    EXPECT_EQ(object.getTimeCode(), "00:00:00:00");
}

TEST(LObject, PeaksOfANewOneAreZero) {
    const OpenObject object;
    EXPECT_EQ(object.audioPeakLeft, 0.0F);
    EXPECT_EQ(object.audioPeakRight, 0.0F);
}

TEST(LObject, AddSinkPrintsItsLine) {
    OpenObject object;
    CollectingSink sink;
    CapturedStream out(CapturedStream::Stream::output);
    object.addSink(&sink);
    EXPECT_EQ(out.text(), addLine(object, &sink));
}

TEST(LObject, RemoveSinkPrintsItsLinesOfSuccess) {
    OpenObject object;
    CollectingSink sink;
    object.addSink(&sink);
    CapturedStream out(CapturedStream::Stream::output);
    object.removeSink(&sink);
    EXPECT_EQ(out.text(), removeLine(object, &sink) + "[LObject] removeSink success!\n");
}

TEST(LObject, RemoveSinkOfASinkNeverAddedPrintsTheFailureLineAndChangesNothing) {
    OpenObject object;
    CollectingSink sink;
    CollectingSink stranger;
    object.addSink(&sink);
    {
        CapturedStream out(CapturedStream::Stream::output);
        object.removeSink(&stranger);
        EXPECT_EQ(out.text(),
                  removeLine(object, &stranger) + "[LObject] removeSink FAILED: sink not found!\n");
    }
    distribute(object, 1);
    EXPECT_EQ(sink.pictureCount(), 1U);
    object.removeSink(&sink);
}

TEST(LObject, NothingIsPrintedToTheErrorStream) {
    OpenObject object;
    CollectingSink sink;
    CapturedStream error(CapturedStream::Stream::error);
    object.addSink(&sink);
    object.removeSink(&sink);
    object.removeSink(&sink);
    EXPECT_EQ(error.text(), "");
}

TEST(LObject, SourceWithNoSinksRunFor51FramesHoldsExactly50TheNewestOnes) {
    OpenObject object;
    for (int pts = 0; pts < 50; ++pts) {
        distribute(object, pts);
        EXPECT_EQ(object.queuedFrames(), static_cast<std::size_t>(pts) + 1);
    }
    distribute(object, 50);
    std::vector<std::int64_t> newest;
    for (int pts = 1; pts <= 50; ++pts)
        newest.push_back(pts);
    EXPECT_EQ(object.queuedTimes(), newest);

    for (int pts = 51; pts < 200; ++pts) {
        distribute(object, pts);
        ASSERT_EQ(object.queuedFrames(), 50U);
    }
    EXPECT_EQ(object.queuedTimes().front(), 150);
    EXPECT_EQ(object.queuedTimes().back(), 199);
}

TEST(LObject, SinkAttachedAfterFramesHaveQueuedReceivesOnlyFramesProducedAfterIt) {
    OpenObject object;
    for (int pts = 0; pts < 10; ++pts)
        distribute(object, pts);
    CollectingSink sink;
    object.addSink(&sink);
    EXPECT_EQ(sink.pictureCount(), 0U);
    distribute(object, 10);
    distribute(object, 11);
    EXPECT_THAT(timesOf(sink), ElementsAre(10, 11));
    object.removeSink(&sink);
}

TEST(LObject, QueueIsNotTouchedWhileASinkIsAttached) {
    OpenObject object;
    for (int pts = 0; pts < 3; ++pts)
        distribute(object, pts);
    CollectingSink sink;
    object.addSink(&sink);
    for (int pts = 3; pts < 100; ++pts)
        distribute(object, pts);
    EXPECT_THAT(object.queuedTimes(), ElementsAre(0, 1, 2));
    object.removeSink(&sink);
    distribute(object, 100);
    EXPECT_THAT(object.queuedTimes(), ElementsAre(0, 1, 2, 100));
}

TEST(LObject, SinkAddedTwiceReceivesEveryFrameTwiceUntilItHasBeenRemovedTwice) {
    OpenObject object;
    CollectingSink sink;
    object.addSink(&sink);
    object.addSink(&sink);
    distribute(object, 1);
    EXPECT_THAT(timesOf(sink), ElementsAre(1, 1));
    object.removeSink(&sink);
    distribute(object, 2);
    EXPECT_THAT(timesOf(sink), ElementsAre(1, 1, 2));
    object.removeSink(&sink);
    distribute(object, 3);
    EXPECT_THAT(timesOf(sink), ElementsAre(1, 1, 2));
    EXPECT_EQ(object.queuedFrames(), 1U);
}

// Writes its name into a list that it shares with others.
class NamingSink : public LSink {
public:
    NamingSink(std::string& list, char name) : list_(list), name_(name) {}
    void pushVideoFrame(AVFrame*) override { list_ += name_; }
    void pushAudioFrame(AVFrame*) override { list_ += name_; }
    void flush() override { list_ += name_; }
    void setPaused(bool) override { list_ += name_; }

private:
    std::string& list_;
    char name_;
};

TEST(LObject, SinksAreServedInTheOrderOfAttachmentAndRemovalKeepsIt) {
    OpenObject object;
    std::string list;
    NamingSink a(list, 'a');
    NamingSink b(list, 'b');
    NamingSink c(list, 'c');
    for (LSink* sink : {&c, &a, &b, &a})
        object.addSink(sink);
    const quol::FramePtr sound = test::makeSound(64, 48000, 2, AV_SAMPLE_FMT_S16);

    distribute(object, 0);
    EXPECT_EQ(list, "caba");
    list.clear();
    object.distributeAudioFrame(sound.get());
    EXPECT_EQ(list, "caba");
    list.clear();
    object.flushSinks();
    EXPECT_EQ(list, "caba");
    list.clear();
    object.setSinksPaused(true);
    EXPECT_EQ(list, "caba");
    list.clear();

    object.removeSink(&a); // the first of its two entries
    distribute(object, 1);
    EXPECT_EQ(list, "cba");
    list.clear();
    object.removeSink(&c);
    object.addSink(&c);
    distribute(object, 2);
    EXPECT_EQ(list, "bac");
    for (LSink* sink : {&a, &b, &c})
        object.removeSink(sink);
}

TEST(LObject, SoundReachesEverySinkAndIsDroppedWithNone) {
    OpenObject object;
    const quol::FramePtr sound = test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_S16, 4800);
    object.distributeAudioFrame(sound.get());
    EXPECT_EQ(object.queuedFrames(), 0U);
    CollectingSink first;
    CollectingSink second;
    object.addSink(&first);
    object.addSink(&second);
    EXPECT_EQ(first.soundCount(), 0U);
    object.distributeAudioFrame(sound.get());
    for (const CollectingSink* sink : {&first, &second}) {
        ASSERT_EQ(sink->soundCount(), 1U);
        EXPECT_EQ(sink->sounds()[0].samples, 480);
        EXPECT_DOUBLE_EQ(sink->sounds()[0].seconds, 0.1);
        EXPECT_EQ(sink->pictureCount(), 0U);
    }
    object.removeSink(&first);
    object.removeSink(&second);
}

TEST(LObject, FlushAndPauseReachTheSinks) {
    OpenObject object;
    CollectingSink sink;
    object.addSink(&sink);
    object.setSinksPaused(false);
    object.flushSinks();
    object.setSinksPaused(true);
    EXPECT_THAT(sink.events(), ElementsAre("running", "flush", "paused"));
    object.removeSink(&sink);
    object.flushSinks();
    EXPECT_EQ(sink.events().size(), 3U);
}

TEST(LObject, NullEntriesAreSkipped) {
    OpenObject object;
    CollectingSink sink;
    {
        CapturedStream out(CapturedStream::Stream::output);
        object.addSink(nullptr);
        EXPECT_EQ(out.text(), addLine(object, nullptr));
    }
    object.addSink(&sink);
    distribute(object, 1);
    object.distributeAudioFrame(test::makeSound(64, 48000, 2, AV_SAMPLE_FMT_S16).get());
    object.setSinksPaused(true);
    object.flushSinks();
    EXPECT_EQ(sink.pictureCount(), 1U);
    EXPECT_EQ(sink.soundCount(), 1U);
    EXPECT_THAT(sink.events(), ElementsAre("paused", "flush"));
    object.removeSink(nullptr);
    object.removeSink(&sink);
}

// Tells when its data is given back.
quol::FramePtr countedPicture(std::atomic<int>& freed) {
    quol::FramePtr frame = quol::makeFrame();
    frame->width = 4;
    frame->height = 4;
    frame->format = AV_PIX_FMT_GRAY8;
    auto* data = static_cast<std::uint8_t*>(av_mallocz(64));
    frame->buf[0] = av_buffer_create(
        data, 64,
        [](void* opaque, std::uint8_t* memory) {
            ++*static_cast<std::atomic<int>*>(opaque);
            av_free(memory);
        },
        &freed, 0);
    frame->data[0] = data;
    frame->linesize[0] = 4;
    return frame;
}

TEST(LObject, QueueSharesTheFramesDataAndFreesWhatItDrops) {
    std::atomic<int> freed{0};
    auto object = std::make_unique<OpenObject>();
    for (int i = 0; i < 50; ++i) {
        const quol::FramePtr frame = countedPicture(freed);
        object->distributeVideoFrame(frame.get());
        EXPECT_EQ(av_buffer_get_ref_count(frame->buf[0]), 2);
    }
    EXPECT_EQ(freed, 0);
    for (int i = 0; i < 10; ++i)
        object->distributeVideoFrame(countedPicture(freed).get());
    EXPECT_EQ(freed, 10);
    object.reset(); // the destructor frees every frame of the queue
    EXPECT_EQ(freed, 60);
}

TEST(LObject, ClearFreesEveryQueuedFrame) {
    std::atomic<int> freed{0};
    OpenObject object;
    for (int i = 0; i < 5; ++i)
        object.distributeVideoFrame(countedPicture(freed).get());
    EXPECT_EQ(object.queuedFrames(), 5U);
    object.clearFrameQueue();
    EXPECT_EQ(object.queuedFrames(), 0U);
    EXPECT_EQ(freed, 5);
    object.clearFrameQueue();
    EXPECT_EQ(freed, 5);
}

TEST(LObject, FrameGivenToSinksStaysTheCallers) {
    std::atomic<int> freed{0};
    OpenObject object;
    CollectingSink forgetful;
    CollectingSink keeping(1);
    object.addSink(&forgetful);
    object.addSink(&keeping);
    quol::FramePtr frame = countedPicture(freed);
    object.distributeVideoFrame(frame.get());
    EXPECT_EQ(av_buffer_get_ref_count(frame->buf[0]), 2); // its own and the keeping sink's
    EXPECT_EQ(keeping.latestPicture()->data[0], frame->data[0]);
    frame.reset();
    EXPECT_EQ(freed, 0);
    keeping.clear();
    EXPECT_EQ(freed, 1);
    object.removeSink(&forgetful);
    object.removeSink(&keeping);
}

TEST(LObject, SinkOutlivesItsSource) {
    CollectingSink sink;
    {
        OpenObject object;
        object.addSink(&sink);
        distribute(object, 1);
    } // the source's end does not touch it
    EXPECT_EQ(sink.pictureCount(), 1U);
    EXPECT_TRUE(sink.events().empty());
}

// Stands in a push until it is let go.
class HoldingSink : public LSink {
public:
    void pushVideoFrame(AVFrame*) override {
        std::unique_lock lock(mutex_);
        entered_ = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return released_; });
    }
    void pushAudioFrame(AVFrame* frame) override { pushVideoFrame(frame); }

    void waitForEntry() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return entered_; });
    }
    void release() {
        const std::lock_guard lock(mutex_);
        released_ = true;
        changed_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool entered_ = false;
    bool released_ = false;
};

// Runs `operation` while a push stands in the sink, and tells whether it waited for its end.
template <typename Push, typename Operation>
void expectToWaitForPush(HoldingSink& sink, Push push, Operation operation) {
    std::thread source(push);
    sink.waitForEntry();
    std::atomic<bool> done{false};
    std::thread host([&] {
        operation();
        done = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(done);
    sink.release();
    host.join();
    source.join();
    EXPECT_TRUE(done);
}

TEST(LObjectThreads, RemoveSinkWaitsForARunningPush) {
    OpenObject object;
    HoldingSink sink;
    object.addSink(&sink);
    expectToWaitForPush(
        sink, [&] { distribute(object, 1); }, [&] { object.removeSink(&sink); });
    distribute(object, 2);
    EXPECT_EQ(object.queuedFrames(), 1U);
}

TEST(LObjectThreads, RemoveSinkWaitsForARunningPushOfSound) {
    OpenObject object;
    HoldingSink sink;
    object.addSink(&sink);
    const quol::FramePtr sound = test::makeSound(64, 48000, 2, AV_SAMPLE_FMT_S16);
    expectToWaitForPush(
        sink, [&] { object.distributeAudioFrame(sound.get()); }, [&] { object.removeSink(&sink); });
}

TEST(LObjectThreads, AddSinkWaitsForARunningPush) {
    OpenObject object;
    HoldingSink sink;
    CollectingSink late;
    object.addSink(&sink);
    expectToWaitForPush(
        sink, [&] { distribute(object, 1); }, [&] { object.addSink(&late); });
    EXPECT_EQ(late.pictureCount(), 0U);
    object.removeSink(&sink);
    object.removeSink(&late);
}

// Knows whether it may be called.
class WatchedSink : public LSink {
public:
    void pushVideoFrame(AVFrame*) override { count(); }
    void pushAudioFrame(AVFrame*) override { count(); }
    void flush() override { count(); }
    void setPaused(bool) override { count(); }

    std::atomic<bool> attached{false};
    std::atomic<int> wrong{0};
    std::atomic<int> calls{0};

private:
    void count() {
        ++calls;
        if (!attached) ++wrong;
    }
};

TEST(LObjectThreads, SinksComeAndGoWhileAnotherThreadDistributes) {
    CapturedStream quiet(CapturedStream::Stream::output);
    OpenObject object;
    std::atomic<bool> running{true};
    std::thread video([&] {
        for (std::int64_t pts = 0; running; ++pts)
            distribute(object, pts);
    });
    std::thread audio([&] {
        const quol::FramePtr sound = test::makeSound(64, 48000, 2, AV_SAMPLE_FMT_S16);
        while (running)
            object.distributeAudioFrame(sound.get());
    });
    std::thread control([&] {
        while (running) {
            object.setSinksPaused(true);
            object.flushSinks();
            object.clearFrameQueue();
            EXPECT_LE(object.queuedFrames(), 50U);
        }
    });
    std::atomic<int> wrong{0};
    std::atomic<int> calls{0};
    const auto host = [&] {
        for (int i = 0; i < 100; ++i) {
            WatchedSink sink;
            sink.attached = true;
            object.addSink(&sink);
            while (sink.calls == 0)
                std::this_thread::yield();
            object.removeSink(&sink);
            sink.attached = false; // no call from here on, and soon no sink
            std::this_thread::yield();
            wrong += sink.wrong;
            calls += sink.calls;
        }
    };
    std::thread first(host);
    std::thread second(host);
    first.join();
    second.join();
    running = false;
    video.join();
    audio.join();
    control.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_GE(calls, 200);
}

TEST(LObjectThreads, SeveralSourcesMayServeOneSink) {
    CapturedStream quiet(CapturedStream::Stream::output);
    OpenObject first;
    OpenObject second;
    CollectingSink sink;
    first.addSink(&sink);
    second.addSink(&sink);
    const auto work = [](OpenObject& object) {
        for (int pts = 0; pts < 300; ++pts)
            distribute(object, pts);
    };
    std::thread other(work, std::ref(second));
    work(first);
    other.join();
    EXPECT_EQ(sink.pictureCount(), 600U);
    first.removeSink(&sink);
    second.removeSink(&sink);
}

} // namespace

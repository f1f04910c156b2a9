// What holds for every consumer that is attached to nothing, or to a source that says nothing.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "quolsdk/LFrame.h"
#include "quolsdk/LObject.h"
#include "quolsdk/LRecorder.h"
#include "support/CapturedStream.h"
#include "support/Frames.h"

namespace {

using test::CapturedStream;

// Whether nothing has come in yet.
bool isUntouched(LFrame& sink) {
    return sink.getVideo().width == 0 && sink.getVideo().rgba.empty() &&
           sink.getAudio().samples == 0 && sink.getAudio().audio.empty();
}

bool isUntouched(LRecorder& sink) {
    LRecorder::Stats stats;
    sink.getStats(stats);
    return stats.state == 0 && stats.framesWritten == 0 && stats.framesDropped == 0 &&
           stats.secondsRecorded == 0.0 && stats.fileSize == 0;
}

template <typename T>
class AnySink : public testing::Test {
protected:
    std::unique_ptr<T> sink = std::make_unique<T>();
};

using Classes = testing::Types<LFrame, LRecorder>;

class ClassNames {
public:
    template <typename T>
    static std::string GetName(int) {
        return std::is_same_v<T, LFrame> ? "LFrame" : "LRecorder";
    }
};

TYPED_TEST_SUITE(AnySink, Classes, ClassNames);

TYPED_TEST(AnySink, NullFramesAreIgnored) {
    CapturedStream out(CapturedStream::Stream::output);
    CapturedStream error(CapturedStream::Stream::error);
    this->sink->pushVideoFrame(nullptr);
    this->sink->pushAudioFrame(nullptr);
    EXPECT_TRUE(isUntouched(*this->sink));
    EXPECT_EQ(out.text(), "");
    EXPECT_EQ(error.text(), "");
}

TYPED_TEST(AnySink, FlushAndSetPausedAreHarmlessWhenIdle) {
    CapturedStream out(CapturedStream::Stream::output);
    CapturedStream error(CapturedStream::Stream::error);
    for (int i = 0; i < 3; ++i) {
        this->sink->flush();
        this->sink->setPaused(true);
        this->sink->setPaused(true);
        this->sink->flush();
        this->sink->setPaused(false);
    }
    EXPECT_TRUE(isUntouched(*this->sink));
    EXPECT_EQ(out.text(), "");
    EXPECT_EQ(error.text(), "");
}

TYPED_TEST(AnySink, KeepsNoReferenceToWhatItCannotUse) {
    LSink& sink = *this->sink;
    const quol::FramePtr empty = quol::makeFrame();
    sink.pushVideoFrame(empty.get());
    sink.pushAudioFrame(empty.get());
    EXPECT_TRUE(isUntouched(*this->sink));
}

TYPED_TEST(AnySink, LeavesFramesAsTheyWere) {
    LSink& sink = *this->sink;
    const quol::FramePtr frame = test::makePicture(32, 16, AV_PIX_FMT_YUV420P, 5);
    const quol::FramePtr same = test::makePicture(32, 16, AV_PIX_FMT_YUV420P, 5);
    const quol::FramePtr sound = test::makeSound(64, 48000, 2, AV_SAMPLE_FMT_FLTP, 5);
    sink.pushVideoFrame(frame.get());
    sink.pushAudioFrame(sound.get());
    EXPECT_EQ(frame->pts, 5);
    EXPECT_EQ(frame->width, 32);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(frame->buf[0]->data), frame->buf[0]->size),
              std::string(reinterpret_cast<char*>(same->buf[0]->data), same->buf[0]->size));
    EXPECT_EQ(sound->pts, 5);
    EXPECT_EQ(sound->nb_samples, 64);
    EXPECT_EQ(av_buffer_get_ref_count(frame->buf[0]), 1);
    EXPECT_EQ(av_buffer_get_ref_count(sound->buf[0]), 1);
}

TYPED_TEST(AnySink, ComesToASourceAndLeavesItAgain) {
    LObject source;
    source.addSink(this->sink.get());
    source.addSink(this->sink.get());
    source.removeSink(this->sink.get());
    source.removeSink(this->sink.get());
    source.distributeVideoFrame(test::makePicture(32, 16, AV_PIX_FMT_YUV420P).get());
    EXPECT_TRUE(isUntouched(*this->sink));
    this->sink.reset();
    source.distributeVideoFrame(test::makePicture(32, 16, AV_PIX_FMT_YUV420P).get());
}

TYPED_TEST(AnySink, IsDestroyedByItsBaseWithoutEverHavingBeenUsed) {
    CapturedStream out(CapturedStream::Stream::output);
    CapturedStream error(CapturedStream::Stream::error);
    const std::unique_ptr<LSink> base = std::move(this->sink);
    EXPECT_NE(base, nullptr);
    EXPECT_EQ(out.text(), "");
    EXPECT_EQ(error.text(), "");
}

TYPED_TEST(AnySink, TakesCallsOfSeveralThreads) {
    LSink& sink = *this->sink;
    const auto work = [&sink] {
        const quol::FramePtr frame = test::makePicture(32, 16, AV_PIX_FMT_YUV420P);
        const quol::FramePtr sound = test::makeSound(64, 48000, 2, AV_SAMPLE_FMT_S16);
        for (int i = 0; i < 100; ++i) {
            sink.pushVideoFrame(frame.get());
            sink.pushAudioFrame(sound.get());
            sink.pushVideoFrame(nullptr);
            sink.pushAudioFrame(nullptr);
            sink.setPaused(i % 2 == 0);
            sink.flush();
        }
        EXPECT_EQ(av_buffer_get_ref_count(frame->buf[0]), 1);
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back(work);
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace

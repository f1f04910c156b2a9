// What holds for every source, whatever else it is: the answers that a class leaves as they are,
// and sinks that come and go.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "quolsdk/LFile.h"
#include "quolsdk/LFilter.h"
#include "quolsdk/LObject.h"
#include "quolsdk/LSignal.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/Frames.h"

namespace {

using test::CapturedStream;
using test::CollectingSink;

template <typename T>
std::unique_ptr<LObject> make() {
    if constexpr (std::is_same_v<T, LFilter>)
        return std::make_unique<LFilter>(LFilter::Type::video);
    else
        return std::make_unique<T>();
}

template <typename T>
class AnyObject : public testing::Test {
protected:
    std::unique_ptr<LObject> object = make<T>();
};

using Classes = testing::Types<LObject, LFilter, LSignal, LFile>;

class ClassNames {
public:
    template <typename T>
    static std::string GetName(int) {
        if (std::is_same_v<T, LFilter>) return "LFilter";
        if (std::is_same_v<T, LSignal>) return "LSignal";
        if (std::is_same_v<T, LFile>) return "LFile";
        return "LObject";
    }
};

TYPED_TEST_SUITE(AnyObject, Classes, ClassNames);

TYPED_TEST(AnyObject, AnswersWithTheDefaultsBeforeItRuns) {
    LObject& object = *this->object;
    EXPECT_EQ(object.getTimeCode(), "00:00:00:00");
    EXPECT_EQ(object.getFPS(), 25.0);
    EXPECT_EQ(object.getWidth(), 0);
    EXPECT_EQ(object.getHeight(), 0);
    EXPECT_EQ(object.getModeName(), "Default");
    int status = -7;
    object.statusGet(status);
    EXPECT_EQ(status, 0);
}

TYPED_TEST(AnyObject, CannotBePulled) {
    LObject& object = *this->object;
    EXPECT_FALSE(std::as_const(object).canPullRender());
    EXPECT_EQ(object.renderVideoFrame(), nullptr);
    object.removePullConsumer();
    object.addPullConsumer();
    object.addPullConsumer();
    object.removePullConsumer();
    EXPECT_FALSE(object.canPullRender());
    EXPECT_EQ(object.renderVideoFrame(), nullptr);
}

TYPED_TEST(AnyObject, IsDestroyedWithoutEverHavingStarted) {
    CapturedStream out(CapturedStream::Stream::output);
    CapturedStream error(CapturedStream::Stream::error);
    this->object.reset();
    EXPECT_EQ(out.text(), "");
    EXPECT_EQ(error.text(), "");
}

TYPED_TEST(AnyObject, IsDestroyedWithFramesInItsQueue) {
    const quol::FramePtr frame = test::makePicture(16, 16, AV_PIX_FMT_YUV420P);
    for (int i = 0; i < 60; ++i)
        this->object->distributeVideoFrame(frame.get());
    EXPECT_EQ(av_buffer_get_ref_count(frame->buf[0]), 51);
    this->object.reset();
    EXPECT_EQ(av_buffer_get_ref_count(frame->buf[0]), 1);
}

TYPED_TEST(AnyObject, HandsFramesToItsSinksUntilTheyAreRemoved) {
    LObject& object = *this->object;
    CollectingSink first;
    CollectingSink second;
    const quol::FramePtr frame = test::makePicture(16, 16, AV_PIX_FMT_YUV420P);
    const quol::FramePtr sound = test::makeSound(64, 48000, 2, AV_SAMPLE_FMT_S16);
    const auto distribute = [&] {
        object.distributeVideoFrame(frame.get());
        object.distributeAudioFrame(sound.get());
    };
    object.addSink(&first);
    distribute();
    object.addSink(&second);
    distribute();
    object.removeSink(&first);
    distribute();
    object.removeSink(&second);
    distribute();
    EXPECT_EQ(first.pictureCount(), 2U);
    EXPECT_EQ(first.soundCount(), 2U);
    EXPECT_EQ(second.pictureCount(), 2U);
    EXPECT_EQ(second.soundCount(), 2U);
}

TYPED_TEST(AnyObject, AddingAndRemovingTellsTheSinkNothing) {
    CollectingSink sink;
    this->object->addSink(&sink);
    this->object->removeSink(&sink);
    this->object->removeSink(&sink);
    EXPECT_TRUE(sink.events().empty());
    EXPECT_EQ(sink.pictureCount(), 0U);
    EXPECT_EQ(sink.soundCount(), 0U);
}

TYPED_TEST(AnyObject, QuestionsAndSinksFromSeveralThreads) {
    CapturedStream quiet(CapturedStream::Stream::output);
    LObject& object = *this->object;
    const auto work = [&object] {
        CollectingSink sink;
        const quol::FramePtr frame = test::makePicture(16, 16, AV_PIX_FMT_YUV420P);
        for (int i = 0; i < 100; ++i) {
            object.addSink(&sink);
            object.distributeVideoFrame(frame.get());
            int status = 0;
            object.statusGet(status);
            object.getFPS();
            object.getWidth();
            object.getHeight();
            object.getTimeCode();
            object.getModeName();
            object.removeSink(&sink);
        }
        EXPECT_GE(sink.pictureCount(), 100U);
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back(work);
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace

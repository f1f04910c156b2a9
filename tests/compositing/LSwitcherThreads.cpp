// A switcher by its own clock, on demand, and in circles.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "core/Clock.h"
#include "quolsdk/LMixer.h"
#include "support/FilePlayer.h"
#include "support/MachineWatch.h"
#include "support/RunningSwitcher.h"
#include "support/ThisProcess.h"

namespace {

using test::bright;
using test::CollectingSink;
using test::customVideo;
using test::endsWithThreads;
using test::grey;
using test::Levels;
using test::plainPicture;
using test::PulledSource;
using test::RunningSwitcher;
using test::statsOf;
using test::threadsWhenIdle;
using test::waitUntil;
using namespace std::chrono_literals;

constexpr int width = test::runningWidth;
constexpr int height = test::runningHeight;

// A source that keeps whoever pulls until it is told otherwise.
class HoldingSource : public PulledSource {
public:
    using PulledSource::PulledSource;
    AVFrame* renderVideoFrame() override {
        isHeld = isHolding.load();
        while (isHolding)
            std::this_thread::sleep_for(1ms);
        isHeld = false;
        return PulledSource::renderVideoFrame();
    }

    std::atomic<bool> isHolding{false};
    std::atomic<bool> isHeld{false}; // somebody waits
};

// Whether every picture has the number behind that of the one before.
bool areConsecutive(const std::vector<test::PictureSeen>& pictures) {
    for (std::size_t i = 1; i < pictures.size(); ++i) {
        if (pictures[i].pts != pictures[i - 1].pts + 1) return false;
    }
    return true;
}

} // namespace

// ---------------------------------------------------------------------------------- its own clock

TEST(LSwitcherThreads, ByItsOwnClockNoPictureIsLeftOutAndNoneComesTooEarly) {
    PulledSource source(plainPicture(1280, 720, grey));
    CollectingSink sink;
    const std::int64_t start = quol::steadyNow();
    LSwitcher switcher; // 50 a second as it is made
    switcher.addSink(&sink);
    switcher.setProgram(&source);
    ASSERT_TRUE(sink.waitForPictures(100));
    switcher.removeSink(&sink);
    const std::vector<test::PictureSeen> pictures = sink.pictures();
    EXPECT_TRUE(areConsecutive(pictures));
    for (const test::PictureSeen& picture : pictures)
        EXPECT_GE(picture.arrived - start, picture.pts * 20 * quol::nanosPerMilli);
    // The rate is that of the format in the long run, however busy the machine is.
    EXPECT_TRUE(waitUntil([&] {
        const double rate = statsOf(switcher).renderRate;
        return rate > 45.0 && rate < 55.0;
    }));
    switcher.setProgram(nullptr);
}

TEST(LSwitcherThreads, PicturesThatAreLateAreMadeUpFor) {
    HoldingSource source(plainPicture(width, height, grey));
    RunningSwitcher running;
    running.switcher.setProgram(&source);
    ASSERT_TRUE(running.sink.waitForPictures(3));
    source.isHolding = true;
    ASSERT_TRUE(waitUntil([&] { return source.isHeld.load(); }));
    const test::PictureSeen before = running.sink.pictures().back();
    std::this_thread::sleep_for(600ms);
    source.isHolding = false;
    // The clock comes back to where it would be.
    EXPECT_TRUE(waitUntil([&] {
        const test::PictureSeen last = running.sink.pictures().back();
        const double passed = static_cast<double>(last.arrived - before.arrived) / 1.0e9;
        return last.pts > before.pts + 30 &&
               static_cast<double>(last.pts - before.pts) > passed * 50.0 - 5.0;
    }));
    EXPECT_TRUE(areConsecutive(running.sink.pictures()));
}

TEST(LSwitcherThreads, AnotherRateCountsFromTheNextPictureOn) {
    PulledSource source(plainPicture(width, height, grey));
    RunningSwitcher running;
    running.switcher.setProgram(&source);
    ASSERT_TRUE(running.sink.waitForPictures(3));
    running.switcher.setVideoFormat(
        customVideo(width, height, 0.001, 1)); // a picture in 17 minutes
    ASSERT_TRUE(waitUntil([&] { return running.standsStill(); }));
    running.switcher.setVideoFormat(customVideo(width, height, 100.0, 1));
    EXPECT_TRUE(running.goesOn(50));
    EXPECT_TRUE(areConsecutive(running.sink.pictures()));
}

// --------------------------------------------------------------------------------------- on demand

TEST(LSwitcherThreads, TheClockStandsFromTheFirstConsumerToTheLast) {
    const int idle = threadsWhenIdle();
    PulledSource source(plainPicture(width, height, grey));
    RunningSwitcher running;
    running.switcher.setProgram(&source);
    ASSERT_TRUE(running.goesOn());
    running.switcher.addPullConsumer();
    EXPECT_TRUE(endsWithThreads(idle)) << "its thread has ended";
    running.switcher.addPullConsumer();
    running.switcher.removePullConsumer();
    EXPECT_TRUE(running.standsStill()) << "there is one still";
    // What would start it does not.
    running.switcher.ensureRunning();
    running.switcher.setCutTransition();
    running.switcher.setPreview(nullptr);
    running.switcher.setProgram(&source);
    running.switcher.setTransition(0.0F);
    EXPECT_TRUE(running.standsStill());
    EXPECT_EQ(test::threadsOfThisProcess(), idle);

    running.sink.clear();
    running.switcher.removePullConsumer();
    ASSERT_TRUE(running.goesOn());
    EXPECT_EQ(running.sink.sounds().front().seconds, 0.0) << "counted anew";
    EXPECT_NEAR(statsOf(running.switcher).drift, 0.0, 1.0e-6) << "the sound too";
    EXPECT_TRUE(running.shows(grey));
}

TEST(LSwitcherThreads, ARequestIsOneTickOnTheThreadThatAsks) {
    const int idle = threadsWhenIdle();
    PulledSource source(plainPicture(width, height, grey));
    RunningSwitcher running;
    running.switcher.setProgram(&source);
    running.switcher.addPullConsumer();
    ASSERT_TRUE(endsWithThreads(idle));
    running.sink.clear();
    for (std::size_t i = 1; i <= 20; ++i) {
        const std::int64_t index = statsOf(running.switcher).frameCount;
        const int renders = source.renders;
        const quol::FramePtr picture(running.switcher.renderVideoFrame());
        ASSERT_NE(picture, nullptr);
        EXPECT_EQ(picture->pts, index);
        EXPECT_EQ(test::levelsAt(picture.get(), 5, 5), grey);
        EXPECT_EQ(statsOf(running.switcher).frameCount, index + 1);
        EXPECT_EQ(source.renders, renders + 1);
        EXPECT_EQ(running.sink.pictureCount(), i) << "its own sinks see it too";
        EXPECT_EQ(running.sink.soundCount(), i);
    }
    running.switcher.removePullConsumer();
}

TEST(LSwitcherThreads, SigningOffWithoutHavingSignedOnDoesNotCount) {
    const int idle = threadsWhenIdle();
    RunningSwitcher running;
    running.switcher.removePullConsumer();
    running.switcher.removePullConsumer();
    EXPECT_TRUE(running.goesOn());
    running.switcher.addPullConsumer();
    EXPECT_TRUE(endsWithThreads(idle));
    running.switcher.removePullConsumer();
    EXPECT_TRUE(running.goesOn());
}

TEST(LSwitcherThreads, ConsumersComeAndGoFromManyThreadsAndTheClockGoesOnAfterwards) {
    PulledSource source(plainPicture(width, height, grey));
    RunningSwitcher running(200.0);
    running.switcher.setProgram(&source);
    std::atomic<int> got{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            for (int round = 0; round < 200; ++round) {
                running.switcher.addPullConsumer();
                for (int n = 0; n < (round + i) % 3; ++n)
                    got += quol::FramePtr(running.switcher.renderVideoFrame()) ? 1 : 0;
                running.switcher.removePullConsumer();
                if (round % 50 == 0) std::this_thread::sleep_for(20ms); // its thread may run
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_GT(got, 0);
    EXPECT_TRUE(running.goesOn(10));
    // By one thread only: picture 0 of a new clock is not followed by those of an old one.
    running.sink.clear();
    EXPECT_TRUE(running.goesOn(50));
    EXPECT_TRUE(areConsecutive(running.sink.pictures()));
}

TEST(LSwitcherThreads, ConsumersWithNothingToDoBetweenLeaveTheClockGoing) {
    RunningSwitcher running(100.0);
    for (int round = 0; round < 2000; ++round) {
        running.switcher.addPullConsumer();
        running.switcher.removePullConsumer();
    }
    EXPECT_TRUE(running.goesOn(10));
}

TEST(LSwitcherThreads, WhoWaitsTooLongForAnothersPictureGetsNone) {
    const int idle = threadsWhenIdle();
    HoldingSource source(plainPicture(width, height, grey));
    RunningSwitcher running;
    running.switcher.setProgram(&source);
    running.switcher.addPullConsumer();
    ASSERT_TRUE(endsWithThreads(idle));
    source.isHolding = true;
    quol::FramePtr first;
    std::thread other([&] { first.reset(running.switcher.renderVideoFrame()); });
    EXPECT_TRUE(waitUntil([&] { return source.isHeld.load(); }));
    test::measured([&](test::MachineWatch& machine) {
        machine.begin();
        const test::Stopwatch watch;
        EXPECT_EQ(quol::FramePtr(running.switcher.renderVideoFrame()), nullptr);
        EXPECT_GE(watch.seconds(), 0.1);
        EXPECT_LT(watch.seconds(), 0.2);
    });
    source.isHolding = false;
    other.join();
    EXPECT_NE(first, nullptr);
    EXPECT_NE(quol::FramePtr(running.switcher.renderVideoFrame()), nullptr);
    running.switcher.removePullConsumer();
}

// ----------------------------------------------------------------- switchers that show each other

TEST(LSwitcherThreads, AChainIsPulledTickByTick) {
    PulledSource source(plainPicture(width, height, grey));
    LMixer mixer(LMixer::Renderer::processor);
    mixer.setVideoFormat(customVideo(width, height, 50, 1));
    mixer.addLayer("a", &source);
    RunningSwitcher inner;
    RunningSwitcher outer;
    inner.switcher.setProgram(&mixer);
    outer.switcher.setProgram(&inner.switcher);
    EXPECT_TRUE(outer.shows(grey));
    EXPECT_TRUE(inner.shows(grey));
    EXPECT_TRUE(areConsecutive(inner.sink.pictures()));
    outer.switcher.addPullConsumer();
    ASSERT_TRUE(waitUntil([&] { return outer.standsStill() && inner.standsStill(); }));
    for (int i = 0; i < 10; ++i) {
        const std::int64_t before = statsOf(inner.switcher).frameCount;
        const quol::FramePtr picture(outer.switcher.renderVideoFrame());
        ASSERT_NE(picture, nullptr);
        EXPECT_EQ(test::levelsAt(picture.get(), 5, 5), grey);
        EXPECT_EQ(statsOf(inner.switcher).frameCount, before + 1);
    }
    EXPECT_EQ(source.consumers, 1);
    outer.switcher.removePullConsumer();
    EXPECT_TRUE(outer.goesOn());
    EXPECT_TRUE(inner.goesOn());
    outer.switcher.setProgram(nullptr);
    EXPECT_TRUE(inner.goesOn(10)) << "by its own clock again";
    inner.switcher.setProgram(nullptr);
    mixer.removeLayer("a");
    EXPECT_EQ(source.consumers, 0);
}

TEST(LSwitcherThreads, ASwitcherOnBothLayersRendersOnceForEachTick) {
    const int idle = threadsWhenIdle();
    PulledSource source(plainPicture(width, height, grey));
    RunningSwitcher inner;
    RunningSwitcher outer;
    inner.switcher.setProgram(&source);
    outer.switcher.setProgram(&inner.switcher);
    outer.switcher.setPreview(&inner.switcher);
    outer.switcher.setTransition(0.5F);
    outer.switcher.addPullConsumer();
    ASSERT_TRUE(endsWithThreads(idle));
    for (int i = 0; i < 5; ++i) {
        // Two that ask within one tick's time are given the same picture.
        std::this_thread::sleep_for(50ms);
        const std::int64_t before = statsOf(inner.switcher).frameCount;
        EXPECT_NE(quol::FramePtr(outer.switcher.renderVideoFrame()), nullptr);
        EXPECT_EQ(statsOf(inner.switcher).frameCount, before + 1);
    }
    outer.switcher.removePullConsumer();
}

TEST(LSwitcherThreads, ASwitcherAndItsPreviewAreNeverItsOwnSource) {
    PulledSource source(plainPicture(width, height, grey));
    PulledSource other(plainPicture(width, height, bright));
    RunningSwitcher running;
    LSwitcher& switcher = running.switcher;
    running.switcher.setProgram(&source);
    for (LObject* const own :
         {static_cast<LObject*>(&switcher), static_cast<LObject*>(switcher.getPreviewObject())}) {
        switcher.setPreview(nullptr);
        switcher.setPreview(own);
        EXPECT_EQ(switcher.getCurrentPreviewSource(), nullptr);
        switcher.setPreview(&other);
        switcher.setPreview(own);
        EXPECT_EQ(switcher.getCurrentPreviewSource(), &other) << "what is there stays";
        switcher.setProgram(own);
        EXPECT_EQ(source.consumers, 1);
        EXPECT_EQ(source.sinkCount(), 1U);
        EXPECT_TRUE(running.shows(grey)) << "and its clock goes on";
        switcher.setTransition(0.5F);
        EXPECT_EQ(switcher.getCurrentPreviewSource(), &source);
        switcher.setPreview(own);
        switcher.setTransition(0.0F);
        switcher.setCutTransition();
        EXPECT_TRUE(running.shows(bright));
        switcher.setCutTransition();
    }
}

TEST(LSwitcherThreads, SwitchersThatShowEachOtherDoNotHang) {
    PulledSource source(plainPicture(width, height, grey));
    std::array<RunningSwitcher, 3> ring;
    for (const std::size_t length : {2U, 3U}) {
        for (std::size_t i = 0; i < length; ++i) {
            ring.at(i).switcher.setProgram(&ring.at((i + 1) % length).switcher);
            ring.at(i).switcher.setPreview(&source);
            ring.at(i).switcher.setTransition(0.5F);
        }
        // Each is the other's consumer, so that all of them wait to be asked.
        std::vector<std::thread> threads;
        std::atomic<int> pictures{0};
        for (std::size_t i = 0; i < length; ++i) {
            threads.emplace_back([&, i] {
                for (int n = 0; n < 20; ++n)
                    pictures += quol::FramePtr(ring.at(i).switcher.renderVideoFrame()) ? 1 : 0;
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_GT(pictures, 0) << length;
        for (RunningSwitcher& each : ring) {
            each.switcher.setProgram(nullptr);
            each.switcher.setPreview(nullptr);
            each.switcher.setTransition(0.0F);
            each.switcher.setProgram(nullptr);
        }
        for (RunningSwitcher& each : ring)
            EXPECT_TRUE(each.goesOn()) << "by its own clock again";
    }
    EXPECT_EQ(source.consumers, 0);
}

// A switcher by its own clock and on demand, under the hands of many threads, and its end.
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "core/Clock.h"
#include "quolsdk/LCharacter.h"
#include "quolsdk/LMixer.h"
#include "quolsdk/LSwitcher.h"
#include "support/CapturedStream.h"
#include "support/ClipFile.h"
#include "support/CollectingSink.h"
#include "support/PlainFrames.h"
#include "support/RunningMixer.h"
#include "support/SteppedTitles.h"

namespace {

using test::CollectingSink;
using test::customVideo;
using test::Levels;
using test::LiveSource;
using test::plainPicture;
using test::PulledSource;
using test::waitUntil;
using test::WatchedSource;
using namespace std::chrono_literals;

constexpr Levels grey{100, 90, 160};
constexpr Levels bright{200, 140, 110};
constexpr int width = 64;
constexpr int height = 48;

// Instrumented programs are many times slower, and keep what is freed for a while.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool isInstrumented = true;
constexpr std::int64_t stressNanos = 2 * quol::nanosPerSecond;
constexpr int lives = 40;
#else
constexpr bool isInstrumented = false;
constexpr std::int64_t stressNanos = 5 * quol::nanosPerSecond;
constexpr int lives = 200;
#endif

// Threads of a process in which nothing runs. Asked for with a thread that is certain to be there:
// one that has just ended may be counted or not.
int idleThreads() {
    int threads = 0;
    std::thread([&threads] { threads = test::threadsOfThisProcess() - 1; }).join();
    return threads;
}

bool endsWithThreads(int count) {
    return waitUntil([count] { return test::threadsOfThisProcess() <= count; });
}

// Memory of this process that lies in the machine's, in KiB.
long residentKiB() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word != "VmRSS:") continue;
        long value = 0;
        status >> value;
        return value;
    }
    return -1;
}

LSwitcher::SwitcherStats statsOf(LSwitcher& switcher) {
    LSwitcher::SwitcherStats stats;
    switcher.getStats(stats);
    return stats;
}

// A switcher on a small canvas with a sink. Sources are to be made before it.
struct RunningSwitcher {
    explicit RunningSwitcher(double fps = 50.0) {
        switcher.setVideoFormat(customVideo(width, height, fps, 1));
        switcher.addSink(&sink);
    }
    ~RunningSwitcher() {
        switcher.setProgram(nullptr);
        switcher.setPreview(nullptr);
        switcher.removeSink(&sink);
    }
    RunningSwitcher(const RunningSwitcher&) = delete;
    RunningSwitcher& operator=(const RunningSwitcher&) = delete;

    // Whether its clock goes: every tick has its sound, whatever there is to see.
    bool goesOn(std::size_t ticks = 3) { return sink.waitForSounds(sink.soundCount() + ticks); }
    // Whether nothing comes for a while in which much should have.
    bool standsStill() {
        const std::size_t sounds = sink.soundCount();
        std::this_thread::sleep_for(300ms);
        return sink.soundCount() == sounds;
    }
    bool shows(const Levels& levels) {
        return waitUntil(
            [&] { return test::levelsAt(sink.latestPicture().get(), 5, 5) == levels; });
    }

    CollectingSink sink{1};
    LSwitcher switcher;
};

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
    const int idle = idleThreads();
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
    EXPECT_TRUE(running.shows(grey));
}

TEST(LSwitcherThreads, ARequestIsOneTickOnTheThreadThatAsks) {
    const int idle = idleThreads();
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
    const int idle = idleThreads();
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
    const int idle = idleThreads();
    HoldingSource source(plainPicture(width, height, grey));
    RunningSwitcher running;
    running.switcher.setProgram(&source);
    running.switcher.addPullConsumer();
    ASSERT_TRUE(endsWithThreads(idle));
    source.isHolding = true;
    quol::FramePtr first;
    std::thread other([&] { first.reset(running.switcher.renderVideoFrame()); });
    EXPECT_TRUE(waitUntil([&] { return source.isHeld.load(); }));
    EXPECT_EQ(quol::FramePtr(running.switcher.renderVideoFrame()), nullptr);
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
    const int idle = idleThreads();
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

// ----------------------------------------------------------------------------- orders of the end

namespace {

std::string longClip() {
    static const std::string path = test::alphaClip("switched", test::countingPictures(150));
    return path;
}

} // namespace

TEST(LSwitcherThreads, DestroyedInTheMiddleOfAutomaticTransitions) {
    const int idle = idleThreads();
    PulledSource a(plainPicture(width, height, grey));
    PulledSource b(plainPicture(width, height, bright));
    test::CapturedStream out(test::CapturedStream::Stream::output);
    for (const int transitions : {1, 2, 5}) {
        for (const bool waits : {false, true}) {
            CollectingSink sink;
            auto switcher = std::make_unique<LSwitcher>();
            switcher->setVideoFormat(customVideo(width, height, 50, 1));
            switcher->addSink(&sink);
            switcher->setProgram(&a);
            switcher->setPreview(&b);
            for (int i = 0; i < transitions; ++i)
                switcher->setAutoTransition(3600.0 * 1000.0);
            if (waits) {
                EXPECT_TRUE(waitUntil([&] { return statsOf(*switcher).position > 0.0; }));
                EXPECT_TRUE(sink.waitForPictures(sink.pictureCount() + 2));
            }
            switcher.reset();
            EXPECT_EQ(a.consumers + b.consumers, 0);
            EXPECT_EQ(a.sinkCount() + b.sinkCount(), 0U);
        }
    }
    EXPECT_TRUE(endsWithThreads(idle));
}

TEST(LSwitcherThreads, DestroyedInTheMiddleOfAStinger) {
    const int idle = idleThreads();
    const std::string clip = longClip();
    PulledSource source(plainPicture(width, height, grey));
    test::CapturedStream out(test::CapturedStream::Stream::output);
    for (int i = 0; i < 10; ++i) {
        CollectingSink sink;
        auto switcher = std::make_unique<LSwitcher>();
        switcher->addSink(&sink);
        switcher->setProgram(&source);
        switcher->setStinger(clip);
        if (i % 3 == 1) switcher->setStinger(clip); // the first is given up
        if (i % 3 == 2) std::this_thread::sleep_for(std::chrono::milliseconds(10 * i));
        if (i % 2 == 1) switcher->triggerStinger();
        switcher.reset();
    }
    {
        RunningSwitcher running;
        running.switcher.setProgram(&source);
        running.switcher.setTransitionType("stinger");
        running.switcher.setStingerDuration(60'000);
        running.switcher.setStinger(clip);
        ASSERT_TRUE(
            waitUntil([&] { return out.text().find("loaded successfully") != std::string::npos; }));
        running.switcher.setAutoTransition(0.0);
        EXPECT_TRUE(running.goesOn(5));
    }
    EXPECT_TRUE(endsWithThreads(idle));
}

TEST(LSwitcherThreads, DestroyedWhileAConsumerIsRegistered) {
    auto switcher = std::make_unique<LSwitcher>();
    switcher->addPullConsumer();
    switcher.reset();
    switcher = std::make_unique<LSwitcher>();
    switcher->addPullConsumer();
    quol::FramePtr(switcher->renderVideoFrame());
    std::this_thread::sleep_for(100ms);
    switcher.reset();
}

TEST(LSwitcherThreads, DestroyedWithSinksOnItsPreviewItLetsTheSourceGo) {
    WatchedSource source;
    CollectingSink follower;
    {
        LSwitcher switcher;
        switcher.setPreview(&source);
        switcher.getPreviewObject()->addSink(&follower);
        EXPECT_EQ(source.sinkCount(), 2U);
    }
    EXPECT_EQ(source.sinkCount(), 0U);
}

TEST(LSwitcherThreads, DestroyedRightAfterItWasMade) {
    const int idle = idleThreads();
    for (int i = 0; i < 100; ++i)
        const LSwitcher switcher;
    EXPECT_TRUE(endsWithThreads(idle));
}

// ------------------------------------------------------------------------- transitions at once

TEST(LSwitcherThreads, TwoAutomaticTransitionsAtOnceLeaveASwitcherThatWorks) {
    const int idle = idleThreads();
    PulledSource a(plainPicture(width, height, grey));
    PulledSource b(plainPicture(width, height, bright));
    RunningSwitcher running;
    running.switcher.setProgram(&a);
    running.switcher.setPreview(&b);
    for (int round = 0; round < 8; ++round) {
        running.switcher.setAutoTransition(40.0 + round);
        running.switcher.setAutoTransition(round % 2 == 0 ? 60.0 : 1.0);
        bool isWithin = true;
        EXPECT_TRUE(waitUntil([&] {
            const double position = statsOf(running.switcher).position;
            isWithin = isWithin && position >= 0.0 && position <= 100.0;
            return test::threadsOfThisProcess() <= idle + 1;
        }));
        EXPECT_TRUE(isWithin);
    }
    // Whichever is where: a cut changes them.
    for (int i = 0; i < 4; ++i) {
        LObject* const before = running.switcher.getCurrentPreviewSource();
        ASSERT_TRUE(before == &a || before == &b);
        running.switcher.setCutTransition();
        LObject* const after = running.switcher.getCurrentPreviewSource();
        EXPECT_EQ(after, before == &a ? static_cast<LObject*>(&b) : &a);
        running.switcher.setTransition(0.0F);
        EXPECT_TRUE(
            running.shows(running.switcher.getCurrentPreviewSource() == &a ? bright : grey));
    }
}

// ------------------------------------------------------------------------- sources that come and
// go

namespace {

// A live source that tells how many sinks it has.
class CountedLive : public LiveSource {
public:
    CountedLive() {
        width = 64;
        height = 48;
        fps = 100.0;
        start();
    }
    ~CountedLive() override { stop(); }
    std::size_t sinkCount() {
        const std::lock_guard lock(sinksMutex);
        return sinks.size();
    }
};

} // namespace

TEST(LSwitcherThreads, SourcesAreDestroyedAsSoonAsTheyAreTakenAway) {
    RunningSwitcher running;
    test::CapturedStream out(test::CapturedStream::Stream::output);
    CollectingSink follower;
    CollectingSink watcher;
    SwitcherPreviewObject& preview = *running.switcher.getPreviewObject();
    preview.addSink(&follower);
    preview.LObject::addSink(&watcher);
    std::atomic<bool> isOver{false};
    std::thread director([&] {
        for (int i = 0; !isOver; ++i) {
            running.switcher.setAutoTransition(i % 3 * 20.0);
            if (i % 4 == 0) running.switcher.setCutTransition();
            std::this_thread::sleep_for(7ms);
        }
    });
    std::thread visitor([&] {
        while (!isOver) {
            CollectingSink passing;
            preview.addSink(&passing);
            std::this_thread::sleep_for(1ms);
            preview.removeSink(&passing);
        }
    });
    const std::int64_t end = quol::steadyNow() + stressNanos;
    for (int round = 0; quol::steadyNow() < end; ++round) {
        auto live = std::make_unique<CountedLive>();
        auto pulled = std::make_unique<PulledSource>(plainPicture(width, height, bright));
        running.switcher.setProgram(live.get());
        running.switcher.setPreview(pulled.get());
        if (round % 2 == 0) {
            EXPECT_TRUE(running.goesOn(1));
        }
        // The layers may change places between two calls: both are emptied until nothing is left.
        while (live->sinkCount() + pulled->sinkCount() > 0) {
            running.switcher.setProgram(nullptr);
            running.switcher.setPreview(nullptr);
        }
        EXPECT_EQ(pulled->consumers, 0);
    }
    isOver = true;
    director.join();
    visitor.join();
    preview.removeSink(&follower);
    preview.LObject::removeSink(&watcher);
    EXPECT_TRUE(running.goesOn());
    EXPECT_GT(follower.pictureCount() + watcher.pictureCount(), 0U);
}

// -------------------------------------------------------------------------- many hands at once

namespace {

constexpr std::array transitionTypes = {"fade",     "dip",        "wipe_lr",       "wipe_circle",
                                        "slide_tb", "squeeze_rl", "wipe_diagonal", "stinger",
                                        "cut",      "none"};

// What the hosts have to play with.
struct Studio {
    CountedLive live;
    CountedLive other;
    PulledSource pulled{plainPicture(width, height, bright)};
    LMixer mixer{LMixer::Renderer::processor};
    RunningSwitcher inner;
    LCharacter titles;
    LCharacter lowerThird;
    std::string clip = test::alphaClip("studio", test::countingPictures(10));
    std::vector<LObject*> sources{&live, &other, &pulled, &mixer, &inner.switcher, nullptr};

    Studio() {
        mixer.setVideoFormat(customVideo(width, height, 50, 1));
        mixer.addLayer("live", &live);
        inner.switcher.setProgram(&other);
        titles.addItem("panel", 0, 0, 400, 200, test::panelOf("#80FF0000"));
        lowerThird.addItem("panel", 0, 800, 1920, 200, test::panelOf("#0000FF"));
    }
    ~Studio() {
        mixer.removeLayer("live");
        inner.switcher.setProgram(nullptr);
    }

    LObject* some(std::minstd_rand& random) { return sources.at(random() % sources.size()); }
    LCharacter* someTitles(std::minstd_rand& random) {
        return random() % 2 == 0 ? &titles : &lowerThird;
    }
};

// What is seen.
void pressPictureButton(LSwitcher& switcher, Studio& studio, std::minstd_rand& random) {
    switch (random() % 12) {
        case 0:
            switcher.setProgram(studio.some(random));
            break;
        case 1:
        case 2:
            switcher.setPreview(studio.some(random));
            break;
        case 3:
            switcher.setCutTransition();
            break;
        case 4:
            switcher.setTransition(static_cast<float>(random() % 1200) / 1000.0F - 0.1F);
            break;
        case 5:
            switcher.setAutoTransition(static_cast<double>(random() % 51));
            break;
        case 6:
            switcher.setTransitionType(transitionTypes.at(random() % transitionTypes.size()),
                                       "#12AB34");
            break;
        case 7:
            switcher.addCG(studio.someTitles(random));
            break;
        case 8:
            switcher.removeCG(studio.someTitles(random));
            break;
        case 9:
            if (random() % 10 == 0)
                switcher.setStinger(random() % 3 == 0 ? "no such clip.mov" : studio.clip);
            switcher.setStingerDuration(static_cast<int>(random() % 100));
            break;
        case 10:
            switcher.triggerStinger();
            break;
        default:
            if (random() % 10 == 0)
                switcher.setVideoFormat(
                    customVideo(width + 2 * static_cast<int>(random() % 2), height, 50, 1));
            switcher.getCGByIndex(static_cast<int>(random() % 3));
            switcher.getCurrentPreviewSource();
    }
}

// What is heard, and what is set.
void pressSoundButton(LSwitcher& switcher, Studio& studio, std::minstd_rand& random) {
    constexpr std::array keys = {"timecode",   "timecodeSource", "extAudio",  "scaling_quality",
                                 "scale_mode", "masterMute",     "audioGain", "unknown"};
    const int percent = static_cast<int>(random() % 400) - 100;
    switch (random() % 9) {
        case 0:
            switcher.setProgAudioGain(percent);
            break;
        case 1:
            switcher.setPrevAudioGain(percent);
            break;
        case 2:
            switcher.setMasterGain(percent);
            break;
        case 3:
            switcher.setExtAudio(random() % 2 == 0);
            break;
        case 4:
            switcher.setExtAudioObject(studio.some(random));
            break;
        case 5:
            switcher.flushExtAudio();
            break;
        case 6:
            switcher.setAudioFormat({0, 16, random() % 2 == 0 ? 48000 : 44100, 2});
            break;
        case 7:
            switcher.setProps(keys.at(random() % keys.size()), std::to_string(random() % 3));
            break;
        default:
            statsOf(switcher);
            switcher.getTimeCode();
    }
}

// Who watches, and who asks.
void pressOutputButton(LSwitcher& switcher, std::minstd_rand& random) {
    SwitcherPreviewObject& preview = *switcher.getPreviewObject();
    CollectingSink sink;
    const bool follows = random() % 2 == 0;
    follows ? preview.addSink(&sink) : preview.LObject::addSink(&sink);
    if (random() % 2 == 0) {
        switcher.addPullConsumer();
        for (unsigned i = random() % 5; i > 0; --i)
            quol::FramePtr(switcher.renderVideoFrame());
        switcher.removePullConsumer();
    } else {
        std::this_thread::sleep_for(3ms);
    }
    follows ? preview.removeSink(&sink) : preview.LObject::removeSink(&sink);
}

} // namespace

TEST(LSwitcherThreads, FourThreadsPressAnyButtonAndTheClockNeverStops) {
    Studio studio;
    RunningSwitcher running;
    test::CapturedStream out(test::CapturedStream::Stream::output);
    test::CapturedStream errors(test::CapturedStream::Stream::error);
    std::atomic<bool> isOver{false};
    std::array<std::atomic<int>, 4> presses{};
    std::vector<std::thread> hosts;
    for (unsigned i = 0; i < presses.size(); ++i) {
        hosts.emplace_back([&, i] {
            std::minstd_rand random(i + 31);
            while (!isOver) {
                const unsigned kind = random() % 8;
                if (kind < 4)
                    pressPictureButton(running.switcher, studio, random);
                else if (kind < 7)
                    pressSoundButton(running.switcher, studio, random);
                else
                    pressOutputButton(running.switcher, random);
                ++presses.at(i);
                std::this_thread::sleep_for(1ms);
            }
        });
    }
    const std::int64_t end = quol::steadyNow() + stressNanos;
    while (quol::steadyNow() < end) {
        EXPECT_TRUE(running.goesOn(5));
        const double position = statsOf(running.switcher).position;
        EXPECT_GE(position, 0.0);
        EXPECT_LE(position, 100.0);
    }
    isOver = true;
    for (std::thread& host : hosts)
        host.join();
    for (const auto& count : presses)
        EXPECT_GT(count, 0);
    // Afterwards it does what it is told as before. An automatic transition may still be under way.
    running.switcher.setExtAudioObject(nullptr);
    while (running.switcher.getCGCount() > 0)
        running.switcher.removeCG(running.switcher.getCGByIndex(0));
    running.switcher.setVideoFormat(customVideo(width, height, 50, 1));
    EXPECT_TRUE(waitUntil([&] {
        running.switcher.setTransitionType("fade");
        running.switcher.setProgram(&studio.pulled);
        running.switcher.setPreview(&studio.pulled);
        return test::levelsAt(running.sink.latestPicture().get(), 40, 40) == bright;
    }));
    EXPECT_TRUE(waitUntil([&] {
        running.switcher.setProgram(nullptr);
        running.switcher.setPreview(nullptr);
        return studio.pulled.sinkCount() == 0;
    }));
    EXPECT_EQ(studio.pulled.consumers, 0);
}

// ------------------------------------------------------------------------------------- growth

TEST(LSwitcherThreads, ManyLivesLeaveNoThreadDescriptorOrMemoryBehind) {
    CountedLive live;
    PulledSource pulled(plainPicture(width, height, grey));
    LCharacter titles;
    titles.addItem("panel", 0, 0, 400, 200, test::panelOf("#FF0000"));
    const std::string clip = test::alphaClip("lives", test::countingPictures(4));
    test::CapturedStream out(test::CapturedStream::Stream::output);
    const auto live1 = [&](int number) {
        CollectingSink sink;
        CollectingSink follower;
        LSwitcher switcher;
        switcher.setVideoFormat(customVideo(width, height, 500, 1));
        switcher.addSink(&sink);
        switcher.getPreviewObject()->addSink(&follower);
        switcher.setProgram(&live);
        switcher.setPreview(&pulled);
        switcher.setExtAudioObject(&live);
        switcher.addCG(&titles);
        switcher.setAutoTransition(number % 3 * 10.0);
        if (number % 4 == 0) switcher.setStinger(clip);
        if (number % 5 == 0) {
            switcher.addPullConsumer();
            quol::FramePtr(switcher.renderVideoFrame());
            switcher.removePullConsumer();
        }
        if (number % 2 == 0) {
            EXPECT_TRUE(sink.waitForPictures(2));
        }
        switcher.getPreviewObject()->removeSink(&follower);
        switcher.removeSink(&sink);
    };
    for (int i = 0; i < 60; ++i) // until memory for all of this has once been had
        live1(i);
    EXPECT_EQ(live.sinkCount(), 0U);
    const int threads = test::threadsOfThisProcess();
    const int descriptors = test::descriptorsOfThisProcess();
    const long memory = residentKiB();
    for (int i = 0; i < lives; ++i)
        live1(i);
    // A thread is seen for a moment after it has been joined.
    EXPECT_TRUE(endsWithThreads(threads));
    EXPECT_EQ(test::descriptorsOfThisProcess(), descriptors);
    EXPECT_EQ(live.sinkCount(), 0U);
    EXPECT_EQ(pulled.consumers, 0);
    EXPECT_EQ(pulled.sinkCount(), 0U);
    if (!isInstrumented) {
        EXPECT_LE(residentKiB(), memory + 24 * 1024);
    }
}

TEST(LSwitcherThreads, AutomaticTransitionsThatAreOverLeaveNoThreadBehind) {
    const int idle = idleThreads();
    PulledSource source(plainPicture(width, height, grey));
    RunningSwitcher running(1000.0);
    running.switcher.setProgram(&source);
    // Each call clears away those that are over, some of which end at that very moment.
    for (int i = 0; i < 300; ++i) {
        running.switcher.setAutoTransition(1.0);
        if (i % 20 == 0) std::this_thread::sleep_for(2ms);
    }
    EXPECT_TRUE(endsWithThreads(idle + 1));
    EXPECT_TRUE(running.goesOn());
}

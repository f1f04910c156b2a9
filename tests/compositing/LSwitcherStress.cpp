// A switcher under the hands of many threads, and its end.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "core/Clock.h"
#include "quolsdk/LCharacter.h"
#include "quolsdk/LMixer.h"
#include "support/CapturedStream.h"
#include "support/ClipFile.h"
#include "support/Instrumented.h"
#include "support/RunningSwitcher.h"
#include "support/SteppedTitles.h"
#include "support/ThisProcess.h"

namespace {

using test::bright;
using test::CollectingSink;
using test::customVideo;
using test::endsWithThreads;
using test::grey;
using test::isInstrumented;
using test::Levels;
using test::LiveSource;
using test::plainPicture;
using test::PulledSource;
using test::residentKiB;
using test::RunningSwitcher;
using test::statsOf;
using test::threadsWhenIdle;
using test::waitUntil;
using test::WatchedSource;
using namespace std::chrono_literals;

constexpr int width = test::runningWidth;
constexpr int height = test::runningHeight;

constexpr std::int64_t stressNanos = (isInstrumented ? 2 : 5) * quol::nanosPerSecond;
constexpr int lives = isInstrumented ? 40 : 200;

} // namespace

// ----------------------------------------------------------------------------- orders of the end

namespace {

std::string longClip() {
    static const std::string path = test::alphaClip("switched", test::countingPictures(150));
    return path;
}

} // namespace

TEST(LSwitcherThreads, DestroyedInTheMiddleOfAutomaticTransitions) {
    const int idle = threadsWhenIdle();
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
    const int idle = threadsWhenIdle();
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
    const int idle = threadsWhenIdle();
    for (int i = 0; i < 100; ++i)
        const LSwitcher switcher;
    EXPECT_TRUE(endsWithThreads(idle));
}

// ------------------------------------------------------------------------- transitions at once

TEST(LSwitcherThreads, TwoAutomaticTransitionsAtOnceLeaveASwitcherThatWorks) {
    const int idle = threadsWhenIdle();
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
    const int idle = threadsWhenIdle();
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

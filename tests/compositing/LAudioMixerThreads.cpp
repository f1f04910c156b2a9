// An audio mixer that many threads use, and the ends of mixers and sources.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/CapturedStream.h"
#include "support/Frames.h"
#include "support/RunningAudioMixer.h"
#include "support/RunningMixer.h"
#include "support/ThisProcess.h"

namespace {

using test::longSound;
using test::plainSound;
using test::push;
using test::RunningAudioMixer;
using test::WatchedSource;

// Threads that share a mixer go on until it has sent so many blocks.
constexpr std::size_t longEnough = 30;
constexpr int atMost = 20000; // turns, however long that takes

// A source that pushes sound of changing forms from a thread of its own, as fast as it may.
class BusySource : public WatchedSource {
public:
    BusySource() : thread_([this] { run(); }) {}
    ~BusySource() override {
        running_ = false;
        thread_.join();
    }

private:
    void run() {
        const std::vector<quol::FramePtr> sounds = [] {
            std::vector<quol::FramePtr> made;
            made.push_back(plainSound(960, 1000, -1000));
            made.push_back(test::makeSound(1024, 44100, 1, AV_SAMPLE_FMT_FLTP));
            return made;
        }();
        while (running_) {
            for (const quol::FramePtr& sound : sounds)
                push(*this, sound);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    std::atomic<bool> running_{true};
    std::thread thread_; // last: it uses what stands before
};

// Holds up whoever pushes to it until it is told to let go.
class HoldingSink : public LSink {
public:
    void pushVideoFrame(AVFrame*) override {}
    void pushAudioFrame(AVFrame*) override {
        std::unique_lock lock(mutex_);
        held_ = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return released_; });
    }
    bool waitUntilHeld() {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(20), [this] { return held_; });
    }
    void release() {
        const std::lock_guard lock(mutex_);
        released_ = true;
        changed_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool held_ = false;
    bool released_ = false;
};

void onThreads(int count, const std::function<void(int)>& work) {
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        threads.emplace_back(work, i);
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace

// --------------------------------------------------------------------------------------- threads

TEST(LAudioMixerThreads, SeveralThreadsAttachTheirSources) {
    constexpr int threads = 4;
    constexpr int each = 8;
    std::vector<std::unique_ptr<WatchedSource>> sources(threads * each);
    for (auto& source : sources)
        source = std::make_unique<WatchedSource>();
    RunningAudioMixer running;
    const test::CapturedStream quiet(test::CapturedStream::Stream::output);
    onThreads(threads, [&](int thread) {
        for (int i = thread * each; i < (thread + 1) * each; ++i)
            running.addHeard(std::to_string(i), *sources[static_cast<std::size_t>(i)]);
    });
    for (auto& source : sources) {
        EXPECT_EQ(source->sinkCount(), 1U);
        push(*source, longSound(100, 10));
    }
    EXPECT_TRUE(running.isSteady(100 * threads * each, 10 * threads * each));
}

TEST(LAudioMixerThreads, FourThreadsAddAndRemoveChannelsWhileItRuns) {
    BusySource first;
    BusySource second;
    WatchedSource still;
    RunningAudioMixer running;
    running.addHeard("still", still);
    push(still, longSound(1000, -1000));
    {
        const test::CapturedStream quiet(test::CapturedStream::Stream::output);
        onThreads(4, [&](int thread) {
            LObject& source = thread % 2 == 0 ? first : second;
            const std::string own = "own" + std::to_string(thread);
            for (int i = 0; running.sink.soundCount() < longEnough && i < atMost; ++i) {
                const std::string shared = "shared" + std::to_string(i % 3);
                running.addHeard(own, source);
                running.addHeard(shared, source);
                running.mixer.setChannelGain(shared, i % 200);
                running.mixer.removeChannel(own);
                if (i % 5 == 0) running.mixer.removeChannel(shared);
            }
        });
    }
    for (int i = 0; i < 3; ++i)
        running.mixer.removeChannel("shared" + std::to_string(i));
    EXPECT_EQ(first.sinkCount(), 0U);
    EXPECT_EQ(second.sinkCount(), 0U);
    EXPECT_EQ(first.added, first.removed);
    EXPECT_EQ(second.added, second.removed);
    EXPECT_TRUE(running.isSteady(1000, -1000)) << "the one that stayed is heard as before";
}

TEST(LAudioMixerThreads, EverythingMayBeCalledFromAnyThreadAtOnce) {
    BusySource source;
    RunningAudioMixer running;
    const test::CapturedStream quiet(test::CapturedStream::Stream::output);
    onThreads(4, [&](int thread) {
        for (int i = 0; running.sink.soundCount() < longEnough && i < atMost; ++i) {
            LAudioMixer& mixer = running.mixer;
            const std::string name = std::to_string((thread + i) % 3);
            running.addHeard(name, source);
            mixer.setChannelGain(name, i % 200);
            mixer.setMasterVolume(i % 200);
            mixer.setMasterMute(i % 2 == 0);
            mixer.setAudioFormat({static_cast<std::uint32_t>(i % 15), 16, 48000, 2});
            audioFormatProps format{};
            mixer.getAudioFormat(format);
            float left = 0.0F;
            float right = 0.0F;
            mixer.getChannelLevel(name, left, right);
            mixer.getMasterLevel(left, right);
            EXPECT_GE(mixer.getChannelLevel(name), 0.0F);
            EXPECT_LE(mixer.getMasterLevel(), 1.0F);
            mixer.ensureRunning();
            test::CollectingSink sink;
            mixer.addSink(&sink);
            mixer.removeSink(&sink);
            mixer.removeChannel(name);
        }
    });
    EXPECT_TRUE(running.passBlocks());
}

TEST(LAudioMixerThreads, ASlowDistributionOfASourceDoesNotHoldUpTheMix) {
    WatchedSource slow;
    WatchedSource steady;
    HoldingSink holding;
    slow.addSink(&holding);
    RunningAudioMixer running;
    running.addHeard("slow", slow);
    running.addHeard("steady", steady);
    push(steady, longSound(1000, 2000));
    std::thread pushing([&] { push(slow, plainSound(960, 1, 1)); });
    ASSERT_TRUE(holding.waitUntilHeld());

    // Removing a channel has to wait for that distribution; nobody else has.
    std::atomic<bool> removed{false};
    std::thread removing([&] {
        running.mixer.removeChannel("slow");
        removed = true;
    });
    EXPECT_TRUE(running.passBlocks(25));
    EXPECT_TRUE(running.isSteady(1000, 2000));
    running.mixer.setChannelGain("steady", 50);
    EXPECT_TRUE(running.isSteady(500, 1000));
    EXPECT_EQ(running.mixer.getChannelLevel("steady"), 1000.0F / 32768.0F);
    EXPECT_FALSE(removed);
    holding.release();
    pushing.join();
    removing.join();
    slow.removeSink(&holding);
    EXPECT_EQ(slow.sinkCount(), 0U);
}

TEST(LAudioMixerThreads, AttachingToASourceThatIsHeldUpDoesNotHoldUpTheMix) {
    WatchedSource slow;
    HoldingSink holding;
    slow.addSink(&holding);
    RunningAudioMixer running;
    std::thread pushing([&] { push(slow, plainSound(960, 1, 1)); });
    ASSERT_TRUE(holding.waitUntilHeld());
    std::atomic<bool> attached{false};
    std::thread adding([&] {
        running.mixer.addChannel("slow", &slow);
        attached = true;
    });
    ASSERT_TRUE(test::waitUntil([&] { return slow.added == 2; }));
    EXPECT_TRUE(running.passBlocks(25));
    EXPECT_EQ(running.mixer.getMasterLevel(), 0.0F);
    EXPECT_FALSE(attached);
    holding.release();
    pushing.join();
    adding.join();
    running.mixer.setChannelMute("slow", false);
    push(slow, longSound(1000, 1000));
    EXPECT_TRUE(running.isSteady(1000, 1000));
    slow.removeSink(&holding);
}

TEST(LAudioMixerThreads, ASinkMayAskTheMixerWithinAPush) {
    class AskingSink : public LSink {
    public:
        explicit AskingSink(LAudioMixer& mixer) : mixer_(mixer) {}
        void pushVideoFrame(AVFrame*) override {}
        void pushAudioFrame(AVFrame*) override {
            mixer_.setChannelMute("a", false);
            mixer_.setMasterVolume(50);
            level = mixer_.getMasterLevel();
        }
        std::atomic<float> level{0.0F};

    private:
        LAudioMixer& mixer_;
    };
    WatchedSource source;
    RunningAudioMixer running;
    AskingSink asking(running.mixer);
    running.mixer.addChannel("a", &source);
    push(source, longSound(16384, 0));
    running.mixer.addSink(&asking);
    EXPECT_TRUE(test::waitUntil([&] { return asking.level == 0.25F; }));
    running.mixer.removeSink(&asking);
}

// ------------------------------------------------------------------------------------------ ends

TEST(LAudioMixerThreads, SourcesMayGoOnceTheirChannelIsRemoved) {
    RunningAudioMixer running;
    const test::CapturedStream quiet(test::CapturedStream::Stream::output);
    for (int i = 0; i < 30; ++i) {
        auto source = std::make_unique<BusySource>();
        running.addHeard("a", *source);
        running.addHeard("b", *source);
        if (i % 5 == 0) {
            EXPECT_TRUE(running.passBlocks(1));
        }
        running.mixer.removeChannel("a");
        running.mixer.addChannel("b", nullptr);
        source.reset();
    }
    EXPECT_TRUE(running.isSteady(0, 0));
}

TEST(LAudioMixerThreads, ASourceMayGoOnceItsChannelIsReplaced) {
    RunningAudioMixer running;
    const test::CapturedStream quiet(test::CapturedStream::Stream::output);
    auto source = std::make_unique<BusySource>();
    running.addHeard("a", *source);
    for (int i = 0; i < 30; ++i) {
        auto next = std::make_unique<BusySource>();
        running.addHeard("a", *next);
        source = std::move(next);
    }
    EXPECT_TRUE(test::waitUntil([&] { return running.mixer.getChannelLevel("a") > 0.0F; }));
    running.mixer.removeChannel("a");
}

TEST(LAudioMixerThreads, TheMixerMayGoWhileItsSourcesPush) {
    BusySource first;
    BusySource second;
    const test::CapturedStream quiet(test::CapturedStream::Stream::output);
    for (int i = 0; i < 30; ++i) {
        RunningAudioMixer running;
        running.addHeard("a", first);
        running.addHeard("b", second);
        if (i % 5 == 0) {
            EXPECT_TRUE(running.passBlocks(1));
        }
    }
    EXPECT_EQ(first.sinkCount(), 0U);
    EXPECT_EQ(second.sinkCount(), 0U);
}

TEST(LAudioMixerThreads, AMixerMayBeAChannelOfAnother) {
    WatchedSource source;
    test::SoundingAudioMixer first(source, 1000, -1000);
    first.mixer.setMasterVolume(50);
    ASSERT_TRUE(first.isSteady(500, -500));
    RunningAudioMixer second;
    second.addHeard("first", first.mixer);
    second.mixer.setChannelGain("first", 200);
    // Each has a clock of its own: between two blocks of the one there may be none of the other.
    const std::vector<int> heard = second.heardAfter(9600);
    EXPECT_GE(heard.size(), 9600U);
    EXPECT_EQ(heard, std::vector<int>(heard.size(), 1000));
}

TEST(LAudioMixerThreads, ChainedMixersMayGoInEitherOrderOnceTheyAreApart) {
    const test::CapturedStream quiet(test::CapturedStream::Stream::output);
    for (const bool sourceFirst : {true, false}) {
        auto first = std::make_unique<LAudioMixer>();
        auto second = std::make_unique<LAudioMixer>();
        second->addChannel("first", first.get());
        if (sourceFirst) {
            second->removeChannel("first");
            first.reset();
        } else {
            second.reset();
        }
    }
}

TEST(LAudioMixerThreads, AMixerThatNeverHadASinkOrAChannelGoes) {
    for (int i = 0; i < 50; ++i)
        LAudioMixer mixer;
}

TEST(LAudioMixerThreads, AThousandMixersLeaveNothingBehind) {
    WatchedSource source;
    const quol::FramePtr sound = plainSound(960, 1000, 1000);
    const test::CapturedStream quiet(test::CapturedStream::Stream::output);
    const auto cycle = [&] {
        LAudioMixer mixer;
        mixer.addChannel("a", &source);
        mixer.addChannel("b", &source);
        mixer.setChannelMute("a", false);
        push(source, sound);
    };
    for (int i = 0; i < 100; ++i)
        cycle();
    const int threads = test::threadsOfThisProcess();
    const int descriptors = test::descriptorsOfThisProcess();
    const std::size_t memory = test::heapOfThisProcess();
    for (int i = 0; i < 1000; ++i)
        cycle();
    EXPECT_TRUE(test::endsWithThreads(threads)); // the last may be seen for a moment
    EXPECT_EQ(test::descriptorsOfThisProcess(), descriptors);
    EXPECT_EQ(source.sinkCount(), 0U);
    // A mixer alone takes 16 kB; a hundred bytes lost with each would show.
    EXPECT_LT(test::heapOfThisProcess(), memory + 100000);
}

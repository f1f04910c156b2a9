// Pictures of a mixer on demand, and mixers that show mixers.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>
#include <vector>

#include "support/Frames.h"
#include "support/RunningMixer.h"

namespace {

using test::blackLevels;
using test::bright;
using test::customVideo;
using test::grey;
using test::HandSource;
using test::Levels;
using test::plainPicture;
using test::PulledSource;
using test::RunningMixer;
using namespace std::chrono_literals;

// A registered consumer of a mixer.
class Consumer {
public:
    explicit Consumer(LMixer& mixer) : mixer_(mixer) { mixer_.addPullConsumer(); }
    ~Consumer() { mixer_.removePullConsumer(); }
    Consumer(const Consumer&) = delete;
    Consumer& operator=(const Consumer&) = delete;

    quol::FramePtr ask() { return quol::FramePtr(mixer_.renderVideoFrame()); }

    // One that is sure to come, however busy the machine is; null after a long time.
    quol::FramePtr picture() {
        quol::FramePtr got;
        test::waitUntil([&] { return (got = ask()) != nullptr; });
        return got;
    }

private:
    LMixer& mixer_;
};

// A source that keeps whoever pulls until it is told otherwise.
class HoldingSource : public PulledSource {
public:
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

// Whether a mixer stands still: nothing comes for a while in which much should have.
bool standsStill(const test::CollectingSink& sink) {
    const std::size_t sounds = sink.soundCount();
    std::this_thread::sleep_for(300ms);
    return sink.soundCount() == sounds;
}

// Each asks once a tick; a mixer that made one for each would run too fast.
TEST(LMixerPull, ConsumersThatAskWithinATickGetOnePicture) {
    LMixer mixer(LMixer::Renderer::processor);
    mixer.setVideoFormat(customVideo(64, 48, 0.05, 1)); // half a tick is ten seconds
    Consumer first(mixer);
    {
        Consumer second(mixer);
        const quol::FramePtr picture = first.picture();
        ASSERT_TRUE(picture);
        const quol::FramePtr same = second.ask();
        ASSERT_TRUE(same);
        EXPECT_EQ(same->pts, picture->pts);
        EXPECT_EQ(same->data[0], picture->data[0]);
    }
    const quol::FramePtr next = first.picture();
    const quol::FramePtr afterNext = first.picture();
    ASSERT_TRUE(next && afterNext);
    EXPECT_GT(afterNext->pts, next->pts);
}

} // namespace

// --------------------------------------------------------------------- sources that are pulled

TEST(LMixerPull, ALayerOfAPullingSourceIsPulledAtEveryTick) {
    PulledSource source(plainPicture(64, 48, grey));
    RunningMixer running;
    running.mixer.addLayer("a", &source);
    EXPECT_EQ(running.levelsAt(5, 5), grey);
    const int renders = source.renders;
    const auto first = running.nextPicture()->pts;
    const auto last = running.nextPicture()->pts;
    EXPECT_GE(source.renders - renders, last - first);
    source.show(plainPicture(64, 48, bright));
    EXPECT_EQ(running.levelsAt(5, 5), bright);
}

TEST(LMixerPull, PicturesPushedByASourceThatIsPulledAreIgnored) {
    PulledSource source;
    RunningMixer running;
    running.mixer.addLayer("a", &source);
    const quol::FramePtr pushed = plainPicture(64, 48, bright);
    for (int i = 0; i < 5; ++i) {
        source.distributeVideoFrame(pushed.get());
        EXPECT_EQ(running.levelsAt(5, 5), blackLevels);
    }
}

TEST(LMixerPull, SoundOfASourceThatIsPulledArrivesByPush) {
    PulledSource source(plainPicture(64, 48, grey));
    RunningMixer running(customVideo(64, 48, 50, 1), 100);
    running.mixer.addLayer("a", &source)->audioEnabled = true;
    const quol::FramePtr sound = test::plainSound(960, 700, -700);
    source.distributeAudioFrame(sound.get());
    EXPECT_TRUE(test::waitUntil([&] {
        const auto sounds = running.sink.keptSounds();
        return std::any_of(sounds.begin(), sounds.end(), [](const quol::FramePtr& block) {
            return test::samplesOf(*block).front() == 700;
        });
    }));
}

TEST(LMixerPull, APulledSourceThatGivesNothingStandsOnItsLastPicture) {
    PulledSource source(plainPicture(64, 48, grey));
    RunningMixer running;
    running.mixer.addLayer("a", &source);
    EXPECT_EQ(running.levelsAt(5, 5), grey);
    source.show(nullptr);
    EXPECT_EQ(running.levelsAt(5, 5), grey);
    std::this_thread::sleep_for(1200ms);
    EXPECT_EQ(running.levelsAt(5, 5), grey);
}

TEST(LMixerPull, ASourceThatNoLongerRendersOnDemandIsShownByWhatItPushes) {
    PulledSource source(plainPicture(64, 48, grey));
    RunningMixer running;
    running.mixer.addLayer("a", &source);
    EXPECT_EQ(running.levelsAt(5, 5), grey);
    source.pulled = false;
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, bright)));
    EXPECT_EQ(running.levelsAt(5, 5), bright);
    source.pulled = true;
    EXPECT_EQ(running.levelsAt(5, 5), grey);
    running.mixer.removeLayer("a");
    EXPECT_EQ(source.consumers, 0);
}

TEST(LMixerPull, FillAndKeyArePulledToo) {
    PulledSource fill(plainPicture(64, 48, bright));
    PulledSource key(plainPicture(64, 48, {16}));
    RunningMixer running;
    running.mixer.addDSK("k", &fill, &key);
    EXPECT_EQ(running.levelsAt(5, 5), blackLevels);
    key.show(plainPicture(64, 48, {235}));
    EXPECT_EQ(running.levelsAt(5, 5).y, (255 * bright.y) >> 8);
}

TEST(LMixerPull, AHiddenLayerIsNotPulled) {
    PulledSource source(plainPicture(64, 48, grey));
    RunningMixer running;
    running.mixer.addLayer("a", &source)->visible = false;
    EXPECT_EQ(running.levelsAt(5, 5), blackLevels);
    const int renders = source.renders;
    EXPECT_NE(running.nextPicture(), nullptr);
    EXPECT_EQ(source.renders, renders);
}

// ----------------------------------------------------------------------- pulling from a mixer

TEST(LMixerPull, RenderVideoFrameWithoutRegisteringGivesNull) {
    RunningMixer running;
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(quol::FramePtr(running.mixer.renderVideoFrame()), nullptr);
    // The mixer goes by its clock meanwhile and afterwards.
    const auto first = running.nextPicture();
    ASSERT_NE(first, nullptr);
    EXPECT_NE(running.nextPicture(), nullptr);
}

TEST(LMixerPull, RenderVideoFrameGivesTheCanvas) {
    HandSource source;
    RunningMixer running;
    running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    Consumer consumer(running.mixer);
    consumer.picture(); // may have been begun before
    consumer.picture();
    const quol::FramePtr picture = consumer.picture();
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(picture->width, 64);
    EXPECT_EQ(picture->height, 48);
    EXPECT_EQ(picture->format, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(picture->time_base.den, 50);
    EXPECT_EQ(test::levelsAt(picture.get(), 5, 5), grey);
}

TEST(LMixerPull, FastPullingGetsAPictureForEveryRequest) {
    RunningMixer running;
    Consumer consumer(running.mixer);
    ASSERT_NE(consumer.picture(), nullptr);
    std::int64_t previous = consumer.picture()->pts;
    int missed = 0;
    for (int i = 0; i < 500; ++i) {
        const quol::FramePtr picture = consumer.ask();
        if (!picture) {
            ++missed; // took longer than a request waits: the machine was away
            continue;
        }
        EXPECT_GT(picture->pts, previous);
        previous = picture->pts;
    }
    EXPECT_LE(missed, 5);
}

TEST(LMixerPull, TheMixersOwnSinksGetEveryPulledPictureOnceWithItsSound) {
    RunningMixer running;
    Consumer consumer(running.mixer);
    // What the clock made before the first request is not asked for any more.
    ASSERT_NE(consumer.picture(), nullptr);
    ASSERT_NE(consumer.picture(), nullptr);
    running.sink.clear();
    std::vector<std::int64_t> pulled;
    for (int i = 0; i < 100; ++i) {
        if (const quol::FramePtr picture = consumer.ask()) pulled.push_back(picture->pts);
    }
    std::vector<std::int64_t> pushed;
    for (const auto& picture : running.sink.pictures())
        pushed.push_back(picture.pts);
    EXPECT_EQ(pushed, pulled);
    EXPECT_GE(pulled.size(), 90U);
    EXPECT_TRUE(running.sink.waitForSounds(pulled.size() - 2));
}

TEST(LMixerPull, WithoutSinksPulledPicturesGoIntoTheQueue) {
    test::OpenMixer mixer;
    mixer.setVideoFormat(customVideo(64, 48, 50, 1));
    Consumer consumer(mixer);
    for (int i = 0; i < 80; ++i)
        ASSERT_NE(consumer.picture(), nullptr);
    EXPECT_EQ(mixer.queued(), 50U);
}

TEST(LMixerPull, ATickWithoutAPictureAnswersWithNone) {
    RunningMixer running(customVideo(64, 48, 50, 99)); // no canvas
    ASSERT_NE(running.nextSound(), nullptr);
    Consumer consumer(running.mixer);
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(consumer.ask(), nullptr);
    // Each request had its tick all the same.
    const std::size_t before = running.sink.soundCount();
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(consumer.ask(), nullptr);
    EXPECT_TRUE(running.sink.waitForSounds(before + 15));
    running.mixer.setVideoFormat(customVideo(64, 48, 50, 1));
    EXPECT_NE(consumer.picture(), nullptr);
}

TEST(LMixerPull, AMixerThatIsHeldUpAnswersWithNoneAndLaterWithAPicture) {
    HoldingSource source;
    RunningMixer running;
    running.mixer.addLayer("a", &source);
    Consumer consumer(running.mixer);
    ASSERT_NE(consumer.picture(), nullptr);
    source.isHolding = true;
    EXPECT_TRUE(test::waitUntil([&] {
        consumer.ask();
        return source.isHeld.load();
    }));
    consumer.ask(); // may get what was made before
    for (int i = 0; i < 2; ++i) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(consumer.ask(), nullptr);
        EXPECT_GE(std::chrono::steady_clock::now() - start, 100ms) << "the time that it has";
    }
    source.isHolding = false;
    EXPECT_NE(consumer.picture(), nullptr);
}

TEST(LMixerPull, TwoConsumersInTwoThreadsGetPicturesInTheirOrder) {
    RunningMixer running(customVideo(64, 48, 50, 1), 0);
    std::array<std::vector<std::int64_t>, 2> got;
    const auto pull = [&](std::vector<std::int64_t>& mine) {
        Consumer consumer(running.mixer);
        for (int i = 0; i < 200; ++i) {
            if (const quol::FramePtr picture = consumer.ask()) mine.push_back(picture->pts);
        }
    };
    std::thread other([&] { pull(got[1]); });
    pull(got[0]);
    other.join();
    for (const auto& mine : got) {
        EXPECT_GE(mine.size(), 100U);
        EXPECT_TRUE(std::is_sorted(mine.begin(), mine.end()));
    }
    // Afterwards the mixer goes by its clock.
    EXPECT_TRUE(running.sink.waitForPictures(running.sink.pictureCount() + 3));
}

// -------------------------------------------------------- consumers that come, stop and go

TEST(LMixerPull, AConsumerThatStopsAskingLeavesTheLoopWaitingUntilTheLastIsRemoved) {
    RunningMixer running;
    {
        Consumer consumer(running.mixer);
        Consumer second(running.mixer);
        // Ahead of the clock, so that nothing is overdue.
        for (int i = 0; i < 100; ++i)
            consumer.ask();
        ASSERT_TRUE(test::waitUntil([&] { return standsStill(running.sink); }));
        const std::size_t pictures = running.sink.pictureCount();
        EXPECT_TRUE(standsStill(running.sink));
        EXPECT_EQ(running.sink.pictureCount(), pictures);
        // It is not waiting for good: a request gets its picture.
        EXPECT_NE(consumer.picture(), nullptr);
        {
            // Another consumer that goes is not the last.
            const Consumer third(running.mixer);
        }
        EXPECT_TRUE(test::waitUntil([&] { return standsStill(running.sink); }));
        EXPECT_TRUE(standsStill(running.sink));
    }
    EXPECT_NE(running.nextPicture(), nullptr);
    EXPECT_NE(running.nextPicture(), nullptr);
}

TEST(LMixerPull, AConsumerThatNeverAsksLeavesTheLoopWaiting) {
    RunningMixer running;
    ASSERT_NE(running.nextPicture(), nullptr);
    running.mixer.addPullConsumer();
    EXPECT_TRUE(test::waitUntil([&] { return standsStill(running.sink); }));
    running.mixer.removePullConsumer();
    EXPECT_NE(running.nextPicture(), nullptr);
}

TEST(LMixerPull, RemovePullConsumerAt0LeavesItAt0) {
    RunningMixer running;
    for (int i = 0; i < 3; ++i)
        running.mixer.removePullConsumer();
    EXPECT_NE(running.nextPicture(), nullptr);
    {
        // Were the count below 0 by now, one consumer would not be enough.
        Consumer consumer(running.mixer);
        EXPECT_NE(consumer.picture(), nullptr);
        ASSERT_TRUE(test::waitUntil([&] { return standsStill(running.sink); }));
    }
    EXPECT_NE(running.nextPicture(), nullptr);
}

TEST(LMixerPull, AfterFastPullingTheClockGoesOnAtItsRate) {
    RunningMixer running(customVideo(64, 48, 50, 1), 0);
    {
        Consumer consumer(running.mixer);
        for (int i = 0; i < 1500; ++i) // half a minute of pictures
            consumer.ask();
    }
    ASSERT_TRUE(running.sink.waitForPictures(running.sink.pictureCount() + 3));
    running.sink.clear();
    const test::Stopwatch watch;
    ASSERT_TRUE(running.sink.waitForPictures(51)); // no wait for the clock to catch up
    EXPECT_GE(watch.seconds(), 0.8);               // and not all at once
    const auto pictures = running.sink.pictures();
    for (std::size_t i = 1; i < pictures.size(); ++i)
        EXPECT_EQ(pictures[i].pts, pictures[i - 1].pts + 1);
}

TEST(LMixerPull, AMixerALittleAheadOfItsClockWaitsForIt) {
    const test::Stopwatch watch;
    RunningMixer running(customVideo(64, 48, 50, 1), 0);
    std::int64_t last = 0;
    {
        Consumer consumer(running.mixer);
        for (int i = 0; i < 20; ++i) {
            const quol::FramePtr picture = consumer.picture();
            ASSERT_NE(picture, nullptr);
            last = picture->pts;
        }
    }
    // The next ones come when they are due by the clock that began with the mixer.
    ASSERT_TRUE(test::waitUntil([&] {
        const auto pictures = running.sink.pictures();
        return !pictures.empty() && pictures.back().pts > last + 10;
    }));
    const auto latest = running.sink.pictures().back();
    EXPECT_GE(watch.at(latest.arrived), static_cast<double>(latest.pts) / 50.0);
}

TEST(LMixerPull, ConsumersThatComeAndGoLeaveTheMixerRunning) {
    RunningMixer running(customVideo(64, 48, 50, 1), 0);
    for (int i = 0; i < 200; ++i) {
        Consumer consumer(running.mixer);
        if (i % 3 == 0) consumer.ask();
    }
    EXPECT_TRUE(running.sink.waitForPictures(running.sink.pictureCount() + 5));
}

TEST(LMixerPull, PicturesThatNobodyTakesAreFreed) {
    // Pictures that count how many of them are alive.
    static std::atomic<int> alive{0};
    class Counted : public HoldingSource {
    public:
        AVFrame* renderVideoFrame() override {
            quol::FramePtr{HoldingSource::renderVideoFrame()};
            quol::FramePtr picture = plainPicture(64, 48, grey);
            AVBufferRef* const inner = picture->buf[0];
            const auto release = [](void* opaque, std::uint8_t* /*data*/) {
                --alive;
                auto* buffer = static_cast<AVBufferRef*>(opaque);
                av_buffer_unref(&buffer);
            };
            picture->buf[0] = av_buffer_create(inner->data, inner->size, release, inner, 0);
            ++alive;
            return picture.release();
        }
    } source;
    {
        RunningMixer running(customVideo(64, 48, 100, 1), 0);
        running.mixer.addLayer("a", &source); // fits the canvas, which thereby shares its memory
        const Consumer consumer(running.mixer);
        // Held up for a while, the mixer makes up for it without being asked: each picture takes
        // the place of the one before, for which nobody came.
        source.isHolding = true;
        ASSERT_TRUE(test::waitUntil([&] {
            const quol::FramePtr taken(running.mixer.renderVideoFrame());
            return source.isHeld.load();
        }));
        std::this_thread::sleep_for(600ms);
        const int before = source.renders;
        source.isHolding = false;
        ASSERT_TRUE(test::waitUntil([&] { return source.renders >= before + 20; }));
        // The pending one, the layer's, the one in the making.
        EXPECT_LE(alive, 4);
    }
    EXPECT_EQ(alive, 0);
}

// ------------------------------------------------------------------------- mixers into mixers

TEST(LMixerPull, AMixerPullsFromAMixerThatPullsFromAMixer) {
    HandSource source;
    RunningMixer first;
    RunningMixer second;
    RunningMixer third;
    first.mixer.addLayer("a", &source, 0, 0, 0, 255, -1, -1, true, 100);
    second.mixer.addLayer("b", &first.mixer, 0, 16, 0, 255, -1, -1, true, 100);
    third.mixer.addLayer("c", &second.mixer, 0, 0, 16, 255, -1, -1, true, 100);
    const quol::FramePtr picture = plainPicture(64, 48, grey);
    EXPECT_TRUE(test::waitUntil([&] {
        source.distributeVideoFrame(picture.get());
        const quol::FramePtr canvas = third.sink.latestPicture();
        return test::levelsAt(canvas.get(), 16, 16) == grey &&
               test::levelsAt(canvas.get(), 15, 16) == blackLevels &&
               test::levelsAt(canvas.get(), 16, 15).y == 0;
    }));
    // Each in the chain goes on, and its own sinks see what it renders.
    EXPECT_NE(first.nextPicture(), nullptr);
    EXPECT_NE(second.nextPicture(), nullptr);
    EXPECT_NE(first.nextSound(), nullptr);
    EXPECT_NE(third.nextSound(), nullptr);
    third.mixer.removeLayer("c");
    second.mixer.removeLayer("b");
    EXPECT_NE(first.nextPicture(), nullptr);
    EXPECT_NE(second.nextPicture(), nullptr);
}

TEST(LMixerPull, AMixerInAMixerRunsAtTheRateOfTheOneThatPulls) {
    RunningMixer inner(customVideo(64, 48, 25, 1), 0);
    {
        RunningMixer outer(customVideo(64, 48, 50, 1), 0);
        outer.mixer.addLayer("a", &inner.mixer);
        ASSERT_TRUE(outer.sink.waitForPictures(outer.sink.pictureCount() + 5));
        const std::int64_t outerBefore = outer.sink.pictures().back().pts;
        const std::int64_t innerBefore = inner.sink.pictures().back().pts;
        ASSERT_TRUE(outer.sink.waitForPictures(outer.sink.pictureCount() + 100));
        const std::int64_t outerTicks = outer.sink.pictures().back().pts - outerBefore;
        const std::int64_t innerTicks = inner.sink.pictures().back().pts - innerBefore;
        // By its own clock it would have half as many.
        EXPECT_GE(innerTicks, outerTicks * 3 / 4);
        EXPECT_LE(innerTicks, outerTicks * 5 / 4);
        outer.mixer.removeLayer("a");
    }
    EXPECT_TRUE(inner.sink.waitForPictures(inner.sink.pictureCount() + 3));
}

TEST(LMixerPull, TwoMixersMayShowTheSameMixer) {
    HandSource source;
    RunningMixer inner(customVideo(64, 48, 50, 1), 0);
    RunningMixer first;
    RunningMixer second;
    inner.mixer.addLayer("a", &source);
    ASSERT_TRUE(inner.give("a", source, plainPicture(64, 48, grey)));
    first.mixer.addLayer("m", &inner.mixer);
    second.mixer.addLayer("m", &inner.mixer);
    EXPECT_TRUE(first.shows(5, 5, grey));
    EXPECT_TRUE(second.shows(5, 5, grey));
    first.mixer.removeLayer("m");
    EXPECT_EQ(second.levelsAt(5, 5), grey);
    second.mixer.removeLayer("m");
    EXPECT_TRUE(inner.sink.waitForSounds(inner.sink.soundCount() + 3));
}

TEST(LMixerPull, ACycleOfTwoMixersDoesNotBlockForEver) {
    // Each is the other's only consumer, and both may come to wait for a request that nobody has
    // cause to make. What the host does goes through all the same, and ends it.
    HandSource source;
    RunningMixer first;
    RunningMixer second;
    first.mixer.addLayer("b", &second.mixer, -1);
    second.mixer.addLayer("b", &first.mixer);
    first.mixer.addLayer("a", &source, 0, 0, 0, 255, 32, 24);
    EXPECT_EQ(first.mixer.getLayerCount(), 2);
    const quol::FramePtr picture = plainPicture(64, 48, grey);
    source.distributeVideoFrame(picture.get());
    {
        Consumer consumer(first.mixer);
        EXPECT_NE(consumer.picture(), nullptr);
        EXPECT_NE(consumer.picture(), nullptr);
    }
    second.mixer.setVideoFormat(customVideo(32, 24, 25, 1));
    std::this_thread::sleep_for(300ms);
    first.mixer.removeLayer("b");
    second.mixer.removeLayer("b");
    EXPECT_NE(first.nextPicture(), nullptr);
    EXPECT_NE(second.nextPicture(), nullptr);
}

TEST(LMixerPull, ACycleOfTwoMixersEndsWhenTheyAreDestroyed) {
    LMixer first(LMixer::Renderer::processor);
    {
        LMixer second(LMixer::Renderer::processor);
        first.addLayer("b", &second);
        second.addLayer("b", &first);
        std::this_thread::sleep_for(100ms);
        first.removeLayer("b");
    }
    test::CollectingSink sink;
    first.addSink(&sink);
    EXPECT_TRUE(sink.waitForPictures(3));
    first.removeSink(&sink);
}

TEST(LMixerPull, AMixerAsItsOwnSourceIsALayerWithoutAPicture) {
    RunningMixer running;
    EXPECT_EQ(running.mixer.addLayer("a", &running.mixer)->source, nullptr);
    // No consumer: it still goes by its clock.
    EXPECT_NE(running.nextPicture(), nullptr);
    EXPECT_EQ(running.levelsAt(5, 5), blackLevels);
    EXPECT_EQ(quol::FramePtr(running.mixer.renderVideoFrame()), nullptr);
}

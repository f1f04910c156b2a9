#include "compositing/CompositorSink.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "support/Frames.h"
#include "support/RunningMixer.h"

namespace {

using quol::AudioInput;
using quol::CompositorSink;
using test::bright;
using test::grey;
using test::Levels;
using test::plainPicture;
using test::plainSound;
using test::PulledSource;
using test::WatchedSource;
using namespace std::chrono_literals;

// What the slot gives when it was filled a moment ago. A machine that is away for a second in
// between makes any picture old: then once more.
quol::FramePtr afterPushing(CompositorSink& sink, const std::vector<quol::FramePtr>& pictures) {
    quol::FramePtr newest;
    test::waitUntil([&] {
        for (const quol::FramePtr& picture : pictures)
            sink.pushVideoFrame(picture.get());
        return (newest = sink.newestFrame()) != nullptr;
    });
    return newest;
}

std::vector<quol::FramePtr> pictures(quol::FramePtr first, quol::FramePtr second = nullptr) {
    std::vector<quol::FramePtr> all;
    all.push_back(std::move(first));
    if (second) all.push_back(std::move(second));
    return all;
}

} // namespace

// ------------------------------------------------------------------------------ the picture slot

TEST(CompositorSink, ANewOneHasNoPicture) {
    CompositorSink sink(48000);
    EXPECT_EQ(sink.newestFrame(), nullptr);
    EXPECT_EQ(sink.pullSource(), nullptr);
}

TEST(CompositorSink, TheNewestPictureWins) {
    CompositorSink sink(48000);
    const quol::FramePtr newest =
        afterPushing(sink, pictures(plainPicture(16, 16, grey), plainPicture(16, 16, bright)));
    EXPECT_EQ(test::levelsAt(newest.get(), 3, 3), bright);
}

TEST(CompositorSink, ThePictureStaysInTheSlotWhenItIsTaken) {
    CompositorSink sink(48000);
    const auto given = pictures(plainPicture(16, 16, grey));
    EXPECT_TRUE(test::waitUntil([&] {
        sink.pushVideoFrame(given[0].get());
        const quol::FramePtr first = sink.newestFrame();
        const quol::FramePtr second = sink.newestFrame();
        return first && second && first->data[0] == second->data[0];
    }));
}

TEST(CompositorSink, ThePictureIsAReferenceAndNotACopy) {
    CompositorSink sink(48000);
    const auto given = pictures(plainPicture(16, 16, grey));
    const quol::FramePtr newest = afterPushing(sink, given);
    ASSERT_NE(newest, nullptr);
    EXPECT_EQ(newest->data[0], given[0]->data[0]);
    EXPECT_EQ(newest->pts, given[0]->pts);
}

TEST(CompositorSink, APictureOlderThanASecondIsNoneAnyMore) {
    CompositorSink sink(48000);
    const quol::FramePtr picture = plainPicture(16, 16, grey);
    sink.pushVideoFrame(picture.get());
    std::this_thread::sleep_for(1010ms);
    EXPECT_EQ(sink.newestFrame(), nullptr);
    // Nor does it come back; another does.
    EXPECT_EQ(sink.newestFrame(), nullptr);
    EXPECT_NE(afterPushing(sink, pictures(plainPicture(16, 16, bright))), nullptr);
}

TEST(CompositorSink, APictureOfNearlyASecondAgoIsStillCurrent) {
    CompositorSink sink(48000);
    const quol::FramePtr picture = plainPicture(16, 16, grey);
    EXPECT_TRUE(test::waitUntil([&] {
        sink.pushVideoFrame(picture.get());
        std::this_thread::sleep_for(900ms);
        return sink.newestFrame() != nullptr;
    }));
}

TEST(CompositorSink, ANullPictureLeavesTheSlotAsItIs) {
    CompositorSink sink(48000);
    const quol::FramePtr picture = plainPicture(16, 16, grey);
    EXPECT_TRUE(test::waitUntil([&] {
        sink.pushVideoFrame(picture.get());
        sink.pushVideoFrame(nullptr);
        return sink.newestFrame() != nullptr;
    }));
}

TEST(CompositorSink, FlushDropsThePictureAndTheSound) {
    CompositorSink sink(48000);
    const quol::FramePtr picture = plainPicture(16, 16, grey);
    const quol::FramePtr sound = plainSound(960, 1, 1);
    sink.pushVideoFrame(picture.get());
    sink.pushAudioFrame(sound.get());
    EXPECT_EQ(sink.sound().pairs(), 960U);
    sink.flush();
    EXPECT_EQ(sink.newestFrame(), nullptr);
    EXPECT_EQ(sink.sound().pairs(), 0U);
    sink.flush();
    EXPECT_NE(afterPushing(sink, pictures(plainPicture(16, 16, grey))), nullptr);
    sink.pushAudioFrame(sound.get());
    EXPECT_EQ(sink.sound().pairs(), 960U);
}

TEST(CompositorSink, PicturesThatWereReplacedOrFlushedAreFreed) {
    std::atomic<int> alive{0};
    const auto counted = [&alive] {
        quol::FramePtr picture = quol::makeFrame();
        picture->width = 16;
        picture->height = 16;
        picture->format = AV_PIX_FMT_GRAY8;
        auto* memory = static_cast<std::uint8_t*>(av_malloc(256));
        const auto release = [](void* opaque, std::uint8_t* data) {
            --*static_cast<std::atomic<int>*>(opaque);
            av_free(data);
        };
        picture->buf[0] = av_buffer_create(memory, 256, release, &alive, 0);
        picture->data[0] = memory;
        picture->linesize[0] = 16;
        ++alive;
        return picture;
    };
    {
        CompositorSink sink(48000);
        for (int i = 0; i < 10; ++i) {
            const quol::FramePtr picture = counted();
            sink.pushVideoFrame(picture.get());
        }
        EXPECT_EQ(alive, 1);
        sink.flush();
        EXPECT_EQ(alive, 0);
        const quol::FramePtr picture = counted();
        sink.pushVideoFrame(picture.get());
    }
    EXPECT_EQ(alive, 0);
}

// ---------------------------------------------------------------------------------------- pulled

TEST(CompositorSink, ASourceThatRendersOnDemandIsAskedAndItsPushesAreIgnored) {
    PulledSource source(plainPicture(16, 16, grey));
    CompositorSink sink(48000);
    sink.pullFrom(&source);
    EXPECT_EQ(sink.pullSource(), &source);
    EXPECT_EQ(source.consumers, 1);
    const quol::FramePtr pushed = plainPicture(16, 16, bright);
    sink.pushVideoFrame(pushed.get());
    EXPECT_EQ(test::levelsAt(sink.newestFrame().get(), 3, 3), grey);
    source.show(nullptr);
    EXPECT_EQ(sink.newestFrame(), nullptr); // what was pushed has not been kept
    EXPECT_EQ(source.renders, 2);
}

TEST(CompositorSink, SoundOfASourceThatIsPulledIsTakenByPush) {
    PulledSource source;
    CompositorSink sink(48000);
    sink.pullFrom(&source);
    const quol::FramePtr sound = plainSound(960, 5, -5);
    sink.pushAudioFrame(sound.get());
    std::vector<std::int16_t> samples(1920);
    EXPECT_EQ(sink.sound().take(samples.data(), 960), 960U);
    EXPECT_EQ(samples, test::samplesOf(*sound));
}

TEST(CompositorSink, ASourceThatDoesNotRenderOnDemandIsNotAsked) {
    PulledSource source(plainPicture(16, 16, grey));
    source.pulled = false;
    {
        CompositorSink sink(48000);
        sink.pullFrom(&source);
        EXPECT_EQ(sink.pullSource(), nullptr);
        source.pulled = true; // too late: this is found out when the sink is made
        EXPECT_EQ(sink.newestFrame(), nullptr);
    }
    EXPECT_EQ(source.consumers, 0);
    EXPECT_EQ(source.renders, 0);
}

TEST(CompositorSink, ANullSourceIsNone) {
    CompositorSink sink(48000);
    sink.pullFrom(nullptr);
    EXPECT_EQ(sink.pullSource(), nullptr);
    EXPECT_EQ(sink.newestFrame(), nullptr);
}

TEST(CompositorSink, ASourceThatCannotRenderForNowIsShownByWhatItPushes) {
    PulledSource source(plainPicture(16, 16, grey));
    CompositorSink sink(48000);
    sink.pullFrom(&source);
    source.pulled = false;
    const quol::FramePtr newest = afterPushing(sink, pictures(plainPicture(16, 16, bright)));
    EXPECT_EQ(test::levelsAt(newest.get(), 3, 3), bright);
    EXPECT_EQ(source.renders, 0);
}

TEST(CompositorSink, ASourceThatRendersNothingIsShownByWhatItPushedBefore) {
    PulledSource source;
    CompositorSink sink(48000);
    sink.pullFrom(&source);
    const quol::FramePtr pushed = plainPicture(16, 16, bright);
    int asked = 0;
    quol::FramePtr newest;
    test::waitUntil([&] { // a machine that is away for a second makes any picture old
        source.pulled = false;
        sink.pushVideoFrame(pushed.get());
        source.pulled = true;
        ++asked;
        return (newest = sink.newestFrame()) != nullptr;
    });
    EXPECT_EQ(test::levelsAt(newest.get(), 3, 3), bright);
    EXPECT_EQ(source.renders, asked);
}

TEST(CompositorSink, TheDestructorSignsOff) {
    PulledSource source;
    {
        CompositorSink first(48000);
        first.pullFrom(&source);
        {
            CompositorSink second(48000);
            second.pullFrom(&source);
            EXPECT_EQ(source.consumers, 2);
        }
        EXPECT_EQ(source.consumers, 1);
    }
    EXPECT_EQ(source.consumers, 0);
}

// ----------------------------------------------------------------------------------------- sound

TEST(CompositorSink, AfterThe5001stUnreadChunkTheOldestIsGoneAndTheQueueStaysAt5000) {
    CompositorSink sink(48000);
    for (int i = 0; i < 5000; ++i) {
        const quol::FramePtr sound = plainSound(1, static_cast<std::int16_t>(i), 0);
        sink.pushAudioFrame(sound.get());
    }
    EXPECT_EQ(sink.sound().records(), 5000U);
    for (int i = 5000; i < 5003; ++i) {
        const quol::FramePtr sound = plainSound(1, static_cast<std::int16_t>(i), 0);
        sink.pushAudioFrame(sound.get());
        EXPECT_EQ(sink.sound().records(), 5000U);
        EXPECT_EQ(sink.sound().pairs(), 5000U);
    }
    std::vector<std::int16_t> samples(10000);
    EXPECT_EQ(sink.sound().take(samples.data(), 5000), 5000U);
    EXPECT_EQ(samples[0], 3);
    EXPECT_EQ(samples[9998], 5002);
}

TEST(CompositorSink, NullAndEmptySoundIsDropped) {
    CompositorSink sink(48000);
    sink.pushAudioFrame(nullptr);
    const quol::FramePtr sound = plainSound(960, 1, 1);
    for (const int count : {0, -1}) {
        sound->nb_samples = count;
        sink.pushAudioFrame(sound.get());
    }
    EXPECT_EQ(sink.sound().records(), 0U);
}

TEST(CompositorSink, SoundWithoutAFormatIsDropped) {
    CompositorSink sink(48000);
    const quol::FramePtr sound = plainSound(960, 1, 1);
    for (const int format : {-1, 100}) {
        sound->format = format;
        sink.pushAudioFrame(sound.get());
    }
    EXPECT_EQ(sink.sound().records(), 0U);
    sound->format = AV_SAMPLE_FMT_S16;
    sink.pushAudioFrame(sound.get());
    EXPECT_EQ(sink.sound().records(), 1U);
}

TEST(CompositorSink, SoundIsKeptAtTheSinksRate) {
    CompositorSink sink(24000);
    EXPECT_EQ(sink.sound().sampleRate(), 24000);
    for (int i = 0; i < 10; ++i) {
        const quol::FramePtr sound =
            test::makeSound(4800, 48000, 2, AV_SAMPLE_FMT_FLTP, std::int64_t{4800} * i);
        sink.pushAudioFrame(sound.get());
    }
    EXPECT_NEAR(static_cast<double>(sink.sound().pairs()), 24000.0, 100.0);
}

TEST(CompositorSink, ItsTimeIsThatOfTheBlockAndZeroForOneWithout) {
    CompositorSink sink(48000);
    std::vector<std::int16_t> samples(1920);
    const quol::FramePtr late = plainSound(960, 1, 1, 96000); // 2 s
    sink.pushAudioFrame(late.get());
    EXPECT_EQ(sink.sound().takeDue(samples.data(), 960, 1.99), 0U);
    EXPECT_EQ(sink.sound().takeDue(samples.data(), 960, 2.0), 960U);
    late->pts = AV_NOPTS_VALUE;
    sink.pushAudioFrame(late.get());
    EXPECT_EQ(sink.sound().takeDue(samples.data(), 960, -0.01), 0U);
    EXPECT_EQ(sink.sound().takeDue(samples.data(), 960, 0.0), 960U);
}

// --------------------------------------------------------------------------------------- threads

TEST(CompositorSink, IsWrittenAndReadByDifferentThreads) {
    CompositorSink sink(48000);
    std::atomic<bool> isOver{false};
    std::thread writer([&] {
        const quol::FramePtr first = plainPicture(16, 16, grey);
        const quol::FramePtr second = plainPicture(16, 16, bright);
        const quol::FramePtr sound = plainSound(96, 1, 1);
        const quol::FramePtr other = test::makeSound(96, 44100, 1, AV_SAMPLE_FMT_FLTP);
        for (int i = 0; !isOver; ++i) {
            sink.pushVideoFrame(i % 2 == 0 ? first.get() : second.get());
            sink.pushAudioFrame(i % 3 == 0 ? other.get() : sound.get());
            if (i % 100 == 0) sink.flush();
        }
    });
    std::vector<std::int16_t> samples(192);
    int taken = 0;
    EXPECT_TRUE(test::waitUntil([&] {
        for (int i = 0; i < 100; ++i) {
            const quol::FramePtr newest = sink.newestFrame();
            if (!newest) continue;
            const Levels levels = test::levelsAt(newest.get(), 3, 3);
            EXPECT_TRUE(levels == grey || levels == bright);
            ++taken;
            sink.sound().takeDue(samples.data(), 96, 100.0);
        }
        return taken > 10000;
    }));
    isOver = true;
    writer.join();
}

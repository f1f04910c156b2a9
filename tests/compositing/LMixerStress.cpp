// A mixer under load from many sides, and its end in every order.
#include <gtest/gtest.h>

#include <unistd.h>
#include <array>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "support/CapturedStream.h"
#include "support/Frames.h"
#include "support/Instrumented.h"
#include "support/RunningMixer.h"
#include "support/ThisProcess.h"

namespace {

using test::CollectingSink;
using test::customVideo;
using test::grey;
using test::HandSource;
using test::isInstrumented;
using test::Levels;
using test::LiveSource;
using test::plainPicture;
using test::PulledSource;
using test::residentKiB;
using test::RunningMixer;
using namespace std::chrono_literals;

// A source as live as can be made: it changes size and format, falls silent and comes back.
class MovingSource {
public:
    explicit MovingSource(unsigned seed) : random_(seed) {
        source.width = 160;
        source.height = 90;
        source.fps = 50.0;
        source.start();
    }

    // Does one of these things.
    void change() {
        constexpr std::array formats = {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVA420P, AV_PIX_FMT_YUV422P,
                                        AV_PIX_FMT_RGBA,    AV_PIX_FMT_YUVA422P, AV_PIX_FMT_NV12};
        switch (random_() % 4) {
            case 0:
                source.changeSize(1 + static_cast<int>(random_() % 320),
                                  1 + static_cast<int>(random_() % 180));
                break;
            case 1:
                source.changeFormat(formats.at(random_() % formats.size()));
                break;
            case 2:
                source.setSilent(random_() % 3 == 0);
                break;
            default:
                source.jumpTo(static_cast<double>(random_() % 100));
        }
    }

    LiveSource source;

private:
    std::minstd_rand random_;
};

std::string layerName(unsigned number) {
    return "layer" + std::to_string(number % 6);
}

float someFloat(std::minstd_rand& random, int below) {
    return static_cast<float>(static_cast<int>(random() % static_cast<unsigned>(below)) -
                              below / 3);
}

// One change of a mixer by a host that cannot make up its mind.
void changeSomething(LMixer& mixer, std::minstd_rand& random, const std::vector<LObject*>& sources,
                     const std::string& image) {
    const std::string name = layerName(random());
    LObject* const source = sources.at(random() % sources.size());
    LObject* const other = sources.at(random() % sources.size());
    const float x = someFloat(random, 240);
    const float y = someFloat(random, 135);
    const int alpha = static_cast<int>(random() % 300);
    switch (random() % 10) {
        case 0:
            mixer.addLayer(name, source, static_cast<int>(random() % 5), x, y, alpha,
                           someFloat(random, 200), someFloat(random, 200), true, 50);
            break;
        case 1:
            mixer.addLayer(name, source, 0, x, y, 255, 90, 60, someFloat(random, 30), 2, 3,
                           someFloat(random, 30), static_cast<int>(random() % 9), "#F08", true,
                           100);
            break;
        case 2:
        case 3:
            mixer.removeLayer(name);
            break;
        case 4:
            mixer.addDSK(name, source, other, 3, x, y, alpha, 120, 80);
            break;
        case 5:
            mixer.addImage(name, image, -1, x, y, alpha, 100, 70);
            break;
        case 6:
            mixer.setLayerBorderRadius(name, static_cast<int>(random() % 120));
            break;
        case 7:
            mixer.editLayer(name, [&](LLayerItem& item) {
                item.visible = random() % 4 != 0;
                item.zIndex = static_cast<int>(random() % 7);
                item.borderColor = random() % 2 == 0 ? "#123456" : "no colour";
                item.audioGain = static_cast<int>(random() % 300);
            });
            break;
        case 8:
            mixer.getLayer(name);
            mixer.getLayerByIndex(static_cast<int>(random() % 8));
            mixer.getLayerCount();
            break;
        default:
            mixer.setAudioFormat({0, 16, random() % 2 == 0 ? 48000 : 44100, 2});
    }
}

constexpr std::array<int, 3> canvasFormats = {1, 0, 17};

} // namespace

TEST(LMixerStress, LayersComeAndGoFromFourThreadsWhileItRendersLiveSources) {
    std::array<std::unique_ptr<MovingSource>, 3> moving;
    for (unsigned i = 0; i < moving.size(); ++i)
        moving.at(i) = std::make_unique<MovingSource>(i + 1);
    PulledSource pulled(plainPicture(160, 90, grey));
    RunningMixer inner(customVideo(160, 90, 50, 1), 0);
    inner.mixer.addLayer("live", &moving[0]->source);
    const std::vector<LObject*> sources = {
        &moving[0]->source, &moving[1]->source, &moving[2]->source, &pulled, &inner.mixer, nullptr};
    const std::string image = test::mediaPath("still.png");
    {
        RunningMixer running(customVideo(320, 180, 50, 1), 1);
        // Most of what is said of the connections would be lines of text.
        test::CapturedStream out(test::CapturedStream::Stream::output);
        std::atomic<bool> isOver{false};
        std::array<std::atomic<int>, 4> changes{};
        std::vector<std::thread> hosts;
        for (unsigned i = 0; i < changes.size(); ++i) {
            hosts.emplace_back([&, i] {
                std::minstd_rand random(i + 17);
                while (!isOver) {
                    changeSomething(running.mixer, random, sources, image);
                    ++changes.at(i);
                    std::this_thread::sleep_for(1ms);
                }
            });
        }
        const test::Stopwatch watch;
        std::size_t pictures = 0;
        for (unsigned step = 0; watch.seconds() < 10.0; ++step) {
            for (const auto& source : moving)
                source->change();
            if (step % 20 == 0) {
                const int format = canvasFormats.at(step / 20 % canvasFormats.size());
                running.mixer.setVideoFormat(
                    customVideo(200 + static_cast<int>(step % 3) * 60, 120, 50, format));
            }
            if (step % 30 == 0) {
                // It is not at a standstill.
                EXPECT_TRUE(running.sink.waitForPictures(pictures + 1));
                pictures = running.sink.pictureCount();
            }
            std::this_thread::sleep_for(20ms);
        }
        isOver = true;
        for (std::thread& host : hosts)
            host.join();
        for (const auto& count : changes)
            EXPECT_GT(count, 0);
        EXPECT_NE(running.nextPicture(), nullptr);
        EXPECT_NE(running.nextSound(), nullptr);
        // Afterwards it does what it is told as before.
        running.mixer.setVideoFormat(customVideo(64, 48, 50, 1));
        while (LLayerItem* const item = running.mixer.getLayerByIndex(0))
            running.mixer.removeLayer(item->name);
        EXPECT_EQ(running.levelsAt(20, 20), test::blackLevels);
        HandSource source;
        running.mixer.addLayer("last", &source);
        EXPECT_TRUE(running.give("last", source, plainPicture(64, 48, grey)));
        EXPECT_EQ(running.levelsAt(20, 20), grey);
        running.mixer.removeLayer("last");
    }
    EXPECT_EQ(pulled.consumers, 0);
    EXPECT_EQ(pulled.sinkCount(), 0U);
    EXPECT_TRUE(inner.sink.waitForPictures(inner.sink.pictureCount() + 3));
    inner.mixer.removeLayer("live");
}

TEST(LMixerStress, SourcesThatStallDieAndComeBackOnAir) {
    RunningMixer running(customVideo(160, 90, 50, 1), 1);
    test::CapturedStream out(test::CapturedStream::Stream::output);
    std::minstd_rand random(5);
    for (int round = 0; round < 30; ++round) {
        auto source = std::make_unique<LiveSource>();
        auto key = std::make_unique<LiveSource>();
        source->fps = 100.0;
        key->fps = 100.0;
        running.mixer.addLayer("live", source.get(), 0, 0, 0, 255, 80, 60, true, 100);
        running.mixer.addDSK("key", key.get(), source.get(), 1);
        source->start();
        key->start();
        ASSERT_TRUE(source->waitForPictures(2));
        source->changeSize(1 + static_cast<int>(random() % 300), 1 + round);
        if (round % 2 == 0) key->changeFormat(AV_PIX_FMT_YUVA420P);
        if (round % 3 == 0) source->setSilent(true);
        if (round % 3 == 1) source->stop(); // its thread is gone, the object is there still
        EXPECT_NE(running.nextPicture(), nullptr);
        if (round % 2 == 0) {
            running.mixer.removeLayer("live");
            running.mixer.removeLayer("key");
        } else {
            running.mixer.addLayer("live", nullptr);
            running.mixer.addDSK("key", nullptr, nullptr);
        }
        // Running or not: the mixer does not touch them any more.
        key.reset();
        source.reset();
    }
    EXPECT_EQ(running.sink.latestPicture()->width, 160);
    EXPECT_NE(running.nextPicture(), nullptr);
}

TEST(LMixerStress, ConsumersPullFromThreeThreadsWhileLayersChange) {
    LiveSource live;
    live.start();
    RunningMixer running(customVideo(64, 48, 50, 1), 0);
    test::CapturedStream out(test::CapturedStream::Stream::output);
    const std::string image = test::mediaPath("still.png");
    std::atomic<bool> isOver{false};
    std::atomic<int> got{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&, i] {
            for (int round = 0; !isOver; ++round) {
                running.mixer.addPullConsumer();
                for (int n = 0; n < 5 + i; ++n) {
                    const quol::FramePtr picture(running.mixer.renderVideoFrame());
                    if (picture) ++got;
                }
                running.mixer.removePullConsumer();
            }
        });
    }
    std::minstd_rand random(23);
    const test::Stopwatch watch;
    while (watch.seconds() < 3.0) {
        changeSomething(running.mixer, random, {&live, nullptr}, image);
        std::this_thread::sleep_for(1ms);
    }
    isOver = true;
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_GT(got, 20);
    EXPECT_TRUE(running.sink.waitForPictures(running.sink.pictureCount() + 5));
}

TEST(LMixerStress, SinksComeAndGoWhileItRuns) {
    LiveSource live;
    live.start();
    RunningMixer running(customVideo(64, 48, 100, 1), 0);
    running.mixer.addLayer("live", &live);
    test::CapturedStream out(test::CapturedStream::Stream::output);
    std::vector<std::thread> threads;
    std::atomic<int> seen{0};
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 100; ++round) {
                CollectingSink sink;
                running.mixer.addSink(&sink);
                if (round % 10 == 0) sink.waitForPictures(1);
                running.mixer.removeSink(&sink);
                seen += static_cast<int>(sink.pictureCount());
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_GE(seen, 40);
    EXPECT_TRUE(running.sink.waitForPictures(running.sink.pictureCount() + 3));
}

// ------------------------------------------------------------------------------- orders of the end

namespace {

// What a host puts together, each part to be taken down by itself.
struct Assembly {
    std::unique_ptr<LiveSource> live = std::make_unique<LiveSource>();
    std::unique_ptr<PulledSource> pulled =
        std::make_unique<PulledSource>(plainPicture(64, 48, grey));
    std::unique_ptr<LMixer> inner = std::make_unique<LMixer>(LMixer::Renderer::processor);
    std::unique_ptr<CollectingSink> sink = std::make_unique<CollectingSink>(1);
    std::unique_ptr<LMixer> mixer = std::make_unique<LMixer>(LMixer::Renderer::processor);

    Assembly() {
        for (const auto* each : {&mixer, &inner})
            (*each)->setVideoFormat(customVideo(64, 48, 50, 1));
        inner->addLayer("live", live.get());
        mixer->addSink(sink.get());
        mixer->addLayer("live", live.get(), 0, 0, 0, 255, -1, -1, true, 100);
        mixer->addLayer("pulled", pulled.get(), 1, 8, 8, 128);
        mixer->addLayer("inner", inner.get(), 2, 16, 16, 255, -1, -1, true, 100);
        mixer->addDSK("key", live.get(), inner.get(), 3);
        mixer->addImage("image", test::mediaPath("still.png"), 4, 30, 30, 100, 30, 20);
        live->start();
        EXPECT_TRUE(sink->waitForPictures(3));
    }

    void removeLayers() {
        for (const char* name : {"live", "pulled", "inner", "key", "image"})
            mixer->removeLayer(name);
        inner->removeLayer("live");
    }
    void detachSink() { mixer->removeSink(sink.get()); }
};

} // namespace

TEST(LMixerStress, LayersRemovedFirstThenSourcesThenMixers) {
    Assembly host;
    host.removeLayers();
    EXPECT_EQ(host.pulled->consumers, 0);
    host.live.reset();
    host.pulled.reset();
    host.inner.reset();
    EXPECT_TRUE(host.sink->waitForPictures(host.sink->pictureCount() + 3));
    host.detachSink();
    host.mixer.reset();
}

TEST(LMixerStress, TheMixerFirstThenItsSources) {
    Assembly host;
    host.mixer.reset(); // with its sink on it, which is not used any more
    EXPECT_EQ(host.pulled->consumers, 0);
    EXPECT_EQ(host.pulled->sinkCount(), 0U);
    const std::size_t pictures = host.sink->pictureCount();
    host.inner.reset();
    host.live.reset();
    host.pulled.reset();
    EXPECT_EQ(host.sink->pictureCount(), pictures);
}

TEST(LMixerStress, SinksDetachedFirstThenTheSourcesStoppedThenTheMixer) {
    Assembly host;
    host.detachSink();
    host.sink.reset();
    host.live->stop();
    std::this_thread::sleep_for(50ms);
    host.mixer.reset();
    host.inner.reset();
}

TEST(LMixerStress, ConsumersGoneFirst) {
    Assembly host;
    host.mixer->addPullConsumer();
    quol::FramePtr picture;
    EXPECT_TRUE(test::waitUntil([&] {
        picture = quol::FramePtr(host.mixer->renderVideoFrame());
        return picture != nullptr;
    }));
    host.mixer->removePullConsumer();
    host.removeLayers();
    host.mixer.reset();
    // A picture that was pulled is the host's own.
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(picture->width, 64);
    EXPECT_NE(test::fingerprint(*picture), 0U);
}

TEST(LMixerStress, PicturesOutliveTheMixerAndItsSources) {
    std::vector<quol::FramePtr> pictures;
    {
        CollectingSink keeping(20);
        LiveSource live;
        PulledSource pulled(plainPicture(64, 48, grey));
        LMixer mixer(LMixer::Renderer::processor);
        mixer.setVideoFormat(customVideo(64, 48, 50, 1));
        mixer.addSink(&keeping);
        mixer.addLayer("live", &live);
        mixer.addLayer("pulled", &pulled, 1);
        live.start();
        EXPECT_TRUE(keeping.waitForPictures(10));
        mixer.removeSink(&keeping);
        pictures = keeping.keptPictures();
    }
    ASSERT_FALSE(pictures.empty());
    for (const quol::FramePtr& picture : pictures)
        EXPECT_NE(test::fingerprint(*picture), 0U);
    EXPECT_EQ(test::levelsAt(pictures.back().get(), 5, 5), grey);
}

TEST(LMixerStress, TheSourceOfAMixerThatPullsGoesAfterItsLayer) {
    for (int i = 0; i < 20; ++i) {
        RunningMixer outer(customVideo(64, 48, 50, 1), 0);
        auto inner = std::make_unique<LMixer>(LMixer::Renderer::processor);
        outer.mixer.addLayer("inner", inner.get());
        if (i % 2 == 0) {
            EXPECT_TRUE(outer.sink.waitForPictures(outer.sink.pictureCount() + 2));
        }
        if (i % 3 == 0) {
            outer.mixer.addLayer("inner", nullptr);
        } else {
            outer.mixer.removeLayer("inner");
        }
        inner.reset();
        EXPECT_TRUE(outer.sink.waitForPictures(outer.sink.pictureCount() + 1));
    }
}

TEST(LMixerStress, DestroyedWhileAConsumerIsRegistered) {
    // The loop waits for a request by then, which nobody makes.
    auto mixer = std::make_unique<LMixer>(LMixer::Renderer::processor);
    CollectingSink sink;
    mixer->setVideoFormat(customVideo(64, 48, 50, 1));
    mixer->addSink(&sink);
    ASSERT_TRUE(sink.waitForPictures(2));
    mixer->addPullConsumer();
    std::this_thread::sleep_for(200ms);
    mixer.reset();

    // And with a picture that nobody took.
    mixer = std::make_unique<LMixer>(LMixer::Renderer::processor);
    mixer->addPullConsumer();
    mixer->addPullConsumer();
    for (int i = 0; i < 5; ++i)
        quol::FramePtr(mixer->renderVideoFrame());
    mixer.reset();
}

TEST(LMixerStress, DestroyedRightAfterItWasMade) {
    for (int i = 0; i < 100; ++i)
        const LMixer mixer(LMixer::Renderer::processor);
}

// ------------------------------------------------------------------------------------- growth

TEST(LMixerStress, AThousandMixersLeaveNoThreadDescriptorOrMemoryBehind) {
    LiveSource live;
    PulledSource pulled(plainPicture(64, 48, grey));
    live.fps = 50.0;
    live.start();
    test::CapturedStream out(test::CapturedStream::Stream::output);
    const std::string image = test::mediaPath("still.png");
    const auto cycle = [&](int number) {
        CollectingSink sink;
        LMixer mixer(LMixer::Renderer::processor);
        mixer.setVideoFormat(customVideo(64, 48, 500, number % 2));
        mixer.addSink(&sink);
        mixer.addLayer("live", &live, 0, 0, 0, 255, -1, -1, true, 100);
        mixer.addLayer("pulled", &pulled, 1, 5, 5, 100);
        if (number % 10 == 0) {
            mixer.addImage("image", image, 2, 0, 0, 100, 30, 20);
            mixer.addDSK("key", &pulled, &live, 3);
            mixer.addPullConsumer();
            quol::FramePtr(mixer.renderVideoFrame());
            mixer.removePullConsumer();
        }
        if (number % 5 == 0) {
            EXPECT_TRUE(sink.waitForPictures(2));
        }
        mixer.removeSink(&sink);
    };
    for (int i = 0; i < 100; ++i) // until memory for all of this has once been had
        cycle(i);
    const int threads = test::threadsOfThisProcess();
    const int descriptors = test::descriptorsOfThisProcess();
    const long memory = residentKiB();
    for (int i = 0; i < 1000; ++i)
        cycle(i);
    // A thread is seen for a moment after it has been joined.
    EXPECT_TRUE(test::waitUntil([&] { return test::threadsOfThisProcess() <= threads; }));
    EXPECT_EQ(test::descriptorsOfThisProcess(), descriptors);
    EXPECT_EQ(pulled.consumers, 0);
    EXPECT_EQ(pulled.sinkCount(), 0U);
    // A canvas of 720 lines, as each of them begins with, would come to gigabytes.
    if (!isInstrumented) {
        EXPECT_LE(residentKiB(), memory + 24 * 1024);
    }
    live.stop();
}

TEST(LMixerStress, AThousandLayersInOneMixerLeaveNothingBehind) {
    LiveSource live;
    live.start();
    RunningMixer running(customVideo(64, 48, 200, 1), 0);
    test::CapturedStream out(test::CapturedStream::Stream::output);
    PulledSource pulled(plainPicture(64, 48, grey));
    const std::string image = test::mediaPath("still.png");
    const auto cycle = [&](int number) {
        const std::string name = "layer" + std::to_string(number);
        running.mixer.addLayer(name, &live, 0, 3, 3, 128, 50, 40, true, 100);
        running.mixer.addDSK(name, &pulled, &live);
        if (number % 5 == 0) running.mixer.addImage(name, image);
        if (number % 20 == 0) {
            EXPECT_TRUE(running.sink.waitForPictures(running.sink.pictureCount()));
        }
        running.mixer.removeLayer(name);
    };
    for (int i = 0; i < 200; ++i)
        cycle(i);
    const int threads = test::threadsOfThisProcess();
    const int descriptors = test::descriptorsOfThisProcess();
    const long memory = residentKiB();
    for (int i = 0; i < 1000; ++i)
        cycle(i);
    EXPECT_EQ(running.mixer.getLayerCount(), 0);
    EXPECT_EQ(pulled.consumers, 0);
    EXPECT_EQ(pulled.sinkCount(), 0U);
    EXPECT_TRUE(test::waitUntil([&] { return test::threadsOfThisProcess() <= threads; }));
    EXPECT_EQ(test::descriptorsOfThisProcess(), descriptors);
    if (!isInstrumented) {
        EXPECT_LE(residentKiB(), memory + 16 * 1024);
    }
}

TEST(LMixerStress, SoundThatIsNeverDueIsBounded) {
    HandSource source;
    RunningMixer running(customVideo(64, 48, 50, 1), 0);
    running.mixer.addLayer("a", &source); // not heard: nobody takes the sound away
    const quol::FramePtr sound = test::plainSound(480, 1, 1);
    for (int i = 0; i < 6000; ++i)
        source.distributeAudioFrame(sound.get());
    const long memory = residentKiB();
    for (int i = 0; i < 30000; ++i)
        source.distributeAudioFrame(sound.get());
    // 30000 more would be 56 MiB.
    if (!isInstrumented) {
        EXPECT_LE(residentKiB(), memory + 16 * 1024);
    }
    EXPECT_TRUE(running.sink.waitForPictures(2));
}

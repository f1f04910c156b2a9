// A multiview that everybody changes at once, and objects that go in any order.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "support/Frames.h"
#include "support/RunningMultiview.h"

namespace {

using test::customVideo;
using test::HandSource;
using test::plainPicture;
using test::plainSound;
using test::RunningMultiview;

constexpr int rounds = 150;

// Pushes pictures of changing shape, and sound, until it is told to stop.
class Feeder {
public:
    explicit Feeder(HandSource& source) : thread_([this, &source] { run(source); }) {}
    ~Feeder() {
        stop_ = true;
        thread_.join();
    }
    Feeder(const Feeder&) = delete;
    Feeder& operator=(const Feeder&) = delete;

private:
    void run(HandSource& source) {
        const std::vector<quol::FramePtr> pictures = [] {
            std::vector<quol::FramePtr> made;
            made.push_back(plainPicture(64, 36, {100, 90, 160}));
            made.push_back(plainPicture(32, 18, {200, 140, 110}, AV_PIX_FMT_YUV422P));
            made.push_back(test::makePicture(33, 19, AV_PIX_FMT_UYVY422));
            made.push_back(test::makePicture(16, 16, AV_PIX_FMT_RGBA));
            return made;
        }();
        const quol::FramePtr sound = plainSound(960, 12000, 20000);
        for (std::size_t i = 0; !stop_; ++i) {
            source.distributeVideoFrame(pictures[i % pictures.size()].get());
            source.distributeAudioFrame(sound.get());
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    std::atomic<bool> stop_{false};
    std::thread thread_;
};

void changeAtRandom(LMultiview& multiview, std::vector<std::unique_ptr<HandSource>>& sources,
                    unsigned seed) {
    std::mt19937 random(seed);
    for (int i = 0; i < rounds; ++i) {
        const int row = static_cast<int>(random() % 3) + 1;
        const int column = static_cast<int>(random() % 3) + 1;
        LObject* const source =
            random() % 8 == 0 ? nullptr : sources[random() % sources.size()].get();
        switch (random() % 12) {
            case 0:
                multiview.setupGrid(static_cast<MultiviewOrientation>(random() % 4),
                                    static_cast<int>(random() % 5));
                break;
            case 1:
                multiview.setPGMSource(source);
                break;
            case 2:
                multiview.setPVWSource(source);
                break;
            case 3:
                multiview.removeGridPos(row, column);
                break;
            case 4:
                multiview.setGridPGM(row, column);
                break;
            case 5:
                multiview.setGridName(row, column, "Camera " + std::to_string(i));
                break;
            case 6:
                multiview.setVideoFormat(customVideo(96 + static_cast<int>(random() % 64),
                                                     54 + static_cast<int>(random() % 32), 200.0));
                break;
            case 7:
                multiview.getLayoutInfo();
                break;
            case 8: {
                multiview.addPullConsumer();
                const quol::FramePtr picture(multiview.renderVideoFrame());
                multiview.removePullConsumer();
                break;
            }
            default:
                multiview.setGridPos(source, row, column, static_cast<int>(random() % 2), "A");
                break;
        }
    }
}

class LMultiviewStress : public testing::TestWithParam<LMultiview::Renderer> {};

} // namespace

TEST_P(LMultiviewStress, EverythingChangesFromSeveralThreadsWhileItRenders) {
    std::vector<std::unique_ptr<HandSource>> sources;
    for (int i = 0; i < 4; ++i)
        sources.push_back(std::make_unique<HandSource>());
    RunningMultiview running(96, 54, 200.0, GetParam());
    {
        std::vector<std::unique_ptr<Feeder>> feeders;
        for (auto& source : sources)
            feeders.push_back(std::make_unique<Feeder>(*source));
        std::vector<std::thread> threads;
        for (unsigned seed = 1; seed <= 3; ++seed)
            threads.emplace_back([&, seed] { changeAtRandom(running.multiview, sources, seed); });
        for (std::thread& thread : threads)
            thread.join();
    }
    EXPECT_TRUE(running.nextPicture());
}

TEST_P(LMultiviewStress, ItGoesWhileItsSourcesPush) {
    HandSource program;
    HandSource camera;
    Feeder first(program);
    Feeder second(camera);
    for (int i = 0; i < 10; ++i) {
        RunningMultiview running(96, 54, 200.0, GetParam());
        running.multiview.setPGMSource(&program);
        running.multiview.setGridPos(&camera, 1, 1, 0, "A");
        running.nextPicture();
    }
}

TEST_P(LMultiviewStress, SourcesComeAndGoWhileItRenders) {
    RunningMultiview running(96, 54, 200.0, GetParam());
    for (int i = 0; i < 20; ++i) {
        HandSource source;
        Feeder feeder(source);
        running.multiview.setPGMSource(&source);
        running.multiview.setGridPos(&source, 1, 1, 0, "A");
        running.sink.waitForPictures(running.sink.pictureCount() + 1);
        running.multiview.setPGMSource(nullptr);
        running.multiview.removeGridPos(1, 1);
    }
    EXPECT_TRUE(running.nextPicture());
}

TEST_P(LMultiviewStress, OneThatIsMadeAndEndedAtOnceDoesNotHang) {
    for (int i = 0; i < 10; ++i)
        LMultiview multiview(GetParam());
}

TEST_P(LMultiviewStress, AConsumerThatWaitsIsLetGoWhenItEnds) {
    for (int i = 0; i < 5; ++i) {
        auto multiview = std::make_unique<LMultiview>(GetParam());
        multiview->addPullConsumer();
        const quol::FramePtr picture(multiview->renderVideoFrame());
        multiview->removePullConsumer();
    }
}

INSTANTIATE_TEST_SUITE_P(Both, LMultiviewStress,
                         testing::Values(LMultiview::Renderer::processor,
                                         LMultiview::Renderer::graphics),
                         [](const auto& info) {
                             return info.param == LMultiview::Renderer::processor ? "Processor"
                                                                                  : "Graphics";
                         });

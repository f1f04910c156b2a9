// Memory that runs short while a preview is pushed to and draws.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>

#include "outputs/LPreviewWin32Impl.h"
#include "platform/window/OffscreenSurface.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/FailingMemory.h"
#include "support/Frames.h"

namespace {

constexpr auto patience = std::chrono::seconds(60);

struct CountingWindow : quol::OffscreenTarget {
    quol::SurfaceSize size() override { return {64, 36}; }
    bool isGone() override { return false; }
    void show(std::vector<std::uint8_t>& /*rgba*/, const quol::SurfaceSize& /*size*/) override {
        ++shown;
    }
    void close() override {}

    std::atomic<int> shown{0};
};

// Runs short within its calls, so often as it is told.
struct Shortage {
    void strike() {
        if (left <= 0) return;
        --left;
        throw std::bad_alloc();
    }
    std::atomic<int> left{0};
};

class ShortSurface final : public quol::PreviewSurface {
public:
    ShortSurface(std::shared_ptr<CountingWindow> window, Shortage& shortage)
        : inner_(std::move(window)), shortage_(shortage) {}

    bool open() override {
        shortage_.strike();
        return inner_.open();
    }
    const quol::gl::EntryTable& entries() const override { return inner_.entries(); }
    News poll() override { return inner_.poll(); }
    quol::SurfaceSize size() const override { return inner_.size(); }
    void begin() override {
        shortage_.strike();
        inner_.begin();
    }
    void present() override { inner_.present(); }

private:
    quol::OffscreenSurface inner_;
    Shortage& shortage_;
};

int statusOf(LPreviewWin32Impl& preview) {
    int status = -7;
    preview.statusGet(status);
    return status;
}

TEST(PreviewMemory, APassThatItFailsIsDoneAgain) {
    Shortage shortage;
    const auto window = std::make_shared<CountingWindow>();
    LPreviewWin32Impl preview(
        {[&](void*) { return std::make_unique<ShortSurface>(window, shortage); }, "ready",
         "failed"});
    preview.previewEnable(nullptr, false, true);
    EXPECT_TRUE(test::waitUntil([&] { return window->shown == 1; }, patience));
    shortage.left = 3;
    preview.setName("x");
    EXPECT_TRUE(test::waitUntil([&] { return window->shown == 2; }, patience));
    EXPECT_EQ(shortage.left, 0);
    EXPECT_EQ(statusOf(preview), 1);
}

TEST(PreviewMemory, ASurfaceThatItFailsIsAFailure) {
    Shortage shortage;
    const auto window = std::make_shared<CountingWindow>();
    test::CapturedStream errors(test::CapturedStream::Stream::error);
    LPreviewWin32Impl preview(
        {[&](void*) { return std::make_unique<ShortSurface>(window, shortage); }, "ready",
         "failed"});
    shortage.left = 1;
    preview.previewEnable(nullptr, false, true);
    EXPECT_TRUE(test::waitUntil([&] { return errors.text() == "failed\n"; }, patience));
    EXPECT_EQ(statusOf(preview), 0);
    EXPECT_TRUE(test::waitUntil( // until the worker waits again, it takes the same for one request
        [&] {
            preview.previewEnable(nullptr, false, true);
            return statusOf(preview) == 1;
        },
        patience));
}

TEST(PreviewMemory, APushThatItFailsLosesWhatWasPushed) {
    LPreviewWin32Impl preview({[](void*) { return nullptr; }, "ready", "failed"});
    preview.previewEnable(nullptr, false, true);
    preview.setProps("audio_meter", "1");
    const quol::FramePtr picture = test::makePicture(16, 16, AV_PIX_FMT_YUV420P);
    const quol::FramePtr sound = test::makeSound(96, 48000, 2, AV_SAMPLE_FMT_S16, 0, 1000.0);
    preview.pushAudioFrame(sound.get());
    const int before = test::failures;
    for (int i = 0; i < 1000; ++i) {
        test::failAfter = 0;
        preview.pushVideoFrame(picture.get());
        test::failAfter = 0;
        preview.pushAudioFrame(sound.get());
    }
    test::failAfter = -1;
    EXPECT_GT(test::failures, before);
}

} // namespace

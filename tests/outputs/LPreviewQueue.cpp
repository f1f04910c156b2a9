// The preview's queue, pacing and redrawing, on a surface that the test can see through.
#include <gtest/gtest.h>

#include <condition_variable>
#include <cstring>
#include <mutex>
#include <set>
#include <thread>

#include "core/Clock.h"
#include "core/Handles.h"
#include "outputs/LPreviewWin32Impl.h"
#include "platform/window/OffscreenSurface.h"
#include "quolsdk/LObject.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/Frames.h"
#include "support/NoThreads.h"
#include "support/RefusingSource.h"

namespace {

using quol::FramePtr;

constexpr auto patience = std::chrono::seconds(60);

// A window of 64 by 36 that remembers what was shown in it.
class SeenWindow : public quol::OffscreenTarget {
public:
    struct Shown {
        int level = -1;          // of the pixel in the middle
        std::int64_t moment = 0; // steady nanoseconds
    };

    quol::SurfaceSize size() override {
        const std::lock_guard lock(mutex_);
        return size_;
    }
    bool isGone() override { return gone_; }
    void show(std::vector<std::uint8_t>& rgba, const quol::SurfaceSize& size) override {
        std::unique_lock lock(mutex_);
        const auto middle = static_cast<std::size_t>(size.height / 2 * size.width + size.width / 2);
        shown_.push_back({rgba[middle * 4], quol::steadyNow()});
        opened_.wait(lock, [this] { return !closed_; });
    }

    std::vector<Shown> shown() {
        const std::lock_guard lock(mutex_);
        return shown_;
    }
    // Nothing comes through until it is opened again.
    void block() {
        const std::lock_guard lock(mutex_);
        closed_ = true;
    }
    void open() {
        const std::lock_guard lock(mutex_);
        closed_ = false;
        opened_.notify_all();
    }
    void resize(int width, int height) {
        const std::lock_guard lock(mutex_);
        size_ = {width, height};
    }
    void close() override {}
    void goAway() { gone_ = true; }

private:
    std::mutex mutex_;
    std::condition_variable opened_;
    std::vector<Shown> shown_;
    bool closed_ = false;
    quol::SurfaceSize size_{64, 36};
    std::atomic<bool> gone_{false};
};

LPreviewWin32Impl::SurfaceKind kindOf(const std::shared_ptr<SeenWindow>& window) {
    return {[window](void*) { return std::make_unique<quol::OffscreenSurface>(window); }, "ready",
            "failed"};
}

// Grey of a level from 0 to 255 after the conversion, and a time in milliseconds; none below 0.
FramePtr picture(int level, std::int64_t milliseconds = -1) {
    FramePtr frame = test::makePicture(16, 16, AV_PIX_FMT_YUV420P);
    test::fillPlane(*frame, 0, static_cast<std::uint8_t>(16 + level * 219 / 255));
    test::fillPlane(*frame, 1, 128);
    test::fillPlane(*frame, 2, 128);
    frame->pts = milliseconds < 0 ? AV_NOPTS_VALUE : milliseconds;
    frame->time_base = {1, 1000};
    return frame;
}

// Counts which of its pictures are free again.
struct Freed {
    std::mutex mutex;
    std::set<int> numbers;

    std::set<int> get() {
        const std::lock_guard lock(mutex);
        return numbers;
    }
};
struct Ticket {
    Freed* freed;
    int number;
};

FramePtr numberedPicture(Freed& freed, int number) {
    FramePtr frame = picture(100);
    AVBufferRef* held = frame->buf[0];
    auto* const ticket = new Ticket{&freed, number};
    frame->buf[0] = nullptr;
    // The picture's memory goes with the ticket.
    struct Held {
        Ticket* ticket;
        AVBufferRef* buffer;
    };
    auto* const both = new Held{ticket, held};
    frame->buf[0] = av_buffer_create(
        held->data, held->size,
        [](void* opaque, std::uint8_t*) {
            auto* const held = static_cast<Held*>(opaque);
            {
                const std::lock_guard lock(held->ticket->freed->mutex);
                held->ticket->freed->numbers.insert(held->ticket->number);
            }
            av_buffer_unref(&held->buffer);
            delete held->ticket;
            delete held;
        },
        both, 0);
    return frame;
}

class LPreviewQueue : public testing::Test {
protected:
    void SetUp() override {
        preview.previewObject(&source);
        preview.previewEnable(nullptr, false, true);
        ASSERT_TRUE(test::waitUntil(
            [this] {
                int status = 0;
                preview.statusGet(status);
                return status == 1 && !window->shown().empty(); // the ground
            },
            patience));
    }
    ~LPreviewQueue() override { window->open(); }

    void push(const FramePtr& frame) { source.distributeVideoFrame(frame.get()); }
    bool showsLast(int level) {
        return test::waitUntil([&] { return std::abs(window->shown().back().level - level) <= 3; },
                               patience);
    }
    // Those that differ from the one before.
    std::vector<SeenWindow::Shown> pictures() {
        std::vector<SeenWindow::Shown> all;
        for (const SeenWindow::Shown& shown : window->shown()) {
            if (all.empty() || all.back().level != shown.level) all.push_back(shown);
        }
        return all;
    }

    Freed freed; // outlives all pictures
    std::shared_ptr<SeenWindow> window = std::make_shared<SeenWindow>();
    LObject source;
    LPreviewWin32Impl preview{kindOf(window)};
};

TEST_F(LPreviewQueue, AFifthPictureThatWaitsPushesOutTheOldest) {
    window->block();
    push(picture(255));
    EXPECT_TRUE(showsLast(255)); // the worker stands in it from here on
    for (int number = 1; number <= 4; ++number)
        push(numberedPicture(freed, number));
    EXPECT_EQ(freed.get(), (std::set<int>{}));
    push(numberedPicture(freed, 5));
    EXPECT_EQ(freed.get(), (std::set<int>{1}));
    push(numberedPicture(freed, 6));
    EXPECT_EQ(freed.get(), (std::set<int>{1, 2}));
    preview.clear();
    EXPECT_EQ(freed.get(), (std::set<int>{1, 2, 3, 4, 5, 6}));
    push(numberedPicture(freed, 7));
    preview.flush();
    EXPECT_EQ(freed.get().count(7), 1U);
    push(numberedPicture(freed, 8)); // goes with the preview
    preview.previewObject(nullptr);
}

TEST_F(LPreviewQueue, ASourceThatCouldNotBeHadIsNotLeftEither) {
    test::RefusingSource refusing;
    EXPECT_THROW(preview.previewObject(&refusing), std::bad_alloc);
    preview.previewObject(nullptr);
    EXPECT_EQ(refusing.left, 0);
}

TEST_F(LPreviewQueue, WithoutASurfaceTheLimitHoldsToo) {
    {
        LPreviewWin32Impl blank({[](void*) { return nullptr; }, "ready", "failed"});
        const FramePtr before = numberedPicture(freed, 99);
        blank.pushVideoFrame(before.get()); // not enabled: ignored
        blank.pushVideoFrame(nullptr);
        blank.previewEnable(nullptr, false, true);
        for (int number = 0; number < 10; ++number)
            blank.pushVideoFrame(numberedPicture(freed, number).get());
        EXPECT_EQ(freed.get(), (std::set<int>{0, 1, 2, 3, 4, 5}));
        int status = -7;
        blank.statusGet(status);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(freed.get().size(), 11U);
}

TEST_F(LPreviewQueue, PicturesAreShownAtTheirTimes) {
    window->block();
    push(picture(255));
    EXPECT_TRUE(showsLast(255));
    push(picture(50, 1000));
    push(picture(100, 1040));
    push(picture(150, 1080));
    push(picture(200, 1120));
    const std::int64_t opened = quol::steadyNow();
    window->open();
    EXPECT_TRUE(showsLast(200));
    const auto shown = pictures();
    ASSERT_GE(shown.size(), 4U);
    const auto after = [&](std::size_t back) {
        return (shown[shown.size() - back].moment - opened) / quol::nanosPerMilli;
    };
    // Each is held to the moment of the first, which was not before; whole milliseconds at a time.
    EXPECT_GE(after(3), 39);
    EXPECT_GE(after(2), 78);
    EXPECT_GE(after(1), 117);
}

TEST_F(LPreviewQueue, AfterAClearTheNextPictureIsShownAtOnce) {
    push(picture(50, 5000));
    EXPECT_TRUE(showsLast(50));
    preview.clear();
    push(picture(100, 0)); // back, without any wait
    EXPECT_TRUE(showsLast(100));
}

TEST_F(LPreviewQueue, WithoutNewsNothingIsDrawnAgain) {
    push(picture(50));
    EXPECT_TRUE(showsLast(50));
    const std::size_t before = window->shown().size();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(window->shown().size(), before);
    preview.setStatus("live");
    EXPECT_TRUE(test::waitUntil([&] { return window->shown().size() > before; }, patience));
    EXPECT_TRUE(showsLast(50)); // the last picture
}

TEST_F(LPreviewQueue, TheMeterMovesWithoutPictures) {
    push(picture(50));
    EXPECT_TRUE(showsLast(50));
    preview.setProps("audio_meter", "true");
    const std::size_t before = window->shown().size();
    bool loud = false;
    EXPECT_TRUE(test::waitUntil(
        [&] {
            loud = !loud;
            source.distributeAudioFrame(
                test::makeSound(960, 48000, 2, AV_SAMPLE_FMT_FLTP, 0, loud ? 1000.0 : 0.0).get());
            return window->shown().size() > before + 3;
        },
        patience));
    EXPECT_EQ(window->shown().back().level, window->shown()[before - 1].level);
}

TEST_F(LPreviewQueue, SoundThatIsAheadWaitsForTheRunningClock) {
    preview.setProps("audio_meter", "true");
    const std::int64_t begun = quol::steadyNow();
    push(picture(50, 1000));
    EXPECT_TRUE(showsLast(50));
    const std::size_t before = window->shown().size();
    preview.setName("x"); // when it is seen nothing else is left to draw
    EXPECT_TRUE(test::waitUntil([&] { return window->shown().size() > before; }, patience));
    const std::size_t drawn = window->shown().size();
    // At 1.55 seconds; it is on the meter 0.05 before.
    const FramePtr sound = test::makeSound(960, 48000, 2, AV_SAMPLE_FMT_FLTP, 74400, 1000.0);
    source.distributeAudioFrame(sound.get());
    EXPECT_TRUE(test::waitUntil([&] { return window->shown().size() > drawn; }, patience));
    EXPECT_GE(window->shown()[drawn].moment - begun, 500 * quol::nanosPerMilli);
}

TEST_F(LPreviewQueue, TheMeterOfASourceWithoutPicturesMovesAfterASwitch) {
    preview.setProps("audio_meter", "true");
    push(picture(50, 1000));
    EXPECT_TRUE(showsLast(50));
    LObject soundOnly;
    preview.previewObject(&soundOnly);
    const std::size_t before = window->shown().size();
    // An hour ahead of the pictures before: by their clock it would be due in an hour.
    bool loud = false;
    EXPECT_TRUE(test::waitUntil(
        [&] {
            loud = !loud;
            soundOnly.distributeAudioFrame(test::makeSound(960, 48000, 2, AV_SAMPLE_FMT_FLTP,
                                                           3600LL * 48000, loud ? 1000.0 : 0.0)
                                               .get());
            return window->shown().size() > before + 5;
        },
        patience));
    preview.previewObject(nullptr);
}

TEST_F(LPreviewQueue, TheMeterMovesAlsoWherePicturesAreNotShown) {
    preview.setProps("audio_meter", "true");
    push(picture(50));
    EXPECT_TRUE(showsLast(50));
    window->block();
    const std::size_t before = window->shown().size();
    preview.setStatus("live"); // the worker stands in drawing it
    EXPECT_TRUE(test::waitUntil([&] { return window->shown().size() > before; }, patience));
    for (int i = 0; i < 4; ++i)
        push(picture(200));
    preview.previewEnable(nullptr, false, false);
    preview.setStatus("program");
    window->open();
    EXPECT_TRUE(test::waitUntil([&] { return window->shown().size() > before + 1; }, patience));
    EXPECT_NEAR(window->shown().back().level, 50, 3);
}

// A place that takes its time.
TEST_F(LPreviewQueue, EnabledAgainWhileItOpensItOpensOnce) {
    struct SlowWindow : SeenWindow {
        quol::SurfaceSize size() override {
            ++asked;
            while (!mayGoOn)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            return SeenWindow::size();
        }
        std::atomic<int> asked{0};
        std::atomic<bool> mayGoOn{false};
    };
    const auto slow = std::make_shared<SlowWindow>();
    std::atomic<int> made{0};
    test::CapturedStream output(test::CapturedStream::Stream::output);
    LPreviewWin32Impl other({[&](void*) {
                                 ++made;
                                 return std::make_unique<quol::OffscreenSurface>(slow);
                             },
                             "ready of the slow one", "failed"});
    other.previewEnable(nullptr, false, true);
    EXPECT_TRUE(test::waitUntil([&] { return slow->asked > 0; }, patience)); // within its opening
    other.previewEnable(nullptr, false, true);
    slow->mayGoOn = true;
    EXPECT_TRUE(test::waitUntil([&] { return !slow->shown().empty(); }, patience));
    EXPECT_EQ(made, 1);
    const std::string text = output.text();
    const std::size_t first = text.find("ready of the slow one");
    EXPECT_NE(first, std::string::npos);
    EXPECT_EQ(text.find("ready of the slow one", first + 1), std::string::npos);
}

TEST(LPreviewThreads, WithoutAThreadItStaysBlankAndTellsSo) {
    std::unique_ptr<LPreviewWin32Impl> preview;
    {
        const test::NoThreads none;
        ASSERT_TRUE(none.works());
        preview = std::make_unique<LPreviewWin32Impl>(kindOf(std::make_shared<SeenWindow>()));
    }
    test::CapturedStream errors(test::CapturedStream::Stream::error);
    LObject source;
    preview->previewObject(&source);
    preview->previewEnable(nullptr, false, true);
    EXPECT_EQ(errors.text(), "failed\n");
    source.distributeVideoFrame(picture(50).get());
    int status = -7;
    preview->statusGet(status);
    EXPECT_EQ(status, 0);
    preview.reset();
}

TEST_F(LPreviewQueue, FollowsTheSizeAndTheEndOfTheWindow) {
    push(picture(50));
    EXPECT_TRUE(showsLast(50));
    const std::size_t before = window->shown().size();
    window->resize(100, 50);
    EXPECT_TRUE(test::waitUntil([&] { return window->shown().size() > before; }, patience));
    EXPECT_TRUE(showsLast(50));
    window->resize(0, 0); // as of a window that is not laid out
    push(picture(200));
    window->resize(30, 30);
    push(picture(150));
    EXPECT_TRUE(showsLast(150));
    window->goAway();
    EXPECT_TRUE(test::waitUntil(
        [&] {
            int status = 1;
            preview.statusGet(status);
            return status == 0;
        },
        patience));
    for (int i = 0; i < 10; ++i)
        push(picture(50));
}

TEST_F(LPreviewQueue, APictureThatComesBeforeTheWindowHasASizeIsShownWhenItHas) {
    window->resize(0, 0);
    push(numberedPicture(freed, 1));
    EXPECT_TRUE(test::waitUntil([&] { return freed.get().count(1) == 1; }, patience));
    window->resize(64, 36);
    EXPECT_TRUE(showsLast(100));
}

TEST_F(LPreviewQueue, AnotherObjectTakesThePlaceOfTheOneBefore) {
    LObject other;
    preview.previewObject(&other);
    push(picture(50)); // into the queue of a source without sinks
    other.distributeVideoFrame(picture(150).get());
    EXPECT_TRUE(showsLast(150));
    preview.previewObject(nullptr);
    for (const auto& shown : window->shown())
        EXPECT_GT(std::abs(shown.level - 50), 3);
}

TEST_F(LPreviewQueue, SettingsFromManyThreadsWhilePicturesCome) {
    std::atomic<bool> going{true};
    std::vector<std::thread> threads;
    threads.emplace_back([&] {
        for (int i = 0; going; ++i)
            push(picture(i % 255, i));
    });
    threads.emplace_back([&] {
        while (going)
            source.distributeAudioFrame(
                test::makeSound(96, 48000, 2, AV_SAMPLE_FMT_S16, 0, 1000.0).get());
    });
    threads.emplace_back([&] {
        for (int i = 0; going; ++i) {
            preview.setName("name " + std::to_string(i));
            preview.setStatus(i % 2 == 0 ? "program" : "ready");
            preview.setProps("audio_meter", i % 3 == 0 ? "1" : "0");
            preview.setProps("border_color", "#123456");
            preview.setProps("timecode.preview", i % 2 == 0 ? "1" : "0");
            preview.clear();
            int status = 0;
            preview.statusGet(status);
        }
    });
    threads.emplace_back([&] {
        LObject other;
        for (int i = 0; i < 20; ++i) {
            preview.previewObject(&other);
            preview.previewObject(&source);
            preview.previewEnable(reinterpret_cast<void*>(static_cast<std::uintptr_t>(i % 2)),
                                  false, true);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    });
    threads.back().join();
    going = false;
    for (std::size_t i = 0; i + 1 < threads.size(); ++i)
        threads[i].join();
}

} // namespace

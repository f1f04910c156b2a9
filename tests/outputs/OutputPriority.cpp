// What is made for the air comes first: threads that encode, convert or only show it give way.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <vector>

#include "core/ThreadPriority.h"
#include "quolsdk/LConvert.h"
#include "quolsdk/LPreview.h"
#include "quolsdk/LRecorder.h"
#include "quolsdk/LStream.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/Converting.h"
#include "support/LiveSource.h"
#include "support/NumberedClip.h"
#include "support/RecordedFile.h"
#include "support/Recording.h"
#include "support/Streaming.h"
#include "support/ThisProcess.h"
#include "support/XServer.h"

namespace {

using test::threadsOfPriority;

constexpr int ordinary = 0;
constexpr int behindAir = static_cast<int>(quol::ThreadPriority::behindAir);
// Large enough a picture for an encoder to have threads of its own, beside the one that feeds it.
constexpr const char* withThreads = "preset=ultrafast threads=2";
constexpr videoFormatProps largePicture{0, 640, 360, 25.0, 0};

class OutputPriority : public testing::Test {
protected:
    void SetUp() override {
        if (threadsOfPriority(ordinary) == 0)
            GTEST_SKIP() << "the whole test runs at another priority";
        // A thread that has ended may be counted for a moment.
        ASSERT_TRUE(test::waitUntil([] { return threadsOfPriority(ordinary) <= alone; }));
        ASSERT_TRUE(nothingGivesWay());
    }

    static void SetUpTestSuite() { alone = threadsOfPriority(ordinary); }

    static bool nothingGivesWay() {
        return test::waitUntil([] { return threadsOfPriority(behindAir) == 0; });
    }

    // What starts gives way with all its threads, `least` or more, and leaves none behind.
    static void expectGivesWay(const std::function<bool()>& start,
                               const std::function<bool()>& runs, int least,
                               const std::function<void()>& stop) {
        const int ordinaryBefore = threadsOfPriority(ordinary);
        ASSERT_TRUE(start());
        ASSERT_TRUE(runs());
        EXPECT_GE(threadsOfPriority(behindAir), least);
        EXPECT_EQ(threadsOfPriority(ordinary), ordinaryBefore);
        stop();
        EXPECT_TRUE(nothingGivesWay());
    }

private:
    inline static int alone = 0; // ordinary threads where no test runs
};

TEST_F(OutputPriority, OfARecordingAndItsEncodersThreadsIsBehindTheAir) {
    test::LiveSource source;
    source.start();
    LRecorder recorder;
    test::configure(recorder, test::temporaryPath("behind.mp4"),
                    {"mp4", "libx264", "aac", withThreads});
    recorder.setVideoFormat(largePicture);
    recorder.source = &source;
    expectGivesWay([&] { return recorder.Record(); },
                   [&] { return test::waitForWritten(recorder, 3); }, 2, [&] { recorder.Stop(); });
}

TEST_F(OutputPriority, OfAStreamAndItsEncodersThreadsIsBehindTheAir) {
    test::LiveSource source;
    source.start();
    LStream stream;
    stream.setStreamUrl(test::temporaryPath("behind.ts"));
    stream.customSet(withThreads);
    stream.setVideoFormat(largePicture);
    stream.source = &source;
    expectGivesWay([&] { return stream.Start(); }, [&] { return test::waitForSent(stream, 3); }, 2,
                   [&] { stream.Stop(); });
}

TEST_F(OutputPriority, OfAPreviewIsBehindTheAir) {
    const test::XServer server;
    if (!server.running()) GTEST_SKIP() << "no Xvfb on this machine";
    const test::HostWindow window(320, 180);
    LPreview preview;
    preview.setProps("ui_framework", "x11");
    preview.previewEnable(window.handle(), false, true);
    EXPECT_TRUE(test::waitUntil([] { return threadsOfPriority(behindAir) >= 1; }));
}

TEST_F(OutputPriority, OfAConversionAndItsEncodersThreadsIsBehindTheAir) {
    test::LiveSource source; // nothing of the conversion's: an ordinary thread beside it
    source.start();
    LConvert convert;
    test::configureSmall(convert, test::temporaryPath("behind.mp4"),
                         std::vector(100, test::NumberedClip::path()));
    test::setPictures(convert, 640, 360, 25.0);
    const auto hasBegun = [&] {
        return test::waitUntil([&] { return convert.progress > 0.0; }, std::chrono::minutes(1));
    };
    expectGivesWay([&] { return convert.Start(); }, hasBegun, 1, [&] { convert.Stop(); });
}

} // namespace

// When a recording ends, and at what times its pictures stand.
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "core/Clock.h"
#include "quolsdk/LRecorder.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/LiveSource.h"
#include "support/RecordedFile.h"
#include "support/Recording.h"

namespace {

using namespace std::chrono_literals;
using test::Encoding;
using test::LiveSource;
using test::readRecordedFile;
using test::RecordedFile;
using test::statsOf;
using test::statusOf;
using test::temporaryPath;

const Encoding quick{"mov", "mpeg4", "pcm_s16le", ""};

TEST(LRecorderTime, DurationMs5000EndsTheFileAtAboutFiveSeconds) {
    const std::string path = temporaryPath("limited.mov");
    LiveSource source;
    source.start();
    LRecorder recorder;
    test::configure(recorder, path, quick);
    recorder.setProps("durationMs", "5000");
    recorder.source = &source;
    ASSERT_TRUE(recorder.Record());
    EXPECT_EQ(statusOf(recorder), 1);
    ASSERT_TRUE(test::waitUntil([&] { return statusOf(recorder) == 0; })); // by itself
    EXPECT_EQ(statsOf(recorder).state, 0);
    // The file is complete without Stop.
    ASSERT_TRUE(test::waitUntil([&] { return readRecordedFile(path).error.empty(); }));
    recorder.Stop();
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    EXPECT_LE(file.pictures.back().seconds, 5.0 + 1e-6); // its tick is the nearest one
    EXPECT_GE(file.pictures.back().seconds, 4.9 - source.largestLateness());
    EXPECT_NEAR(file.soundSeconds(), 5.0, 0.15 + source.largestLateness());
}

TEST(LRecorderTime, DurationOfZeroOrLessIsNoLimit) {
    LiveSource source;
    source.start();
    for (const char* limit : {"0", "-100"}) {
        LRecorder recorder;
        test::configure(recorder, temporaryPath("unlimited.mov"), quick);
        recorder.setProps("durationMs", limit);
        recorder.source = &source;
        ASSERT_TRUE(recorder.Record());
        EXPECT_TRUE(test::waitForWritten(recorder, 5));
        EXPECT_EQ(statusOf(recorder), 1);
        recorder.Stop();
    }
}

TEST(LRecorderTime, PauseDoesNotCountTowardsTheDuration) {
    const std::string path = temporaryPath("limited_pause.mov");
    LiveSource source;
    source.start();
    LRecorder recorder;
    test::configure(recorder, path, quick);
    recorder.setProps("durationMs", "1000");
    recorder.source = &source;
    ASSERT_TRUE(recorder.Record());
    ASSERT_TRUE(test::waitForWritten(recorder, 3));
    recorder.Pause(true);
    std::this_thread::sleep_for(1500ms);
    EXPECT_EQ(statusOf(recorder), 1);
    recorder.Pause(false);
    ASSERT_TRUE(test::waitUntil([&] { return statusOf(recorder) == 0; }));
    recorder.Stop();
    const RecordedFile file = readRecordedFile(path);
    EXPECT_LE(file.pictures.back().seconds, 1.0 + 1e-6);
    EXPECT_GE(file.pictures.back().seconds, 0.9 - source.largestLateness());
}

TEST(LRecorderTime, FiftyPicturesASecondInto25LeaveEverySecondOutWithoutCountingIt) {
    LRecorder recorder;
    test::configure(recorder, temporaryPath("halved.mov"), {"mov", "mpeg4", "none", ""});
    test::setPictures(recorder, 64, 48, 25);
    ASSERT_TRUE(recorder.Record());
    constexpr int pushes = 100;
    constexpr std::int64_t tick = 40 * quol::nanosPerMilli;
    const std::int64_t start = quol::steadyNow();
    std::int64_t last = 0;
    std::int64_t certain = 0; // pictures far enough behind the last one to have a tick of their own
    for (int i = 0; i < pushes; ++i) {
        if (i == 0 || quol::steadyNow() - last >= tick) {
            ++certain;
            test::pushGrey(recorder, 64, 48, 100);
            last = quol::steadyNow();
        } else {
            test::pushGrey(recorder, 64, 48, 100);
        }
        quol::sleepFor(start + (i + 1) * tick / 2 - quol::steadyNow());
    }
    const std::int64_t ticks = (quol::steadyNow() - start) / tick + 2;
    recorder.Stop();
    const LRecorder::Stats stats = statsOf(recorder);
    EXPECT_EQ(stats.framesDropped, 0);
    EXPECT_GE(stats.framesWritten, certain);
    EXPECT_LE(stats.framesWritten, std::min<std::int64_t>(ticks, pushes));
    EXPECT_EQ(
        static_cast<std::int64_t>(readRecordedFile(temporaryPath("halved.mov")).pictures.size()),
        stats.framesWritten);
}

TEST(LRecorderTime, PicturesThatComeTooSlowlyLeaveHoles) {
    const std::string path = temporaryPath("holes.mov");
    LRecorder recorder;
    test::configure(recorder, path, {"mov", "mpeg4", "none", ""});
    test::setPictures(recorder, 64, 48, 25);
    ASSERT_TRUE(recorder.Record());
    for (int i = 0; i < 4; ++i) {
        test::pushGrey(recorder, 64, 48, 100);
        std::this_thread::sleep_for(300ms);
    }
    recorder.Stop();
    const RecordedFile file = readRecordedFile(path);
    ASSERT_EQ(file.pictures.size(), 4U);
    for (std::size_t i = 1; i < 4; ++i) {
        EXPECT_GE(file.pictures[i].seconds - file.pictures[i - 1].seconds, 0.26 - 1e-3);
    }
}

TEST(LRecorderTime, PauseLeavesNoGapInTheFile) {
    const std::string path = temporaryPath("no_gap.mov");
    LiveSource source;
    source.start();
    LRecorder recorder;
    test::configure(recorder, path, quick);
    recorder.source = &source;
    ASSERT_TRUE(recorder.Record());
    ASSERT_TRUE(test::waitForWritten(recorder, 10));
    recorder.Pause(true);
    std::this_thread::sleep_for(1500ms);
    recorder.Pause(false);
    ASSERT_TRUE(test::waitForWritten(recorder, statsOf(recorder).framesWritten + 10));
    recorder.Stop();
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    EXPECT_GE(file.pictures.size(), 20U);
    EXPECT_LT(file.longestPictureGap(), 0.2 + source.largestLateness());
    EXPECT_NEAR(file.soundSeconds(), file.pictureSeconds(), 0.15 + source.largestLateness());
    EXPECT_LT(file.soundHoles, 1e-4);
}

} // namespace

// When memory is short a picture or an export may be lost, the process must not be.
#include <gtest/gtest.h>

#include <chrono>

#include "quolsdk/LReplay.h"
#include "support/CollectingSink.h"
#include "support/FailingMemory.h"
#include "support/Replays.h"
#include "support/ThisProcess.h"

namespace {

// Each allocation of the call fails in its turn, until there is none left to fail.
TEST(ReplayMemory, AStartAndAnExportFailAndTheNextOnesAreWhole) {
    test::ReplayStation station;
    const std::string path = station.folder + "/out.mov";
    const auto failures = [](const auto& call) {
        int failed = 0;
        for (bool done = false; !done && failed < 1000; ++failed) {
            test::failAfter = failed;
            bool worked = true;
            EXPECT_NO_THROW(worked = call()) << failed;
            done = test::failAfter >= 0;
            test::failAfter = -1;
            EXPECT_TRUE(!done || worked);
        }
        return failed - 1;
    };
    station.replay.clearRecording();
    const int before = test::descriptorsOfThisProcess();
    EXPECT_GT(failures([&] { return station.replay.startRecording(); }), 4);
    station.replay.clearRecording();
    EXPECT_EQ(test::descriptorsOfThisProcess(), before);
    ASSERT_TRUE(station.replay.startRecording());
    station.record(5);
    const int recording = test::descriptorsOfThisProcess();
    EXPECT_GT(failures([&] { return station.replay.exportRange(0, 4, path); }), 4);
    EXPECT_EQ(test::descriptorsOfThisProcess(), recording);
    EXPECT_TRUE(station.replay.exportRange(0, 4, path));
}

TEST(ReplayMemory, APlaybackShortOfItTriesAgainSoon) {
    test::ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    station.record(50);
    test::isSpared = true; // this thread
    station.replay.setSpeed(0.5);
    station.replay.play();
    const int before = test::failures;
    test::failEvery = 1;
    // At 20 ms a picture and one failure each; a second of rest behind each would take 30.
    const bool soon =
        test::waitUntil([&] { return test::failures >= before + 30; }, std::chrono::seconds(15));
    test::failEvery = 0;
    test::isSpared = false;
    EXPECT_TRUE(soon);
    EXPECT_TRUE(station.after([&] { station.replay.posSet(7); }));
}

} // namespace

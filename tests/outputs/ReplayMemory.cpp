// When memory is short a picture or an export may be lost, the process must not be.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <vector>

#include "outputs/ReplayDecoder.h"
#include "quolsdk/LReplay.h"
#include "support/CollectingSink.h"
#include "support/FailingMemory.h"
#include "support/Replays.h"
#include "support/ThisProcess.h"

namespace {

// What a picture shows, read without memory.
class NumberSink : public LSink {
public:
    void pushVideoFrame(AVFrame* frame) override { number = test::numberIn(*frame); }
    void pushAudioFrame(AVFrame* /*frame*/) override {}
    std::atomic<int> number{-1};
};

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

// Where a playback stands no other picture comes behind the one that was sought.
TEST(ReplayMemory, ASeekShortOfItShowsItsPictureAllTheSame) {
    constexpr int pictures = 40;
    test::ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    station.record(pictures);
    station.replay.stopRecording();
    NumberSink sink;
    station.replay.addSink(&sink);
    test::isSpared = true; // this thread
    int refused = 0;
    for (int number = 0; number < pictures; ++number) {
        // Of another size each time, or there would soon be memory for everything.
        const int width = test::numberedWidth + 16 * number;
        station.replay.setVideoFormat({0, width, test::numberedHeight, 50.0, 0});
        const int before = test::failures;
        test::refuseOneOfThoseToCome(number % 10);
        station.replay.posSet(number);
        EXPECT_TRUE(test::waitUntil([&] { return sink.number == number; })) << number;
        test::failEvery = 0;
        refused += test::failures - before;
        if (HasFailure()) break;
    }
    test::isSpared = false;
    EXPECT_GT(refused, 5);
    station.replay.removeSink(&sink);
}

// Asked for the same picture again, a decoder that had no memory for it must not stay without.
TEST(ReplayMemory, ADecoderShortOfItDecodesThePictureTheNextTime) {
    test::ReplayStation station;
    ASSERT_TRUE(station.replay.startRecording());
    station.record(2);
    station.replay.stopRecording();
    const auto reader = quol::ReplayReader::open(station.videoPath());
    ASSERT_TRUE(reader);
    const auto size = static_cast<std::int32_t>(std::filesystem::file_size(station.videoPath()));
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size));
    ASSERT_TRUE(reader->read({0, size}, bytes.data()));
    const std::array<std::uint8_t, 2> end{0xFF, 0xD9}; // of the first JPEG
    const auto found = std::search(bytes.begin(), bytes.end(), end.begin(), end.end());
    const quol::ReplayPiece first{0, static_cast<std::int32_t>(found - bytes.begin()) + 2};
    const quol::ReplaySize scaled{160, 32};
    int number = 0;
    for (bool isMet = true; isMet && number < 1000; ++number) {
        quol::ReplayDecoder decoder;
        test::failAfter = number;
        quol::FramePtr picture;
        try {
            picture = decoder.picture(reader, first, scaled);
        } catch (const std::bad_alloc&) {
        }
        isMet = test::failAfter < 0;
        test::failAfter = -1;
        if (!picture) picture = decoder.picture(reader, first, scaled);
        ASSERT_TRUE(picture) << number;
        EXPECT_EQ(picture->format, AV_PIX_FMT_YUVA420P) << number;
        EXPECT_EQ(picture->width, 160) << number;
        EXPECT_EQ(test::numberIn(*picture), 0) << number;
    }
    EXPECT_GT(number, 2); // the file's bytes, and the picture
}

} // namespace

// When the blocks of an audio mixer come.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <thread>
#include <vector>

#include "core/Clock.h"
#include "support/MachineWatch.h"
#include "support/RunningAudioMixer.h"
#include "support/RunningMixer.h"
#include "support/ThisProcess.h"

extern "C" {
#include <libavutil/avutil.h>
}

namespace {

using test::CollectingSink;
using test::HandSource;
using test::RunningAudioMixer;
using namespace std::chrono_literals;

constexpr std::int64_t blockNanos = 20 * quol::nanosPerMilli;
constexpr std::int64_t generous = 250 * quol::nanosPerMilli; // of a machine that is busy
constexpr std::int64_t strict = 60 * quol::nanosPerMilli;    // of one that was there

// Takes its time over every block.
class SlowSink : public LSink {
public:
    explicit SlowSink(std::chrono::milliseconds delay) : delay_(delay) {}
    void pushVideoFrame(AVFrame*) override {}
    void pushAudioFrame(AVFrame*) override { std::this_thread::sleep_for(delay_); }

private:
    std::chrono::milliseconds delay_;
};

// Takes a second over the block of that number.
class StumblingSink : public LSink {
public:
    explicit StumblingSink(int at) : left_(at) {}
    void pushVideoFrame(AVFrame*) override {}
    void pushAudioFrame(AVFrame*) override {
        if (left_-- == 0) std::this_thread::sleep_for(1s);
    }

private:
    int left_;
};

// How much later than on a clock of 20 milliseconds from the first block on each block came.
std::vector<std::int64_t> lateness(const CollectingSink& sink) {
    std::vector<std::int64_t> values;
    for (const test::SoundSeen& seen : sink.sounds()) {
        const auto number = static_cast<std::int64_t>(values.size());
        values.push_back(seen.arrived - sink.sounds().front().arrived - number * blockNanos);
    }
    return values;
}

// How far the clock has fallen behind from the first half of the blocks to the second, each taken
// by its least late block: that shows where the clock is, whatever else the machine does.
std::int64_t drift(const CollectingSink& sink) {
    const std::vector<std::int64_t> values = lateness(sink);
    const auto half = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    return *std::min_element(half, values.end()) - *std::min_element(values.begin(), half);
}

} // namespace

TEST(LAudioMixerClock, WithoutChannelsSilentBlocksComeAllTheSame) {
    RunningAudioMixer running;
    ASSERT_TRUE(running.passBlocks(10));
    for (const quol::FramePtr& block : running.sink.keptSounds()) {
        EXPECT_EQ(block->nb_samples, 960);
        EXPECT_EQ(block->sample_rate, 48000);
        EXPECT_EQ(block->format, AV_SAMPLE_FMT_S16);
        EXPECT_EQ(block->ch_layout.nb_channels, 2);
        EXPECT_EQ(test::samplesOf(*block), std::vector<std::int16_t>(1920, 0));
    }
    EXPECT_EQ(running.sink.pictureCount(), 0U);
}

TEST(LAudioMixerClock, EverySinkGetsTheSameBlocks) {
    RunningAudioMixer running;
    CollectingSink other(1000);
    running.mixer.addSink(&other);
    ASSERT_TRUE(other.waitForSounds(3));
    running.mixer.removeSink(&other);
    const auto blocks = other.keptSounds();
    const auto mine = running.sink.keptSounds();
    for (const quol::FramePtr& block : blocks) {
        EXPECT_TRUE(std::any_of(mine.begin(), mine.end(), [&](const quol::FramePtr& each) {
            return each->data[0] == block->data[0];
        }));
    }
}

TEST(LAudioMixerClock, ABlockThatASinkKeepsIsNotWrittenToAgain) {
    HandSource source;
    RunningAudioMixer running;
    running.addHeard("a", source);
    push(source, test::countingSound(9600, 1));
    const std::vector<int> heard = running.heardAfter(9600);
    ASSERT_EQ(heard.size(), 9600U);
    ASSERT_TRUE(running.passBlocks(10));
    EXPECT_EQ(running.heard(), heard);
}

TEST(LAudioMixerClock, OverSecondsThereIsABlockEvery20Milliseconds) {
    // Two milliseconds more or less a block are 200 from one half of the blocks to the other.
    test::measured([](test::MachineWatch& watch) {
        RunningAudioMixer running;
        watch.begin();
        ASSERT_TRUE(running.sink.waitForSounds(200));
        EXPECT_LT(drift(running.sink), strict);
        EXPECT_GT(drift(running.sink), -strict);
    });
}

TEST(LAudioMixerClock, TheTimeThatSinksTakeDoesNotAddUp) {
    RunningAudioMixer running;
    SlowSink slow(10ms);
    running.mixer.addSink(&slow);
    const std::size_t before = running.sink.soundCount();
    EXPECT_TRUE(running.sink.waitForSounds(before + 150));
    // A period that began anew behind every push would be 750 milliseconds late by half of them.
    EXPECT_LT(drift(running.sink), generous);
    running.mixer.removeSink(&slow);
}

TEST(LAudioMixerClock, TimeThatWasLostIsMadeUpFor) {
    RunningAudioMixer running;
    StumblingSink stumbling(5);
    running.mixer.addSink(&stumbling);
    const std::size_t before = running.sink.soundCount();
    EXPECT_TRUE(running.sink.waitForSounds(before + 150));
    EXPECT_LT(drift(running.sink), generous);
    EXPECT_GT(drift(running.sink), -generous);
    running.mixer.removeSink(&stumbling);
}

TEST(LAudioMixerClock, AnotherFormatLeavesThePeriodAlone) {
    RunningAudioMixer running;
    for (const unsigned mode : {13U, 4U, 99U, 2U, 6U, 14U}) {
        running.mixer.setAudioFormat({mode, 16, 0, 0});
        ASSERT_TRUE(running.passBlocks(20));
    }
    EXPECT_LT(drift(running.sink), generous);
    EXPECT_GT(drift(running.sink), -generous);
}

TEST(LAudioMixerClock, ARunningMixersEnsureRunningStartsNoSecondThread) {
    RunningAudioMixer running;
    const int threads = test::threadsOfThisProcess();
    for (int i = 0; i < 5; ++i)
        running.mixer.ensureRunning();
    EXPECT_EQ(test::threadsOfThisProcess(), threads);
    ASSERT_TRUE(running.sink.waitForSounds(100));
    EXPECT_GT(drift(running.sink), -generous) << "blocks do not come twice as fast";
}

TEST(LAudioMixerClock, ALateBlockTakesAllTheSoundOfItsTime) {
    HandSource source;
    RunningAudioMixer running;
    StumblingSink stumbling(2);
    running.addHeard("a", source);
    running.mixer.addSink(&stumbling);
    push(source, test::countingSound(9600, 1));
    const std::vector<int> heard = running.heardAfter(9600);
    EXPECT_EQ(heard.size(), 9600U) << "nothing is dropped to catch up";
    EXPECT_TRUE(std::is_sorted(heard.begin(), heard.end()));
    running.mixer.removeSink(&stumbling);
}

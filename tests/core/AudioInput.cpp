#include "core/AudioInput.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <thread>
#include <vector>

#include "support/Frames.h"
#include "support/PlainFrames.h"

namespace {

std::vector<std::int16_t> take(quol::AudioInput& input, std::size_t pairs) {
    std::vector<std::int16_t> samples(pairs * 2, 77);
    samples.resize(input.take(samples.data(), pairs) * 2);
    return samples;
}

TEST(AudioInput, KeepsSoundOfItsOwnFormAsItIs) {
    quol::AudioInput input(48000);
    input.push(test::plainSound(3, 5, -6).get());
    EXPECT_EQ(input.records(), 1U);
    EXPECT_EQ(take(input, 8), (std::vector<std::int16_t>{5, -6, 5, -6, 5, -6}));
    EXPECT_EQ(input.records(), 0U);
}

TEST(AudioInput, DropsNullAndEmptyBlocks) {
    quol::AudioInput input(48000);
    input.push(nullptr);
    const quol::FramePtr empty = quol::makeFrame();
    input.push(empty.get());
    EXPECT_EQ(input.records(), 0U);
}

TEST(AudioInput, DropsABlockThatCannotBeConverted) {
    quol::AudioInput input(48000);
    quol::FramePtr odd = test::plainSound(4, 1, 1);
    odd->format = AV_SAMPLE_FMT_NONE;
    input.push(odd.get());
    odd = test::plainSound(4, 1, 1);
    odd->sample_rate = 0;
    input.push(odd.get());
    EXPECT_EQ(input.records(), 0U);
}

TEST(AudioInput, MakesStereoOfOtherForms) {
    struct Form {
        int channels;
        AVSampleFormat format;
        int rate;
    };
    for (const Form& form : {Form{1, AV_SAMPLE_FMT_S16, 48000}, Form{2, AV_SAMPLE_FMT_FLTP, 48000},
                             Form{6, AV_SAMPLE_FMT_FLT, 48000}, Form{2, AV_SAMPLE_FMT_S16, 44100},
                             Form{2, AV_SAMPLE_FMT_S16P, 96000}}) {
        quol::AudioInput input(48000);
        constexpr int blocks = 20;
        for (int i = 0; i < blocks; ++i)
            input.push(
                test::makeSound(form.rate / 50, form.rate, form.channels, form.format, i).get());
        const double expected = blocks * 960.0;
        EXPECT_NEAR(static_cast<double>(input.pairs()), expected, 100.0) << form.rate;
        const std::vector<std::int16_t> samples = take(input, input.pairs());
        int largest = 0;
        for (const std::int16_t sample : samples)
            largest = std::max(largest, std::abs(static_cast<int>(sample)));
        EXPECT_GT(largest, 1000) << "nothing is heard of " << form.channels << " channels";
    }
}

TEST(AudioInput, FollowsASourceThatChangesItsForm) {
    quol::AudioInput input(48000);
    input.push(test::makeSound(480, 48000, 1, AV_SAMPLE_FMT_FLTP).get());
    input.push(test::plainSound(100, 1, 2).get());
    input.push(test::makeSound(960, 96000, 2, AV_SAMPLE_FMT_S16).get());
    EXPECT_EQ(input.records(), 3U);
    EXPECT_NEAR(static_cast<double>(input.pairs()), 480 + 100 + 480, 40.0);
}

TEST(AudioInput, HoldsFiveThousandBlocksAndDropsTheOldest) {
    quol::AudioInput input(48000);
    for (int i = 0; i < 5001; ++i)
        input.push(test::plainSound(1, static_cast<std::int16_t>(i), 0).get());
    EXPECT_EQ(input.records(), 5000U);
    EXPECT_EQ(take(input, 1).front(), 1);
}

TEST(AudioInput, GivesOnlyWhatIsDue) {
    quol::AudioInput input(48000);
    input.push(test::plainSound(480, 1, 1, 0).get());     // 0.00 s
    input.push(test::plainSound(480, 2, 2, 4800).get());  // 0.10 s
    input.push(test::plainSound(480, 3, 3, 48000).get()); // 1.00 s
    std::vector<std::int16_t> samples(4000);
    EXPECT_EQ(input.takeDue(samples.data(), 2000, 0.05), 480U);
    EXPECT_EQ(samples[0], 1);
    EXPECT_EQ(input.takeDue(samples.data(), 2000, 0.05), 0U);
    EXPECT_EQ(input.takeDue(samples.data(), 2000, 0.10), 480U);
    EXPECT_EQ(samples[0], 2);
    EXPECT_EQ(input.takeDue(samples.data(), 2000, 0.99), 0U);
    EXPECT_EQ(input.records(), 1U);
}

TEST(AudioInput, TakesSoundWithoutATimeAsOfTheBeginning) {
    quol::AudioInput input(48000);
    quol::FramePtr sound = test::plainSound(10, 9, 9);
    sound->pts = AV_NOPTS_VALUE;
    input.push(sound.get());
    std::vector<std::int16_t> samples(20);
    EXPECT_EQ(input.takeDue(samples.data(), 10, 0.0), 10U);
}

TEST(AudioInput, PlaysNothingOfTheOldRateBehindAnotherOne) {
    quol::AudioInput input(48000);
    input.push(test::plainSound(960, 1, 1).get());
    input.push(test::makeSound(882, 44100, 2, AV_SAMPLE_FMT_S16).get());
    input.setSampleRate(44100);
    EXPECT_EQ(input.sampleRate(), 44100);
    EXPECT_EQ(input.pairs(), 0U);
    input.push(test::plainSound(882, 4, 4, 0, 44100).get());
    EXPECT_EQ(take(input, 2000).size(), 882U * 2) << "its own rate is copied";
}

TEST(AudioInput, OfNoRateTakesNothingThatNeedsConverting) {
    quol::AudioInput input(0);
    input.push(test::plainSound(960, 1, 1).get());
    EXPECT_EQ(input.records(), 0U);
}

// The source's thread and the compositor's at once.
TEST(AudioInput, GivesEverySampleOnceWhileOthersCome) {
    quol::AudioInput input(48000);
    constexpr int blocks = 3000;
    constexpr int length = 7;
    std::thread source([&input] {
        for (int i = 0; i < blocks; ++i) {
            const quol::FramePtr sound = test::plainSound(length, 0, 0);
            for (int k = 0; k < length; ++k) {
                const auto value = static_cast<std::int16_t>((i * length + k) % 30000);
                reinterpret_cast<std::int16_t*>(sound->data[0])[2 * k] = value;
                reinterpret_cast<std::int16_t*>(sound->data[0])[2 * k + 1] =
                    static_cast<std::int16_t>(-value);
            }
            input.push(sound.get());
        }
    });
    int taken = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (taken < blocks * length && std::chrono::steady_clock::now() < deadline) {
        const std::vector<std::int16_t> samples =
            take(input, 1 + static_cast<std::size_t>(taken) % 50);
        for (std::size_t i = 0; i < samples.size(); i += 2) {
            EXPECT_EQ(samples[i], taken % 30000);
            EXPECT_EQ(samples[i + 1], -samples[i]);
            ++taken;
        }
        if (testing::Test::HasFailure()) break;
    }
    source.join();
    EXPECT_EQ(taken, blocks * length);
}

TEST(AudioInput, IsEmptyBehindClear) {
    quol::AudioInput input(48000);
    input.push(test::plainSound(960, 1, 1).get());
    input.clear();
    EXPECT_EQ(input.pairs(), 0U);
}

} // namespace

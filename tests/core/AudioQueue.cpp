#include "core/AudioQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <deque>
#include <numeric>
#include <random>
#include <vector>

namespace {

using testing::ElementsAre;

// Pairs that count: sample n is (n, -n).
quol::AudioRecord counting(double pts, std::size_t pairs, int first = 0) {
    quol::AudioRecord record;
    record.pts = pts;
    for (std::size_t i = 0; i < pairs; ++i) {
        const auto value = static_cast<std::int16_t>(first + static_cast<int>(i));
        record.samples.push_back(value);
        record.samples.push_back(static_cast<std::int16_t>(-value));
    }
    return record;
}

// The left samples of up to `pairs` pairs; checks that the right ones belong to them.
std::vector<int> takeLeft(quol::AudioQueue& queue, std::size_t pairs) {
    std::vector<std::int16_t> samples(pairs * 2);
    const std::size_t count = queue.take(samples.data(), pairs);
    EXPECT_LE(count, pairs);
    std::vector<int> left;
    for (std::size_t i = 0; i < count; ++i) {
        left.push_back(samples[i * 2]);
        EXPECT_EQ(samples[i * 2 + 1], -samples[i * 2]);
    }
    return left;
}

TEST(AudioQueue, NewOneIsEmpty) {
    quol::AudioQueue queue(4, 48000);
    EXPECT_TRUE(queue.empty());
    EXPECT_EQ(queue.records(), 0U);
    EXPECT_TRUE(takeLeft(queue, 5).empty());
    EXPECT_FALSE(queue.skipTo(0.0, 100.0).has_value());
}

TEST(AudioQueue, GivesSamplesInTheirOrderAcrossRecords) {
    quol::AudioQueue queue(10, 48000);
    queue.append(counting(0.0, 3, 0));
    queue.append(counting(1.0, 1, 3));
    queue.append(counting(2.0, 4, 4));
    EXPECT_THAT(takeLeft(queue, 8), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7));
    EXPECT_TRUE(queue.empty());
}

TEST(AudioQueue, RecordTakenInPartKeepsItsRest) {
    quol::AudioQueue queue(10, 48000);
    queue.append(counting(0.0, 5, 0));
    queue.append(counting(1.0, 5, 5));
    EXPECT_THAT(takeLeft(queue, 2), ElementsAre(0, 1));
    EXPECT_EQ(queue.records(), 2U);
    EXPECT_THAT(takeLeft(queue, 1), ElementsAre(2));
    EXPECT_THAT(takeLeft(queue, 4), ElementsAre(3, 4, 5, 6));
    EXPECT_EQ(queue.records(), 1U);
    EXPECT_THAT(takeLeft(queue, 10), ElementsAre(7, 8, 9));
    EXPECT_TRUE(queue.empty());
}

TEST(AudioQueue, TakeLeavesTheRestOfTheTargetAsItIs) {
    quol::AudioQueue queue(10, 48000);
    queue.append(counting(0.0, 2, 1));
    std::vector<std::int16_t> target(8, 77);
    EXPECT_EQ(queue.take(target.data(), 4), 2U);
    EXPECT_THAT(target, ElementsAre(1, -1, 2, -2, 77, 77, 77, 77));
}

TEST(AudioQueue, TakingNothingChangesNothing) {
    quol::AudioQueue queue(10, 48000);
    queue.append(counting(0.0, 2, 1));
    EXPECT_EQ(queue.take(nullptr, 0), 0U);
    EXPECT_THAT(takeLeft(queue, 2), ElementsAre(1, 2));
}

TEST(AudioQueue, HoldsNoMoreThanItsLimitAndDropsTheOldest) {
    quol::AudioQueue queue(3, 48000);
    for (int i = 0; i < 10; ++i) {
        queue.append(counting(i, 1, i));
        EXPECT_EQ(queue.records(), static_cast<std::size_t>(std::min(i + 1, 3)));
    }
    EXPECT_THAT(takeLeft(queue, 10), ElementsAre(7, 8, 9));
}

TEST(AudioQueue, DroppingAPartUsedRecordStartsTheNextAtItsBeginning) {
    quol::AudioQueue queue(2, 48000);
    queue.append(counting(0.0, 4, 0));
    queue.append(counting(1.0, 4, 10));
    EXPECT_THAT(takeLeft(queue, 3), ElementsAre(0, 1, 2));
    queue.append(counting(2.0, 2, 20));
    EXPECT_EQ(queue.records(), 2U);
    EXPECT_THAT(takeLeft(queue, 10), ElementsAre(10, 11, 12, 13, 20, 21));
}

TEST(AudioQueue, RecordWithoutAPairIsNotKept) {
    quol::AudioQueue queue(2, 48000);
    queue.append({});
    quol::AudioRecord half;
    half.samples = {5};
    queue.append(half);
    EXPECT_TRUE(queue.empty());
    // Nor does it push another one out.
    queue.append(counting(0.0, 1, 1));
    queue.append(counting(1.0, 1, 2));
    queue.append({});
    EXPECT_THAT(takeLeft(queue, 5), ElementsAre(1, 2));
}

TEST(AudioQueue, ClearForgetsAllAndWhatWasUsed) {
    quol::AudioQueue queue(4, 48000);
    queue.append(counting(0.0, 4, 0));
    takeLeft(queue, 3);
    queue.clear();
    EXPECT_TRUE(queue.empty());
    EXPECT_TRUE(takeLeft(queue, 3).empty());
    queue.append(counting(0.0, 2, 8));
    EXPECT_THAT(takeLeft(queue, 3), ElementsAre(8, 9));
}

TEST(AudioQueue, DropRemovesAsManyAsTakeWould) {
    for (std::size_t dropped = 0; dropped <= 14; ++dropped) {
        for (std::size_t used = 0; used <= 4; ++used) {
            quol::AudioQueue queue(10, 48000);
            quol::AudioQueue other(10, 48000);
            for (quol::AudioQueue* one : {&queue, &other}) {
                one->append(counting(0.0, 5, 0));
                one->append(counting(1.0, 1, 5));
                one->append(counting(2.0, 6, 6));
                takeLeft(*one, used);
            }
            queue.drop(dropped);
            takeLeft(other, dropped);
            EXPECT_EQ(queue.records(), other.records()) << dropped << ' ' << used;
            EXPECT_EQ(takeLeft(queue, 20), takeLeft(other, 20)) << dropped << ' ' << used;
        }
    }
}

TEST(AudioQueue, AnyPatternOfAppendingAndTakingKeepsEverySampleOnce) {
    std::mt19937 random(3);
    quol::AudioQueue queue(1000000, 48000);
    int appended = 0;
    int taken = 0;
    for (int round = 0; round < 2000; ++round) {
        const std::size_t pairs = random() % 7;
        queue.append(counting(round, pairs, appended % 10000));
        appended = (appended % 10000 + static_cast<int>(pairs));
        for (const int value : takeLeft(queue, random() % 7)) {
            ASSERT_EQ(value, taken);
            ++taken;
        }
        // Both sides count from 0 again, together, while the queue is empty.
        if (appended > 9000) {
            for (const int value : takeLeft(queue, 20000)) {
                ASSERT_EQ(value, taken);
                ++taken;
            }
            ASSERT_EQ(taken, appended);
            appended = 0;
            taken = 0;
        }
    }
}

// At 1000 Hz a pair lasts a millisecond, so that times can be read off the numbers.
constexpr int milliRate = 1000;

TEST(AudioQueueSkipTo, MakesTheOldestSampleTheFirstAtThatTime) {
    quol::AudioQueue queue(10, milliRate);
    queue.append(counting(0.0, 100, 0));
    queue.append(counting(0.1, 100, 100));
    const auto behind = queue.skipTo(0.13, 1.0);
    ASSERT_TRUE(behind.has_value());
    EXPECT_NEAR(*behind, 0.0, 1e-9);
    EXPECT_EQ(queue.records(), 1U);
    EXPECT_THAT(takeLeft(queue, 2), ElementsAre(130, 131));
}

TEST(AudioQueueSkipTo, SoundThatBeginsLaterWithinTheWindowTellsHowMuchLater) {
    quol::AudioQueue queue(10, milliRate);
    queue.append(counting(5.0, 10, 0));
    const auto behind = queue.skipTo(4.75, 0.5);
    ASSERT_TRUE(behind.has_value());
    EXPECT_NEAR(*behind, 0.25, 1e-9);
    EXPECT_THAT(takeLeft(queue, 1), ElementsAre(0));
}

TEST(AudioQueueSkipTo, SoundBehindTheWindowIsNoneAndStays) {
    quol::AudioQueue queue(10, milliRate);
    queue.append(counting(5.0, 10, 0));
    queue.append(counting(6.0, 10, 10));
    EXPECT_FALSE(queue.skipTo(4.0, 0.5).has_value());
    EXPECT_EQ(queue.records(), 2U);
    EXPECT_THAT(takeLeft(queue, 1), ElementsAre(0));
}

TEST(AudioQueueSkipTo, OldSoundAloneIsNoneAndStays) {
    quol::AudioQueue queue(10, milliRate);
    queue.append(counting(1.0, 100, 0));
    EXPECT_FALSE(queue.skipTo(2.0, 0.5).has_value());
    EXPECT_EQ(queue.records(), 1U);
}

TEST(AudioQueueSkipTo, RecordThatEndsAtThatTimeGivesNothing) {
    quol::AudioQueue queue(10, milliRate);
    queue.append(counting(0.0, 100, 0));
    EXPECT_FALSE(queue.skipTo(0.1, 0.5).has_value());
    queue.append(counting(0.1, 100, 100));
    EXPECT_TRUE(queue.skipTo(0.1, 0.5).has_value());
    EXPECT_THAT(takeLeft(queue, 1), ElementsAre(100));
}

TEST(AudioQueueSkipTo, NeverGoesBackInAPartUsedRecord) {
    quol::AudioQueue queue(10, milliRate);
    queue.append(counting(0.0, 100, 0));
    EXPECT_EQ(takeLeft(queue, 50).size(), 50U);
    const auto behind = queue.skipTo(0.02, 1.0);
    ASSERT_TRUE(behind.has_value());
    EXPECT_NEAR(*behind, 0.03, 1e-9);
    EXPECT_THAT(takeLeft(queue, 1), ElementsAre(50));
}

TEST(AudioQueueSkipTo, OfSoundOfTwoTimesTheNearerOneIsMeant) {
    // Behind a jump back: what was to come a second later still waits in front.
    quol::AudioQueue queue(10, milliRate);
    queue.append(counting(1.0, 100, 0));
    queue.append(counting(0.0, 100, 500));
    queue.append(counting(0.1, 100, 600));
    const auto behind = queue.skipTo(0.05, 5.0);
    ASSERT_TRUE(behind.has_value());
    EXPECT_NEAR(*behind, 0.0, 1e-9);
    EXPECT_THAT(takeLeft(queue, 1), ElementsAre(550));
}

TEST(AudioQueueSkipTo, FollowsTheSampleRate) {
    quol::AudioQueue queue(10, 48000);
    queue.setSampleRate(milliRate);
    queue.append(counting(0.0, 100, 0));
    EXPECT_TRUE(queue.skipTo(0.05, 1.0).has_value());
    EXPECT_THAT(takeLeft(queue, 1), ElementsAre(50));
}

TEST(AudioQueueTimes, FrontTimeAndPairsFollowWhatWasTaken) {
    quol::AudioQueue queue(10, milliRate);
    EXPECT_FALSE(queue.frontTime().has_value());
    EXPECT_EQ(queue.pairs(), 0U);
    queue.append(counting(2.0, 100, 0));
    queue.append(counting(5.0, 50, 100));
    EXPECT_EQ(queue.pairs(), 150U);
    EXPECT_EQ(takeLeft(queue, 30).size(), 30U);
    EXPECT_NEAR(queue.frontTime().value_or(0.0), 2.03, 1e-9);
    EXPECT_EQ(queue.pairs(), 120U);
    EXPECT_EQ(takeLeft(queue, 70).size(), 70U);
    EXPECT_NEAR(queue.frontTime().value_or(0.0), 5.0, 1e-9);
}

TEST(AudioQueueTimes, ReachesATimeThatSoundLastsUntilOrBeginsSoonBehind) {
    quol::AudioQueue queue(10, milliRate);
    EXPECT_FALSE(queue.reaches(0.0, 100.0));
    queue.append(counting(1.0, 100, 0));
    EXPECT_TRUE(queue.reaches(1.1, 0.5));
    EXPECT_FALSE(queue.reaches(1.11, 0.5)); // it has ended before
    EXPECT_TRUE(queue.reaches(0.6, 0.5));
    EXPECT_FALSE(queue.reaches(0.4, 0.5)); // it begins too far behind
}

TEST(AudioQueueTimes, ContiguousPairsEndAtAHoleAndAtAnOverlap) {
    quol::AudioQueue queue(10, milliRate);
    EXPECT_EQ(queue.contiguousPairs(10, 0.05), 0U);
    queue.append(counting(0.0, 100, 0));
    queue.append(counting(0.12, 100, 100)); // within the tolerance
    queue.append(counting(0.3, 100, 200));  // beyond it
    EXPECT_EQ(queue.contiguousPairs(1000, 0.05), 200U);
    EXPECT_EQ(queue.contiguousPairs(150, 0.05), 150U);
    EXPECT_EQ(takeLeft(queue, 60).size(), 60U);
    EXPECT_EQ(queue.contiguousPairs(1000, 0.05), 140U);
    EXPECT_EQ(takeLeft(queue, 140).size(), 140U);
    queue.append(counting(0.2, 100, 300)); // a jump back
    EXPECT_EQ(queue.contiguousPairs(1000, 0.05), 100U);
}

// The rule on single samples: drop what lies before the time, and look how far the next one is.
class PlainQueue {
public:
    void append(double pts, std::size_t pairs, int first, double rate) {
        for (std::size_t i = 0; i < pairs; ++i) {
            samples_.push_back({pts + static_cast<double>(i) / rate, first + static_cast<int>(i)});
        }
    }
    std::vector<int> take(std::size_t pairs) {
        std::vector<int> values;
        while (values.size() < pairs && !samples_.empty()) {
            values.push_back(samples_.front().value);
            samples_.pop_front();
        }
        return values;
    }
    std::optional<double> skipTo(double time, double window, double rate) {
        const auto wanted = std::find_if(samples_.begin(), samples_.end(), [&](const auto& one) {
            return one.time > time - 0.5 / rate;
        });
        if (wanted == samples_.end() || wanted->time >= time + window) return std::nullopt;
        samples_.erase(samples_.begin(), wanted);
        return std::max(0.0, samples_.front().time - time);
    }

private:
    struct Sample {
        double time;
        int value;
    };
    std::deque<Sample> samples_;
};

TEST(AudioQueueSkipTo, AnyPatternFollowsThePlainRule) {
    std::mt19937 random(17);
    const auto upTo = [&random](double limit) {
        return limit * static_cast<double>(random() % 100000) / 100000;
    };
    constexpr double rate = 48000;
    for (int run = 0; run < 300; ++run) {
        quol::AudioQueue queue(100000, 48000);
        PlainQueue plain;
        double end = 0.0;
        double time = 0.0;
        int value = 0;
        for (int step = 0; step < 60; ++step) {
            const std::size_t pairs = 1 + random() % 200;
            if (random() % 4 == 0) end += upTo(0.02); // a hole
            queue.append(counting(end, pairs, value));
            plain.append(end, pairs, value, rate);
            end += static_cast<double>(pairs) / rate;
            value = (value + static_cast<int>(pairs)) % 30000;
            if (random() % 2 == 0) continue;
            time += upTo(0.006);
            const auto got = queue.skipTo(time, 0.005);
            const auto expected = plain.skipTo(time, 0.005, rate);
            ASSERT_EQ(got.has_value(), expected.has_value()) << run << ' ' << step;
            if (!got) continue;
            // A time half way between two samples may fall to either.
            ASSERT_NEAR(*got, *expected, 1.01 / rate);
            const std::size_t count = random() % 150;
            std::vector<int> left = takeLeft(queue, count);
            const std::vector<int> wanted = plain.take(count);
            ASSERT_EQ(left, wanted) << run << ' ' << step;
        }
    }
}

TEST(AudioQueue, TakesWhatIsDueAndNoMore) {
    quol::AudioQueue queue(10, 1000);
    queue.append(counting(0.0, 10, 0));
    queue.append(counting(0.010, 10, 10));
    queue.append(counting(0.5, 10, 20));
    std::vector<std::int16_t> samples(200);
    EXPECT_EQ(queue.takeDue(samples.data(), 100, -0.001), 0U);
    EXPECT_EQ(queue.takeDue(samples.data(), 4, 0.0), 4U) << "no more than asked for";
    EXPECT_EQ(queue.takeDue(samples.data(), 100, 0.003), 0U) << "the rest begins at 4 ms";
    EXPECT_EQ(queue.takeDue(samples.data(), 100, 0.004), 6U);
    EXPECT_EQ(queue.takeDue(samples.data(), 100, 0.499), 10U);
    EXPECT_EQ(samples[0], 10);
    EXPECT_EQ(queue.takeDue(samples.data(), 100, 0.499), 0U);
    EXPECT_EQ(queue.takeDue(samples.data(), 100, 0.5), 10U);
    EXPECT_TRUE(queue.empty());
}

TEST(AudioQueue, SoundAheadHoldsUpWhatLiesBehindIt) {
    quol::AudioQueue queue(10, 1000);
    queue.append(counting(5.0, 10));
    queue.append(counting(0.0, 10));
    std::vector<std::int16_t> samples(200);
    EXPECT_EQ(queue.takeDue(samples.data(), 100, 1.0), 0U);
    EXPECT_EQ(queue.takeDue(samples.data(), 100, 5.0), 20U);
}

// Samples with times of their own, one behind the other.
TEST(AudioQueue, TakingWhatIsDueFollowsThePlainRuleInAnyPattern) {
    std::mt19937 random(8);
    constexpr int rate = 1000;
    for (int run = 0; run < 500; ++run) {
        quol::AudioQueue queue(100000, rate);
        struct Pair {
            double time;
            int value;
            int block;
        };
        std::deque<Pair> plain;
        int value = 0;
        for (int step = 0; step < 40; ++step) {
            const std::size_t pairs = 1 + random() % 30;
            const double start = static_cast<double>(random() % 200) / 64;
            queue.append(counting(start, pairs, value));
            for (std::size_t i = 0; i < pairs; ++i)
                plain.push_back({start + static_cast<double>(i) / rate, value++, step});
            const double latest = static_cast<double>(random() % 220) / 64 - 0.1;
            const std::size_t wanted = random() % 60;
            std::vector<std::int16_t> got(120, 77);
            const std::size_t count = queue.takeDue(got.data(), wanted, latest);
            // A block is taken to its end once its next sample is due.
            std::size_t expected = 0;
            while (expected < wanted && !plain.empty() && latest >= plain.front().time) {
                const int block = plain.front().block;
                while (expected < wanted && !plain.empty() && plain.front().block == block) {
                    ASSERT_EQ(got[2 * expected], plain.front().value) << run << ' ' << step;
                    plain.pop_front();
                    ++expected;
                }
            }
            ASSERT_EQ(count, expected) << run << ' ' << step;
            for (std::size_t i = count * 2; i < got.size(); ++i)
                ASSERT_EQ(got[i], 77);
        }
    }
}

} // namespace

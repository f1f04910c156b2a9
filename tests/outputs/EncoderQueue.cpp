// Pictures on their way to an encoding thread.
#include "outputs/EncoderQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "support/Frames.h"

namespace {

using quol::EncoderQueue;

const std::atomic<bool> never{false};

TEST(EncoderQueue, WhileRefusingItKeepsAndCountsNothing) {
    const auto picture = test::makePicture(16, 16, AV_PIX_FMT_YUV420P);
    EncoderQueue queue(10);
    std::atomic<bool> refusing{true};
    queue.push(*picture, 1, refusing);
    EXPECT_EQ(queue.size(), 0U);
    refusing = false;
    queue.push(*picture, 2, refusing);
    EXPECT_EQ(queue.size(), 1U);
    EXPECT_EQ(queue.dropped(), 0);
}

TEST(EncoderQueue, HandsOutTheOldestAndDropsWhatComesWhenItIsFull) {
    const auto picture = test::makePicture(16, 16, AV_PIX_FMT_YUV420P);
    EncoderQueue queue(2);
    for (int i = 0; i < 5; ++i)
        queue.push(*picture, i, never);
    EXPECT_EQ(queue.dropped(), 3);
    quol::QueuedPicture taken;
    for (const int expected : {0, 1}) {
        ASSERT_TRUE(queue.take(taken, never));
        EXPECT_EQ(taken.elapsed, expected);
    }
    EXPECT_FALSE(queue.take(taken, never));
    queue.restart();
    EXPECT_EQ(queue.dropped(), 0);
}

// As a pause does it, beside a source that goes on.
TEST(EncoderQueue, BehindRefusingAndClearingNothingIsLeft) {
    const auto picture = test::makePicture(16, 16, AV_PIX_FMT_YUV420P);
    EncoderQueue queue(100);
    std::atomic<bool> refusing{false};
    std::atomic<bool> ending{false};
    std::thread source([&] {
        while (!ending)
            queue.push(*picture, 0, refusing);
    });
    std::size_t left = 0;
    for (int i = 0; i < 2000; ++i) {
        while (queue.size() == 0)
            std::this_thread::yield();
        refusing = true;
        queue.clear();
        std::this_thread::yield();
        left += queue.size();
        refusing = false;
    }
    ending = true;
    source.join();
    EXPECT_EQ(left, 0U);
}

} // namespace

#include "graphics/LottiePlayhead.h"

#include <gtest/gtest.h>

#include <limits>
#include <ostream>
#include <string>
#include <vector>

namespace {

using quol::LottieMarkers;
using quol::LottiePlayhead;
using quol::step;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float none = std::numeric_limits<float>::quiet_NaN();
constexpr int largest = std::numeric_limits<int>::max();

// A template of 100 frames at 25 a second.
LottiePlayhead at(float frame, const LottieMarkers& markers, bool exiting = false) {
    return {frame, 100, 25.0F, markers, true, exiting};
}

LottiePlayhead leaving(float frame, const LottieMarkers& markers) {
    return at(frame, markers, true);
}

constexpr LottieMarkers noMarkers{-1, -1, -1, -1};
constexpr LottieMarkers withLoop{-1, 20, -1, -1};
constexpr LottieMarkers withStop{-1, -1, 50, -1};
constexpr LottieMarkers withBoth{-1, 20, 50, 80};

// ---------------------------------------------------------------------------------- length

TEST(LottieLength, RateIsFramesByDuration) {
    LottiePlayhead playhead;
    quol::setLength(playhead, 100.0F, 4.0F);
    EXPECT_EQ(playhead.totalFrames, 100);
    EXPECT_EQ(playhead.fps, 25.0F);
    quol::setLength(playhead, 99.9F, 2.0F);
    EXPECT_EQ(playhead.totalFrames, 99);
    EXPECT_EQ(playhead.fps, 49.5F) << "of the whole frames";
}

TEST(LottieLength, WithoutADurationTheRateIsThirty) {
    for (const float duration : {0.0F, -1.0F, none}) {
        LottiePlayhead playhead = at(10.0F, noMarkers);
        quol::setLength(playhead, 50.0F, duration);
        EXPECT_EQ(playhead.fps, 30.0F) << duration;
        EXPECT_EQ(playhead.totalFrames, 50);
        EXPECT_EQ(playhead.currentFrame, 10.0F) << "stays";
    }
}

TEST(LottieLength, FramesThatNoIntHoldsAreClamped) {
    LottiePlayhead playhead;
    quol::setLength(playhead, infinity, 1.0F);
    EXPECT_EQ(playhead.totalFrames, largest);
    quol::setLength(playhead, -3.0F, 1.0F);
    EXPECT_EQ(playhead.totalFrames, 0);
    quol::setLength(playhead, none, 1.0F);
    EXPECT_EQ(playhead.totalFrames, 0);
}

// -------------------------------------------------------------------------------- one step

enum class After { stays, holds, gone };

struct Row {
    const char* what;
    LottiePlayhead before;
    double loopFps;
    float frame;
    After after = After::stays;
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.what;
}

class LottieStep : public testing::TestWithParam<Row> {};

TEST_P(LottieStep, IsThatOfTheTable) {
    const Row& row = GetParam();
    LottiePlayhead playhead = row.before;
    EXPECT_EQ(step(playhead, row.loopFps), row.after != After::gone);
    if (row.after != After::gone) {
        EXPECT_EQ(playhead.currentFrame, row.frame);
    }
    EXPECT_EQ(playhead.playing, row.after != After::holds);
    EXPECT_EQ(playhead.exiting, row.before.exiting);
    EXPECT_EQ(playhead.totalFrames, row.before.totalFrames);
    EXPECT_EQ(playhead.fps, row.before.fps);
}

const std::vector<Row> rows{
    {"half a frame at twice the rate", at(10, noMarkers), 50, 10.5F},
    {"a frame at the same rate", at(10, noMarkers), 25, 11},
    {"several at a lower rate", at(10, noMarkers), 5, 15},
    {"the last step before the end", at(99, noMarkers), 50, 99.5F},
    {"at the end from the beginning", at(99.5F, noMarkers), 50, 0},
    {"beyond the end from the beginning", at(99, noMarkers), 5, 0},
    {"at the end from LOOP", at(99.5F, withLoop), 50, 20},
    {"at the end, with LOOP at 0", at(99.5F, {-1, 0, -1, -1}), 50, 0},
    {"IN is no place to go back to", at(99.5F, {30, -1, -1, -1}), 50, 0},
    {"on its way out, gone at the end", leaving(99.5F, noMarkers), 50, 0, After::gone},
    {"on its way out, gone beyond the end", leaving(99, noMarkers), 5, 0, After::gone},
    {"on its way out, not yet at the end", leaving(99, noMarkers), 50, 99.5F},
    {"on its way out, LOOP does not hold it", leaving(99.5F, withLoop), 50, 0, After::gone},

    {"before STOP", at(49, withStop), 50, 49.5F},
    {"onto STOP", at(49.5F, withStop), 50, 50},
    {"past STOP in a large step", at(49.5F, withStop), 12.5, 51.5F},
    {"holds at STOP", at(50, withStop), 50, 50, After::holds},
    {"holds at STOP from behind it", at(73, withStop), 50, 50, After::holds},
    {"holds at STOP at 0", at(0, {-1, -1, 0, -1}), 50, 0, After::holds},
    {"over the end before STOP", at(99.5F, {-1, -1, 100, -1}), 50, 0},
    {"from STOP to LOOP", at(50, withBoth), 50, 20},
    {"from behind STOP to LOOP", at(51.5F, withBoth), 50, 20},
    {"from STOP to LOOP at 0", at(50, {-1, 0, 50, -1}), 50, 0},
    {"from STOP to LOOP behind it", at(50, {-1, 60, 50, -1}), 50, 60},

    {"on its way out before STOP", leaving(49, withBoth), 50, 49.5F},
    {"on its way out past STOP", leaving(50, withBoth), 50, 50.5F},
    {"on its way out from OUT", leaving(80, withBoth), 50, 80.5F},
    {"on its way out past STOP to the end", leaving(99.5F, withBoth), 50, 0, After::gone},
    {"on its way out past STOP, with no LOOP", leaving(50, withStop), 50, 50.5F},
    {"on its way out, before a STOP beyond the end", leaving(99.5F, {-1, -1, 500, -1}), 50, 0,
     After::gone},

    {"LOOP beyond the end", at(99.5F, {-1, 500, -1, -1}), 50, 500},
    {"at LOOP beyond the end", at(500, {-1, 500, -1, -1}), 50, 500},
    {"OUT beyond the end", leaving(500, noMarkers), 50, 0, After::gone},
    {"IN beyond the end", at(500, noMarkers), 50, 0},
    {"IN beyond the end and STOP", at(500, withStop), 50, 50, After::holds},
};

INSTANTIATE_TEST_SUITE_P(Rows, LottieStep, testing::ValuesIn(rows));

// ---------------------------------------------------------------------------------- phases

// Steps until the layer is gone, holds, or `most` pictures were shown; the frames of them.
std::vector<float> shown(LottiePlayhead& playhead, int most) {
    std::vector<float> frames;
    for (int i = 0; i < most && playhead.playing; ++i) {
        frames.push_back(playhead.currentFrame);
        if (!step(playhead, 50)) break;
    }
    return frames;
}

LottiePlayhead shortOne(const LottieMarkers& markers) {
    return {0, 4, 50, markers, true, false};
}

TEST(LottiePhases, WithoutMarkersItRunsRoundAndRound) {
    LottiePlayhead playhead = shortOne(noMarkers);
    EXPECT_EQ(shown(playhead, 10), (std::vector<float>{0, 1, 2, 3, 0, 1, 2, 3, 0, 1}));
}

TEST(LottiePhases, ASlowTemplateShowsEveryFrameTwice) {
    LottiePlayhead playhead{0, 3, 25, noMarkers, true, false};
    EXPECT_EQ(shown(playhead, 8), (std::vector<float>{0, 0.5F, 1, 1.5F, 2, 2.5F, 0, 0.5F}));
}

TEST(LottiePhases, ItComesInAndHoldsAtStop) {
    LottiePlayhead playhead = shortOne({-1, -1, 2, 3});
    EXPECT_EQ(shown(playhead, 10), (std::vector<float>{0, 1, 2}));
    EXPECT_FALSE(playhead.playing);
    EXPECT_EQ(playhead.currentFrame, 2);
}

TEST(LottiePhases, PlayedOnAtStopItHoldsAgain) {
    LottiePlayhead playhead = shortOne({-1, -1, 2, 3});
    shown(playhead, 10);
    playhead.playing = true;
    EXPECT_TRUE(step(playhead, 50));
    EXPECT_FALSE(playhead.playing);
    EXPECT_EQ(playhead.currentFrame, 2);
}

TEST(LottiePhases, OneThatHoldsIsNotStepped) {
    LottiePlayhead playhead = shortOne({-1, -1, 2, 3});
    playhead.playing = false;
    playhead.currentFrame = 1;
    EXPECT_TRUE(step(playhead, 50));
    EXPECT_EQ(playhead.currentFrame, 1);
    playhead.exiting = true;
    EXPECT_TRUE(step(playhead, 50));
    EXPECT_EQ(playhead.currentFrame, 1);
}

TEST(LottiePhases, ItLoopsFromLoopToStopUntilItLeaves) {
    LottiePlayhead playhead = shortOne({-1, 1, 2, 3});
    EXPECT_EQ(shown(playhead, 6), (std::vector<float>{0, 1, 2, 1, 2, 1}));
    playhead.exiting = true;
    playhead.currentFrame = 3; // OUT
    EXPECT_EQ(shown(playhead, 10), (std::vector<float>{3}));
}

TEST(LottiePhases, WithoutOutItPlaysPastStopToTheEnd) {
    LottiePlayhead playhead = shortOne({-1, 1, 2, -1});
    shown(playhead, 6);
    playhead.exiting = true;
    EXPECT_EQ(shown(playhead, 10), (std::vector<float>{2, 3}));
}

// ------------------------------------------------------------------------------- odd values

// Whatever the numbers are, a layer on its way out is gone after a while.
TEST(LottieOddValues, ALayerOnItsWayOutAlwaysGoes) {
    const std::vector<float> numbers{0,        -1,        5,    1e-30F, 1e30F, -1e30F,
                                     infinity, -infinity, none, 100,    0.25F, 3e8F};
    const std::vector<LottieMarkers> markers{
        noMarkers, withStop, withBoth, {largest, largest, largest, largest}, {-7, -7, -7, -7}};
    for (const float frame : numbers) {
        for (const float fps : numbers) {
            for (const float loopFps : numbers) {
                for (const int total : {0, -5, 1, 100, largest}) {
                    for (const LottieMarkers& set : markers) {
                        LottiePlayhead playhead{frame, total, fps, set, true, true};
                        int left = 1'000;
                        // From far before the end, slow but moving ones need longer.
                        while (step(playhead, loopFps) && --left > 0) {
                            if (playhead.currentFrame + fps / loopFps > playhead.currentFrame)
                                break;
                        }
                        ASSERT_GT(left, 0) << frame << ' ' << fps << ' ' << loopFps << ' ' << total;
                    }
                }
            }
        }
    }
}

TEST(LottieOddValues, ALayerThatStaysIsAtAFrame) {
    const std::vector<float> numbers{0, 5, 1e30F, infinity, none};
    for (const float frame : numbers) {
        for (const float fps : numbers) {
            for (const LottieMarkers& set : {noMarkers, withLoop, withStop, withBoth}) {
                LottiePlayhead playhead{frame, 100, fps, set, true, false};
                for (int i = 0; i < 1000; ++i) {
                    ASSERT_TRUE(step(playhead, 50));
                    ASSERT_TRUE(playhead.currentFrame >= 0) << frame << ' ' << fps;
                    ASSERT_LT(playhead.currentFrame, 100.0F) << frame << ' ' << fps;
                }
            }
        }
    }
}

TEST(LottieOddValues, ATemplateWithoutFramesStaysAtItsBeginning) {
    for (const float fps : {0.0F, 30.0F, none}) {
        LottiePlayhead playhead{0, 0, fps, noMarkers, true, false};
        for (int i = 0; i < 10; ++i)
            ASSERT_TRUE(step(playhead, 50));
        EXPECT_EQ(playhead.currentFrame, 0);
        playhead.exiting = true;
        EXPECT_FALSE(step(playhead, 50));
    }
}

TEST(LottieOddValues, ARateOfAnythingAgainstNoneStartsOver) {
    for (const double loopFps : {0.0, static_cast<double>(none)}) {
        LottiePlayhead playhead = at(10, withLoop);
        EXPECT_TRUE(step(playhead, loopFps));
        EXPECT_EQ(playhead.currentFrame, 20);
    }
}

TEST(LottieOddValues, AFrameTooLargeToBeStepped) {
    // A float no longer tells the frames of it apart.
    LottiePlayhead playhead{3e8F, largest, 25, noMarkers, true, false};
    EXPECT_TRUE(step(playhead, 50));
    EXPECT_EQ(playhead.currentFrame, 3e8F);
    playhead.exiting = true;
    EXPECT_FALSE(step(playhead, 50));
}

} // namespace

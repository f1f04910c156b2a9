#include <gtest/gtest.h>

#include <limits>

#include "graphics/TickerInk.h"

namespace {

using namespace std::chrono_literals;
using quol::TickerInk;
using quol::TickerState;
using Lines = std::vector<std::string>;

constexpr auto start = std::chrono::steady_clock::time_point(1000s);

// A ticker that began at `start`.
struct Ticker {
    TickerState state;
    float duration = 5.0F;
    int lineCount = 3;

    Ticker() { state.lastSwitch = start; }
    const TickerState& at(std::chrono::nanoseconds after) {
        state.advance(start + after, duration, lineCount);
        return state;
    }
};

TEST(TickerLine, RestsForItsDuration) {
    Ticker ticker;
    for (const auto after : {0ms, 1ms, 2500ms, 4999ms, 5000ms}) {
        const TickerState& state = ticker.at(after);
        EXPECT_FALSE(state.inTransition);
        EXPECT_EQ(state.currentLine, 0);
        EXPECT_EQ(state.lastSwitch, start);
    }
}

TEST(TickerLine, SlidesForHalfASecond) {
    Ticker ticker;
    EXPECT_TRUE(ticker.at(5001ms).inTransition);
    EXPECT_NEAR(ticker.state.transitionProgress, 0.002F, 1.0e-4F);
    EXPECT_FLOAT_EQ(ticker.at(5125ms).transitionProgress, 0.25F);
    EXPECT_FLOAT_EQ(ticker.at(5250ms).transitionProgress, 0.5F);
    EXPECT_FLOAT_EQ(ticker.at(5375ms).transitionProgress, 0.75F);
    EXPECT_TRUE(ticker.state.inTransition);
    EXPECT_EQ(ticker.state.currentLine, 0);
    EXPECT_EQ(ticker.state.lastSwitch, start);
}

TEST(TickerLine, ChangesAtTheEndOfItsSlideAndRestsAnew) {
    Ticker ticker;
    ticker.at(5250ms);
    ticker.at(5500ms);
    EXPECT_FALSE(ticker.state.inTransition);
    EXPECT_EQ(ticker.state.transitionProgress, 1.0F);
    EXPECT_EQ(ticker.state.currentLine, 1);
    EXPECT_EQ(ticker.state.lastSwitch, start + 5500ms);
    EXPECT_FALSE(ticker.at(10500ms).inTransition);
    EXPECT_TRUE(ticker.at(10750ms).inTransition);
    EXPECT_FLOAT_EQ(ticker.state.transitionProgress, 0.5F);
}

TEST(TickerLine, TimerRestartsWhenTheEndOfTheSlideIsSeen) {
    Ticker ticker;
    ticker.at(5250ms);
    ticker.at(5600ms); // a late picture
    EXPECT_EQ(ticker.state.lastSwitch, start + 5600ms);
    EXPECT_FALSE(ticker.at(10600ms).inTransition);
    EXPECT_TRUE(ticker.at(10601ms).inTransition);
}

TEST(TickerLine, FollowsTheLastOneAgain) {
    Ticker ticker;
    std::vector<int> lines;
    for (int turn = 1; turn <= 7; ++turn)
        lines.push_back(ticker.at(turn * 5500ms).currentLine);
    EXPECT_EQ(lines, (std::vector<int>{1, 2, 0, 1, 2, 0, 1}));
}

TEST(TickerLine, IsSkippedByOneOnlyAfterALongPause) {
    Ticker ticker;
    ticker.at(1h);
    EXPECT_EQ(ticker.state.currentLine, 1);
    EXPECT_FALSE(ticker.state.inTransition);
    EXPECT_EQ(ticker.state.lastSwitch, start + 1h);
}

TEST(TickerLine, ThatIsTheOnlyOneNeverSlidesAndItsTimerRuns) {
    Ticker ticker;
    ticker.lineCount = 1;
    for (const auto after : {0ms, 5001ms, 5250ms, 5500ms, 60000ms}) {
        EXPECT_FALSE(ticker.at(after).inTransition);
        EXPECT_EQ(ticker.state.currentLine, 0);
        EXPECT_EQ(ticker.state.lastSwitch, start);
    }
    // With another line it moves on at once: the rest is long over.
    ticker.lineCount = 2;
    EXPECT_EQ(ticker.at(60020ms).currentLine, 1);
}

TEST(TickerLine, ThatIsTheOnlyOneLeftStopsSliding) {
    Ticker ticker;
    EXPECT_TRUE(ticker.at(5250ms).inTransition);
    ticker.lineCount = 1;
    EXPECT_FALSE(ticker.at(5260ms).inTransition);
}

TEST(TickerLine, NumberStaysWithinTheLinesThatThereAre) {
    Ticker ticker;
    ticker.state.currentLine = 9;
    ticker.at(5500ms);
    EXPECT_EQ(ticker.state.currentLine, 1); // 10 % 3
}

TEST(TickerLine, RestsForNoTimeWithADurationOfZero) {
    Ticker ticker;
    ticker.duration = 0.0F;
    EXPECT_FALSE(ticker.at(0ms).inTransition);
    EXPECT_TRUE(ticker.at(20ms).inTransition);
    EXPECT_FLOAT_EQ(ticker.state.transitionProgress, 0.04F);
    EXPECT_EQ(ticker.at(500ms).currentLine, 1);
}

TEST(TickerLine, OddDurationsLeaveANumberOfALine) {
    for (const float duration :
         {-5.0F, 1.0e30F, -1.0e30F, std::numeric_limits<float>::infinity(),
          -std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()}) {
        Ticker ticker;
        ticker.duration = duration;
        for (int i = 0; i < 100; ++i) {
            ticker.at(i * 20ms);
            ASSERT_GE(ticker.state.currentLine, 0) << duration;
            ASSERT_LT(ticker.state.currentLine, 3) << duration;
        }
    }
}

TEST(TickerLine, RestsForAnyLengthOfTimeBeyondAllClocks) {
    Ticker ticker;
    ticker.duration = std::numeric_limits<float>::infinity();
    EXPECT_FALSE(ticker.at(1000h).inTransition);
}

// --------------------------------------------------------------------------------------- lines

TEST(TickerText, HasALineForEachThatIsNotEmpty) {
    EXPECT_EQ(quol::tickerLines("a\n\nb\n"), (Lines{"a", "b"}));
    EXPECT_EQ(quol::tickerLines("a"), (Lines{"a"}));
}

TEST(TickerText, WithoutLinesHasAnEmptyOne) {
    EXPECT_EQ(quol::tickerLines(""), (Lines{""}));
    EXPECT_EQ(quol::tickerLines("\n\n"), (Lines{""}));
}

// ----------------------------------------------------------------------------- what it shows

// Lines of a ticker of 40 pixels' height, as "text@offset".
std::string shown(const std::string& move, int current, float progress, bool sliding,
                  const Lines& lines = {"a", "b", "c"}) {
    LCGTickerProps props;
    props.textMove = move;
    TickerState state;
    state.currentLine = current;
    state.transitionProgress = progress;
    state.inTransition = sliding;
    std::string text;
    for (const auto& line : quol::tickerInk({10, 20, 300, 40}, props, lines, state, 1.0).lines)
        text += line.text + "@" + std::to_string(static_cast<int>(line.offset)) + " ";
    return text;
}

TEST(TickerSlide, ShowsTheCurrentLineInItsPlaceAtRest) {
    for (const char* move : {"Up", "Down", "Left"}) {
        EXPECT_EQ(shown(move, 1, 0.0F, false), "b@0 ");
        EXPECT_EQ(shown(move, 1, 1.0F, false), "b@0 "); // behind a slide
    }
}

TEST(TickerSlide, UpPushesTheCurrentLineOutAbove) {
    EXPECT_EQ(shown("Up", 0, 0.0F, true), "a@0 b@40 ");
    EXPECT_EQ(shown("Up", 0, 0.25F, true), "a@-10 b@30 ");
    EXPECT_EQ(shown("Up", 2, 0.75F, true), "c@-30 a@10 ");
}

TEST(TickerSlide, DownPushesTheCurrentLineOutBelow) {
    EXPECT_EQ(shown("Down", 0, 0.0F, true), "a@0 b@-40 ");
    EXPECT_EQ(shown("Down", 0, 0.25F, true), "a@10 b@-30 ");
    EXPECT_EQ(shown("Down", 2, 0.75F, true), "c@30 a@-10 ");
}

TEST(TickerSlide, AnyOtherWayIsBlank) {
    for (const char* move : {"Left", "", "up", "None"})
        EXPECT_EQ(shown(move, 0, 0.5F, true), "");
}

TEST(TickerSlide, LineThatIsGoneGivesWayToOneThatIsThere) {
    EXPECT_EQ(shown("Up", 7, 0.0F, false), "b@0 ");
    EXPECT_EQ(shown("Up", 7, 0.0F, false, {"a"}), "a@0 ");
}

TEST(TickerSlide, OpacityIsThatOfTextTimesItem) {
    LCGTickerProps props;
    props.textAlpha = 51;
    const TickerInk ink = quol::tickerInk({0, 0, 300, 40}, props, {"a"}, TickerState(), 0.5);
    EXPECT_DOUBLE_EQ(ink.opacity, 0.1);
}

TEST(TickerSlide, TouchesWhatItsPaddingLeaves) {
    LCGTickerProps props;
    props.padding = 5;
    const TickerInk ink = quol::tickerInk({10, 20, 300, 40}, props, {"a"}, TickerState(), 1.0);
    EXPECT_EQ(quol::inkBounds(ink, {0, 0, 1920, 1080}), (quol::PixelRect{14, 24, 306, 56}));
}

} // namespace

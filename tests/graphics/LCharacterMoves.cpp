// What the items of a running character generator do by themselves: drift, crawl, ticker, video.
#include <gtest/gtest.h>

#include <chrono>
#include <vector>

#include "graphics/CrawlInk.h"
#include "graphics/TickerInk.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/SteppedTitles.h"

namespace {

using namespace std::chrono_literals;
using test::alphaAt;
using test::inked;
using test::panelOf;
using test::samePicture;
using test::samplesShown;
using test::SteppedTitles;

// ------------------------------------------------------------------------------------------ drift

class LCharacterDrift : public testing::Test {
protected:
    LCGItem* addDrifting(int x, int y, const char* type, float speed) {
        LCGItem* const item = character.addItem("a", x, y, 50, 40, panelOf("#FFFFFF"));
        item->moveType = type;
        item->moveSpeed = speed;
        return item;
    }

    SteppedTitles titles;
    LCharacter& character = titles.character;
};

TEST_F(LCharacterDrift, MovesByItsSpeedWithEveryPicture) {
    LCGItem* const item = addDrifting(100, 200, "Horizontal", 6.5F);
    titles.step();
    EXPECT_EQ(item->x, 106.5F);
    titles.step(3);
    EXPECT_EQ(item->x, 126.0F);
    EXPECT_EQ(item->y, 200.0F);
    EXPECT_EQ(item->startX, 100.0F);
    EXPECT_EQ(alphaAt(titles.picture(), 125, 220), 0);
    EXPECT_EQ(alphaAt(titles.picture(), 126, 220), 255);
    EXPECT_EQ(alphaAt(titles.picture(), 175, 220), 255);
    EXPECT_EQ(alphaAt(titles.picture(), 176, 220), 0);
    item->moveType = "Vertical";
    titles.step(2);
    EXPECT_EQ(item->x, 126.0F);
    EXPECT_EQ(item->y, 213.0F);
}

TEST_F(LCharacterDrift, ComesInAgainAtTheOtherSide) {
    LCGItem* const item = addDrifting(1908, 200, "Horizontal", 7.0F);
    titles.step();
    EXPECT_EQ(item->x, 1915.0F);
    titles.step();
    EXPECT_EQ(item->x, -50.0F);
    titles.step();
    EXPECT_EQ(item->x, -43.0F);
    EXPECT_EQ(alphaAt(titles.picture(), 3, 220), 255);
    item->x = -43.0F;
    item->moveSpeed = -7.0F;
    titles.step();
    EXPECT_EQ(item->x, -50.0F); // touches the edge still
    titles.step();
    EXPECT_EQ(item->x, 1920.0F);
    titles.step();
    EXPECT_EQ(item->x, 1913.0F);
}

TEST_F(LCharacterDrift, ComesInAgainAtTheOtherEndWhenItGoesUpOrDown) {
    LCGItem* const item = addDrifting(300, 1070, "Vertical", 10.0F);
    titles.step();
    EXPECT_EQ(item->y, 1080.0F);
    titles.step();
    EXPECT_EQ(item->y, -40.0F);
    item->moveSpeed = -10.0F;
    titles.step();
    EXPECT_EQ(item->y, 1080.0F);
    EXPECT_EQ(item->x, 300.0F);
}

TEST_F(LCharacterDrift, WithoutALoopItHidesWhenItLeavesAndIsBackAtHome) {
    LCGItem* const item = addDrifting(1900, 200, "Horizontal", 15.0F);
    item->moveLoop = false;
    titles.step();
    EXPECT_TRUE(item->show);
    EXPECT_EQ(alphaAt(titles.picture(), 1918, 220), 255);
    const quol::FramePtr left = titles.step();
    EXPECT_FALSE(item->show);
    EXPECT_EQ(item->x, 1900.0F);
    EXPECT_EQ(item->y, 200.0F);
    EXPECT_EQ(inked(left, 1890, 190, 1920, 250), 0);
    EXPECT_FALSE(character.isDynamic());
    EXPECT_FALSE(character.hasVisibleItem());
    character.showItem("a", true); // and goes again
    titles.step();
    EXPECT_EQ(item->x, 1915.0F);
}

// Outside is outside, whichever way it got there.
TEST_F(LCharacterDrift, BesideThePictureItStartsItsWayAgainAtEveryTick) {
    LCGItem* const item = addDrifting(3000, 500, "Vertical", 10.0F);
    titles.step(2);
    EXPECT_EQ(item->y, -40.0F);
    EXPECT_EQ(item->x, 3000.0F);
}

TEST_F(LCharacterDrift, OfAnyOtherTypeMovesNothingAndMayLieOutside) {
    LCGItem* const item = addDrifting(3000, 500, "Diagonal", 10.0F);
    item->moveLoop = false;
    titles.step(2);
    EXPECT_TRUE(item->show);
    EXPECT_EQ(item->x, 3000.0F);
    EXPECT_EQ(item->y, 500.0F);
}

// ------------------------------------------------------------------------------------------ crawl

class LCharacterCrawl : public testing::Test {
protected:
    LCGCrawlItem* addCrawl(const char* text, float speed, const char* move = "Horizontal") {
        LCGCrawlProps props;
        props.text = text;
        props.textSpeed = speed;
        props.textMove = move;
        auto* const item =
            dynamic_cast<LCGCrawlItem*>(character.addItem("crawl", 100, 50, 600, 80, props));
        item->moveLoop = false;
        return item;
    }

    SteppedTitles titles;
    LCharacter& character = titles.character;
};

TEST_F(LCharacterCrawl, MovesByItsSpeedWithEveryPicture) {
    const LCGCrawlItem* const item = addCrawl("Crawling text", -6.0F);
    titles.step(50);
    EXPECT_EQ(item->scrollX, 400.0F);
    const quol::FramePtr first = titles.picture();
    const quol::FramePtr second = titles.step();
    EXPECT_GT(inked(first, 400, 50, 690, 130), 0);
    EXPECT_EQ(inked(first, 0, 0, 1920, 50) + inked(first, 0, 130, 1920, 200), 0);
    EXPECT_EQ(inked(first, 700, 0, 1920, 200) + inked(first, 0, 0, 100, 200), 0);
    int differing = 0;
    for (int y = 50; y < 130; ++y)
        for (int x = 100; x < 690; ++x)
            differing += alphaAt(second, x, y) != alphaAt(first, x + 6, y) ? 1 : 0;
    EXPECT_EQ(differing, 0);
}

TEST_F(LCharacterCrawl, BeginsAgainOnlyWhenAllOfItHasLeft) {
    const LCGCrawlItem* const item = addCrawl("WW", -7.0F);
    titles.step();
    const auto length = static_cast<float>(item->state->strip->length());
    ASSERT_GT(length, 20.0F);
    float before = item->scrollX;
    float now = before;
    for (int i = 0; i < 1000 && now <= before; ++i) {
        before = now;
        titles.step();
        now = item->scrollX;
    }
    EXPECT_EQ(now, 700.0F);                    // the right edge of the box
    EXPECT_LT(before - 7.0F, 100.0F - length); // the step that was not made would have left it
    EXPECT_GE(before, 100.0F - length);
}

TEST_F(LCharacterCrawl, RunsTheOtherWayFromLeftOfItsBox) {
    const LCGCrawlItem* const item = addCrawl("WW", 7.0F);
    titles.step(); // begins at the right edge, so it leaves at once
    const auto length = static_cast<float>(item->state->strip->length());
    EXPECT_EQ(item->scrollX, 100.0F - length);
    titles.step();
    EXPECT_EQ(item->scrollX, 100.0F - length + 7.0F);
}

TEST_F(LCharacterCrawl, StandsStillWithoutASpeed) {
    LCGCrawlItem* const item = addCrawl("WW", 0.0F);
    item->scrollX = -100000.0F;
    titles.step(3);
    EXPECT_EQ(item->scrollX, -100000.0F);
}

// A vertical crawl stands at scrollX too, which a host sets: it begins beside its box.
TEST_F(LCharacterCrawl, RunsUpwardsAndStandsWhereItIsAcross) {
    LCGCrawlItem* const item = addCrawl("one\ntwo", -2.0F, "Vertical");
    titles.step(19);
    EXPECT_EQ(item->scrollX, 700.0F);
    EXPECT_EQ(item->scrollY, 92.0F); // from 130, the lower edge of the box
    EXPECT_EQ(inked(titles.picture(), 0, 0, 1920, 200), 0);
    item->scrollX = 300.0F;
    const quol::FramePtr picture = titles.step();
    EXPECT_EQ(item->scrollX, 300.0F);
    EXPECT_EQ(item->scrollY, 90.0F);
    EXPECT_GT(inked(picture, 300, 90, 700, 130), 0);
    EXPECT_EQ(inked(picture, 100, 50, 700, 90), 0);
    EXPECT_EQ(inked(picture, 100, 50, 298, 130), 0);
}

TEST_F(LCharacterCrawl, WithoutALineAfterAChangeOfTextRunsOn) {
    LCGCrawlItem* const item = addCrawl("WW", -100.0F);
    titles.step(3);
    EXPECT_EQ(item->scrollX, 400.0F);
    LCGCrawlProps props = item->props;
    props.text = "\n\n";
    character.updateItem("crawl", 100, 50, 600, 80, 1.0F, true, props);
    const quol::FramePtr empty = titles.step();
    EXPECT_EQ(item->scrollX, 300.0F);
    EXPECT_EQ(inked(empty, 0, 0, 800, 200), 0);
    titles.step(2);
    EXPECT_EQ(item->scrollX, 100.0F);
    titles.step();
    EXPECT_EQ(item->scrollX, 700.0F);
}

TEST_F(LCharacterCrawl, KeepsItsLookUntilItsTextChanges) {
    LCGCrawlItem* const item = addCrawl("WW", 0.0F);
    item->scrollX = 200.0F;
    const quol::FramePtr white = titles.step();
    LCGCrawlProps props = item->props;
    props.color = "#000000";
    props.fontSize = 10;
    character.updateItem("crawl", 100, 50, 600, 80, 1.0F, true, props);
    EXPECT_EQ(samplesShown(*titles.step()), samplesShown(*white));
    props.text = "WW ";
    character.updateItem("crawl", 100, 50, 600, 80, 1.0F, true, props);
    EXPECT_NE(samplesShown(*titles.step()), samplesShown(*white));
}

TEST_F(LCharacterCrawl, StandsWhileItIsHidden) {
    const LCGCrawlItem* const item = addCrawl("WW", -5.0F);
    titles.step(3);
    EXPECT_EQ(item->scrollX, 685.0F);
    character.showItem("crawl", false);
    titles.step(3);
    EXPECT_EQ(item->scrollX, 685.0F);
}

// ----------------------------------------------------------------------------------------- ticker

class LCharacterTicker : public testing::Test {
protected:
    const quol::TickerState& addTicker(const char* text, float duration, const char* move = "Up") {
        LCGTickerProps props;
        props.text = text;
        props.textMoveDuration = duration;
        props.textMove = move;
        auto* const item =
            dynamic_cast<LCGTickerItem*>(character.addItem("ticker", 0, 0, 600, 60, props));
        return *item->state;
    }

    // Steps until the line has changed; how many steps that took.
    int stepsToNextLine(const quol::TickerState& state) {
        const int line = state.currentLine;
        int steps = 0;
        for (; state.currentLine == line && steps < 100000; ++steps)
            if (!titles.step()) break;
        return steps;
    }

    SteppedTitles titles;
    LCharacter& character = titles.character;
};

TEST_F(LCharacterTicker, WithOneLineKeepsShowingItAndNeverSlides) {
    const quol::TickerState& state = addTicker("only", 0.0F);
    const auto begin = state.lastSwitch;
    const quol::FramePtr first = titles.step();
    EXPECT_GT(inked(first, 0, 0, 600, 60), 0);
    while (std::chrono::steady_clock::now() - begin < 700ms) {
        ASSERT_TRUE(samePicture(titles.step(), first));
        ASSERT_FALSE(state.inTransition);
    }
    EXPECT_EQ(state.lastSwitch, begin); // its time runs on
}

TEST_F(LCharacterTicker, RestsForItsDurationThenSlidesForHalfASecondWhateverTheRate) {
    for (const double rate : {10.0, 1000.0}) {
        character.setFPS(rate);
        const quol::TickerState& state = addTicker("one\ntwo", 0.3F);
        titles.step(2); // the period from before is over
        const auto begin = state.lastSwitch;
        const int steps = stepsToNextLine(state);
        EXPECT_GE(state.lastSwitch - begin, 800ms - 1us) << rate;
        EXPECT_LE(state.lastSwitch, std::chrono::steady_clock::now()) << rate;
        // A hundred milliseconds go by between two pictures at least: the time is over by then.
        EXPECT_TRUE(rate > 10.0 || steps <= 11) << steps;
        EXPECT_EQ(state.currentLine, 1) << rate;
        EXPECT_FALSE(state.inTransition) << rate;
        const auto second = state.lastSwitch; // where the next rest begins
        stepsToNextLine(state);
        EXPECT_GE(state.lastSwitch - second, 800ms - 1us) << rate;
        EXPECT_EQ(state.currentLine, 0) << rate;
        character.remove("ticker");
    }
}

TEST_F(LCharacterTicker, ShowsBothLinesDuringTheSlideAndTheNextOneBehindIt) {
    const quol::TickerState& state = addTicker("WWWW\nWWWWWWWWWWWWWWWW", 0.2F);
    const quol::FramePtr first = titles.step();
    EXPECT_GT(inked(first, 0, 0, 200, 60), 0);
    EXPECT_EQ(inked(first, 300, 0, 600, 60), 0);
    bool slid = false;
    while (state.currentLine == 0) {
        const quol::FramePtr picture = titles.step();
        ASSERT_NE(picture, nullptr);
        if (!state.inTransition || state.transitionProgress < 0.4F ||
            state.transitionProgress > 0.6F)
            continue;
        slid = true;
        EXPECT_GT(inked(picture, 0, 0, 300, 30), 0); // the first goes up
        EXPECT_EQ(inked(picture, 300, 0, 600, 20), 0);
        EXPECT_GT(inked(picture, 300, 30, 600, 60), 0); // the second comes from below
    }
    EXPECT_TRUE(slid);
    EXPECT_GT(inked(titles.picture(), 300, 0, 600, 60), 0);
}

TEST_F(LCharacterTicker, OfAnyOtherMoveBlanksDuringTheSlide) {
    const quol::TickerState& state = addTicker("one\ntwo", 0.0F, "Left");
    int blank = 0;
    while (state.currentLine == 0) {
        const quol::FramePtr picture = titles.step();
        ASSERT_NE(picture, nullptr);
        if (!state.inTransition) continue;
        ASSERT_EQ(inked(picture, 0, 0, 600, 60), 0);
        ++blank;
    }
    EXPECT_GT(blank, 0);
    EXPECT_GT(inked(titles.picture(), 0, 0, 600, 60), 0);
}

// ------------------------------------------------------------------------------------------ video

class LCharacterVideo : public testing::Test {
protected:
    // Cut into 100 pictures, of which no two are alike, with pictures out of order in the stream.
    LCGItem* addClip() {
        LCGVideoProps props;
        props.path = test::mediaPath("h264_aac.mp4");
        return character.addItem("video", 0, 0, 64, 36, props);
    }
    static bool isBlank(const quol::FramePtr& picture) { return alphaAt(picture, 30, 20) == 0; }

    SteppedTitles titles;
    LCharacter& character = titles.character;
};

TEST_F(LCharacterVideo, PlaysAPictureATickToTheLastAndBeginsAgain) {
    ASSERT_NE(addClip(), nullptr);
    const std::vector<std::uint8_t> first = samplesShown(*titles.step());
    std::vector<std::uint8_t> before = first;
    for (int i = 1; i < 100; ++i) {
        const quol::FramePtr picture = titles.step();
        ASSERT_FALSE(isBlank(picture)) << i;
        std::vector<std::uint8_t> now = samplesShown(*picture);
        ASSERT_NE(now, before) << i;
        before = std::move(now);
    }
    EXPECT_TRUE(isBlank(titles.step())); // the tick that goes back
    EXPECT_EQ(samplesShown(*titles.step()), first);
}

TEST_F(LCharacterVideo, WithoutALoopDrawsNothingBehindItsEnd) {
    LCGItem* const item = addClip();
    ASSERT_NE(item, nullptr);
    item->moveLoop = false;
    EXPECT_FALSE(isBlank(titles.step(100)));
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(isBlank(titles.step()));
    EXPECT_TRUE(item->show);
    item->moveLoop = true; // from now on it does begin again
    titles.step();
    EXPECT_FALSE(isBlank(titles.step()));
}

TEST_F(LCharacterVideo, StandsWhileItIsHidden) {
    ASSERT_NE(addClip(), nullptr);
    titles.step(10);
    character.showItem("video", false);
    EXPECT_TRUE(isBlank(titles.step(200)));
    character.showItem("video", true);
    EXPECT_FALSE(isBlank(titles.step(90))); // the hundredth
    EXPECT_TRUE(isBlank(titles.step()));
}

} // namespace

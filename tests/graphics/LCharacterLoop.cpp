#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "graphics/CrawlInk.h"
#include "graphics/TickerInk.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/SteppedTitles.h"

namespace {

using namespace std::chrono_literals;
using test::alphaAt;
using test::CollectingSink;
using test::panelOf;
using test::samePicture;
using test::SteppedTitles;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

// A generator on its own clock with a sink on it.
class RunningTitles {
public:
    explicit RunningTitles(std::size_t keep = 0) : sink(keep) { character.addSink(&sink); }
    ~RunningTitles() { character.removeSink(&sink); }
    RunningTitles(const RunningTitles&) = delete;
    RunningTitles& operator=(const RunningTitles&) = delete;

    LCharacter character;
    CollectingSink sink;
};

// All that a picture shows.
std::vector<std::uint8_t> samplesOf(const AVFrame& picture) {
    std::vector<std::uint8_t> all;
    for (int plane = 0; plane < 4; ++plane) {
        const int shift = plane == 1 || plane == 2 ? 1 : 0;
        for (int row = 0; row < picture.height >> shift; ++row) {
            const std::uint8_t* const begin =
                picture.data[plane] + static_cast<std::ptrdiff_t>(row) * picture.linesize[plane];
            all.insert(all.end(), begin, begin + (picture.width >> shift));
        }
    }
    return all;
}

// How many pixels of a part of the picture are not transparent.
int inked(const quol::FramePtr& picture, int left, int top, int right, int bottom) {
    int count = 0;
    for (int y = top; y < bottom; ++y)
        for (int x = left; x < right; ++x)
            count += alphaAt(picture, x, y) > 0 ? 1 : 0;
    return count;
}

// ---------------------------------------------------------------------------------------- pictures

TEST(LCharacterLoop, ANewOneSendsTransparentPicturesAtOnce) {
    RunningTitles titles(1);
    ASSERT_TRUE(titles.sink.waitForPictures(3));
    const quol::FramePtr picture = titles.sink.latestPicture();
    EXPECT_EQ(picture->width, 1920);
    EXPECT_EQ(picture->height, 1080);
    EXPECT_EQ(picture->format, AV_PIX_FMT_YUVA420P);
    const std::vector<std::uint8_t> samples = samplesOf(*picture);
    const auto luma = samples.begin();
    const auto chroma = luma + 1920 * 1080;
    const auto alpha = chroma + 1920 * 1080 / 2;
    EXPECT_TRUE(std::all_of(luma, chroma, [](int sample) { return sample == 16; }));
    EXPECT_TRUE(std::all_of(chroma, alpha, [](int sample) { return sample == 128; }));
    EXPECT_TRUE(std::all_of(alpha, samples.end(), [](int sample) { return sample == 0; }));
    EXPECT_EQ(titles.sink.soundCount(), 0U);
    EXPECT_FALSE(titles.character.hasVisibleItem());
}

TEST(LCharacterLoop, EveryPictureHasTheSameSizeAndFormatWhateverIsShown) {
    SteppedTitles titles;
    const auto expectFormat = [](const quol::FramePtr& picture) {
        ASSERT_NE(picture, nullptr);
        EXPECT_EQ(picture->width, 1920);
        EXPECT_EQ(picture->height, 1080);
        EXPECT_EQ(picture->format, AV_PIX_FMT_YUVA420P);
    };
    expectFormat(titles.picture());
    titles.character.addItem("large", -5000, -5000, 20000, 20000, panelOf("#FFFFFF"));
    expectFormat(titles.step());
    titles.character.remove("large");
    expectFormat(titles.step());
}

TEST(LCharacterLoop, EverySinkGetsEveryPicture) {
    RunningTitles titles(1);
    CollectingSink other(1);
    titles.character.addSink(&other);
    ASSERT_TRUE(other.waitForPictures(5));
    titles.character.removeSink(&other);
    EXPECT_GE(titles.sink.pictureCount(), 5U);
    EXPECT_TRUE(samePicture(titles.sink.latestPicture(), other.latestPicture()));
}

TEST(LCharacterLoop, AStaticSceneSendsTheSamePicture) {
    SteppedTitles titles;
    titles.character.addItem("a", 0, 0, 100, 100, panelOf("#FFFFFF"));
    LCGTextProps text;
    text.text = "time::HH:mm:ss:ii"; // a tag alone makes no scene move
    titles.character.addItem("b", 200, 0, 800, 100, text);
    const quol::FramePtr first = titles.step();
    for (int i = 0; i < 30; ++i)
        ASSERT_TRUE(samePicture(titles.step(), first));
}

// What does not change makes no picture either, although the scene is drawn.
TEST(LCharacterLoop, AChangeThatChangesNothingSendsTheSamePicture) {
    SteppedTitles titles;
    titles.character.addItem("a", 0, 0, 100, 100, panelOf("#FFFFFF"));
    const quol::FramePtr first = titles.step();
    titles.character.forceUpdate();
    EXPECT_TRUE(samePicture(titles.step(), first));
}

TEST(LCharacterLoop, AChangeShowsInTheNextPicture) {
    SteppedTitles titles;
    titles.character.addItem("a", 0, 0, 100, 100, panelOf("#FFFFFF"));
    EXPECT_EQ(alphaAt(titles.step(), 50, 50), 255);
    titles.character.updateItem("a", 0, 200, 100, 100, 1.0F, true, panelOf("#FFFFFF"));
    const quol::FramePtr moved = titles.step();
    EXPECT_EQ(alphaAt(moved, 50, 50), 0);
    EXPECT_EQ(alphaAt(moved, 50, 250), 255);
    titles.character.remove("a");
    EXPECT_EQ(alphaAt(titles.step(), 50, 250), 0);
}

TEST(LCharacterLoop, AFieldThatWasWrittenShowsWithForceUpdateAndNotBefore) {
    SteppedTitles titles;
    LCGItem* const item = titles.character.addItem("a", 0, 0, 100, 100, panelOf("#FFFFFF"));
    const quol::FramePtr before = titles.step();
    item->y = 300.0F;
    EXPECT_TRUE(samePicture(titles.step(3), before));
    titles.character.forceUpdate();
    EXPECT_EQ(alphaAt(titles.step(), 50, 350), 255);
}

TEST(LCharacterLoop, APictureThatWasHandedOnIsNeverWrittenTo) {
    SteppedTitles titles;
    std::vector<quol::FramePtr> held;
    std::vector<std::vector<std::uint8_t>> seen;
    const auto id = [](int i) { return std::string(1, static_cast<char>('a' + i)); };
    for (int i = 0; i < 8; ++i) {
        titles.character.addItem(id(i), i * 60, i * 40, 300, 200,
                                 panelOf(i % 2 == 0 ? "#FFFFFF" : "#C02040"));
        held.push_back(titles.step());
        seen.push_back(samplesOf(*held.back()));
    }
    for (int i = 0; i < 20; ++i) {
        titles.character.showItem(id(i % 8), i % 3 == 0);
        titles.step();
    }
    for (std::size_t i = 0; i < held.size(); ++i)
        EXPECT_EQ(samplesOf(*held[i]), seen[i]) << i;
}

// A host may lead its titles by the pictures themselves.
TEST(LCharacterLoop, ASinkMayChangeTheScene) {
    class EditingSink : public CollectingSink {
    public:
        explicit EditingSink(LCharacter& character) : CollectingSink(1), character_(character) {}
        void pushVideoFrame(AVFrame* frame) override {
            CollectingSink::pushVideoFrame(frame);
            character_.addItem(std::to_string(pictureCount()), 0, 0, 10, 10, panelOf("#FFFFFF"));
        }

    private:
        LCharacter& character_;
    };
    LCharacter character;
    EditingSink sink(character);
    character.addSink(&sink);
    EXPECT_TRUE(sink.waitForPictures(5));
    character.removeSink(&sink);
    EXPECT_EQ(character.getItemCount(), static_cast<int>(sink.pictureCount()));
}

// -------------------------------------------------------------------------------------- the rate

// The middle one of the times between pictures, in milliseconds: what a busy machine holds up here
// and there does not count.
double usualPeriod(const CollectingSink& sink, std::size_t count) {
    const std::size_t before = sink.pictureCount();
    EXPECT_TRUE(sink.waitForPictures(before + count));
    const std::vector<test::PictureSeen> pictures = sink.pictures();
    std::vector<double> periods;
    for (std::size_t i = std::max<std::size_t>(before, 1); i < pictures.size(); ++i)
        periods.push_back(static_cast<double>(pictures[i].arrived - pictures[i - 1].arrived) / 1e6);
    std::sort(periods.begin(), periods.end());
    return periods.empty() ? 0.0 : periods[periods.size() / 2];
}

TEST(LCharacterLoop, ANewOneHasFiftyPicturesASecond) {
    RunningTitles titles;
    EXPECT_GE(usualPeriod(titles.sink, 40), 19.0);
}

TEST(LCharacterLoop, APictureLeavesAtEveryPeriodOfTheRateThatIsSet) {
    RunningTitles titles;
    titles.character.setFPS(20.0);
    EXPECT_GE(usualPeriod(titles.sink, 15), 49.0);
    titles.character.setFPS(100.0);
    EXPECT_GE(usualPeriod(titles.sink, 50), 9.0);
}

// Time is told in whole milliseconds: 1000 / 59.94 is 16.
TEST(LCharacterLoop, ThePeriodIsCutToWholeMilliseconds) {
    RunningTitles titles;
    titles.character.setFPS(59.94);
    EXPECT_GE(usualPeriod(titles.sink, 40), 15.5);
}

TEST(LCharacterLoop, ARateThatIsNoneCountsAsFifty) {
    for (const double rate : {0.0, -0.0, -25.0, nan, -infinity}) {
        RunningTitles titles;
        titles.character.setFPS(rate);
        ASSERT_TRUE(titles.sink.waitForPictures(2));
        EXPECT_GE(usualPeriod(titles.sink, 20), 19.0) << rate;
    }
}

TEST(LCharacterLoop, AHugeRateLeavesTheMachineAMillisecondBetweenPictures) {
    for (const double rate : {1e4, 1e300, infinity}) {
        RunningTitles titles;
        titles.character.setFPS(rate);
        ASSERT_TRUE(titles.sink.waitForPictures(2));
        EXPECT_GE(usualPeriod(titles.sink, 100), 0.9) << rate;
    }
}

TEST(LCharacterLoop, ItEndsInTheMiddleOfALongPeriod) {
    for (const double rate : {0.001, 1e-300, std::numeric_limits<double>::denorm_min()}) {
        RunningTitles titles;
        ASSERT_TRUE(titles.sink.waitForPictures(1));
        titles.character.setFPS(rate);
        std::this_thread::sleep_for(std::chrono::milliseconds(100)); // behind the last short one
    } // hours long, were they waited for
}

TEST(LCharacterLoop, ALongPeriodIsLeftWhenTheRateRises) {
    RunningTitles titles;
    titles.character.setFPS(0.001);
    std::this_thread::sleep_for(std::chrono::milliseconds(100)); // behind the last short one
    titles.character.setFPS(50.0);
    EXPECT_TRUE(titles.sink.waitForPictures(titles.sink.pictureCount() + 3));
}

// ------------------------------------------------------------------------------------ tags

LCGTextProps countOf(const std::string& text) {
    LCGTextProps props;
    props.text = text;
    props.font = "DejaVu Sans";
    return props;
}

TEST(LCharacterTags, ATextWithAPercentSignShowsTheCountWithoutAnEdit) {
    SteppedTitles titles;
    titles.character.addItem("count", 0, 0, 600, 100, countOf("tUp::ss:ii::59:00 %"));
    const quol::FramePtr first = titles.step();
    EXPECT_TRUE(test::waitUntil([&] { return !samePicture(titles.step(), first); }));
}

TEST(LCharacterTags, ATextWithoutOneStandsUntilForceUpdate) {
    SteppedTitles titles;
    titles.character.addItem("count", 0, 0, 600, 100, countOf("tUp::ss:ii::59:00"));
    const quol::FramePtr first = titles.step();
    for (int i = 0; i < 10; ++i) { // a tick is longer than what the text counts
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        ASSERT_TRUE(samePicture(titles.step(), first));
    }
    titles.character.forceUpdate();
    EXPECT_FALSE(samePicture(titles.step(), first));
}

// The parts of 600 by 100 pixels at the top and below.
bool linesLookTheSame(const quol::FramePtr& picture) {
    for (int y = 0; y < 100; ++y)
        for (int x = 0; x < 600; ++x)
            if (alphaAt(picture, x, y) != alphaAt(picture, x, y + 100)) return false;
    return true;
}

TEST(LCharacterTags, ACountBeginsWhenItIsFirstSeen) {
    SteppedTitles titles;
    titles.character.addItem("count", 0, 0, 600, 100, countOf("tUp::ss::59:00"));
    titles.character.addItem("zero", 0, 100, 600, 100, countOf("00"));
    titles.character.showItem("count", false);
    titles.step();
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    titles.step();
    titles.character.showItem("count", true);
    const quol::FramePtr picture = titles.step();
    EXPECT_GT(inked(picture, 0, 0, 600, 100), 0);
    EXPECT_TRUE(linesLookTheSame(picture));
}

TEST(LCharacterTags, ACrawlIsLaidOutAnewWhenItsCountShowsAnotherValueAndOnlyThen) {
    SteppedTitles titles;
    LCGCrawlProps props;
    props.text = "tUp::ss::59:00";
    const auto* const crawl =
        dynamic_cast<LCGCrawlItem*>(titles.character.addItem("crawl", 0, 0, 600, 100, props));
    titles.step();
    const std::uint64_t first = crawl->state->strip->serial();
    EXPECT_EQ(crawl->state->strip->text(), "00");
    EXPECT_TRUE(test::waitUntil([&] {
        titles.step();
        const quol::CrawlStrip& strip = *crawl->state->strip;
        EXPECT_EQ(strip.text() == "00", strip.serial() == first);
        return strip.text() == "01";
    }));
}

// ------------------------------------------------------------------------------------ the queue

class OpenTitles : public LCharacter {
public:
    std::size_t queued() { return queuedFrames(); }
    // Whether the oldest picture in the queue is opaque there.
    bool oldestIsOpaqueAt(int x, int y) {
        const std::lock_guard lock(frameQueueMutex);
        return !frameQueue.empty() && test::sampleAt(frameQueue.front(), 3, x, y) == 255;
    }
};

TEST(LCharacterLoop, WithoutASinkTheQueueStopsGrowingAtFiftyPictures) {
    OpenTitles character;
    character.setFPS(1000.0);
    ASSERT_TRUE(test::waitUntil([&] { return character.queued() == 50; }));
    character.addItem("a", 0, 0, 100, 100, panelOf("#FFFFFF"));
    // The oldest make way: what was queued before the change is all gone by then.
    EXPECT_TRUE(test::waitUntil([&] { return character.oldestIsOpaqueAt(50, 50); }));
    EXPECT_EQ(character.queued(), 50U);
}

TEST(LCharacterLoop, WithASinkNothingIsQueued) {
    OpenTitles character;
    CollectingSink sink;
    character.addSink(&sink);
    const std::size_t before = character.queued();
    EXPECT_TRUE(sink.waitForPictures(20));
    EXPECT_EQ(character.queued(), before);
    character.removeSink(&sink);
    EXPECT_TRUE(test::waitUntil([&] { return character.queued() > before; }));
}

// -------------------------------------------------------------------------------------- isDynamic

class LCharacterIsDynamic : public testing::Test {
protected:
    bool withDrift(const char* type, float speed) {
        LCGItem* const item = character.addItem("drift", 0, 0, 10, 10, LCGRectProps());
        item->moveType = type;
        item->moveSpeed = speed;
        const bool dynamic = character.isDynamic();
        character.remove("drift");
        return dynamic;
    }
    bool withText(const char* text) {
        LCGTextProps props;
        props.text = text;
        character.addItem("text", 0, 0, 10, 10, props);
        const bool dynamic = character.isDynamic();
        character.remove("text");
        return dynamic;
    }

    SteppedTitles titles;
    LCharacter& character = titles.character;
};

TEST_F(LCharacterIsDynamic, NotForAnEmptySceneNorForItemsAtRest) {
    EXPECT_FALSE(character.isDynamic());
    character.addItem("rect", 0, 0, 10, 10, LCGRectProps());
    character.addItem("text", 0, 0, 10, 10, LCGTextProps());
    character.addItem("image", 0, 0, 10, 10, LCGImageProps());
    EXPECT_FALSE(character.isDynamic());
}

TEST_F(LCharacterIsDynamic, ForADriftWithASpeed) {
    EXPECT_TRUE(withDrift("Horizontal", 1.0F));
    EXPECT_TRUE(withDrift("Vertical", -0.001F));
    EXPECT_TRUE(withDrift("Diagonal", 1.0F)); // any type but "None"
    EXPECT_TRUE(withDrift("", 1.0F));
    EXPECT_TRUE(withDrift("Horizontal", static_cast<float>(nan)));
    EXPECT_FALSE(withDrift("Horizontal", 0.0F));
    EXPECT_FALSE(withDrift("Horizontal", -0.0F));
    EXPECT_FALSE(withDrift("None", 1.0F));
}

TEST_F(LCharacterIsDynamic, ForACrawlATickerAndAVideoWhateverTheyHold) {
    LCGVideoProps video;
    video.path = test::mediaPath("silent.mp4");
    LCGItem* const items[] = {character.addItem("crawl", 0, 0, 10, 10, LCGCrawlProps()),
                              character.addItem("ticker", 0, 0, 10, 10, LCGTickerProps()),
                              character.addItem("video", 0, 0, 10, 10, video)};
    for (LCGItem* item : items) {
        ASSERT_NE(item, nullptr);
        item->show = false;
    }
    EXPECT_FALSE(character.isDynamic());
    for (LCGItem* item : items) {
        item->show = true;
        EXPECT_TRUE(character.isDynamic()) << item->id;
        item->show = false;
    }
}

TEST_F(LCharacterIsDynamic, ForATextWithAPercentSign) {
    EXPECT_TRUE(withText("100 %"));
    EXPECT_TRUE(withText("%"));
    EXPECT_FALSE(withText("time::HH:mm:ss"));
    EXPECT_FALSE(withText(""));
}

TEST_F(LCharacterIsDynamic, NotForAPercentSignInAnythingButItsText) {
    LCGTextProps props;
    props.font = "100 %";
    character.addItem("%", 0, 0, 10, 10, props);
    EXPECT_FALSE(character.isDynamic());
}

TEST_F(LCharacterIsDynamic, ForAnItemOfAHiddenGroup) {
    character.addItem("crawl", 0, 0, 10, 10, LCGCrawlProps());
    character.showItem(character.group({"crawl"}), false);
    EXPECT_TRUE(character.isDynamic());
    character.showItem("crawl", false);
    EXPECT_FALSE(character.isDynamic());
}

// What the render thread makes of it: fields that were written show by themselves.
TEST_F(LCharacterIsDynamic, ADynamicSceneIsDrawnAtEveryTick) {
    LCGItem* const panel = character.addItem("panel", 0, 0, 100, 100, panelOf("#FFFFFF"));
    LCGTextProps props;
    props.text = "%";
    character.addItem("text", 500, 500, 100, 100, props);
    titles.step();
    panel->x = 200.0F;
    EXPECT_EQ(alphaAt(titles.step(), 250, 50), 255);
    character.showItem("text", false);
    titles.step();
    panel->x = 400.0F;
    EXPECT_EQ(alphaAt(titles.step(), 450, 50), 0);
}

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
    EXPECT_EQ(samplesOf(*titles.step()), samplesOf(*white));
    props.text = "WW ";
    character.updateItem("crawl", 100, 50, 600, 80, 1.0F, true, props);
    EXPECT_NE(samplesOf(*titles.step()), samplesOf(*white));
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
    const std::vector<std::uint8_t> first = samplesOf(*titles.step());
    std::vector<std::uint8_t> before = first;
    for (int i = 1; i < 100; ++i) {
        const quol::FramePtr picture = titles.step();
        ASSERT_FALSE(isBlank(picture)) << i;
        std::vector<std::uint8_t> now = samplesOf(*picture);
        ASSERT_NE(now, before) << i;
        before = std::move(now);
    }
    EXPECT_TRUE(isBlank(titles.step())); // the tick that goes back
    EXPECT_EQ(samplesOf(*titles.step()), first);
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

// The pictures of a running character generator, their rate, their clocks and their queue.
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

using test::alphaAt;
using test::CollectingSink;
using test::inked;
using test::panelOf;
using test::samePicture;
using test::samplesShown;
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

// ---------------------------------------------------------------------------------------- pictures

TEST(LCharacterLoop, ANewOneSendsTransparentPicturesAtOnce) {
    RunningTitles titles(1);
    ASSERT_TRUE(titles.sink.waitForPictures(3));
    const quol::FramePtr picture = titles.sink.latestPicture();
    EXPECT_EQ(picture->width, 1920);
    EXPECT_EQ(picture->height, 1080);
    EXPECT_EQ(picture->format, AV_PIX_FMT_YUVA420P);
    const std::vector<std::uint8_t> samples = samplesShown(*picture);
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
        seen.push_back(samplesShown(*held.back()));
    }
    for (int i = 0; i < 20; ++i) {
        titles.character.showItem(id(i % 8), i % 3 == 0);
        titles.step();
    }
    for (std::size_t i = 0; i < held.size(); ++i)
        EXPECT_EQ(samplesShown(*held[i]), seen[i]) << i;
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

// It is the name that is counted for, whatever bears it.
TEST(LCharacterTags, ACountGoesOnForAnItemOfTheSameNameAndBeginsForAnother) {
    SteppedTitles titles;
    LCGCrawlProps props;
    props.text = "tUp::mm:ss::59:00";
    const auto add = [&](const char* id) {
        return dynamic_cast<LCGCrawlItem*>(titles.character.addItem(id, 0, 0, 600, 100, props));
    };
    const LCGCrawlItem* crawl = add("crawl");
    ASSERT_TRUE(test::waitUntil([&] {
        titles.step();
        return crawl->state->strip->text() != "00:00";
    }));
    titles.character.remove("crawl");
    titles.step();
    crawl = add("crawl");
    titles.step();
    EXPECT_NE(crawl->state->strip->text(), "00:00");
    crawl = add("other");
    titles.step();
    EXPECT_EQ(crawl->state->strip->text(), "00:00");
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

} // namespace

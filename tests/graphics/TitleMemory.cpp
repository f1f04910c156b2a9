// Titles and templates when memory is short: a picture may be lost, the next one comes.
#include <gtest/gtest.h>

#include <atomic>
#include <optional>

#include "graphics/LottieEngine.h"
#include "graphics/SceneRenderer.h"
#include "quolsdk/LAnimation.h"
#include "quolsdk/LCharacter.h"
#include "support/CapturedStream.h"
#include "support/LottieTemplates.h"
#include "support/MemoryShortage.h"
#include "support/PlainFrames.h"
#include "support/SteppedTitles.h"

namespace {

using test::CountingSink;
using test::refuseEach;
using test::refuseInTurn;
using test::survivesDrought;

class LCharacterMemory : public testing::Test {
protected:
    LCharacterMemory() {
        character.addSink(&sink);
        character.setFPS(200.0);
    }
    ~LCharacterMemory() override { character.removeSink(&sink); }

    LCharacter character;
    CountingSink sink;
};

// Titles that stand still.
void putStill(LCharacter& character) {
    LCGRectProps panel;
    panel.bgType = "Color";
    panel.bgColor = "#FF0000";
    character.addItem("still panel", 100, 300, 800, 200, panel);
    LCGTextProps text;
    text.text = "what stands at the end, and is longer than a string holds";
    character.addItem("still text", 100, 520, 800, 80, text);
}

// The picture of a character with these titles alone that never ran short of anything.
std::vector<std::uint8_t> stillPicture() {
    LCharacter character;
    test::CollectingSink sink(1);
    putStill(character);
    character.addSink(&sink);
    sink.waitForPictures(3);
    character.removeSink(&sink);
    return test::samplesShown(*sink.latestPicture());
}

// Panels move, texts change: everything is told, drawn and converted anew at each picture. Pango
// ends the process where its own memory fails. Nothing that was left out may stay so.
TEST_F(LCharacterMemory, APictureShortOfItIsLateAndAllOfItComes) {
    test::refusesFFmpeg = false;
    putStill(character);
    LCGTextProps text;
    text.text = "%WALLCLOCK% and a longer text beside it, so that it does not fit into a string";
    character.addItem("text", 100, 100, 800, 80, text);
    LCGCrawlProps crawl;
    crawl.text = "one line, two lines, three lines";
    character.addItem("crawl", 0, 900, 1920, 60, crawl);
    LCGTickerProps ticker;
    ticker.text = "first\nsecond\nthird";
    character.addItem("ticker", 0, 1000, 1920, 60, ticker);
    ASSERT_TRUE(sink.getsPictures());
    EXPECT_EQ(refuseInTurn(60, [this] { return sink.getsPictures(); }), 60);
    EXPECT_TRUE(survivesDrought([this] { return sink.getsPictures(); }));
    test::refusesFFmpeg = true;
    for (const char* const id : {"text", "crawl", "ticker"})
        character.remove(id);
    test::CollectingSink last(1);
    character.addSink(&last);
    EXPECT_TRUE(last.waitForPictures(3));
    character.removeSink(&last);
    ASSERT_NE(last.latestPicture(), nullptr);
    EXPECT_TRUE(test::samplesShown(*last.latestPicture()) == stillPicture());
}

// One shortage strikes the very picture that has to draw it, at each of its allocations in turn.
// Without memory later on nothing else would draw it: the titles stand still.
TEST_F(LCharacterMemory, APanelThatThereWasNoneForIsDrawnAtTheNextPicture) {
    LCGRectProps panel;
    panel.bgType = "Color";
    test::CollectingSink seen(1);
    character.addSink(&seen);
    const test::Spared here;
    int struck = 0;
    for (int number = 0; number < 30; ++number) {
        panel.bgColor = number % 2 == 0 ? "#FFFFFF" : "#000000";
        const int before = test::failures;
        test::refuseOneOfThoseToCome(number);
        character.addItem("panel", 0, 0, 400, 300, panel);
        const bool isDrawn = test::waitUntil([&] {
            const int level = test::levelsAt(seen.latestPicture().get(), 200, 150).y;
            return number % 2 == 0 ? level > 200 : level >= 0 && level < 50;
        });
        test::failEvery = 0;
        ASSERT_TRUE(isDrawn) << number;
        struck += test::failures - before;
    }
    EXPECT_GT(struck, 3);
    character.removeSink(&seen);
}

// ------------------------------------------------------------------------------------------ scene

using Items = std::vector<std::unique_ptr<LCGItem>>;

constexpr int sceneWidth = 320;
constexpr int sceneHeight = 120;

template <typename Item>
Item& put(Items& items, float x, float y, int w, int h) {
    auto item = std::make_unique<Item>();
    item->id = "item" + std::to_string(items.size());
    item->x = item->startX = x;
    item->y = item->startY = y;
    item->w = w;
    item->h = h;
    items.push_back(std::move(item));
    return static_cast<Item&>(*items.back());
}

// A text at the left and a panel at the right, which are drawn each for itself.
Items textAndPanel(const char* text, const char* color) {
    Items items;
    put<LCGTextItem>(items, 10.0F, 10.0F, 120, 40).props.text = text;
    auto& panel = put<LCGRectItem>(items, 200.0F, 60.0F, 80, 40);
    panel.props.bgType = "Color";
    panel.props.bgColor = color;
    return items;
}

quol::TagTime sceneTime() {
    using namespace std::chrono_literals;
    return {std::chrono::system_clock::time_point(1000000s),
            std::chrono::steady_clock::time_point(1000s)};
}

// What is drawn is held within what has changed. A picture that ends in the middle of a text must
// not hold the next one within it, too.
TEST(SceneMemory, WhatALostPictureHasLeftHidesNothingOfTheNext) {
    test::refusesFFmpeg = false;
    const char* const newText = "some other words";
    const Items wanted = textAndPanel(newText, "#00FF00");
    quol::SceneRenderer whole(sceneWidth, sceneHeight);
    whole.render(wanted, sceneTime());
    const std::vector<std::uint8_t> expected = test::samplesShown(*whole.frame());

    std::optional<quol::SceneRenderer> scene;
    Items items;
    const auto begin = [&] {
        scene.reset();
        items = textAndPanel("a few words", "#FF0000");
        scene.emplace(sceneWidth, sceneHeight);
        scene->render(items, sceneTime());
        static_cast<LCGTextItem&>(*items[0]).props.text = newText;
    };
    begin();
    const int refused = refuseEach([&] { scene->render(items, sceneTime()); },
                                   [&] {
                                       static_cast<LCGRectItem&>(*items[1]).props.bgColor =
                                           "#00FF00";
                                       scene->render(items, sceneTime());
                                       EXPECT_TRUE(test::samplesShown(*scene->frame()) == expected);
                                       begin();
                                   });
    EXPECT_GT(refused, 10);
    test::refusesFFmpeg = true;
}

// ------------------------------------------------------------------------------------------ items

TEST_F(LCharacterMemory, ItemsThatCouldNotBeHadCanBeHadAgain) {
    test::refusesFFmpeg = false;
    const std::string id(40, 'i');
    LCGTextProps text;
    text.text = std::string(60, 't');
    LCGImageProps image;
    image.path = test::mediaPath("still.png");
    EXPECT_GT(refuseEach(
                  [&] {
                      character.addItem(id, 0, 0, 100, 50, text);
                      character.addItem(id + "2", 0, 0, 0, 0, image);
                      character.updateItem(id, 5, 5, 100, 50, 1.0F, true, text);
                      character.group({id, id + "2"});
                      character.showItem(id, false);
                  },
                  [&] {
                      character.remove(id);
                      character.remove(id + "2");
                      ASSERT_EQ(character.getItemCount(), 0);
                  }),
              10);
    test::refusesFFmpeg = true;
    EXPECT_NE(character.addItem(id, 0, 0, 100, 50, text), nullptr);
    EXPECT_TRUE(sink.getsPictures());
}

// Has none for the first pictures.
class PoorSink : public CountingSink {
public:
    void pushVideoFrame(AVFrame* frame) override {
        if (++asked <= 5) throw std::bad_alloc();
        CountingSink::pushVideoFrame(frame);
    }
    std::atomic<int> asked{0};
};

// Stands behind the one that has none, and sees whether it is passed over.
class SinkBehind : public CountingSink {
public:
    explicit SinkBehind(const PoorSink& poor) : poor_(poor) {}
    void pushVideoFrame(AVFrame* frame) override {
        CountingSink::pushVideoFrame(frame);
        if (poor_.asked != pictures) isPassedOver = true;
    }
    std::atomic<bool> isPassedOver{false};

private:
    const PoorSink& poor_;
};

TEST(LAnimationMemory, ASinkThatHasNoneLosesItsPicturesAndNobodyElseDoes) {
    if (!quol::hasLottieEngine()) GTEST_SKIP() << "built without templates";
    const std::string path = test::writeFile("box.json", test::boxTemplate("1,0,0,1"));
    LAnimation animation;
    PoorSink sink;
    SinkBehind behind(sink);
    animation.addSink(&sink);
    animation.addSink(&behind);
    ASSERT_TRUE(animation.loadTemplate(1, path));
    EXPECT_TRUE(sink.getsPictures());
    EXPECT_TRUE(behind.getsPictures());
    animation.removeSink(&behind);
    animation.removeSink(&sink);
    EXPECT_EQ(sink.pictures, sink.asked - 5); // those it had none for, and no more
    EXPECT_FALSE(behind.isPassedOver);
}

} // namespace

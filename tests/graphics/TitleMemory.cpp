// Titles and templates when memory is short: a picture may be lost, the next one comes.
#include <gtest/gtest.h>

#include <atomic>

#include "graphics/LottieEngine.h"
#include "quolsdk/LAnimation.h"
#include "quolsdk/LCharacter.h"
#include "support/CapturedStream.h"
#include "support/LottieTemplates.h"
#include "support/MemoryShortage.h"

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

// Sees one sample of each picture.
class LookingSink : public CountingSink {
public:
    void pushVideoFrame(AVFrame* frame) override {
        luma = frame->data[0][50 * frame->linesize[0] + 50];
        CountingSink::pushVideoFrame(frame);
    }
    std::atomic<int> luma{-1};
};

// Panels move, texts change: everything is told, drawn and converted anew at each picture. Pango
// ends the process where its own memory fails.
TEST_F(LCharacterMemory, APictureShortOfItIsLateAndTheNextComes) {
    test::refusesFFmpeg = false;
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
}

// Each allocation behind a change fails in its turn: those of the picture that should have shown it
// are among them.
TEST_F(LCharacterMemory, APanelThatThereWasNoneForIsDrawnAtTheNextPicture) {
    constexpr int white = 235;
    constexpr int black = 16;
    LookingSink seen;
    character.addSink(&seen);
    LCGRectProps panel;
    panel.bgType = "Color";
    int met = 0;
    for (int number = 0; number < 40; ++number) {
        const bool isWhite = number % 2 == 0;
        panel.bgColor = isWhite ? "#FFFFFF" : "#000000";
        const int before = test::failures;
        const test::Spared here;
        test::refuseOneOfThoseToCome(number);
        character.addItem("panel", 0, 0, 400, 300, panel);
        EXPECT_TRUE(test::waitUntil([&] { return seen.luma == (isWhite ? white : black); }))
            << number;
        met += test::failures - before;
    }
    EXPECT_GT(met, 5);
    character.removeSink(&seen);
}

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

TEST(LAnimationMemory, ASinkThatHasNoneLosesItsPictureAndGetsTheNext) {
    if (!quol::hasLottieEngine()) GTEST_SKIP() << "built without templates";
    const std::string path = test::writeFile("box.json", test::boxTemplate("1,0,0,1"));
    LAnimation animation;
    PoorSink sink;
    animation.addSink(&sink);
    ASSERT_TRUE(animation.loadTemplate(1, path));
    EXPECT_TRUE(sink.getsPictures());
    EXPECT_GT(sink.asked, 5);
    animation.removeSink(&sink);
}

} // namespace

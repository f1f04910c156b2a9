#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "graphics/TickerInk.h"
#include "support/CapturedStream.h"
#include "support/ClipFile.h"
#include "support/SteppedTitles.h"

namespace {

using test::alphaAt;
using test::lumaAt;
using test::panelOf;
using test::samePicture;
using test::SteppedTitles;

class LCharacterItems : public testing::Test {
protected:
    LCGItem* addPanel(const char* id, int x, int y, int w, int h, const char* color = "#FFFFFF") {
        return titles.character.addItem(id, x, y, w, h, panelOf(color));
    }

    SteppedTitles titles;
    LCharacter& character = titles.character;
};

LCGImageProps imageOf(const std::string& path) {
    LCGImageProps props;
    props.path = path;
    return props;
}

LCGVideoProps videoOf(const std::string& path) {
    LCGVideoProps props;
    props.path = path;
    return props;
}

std::string sizeOf(const LCGItem* item) {
    if (item == nullptr) return "no item";
    return std::to_string(item->w) + "x" + std::to_string(item->h);
}

// --------------------------------------------------------------------------------- the records

// What a text, a crawl and a ticker have in common.
template <typename Props>
void expectTextDefaults(const Props& props) {
    EXPECT_EQ(props.text, "");
    EXPECT_EQ(props.font, "Arial");
    EXPECT_EQ(props.fontSize, 40);
    EXPECT_EQ(props.color.value(), 0xFFFFFFFFU);
    EXPECT_EQ(props.textAlpha, 255);
    EXPECT_EQ(props.letterSpacing, 0.0F);
    EXPECT_FALSE(props.autoShrink);
    EXPECT_EQ(props.padding, 0);
    EXPECT_EQ(props.outlineSize, 0);
    EXPECT_EQ(props.outlineColor.value(), 0xFF000000U);
    EXPECT_EQ(props.hAlign, "Left");
    EXPECT_EQ(props.vAlign, "Center");
    EXPECT_EQ(props.bgType, "None");
    EXPECT_EQ(props.bgColor.value(), 0xFF000000U);
    EXPECT_EQ(props.bgGradientStartColor.value(), 0xFFFF0000U);
    EXPECT_EQ(props.bgGradientEndColor.value(), 0xFF000000U);
    EXPECT_EQ(props.bgAlpha, 255);
    EXPECT_EQ(props.bgRadius, 0);
    EXPECT_EQ(props.bgShadowOffsetX, 0.0F);
    EXPECT_EQ(props.bgShadowOffsetY, 0.0F);
    EXPECT_EQ(props.bgShadowAlpha, 0);
    EXPECT_EQ(props.bgShadowColor.value(), 0xFF000000U);
    EXPECT_EQ(props.textShadowOffsetX, 0.0F);
    EXPECT_EQ(props.textShadowOffsetY, 0.0F);
    EXPECT_EQ(props.textShadowAlpha, 0);
    EXPECT_EQ(props.textShadowColor.value(), 0xFF000000U);
    EXPECT_EQ(props.borderColor.value(), 0xFFFFFFFFU);
    EXPECT_EQ(props.borderSize, 0);
    EXPECT_EQ(props.borderAlpha, 255);
}

TEST(LCGProps, DefaultsOfAText) {
    expectTextDefaults(LCGTextProps());
}

TEST(LCGProps, DefaultsOfACrawl) {
    const LCGCrawlProps props;
    expectTextDefaults(props);
    EXPECT_EQ(props.textMove, "Horizontal");
    EXPECT_EQ(props.textSpeed, -5.0F);
    EXPECT_EQ(props.separatorImage, "");
    EXPECT_EQ(props.textSeparator, " - ");
    EXPECT_EQ(props.separatorPadding, 20);
}

TEST(LCGProps, DefaultsOfATicker) {
    const LCGTickerProps props;
    expectTextDefaults(props);
    EXPECT_EQ(props.textMove, "Up");
    EXPECT_EQ(props.textMoveDuration, 5.0F);
}

TEST(LCGProps, DefaultsOfARectangle) {
    const LCGRectProps props;
    EXPECT_EQ(props.bgType, "Solid");
    EXPECT_EQ(props.bgColor.value(), 0xFFFFFFFFU);
    EXPECT_EQ(props.bgGradientStartColor.value(), 0xFFFFFFFFU);
    EXPECT_EQ(props.bgGradientEndColor.value(), 0xFF000000U);
    EXPECT_EQ(props.bgAlpha, 255);
    EXPECT_EQ(props.bgRadius, 0);
    EXPECT_EQ(props.borderColor.value(), 0xFFFFFFFFU);
    EXPECT_EQ(props.borderSize, 0);
    EXPECT_EQ(props.borderAlpha, 255);
    EXPECT_EQ(props.bgShadowOffsetX, 0.0F);
    EXPECT_EQ(props.bgShadowOffsetY, 0.0F);
    EXPECT_EQ(props.bgShadowAlpha, 0);
    EXPECT_EQ(props.bgShadowColor.value(), 0xFF000000U);
}

TEST(LCGProps, DefaultsOfAnImageAndAVideo) {
    EXPECT_EQ(LCGImageProps().path, "");
    EXPECT_EQ(LCGVideoProps().path, "");
}

// A host may fill a record in one go, in the order of its fields.
TEST(LCGProps, ATextHasItsBorderBeforeItsTextShadow) {
    const LCGTextProps props{
        "t", "f",       1,         "#000002", 3,         4.0F,      true,  5,  6,        "#000007",
        "h", "v",       "b",       "#000008", "#000009", "#00000A", 11,    12, 13.0F,    14.0F,
        15,  "#000010", "#000011", 18,        19,        20.0F,     21.0F, 22, "#000017"};
    EXPECT_EQ(props.bgShadowColor.value(), 0xFF000010U);
    EXPECT_EQ(props.borderColor.value(), 0xFF000011U);
    EXPECT_EQ(props.borderSize, 18);
    EXPECT_EQ(props.borderAlpha, 19);
    EXPECT_EQ(props.textShadowOffsetX, 20.0F);
    EXPECT_EQ(props.textShadowOffsetY, 21.0F);
    EXPECT_EQ(props.textShadowAlpha, 22);
    EXPECT_EQ(props.textShadowColor.value(), 0xFF000017U);
}

TEST(LCGProps, ACrawlAndATickerHaveTheirBorderLast) {
    const LCGCrawlProps crawl{"t",   "f",       1,          "#000002", 3,       4.0F,
                              true,  5,         6,          "#000007", "h",     "v",
                              "b",   "#000008", "#000009",  "#00000A", 11,      12,
                              13.0F, 14.0F,     15,         "#000010", 16.0F,   17.0F,
                              18,    "#000013", "Vertical", 20.0F,     "image", "sep",
                              21,    "#000016", 23,         24};
    EXPECT_EQ(crawl.textShadowAlpha, 18);
    EXPECT_EQ(crawl.textMove, "Vertical");
    EXPECT_EQ(crawl.textSpeed, 20.0F);
    EXPECT_EQ(crawl.separatorImage, "image");
    EXPECT_EQ(crawl.textSeparator, "sep");
    EXPECT_EQ(crawl.separatorPadding, 21);
    EXPECT_EQ(crawl.borderColor.value(), 0xFF000016U);
    EXPECT_EQ(crawl.borderSize, 23);
    EXPECT_EQ(crawl.borderAlpha, 24);
    const LCGTickerProps ticker{
        "t", "f",       1,      "#000002", 3,         4.0F,      true,      5,
        6,   "#000007", "h",    "v",       "b",       "#000008", "#000009", "#00000A",
        11,  12,        13.0F,  14.0F,     15,        "#000010", 16.0F,     17.0F,
        18,  "#000013", "Down", 20.0F,     "#000016", 23,        24};
    EXPECT_EQ(ticker.textMove, "Down");
    EXPECT_EQ(ticker.textMoveDuration, 20.0F);
    EXPECT_EQ(ticker.borderColor.value(), 0xFF000016U);
    EXPECT_EQ(ticker.borderSize, 23);
    EXPECT_EQ(ticker.borderAlpha, 24);
}

TEST(LCharacterColors, HexToUintIsTheParseOfAColour) {
    EXPECT_EQ(LCharacter::hexToUint("#FF8800"), 0xFFFF8800U);
    EXPECT_EQ(LCharacter::hexToUint("80FF8800"), 0x80FF8800U);
    EXPECT_EQ(LCharacter::hexToUint(""), 0U);
    EXPECT_EQ(LCharacter::hexToUint("xyz"), 0xFFFFFFFFU);
}

TEST(LCharacterColors, UintToHexLeavesTheAlphaOut) {
    EXPECT_EQ(LCharacter::uintToHex(0x80FF8800U), "#FF8800");
    EXPECT_EQ(LCharacter::uintToHex(0x00000aU), "#00000A");
}

// ----------------------------------------------------------------------------------- new items

void expectNewItem(const LCGItem* item, const std::string& id, float x, float y) {
    ASSERT_NE(item, nullptr) << id;
    EXPECT_EQ(item->id, id);
    EXPECT_EQ(item->x, x) << id;
    EXPECT_EQ(item->y, y) << id;
    EXPECT_EQ(item->startX, x) << id;
    EXPECT_EQ(item->startY, y) << id;
    EXPECT_TRUE(item->show) << id;
    EXPECT_EQ(item->alpha, 1.0F) << id;
    EXPECT_EQ(item->group, nullptr) << id;
    EXPECT_EQ(item->moveType, "None") << id;
    EXPECT_EQ(item->moveSpeed, 0.0F) << id;
    EXPECT_TRUE(item->moveLoop) << id;
}

TEST_F(LCharacterItems, EveryKindOfItemBeginsAtHomeVisibleAndAtRest) {
    expectNewItem(character.addItem("text", 1, -2, 3, 4, LCGTextProps()), "text", 1.0F, -2.0F);
    expectNewItem(character.addItem("crawl", 1, 2, 3, 4, LCGCrawlProps()), "crawl", 1.0F, 2.0F);
    expectNewItem(character.addItem("ticker", 1, 2, 3, 4, LCGTickerProps()), "ticker", 1.0F, 2.0F);
    expectNewItem(character.addItem("rect", 1, 2, 3, 4, LCGRectProps()), "rect", 1.0F, 2.0F);
    expectNewItem(character.addItem("image", 1, 2, 3, 4, LCGImageProps()), "image", 1.0F, 2.0F);
    expectNewItem(character.addItem("video", 1, 2, 3, 4, videoOf(test::mediaPath("h264_aac.mp4"))),
                  "video", 1.0F, 2.0F);
}

TEST_F(LCharacterItems, AddItemGivesAnItemOfTheRecordsKindWithACopyOfTheRecord) {
    LCGTextProps text;
    text.text = "Text";
    LCGCrawlProps crawl;
    crawl.text = "Crawl";
    LCGTickerProps ticker;
    ticker.text = "Ticker";
    const LCGImageProps image = imageOf("no such image.png");
    const LCGVideoProps video = videoOf(test::mediaPath("h264_aac.mp4"));
    const auto propsOf = [](auto* item) {
        return item != nullptr ? item->props : decltype(item->props)();
    };
    EXPECT_EQ(propsOf(dynamic_cast<LCGTextItem*>(character.addItem("1", 0, 0, 0, 0, text))), text);
    EXPECT_EQ(propsOf(dynamic_cast<LCGCrawlItem*>(character.addItem("2", 0, 0, 0, 0, crawl))),
              crawl);
    EXPECT_EQ(propsOf(dynamic_cast<LCGTickerItem*>(character.addItem("3", 0, 0, 0, 0, ticker))),
              ticker);
    EXPECT_EQ(propsOf(dynamic_cast<LCGRectItem*>(addPanel("4", 0, 0, 0, 0, "#123456"))),
              panelOf("#123456"));
    EXPECT_EQ(propsOf(dynamic_cast<LCGImageItem*>(character.addItem("5", 0, 0, 0, 0, image))),
              image);
    EXPECT_EQ(propsOf(dynamic_cast<LCGVideoItem*>(character.addItem("6", 0, 0, 0, 0, video))),
              video);
    EXPECT_EQ(character.getItemCount(), 6);
}

TEST_F(LCharacterItems, ASizeOfZeroOrBelowIsThePicturesForTextCrawlTickerAndRectangle) {
    EXPECT_EQ(sizeOf(character.addItem("1", 0, 0, 0, -1, LCGTextProps())), "1920x1080");
    EXPECT_EQ(sizeOf(character.addItem("2", 0, 0, -1, 0, LCGCrawlProps())), "1920x1080");
    EXPECT_EQ(sizeOf(character.addItem("3", 0, 0, 0, -1, LCGTickerProps())), "1920x1080");
    EXPECT_EQ(sizeOf(character.addItem("4", 0, 0, -1, 0, LCGRectProps())), "1920x1080");
    EXPECT_EQ(sizeOf(character.addItem("5", 0, 0, 1, 0, LCGTextProps())), "1x1080");
    EXPECT_EQ(sizeOf(character.addItem("6", 0, 0, -5, 4000, LCGRectProps())), "1920x4000");
}

TEST_F(LCharacterItems, ASizeOfZeroOrBelowIsTheImagesOwn) {
    const LCGImageProps still = imageOf(test::mediaPath("still.png"));
    EXPECT_EQ(sizeOf(character.addItem("1", 0, 0, 0, 0, still)), "160x90");
    EXPECT_EQ(sizeOf(character.addItem("2", 0, 0, -7, 30, still)), "160x30");
    EXPECT_EQ(sizeOf(character.addItem("3", 0, 0, 20, -1, still)), "20x90");
}

TEST_F(LCharacterItems, AnImageThatCannotBeReadIsAnItemOfTheSizeGiven) {
    for (const std::string& path :
         {std::string(), std::string("no such file.png"), test::mediaPath("text.mp4"),
          test::mediaPath("huge_png.png"), test::mediaPath("flac.flac"), std::string("/")}) {
        EXPECT_EQ(sizeOf(character.addItem("none", 0, 0, 0, -3, imageOf(path))), "0x0") << path;
        EXPECT_EQ(sizeOf(character.addItem("given", 0, 0, 5, 6, imageOf(path))), "5x6") << path;
    }
}

TEST_F(LCharacterItems, ASizeOfZeroOrBelowIsTheVideosOwn) {
    const LCGVideoProps clip = videoOf(test::mediaPath("h264_aac.mp4"));
    EXPECT_EQ(sizeOf(character.addItem("1", 0, 0, 0, 0, clip)), "320x180");
    EXPECT_EQ(sizeOf(character.addItem("2", 0, 0, -7, 30, clip)), "320x30");
}

TEST_F(LCharacterItems, AVideoOfAFileWithSeveralStreamsIsTheFirst) {
    EXPECT_EQ(sizeOf(character.addItem("1", 0, 0, 0, 0, videoOf(test::twoStreamClip()))), "32x24");
}

TEST_F(LCharacterItems, AVideoThatCannotBePlayedIsNotAdded) {
    for (const std::string& path :
         {std::string(), std::string("no such file.mp4"), test::mediaPath("text.mp4"),
          test::mediaPath("empty.mp4"), test::mediaPath("truncated_no_moov.mp4"),
          test::mediaPath("flac.flac"), std::string("/")}) {
        EXPECT_EQ(character.addItem("video", 0, 0, 10, 10, videoOf(path)), nullptr) << path;
    }
    EXPECT_EQ(character.getItemCount(), 0);
    EXPECT_EQ(character.getItem("video"), nullptr);
}

TEST_F(LCharacterItems, AVideoThatCannotBePlayedLeavesAnItemOfItsIdAlone) {
    LCGItem* const panel = addPanel("a", 0, 0, 10, 10);
    EXPECT_EQ(character.addItem("a", 0, 0, 10, 10, videoOf("no such file.mp4")), nullptr);
    EXPECT_EQ(character.getItem("a"), panel);
}

TEST_F(LCharacterItems, ACrawlBeginsBehindTheRightAndLowerEdgeOfItsFinalSize) {
    const auto startOf = [](LCGItem* item) {
        const auto* crawl = dynamic_cast<LCGCrawlItem*>(item);
        return std::pair(crawl->scrollX.load(), crawl->scrollY.load());
    };
    EXPECT_EQ(startOf(character.addItem("1", 10, 20, 300, 40, LCGCrawlProps())),
              std::pair(310.0F, 60.0F));
    EXPECT_EQ(startOf(character.addItem("2", -10, -20, 0, -1, LCGCrawlProps())),
              std::pair(1910.0F, 1060.0F));
}

TEST_F(LCharacterItems, ATickerBeginsWithItsFirstLineAtRestAndItsTimeNow) {
    const auto before = std::chrono::steady_clock::now();
    auto* const ticker =
        dynamic_cast<LCGTickerItem*>(character.addItem("ticker", 0, 0, 100, 50, LCGTickerProps()));
    const auto after = std::chrono::steady_clock::now();
    ASSERT_NE(ticker, nullptr);
    EXPECT_EQ(ticker->state->currentLine, 0);
    EXPECT_EQ(ticker->state->transitionProgress, 0.0F);
    EXPECT_FALSE(ticker->state->inTransition);
    EXPECT_GE(ticker->state->lastSwitch, before);
    EXPECT_LE(ticker->state->lastSwitch, after);
}

TEST_F(LCharacterItems, ARectangleOfTheDefaultTypeDrawsNothing) {
    character.addItem("rect", 0, 0, 400, 400, LCGRectProps());
    EXPECT_EQ(alphaAt(titles.step(), 200, 200), 0);
    addPanel("panel", 0, 0, 400, 400);
    EXPECT_EQ(alphaAt(titles.step(), 200, 200), 255);
}

TEST_F(LCharacterItems, LaterItemsLieOnTop) {
    addPanel("z", 0, 0, 200, 200, "#000000");
    addPanel("a", 100, 0, 200, 200, "#FFFFFF");
    const quol::FramePtr picture = titles.step();
    EXPECT_EQ(lumaAt(picture, 50, 50), 16);
    EXPECT_EQ(lumaAt(picture, 150, 50), 235);
    EXPECT_EQ(lumaAt(picture, 250, 50), 235);
}

// ------------------------------------------------------------------------------- ids and the map

TEST_F(LCharacterItems, ASecondItemTakesTheIdOverAndTheFirstStaysOnScreen) {
    LCGItem* const first = addPanel("a", 0, 0, 100, 100);
    LCGItem* const second = addPanel("a", 400, 0, 100, 100);
    EXPECT_EQ(character.getItemCount(), 2);
    EXPECT_EQ(character.getItem("a"), second);
    EXPECT_EQ(character.getItemByIndex(0), first);
    EXPECT_EQ(character.getItemByIndex(1), second);
    character.showItem("a", false);
    const quol::FramePtr picture = titles.step();
    EXPECT_EQ(alphaAt(picture, 50, 50), 255);
    EXPECT_EQ(alphaAt(picture, 450, 50), 0);
}

TEST_F(LCharacterItems, RemoveTakesTheFirstOfTwoItemsOfAnIdAndTheIdWithIt) {
    addPanel("a", 0, 0, 100, 100);
    LCGItem* const second = addPanel("a", 400, 0, 100, 100);
    character.remove("a");
    EXPECT_EQ(character.getItemCount(), 1);
    EXPECT_EQ(character.getItemByIndex(0), second);
    EXPECT_EQ(character.getItem("a"), nullptr);
    const quol::FramePtr picture = titles.step();
    EXPECT_EQ(alphaAt(picture, 50, 50), 0);
    EXPECT_EQ(alphaAt(picture, 450, 50), 255);
    character.remove("a"); // by the list, although the id leads nowhere any more
    EXPECT_EQ(character.getItemCount(), 0);
    EXPECT_EQ(alphaAt(titles.step(), 450, 50), 0);
}

TEST_F(LCharacterItems, RemoveClosesTheGapAndLeavesTheOthersAlone) {
    LCGItem* const a = addPanel("a", 0, 0, 100, 100);
    addPanel("b", 200, 0, 100, 100);
    LCGItem* const c = addPanel("c", 400, 0, 100, 100);
    character.remove("b");
    character.remove("b");
    character.remove("unknown");
    EXPECT_EQ(character.getItemCount(), 2);
    EXPECT_EQ(character.getItemByIndex(0), a);
    EXPECT_EQ(character.getItemByIndex(1), c);
    EXPECT_EQ(character.getItem("a"), a);
    EXPECT_EQ(character.getItem("c"), c);
    const quol::FramePtr picture = titles.step();
    EXPECT_EQ(alphaAt(picture, 50, 50), 255);
    EXPECT_EQ(alphaAt(picture, 250, 50), 0);
    EXPECT_EQ(alphaAt(picture, 450, 50), 255);
}

TEST_F(LCharacterItems, AnIndexOutOfRangeIsNoItem) {
    EXPECT_EQ(character.getItemByIndex(0), nullptr);
    addPanel("a", 0, 0, 1, 1);
    EXPECT_EQ(character.getItemByIndex(-1), nullptr);
    EXPECT_EQ(character.getItemByIndex(1), nullptr);
    EXPECT_EQ(character.getItemByIndex(std::numeric_limits<int>::max()), nullptr);
    EXPECT_EQ(character.getItemByIndex(std::numeric_limits<int>::min()), nullptr);
}

TEST_F(LCharacterItems, AskingForAnUnknownItemAddsNone) {
    EXPECT_EQ(character.getItem("nothing"), nullptr);
    EXPECT_EQ(character.getItemCount(), 0);
}

TEST_F(LCharacterItems, ANullEntryIsToleratedByEveryCall) {
    LCGItem* const panel = addPanel("panel", 0, 0, 100, 100);
    EXPECT_EQ(character.getItem("nothing"), nullptr);
    character.updateItem("nothing", 1, 2, 3, 4, 0.5F, true, panelOf("#000000"));
    character.updateItem("nothing", 1, 2, 3, 4, 0.5F, true, LCGTextProps());
    character.showItem("nothing", false);
    character.showItem("nothing", true);
    EXPECT_EQ(character.getGroup("nothing"), "");
    const std::string group = character.group({"nothing", "panel"});
    EXPECT_EQ(character.groupItemCount(group), 1);
    character.remove("nothing");
    EXPECT_EQ(character.getItemCount(), 1);
    EXPECT_EQ(character.getItem("panel"), panel);
    EXPECT_EQ(alphaAt(titles.step(), 50, 50), 255);
    LCGItem* const added = addPanel("nothing", 200, 0, 100, 100);
    EXPECT_EQ(character.getItem("nothing"), added);
    EXPECT_EQ(alphaAt(titles.step(), 250, 50), 255);
}

TEST_F(LCharacterItems, AnEmptyIdIsAnIdLikeAnyOther) {
    LCGItem* const panel = addPanel("", 0, 0, 100, 100);
    EXPECT_EQ(character.getItem(""), panel);
    character.showItem("", false);
    EXPECT_FALSE(panel->show);
    character.remove("");
    EXPECT_EQ(character.getItemCount(), 0);
}

// -------------------------------------------------------------------------------------- changes

TEST_F(LCharacterItems, UpdateItemTakesEverythingAsGivenButTheHomePosition) {
    LCGItem* const item = addPanel("a", 10, 20, 30, 40);
    character.updateItem("a", 100, 200, 0, -5, 0.25F, false, panelOf("#123456"));
    EXPECT_EQ(item->x, 100.0F);
    EXPECT_EQ(item->y, 200.0F);
    EXPECT_EQ(item->startX, 10.0F);
    EXPECT_EQ(item->startY, 20.0F);
    EXPECT_EQ(item->w, 0); // no fall back to the picture's size
    EXPECT_EQ(item->h, -5);
    EXPECT_EQ(item->alpha, 0.25F);
    EXPECT_FALSE(item->show);
    EXPECT_EQ(dynamic_cast<LCGRectItem*>(item)->props, panelOf("#123456"));
}

TEST_F(LCharacterItems, UpdateItemChangesEveryKind) {
    LCGTextProps text;
    text.text = "new";
    LCGCrawlProps crawl;
    crawl.text = "new";
    LCGTickerProps ticker;
    ticker.text = "new";
    const std::string clip = test::mediaPath("h264_aac.mp4");
    LCGItem* const items[] = {character.addItem("0", 0, 0, 10, 10, LCGTextProps()),
                              character.addItem("1", 0, 0, 10, 10, LCGCrawlProps()),
                              character.addItem("2", 0, 0, 10, 10, LCGTickerProps()),
                              character.addItem("3", 0, 0, 10, 10, LCGRectProps()),
                              character.addItem("4", 0, 0, 10, 10, LCGImageProps()),
                              character.addItem("5", 0, 0, 10, 10, videoOf(clip))};
    character.updateItem("0", 1, 2, 3, 4, 0.5F, false, text);
    character.updateItem("1", 1, 2, 3, 4, 0.5F, false, crawl);
    character.updateItem("2", 1, 2, 3, 4, 0.5F, false, ticker);
    character.updateItem("3", 1, 2, 3, 4, 0.5F, false, panelOf("#010203"));
    character.updateItem("4", 1, 2, 3, 4, 0.5F, false, imageOf("new"));
    character.updateItem("5", 1, 2, 3, 4, 0.5F, false, videoOf("new"));
    for (const LCGItem* item : items) {
        ASSERT_NE(item, nullptr);
        EXPECT_EQ(item->x, 1.0F) << item->id;
        EXPECT_EQ(item->y, 2.0F) << item->id;
        EXPECT_EQ(sizeOf(item), "3x4") << item->id;
        EXPECT_EQ(item->alpha, 0.5F) << item->id;
        EXPECT_FALSE(item->show) << item->id;
    }
    EXPECT_EQ(dynamic_cast<LCGTextItem*>(items[0])->props, text);
    EXPECT_EQ(dynamic_cast<LCGCrawlItem*>(items[1])->props, crawl);
    EXPECT_EQ(dynamic_cast<LCGTickerItem*>(items[2])->props, ticker);
    EXPECT_EQ(dynamic_cast<LCGRectItem*>(items[3])->props, panelOf("#010203"));
    EXPECT_EQ(dynamic_cast<LCGImageItem*>(items[4])->props, imageOf("new"));
    EXPECT_EQ(dynamic_cast<LCGVideoItem*>(items[5])->props, videoOf("new"));
}

// A field that a host has written without telling shows with the next drawing, and not before.
TEST_F(LCharacterItems, UpdateItemOfAnotherKindChangesNothingAndDrawsNothing) {
    LCGItem* const panel = addPanel("a", 0, 0, 100, 100);
    const quol::FramePtr before = titles.step();
    panel->x = 400.0F;
    character.updateItem("a", 700, 2, 3, 4, 0.5F, false, LCGTextProps());
    character.updateItem("unknown", 700, 2, 3, 4, 0.5F, false, panelOf("#000000"));
    EXPECT_TRUE(samePicture(titles.step(2), before));
    EXPECT_EQ(panel->x, 400.0F);
    EXPECT_EQ(sizeOf(panel), "100x100");
    EXPECT_TRUE(panel->show);
    EXPECT_EQ(dynamic_cast<LCGRectItem*>(panel)->props, panelOf("#FFFFFF"));
    character.forceUpdate();
    EXPECT_EQ(alphaAt(titles.step(), 450, 50), 255);
}

TEST_F(LCharacterItems, UpdateItemKeepsTheWayThatACrawlHasMade) {
    LCGCrawlProps props;
    props.text = "Crawl";
    auto* const crawl =
        dynamic_cast<LCGCrawlItem*>(character.addItem("crawl", 0, 0, 400, 60, props));
    titles.step(10);
    EXPECT_EQ(crawl->scrollX, 350.0F);
    props.fontSize = 20;
    character.updateItem("crawl", 0, 100, 400, 60, 1.0F, true, props);
    EXPECT_EQ(crawl->scrollX, 350.0F);
    titles.step();
    EXPECT_EQ(crawl->scrollX, 345.0F);
}

TEST_F(LCharacterItems, UpdateItemKeepsTheLineAndTheTimeOfATicker) {
    LCGTickerProps props;
    props.text = "one\ntwo";
    props.textMoveDuration = 0.0F;
    auto* const ticker =
        dynamic_cast<LCGTickerItem*>(character.addItem("ticker", 0, 0, 400, 60, props));
    while (ticker->state->currentLine == 0)
        ASSERT_NE(titles.step(), nullptr);
    const auto lastSwitch = ticker->state->lastSwitch;
    props.textMoveDuration = 1000.0F;
    character.updateItem("ticker", 0, 0, 400, 60, 1.0F, true, props);
    titles.step(3);
    EXPECT_EQ(ticker->state->currentLine, 1);
    EXPECT_EQ(ticker->state->lastSwitch, lastSwitch);
}

TEST_F(LCharacterItems, UpdateItemKeepsTheFileThatAVideoPlays) {
    LCGItem* const video =
        character.addItem("video", 0, 0, 320, 180, videoOf(test::mediaPath("h264_aac.mp4")));
    ASSERT_NE(video, nullptr);
    const quol::FramePtr first = titles.step();
    EXPECT_EQ(alphaAt(first, 100, 100), 255);
    character.updateItem("video", 0, 0, 320, 180, 1.0F, true, videoOf("no such file.mp4"));
    const quol::FramePtr second = titles.step();
    EXPECT_EQ(alphaAt(second, 100, 100), 255);
    EXPECT_FALSE(samePicture(first, second));
}

// ------------------------------------------------------------------------------------- visibility

TEST_F(LCharacterItems, HidingADriftingItemPutsItBackAtItsHomePosition) {
    LCGItem* const panel = addPanel("a", 100, 200, 50, 50);
    panel->moveType = "Horizontal";
    panel->moveSpeed = 7.0F;
    titles.step(3);
    EXPECT_EQ(panel->x, 121.0F);
    panel->y = 250.0F;
    character.showItem("a", false);
    EXPECT_EQ(panel->x, 100.0F);
    EXPECT_EQ(panel->y, 200.0F);
    EXPECT_FALSE(panel->show);
    titles.step(3);
    EXPECT_EQ(panel->x, 100.0F); // what is hidden does not move
    character.showItem("a", true);
    titles.step();
    EXPECT_EQ(panel->x, 107.0F);
}

TEST_F(LCharacterItems, ShowingLeavesThePositionAlone) {
    LCGItem* const panel = addPanel("a", 100, 200, 50, 50);
    panel->x = 300.0F;
    character.showItem("a", true);
    EXPECT_EQ(panel->x, 300.0F);
    EXPECT_EQ(alphaAt(titles.step(), 325, 225), 255);
}

TEST_F(LCharacterItems, HiddenAndShownItemsLeaveAndReenterThePicture) {
    addPanel("a", 0, 0, 100, 100);
    EXPECT_EQ(alphaAt(titles.step(), 50, 50), 255);
    EXPECT_TRUE(character.hasVisibleItem());
    character.showItem("a", false);
    EXPECT_EQ(alphaAt(titles.step(), 50, 50), 0);
    EXPECT_FALSE(character.hasVisibleItem());
    character.showItem("a", true);
    EXPECT_EQ(alphaAt(titles.step(), 50, 50), 255);
    EXPECT_TRUE(character.hasVisibleItem());
}

// An alpha of an item goes over all of it; the colours follow it, as they are premultiplied.
TEST_F(LCharacterItems, AnAlphaMakesTheItemTransparent) {
    addPanel("a", 0, 0, 100, 100);
    character.updateItem("a", 0, 0, 100, 100, 0.2F, true, panelOf("#FFFFFF"));
    const quol::FramePtr picture = titles.step();
    EXPECT_EQ(alphaAt(picture, 50, 50), 51);
    EXPECT_NEAR(lumaAt(picture, 50, 50), 16 + 219 / 5, 1);
}

// ------------------------------------------------------------------------- what draws the scene
// anew

struct Edit {
    std::string name;
    std::function<void(LCharacter&)> make;
};

std::vector<Edit> edits() {
    return {
        {"AddItem", [](LCharacter& c) { c.addItem("new", 0, 0, 1, 1, LCGTextProps()); }},
        {"AddImage", [](LCharacter& c) { c.addItem("new", 0, 0, 1, 1, LCGImageProps()); }},
        {"UpdateItem",
         [](LCharacter& c) { c.updateItem("other", 0, 0, 1, 1, 1.0F, true, panelOf("#FFFFFF")); }},
        {"ShowItem", [](LCharacter& c) { c.showItem("other", true); }},
        {"ShowUnknown", [](LCharacter& c) { c.showItem("unknown", true); }},
        {"Remove", [](LCharacter& c) { c.remove("other"); }},
        {"RemoveUnknown", [](LCharacter& c) { c.remove("unknown"); }},
        {"Group", [](LCharacter& c) { c.group({"other"}); }},
        {"UnGroup", [](LCharacter& c) { c.unGroup("group1"); }},
        {"UnGroupUnknown", [](LCharacter& c) { c.unGroup("unknown"); }},
        {"DeleteGroup", [](LCharacter& c) { c.deleteGroup("group1"); }},
        {"DeleteUnknownGroup", [](LCharacter& c) { c.deleteGroup("unknown"); }},
        {"ForceUpdate", [](LCharacter& c) { c.forceUpdate(); }},
    };
}

class EveryEdit : public testing::TestWithParam<Edit> {};

// Told by a field that was written without telling, which the next drawing shows.
TEST_P(EveryEdit, DrawsTheSceneAnew) {
    SteppedTitles titles;
    LCGItem* const panel = titles.character.addItem("panel", 0, 0, 100, 100, panelOf("#FFFFFF"));
    titles.character.addItem("other", 900, 900, 1, 1, panelOf("#FFFFFF"));
    titles.character.addItem("member", 900, 900, 1, 1, panelOf("#FFFFFF"));
    titles.character.group({"member"});
    titles.step();
    panel->x = 400.0F;
    EXPECT_EQ(alphaAt(titles.step(2), 450, 50), 0);
    GetParam().make(titles.character);
    EXPECT_EQ(alphaAt(titles.step(), 450, 50), 255);
}

INSTANTIATE_TEST_SUITE_P(LCharacter, EveryEdit, testing::ValuesIn(edits()),
                         [](const auto& each) { return each.param.name; });

// What only asks.
TEST_F(LCharacterItems, QuestionsDrawNothing) {
    LCGItem* const panel = addPanel("panel", 0, 0, 100, 100);
    const quol::FramePtr before = titles.step();
    panel->x = 400.0F;
    character.getItem("unknown");
    character.getItemByIndex(0);
    character.getItemCount();
    character.getGroupCount();
    character.getGroupByIndex(0);
    character.getGroup("panel");
    character.getGroupObject("unknown");
    character.groupItemCount("unknown");
    character.getGroupItemByIndex("unknown", 0);
    character.isDynamic();
    character.setFPS(500.0);
    EXPECT_TRUE(samePicture(titles.step(2), before));
}

} // namespace

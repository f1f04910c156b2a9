#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <future>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/CapturedStream.h"
#include "support/SteppedTitles.h"

namespace {

using test::alphaAt;
using test::CapturedStream;
using test::lumaAt;
using test::panelOf;
using test::SteppedTitles;
using Lines = std::vector<std::string>;

std::string fileWith(const std::string& name, const std::string& text) {
    const std::string path = test::temporaryPath(name);
    std::ofstream(path) << text;
    return path;
}

std::string readAll(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::string itemText(const std::string& type, const std::string& id, const std::string& more = "") {
    return "<Item>\n<type>" + type + "</type>\n<id>" + id + "</id>\n" + more + "</Item>\n";
}

// What only the items' own fields say: "id id id".
std::string idsOf(LCharacter& character) {
    std::string ids;
    for (int i = 0; i < character.getItemCount(); ++i)
        ids += (i > 0 ? " " : "") + character.getItemByIndex(i)->id;
    return ids;
}

class LCharacterProjects : public testing::Test {
protected:
    template <typename Item>
    Item* itemOf(const std::string& id) {
        return dynamic_cast<Item*>(character.getItem(id));
    }

    // Saves the scene and loads it again.
    void saveAndLoad() {
        const std::string path = test::temporaryPath("scene.xml");
        character.saveToXMLFile(path);
        character.loadFromXMLFile(path);
    }

    void insertText(const std::string& text) {
        character.insertFromXMLFile(fileWith("insert.xml", text));
    }

    // Whether another thread gets in: a lock that was left behind would keep it out for ever.
    bool isFree() {
        auto answer = std::async(std::launch::async, [this] { character.getItemCount(); });
        if (answer.wait_for(std::chrono::seconds(20)) == std::future_status::ready) return true;
        ADD_FAILURE() << "the scene is locked";
        std::abort(); // nothing can be taken apart any more
    }

    SteppedTitles titles;
    LCharacter& character = titles.character;
};

// --------------------------------------------------------------------------------------- saving

TEST_F(LCharacterProjects, AnEmptySceneIsTheRootAlone) {
    const std::string path = fileWith("empty.xml", "what was there before, and is longer\n");
    character.saveToXMLFile(path);
    EXPECT_EQ(readAll(path), "<CGProject>\n</CGProject>\n");
}

std::string panelLines(const std::string& indent) {
    std::string text;
    for (const char* line :
         {"<bgType>Color</bgType>", "<bgColor>#102030</bgColor>",
          "<bgGradientStartColor>#FFFFFF</bgGradientStartColor>",
          "<bgGradientEndColor>#000000</bgGradientEndColor>", "<bgAlpha>255</bgAlpha>",
          "<bgRadius>0</bgRadius>", "<bgShadowOffsetX>0</bgShadowOffsetX>",
          "<bgShadowOffsetY>0</bgShadowOffsetY>", "<bgShadowAlpha>0</bgShadowAlpha>",
          "<bgShadowColor>#000000</bgShadowColor>", "<borderColor>#FFFFFF</borderColor>",
          "<borderSize>0</borderSize>", "<borderAlpha>255</borderAlpha>"})
        text += indent + line + "\n";
    return text;
}

TEST_F(LCharacterProjects, GroupsComeFirstByNameThenItemsWithoutOneInTheirOrder) {
    LCGImageProps image;
    image.path = "image <&> \"path\"";
    character.addItem("alone", 1, -2, 3, 4, image);
    character.addItem("member", 10, 20, 30, 40, panelOf("#102030"));
    EXPECT_EQ(character.group({"member"}), "group1");
    character.showItem("member", false);
    character.getItem("member")->x = 10.25F;
    const std::string path = test::temporaryPath("layout.xml");
    character.saveToXMLFile(path);
    EXPECT_EQ(readAll(path),
              "<CGProject>\n"
              "  <group>\n"
              "    <id>group1</id>\n"
              "    <Item>\n"
              "      <type>rect</type>\n"
              "      <id>member</id>\n"
              "      <x>10.25</x>\n"
              "      <y>20</y>\n"
              "      <w>30</w>\n"
              "      <h>40</h>\n"
              "      <show>false</show>\n"
              "      <alpha>255</alpha>\n"
              "      <props>\n" +
                  panelLines("          ") +
                  "      </props>\n"
                  "    </Item>\n"
                  "  </group>\n"
                  "  <Item>\n"
                  "    <type>image</type>\n"
                  "    <id>alone</id>\n"
                  "    <x>1</x>\n"
                  "    <y>-2</y>\n"
                  "    <w>3</w>\n"
                  "    <h>4</h>\n"
                  "    <show>true</show>\n"
                  "    <alpha>255</alpha>\n"
                  "    <props>\n"
                  "        <path>image <&> \"path\"</path>\n"
                  "    </props>\n"
                  "  </Item>\n"
                  "</CGProject>\n");
}

TEST_F(LCharacterProjects, MembersAreWrittenInTheOrderOfTheSceneNotOfTheGroup) {
    for (const char* id : {"a", "b", "c"})
        character.addItem(id, 0, 0, 1, 1, panelOf("#FFFFFF"));
    character.group({"c", "a"});
    saveAndLoad();
    EXPECT_EQ(idsOf(character), "a c b");
}

TEST_F(LCharacterProjects, SavingChangesNothingOfTheScene) {
    character.addItem("a", 0, 0, 100, 100, panelOf("#FFFFFF"));
    character.group({"a"});
    const quol::FramePtr before = titles.step();
    character.saveToXMLFile(test::temporaryPath("unchanged.xml"));
    EXPECT_TRUE(test::samePicture(titles.step(2), before));
    EXPECT_EQ(idsOf(character), "a");
    EXPECT_EQ(character.getGroup("a"), "group1");
}

// --------------------------------------------------------------------------------- there and back

TEST_F(LCharacterProjects, GroupedItemsComeBackBeforeUngroupedOnesAndSoBelowThem) {
    character.addItem("below", 0, 0, 200, 200, panelOf("#000000"));
    character.addItem("above", 0, 0, 200, 200, panelOf("#FFFFFF"));
    character.group({"above"});
    EXPECT_EQ(lumaAt(titles.step(), 100, 100), 235);
    saveAndLoad();
    EXPECT_EQ(idsOf(character), "above below");
    EXPECT_EQ(lumaAt(titles.step(), 100, 100), 16);
}

TEST_F(LCharacterProjects, AColourComesBackOpaque) {
    LCGTextProps props;
    props.color = "80FF8800";
    character.addItem("text", 0, 0, 10, 10, props);
    saveAndLoad();
    EXPECT_EQ(itemOf<LCGTextItem>("text")->props.color.value(), 0xFFFF8800U);
}

TEST_F(LCharacterProjects, SomeFieldsOfACrawlAndATickerComeBackAtTheirDefaults) {
    LCGCrawlProps crawl;
    crawl.text = "crawl";
    crawl.separatorPadding = 40;
    crawl.textSpeed = -2.5F;
    crawl.textSeparator = " + ";
    crawl.bgType = "Color";
    LCGTickerProps ticker;
    ticker.text = "ticker";
    ticker.hAlign = "Right";
    ticker.textMoveDuration = 1.5F;
    ticker.textMove = "Down";
    character.addItem("crawl", 0, 0, 10, 10, crawl);
    character.addItem("ticker", 0, 0, 10, 10, ticker);
    saveAndLoad();
    crawl.separatorPadding = 20;
    crawl.bgType = "None";
    EXPECT_EQ(itemOf<LCGCrawlItem>("crawl")->props, crawl);
    ticker.hAlign = "Left";
    EXPECT_EQ(itemOf<LCGTickerItem>("ticker")->props, ticker);
}

TEST_F(LCharacterProjects, ATextOfTwoLinesComesBackEmpty) {
    LCGTextProps props;
    props.text = "one\ntwo";
    character.addItem("text", 0, 0, 10, 10, props);
    saveAndLoad();
    ASSERT_NE(itemOf<LCGTextItem>("text"), nullptr);
    EXPECT_EQ(itemOf<LCGTextItem>("text")->props.text, "");
}

TEST_F(LCharacterProjects, ALessThanSignLosesTheTextAndAnAmpersandSurvives) {
    LCGTextProps props;
    props.text = "1 < 2";
    character.addItem("less", 0, 0, 10, 10, props);
    props.text = "Q&A &lt; \"R\" \xC3\x9C";
    character.addItem("and", 0, 0, 10, 10, props);
    saveAndLoad();
    EXPECT_EQ(itemOf<LCGTextItem>("less")->props.text, "");
    EXPECT_EQ(itemOf<LCGTextItem>("and")->props.text, "Q&A &lt; \"R\" \xC3\x9C");
}

TEST_F(LCharacterProjects, AnAlphaOfAHalfComesBackAsAnotherOne) {
    character.addItem("a", 0, 0, 10, 10, panelOf("#FFFFFF"));
    character.getItem("a")->alpha = 0.5F;
    saveAndLoad();
    EXPECT_EQ(character.getItem("a")->alpha, static_cast<float>(127 / 255.0));
}

TEST_F(LCharacterProjects, ADriftedItemIsAtHomeWhereItWasSaved) {
    LCGItem* const item = character.addItem("a", 100, -5, 10, 10, panelOf("#FFFFFF"));
    item->x = 103.7F;
    item->y = -5.7F;
    item->moveType = "Horizontal";
    item->moveSpeed = 3.0F;
    item->moveLoop = false;
    saveAndLoad();
    const LCGItem* const loaded = character.getItem("a");
    ASSERT_NE(loaded, nullptr);
    EXPECT_EQ(loaded->x, 103.0F);
    EXPECT_EQ(loaded->startX, 103.0F);
    EXPECT_EQ(loaded->y, -5.0F);
    EXPECT_EQ(loaded->startY, -5.0F);
    EXPECT_EQ(loaded->moveType, "None"); // how it moves is not in the file
    EXPECT_EQ(loaded->moveSpeed, 0.0F);
    EXPECT_TRUE(loaded->moveLoop);
}

TEST_F(LCharacterProjects, AGroupComesBackShownAndAtNoOffset) {
    character.addItem("a", 0, 0, 10, 10, panelOf("#FFFFFF"));
    LCGGroup* const group = character.getGroupObject(character.group({"a"}));
    group->show = false;
    group->x = 50.0F;
    saveAndLoad();
    const LCGGroup* const loaded = character.getGroupObject("group1");
    ASSERT_NE(loaded, nullptr);
    EXPECT_EQ(loaded->name, "group1");
    EXPECT_TRUE(loaded->show);
    EXPECT_EQ(loaded->x, 0.0F);
    EXPECT_EQ(character.getGroup("a"), "group1");
}

TEST_F(LCharacterProjects, AGroupWithoutItemsDoesNotComeBack) {
    character.group({});
    saveAndLoad();
    EXPECT_EQ(character.getGroupCount(), 0);
}

// Everything that a text's record holds but what is not read: a file that is written out of hand.
TEST_F(LCharacterProjects, EveryFieldOfATextThatIsReadComesBack) {
    LCGTextProps props;
    props.text = "text";
    props.font = "DejaVu Sans";
    props.fontSize = 31;
    props.color = "#010203";
    props.textAlpha = 32;
    props.letterSpacing = 1.5F;
    props.autoShrink = true;
    props.padding = 33;
    props.outlineSize = 34;
    props.outlineColor = "#040506";
    props.hAlign = "Right";
    props.vAlign = "Bottom";
    props.bgType = "Gradient";
    props.bgColor = "#070809";
    props.bgGradientStartColor = "#0A0B0C";
    props.bgGradientEndColor = "#0D0E0F";
    props.bgAlpha = 35;
    props.bgRadius = 36;
    props.bgShadowOffsetX = -2.5F;
    props.bgShadowOffsetY = 3.25F;
    props.bgShadowAlpha = 37;
    props.bgShadowColor = "#101112";
    props.borderColor = "#131415";
    props.borderSize = 38;
    props.borderAlpha = 39;
    LCGTextProps saved = props;
    saved.textShadowOffsetX = 4.0F;
    saved.textShadowOffsetY = 5.0F;
    saved.textShadowAlpha = 40;
    saved.textShadowColor = "#161718";
    character.addItem("text", 1, 2, 3, 4, saved);
    saveAndLoad();
    ASSERT_NE(itemOf<LCGTextItem>("text"), nullptr);
    EXPECT_EQ(itemOf<LCGTextItem>("text")->props, props);
    EXPECT_EQ(itemOf<LCGTextItem>("text")->w, 3);
    EXPECT_EQ(itemOf<LCGTextItem>("text")->h, 4);
}

TEST_F(LCharacterProjects, ImagesAndVideosComeBackPlaying) {
    LCGImageProps image;
    image.path = test::mediaPath("still.png");
    LCGVideoProps video;
    video.path = test::mediaPath("h264_aac.mp4");
    character.addItem("image", 0, 0, 0, 0, image);
    character.addItem("video", 400, 0, 0, 0, video);
    saveAndLoad();
    EXPECT_EQ(idsOf(character), "image video");
    const quol::FramePtr picture = titles.step();
    EXPECT_EQ(alphaAt(picture, 80, 45), 255);
    EXPECT_EQ(alphaAt(picture, 500, 100), 255);
}

// ---------------------------------------------------------------------------------------- loading

TEST_F(LCharacterProjects, LoadingReplacesTheSceneAndTheNextPictureShowsIt) {
    character.addItem("old", 0, 0, 100, 100, panelOf("#FFFFFF"));
    character.group({"old"});
    titles.step();
    character.loadFromXMLFile(fileWith("new.xml", itemText("rect", "new",
                                                           "<x>400</x>\n<w>100</w>\n<h>100</h>\n"
                                                           "<bgType>Color</bgType>\n")));
    EXPECT_EQ(idsOf(character), "new");
    EXPECT_EQ(character.getGroupCount(), 0);
    EXPECT_EQ(character.getItem("old"), nullptr);
    const quol::FramePtr picture = titles.step();
    EXPECT_EQ(alphaAt(picture, 50, 50), 0);
    EXPECT_EQ(alphaAt(picture, 450, 50), 255);
}

TEST_F(LCharacterProjects, LoadingDoesNotRaiseTheNumberOfTheNextGroup) {
    insertText("<group>\n<id>group1</id>\n" + itemText("rect", "loaded") + "</group>\n");
    EXPECT_EQ(character.getGroup("loaded"), "group1");
    character.addItem("new", 0, 0, 10, 10, panelOf("#FFFFFF"));
    EXPECT_EQ(character.group({"new"}), "group1");
    EXPECT_EQ(character.getGroupCount(), 1);
    EXPECT_EQ(character.groupItemCount("group1"), 1);
    EXPECT_EQ(character.getGroup("new"), "group1");
    EXPECT_EQ(character.getGroup("loaded"), ""); // on its own, and still there
    EXPECT_EQ(idsOf(character), "loaded new");
    titles.step();
}

TEST_F(LCharacterProjects, AnInsertedGroupTakesItsPlaceInOneOfItsName) {
    const std::string text = "<group>\n<id>band</id>\n" + itemText("rect", "a") + "</group>\n";
    insertText(text);
    insertText(text);
    EXPECT_EQ(character.getGroupCount(), 1);
    EXPECT_EQ(character.groupItemCount("band"), 2);
    EXPECT_EQ(character.getGroup("a_1"), "band");
}

TEST_F(LCharacterProjects, AGroupWhoseNameComesBehindItsFirstItemLeavesThatItemUngrouped) {
    insertText("<group>\n" + itemText("rect", "a") + "<id>late</id>\n" + itemText("rect", "b") +
               "</group>\n");
    EXPECT_EQ(character.getGroup("a"), "");
    EXPECT_EQ(character.getGroup("b"), "late");
    EXPECT_EQ(character.groupItemCount("late"), 1);
}

TEST_F(LCharacterProjects, AFileInsertedTwiceGivesItsItemsNumbers) {
    const std::string path = fileWith(
        "twice.xml", itemText("rect", "a") + itemText("text", "a_1") + itemText("rect", "a"));
    character.insertFromXMLFile(path);
    EXPECT_EQ(idsOf(character), "a a_1 a_2");
    character.insertFromXMLFile(path);
    EXPECT_EQ(idsOf(character), "a a_1 a_2 a_3 a_1_1 a_4");
    EXPECT_NE(itemOf<LCGTextItem>("a_1_1"), nullptr);
}

TEST_F(LCharacterProjects, TheFirstNumberThatIsFreeIsTaken) {
    for (const char* id : {"a", "a_1", "a_3"})
        character.addItem(id, 0, 0, 10, 10, LCGTextProps());
    insertText(itemText("rect", "a") + itemText("rect", "a"));
    EXPECT_EQ(idsOf(character), "a a_1 a_3 a_2 a_4");
}

TEST_F(LCharacterProjects, AnUnknownTypeAddsNoItemButTakesTheId) {
    insertText(itemText("sphere", "a") + itemText("", "b") + itemText("Text", "c"));
    EXPECT_EQ(character.getItemCount(), 0);
    insertText(itemText("rect", "a"));
    EXPECT_EQ(idsOf(character), "a_1");
}

TEST_F(LCharacterProjects, AVideoThatCannotBePlayedAddsNoItem) {
    insertText("<group>\n<id>clips</id>\n" +
               itemText("video", "a", "<path>no such file.mp4</path>\n") + itemText("rect", "b") +
               "</group>\n");
    EXPECT_EQ(idsOf(character), "b");
    EXPECT_EQ(character.groupItemCount("clips"), 1);
}

TEST_F(LCharacterProjects, ARectangleWithoutAColourHasColourZeroAndTheSceneSizeOfAnItem) {
    insertText(itemText("rect", "a"));
    const auto* const item = itemOf<LCGRectItem>("a");
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->props.bgColor.value(), 0U);
    EXPECT_EQ(item->props.bgType, "Solid");
    EXPECT_EQ(item->w, 1920);
    EXPECT_EQ(item->h, 1080);
}

// A crawl's text is read twice: when the item is made, and with the other fields.
TEST_F(LCharacterProjects, ACrawlBeginsAtTheEdgeOfItsBox) {
    insertText(itemText("crawl", "a",
                        "<x>10</x>\n<y>20</y>\n<w>300</w>\n<h>40</h>\n"
                        "<text>Crawl</text>\n"));
    const auto* const item = itemOf<LCGCrawlItem>("a");
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->props.text, "Crawl");
    EXPECT_EQ(item->scrollX, 310.0F);
    EXPECT_EQ(item->scrollY, 60.0F);
}

// -------------------------------------------------------------------------------------- failures

TEST_F(LCharacterProjects, AFileThatCannotBeReadIsToldInOneLineAndInsertingLeavesTheScene) {
    character.addItem("a", 0, 0, 10, 10, panelOf("#FFFFFF"));
    const std::string path = test::temporaryPath("no such folder/scene.xml");
    CapturedStream error(CapturedStream::Stream::error);
    character.insertFromXMLFile(path);
    EXPECT_EQ(error.text(), "XML dosyasi acilamadi: " + path + "\n");
    EXPECT_EQ(idsOf(character), "a");
}

TEST_F(LCharacterProjects, AFileThatCannotBeLoadedLeavesAnEmptyScene) {
    character.addItem("a", 0, 0, 100, 100, panelOf("#FFFFFF"));
    character.group({"a"});
    titles.step();
    {
        CapturedStream error(CapturedStream::Stream::error);
        character.loadFromXMLFile("");
        EXPECT_EQ(error.text(), "XML dosyasi acilamadi: \n");
    }
    EXPECT_EQ(character.getItemCount(), 0);
    EXPECT_EQ(character.getGroupCount(), 0);
    EXPECT_EQ(alphaAt(titles.step(), 50, 50), 0);
}

TEST_F(LCharacterProjects, AFileThatCannotBeWrittenIsToldInOneLine) {
    for (const std::string& path : {test::temporaryPath("no such folder/scene.xml"),
                                    std::string("/"), std::string(), std::string("/proc/%s%n")}) {
        CapturedStream error(CapturedStream::Stream::error);
        character.saveToXMLFile(path);
        EXPECT_EQ(error.text(), "XML dosyasi acilamadi: " + path + "\n");
    }
}

TEST_F(LCharacterProjects, AFullDiskIsSurvived) {
    character.addItem("a", 0, 0, 10, 10, panelOf("#FFFFFF"));
    CapturedStream error(CapturedStream::Stream::error);
    character.saveToXMLFile("/dev/full");
    EXPECT_EQ(error.text(), "XML dosyasi yazilamadi: /dev/full\n");
    EXPECT_EQ(idsOf(character), "a");
}

TEST_F(LCharacterProjects, WhatIsNoProjectAddsNothing) {
    insertText("");
    insertText("\n\n   \n\t\t\n<CGProject>\n</CGProject>\n");
    insertText("</Item>\n</group>\nno project at all <<<>>>\n");
    insertText(std::string(100000, '<') + "\n" + std::string(100000, '>'));
    EXPECT_EQ(character.getItem("x"), nullptr);
    EXPECT_EQ(character.getItemCount(), 0);
    character.loadFromXMLFile("/");
    EXPECT_EQ(character.getItemCount(), 0);
}

struct BadNumber {
    std::string name;
    std::string type;
    std::string line;
    bool isRange;   // out of range, else no number
    bool isInPlace; // the item is there already when its record is read
};

class BadNumbers : public LCharacterProjects, public testing::WithParamInterface<BadNumber> {};

TEST_P(BadNumbers, RaiseAnExceptionThatLeavesTheItemsBeforeInPlaceAndTheSceneFree) {
    const BadNumber& bad = GetParam();
    const std::string text = itemText("rect", "before",
                                      "<w>100</w>\n<h>100</h>\n"
                                      "<bgType>Color</bgType>\n") +
                             itemText(bad.type, "bad", bad.line + "\n") +
                             itemText("rect", "behind");
    if (bad.isRange) {
        EXPECT_THROW(insertText(text), std::out_of_range);
    } else {
        EXPECT_THROW(insertText(text), std::invalid_argument);
    }
    EXPECT_EQ(idsOf(character), bad.isInPlace ? "before bad" : "before");
    EXPECT_TRUE(isFree());
    EXPECT_EQ(alphaAt(titles.step(), 50, 50), 255); // the pictures go on
    insertText(itemText("rect", "next"));
    EXPECT_NE(character.getItem("next"), nullptr);
}

std::vector<BadNumber> badNumbers() {
    return {{"Place", "text", "<x>left</x>", false, false},
            {"NoPlace", "text", "<y></y>", false, false},
            {"LargeSize", "text", "<w>99999999999</w>", true, false},
            {"Alpha", "text", "<alpha>half</alpha>", false, false},
            {"FontSize", "text", "<fontSize>big</fontSize>", false, true},
            {"Spacing", "text", "<letterSpacing>1e99</letterSpacing>", true, true},
            {"Speed", "crawl", "<textSpeed>fast</textSpeed>", false, true},
            {"Duration", "ticker", "<textMoveDuration>long</textMoveDuration>", false, true},
            {"Radius", "rect", "<bgRadius>-</bgRadius>", false, true}};
}

INSTANTIATE_TEST_SUITE_P(LCharacterProjects, BadNumbers, testing::ValuesIn(badNumbers()),
                         [](const auto& each) { return each.param.name; });

TEST_F(LCharacterProjects, AnExceptionOutOfLoadingLeavesTheNewItemsAndNoneOfTheOldOnes) {
    character.addItem("old", 0, 0, 100, 100, panelOf("#FFFFFF"));
    titles.step();
    EXPECT_THROW(character.loadFromXMLFile(fileWith(
                     "bad.xml", itemText("text", "new") + itemText("text", "x", "<x>?</x>\n"))),
                 std::invalid_argument);
    EXPECT_EQ(idsOf(character), "new");
    EXPECT_TRUE(isFree());
    EXPECT_EQ(alphaAt(titles.step(), 50, 50), 0);
}

// Numbers are read as far as they go.
TEST_F(LCharacterProjects, WhatStandsBehindANumberIsPassedOver) {
    insertText(itemText("rect", "a", "<x> 12px</x>\n<y>-3.9</y>\n<show>TRUE</show>\n"));
    const LCGItem* const item = character.getItem("a");
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->x, 12.0F);
    EXPECT_EQ(item->y, -3.0F);
    EXPECT_FALSE(item->show);
}

} // namespace

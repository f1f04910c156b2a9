#include <gtest/gtest.h>

#include <fstream>
#include <future>
#include <sstream>
#include <stdexcept>

#include "quolsdk/LCharacter.h"
#include "support/CapturedStream.h"
#include "support/Instrumented.h"

namespace {

using namespace std::chrono_literals;

// A file of these lines; goes with the process.
std::string fileOf(const std::string& text) {
    static int number = 0;
    const std::string path = test::temporaryPath("scene" + std::to_string(++number) + ".xml");
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

std::string item(const std::string& type, const std::string& id, const std::string& more = "") {
    return "<Item>\n<type>" + type + "</type>\n<id>" + id + "</id>\n" + more + "</Item>\n";
}

std::string contentsOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

template <typename Item>
Item& get(LCharacter& character, const char* id) {
    auto* const item = dynamic_cast<Item*>(character.getItem(id));
    if (item == nullptr) throw std::runtime_error(std::string("no item ") + id);
    return *item;
}

std::string idsOf(LCharacter& character) {
    std::string ids;
    for (int i = 0; i < character.getItemCount(); ++i)
        ids += character.getItemByIndex(i)->id + " ";
    return ids;
}

// What a scene comes back as from a file.
class Reloaded {
public:
    explicit Reloaded(LCharacter& character) {
        const std::string path = fileOf("");
        character.saveToXMLFile(path);
        scene.loadFromXMLFile(path);
    }
    LCharacter scene;
};

// ---------------------------------------------------------------------------------- inserting

TEST(InsertedProject, MakesAnItemOfEachKnownType) {
    LCharacter scene;
    scene.insertFromXMLFile(
        fileOf(item("text", "1", "<text>T</text>\n") + item("crawl", "2", "<text>C</text>\n") +
               item("ticker", "3", "<text>K</text>\n") +
               item("rect", "4", "<bgColor>#102030</bgColor>\n") +
               item("image", "5", "<path>none.png</path>\n") +
               item("video", "6", "<path>none.mp4</path>\n") + item("Text", "7") + item("", "8")));
    EXPECT_EQ(idsOf(scene), "1 2 3 4 5 ");
    EXPECT_EQ(get<LCGTextItem>(scene, "1").props.text, "T");
    EXPECT_EQ(get<LCGCrawlItem>(scene, "2").props.text, "C");
    EXPECT_EQ(get<LCGTickerItem>(scene, "3").props.text, "K");
    EXPECT_EQ(get<LCGRectItem>(scene, "4").props.bgColor.value(), 0xFF102030U);
    EXPECT_EQ(get<LCGImageItem>(scene, "5").props.path, "none.png");
}

TEST(InsertedProject, VideoOfAFileIsOpened) {
    LCharacter scene;
    const std::string path = test::mediaPath("h264_aac.mp4");
    scene.insertFromXMLFile(fileOf(item("video", "v", "<path>" + path + "</path>\n")));
    const auto& video = get<LCGVideoItem>(scene, "v");
    EXPECT_GT(video.w.load(), 0);
    EXPECT_GT(video.h.load(), 0);
}

TEST(InsertedProject, KeyThatIsMissingReadsAsAnEmptyText) {
    LCharacter scene;
    scene.insertFromXMLFile(fileOf(item("text", "t") + item("rect", "r") + item("image", "i")));
    EXPECT_EQ(get<LCGTextItem>(scene, "t").props, LCGTextProps());
    LCGRectProps colorless;
    colorless.bgColor = "";
    EXPECT_EQ(get<LCGRectItem>(scene, "r").props, colorless);
    EXPECT_EQ(get<LCGRectItem>(scene, "r").props.bgColor.value(), 0U);
    EXPECT_EQ(get<LCGImageItem>(scene, "i").props.path, "");
}

TEST(InsertedProject, PositionIsHomeToo) {
    LCharacter scene;
    scene.insertFromXMLFile(fileOf(item("rect", "r", "<x>103.7</x>\n<y>-20</y>\n")));
    const auto& rect = get<LCGRectItem>(scene, "r");
    EXPECT_EQ(rect.x.load(), 103.0F);
    EXPECT_EQ(rect.y.load(), -20.0F);
    EXPECT_EQ(rect.startX.load(), 103.0F);
    EXPECT_EQ(rect.startY.load(), -20.0F);
}

TEST(InsertedProject, SizesFollowTheRuleOfNewItems) {
    LCharacter scene;
    scene.insertFromXMLFile(fileOf(item("rect", "a", "<w>300</w>\n<h>40</h>\n") +
                                   item("rect", "b", "<w>0</w>\n<h>-1</h>\n") +
                                   item("image", "c", "<w>-5</w>\n<h>7</h>\n")));
    const auto size = [&scene](const char* id) {
        const LCGItem* const item = scene.getItem(id);
        return std::pair(item->w.load(), item->h.load());
    };
    EXPECT_EQ(size("a"), std::pair(300, 40));
    EXPECT_EQ(size("b"), std::pair(1920, 1080));
    EXPECT_EQ(size("c"), std::pair(0, 7));
}

TEST(InsertedProject, VisibilityAndOpacityAreSet) {
    LCharacter scene;
    scene.insertFromXMLFile(
        fileOf(item("rect", "a", "<show>false</show>\n<alpha>127</alpha>\n") + item("rect", "b")));
    EXPECT_FALSE(scene.getItem("a")->show);
    EXPECT_FLOAT_EQ(scene.getItem("a")->alpha, 127.0F / 255.0F);
    EXPECT_TRUE(scene.getItem("b")->show);
    EXPECT_EQ(scene.getItem("b")->alpha, 1.0F);
}

TEST(InsertedProject, CrawlStartsBehindItsBox) {
    LCharacter scene;
    scene.insertFromXMLFile(fileOf(item("crawl", "c",
                                        "<x>10</x>\n<y>20</y>\n<w>300</w>\n<h>40</h>\n"
                                        "<show>false</show>\n<textSpeed>0</textSpeed>\n")));
    const auto& crawl = get<LCGCrawlItem>(scene, "c");
    EXPECT_EQ(crawl.scrollX.load(), 310.0F);
    EXPECT_EQ(crawl.scrollY.load(), 60.0F);
}

TEST(InsertedProject, ComesOnTopOfTheScene) {
    LCharacter scene;
    scene.addItem("below", 0, 0, 10, 10, LCGRectProps());
    scene.insertFromXMLFile(fileOf(item("rect", "above")));
    EXPECT_EQ(idsOf(scene), "below above ");
}

TEST(InsertedProject, IdThatIsTakenGetsTheFirstFreeNumber) {
    LCharacter scene;
    const std::string path = fileOf(item("rect", "a"));
    scene.insertFromXMLFile(path);
    scene.insertFromXMLFile(path);
    EXPECT_EQ(idsOf(scene), "a a_1 ");
    scene.addItem("a_3", 0, 0, 1, 1, LCGRectProps());
    scene.insertFromXMLFile(path);
    scene.insertFromXMLFile(path);
    EXPECT_EQ(idsOf(scene), "a a_1 a_3 a_2 a_4 ");
    scene.remove("a_1");
    scene.insertFromXMLFile(path);
    EXPECT_EQ(idsOf(scene), "a a_3 a_2 a_4 a_1 ");
}

TEST(InsertedProject, IdsOfOneFileAreMadeDistinctInItsOrder) {
    LCharacter scene;
    scene.insertFromXMLFile(fileOf(item("rect", "a_1") + item("rect", "a") + item("text", "a") +
                                   item("rect", "a") + item("rect", "a_1") + item("rect", "") +
                                   item("rect", "")));
    EXPECT_EQ(idsOf(scene), "a_1 a a_2 a_3 a_1_1  _1 ");
    EXPECT_NE(dynamic_cast<LCGTextItem*>(scene.getItem("a_2")), nullptr);
}

TEST(InsertedProject, UnknownTypeTakesItsIdAndAddsNothing) {
    LCharacter scene;
    scene.insertFromXMLFile(fileOf(item("what", "a") + item("rect", "a")));
    EXPECT_EQ(idsOf(scene), "a_1 ");
    EXPECT_EQ(scene.getItem("a"), nullptr);
}

TEST(InsertedProject, IdThatWasOnlyAskedForIsTaken) {
    LCharacter scene;
    EXPECT_EQ(scene.getItem("a"), nullptr);
    scene.insertFromXMLFile(fileOf(item("rect", "a")));
    EXPECT_EQ(idsOf(scene), "a_1 ");
}

TEST(InsertedProject, GroupsAreMadeOrJoined) {
    LCharacter scene;
    scene.addItem("old", 0, 0, 10, 10, LCGRectProps());
    ASSERT_EQ(scene.group({"old"}), "group1");
    scene.getGroupObject("group1")->show = false;
    scene.insertFromXMLFile(fileOf("<group>\n<id>group1</id>\n" + item("rect", "a") + "</group>\n" +
                                   "<group>\n<id>new</id>\n" + item("rect", "b") +
                                   item("rect", "c") + "</group>\n" + item("rect", "d") +
                                   "<group>\n<id></id>\n" + item("rect", "e") + "</group>\n" +
                                   "<group>\n<id>empty</id>\n</group>\n"));
    EXPECT_EQ(scene.getGroupCount(), 2);
    EXPECT_EQ(scene.getGroup("a"), "group1");
    EXPECT_EQ(scene.groupItemCount("group1"), 2);
    EXPECT_EQ(scene.getGroupItemByIndex("group1", 1)->id, "a");
    EXPECT_FALSE(scene.getGroupObject("group1")->show);
    EXPECT_EQ(scene.getGroup("b") + scene.getGroup("c"), "newnew");
    EXPECT_TRUE(scene.getGroupObject("new")->show);
    EXPECT_EQ(scene.getGroupObject("new")->name, "new");
    EXPECT_EQ(scene.getGroup("d") + scene.getGroup("e"), "");
    EXPECT_EQ(scene.getItem("b")->group, scene.getGroupObject("new"));
}

TEST(InsertedProject, NameBehindTheFirstItemLeavesItUngrouped) {
    LCharacter scene;
    scene.insertFromXMLFile(fileOf("<group>\n" + item("rect", "a") + "<id>g</id>\n" +
                                   item("rect", "b") + "</group>\n"));
    EXPECT_EQ(scene.getGroup("a"), "");
    EXPECT_EQ(scene.getGroup("b"), "g");
}

TEST(InsertedProject, BadNumberIsRaisedAndLeavesTheItemsBeforeIt) {
    LCharacter scene;
    scene.insertFromXMLFile(fileOf(item("rect", "a")));
    EXPECT_THROW(scene.insertFromXMLFile(fileOf(
                     item("rect", "b") + item("rect", "c", "<x>?</x>\n") + item("rect", "d"))),
                 std::invalid_argument);
    EXPECT_EQ(idsOf(scene), "a b ");
    // In the record it is read when the item is there.
    EXPECT_THROW(scene.insertFromXMLFile(fileOf(
                     item("rect", "e", "<show>false</show>\n<bgAlpha>99999999999</bgAlpha>\n"))),
                 std::out_of_range);
    EXPECT_EQ(idsOf(scene), "a b e ");
    EXPECT_FALSE(scene.getItem("e")->show);
}

TEST(InsertedProject, BadNumberLeavesTheSceneToOtherThreads) {
    LCharacter scene;
    EXPECT_THROW(scene.loadFromXMLFile(fileOf(item("rect", "a", "<x>?</x>\n"))),
                 std::invalid_argument);
    auto count = std::async(std::launch::async, [&scene] { return scene.getItemCount(); });
    ASSERT_EQ(count.wait_for(20s), std::future_status::ready);
    EXPECT_EQ(count.get(), 0);
}

TEST(InsertedProject, FileThatCannotBeOpenedIsToldAndChangesNothing) {
    LCharacter scene;
    scene.addItem("a", 0, 0, 10, 10, LCGRectProps());
    const std::string path = test::temporaryPath("none.xml");
    test::CapturedStream errors(test::CapturedStream::Stream::error);
    scene.insertFromXMLFile(path);
    EXPECT_EQ(errors.text(), "XML dosyasi acilamadi: " + path + "\n");
    EXPECT_EQ(idsOf(scene), "a ");
}

// ------------------------------------------------------------------------------------ loading

TEST(LoadedProject, TakesTheScenesPlace) {
    LCharacter scene;
    scene.addItem("a", 0, 0, 10, 10, LCGRectProps());
    scene.group({"a"});
    EXPECT_EQ(scene.getItem("asked for"), nullptr);
    scene.loadFromXMLFile(fileOf(item("rect", "a") + item("rect", "asked for")));
    EXPECT_EQ(idsOf(scene), "a asked for ");
    EXPECT_EQ(scene.getGroupCount(), 0);
    EXPECT_EQ(scene.getGroup("a"), "");
}

TEST(LoadedProject, FileThatCannotBeOpenedIsToldAndLeavesAnEmptyScene) {
    LCharacter scene;
    scene.addItem("a", 0, 0, 10, 10, LCGRectProps());
    scene.group({"a"});
    const std::string path = test::temporaryPath("none.xml");
    test::CapturedStream errors(test::CapturedStream::Stream::error);
    scene.loadFromXMLFile(path);
    EXPECT_EQ(errors.text(), "XML dosyasi acilamadi: " + path + "\n");
    EXPECT_EQ(scene.getItemCount(), 0);
    EXPECT_EQ(scene.getGroupCount(), 0);
}

TEST(SavedProject, PathThatCannotBeWrittenIsTold) {
    LCharacter scene;
    const std::string path = test::temporaryPath("no/such/folder/scene.xml");
    test::CapturedStream errors(test::CapturedStream::Stream::error);
    scene.saveToXMLFile(path);
    EXPECT_EQ(errors.text(), "XML dosyasi acilamadi: " + path + "\n");
}

TEST(SavedProject, TakesTheFilesPlace) {
    LCharacter scene;
    const std::string path = fileOf(std::string(10000, 'x'));
    scene.saveToXMLFile(path);
    EXPECT_EQ(contentsOf(path), "<CGProject>\n</CGProject>\n");
}

// ------------------------------------------------------------------------- what comes back

TEST(ReloadedProject, IsTheSameFileAgain) {
    LCharacter scene;
    LCGTextProps text;
    text.text = "Title & more";
    text.letterSpacing = -1.25F;
    text.hAlign = "Right";
    text.bgType = "Gradient";
    scene.addItem("t", 10, 20, 300, 40, text);
    LCGCrawlProps crawl;
    crawl.text = "News";
    crawl.textSpeed = -2.5F;
    scene.addItem("c", 0, 900, 1920, 100, crawl);
    LCGTickerProps ticker;
    ticker.text = "One";
    ticker.textMove = "Down";
    scene.addItem("k", 0, 0, 100, 50, ticker);
    scene.addItem("r", 1, 2, 3, 4, LCGRectProps());
    scene.group({"k", "c"});
    const std::string first = fileOf("");
    scene.saveToXMLFile(first);
    LCharacter other;
    other.loadFromXMLFile(first);
    const std::string second = fileOf("");
    other.saveToXMLFile(second);
    EXPECT_EQ(contentsOf(second), contentsOf(first));
    EXPECT_NE(contentsOf(first).find("<text>Title & more</text>"), std::string::npos);
}

TEST(ReloadedProject, HasGroupedItemsBelowTheOthers) {
    LCharacter scene;
    for (const char* id : {"a", "b", "c", "d"})
        scene.addItem(id, 0, 0, 10, 10, LCGRectProps());
    scene.group({"d", "b"});
    Reloaded reloaded(scene);
    EXPECT_EQ(idsOf(reloaded.scene), "b d a c ");
}

TEST(ReloadedProject, HasOpaqueColors) {
    LCharacter scene;
    LCGRectProps props;
    props.bgColor = "#80FF8800";
    scene.addItem("r", 0, 0, 10, 10, props);
    Reloaded reloaded(scene);
    EXPECT_EQ(get<LCGRectItem>(reloaded.scene, "r").props.bgColor.value(), 0xFFFF8800U);
}

TEST(ReloadedProject, HasDefaultsWhereAClassReadsNothing) {
    LCharacter scene;
    LCGCrawlProps crawl;
    crawl.separatorPadding = 40;
    scene.addItem("c", 0, 0, 10, 10, crawl);
    LCGTickerProps ticker;
    ticker.hAlign = "Right";
    ticker.bgType = "Color";
    scene.addItem("k", 0, 0, 10, 10, ticker);
    LCGRectProps rect;
    rect.bgShadowAlpha = 100;
    scene.addItem("r", 0, 0, 10, 10, rect);
    Reloaded reloaded(scene);
    EXPECT_EQ(get<LCGCrawlItem>(reloaded.scene, "c").props, LCGCrawlProps());
    EXPECT_EQ(get<LCGTickerItem>(reloaded.scene, "k").props, LCGTickerProps());
    EXPECT_EQ(get<LCGRectItem>(reloaded.scene, "r").props, LCGRectProps());
}

TEST(ReloadedProject, LosesTextsThatTheFormatCannotHold) {
    LCharacter scene;
    for (const char* text : {"two\nlines", "a < b", "plain & simple"}) {
        LCGTextProps props;
        props.text = text;
        scene.addItem(text, 0, 0, 10, 10, props);
    }
    // Ids can be lost as well.
    Reloaded reloaded(scene);
    ASSERT_EQ(reloaded.scene.getItemCount(), 3);
    const auto textOf = [&](int index) {
        return dynamic_cast<LCGTextItem&>(*reloaded.scene.getItemByIndex(index)).props.text;
    };
    EXPECT_EQ(textOf(0), "");
    EXPECT_EQ(textOf(1), "");
    EXPECT_EQ(textOf(2), "plain & simple");
    EXPECT_EQ(idsOf(reloaded.scene), " _1 plain & simple ");
}

TEST(ReloadedProject, HasOpacityInStepsAndWholePositions) {
    LCharacter scene;
    LCGItem* const item = scene.addItem("r", 100, 200, 10, 10, LCGRectProps());
    item->alpha = 0.5F;
    item->x = 103.7F;
    Reloaded reloaded(scene);
    const LCGItem* const back = reloaded.scene.getItem("r");
    ASSERT_NE(back, nullptr);
    EXPECT_FLOAT_EQ(back->alpha, 127.0F / 255.0F);
    EXPECT_EQ(back->x.load(), 103.0F);
    EXPECT_EQ(back->startX.load(), 103.0F);
    EXPECT_EQ(back->startY.load(), 200.0F);
}

TEST(ReloadedProject, HasNeitherDriftNorTheGroupsState) {
    LCharacter scene;
    LCGItem* const item = scene.addItem("r", 0, 0, 10, 10, LCGRectProps());
    item->show = false; // stays where it is
    item->moveType = "Vertical";
    item->moveSpeed = 3.0F;
    item->moveLoop = false;
    LCGGroup* const group = scene.getGroupObject(scene.group({"r"}));
    group->show = false;
    group->x = 7.0F;
    Reloaded reloaded(scene);
    const LCGItem* const back = reloaded.scene.getItem("r");
    ASSERT_NE(back, nullptr);
    EXPECT_FALSE(back->show);
    EXPECT_EQ(back->moveType, "None");
    EXPECT_EQ(back->moveSpeed.load(), 0.0F);
    EXPECT_TRUE(back->moveLoop);
    ASSERT_NE(back->group, nullptr);
    EXPECT_TRUE(back->group->show);
    EXPECT_EQ(back->group->x.load(), 0.0F);
}

// --------------------------------------------------------------------------------- many items

constexpr int many = test::isInstrumented ? 2000 : 100000;

// Rectangles that draw nothing: the scene is about the file.
template <typename IdOf>
std::string manyItems(IdOf idOf) {
    std::string text = "<CGProject>\n";
    for (int i = 0; i < many; ++i)
        text += item("rect", idOf(i), "<show>false</show>\n");
    return text + "</CGProject>\n";
}

TEST(ProjectOfManyItems, OfDistinctIdsIsLoadedSavedAndLoadedAgain) {
    LCharacter scene;
    const std::string path = fileOf(manyItems([](int i) { return "item" + std::to_string(i); }));
    scene.loadFromXMLFile(path);
    ASSERT_EQ(scene.getItemCount(), many);
    EXPECT_EQ(scene.getItemByIndex(many - 1)->id, "item" + std::to_string(many - 1));
    const std::string saved = fileOf("");
    scene.saveToXMLFile(saved);
    scene.loadFromXMLFile(saved);
    ASSERT_EQ(scene.getItemCount(), many);
    constexpr int late = many / 9 * 7;
    EXPECT_EQ(scene.getItem("item" + std::to_string(late)), scene.getItemByIndex(late));
}

TEST(ProjectOfManyItems, OfOneIdIsNumbered) {
    LCharacter scene;
    const std::string path = fileOf(manyItems([](int) { return "same"; }));
    scene.loadFromXMLFile(path);
    ASSERT_EQ(scene.getItemCount(), many);
    EXPECT_EQ(scene.getItemByIndex(0)->id, "same");
    for (const int i : {1, 2, many / 2, many - 1})
        EXPECT_EQ(scene.getItemByIndex(i)->id, "same_" + std::to_string(i));
    scene.insertFromXMLFile(path);
    ASSERT_EQ(scene.getItemCount(), 2 * many);
    EXPECT_EQ(scene.getItemByIndex(many)->id, "same_" + std::to_string(many));
}

TEST(ProjectOfManyItems, InOneGroupIsLoadedAndSaved) {
    LCharacter scene;
    std::string text = manyItems([](int i) { return std::to_string(i); });
    text.insert(text.find('\n') + 1, "<group>\n<id>all</id>\n");
    scene.loadFromXMLFile(fileOf(text));
    ASSERT_EQ(scene.getItemCount(), many);
    EXPECT_EQ(scene.groupItemCount("all"), many);
    const std::string saved = fileOf("");
    scene.saveToXMLFile(saved);
    scene.loadFromXMLFile(saved);
    EXPECT_EQ(scene.groupItemCount("all"), many);
}

TEST(ProjectOfManyItems, EachInAGroupOfItsOwnIsLoadedAndSaved) {
    LCharacter scene;
    std::string text;
    for (int i = 0; i < many; ++i) {
        const std::string number = std::to_string(i);
        text += "<group>\n<id>g" + number + "</id>\n" +
                item("rect", number, "<show>false</show>\n") + "</group>\n";
    }
    scene.loadFromXMLFile(fileOf(text));
    ASSERT_EQ(scene.getItemCount(), many);
    ASSERT_EQ(scene.getGroupCount(), many);
    const std::string saved = fileOf("");
    scene.saveToXMLFile(saved);
    scene.loadFromXMLFile(saved);
    EXPECT_EQ(scene.getGroupCount(), many);
    EXPECT_EQ(scene.getGroup("1234"), "g1234");
}

} // namespace

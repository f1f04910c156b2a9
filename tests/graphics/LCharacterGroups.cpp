#include <gtest/gtest.h>

#include <limits>
#include <set>
#include <string>

#include "support/SteppedTitles.h"

namespace {

using test::alphaAt;
using test::panelOf;
using test::SteppedTitles;

// Panels of 100x100, 200 pixels apart along the upper edge: "a", "b", "c", "d".
class LCharacterGroups : public testing::Test {
protected:
    LCharacterGroups() {
        for (int i = 0; i < 4; ++i)
            character.addItem(std::string(1, static_cast<char>('a' + i)), i * 200, 0, 100, 100,
                              panelOf("#FFFFFF"));
    }

    // Which of the panels the next picture shows.
    std::string visible() {
        const quol::FramePtr picture = titles.step();
        std::string ids;
        for (int i = 0; i < 4; ++i)
            if (alphaAt(picture, i * 200 + 50, 50) == 255) ids += static_cast<char>('a' + i);
        return ids;
    }

    // The members of a group, in their order.
    std::string membersOf(const std::string& name) {
        std::string ids;
        for (int i = 0; i < character.groupItemCount(name); ++i)
            ids += character.getGroupItemByIndex(name, i)->id;
        return ids;
    }

    SteppedTitles titles;
    LCharacter& character = titles.character;
};

TEST_F(LCharacterGroups, AreNumberedFromOneOn) {
    EXPECT_EQ(character.group({"a"}), "group1");
    EXPECT_EQ(character.group({"b"}), "group2");
    character.unGroup("group2");
    EXPECT_EQ(character.group({"b"}), "group3");
}

TEST_F(LCharacterGroups, ANewOneIsShownAtNoOffsetWithItsItemsInTheOrderGiven) {
    const std::string name = character.group({"c", "a"});
    const LCGGroup* const group = character.getGroupObject(name);
    ASSERT_NE(group, nullptr);
    EXPECT_EQ(group->name, name);
    EXPECT_TRUE(group->show);
    EXPECT_EQ(group->x, 0.0F);
    EXPECT_EQ(group->y, 0.0F);
    EXPECT_EQ(membersOf(name), "ca");
    EXPECT_EQ(character.getItem("a")->group, group);
    EXPECT_EQ(character.getItem("b")->group, nullptr);
    EXPECT_EQ(character.getGroup("a"), name);
    EXPECT_EQ(character.getGroup("b"), "");
    EXPECT_EQ(visible(), "abcd");
}

TEST_F(LCharacterGroups, OfUnknownItemsOnlyIsAnEmptyOneWithAFreshName) {
    EXPECT_EQ(character.group({"x", "y"}), "group1");
    EXPECT_EQ(character.group({}), "group2");
    EXPECT_EQ(character.getGroupCount(), 2);
    ASSERT_NE(character.getGroupObject("group1"), nullptr);
    EXPECT_EQ(character.groupItemCount("group1"), 0);
}

TEST_F(LCharacterGroups, PassUnknownItemsOver) {
    EXPECT_EQ(membersOf(character.group({"x", "b", "y", "a"})), "ba");
}

TEST_F(LCharacterGroups, HoldAnItemOnceHoweverOftenItIsNamed) {
    EXPECT_EQ(membersOf(character.group({"a", "b", "a"})), "ba");
}

TEST_F(LCharacterGroups, AnItemMovedFromOneToAnotherIsInOneListOnly) {
    character.group({"a", "b"});
    character.group({"b", "c"});
    EXPECT_EQ(membersOf("group1"), "a");
    EXPECT_EQ(membersOf("group2"), "bc");
    EXPECT_EQ(character.getGroup("b"), "group2");
}

TEST_F(LCharacterGroups, HidingOneLeavesEveryMembersOwnFlagAsItWas) {
    const std::string name = character.group({"a", "b"});
    character.showItem("b", false);
    EXPECT_EQ(visible(), "acd");
    character.showItem(name, false);
    EXPECT_EQ(visible(), "cd");
    EXPECT_FALSE(character.getGroupObject(name)->show);
    EXPECT_TRUE(character.getItem("a")->show);
    EXPECT_FALSE(character.getItem("b")->show);
    character.showItem(name, true);
    EXPECT_EQ(visible(), "acd");
    EXPECT_TRUE(character.getItem("a")->show);
    EXPECT_FALSE(character.getItem("b")->show);
}

TEST_F(LCharacterGroups, HidingOneDoesNotSendItsItemsHome) {
    const std::string name = character.group({"a"});
    character.getItem("a")->y = 300.0F;
    character.showItem(name, false);
    EXPECT_EQ(character.getItem("a")->y, 300.0F);
}

TEST_F(LCharacterGroups, MembersOfAHiddenOneDoNotDrift) {
    const std::string name = character.group({"a"});
    LCGItem* const item = character.getItem("a");
    item->moveType = "Horizontal";
    item->moveSpeed = 5.0F;
    titles.step(2);
    EXPECT_EQ(item->x, 10.0F);
    character.showItem(name, false);
    titles.step(2);
    EXPECT_EQ(item->x, 10.0F);
    character.showItem(name, true);
    titles.step();
    EXPECT_EQ(item->x, 15.0F);
}

TEST_F(LCharacterGroups, AnItemOfAGroupsNameGoesBeforeTheGroup) {
    const std::string name = character.group({"a"});
    LCGItem* const item = character.addItem(name, 600, 0, 100, 100, panelOf("#FFFFFF"));
    character.showItem("d", false);
    EXPECT_EQ(visible(), "abcd"); // the item lies where "d" was
    character.showItem(name, false);
    EXPECT_FALSE(item->show);
    EXPECT_TRUE(character.getGroupObject(name)->show);
    EXPECT_EQ(visible(), "abc");
}

// A host may give a group a name of its own, under which the calls do not find the record.
TEST_F(LCharacterGroups, ANameThatNoRecordHasShowsAndHidesTheItemsOfGroupsThatBearIt) {
    character.group({"a", "b"});
    character.getGroupObject("group1")->name = "lower third";
    EXPECT_EQ(character.getGroup("a"), "lower third");
    character.getItem("a")->y = 300.0F;
    character.showItem("lower third", false);
    EXPECT_FALSE(character.getItem("a")->show);
    EXPECT_FALSE(character.getItem("b")->show);
    EXPECT_EQ(character.getItem("a")->y, 0.0F); // hidden by its own flag, so it has gone home
    EXPECT_TRUE(character.getItem("c")->show);
    EXPECT_TRUE(character.getGroupObject("group1")->show);
    character.showItem("lower third", true);
    EXPECT_EQ(visible(), "abcd");
}

TEST_F(LCharacterGroups, TheOffsetMovesEveryMemberOnThePictureOnly) {
    const std::string name = character.group({"a", "c"});
    LCGGroup* const group = character.getGroupObject(name);
    group->x = 0.0F;
    group->y = 500.0F;
    character.forceUpdate();
    const quol::FramePtr picture = titles.step();
    for (const int x : {50, 450}) {
        EXPECT_EQ(alphaAt(picture, x, 50), 0);
        EXPECT_EQ(alphaAt(picture, x, 550), 255);
    }
    EXPECT_EQ(alphaAt(picture, 250, 50), 255);
    EXPECT_EQ(character.getItem("a")->y, 0.0F);
}

TEST_F(LCharacterGroups, UnGroupKeepsTheItems) {
    const std::string name = character.group({"a", "b"});
    character.showItem(name, false);
    EXPECT_EQ(visible(), "cd");
    character.unGroup(name);
    EXPECT_EQ(character.getGroupCount(), 0);
    EXPECT_EQ(character.getItemCount(), 4);
    EXPECT_EQ(character.getItem("a")->group, nullptr);
    EXPECT_EQ(character.getGroup("b"), "");
    EXPECT_EQ(visible(), "abcd");
}

TEST_F(LCharacterGroups, DeleteGroupTakesItsItemsWithIt) {
    const std::string name = character.group({"a", "c"});
    LCGItem* const b = character.getItem("b");
    character.deleteGroup(name);
    EXPECT_EQ(character.getGroupCount(), 0);
    EXPECT_EQ(character.getItemCount(), 2);
    EXPECT_EQ(character.getItem("a"), nullptr);
    EXPECT_EQ(character.getItem("c"), nullptr);
    EXPECT_EQ(character.getItem("b"), b);
    EXPECT_EQ(visible(), "bd");
}

TEST_F(LCharacterGroups, UnknownNamesAreIgnored) {
    character.group({"a"});
    character.unGroup("group9");
    character.deleteGroup("");
    character.deleteGroup("a");
    EXPECT_EQ(character.getGroupCount(), 1);
    EXPECT_EQ(character.getItemCount(), 4);
}

TEST_F(LCharacterGroups, ARemovedItemLeavesItsGroup) {
    const std::string name = character.group({"a", "b"});
    character.remove("a");
    EXPECT_EQ(membersOf(name), "b");
    EXPECT_EQ(visible(), "bcd");
    character.deleteGroup(name); // touches what is left only
    EXPECT_EQ(visible(), "cd");
}

TEST_F(LCharacterGroups, AnItemThatLostItsIdStaysInItsGroup) {
    const std::string name = character.group({"a"});
    LCGItem* const first = character.getItem("a");
    LCGItem* const second = character.addItem("a", 600, 200, 100, 100, panelOf("#FFFFFF"));
    EXPECT_EQ(character.getGroup("a"), ""); // the id is the second one's
    EXPECT_EQ(character.getGroupItemByIndex(name, 0), first);
    character.deleteGroup(name);
    EXPECT_EQ(character.getItemCount(), 4);
    EXPECT_EQ(character.getItemByIndex(3), second);
    EXPECT_EQ(visible(), "bcd");
    EXPECT_EQ(alphaAt(titles.picture(), 650, 250), 255);
}

TEST_F(LCharacterGroups, AreCountedInTheOrderOfTheirNames) {
    for (int i = 0; i < 10; ++i)
        character.group({});
    EXPECT_EQ(character.getGroupCount(), 10);
    ASSERT_NE(character.getGroupByIndex(1), nullptr);
    EXPECT_EQ(character.getGroupByIndex(0)->name, "group1");
    EXPECT_EQ(character.getGroupByIndex(1)->name, "group10");
    EXPECT_EQ(character.getGroupByIndex(9)->name, "group9");
    EXPECT_EQ(character.getGroupByIndex(-1), nullptr);
    EXPECT_EQ(character.getGroupByIndex(10), nullptr);
    EXPECT_EQ(character.getGroupByIndex(std::numeric_limits<int>::min()), nullptr);
}

TEST_F(LCharacterGroups, AMemberOutOfRangeIsNone) {
    const std::string name = character.group({"a"});
    EXPECT_NE(character.getGroupItemByIndex(name, 0), nullptr);
    EXPECT_EQ(character.getGroupItemByIndex(name, -1), nullptr);
    EXPECT_EQ(character.getGroupItemByIndex(name, 1), nullptr);
    EXPECT_EQ(character.getGroupItemByIndex(name, std::numeric_limits<int>::max()), nullptr);
}

TEST_F(LCharacterGroups, AskingForAnUnknownOneLeavesANullEntry) {
    EXPECT_EQ(character.getGroupObject("1"), nullptr);
    EXPECT_EQ(character.groupItemCount("2"), 0);
    EXPECT_EQ(character.getGroupItemByIndex("3", 0), nullptr);
    EXPECT_EQ(character.getGroupCount(), 3);
    EXPECT_EQ(character.getGroupByIndex(0), nullptr);
}

TEST_F(LCharacterGroups, ANullEntryIsToleratedByEveryCall) {
    EXPECT_EQ(character.getGroupObject("group1"), nullptr);
    EXPECT_EQ(character.groupItemCount("group1"), 0);
    character.showItem("group1", false);
    EXPECT_EQ(visible(), "abcd");
    EXPECT_EQ(character.group({"a"}), "group1"); // takes the entry's place
    EXPECT_EQ(membersOf("group1"), "a");
    EXPECT_EQ(character.getGroupObject("x"), nullptr);
    character.unGroup("x");
    EXPECT_EQ(character.getGroupObject("y"), nullptr);
    character.deleteGroup("y");
    EXPECT_EQ(character.getGroupCount(), 1);
    EXPECT_EQ(visible(), "abcd");
}

} // namespace

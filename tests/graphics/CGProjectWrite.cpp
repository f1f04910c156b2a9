#include <gtest/gtest.h>

#include <limits>
#include <locale>
#include <sstream>

#include "graphics/CGProject.h"
#include "graphics/ItemPicture.h"

namespace {

using Items = std::vector<std::unique_ptr<LCGItem>>;
using Groups = std::map<std::string, std::unique_ptr<LCGGroup>>;

std::string written(const Items& items, const Groups& groups = {}) {
    std::ostringstream file;
    quol::writeProject(file, items, groups);
    return file.str();
}

template <typename Item>
Item& add(Items& items, const std::string& id) {
    auto item = std::make_unique<Item>();
    Item& added = *item;
    added.id = id;
    items.push_back(std::move(item));
    return added;
}

LCGGroup& add(Groups& groups, const std::string& name) {
    groups[name] = std::make_unique<LCGGroup>();
    groups[name]->name = name;
    return *groups[name];
}

// The lines of an item's record, from an item that is on its own.
std::string propsOf(const Items& items) {
    const std::string text = written(items);
    const std::string begin = "    <props>\n";
    const std::string end = "    </props>\n";
    const std::size_t from = text.find(begin) + begin.size();
    return text.substr(from, text.find(end) - from);
}

// Tags and values as lines of a record.
std::string lines(const std::vector<std::pair<const char*, const char*>>& fields) {
    std::string text;
    for (const auto& [tag, value] : fields)
        text += "        <" + std::string(tag) + ">" + value + "</" + tag + ">\n";
    return text;
}

// ------------------------------------------------------------------------------------- frame

TEST(ProjectFile, OfAnEmptySceneHasItsRootOnly) {
    EXPECT_EQ(written({}), "<CGProject>\n</CGProject>\n");
}

TEST(ProjectFile, TellsAnItemOfItsOwn) {
    Items items;
    LCGImageItem& image = add<LCGImageItem>(items, "Logo");
    image.x = 103.7F;
    image.y = -2.0F;
    image.w = 300;
    image.h = 40;
    image.show = false;
    image.alpha = 0.5F;
    image.startX = 11.0F;
    image.startY = 12.0F;
    image.moveType = "Horizontal";
    image.moveSpeed = 13.0F;
    image.moveLoop = false;
    image.props.path = "logo.png";
    EXPECT_EQ(written(items),
              "<CGProject>\n"
              "  <Item>\n"
              "    <type>image</type>\n"
              "    <id>Logo</id>\n"
              "    <x>103.7</x>\n"
              "    <y>-2</y>\n"
              "    <w>300</w>\n"
              "    <h>40</h>\n"
              "    <show>false</show>\n"
              "    <alpha>127</alpha>\n"
              "    <props>\n"
              "        <path>logo.png</path>\n"
              "    </props>\n"
              "  </Item>\n"
              "</CGProject>\n");
}

TEST(ProjectFile, TellsAGroupsItemsTwoSpacesFurtherIn) {
    Items items;
    Groups groups;
    LCGGroup& group = add(groups, "group1");
    group.show = false;
    group.x = 5.0F;
    LCGItem& video = add<LCGVideoItem>(items, "Clip");
    video.group = &group;
    group.items.push_back(&video);
    EXPECT_EQ(written(items, groups),
              "<CGProject>\n"
              "  <group>\n"
              "    <id>group1</id>\n"
              "    <Item>\n"
              "      <type>video</type>\n"
              "      <id>Clip</id>\n"
              "      <x>0</x>\n"
              "      <y>0</y>\n"
              "      <w>0</w>\n"
              "      <h>0</h>\n"
              "      <show>true</show>\n"
              "      <alpha>255</alpha>\n"
              "      <props>\n"
              "          <path></path>\n"
              "      </props>\n"
              "    </Item>\n"
              "  </group>\n"
              "</CGProject>\n");
}

// The ids of a file, in its order.
std::string idsOf(const std::string& text) {
    std::string ids;
    for (std::size_t at = text.find("<id>"); at != std::string::npos;
         at = text.find("<id>", at + 1))
        ids += text.substr(at + 4, text.find('<', at + 4) - at - 4) + " ";
    return ids;
}

TEST(ProjectFile, GroupsComeFirstByNameThenItemsOfTheirOwnInOrder) {
    Items items;
    Groups groups;
    LCGGroup& second = add(groups, "g2");
    LCGGroup& first = add(groups, "g1");
    add(groups, "g3");
    add<LCGRectItem>(items, "a");
    add<LCGRectItem>(items, "b").group = &second;
    add<LCGRectItem>(items, "c").group = &first;
    add<LCGRectItem>(items, "d");
    add<LCGRectItem>(items, "e").group = &second;
    // The list of items decides on the order, not the group's.
    second.items = {items[4].get(), items[1].get()};
    EXPECT_EQ(idsOf(written(items, groups)), "g1 c g2 b e g3 a d ");
}

TEST(ProjectFile, EmptyGroupIsWrittenAndANullEntryIsNot) {
    Groups groups;
    add(groups, "empty");
    groups["asked for"] = nullptr;
    EXPECT_EQ(written({}, groups),
              "<CGProject>\n  <group>\n    <id>empty</id>\n  </group>\n</CGProject>\n");
}

TEST(ProjectFile, EveryClassHasItsType) {
    Items items;
    add<LCGTextItem>(items, "1");
    add<LCGCrawlItem>(items, "2");
    add<LCGTickerItem>(items, "3");
    add<LCGImageItem>(items, "4");
    add<LCGVideoItem>(items, "5");
    add<LCGRectItem>(items, "6");
    add<LCGItem>(items, "7");
    const std::string text = written(items);
    std::string types;
    for (std::size_t at = text.find("<type>"); at != std::string::npos;
         at = text.find("<type>", at + 1))
        types += text.substr(at + 6, text.find('<', at + 6) - at - 6) + " ";
    EXPECT_EQ(types, "text crawl ticker image video rect  ");
}

TEST(ProjectFile, UnknownClassHasNoRecord) {
    Items items;
    add<LCGItem>(items, "x");
    EXPECT_NE(written(items).find("    <props>\n    </props>\n"), std::string::npos);
}

TEST(ProjectFile, NothingIsEscaped) {
    Items items;
    add<LCGTextItem>(items, "a & <b>").props.text = "one\ntwo <three> & \"four\"";
    const std::string text = written(items);
    EXPECT_NE(text.find("    <id>a & <b></id>\n"), std::string::npos);
    EXPECT_NE(text.find("        <text>one\ntwo <three> & \"four\"</text>\n"), std::string::npos);
}

// ------------------------------------------------------------------------------------ records

const std::vector<std::pair<const char*, const char*>> letters{
    {"text", "T"},           {"font", "Arial"},
    {"fontSize", "40"},      {"color", "#FFFFFF"},
    {"textAlpha", "255"},    {"letterSpacing", "0"},
    {"autoShrink", "false"}, {"padding", "0"},
    {"outlineSize", "0"},    {"outlineColor", "#000000"},
    {"hAlign", "Left"},      {"vAlign", "Center"}};
const std::vector<std::pair<const char*, const char*>> panel{{"bgType", "None"},
                                                             {"bgColor", "#000000"},
                                                             {"bgGradientStartColor", "#FF0000"},
                                                             {"bgGradientEndColor", "#000000"},
                                                             {"bgAlpha", "255"},
                                                             {"bgRadius", "0"},
                                                             {"bgShadowOffsetX", "0"},
                                                             {"bgShadowOffsetY", "0"},
                                                             {"bgShadowAlpha", "0"},
                                                             {"bgShadowColor", "#000000"}};
const std::vector<std::pair<const char*, const char*>> textShadow{{"textShadowOffsetX", "0"},
                                                                  {"textShadowOffsetY", "0"},
                                                                  {"textShadowAlpha", "0"},
                                                                  {"textShadowColor", "#000000"}};
const std::vector<std::pair<const char*, const char*>> border{
    {"borderColor", "#FFFFFF"}, {"borderSize", "0"}, {"borderAlpha", "255"}};

TEST(ProjectRecord, OfATextHasItsTagsInOrder) {
    Items items;
    add<LCGTextItem>(items, "i").props.text = "T";
    EXPECT_EQ(propsOf(items), lines(letters) + lines(panel) + lines(textShadow) + lines(border));
}

TEST(ProjectRecord, OfACrawlHasItsTagsInOrder) {
    Items items;
    add<LCGCrawlItem>(items, "i").props.text = "T";
    EXPECT_EQ(propsOf(items), lines(letters) + lines(panel) + lines(textShadow) +
                                  lines({{"textMove", "Horizontal"},
                                         {"textSpeed", "-5"},
                                         {"separatorImage", ""},
                                         {"textSeparator", " - "},
                                         {"separatorPadding", "20"}}) +
                                  lines(border));
}

TEST(ProjectRecord, OfATickerHasItsTagsInOrder) {
    Items items;
    add<LCGTickerItem>(items, "i").props.text = "T";
    EXPECT_EQ(propsOf(items), lines(letters) + lines(panel) + lines(textShadow) +
                                  lines({{"textMove", "Up"}, {"textMoveDuration", "5"}}) +
                                  lines(border));
}

TEST(ProjectRecord, OfARectangleHasItsTagsInOrder) {
    Items items;
    add<LCGRectItem>(items, "i");
    std::string wanted = lines(panel) + lines(border);
    for (const auto& [from, to] :
         {std::pair("None", "Solid"), std::pair("bgColor>#000000", "bgColor>#FFFFFF"),
          std::pair("#FF0000", "#FFFFFF")})
        wanted.replace(wanted.find(from), std::string(from).size(), to);
    EXPECT_EQ(propsOf(items), wanted);
}

// Sets what the three kinds of text have in common, each field to a value of its own.
template <typename Props>
void fillLetters(Props& props) {
    props.text = "a";
    props.font = "b";
    props.fontSize = 1;
    props.color = "#000001";
    props.textAlpha = 2;
    props.letterSpacing = 0.5F;
    props.autoShrink = true;
    props.padding = 3;
    props.outlineSize = 4;
    props.outlineColor = "#000002";
    props.hAlign = "c";
    props.vAlign = "d";
    props.textShadowOffsetX = 1.5F;
    props.textShadowOffsetY = 2.5F;
    props.textShadowAlpha = 5;
    props.textShadowColor = "#000003";
}
template <typename Props>
void fillPanel(Props& props) {
    props.bgType = "e";
    props.bgColor = "#000004";
    props.bgGradientStartColor = "#000005";
    props.bgGradientEndColor = "#000006";
    props.bgAlpha = 6;
    props.bgRadius = 7;
    props.bgShadowOffsetX = 3.5F;
    props.bgShadowOffsetY = 4.5F;
    props.bgShadowAlpha = 8;
    props.bgShadowColor = "#000007";
    props.borderColor = "#000008";
    props.borderSize = 9;
    props.borderAlpha = 10;
}
const std::string filledLetters = lines({{"text", "a"},
                                         {"font", "b"},
                                         {"fontSize", "1"},
                                         {"color", "#000001"},
                                         {"textAlpha", "2"},
                                         {"letterSpacing", "0.5"},
                                         {"autoShrink", "true"},
                                         {"padding", "3"},
                                         {"outlineSize", "4"},
                                         {"outlineColor", "#000002"},
                                         {"hAlign", "c"},
                                         {"vAlign", "d"}});
const std::string filledPanel = lines({{"bgType", "e"},
                                       {"bgColor", "#000004"},
                                       {"bgGradientStartColor", "#000005"},
                                       {"bgGradientEndColor", "#000006"},
                                       {"bgAlpha", "6"},
                                       {"bgRadius", "7"},
                                       {"bgShadowOffsetX", "3.5"},
                                       {"bgShadowOffsetY", "4.5"},
                                       {"bgShadowAlpha", "8"},
                                       {"bgShadowColor", "#000007"}});
const std::string filledTextShadow = lines({{"textShadowOffsetX", "1.5"},
                                            {"textShadowOffsetY", "2.5"},
                                            {"textShadowAlpha", "5"},
                                            {"textShadowColor", "#000003"}});
const std::string filledBorder =
    lines({{"borderColor", "#000008"}, {"borderSize", "9"}, {"borderAlpha", "10"}});

TEST(ProjectRecord, EachTagHasTheValueOfItsField) {
    {
        Items items;
        LCGTextItem& text = add<LCGTextItem>(items, "i");
        fillLetters(text.props);
        fillPanel(text.props);
        EXPECT_EQ(propsOf(items), filledLetters + filledPanel + filledTextShadow + filledBorder);
    }
    {
        Items items;
        LCGCrawlItem& crawl = add<LCGCrawlItem>(items, "i");
        fillLetters(crawl.props);
        fillPanel(crawl.props);
        crawl.props.textMove = "f";
        crawl.props.textSpeed = 5.5F;
        crawl.props.separatorImage = "g";
        crawl.props.textSeparator = "h";
        crawl.props.separatorPadding = 11;
        EXPECT_EQ(propsOf(items), filledLetters + filledPanel + filledTextShadow +
                                      lines({{"textMove", "f"},
                                             {"textSpeed", "5.5"},
                                             {"separatorImage", "g"},
                                             {"textSeparator", "h"},
                                             {"separatorPadding", "11"}}) +
                                      filledBorder);
    }
    {
        Items items;
        LCGTickerItem& ticker = add<LCGTickerItem>(items, "i");
        fillLetters(ticker.props);
        fillPanel(ticker.props);
        ticker.props.textMove = "f";
        ticker.props.textMoveDuration = 6.5F;
        EXPECT_EQ(propsOf(items), filledLetters + filledPanel + filledTextShadow +
                                      lines({{"textMove", "f"}, {"textMoveDuration", "6.5"}}) +
                                      filledBorder);
    }
    Items items;
    fillPanel(add<LCGRectItem>(items, "i").props);
    EXPECT_EQ(propsOf(items), filledPanel + filledBorder);
}

// ------------------------------------------------------------------------------------- values

std::string xOf(float x) {
    Items items;
    add<LCGRectItem>(items, "i").x = x;
    const std::string text = written(items);
    const std::size_t at = text.find("<x>") + 3;
    return text.substr(at, text.find('<', at) - at);
}

std::string alphaOf(float alpha) {
    Items items;
    add<LCGRectItem>(items, "i").alpha = alpha;
    const std::string text = written(items);
    const std::size_t at = text.find("<alpha>") + 7;
    return text.substr(at, text.find('<', at) - at);
}

TEST(ProjectValues, FractionsHaveSixDigits) {
    EXPECT_EQ(xOf(103.7F), "103.7");
    EXPECT_EQ(xOf(0.1F), "0.1");
    EXPECT_EQ(xOf(1.0F / 3.0F), "0.333333");
    EXPECT_EQ(xOf(123456.7F), "123457");
    EXPECT_EQ(xOf(1234567.0F), "1.23457e+06");
    EXPECT_EQ(xOf(-0.00001F), "-1e-05");
}

TEST(ProjectValues, OpacityIsCutTo255Steps) {
    EXPECT_EQ(alphaOf(1.0F), "255");
    EXPECT_EQ(alphaOf(0.5F), "127");
    EXPECT_EQ(alphaOf(0.0F), "0");
    EXPECT_EQ(alphaOf(0.999F), "254");
    EXPECT_EQ(alphaOf(-0.5F), "-127");
    EXPECT_EQ(alphaOf(2.0F), "510");
}

TEST(ProjectValues, OpacityOutOfAllRangeIsAWholeNumberYet) {
    for (const float alpha : {1.0e30F, -1.0e30F, std::numeric_limits<float>::infinity(),
                              std::numeric_limits<float>::quiet_NaN()}) {
        const std::string text = alphaOf(alpha);
        EXPECT_EQ(text.find_first_not_of("-0123456789"), std::string::npos) << text;
        EXPECT_NO_THROW(std::stoi(text));
    }
}

TEST(ProjectValues, ColorsLoseTheirAlpha) {
    Items items;
    add<LCGRectItem>(items, "i").props.bgColor = "#80FF8800";
    EXPECT_NE(propsOf(items).find("<bgColor>#FF8800</bgColor>"), std::string::npos);
}

struct Comma : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(ProjectValues, AreWrittenTheSameWhereADecimalPointIsAComma) {
    Items items;
    LCGTextItem& text = add<LCGTextItem>(items, "i");
    text.x = 1234.5F;
    text.w = 1234567;
    text.props.letterSpacing = -0.25F;
    const std::string plain = written(items);
    const std::locale before = std::locale::global(std::locale(std::locale(), new Comma));
    std::ostringstream host;
    host << 1234.5;
    const std::string withComma = written(items);
    std::locale::global(before);
    EXPECT_EQ(host.str(), "1.234,5");
    EXPECT_EQ(withComma, plain);
    EXPECT_NE(plain.find("<x>1234.5</x>"), std::string::npos);
    EXPECT_NE(plain.find("<w>1234567</w>"), std::string::npos);
}

} // namespace

#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <random>
#include <regex>
#include <sstream>
#include <utility>

#include "graphics/CGProject.h"
#include "graphics/ItemPicture.h"
#include "support/DecimalComma.h"

namespace {

using quol::ProjectItem;
using Values = std::map<std::string, std::string>;

std::vector<ProjectItem> itemsOf(const std::string& text) {
    std::vector<ProjectItem> items;
    std::istringstream file(text);
    quol::readProject(file, [&](const ProjectItem& item) { items.push_back(item); });
    return items;
}

// The only item of a file that holds these lines in one.
ProjectItem itemOf(const std::string& lines) {
    const std::vector<ProjectItem> items = itemsOf("<Item>\n" + lines + "\n</Item>\n");
    EXPECT_EQ(items.size(), 1U);
    return items.empty() ? ProjectItem() : items.front();
}

// "" when nothing is raised.
std::string raised(const std::string& lines) {
    try {
        itemOf(lines);
    } catch (const std::invalid_argument& exception) {
        return std::string("invalid ") + exception.what();
    } catch (const std::out_of_range& exception) {
        return std::string("range ") + exception.what();
    }
    return "";
}

// ------------------------------------------------------------------------------------- items

TEST(ProjectItems, HaveTheirDefaultsWithoutAnyLine) {
    const ProjectItem item = itemOf("");
    EXPECT_EQ(item.type, "");
    EXPECT_EQ(item.id, "");
    EXPECT_EQ(item.group, "");
    EXPECT_EQ(item.x, 0);
    EXPECT_EQ(item.y, 0);
    EXPECT_EQ(item.w, 0);
    EXPECT_EQ(item.h, 0);
    EXPECT_EQ(item.alpha, 255);
    EXPECT_TRUE(item.show);
    EXPECT_TRUE(item.values.empty());
}

TEST(ProjectItems, TakeTheirOwnLines) {
    const ProjectItem item = itemOf(
        "<type>crawl</type>\n<id>News</id>\n<x>1</x>\n<y>-2</y>\n"
        "<w>300</w>\n<h>40</h>\n<show>false</show>\n"
        "<alpha>127</alpha>");
    EXPECT_EQ(item.type, "crawl");
    EXPECT_EQ(item.id, "News");
    EXPECT_EQ(item.x, 1);
    EXPECT_EQ(item.y, -2);
    EXPECT_EQ(item.w, 300);
    EXPECT_EQ(item.h, 40);
    EXPECT_FALSE(item.show);
    EXPECT_EQ(item.alpha, 127);
    EXPECT_TRUE(item.values.empty());
}

TEST(ProjectItems, KeepAllOtherTagsTheLastOneWinning) {
    const ProjectItem item =
        itemOf("<text>one</text>\n<what>ever</what>\n<text>two</text>\n<font></font>");
    EXPECT_EQ(item.values, (Values{{"text", "two"}, {"what", "ever"}, {"font", ""}}));
    EXPECT_EQ(item.value("text"), "two");
    EXPECT_EQ(item.value("none"), "");
}

TEST(ProjectItems, StartAnewAfterAnother) {
    const auto items = itemsOf(
        "<Item>\n<type>text</type>\n<id>a</id>\n<x>5</x>\n<y>5</y>\n"
        "<w>5</w>\n<h>5</h>\n<show>no</show>\n<alpha>1</alpha>\n"
        "<text>t</text>\n</Item>\n<Item>\n</Item>\n");
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[0].values, (Values{{"text", "t"}}));
    EXPECT_EQ(items[1].type + items[1].id, "");
    EXPECT_EQ(items[1].x + items[1].y + items[1].w + items[1].h, 0);
    EXPECT_TRUE(items[1].show);
    EXPECT_EQ(items[1].alpha, 255);
    EXPECT_TRUE(items[1].values.empty());
}

TEST(ProjectItems, AreShownForExactlyTrue) {
    EXPECT_TRUE(itemOf("<show>true</show>").show);
    for (const char* text : {"false", "True", "1", "", " true", "true "})
        EXPECT_FALSE(itemOf("<show>" + std::string(text) + "</show>").show) << text;
}

TEST(ProjectItems, WholeNumbersAreReadAsFarAsTheyGo) {
    EXPECT_EQ(itemOf("<x>103.7</x>").x, 103);
    EXPECT_EQ(itemOf("<x>-0.9</x>").x, 0);
    EXPECT_EQ(itemOf("<x> +12px</x>").x, 12);
    EXPECT_EQ(itemOf("<x>1.67772e+07</x>").x, 1);
    EXPECT_EQ(itemOf("<w>2147483647</w>").w, 2147483647);
    EXPECT_EQ(itemOf("<h>-2147483648</h>").h, -2147483647 - 1);
}

TEST(ProjectItems, TextInAWholeNumberRaisesStoi) {
    for (const char* tag : {"x", "y", "w", "h", "alpha"}) {
        const std::string opening = "<" + std::string(tag) + ">";
        EXPECT_EQ(raised(opening + "many</" + tag + ">"), "invalid stoi") << tag;
        EXPECT_EQ(raised(opening + "</" + tag + ">"), "invalid stoi") << tag;
        EXPECT_EQ(raised(opening + "2147483648</" + tag + ">"), "range stoi") << tag;
        EXPECT_EQ(raised(opening + "7</" + tag + ">"), "") << tag;
    }
}

TEST(ProjectItems, ThoseBeforeABadNumberHaveBeenTold) {
    std::istringstream file("<Item>\n<id>a</id>\n</Item>\n<Item>\n<id>b</id>\n<x>?</x>\n</Item>\n");
    std::vector<std::string> ids;
    EXPECT_THROW(quol::readProject(file, [&](const ProjectItem& item) { ids.push_back(item.id); }),
                 std::invalid_argument);
    EXPECT_EQ(ids, (std::vector<std::string>{"a"}));
}

// ------------------------------------------------------------------------------------- lines

TEST(ProjectLines, IndentsAndBlankLinesDoNotCount) {
    const auto items = itemsOf("\n \t \n\t <Item>\n\t\t  <id>a</id>\n\n   \n </Item>\n\n");
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items[0].id, "a");
}

TEST(ProjectLines, LineEndsMayHaveACarriageReturn) {
    const auto items = itemsOf(
        "<group>\r\n<id>g</id>\r\n<Item>\r\n<id>a</id>\r\n<x>4</x>\r\n"
        "</Item>\r\n</group>\r\n");
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items[0].id, "a");
    EXPECT_EQ(items[0].x, 4);
    EXPECT_EQ(items[0].group, "g");
}

TEST(ProjectLines, LastOneNeedsNoEnd) {
    EXPECT_EQ(itemsOf("<Item>\n<id>a</id>\n</Item>").size(), 1U);
}

TEST(ProjectLines, FileWithoutItemsHasNone) {
    EXPECT_TRUE(itemsOf("").empty());
    EXPECT_TRUE(itemsOf("<CGProject>\n</CGProject>\n").empty());
    EXPECT_TRUE(itemsOf(std::string(1000, '\0')).empty());
    EXPECT_TRUE(itemsOf("<Item>\n<id>never ended</id>\n").empty());
}

TEST(ProjectLines, WordsOfTheFrameMayStandAnywhereInALine) {
    const auto items = itemsOf("some <Item> there\n<id>a</id>\nand </Item> here\n");
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items[0].id, "a");
}

TEST(ProjectLines, LineOfTheFrameHoldsNothingElse) {
    const auto items = itemsOf("<Item><id>a</id>\n<x>3</x>\n<id>b</id></Item>\n");
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items[0].id, "");
    EXPECT_EQ(items[0].x, 3);
    // All on one line: it begins an item, and nothing ends it.
    EXPECT_TRUE(itemsOf("<Item><type>text</type><id>a</id></Item>\n").empty());
}

TEST(ProjectLines, GroupCountsBeforeItemAndBeginningsBeforeEnds) {
    EXPECT_TRUE(itemsOf("<group><Item>\n<id>g</id>\n").empty());
    const auto items = itemsOf("<group></group>\n<id>g</id>\n<Item></Item>\n<id>a</id>\n</Item>\n");
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items[0].id, "a");
    EXPECT_EQ(items[0].group, "g");
}

TEST(ProjectLines, EndOfAnItemThatHasEndedTellsItAgain) {
    const auto items = itemsOf("</Item>\n<Item>\n<id>a</id>\n</Item>\n<id>b</id>\n</Item>\n");
    ASSERT_EQ(items.size(), 3U);
    EXPECT_EQ(items[0].id, "");
    EXPECT_EQ(items[1].id, "a");
    EXPECT_EQ(items[2].id, "a");
}

TEST(ProjectLines, LineThatIsNoTagWithItsEndIsPassedOver) {
    for (const char* line :
         {"<props>", "</props>", "plain", "<text>", "<text>a", "<text>a</text", "<text>a<b</text>",
          "text>a</text>", "<>a</text>", "<text>a</>", "<text>a< /text>", "<text a</text"}) {
        EXPECT_TRUE(itemOf(line).values.empty()) << line;
    }
}

TEST(ProjectLines, TagIsTheFirstThatMatches) {
    EXPECT_EQ(itemOf("<a>1</a><b>2</b>").values, (Values{{"a", "1"}}));
    EXPECT_EQ(itemOf("<props><a>1</a>").values, (Values{{"a", "1"}}));
    EXPECT_EQ(itemOf("x<a>1</a>y").values, (Values{{"a", "1"}}));
    EXPECT_EQ(itemOf("<<a>1</a>").values, (Values{{"<a", "1"}}));
    EXPECT_EQ(itemOf("<text>a<b>c</b>").values, (Values{{"b", "c"}}));
    EXPECT_EQ(itemOf("<><a>1</a>").values, (Values{{"a", "1"}}));
}

TEST(ProjectLines, EndNeedNotBeOfTheSameTag) {
    EXPECT_EQ(itemOf("<text>a</font>").values, (Values{{"text", "a"}}));
    EXPECT_EQ(itemOf("<text>a</<>").values, (Values{{"text", "a"}}));
}

TEST(ProjectLines, ValueIsTakenAsItStands) {
    EXPECT_EQ(itemOf("<text> a & b &lt; > \"\t</text>").value("text"), " a & b &lt; > \"\t");
    EXPECT_EQ(itemOf("<text>Çağ € 😀</text>").value("text"), "Çağ € 😀");
    EXPECT_EQ(itemOf(std::string("<text>a\0b\xFF</text>", 17)).value("text"),
              std::string("a\0b\xFF", 4));
}

TEST(ProjectLines, TextOverTwoLinesIsLost) {
    EXPECT_TRUE(itemOf("<text>one\ntwo</text>").values.empty());
}

// ------------------------------------------------------------------------------------ groups

TEST(ProjectGroups, NameTheirItems) {
    const auto items = itemsOf(
        "<group>\n<id>g1</id>\n<Item>\n<id>a</id>\n</Item>\n<Item>\n<id>b</id>\n</Item>\n"
        "</group>\n<Item>\n<id>c</id>\n</Item>\n<group>\n<id>g2</id>\n<Item>\n</Item>\n");
    ASSERT_EQ(items.size(), 4U);
    EXPECT_EQ(items[0].group, "g1");
    EXPECT_EQ(items[1].group, "g1");
    EXPECT_EQ(items[2].group, "");
    EXPECT_EQ(items[3].group, "g2");
}

TEST(ProjectGroups, BeginWithoutAName) {
    const auto items = itemsOf("<group>\n<id>g</id>\n<group>\n<Item>\n</Item>\n");
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items[0].group, "");
}

TEST(ProjectGroups, NameBehindAnItemIsForThoseThatFollow) {
    const auto items =
        itemsOf("<group>\n<Item>\n<id>a</id>\n</Item>\n<id>g</id>\n<Item>\n</Item>\n</group>\n");
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[0].group, "");
    EXPECT_EQ(items[1].group, "g");
}

TEST(ProjectGroups, ItemThatIsStillOpenKeepsTheName) {
    // The line belongs to the item, and the group that it stands in when it ends counts.
    const auto items = itemsOf("<Item>\n<group>\n<id>a</id>\n</Item>\n");
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items[0].id, "a");
    EXPECT_EQ(items[0].group, "");
}

TEST(ProjectGroups, NameIsTheLastThatIsNotEmpty) {
    const auto items = itemsOf(
        "<group>\n<id>g</id>\n<id></id>\n<id>h</id>\n<ID>x</ID>\n"
        "<id>no<b</id>\n<Item>\n</Item>\n");
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items[0].group, "h");
}

TEST(ProjectGroups, OutsideOfThemNamesDoNotCount) {
    const auto items = itemsOf("<id>g</id>\n<Item>\n</Item>\n<group>\n<Item>\n</Item>\n");
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[0].group, "");
    EXPECT_EQ(items[1].group, "");
}

// ------------------------------------------------------------------------ against expressions

std::string told(const ProjectItem& item) {
    std::ostringstream text;
    text << item.type << '|' << item.id << '|' << item.x << '|' << item.y << '|' << item.w << '|'
         << item.h << '|' << item.alpha << '|' << item.show << '|' << item.group;
    for (const auto& [tag, value] : item.values)
        text << '|' << tag << '=' << value;
    return text.str();
}

// Reads by the expressions that the format is told in.
void readByExpressions(std::istream& file, const std::function<void(const ProjectItem&)>& found) {
    static const std::regex tagged("<([^>]+)>([^<]*)</[^>]+>");
    static const std::regex named("<id>([^<]+)</id>");
    static const std::regex indent("^[ \t]+");
    bool inGroup = false;
    bool inItem = false;
    std::string group;
    ProjectItem item;
    for (std::string line; std::getline(file, line);) {
        line = std::regex_replace(line, indent, "");
        const auto has = [&line](const char* what) { return line.find(what) != std::string::npos; };
        std::smatch match;
        if (line.empty()) continue;
        if (has("<group>") || (!has("<group>") && has("</group>"))) {
            inGroup = has("<group>");
            group = "";
        } else if (has("<Item>")) {
            item = ProjectItem();
            inItem = true;
        } else if (has("</Item>")) {
            item.group = inGroup ? group : "";
            found(item);
            inItem = false;
        } else if (inItem && std::regex_search(line, match, tagged)) {
            const std::string tag = match[1];
            const std::string value = match[2];
            const std::map<std::string, int*> numbers{{"x", &item.x},
                                                      {"y", &item.y},
                                                      {"w", &item.w},
                                                      {"h", &item.h},
                                                      {"alpha", &item.alpha}};
            if (numbers.count(tag) != 0) {
                *numbers.at(tag) = std::stoi(value);
            } else if (tag == "type" || tag == "id") {
                (tag == "id" ? item.id : item.type) = value;
            } else if (tag == "show") {
                item.show = value == "true";
            } else {
                item.values[tag] = value;
            }
        } else if (!inItem && inGroup && std::regex_search(line, match, named)) {
            group = match[1];
        }
    }
}

template <typename Reader>
std::vector<std::string> toldBy(Reader reader, const std::string& text) {
    std::vector<std::string> all;
    std::istringstream file(text);
    try {
        reader(file, [&all](const ProjectItem& item) { all.push_back(told(item)); });
    } catch (const std::exception& exception) {
        all.push_back(exception.what());
    }
    return all;
}

template <std::size_t count>
std::string randomLine(std::mt19937& random, const char* const (&pieces)[count]) {
    std::string line;
    for (std::size_t left = random() % 9; left > 0; --left)
        line += pieces[random() % count];
    return line;
}

TEST(ProjectLines, AgreeWithTheExpressionsOnRandomLines) {
    constexpr const char* pieces[] = {"<",    "<",  "</", ">", ">", "/", "<a>",
                                      "</a>", "id", "x",  "1", " ", "&"};
    std::mt19937 random(1);
    int read = 0;
    for (int i = 0; i < 40000; ++i) {
        const std::string line = randomLine(random, pieces);
        const std::string text = "<Item>\n" + line + "\n</Item>\n";
        const auto wanted = toldBy(readByExpressions, text);
        read += wanted != toldBy(readByExpressions, "<Item>\n</Item>\n") ? 1 : 0;
        ASSERT_EQ(toldBy(quol::readProject, text), wanted) << line;
    }
    EXPECT_GT(read, 400);
}

TEST(ProjectGroups, AgreeWithTheExpressionOnRandomLines) {
    constexpr const char* pieces[] = {"<id>", "</id>", "<id>", "</id>", "a", "<", ">", "/", "id"};
    std::mt19937 random(2);
    int read = 0;
    for (int i = 0; i < 20000; ++i) {
        const std::string line = randomLine(random, pieces);
        const std::string text = "<group>\n" + line + "\n<Item>\n</Item>\n";
        const auto wanted = toldBy(readByExpressions, text);
        read += wanted.front().back() != '|' ? 1 : 0;
        ASSERT_EQ(toldBy(quol::readProject, text), wanted) << line;
    }
    EXPECT_GT(read, 400);
}

TEST(ProjectLines, AgreeWithTheExpressionsOnRandomFiles) {
    constexpr const char* pieces[] = {
        "<group>\n", "</group>\n", "<Item>\n",        "</Item>\n",    "<Item>\n",
        "</Item>\n", "<id>a</id>", "<id>b</id>\n",    "\n",           "\n",
        " ",         "\t",         "<x>1</x>\n",      "<y>b</y>\n",   "<type>text</type>\n",
        "<text>",    "</text>",    "<show>no</show>", "<w>2.5</w>\n", "<alpha>9</alpha>\n"};
    std::mt19937 random(3);
    std::size_t items = 0;
    for (int i = 0; i < 3000; ++i) {
        std::string text;
        for (int part = 0; part < 4; ++part)
            text += randomLine(random, pieces);
        const auto wanted = toldBy(readByExpressions, text);
        items += wanted.size();
        ASSERT_EQ(toldBy(quol::readProject, text), wanted) << text;
    }
    EXPECT_GT(items, 1500U);
}

// A line is read from left to right, however long it is and whatever it holds.
TEST(ProjectLines, HugeOnesAreRead) {
    const std::string much(8 << 20, 'x');
    EXPECT_EQ(itemOf("<text>" + much + "</text>").value("text"), much);
    EXPECT_EQ(itemOf("<" + much + ">1</a>").value(much), "1");
    EXPECT_EQ(itemOf(much + "<a>1</a>" + much).values, (Values{{"a", "1"}}));
    EXPECT_EQ(itemOf(std::string(8 << 20, ' ') + "<a>1</a>").values, (Values{{"a", "1"}}));
    EXPECT_TRUE(itemOf(much).values.empty());
}

TEST(ProjectLines, HostileOnesAreRead) {
    constexpr std::size_t many = 4 << 20;
    const std::string opening(many, '<');
    const std::string closing(many, '>');
    std::string pairs;
    std::string ends;
    for (std::size_t i = 0; i < many / 4; ++i) {
        pairs += "<>";
        ends += "<a></>";
    }
    for (const std::string& line : {opening, closing, opening + closing, opening + ">x<b",
                                    opening + ">x</>", pairs, ends, opening + ">x<b" + opening}) {
        EXPECT_TRUE(itemOf(line).values.empty()) << line.substr(0, 10);
    }
    EXPECT_EQ(itemOf(opening + ">x<b" + "<a>1</a>").values, (Values{{"b<a", "1"}}));
    std::string names;
    for (std::size_t i = 0; i < many / 4; ++i)
        names += "<id>";
    EXPECT_EQ(itemsOf("<group>\n" + names + "g</id>\n<Item>\n</Item>\n").at(0).group, "g");
}

// ---------------------------------------------------------------------------------- the records

// Every tag that is written, a value unlike any default, and who reads it.
struct Tag {
    const char* name;
    const char* value;
    bool text;
    bool crawl;
    bool ticker;
    bool rect;
};
constexpr Tag tags[] = {
    {"text", "Text", true, true, true, false},
    {"font", "Font", true, true, true, false},
    {"fontSize", "11", true, true, true, false},
    {"color", "#123456", true, true, true, false},
    {"textAlpha", "12", true, true, true, false},
    {"letterSpacing", "1.25", true, false, false, false},
    {"autoShrink", "true", true, false, false, false},
    {"padding", "13", true, false, false, false},
    {"outlineSize", "14", true, false, false, false},
    {"outlineColor", "#123457", true, false, false, false},
    {"hAlign", "Right", true, false, false, false},
    {"vAlign", "Bottom", true, false, false, false},
    {"bgType", "Gradient", true, false, false, true},
    {"bgColor", "#123458", true, false, false, true},
    {"bgGradientStartColor", "#123459", true, false, false, true},
    {"bgGradientEndColor", "#12345A", true, false, false, true},
    {"bgAlpha", "15", true, false, false, true},
    {"bgRadius", "16", true, false, false, true},
    {"bgShadowOffsetX", "2.25", true, false, false, false},
    {"bgShadowOffsetY", "3.25", true, false, false, false},
    {"bgShadowAlpha", "17", true, false, false, false},
    {"bgShadowColor", "#12345B", true, false, false, false},
    {"textShadowOffsetX", "4.25", false, false, false, false},
    {"textShadowOffsetY", "5.25", false, false, false, false},
    {"textShadowAlpha", "18", false, false, false, false},
    {"textShadowColor", "#12345C", false, false, false, false},
    {"textMove", "Vertical", false, true, true, false},
    {"textSpeed", "6.25", false, true, false, false},
    {"separatorImage", "image.png", false, true, false, false},
    {"textSeparator", "+++", false, true, false, false},
    {"separatorPadding", "19", false, false, false, false},
    {"textMoveDuration", "7.25", false, false, true, false},
    {"borderColor", "#12345D", true, true, true, true},
    {"borderSize", "20", true, true, true, true},
    {"borderAlpha", "21", true, true, true, true},
};

template <typename Item>
auto readAs(const Values& values) {
    ProjectItem parsed;
    parsed.values = values;
    Item item;
    quol::applyValues(parsed, item);
    return item.props;
}

Values allTags() {
    Values values;
    for (const Tag& tag : tags)
        values[tag.name] = tag.value;
    return values;
}

// What text, crawl and ticker take in common.
template <typename Props>
Props withLetters() {
    Props props;
    props.text = "Text";
    props.font = "Font";
    props.fontSize = 11;
    props.color = "#123456";
    props.textAlpha = 12;
    props.borderColor = "#12345D";
    props.borderSize = 20;
    props.borderAlpha = 21;
    return props;
}

TEST(ProjectRecords, TextReadsItsTags) {
    auto wanted = withLetters<LCGTextProps>();
    wanted.letterSpacing = 1.25F;
    wanted.autoShrink = true;
    wanted.padding = 13;
    wanted.outlineSize = 14;
    wanted.outlineColor = "#123457";
    wanted.hAlign = "Right";
    wanted.vAlign = "Bottom";
    wanted.bgType = "Gradient";
    wanted.bgColor = "#123458";
    wanted.bgGradientStartColor = "#123459";
    wanted.bgGradientEndColor = "#12345A";
    wanted.bgAlpha = 15;
    wanted.bgRadius = 16;
    wanted.bgShadowOffsetX = 2.25F;
    wanted.bgShadowOffsetY = 3.25F;
    wanted.bgShadowAlpha = 17;
    wanted.bgShadowColor = "#12345B";
    EXPECT_EQ(readAs<LCGTextItem>(allTags()), wanted);
}

TEST(ProjectRecords, CrawlReadsItsTags) {
    auto wanted = withLetters<LCGCrawlProps>();
    wanted.textMove = "Vertical";
    wanted.textSpeed = 6.25F;
    wanted.separatorImage = "image.png";
    wanted.textSeparator = "+++";
    EXPECT_EQ(readAs<LCGCrawlItem>(allTags()), wanted);
}

TEST(ProjectRecords, TickerReadsItsTags) {
    auto wanted = withLetters<LCGTickerProps>();
    wanted.textMove = "Vertical";
    wanted.textMoveDuration = 7.25F;
    EXPECT_EQ(readAs<LCGTickerItem>(allTags()), wanted);
}

TEST(ProjectRecords, RectangleReadsItsTags) {
    LCGRectProps wanted;
    wanted.bgType = "Gradient";
    wanted.bgColor = "#123458";
    wanted.bgGradientStartColor = "#123459";
    wanted.bgGradientEndColor = "#12345A";
    wanted.bgAlpha = 15;
    wanted.bgRadius = 16;
    wanted.borderColor = "#12345D";
    wanted.borderSize = 20;
    wanted.borderAlpha = 21;
    EXPECT_EQ(readAs<LCGRectItem>(allTags()), wanted);
}

TEST(ProjectRecords, EachTagAloneChangesTheRecordsThatReadIt) {
    for (const Tag& tag : tags) {
        const Values values{{tag.name, tag.value}};
        EXPECT_EQ(readAs<LCGTextItem>(values) != LCGTextProps(), tag.text) << tag.name;
        EXPECT_EQ(readAs<LCGCrawlItem>(values) != LCGCrawlProps(), tag.crawl) << tag.name;
        EXPECT_EQ(readAs<LCGTickerItem>(values) != LCGTickerProps(), tag.ticker) << tag.name;
        EXPECT_EQ(readAs<LCGRectItem>(values) != LCGRectProps(), tag.rect) << tag.name;
        EXPECT_EQ(readAs<LCGImageItem>(values), LCGImageProps()) << tag.name;
    }
    EXPECT_EQ(readAs<LCGTextItem>({{"nothing", "known"}, {"TEXT", "x"}}), LCGTextProps());
}

TEST(ProjectRecords, TagThatAClassDoesNotReadRaisesNothing) {
    EXPECT_EQ(readAs<LCGCrawlItem>({{"padding", "?"}, {"letterSpacing", ""}}), LCGCrawlProps());
    EXPECT_EQ(readAs<LCGRectItem>({{"bgShadowAlpha", "?"}, {"fontSize", "?"}}), LCGRectProps());
}

TEST(ProjectRecords, BadNumberRaisesWhatTheLibraryRaises) {
    const auto raises = [](const char* tag, const char* value) -> std::string {
        try {
            readAs<LCGTextItem>({{tag, value}});
        } catch (const std::exception& exception) {
            return exception.what();
        }
        return "nothing";
    };
    EXPECT_EQ(raises("fontSize", ""), "stoi");
    EXPECT_EQ(raises("fontSize", "big"), "stoi");
    EXPECT_EQ(raises("bgAlpha", "99999999999"), "stoi");
    EXPECT_EQ(raises("letterSpacing", ""), "stof");
    EXPECT_EQ(raises("letterSpacing", "wide"), "stof");
    EXPECT_EQ(raises("letterSpacing", "1e99"), "stof");
    EXPECT_EQ(raises("letterSpacing", "1e-99"), "stof");
    EXPECT_EQ(raises("letterSpacing", "2.5px"), "nothing");
    EXPECT_THROW(readAs<LCGTextItem>({{"letterSpacing", "wide"}}), std::invalid_argument);
    EXPECT_THROW(readAs<LCGTextItem>({{"letterSpacing", "1e99"}}), std::out_of_range);
}

TEST(ProjectRecords, FractionsAreReadAsFarAsTheyGo) {
    const auto spacing = [](const char* value) {
        return readAs<LCGTextItem>({{"letterSpacing", value}}).letterSpacing;
    };
    EXPECT_EQ(spacing("-2.5"), -2.5F);
    EXPECT_EQ(spacing(" \t+.5px"), 0.5F);
    EXPECT_EQ(spacing("1e3"), 1000.0F);
    EXPECT_EQ(spacing("2,5"), 2.0F);
    EXPECT_EQ(spacing("0x10"), 16.0F);
    EXPECT_EQ(spacing("1.23457e+06"), 1234570.0F);
    EXPECT_TRUE(std::isinf(spacing("inf")));
    EXPECT_TRUE(std::isnan(spacing("nan")));
    EXPECT_EQ(readAs<LCGTextItem>({{"fontSize", "12.9"}}).fontSize, 12);
}

TEST(ProjectRecords, SwitchIsOnForExactlyTrue) {
    EXPECT_TRUE(readAs<LCGTextItem>({{"autoShrink", "true"}}).autoShrink);
    for (const char* value : {"", "1", "TRUE", " true"})
        EXPECT_FALSE(readAs<LCGTextItem>({{"autoShrink", value}}).autoShrink) << value;
}

TEST(ProjectRecords, ColorsAreReadAsColorsAre) {
    const auto color = [](const char* value) {
        return readAs<LCGRectItem>({{"bgColor", value}}).bgColor.value();
    };
    EXPECT_EQ(color("#80FF8800"), 0x80FF8800U);
    EXPECT_EQ(color("xyz"), 0xFFFFFFFFU);
    EXPECT_EQ(color(""), 0U);
}

// ------------------------------------------------------------------------------------- locales

TEST(ProjectRecords, FractionsAreReadTheSameWhereADecimalPointIsAComma) {
    const test::DecimalComma locale;
    ASSERT_TRUE(locale.isSet());
    const auto props =
        readAs<LCGTextItem>({{"letterSpacing", "-2.5"}, {"bgShadowOffsetX", "0.125"}});
    EXPECT_EQ(props.letterSpacing, -2.5F);
    EXPECT_EQ(props.bgShadowOffsetX, 0.125F);
    EXPECT_EQ(readAs<LCGCrawlItem>({{"textSpeed", "2,5"}}).textSpeed, 2.0F);
    EXPECT_THROW(readAs<LCGTextItem>({{"letterSpacing", ",5"}}), std::invalid_argument);
}

TEST(ProjectRecords, ReadingLeavesTheHostsErrorNumberAlone) {
    errno = 42;
    readAs<LCGTextItem>({{"letterSpacing", "-2.5"}, {"fontSize", "12"}});
    EXPECT_EQ(errno, 42);
}

} // namespace

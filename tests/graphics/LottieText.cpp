#include "graphics/LottieText.h"

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <tuple>
#include <vector>

namespace quol {
bool operator==(const LottieMarkers& a, const LottieMarkers& b) {
    return std::tie(a.in, a.loop, a.stop, a.out) == std::tie(b.in, b.loop, b.stop, b.out);
}
void PrintTo(const LottieMarkers& markers, std::ostream* out) {
    *out << markers.in << ' ' << markers.loop << ' ' << markers.stop << ' ' << markers.out;
}
} // namespace quol

namespace {

using quol::directoryOf;
using quol::LottieMarkers;
using quol::readMarkers;
using quol::resourceFolderOf;
using quol::setMarker;
using quol::withAssetFolders;
using quol::withFontFamily;

// Long enough that a search begun anew at each of its pieces would take hours.
std::string repeated(const std::string& piece) {
    constexpr std::size_t size = 10'000'000;
    std::string text;
    text.reserve(size + piece.size());
    while (text.size() < size)
        text += piece;
    return text;
}

// A text made of the pieces that the searches are about, in any order.
std::string shuffledPieces(std::mt19937& random, const std::vector<std::string>& pieces) {
    std::string text;
    for (int i = 0; i < 12; ++i)
        text += pieces[random() % pieces.size()];
    return text;
}

// ----------------------------------------------------------------------------------- paths

TEST(LottiePaths, ADirectoryEndsWithTheLastSlash) {
    EXPECT_EQ(directoryOf("/a/b/t.json"), "/a/b/");
    EXPECT_EQ(directoryOf("b/t.json"), "b/");
    EXPECT_EQ(directoryOf("/t.json"), "/");
    EXPECT_EQ(directoryOf("t.json"), "");
    EXPECT_EQ(directoryOf("/a/"), "/a/");
    EXPECT_EQ(directoryOf(""), "");
}

TEST(LottiePaths, OnlyTheResourceFolderKnowsBackslashes) {
    EXPECT_EQ(directoryOf("C:\\a\\t.json"), "");
    EXPECT_EQ(resourceFolderOf("C:\\a\\t.json"), "C:\\a\\");
    EXPECT_EQ(resourceFolderOf("C:\\a/t.json"), "C:\\a/");
    EXPECT_EQ(resourceFolderOf("/a/b\\t.json"), "/a/b\\");
    EXPECT_EQ(resourceFolderOf("t.json"), "");
    EXPECT_EQ(resourceFolderOf(""), "");
}

// --------------------------------------------------------------------------- asset folders

TEST(LottieAssetFolders, ARelativeFolderIsPutBelowTheDirectory) {
    EXPECT_EQ(withAssetFolders(R"({"id":"image_0","u":"images/","p":"a.png"})", "/a/b/"),
              R"({"id":"image_0","u":"/a/b/images/","p":"a.png"})");
}

TEST(LottieAssetFolders, EmptyAndAbsoluteFoldersStay) {
    const std::string json = R"([{"u":"","p":"a"},{"u":"/images/","p":"b"},{"u":"/","p":"c"}])";
    EXPECT_EQ(withAssetFolders(json, "/a/b/"), json);
}

TEST(LottieAssetFolders, EveryFolderOfATextIsLookedAt) {
    EXPECT_EQ(withAssetFolders(R"([{"u":"i/"},{"u":""},{"u":"/x/"},{"u":"i/"}])", "d/"),
              R"([{"u":"d/i/"},{"u":""},{"u":"/x/"},{"u":"d/i/"}])");
}

TEST(LottieAssetFolders, WithoutADirectoryNothingChanges) {
    const std::string json = R"({"u":"images/","p":"a.png"})";
    EXPECT_EQ(withAssetFolders(json, ""), json);
}

TEST(LottieAssetFolders, WhatWasPutInIsNotLookedAtAgain) {
    EXPECT_EQ(withAssetFolders(R"({"u":"x"})", R"("u":"y/)"), R"({"u":""u":"y/x"})");
}

TEST(LottieAssetFolders, TheKeyIsFoundOnlyAsExportersWriteIt) {
    const std::string json = R"({"u": "a/","U":"b/","uu":"c/","u":5})";
    EXPECT_EQ(withAssetFolders(json, "/d/"), json);
}

TEST(LottieAssetFolders, AFolderWithoutAnEndStays) {
    EXPECT_EQ(withAssetFolders(R"({"u":"a/","x":{"u":"images)", "/d/"),
              R"({"u":"/d/a/","x":{"u":"images)");
    EXPECT_EQ(withAssetFolders(R"("u":")", "/d/"), R"("u":")");
    EXPECT_EQ(withAssetFolders("", "/d/"), "");
}

// ----------------------------------------------------------------------------------- fonts

TEST(LottieFonts, EveryFamilyIsReplaced) {
    const std::string json =
        R"({"list":[{"fName":"A","fFamily":"Arial","fStyle":"Bold"},{"fFamily":""}]})";
    EXPECT_EQ(withFontFamily(json, "DejaVu Sans"),
              R"({"list":[{"fName":"A","fFamily":"DejaVu Sans","fStyle":"Bold"},)"
              R"({"fFamily":"DejaVu Sans"}]})");
}

TEST(LottieFonts, AFamilyEndsAtTheNextQuoteEvenAnEscapedOne) {
    EXPECT_EQ(withFontFamily(R"({"fFamily":"A\"B"})", "X"), R"({"fFamily":"X"B"})");
}

TEST(LottieFonts, AFamilyWithoutAnEndStays) {
    EXPECT_EQ(withFontFamily(R"({"fFamily":"Ari)", "X"), R"({"fFamily":"Ari)");
}

// --------------------------------------------------------------------------------- markers

TEST(LottieMarkersOfAFile, AreTheFramesOfTheFourNames) {
    EXPECT_EQ(readMarkers(R"({"markers":[{"tm":5,"cm":"IN","dr":0},{"tm":10,"cm":"LOOP","dr":3},)"
                          R"({"tm":50,"cm":"STOP","dr":0},{"tm":75,"cm":"OUT","dr":0}]})"),
              (LottieMarkers{5, 10, 50, 75}));
}

TEST(LottieMarkersOfAFile, AreUnsetWhereTheFileHasNone) {
    const LottieMarkers none{-1, -1, -1, -1};
    EXPECT_EQ(readMarkers(""), none);
    EXPECT_EQ(readMarkers(R"({"v":"5.7.4","layers":[]})"), none);
    EXPECT_EQ(readMarkers(R"({"markers":[{"tm":5,"cm":"in"},{"tm":6,"cm":"INTRO"}]})"), none);
    EXPECT_EQ(readMarkers(R"({"markers":[{"tm":5,"cm": "IN"}]})"), none);
}

TEST(LottieMarkersOfAFile, ATimeBehindTheNameIsNoTime) {
    EXPECT_EQ(readMarkers(R"([{"cm":"IN","tm":5,"dr":0}])").in, -1);
    EXPECT_EQ(readMarkers(R"([{"tm":3,"dr":0},{"cm":"IN","tm":5}])").in, -1);
}

TEST(LottieMarkersOfAFile, TheNextOfTheNameIsTakenWhereTheFirstHasNoTime) {
    EXPECT_EQ(readMarkers(R"([{"cm":"IN","tm":5},{"cm":"IN"},{"tm":7,"cm":"IN"}])").in, 7);
}

TEST(LottieMarkersOfAFile, TheFirstWithATimeIsTaken) {
    EXPECT_EQ(readMarkers(R"([{"tm":7,"cm":"OUT"},{"tm":9,"cm":"OUT"}])").out, 7);
}

TEST(LottieMarkersOfAFile, ATimeIsLookedForBehindTheLastBraceBeforeTheName) {
    EXPECT_EQ(readMarkers(R"({"tm":7,"x":{"y":1},"cm":"IN"})").in, -1);
    EXPECT_EQ(readMarkers(R"({"tm":7,"x":[1],"tm":9,"cm":"IN"})").in, 7);
    EXPECT_EQ(readMarkers(R"("tm":7,"cm":"IN")").in, -1); // no brace at all
    EXPECT_EQ(readMarkers(R"("tm":7,"cm":"IN"},{"tm":8,"cm":"IN"})").in, 8);
}

TEST(LottieMarkersOfAFile, ATimeIsReadAsAWholeNumber) {
    EXPECT_EQ(readMarkers(R"({"tm":12.75,"cm":"IN"})").in, 12);
    EXPECT_EQ(readMarkers(R"({"tm": 12,"cm":"IN"})").in, 12);
    EXPECT_EQ(readMarkers(R"({"tm":-4,"cm":"IN"})").in, -1);
    EXPECT_EQ(readMarkers(R"({"tm":12"cm":"IN"})").in, 12);
}

TEST(LottieMarkersOfAFile, ATimeThatIsNoNumberThrows) {
    EXPECT_THROW(readMarkers(R"({"tm":null,"cm":"IN"})"), std::invalid_argument);
    EXPECT_THROW(readMarkers(R"({"tm":,"cm":"OUT"})"), std::invalid_argument);
    EXPECT_THROW(readMarkers(R"({"tm":2147483648,"cm":"STOP"})"), std::out_of_range);
    EXPECT_THROW(readMarkers(R"({"tm":99999999999999999999,"cm":"LOOP"})"), std::out_of_range);
    EXPECT_NO_THROW(readMarkers(R"({"tm":null,"cm":"other"})"));
}

// As it is told, with every search begun anew.
int plainMarker(const std::string& json, const std::string& name) {
    const std::string key = "\"cm\":\"" + name + "\"";
    for (std::size_t p = json.find(key); p != std::string::npos; p = json.find(key, p + 1)) {
        const std::size_t brace = json.rfind('{', p);
        if (brace == std::string::npos) continue;
        const std::size_t time = json.find("\"tm\":", brace);
        if (time > p) continue;
        return std::stoi(json.substr(time + 5, json.find(',', time) - time - 5));
    }
    return -1;
}

TEST(LottieMarkersOfAFile, AreThoseOfThePlainSearchInAnyText) {
    const std::vector<std::string> pieces{"{",
                                          "}",
                                          ",",
                                          "[",
                                          "\"tm\":1,",
                                          "\"tm\":2,",
                                          "\"tm\":",
                                          "7,",
                                          "\"cm\":\"IN\"",
                                          "\"cm\":\"OUT\",",
                                          "\"cm\":\"LOOP\"",
                                          "{\"tm\":3,\"cm\":\"STOP\"}"};
    std::mt19937 random(6);
    int found = 0;
    for (int i = 0; i < 20000; ++i) {
        const std::string json = shuffledPieces(random, pieces);
        LottieMarkers expected;
        bool throws = false;
        try {
            expected = {plainMarker(json, "IN"), plainMarker(json, "LOOP"),
                        plainMarker(json, "STOP"), plainMarker(json, "OUT")};
        } catch (const std::exception&) {
            throws = true;
        }
        if (throws) {
            ASSERT_THROW(readMarkers(json), std::invalid_argument) << json;
        } else {
            ASSERT_EQ(readMarkers(json), expected) << json;
            if (expected.in >= 0) ++found;
        }
    }
    EXPECT_GT(found, 1000);
}

TEST(LottieMarkerNames, AreExact) {
    LottieMarkers markers;
    EXPECT_TRUE(setMarker(markers, "IN", 1));
    EXPECT_TRUE(setMarker(markers, "LOOP", 2));
    EXPECT_TRUE(setMarker(markers, "STOP", 3));
    EXPECT_TRUE(setMarker(markers, "OUT", 4));
    EXPECT_EQ(markers, (LottieMarkers{1, 2, 3, 4}));
    for (const std::string name : {"in", "Out", "", " IN", "IN ", "STOPS", "INLOOP"})
        EXPECT_FALSE(setMarker(markers, name, 10)) << name;
    EXPECT_FALSE(setMarker(markers, std::string("IN\0", 3), 10));
    EXPECT_EQ(markers, (LottieMarkers{1, 2, 3, 4}));
}

// ----------------------------------------------------------------------------------- texts

// A text layer as exporters write one.
std::string textLayer(const std::string& name, const std::string& text) {
    return R"({"ty":5,"nm":")" + name + R"(","t":{"d":{"k":[{"s":{"s":80,"f":"A","t":")" + text +
           R"(","j":2},"t":0}]}}})";
}

// As a layer's text is changed: what is found is replaced. False where nothing is.
bool replaceText(std::string& json, const std::string& layerName, const std::string& text) {
    const auto value = quol::findLayerText(json, layerName);
    if (!value) return false;
    json.replace(value->begin, value->end - value->begin, text);
    return true;
}

TEST(LottieTexts, TheTextOfALayerIsReplaced) {
    std::string json = "[" + textLayer("Name", "old") + "," + textLayer("Title", "other") + "]";
    EXPECT_TRUE(replaceText(json, "Title", "new"));
    EXPECT_EQ(json, "[" + textLayer("Name", "old") + "," + textLayer("Title", "new") + "]");
    EXPECT_TRUE(replaceText(json, "Name", ""));
    EXPECT_EQ(json, "[" + textLayer("Name", "") + "," + textLayer("Title", "new") + "]");
}

TEST(LottieTexts, OfTwoLayersOfANameTheFirstIsChanged) {
    std::string json = textLayer("Name", "one") + textLayer("Name", "two");
    EXPECT_TRUE(replaceText(json, "Name", "new"));
    EXPECT_EQ(json, textLayer("Name", "new") + textLayer("Name", "two"));
    EXPECT_TRUE(replaceText(json, "Name", "newer"));
    EXPECT_EQ(json, textLayer("Name", "newer") + textLayer("Name", "two"));
}

TEST(LottieTexts, ATextIsPutInAsItIs) {
    for (const std::string text : {"a \"quoted\" word", "a\\nb", "İstanbul", "\r\n\t", "{}[]"}) {
        std::string json = textLayer("Name", "old");
        EXPECT_TRUE(replaceText(json, "Name", text));
        EXPECT_EQ(json, textLayer("Name", text));
    }
}

TEST(LottieTexts, AnOldTextEndsAtTheNextQuoteEvenAnEscapedOne) {
    std::string json = textLayer("Name", R"(a\"b)");
    EXPECT_TRUE(replaceText(json, "Name", "new"));
    EXPECT_EQ(json, textLayer("Name", R"(new"b)"));
}

TEST(LottieTexts, ATextIsLookedForInsideADocumentBehindTheName) {
    std::string json = R"({"t":{"t":"a"},"nm":"Name","t":"b","t":{"x":{"t":"c"}}})";
    EXPECT_TRUE(replaceText(json, "Name", "new"));
    EXPECT_EQ(json, R"({"t":{"t":"a"},"nm":"Name","t":"b","t":{"x":{"t":"new"}}})");
}

TEST(LottieTexts, WithoutATextNothingChanges) {
    for (const std::string before :
         {R"({"nm":"Other","t":{"t":"a"}})", R"({"t":{"t":"a"},"nm":"Name"})",
          R"({"nm":"Name","t":"a"})", R"({"nm":"Name","t":{"d":1}})", R"({"nm":"Name","t":{"t":"a)",
          R"({"nm":"Name","t":{"t":")", R"({"nm":"Name")", R"({"nm": "Name","t":{"t":"a"}})",
          R"({"nm":"Names","t":{"t":"a"}})", ""}) {
        std::string json = before;
        EXPECT_FALSE(replaceText(json, "Name", "new")) << before;
        EXPECT_EQ(json, before);
    }
}

TEST(LottieTexts, AnyNameIsSafe) {
    std::string json = textLayer("", "old") + textLayer("N", "old");
    EXPECT_TRUE(replaceText(json, "", "new"));
    EXPECT_EQ(json, textLayer("", "new") + textLayer("N", "old"));
    EXPECT_FALSE(replaceText(json, "\"", "x"));
    EXPECT_FALSE(replaceText(json, std::string(1, '\0'), "x"));
    EXPECT_FALSE(replaceText(json, std::string(100'000, 'N'), "x"));
    std::string escaped = textLayer(R"(a\"b)", "old");
    EXPECT_TRUE(replaceText(escaped, R"(a\"b)", "new"));
    EXPECT_EQ(escaped, textLayer(R"(a\"b)", "new"));
}

// ------------------------------------------------------------------------------ long texts

// Each would run into the time that a test has if it looked through the rest at every piece.
TEST(LottieLongTexts, MarkersWithoutATimeAreLookedThroughOnce) {
    const LottieMarkers none;
    EXPECT_EQ(readMarkers(repeated("{")), none);
    EXPECT_EQ(readMarkers(repeated(R"("cm":"IN")")), none);
    EXPECT_EQ(readMarkers("{" + repeated(R"("cm":"IN")")), none);
    EXPECT_EQ(readMarkers(repeated(R"({"cm":"OUT")")), none);
    EXPECT_EQ(readMarkers(repeated(R"({"cm":"OUT","tm":5})")), none);
    EXPECT_EQ(readMarkers(repeated(R"({"cm":"STOP")") + R"("tm":5)"), none);
    EXPECT_EQ(readMarkers(repeated(R"("tm":5)") + R"({"cm":"STOP"})"), none);
}

TEST(LottieLongTexts, AMarkerAtTheEndIsFound) {
    EXPECT_EQ(readMarkers(repeated(R"({"cm":"IN")") + R"({"tm":5,"cm":"IN"})").in, 5);
    EXPECT_EQ(readMarkers("{\"tm\":" + repeated(" ") + "5,\"cm\":\"IN\"").in, 5);
}

TEST(LottieLongTexts, ManyFoldersAndFamiliesAreReplacedInOnePass) {
    const std::string folders = repeated(R"("u":"a")");
    EXPECT_EQ(withAssetFolders(folders, "/d").size(), folders.size() / 7 * 9);
    const std::string open = repeated(R"("u":")");
    EXPECT_EQ(withAssetFolders(open, "").size(), open.size());
    const std::string families = repeated(R"("fFamily":"")");
    EXPECT_EQ(withFontFamily(families, "X").size(), families.size() / 12 * 13);
}

TEST(LottieLongTexts, ANameThatRepeatsItselfIsLookedForInOnePass) {
    const std::string name = repeated(R"(nm":")").substr(0, 1'000'002);
    std::string json = repeated(R"("nm":")");
    EXPECT_FALSE(replaceText(json, name + 'x', "new"));
}

// No template has a frame before the first.
TEST(LottieMarkers, BelowZeroAreNotSet) {
    quol::LottieMarkers markers;
    for (const char* const name : {"IN", "LOOP", "STOP", "OUT"})
        EXPECT_TRUE(quol::setMarker(markers, name, -5)) << name;
    EXPECT_EQ(markers.in, -1);
    EXPECT_EQ(markers.loop, -1);
    EXPECT_EQ(markers.stop, -1);
    EXPECT_EQ(markers.out, -1);
    EXPECT_EQ(quol::readMarkers(R"({"tm":-7,"cm":"STOP"})").stop, -1);
    EXPECT_EQ(quol::readMarkers(R"({"tm":0,"cm":"STOP"})").stop, 0);
}

} // namespace

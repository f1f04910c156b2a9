// What of a template the engine may see, and what is put right on the way.
#include "graphics/LottieCheck.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "graphics/LottieEngine.h"
#include "graphics/LottieExpression.h"
#include "graphics/LottieLimits.h"
#include "graphics/LottieText.h"

namespace {

using quol::DrawableTemplate;
using quol::drawableTemplate;
using std::string;

string root(const string& layers, const string& more = "") {
    return R"({"fr":25,"ip":0,"op":50,"w":160,"h":48,)" + more + R"("layers":[)" + layers + "]}";
}

string layer(int type, const string& more) {
    return R"({"ind":1,"ty":)" + std::to_string(type) + R"(,"ip":0,"op":50)" +
           (more.empty() ? "" : "," + more) + "}";
}

string shapeLayer(const string& shapes) {
    return layer(4, R"("shapes":[)" + shapes + "]");
}

const string box = R"({"ty":"rc","p":{"k":[80,24]},"s":{"k":[160,48]},"r":{"k":0}})";

bool accepts(const string& json) {
    return drawableTemplate(json).has_value();
}

bool acceptsShape(const string& shape) {
    return accepts(root(shapeLayer(shape)));
}

// `json` is handed on with the first `from` as `to`, which is as long, and is drawn without an end
// of the process.
void expectChanged(const string& json, const string& from, const string& to) {
    ASSERT_EQ(from.size(), to.size());
    string expected = json;
    expected.replace(json.find(from), from.size(), to);
    EXPECT_EQ(drawableTemplate(json).value_or("refused"), expected);
}

string replaced(string text, const string& from, const string& to) {
    return text.replace(text.find(from), from.size(), to);
}

string repeated(const string& text, int times) {
    string all;
    for (int i = 0; i < times; ++i)
        all += text;
    return all;
}

TEST(LottieCheck, HandsOnAGoodTemplateAsItStands) {
    const string json = root(shapeLayer(box));
    EXPECT_EQ(drawableTemplate(json), json);
    EXPECT_EQ(drawableTemplate(" \n" + json + "\r\n\t "), " \n" + json + "\r\n\t ");
    EXPECT_TRUE(accepts(root("")));
}

TEST(LottieCheck, RefusesBrokenText) {
    const string json = root(shapeLayer(box));
    for (std::size_t size = 0; size < json.size(); ++size)
        EXPECT_FALSE(accepts(json.substr(0, size))) << size;
    for (const char* text :
         {"", " ", "null", "[]", "1", "\"a\"", "{}", "{\"layers\":[],}", "{'a':1}",
          "{\"layers\":[]}}", "{\"layers\":[]} {}", "{\"layers\":[1e400]}",
          "{\"layers\":[],\"a\":01}", "{\"layers\":[],\"a\":\"\\x\"}"})
        EXPECT_FALSE(accepts(text)) << text;
}

TEST(LottieCheck, RefusesDeepNesting) {
    const auto nested = [](int depth) {
        return R"({"layers":[],"a":)" + string(depth, '[') + string(depth, ']') + "}";
    };
    EXPECT_TRUE(accepts(nested(254)));
    EXPECT_TRUE(accepts(nested(255)));
    EXPECT_FALSE(accepts(nested(256)));
    EXPECT_FALSE(accepts(nested(1'000'000)));
}

TEST(LottieCheck, RefusesKeysThatComeTwice) {
    EXPECT_FALSE(accepts(R"({"layers":[],"layers":[]})"));
    EXPECT_FALSE(accepts(root(layer(3, R"("nm":"a","nm":"b")"))));
    EXPECT_FALSE(accepts(root(layer(3, R"("nm":"a","\u006em":"b")"))));
    string many;
    for (int i = 0; i < 40; ++i)
        many += "\"k" + std::to_string(i) + "\":0,";
    EXPECT_TRUE(accepts(root("", many)));
    EXPECT_FALSE(accepts(root("", many + "\"k7\":0,")));
}

TEST(LottieCheck, RefusesValuesOfAnotherType) {
    for (const char* part :
         {R"("nm":null)", R"("nm":1)", R"("refId":null)", R"("sc":0)", R"("parent":null)",
          R"("parent":"1")", R"("ks":[])", R"("ks":{"p":1})", R"("ks":{"p":{"k":[null,100]}})",
          R"("ks":{"s":{"k":["1",2]}})", R"("ks":{"s":{"k":[]}})", R"("ks":{"s":{"k":1e10}})",
          R"("sr":1e30)", R"("ef":{})", R"("ef":[1])", R"("tm":1)"})
        EXPECT_FALSE(accepts(root(layer(3, part)))) << part;
    for (const char* more :
         {R"("assets":{},)", R"("assets":[{"id":null}],)", R"("assets":[{"p":1}],)",
          R"("fonts":[],)", R"("fonts":{"list":[{"fName":null}]},)", R"("markers":[{"cm":1}],)",
          R"("chars":[{}],)", R"("slots":[],)", R"("v":5,)", R"("nm":null,)"})
        EXPECT_FALSE(accepts(root("", more))) << more;
    EXPECT_FALSE(accepts(R"({"fr":"25","layers":[]})"));
    EXPECT_FALSE(acceptsShape(R"({"ty":5})"));
    EXPECT_FALSE(acceptsShape("1"));
    EXPECT_FALSE(accepts(R"({"layers":[1]})"));
    // Nobody reads these.
    EXPECT_TRUE(accepts(root(layer(3, R"("other":null,"more":[null,"a",{"k":null}])"))));
}

TEST(LottieCheck, RefusesPartsThatContainThemselves) {
    const auto part = [](const string& id, const string& refs) {
        return R"({"id":")" + id + R"(","layers":[)" + refs + "]}";
    };
    const auto use = [](const string& id) { return layer(0, R"("refId":")" + id + '"'); };
    EXPECT_TRUE(accepts(root(use("a"), R"("assets":[)" + part("a", "") + "],")));
    EXPECT_FALSE(accepts(root(use("a"), R"("assets":[)" + part("a", use("a")) + "],")));
    EXPECT_FALSE(accepts(
        root(use("a"), R"("assets":[)" + part("a", use("b")) + ',' + part("b", use("a")) + "],")));
    // Of one name, either may be the one that is drawn.
    EXPECT_FALSE(accepts(
        root(use("a"), R"("assets":[)" + part("a", "") + ',' + part("a", use("a")) + "],")));
}

string partsInside(int levels, int uses) {
    string assets = R"({"id":"0","layers":[]})";
    for (int i = 1; i < levels; ++i) {
        const string use = layer(0, R"("refId":")" + std::to_string(i - 1) + '"');
        assets += R"(,{"id":")" + std::to_string(i) + R"(","layers":[)" + use +
                  repeated(',' + use, uses - 1) + "]}";
    }
    return root(layer(0, R"("refId":")" + std::to_string(levels - 1) + '"'),
                R"("assets":[)" + assets + "],");
}

TEST(LottieCheck, RefusesPartsThatLieTooDeep) {
    EXPECT_TRUE(accepts(partsInside(quol::maxLottieParts - 1, 1)));
    EXPECT_TRUE(accepts(partsInside(quol::maxLottieParts, 1)));
    EXPECT_FALSE(accepts(partsInside(quol::maxLottieParts + 1, 1)));
}

TEST(LottieCheck, RefusesTooManyObjects) {
    EXPECT_TRUE(accepts(partsInside(5, 8)));
    EXPECT_FALSE(accepts(partsInside(30, 8)));
    // The layer is one of them.
    const int most = static_cast<int>(quol::maxLottieObjects) - 1;
    const string small = R"({"ty":"fl"})";
    EXPECT_TRUE(acceptsShape(small + repeated(',' + small, most - 2)));
    EXPECT_TRUE(acceptsShape(small + repeated(',' + small, most - 1)));
    EXPECT_FALSE(acceptsShape(small + repeated(',' + small, most)));
}

TEST(LottieCheck, RefusesLoopsOfParentsAndMattes) {
    const auto child = [](int ind, const string& key, int to) {
        return R"({"ty":3,"ind":)" + std::to_string(ind) + ",\"" + key +
               "\":" + std::to_string(to) + "}";
    };
    for (const char* key : {"parent", "tp"}) {
        EXPECT_TRUE(accepts(root(child(1, key, 2) + ',' + child(2, key, 3)))) << key;
        EXPECT_FALSE(accepts(root(child(1, key, 1)))) << key;
        EXPECT_FALSE(accepts(root(child(1, key, 2) + ',' + child(2, key, 1)))) << key;
        EXPECT_FALSE(accepts(root(child(1, key, 2) + ',' + child(2, key, 3) + ',' +
                                  child(3, key, 4) + ',' + child(4, key, 2))))
            << key;
    }
}

TEST(LottieCheck, RefusesGradientsWithFewerColorsThanTheyTell) {
    const auto gradient = [](const string& count, const string& colors) {
        return R"({"ty":"gf","s":{"k":[0,0]},"e":{"k":[9,0]},"o":{"k":100},"t":1,"g":{"p":)" +
               count + R"(,"k":{"k":)" + colors + "}}}";
    };
    EXPECT_TRUE(acceptsShape(gradient("2", "[0,1,0,0,1,0,0,1]")));
    EXPECT_TRUE(acceptsShape(gradient("2", "[0,1,0,0,1,0,0,1,0,1,1,0]")));
    EXPECT_TRUE(acceptsShape(gradient("1", R"([{"t":0,"s":[0,1,0,0]},{"t":9,"s":[1,0,0,1]}])")));
    EXPECT_FALSE(acceptsShape(gradient("2", R"([{"t":0,"s":[0,1,0,0]},{"t":9,"s":[1,0,0,1]}])")));
    EXPECT_FALSE(acceptsShape(gradient("3", "[0,1,0,0,1,0,0,1]")));
    EXPECT_FALSE(acceptsShape(gradient("2", "[0,1,0,0,1,0,0,1,1]")));
    EXPECT_FALSE(acceptsShape(gradient("100000000", "[0,1,0,0,1,0,0,1]")));
    EXPECT_FALSE(acceptsShape(gradient("-1", "[0,1,0,0,1,0,0,1]")));
    EXPECT_FALSE(acceptsShape(gradient("1.5", "[0,1,0,0,1,0,0,1]")));
    EXPECT_FALSE(acceptsShape(R"({"ty":"gf","g":{"k":{"k":[0,1,0,0]}}})"));
}

TEST(LottieCheck, LimitsCopiesAndPoints) {
    const auto repeater = [](const string& copies) {
        return R"({"ty":"rp","c":{"k":)" + copies + R"(},"o":{"k":0},"m":1,"tr":{"ty":"tr"}})";
    };
    const auto star = [](const string& points) {
        return R"({"ty":"sr","sy":1,"pt":{"k":)" + points + R"(},"or":{"k":9},"ir":{"k":4}})";
    };
    for (const char* count :
         {"0", "999", "1000", "2.5", R"([{"t":0,"s":[3]},{"t":9,"s":[1000]}])"}) {
        EXPECT_TRUE(acceptsShape(repeater(count))) << count;
        EXPECT_TRUE(acceptsShape(star(count))) << count;
    }
    for (const char* count :
         {"1001", "1e9", "-1", "-5", R"([{"t":0,"s":[3]},{"t":9,"s":[1001]}])",
          R"([{"t":0,"s":[3],"i":{"x":1,"y":99},"o":{"x":0,"y":0}},{"t":9,"s":[9]}])"}) {
        EXPECT_FALSE(acceptsShape(repeater(count))) << count;
        EXPECT_FALSE(acceptsShape(star(count))) << count;
    }
    // Repeaters repeat what others repeat.
    const string group = R"({"ty":"gr","it":[)" + box + ',' + repeater("1000") + "]}";
    EXPECT_TRUE(acceptsShape(group + ',' + repeater("40")));
    EXPECT_FALSE(acceptsShape(group + ',' + repeater("60")));
    expectChanged(root(shapeLayer(R"({"ty":"sr","pt":{"k":5,"x":"$bm_rt = 1e9;"}})")), "\"x\"",
                  "\"_\"");
}

TEST(LottieCheck, RefusesPathsThatAreNone) {
    const auto path = [](const string& value) { return R"({"ty":"sh","ks":{"k":)" + value + "}}"; };
    const string line = R"({"i":[[0,0],[0,0]],"o":[[0,0],[0,0]],"v":[[0,0],[9,9]],"c":false})";
    EXPECT_TRUE(acceptsShape(path(line)));
    EXPECT_TRUE(
        acceptsShape(path(R"([{"t":0,"s":[)" + line + R"(]},{"t":9,"s":[)" + line + "]}]")));
    EXPECT_TRUE(acceptsShape(path(replaced(line, "9,9", "1e6,9"))));
    EXPECT_FALSE(acceptsShape(path(replaced(line, "9,9", "1000001,9"))));
    EXPECT_FALSE(acceptsShape(path(replaced(line, ",[9,9]", ""))));
    EXPECT_FALSE(acceptsShape(path(replaced(line, "[9,9]", "[9]"))));
    EXPECT_FALSE(acceptsShape(path(replaced(line, "[9,9]", "null"))));
    EXPECT_FALSE(acceptsShape(path("[]")));
    EXPECT_FALSE(acceptsShape(R"({"ty":"sh"})"));
    EXPECT_FALSE(acceptsShape(R"({"ty":"sh","ks":{}})"));
}

TEST(LottieCheck, RefusesKeyFramesWithoutValue) {
    const auto opacity = [](const string& frames) {
        return root(layer(3, R"("ks":{"o":{"a":1,"k":[)" + frames + "]}}"));
    };
    EXPECT_TRUE(accepts(opacity(R"({"t":0,"s":[1]},{"t":9,"s":[2]})")));
    EXPECT_TRUE(accepts(opacity(R"({"t":0,"s":[1],"e":[2]},{"t":9})")));
    EXPECT_TRUE(accepts(opacity(R"({"t":0,"s":[1],"h":1})")));
    EXPECT_FALSE(accepts(opacity(R"({"t":0},{"t":9,"s":[2]})")));
    EXPECT_FALSE(accepts(opacity(R"({"t":0,"s":[1]},{"t":5},{"t":9,"s":[2]})")));
    EXPECT_FALSE(accepts(opacity(R"({"s":[1]},{"t":9,"s":[2]})")));
    EXPECT_FALSE(accepts(opacity(R"({"t":0,"s":[1],"e":[2]})")));
    EXPECT_FALSE(accepts(opacity(R"({"t":0,"s":[1]},7)")));
    EXPECT_FALSE(
        accepts(root(layer(3, R"("masksProperties":[{"mode":"a","x":{"k":[{"e":[264]},{}]}}])"))));
    EXPECT_FALSE(accepts(root(layer(3, R"("masksProperties":[{"mode":""}])"))));
    EXPECT_FALSE(accepts(
        root(layer(3, R"("masksProperties":[{"mode":"a","x":{"k":[{"t":50,"s":[262]}]}}])"))));
}

TEST(LottieCheck, MakesLayersWithoutTheirContentEmpty) {
    expectChanged(root(layer(5, "")), "\"ty\":5", "\"ty\":3");
    expectChanged(root(layer(5, R"("t":{})")), "\"ty\":5", "\"ty\":3");
    expectChanged(root(layer(0, R"("refId":"a")")), "\"ty\":0", "\"ty\":3");
    expectChanged(root(layer(2, "")), "\"ty\":2", "\"ty\":3");
    expectChanged(root(layer(2, R"("refId":"a")"), R"("assets":[{"id":"a","layers":[]}],)"),
                  "\"ty\":2", "\"ty\":3");
    expectChanged(root(layer(0, R"("refId":"a")"), R"("assets":[{"id":"a","p":"a.png"}],)"),
                  "\"ty\":0", "\"ty\":3");
    expectChanged(root(layer(3, R"("shapes":[1])")), "\"shapes\"", "\"_hapes\"");
    expectChanged(root(layer(3, R"("shape\u0073":[1])")), "\"shape", "\"_hape");
    expectChanged(root(layer(3, R"("\u0074":1)")), "\"\\u0074", "\"_u0074");
}

string textLayer(const string& document, const string& animators = "") {
    return layer(5, R"("t":{"d":{"k":[{"s":)" + document + R"(,"t":0}]},"p":{},"m":{"g":1},"a":[)" +
                        animators + "]}");
}

TEST(LottieCheck, LooksThroughTexts) {
    const string document = R"({"s":60,"f":"F","t":"words","j":0,"tr":0,"lh":48,"fc":[1,1,1]})";
    const string range = R"({"s":{"t":0,"rn":1,"s":{"k":0},"e":{"k":100}},"a":{"o":{"k":0}}})";
    EXPECT_TRUE(accepts(root(textLayer(document))));
    expectChanged(root(textLayer(document, range)), "\"rn\"", "\"_n\"");
    EXPECT_FALSE(accepts(root(textLayer(replaced(document, "\"words\"", "null")))));
    EXPECT_FALSE(accepts(root(textLayer(replaced(document, "\"F\"", "1")))));
    EXPECT_FALSE(accepts(root(textLayer(replaced(document, "[1,1,1]", "[1,null]")))));
    EXPECT_FALSE(accepts(root(textLayer(R"({"s":60})"))));
    EXPECT_FALSE(accepts(root(layer(5, R"("t":{"d":{"k":[]}})"))));
}

TEST(LottieCheck, LooksThroughGlyphs) {
    const string glyph = R"({"ch":"a","style":"R","fFamily":"F","size":9,"w":5,"data":{"shapes":[)"
                         R"({"ty":"gr","it":[{"ty":"sh","ks":{"k":{"i":[],"o":[],"v":[]}}}]}]}})";
    EXPECT_TRUE(accepts(root("", R"("chars":[)" + glyph + "],")));
    EXPECT_FALSE(accepts(root("", R"("chars":[)" + replaced(glyph, "\"gr\"", "\"fl\"") + "],")));
    EXPECT_FALSE(accepts(root("", R"("chars":[)" + replaced(glyph, "\"sh\"", "\"rc\"") + "],")));
    EXPECT_FALSE(accepts(root("", R"("chars":[)" + replaced(glyph, "\"ch\"", "\"hc\"") + "],")));
    EXPECT_FALSE(accepts(root("", R"("fonts":{"list":[{"fName":"F"}]},"chars":[)" + glyph + "],")));
    EXPECT_TRUE(accepts(
        root("", R"("fonts":{"list":[{"fName":"F","fFamily":"F","fStyle":"R"}]},"chars":[)" +
                     glyph + "],")));
}

// As exporters write a blank, one way or the other.
TEST(LottieCheck, TakesGlyphsWithoutOutline) {
    const string blank = R"({"ch":" ","style":"R","fFamily":"F","size":9,"w":5,"data":{}})";
    const string chars = R"("chars":[)" + blank + "],";
    EXPECT_EQ(drawableTemplate(root("", chars)), root("", chars));
    const string listed = replaced(chars, "{}", R"({"shapes":[]})");
    EXPECT_EQ(drawableTemplate(root("", listed)),
              root("", replaced(listed, R"("shapes":[])", string(11, ' '))));
}

TEST(LottieCheck, LeavesOutExpressionsThatMayNotEnd) {
    const auto opacity = [](const string& expression) {
        return root(layer(3, R"("ks":{"o":{"k":100,"x":")" + expression + "\"}}"));
    };
    const string good = opacity("var $bm_rt; $bm_rt = value / 2;");
    EXPECT_EQ(drawableTemplate(good), good);
    expectChanged(opacity("while(true){}"), "\"x\"", "\"_\"");
    expectChanged(opacity(R"(\u0077hile(1){})"), "\"x\"", "\"_\"");
    expectChanged(root(layer(3, R"("ks":{"o":{"x":"value"}})")), "\"x\"", "\"_\"");
    expectChanged(
        replaced(root(textLayer(R"({"t":"a","f":"F"})")), "\"d\":{", R"("d":{"x":"for(;;);",)"),
        "\"x\"", "\"_\"");
}

TEST(LottieCheck, KnowsExpressionsThatEnd) {
    for (const char* good :
         {"", "value", "var $bm_rt; $bm_rt = $bm_sum(value, 2);",
          "var txt = thisComp.layer('.f1').text.sourceText.value; $bm_rt = /\\S/.test(txt) ? 1 : "
          "0;",
          "if (s > 100) { s = 100; } else { s = 1; }", "$bm_rt = [\n x, value[1]\n];",
          "x = (a + b) * c; format = 1; dot = whiles;", "try { a; } catch (e) { b; }",
          "$bm_rt = loopOut('cycle');"})
        EXPECT_TRUE(quol::expressionEnds(good)) << good;
    for (const char* bad :
         {"while(true){}", "for(;;);", "do{}while(1)", "a; for (i in b) c;",
          "function f(){f()} f()", "(()=>1)()", "Function('a')()", "eval('a')",
          "a = {f() { this.f(); }}; a.f()", "Math['constr' + 'uctor']", "a[b]('c')",
          "a.constructor('b')", "`${a}`", "ev\\u0061l('a')", "class A { }", "'a'.repeat(1e9)",
          "/(a+)+$/.test('aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa!')"})
        EXPECT_FALSE(quol::expressionEnds(bad)) << bad;
    EXPECT_TRUE(quol::expressionEnds(string(16384, ' ')));
    EXPECT_FALSE(quol::expressionEnds(string(16385, ' ')));
}

TEST(LottieCheck, KnowsExpressionsThatGiveAList) {
    for (const char* good :
         {"", "var $bm_rt;\n$bm_rt = [\n a,\n b];", "var $bm_rt=loopOut('cycle');",
          "$bm_rt = value;", "$bm_rt = wiggle(1, 2)"})
        EXPECT_TRUE(quol::expressionGivesList(good)) << good;
    for (const char* bad : {"$bm_rt = 0;", "var $bm_rt=0;", "$bm_rt = [1]; $bm_rt = 2;", "$bm_rt++",
                            "$bm_rt = value[0];"})
        EXPECT_FALSE(quol::expressionGivesList(bad)) << bad;
    expectChanged(root(layer(3, R"("ks":{"p":{"k":[1,2],"x":"$bm_rt = 0;"}})")), "\"x\"", "\"_\"");
    expectChanged(root(layer(3, R"("ks":{"s":{"k":0,"x":"$bm_rt = 0;"}})")), "\"x\"", "\"_\"");
    expectChanged(root(layer(3, R"("ks":{"r":{"x":"value","k":1}})")), "\"x\"", "\"_\"");
    expectChanged(root(shapeLayer(R"({"ty":"sh","ks":{"k":{"i":[],"o":[],"v":[]},"x":"value"}})")),
                  "\"x\"", "\"_\"");
    expectChanged(root(layer(3, R"("ks":{"r":{"k":1,"x":1}})")), "\"x\"", "\"_\"");
}

TEST(LottieCheck, AcceptsWhatRealTemplatesAreMadeOf) {
    const string mask =
        R"("hasMask":true,"masksProperties":[{"inv":false,"mode":"a","pt":{"a":0,"k":{"i":[[0,0]],)"
        R"("o":[[0,0]],"v":[[0,0]],"c":true},"ix":1},"o":{"a":0,"k":100},"x":{"a":0,"k":0}}])";
    const string ks =
        R"("ks":{"o":{"a":1,"k":[{"i":{"x":[0.8],"y":[1]},"o":{"x":[0.1],"y":[0]},"t":0,"s":[0]},)"
        R"({"t":9,"s":[100]}],"ix":11},"p":{"s":true,"x":{"a":0,"k":1},"y":{"a":0,"k":2}},)"
        R"("a":{"a":0,"k":[0,0,0],"l":2},"s":{"a":0,"k":[100,100,100]},"r":{"a":0,"k":0}})";
    const string effect =
        R"("ef":[{"ty":5,"nm":"Fill","np":9,"mn":"ADBE Fill","ix":1,"en":1,"ef":[{"ty":10,"nm":"M",)"
        R"("v":{"a":0,"k":0}},{"ty":6,"nm":"N","v":0},{"ty":2,"nm":"C","v":{"k":[1,0,0,1]}}]}])";
    const string stroke =
        R"({"ty":"st","c":{"k":[1,0,0,1]},"o":{"k":100},"w":{"k":2},"lc":1,"lj":1,)"
        R"("ml":4,"ml2":{"k":4},"d":[{"n":"d","nm":"dash","v":{"k":5}}]})";
    const string trim = R"({"ty":"tm","s":{"k":0},"e":{"k":50},"o":{"k":0},"m":1})";
    EXPECT_TRUE(accepts(root(shapeLayer(box + ',' + stroke + ',' + trim))));
    EXPECT_TRUE(accepts(root(layer(4, mask + ',' + ks + ',' + effect + R"(,"shapes":[])"))));
    EXPECT_TRUE(accepts(root(layer(1, R"("sw":160,"sh":48,"sc":"#ff0000")"))));
    EXPECT_TRUE(accepts(root(layer(2, R"("refId":"i","cl":"png")"),
                             R"("v":"5.7.0","ddd":0,"nm":"n","props":{},"assets":[{"id":"i","w":1,)"
                             R"("h":1,"u":"images/","p":"a.png","e":0}],"markers":[{"tm":0,)"
                             R"("cm":"IN","dr":0}],"fonts":{"list":[]},"chars":[],)")));
    EXPECT_FALSE(accepts(root("", R"("assets":[{"id":"i","p":"data:image/png;base64"}],)")));
    EXPECT_TRUE(accepts(root("", R"("assets":[{"id":"i","p":"data:image/png;base64,AA=="}],)")));
}

TEST(LottieCheck, StandsBeforeTheEngine) {
    if (!quol::hasLottieEngine()) GTEST_SKIP() << "built without Lottie";
    const quol::LottieEngine engine;
    for (const std::string& json : {root(shapeLayer(box)), root(layer(5, ""))}) {
        const auto drawable = DrawableTemplate::of(json);
        ASSERT_TRUE(drawable);
        EXPECT_TRUE(quol::LottieTemplate::load(*drawable, ""));
    }
    EXPECT_FALSE(DrawableTemplate::of(root(shapeLayer(box)) + '}'));
    EXPECT_FALSE(DrawableTemplate::of(partsInside(30, 8)));
}

// A text changed in place is what a look at the changed template gives, or is not done.
TEST(LottieCheck, KnowsWhatAPlainTextChanges) {
    const auto withText = [](const std::string& text) {
        return root(layer(2, R"("t":{},"nm":"left out")") + ',' +
                    layer(5, R"("nm":"n","t":{"d":{"k":[{"s":{"f":"F","t":")" + text +
                                 R"("},"t":0}]},"p":{},"m":{},"a":[]})"));
    };
    const auto change = [&](const std::string& from, const std::string& to) {
        const std::string json = withText(from);
        auto drawable = DrawableTemplate::of(json);
        const auto piece = quol::findLayerText(json, "n");
        if (!drawable || !piece) {
            ADD_FAILURE() << json;
            return false;
        }
        const std::string before = drawable->json();
        EXPECT_NE(before, json); // one layer has a text that is not its own
        const bool done = drawable->replaceText(*piece, to);
        EXPECT_EQ(drawable->json(), done ? drawableTemplate(withText(to)) : before) << to;
        return done;
    };
    for (const char* const plain :
         {"", "a", "a longer text than before", "\xc4\xb0\x7f", "{}[],:'"}) {
        EXPECT_TRUE(change("before", plain)) << plain;
        EXPECT_TRUE(change(plain, "after")) << plain;
    }
    for (const char* const other : {"\"", "\\", "a\\nb", "a\nb", "\x1f", "\",\"f\":\""})
        EXPECT_FALSE(change("before", other)) << other;
    EXPECT_FALSE(change(R"(say \"yes\")", "after"));
    EXPECT_FALSE(change("before", std::string(1, '\0')));
}

} // namespace

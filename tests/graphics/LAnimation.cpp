// Templates: what is loaded, and what is changed in it. How they play: LAnimationPlayback.cpp.
#include "quolsdk/LAnimation.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "graphics/LottieEngine.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/LottieTemplates.h"
#include "support/SteppedAnimation.h"

namespace {

using test::aeLayer;
using test::boxTemplate;
using test::cavalryLayer;
using test::CollectingSink;
using test::columnOf;
using test::columnsTemplate;
using test::imageTemplate;
using test::lottieMarker;
using test::lottieOf;
using test::middleOf;
using test::pixelAt;
using test::pixelOf;
using test::plainFill;
using test::SteppedAnimation;
using test::temporaryPath;
using test::textTemplate;
using test::told;
using test::writeFile;
using test::writePng;

const char* const red = "1,0,0,1";

std::ptrdiff_t threads() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

class LAnimationTest : public testing::Test {
protected:
    void SetUp() override {
        if (!quol::hasLottieEngine()) GTEST_SKIP() << "built without Lottie templates";
    }
};

// --------------------------------------------------------------- a library without the engine

TEST(LAnimationLeftOut, RefusesEveryTemplateWithALineAndDoesNothingElse) {
    if (quol::hasLottieEngine()) GTEST_SKIP() << "built with Lottie templates";
    const std::string path = writeFile("box.json", boxTemplate(red));
    LAnimation animation;
    const std::ptrdiff_t before = threads();
    const std::string lines = told([&] { EXPECT_FALSE(animation.loadTemplate(1, path)); });
    EXPECT_EQ(lines, "LAnimation: Lottie destegi olmadan derlendi, yuklenemedi: " + path + "\n");
    EXPECT_EQ(threads(), before);
    animation.play(1);
    animation.stop(1);
    animation.close(1);
}

// ------------------------------------------------------------------------- before any template

class LAnimationStart : public LAnimationTest {};

TEST_F(LAnimationStart, ThereIsNoThreadAndNoPictureBeforeTheFirstTemplate) {
    LAnimation animation;
    animation.setVideoFormat(test::lottieFormat());
    CollectingSink sink;
    animation.addSink(&sink);
    const std::ptrdiff_t before = threads();
    animation.play(1);
    animation.stop(1);
    animation.close(1);
    animation.addMarker(1, "IN", 3);
    animation.update(1, "box", "text");
    EXPECT_FALSE(animation.loadTemplate(1, temporaryPath("no such file.json")));
    EXPECT_FALSE(sink.waitForPictures(1, std::chrono::milliseconds(100)));
    EXPECT_EQ(threads(), before);
    EXPECT_TRUE(animation.loadTemplate(1, writeFile("box.json", boxTemplate(red))));
    EXPECT_TRUE(sink.waitForPictures(1));
    EXPECT_EQ(threads(), before + 1);
    animation.removeSink(&sink);
}

TEST_F(LAnimationStart, ASecondTemplateStartsNoSecondThread) {
    SteppedAnimation stepped;
    ASSERT_TRUE(stepped.load(1, boxTemplate(red)));
    const std::ptrdiff_t before = threads();
    ASSERT_TRUE(stepped.load(1, boxTemplate(red)));
    ASSERT_TRUE(stepped.load(2, boxTemplate(red)));
    EXPECT_EQ(threads(), before);
}

// A working folder of the test's own.
class OtherFolder {
public:
    explicit OtherFolder(const std::string& name) : before_(std::filesystem::current_path()) {
        std::filesystem::create_directories(temporaryPath(name));
        std::filesystem::current_path(temporaryPath(name));
    }
    ~OtherFolder() { std::filesystem::current_path(before_); }
    OtherFolder(const OtherFolder&) = delete;
    OtherFolder& operator=(const OtherFolder&) = delete;

private:
    const std::filesystem::path before_;
};

// Any font file of the system; empty where there is none.
std::filesystem::path anyFont() {
    std::error_code none;
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator("/usr/share/fonts", none))
        if (entry.path().extension() == ".ttf") return entry.path();
    return {};
}

TEST_F(LAnimationStart, TheFirstFontThatCanBeReadIsLoaded) {
    const std::filesystem::path font = anyFont();
    if (font.empty()) GTEST_SKIP() << "no font on this machine";
    const OtherFolder folder("fonts");
    std::filesystem::create_directories("template");
    std::ofstream("template/RobotoCondensed-Bold.ttf") << "no font";
    std::filesystem::copy_file(font, "Roboto-Regular.ttf",
                               std::filesystem::copy_options::overwrite_existing);
    EXPECT_EQ(told([] { const LAnimation animation; }),
              "LAnimation: Font basariyla yuklendi: Roboto-Regular.ttf\n");
    std::filesystem::copy_file(font, "template/Roboto-Bold.ttf",
                               std::filesystem::copy_options::overwrite_existing);
    EXPECT_EQ(told([] { const LAnimation animation; }),
              "LAnimation: Font basariyla yuklendi: template/Roboto-Bold.ttf\n");
    std::filesystem::remove_all("template");
}

TEST_F(LAnimationStart, EachFontIsLookedForBeforeThoseBehindIt) {
    const std::filesystem::path font = anyFont();
    if (font.empty()) GTEST_SKIP() << "no font on this machine";
    const OtherFolder folder("each font");
    std::filesystem::create_directories("template");
    for (const char* const file :
         {"Roboto-Regular.ttf", "Roboto-Bold.ttf", "template/Roboto-Regular.ttf",
          "template/Roboto-Bold.ttf", "RobotoCondensed-Regular.ttf", "RobotoCondensed-Bold.ttf",
          "template/RobotoCondensed-Regular.ttf", "template/RobotoCondensed-Bold.ttf"}) {
        std::filesystem::copy_file(font, file, std::filesystem::copy_options::overwrite_existing);
        EXPECT_EQ(told([] { const LAnimation animation; }),
                  std::string("LAnimation: Font basariyla yuklendi: ") + file + "\n");
    }
}

TEST_F(LAnimationStart, IsToldWhereThereIsNoFont) {
    for (const char* file : {"/usr/share/fonts/liberation/LiberationSans-Regular.ttf",
                             "/usr/share/fonts/TTF/DejaVuSans.ttf"})
        if (std::filesystem::exists(file)) GTEST_SKIP() << file << " is there";
    const OtherFolder folder("no fonts");
    EXPECT_EQ(told([] { const LAnimation animation; }),
              "LAnimation: UYARI - Hicbir sistem fontu yuklenemedi!\n");
}

// ------------------------------------------------------------------------------------- loading

class LAnimationLoad : public LAnimationTest {
protected:
    // That `path` cannot be loaded, and what is told of it.
    void expectRefused(const std::string& path, const std::string& line) {
        bool isLoaded = true;
        EXPECT_EQ(told([&] { isLoaded = animation.loadTemplate(7, path); }), line);
        EXPECT_FALSE(isLoaded);
    }

    LAnimation animation;
};

TEST_F(LAnimationLoad, TellsFramesAndRate) {
    SteppedAnimation stepped;
    EXPECT_EQ(told([&] {
                  stepped.load(1, boxTemplate(red, {10, 25.0}));
              }),
              "LAnimation: Katman 1 yuklendi. Toplam Kare: 10, FPS: 25\n");
    EXPECT_EQ(told([&] {
                  stepped.load(-3, boxTemplate(red, {7, 12.5}));
              }),
              "LAnimation: Katman -3 yuklendi. Toplam Kare: 7, FPS: 12.5\n");
}

TEST_F(LAnimationLoad, ShowsTheTemplateWithItsColour) {
    SteppedAnimation stepped;
    ASSERT_TRUE(stepped.load(1, lottieOf(aeLayer("box", plainFill(red), {0, 0, 80, 48}))));
    const quol::FramePtr picture = stepped.picture();
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(picture->format, AV_PIX_FMT_YUVA420P);
    EXPECT_EQ(picture->width, test::lottieWidth);
    EXPECT_EQ(picture->height, test::lottieHeight);
    EXPECT_EQ(pixelAt(picture, 2, 2), pixelOf(255, 0, 0));
    EXPECT_EQ(pixelAt(picture, 70, 40), pixelOf(255, 0, 0));
    EXPECT_EQ(pixelAt(picture, 90, 24), pixelOf(0, 0, 0, 0));
}

TEST_F(LAnimationLoad, ColoursArePremultiplied) {
    std::string half = boxTemplate(red);
    const std::string opacity = R"("o":{"a":0,"k":100},"r":1)";
    ASSERT_NE(half.find(opacity), std::string::npos);
    half.replace(half.find(opacity), opacity.size(), R"("o":{"a":0,"k":50},"r":1)");
    SteppedAnimation stepped;
    ASSERT_TRUE(stepped.load(1, half));
    EXPECT_EQ(middleOf(stepped.picture()), pixelOf(128, 0, 0, 128));
}

TEST_F(LAnimationLoad, WhatIsNoFileIsRefused) {
    for (const std::string& path :
         {std::string(), std::string("no such file.json"), temporaryPath("no such file.json"),
          temporaryPath("no such folder/box.json"), std::string("/"), temporaryPath("")})
        expectRefused(path, "LAnimation: Dosya acilamadi: " + path + "\n");
}

TEST_F(LAnimationLoad, APipeIsRefusedAndNotWaitedFor) {
    const std::string path = temporaryPath("pipe.json");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    expectRefused(path, "LAnimation: Dosya acilamadi: " + path + "\n");
    std::filesystem::remove(path);
}

TEST_F(LAnimationLoad, ATextThatIsNoTemplateIsRefused) {
    for (const std::string& text :
         {std::string(), std::string("a lower third"), std::string(100000, '\0'), std::string("{}"),
          std::string("[]"), std::string(100000, '{'), std::string(R"({"v":"5.7.0")")}) {
        const std::string path = writeFile("bad.json", text);
        expectRefused(path, "LAnimation: Lottie verisi yuklenemedi! Katman: 7\n");
    }
}

TEST_F(LAnimationLoad, ATemplateThatIsCutShortIsRefused) {
    const std::string text = boxTemplate(red);
    const std::string path = writeFile("bad.json", text.substr(0, text.size() - 20));
    expectRefused(path, "LAnimation: Lottie verisi yuklenemedi! Katman: 7\n");
}

TEST_F(LAnimationLoad, WhatIsRefusedLeavesThePictureThatIsThere) {
    SteppedAnimation stepped;
    ASSERT_TRUE(stepped.load(1, boxTemplate(red)));
    EXPECT_FALSE(stepped.animation.loadTemplate(1, temporaryPath("no such file.json")));
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(255, 0, 0));
    EXPECT_FALSE(stepped.load(1, "a lower third"));
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(255, 0, 0));
}

TEST_F(LAnimationLoad, AnotherTemplateReplacesTheOneInItsLayerAndStarts) {
    SteppedAnimation stepped;
    ASSERT_TRUE(
        stepped.load(1, columnsTemplate(lottieMarker("IN", 5) + ',' + lottieMarker("STOP", 7))));
    EXPECT_EQ(columnOf(stepped.picture()), 5);
    for (int i = 0; i < 5; ++i)
        stepped.step();
    EXPECT_EQ(columnOf(stepped.step()), 7); // held
    ASSERT_TRUE(stepped.load(1, columnsTemplate()));
    for (int i = 0; i < 12; ++i) // neither IN nor STOP is left
        EXPECT_EQ(columnOf(stepped.step()), i);
    ASSERT_TRUE(stepped.load(1, boxTemplate(red)));
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(255, 0, 0));
}

TEST_F(LAnimationLoad, AnotherTemplateLeavesNoMarkerOfTheOneBefore) {
    SteppedAnimation stepped;
    ASSERT_TRUE(stepped.load(1, columnsTemplate(lottieMarker("LOOP", 4))));
    stepped.animation.addMarker(1, "OUT", 15);
    ASSERT_TRUE(stepped.load(1, columnsTemplate("", {6, 1024.0})));
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(columnOf(stepped.step()), i % 6) << "it begins again at 0";
    stepped.animation.stop(1);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(columnOf(stepped.step()), i) << "it plays on to the end";
    EXPECT_TRUE(test::isTransparent(stepped.step()));
}

TEST_F(LAnimationLoad, ATemplateOnItsWayOutIsReplacedByOneThatStays) {
    SteppedAnimation stepped;
    ASSERT_TRUE(stepped.load(1, columnsTemplate()));
    stepped.animation.stop(1);
    ASSERT_TRUE(stepped.load(1, columnsTemplate()));
    stepped.step();
    for (int i = 1; i < 45; ++i)
        ASSERT_EQ(columnOf(stepped.step()), i % 20);
}

TEST_F(LAnimationLoad, AMarkerNeedsItsTimeBeforeItsName) {
    SteppedAnimation stepped;
    ASSERT_TRUE(stepped.load(1, columnsTemplate(R"({"cm":"IN","tm":5,"dr":0})")));
    EXPECT_EQ(columnOf(stepped.picture()), 0);
}

TEST_F(LAnimationLoad, AMarkerThatIsNoNumberRaisesAndLeavesEverythingAsItWas) {
    SteppedAnimation stepped;
    ASSERT_TRUE(stepped.load(1, boxTemplate(red)));
    const auto load = [&](const std::string& time) {
        stepped.load(1, columnsTemplate(R"({"tm":)" + time + R"(,"cm":"IN","dr":0})"));
    };
    EXPECT_THROW(load("x"), std::invalid_argument);
    EXPECT_THROW(load("99999999999"), std::out_of_range);
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(255, 0, 0));
    EXPECT_EQ(told([&] { load("5"); }),
              "LAnimation: Katman 1 yuklendi. Toplam Kare: 20, FPS: 1024\n");
    EXPECT_EQ(columnOf(stepped.step()), 5);
}

TEST_F(LAnimationLoad, ImagesAreLookedForBesideTheTemplate) {
    writeFile("pictures/deep/x", "");
    ASSERT_TRUE(writePng(temporaryPath("pictures/deep/blue.png"), 0, 0, 255));
    SteppedAnimation stepped;
    const std::string path =
        writeFile("pictures/image.json", imageTemplate("Logo", "image_0", "deep/", "blue.png"));
    ASSERT_TRUE(stepped.animation.loadTemplate(1, path));
    EXPECT_EQ(middleOf(stepped.picture()), pixelOf(0, 0, 255));
    ASSERT_TRUE(stepped.load(1, imageTemplate("Logo", "image_0", temporaryPath("pictures/deep/"),
                                              "blue.png"))); // an absolute folder stays
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(0, 0, 255));
}

// Where the program runs may be anywhere beside it, and changes load it anew.
TEST_F(LAnimationLoad, ImagesOfATemplateWithARelativePathStayThroughChanges) {
    writeFile("beside/inner/x", "");
    ASSERT_TRUE(writePng(temporaryPath("beside/inner/blue.png"), 0, 0, 255));
    writeFile("beside/beside/inner/x", ""); // where the path leads from the template's own folder
    ASSERT_TRUE(writePng(temporaryPath("beside/beside/inner/blue.png"), 255, 255, 0));
    std::string json = imageTemplate("Logo", "image_0", "inner/", "blue.png");
    const std::string layers = R"("layers":[)";
    json.insert(json.find(layers) + layers.size(),
                aeLayer("box", plainFill(red), {0, 0, 8, 8}) + ',');
    const std::filesystem::path file(writeFile("beside/image.json", json));
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(file.parent_path().parent_path());
    SteppedAnimation stepped;
    EXPECT_TRUE(stepped.animation.loadTemplate(1, "beside/image.json"));
    EXPECT_EQ(middleOf(stepped.picture()), pixelOf(0, 0, 255));
    EXPECT_EQ(told([&] { stepped.animation.updateColor(1, "box", "#00FF00"); }),
              "LAnimation: Katman 1 rengi guncellendi: box (AE Style) -> #00FF00 (Bellekten)\n");
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(0, 0, 255));
    std::filesystem::current_path(before);
}

// ---------------------------------------------------------------------------------------- fonts

// The letter is of one family and the text asks for another, written so that it stays as it is.
TEST_F(LAnimationLoad, LettersOfEveryFamilyAreThoseOfOne) {
    const auto lettersSeen = [](const std::string& asked) {
        std::string json = textTemplate("Name", "B");
        const std::string own = R"("fFamily":"Any Family")";
        json.replace(json.find(own), own.size(), R"("fFamily": ")" + asked + '"');
        SteppedAnimation stepped;
        EXPECT_TRUE(stepped.load(1, json));
        return test::alphaAt(stepped.picture(), 30, 24) > 200;
    };
    EXPECT_TRUE(lettersSeen("DejaVu Sans"));
    EXPECT_FALSE(lettersSeen("Any Family"));
}

// -------------------------------------------------------------------------------------- colours

class LAnimationColor : public LAnimationTest {
protected:
    std::string change(const std::string& layer, const std::string& color,
                       const std::string& color2 = "", const std::string& param = "") {
        return told([&] { stepped.animation.updateColor(1, layer, color, color2, param); });
    }

    SteppedAnimation stepped;
};

TEST_F(LAnimationColor, OfALayerNamedBeforeIt) {
    ASSERT_TRUE(stepped.load(1, boxTemplate(red)));
    EXPECT_EQ(change("box", "#0000FF"),
              "LAnimation: Katman 1 rengi guncellendi: box (AE Style) -> #0000FF (Bellekten)\n");
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(0, 0, 255));
    EXPECT_EQ(change("box", "00ff00"),
              "LAnimation: Katman 1 rengi guncellendi: box (AE Style) -> 00ff00 (Bellekten)\n");
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(0, 255, 0));
    EXPECT_EQ(change("box", "#336699CC"),
              "LAnimation: Katman 1 rengi guncellendi: box (AE Style) -> #336699CC (Bellekten)\n");
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(0x33, 0x66, 0x99));
}

TEST_F(LAnimationColor, OfALayerNamedBehindIt) {
    ASSERT_TRUE(
        stepped.load(1, lottieOf(cavalryLayer("left", plainFill(red), {0, 0, 80, 48}) + ',' +
                                 cavalryLayer("right", plainFill(red), {80, 0, 80, 48}))));
    EXPECT_EQ(
        change("right", "#0000FF"),
        "LAnimation: Katman 1 rengi guncellendi: right (Cavalry Style) -> #0000FF (Bellekten)\n");
    const quol::FramePtr picture = stepped.step();
    EXPECT_EQ(pixelAt(picture, 40, 24), pixelOf(255, 0, 0));
    EXPECT_EQ(pixelAt(picture, 120, 24), pixelOf(0, 0, 255));
}

TEST_F(LAnimationColor, OfTheNamedLayerOnly) {
    ASSERT_TRUE(stepped.load(1, lottieOf(aeLayer("left", plainFill(red), {0, 0, 80, 48}) + ',' +
                                         aeLayer("right", plainFill(red), {80, 0, 80, 48}))));
    change("right", "#0000FF");
    const quol::FramePtr picture = stepped.step();
    EXPECT_EQ(pixelAt(picture, 40, 24), pixelOf(255, 0, 0));
    EXPECT_EQ(pixelAt(picture, 120, 24), pixelOf(0, 0, 255));
}

TEST_F(LAnimationColor, TwoOfThemMakeAGradient) {
    ASSERT_TRUE(stepped.load(1, lottieOf(aeLayer("box", test::gradientFill("0,1,0,0,1,1,0,0")))));
    EXPECT_EQ(middleOf(stepped.picture()), pixelOf(255, 0, 0));
    EXPECT_EQ(change("box", "#00FF00", "#0000FF", "g"),
              "LAnimation: Katman 1 rengi guncellendi: box (AE Style) -> #00FF00 to #0000FF "
              "(Bellekten)\n");
    const quol::FramePtr picture = stepped.step();
    EXPECT_EQ(pixelAt(picture, 0, 24), pixelOf(0, 255, 0));
    EXPECT_EQ(pixelAt(picture, 159, 24), pixelOf(0, 0, 255));
    EXPECT_EQ(middleOf(picture), pixelOf(0, 128, 128));
}

TEST_F(LAnimationColor, OfAPropertyByItsName) {
    const std::string stroke =
        R"({"ty":"st","accent":{"a":0,"k":[1,1,1,1]},"o":{"a":0,"k":100},"w":{"a":0,"k":0}},)";
    ASSERT_TRUE(stepped.load(1, lottieOf(aeLayer("box", stroke + plainFill(red)))));
    change("box", "#0000FF", "", "accent"); // nothing that is drawn
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(255, 0, 0));
    change("box", "#0000FF", "", "no such property"); // the first colour then
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(0, 0, 255));
}

TEST_F(LAnimationColor, FewerThanSixDigitsDoNothingAndTellNothing) {
    ASSERT_TRUE(stepped.load(1, boxTemplate(red)));
    for (const char* color : {"", "#", "#12", "12345", "#12345"}) {
        EXPECT_EQ(change("box", color), "") << color;
        EXPECT_EQ(middleOf(stepped.step()), pixelOf(255, 0, 0)) << color;
    }
}

TEST_F(LAnimationColor, DigitsThatAreNoneRaiseAndChangeNothing) {
    ASSERT_TRUE(stepped.load(1, boxTemplate(red)));
    EXPECT_THROW(stepped.animation.updateColor(1, "box", "#00zz00"), std::invalid_argument);
    EXPECT_THROW(stepped.animation.updateColor(1, "box", "#0000FF", "no hue"),
                 std::invalid_argument);
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(255, 0, 0));
    // From another thread: the layers are not left locked.
    std::async(std::launch::async, [&] {
        stepped.animation.updateColor(1, "box", "#0000FF");
    }).get();
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(0, 0, 255));
}

TEST_F(LAnimationColor, UnknownNamesAreTold) {
    ASSERT_TRUE(stepped.load(1, boxTemplate(red)));
    EXPECT_EQ(told([&] { stepped.animation.updateColor(2, "box", "#0000FF"); }),
              "LAnimation: Katman bulunamadi: 2\n");
    EXPECT_EQ(change("Box", "#0000FF"), "LAnimation: Katman adı bulunamadi: Box\n");
    EXPECT_EQ(change("", "#0000FF"), "LAnimation: Katman adı bulunamadi: \n");
    ASSERT_TRUE(stepped.load(1, textTemplate("Title", "A")));
    EXPECT_EQ(change("Title", "#0000FF"),
              "LAnimation: Renk parametresi bulunamadi. Katman: Title\n");
}

// --------------------------------------------------------------------------------------- texts

class LAnimationText : public LAnimationTest {
protected:
    std::string change(const std::string& layer, const std::string& text) {
        return told([&] { stepped.animation.update(1, layer, text); });
    }

    // The letter B is wide, A is not.
    bool isWide(const quol::FramePtr& picture) {
        EXPECT_GT(test::alphaAt(picture, 10, 24), 200);
        return test::alphaAt(picture, 60, 24) > 200;
    }

    SteppedAnimation stepped;
};

TEST_F(LAnimationText, IsChangedWhileItPlays) {
    ASSERT_TRUE(stepped.load(1, textTemplate("Title", "A")));
    EXPECT_FALSE(isWide(stepped.picture()));
    EXPECT_EQ(change("Title", "B"), "LAnimation: Katman 1 metni guncellendi (Bellekten): B\n");
    EXPECT_TRUE(isWide(stepped.step()));
    EXPECT_EQ(change("Title", "A"), "LAnimation: Katman 1 metni guncellendi (Bellekten): A\n");
    EXPECT_FALSE(isWide(stepped.step()));
}

TEST_F(LAnimationText, ADoubleQuoteBreaksTheTemplateAndThePictureStays) {
    ASSERT_TRUE(stepped.load(1, textTemplate("Title", "B")));
    EXPECT_TRUE(isWide(stepped.picture()));
    EXPECT_EQ(change("Title", "A\"A"),
              "LAnimation: Metin guncellendi ama ThorVG bellekten yukleyemedi!\n");
    EXPECT_TRUE(isWide(stepped.step()));
    EXPECT_TRUE(isWide(stepped.step()));
    // The break stays in the text until the template is loaded again.
    EXPECT_EQ(change("Title", "A"),
              "LAnimation: Metin guncellendi ama ThorVG bellekten yukleyemedi!\n");
    EXPECT_TRUE(isWide(stepped.step()));
    ASSERT_TRUE(stepped.load(1, textTemplate("Title", "B")));
    EXPECT_EQ(change("Title", "A"), "LAnimation: Katman 1 metni guncellendi (Bellekten): A\n");
    EXPECT_FALSE(isWide(stepped.step()));
}

TEST_F(LAnimationText, AnEscapedDoubleQuoteDoesNot) {
    ASSERT_TRUE(stepped.load(1, textTemplate("Title", "B")));
    EXPECT_EQ(change("Title", "A\\\"A"),
              "LAnimation: Katman 1 metni guncellendi (Bellekten): A\\\"A\n");
}

// A blank brings no outline along, or an empty list of them.
TEST_F(LAnimationText, MayHaveBlanks) {
    for (const char* const data : {"{}", R"({"shapes":[]})"}) {
        std::string json = textTemplate("Title", " A");
        const std::string glyphs = R"("chars":[)";
        ASSERT_NE(json.find(glyphs), std::string::npos);
        json.insert(json.find(glyphs) + glyphs.size(),
                    std::string(R"({"ch":" ","size":20,"style":"Regular","w":10,"data":)") + data +
                        R"(,"fFamily":"Any Family"},)");
        SteppedAnimation stepped;
        ASSERT_TRUE(stepped.load(1, json));
        EXPECT_FALSE(test::isTransparent(stepped.picture()));
    }
}

// A range of letters in random order that has run to its end is one that the engine divides by.
TEST_F(LAnimationText, LettersInRandomOrderAreShownToTheEnd) {
    for (const char* const random : {R"("rn":1)", "\"rn\" :\n 255"}) {
        std::string json = textTemplate("Title", "A");
        const std::string none = R"("a":[]})";
        ASSERT_NE(json.find(none), std::string::npos);
        json.replace(json.find(none), none.size(),
                     std::string(R"("a":[{"s":{"t":0,"xe":{"a":0,"k":100},"ne":{"a":0,"k":50},)"
                                 R"("a":{"a":0,"k":100},"b":1,)") +
                         random +
                         R"(,"sh":3,"o":{"a":0,"k":100},"r":1},)"
                         R"("a":{"p":{"a":0,"k":[0,1,0]}}}]})");
        SteppedAnimation stepped;
        ASSERT_TRUE(stepped.load(1, json));
        for (int i = 0; i < 5; ++i)
            ASSERT_NE(stepped.step(), nullptr);
        EXPECT_FALSE(test::isTransparent(stepped.picture()));
    }
}

TEST_F(LAnimationText, ABreakIsCarriedIntoTheNextChangeOfAColour) {
    const std::string box = ',' + aeLayer("box", plainFill(red));
    std::string both = textTemplate("Title", "B");
    both.insert(both.rfind("]}"), box);
    ASSERT_TRUE(stepped.load(1, both));
    change("Title", "\"");
    EXPECT_EQ(told([&] { stepped.animation.updateColor(1, "box", "#0000FF"); }),
              "LAnimation: Renk guncellendi ama ThorVG bellekten yukleyemedi!\n");
    EXPECT_EQ(pixelAt(stepped.step(), 4, 2), pixelOf(255, 0, 0));
}

TEST_F(LAnimationText, UnknownNamesAreTold) {
    EXPECT_EQ(change("Title", "A"), "LAnimation: Katman bulunamadi: 1\n");
    ASSERT_TRUE(stepped.load(1, textTemplate("Title", "B")));
    EXPECT_EQ(change("title", "A"), "LAnimation: Katman bulunamadi: title\n");
    EXPECT_TRUE(isWide(stepped.step()));
    ASSERT_TRUE(stepped.load(1, boxTemplate(red)));
    EXPECT_EQ(change("box", "A"), "LAnimation: Katman bulunamadi: box\n"); // no text in it
}

TEST_F(LAnimationText, ALayerWhoseFileWasNoTemplateIsKnownByItsText) {
    EXPECT_FALSE(stepped.load(1, "a lower third"));
    EXPECT_EQ(change("Title", "A"), "LAnimation: Katman bulunamadi: Title\n");
    EXPECT_FALSE(stepped.load(1, ""));
    EXPECT_EQ(change("Title", "A"), "");
    EXPECT_EQ(told([&] { stepped.animation.updateColor(1, "Title", "#0000FF"); }), "");
}

TEST_F(LAnimationText, AChangeKeepsTheFrameThatIsShown) {
    ASSERT_TRUE(stepped.load(1, columnsTemplate()));
    for (int i = 1; i < 5; ++i)
        stepped.step();
    stepped.animation.updateColor(1, "column", "#0000FF");
    EXPECT_EQ(columnOf(stepped.step()), 5);
    ASSERT_TRUE(stepped.load(1, columnsTemplate(lottieMarker("STOP", 4))));
    for (int i = 0; i < 8; ++i)
        stepped.step();
    stepped.animation.updateColor(1, "column", "#0000FF");
    EXPECT_EQ(columnOf(stepped.step()), 4); // held, it is not moved by the clock
}

// -------------------------------------------------------------------------------------- images

class LAnimationImage : public LAnimationTest {
protected:
    void SetUp() override {
        LAnimationTest::SetUp();
        if (IsSkipped()) return;
        std::filesystem::remove_all(temporaryPath("show"));
        std::filesystem::remove_all(temporaryPath("from"));
        writeFile("show/images/x", "");
        writeFile("from/x", "");
        ASSERT_TRUE(writePng(temporaryPath("show/images/blue.png"), 0, 0, 255));
        ASSERT_TRUE(writePng(temporaryPath("from/a green one.png"), 0, 255, 0));
    }

    bool load(const std::string& json) {
        return stepped.animation.loadTemplate(1, writeFile("show/image.json", json));
    }

    std::string change(const std::string& name, const std::string& path) {
        return told([&] { stepped.animation.updateImage(1, name, path); });
    }

    const std::string green = temporaryPath("from/a green one.png");
    SteppedAnimation stepped;
};

TEST_F(LAnimationImage, OfALayerIsCopiedBesideTheTemplateAndShown) {
    ASSERT_TRUE(load(imageTemplate("Logo", "image_0", "images/", "blue.png")));
    EXPECT_EQ(middleOf(stepped.picture()), pixelOf(0, 0, 255));
    const std::string copy = temporaryPath("show/temp_image_0.png");
    EXPECT_EQ(change("Logo", green),
              "LAnimation: Katman adindan Asset ID bulundu: Logo -> image_0\n"
              "LAnimation: Resim kopyalandi: " +
                  copy +
                  "\n"
                  "LAnimation: Katman 1 resmi Bellekten guncellendi. Asset: image_0\n");
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(0, 255, 0));
    EXPECT_EQ(std::filesystem::file_size(copy), std::filesystem::file_size(green));
}

TEST_F(LAnimationImage, IsFoundByTheIdOfItsAsset) {
    ASSERT_TRUE(load(imageTemplate("Logo", "5", "images/", "blue.png")));
    EXPECT_EQ(change("5", green),
              "LAnimation: Resim kopyalandi: " + temporaryPath("show/temp_5.png") +
                  "\nLAnimation: Katman 1 resmi Bellekten guncellendi. Asset: "
                  "5\n");
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(0, 255, 0));
}

TEST_F(LAnimationImage, IsReplacedAgainAndAgain) {
    ASSERT_TRUE(load(imageTemplate("Logo", "image_0", "images/", "blue.png")));
    ASSERT_TRUE(writePng(temporaryPath("from/red.png"), 255, 0, 0));
    change("Logo", green);
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(0, 255, 0));
    change("Logo", temporaryPath("from/red.png")); // into the same file
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(255, 0, 0));
    change("Logo", green);
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(0, 255, 0));
}

// What a template of a text has beside its layers, and its layer.
std::pair<std::string, std::string> partsOf(const std::string& text) {
    const std::size_t fonts = text.find(R"(,"fonts")");
    const std::string before = R"(,"layers":[)";
    const std::size_t layers = text.find(before);
    const std::size_t layer = layers + before.size();
    return {text.substr(fonts, layers - fonts), text.substr(layer, text.rfind("]}") - layer)};
}

TEST_F(LAnimationImage, ABreakIsCarriedIntoTheNextChangeOfAnImage) {
    std::string both = imageTemplate("Logo", "image_0", "images/", "blue.png");
    const auto [fonts, title] = partsOf(textTemplate("Title", "B"));
    both.insert(both.rfind("]}"), ',' + title); // below the image
    both.insert(both.find(R"(,"layers")"), fonts);
    ASSERT_TRUE(load(both));
    EXPECT_EQ(middleOf(stepped.picture()), pixelOf(0, 0, 255));
    EXPECT_EQ(told([&] { stepped.animation.update(1, "Title", "\""); }),
              "LAnimation: Metin guncellendi ama ThorVG bellekten yukleyemedi!\n");
    EXPECT_EQ(change("Logo", green),
              "LAnimation: Katman adindan Asset ID bulundu: Logo -> image_0\n"
              "LAnimation: Resim kopyalandi: " +
                  temporaryPath("show/temp_image_0.png") +
                  "\nLAnimation: Bellekten resim yukleme basarisiz!\n");
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(0, 0, 255));
}

TEST_F(LAnimationImage, UnknownNamesAreTold) {
    ASSERT_TRUE(load(imageTemplate("Logo", "image_0", "images/", "blue.png")));
    EXPECT_EQ(change("Flag", green), "LAnimation: Asset ID bulunamadi: Flag\n");
    EXPECT_EQ(told([&] { stepped.animation.updateImage(2, "Logo", green); }),
              "LAnimation: Katman bulunamadi: 2\n");
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(0, 0, 255));
    EXPECT_FALSE(std::filesystem::exists(temporaryPath("show/temp_Flag.png")));
}

TEST_F(LAnimationImage, IsCopiedBesideTheTemplateThatIsThereNow) {
    ASSERT_TRUE(load(imageTemplate("Logo", "image_0", "images/", "blue.png")));
    const std::string other =
        writeFile("from/other.json", imageTemplate("Logo", "image_0", "", "a green one.png"));
    ASSERT_TRUE(stepped.animation.loadTemplate(1, other));
    const std::string said = change("Logo", temporaryPath("show/images/blue.png"));
    EXPECT_NE(said.find(temporaryPath("from/temp_image_0.png")), std::string::npos) << said;
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(0, 0, 255));
}

// What is written is never seen half done, nor left behind.
TEST_F(LAnimationImage, NothingButTheCopyStaysInTheFolder) {
    ASSERT_TRUE(load(imageTemplate("Logo", "image_0", "images/", "blue.png")));
    change("Logo", green);
    std::filesystem::create_directories(temporaryPath("show/temp_image_0.gif"));
    writeFile("from/other.gif", "GIF89a");
    change("Logo", temporaryPath("from/other.gif"));
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(temporaryPath("show")))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"image.json", "images", "temp_image_0.gif",
                                               "temp_image_0.png"}));
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(0, 255, 0));
}

TEST_F(LAnimationImage, AnImageThatIsNoFileIsNotCopiedAndTheOldOneStays) {
    ASSERT_TRUE(load(imageTemplate("Logo", "image_0", "images/", "blue.png")));
    writeFile("show/temp_image_0.png", "of an earlier show");
    const std::string missing = temporaryPath("from/missing.png");
    const std::string said = change("Logo", missing);
    EXPECT_NE(said.find("LAnimation: Resim kopyalanamadi: " + missing + "\n"), std::string::npos)
        << said;
    EXPECT_EQ(said.find("Resim kopyalandi"), std::string::npos) << said;
    EXPECT_EQ(std::filesystem::file_size(temporaryPath("show/temp_image_0.png")), 18U);
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(0, 0, 255));
}

} // namespace

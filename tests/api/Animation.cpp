// The flat functions of Lottie templates. Where a format is set, the class is asked.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "quolsdk/LAnimation.h"
#include "quolsdk/LFrame.h"
#include "quolsdk/quolsdk_c_api.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/LottieTemplates.h"
#include "support/SteppedAnimation.h"

namespace {

using test::boxTemplate;
using test::CollectingSink;
using test::columnOf;
using test::columnsTemplate;
using test::lottieMarker;
using test::LottiePixel;
using test::middleOf;
using test::pixelOf;
using test::temporaryPath;
using test::textTemplate;
using test::told;
using test::waitUntil;
using test::writeFile;
using test::writePng;

#ifdef QUOLSDK_HAS_LOTTIE
constexpr bool hasLottie = true;
#else
constexpr bool hasLottie = false;
#endif

const char* const red = "1,0,0,1";

LAnimation* animationOf(quolsdk_handle handle) {
    return dynamic_cast<LAnimation*>(static_cast<LObject*>(handle));
}

class AnimationApi : public testing::Test {
protected:
    void SetUp() override {
        if (!hasLottie) GTEST_SKIP() << "built without Lottie templates";
        ASSERT_NE(animationOf(animation), nullptr);
        animationOf(animation)->setVideoFormat(test::lottieFormat());
        static_cast<LObject*>(animation)->addSink(&sink);
    }
    ~AnimationApi() override {
        if (hasLottie && animation != nullptr) static_cast<LObject*>(animation)->removeSink(&sink);
        quolsdk_animation_destroy(animation);
    }

    int load(const std::string& json, int slot = 1) {
        const std::string path = writeFile("template.json", json);
        return quolsdk_animation_load_template(animation, slot, path.c_str());
    }

    bool shows(const std::function<bool(const quol::FramePtr&)>& condition) {
        return waitUntil([&] {
            const quol::FramePtr picture = sink.latestPicture();
            return picture && condition(picture);
        });
    }
    bool shows(const LottiePixel& pixel) {
        return shows([&](const quol::FramePtr& picture) { return middleOf(picture) == pixel; });
    }
    bool showsColumn(int column) {
        return shows([&](const quol::FramePtr& picture) { return columnOf(picture) == column; });
    }
    // It was shown and goes on being so.
    bool holdsColumn(int column) {
        if (!showsColumn(column)) return false;
        for (int i = 0; i < 5; ++i) {
            if (!sink.waitForPictures(sink.pictureCount() + 1)) return false;
            if (columnOf(sink.latestPicture()) != column) return false;
        }
        return true;
    }

    quolsdk_handle animation = quolsdk_animation_create();
    CollectingSink sink{1};
};

TEST_F(AnimationApi, ANewOneHasNoTemplateAndMakesNoPicture) {
    EXPECT_FALSE(sink.waitForPictures(1, std::chrono::milliseconds(100)));
}

TEST_F(AnimationApi, LoadTemplateIs1ForATemplateThatPlaysThen) {
    EXPECT_EQ(load(boxTemplate(red)), 1);
    EXPECT_TRUE(shows(pixelOf(255, 0, 0)));
    EXPECT_EQ(load(boxTemplate("0,0,1,1"), 2), 1);
    EXPECT_TRUE(shows(pixelOf(0, 0, 255)));
}

TEST_F(AnimationApi, LoadTemplateIs0WithALineForWhatIsNone) {
    int isLoaded = 1;
    const auto loadPath = [&](const char* path) {
        return told([&] { isLoaded = quolsdk_animation_load_template(animation, 3, path); });
    };
    const std::string missing = temporaryPath("no such file.json");
    EXPECT_EQ(loadPath(missing.c_str()), "LAnimation: Dosya acilamadi: " + missing + "\n");
    EXPECT_EQ(isLoaded, 0);
    isLoaded = 1;
    EXPECT_EQ(loadPath(nullptr), "LAnimation: Dosya acilamadi: \n");
    EXPECT_EQ(isLoaded, 0);
    isLoaded = 1;
    EXPECT_EQ(loadPath(writeFile("bad.json", "a lower third").c_str()),
              "LAnimation: Lottie verisi yuklenemedi! Katman: 3\n");
    EXPECT_EQ(isLoaded, 0);
}

TEST_F(AnimationApi, UpdateChangesAText) {
    ASSERT_EQ(load(textTemplate("Title", "A")), 1);
    const auto isWide = [](const quol::FramePtr& picture) {
        return test::alphaAt(picture, 60, 24) > 200;
    };
    EXPECT_TRUE(shows([](const quol::FramePtr& p) { return test::alphaAt(p, 10, 24) > 200; }));
    EXPECT_FALSE(isWide(sink.latestPicture()));
    EXPECT_EQ(told([&] { quolsdk_animation_update(animation, 1, "Title", "B"); }),
              "LAnimation: Katman 1 metni guncellendi (Bellekten): B\n");
    EXPECT_TRUE(shows(isWide));
    EXPECT_EQ(told([&] { quolsdk_animation_update(animation, 1, "Title", nullptr); }),
              "LAnimation: Katman 1 metni guncellendi (Bellekten): \n");
    EXPECT_TRUE(shows([](const quol::FramePtr& p) { return test::alphaAt(p, 10, 24) == 0; }));
    EXPECT_EQ(told([&] { quolsdk_animation_update(animation, 1, nullptr, "B"); }),
              "LAnimation: Katman bulunamadi: \n");
    EXPECT_EQ(told([&] { quolsdk_animation_update(animation, 2, "Title", "B"); }),
              "LAnimation: Katman bulunamadi: 2\n");
}

TEST_F(AnimationApi, UpdateColorChangesAColourOrMakesAGradient) {
    ASSERT_EQ(load(boxTemplate(red)), 1);
    quolsdk_animation_update_color(animation, 1, "box", "#0000FF", nullptr, nullptr);
    EXPECT_TRUE(shows(pixelOf(0, 0, 255)));
    quolsdk_animation_update_color(animation, 1, "box", "#00FF00", "", "");
    EXPECT_TRUE(shows(pixelOf(0, 255, 0)));
    EXPECT_EQ(told([&] {
                  quolsdk_animation_update_color(animation, 1, "box", nullptr, "#0000FF", nullptr);
              }),
              "");
    EXPECT_EQ(told([&] {
                  quolsdk_animation_update_color(animation, 1, nullptr, "#0000FF", nullptr, "c");
              }),
              "LAnimation: Katman adı bulunamadi: \n");
    ASSERT_EQ(load(test::lottieOf(test::aeLayer("box", test::gradientFill("0,1,0,0,1,1,0,0")))), 1);
    quolsdk_animation_update_color(animation, 1, "box", "#00FF00", "#0000FF", "g");
    EXPECT_TRUE(shows(pixelOf(0, 128, 128)));
}

TEST_F(AnimationApi, ColoursThatAreNoneRaiseThroughTheInterface) {
    ASSERT_EQ(load(boxTemplate(red)), 1);
    EXPECT_THROW(
        quolsdk_animation_update_color(animation, 1, "box", "no hue at all", nullptr, nullptr),
        std::invalid_argument);
    EXPECT_TRUE(shows(pixelOf(255, 0, 0)));
}

TEST_F(AnimationApi, UpdateImageShowsAnotherFile) {
    const std::string green = temporaryPath("green.png");
    ASSERT_TRUE(writePng(green, 0, 255, 0));
    ASSERT_EQ(load(test::imageTemplate("Logo", "image_0", "", "none.png")), 1);
    quolsdk_animation_update_image(animation, 1, "Logo", green.c_str());
    EXPECT_TRUE(shows(pixelOf(0, 255, 0)));
    EXPECT_TRUE(std::filesystem::exists(temporaryPath("temp_image_0.png")));
    EXPECT_EQ(told([&] { quolsdk_animation_update_image(animation, 1, nullptr, green.c_str()); }),
              "LAnimation: Asset ID bulunamadi: \n");
    quolsdk_animation_update_image(animation, 1, "Logo", nullptr);
    EXPECT_TRUE(sink.waitForPictures(sink.pictureCount() + 2));
}

TEST_F(AnimationApi, MarkersAreSetAndPlayed) {
    ASSERT_EQ(load(columnsTemplate(lottieMarker("STOP", 4))), 1);
    EXPECT_TRUE(holdsColumn(4));
    quolsdk_animation_add_marker(animation, 1, "STOP", 7);
    quolsdk_animation_add_marker(animation, 1, "stop", 9);
    quolsdk_animation_add_marker(animation, 1, nullptr, 9);
    quolsdk_animation_add_marker(animation, 2, "STOP", 9);
    EXPECT_TRUE(holdsColumn(4));
    quolsdk_animation_play(animation, 1);
    EXPECT_TRUE(holdsColumn(7));
}

TEST_F(AnimationApi, StopLeavesThroughOut) {
    ASSERT_EQ(load(columnsTemplate(lottieMarker("STOP", 4) + ',' + lottieMarker("OUT", 12))), 1);
    EXPECT_TRUE(holdsColumn(4));
    EXPECT_EQ(told([&] { quolsdk_animation_stop(animation, 1); }),
              "LAnimation: stop() cagrildi. Estetik (Beklemeli) cikis yapiliyor. ID: 1\n");
    EXPECT_TRUE(holdsColumn(-1));
    EXPECT_EQ(told([&] { quolsdk_animation_stop(animation, 1); }), "");
}

TEST_F(AnimationApi, CloseWithoutOutLeavesAtOnce) {
    ASSERT_EQ(load(columnsTemplate(lottieMarker("STOP", 4))), 1);
    EXPECT_TRUE(holdsColumn(4));
    EXPECT_EQ(told([&] { quolsdk_animation_close(animation, 1); }),
              "LAnimation: close() cagrildi. Acil cikis yapiliyor. ID: 1\n"
              "LAnimation: OUT bulunamadi, katman UNLOAD ediliyor. ID: 1\n");
    EXPECT_TRUE(holdsColumn(-1));
    EXPECT_EQ(told([&] { quolsdk_animation_close(animation, 1); }), "");
}

TEST_F(AnimationApi, AFrameTapGetsItsPicturesWithTheirAlpha) {
    ASSERT_EQ(load(test::lottieOf(test::aeLayer("box", test::plainFill(red), {0, 0, 80, 48}))), 1);
    LFrame tap;
    tap.readerObject(static_cast<LObject*>(animation));
    LFrame::Video video;
    EXPECT_TRUE(waitUntil([&] {
        video = tap.getVideo();
        return video.width == test::lottieWidth;
    }));
    tap.readerObject(nullptr);
    ASSERT_EQ(video.width, test::lottieWidth);
    const std::uint8_t* const pixel = video.rgba.data() + 24 * video.stride + 40 * 4;
    EXPECT_NEAR(pixel[0], 255, 3);
    EXPECT_NEAR(pixel[1], 0, 3);
    EXPECT_NEAR(pixel[2], 0, 3);
    EXPECT_EQ(pixel[3], 255);
    EXPECT_EQ(pixel[80 * 4 + 3], 0);
}

// ------------------------------------------------------------------------------ null and the end

TEST(AnimationApiNull, NothingHappensAndNothingIsWritten) {
    EXPECT_EQ(told([] {
                  EXPECT_EQ(quolsdk_animation_load_template(nullptr, 1, "x.json"), 0);
                  EXPECT_EQ(quolsdk_animation_load_template(nullptr, 1, nullptr), 0);
                  quolsdk_animation_update(nullptr, 1, "a", "b");
                  quolsdk_animation_update(nullptr, 1, nullptr, nullptr);
                  quolsdk_animation_update_image(nullptr, 1, "a", "b");
                  quolsdk_animation_update_image(nullptr, 1, nullptr, nullptr);
                  quolsdk_animation_update_color(nullptr, 1, "a", "no hue at all", "b", "c");
                  quolsdk_animation_update_color(nullptr, 1, nullptr, nullptr, nullptr, nullptr);
                  quolsdk_animation_add_marker(nullptr, 1, "IN", 1);
                  quolsdk_animation_add_marker(nullptr, 1, nullptr, 1);
                  quolsdk_animation_play(nullptr, 1);
                  quolsdk_animation_stop(nullptr, 1);
                  quolsdk_animation_close(nullptr, 1);
                  quolsdk_animation_destroy(nullptr);
              }),
              "");
}

// Also where the library was built without Lottie templates.
TEST(AnimationApiEnd, OneThatNeverPlayedMayBeDestroyed) {
    quolsdk_handle animation = quolsdk_animation_create();
    ASSERT_NE(animation, nullptr);
    const std::string path = writeFile("bad.json", "a lower third");
    EXPECT_EQ(quolsdk_animation_load_template(animation, 1, path.c_str()), 0);
    quolsdk_animation_stop(animation, 1);
    quolsdk_animation_destroy(animation);
}

TEST_F(AnimationApi, ItMayBeDestroyedWhileItRenders) {
    const std::string path = writeFile("columns.json", columnsTemplate());
    for (int i = 0; i < 20; ++i) {
        quolsdk_handle other = quolsdk_animation_create();
        animationOf(other)->setVideoFormat(test::lottieFormat());
        CollectingSink seen;
        static_cast<LObject*>(other)->addSink(&seen);
        ASSERT_EQ(quolsdk_animation_load_template(other, 1, path.c_str()), 1);
        ASSERT_TRUE(seen.waitForPictures(static_cast<std::size_t>(i % 4)));
        static_cast<LObject*>(other)->removeSink(&seen);
        const std::size_t pictures = seen.pictureCount();
        quolsdk_animation_destroy(other);
        EXPECT_EQ(seen.pictureCount(), pictures);
    }
}

} // namespace

// What lies on a player's canvas when its layers come, change and go. What they look like:
// LAnimation.cpp and LAnimationPlayback.cpp.
#include "graphics/LottieLayers.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/LottieTemplates.h"

namespace {

using quol::LottieLayers;
using quol::LottieMarkers;
using quol::LottieTemplate;
using test::boxTemplate;

constexpr LottieMarkers noMarkers{-1, -1, -1, -1};
constexpr double templateRate = 1024.0; // a frame of the templates for each step

class LottieLayersTest : public testing::Test {
protected:
    void SetUp() override {
        if (!quol::hasLottieEngine()) GTEST_SKIP() << "built without Lottie templates";
    }

    bool load(int id, const std::string& json) {
        return layers.load(id, json, "box.json", noMarkers);
    }

    void leave(int id) { layers.find(id)->playhead.exiting = true; }

    LottieTemplate* shownBy(int id) { return layers.find(id)->animation.get(); }

    using Templates = std::vector<LottieTemplate*>;

    quol::LottieEngine engine;
    std::vector<Templates> shown; // what the canvas was given, call by call
    bool isCanvasThere = true;
    LottieLayers layers{[this](const Templates& templates) {
        // It still holds those of the last time.
        if (!shown.empty()) {
            for (LottieTemplate* const old : shown.back())
                EXPECT_GT(old->totalFrames(), 0.0F);
        }
        shown.push_back(templates);
        return isCanvasThere || templates.empty();
    }};
};

TEST_F(LottieLayersTest, LieInTheOrderOfTheirNumbers) {
    ASSERT_TRUE(load(5, boxTemplate("1,0,0,1")));
    ASSERT_TRUE(load(-2, boxTemplate("1,0,0,1")));
    ASSERT_TRUE(load(3, boxTemplate("1,0,0,1")));
    EXPECT_EQ(shown.size(), 3U);
    EXPECT_EQ(shown.back(), (Templates{shownBy(-2), shownBy(3), shownBy(5)}));
}

TEST_F(LottieLayersTest, TwoThatEndInTheSameStepLeaveInOneRebuild) {
    for (int id = 1; id <= 3; ++id)
        ASSERT_TRUE(load(id, boxTemplate("1,0,0,1", {4, templateRate})));
    leave(1);
    leave(3);
    shown.clear();
    for (int i = 0; i < 3; ++i)
        layers.step(templateRate);
    EXPECT_TRUE(shown.empty()) << "nothing has come or gone";
    layers.step(templateRate);
    EXPECT_EQ(shown, (std::vector<Templates>{{shownBy(2)}}));
    EXPECT_EQ(layers.find(1), nullptr);
    EXPECT_EQ(layers.find(3), nullptr);
}

TEST_F(LottieLayersTest, ACanvasThatCouldNotBeHadIsTriedAtEveryStep) {
    isCanvasThere = false;
    ASSERT_TRUE(load(1, boxTemplate("1,0,0,1")));
    EXPECT_FALSE(layers.isCanvasWhole());
    EXPECT_EQ(shown.back(), Templates{}) << "nothing may stay on it";
    layers.step(templateRate);
    EXPECT_FALSE(layers.isCanvasWhole());
    isCanvasThere = true;
    layers.step(templateRate);
    EXPECT_TRUE(layers.isCanvasWhole());
    EXPECT_EQ(shown.back(), (Templates{shownBy(1)}));
    const std::size_t before = shown.size();
    layers.step(templateRate);
    EXPECT_EQ(shown.size(), before);
}

TEST_F(LottieLayersTest, ATextThatCannotBeDrawnLeavesTheCanvasAsItIs) {
    ASSERT_TRUE(load(1, boxTemplate("1,0,0,1")));
    LottieTemplate* const before = shownBy(1);
    EXPECT_FALSE(load(1, "{"));
    EXPECT_FALSE(layers.reload(*layers.find(1)));
    EXPECT_FALSE(load(2, "{"));
    EXPECT_EQ(shown.size(), 1U);
    EXPECT_EQ(shownBy(1), before);
    EXPECT_EQ(shownBy(2), nullptr);
}

TEST_F(LottieLayersTest, AnotherTemplateIsOnTheCanvasBeforeTheOldOneGoes) {
    ASSERT_TRUE(load(1, boxTemplate("1,0,0,1")));
    ASSERT_TRUE(layers.reload(*layers.find(1)));
    EXPECT_EQ(shown.size(), 2U);
    EXPECT_EQ(shown.back(), (Templates{shownBy(1)}));
    layers.remove(1);
    EXPECT_EQ(shown.back(), Templates{});
    const std::size_t calls = shown.size();
    layers.remove(1);
    EXPECT_EQ(shown.size(), calls) << "there is none any more";
}

} // namespace

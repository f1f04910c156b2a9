// What a switcher shows of its two layers, tick by tick.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "compositing/Transitions.h"
#include "support/LayerScene.h"
#include "support/PulledSwitcher.h"

extern "C" {
#include <libswscale/swscale.h>
}

namespace {

using quol::FramePtr;
using test::customVideo;
using test::firstDifference;
using test::noisePicture;
using test::plainPicture;
using test::PulledSource;
using test::PulledSwitcher;
using test::sharesMemory;
using test::waitUntil;
using test::WatchedSource;
using namespace std::chrono_literals;

constexpr int width = 64;
constexpr int height = 48;

// Beyond this a pushed picture is not current any more.
constexpr auto staleAfter = 1100ms;

const std::vector<std::string> drawnTypes{
    "fade",          "dip",        "wipe_lr",     "wipe_rl",    "wipe_tb",   "wipe_bt",
    "wipe_diagonal", "wipe_box",   "wipe_circle", "slide_lr",   "slide_rl",  "slide_tb",
    "slide_bt",      "squeeze_lr", "squeeze_rl",  "squeeze_tb", "squeeze_bt"};

// Types that change from one picture to the other at the middle.
const std::vector<std::string> hardTypes{"cut", "stinger", "wipe", "FADE", "", "no such"};

std::vector<std::string> allTypes() {
    std::vector<std::string> types = drawnTypes;
    types.insert(types.end(), hardTypes.begin(), hardTypes.end());
    return types;
}

// What is wrong with a picture; empty for nothing.
std::string difference(const FramePtr& picture, const FramePtr& expected) {
    return picture && expected ? firstDifference(*picture, *expected) : "no picture";
}

class LSwitcherPictures : public testing::Test {
protected:
    // Both sources on their layers, each with a picture.
    void fillBoth() {
        switcher.setProgram(&a);
        switcher.setPreview(&b);
        a.distributeVideoFrame(pictureA.get());
        b.distributeVideoFrame(pictureB.get());
    }

    FramePtr tickAt(float position) {
        switcher.setTransition(position);
        return stepped.tick();
    }

    FramePtr transition(const std::string& type, float position,
                        const std::string& parameter = "") {
        FramePtr drawn = plainPicture(width, height, {});
        EXPECT_TRUE(quol::drawTransition(type, position, quol::dipColorOf(parameter), *pictureA,
                                         *pictureB, *drawn));
        return drawn;
    }

    FramePtr pictureA = noisePicture(1);
    FramePtr pictureB = noisePicture(2);
    WatchedSource a;
    WatchedSource b;
    PulledSwitcher stepped;
    LSwitcher& switcher = stepped.switcher;
};

} // namespace

// -------------------------------------------------------------------------------------- positions

TEST_F(LSwitcherPictures, NearItsEndsOneLayerIsHandedThroughAlone) {
    fillBoth();
    for (const float position : {0.0F, 0.005F, 0.01F})
        EXPECT_TRUE(sharesMemory(tickAt(position), pictureA)) << position;
    for (const float position : {0.99F, 0.995F, 1.0F})
        EXPECT_TRUE(sharesMemory(tickAt(position), pictureB)) << position;
}

TEST_F(LSwitcherPictures, TheStatisticsNameTheLayerThatIsSeenAlone) {
    const std::vector<std::pair<float, const char*>> curve = {
        {0.0F, "SubA"},         {0.005F, "SubA"},     {0.01F, "SubA"},
        {0.011F, "Transition"}, {0.5F, "Transition"}, {0.989F, "Transition"},
        {0.99F, "SubB"},        {0.995F, "SubB"},     {1.0F, "SubB"}};
    for (const auto& [position, name] : curve) {
        switcher.setTransition(position);
        EXPECT_EQ(stepped.stats().activeSource, name) << position;
        EXPECT_NEAR(stepped.position(), 100.0 * static_cast<double>(position), 1.0e-4);
    }
}

TEST_F(LSwitcherPictures, BetweenItsEndsBothAreSeen) {
    fillBoth();
    for (const float position : {0.011F, 0.25F, 0.5F, 0.75F, 0.989F})
        EXPECT_EQ(difference(tickAt(position), transition("fade", position)), "") << position;
    EXPECT_NE(difference(tickAt(0.011F), pictureA), "");
    EXPECT_NE(difference(tickAt(0.989F), pictureB), "");
}

TEST_F(LSwitcherPictures, EveryTypeDrawsItsPicture) {
    fillBoth();
    for (const std::string& type : drawnTypes) {
        switcher.setTransitionType(type, "#C08020");
        for (const float position : {0.011F, 0.3F, 0.499F, 0.5F, 0.77F, 0.989F}) {
            EXPECT_EQ(difference(tickAt(position), transition(type, position, "#C08020")), "")
                << type << " at " << position;
        }
    }
}

TEST_F(LSwitcherPictures, ADipKeepsItsColorUntilAnotherDipIsChosen) {
    fillBoth();
    switcher.setTransitionType("dip", "#FFFFFF");
    switcher.setTransitionType("fade", "#000000");
    EXPECT_EQ(difference(tickAt(0.5F), transition("fade", 0.5F)), "");
    switcher.setTransitionType("dip", "00FF00");
    EXPECT_EQ(difference(tickAt(0.4F), transition("dip", 0.4F, "#00FF00")), "");
    switcher.setTransitionType("dip");
    EXPECT_EQ(difference(tickAt(0.4F), transition("dip", 0.4F, "")), "");
}

TEST_F(LSwitcherPictures, ATypeWithoutAPictureOfItsOwnChangesAtTheMiddle) {
    fillBoth();
    for (const std::string& type : hardTypes) {
        switcher.setTransitionType(type, "7");
        for (const float position : {0.011F, 0.499F})
            EXPECT_EQ(difference(tickAt(position), pictureA), "") << type << " at " << position;
        for (const float position : {0.5F, 0.989F})
            EXPECT_EQ(difference(tickAt(position), pictureB), "") << type << " at " << position;
    }
}

TEST_F(LSwitcherPictures, AnAutomaticTransitionTurnsACutIntoAFadeForGood) {
    fillBoth();
    switcher.setTransitionType("cut");
    EXPECT_EQ(difference(tickAt(0.3F), pictureA), "");
    switcher.setTransition(0.0F);
    switcher.setAutoTransition(0.0);
    ASSERT_TRUE(waitUntil(
        [&] { return switcher.getCurrentPreviewSource() == &a && stepped.position() == 0.0; }));
    std::swap(pictureA, pictureB); // the layers have changed places
    EXPECT_EQ(difference(stepped.tick(), pictureA), "");
    EXPECT_EQ(difference(tickAt(0.3F), transition("fade", 0.3F)), "");
}

TEST_F(LSwitcherPictures, AnAutomaticTransitionFromTheOtherEndGoesBackAndEndsThere) {
    fillBoth();
    EXPECT_EQ(difference(tickAt(1.0F), pictureB), "");
    switcher.setAutoTransition(100.0);
    ASSERT_TRUE(waitUntil(
        [&] { return switcher.getCurrentPreviewSource() == &b && stepped.position() == 100.0; }));
    EXPECT_EQ(difference(stepped.tick(), pictureA), "");
}

TEST_F(LSwitcherPictures, AnAutomaticTransitionFromTheMiddleEndsWhereItBegan) {
    fillBoth();
    for (const float begin : {0.3F, 0.7F}) {
        EXPECT_EQ(difference(tickAt(begin), transition("fade", begin)), "") << begin;
        const double position = stepped.position();
        const LObject* const preview = switcher.getCurrentPreviewSource();
        switcher.setAutoTransition(100.0);
        ASSERT_TRUE(waitUntil([&] {
            return switcher.getCurrentPreviewSource() != preview && stepped.position() == position;
        })) << begin;
        std::swap(pictureA, pictureB); // the layers have changed places
        EXPECT_EQ(difference(stepped.tick(), transition("fade", begin)), "") << begin;
    }
}

TEST_F(LSwitcherPictures, AnAutomaticTransitionGivesEachOfItsStepsTheTimeOfAPicture) {
    struct Case {
        double fps;
        double duration;
        std::chrono::milliseconds least; // one step more than fit: it begins with one at its start
    };
    for (const Case& each :
         {Case{50.0, 600.0, 620ms}, Case{10.0, 600.0, 700ms}, Case{10.0, 0.0, 200ms},
          Case{0.0, 600.0, 620ms}, Case{0.0, 1.0, 40ms}}) {
        switcher.setVideoFormat(customVideo(width, height, each.fps, 1));
        switcher.setProgram(&a);
        switcher.setPreview(&b);
        const auto start = std::chrono::steady_clock::now();
        switcher.setAutoTransition(each.duration);
        ASSERT_TRUE(waitUntil(
            [&] { return switcher.getCurrentPreviewSource() == &a && stepped.position() == 0.0; }));
        EXPECT_GE(std::chrono::steady_clock::now() - start, each.least) << each.fps;
    }
}

TEST_F(LSwitcherPictures, ThePictureStaysWhereTheHandLeavesIt) {
    fillBoth();
    switcher.setTransitionType("wipe_tb");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(difference(tickAt(0.6F), transition("wipe_tb", 0.6F)), "");
    EXPECT_EQ(switcher.getCurrentPreviewSource(), &a);
    EXPECT_TRUE(sharesMemory(tickAt(1.0F), pictureB));
    EXPECT_TRUE(sharesMemory(stepped.tick(), pictureB));
    EXPECT_EQ(switcher.getCurrentPreviewSource(), &a);
}

TEST_F(LSwitcherPictures, ACutChangesTheLayersAtAnyPosition) {
    fillBoth();
    for (const float position : {0.0F, 0.3F, 0.7F, 1.0F}) {
        const FramePtr before = tickAt(position);
        switcher.setCutTransition();
        std::swap(pictureA, pictureB);
        const FramePtr after = stepped.tick();
        EXPECT_NE(difference(before, after), "") << position;
        if (position == 0.0F || position == 1.0F) {
            EXPECT_TRUE(sharesMemory(after, position == 0.0F ? pictureA : pictureB));
        } else {
            EXPECT_EQ(difference(after, transition("fade", position)), "") << position;
        }
    }
}

// ----------------------------------------------------------------------------------- empty layers

TEST_F(LSwitcherPictures, BesideAnEmptyLayerTheOtherIsHandedThrough) {
    switcher.setProgram(&a);
    a.distributeVideoFrame(pictureA.get());
    for (const float position : {0.0F, 0.01F, 0.011F, 0.3F, 0.5F, 0.9F, 0.989F})
        EXPECT_TRUE(sharesMemory(tickAt(position), pictureA)) << position;
    for (const float position : {0.99F, 1.0F})
        EXPECT_EQ(tickAt(position), nullptr) << position;
    switcher.setTransition(0.0F);
    switcher.setPreview(&b);
    b.distributeVideoFrame(pictureB.get());
    switcher.setProgram(nullptr);
    for (const float position : {0.0F, 0.01F})
        EXPECT_EQ(tickAt(position), nullptr) << position;
    for (const float position : {0.011F, 0.3F, 0.5F, 0.9F, 0.989F, 0.99F, 1.0F})
        EXPECT_TRUE(sharesMemory(tickAt(position), pictureB)) << position;
}

TEST_F(LSwitcherPictures, BesideAnEmptyLayerNoTypeOfTransitionMixesAnything) {
    switcher.setProgram(&a);
    a.distributeVideoFrame(pictureA.get());
    const auto expectAlone = [this](const FramePtr& picture) {
        for (const std::string& type : allTypes()) {
            switcher.setTransitionType(type, "#C08020");
            for (const float position : {0.011F, 0.3F, 0.499F, 0.5F, 0.77F, 0.989F})
                EXPECT_TRUE(sharesMemory(tickAt(position), picture)) << type << " at " << position;
        }
        switcher.setTransition(0.0F);
    };
    expectAlone(pictureA);
    switcher.setPreview(&b);
    b.distributeVideoFrame(pictureB.get());
    switcher.setProgram(nullptr);
    expectAlone(pictureB);
}

TEST_F(LSwitcherPictures, WithBothLayersEmptyThereIsSoundAlone) {
    for (const float position : {0.0F, 0.4F, 0.5F, 1.0F}) {
        stepped.sink.clear();
        EXPECT_EQ(tickAt(position), nullptr) << position;
        EXPECT_EQ(stepped.sink.pictureCount(), 0U);
        EXPECT_EQ(stepped.sink.soundCount(), 1U);
    }
    switcher.setProgram(&a); // one that has not shown anything counts as empty
    EXPECT_EQ(tickAt(0.4F), nullptr);
}

TEST_F(LSwitcherPictures, OnACanvasOfNothingThereIsSoundAlone) {
    fillBoth();
    for (const auto& format : {customVideo(0, height, 50, 1), customVideo(width, 0, 50, 1),
                               customVideo(-width, height, 50, 1)}) {
        switcher.setVideoFormat(format);
        stepped.sink.clear();
        for (const float position : {0.0F, 0.4F, 1.0F})
            EXPECT_EQ(tickAt(position), nullptr);
        EXPECT_EQ(stepped.sink.pictureCount(), 0U);
        EXPECT_EQ(stepped.sink.soundCount(), 3U);
    }
    switcher.setVideoFormat(customVideo(width, height, 50, 1));
    EXPECT_TRUE(sharesMemory(tickAt(0.0F), pictureA));
}

// --------------------------------------------------------------------------- a source's last
// picture

TEST_F(LSwitcherPictures, ASourceThatFallsSilentLeavesItsLastPictureStanding) {
    fillBoth();
    stepped.tick();
    std::this_thread::sleep_for(staleAfter);
    for (const float position : {0.0F, 1.0F})
        EXPECT_TRUE(sharesMemory(tickAt(position), position < 0.5F ? pictureA : pictureB));
    EXPECT_EQ(difference(tickAt(0.4F), transition("fade", 0.4F)), "");
    switcher.setTransition(0.0F);
    switcher.setCutTransition(); // it goes along
    EXPECT_TRUE(sharesMemory(stepped.tick(), pictureB));
    const FramePtr newer = noisePicture(3);
    b.distributeVideoFrame(newer.get());
    EXPECT_TRUE(sharesMemory(stepped.tick(), newer));
}

TEST_F(LSwitcherPictures, TheLastPictureIsOfTheLastTickThatSawOne) {
    fillBoth();
    stepped.tick();
    const FramePtr unseen = noisePicture(3);
    b.distributeVideoFrame(unseen.get());
    stepped.tick(); // the layer is not shown, but kept up to date
    std::this_thread::sleep_for(staleAfter);
    EXPECT_TRUE(sharesMemory(tickAt(1.0F), unseen));
}

TEST_F(LSwitcherPictures, APictureThatNoTickSawInTimeIsNotShown) {
    fillBoth();
    std::this_thread::sleep_for(staleAfter);
    EXPECT_EQ(stepped.tick(), nullptr);
    a.distributeVideoFrame(pictureA.get());
    EXPECT_TRUE(sharesMemory(stepped.tick(), pictureA));
}

TEST_F(LSwitcherPictures, TheSameSourceAgainKeepsThePictureAnotherDoesNot) {
    fillBoth();
    stepped.tick();
    std::this_thread::sleep_for(staleAfter);
    switcher.setProgram(&a);
    EXPECT_TRUE(sharesMemory(stepped.tick(), pictureA));
    EXPECT_EQ(a.added, 1);
    EXPECT_EQ(a.removed, 0);
    WatchedSource other;
    switcher.setProgram(&other);
    EXPECT_EQ(stepped.tick(), nullptr);
    EXPECT_EQ(a.sinkCount(), 0U);
    switcher.setProgram(&a);
    EXPECT_EQ(stepped.tick(), nullptr) << "what it showed then is gone";
    EXPECT_EQ(other.sinkCount(), 0U);
}

TEST_F(LSwitcherPictures, ASourceIsAskedOnceATickSeenOrNot) {
    PulledSource first(noisePicture(4));
    PulledSource second(noisePicture(5));
    PulledSwitcher pulling;
    pulling.switcher.setProgram(&first);
    pulling.switcher.setPreview(&second);
    EXPECT_EQ(first.consumers, 1);
    EXPECT_EQ(second.consumers, 1);
    const int before = first.renders;
    const int beforeOther = second.renders;
    int ticks = 0;
    for (const float position : {0.0F, 0.3F, 0.5F, 1.0F}) {
        pulling.switcher.setTransition(position);
        EXPECT_NE(pulling.tick(), nullptr);
        ++ticks;
        EXPECT_EQ(first.renders, before + ticks) << position;
        EXPECT_EQ(second.renders, beforeOther + ticks) << position;
    }
    pulling.switcher.setTransition(0.0F);
    pulling.switcher.setProgram(nullptr);
    EXPECT_EQ(first.consumers, 0);
}

TEST_F(LSwitcherPictures, WhatASourceThatIsAskedPushesIsNotShownAndItsLastPictureStays) {
    PulledSource source(noisePicture(4));
    PulledSwitcher pulling;
    pulling.switcher.setProgram(&source);
    const FramePtr pushed = noisePicture(5);
    source.distributeVideoFrame(pushed.get());
    const FramePtr shown = pulling.tick();
    EXPECT_EQ(difference(shown, noisePicture(4)), "");
    source.show(nullptr);
    source.distributeVideoFrame(pushed.get());
    EXPECT_TRUE(sharesMemory(pulling.tick(), shown));
}

// --------------------------------------------------------------------------------- onto the canvas

TEST_F(LSwitcherPictures, APictureOfTheCanvasIsHandedThroughInEitherRangeAndInEveryMode) {
    switcher.setProgram(&a);
    for (const char* mode : {"0", "1", "2"}) {
        switcher.setProps("scale_mode", mode);
        for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ420P}) {
            const FramePtr picture = noisePicture(7, width, height, format);
            a.distributeVideoFrame(picture.get());
            const FramePtr shown = stepped.tick();
            EXPECT_TRUE(sharesMemory(shown, picture)) << mode;
            EXPECT_EQ(shown->format, format);
        }
    }
}

TEST_F(LSwitcherPictures, APictureOfAnotherFormatOrSizeIsMadeToFit) {
    switcher.setProgram(&a);
    for (const FramePtr& picture :
         {noisePicture(7, width, height, AV_PIX_FMT_YUV422P), noisePicture(7, 128, 96),
          noisePicture(7, width, height, AV_PIX_FMT_YUVA420P),
          noisePicture(7, 30, 20, AV_PIX_FMT_RGBA)}) {
        a.distributeVideoFrame(picture.get());
        const FramePtr shown = stepped.tick();
        ASSERT_NE(shown, nullptr);
        EXPECT_EQ(shown->format, AV_PIX_FMT_YUV420P);
        EXPECT_EQ(difference(shown, test::fittedByHand(*picture, 0, width, height, SWS_BICUBIC)),
                  "");
    }
}

TEST_F(LSwitcherPictures, TheModeSaysWhereThePictureLiesAndTheQualityHowItIsScaled) {
    const std::vector<std::pair<const char*, int>> qualities{
        {"1", SWS_POINT},   {"2", SWS_BILINEAR}, {"4", SWS_LANCZOS},
        {"0", SWS_BICUBIC}, {"3", SWS_BICUBIC},  {"-1", SWS_BICUBIC}};
    switcher.setProgram(&a);
    for (const FramePtr& picture :
         {noisePicture(7, 100, 40), noisePicture(8, 32, 90), noisePicture(9, 64, 36)}) {
        for (const int mode : {0, 1, 2}) {
            switcher.setProps("scale_mode", std::to_string(mode));
            for (const auto& [quality, flags] : qualities) {
                switcher.setProps("scaling_quality", quality);
                a.distributeVideoFrame(picture.get());
                const FramePtr expected = test::fittedByHand(*picture, mode, width, height, flags);
                EXPECT_EQ(difference(stepped.tick(), expected), "")
                    << picture->width << "x" << picture->height << " mode " << mode << " quality "
                    << quality;
            }
        }
    }
}

TEST_F(LSwitcherPictures, ATransitionIsBetweenThePicturesAsTheyLieOnTheCanvas) {
    fillBoth();
    switcher.setProps("scale_mode", "1");
    const FramePtr wide = noisePicture(7, 100, 40);
    const FramePtr tall = noisePicture(8, 32, 90, AV_PIX_FMT_YUV444P);
    a.distributeVideoFrame(wide.get());
    b.distributeVideoFrame(tall.get());
    pictureA = test::fittedByHand(*wide, 1, width, height, SWS_BICUBIC);
    pictureB = test::fittedByHand(*tall, 1, width, height, SWS_BICUBIC);
    EXPECT_EQ(difference(tickAt(0.4F), transition("fade", 0.4F)), "");
    EXPECT_EQ(difference(tickAt(1.0F), pictureB), "");
}

TEST_F(LSwitcherPictures, AnotherCanvasCountsFromTheNextTickOn) {
    fillBoth();
    stepped.tick();
    std::this_thread::sleep_for(staleAfter); // what stands is fitted anew
    switcher.setVideoFormat(customVideo(40, 30, 50, 1));
    EXPECT_EQ(difference(stepped.tick(), test::fittedByHand(*pictureA, 0, 40, 30, SWS_BICUBIC)),
              "");
    const FramePtr between = tickAt(0.5F);
    ASSERT_NE(between, nullptr);
    EXPECT_EQ(between->width, 40);
    EXPECT_EQ(between->height, 30);
}

TEST_F(LSwitcherPictures, ACanvasOfTheTableHasItsSizeAndRate) {
    videoFormatProps format;
    switcher.setVideoFormat({3, 1, 2, 3.0, 1});
    switcher.getVideoFormat(format);
    EXPECT_EQ(format.mode, 3U);
    EXPECT_EQ(format.width, 720);
    EXPECT_EQ(format.height, 576);
    EXPECT_EQ(format.fps, 25.0);
    EXPECT_EQ(format.pixelFormat, 1);
    fillBoth();
    const FramePtr picture = stepped.tick();
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(picture->width, 720);
    EXPECT_EQ(picture->height, 576);
    EXPECT_EQ(picture->time_base.den, 25);
    for (const std::uint32_t mode : {0U, 1U}) {
        switcher.setVideoFormat({mode, 40, 30, 12.5, 1});
        switcher.getVideoFormat(format);
        EXPECT_EQ(format.width, 40);
        EXPECT_EQ(format.height, 30);
        EXPECT_EQ(format.fps, 12.5);
    }
    switcher.setVideoFormat({39, 40, 30, 12.5, 1}); // there is none
    switcher.getVideoFormat(format);
    EXPECT_EQ(format.width, 0);
    EXPECT_EQ(format.height, 0);
    EXPECT_EQ(format.fps, 0.0);
}

// ------------------------------------------------------------------------------------- time stamps

TEST_F(LSwitcherPictures, PicturesCountTicksInWholePicturesASecond) {
    struct Case {
        double fps;
        int base;
    };
    fillBoth();
    for (const Case& each : {Case{50.0, 50}, Case{30000.0 / 1001.0, 29}, Case{29.97, 29},
                             Case{25.0, 25}, Case{0.0, 50}, Case{-3.0, 50}}) {
        switcher.setVideoFormat(customVideo(width, height, each.fps, 1));
        for (const float position : {0.0F, 0.4F, 1.0F}) {
            const std::int64_t index = stepped.stats().frameCount;
            const FramePtr picture = tickAt(position);
            ASSERT_NE(picture, nullptr);
            EXPECT_EQ(picture->pts, index) << each.fps;
            EXPECT_EQ(picture->time_base.num, 1);
            EXPECT_EQ(picture->time_base.den, each.base) << each.fps;
            EXPECT_EQ(stepped.sink.pictures().back().pts, index);
        }
    }
}

TEST_F(LSwitcherPictures, ATickWithoutAPictureCountsToo) {
    const std::int64_t index = stepped.stats().frameCount;
    EXPECT_EQ(stepped.tick(), nullptr);
    EXPECT_EQ(stepped.tick(), nullptr);
    fillBoth();
    const FramePtr picture = stepped.tick();
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(picture->pts, index + 2);
}

TEST_F(LSwitcherPictures, WhatIsHandedThroughLeavesTheSourcesFrameAlone) {
    pictureA->pts = 7777;
    pictureA->time_base = {1, 1000};
    const FramePtr before = noisePicture(1);
    switcher.setProps("timecode", "1");
    fillBoth();
    const FramePtr shown = stepped.tick();
    ASSERT_TRUE(sharesMemory(shown, pictureA));
    EXPECT_NE(shown->pts, 7777);
    EXPECT_EQ(pictureA->pts, 7777);
    EXPECT_EQ(pictureA->time_base.den, 1000);
    EXPECT_NE(av_dict_get(shown->metadata, "timecode", nullptr, 0), nullptr);
    EXPECT_EQ(av_dict_get(pictureA->metadata, "timecode", nullptr, 0), nullptr);
    tickAt(0.5F);
    EXPECT_EQ(difference(pictureA, before), "");
}

TEST_F(LSwitcherPictures, ThePictureOfARequestIsThatOfTheSinks) {
    fillBoth();
    for (const float position : {0.0F, 0.4F, 1.0F}) {
        const FramePtr asked = tickAt(position);
        EXPECT_TRUE(sharesMemory(asked, stepped.sink.latestPicture())) << position;
    }
}

TEST_F(LSwitcherPictures, APictureThatWasHandedOnIsNeverWrittenAgain) {
    fillBoth();
    const FramePtr first = tickAt(0.3F);
    const std::string bytes = test::visibleBytes(*first);
    for (int i = 0; i < 10; ++i)
        tickAt(0.05F * static_cast<float>(i + 1));
    EXPECT_EQ(test::visibleBytes(*first), bytes);
}

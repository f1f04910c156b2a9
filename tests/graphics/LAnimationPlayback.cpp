// How templates play, and the pictures that come of them. What is in them: LAnimation.cpp.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "core/Clock.h"
#include "graphics/LottieEngine.h"
#include "quolsdk/LAnimation.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/LottieTemplates.h"
#include "support/SteppedAnimation.h"
#include "support/ThisProcess.h"

namespace {

using test::aeLayer;
using test::boxTemplate;
using test::CapturedStream;
using test::CollectingSink;
using test::columnOf;
using test::columnsTemplate;
using test::isTransparent;
using test::lottieFormat;
using test::lottieMarker;
using test::lottieOf;
using test::middleOf;
using test::pixelAt;
using test::pixelOf;
using test::plainFill;
using test::SteppedAnimation;
using test::waitUntil;
using test::writeFile;

const char* const red = "1,0,0,1";
const char* const green = "0,1,0,1";
const char* const blue = "0,0,1,1";

std::string markersOf(const std::vector<std::pair<std::string, int>>& markers) {
    std::string text;
    for (const auto& [name, frame] : markers) {
        if (!text.empty()) text += ',';
        text += lottieMarker(name, frame);
    }
    return text;
}

class LAnimationPlay : public testing::Test {
protected:
    void SetUp() override {
        if (!quol::hasLottieEngine()) GTEST_SKIP() << "built without Lottie templates";
    }

    // What a call writes to standard output.
    std::string told(const std::function<void(LAnimation&)>& call) {
        return test::told([&] { call(stepped.animation); });
    }

    // The frames that the next pictures show.
    std::vector<int> next(int pictures) {
        std::vector<int> columns;
        for (int i = 0; i < pictures; ++i)
            columns.push_back(columnOf(stepped.step()));
        return columns;
    }

    SteppedAnimation stepped;
};

using Frames = std::vector<int>;

const char* const stopLine =
    "LAnimation: stop() cagrildi. Estetik (Beklemeli) cikis yapiliyor. ID: 1\n";
const char* const closeLine = "LAnimation: close() cagrildi. Acil cikis yapiliyor. ID: 1\n";
const char* const unloadLine = "LAnimation: OUT bulunamadi, katman UNLOAD ediliyor. ID: 1\n";

// --------------------------------------------------------------------------------- the timeline

TEST_F(LAnimationPlay, WithoutMarkersItRunsRoundAndRound) {
    ASSERT_TRUE(stepped.load(1, columnsTemplate("", {5, 1024.0})));
    EXPECT_EQ(columnOf(stepped.picture()), 0);
    EXPECT_EQ(next(10), (Frames{1, 2, 3, 4, 0, 1, 2, 3, 4, 0}));
}

TEST_F(LAnimationPlay, HalfTheRateShowsEachFrameTwice) {
    ASSERT_TRUE(stepped.load(1, columnsTemplate("", {5, 512.0})));
    EXPECT_EQ(columnOf(stepped.picture()), 0);
    EXPECT_EQ(next(10), (Frames{0, 1, 1, 2, 2, 3, 3, 4, 4, 0}));
}

TEST_F(LAnimationPlay, TwiceTheRateShowsEverySecondFrame) {
    ASSERT_TRUE(stepped.load(1, columnsTemplate("", {6, 2048.0})));
    EXPECT_EQ(columnOf(stepped.picture()), 0);
    EXPECT_EQ(next(5), (Frames{2, 4, 0, 2, 4}));
}

TEST_F(LAnimationPlay, ComesInFromInAndHoldsAtStop) {
    ASSERT_TRUE(stepped.load(1, columnsTemplate(markersOf({{"IN", 3}, {"STOP", 6}}))));
    EXPECT_EQ(columnOf(stepped.picture()), 3);
    EXPECT_EQ(next(6), (Frames{4, 5, 6, 6, 6, 6}));
}

TEST_F(LAnimationPlay, RunsFromLoopToStop) {
    ASSERT_TRUE(stepped.load(1, columnsTemplate(markersOf({{"LOOP", 4}, {"STOP", 6}}))));
    EXPECT_EQ(next(12), (Frames{1, 2, 3, 4, 5, 6, 4, 5, 6, 4, 5, 6}));
}

TEST_F(LAnimationPlay, WithoutStopItRunsFromLoopToTheEnd) {
    ASSERT_TRUE(stepped.load(1, columnsTemplate(markersOf({{"LOOP", 4}}), {7, 1024.0})));
    EXPECT_EQ(next(9), (Frames{1, 2, 3, 4, 5, 6, 4, 5, 6}));
}

TEST_F(LAnimationPlay, PlayDoesNotGetItPastStop) {
    ASSERT_TRUE(stepped.load(1, columnsTemplate(markersOf({{"STOP", 2}}))));
    EXPECT_EQ(next(4), (Frames{1, 2, 2, 2}));
    EXPECT_EQ(told([](LAnimation& a) { a.play(1); }), "");
    EXPECT_EQ(next(3), (Frames{2, 2, 2}));
}

TEST_F(LAnimationPlay, PlayLeavesAPlayingOneWhereItIs) {
    ASSERT_TRUE(stepped.load(1, columnsTemplate()));
    EXPECT_EQ(next(3), (Frames{1, 2, 3}));
    EXPECT_EQ(told([](LAnimation& a) { a.play(1); }), "");
    EXPECT_EQ(next(3), (Frames{4, 5, 6}));
}

TEST_F(LAnimationPlay, PlayAfterStopWasMovedGoesOn) {
    ASSERT_TRUE(stepped.load(1, columnsTemplate(markersOf({{"STOP", 2}}))));
    EXPECT_EQ(next(3), (Frames{1, 2, 2}));
    stepped.animation.addMarker(1, "STOP", 5);
    EXPECT_EQ(next(2), (Frames{2, 2})); // it stands until it is told
    stepped.animation.play(1);
    EXPECT_EQ(next(5), (Frames{2, 3, 4, 5, 5}));
}

// ---------------------------------------------------------------------------------- its markers

TEST_F(LAnimationPlay, MarkersAreSetByTheirExactNames) {
    ASSERT_TRUE(stepped.load(1, columnsTemplate()));
    for (const char* name : {"stop", "Stop", "STOP ", " STOP", "", "END"})
        EXPECT_EQ(told([name](LAnimation& a) { a.addMarker(1, name, 2); }), "");
    EXPECT_EQ(told([](LAnimation& a) { a.addMarker(2, "STOP", 2); }), "");
    EXPECT_EQ(next(4), (Frames{1, 2, 3, 4}));
    stepped.animation.addMarker(1, "STOP", 6);
    EXPECT_EQ(next(4), (Frames{5, 6, 6, 6}));
    stepped.animation.addMarker(1, "LOOP", 3);
    stepped.animation.play(1);
    EXPECT_EQ(next(5), (Frames{6, 3, 4, 5, 6}));
    stepped.animation.addMarker(1, "IN", 9); // it is in already
    EXPECT_EQ(next(2), (Frames{3, 4}));
    stepped.animation.addMarker(1, "OUT", 15);
    stepped.animation.stop(1);
    EXPECT_EQ(next(2), (Frames{15, 16}));
}

TEST_F(LAnimationPlay, AMarkerBehindTheEndIsNeverReached) {
    ASSERT_TRUE(stepped.load(1, columnsTemplate("", {4, 1024.0})));
    stepped.animation.addMarker(1, "STOP", 4);
    EXPECT_EQ(next(9), (Frames{1, 2, 3, 0, 1, 2, 3, 0, 1}));
    stepped.animation.addMarker(1, "STOP", std::numeric_limits<int>::max());
    EXPECT_EQ(next(4), (Frames{2, 3, 0, 1}));
}

TEST_F(LAnimationPlay, MarkersOfAnyNumberAreSurvived) {
    ASSERT_TRUE(stepped.load(1, columnsTemplate()));
    for (const int frame : {std::numeric_limits<int>::min(), std::numeric_limits<int>::max(), -2}) {
        for (const char* name : {"IN", "LOOP", "STOP", "OUT"})
            stepped.animation.addMarker(1, name, frame);
        EXPECT_NE(stepped.step(), nullptr);
        EXPECT_NE(stepped.step(), nullptr);
    }
    stepped.animation.close(1);
    EXPECT_NE(stepped.step(), nullptr);
    ASSERT_TRUE(stepped.load(1, columnsTemplate()));
    EXPECT_EQ(next(2), (Frames{0, 1}));
}

// --------------------------------------------------------------------------------- its way out

TEST_F(LAnimationPlay, StopGoesToOutAndTheLayerIsGoneAtTheEnd) {
    ASSERT_TRUE(stepped.load(1, columnsTemplate(markersOf({{"STOP", 3}, {"OUT", 16}}))));
    EXPECT_EQ(next(4), (Frames{1, 2, 3, 3}));
    EXPECT_EQ(told([](LAnimation& a) { a.stop(1); }), stopLine);
    EXPECT_EQ(next(3), (Frames{16, 17, 18}));
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(isTransparent(stepped.step()));
    EXPECT_EQ(told([](LAnimation& a) {
                  a.play(1);
                  a.stop(1);
                  a.close(1);
                  a.addMarker(1, "OUT", 3);
              }),
              "");
    EXPECT_EQ(told([](LAnimation& a) { a.update(1, "column", "x"); }),
              "LAnimation: Katman bulunamadi: 1\n");
}

TEST_F(LAnimationPlay, StopWithoutOutPlaysToTheEnd) {
    ASSERT_TRUE(stepped.load(1, columnsTemplate("", {6, 1024.0})));
    EXPECT_EQ(next(2), (Frames{1, 2}));
    EXPECT_EQ(told([](LAnimation& a) { a.stop(1); }), stopLine);
    EXPECT_EQ(next(2), (Frames{3, 4}));
    EXPECT_TRUE(isTransparent(stepped.step()));
}

TEST_F(LAnimationPlay, StopCarriesItPastTheStopMarker) {
    ASSERT_TRUE(stepped.load(1, columnsTemplate(markersOf({{"STOP", 2}}), {6, 1024.0})));
    EXPECT_EQ(next(4), (Frames{1, 2, 2, 2}));
    stepped.animation.stop(1);
    EXPECT_EQ(next(3), (Frames{2, 3, 4}));
    EXPECT_TRUE(isTransparent(stepped.step()));
}

TEST_F(LAnimationPlay, StopEndsALoop) {
    ASSERT_TRUE(
        stepped.load(1, columnsTemplate(markersOf({{"LOOP", 1}, {"STOP", 2}}), {6, 1024.0})));
    EXPECT_EQ(next(5), (Frames{1, 2, 1, 2, 1}));
    stepped.animation.stop(1);
    EXPECT_EQ(next(3), (Frames{2, 3, 4}));
    EXPECT_TRUE(isTransparent(stepped.step()));
}

TEST_F(LAnimationPlay, StopOnTheWayOutBeginsTheWayOutAnew) {
    ASSERT_TRUE(stepped.load(1, columnsTemplate(markersOf({{"OUT", 15}}))));
    stepped.animation.stop(1);
    EXPECT_EQ(next(3), (Frames{15, 16, 17}));
    EXPECT_EQ(told([](LAnimation& a) { a.stop(1); }), stopLine);
    EXPECT_EQ(next(4), (Frames{15, 16, 17, 18}));
    EXPECT_TRUE(isTransparent(stepped.step()));
}

TEST_F(LAnimationPlay, CloseWithoutOutTakesTheLayerAwayAtOnce) {
    ASSERT_TRUE(stepped.load(1, columnsTemplate()));
    EXPECT_EQ(next(2), (Frames{1, 2}));
    EXPECT_EQ(told([](LAnimation& a) { a.close(1); }), std::string(closeLine) + unloadLine);
    EXPECT_TRUE(isTransparent(stepped.step()));
}

TEST_F(LAnimationPlay, CloseTwiceFindsNoLayerTheSecondTime) {
    ASSERT_TRUE(stepped.load(1, columnsTemplate()));
    stepped.animation.close(1);
    EXPECT_EQ(told([](LAnimation& a) { a.close(1); }), "");
    EXPECT_TRUE(isTransparent(stepped.step()));
}

TEST_F(LAnimationPlay, CloseWithOutGoesThere) {
    const std::string both =
        std::string(closeLine) + "LAnimation: OUT moduna gecildi. Baslangic karesi: 15\n";
    ASSERT_TRUE(stepped.load(1, columnsTemplate(markersOf({{"STOP", 2}, {"OUT", 15}}))));
    EXPECT_EQ(next(3), (Frames{1, 2, 2}));
    EXPECT_EQ(told([](LAnimation& a) { a.close(1); }), both);
    EXPECT_EQ(next(2), (Frames{15, 16}));
    EXPECT_EQ(told([](LAnimation& a) { a.close(1); }), both);
    EXPECT_EQ(next(4), (Frames{15, 16, 17, 18}));
    EXPECT_TRUE(isTransparent(stepped.step()));
    EXPECT_EQ(told([](LAnimation& a) { a.close(1); }), "");
}

TEST_F(LAnimationPlay, OutAtFrame0IsOneToo) {
    ASSERT_TRUE(stepped.load(1, columnsTemplate(markersOf({{"OUT", 0}}), {4, 1024.0})));
    EXPECT_EQ(next(1), (Frames{1}));
    EXPECT_EQ(told([](LAnimation& a) { a.close(1); }),
              std::string(closeLine) + "LAnimation: OUT moduna gecildi. Baslangic karesi: 0\n");
    EXPECT_EQ(next(3), (Frames{0, 1, 2}));
    EXPECT_TRUE(isTransparent(stepped.step()));
}

TEST_F(LAnimationPlay, CloseOfALayerThatNeverLoadedTakesItAway) {
    EXPECT_FALSE(stepped.load(1, "a lower third"));
    EXPECT_EQ(told([](LAnimation& a) { a.close(1); }), std::string(closeLine) + unloadLine);
    EXPECT_EQ(told([](LAnimation& a) { a.close(1); }), "");
}

TEST_F(LAnimationPlay, UnknownLayersAreNothing) {
    ASSERT_TRUE(stepped.load(1, boxTemplate(red)));
    EXPECT_EQ(told([](LAnimation& a) {
                  a.play(2);
                  a.stop(-1);
                  a.close(0);
                  a.addMarker(3, "IN", 1);
              }),
              "");
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(255, 0, 0));
}

TEST_F(LAnimationPlay, ALayerThatIsGoneMayBeLoadedAgain) {
    ASSERT_TRUE(stepped.load(1, boxTemplate(red)));
    stepped.animation.close(1);
    EXPECT_TRUE(isTransparent(stepped.step()));
    ASSERT_TRUE(stepped.load(1, boxTemplate(blue)));
    EXPECT_EQ(middleOf(stepped.step()), pixelOf(0, 0, 255));
}

// -------------------------------------------------------------------------------- several layers

TEST_F(LAnimationPlay, AHigherIdLiesOnTopWheneverItCame) {
    ASSERT_TRUE(stepped.load(5, lottieOf(aeLayer("box", plainFill(red), {0, 0, 120, 48}))));
    ASSERT_TRUE(stepped.load(-2, boxTemplate(green)));
    ASSERT_TRUE(stepped.load(9, lottieOf(aeLayer("box", plainFill(blue), {0, 0, 40, 48}))));
    const auto expectOrder = [](const quol::FramePtr& picture) {
        EXPECT_EQ(pixelAt(picture, 20, 24), pixelOf(0, 0, 255));
        EXPECT_EQ(pixelAt(picture, 80, 24), pixelOf(255, 0, 0));
        EXPECT_EQ(pixelAt(picture, 140, 24), pixelOf(0, 255, 0));
    };
    expectOrder(stepped.step());
    stepped.animation.updateColor(-2, "box", "#00FF00"); // made anew, it stays below
    expectOrder(stepped.step());
    stepped.animation.close(5);
    const quol::FramePtr picture = stepped.step();
    EXPECT_EQ(pixelAt(picture, 20, 24), pixelOf(0, 0, 255));
    EXPECT_EQ(pixelAt(picture, 80, 24), pixelOf(0, 255, 0));
}

TEST_F(LAnimationPlay, EachLayerHasItsOwnTime) {
    ASSERT_TRUE(stepped.load(1, columnsTemplate(markersOf({{"STOP", 4}}))));
    next(6);
    ASSERT_TRUE(stepped.load(2, columnsTemplate(markersOf({{"IN", 10}}))));
    stepped.step();
    stepped.step();
    const quol::FramePtr picture = stepped.step();
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(test::alphaAt(picture, i * 8 + 4, 24), i == 4 || i == 12 ? 255 : 0) << i;
}

TEST_F(LAnimationPlay, TwoLayersThatEndTogetherLeaveTheOthers) {
    const std::string corner = lottieOf(aeLayer("box", plainFill(red), {0, 0, 8, 8}));
    ASSERT_TRUE(stepped.load(2, corner));
    ASSERT_TRUE(stepped.load(1, columnsTemplate(markersOf({{"OUT", 17}}))));
    ASSERT_TRUE(stepped.load(3, columnsTemplate(markersOf({{"OUT", 17}}))));
    stepped.step();
    stepped.animation.stop(1);
    stepped.animation.stop(3);
    EXPECT_EQ(next(2), (Frames{17, 18}));
    const quol::FramePtr picture = stepped.step();
    EXPECT_EQ(columnOf(picture), -1);
    EXPECT_EQ(pixelAt(picture, 2, 2), pixelOf(255, 0, 0));
    EXPECT_EQ(told([](LAnimation& a) {
                  a.close(1);
                  a.close(3);
              }),
              "");
    EXPECT_EQ(pixelAt(stepped.step(), 2, 2), pixelOf(255, 0, 0));
}

// -------------------------------------------------------------------------------- the pictures

class LAnimationPictures : public testing::Test {
protected:
    void SetUp() override {
        if (!quol::hasLottieEngine()) GTEST_SKIP() << "built without Lottie templates";
    }
};

TEST_F(LAnimationPictures, AreFullHdAt50AtFirst) {
    LAnimation animation;
    EXPECT_EQ(animation.getWidth(), 1920);
    EXPECT_EQ(animation.getHeight(), 1080);
    EXPECT_EQ(animation.getFPS(), 50.0);
    videoFormatProps format;
    animation.getVideoFormat(format);
    EXPECT_EQ(format.mode, 13U);
    EXPECT_EQ(format.width, 1920);

    CollectingSink sink(1);
    animation.addSink(&sink);
    ASSERT_TRUE(animation.loadTemplate(1, writeFile("box.json", boxTemplate(red))));
    ASSERT_TRUE(sink.waitForPictures(2));
    animation.removeSink(&sink);
    const quol::FramePtr picture = sink.latestPicture();
    EXPECT_EQ(picture->width, 1920);
    EXPECT_EQ(picture->height, 1080);
    EXPECT_EQ(picture->format, AV_PIX_FMT_YUVA420P);
    EXPECT_EQ(sink.soundCount(), 0U);
}

TEST_F(LAnimationPictures, TheFormatIsReadBackAsTheModeMakesIt) {
    LAnimation animation;
    videoFormatProps format = lottieFormat(12.5);
    format.pixelFormat = 3;
    animation.setVideoFormat(format);
    EXPECT_EQ(animation.getWidth(), test::lottieWidth);
    EXPECT_EQ(animation.getHeight(), test::lottieHeight);
    EXPECT_EQ(animation.getFPS(), 12.5);
    videoFormatProps stored;
    animation.getVideoFormat(stored);
    EXPECT_EQ(stored.mode, 0U);
    EXPECT_EQ(stored.pixelFormat, 3);
    format.mode = 13;
    animation.setVideoFormat(format);
    EXPECT_EQ(animation.getWidth(), 1920);
    EXPECT_EQ(animation.getFPS(), 50.0);
}

TEST_F(LAnimationPictures, AFormatThatComesBehindTheFirstTemplateIsStoredAndNotUsed) {
    videoFormatProps later;
    later.width = 320;
    later.height = 240;
    later.fps = 25.0;
    for (int i = 0; i < 20; ++i) { // the thread may be slow to start
        LAnimation animation;
        CollectingSink sink(1);
        animation.setVideoFormat(lottieFormat());
        animation.addSink(&sink);
        ASSERT_TRUE(animation.loadTemplate(1, writeFile("box.json", boxTemplate(red))));
        animation.setVideoFormat(later);
        EXPECT_EQ(animation.getWidth(), 320);
        EXPECT_EQ(animation.getHeight(), 240);
        EXPECT_EQ(animation.getFPS(), 25.0);
        ASSERT_TRUE(animation.loadTemplate(2, writeFile("box.json", boxTemplate(blue))));
        const bool hasCome = sink.waitForPictures(2);
        animation.removeSink(&sink);
        ASSERT_TRUE(hasCome);
        ASSERT_EQ(sink.latestPicture()->width, test::lottieWidth) << i;
        ASSERT_EQ(sink.latestPicture()->height, test::lottieHeight) << i;
    }
}

// Of a player with that format.
quol::FramePtr firstPicture(const videoFormatProps& format) {
    LAnimation animation;
    CollectingSink sink(1);
    animation.setVideoFormat(format);
    animation.addSink(&sink);
    animation.loadTemplate(1, writeFile("box.json", boxTemplate(red)));
    const bool hasCome = sink.waitForPictures(1);
    animation.removeSink(&sink);
    return hasCome ? sink.latestPicture() : nullptr;
}

TEST_F(LAnimationPictures, AFormatThatIsNoneIsReplaced) {
    for (const int size : {0, -5}) {
        videoFormatProps format;
        format.width = size;
        format.height = size;
        format.fps = size;
        const quol::FramePtr picture = firstPicture(format);
        ASSERT_NE(picture, nullptr);
        EXPECT_EQ(picture->width, 1920);
        EXPECT_EQ(picture->height, 1080);
    }
}

TEST_F(LAnimationPictures, ARateThatIsNoneCountsAsFifty) {
    for (const double rate : {0.0, -5.0}) {
        SteppedAnimation stepped(rate);
        ASSERT_TRUE(stepped.load(1, columnsTemplate("", {20, 50.0})));
        // A picture is a frame of a template that plays at fifty.
        EXPECT_EQ(columnOf(stepped.picture()), 0) << rate;
        for (int frame = 1; frame < 4; ++frame)
            EXPECT_EQ(columnOf(stepped.step()), frame) << rate;
    }
}

TEST_F(LAnimationPictures, MayHaveOddEdges) {
    videoFormatProps format = lottieFormat();
    format.width = 81;
    format.height = 31;
    const quol::FramePtr picture = firstPicture(format);
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(picture->width, 81);
    EXPECT_EQ(picture->height, 31);
    EXPECT_EQ(pixelAt(picture, 40, 15), pixelOf(255, 0, 0));
    EXPECT_EQ(pixelAt(picture, 80, 15), pixelOf(255, 0, 0));
    EXPECT_EQ(pixelAt(picture, 80, 30), pixelOf(255, 0, 0));
}

TEST_F(LAnimationPictures, DoNotComeFasterThanTheRate) {
    LAnimation animation;
    CollectingSink sink;
    animation.setVideoFormat(lottieFormat(20.0));
    animation.addSink(&sink);
    ASSERT_TRUE(animation.loadTemplate(1, writeFile("box.json", boxTemplate(red))));
    ASSERT_TRUE(sink.waitForPictures(8));
    animation.removeSink(&sink);
    const auto seen = sink.pictures();
    EXPECT_GT(seen[7].arrived - seen[0].arrived, 300 * quol::nanosPerMilli); // 350 by the rate
}

class QueueOfAnimation : public LAnimation {
public:
    using LAnimation::queuedFrames;
};

TEST_F(LAnimationPictures, FiftyWaitWhereThereIsNoSink) {
    QueueOfAnimation animation;
    animation.setVideoFormat(lottieFormat());
    EXPECT_EQ(animation.queuedFrames(), 0U);
    ASSERT_TRUE(animation.loadTemplate(1, writeFile("columns.json", columnsTemplate())));
    EXPECT_TRUE(waitUntil([&] { return animation.queuedFrames() == 50; }));
    for (int i = 0; i < 50; ++i) {
        quol::sleepFor(2 * quol::nanosPerMilli);
        ASSERT_EQ(animation.queuedFrames(), 50U);
    }
}

// Keeps every picture, and what it looked like when it came.
class KeepingSink : public LSink {
public:
    void pushVideoFrame(AVFrame* frame) override {
        const std::lock_guard lock(mutex_);
        if (kept_.size() >= most) return;
        kept_.push_back(quol::cloneFrame(frame));
        columns_.push_back(columnOf(kept_.back()));
    }
    void pushAudioFrame(AVFrame* /*frame*/) override {}

    bool isFull() const {
        const std::lock_guard lock(mutex_);
        return kept_.size() == most;
    }
    const std::vector<quol::FramePtr>& kept() const { return kept_; }
    const std::vector<int>& columns() const { return columns_; }

private:
    static constexpr std::size_t most = 60;
    mutable std::mutex mutex_;
    std::vector<quol::FramePtr> kept_;
    std::vector<int> columns_;
};

TEST_F(LAnimationPictures, AreNeverWrittenAgainOnceHandedOut) {
    LAnimation animation;
    KeepingSink sink;
    animation.setVideoFormat(lottieFormat());
    animation.addSink(&sink);
    ASSERT_TRUE(animation.loadTemplate(1, writeFile("columns.json", columnsTemplate())));
    ASSERT_TRUE(waitUntil([&] { return sink.isFull(); }));
    animation.removeSink(&sink);
    std::set<const std::uint8_t*> memory;
    for (std::size_t i = 0; i < sink.kept().size(); ++i) {
        EXPECT_EQ(sink.columns()[i], static_cast<int>(i % 20));
        EXPECT_EQ(columnOf(sink.kept()[i]), sink.columns()[i]) << i;
        memory.insert(sink.kept()[i]->data[0]);
    }
    EXPECT_EQ(memory.size(), sink.kept().size());
}

TEST_F(LAnimationPictures, EverySinkGetsThem) {
    LAnimation animation;
    CollectingSink one(1);
    CollectingSink other(1);
    animation.setVideoFormat(lottieFormat());
    animation.addSink(&one);
    ASSERT_TRUE(animation.loadTemplate(1, writeFile("box.json", boxTemplate(red))));
    ASSERT_TRUE(one.waitForPictures(2));
    animation.addSink(&other);
    ASSERT_TRUE(other.waitForPictures(3));
    animation.removeSink(&other);
    animation.removeSink(&one);
    EXPECT_EQ(middleOf(other.latestPicture()), pixelOf(255, 0, 0));
    EXPECT_EQ(middleOf(one.latestPicture()), pixelOf(255, 0, 0));
}

// ------------------------------------------------------------------------------ end and threads

class LAnimationThreads : public LAnimationPictures {};

TEST_F(LAnimationThreads, ItMayBeDestroyedWhileItRenders) {
    const std::string path = writeFile("columns.json", columnsTemplate());
    std::mt19937 random(3);
    for (int i = 0; i < 30; ++i) {
        LAnimation animation;
        CollectingSink sink;
        animation.setVideoFormat(lottieFormat(i % 2 == 0 ? 1024.0 : 0.01));
        animation.addSink(&sink);
        ASSERT_TRUE(animation.loadTemplate(1, path));
        if (i % 3 != 0) {
            ASSERT_TRUE(sink.waitForPictures(1));
        }
        if (i % 5 == 0) animation.stop(1);
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
        animation.removeSink(&sink);
    }
}

TEST_F(LAnimationThreads, SeveralOfThemPlayAtOnce) {
    const std::string path = writeFile("columns.json", columnsTemplate());
    std::vector<std::thread> threads;
    std::atomic<int> good{0};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 5; ++i) {
                LAnimation animation;
                CollectingSink sink(1);
                animation.setVideoFormat(lottieFormat());
                animation.addSink(&sink);
                const bool isLoaded = animation.loadTemplate(1, path);
                const bool hasPlayed = sink.waitForPictures(25);
                animation.removeSink(&sink);
                if (isLoaded && hasPlayed && columnOf(sink.latestPicture()) >= 0) ++good;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(good, 20);
}

// A player's first picture of a red box; false when it shows something else.
bool showsItsTemplate(LAnimation& animation, const std::string& path) {
    CollectingSink sink(1);
    animation.setVideoFormat(lottieFormat());
    animation.addSink(&sink);
    const bool isShown = animation.loadTemplate(1, path) && sink.waitForPictures(1) &&
                         middleOf(sink.latestPicture()) == pixelOf(255, 0, 0);
    animation.removeSink(&sink);
    return isShown;
}

// The engine comes with the first and goes with the last, wherever those are: a thread that has
// made one finds nothing of the engine that was when it makes the next.
TEST_F(LAnimationThreads, TheLastMayEndOnAnotherThreadThanMadeIt) {
    const std::string path = writeFile("box.json", boxTemplate(red));
    for (int i = 0; i < 20; ++i) {
        auto animation = std::make_unique<LAnimation>();
        EXPECT_TRUE(showsItsTemplate(*animation, path)) << i;
        std::thread([&] { animation.reset(); }).join();
    }
}

// While one stays on air others come and go, each on a thread of its own.
TEST_F(LAnimationThreads, ThreadsThatMadeOneLeaveNoMemoryBehind) {
    const std::string path = writeFile("box.json", boxTemplate(red));
    LAnimation stays;
    ASSERT_TRUE(showsItsTemplate(stays, path));
    const auto comeAndGo = [&](int times) {
        for (int i = 0; i < times; ++i) {
            std::thread([&] {
                LAnimation animation;
                EXPECT_TRUE(showsItsTemplate(animation, path));
            }).join();
        }
        return test::heapOfThisProcess();
    };
    const std::size_t before = comeAndGo(100); // the allocator's own share has grown by then
    const std::size_t after = comeAndGo(100);
    constexpr std::size_t each = 20 * 1024; // what the engine draws with takes 50 and more
    EXPECT_LT(after, before + 100 * each);
}

// Whatever there is to do, at random, for a second.
void doAnything(LAnimation& animation, unsigned seed, const std::vector<std::string>& paths) {
    std::mt19937 random(seed);
    const auto pick = [&](unsigned count) { return static_cast<int>(random() % count); };
    const char* const markers[] = {"IN", "LOOP", "STOP", "OUT"};
    const char* const colors[] = {"#FF0000", "#00FF00", "#12"};
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    while (std::chrono::steady_clock::now() < end) {
        const int id = pick(3);
        switch (pick(9)) {
            case 0:
                animation.loadTemplate(id, paths[random() % paths.size()]);
                break;
            case 1:
                animation.update(id, "Title", pick(2) == 0 ? "AB" : "B\"");
                break;
            case 2:
                animation.updateColor(id, "box", colors[pick(3)], pick(2) == 0 ? "" : "#0000FF");
                break;
            case 3:
                animation.updateImage(id, "Logo", paths.front());
                break;
            case 4:
                animation.addMarker(id, markers[pick(4)], pick(25) - 2);
                break;
            case 5:
                animation.play(id);
                break;
            case 6:
                animation.stop(id);
                break;
            case 7:
                animation.close(id);
                break;
            default:
                animation.setVideoFormat(lottieFormat(animation.getFPS()));
        }
    }
}

TEST_F(LAnimationThreads, AllMayBeChangedFromManyThreadsWhileItPlays) {
    test::writePng(test::temporaryPath("logo.png"), 0, 0, 255);
    const std::vector<std::string> paths{
        writeFile("columns.json", columnsTemplate(markersOf({{"STOP", 5}, {"OUT", 15}}))),
        writeFile("box.json", boxTemplate(red)),
        writeFile("text.json", test::textTemplate("Title", "A")),
        writeFile("image.json", test::imageTemplate("Logo", "image_0", "", "logo.png")),
        writeFile("bad.json", "a lower third"),
        test::temporaryPath("no such file.json"),
    };
    LAnimation animation;
    CollectingSink sink(1);
    animation.setVideoFormat(lottieFormat());
    animation.addSink(&sink);
    ASSERT_TRUE(animation.loadTemplate(0, paths[1]));
    {
        const CapturedStream quiet(CapturedStream::Stream::output);
        std::vector<std::thread> threads;
        for (unsigned seed = 1; seed <= 3; ++seed)
            threads.emplace_back([&, seed] { doAnything(animation, seed, paths); });
        for (std::thread& thread : threads)
            thread.join();
        for (int id = 0; id < 3; ++id) {
            animation.addMarker(id, "OUT", -1);
            animation.close(id);
        }
    }
    ASSERT_TRUE(animation.loadTemplate(1, paths[1]));
    EXPECT_TRUE(waitUntil([&] { return middleOf(sink.latestPicture()) == pixelOf(255, 0, 0); }));
    animation.removeSink(&sink);
}

// Changes the animation from within its own pictures, as a host that follows them may.
class ChangingSink : public LSink {
public:
    explicit ChangingSink(LAnimation& animation) : animation_(animation) {}
    void pushVideoFrame(AVFrame* frame) override {
        (void)frame;
        const int seen = ++pictures_;
        animation_.update(1, "Title", seen % 2 == 0 ? "A" : "B");
        animation_.addMarker(1, "OUT", 5);
        if (seen == 10) animation_.close(1);
    }
    void pushAudioFrame(AVFrame* frame) override { (void)frame; }
    int pictures() const { return pictures_; }

private:
    LAnimation& animation_;
    std::atomic<int> pictures_{0};
};

TEST_F(LAnimationThreads, ASinkMayChangeWhatItShows) {
    LAnimation animation;
    animation.setVideoFormat(test::lottieFormat());
    ChangingSink sink(animation);
    animation.addSink(&sink);
    ASSERT_TRUE(
        animation.loadTemplate(1, writeFile("text.json", test::textTemplate("Title", "A"))));
    EXPECT_TRUE(test::waitUntil([&] { return sink.pictures() > 20; }));
    animation.removeSink(&sink);
}

} // namespace

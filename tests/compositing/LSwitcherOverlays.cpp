// What lies over a switcher's program: titles, and the clip that hides a cut.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "quolsdk/LCharacter.h"
#include "quolsdk/LStinger.h"
#include "support/CapturedStream.h"
#include "support/ClipFile.h"
#include "support/LayerScene.h"
#include "support/MachineWatch.h"
#include "support/PulledSwitcher.h"
#include "support/SteppedTitles.h"

namespace {

using quol::FramePtr;
using test::alphaClip;
using test::CapturedStream;
using test::CollectingSink;
using test::countingPictures;
using test::customVideo;
using test::firstDifference;
using test::Levels;
using test::noisePicture;
using test::panelOf;
using test::plainPicture;
using test::PulledSwitcher;
using test::sampleAt;
using test::sharesMemory;
using test::waitUntil;
using test::WatchedSource;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr int width = 64;
constexpr int height = 48;

std::string difference(const FramePtr& picture, const FramePtr& expected) {
    return picture && expected ? firstDifference(*picture, *expected) : "no picture";
}

bool isOneOf(const std::vector<FramePtr>& pictures, const FramePtr& picture) {
    return std::any_of(pictures.begin(), pictures.end(), [&picture](const FramePtr& each) {
        return difference(picture, each).empty();
    });
}

// One sample from the one below, the one on top, and the alpha at its place.
using Formula = std::function<int(int, int, int)>;

int titleFormula(int under, int over, int alpha) {
    const float a = static_cast<float>(alpha) / 255.0F;
    return static_cast<int>(static_cast<float>(under) * (1.0F - a) + a * static_cast<float>(over));
}

int stingerFormula(int under, int over, int alpha) {
    return (over * alpha + (255 - alpha) * under) >> 8;
}

FramePtr composed(const AVFrame& under, const AVFrame& over, const Formula& formula) {
    FramePtr result =
        plainPicture(under.width, under.height, {}, static_cast<AVPixelFormat>(under.format));
    for (int plane = 0; plane < 3; ++plane) {
        const int step = plane == 0 ? 1 : 2;
        for (int y = 0; y < under.height; y += step) {
            for (int x = 0; x < under.width; x += step) {
                const int value = formula(sampleAt(&under, plane, x, y),
                                          sampleAt(&over, plane, x, y), sampleAt(&over, 3, x, y));
                result->data[plane][(y / step) * result->linesize[plane] + x / step] =
                    static_cast<std::uint8_t>(value);
            }
        }
    }
    return result;
}

} // namespace

// ----------------------------------------------------------------------------------------- titles

namespace {

LCGRectProps glassOf(const char* color, int alpha) {
    LCGRectProps props = panelOf(color);
    props.bgAlpha = alpha;
    return props;
}

// Titles that stand still, and what they hand on.
class Titles {
public:
    Titles() { character.addSink(&sink_); }
    ~Titles() { character.removeSink(&sink_); }
    Titles(const Titles&) = delete;
    Titles& operator=(const Titles&) = delete;

    // Waits until a picture with, or without, ink at this place has gone out.
    bool haveInk(int x, int y, bool ink = true) {
        return waitUntil([&] { return (test::alphaAt(sink_.latestPicture(), x, y) > 0) == ink; });
    }

    FramePtr picture() { return sink_.latestPicture(); }

    FramePtr pictureOf(int pictureWidth, int pictureHeight) {
        return test::scaledByHand(*picture(), pictureWidth, pictureHeight, AV_PIX_FMT_YUVA420P);
    }

    LCharacter character;

private:
    CollectingSink sink_{1};
};

class LSwitcherTitles : public testing::Test {
protected:
    void show(const FramePtr& picture) {
        switcher.setProgram(&source);
        source.distributeVideoFrame(picture.get());
        under = quol::cloneFrame(picture.get());
    }

    // Ticks until the picture is this one: titles come by their own clock. What differs; empty for
    // nothing.
    std::string differenceFrom(const std::function<FramePtr()>& expected) {
        std::string last;
        waitUntil([&] {
            const FramePtr picture = stepped.tick(); // before the slow one: sources grow old
            last = difference(picture, expected());
            return last.empty();
        });
        return last;
    }

    std::string differenceFromTitles(Titles& titles) {
        return differenceFrom([&] {
            return composed(*under, *titles.pictureOf(under->width, under->height), titleFormula);
        });
    }

    // A picture on air under a title that is seen.
    void showUnderTitle(FramePtr& picture) {
        one.character.addItem("solid", 0, 0, 1920, 1080, panelOf("#FFFFFF"));
        ASSERT_TRUE(one.haveInk(200, 200));
        picture = noisePicture(1);
        show(picture);
        switcher.addCG(&one.character);
        EXPECT_EQ(differenceFromTitles(one), "");
    }

    Titles one;
    Titles two;
    WatchedSource source;
    FramePtr under;
    PulledSwitcher stepped;
    LSwitcher& switcher = stepped.switcher;
};

} // namespace

TEST_F(LSwitcherTitles, AreScaledToTheCanvasAndBlendedByTheirAlpha) {
    one.character.addItem("glass", 100, 100, 1000, 700, glassOf("#FF8000", 128));
    one.character.addItem("solid", 1300, 200, 500, 300, panelOf("#2040FF"));
    ASSERT_TRUE(one.haveInk(1400, 300));
    switcher.addCG(&one.character);
    for (const FramePtr& picture :
         {noisePicture(1), noisePicture(2, width, height, AV_PIX_FMT_YUVJ420P)}) {
        show(picture);
        EXPECT_EQ(differenceFromTitles(one), "");
    }
}

TEST_F(LSwitcherTitles, OnACanvasOfTheirOwnSizeAreNotScaled) {
    switcher.setVideoFormat(customVideo(1920, 1080, 50, 1));
    one.character.addItem("glass", 101, 103, 1001, 701, glassOf("#FF8000", 77));
    one.character.addItem("solid", 1300, 200, 500, 300, panelOf("#2040FF"));
    ASSERT_TRUE(one.haveInk(1400, 300));
    show(noisePicture(1, 1920, 1080));
    switcher.addCG(&one.character);
    EXPECT_EQ(differenceFrom([&] { return composed(*under, *one.picture(), titleFormula); }), "");
}

TEST_F(LSwitcherTitles, FollowTheCanvasToAnotherSize) {
    one.character.addItem("glass", 100, 100, 1000, 700, glassOf("#FF8000", 128));
    ASSERT_TRUE(one.haveInk(200, 200));
    switcher.addCG(&one.character);
    show(noisePicture(1));
    EXPECT_EQ(differenceFromTitles(one), "");
    switcher.setVideoFormat(customVideo(96, 54, 50, 1));
    show(noisePicture(1, 96, 54));
    EXPECT_EQ(differenceFromTitles(one), "");
}

TEST_F(LSwitcherTitles, LieOnEachOtherInTheOrderTheyWereAdded) {
    one.character.addItem("one", 0, 0, 1200, 1080, glassOf("#FF0000", 200));
    two.character.addItem("two", 600, 0, 1320, 1080, glassOf("#00FF00", 200));
    ASSERT_TRUE(one.haveInk(700, 500) && two.haveInk(700, 500));
    show(noisePicture(1));
    const auto stacked = [&](Titles& low, Titles& high) {
        const FramePtr first = composed(*under, *low.pictureOf(width, height), titleFormula);
        return composed(*first, *high.pictureOf(width, height), titleFormula);
    };
    switcher.addCG(&one.character);
    switcher.addCG(&two.character);
    EXPECT_EQ(differenceFrom([&] { return stacked(one, two); }), "");
    switcher.removeCG(&one.character);
    EXPECT_EQ(differenceFromTitles(two), "");
    switcher.addCG(&one.character); // above it now
    EXPECT_EQ(differenceFrom([&] { return stacked(two, one); }), "");
}

TEST_F(LSwitcherTitles, AreOverWhateverIsSeenAndLeaveTheSourcesPictureAlone) {
    WatchedSource other;
    one.character.addItem("glass", 100, 100, 1000, 700, glassOf("#FF8000", 128));
    ASSERT_TRUE(one.haveInk(200, 200));
    switcher.addCG(&one.character);
    const FramePtr first = noisePicture(1);
    const FramePtr second = noisePicture(2);
    show(first);
    switcher.setPreview(&other);
    other.distributeVideoFrame(second.get());
    EXPECT_EQ(differenceFromTitles(one), "");
    switcher.setTransitionType("cut");
    switcher.setTransition(0.5F);
    under = quol::cloneFrame(second.get());
    EXPECT_EQ(differenceFromTitles(one), "");
    EXPECT_EQ(difference(first, noisePicture(1)), "");
    EXPECT_EQ(difference(second, noisePicture(2)), "");
    switcher.setPreview(nullptr);
    switcher.setProgram(nullptr);
    EXPECT_EQ(stepped.tick(), nullptr) << "with nothing below there is no picture";
}

TEST_F(LSwitcherTitles, AreNotInTheRenderedPreview) {
    one.character.addItem("solid", 0, 0, 1920, 1080, panelOf("#FFFFFF"));
    ASSERT_TRUE(one.haveInk(200, 200));
    switcher.addCG(&one.character);
    show(noisePicture(1));
    switcher.setPreview(&source); // program and preview of one source
    source.distributeVideoFrame(under.get());
    CollectingSink watcher(1);
    switcher.getPreviewObject()->LObject::addSink(&watcher);
    EXPECT_EQ(differenceFromTitles(one), "");
    EXPECT_TRUE(sharesMemory(watcher.latestPicture(), under));
    switcher.getPreviewObject()->LObject::removeSink(&watcher);
}

TEST_F(LSwitcherTitles, ThatAreHiddenOrEmptyChangeNothing) {
    one.character.addItem("solid", 0, 0, 1920, 1080, panelOf("#FFFFFF"));
    ASSERT_TRUE(one.haveInk(200, 200));
    switcher.addCG(&one.character);
    switcher.addCG(&two.character); // empty
    const FramePtr picture = noisePicture(1);
    show(picture);
    EXPECT_EQ(differenceFromTitles(one), "");
    one.character.showItem("solid", false);
    EXPECT_TRUE(waitUntil([&] { return sharesMemory(stepped.tick(), picture); }));
    ASSERT_TRUE(one.haveInk(200, 200, false));
    one.character.showItem("solid", true);
    ASSERT_TRUE(one.haveInk(200, 200));
    EXPECT_EQ(differenceFromTitles(one), "");
    one.character.remove("solid");
    EXPECT_TRUE(waitUntil([&] { return sharesMemory(stepped.tick(), picture); }));
}

TEST_F(LSwitcherTitles, OfWhichNoneHasComeForASecondAreNotSeen) {
    FramePtr picture;
    ASSERT_NO_FATAL_FAILURE(showUnderTitle(picture));
    one.character.setFPS(0.001);
    EXPECT_TRUE(waitUntil([&] { return sharesMemory(stepped.tick(), picture); }));
    one.character.setFPS(50.0);
    EXPECT_EQ(differenceFromTitles(one), "");
}

TEST_F(LSwitcherTitles, AreAddedAndTakenAwayOneByOne) {
    EXPECT_EQ(switcher.getCGCount(), 0);
    EXPECT_EQ(switcher.getCGByIndex(0), nullptr);
    switcher.addCG(nullptr);
    EXPECT_EQ(switcher.getCGCount(), 0);
    switcher.addCG(&one.character);
    switcher.removeCG(&two.character);
    switcher.removeCG(nullptr);
    EXPECT_EQ(switcher.getCGCount(), 1);
    switcher.addCG(&two.character);
    EXPECT_EQ(switcher.getCGCount(), 2);
    EXPECT_EQ(switcher.getCGByIndex(0), &one.character);
    EXPECT_EQ(switcher.getCGByIndex(1), &two.character);
    EXPECT_EQ(switcher.getCGByIndex(2), nullptr);
    EXPECT_EQ(switcher.getCGByIndex(-1), nullptr);
    switcher.removeCG(&one.character);
    EXPECT_EQ(switcher.getCGCount(), 1);
    EXPECT_EQ(switcher.getCGByIndex(0), &two.character);
    switcher.removeCG(&one.character);
    EXPECT_EQ(switcher.getCGCount(), 1);
}

TEST_F(LSwitcherTitles, ThatAreTakenAwayLeaveThePictureAlone) {
    FramePtr picture;
    ASSERT_NO_FATAL_FAILURE(showUnderTitle(picture));
    switcher.removeCG(&one.character);
    EXPECT_TRUE(sharesMemory(stepped.tick(), picture));
}

TEST_F(LSwitcherTitles, EachThatIsAddedIsToldWithTheirNumber) {
    CapturedStream out(CapturedStream::Stream::output);
    switcher.addCG(&one.character);
    switcher.addCG(&two.character);
    switcher.removeCG(&one.character);
    switcher.addCG(&one.character);
    std::string told;
    for (const char* count : {"1", "2", "2"}) {
        const std::string line =
            std::string("LSwitcher: CG Layer Added. Total CGs: ") + count + "\n";
        const std::size_t at = out.text().find(line, told.size());
        ASSERT_NE(at, std::string::npos) << line;
        told = out.text().substr(0, at + line.size());
    }
}

// ---------------------------------------------------------------------------------------- stinger

namespace {

constexpr Levels levelsA{100, 90, 160};
constexpr Levels levelsB{200, 140, 110};

class LSwitcherStinger : public testing::Test {
protected:
    void SetUp() override {
        switcher.setProgram(&a);
        switcher.setPreview(&b);
        a.distributeVideoFrame(pictureA.get());
        b.distributeVideoFrame(pictureB.get());
        stepped.tick();
        switcher.setTransition(1.0F);
        stepped.tick();
        switcher.setTransition(0.0F);
    }

    // What is told until the loading has come to its end.
    std::string load(const std::string& path) {
        CapturedStream out(CapturedStream::Stream::output);
        CapturedStream error(CapturedStream::Stream::error);
        switcher.setStinger(path);
        EXPECT_TRUE(waitUntil([&] {
            return out.text().find("[LSwitcher] Async") != std::string::npos ||
                   error.text().find("[LSwitcher] Async") != std::string::npos;
        }));
        const std::string attached = "[LObject] addSink";
        const std::string told = out.text();
        const bool isFirst = told.compare(0, attached.size(), attached) == 0;
        return told.substr(isFirst ? told.find('\n') + 1 : 0) + error.text();
    }

    // Ten pictures alike: black, half transparent.
    static std::string plainClip() {
        std::vector<FramePtr> pictures;
        for (int i = 0; i < 10; ++i)
            pictures.push_back(test::makeRgba(width, height, 128));
        return alphaClip("plain", pictures);
    }
    void loadPlain() { load(plainClip()); }
    static std::string tenClip() { return alphaClip("ten", countingPictures(10)); }

    // The picture with one of a clip over it. The clip's own pictures are taken as they are.
    static FramePtr underClip(const FramePtr& picture, const std::string& path, double progress) {
        LStinger clip;
        EXPECT_TRUE(clip.load(path, width, height, 50.0));
        const FramePtr over(clip.getFrameByProgress(progress));
        return over ? composed(*picture, *over, stingerFormula) : nullptr;
    }

    // The picture under each of the first pictures of the clip of ten.
    static std::vector<FramePtr> underTheFirst(int count, const FramePtr& picture) {
        std::vector<FramePtr> covered;
        for (int i = 0; i < count; ++i)
            covered.push_back(underClip(picture, tenClip(), (i + 0.5) / 9.0));
        return covered;
    }

    // What a tick shows: a layer, with the plain clip over it or not.
    enum Seen { aAlone, aCovered, bCovered, bAlone, nothing };
    Seen seen() {
        const FramePtr picture = stepped.tick();
        for (const auto& [look, meaning] : looks_) {
            if (difference(picture, look).empty()) return meaning;
        }
        return nothing;
    }

    // All that is seen from the clip's first picture on until the other source is seen alone, each
    // once in a row.
    std::vector<Seen> watch() {
        std::vector<Seen> order;
        EXPECT_TRUE(waitUntil([&] {
            const Seen now = seen();
            if (now == aAlone && order.empty()) return false; // the clip's thread begins
            if (order.empty() || order.back() != now) order.push_back(now);
            return now == bAlone || now == nothing;
        }));
        return order;
    }

    FramePtr pictureA = plainPicture(width, height, levelsA);
    FramePtr pictureB = plainPicture(width, height, levelsB);
    WatchedSource a;
    WatchedSource b;
    PulledSwitcher stepped;
    LSwitcher& switcher = stepped.switcher;

private:
    const std::vector<std::pair<FramePtr, Seen>> looks_ = [this] {
        std::vector<std::pair<FramePtr, Seen>> looks;
        looks.emplace_back(quol::cloneFrame(pictureA.get()), aAlone);
        looks.emplace_back(underClip(pictureA, plainClip(), 0.0), aCovered);
        looks.emplace_back(underClip(pictureB, plainClip(), 0.0), bCovered);
        looks.emplace_back(quol::cloneFrame(pictureB.get()), bAlone);
        return looks;
    }();
};

} // namespace

TEST_F(LSwitcherStinger, MovedByHandShowsThePictureOfItsProgressOverACut) {
    constexpr int last = 9;
    load(tenClip());
    switcher.setTransitionType("stinger");
    for (const float position :
         {0.0011F, 0.01F, 0.011F, 0.12F, 0.3F, 0.4999F, 0.5F, 0.77F, 0.99F, 0.9989F}) {
        const double reached = std::floor(last * static_cast<double>(position)) / last;
        switcher.setTransition(position);
        EXPECT_EQ(difference(stepped.tick(), underClip(position < 0.5F ? pictureA : pictureB,
                                                       tenClip(), reached + 0.01)),
                  "")
            << position;
    }
    for (const float position : {0.0F, 0.001F, 0.999F, 1.0F}) {
        switcher.setTransition(position);
        EXPECT_TRUE(sharesMemory(stepped.tick(), position < 0.5F ? pictureA : pictureB))
            << position;
    }
}

TEST_F(LSwitcherStinger, OnlyItsTypeIsMovedByHand) {
    loadPlain();
    switcher.setTransitionType("cut");
    switcher.setTransition(0.3F);
    EXPECT_EQ(difference(stepped.tick(), pictureA), "");
    switcher.setTransitionType("stinger");
    EXPECT_EQ(difference(stepped.tick(), underClip(pictureA, plainClip(), 0.0)), "");
}

TEST_F(LSwitcherStinger, LiesBelowTheTitles) {
    Titles titles;
    titles.character.addItem("glass", 0, 0, 1920, 1080, glassOf("#FF8000", 128));
    ASSERT_TRUE(titles.haveInk(200, 200));
    loadPlain();
    switcher.setTransitionType("stinger");
    switcher.setTransition(0.3F);
    switcher.addCG(&titles.character);
    const FramePtr covered = underClip(pictureA, plainClip(), 0.0);
    const FramePtr expected = composed(*covered, *titles.pictureOf(width, height), titleFormula);
    EXPECT_TRUE(waitUntil([&] { return difference(stepped.tick(), expected).empty(); }))
        << difference(stepped.tick(), expected);
    switcher.removeCG(&titles.character);
}

TEST_F(LSwitcherStinger, IsNotInTheRenderedPreview) {
    loadPlain();
    switcher.setTransitionType("stinger");
    switcher.setTransition(0.3F);
    CollectingSink watcher(1);
    switcher.getPreviewObject()->LObject::addSink(&watcher);
    EXPECT_EQ(seen(), aCovered);
    EXPECT_TRUE(sharesMemory(watcher.latestPicture(), pictureB));
    switcher.getPreviewObject()->LObject::removeSink(&watcher);
}

TEST_F(LSwitcherStinger, BlendsSampleBySampleAndLeavesTheSourcesPictureAlone) {
    FramePtr clip = test::makeRgba(width, height, 0);
    for (int y = 0; y < height; ++y) {
        for (int i = 0; i < 4 * width; ++i)
            clip->data[0][y * clip->linesize[0] + i] = static_cast<std::uint8_t>(i * 37 + y * 11);
    }
    std::vector<FramePtr> pictures;
    pictures.push_back(std::move(clip));
    const std::string path = alphaClip("pattern", pictures);
    load(path);
    const FramePtr noise = noisePicture(3);
    a.distributeVideoFrame(noise.get());
    switcher.setTransitionType("stinger");
    switcher.setTransition(0.005F); // where the picture below is handed through
    EXPECT_EQ(difference(stepped.tick(), underClip(noise, path, 0.0)), "");
    EXPECT_EQ(difference(noise, noisePicture(3)), "");
}

TEST_F(LSwitcherStinger, PlaysOverACutAndEndsByItself) {
    loadPlain();
    switcher.setStingerDuration(1500);
    switcher.setTransitionType("stinger");
    switcher.setAutoTransition(1.0); // in its own time
    EXPECT_EQ(watch(), (std::vector<Seen>{aCovered, bCovered, bAlone}));
    EXPECT_EQ(switcher.getCurrentPreviewSource(), &a);
    EXPECT_EQ(stepped.position(), 0.0);
    switcher.setTransition(0.3F); // the hand moves it again
    EXPECT_EQ(seen(), bCovered);
}

TEST_F(LSwitcherStinger, ItsLastPictureStaysForASecond) {
    loadPlain();
    switcher.setStingerDuration(2000); // the last of ten comes at 1.8 s
    const Clock::time_point start = Clock::now();
    switcher.triggerStinger();
    EXPECT_EQ(watch().back(), bAlone);
    EXPECT_GE(Clock::now() - start, 2800ms);
}

TEST_F(LSwitcherStinger, AtTheOtherEndItLeavesThePositionThereToo) {
    loadPlain();
    switcher.setStingerDuration(1500);
    switcher.setTransitionType("stinger");
    switcher.setCutTransition();
    switcher.setTransition(1.0F); // a is on program again, from the other layer
    ASSERT_TRUE(sharesMemory(stepped.tick(), pictureA));
    switcher.setAutoTransition(0.0);
    EXPECT_EQ(watch(), (std::vector<Seen>{aCovered, bCovered, bAlone}));
    EXPECT_EQ(stepped.position(), 100.0);
    EXPECT_EQ(switcher.getCurrentPreviewSource(), &a);
}

TEST_F(LSwitcherStinger, IsTriggeredWhateverTheTypeAndAgain) {
    loadPlain();
    switcher.setStingerDuration(800);
    switcher.setTransitionType("fade");
    switcher.triggerStinger();
    EXPECT_EQ(watch().back(), bAlone);
    EXPECT_EQ(stepped.position(), 0.0);
    switcher.triggerStinger();
    EXPECT_TRUE(waitUntil([&] { return seen() == aCovered; }));
    EXPECT_TRUE(waitUntil([&] { return seen() == aAlone; }));
    EXPECT_EQ(switcher.getCurrentPreviewSource(), &b);
}

TEST_F(LSwitcherStinger, WhileItPlaysTheHandDoesNotMoveIt) {
    load(tenClip());
    switcher.setStingerDuration(6000);
    switcher.setTransitionType("stinger");
    switcher.triggerStinger();
    switcher.setTransition(0.95F); // the ninth picture, over b
    const std::vector<FramePtr> firstHalf = underTheFirst(5, pictureB);
    const FramePtr byHand = underClip(pictureB, tenClip(), 0.95);
    EXPECT_TRUE(waitUntil([&] {
        const FramePtr picture = stepped.tick();
        EXPECT_NE(difference(picture, byHand), "");
        return isOneOf(firstHalf, picture);
    }));
}

TEST_F(LSwitcherStinger, WithoutAPictureBelowItsCutIsMadeAllTheSame) {
    loadPlain();
    switcher.setProgram(nullptr);
    switcher.setStingerDuration(1500);
    switcher.triggerStinger();
    EXPECT_TRUE(waitUntil([&] { return seen() == bCovered; }));
    EXPECT_EQ(switcher.getCurrentPreviewSource(), nullptr);
    EXPECT_TRUE(waitUntil([&] { return seen() == bAlone; }));
}

TEST_F(LSwitcherStinger, CutsBeforeItsLastPicture) {
    load(tenClip());
    switcher.setStingerDuration(4000);
    const std::vector<FramePtr> early = underTheFirst(9, pictureB);
    switcher.triggerStinger();
    EXPECT_TRUE(waitUntil([&] { return isOneOf(early, stepped.tick()); }));
}

TEST_F(LSwitcherStinger, OfAnotherSizeThanTheCanvasIsNotSeenButCuts) {
    loadPlain();
    switcher.setStingerDuration(100);
    for (const auto& [canvasWidth, canvasHeight] :
         std::vector<std::pair<int, int>>{{32, height}, {width, 24}}) {
        switcher.setVideoFormat(customVideo(canvasWidth, canvasHeight, 50, 1));
        const FramePtr before = plainPicture(canvasWidth, canvasHeight, levelsA);
        const FramePtr after = plainPicture(canvasWidth, canvasHeight, levelsB);
        const bool isA = switcher.getCurrentPreviewSource() == &b;
        (isA ? a : b).distributeVideoFrame(before.get());
        (isA ? b : a).distributeVideoFrame(after.get());
        ASSERT_TRUE(sharesMemory(stepped.tick(), before));
        switcher.triggerStinger();
        EXPECT_TRUE(waitUntil([&] {
            const FramePtr picture = stepped.tick();
            EXPECT_TRUE(sharesMemory(picture, before) || sharesMemory(picture, after));
            return sharesMemory(picture, after);
        }));
    }
}

// ------------------------------------------------------------------------------- loading and lines

TEST_F(LSwitcherStinger, ThatIsNotLoadedMakesAnAutomaticTransitionAJump) {
    CapturedStream out(CapturedStream::Stream::output);
    switcher.setTransitionType("stinger");
    switcher.setAutoTransition(1000.0);
    const std::string line = "LSwitcher: Stinger not loaded, falling back to Cut.\n";
    ASSERT_TRUE(waitUntil([&] { return out.text() == line; })) << out.text();
    EXPECT_EQ(stepped.position(), 100.0);
    EXPECT_TRUE(sharesMemory(stepped.tick(), pictureB));
    EXPECT_EQ(switcher.getCurrentPreviewSource(), &a);
    switcher.setAutoTransition(1000.0);
    ASSERT_TRUE(waitUntil([&] { return out.text() == line + line; })) << out.text();
    EXPECT_EQ(stepped.position(), 0.0);
    EXPECT_TRUE(sharesMemory(stepped.tick(), pictureA));
}

TEST_F(LSwitcherStinger, ThatIsNotLoadedIsNotTriggered) {
    CapturedStream out(CapturedStream::Stream::output);
    switcher.triggerStinger();
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(sharesMemory(stepped.tick(), pictureA));
    EXPECT_EQ(out.text(), "");
    EXPECT_EQ(stepped.position(), 0.0);
}

TEST_F(LSwitcherStinger, ThatIsLoadedIsToldWithItsRate) {
    const std::string path = tenClip();
    EXPECT_EQ(load(path),
              "LStinger: Duration Updated -> 1000ms (FPS: 10)\n"
              "[LSwitcher] Async Stinger loaded successfully: " +
                  path + "\n");
    const std::string sequence = test::pngSequence("sequence", countingPictures(5));
    switcher.setStingerDuration(400);
    EXPECT_EQ(load(sequence),
              "LStinger: Duration Updated -> 400ms (FPS: 12.5)\n"
              "[LSwitcher] Async Stinger loaded successfully: " +
                  sequence + "\n");
}

TEST_F(LSwitcherStinger, ThatCannotBeLoadedIsToldAndTheOldOneIsGone) {
    loadPlain();
    const std::string path = test::temporaryPath("no such clip.mov");
    const std::string told = load(path);
    EXPECT_NE(told.find("[LSwitcher] Async Stinger load failed: " + path + "\n"), std::string::npos)
        << told;
    EXPECT_EQ(told.find("Duration Updated"), std::string::npos);
    switcher.setTransitionType("stinger");
    switcher.setTransition(0.3F);
    EXPECT_EQ(difference(stepped.tick(), pictureA), "");
    loadPlain();
    EXPECT_EQ(difference(stepped.tick(), underClip(pictureA, plainClip(), 0.0)), "");
}

TEST_F(LSwitcherStinger, OnACanvasOfNothingCannotBeLoaded) {
    switcher.setVideoFormat(customVideo(0, height, 50, 1));
    const std::string path = plainClip();
    EXPECT_NE(load(path).find("[LSwitcher] Async Stinger load failed: "), std::string::npos);
    switcher.setVideoFormat(customVideo(width, height, 50, 1));
    EXPECT_NE(load(path).find("loaded successfully"), std::string::npos);
}

TEST_F(LSwitcherStinger, ItsDurationIsToldOnceThereIsAClip) {
    CapturedStream before(CapturedStream::Stream::output);
    switcher.setStingerDuration(300);
    EXPECT_EQ(before.text(), "");
}

TEST_F(LSwitcherStinger, EveryDurationStretchesTheClipAndNoneIsASecond) {
    load(tenClip());
    CapturedStream out(CapturedStream::Stream::output);
    std::string told;
    for (const auto& [duration, line] :
         std::vector<std::pair<int, const char*>>{{250, "250ms (FPS: 40)"},
                                                  {4000, "4000ms (FPS: 2.5)"},
                                                  {1, "1ms (FPS: 10000)"},
                                                  {0, "1000ms (FPS: 10)"},
                                                  {-5, "1000ms (FPS: 10)"}}) {
        switcher.setStingerDuration(duration);
        told += std::string("LStinger: Duration Updated -> ") + line + "\n";
        EXPECT_EQ(out.text(), told);
    }
}

TEST_F(LSwitcherStinger, WithoutADurationItCutsAtHalfASecond) {
    loadPlain();
    switcher.setStingerDuration(100);
    switcher.setStingerDuration(0);
    test::measured([this](test::MachineWatch& machine) {
        const LObject* const preview = switcher.getCurrentPreviewSource();
        machine.begin();
        const Clock::time_point start = Clock::now();
        switcher.triggerStinger();
        ASSERT_TRUE(waitUntil([&] {
            stepped.tick();
            return switcher.getCurrentPreviewSource() != preview;
        }));
        const std::chrono::duration<double> passed = Clock::now() - start;
        EXPECT_GE(passed.count(), 0.5);
        EXPECT_LT(passed.count(), 0.65);
    });
}

TEST_F(LSwitcherStinger, WithoutADurationItCutsWellBeforeItsEnd) {
    load(tenClip());
    switcher.setStingerDuration(0); // each picture has a tenth of a second
    const std::vector<FramePtr> early = underTheFirst(8, pictureB);
    const auto cutsEarly = [&] {
        bool isEarly = false;
        switcher.triggerStinger();
        EXPECT_TRUE(waitUntil([&] {
            const FramePtr picture = stepped.tick();
            isEarly = isOneOf(early, picture);
            return isEarly || sharesMemory(picture, pictureB);
        }));
        return isEarly;
    };
    // On a machine that stood still for as long as there was to see, again.
    bool isEarly = cutsEarly();
    for (int more = 0; more < 4 && !isEarly; ++more) {
        switcher.setCutTransition();
        isEarly = cutsEarly();
    }
    EXPECT_TRUE(isEarly);
}

TEST_F(LSwitcherStinger, ADurationThatWasSetBeforeTheClipHoldsForIt) {
    switcher.setStingerDuration(2000);
    load(tenClip());
    const Clock::time_point start = Clock::now();
    switcher.triggerStinger();
    EXPECT_TRUE(waitUntil([&] {
        stepped.tick();
        return switcher.getCurrentPreviewSource() == &a;
    }));
    EXPECT_GE(Clock::now() - start, 1s);
}

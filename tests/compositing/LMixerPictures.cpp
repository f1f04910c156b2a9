// What is to be seen on the canvas of a mixer.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <array>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "compositing/LayerRenderer.h"
#include "support/CapturedStream.h"
#include "support/Frames.h"
#include "support/RunningMixer.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace {

using test::blackLevels;
using test::customVideo;
using test::HandSource;
using test::Levels;
using test::plainPicture;
using test::RunningMixer;
using namespace std::chrono_literals;

constexpr Levels grey{100, 90, 160};
constexpr Levels bright{200, 140, 110};
constexpr Levels dark{50, 120, 130};

// Four components of a pixel of a packed picture.
std::array<int, 4> packedAt(const AVFrame& picture, int x, int y) {
    const std::uint8_t* const pixel = picture.data[0] + y * picture.linesize[0] + x * 4;
    return {pixel[0], pixel[1], pixel[2], pixel[3]};
}

// What a blend of the processor path makes of one sample.
int blended(int under, int over, int alpha) {
    return ((255 - alpha) * under + alpha * over) >> 8;
}

Levels blended(const Levels& under, const Levels& over, int alpha) {
    return {blended(under.y, over.y, alpha), blended(under.u, over.u, alpha),
            blended(under.v, over.v, alpha)};
}

// Levels all over a picture that must be plain; -1 in all where it is not.
Levels levelsOf(const AVFrame* picture) {
    const Levels first = test::levelsAt(picture, 0, 0);
    for (int y = 0; picture != nullptr && y < picture->height; ++y) {
        for (int x = 0; x < picture->width; ++x) {
            if (test::levelsAt(picture, x, y) != first) return {-1, -1, -1};
        }
    }
    return first;
}

// A file with these bytes, in the test's own folder.
std::string fileOf(const std::string& name, const std::string& bytes) {
    const std::string path = test::temporaryPath(name);
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

// An image file of one colour, 64x48.
std::string plainImage(const std::string& name, std::uint8_t level) {
    return fileOf(
        name, "P6\n64 48\n255\n" + std::string(std::size_t{64} * 48 * 3, static_cast<char>(level)));
}

} // namespace

// ------------------------------------------------------------------------------- no layers

TEST(LMixerPictures, WithNoLayersTheCanvasIsBlackInYuv420pAndSilentSoundFlows) {
    RunningMixer running;
    const quol::FramePtr picture = running.nextPicture();
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(picture->format, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(picture->width, 64);
    EXPECT_EQ(picture->height, 48);
    EXPECT_EQ(levelsOf(picture.get()), blackLevels);
    const quol::FramePtr sound = running.nextSound();
    ASSERT_NE(sound, nullptr);
    const std::vector<std::int16_t> samples = test::samplesOf(*sound);
    EXPECT_EQ(std::set<std::int16_t>(samples.begin(), samples.end()), std::set<std::int16_t>{0});
}

TEST(LMixerPictures, WithNoLayersTheCanvasIsTransparentInRgbaAndSilentSoundFlows) {
    RunningMixer running(customVideo(64, 48, 50, 6));
    const quol::FramePtr picture = running.nextPicture();
    ASSERT_NE(picture, nullptr);
    ASSERT_EQ(picture->format, AV_PIX_FMT_RGBA);
    for (int y = 0; y < 48; ++y) {
        for (int x = 0; x < 64; ++x)
            ASSERT_EQ(packedAt(*picture, x, y)[3], 0) << x << ' ' << y;
    }
    EXPECT_EQ(packedAt(*picture, 0, 0), (std::array<int, 4>{0, 0, 0, 0}));
    EXPECT_NE(running.nextSound(), nullptr);
}

// ------------------------------------------------------------------------ time of the pictures

TEST(LMixerPictures, PicturesAreNumberedInTicksFromTheFirst) {
    RunningMixer running;
    ASSERT_TRUE(running.sink.waitForPictures(20));
    const auto pictures = running.sink.pictures();
    for (std::size_t i = 1; i < pictures.size(); ++i)
        EXPECT_EQ(pictures[i].pts, pictures[i - 1].pts + 1);
    EXPECT_LT(pictures[0].pts, 2000); // the count began when the mixer did
}

TEST(LMixerPictures, TheTimeBaseIsOneOverTheRateCutToAWholeNumber) {
    const std::vector<std::pair<double, int>> rates = {{50.0, 50},
                                                       {25.0, 25},
                                                       {30000.0 / 1001.0, 29},
                                                       {24000.0 / 1001.0, 23},
                                                       {60000.0 / 1001, 59},
                                                       {0.0, 50},
                                                       {-5.0, 50},
                                                       {119.9, 119}};
    for (const auto& [rate, base] : rates) {
        RunningMixer running(customVideo(64, 48, rate, 1));
        const quol::FramePtr picture = running.nextPicture();
        ASSERT_NE(picture, nullptr) << rate;
        EXPECT_EQ(picture->time_base.num, 1) << rate;
        EXPECT_EQ(picture->time_base.den, base) << rate;
    }
}

TEST(LMixerPictures, ARateBelowOneASecondHasATimeBaseOfOneSecond) {
    RunningMixer running(customVideo(64, 48, 0.9, 1));
    EXPECT_TRUE(test::waitUntil([&] {
        const quol::FramePtr picture = running.sink.latestPicture();
        return picture && picture->width == 64 && picture->time_base.den == 1;
    }));
}

TEST(LMixerPictures, WithAFractionalRateTheStampedTimeBaseAndTheTrueRateDiffer) {
    // 5.9 a second, stamped as if they were 5.
    RunningMixer running(customVideo(64, 48, 5.9, 1));
    ASSERT_TRUE(test::waitUntil([&] {
        const quol::FramePtr picture = running.sink.latestPicture();
        return picture && picture->time_base.den == 5;
    }));
    running.sink.clear();
    EXPECT_TRUE(test::waitUntil([&] {
        const auto pictures = running.sink.pictures();
        if (pictures.size() < 2) return false;
        const double stamped = pictures.back().seconds - pictures.front().seconds;
        const auto ticks = static_cast<double>(pictures.size() - 1);
        const double passed =
            static_cast<double>(pictures.back().arrived - pictures.front().arrived) / 1e9;
        EXPECT_NEAR(stamped, ticks / 5.0, 1e-6);
        return stamped > passed + 0.5;
    }));
}

TEST(LMixerPictures, NoPictureComesBeforeItIsDue) {
    const test::Stopwatch watch; // the mixer's own clock starts later
    RunningMixer running;
    ASSERT_TRUE(running.sink.waitForPictures(60));
    for (const auto& picture : running.sink.pictures())
        EXPECT_GE(watch.at(picture.arrived), static_cast<double>(picture.pts) / 50.0);
}

TEST(LMixerPictures, AMixerThatIsLateCatchesUpWithoutLeavingATickOut) {
    // A pull that takes its time holds the mixer up.
    class Slow : public test::PulledSource {
    public:
        AVFrame* renderVideoFrame() override {
            if (++renders == 1) std::this_thread::sleep_for(400ms);
            return nullptr;
        }
    } slow;
    RunningMixer running(customVideo(64, 48, 100, 1), 0);
    ASSERT_TRUE(running.sink.waitForPictures(2));
    const auto before = running.sink.pictures().back();
    running.mixer.addLayer("slow", &slow);
    EXPECT_TRUE(test::waitUntil([&] {
        const auto now = running.sink.pictures().back();
        const double passed = static_cast<double>(now.arrived - before.arrived) / 1e9;
        const double due = static_cast<double>(now.pts - before.pts) / 100.0;
        return passed > 0.5 && due > passed - 0.2;
    }));
    running.mixer.removeLayer("slow");
    const auto pictures = running.sink.pictures();
    for (std::size_t i = 1; i < pictures.size(); ++i)
        ASSERT_EQ(pictures[i].pts, pictures[i - 1].pts + 1);
}

TEST(LMixerPictures, ASlowRateDoesNotHoldUpTheEnd) {
    const test::Stopwatch watch;
    {
        LMixer mixer(LMixer::Renderer::processor);
        mixer.setVideoFormat(customVideo(64, 48, 0.001, 1));
        std::this_thread::sleep_for(100ms);
    }
    EXPECT_LT(watch.seconds(), 20.0); // a tick lasts 1000
}

TEST(LMixerPictures, WithoutASinkTheQueueKeepsTheNewest50) {
    test::OpenMixer mixer;
    mixer.setVideoFormat(customVideo(64, 48, 500, 1));
    EXPECT_TRUE(test::waitUntil([&] { return mixer.queued() == 50; }));
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(mixer.queued(), 50U);
}

TEST(LMixerPictures, EverySinkGetsEveryPicture) {
    RunningMixer running;
    test::CollectingSink second;
    running.mixer.addSink(&second);
    ASSERT_TRUE(second.waitForPictures(10));
    running.mixer.removeSink(&second);
    const auto seen = second.pictures();
    const auto all = running.sink.pictures();
    const std::int64_t first = all.front().pts;
    for (const auto& picture : seen) {
        const auto index = static_cast<std::size_t>(picture.pts - first);
        ASSERT_LT(index, all.size());
        EXPECT_EQ(all[index].pts, picture.pts);
    }
}

// ------------------------------------------------------------------------- sources that stop

TEST(LMixerPictures, ASourceThatStopsForMoreThanASecondFreezesOnItsLastPicture) {
    HandSource source;
    RunningMixer running;
    running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    std::this_thread::sleep_for(1300ms);
    EXPECT_EQ(running.levelsAt(5, 5), grey);
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(running.levelsAt(5, 5), grey);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, bright)));
    EXPECT_EQ(running.levelsAt(5, 5), bright);
}

TEST(LMixerPictures, AFlushedSourceKeepsItsLastPicture) {
    // As a file player does at its end: whatever its sinks hold is dropped.
    class Flushing : public HandSource {
    public:
        void flushAll() { flushSinks(); }
    } source;
    RunningMixer running;
    running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    source.flushAll();
    EXPECT_EQ(running.levelsAt(5, 5), grey);
}

TEST(LMixerPictures, AHiddenLayerShowsItsSourceAgainWhenItComesBack) {
    HandSource source;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    item->visible = false;
    EXPECT_EQ(running.levelsAt(5, 5), blackLevels);
    item->visible = true;
    EXPECT_EQ(running.levelsAt(5, 5), grey);
}

TEST(LMixerPictures, APictureThatCameWhileTheLayerWasHiddenLongAgoIsNotCurrent) {
    HandSource source;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    item->visible = false;
    ASSERT_NE(running.nextPicture(), nullptr);
    const quol::FramePtr missed = plainPicture(64, 48, bright);
    source.distributeVideoFrame(missed.get());
    std::this_thread::sleep_for(1200ms);
    item->visible = true;
    EXPECT_EQ(running.levelsAt(5, 5), grey);
}

TEST(LMixerPictures, ASourceThatHasGivenNothingLeavesItsLayerOut) {
    HandSource under;
    HandSource silent;
    RunningMixer running;
    running.mixer.addLayer("a", &under);
    running.mixer.addLayer("b", &silent, 5);
    ASSERT_TRUE(running.give("a", under, plainPicture(64, 48, grey)));
    EXPECT_EQ(levelsOf(running.nextPicture().get()), grey);
}

// --------------------------------------------------------------------------- stacking order

TEST(LMixerPictures, AHigherZIndexLiesOnTop) {
    HandSource first;
    HandSource second;
    RunningMixer running;
    running.mixer.addLayer("a", &first, 2);
    running.mixer.addLayer("b", &second, 1);
    ASSERT_TRUE(running.give("a", first, plainPicture(64, 48, grey)));
    ASSERT_TRUE(running.give("b", second, plainPicture(64, 48, bright)));
    EXPECT_EQ(levelsOf(running.nextPicture().get()), grey);
    running.mixer.getLayer("b")->zIndex = 3;
    EXPECT_EQ(levelsOf(running.nextPicture().get()), bright);
    running.mixer.getLayer("b")->zIndex = std::numeric_limits<int>::min();
    EXPECT_EQ(levelsOf(running.nextPicture().get()), grey);
    running.mixer.getLayer("b")->zIndex = std::numeric_limits<int>::max();
    EXPECT_EQ(levelsOf(running.nextPicture().get()), bright);
}

TEST(LMixerPictures, WithEqualZIndexTheLaterNameLiesOnTop) {
    HandSource first;
    HandSource second;
    HandSource third;
    RunningMixer running;
    running.mixer.addLayer("b", &second, 4);
    running.mixer.addLayer("c", &third, 4);
    running.mixer.addLayer("a", &first, 4);
    ASSERT_TRUE(running.give("a", first, plainPicture(64, 48, grey)));
    ASSERT_TRUE(running.give("b", second, plainPicture(64, 48, dark)));
    ASSERT_TRUE(running.give("c", third, plainPicture(64, 48, bright)));
    EXPECT_EQ(levelsOf(running.nextPicture().get()), bright);
    running.mixer.getLayer("c")->visible = false;
    EXPECT_EQ(levelsOf(running.nextPicture().get()), dark);
    running.mixer.getLayer("a")->zIndex = 5;
    EXPECT_EQ(levelsOf(running.nextPicture().get()), grey);
}

TEST(LMixerPictures, ATranslucentLayerIsBlendedWithWhatLiesBeneath) {
    HandSource under;
    HandSource over;
    RunningMixer running;
    running.mixer.addLayer("a", &under);
    running.mixer.addLayer("b", &over, 1, 8, 4, 100, 32, 24);
    ASSERT_TRUE(running.give("a", under, plainPicture(64, 48, dark)));
    ASSERT_TRUE(running.give("b", over, plainPicture(32, 24, bright)));
    const quol::FramePtr picture = running.nextPicture();
    EXPECT_EQ(test::levelsAt(picture.get(), 7, 4), dark);
    EXPECT_EQ(test::levelsAt(picture.get(), 8, 3).y, dark.y);
    EXPECT_EQ(test::levelsAt(picture.get(), 8, 4), blended(dark, bright, 100));
    EXPECT_EQ(test::levelsAt(picture.get(), 39, 27), blended(dark, bright, 100));
    EXPECT_EQ(test::levelsAt(picture.get(), 40, 27), dark);
    EXPECT_EQ(test::levelsAt(picture.get(), 39, 28), dark);
}

TEST(LMixerPictures, AlphaCountsWithin0To255) {
    HandSource source;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    item->alpha = 100000;
    EXPECT_EQ(levelsOf(running.nextPicture().get()), grey);
    item->alpha = -100;
    EXPECT_EQ(levelsOf(running.nextPicture().get()), blackLevels);
    item->alpha = 0;
    EXPECT_EQ(levelsOf(running.nextPicture().get()), blackLevels);
    item->alpha = 255;
    EXPECT_EQ(levelsOf(running.nextPicture().get()), grey);
}

TEST(LMixerPictures, ATransparentPictureShowsWhatLiesBeneath) {
    HandSource under;
    HandSource over;
    RunningMixer running;
    running.mixer.addLayer("a", &under);
    running.mixer.addLayer("b", &over, 1);
    ASSERT_TRUE(running.give("a", under, plainPicture(64, 48, dark)));
    ASSERT_TRUE(running.give("b", over, plainPicture(64, 48, bright, AV_PIX_FMT_YUVA420P, 0)));
    EXPECT_EQ(levelsOf(running.nextPicture().get()), dark);
    ASSERT_TRUE(running.give("b", over, plainPicture(64, 48, bright, AV_PIX_FMT_YUVA420P, 80)));
    EXPECT_EQ(levelsOf(running.nextPicture().get()), blended(dark, bright, 80));
}

// ------------------------------------------------------------------------- place and decoration

TEST(LMixerPictures, ALayerThatLiesPartlyOrWhollyOutsideIsClipped) {
    HandSource source;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    for (const int alpha : {255, 254}) { // copied, and blended
        item->alpha = alpha;
        const Levels seen = alpha == 255 ? grey : blended(blackLevels, grey, alpha);
        running.mixer.editLayer("a", [](LLayerItem& layer) {
            layer.x = -32.0F;
            layer.y = -24.0F;
        });
        quol::FramePtr picture = running.nextPicture();
        EXPECT_EQ(test::levelsAt(picture.get(), 0, 0), seen);
        EXPECT_EQ(test::levelsAt(picture.get(), 31, 23), seen);
        EXPECT_EQ(test::levelsAt(picture.get(), 32, 23), blackLevels);
        EXPECT_EQ(test::levelsAt(picture.get(), 31, 24), blackLevels);
        running.mixer.editLayer("a", [](LLayerItem& layer) {
            layer.x = 50.0F;
            layer.y = 40.0F;
        });
        picture = running.nextPicture();
        EXPECT_EQ(test::levelsAt(picture.get(), 49, 40), blackLevels);
        EXPECT_EQ(test::levelsAt(picture.get(), 50, 40), seen);
        EXPECT_EQ(test::levelsAt(picture.get(), 63, 47), seen);
        for (const auto& [x, y] :
             {std::pair{64.0F, 0.0F}, std::pair{0.0F, 48.0F}, std::pair{-64.0F, 0.0F},
              std::pair{0.0F, -48.0F}, std::pair{1e30F, 0.0F}, std::pair{0.0F, -1e30F}}) {
            running.mixer.editLayer("a", [x = x, y = y](LLayerItem& layer) {
                layer.x = x;
                layer.y = y;
            });
            EXPECT_EQ(levelsOf(running.nextPicture().get()), blackLevels) << x << ' ' << y;
        }
    }
}

TEST(LMixerPictures, ALayerIsScaledToItsSize) {
    HandSource source;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", &source, 0, 0, 0, 255, 32.9F, 24.9F);
    ASSERT_TRUE(running.give("a", source, plainPicture(200, 100, grey)));
    const quol::FramePtr picture = running.nextPicture();
    EXPECT_EQ(test::levelsAt(picture.get(), 31, 23), grey);
    EXPECT_EQ(test::levelsAt(picture.get(), 32, 23), blackLevels);
    EXPECT_EQ(test::levelsAt(picture.get(), 31, 24), blackLevels);
    // One side by itself: the other is the picture's own.
    item->height = 0.0F;
    const quol::FramePtr tall = running.nextPicture();
    EXPECT_EQ(test::levelsAt(tall.get(), 31, 47), grey);
    EXPECT_EQ(test::levelsAt(tall.get(), 32, 47), blackLevels);
    item->height = 0.5F; // no whole pixel: nothing is left
    EXPECT_EQ(levelsOf(running.nextPicture().get()), blackLevels);
}

TEST(LMixerPictures, SizesAndPlacesThatAreNoNumbersDoNoHarm) {
    HandSource source;
    RunningMixer running;
    running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float infinity = std::numeric_limits<float>::infinity();
    constexpr float huge = std::numeric_limits<float>::max();
    for (const int alpha : {255, 100}) {
        for (const float value : {nan, infinity, -infinity, huge, -huge, 32769.0F}) {
            running.mixer.addLayer("a", &source, 0, value, value, alpha);
            EXPECT_NE(running.nextPicture(), nullptr);
            running.mixer.addLayer("a", &source, 0, 0, 0, alpha, value, value);
            EXPECT_NE(running.nextPicture(), nullptr);
            running.mixer.addLayer("a", &source, 0, 0, 0, alpha, 20, value);
            EXPECT_NE(running.nextPicture(), nullptr);
            running.mixer.addLayer("a", &source, 0, 0, 0, alpha, 40, 40, value, value, value, value,
                                   std::numeric_limits<int>::max(), "", false, 0);
            running.mixer.setLayerBorderRadius("a", std::numeric_limits<int>::max());
            EXPECT_NE(running.nextPicture(), nullptr);
            running.mixer.setLayerBorderRadius("a", std::numeric_limits<int>::min());
            EXPECT_NE(running.nextPicture(), nullptr);
        }
    }
    running.mixer.addLayer("a", &source);
    EXPECT_EQ(levelsOf(running.nextPicture().get()), grey);
}

TEST(LMixerPictures, ACroppedLayerMovesToItsPlace) {
    HandSource source;
    const quol::FramePtr given = plainPicture(64, 48, grey);
    // The left 16 columns and the top 8 rows are another colour, and are cropped away.
    for (int y = 0; y < 48; ++y)
        std::memset(given->data[0] + y * given->linesize[0], bright.y, y < 8 ? 64 : 16);
    RunningMixer running;
    running.mixer.addLayer("a", &source, 0, 4, 2, 255, 64, 48, 8, 20, 16, 30, 0, "#FFFFFF", false,
                           100);
    ASSERT_TRUE(running.give("a", source, given));
    const quol::FramePtr picture = running.nextPicture();
    const int seen = blended(0, grey.y, 255);
    EXPECT_EQ(test::levelsAt(picture.get(), 4, 2).y, seen);
    EXPECT_EQ(test::levelsAt(picture.get(), 3, 2).y, 0);
    EXPECT_EQ(test::levelsAt(picture.get(), 4, 1).y, 0);
    // 64 - 16 - 30 columns and 48 - 8 - 20 rows are left.
    EXPECT_EQ(test::levelsAt(picture.get(), 21, 21).y, seen);
    EXPECT_EQ(test::levelsAt(picture.get(), 22, 21).y, 0);
    EXPECT_EQ(test::levelsAt(picture.get(), 21, 22).y, 0);
}

TEST(LMixerPictures, ABorderLiesWithinTheLayer) {
    HandSource source;
    RunningMixer running;
    running.mixer.addLayer("a", &source, 0, 8, 8, 255, 32, 24, 0, 0, 0, 0, 4, "#000", false, 100);
    ASSERT_TRUE(running.give("a", source, plainPicture(32, 24, bright)));
    const quol::FramePtr picture = running.nextPicture();
    EXPECT_EQ(test::levelsAt(picture.get(), 8, 8).y, 0);
    EXPECT_EQ(test::levelsAt(picture.get(), 11, 20).y, 0);
    EXPECT_EQ(test::levelsAt(picture.get(), 12, 12).y, blended(0, bright.y, 255));
    EXPECT_EQ(test::levelsAt(picture.get(), 35, 27).y, blended(0, bright.y, 255));
    EXPECT_EQ(test::levelsAt(picture.get(), 36, 28).y, 0);
    running.mixer.editLayer("a", [](LLayerItem& layer) { layer.borderColor = "white"; });
    const quol::FramePtr white = running.nextPicture();
    EXPECT_EQ(test::levelsAt(white.get(), 8, 8).y, (255 * 255) >> 8);
    EXPECT_EQ(test::levelsAt(white.get(), 7, 8).y, 0);
}

TEST(LMixerPictures, OnTheProcessorALayerWithARadiusAloneStaysSquare) {
    HandSource source;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    running.mixer.setLayerBorderRadius("a", 50);
    EXPECT_EQ(levelsOf(running.nextPicture().get()), grey);
    // With anything else that it has, the corners go.
    item->alpha = 254;
    const quol::FramePtr rounded = running.nextPicture();
    EXPECT_EQ(test::levelsAt(rounded.get(), 0, 0), blackLevels);
    EXPECT_EQ(test::levelsAt(rounded.get(), 63, 47), blackLevels);
    EXPECT_EQ(test::levelsAt(rounded.get(), 32, 24), blended(blackLevels, grey, 254));
}

// --------------------------------------------------------------------------- downstream keys

TEST(LMixerPictures, AKeyLayerWhoseKeyHasProducedNothingShowsItsFillUnkeyed) {
    HandSource under;
    HandSource fill;
    HandSource key;
    RunningMixer running;
    running.mixer.addLayer("a", &under);
    running.mixer.addDSK("k", &fill, &key, 1);
    ASSERT_TRUE(running.give("a", under, plainPicture(64, 48, dark)));
    ASSERT_TRUE(running.give("k", fill, plainPicture(64, 48, bright)));
    EXPECT_EQ(levelsOf(running.nextPicture().get()), blended(dark, bright, 255));
    running.mixer.addDSK("k", &fill, nullptr, 1);
    EXPECT_EQ(levelsOf(running.nextPicture().get()), blended(dark, bright, 255));
}

TEST(LMixerPictures, AKeyLayerWhoseFillHasProducedNothingIsLeftOut) {
    HandSource fill;
    HandSource key;
    RunningMixer running;
    running.mixer.addDSK("k", &fill, &key);
    ASSERT_TRUE(running.give("k", key, plainPicture(64, 48, {235})));
    EXPECT_EQ(levelsOf(running.nextPicture().get()), blackLevels);
}

TEST(LMixerPictures, TheFillIsSeenWhereTheKeyIsBright) {
    HandSource under;
    HandSource fill;
    HandSource key;
    const quol::FramePtr halves = plainPicture(64, 48, {16});
    for (int y = 0; y < 48; ++y)
        std::memset(halves->data[0] + y * halves->linesize[0] + 32, 235, 32);
    RunningMixer running;
    running.mixer.addLayer("a", &under);
    running.mixer.addDSK("k", &fill, &key, 1);
    ASSERT_TRUE(running.give("a", under, plainPicture(64, 48, dark)));
    ASSERT_TRUE(running.give("k", fill, plainPicture(64, 48, bright)));
    ASSERT_TRUE(running.give("k", key, halves));
    const quol::FramePtr picture = running.nextPicture();
    EXPECT_EQ(test::levelsAt(picture.get(), 0, 0), dark);
    EXPECT_EQ(test::levelsAt(picture.get(), 31, 47), dark);
    EXPECT_EQ(test::levelsAt(picture.get(), 32, 0), blended(dark, bright, 255));
    EXPECT_EQ(test::levelsAt(picture.get(), 63, 47), blended(dark, bright, 255));
}

TEST(LMixerPictures, AKeyWithAlphaKeysByItAndNotByItsLuma) {
    HandSource under;
    HandSource fill;
    HandSource key;
    RunningMixer running;
    running.mixer.addLayer("a", &under);
    running.mixer.addDSK("k", &fill, &key, 1);
    ASSERT_TRUE(running.give("a", under, plainPicture(64, 48, dark)));
    ASSERT_TRUE(running.give("k", fill, plainPicture(64, 48, bright)));
    ASSERT_TRUE(running.give("k", key, plainPicture(64, 48, {235}, AV_PIX_FMT_YUVA420P, 60)));
    EXPECT_EQ(levelsOf(running.nextPicture().get()), blended(dark, bright, 60));
    ASSERT_TRUE(running.give("k", key, plainPicture(64, 48, {16}, AV_PIX_FMT_YUVA422P, 255)));
    EXPECT_EQ(levelsOf(running.nextPicture().get()), blended(dark, bright, 255));
}

TEST(LMixerPictures, AKeyThatStopsStandsOnItsLastPicture) {
    HandSource fill;
    HandSource key;
    RunningMixer running;
    running.mixer.addDSK("k", &fill, &key);
    ASSERT_TRUE(running.give("k", fill, plainPicture(64, 48, bright)));
    ASSERT_TRUE(running.give("k", key, plainPicture(64, 48, {16})));
    std::this_thread::sleep_for(1200ms);
    EXPECT_EQ(levelsOf(running.nextPicture().get()), blackLevels);
}

TEST(LMixerPictures, FillAndKeyOfAnySizeAreScaledToTheLayer) {
    HandSource fill;
    HandSource key;
    RunningMixer running;
    running.mixer.addDSK("k", &fill, &key, 0, 16, 8, 255, 32, 24);
    ASSERT_TRUE(running.give("k", fill, plainPicture(200, 30, bright)));
    ASSERT_TRUE(running.give("k", key, plainPicture(17, 99, {235})));
    const quol::FramePtr picture = running.nextPicture();
    EXPECT_EQ(test::levelsAt(picture.get(), 15, 8), blackLevels);
    EXPECT_EQ(test::levelsAt(picture.get(), 16, 8), blended(blackLevels, bright, 255));
    EXPECT_EQ(test::levelsAt(picture.get(), 47, 31), blended(blackLevels, bright, 255));
    EXPECT_EQ(test::levelsAt(picture.get(), 48, 31), blackLevels);
}

// ---------------------------------------------------------------------------------- images

TEST(LMixerPictures, AnImageIsShownAndStandsWithoutASource) {
    RunningMixer running;
    running.mixer.addImage("i", plainImage("grey.ppm", 128), 0, 16, 8, 255, 32, 24);
    quol::FramePtr picture = running.nextPicture();
    // 128 of 255 is 16 + 128 * 219 / 255 in limited range; an image is blended, not copied.
    EXPECT_NEAR(test::levelsAt(picture.get(), 16, 8).y, 125, 2);
    EXPECT_NEAR(test::levelsAt(picture.get(), 47, 31).u, 127, 2);
    EXPECT_EQ(test::levelsAt(picture.get(), 15, 8), blackLevels);
    std::this_thread::sleep_for(1200ms);
    picture = running.nextPicture();
    EXPECT_NEAR(test::levelsAt(picture.get(), 16, 8).y, 125, 2);
}

TEST(LMixerPictures, AnImageWithAlphaIsTransparentWhereItSaysSo) {
    std::string bytes =
        "P7\nWIDTH 64\nHEIGHT 48\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n";
    for (int i = 0; i < 64 * 48; ++i)
        bytes += i % 64 < 32 ? std::string("\xff\xff\xff\xff") : std::string("\xff\xff\xff\0", 4);
    HandSource under;
    RunningMixer running;
    running.mixer.addLayer("a", &under);
    running.mixer.addImage("i", fileOf("alpha.pam", bytes), 1);
    ASSERT_TRUE(running.give("a", under, plainPicture(64, 48, dark)));
    const quol::FramePtr picture = running.nextPicture();
    EXPECT_NEAR(test::levelsAt(picture.get(), 4, 4).y, 234, 2);
    EXPECT_EQ(test::levelsAt(picture.get(), 60, 4), dark);
}

TEST(LMixerPictures, AnImageTakesTheFirstPictureOfAFileWithMore) {
    RunningMixer running(customVideo(320, 180, 25, 1));
    running.mixer.addImage("i", test::mediaPath("h264_aac.mp4"));
    const quol::FramePtr first = running.nextPicture();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(levelsOf(first.get()), (Levels{-1, -1, -1})); // a pattern
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(test::fingerprint(*running.nextPicture()), test::fingerprint(*first));
}

TEST(LMixerPictures, TheCoverOfASoundFileIsAnImage) {
    RunningMixer running;
    running.mixer.addImage("i", test::mediaPath("cover.mp3"), 0, 0, 0, 255, 64, 48);
    EXPECT_NE(running.levelsAt(40, 40), blackLevels);
}

TEST(LMixerPictures, AnImageThatIsReplacedShowsTheNewFile) {
    RunningMixer running;
    running.mixer.addImage("i", plainImage("black.ppm", 0));
    EXPECT_NEAR(running.levelsAt(4, 4).y, 15, 2);
    running.mixer.addImage("i", plainImage("white.ppm", 255));
    EXPECT_NEAR(running.levelsAt(4, 4).y, 234, 2);
    running.mixer.addImage("i", "no such file.png");
    EXPECT_EQ(running.levelsAt(4, 4), blackLevels);
}

TEST(LMixerPictures, AnImageThatCannotBeReadLeavesALayerWithoutAPicture) {
    const std::string pipe = test::temporaryPath("pipe.png");
    std::filesystem::remove(pipe); // of a run before
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const std::vector<std::string> paths = {
        "",
        " ",
        "no such file.png",
        "/",
        test::temporaryPath(""),
        test::mediaPath(""),
        test::mediaPath("mono.wav"),
        test::mediaPath("text.mp4"),
        test::mediaPath("empty.mp4"),
        test::mediaPath("huge_png.png"),
        test::mediaPath("truncated_no_moov.mp4"),
        test::mediaPath("seq/seq_%04d.png") + "x",
        "/dev/null",
        "/dev/zero",
        pipe,
        "file:" + pipe,
        std::string(100000, 'x'),
        "/" + std::string(255, 'x') + ".png",
        std::string("still.png\0/etc", 14),
        "\xff\xfe\x01.png",
        "%s%s%s%n.png",
        "a\nb.png",
        "http://127.0.0.1:1/none.png",
        "nosuchprotocol://x",
        "concat:",
        "subfile,,start,0,end,10,,:x",
        "data:image/png;base64,",
        fileOf("short.ppm", "P6\n64 48\n255\nxx"),
        fileOf("wrong.ppm", "P6\n-1 99999999999\n255\n"),
        fileOf("short.png", "\x89PNG\r\n\x1a\n"),
    };
    RunningMixer running;
    for (const std::string& path : paths) {
        LLayerItem* const item = running.mixer.addImage("i", path, 3);
        ASSERT_NE(item, nullptr) << path;
        EXPECT_EQ(item->zIndex, 3) << path;
        EXPECT_EQ(running.mixer.getLayer("i"), item) << path;
    }
    // None of them held the mixer up for good, nor broke it.
    EXPECT_EQ(running.levelsAt(4, 4), blackLevels);
    running.mixer.addImage("i", plainImage("after.ppm", 255));
    EXPECT_NEAR(running.levelsAt(4, 4).y, 234, 2);
}

TEST(LMixerPictures, EachImageThatCannotBeReadIsBlack) {
    RunningMixer running;
    for (const std::string& path :
         {std::string(), std::string("no such file.png"), test::mediaPath("mono.wav"),
          test::mediaPath("text.mp4"), test::mediaPath("huge_png.png")}) {
        running.mixer.addImage("i", plainImage("before.ppm", 255));
        running.mixer.addImage("i", path);
        EXPECT_EQ(levelsOf(running.nextPicture().get()), blackLevels) << path;
    }
}

TEST(LMixerPictures, DamagedFilesAsImagesDoNoHarm) {
    RunningMixer running;
    for (const char* name : {"random.mp4", "bitflips.mp4", "truncated.mp4", "odd_size.mkv",
                             "tenbit.mp4", "size_change.ts", "prores.mov"}) {
        running.mixer.addImage("i", test::mediaPath(name), 0, 0, 0, 200, 64, 48);
        EXPECT_NE(running.nextPicture(), nullptr) << name;
    }
}

// ------------------------------------------------------------------------------ canvas formats

TEST(LMixerPictures, ThePixelFormatOfTheFormatIsThatOfTheCanvas) {
    const std::vector<std::pair<int, AVPixelFormat>> formats = {
        {0, AV_PIX_FMT_RGBA},     {1, AV_PIX_FMT_YUV420P},  {2, AV_PIX_FMT_YUV420P},
        {3, AV_PIX_FMT_NV12},     {5, AV_PIX_FMT_RGB24},    {6, AV_PIX_FMT_RGBA},
        {7, AV_PIX_FMT_ARGB},     {9, AV_PIX_FMT_UYVY422},  {12, AV_PIX_FMT_YUYV422},
        {13, AV_PIX_FMT_YUV420P}, {15, AV_PIX_FMT_YUV422P}, {16, AV_PIX_FMT_YUVA422P},
        {17, AV_PIX_FMT_YUVA420P}};
    RunningMixer running;
    for (const auto& [pixelFormat, format] : formats) {
        running.mixer.setVideoFormat(customVideo(66, 50, 50, pixelFormat));
        const quol::FramePtr picture = running.nextPicture();
        ASSERT_NE(picture, nullptr);
        EXPECT_EQ(picture->format, format) << pixelFormat;
        EXPECT_EQ(picture->width, 66) << pixelFormat;
        EXPECT_EQ(picture->height, 50) << pixelFormat;
    }
}

TEST(LMixerPictures, APixelFormatWithoutACanvasGivesSoundButNoPicture) {
    RunningMixer running;
    for (const int pixelFormat :
         {4, 8, 10, 11, 14, 18, -1, 1000, std::numeric_limits<int>::min()}) {
        running.mixer.setVideoFormat(customVideo(64, 48, 50, pixelFormat));
        ASSERT_TRUE(running.sink.waitForSounds(running.sink.soundCount() + 2));
        const std::size_t pictures = running.sink.pictureCount();
        EXPECT_TRUE(running.sink.waitForSounds(running.sink.soundCount() + 3));
        EXPECT_EQ(running.sink.pictureCount(), pictures) << pixelFormat;
    }
    running.mixer.setVideoFormat(customVideo(64, 48, 50, 1));
    EXPECT_EQ(levelsOf(running.nextPicture().get()), blackLevels);
}

TEST(LMixerPictures, ASizeThatNoCanvasCanHaveGivesSoundButNoPicture) {
    constexpr int largest = std::numeric_limits<int>::max();
    RunningMixer running;
    for (const auto& [width, height] :
         {std::pair{0, 0}, std::pair{0, 48}, std::pair{64, 0}, std::pair{-64, 48},
          std::pair{64, -48}, std::pair{largest, largest}, std::pair{largest, 1}}) {
        running.mixer.setVideoFormat(customVideo(width, height, 50, 1));
        ASSERT_TRUE(running.sink.waitForSounds(running.sink.soundCount() + 2));
        const std::size_t pictures = running.sink.pictureCount();
        EXPECT_TRUE(running.sink.waitForSounds(running.sink.soundCount() + 3));
        EXPECT_EQ(running.sink.pictureCount(), pictures) << width << 'x' << height;
    }
    running.mixer.setVideoFormat({39, 64, 48, 50.0, 1}); // a mode that there is not
    ASSERT_TRUE(running.sink.waitForSounds(running.sink.soundCount() + 2));
    EXPECT_EQ(running.nextSound()->nb_samples, 960);
    running.mixer.setVideoFormat(customVideo(64, 48, 50, 1));
    EXPECT_NE(running.nextPicture(), nullptr);
}

TEST(LMixerPictures, CanvasesOfAnySizeAreFilledToTheirEdges) {
    HandSource source;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(100, 100, grey)));
    for (const auto& [width, height] :
         {std::pair{1, 1}, std::pair{2, 2}, std::pair{1, 99}, std::pair{99, 1}, std::pair{33, 17},
          std::pair{35, 65}, std::pair{64, 33}}) {
        running.mixer.setVideoFormat(customVideo(width, height, 50, 1));
        item->alpha = 255;
        EXPECT_EQ(levelsOf(running.nextPicture().get()), grey) << width << 'x' << height;
        item->alpha = 128; // chroma of an odd edge is not blended
        EXPECT_EQ(test::levelsAt(running.nextPicture().get(), width - 1, height - 1).y,
                  blended(0, grey.y, 128))
            << width << 'x' << height;
    }
}

TEST(LMixerPictures, InPlanarCanvasesWithAlphaTheLayersAreOpaqueAndTheRestIsNot) {
    for (const int pixelFormat : {16, 17}) {
        HandSource opaque;
        HandSource half;
        RunningMixer running(customVideo(64, 48, 50, pixelFormat));
        running.mixer.addLayer("a", &opaque, 0, 0, 0, 255, 32, 24);
        running.mixer.addLayer("b", &half, 1, 32, 24, 128, 32, 24);
        ASSERT_TRUE(running.give("a", opaque, plainPicture(32, 24, grey)));
        ASSERT_TRUE(running.give("b", half, plainPicture(32, 24, bright)));
        const quol::FramePtr picture = running.nextPicture();
        ASSERT_NE(picture, nullptr);
        const auto alphaAt = [&](int x, int y) {
            return picture->data[3][y * picture->linesize[3] + x];
        };
        EXPECT_EQ(alphaAt(8, 8), 255) << pixelFormat;
        EXPECT_EQ(alphaAt(40, 8), 0) << pixelFormat;
        EXPECT_EQ(alphaAt(8, 40), 0) << pixelFormat;
        EXPECT_NEAR(alphaAt(40, 40), 128, 1) << pixelFormat;
        EXPECT_EQ(picture->data[0][8 * picture->linesize[0] + 8], grey.y) << pixelFormat;
    }
}

TEST(LMixerPictures, InPackedRgbaCanvasesTheLayersAreOpaqueAndTheRestIsNot) {
    for (const int pixelFormat : {0, 6, 7}) {
        HandSource source;
        RunningMixer running(customVideo(64, 48, 50, pixelFormat));
        running.mixer.addLayer("a", &source, 0, 0, 0, 255, 32, 24);
        ASSERT_TRUE(running.give("a", source, plainPicture(32, 24, {235})));
        const quol::FramePtr picture = running.nextPicture();
        ASSERT_NE(picture, nullptr);
        for (const int component : packedAt(*picture, 8, 8))
            EXPECT_GE(component, 253) << pixelFormat;
        const int alphaPlace = pixelFormat == 7 ? 0 : 3;
        EXPECT_EQ(packedAt(*picture, 40, 40)[static_cast<std::size_t>(alphaPlace)], 0);
    }
}

TEST(LMixerPictures, InCanvasesWithoutAlphaALayerHasItsLevelsAndTheRestIsBlack) {
    HandSource source;
    RunningMixer running;
    running.mixer.addLayer("a", &source, 0, 0, 0, 255, 32, 24);
    ASSERT_TRUE(running.give("a", source, plainPicture(32, 24, bright)));
    struct Case {
        int pixelFormat;
        int step;   // bytes from one luma sample to the next
        int offset; // of the first luma sample
    };
    for (const Case& each : {Case{3, 1, 0}, Case{9, 2, 1}, Case{12, 2, 0}, Case{15, 1, 0}}) {
        running.mixer.setVideoFormat(customVideo(64, 48, 50, each.pixelFormat));
        const quol::FramePtr picture = running.nextPicture();
        ASSERT_NE(picture, nullptr);
        const auto lumaAt = [&](int x, int y) {
            return picture->data[0][y * picture->linesize[0] + x * each.step + each.offset];
        };
        EXPECT_EQ(lumaAt(8, 8), bright.y) << each.pixelFormat;
        EXPECT_EQ(lumaAt(40, 40), 0) << each.pixelFormat;
    }
    running.mixer.setVideoFormat(customVideo(64, 48, 50, 5));
    const quol::FramePtr rgb = running.nextPicture();
    ASSERT_NE(rgb, nullptr);
    EXPECT_EQ(rgb->data[0][40 * rgb->linesize[0] + 40 * 3], 0);
    EXPECT_GT(rgb->data[0][8 * rgb->linesize[0] + 8 * 3], 150);
}

TEST(LMixerPictures, TheFormatOfTheCanvasMayChangeOnAir) {
    HandSource source;
    RunningMixer running;
    running.mixer.addLayer("a", &source, 0, 0, 0, 255, 4096, 4096);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    std::int64_t before = running.nextPicture()->pts;
    for (const auto& [width, height] :
         {std::pair{320, 180}, std::pair{16, 16}, std::pair{64, 48}}) {
        running.mixer.setVideoFormat(customVideo(width, height, 50, 1));
        const quol::FramePtr picture = running.nextPicture();
        ASSERT_NE(picture, nullptr);
        EXPECT_EQ(picture->width, width);
        EXPECT_EQ(picture->height, height);
        EXPECT_EQ(levelsOf(picture.get()), grey);
        EXPECT_GT(picture->pts, before);
        before = picture->pts;
    }
}

// ------------------------------------------------------------------------- pictures of sources

TEST(LMixerPictures, ASourceMayChangeSizeAndFormatOnAir) {
    HandSource source;
    RunningMixer running;
    LLayerItem* const item = running.mixer.addLayer("a", &source, 0, 0, 0, 255, 64, 48);
    for (const int alpha : {255, 128}) {
        item->alpha = alpha;
        for (const AVPixelFormat format :
             {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUVA420P, AV_PIX_FMT_YUV444P,
              AV_PIX_FMT_YUVA422P, AV_PIX_FMT_YUV420P}) {
            for (const auto& [width, height] :
                 {std::pair{64, 48}, std::pair{320, 180}, std::pair{2, 2}, std::pair{1, 1},
                  std::pair{63, 47}}) {
                ASSERT_TRUE(running.give("a", source, plainPicture(width, height, grey, format)));
                const bool isCopied =
                    alpha == 255 && format != AV_PIX_FMT_YUVA420P && format != AV_PIX_FMT_YUVA422P;
                EXPECT_EQ(levelsOf(running.nextPicture().get()),
                          isCopied ? grey : blended(blackLevels, grey, alpha))
                    << av_get_pix_fmt_name(format) << ' ' << width << 'x' << height << ' ' << alpha;
            }
        }
    }
}

TEST(LMixerPictures, PicturesOfEveryFormatAreShown) {
    HandSource source;
    RunningMixer running;
    running.mixer.addLayer("a", &source);
    for (const AVPixelFormat format :
         {AV_PIX_FMT_RGBA, AV_PIX_FMT_BGRA, AV_PIX_FMT_ARGB, AV_PIX_FMT_RGB24, AV_PIX_FMT_NV12,
          AV_PIX_FMT_UYVY422, AV_PIX_FMT_YUYV422, AV_PIX_FMT_GRAY8, AV_PIX_FMT_GBRP}) {
        const quol::FramePtr picture = test::makePicture(64, 48, format);
        for (int plane = 0; plane < 4; ++plane)
            test::fillPlane(*picture, plane, 200);
        ASSERT_TRUE(running.give("a", source, picture));
        EXPECT_NEAR(running.levelsAt(20, 20).y, 195, 8) << av_get_pix_fmt_name(format);
    }
}

TEST(LMixerPictures, PicturesThatCannotBeReadLeaveTheLastOneStanding) {
    HandSource source;
    RunningMixer running;
    running.mixer.addLayer("a", &source);
    ASSERT_TRUE(running.give("a", source, plainPicture(64, 48, grey)));
    std::vector<quol::FramePtr> bad;
    bad.push_back(quol::makeFrame()); // nothing at all
    const auto spoiled = [&](const auto& spoil) {
        quol::FramePtr picture = plainPicture(64, 48, bright);
        spoil(*picture);
        bad.push_back(std::move(picture));
    };
    spoiled([](AVFrame& frame) { frame.width = 0; });
    spoiled([](AVFrame& frame) { frame.height = -48; });
    spoiled([](AVFrame& frame) { frame.format = -1; });
    spoiled([](AVFrame& frame) { frame.format = 100000; });
    spoiled([](AVFrame& frame) { frame.format = AV_PIX_FMT_VAAPI; });
    spoiled([](AVFrame& frame) { frame.width = 100000; }); // wider than its rows
    spoiled([](AVFrame& frame) { frame.data[1] = nullptr; });
    for (const quol::FramePtr& picture : bad) {
        source.distributeVideoFrame(picture.get());
        EXPECT_EQ(levelsOf(running.nextPicture().get()), grey);
    }
    source.distributeVideoFrame(nullptr);
    EXPECT_EQ(levelsOf(running.nextPicture().get()), grey);
}

TEST(LMixerPictures, APictureIsNotWrittenToByTheMixerAndNotByLaterOnes) {
    HandSource under;
    HandSource over;
    RunningMixer running(customVideo(64, 48, 50, 1), 200);
    running.mixer.addLayer("a", &under);
    LLayerItem* const item = running.mixer.addLayer("b", &over, 1, 0, 0, 100);
    const quol::FramePtr given = plainPicture(64, 48, grey);
    const quol::FramePtr other = plainPicture(64, 48, bright);
    const std::uint64_t before = test::fingerprint(*given);
    item->visible = false; // the canvas is the lower picture itself, sample for sample
    ASSERT_TRUE(running.give("a", under, given));
    ASSERT_NE(running.nextPicture(), nullptr);
    const quol::FramePtr shared = running.sink.latestPicture();
    EXPECT_EQ(test::fingerprint(*shared), before);
    item->visible = true;
    ASSERT_TRUE(running.give("b", over, other));
    ASSERT_NE(running.nextPicture(), nullptr);
    EXPECT_EQ(levelsOf(running.sink.latestPicture().get()), blended(grey, bright, 100));
    EXPECT_EQ(test::fingerprint(*given), before);
    EXPECT_EQ(test::fingerprint(*shared), before);
    // Every picture handed on still shows what it showed.
    for (const quol::FramePtr& picture : running.sink.keptPictures()) {
        const Levels levels = levelsOf(picture.get());
        EXPECT_NE(levels, (Levels{-1, -1, -1}));
    }
}

TEST(LMixerPictures, ManySourcesAreShownBesideEachOther) {
    constexpr int columns = 8;
    constexpr int rows = 4;
    std::array<HandSource, columns * rows> sources;
    RunningMixer running(customVideo(columns * 16, rows * 16, 50, 1));
    for (int i = 0; i < columns * rows; ++i) {
        const std::string name = "tile" + std::to_string(i);
        HandSource& source = sources.at(static_cast<std::size_t>(i));
        running.mixer.addLayer(name, &source, i, static_cast<float>(i % columns * 16),
                               static_cast<float>(i / columns * 16), 255, 16, 16);
        ASSERT_TRUE(running.give(name, source, plainPicture(32, 32, {40 + i * 5})));
    }
    const quol::FramePtr picture = running.nextPicture();
    for (int i = 0; i < columns * rows; ++i) {
        EXPECT_EQ(test::levelsAt(picture.get(), i % columns * 16, i / columns * 16).y, 40 + i * 5);
        EXPECT_EQ(test::levelsAt(picture.get(), i % columns * 16 + 15, i / columns * 16 + 15).y,
                  40 + i * 5);
    }
}

// ---------------------------------------------------------------------------------- renderers

TEST(LMixerPictures, AutomaticTakesTheGraphicsProcessorOrSaysThatThereIsNone) {
    // With a graphics processor nothing is written; without one the line below is, once, and the
    // pictures come all the same.
    const bool hasProcessor = quol::makeGraphicsRenderer(quol::GraphicsDriver::hardware) != nullptr;
    test::CapturedStream error(test::CapturedStream::Stream::error);
    test::CollectingSink sink(1);
    {
        LMixer mixer;
        mixer.setVideoFormat(customVideo(64, 48, 50, 1));
        mixer.addSink(&sink);
        EXPECT_TRUE(sink.waitForPictures(5));
        mixer.removeSink(&sink);
    }
    EXPECT_EQ(error.text(), hasProcessor
                                ? ""
                                : "LMixer [GPU]: Failed to initialize OpenGL context. Falling "
                                  "back to CPU mixing.\n");
    EXPECT_EQ(sink.latestPicture()->format, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(sink.latestPicture()->width, 64);
}

TEST(LMixerPictures, ProcessorWritesNothing) {
    test::CapturedStream error(test::CapturedStream::Stream::error);
    {
        RunningMixer running;
        EXPECT_NE(running.nextPicture(), nullptr);
    }
    EXPECT_EQ(error.text(), "");
}

#include "quolsdk/LSignal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "support/CapturedStream.h"
#include "support/FilePlayer.h"
#include "support/MachineWatch.h"
#include "support/ThisProcess.h"

namespace {

using test::CollectingSink;
using test::customVideo;
using test::mediaPath;
using test::Stopwatch;
using namespace std::chrono_literals;

// A signal with a sink on it.
class Running {
public:
    explicit Running(std::size_t keep = 1) : sink(keep) { signal.addSink(&sink); }
    ~Running() {
        signal.Stop();
        signal.removeSink(&sink);
    }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    // Whether a picture comes that has this luma at its lower right end.
    bool shows(int luma) {
        return test::waitUntil([&] {
            const quol::FramePtr picture = sink.latestPicture();
            return picture && picture->data[0][(picture->height - 1) * picture->linesize[0] +
                                               picture->width - 1] == luma;
        });
    }

    LSignal signal;
    CollectingSink sink;
};

struct Levels {
    int y, u, v;
    bool operator==(const Levels&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Levels& levels) {
    return out << levels.y << ' ' << levels.u << ' ' << levels.v;
}

Levels levelsAt(const AVFrame& picture, int x, int y) {
    return {picture.data[0][y * picture.linesize[0] + x],
            picture.data[1][y / 2 * picture.linesize[1] + x / 2],
            picture.data[2][y / 2 * picture.linesize[2] + x / 2]};
}

// The levels of a picture that must be the same all over.
Levels levelsOf(const AVFrame& picture) {
    const Levels first = levelsAt(picture, 0, 0);
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            const Levels here = levelsAt(picture, x, y);
            if (here != first) {
                ADD_FAILURE() << "at " << x << ", " << y << ": " << here << " beside " << first;
                return here;
            }
        }
    }
    return first;
}

Levels levelsOfColor(const std::string& color) {
    LSignal signal;
    signal.setVideoFormat(customVideo(32, 16, 25));
    signal.setColor(color);
    const quol::FramePtr picture(signal.createFrame());
    return picture ? levelsOf(*picture) : Levels{-1, -1, -1};
}

constexpr Levels black{0, 128, 128};

// Seconds from one picture to the next, the one in the middle when they are put in order: what
// single ones are held up by is not counted.
double usualGap(const std::vector<test::PictureSeen>& pictures) {
    std::vector<std::int64_t> gaps;
    for (std::size_t i = 1; i < pictures.size(); ++i)
        gaps.push_back(pictures[i].arrived - pictures[i - 1].arrived);
    if (gaps.empty()) return 0.0;
    const auto middle = gaps.begin() + static_cast<std::ptrdiff_t>(gaps.size() / 2);
    std::nth_element(gaps.begin(), middle, gaps.end());
    return static_cast<double>(*middle) / 1e9;
}

// Of all processors together, in seconds, that this process has had.
double processorSeconds() {
    return static_cast<double>(std::clock()) / static_cast<double>(CLOCKS_PER_SEC);
}

// A signal whose queue of pictures can be looked at.
class OpenSignal : public LSignal {
public:
    std::size_t queued() { return queuedFrames(); }
};

} // namespace

TEST(LSignal, ANewOneProduces720pBlackAtFiftyOnceStarted) {
    Running running;
    videoFormatProps format;
    running.signal.getVideoFormat(format);
    EXPECT_EQ(format.mode, 4U);
    EXPECT_EQ(format.width, 1280);
    EXPECT_EQ(format.height, 720);
    EXPECT_EQ(format.fps, 50.0);
    const Stopwatch watch;
    ASSERT_TRUE(running.signal.Start());
    ASSERT_TRUE(running.sink.waitForPictures(26));
    // Each tick lasts a fiftieth of a second at least.
    EXPECT_GE(watch.at(running.sink.pictures()[25].arrived), 25 * 0.02 - 0.001);
    const quol::FramePtr picture = running.sink.latestPicture();
    EXPECT_EQ(picture->width, 1280);
    EXPECT_EQ(picture->height, 720);
    EXPECT_EQ(picture->format, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(levelsOf(*picture), black);
}

TEST(LSignal, ANewOneGivesAPictureEveryFiftiethOfASecond) {
    test::measured([](test::MachineWatch& watch) {
        Running running(0);
        watch.begin();
        ASSERT_TRUE(running.signal.Start());
        ASSERT_TRUE(running.sink.waitForPictures(101));
        EXPECT_NEAR(usualGap(running.sink.pictures()), 0.02, 0.002);
    });
}

TEST(LSignal, KeepsTheRateOfItsFormatOverASecond) {
    Running running(0);
    running.signal.setVideoFormat(customVideo(16, 16, 100));
    const Stopwatch watch;
    running.signal.Start();
    ASSERT_TRUE(running.sink.waitForPictures(101));
    const double seconds = watch.at(running.sink.pictures()[100].arrived);
    EXPECT_GE(seconds, 0.99);
    EXPECT_LE(seconds, 10.0);
}

TEST(LSignal, ProducesNothingBeforeStart) {
    Running running;
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(running.sink.pictureCount(), 0U);
}

TEST(LSignal, WhiteIsY255U128V128) {
    EXPECT_EQ(levelsOfColor("#FFFFFF"), (Levels{255, 128, 128}));
}

TEST(LSignal, ColoursAreComputedInDoublesAndTruncated) {
    for (int step = 0; step < 512; ++step) {
        const int r = step * 7 % 256;
        const int g = step * 13 % 256;
        const int b = step * 29 % 256;
        std::array<char, 8> color{};
        std::snprintf(color.data(), color.size(), "#%02x%02X%02x", static_cast<unsigned>(r),
                      static_cast<unsigned>(g), static_cast<unsigned>(b));
        const Levels expected{static_cast<int>(0.299 * r + 0.587 * g + 0.114 * b),
                              static_cast<int>(-0.1687 * r - 0.3313 * g + 0.5 * b + 128),
                              static_cast<int>(0.5 * r - 0.4187 * g - 0.0813 * b + 128)};
        EXPECT_EQ(levelsOfColor(color.data()), expected) << color.data();
    }
}

TEST(LSignal, AColourByNameIsBlack) {
    EXPECT_EQ(levelsOfColor("red"), black);
}

TEST(LSignal, SevenCharactersWithoutAHashSignAreBlack) {
    EXPECT_EQ(levelsOfColor("FFFFFFF"), black);
    EXPECT_EQ(levelsOfColor(" FFFFFF"), black);
}

TEST(LSignal, AHashSignWithAnotherLengthIsBlack) {
    for (const char* color : {"", "#", "#FFF", "#FFFFF", "#FFFFFFF", "#FFFFFFFF"})
        EXPECT_EQ(levelsOfColor(color), black) << color;
}

TEST(LSignal, APairThatIsNoNumberThrowsStoi) {
    LSignal signal;
    signal.setColor("#00xx00");
    try {
        const quol::FramePtr picture(signal.createFrame());
        FAIL() << "a picture of no colour";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "stoi");
    }
}

TEST(LSignal, AColourThatCannotBeReadIsWaitedOut) {
    Running running;
    running.signal.setVideoFormat(customVideo(32, 16, 100));
    running.signal.setColor("#gggggg");
    running.signal.Start();
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(running.sink.pictureCount(), 0U);
    running.signal.setColor("#FFFFFF");
    EXPECT_TRUE(running.shows(255));
}

TEST(LSignal, StartTwiceStartsOneThread) {
    LSignal signal;
    signal.Start(); // an instrumented program starts a thread of its own with the first one
    signal.Stop();
    int before = 0;
    ASSERT_TRUE(test::waitUntil([&] {
        std::this_thread::sleep_for(50ms);
        return std::exchange(before, test::threadsOfThisProcess()) == test::threadsOfThisProcess();
    }));
    EXPECT_TRUE(signal.Start());
    EXPECT_EQ(test::threadsOfThisProcess(), before + 1);
    EXPECT_TRUE(signal.Start());
    EXPECT_EQ(test::threadsOfThisProcess(), before + 1);
    signal.Stop();
    EXPECT_TRUE(test::waitUntil([&] { return test::threadsOfThisProcess() == before; }));
}

TEST(LSignal, StopEndsThePictures) {
    Running running;
    running.signal.Start();
    ASSERT_TRUE(running.sink.waitForPictures(2));
    running.signal.Stop();
    const std::size_t count = running.sink.pictureCount();
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(running.sink.pictureCount(), count);
}

TEST(LSignal, StopWithoutStartAndTwiceIsHarmless) {
    Running running;
    running.signal.Stop();
    running.signal.Start();
    running.signal.Stop();
    running.signal.Stop();
    running.signal.Start();
    EXPECT_TRUE(running.sink.waitForPictures(running.sink.pictureCount() + 2));
}

TEST(LSignal, StopDoesNotWaitForASlowTick) {
    Running running;
    running.signal.setVideoFormat(customVideo(32, 16, 0.001));
    running.signal.Start();
    ASSERT_TRUE(running.sink.waitForPictures(1));
    const Stopwatch watch;
    running.signal.Stop();
    EXPECT_LT(watch.seconds(), 20.0); // the tick lasts 1000
}

TEST(LSignal, DestroyedWhileRunning) {
    CollectingSink sink;
    {
        LSignal signal;
        signal.addSink(&sink);
        signal.Start();
        ASSERT_TRUE(sink.waitForPictures(1));
    }
    const std::size_t count = sink.pictureCount();
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(sink.pictureCount(), count);
}

TEST(LSignal, WithoutAWidthThereAreNoPictures) {
    Running running;
    for (const videoFormatProps& format :
         {customVideo(0, 720, 100), customVideo(1280, 0, 100), customVideo(-4, 4, 100)}) {
        running.signal.setVideoFormat(format);
        const quol::FramePtr picture(running.signal.createFrame());
        EXPECT_EQ(picture, nullptr);
    }
    running.signal.Start();
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(running.sink.pictureCount(), 0U);
    running.signal.setVideoFormat(customVideo(32, 16, 100));
    EXPECT_TRUE(running.sink.waitForPictures(1));
}

TEST(LSignal, WithNeitherAWidthNorARateItIdles) {
    test::measured([](test::MachineWatch& watch) {
        Running running;
        running.signal.setVideoFormat(customVideo(0, 0, 0));
        watch.begin();
        ASSERT_TRUE(running.signal.Start());
        const double before = processorSeconds();
        std::this_thread::sleep_for(400ms);
        EXPECT_LT(processorSeconds() - before, 0.1);
        EXPECT_EQ(running.sink.pictureCount(), 0U);
        running.signal.setVideoFormat(customVideo(32, 16, 100));
        EXPECT_TRUE(running.sink.waitForPictures(1));
    });
}

TEST(LSignal, WithoutARateItTicksTwentyFiveTimesASecond) {
    for (const double fps : {0.0, -5.0}) {
        Running running(0);
        running.signal.setVideoFormat(customVideo(32, 16, fps));
        const Stopwatch watch;
        running.signal.Start();
        ASSERT_TRUE(running.sink.waitForPictures(11));
        const double seconds = watch.at(running.sink.pictures()[10].arrived);
        EXPECT_GE(seconds, 0.4 - 0.001);
        EXPECT_LE(seconds, 8.0);
    }
}

TEST(LSignal, AModeOfTheTableIsExpanded) {
    LSignal signal;
    videoFormatProps format;
    format.mode = 3;
    signal.setVideoFormat(format);
    signal.getVideoFormat(format);
    EXPECT_EQ(format.width, 720);
    EXPECT_EQ(format.height, 576);
    EXPECT_EQ(format.fps, 25.0);
    const quol::FramePtr picture(signal.createFrame());
    EXPECT_EQ(picture->width, 720);
    EXPECT_EQ(picture->height, 576);
}

TEST(LSignal, AModeBeyondTheTableHasNoSizeAndNoPicture) {
    LSignal signal;
    videoFormatProps format = customVideo(32, 16, 25);
    format.mode = 39;
    signal.setVideoFormat(format);
    signal.getVideoFormat(format);
    EXPECT_EQ(format.width, 0);
    EXPECT_EQ(format.height, 0);
    EXPECT_EQ(format.fps, 0.0);
    const quol::FramePtr picture(signal.createFrame());
    EXPECT_EQ(picture, nullptr);
}

TEST(LSignal, PicturesAreAlwaysPlanarEightBit420) {
    LSignal signal;
    for (int pixelFormat = 0; pixelFormat < 20; ++pixelFormat) {
        signal.setVideoFormat(customVideo(32, 16, 25, pixelFormat));
        const quol::FramePtr picture(signal.createFrame());
        EXPECT_EQ(picture->format, AV_PIX_FMT_YUV420P) << pixelFormat;
    }
}

TEST(LSignal, PicturesHaveNoTimeStamp) {
    LSignal signal;
    const quol::FramePtr picture(signal.createFrame());
    EXPECT_EQ(picture->pts, AV_NOPTS_VALUE);
}

TEST(LSignal, BuffersAreAlignedToThirtyTwoBytes) {
    LSignal signal;
    signal.setVideoFormat(customVideo(50, 30, 25));
    const quol::FramePtr picture(signal.createFrame());
    for (int plane = 0; plane < 3; ++plane)
        EXPECT_EQ(picture->linesize[plane] % 32, 0);
}

TEST(LSignal, OddSizesAreColouredToTheirLastColumnAndRow) {
    LSignal signal;
    signal.setVideoFormat(customVideo(33, 17, 25));
    signal.setColor("#FF0000");
    const quol::FramePtr picture(signal.createFrame());
    EXPECT_EQ(levelsOf(*picture), (Levels{76, 84, 255}));
}

TEST(LSignal, ThePictureIsMadeOnceForEachChange) {
    LSignal signal;
    const quol::FramePtr first(signal.createFrame());
    const quol::FramePtr second(signal.createFrame());
    EXPECT_EQ(first->data[0], second->data[0]);
    signal.setColor("#FFFFFF");
    const quol::FramePtr third(signal.createFrame());
    EXPECT_NE(first->data[0], third->data[0]);
    // What was handed out before stays as it was.
    EXPECT_EQ(levelsOf(*first), black);
}

TEST(LSignal, AChangeOfColourShowsWhileRunning) {
    Running running;
    running.signal.setVideoFormat(customVideo(32, 16, 100));
    running.signal.Start();
    EXPECT_TRUE(running.shows(0));
    running.signal.setColor("#FFFFFF");
    EXPECT_TRUE(running.shows(255));
    running.signal.setColor("#FF0000");
    EXPECT_TRUE(running.shows(76));
}

TEST(LSignal, AChangeOfFormatShowsWhileRunning) {
    Running running;
    running.signal.setVideoFormat(customVideo(32, 16, 100));
    running.signal.Start();
    ASSERT_TRUE(running.sink.waitForPictures(1));
    running.signal.setVideoFormat(customVideo(64, 48, 100));
    EXPECT_TRUE(test::waitUntil([&] {
        const quol::FramePtr picture = running.sink.latestPicture();
        return picture->width == 64 && picture->height == 48;
    }));
}

TEST(LSignal, AnImageIsScaledToTheFormat) {
    LSignal signal;
    signal.setVideoFormat(customVideo(80, 60, 25));
    signal.setImage(mediaPath("still.png"));
    const quol::FramePtr picture(signal.createFrame());
    ASSERT_EQ(picture->width, 80);
    ASSERT_EQ(picture->height, 60);
    // 204080 and C08020 in levels of video, by the matrix of standard definition.
    constexpr int tolerance = 2;
    const Levels ground = levelsAt(*picture, 70, 50);
    EXPECT_NEAR(ground.y, 69, tolerance);
    EXPECT_NEAR(ground.u, 161, tolerance);
    EXPECT_NEAR(ground.v, 108, tolerance);
    const Levels quarter = levelsAt(*picture, 10, 10);
    EXPECT_NEAR(quarter.y, 133, tolerance);
    EXPECT_NEAR(quarter.u, 76, tolerance);
    EXPECT_NEAR(quarter.v, 162, tolerance);
}

TEST(LSignal, AnImageWinsOverTheColour) {
    LSignal signal;
    signal.setVideoFormat(customVideo(80, 60, 25));
    signal.setColor("#FFFFFF");
    signal.setImage(mediaPath("still.png"));
    const quol::FramePtr picture(signal.createFrame());
    EXPECT_LT(levelsAt(*picture, 70, 50).y, 100);
}

TEST(LSignal, AnEmptyImagePathGoesBackToTheColour) {
    LSignal signal;
    signal.setVideoFormat(customVideo(80, 60, 25));
    signal.setColor("#FFFFFF");
    signal.setImage(mediaPath("still.png"));
    signal.setImage("");
    const quol::FramePtr picture(signal.createFrame());
    EXPECT_EQ(levelsOf(*picture), (Levels{255, 128, 128}));
}

TEST(LSignal, AColourLeavesTheImage) {
    LSignal signal;
    signal.setVideoFormat(customVideo(80, 60, 25));
    signal.setImage(mediaPath("still.png"));
    signal.setColor("#FFFFFF");
    const quol::FramePtr picture(signal.createFrame());
    EXPECT_EQ(levelsOf(*picture), (Levels{255, 128, 128}));
}

TEST(LSignal, AnImageSurvivesAChangeOfFormat) {
    LSignal signal;
    signal.setImage(mediaPath("still.png"));
    signal.setVideoFormat(customVideo(40, 30, 25));
    const quol::FramePtr picture(signal.createFrame());
    EXPECT_NEAR(levelsAt(*picture, 35, 25).y, 69, 2);
}

class UnreadableImage : public testing::TestWithParam<const char*> {};

TEST_P(UnreadableImage, IsBlackAndLeavesTheStreamRunning) {
    Running running;
    running.signal.setVideoFormat(customVideo(32, 16, 100));
    running.signal.setImage(mediaPath(GetParam()));
    running.signal.Start();
    ASSERT_TRUE(running.sink.waitForPictures(3));
    EXPECT_EQ(running.sink.latestPicture()->width, 32);
    EXPECT_EQ(levelsOf(*running.sink.latestPicture()), black);
    // And the next image is none the worse for it.
    running.signal.setImage(mediaPath("still.png"));
    EXPECT_TRUE(test::waitUntil(
        [&] { return std::abs(levelsAt(*running.sink.latestPicture(), 30, 14).y - 69) <= 2; }));
}

INSTANTIATE_TEST_SUITE_P(LSignal, UnreadableImage,
                         testing::Values("missing.png", "empty.mp4", "text.mp4", "random.mp4",
                                         "huge_png.png", "flac.flac", "seq",
                                         "truncated_no_moov.mp4"));

TEST(LSignal, HasNoSoundAndIsNoStatusKeeper) {
    Running running;
    running.signal.Start();
    ASSERT_TRUE(running.sink.waitForPictures(5));
    EXPECT_EQ(running.sink.soundCount(), 0U);
    EXPECT_EQ(test::statusOf(running.signal), 0);
    EXPECT_EQ(running.signal.getTimeCode(), "00:00:00:00");
}

TEST(LSignal, WithNoSinkItKeepsTheFiftyNewestPictures) {
    OpenSignal signal;
    signal.setVideoFormat(customVideo(32, 16, 1000));
    signal.Start();
    ASSERT_TRUE(test::waitUntil([&] { return signal.queued() == 50; }));
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(signal.queued(), 50U);
}

TEST(LSignal, ASinkAddedLaterGetsNewPicturesOnly) {
    OpenSignal signal;
    signal.setVideoFormat(customVideo(32, 16, 200));
    signal.Start();
    ASSERT_TRUE(test::waitUntil([&] { return signal.queued() >= 10; }));
    signal.Stop();
    CollectingSink sink;
    signal.addSink(&sink);
    EXPECT_EQ(sink.pictureCount(), 0U);
    EXPECT_GE(signal.queued(), 10U);
    signal.removeSink(&sink);
}

TEST(LSignal, ChangedAndStartedFromSeveralThreadsAtOnce) {
    Running running(0);
    running.signal.setVideoFormat(customVideo(32, 16, 500));
    std::atomic<bool> over{false};
    const auto hammer = [&](auto work) {
        return std::thread([&over, work] {
            while (!over)
                work();
        });
    };
    std::vector<std::thread> threads;
    threads.push_back(hammer([&] {
        running.signal.Start();
        std::this_thread::sleep_for(3ms);
        running.signal.Stop();
    }));
    threads.push_back(hammer([&] {
        running.signal.setColor("#123456");
        running.signal.setImage(mediaPath("still.png"));
        running.signal.setColor("#nonono");
        std::this_thread::sleep_for(1ms);
    }));
    threads.push_back(hammer([&] {
        running.signal.setVideoFormat(customVideo(64, 32, 400));
        videoFormatProps format;
        running.signal.getVideoFormat(format);
        running.signal.setVideoFormat(customVideo(32, 16, 500));
        running.signal.Start();
    }));
    std::this_thread::sleep_for(1s);
    over = true;
    for (std::thread& thread : threads)
        thread.join();
    running.signal.setColor("#FFFFFF");
    running.signal.Start();
    const std::size_t count = running.sink.pictureCount();
    EXPECT_TRUE(running.sink.waitForPictures(count + 5));
}

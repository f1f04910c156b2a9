// How the show among the examples tells what was late, missing or shown twice, and lays out its
// contact sheet.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

#include "show_movie.h"
#include "show_sheet.h"
#include "show_timing.h"
#include "support/MachineWatch.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace {

constexpr double period = 0.04;

std::vector<show::Arrival> arrivals(const std::vector<double>& delays, std::int64_t first = 7) {
    std::vector<show::Arrival> result;
    for (std::size_t i = 0; i < delays.size(); ++i)
        result.push_back({first + static_cast<std::int64_t>(i),
                          100.0 + static_cast<double>(i) * period + delays[i]});
    return result;
}

TEST(Judge, FindsNothingWrongWithPicturesOnTime) {
    const show::Punctuality result = show::judge(arrivals({0.0, 0.039, 0.001, 0.0}), period);
    EXPECT_EQ(result.pictures, 4);
    EXPECT_EQ(result.missing, 0);
    EXPECT_EQ(result.late, 0);
    EXPECT_NEAR(result.worst, 0.039, 1e-9);
    EXPECT_TRUE(result.delays.empty());
}

TEST(Judge, CountsPicturesThatComeWhenTheNextIsDue) {
    const show::Punctuality result =
        show::judge(arrivals({0.0, 0.05, 0.09, 0.0, 0.041, 0.0}), period);
    EXPECT_EQ(result.late, 3);
    EXPECT_NEAR(result.worst, 0.09, 1e-9);
    ASSERT_EQ(result.delays.size(), 2U);
    EXPECT_NEAR(result.delays[0].seconds, period, 1e-9);
    EXPECT_EQ(result.delays[0].pictures, 2);
    EXPECT_NEAR(result.delays[0].worst, 0.09, 1e-9);
    EXPECT_NEAR(result.delays[1].seconds, 4.0 * period, 1e-9);
    EXPECT_EQ(result.delays[1].pictures, 1);
}

TEST(Judge, GoesByTheEarliestPicture) {
    const show::Punctuality result = show::judge(arrivals({0.05, 0.05, 0.0, 0.05}), period);
    EXPECT_EQ(result.late, 3);
}

TEST(Judge, CountsNumbersThatAreLeftOut) {
    std::vector<show::Arrival> all = arrivals({0.0, 0.0, 0.0, 0.0, 0.0});
    all.erase(all.begin() + 2);
    const show::Punctuality result = show::judge(all, period);
    EXPECT_EQ(result.pictures, 4);
    EXPECT_EQ(result.missing, 1);
    EXPECT_EQ(result.late, 0);
}

TEST(Judge, OfNothingIsNothing) {
    EXPECT_EQ(show::judge({}, period).pictures, 0);
    EXPECT_EQ(show::judge({}, period).missing, 0);
}

TEST(Holes, AreTicksBetweenThePicturesOfAMovie) {
    EXPECT_EQ(show::countHoles({}, 25.0), 0);
    EXPECT_EQ(show::countHoles({0.5}, 25.0), 0);
    EXPECT_EQ(show::countHoles({0.04, 0.08, 0.12}, 25.0), 0);
    EXPECT_EQ(show::countHoles({0.04, 0.12, 0.24}, 25.0), 3);
}

TEST(Movies, ThatAreNoneHaveNoPictures) {
    EXPECT_TRUE(show::pictureTimes("no such file.mp4").empty());
    EXPECT_TRUE(show::pictureTimes(QUOLSDK_TEST_EXAMPLES).empty());
}

quol::FramePtr picture() {
    quol::FramePtr frame(av_frame_alloc());
    frame->format = AV_PIX_FMT_YUV420P;
    frame->width = 64;
    frame->height = 36;
    av_frame_get_buffer(frame.get(), 0);
    return frame;
}

TEST(Repeats, ArePicturesOfTheSameMemory) {
    show::RepeatSink sink;
    const quol::FramePtr first = picture();
    const quol::FramePtr second = picture();
    const quol::FramePtr again = quol::cloneFrame(second.get());
    sink.pushVideoFrame(first.get());
    sink.pushVideoFrame(second.get());
    sink.pushVideoFrame(again.get());
    sink.pushVideoFrame(first.get());
    EXPECT_EQ(sink.pictures(), 4);
    EXPECT_EQ(sink.repeated(), 1);
}

TEST(Repeats, AreNotMistakenWhereMemoryIsUsedAgain) {
    show::RepeatSink sink;
    for (int i = 0; i < 10; ++i)
        sink.pushVideoFrame(picture().get());
    EXPECT_EQ(sink.repeated(), 0);
}

TEST(NextDue, GoesByTheEarliestPicture) {
    const auto late = arrivals({0.02, 0.0, 0.02, 0.0}); // each but the odd ones
    EXPECT_NEAR(show::nextDue(late, period, 0.01, 100.2), 100.21, 1e-9);
    EXPECT_NEAR(show::nextDue(late, period, 0.01, 100.2099), 100.21, 1e-9);
    EXPECT_NEAR(show::nextDue(late, period, 0.01, 100.2101), 100.25, 1e-9);
}

TEST(NextDue, IsLaterOnHoweverMuchTimeHasPassed) {
    const auto onTime = arrivals({0.0, 0.0});
    EXPECT_NEAR(show::nextDue(onTime, period, 0.01, 3700.0), 3700.01, 1e-6);
}

TEST(NextDue, WithoutAPictureIsWithinAPeriod) {
    EXPECT_NEAR(show::nextDue({}, period, 0.01, 100.02), 100.05, 1e-9);
}

// Pictures half a second apart, each but the odd ones late by 0.2 s.
class LateSource {
public:
    explicit LateSource(show::ArrivalSink& sink) : thread_([this, &sink] { push(sink); }) {}
    ~LateSource() {
        isDone_ = true;
        thread_.join();
    }
    static constexpr double period = 0.5;

private:
    void push(show::ArrivalSink& sink) const {
        const auto begin = std::chrono::steady_clock::now();
        for (int number = 0; !isDone_; ++number) {
            const double delay = number % 2 == 0 ? 0.2 : 0.0;
            std::this_thread::sleep_until(begin +
                                          std::chrono::duration<double>(number * period + delay));
            const quol::FramePtr frame = picture();
            frame->pts = number;
            sink.pushVideoFrame(frame.get());
        }
    }

    std::atomic<bool> isDone_{false};
    std::thread thread_;
};

TEST(Arrivals, ThatAreWaitedForGoByTheEarliest) {
    test::measured([](test::MachineWatch& watch) {
        watch.begin();
        show::ArrivalSink sink;
        const LateSource source(sink);
        sink.waitUntilDue(4, LateSource::period, 0.1);
        const double now =
            std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
                .count();
        EXPECT_GE(sink.arrivals().size(), 4U);
        const double start = show::startOf(sink.arrivals(), LateSource::period);
        const double behind = std::fmod(now - start, LateSource::period);
        EXPECT_GE(behind, 0.1);
        EXPECT_LT(behind, 0.3); // as it is by those that are late
    });
}

TEST(Arrivals, WithoutAPictureAreWaitedForAWhile) {
    show::ArrivalSink sink;
    sink.waitUntilDue(1, period, 0.01);
    EXPECT_EQ(show::startOf({}, period), 0.0);
}

TEST(Arrivals, AreNotedByNumber) {
    show::ArrivalSink sink;
    const quol::FramePtr frame = picture();
    for (const std::int64_t number : {4, 5, 9}) {
        frame->pts = number;
        sink.pushVideoFrame(frame.get());
    }
    const auto noted = sink.arrivals();
    ASSERT_EQ(noted.size(), 3U);
    EXPECT_EQ(noted[2].number, 9);
    EXPECT_GE(noted[2].seconds, noted[0].seconds);
}

TEST(Sheets, HaveRoomForEveryCell) {
    for (int cells = 1; cells <= 300; ++cells) {
        const show::SheetLayout layout = show::layOutSheet(cells);
        const int last = cells - 1;
        EXPECT_LE(layout.top(last) + layout.pictureHeight, show::sheetHeight) << cells;
        EXPECT_LE(layout.left(layout.columns - 1) + layout.cellWidth, show::sheetWidth) << cells;
        EXPECT_GT(layout.pictureHeight, 0) << cells;
    }
    EXPECT_GT(show::layOutSheet(1).cellWidth, show::layOutSheet(20).cellWidth);
}

} // namespace

// How the show among the examples tells what was late, missing or shown twice, and lays out its
// contact sheet.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "show_movie.h"
#include "show_sheet.h"
#include "show_timing.h"

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

#include "sources/LivePictures.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <ctime>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "core/Timecode.h"
#include "quolsdk/LFilter.h"
#include "sources/LiveFormats.h"
#include "sources/LiveTimecode.h"
#include "support/CapturedStream.h"
#include "support/Frames.h"

extern "C" {
#include <libavutil/log.h>
}

namespace {

using test::CapturedStream;

class LivePicturesTest : public testing::Test {
protected:
    LivePicturesTest() { state.startTime = quol::steadyNow(); }

    // What the sinks get for one picture.
    std::vector<quol::FramePtr> through(AVFrame* frame) {
        seen.clear();
        pictures.processVideoFrame(frame);
        return std::move(seen);
    }

    void want(std::uint32_t mode, int width, int height, int code = 0, double fps = 0.0) {
        const std::lock_guard lock(settings.mutex);
        settings.video = {mode, width, height, fps, code};
    }

    void setFilter(LFilter* filter) {
        const std::lock_guard lock(settings.mutex);
        settings.videoFilter = filter;
    }

    static std::string timecodeOf(const AVFrame& frame) {
        const AVDictionaryEntry* entry = av_dict_get(frame.metadata, "timecode", nullptr, 0);
        return entry != nullptr ? entry->value : "none";
    }

    quol::LiveSettings settings;
    quol::LiveState state;
    std::vector<quol::FramePtr> seen;
    const quol::LiveOutlets outlets{
        [this](AVFrame* frame) { seen.push_back(quol::cloneFrame(frame)); }, {}, {}};
    quol::LivePictures pictures{settings, state, outlets};
};

constexpr int keptWidth = 64;
constexpr int keptHeight = 48;

quol::FramePtr uyvy(std::int64_t pts = 40000) {
    return test::makePicture(keptWidth, keptHeight, AV_PIX_FMT_UYVY422, pts, {1, 1000000});
}

TEST(LiveColourTable, NamesTheFormatOfEachCode) {
    const std::vector<AVPixelFormat> expected{
        AV_PIX_FMT_NONE,     AV_PIX_FMT_YUV420P,  AV_PIX_FMT_YUV420P, AV_PIX_FMT_NV12,
        AV_PIX_FMT_NONE,     AV_PIX_FMT_RGB24,    AV_PIX_FMT_RGBA,    AV_PIX_FMT_ARGB,
        AV_PIX_FMT_NONE,     AV_PIX_FMT_UYVY422,  AV_PIX_FMT_NONE,    AV_PIX_FMT_NONE,
        AV_PIX_FMT_YUYV422,  AV_PIX_FMT_YUV420P,  AV_PIX_FMT_NONE,    AV_PIX_FMT_YUV422P,
        AV_PIX_FMT_YUVA422P, AV_PIX_FMT_YUVA420P, AV_PIX_FMT_NONE};
    for (std::size_t code = 0; code < expected.size(); ++code)
        EXPECT_EQ(quol::pixelFormatOfCode(static_cast<int>(code)), expected[code]) << code;
    EXPECT_EQ(quol::pixelFormatOfCode(-1), AV_PIX_FMT_NONE);
    EXPECT_EQ(quol::pixelFormatOfCode(1000), AV_PIX_FMT_NONE);
    EXPECT_EQ(quol::liveTargetFormat(4, AV_PIX_FMT_BGRA), AV_PIX_FMT_BGRA);
}

TEST_F(LivePicturesTest, NullIsIgnored) {
    EXPECT_TRUE(through(nullptr).empty());
}

TEST_F(LivePicturesTest, APictureThatNeedsNothingReachesTheSinksAsItIs) {
    const quol::FramePtr frame = uyvy();
    const auto out = through(frame.get());
    ASSERT_EQ(out.size(), 1U);
    EXPECT_EQ(out[0]->data[0], frame->data[0]);
    EXPECT_EQ(out[0]->pts, 40000);
    EXPECT_EQ(timecodeOf(*out[0]), "none");
}

TEST_F(LivePicturesTest, APictureWithoutATimeGetsTheMicrosecondsSinceTheStart) {
    state.startTime = quol::steadyNow() - 2 * quol::nanosPerSecond;
    const quol::FramePtr frame = uyvy(AV_NOPTS_VALUE);
    const auto out = through(frame.get());
    ASSERT_EQ(out.size(), 1U);
    EXPECT_GE(out[0]->pts, 2000000);
    EXPECT_LT(out[0]->pts, 60000000);
    EXPECT_EQ(out[0]->time_base.num, 1);
    EXPECT_EQ(out[0]->time_base.den, 1000000);
}

TEST_F(LivePicturesTest, ModeOneMeansTheSourceAsItComesInEveryRespect) {
    want(1, 32, 16, 1);
    const quol::FramePtr frame = uyvy();
    const auto out = through(frame.get());
    ASSERT_EQ(out.size(), 1U);
    EXPECT_EQ(out[0]->data[0], frame->data[0]);
}

TEST_F(LivePicturesTest, AnotherModeScalesToItsSizeAndFormatAndKeepsTimeAndMetadata) {
    want(0, 32, 16, 1);
    const quol::FramePtr frame = uyvy();
    av_dict_set(&frame->metadata, "name", "value", 0);
    const auto out = through(frame.get());
    ASSERT_EQ(out.size(), 1U);
    EXPECT_EQ(out[0]->width, 32);
    EXPECT_EQ(out[0]->height, 16);
    EXPECT_EQ(out[0]->format, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(out[0]->pts, 40000);
    EXPECT_EQ(out[0]->time_base.den, 1000000);
    ASSERT_NE(av_dict_get(out[0]->metadata, "name", nullptr, 0), nullptr);
    quol::Scaler scaler;
    const quol::FramePtr expected = test::makePicture(32, 16, AV_PIX_FMT_YUV420P);
    ASSERT_TRUE(scaler.scale(*frame, *expected, SWS_BILINEAR));
    for (int y = 0; y < 16; ++y) {
        for (int x = 0; x < 32; ++x) {
            ASSERT_EQ(out[0]->data[0][y * out[0]->linesize[0] + x],
                      expected->data[0][y * expected->linesize[0] + x]);
        }
    }
}

TEST_F(LivePicturesTest, AModeWithoutASizeScalesNothing) {
    want(0, 0, 16, 1);
    const quol::FramePtr frame = uyvy();
    EXPECT_EQ(through(frame.get()).at(0)->data[0], frame->data[0]);
}

TEST_F(LivePicturesTest, TheWantedSizeAndFormatAreNotConvertedAgain) {
    want(0, keptWidth, keptHeight, 9);
    const quol::FramePtr frame = uyvy();
    EXPECT_EQ(through(frame.get()).at(0)->data[0], frame->data[0]);
    want(0, keptWidth, keptHeight, 4); // a code that asks for nothing
    EXPECT_EQ(through(frame.get()).at(0)->data[0], frame->data[0]);
}

TEST_F(LivePicturesTest, WithGpuTheSizeStaysAndOnlyTheFormatIsConverted) {
    settings.gpu = true;
    want(0, 32, 16, 1);
    const quol::FramePtr frame = uyvy();
    auto out = through(frame.get());
    ASSERT_EQ(out.size(), 1U);
    EXPECT_EQ(out[0]->width, keptWidth);
    EXPECT_EQ(out[0]->format, AV_PIX_FMT_YUV420P);
    want(1, 0, 0, 6); // in mode 1 too
    out = through(frame.get());
    EXPECT_EQ(out.at(0)->format, AV_PIX_FMT_RGBA);
}

TEST_F(LivePicturesTest, AFormatThatCannotBeReadGoesOnAsItIs) {
    want(0, 32, 16, 1);
    const quol::FramePtr frame = test::makePicture(keptWidth, keptHeight, AV_PIX_FMT_UYVY422);
    frame->format = AV_PIX_FMT_VAAPI;
    EXPECT_EQ(through(frame.get()).at(0)->data[0], frame->data[0]);
}

TEST_F(LivePicturesTest, ASizeThatNoPictureHasLeavesThePictureAlone) {
    want(0, 1 << 30, 1 << 30, 0);
    const quol::FramePtr frame = uyvy();
    EXPECT_EQ(through(frame.get()).at(0)->data[0], frame->data[0]);
}

TEST_F(LivePicturesTest, AFilterIsAppliedAndTakenOffAgain) {
    LFilter filter(LFilter::Type::video);
    filter.setProps("hflip", "true");
    setFilter(&filter);
    const quol::FramePtr frame = test::makePicture(keptWidth, keptHeight, AV_PIX_FMT_YUV420P, 1);
    auto out = through(frame.get());
    ASSERT_EQ(out.size(), 1U);
    EXPECT_EQ(out[0]->data[0][0], frame->data[0][keptWidth - 1]);
    EXPECT_EQ(out[0]->pts, 1);
    EXPECT_EQ(out[0]->time_base.den, frame->time_base.den);

    filter.setProps("hflip", "false"); // empty: the chain is the one that does nothing
    EXPECT_EQ(filter.getFilterString(), "null");
    EXPECT_EQ(through(frame.get()).at(0)->data[0][0], frame->data[0][0]);

    filter.setProps("vflip", "1");
    EXPECT_EQ(through(frame.get()).at(0)->data[0][0],
              frame->data[0][(keptHeight - 1) * frame->linesize[0]]);
    setFilter(nullptr);
    EXPECT_EQ(through(frame.get()).at(0)->data[0], frame->data[0]);

    setFilter(&filter); // with the text that it had: it works again
    EXPECT_EQ(through(frame.get()).at(0)->data[0][0],
              frame->data[0][(keptHeight - 1) * frame->linesize[0]]);
}

TEST_F(LivePicturesTest, AFilterThatIsPutOnAgainKnowsNothingOfThePicturesBefore) {
    LFilter filter(LFilter::Type::video);
    filter.setProps("lagfun", "decay=0.95"); // what was bright grows dark little by little
    setFilter(&filter);
    const quol::FramePtr bright = test::makePicture(keptWidth, keptHeight, AV_PIX_FMT_YUV420P, 1);
    const quol::FramePtr dark = test::makePicture(keptWidth, keptHeight, AV_PIX_FMT_YUV420P, 2);
    test::fillPlane(*bright, 0, 200);
    test::fillPlane(*dark, 0, 50);
    through(bright.get());
    EXPECT_GT(through(dark.get()).at(0)->data[0][0], 150);
    setFilter(nullptr);
    EXPECT_EQ(through(dark.get()).at(0)->data[0][0], 50);
    setFilter(&filter); // with the text that it had
    EXPECT_EQ(through(dark.get()).at(0)->data[0][0], 50);
}

TEST_F(LivePicturesTest, AFilterIsGivenTheTimeBaseOfThePictureElseThatOfTwentyFive) {
    LFilter filter(LFilter::Type::video);
    filter.setProps("hflip", "true");
    setFilter(&filter);
    const quol::FramePtr told = uyvy();
    EXPECT_EQ(through(told.get()).at(0)->time_base.den, 1000000);
    pictures.reset();
    const quol::FramePtr untold =
        test::makePicture(keptWidth, keptHeight, AV_PIX_FMT_YUV420P, 3, {0, 1});
    const auto out = through(untold.get());
    ASSERT_EQ(out.size(), 1U);
    EXPECT_EQ(out[0]->pts, 3);
    EXPECT_EQ(out[0]->time_base.num, 1);
    EXPECT_EQ(out[0]->time_base.den, 25);
}

TEST_F(LivePicturesTest, AFilterIsToldTheShapeOfThePixelsElseThatTheyAreSquare) {
    LFilter filter(LFilter::Type::video);
    filter.setProps("scale", "w=iw*2*sar:h=ih");
    setFilter(&filter);
    for (const auto& [shape, width] :
         {std::pair{AVRational{2, 1}, 256}, {AVRational{0, 1}, 128}, {AVRational{-1, 1}, 128}}) {
        pictures.reset();
        const quol::FramePtr frame = test::makePicture(64, keptHeight, AV_PIX_FMT_YUV420P, 1);
        frame->sample_aspect_ratio = shape;
        EXPECT_EQ(through(frame.get()).at(0)->width, width) << shape.num;
    }
}

TEST_F(LivePicturesTest, AFilterThatScalesDoesSoBicubically) {
    LFilter filter(LFilter::Type::video);
    setFilter(&filter);
    const quol::FramePtr frame = test::makePicture(keptWidth, keptHeight, AV_PIX_FMT_YUV420P, 1);
    const auto lumaBy = [&](const std::string& flags) {
        filter.setProps("scale", "w=100:h=30" + flags);
        const auto out = through(frame.get());
        std::string luma;
        for (int y = 0; y < out.at(0)->height; ++y) {
            const std::uint8_t* const row = out[0]->data[0] + y * out[0]->linesize[0];
            luma.append(row, row + out[0]->width);
        }
        return luma;
    };
    const std::string luma = lumaBy("");
    EXPECT_EQ(luma.size(), 3000U);
    EXPECT_EQ(luma, lumaBy(":flags=bicubic"));
    EXPECT_NE(luma, lumaBy(":flags=bilinear"));
}

TEST_F(LivePicturesTest, AFilterNeverWritesIntoThePictureThatCameIn) {
    LFilter filter(LFilter::Type::video);
    filter.setProps("negate", "true");
    setFilter(&filter);
    const quol::FramePtr cached = test::makePicture(keptWidth, keptHeight, AV_PIX_FMT_YUV420P, 1);
    const std::uint8_t before = cached->data[0][0];
    const quol::FramePtr frame = quol::cloneFrame(cached.get());
    const auto out = through(frame.get());
    EXPECT_EQ(out.at(0)->data[0][0], 255 - before);
    EXPECT_EQ(cached->data[0][0], before);
}

TEST_F(LivePicturesTest, WithGpuFiltersAreLeftToTheConsumer) {
    LFilter filter(LFilter::Type::video);
    filter.setProps("hflip", "true");
    setFilter(&filter);
    settings.gpu = true;
    const quol::FramePtr frame = uyvy();
    EXPECT_EQ(through(frame.get()).at(0)->data[0], frame->data[0]);
}

TEST_F(LivePicturesTest, AFaultyFilterIsToldOfOnceAndThePicturesGoOn) {
    const int level = av_log_get_level();
    av_log_set_level(AV_LOG_FATAL);
    LFilter filter(LFilter::Type::video);
    filter.setProps("nosuchfilter", "1");
    setFilter(&filter);
    const quol::FramePtr frame = uyvy();
    std::string told;
    {
        CapturedStream error(CapturedStream::Stream::error);
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(through(frame.get()).at(0)->data[0], frame->data[0]);
        told = error.text();
    }
    av_log_set_level(level);
    EXPECT_EQ(told.find("LLive: AVFILTER PARSE ERROR: "), 0U) << told;
    EXPECT_NE(told.find("\nDESC: nosuchfilter\n"), std::string::npos) << told;
    EXPECT_EQ(told.find("LLive:", 1), std::string::npos) << told;
}

// No description at all, as a host's own text may be: tried with every picture, as nothing stands.
TEST_F(LivePicturesTest, AFilterThatBecomesEmptyIsBuiltAnewAndThePicturesGoOn) {
    const int level = av_log_get_level();
    av_log_set_level(AV_LOG_FATAL);
    LFilter filter(LFilter::Type::video);
    filter.setProps("hflip", "true");
    setFilter(&filter);
    const quol::FramePtr frame = test::makePicture(keptWidth, keptHeight, AV_PIX_FMT_YUV420P, 1);
    EXPECT_EQ(through(frame.get()).at(0)->data[0][0], frame->data[0][keptWidth - 1]);
    filter.setProps("hflip", "false");
    filter.setProps("", "1");
    ASSERT_EQ(filter.getFilterString(), "");
    constexpr int pictures = 3;
    int told = 0;
    {
        CapturedStream error(CapturedStream::Stream::error);
        for (int i = 0; i < pictures; ++i)
            EXPECT_EQ(through(frame.get()).at(0)->data[0], frame->data[0]);
        const std::string text = error.text();
        const std::string line = "LLive: AVFILTER PARSE ERROR: ";
        for (auto at = text.find(line); at != std::string::npos; at = text.find(line, at + 1))
            ++told;
    }
    av_log_set_level(level);
    EXPECT_EQ(told, pictures);
}

TEST_F(LivePicturesTest, TheEndOfARunForgetsAFaultyFilter) {
    const int level = av_log_get_level();
    av_log_set_level(AV_LOG_FATAL);
    LFilter filter(LFilter::Type::video);
    filter.setProps("nosuchfilter", "1");
    setFilter(&filter);
    const quol::FramePtr frame = uyvy();
    for (int run = 0; run < 2; ++run) {
        std::string told;
        {
            CapturedStream error(CapturedStream::Stream::error);
            through(frame.get());
            told = error.text();
        }
        EXPECT_EQ(told.find("LLive: AVFILTER PARSE ERROR: "), 0U) << run;
        pictures.reset();
    }
    av_log_set_level(level);
}

TEST_F(LivePicturesTest, AFilterThatDoesNotSuitOnePictureWorksOnTheNext) {
    const int level = av_log_get_level();
    av_log_set_level(AV_LOG_FATAL);
    LFilter filter(LFilter::Type::video);
    filter.setProps("crop", "64:32");
    setFilter(&filter);
    const quol::FramePtr large = test::makePicture(128, 96, AV_PIX_FMT_YUV420P, 1);
    const quol::FramePtr small = test::makePicture(32, 16, AV_PIX_FMT_YUV420P, 2);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(through(large.get()).at(0)->width, 64);
        EXPECT_EQ(through(small.get()).at(0)->width, 32); // smaller than what is cut out
    }
    EXPECT_EQ(through(large.get()).at(0)->width, 64);
    av_log_set_level(level);
}

TEST_F(LivePicturesTest, PicturesThatChangeTheirFormGetAGraphOfTheirOwn) {
    LFilter filter(LFilter::Type::video);
    filter.setProps("hflip", "true");
    setFilter(&filter);
    const quol::FramePtr first = test::makePicture(keptWidth, keptHeight, AV_PIX_FMT_YUV420P, 1);
    EXPECT_EQ(through(first.get()).at(0)->width, keptWidth);
    const quol::FramePtr second = test::makePicture(128, 96, AV_PIX_FMT_YUV420P, 2);
    const auto out = through(second.get());
    ASSERT_EQ(out.size(), 1U);
    EXPECT_EQ(out[0]->width, 128);
    EXPECT_EQ(out[0]->data[0][0], second->data[0][127]);
}

TEST_F(LivePicturesTest, TimecodeSourceZeroIsTheTimeOfDay) {
    settings.timecode = true;
    want(0, 0, 0, 0, 25.0);
    const std::string before = quol::formatTimecode(quol::wallClockTimecode(25.0));
    const quol::FramePtr frame = uyvy();
    const auto out = through(frame.get());
    const std::string after = quol::formatTimecode(quol::wallClockTimecode(25.0));
    const std::string seenCode = timecodeOf(*out.at(0));
    if (before <= after) { // else midnight went by
        EXPECT_GE(seenCode, before);
        EXPECT_LE(seenCode, after);
    }
    EXPECT_EQ(state.timecode.load(), seenCode);
}

TEST_F(LivePicturesTest, TimecodeSourceTwoRunsFromItsStart) {
    settings.timecode = true;
    settings.timecodeSource = 2;
    settings.timecodeStart = std::string("10:20:30:05");
    state.startTime = quol::steadyNow() - 2 * quol::nanosPerSecond - quol::nanosPerSecond / 50;
    const quol::FramePtr frame = uyvy();
    const std::string code = timecodeOf(*through(frame.get()).at(0));
    EXPECT_GE(code, "10:20:32:05");
    EXPECT_LT(code, "10:21:30:00"); // however slow the machine is
}

TEST_F(LivePicturesTest, OtherSourcesStampTheStoredTextAsItStands) {
    settings.timecode = true;
    for (const int source : {1, 3, -5}) {
        settings.timecodeSource = source;
        state.timecode = std::string("05:06:07:08");
        const quol::FramePtr frame = uyvy();
        EXPECT_EQ(timecodeOf(*through(frame.get()).at(0)), "05:06:07:08");
    }
}

TEST_F(LivePicturesTest, AScaledPictureCarriesTheTimecodeToo) {
    settings.timecode = true;
    settings.timecodeSource = 1;
    state.timecode = std::string("05:06:07:08");
    want(0, 32, 16);
    const quol::FramePtr frame = uyvy();
    EXPECT_EQ(timecodeOf(*through(frame.get()).at(0)), "05:06:07:08");
}

// The test signal stands still: an input that shows nothing else must not cost a conversion each
// picture.
TEST_F(LivePicturesTest, APictureThatStaysTheSameIsConvertedOnce) {
    using Contents = quol::LivePictures::Contents;
    settings.timecode = true;
    settings.timecodeSource = 1;
    want(0, 32, 16);
    const quol::FramePtr frame = uyvy();
    const auto push = [&](std::int64_t pts, const char* code, Contents contents) {
        state.timecode = std::string(code);
        const quol::FramePtr picture = quol::cloneFrame(frame.get());
        picture->pts = pts;
        pictures.processVideoFrame(picture.get(), contents);
        EXPECT_EQ(picture->pts, pts);
    };
    push(40, "05:06:07:08", Contents::sameAsEver);
    push(80, "05:06:07:09", Contents::sameAsEver);
    push(120, "05:06:07:10", Contents::moving);
    want(0, 48, 16);
    push(160, "05:06:07:11", Contents::sameAsEver);
    ASSERT_EQ(seen.size(), 4u);
    EXPECT_EQ(seen[0]->data[0], seen[1]->data[0]);
    EXPECT_NE(seen[1]->data[0], seen[2]->data[0]);
    EXPECT_EQ(seen[0]->pts, 40);
    EXPECT_EQ(seen[1]->pts, 80);
    EXPECT_EQ(timecodeOf(*seen[0]), "05:06:07:08");
    EXPECT_EQ(timecodeOf(*seen[1]), "05:06:07:09");
    EXPECT_EQ(seen[3]->width, 48);
    for (int row = 0; row < 16; ++row)
        EXPECT_EQ(std::memcmp(seen[1]->data[0] + row * seen[1]->linesize[0],
                              seen[2]->data[0] + row * seen[2]->linesize[0], 32),
                  0);
}

TEST(LiveTimecode, RunsOnBehindTwentyFourHours) {
    EXPECT_EQ(quol::runningTimecode("23:59:59:24", 0, 25.0), "23:59:59:24");
    EXPECT_EQ(quol::runningTimecode("23:59:59:24", 40000, 25.0), "24:00:00:00");
    EXPECT_EQ(quol::runningTimecode("23:59:59:24", 3600LL * 80 * 1000000, 25.0), "103:59:59:24");
}

TEST(LiveTimecode, CountsWithTheWholeNumberOfTheRate) {
    const double ntsc = 30000.0 / 1001.0;
    // 30 seconds are 899 frames, counted as 29 to the second.
    EXPECT_EQ(quol::runningTimecode("00:00:00:00", 30000000, ntsc), "00:00:31:00");
    // The start is turned into frames with the exact rate: an hour is 107892.1 of them.
    EXPECT_EQ(quol::runningTimecode("01:00:00:00", 0, ntsc), "01:02:00:12");
    EXPECT_EQ(quol::runningTimecode("00:00:00:00", 999999, 25.0), "00:00:00:24");
    EXPECT_EQ(quol::runningTimecode("00:00:00:00", 1000000, 25.0), "00:00:01:00");
}

TEST(LiveTimecode, AnEmptyStartGivesAnEmptyCodeAndNonsenseCountsAsZeros) {
    EXPECT_EQ(quol::runningTimecode("", 1000000, 25.0), "");
    EXPECT_EQ(quol::runningTimecode("soon", 1000000, 25.0), "00:00:01:00");
    EXPECT_EQ(quol::runningTimecode("01:02:03", 1000000, 25.0), "00:00:01:00");
}

TEST(LiveTimecode, HostileNumbersStayNumbers) {
    quol::runningTimecode("2147483647:2147483647:2147483647:2147483647", 1, 1e300);
    quol::runningTimecode("-2147483648:-2147483648:-1:-1", 1, 25.0);
    EXPECT_EQ(quol::runningTimecode("00:00:00:00", 4000000, 0.5), "00:00:02:00");
    // Nothing times an endless rate is no number.
    constexpr double endless = std::numeric_limits<double>::infinity();
    EXPECT_EQ(quol::runningTimecode("00:00:00:00", 0, endless), "00:00:00:00");
    EXPECT_EQ(quol::runningTimecode("00:00:00:00", 0, std::nan("")), "00:00:00:00");
}

} // namespace

#include "core/FilterGraph.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <string>
#include <vector>

#include "support/CapturedStream.h"
#include "support/DecimalComma.h"
#include "support/Frames.h"

extern "C" {
#include <libavutil/log.h>
}

namespace {

using quol::FilterGraph;
using test::CapturedStream;
using testing::MatchesRegex;

// Leaves the error stream to the library's own messages, as the shared library does by itself.
class FilterGraphMessages : public testing::Test {
protected:
    FilterGraphMessages() : level_(av_log_get_level()) { av_log_set_level(AV_LOG_FATAL); }
    ~FilterGraphMessages() override { av_log_set_level(level_); }

private:
    int level_;
};

FilterGraph::VideoInput inputOf(const AVFrame& frame) {
    return {frame.width, frame.height, frame.format, frame.time_base, {1, 1}};
}

quol::FramePtr picture(int width = 64, int height = 48, std::int64_t pts = 0) {
    return test::makePicture(width, height, AV_PIX_FMT_YUV420P, pts);
}

// All that is seen of the first plane.
std::string luma(const AVFrame& frame) {
    std::string bytes;
    for (int row = 0; row < frame.height; ++row) {
        bytes.append(reinterpret_cast<const char*>(frame.data[0]) + row * frame.linesize[0],
                     static_cast<std::size_t>(frame.width));
    }
    return bytes;
}

// The first plane of what a chain makes of one picture; empty on failure.
std::string lumaThrough(const std::string& chain, int quality, int width = 64, int height = 48) {
    const quol::FramePtr frame = picture(width, height);
    FilterGraph graph;
    if (!graph.buildVideo(inputOf(*frame), chain, quality) || !graph.send(frame.get())) return {};
    const quol::FramePtr out = quol::makeFrame();
    return graph.receive(*out) ? luma(*out) : std::string();
}

TEST(FilterGraph, NewOneTakesNothing) {
    const FilterGraph graph;
    EXPECT_FALSE(static_cast<bool>(graph));
    EXPECT_FALSE(graph.takes(*picture()));
}

TEST(FilterGraph, NullChainPassesPicturesThrough) {
    FilterGraph graph;
    const quol::FramePtr frame = picture(64, 48, 7);
    ASSERT_TRUE(graph.buildVideo(inputOf(*frame), "null", 0));
    EXPECT_TRUE(static_cast<bool>(graph));
    const quol::FramePtr out = quol::makeFrame();
    EXPECT_FALSE(graph.receive(*out));
    ASSERT_TRUE(graph.send(frame.get()));
    ASSERT_TRUE(graph.receive(*out));
    EXPECT_EQ(out->pts, 7);
    EXPECT_EQ(luma(*out), luma(*frame));
    EXPECT_FALSE(graph.receive(*quol::makeFrame()));
}

TEST(FilterGraph, SendLeavesTheFrameWithItsOwner) {
    FilterGraph graph;
    const quol::FramePtr frame = picture(64, 48, 3);
    const std::string before = luma(*frame);
    ASSERT_TRUE(graph.buildVideo(inputOf(*frame), "negate", 0));
    ASSERT_TRUE(graph.send(frame.get()));
    const quol::FramePtr out = quol::makeFrame();
    ASSERT_TRUE(graph.receive(*out));
    EXPECT_NE(frame->data[0], nullptr);
    EXPECT_EQ(frame->pts, 3);
    EXPECT_EQ(luma(*frame), before);
    EXPECT_NE(luma(*out), before);
}

TEST_F(FilterGraphMessages, ChainThatCannotBeReadWritesOneMessage) {
    const quol::FramePtr frame = picture();
    for (const std::string chain :
         {"nosuchfilter", "scale=w=64:nosuchoption=1", "null,,null", ""}) {
        CapturedStream out(CapturedStream::Stream::output);
        CapturedStream error(CapturedStream::Stream::error);
        FilterGraph graph;
        EXPECT_FALSE(graph.buildVideo(inputOf(*frame), chain, 0)) << chain;
        const std::string said = error.text();
        EXPECT_THAT(said, MatchesRegex("AVFILTER PARSE ERROR: [^\n]+\nDESC: [^\n]*\n")) << chain;
        EXPECT_EQ(said.substr(said.find("DESC")), "DESC: " + chain + "\n");
        EXPECT_EQ(out.text(), "");
        EXPECT_FALSE(static_cast<bool>(graph));
    }
}

TEST_F(FilterGraphMessages, MessageHoldsTheErrorsText) {
    const quol::FramePtr frame = picture();
    CapturedStream error(CapturedStream::Stream::error);
    FilterGraph graph;
    EXPECT_FALSE(graph.buildVideo(inputOf(*frame), "scale=w=1:nosuchoption=1", 0));
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(AVERROR_OPTION_NOT_FOUND, text, sizeof text);
    EXPECT_EQ(error.text(),
              std::string("AVFILTER PARSE ERROR: ") + text + "\nDESC: scale=w=1:nosuchoption=1\n");
}

TEST_F(FilterGraphMessages, ChainThatCannotBeConfiguredFailsSilently) {
    const quol::FramePtr frame = picture();
    CapturedStream out(CapturedStream::Stream::output);
    CapturedStream error(CapturedStream::Stream::error);
    FilterGraph graph;
    EXPECT_FALSE(graph.buildVideo(inputOf(*frame), "crop=w=1000:h=1000", 0));
    EXPECT_FALSE(static_cast<bool>(graph));
    EXPECT_EQ(out.text(), "");
    EXPECT_EQ(error.text(), "");
}

TEST_F(FilterGraphMessages, InputThatNoPictureCanHaveFails) {
    CapturedStream error(CapturedStream::Stream::error);
    FilterGraph graph;
    EXPECT_FALSE(graph.buildVideo({0, 48, AV_PIX_FMT_YUV420P, {1, 25}, {1, 1}}, "null", 0));
    EXPECT_FALSE(graph.buildVideo({64, 48, AV_PIX_FMT_NONE, {1, 25}, {1, 1}}, "null", 0));
    EXPECT_FALSE(graph.buildVideo({64, 48, AV_PIX_FMT_YUV420P, {0, 0}, {1, 1}}, "null", 0));
    EXPECT_EQ(error.text(), "");
}

TEST(FilterGraph, FailureAfterASuccessLeavesNoGraph) {
    FilterGraph graph;
    const quol::FramePtr frame = picture();
    ASSERT_TRUE(graph.buildVideo(inputOf(*frame), "null", 0));
    EXPECT_FALSE(graph.buildVideo(inputOf(*frame), "crop=w=1000:h=1000", 0));
    EXPECT_FALSE(static_cast<bool>(graph));
    EXPECT_FALSE(graph.takes(*frame));
    EXPECT_TRUE(graph.buildVideo(inputOf(*frame), "null", 0));
}

TEST(FilterGraph, ScalingQualityNamesTheScaler) {
    const std::string chain = "scale=w=100:h=30";
    const std::string neighbor = lumaThrough(chain + ":flags=neighbor", 0);
    const std::string bilinear = lumaThrough(chain + ":flags=bilinear", 0);
    const std::string bicubic = lumaThrough(chain + ":flags=bicubic", 0);
    const std::string lanczos = lumaThrough(chain + ":flags=lanczos", 0);
    ASSERT_EQ(neighbor.size(), 3000U);
    EXPECT_NE(neighbor, bilinear);
    EXPECT_NE(bilinear, bicubic);
    EXPECT_NE(bicubic, lanczos);
    EXPECT_EQ(lumaThrough(chain, 1), neighbor);
    EXPECT_EQ(lumaThrough(chain, 2), bilinear);
    EXPECT_EQ(lumaThrough(chain, 3), bicubic);
    EXPECT_EQ(lumaThrough(chain, 4), lanczos);
    for (const int other : {0, -1, 5, 100})
        EXPECT_EQ(lumaThrough(chain, other), bicubic) << other;
}

TEST(FilterGraph, RateFilterSetsTheTimeBase) {
    FilterGraph graph;
    const quol::FramePtr frame = picture();
    ASSERT_TRUE(graph.buildVideo(inputOf(*frame), "null", 0));
    EXPECT_EQ(av_cmp_q(graph.timeBase(), {1, 25}), 0);
    ASSERT_TRUE(graph.buildVideo(inputOf(*frame), "scale=w=64:h=48,setsar=1,fps=50000/1000", 0));
    EXPECT_EQ(av_cmp_q(graph.timeBase(), {1, 50}), 0);

    std::vector<std::int64_t> times;
    const quol::FramePtr out = quol::makeFrame();
    for (int i = 0; i < 10; ++i) {
        ASSERT_TRUE(graph.send(picture(64, 48, i).get()));
        while (graph.receive(*out)) {
            times.push_back(out->pts);
            av_frame_unref(out.get());
        }
    }
    ASSERT_GE(times.size(), 16U);
    for (std::size_t i = 0; i < times.size(); ++i)
        EXPECT_EQ(times[i], static_cast<std::int64_t>(i));
}

TEST(FilterGraph, NullFrameGivesOutWhatTheFiltersKeep) {
    FilterGraph graph;
    const quol::FramePtr first = picture(64, 48, 0);
    ASSERT_TRUE(graph.buildVideo(inputOf(*first), "bwdif=mode=0:parity=-1:deint=0", 0));
    const quol::FramePtr out = quol::makeFrame();
    int pictures = 0;
    for (int i = 0; i < 5; ++i) {
        ASSERT_TRUE(graph.send(picture(64, 48, i).get()));
        while (graph.receive(*out)) {
            ++pictures;
            av_frame_unref(out.get());
        }
    }
    EXPECT_LT(pictures, 5);
    ASSERT_TRUE(graph.send(nullptr));
    while (graph.receive(*out)) {
        ++pictures;
        av_frame_unref(out.get());
    }
    EXPECT_EQ(pictures, 5);
    EXPECT_FALSE(graph.send(picture().get())); // nothing comes behind the end
}

TEST(FilterGraph, TakesPicturesOfTheFormItWasBuiltForOnly) {
    FilterGraph graph;
    const quol::FramePtr frame = picture();
    ASSERT_TRUE(graph.buildVideo(inputOf(*frame), "null", 0));
    EXPECT_TRUE(graph.takes(*frame));
    EXPECT_TRUE(graph.takes(*picture(64, 48, 99)));
    EXPECT_FALSE(graph.takes(*picture(66, 48)));
    EXPECT_FALSE(graph.takes(*picture(64, 50)));
    EXPECT_FALSE(graph.takes(*test::makePicture(64, 48, AV_PIX_FMT_YUV422P)));
    graph.reset();
    EXPECT_FALSE(graph.takes(*frame));
    EXPECT_FALSE(static_cast<bool>(graph));
}

TEST(FilterGraph, PixelShapeReachesTheChain) {
    FilterGraph graph;
    const quol::FramePtr frame = picture(64, 48);
    FilterGraph::VideoInput input = inputOf(*frame);
    input.pixelAspect = {2, 1};
    frame->sample_aspect_ratio = {2, 1};
    ASSERT_TRUE(graph.buildVideo(input, "scale=w=iw*sar:h=ih,setsar=1", 0));
    ASSERT_TRUE(graph.send(frame.get()));
    const quol::FramePtr out = quol::makeFrame();
    ASSERT_TRUE(graph.receive(*out));
    EXPECT_EQ(out->width, 128);
}

TEST(FilterGraph, BuildingLeavesTheLocaleOfTheThreadAndOfTheHostAlone) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    const locale_t threads = uselocale(locale_t{});
    EXPECT_FALSE(lumaThrough("scale=w=iw*1.5:h=ih/1.5", 0).empty());
    EXPECT_EQ(uselocale(locale_t{}), threads);

    const locale_t own = newlocale(LC_ALL_MASK, "C", locale_t{});
    uselocale(own);
    EXPECT_FALSE(lumaThrough("scale=w=iw*1.5:h=ih/1.5", 0).empty());
    EXPECT_EQ(uselocale(locale_t{}), own);
    uselocale(threads);
    freelocale(own);
    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
}

TEST(FilterGraph, NumbersInAChainHaveAPointWhereTheHostsHaveAComma) {
    const std::string scaling = "scale=w=iw*1.5:h=ih/1.5";
    const quol::FramePtr sound = test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_FLTP);
    const std::string expected = lumaThrough(scaling, 0);
    ASSERT_EQ(expected.size(), 96U * 32U);

    const test::DecimalComma locale;
    ASSERT_TRUE(locale.isSet());
    EXPECT_EQ(lumaThrough(scaling, 0), expected);
    FilterGraph graph;
    EXPECT_TRUE(graph.buildAudio(*sound, "volume=0.5*1.5"));
    EXPECT_TRUE(locale.isSet());
}

TEST(FilterGraph, SoundKeepsItsSamplesThroughAnull) {
    for (const AVSampleFormat format :
         {AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_FLTP, AV_SAMPLE_FMT_S16P, AV_SAMPLE_FMT_FLT}) {
        for (const int channels : {1, 2, 6}) {
            FilterGraph graph;
            const quol::FramePtr sound = test::makeSound(480, 44100, channels, format, 1000);
            ASSERT_TRUE(graph.buildAudio(*sound, "anull"));
            EXPECT_TRUE(graph.takes(*sound));
            EXPECT_EQ(av_cmp_q(graph.timeBase(), {1, 44100}), 0);
            ASSERT_TRUE(graph.send(sound.get()));
            const quol::FramePtr out = quol::makeFrame();
            ASSERT_TRUE(graph.receive(*out));
            EXPECT_EQ(out->nb_samples, 480);
            EXPECT_EQ(out->pts, 1000);
            EXPECT_EQ(out->format, format);
            EXPECT_EQ(out->ch_layout.nb_channels, channels);
            EXPECT_EQ(out->extended_data[0][100], sound->extended_data[0][100]);
        }
    }
}

TEST(FilterGraph, SoundIsResampled) {
    FilterGraph graph;
    const quol::FramePtr first = test::makeSound(1024, 44100, 2, AV_SAMPLE_FMT_FLTP);
    ASSERT_TRUE(graph.buildAudio(*first, "aresample=sample_rate=48000"));
    EXPECT_EQ(av_cmp_q(graph.timeBase(), {1, 48000}), 0);
    int samples = 0;
    const quol::FramePtr out = quol::makeFrame();
    const auto receive = [&] {
        while (graph.receive(*out)) {
            EXPECT_EQ(out->sample_rate, 48000);
            samples += out->nb_samples;
            av_frame_unref(out.get());
        }
    };
    for (int block = 0; block < 44; ++block) {
        const quol::FramePtr sound =
            test::makeSound(1024, 44100, 2, AV_SAMPLE_FMT_FLTP, std::int64_t{1024} * block);
        ASSERT_TRUE(graph.send(sound.get()));
        receive();
    }
    ASSERT_TRUE(graph.send(nullptr));
    receive();
    EXPECT_NEAR(samples, 44 * 1024 * 48000.0 / 44100, 64);
}

TEST(FilterGraph, SoundIsDelayed) {
    FilterGraph graph;
    const quol::FramePtr sound = test::makeSound(4800, 48000, 2, AV_SAMPLE_FMT_FLTP);
    ASSERT_TRUE(graph.buildAudio(*sound, "adelay=delays=10ms|10ms"));
    ASSERT_TRUE(graph.send(sound.get()));
    ASSERT_TRUE(graph.send(nullptr));
    std::vector<float> left;
    const quol::FramePtr out = quol::makeFrame();
    while (graph.receive(*out)) {
        const auto* samples = reinterpret_cast<const float*>(out->extended_data[0]);
        left.insert(left.end(), samples, samples + out->nb_samples);
        av_frame_unref(out.get());
    }
    ASSERT_EQ(left.size(), 4800U + 480U);
    for (int i = 0; i < 480; ++i)
        ASSERT_EQ(left[static_cast<std::size_t>(i)], 0.0F);
    const auto* input = reinterpret_cast<const float*>(sound->extended_data[0]);
    for (int i = 0; i < 4800; ++i)
        ASSERT_EQ(left[static_cast<std::size_t>(i) + 480], input[i]);
}

TEST_F(FilterGraphMessages, SoundChainThatFailsIsSilent) {
    CapturedStream out(CapturedStream::Stream::output);
    CapturedStream error(CapturedStream::Stream::error);
    FilterGraph graph;
    const quol::FramePtr sound = test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_FLTP);
    EXPECT_FALSE(graph.buildAudio(*sound, "nosuchfilter"));
    EXPECT_FALSE(graph.buildAudio(*sound, "scale=w=64:h=48"));
    EXPECT_FALSE(graph.buildAudio(*quol::makeFrame(), "anull"));
    EXPECT_FALSE(static_cast<bool>(graph));
    EXPECT_EQ(out.text(), "");
    EXPECT_EQ(error.text(), "");
}

TEST(FilterGraph, TakesSoundOfTheFormItWasBuiltForOnly) {
    FilterGraph graph;
    const quol::FramePtr sound = test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_FLTP);
    ASSERT_TRUE(graph.buildAudio(*sound, "anull"));
    EXPECT_TRUE(graph.takes(*test::makeSound(1, 48000, 2, AV_SAMPLE_FMT_FLTP)));
    EXPECT_FALSE(graph.takes(*test::makeSound(480, 44100, 2, AV_SAMPLE_FMT_FLTP)));
    EXPECT_FALSE(graph.takes(*test::makeSound(480, 48000, 1, AV_SAMPLE_FMT_FLTP)));
    EXPECT_FALSE(graph.takes(*test::makeSound(480, 48000, 6, AV_SAMPLE_FMT_FLTP)));
    EXPECT_FALSE(graph.takes(*test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_S16)));
    // Of one that could not be built the form is known.
    ASSERT_FALSE(graph.buildAudio(*sound, "nosuchfilter"));
    EXPECT_FALSE(graph.takes(*sound));
    EXPECT_TRUE(graph.hasForm(*test::makeSound(1, 48000, 2, AV_SAMPLE_FMT_FLTP)));
    EXPECT_FALSE(graph.hasForm(*test::makeSound(480, 48000, 1, AV_SAMPLE_FMT_FLTP)));
    graph.reset();
    EXPECT_FALSE(graph.hasForm(*sound));
    // And pictures again behind sound.
    const quol::FramePtr frame = picture();
    ASSERT_TRUE(graph.buildVideo(inputOf(*frame), "null", 0));
    EXPECT_TRUE(graph.takes(*frame));
    EXPECT_FALSE(graph.takes(*sound));
}

} // namespace

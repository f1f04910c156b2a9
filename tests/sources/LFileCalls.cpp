// What the file player does where FFmpeg refuses what it took before. FFmpeg's own function stands
// behind that of this program.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <span>
#include <string>
#include <string_view>

#include "support/CapturedStream.h"
#include "support/FilePlayer.h"
#include "support/FunctionBehind.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
}

namespace {

std::atomic<int> refusals{0};     // of chains of sound
std::atomic<bool> isBlind{false}; // no picture can be decoded

bool isOfSound(const AVFilterGraph& graph) {
    return std::ranges::any_of(std::span(graph.filters, graph.nb_filters), [](const auto* filter) {
        return std::string_view(filter->filter->name) == "abuffer";
    });
}

} // namespace

extern "C" int avfilter_graph_config(AVFilterGraph* graph, void* log) {
    if (refusals > 0 && isOfSound(*graph)) {
        --refusals;
        return AVERROR(ENOMEM);
    }
    return test::functionBehind<decltype(avfilter_graph_config)>("avfilter_graph_config")(graph,
                                                                                          log);
}

extern "C" int avcodec_send_packet(AVCodecContext* decoder, const AVPacket* packet) {
    if (isBlind && packet != nullptr && decoder->codec_type == AVMEDIA_TYPE_VIDEO)
        return AVERROR_INVALIDDATA;
    return test::functionBehind<decltype(avcodec_send_packet)>("avcodec_send_packet")(decoder,
                                                                                      packet);
}

namespace {

using test::CapturedStream;
using test::FilePlayer;
using test::waitUntil;

TEST(LFileCalls, AChainOfSoundThatFailedOnceIsTriedAgainBehindAJump) {
    CapturedStream errors(CapturedStream::Stream::error);
    refusals = 1;
    FilePlayer player("h264_aac.mp4");
    player.file.setProps("eof_hold", "true");
    ASSERT_TRUE(player.file.play());
    ASSERT_TRUE(waitUntil([&] { return player.sink.pictureCount() >= 10; }));
    EXPECT_EQ(player.sink.soundCount(), 0U);
    EXPECT_EQ(refusals, 0);
    player.file.setPos(0.0);
    EXPECT_TRUE(waitUntil([&] { return player.sink.soundCount() > 0; }));
    player.file.stop();
    const std::string told = errors.text();
    EXPECT_EQ(told.find("LFile: Audio filter init FAILED for: "), 0U) << told;
    EXPECT_EQ(std::ranges::count(told, '\n'), 1) << told;
}

TEST(LFileCalls, WhereNoPictureCanBeDecodedTheSoundKeepsItsTime) {
    isBlind = true;
    FilePlayer player("long_sound.mkv");
    ASSERT_TRUE(player.file.play());
    const test::Stopwatch watch;
    EXPECT_TRUE(waitUntil([&] {
        return player.sink.soundCount() > 0 && player.sink.sounds().back().seconds >= 4.0;
    }));
    EXPECT_GT(watch.seconds(), 3.0);
    EXPECT_EQ(player.sink.pictureCount(), 0U);
    player.file.stop();
    isBlind = false;
}

} // namespace

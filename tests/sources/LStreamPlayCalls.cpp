// What the stream player asks of FFmpeg when it opens an address, and what it does where FFmpeg
// cannot tell what is there. FFmpeg's own functions stand behind those of this program.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "support/CapturedStream.h"
#include "support/FilePlayer.h"
#include "support/FunctionBehind.h"
#include "support/StreamFeed.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace {

std::atomic<int> refusals{0}; // how often it is not known yet what is in a stream
std::mutex mutex;
std::vector<std::string> askedFor; // guarded by mutex: the value of "rtmp_live" at each opening

} // namespace

extern "C" int avformat_open_input(AVFormatContext** context, const char* url,
                                   const AVInputFormat* format, AVDictionary** options) {
    {
        const AVDictionaryEntry* entry =
            options != nullptr ? av_dict_get(*options, "rtmp_live", nullptr, 0) : nullptr;
        const std::lock_guard lock(mutex);
        askedFor.emplace_back(entry != nullptr ? entry->value : "");
    }
    return test::functionBehind<decltype(avformat_open_input)>("avformat_open_input")(
        context, url, format, options);
}

extern "C" int avformat_find_stream_info(AVFormatContext* context, AVDictionary** options) {
    if (refusals > 0) {
        --refusals;
        return AVERROR_INVALIDDATA;
    }
    return test::functionBehind<decltype(avformat_find_stream_info)>("avformat_find_stream_info")(
        context, options);
}

namespace {

using test::CapturedStream;
using test::mediaPath;
using test::StreamPlayer;
using test::waitUntil;
using testing::ElementsAre;
using testing::HasSubstr;

class LStreamPlayCalls : public testing::Test {
protected:
    LStreamPlayCalls() {
        refusals = 0;
        asked();
    }

    // Since the last time.
    static std::vector<std::string> asked() {
        const std::lock_guard lock(mutex);
        return std::exchange(askedFor, {});
    }
};

TEST_F(LStreamPlayCalls, AServerIsAskedForWhatIsLive) {
    StreamPlayer player(mediaPath("h264.ts"));
    player.stream.play();
    ASSERT_TRUE(waitUntil([&] { return player.sink.pictureCount() > 0; }));
    player.stream.stop();
    EXPECT_THAT(asked(), ElementsAre("live"));
}

TEST_F(LStreamPlayCalls, ACheckAsksForWhatIsLive) {
    LStreamPlay stream;
    EXPECT_TRUE(stream.checkStream(mediaPath("h264.ts")));
    EXPECT_THAT(asked(), ElementsAre("live"));
}

TEST_F(LStreamPlayCalls, WhatCannotBeToldIsSaidAndTriedAgain) {
    CapturedStream output(CapturedStream::Stream::output);
    refusals = 2;
    StreamPlayer player(mediaPath("h264.ts"));
    player.stream.play();
    ASSERT_TRUE(waitUntil([&] { return player.sink.pictureCount() > 0; }));
    player.stream.stop();
    const std::string line = "[LStreamPlay] openStream: avformat_find_stream_info failed for URL " +
                             mediaPath("h264.ts") +
                             " Error: Invalid data found when processing input\n";
    EXPECT_THAT(output.text(), HasSubstr(line + line));
    EXPECT_THAT(asked(), ElementsAre("live", "live", "live")); // closed each time, and opened anew
}

} // namespace

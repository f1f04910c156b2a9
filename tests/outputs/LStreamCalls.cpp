// What a stream asks of FFmpeg when it opens its address and its copy, and what it says where it is
// refused. FFmpeg's own functions stand behind those of this program.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "support/CapturedStream.h"
#include "support/FilePlayer.h"
#include "support/FunctionBehind.h"
#include "support/LiveSource.h"
#include "support/Streaming.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace {

std::atomic<bool> refusesMp4{false};
std::atomic<int> copies{0}; // contexts of the copy's container that were asked for
std::mutex mutex;
std::map<std::string, std::string> askedFor; // guarded by mutex: "rtmp_live" of each file

} // namespace

extern "C" int avio_open2(AVIOContext** context, const char* url, int flags,
                          const AVIOInterruptCB* interrupt, AVDictionary** options) {
    {
        const AVDictionaryEntry* entry =
            options != nullptr ? av_dict_get(*options, "rtmp_live", nullptr, 0) : nullptr;
        const std::string value = entry != nullptr ? entry->value : "";
        const std::lock_guard lock(mutex);
        askedFor[std::filesystem::path(url).extension()] = value;
    }
    return test::functionBehind<decltype(avio_open2)>("avio_open2")(context, url, flags, interrupt,
                                                                    options);
}

extern "C" int avformat_alloc_output_context2(AVFormatContext** context,
                                              const AVOutputFormat* format, const char* name,
                                              const char* file) {
    if (name != nullptr && std::string_view(name) == "mp4") {
        ++copies;
        if (refusesMp4) return AVERROR_MUXER_NOT_FOUND;
    }
    return test::functionBehind<decltype(avformat_alloc_output_context2)>(
        "avformat_alloc_output_context2")(context, format, name, file);
}

namespace {

using test::CapturedStream;
using test::LiveSource;
using test::temporaryPath;
using testing::Contains;
using testing::HasSubstr;
using testing::Pair;

class LStreamCalls : public testing::Test {
protected:
    LStreamCalls() {
        refusesMp4 = false;
        copies = 0;
        const std::lock_guard lock(mutex);
        askedFor.clear();
        stream.source = &source;
        source.start();
    }

    // What the server was asked for at the address with that extension.
    std::string askedAt(const std::string& extension) {
        stream.setStreamUrl(temporaryPath("asked" + extension));
        EXPECT_TRUE(stream.Start());
        stream.Stop();
        const std::lock_guard lock(mutex);
        EXPECT_THAT(askedFor, Contains(Pair(extension, testing::_)));
        return askedFor[extension];
    }

    LiveSource source;
    LStream stream;
};

TEST_F(LStreamCalls, FlvAloneIsPublishedAsLive) {
    EXPECT_EQ(askedAt(".flv"), "live");
    EXPECT_EQ(askedAt(".ts"), "");
    EXPECT_EQ(askedAt(".mkv"), "");
}

// Wherever that would lie.
TEST_F(LStreamCalls, ACopyWithAnEmptyPathIsNeverBegun) {
    stream.setStreamUrl(temporaryPath("alone.flv"));
    stream.setStreamClone(true);
    stream.setStreamClonePath("");
    ASSERT_TRUE(stream.Start());
    EXPECT_TRUE(test::waitForSent(stream, 3));
    stream.Stop();
    EXPECT_EQ(copies, 0);
}

TEST_F(LStreamCalls, ACopyThatCannotBeMadeIsSaidAndTheStreamDoesNotStart) {
    const std::string folder = temporaryPath("copies");
    std::filesystem::create_directory(folder);
    stream.setStreamUrl(temporaryPath("stream.flv"));
    stream.setStreamClone(true);
    stream.setStreamClonePath(folder);
    refusesMp4 = true;
    {
        CapturedStream errors(CapturedStream::Stream::error);
        EXPECT_FALSE(stream.Start());
        EXPECT_THAT(errors.text(),
                    HasSubstr("[LStream] Clone context oluşturulamadı! Klasör yolunu kontrol et."));
    }
    EXPECT_EQ(test::statusOf(stream), 0);
    EXPECT_TRUE(std::filesystem::is_empty(folder));

    refusesMp4 = false;
    ASSERT_TRUE(stream.Start());
    EXPECT_TRUE(test::waitForSent(stream, 3));
    stream.Stop();
    EXPECT_EQ(copies, 2);
    EXPECT_EQ(test::readRecordedFile(folder + "/stream.mp4").error, "");
}

} // namespace

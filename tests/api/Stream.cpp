#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "quolsdk/LStream.h"
#include "quolsdk/quolsdk_c_api.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/Program.h"

namespace {

int statusOf(quolsdk_handle stream) {
    int status = -7;
    quolsdk_stream_status_get(stream, &status);
    return status;
}

class StreamApi : public testing::Test {
protected:
    quolsdk_handle stream = quolsdk_stream_create();
    quolsdk_handle signal = quolsdk_signal_create();

    StreamApi() { quolsdk_signal_start(signal); }
    ~StreamApi() override {
        quolsdk_stream_destroy(stream);
        quolsdk_signal_destroy(signal);
    }

    LStream::Stats stats() {
        LStream::Stats stats;
        static_cast<LStream*>(stream)->getStats(stats);
        return stats;
    }
};

TEST_F(StreamApi, StreamsASignal) {
    const std::string path = test::temporaryPath("api.flv");
    quolsdk_stream_url_set(stream, path.substr(0, path.rfind('/')).c_str());
    quolsdk_stream_key_set(stream, "api.flv");
    quolsdk_stream_set_props(stream, "g", "7");
    EXPECT_EQ(statusOf(stream), 0);
    EXPECT_EQ(quolsdk_stream_start(stream), 0); // without a source
    quolsdk_stream_object(stream, signal);
    EXPECT_EQ(quolsdk_stream_start(stream), 1);
    EXPECT_EQ(quolsdk_stream_start(stream), 0); // it streams already
    EXPECT_EQ(statusOf(stream), 1);
    ASSERT_TRUE(
        test::waitUntil([&] { return stats().framesSent >= 10; }, std::chrono::seconds(60)));
    quolsdk_stream_stop(stream);
    EXPECT_EQ(statusOf(stream), 0);
    const std::string seen = test::outputOf(
        {"ffprobe", "-v", "error", "-show_entries", "stream=codec_name", "-of", "csv=p=0", path});
    EXPECT_NE(seen.find("h264"), std::string::npos) << seen;
    EXPECT_NE(seen.find("aac"), std::string::npos) << seen;
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    EXPECT_NE(bytes.find("keyint=7 "), std::string::npos); // as x264 writes into the first picture
}

TEST_F(StreamApi, DestroyedWhileItStreamsItEndsTheFile) {
    const std::string path = test::temporaryPath("destroyed.mp4");
    quolsdk_handle other = quolsdk_stream_create();
    quolsdk_stream_url_set(other, path.c_str());
    quolsdk_stream_object(other, signal);
    ASSERT_EQ(quolsdk_stream_start(other), 1);
    quolsdk_stream_destroy(other);
    EXPECT_EQ(test::outputOf({"ffprobe", "-v", "error", path}), "");
}

TEST_F(StreamApi, TheSourceIsWrittenDirectly) {
    auto* object = static_cast<LStream*>(stream);
    quolsdk_stream_object(stream, signal);
    EXPECT_EQ(object->source, static_cast<LObject*>(signal));
    quolsdk_stream_object(stream, nullptr);
    EXPECT_EQ(object->source, nullptr);
}

TEST_F(StreamApi, NullTextsAreEmptyOnes) {
    quolsdk_stream_url_set(stream, "somewhere");
    quolsdk_stream_url_set(stream, nullptr);
    quolsdk_stream_key_set(stream, nullptr);
    quolsdk_stream_set_props(stream, nullptr, nullptr);
    quolsdk_stream_object(stream, signal);
    EXPECT_EQ(stats().url, "");
    EXPECT_EQ(quolsdk_stream_start(stream), 0);
}

TEST(StreamApiNull, HandlesAndPointers) {
    quolsdk_stream_destroy(nullptr);
    quolsdk_stream_url_set(nullptr, "x");
    quolsdk_stream_key_set(nullptr, "x");
    EXPECT_EQ(quolsdk_stream_start(nullptr), 0);
    quolsdk_stream_stop(nullptr);
    quolsdk_stream_object(nullptr, nullptr);
    quolsdk_stream_set_props(nullptr, "g", "1");
    EXPECT_EQ(statusOf(nullptr), -7); // untouched
    quolsdk_handle stream = quolsdk_stream_create();
    quolsdk_stream_status_get(stream, nullptr);
    quolsdk_stream_destroy(stream);
}

} // namespace

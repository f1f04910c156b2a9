#include <gtest/gtest.h>

#include <array>
#include <stdexcept>

#include "quolsdk/LLive.h"
#include "quolsdk/quolsdk_c_api.h"
#include "support/CollectingSink.h"

namespace {

constexpr int testDevice = 2;

class LiveApi : public testing::Test {
protected:
    ~LiveApi() override { quolsdk_live_destroy(live); }

    quolsdk_handle live = quolsdk_live_create();
};

TEST_F(LiveApi, TheHandleIsTheLObjectViewOfALiveInput) {
    ASSERT_NE(live, nullptr);
    EXPECT_NE(dynamic_cast<LLive*>(static_cast<LObject*>(live)), nullptr);
}

TEST_F(LiveApi, EnumeratesWithoutAnyRuntime) {
    int count = -1;
    quolsdk_live_device_get_count(live, &count);
    EXPECT_EQ(count, 3);
    std::array<char, 64> name{};
    std::array<char, 64> identifier{};
    quolsdk_live_device_get_by_index(live, testDevice, name.data(), name.size(), identifier.data(),
                                     identifier.size());
    EXPECT_STREQ(name.data(), "Test Signal");
    EXPECT_STREQ(identifier.data(), "Internal Generator");
    quolsdk_live_device_channel_get_count(live, testDevice, &count);
    EXPECT_EQ(count, 1);
    quolsdk_live_device_channel_get_by_index(live, testDevice, 0, name.data(), name.size());
    EXPECT_STREQ(name.data(), "Internal SMPTE Pattern");
    quolsdk_live_format_get_count(live, testDevice, 0, &count);
    EXPECT_EQ(count, 1);
    quolsdk_live_format_get_by_index(live, testDevice, 0, 0, name.data(), name.size());
    EXPECT_STREQ(name.data(), "1080p25");
    quolsdk_live_format_get_by_index(live, testDevice, 0, 9, name.data(), name.size());
    EXPECT_STREQ(name.data(), "");
}

TEST_F(LiveApi, TextsAreCutToTheirBuffers) {
    std::array<char, 5> name{};
    quolsdk_live_device_get_by_index(live, testDevice, name.data(), name.size(), nullptr, 10);
    EXPECT_STREQ(name.data(), "Test");
    quolsdk_live_device_get_by_index(live, testDevice, name.data(), 0, nullptr, 0);
    EXPECT_STREQ(name.data(), "Test");
}

TEST_F(LiveApi, TheTestSignalRunsFromStartToStop) {
    test::CollectingSink sink;
    auto* source = static_cast<LObject*>(live);
    source->addSink(&sink);
    quolsdk_live_device_set(live, testDevice);
    quolsdk_live_device_channel_set(live, 0);
    quolsdk_live_format_set(live, 0);
    quolsdk_live_set_props(live, "timecode", "1");
    const quolsdk_video_format video{0, 32, 18, 25.0, 1};
    const quolsdk_audio_format audio{6, 0, 0, 0};
    quolsdk_live_set_video_format(live, &video);
    quolsdk_live_set_audio_format(live, &audio);
    quolsdk_live_start(live);
    int status = 0;
    source->statusGet(status);
    EXPECT_EQ(status, 1);
    EXPECT_TRUE(sink.waitForPictures(3));
    EXPECT_TRUE(sink.waitForSounds(3));
    quolsdk_live_stop(live);
    source->removeSink(&sink);
    EXPECT_EQ(sink.pictures()[0].width, 32);
    EXPECT_EQ(sink.pictures()[0].timecode.size(), 11U);
    source->statusGet(status);
    EXPECT_EQ(status, 0);
}

TEST_F(LiveApi, NumbersThatAreNoneThrowThroughTheFunction) {
    EXPECT_THROW(quolsdk_live_set_props(live, "timecodeSource", "abc"), std::invalid_argument);
    EXPECT_THROW(quolsdk_live_set_props(live, "audio_gain", nullptr), std::invalid_argument);
    quolsdk_live_set_props(live, nullptr, nullptr); // no such key
}

TEST_F(LiveApi, NullResultsAreSkipped) {
    quolsdk_live_device_get_count(live, nullptr);
    quolsdk_live_device_channel_get_count(live, 0, nullptr);
    quolsdk_live_format_get_count(live, 0, 0, nullptr);
}

TEST(LiveApiNull, ANullHandleDoesNothing) {
    int count = 7;
    std::array<char, 4> text{'a', 'b', 'c', '\0'};
    quolsdk_live_device_get_count(nullptr, &count);
    quolsdk_live_device_get_by_index(nullptr, 0, text.data(), 4, text.data(), 4);
    quolsdk_live_device_set(nullptr, 0);
    quolsdk_live_device_channel_get_count(nullptr, 0, &count);
    quolsdk_live_device_channel_get_by_index(nullptr, 0, 0, text.data(), 4);
    quolsdk_live_device_channel_set(nullptr, 0);
    quolsdk_live_format_get_count(nullptr, 0, 0, &count);
    quolsdk_live_format_get_by_index(nullptr, 0, 0, 0, text.data(), 4);
    quolsdk_live_format_set(nullptr, 0);
    quolsdk_live_start(nullptr);
    quolsdk_live_stop(nullptr);
    quolsdk_live_set_props(nullptr, "audio_gain", "x");
    quolsdk_live_set_video_format(nullptr, nullptr);
    quolsdk_live_set_audio_format(nullptr, nullptr);
    quolsdk_live_destroy(nullptr);
    EXPECT_EQ(count, 7);
    EXPECT_STREQ(text.data(), "abc");
}

} // namespace

#include <gtest/gtest.h>

#include <stdexcept>

#include "quolsdk/LStreamPlay.h"
#include "quolsdk/quolsdk_c_api.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"

namespace {

int statusOf(quolsdk_handle player) {
    int status = -7;
    quolsdk_streamplay_status_get(player, &status);
    return status;
}

class StreamPlayApi : public testing::Test {
protected:
    quolsdk_handle player = quolsdk_streamplay_create();
    test::CollectingSink sink;

    StreamPlayApi() {
        source()->addSink(&sink);
        quolsdk_streamplay_url_set(player, test::mediaPath("h264_aac.mp4").c_str());
    }
    ~StreamPlayApi() override {
        quolsdk_streamplay_stop(player);
        source()->removeSink(&sink);
        quolsdk_streamplay_destroy(player);
    }
    LObject* source() { return static_cast<LObject*>(player); }
};

TEST_F(StreamPlayApi, PlaysAndStops) {
    EXPECT_EQ(statusOf(player), 0);
    quolsdk_streamplay_play(player);
    EXPECT_EQ(statusOf(player), 1);
    EXPECT_TRUE(sink.waitForPictures(5));
    EXPECT_TRUE(sink.waitForSounds(5));
    quolsdk_streamplay_stop(player);
    EXPECT_EQ(statusOf(player), 0);
}

TEST_F(StreamPlayApi, ANullAddressIsTheEmptyOne) {
    quolsdk_streamplay_play(player);
    quolsdk_streamplay_url_set(player, nullptr);
    EXPECT_EQ(statusOf(player), 0);
    quolsdk_streamplay_play(player);
    EXPECT_EQ(statusOf(player), 0);
}

TEST_F(StreamPlayApi, SetsProperties) {
    quolsdk_streamplay_set_props(player, "audio_gain", "0");
    quolsdk_streamplay_play(player);
    ASSERT_TRUE(sink.waitForSounds(5));
    float left = -1.0F;
    float right = -1.0F;
    static_cast<LStreamPlay*>(source())->getAudioPeak(left, right);
    EXPECT_EQ(left, 0.0F);
    EXPECT_THROW(quolsdk_streamplay_set_props(player, "audio_gain", "loud"), std::invalid_argument);
    EXPECT_THROW(quolsdk_streamplay_set_props(player, "audio_gain", nullptr),
                 std::invalid_argument);
    quolsdk_streamplay_set_props(player, nullptr, nullptr);
    quolsdk_streamplay_set_props(player, "no such key", "loud");
}

TEST(StreamPlayApiNull, EveryFunctionReturnsAtOnce) {
    quolsdk_streamplay_destroy(nullptr);
    quolsdk_streamplay_url_set(nullptr, "x");
    quolsdk_streamplay_play(nullptr);
    quolsdk_streamplay_stop(nullptr);
    quolsdk_streamplay_set_props(nullptr, "audio_gain", "loud");
    EXPECT_EQ(statusOf(nullptr), -7);
    const quolsdk_handle player = quolsdk_streamplay_create();
    quolsdk_streamplay_status_get(player, nullptr);
    quolsdk_streamplay_destroy(player);
}

} // namespace

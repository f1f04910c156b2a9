#include <gtest/gtest.h>

#include "quolsdk/LStinger.h"
#include "quolsdk/quolsdk_c_api.h"
#include "support/CapturedStream.h"
#include "support/ClipFile.h"
#include "support/CollectingSink.h"

namespace {

LStinger* stingerOf(quolsdk_handle handle) {
    return dynamic_cast<LStinger*>(static_cast<LObject*>(handle));
}

int statusOf(quolsdk_handle stinger) {
    int status = -1;
    quolsdk_stinger_status_get(stinger, &status);
    return status;
}

class StingerApi : public testing::Test {
protected:
    quolsdk_handle stinger = quolsdk_stinger_create();
    const std::string clip = test::alphaClip("api", test::countingPictures(4));
    ~StingerApi() override { quolsdk_stinger_destroy(stinger); }
};

TEST_F(StingerApi, TheHandleIsTheLObjectViewOfAStinger) {
    ASSERT_NE(stinger, nullptr);
    EXPECT_NE(stingerOf(stinger), nullptr);
    EXPECT_EQ(statusOf(stinger), 0);
}

TEST_F(StingerApi, LoadsAndClears) {
    EXPECT_EQ(quolsdk_stinger_load(stinger, clip.c_str(), 40, 30, 50.0), 1);
    EXPECT_EQ(stingerOf(stinger)->getFrameCount(), 4);
    EXPECT_EQ(stingerOf(stinger)->getFPS(), 50.0);
    const quol::FramePtr picture(stingerOf(stinger)->getFrameByProgress(0.0));
    EXPECT_EQ(picture->width, 40);
    EXPECT_EQ(picture->height, 30);
    quolsdk_stinger_clear(stinger);
    EXPECT_FALSE(stingerOf(stinger)->isLoaded());
}

TEST_F(StingerApi, AClipThatCannotBeReadGives0) {
    EXPECT_EQ(quolsdk_stinger_load(stinger, "no such clip.mov", 40, 30, 25.0), 0);
    EXPECT_EQ(quolsdk_stinger_load(stinger, clip.c_str(), 0, 30, 25.0), 0);
    EXPECT_EQ(quolsdk_stinger_load(stinger, nullptr, 40, 30, 25.0), 0);
}

TEST_F(StingerApi, PlaysOnceAndStops) {
    test::CollectingSink sink;
    stingerOf(stinger)->addSink(&sink);
    ASSERT_EQ(quolsdk_stinger_load(stinger, clip.c_str(), 40, 30, 100.0), 1);
    quolsdk_stinger_play_once(stinger);
    EXPECT_TRUE(test::waitUntil([&] { return statusOf(stinger) == 0; }));
    EXPECT_EQ(sink.pictureCount(), 4U);

    ASSERT_EQ(quolsdk_stinger_load(stinger, clip.c_str(), 40, 30, 0.001), 1);
    quolsdk_stinger_play_once(stinger);
    EXPECT_TRUE(sink.waitForPictures(5));
    EXPECT_EQ(statusOf(stinger), 1);
    quolsdk_stinger_status_get(stinger, nullptr);
    quolsdk_stinger_stop(stinger);
    EXPECT_EQ(statusOf(stinger), 0);
    EXPECT_EQ(sink.pictureCount(), 5U);
    stingerOf(stinger)->removeSink(&sink);
}

TEST(StingerApiNull, NullHandlesDoNothing) {
    EXPECT_EQ(quolsdk_stinger_load(nullptr, "x", 40, 30, 25.0), 0);
    quolsdk_stinger_clear(nullptr);
    quolsdk_stinger_play_once(nullptr);
    quolsdk_stinger_stop(nullptr);
    EXPECT_EQ(statusOf(nullptr), -1);
    quolsdk_stinger_destroy(nullptr);
}

} // namespace

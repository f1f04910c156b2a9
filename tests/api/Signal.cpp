#include <gtest/gtest.h>

#include "quolsdk/LSignal.h"
#include "quolsdk/quolsdk_c_api.h"
#include "support/CollectingSink.h"

namespace {

// The picture that a signal's handle stands for.
quol::FramePtr pictureOf(quolsdk_handle signal) {
    auto* object = dynamic_cast<LSignal*>(static_cast<LObject*>(signal));
    return quol::FramePtr(object != nullptr ? object->createFrame() : nullptr);
}

class SignalApi : public testing::Test {
protected:
    quolsdk_handle signal = quolsdk_signal_create();
    ~SignalApi() override { quolsdk_signal_destroy(signal); }
};

TEST_F(SignalApi, TheHandleIsTheLObjectViewOfASignal) {
    ASSERT_NE(signal, nullptr);
    EXPECT_NE(dynamic_cast<LSignal*>(static_cast<LObject*>(signal)), nullptr);
}

TEST_F(SignalApi, ANullColourIsTheEmptyTextWhichIsBlack) {
    quolsdk_signal_set_color(signal, "#FFFFFF");
    EXPECT_EQ(pictureOf(signal)->data[0][0], 255);
    quolsdk_signal_set_color(signal, nullptr);
    EXPECT_EQ(pictureOf(signal)->data[0][0], 0);
    EXPECT_EQ(pictureOf(signal)->data[1][0], 128);
}

TEST_F(SignalApi, ANullImageGoesBackToTheColour) {
    quolsdk_signal_set_color(signal, "#FFFFFF");
    quolsdk_signal_set_image(signal, "no such file.png");
    EXPECT_EQ(pictureOf(signal)->data[0][0], 0);
    quolsdk_signal_set_image(signal, nullptr);
    EXPECT_EQ(pictureOf(signal)->data[0][0], 255);
}

TEST_F(SignalApi, StartsStopsAndStartsAgain) {
    test::CollectingSink sink;
    auto* source = static_cast<LObject*>(signal);
    source->addSink(&sink);
    EXPECT_EQ(quolsdk_signal_start(signal), 1);
    EXPECT_EQ(quolsdk_signal_start(signal), 1);
    EXPECT_TRUE(sink.waitForPictures(3));
    quolsdk_signal_stop(signal);
    const std::size_t before = sink.pictureCount();
    EXPECT_EQ(quolsdk_signal_start(signal), 1);
    EXPECT_TRUE(sink.waitForPictures(before + 3));
    quolsdk_signal_stop(signal);
    source->removeSink(&sink);
}

TEST(SignalApiNull, StartAnswers0AndTheOthersDoNothing) {
    EXPECT_EQ(quolsdk_signal_start(nullptr), 0);
    quolsdk_signal_set_color(nullptr, "#FFFFFF");
    quolsdk_signal_set_image(nullptr, "x");
    quolsdk_signal_stop(nullptr);
    quolsdk_signal_destroy(nullptr);
}

} // namespace

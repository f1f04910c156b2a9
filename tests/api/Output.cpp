#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "quolsdk/quolsdk_c_api.h"
#include "support/CapturedStream.h"

namespace {

using test::CapturedStream;

TEST(OutputApiNull, HandleIsHarmless) {
    int count = 77;
    char text[8] = "left";
    quolsdk_output_destroy(nullptr);
    quolsdk_output_device_get_count(nullptr, &count);
    quolsdk_output_device_get_by_index(nullptr, 0, text, sizeof text, text, sizeof text);
    quolsdk_output_device_set(nullptr, 1);
    quolsdk_output_device_channel_get_count(nullptr, 0, &count);
    quolsdk_output_device_channel_get_by_index(nullptr, 0, 0, text, sizeof text);
    quolsdk_output_device_channel_set(nullptr, 0);
    quolsdk_output_format_get_count(nullptr, 0, 0, &count);
    quolsdk_output_format_get_by_index(nullptr, 0, 0, 0, text, sizeof text);
    quolsdk_output_format_set(nullptr, 0);
    quolsdk_output_start(nullptr);
    quolsdk_output_stop(nullptr);
    quolsdk_output_set_source(nullptr, nullptr);
    quolsdk_output_set_props(nullptr, "audio_gain", "loud");
    EXPECT_EQ(count, 77);
    EXPECT_STREQ(text, "left");
}

class OutputApi : public testing::Test {
protected:
    ~OutputApi() override { quolsdk_output_destroy(output); }

    quolsdk_handle output = quolsdk_output_create();
};

TEST_F(OutputApi, DevicesAreTold) {
    int count = -1;
    quolsdk_output_device_get_count(output, &count);
    EXPECT_EQ(count, 2);
    quolsdk_output_device_get_count(output, nullptr);
    char name[32];
    char description[32];
    quolsdk_output_device_get_by_index(output, 1, name, sizeof name, description,
                                       sizeof description);
    EXPECT_STREQ(name, "VTP Output");
    EXPECT_STREQ(description, "Video Transmission Protocol");
    quolsdk_output_device_get_by_index(output, 0, name, 5, nullptr, 0);
    EXPECT_STREQ(name, "NDI ");
    quolsdk_output_device_get_by_index(output, 9, name, sizeof name, description,
                                       sizeof description);
    EXPECT_STREQ(name, "");
    EXPECT_STREQ(description, "");
}

TEST_F(OutputApi, ChannelsAreTold) {
    int count = -1;
    quolsdk_output_device_channel_get_count(output, 1, &count);
    EXPECT_EQ(count, 1);
    quolsdk_output_device_channel_get_count(output, 1, nullptr);
    char name[32];
    quolsdk_output_device_channel_get_by_index(output, 1, 0, name, sizeof name);
    EXPECT_STREQ(name, "Auto");
    quolsdk_output_device_channel_get_by_index(output, 1, 0, nullptr, 32);
    quolsdk_output_device_channel_get_by_index(output, 1, 1, name, sizeof name);
    EXPECT_STREQ(name, "");
}

TEST_F(OutputApi, FormatsAreTold) {
    int count = -1;
    quolsdk_output_format_get_count(output, 1, 0, &count);
    EXPECT_EQ(count, 35);
    quolsdk_output_format_get_count(output, 1, 0, nullptr);
    char name[32];
    quolsdk_output_format_get_by_index(output, 1, 0, 11, name, sizeof name);
    EXPECT_STREQ(name, "1920x1080p50");
    quolsdk_output_format_get_by_index(output, 1, 0, 11, name, 0);
    quolsdk_output_format_get_by_index(output, 1, 0, 99, name, sizeof name);
    EXPECT_STREQ(name, "");
}

TEST_F(OutputApi, ChoicesReachTheClass) {
    CapturedStream out(CapturedStream::Stream::output);
    quolsdk_output_device_set(output, 1);
    quolsdk_output_device_channel_set(output, 2);
    quolsdk_output_format_set(output, 7);
    EXPECT_EQ(out.text(),
              "[LOutput] Device set to index: 1\n"
              "[LOutput] Channel set to index: 2\n"
              "[LOutput] Video Format set to: 1920x1080 @ 25 FPS\n");
}

TEST_F(OutputApi, StartAndStopSwitchTheState) {
    CapturedStream error(CapturedStream::Stream::error);
    quolsdk_output_start(output); // NDI, which is not there
    EXPECT_EQ(error.text(), "NDIlib_initialize failed!\n");
    quolsdk_output_start(output);
    EXPECT_EQ(error.text(), "NDIlib_initialize failed!\n");
    quolsdk_output_stop(output);
    quolsdk_output_start(output);
    EXPECT_EQ(error.text(), "NDIlib_initialize failed!\nNDIlib_initialize failed!\n");
}

TEST_F(OutputApi, AnySourceIsTaken) {
    CapturedStream out(CapturedStream::Stream::output);
    quolsdk_handle signal = quolsdk_signal_create();
    quolsdk_output_set_source(output, signal);
    EXPECT_NE(out.text().find("addSink"), std::string::npos);
    quolsdk_output_set_source(output, nullptr);
    EXPECT_NE(out.text().find("removeSink success!"), std::string::npos);
    quolsdk_signal_destroy(signal);
}

TEST_F(OutputApi, PropertyThatIsNoNumberPassesThrough) {
    quolsdk_output_set_props(output, "audio_gain", "50");
    quolsdk_output_set_props(output, nullptr, nullptr);
    EXPECT_THROW(quolsdk_output_set_props(output, "audio_gain", nullptr), std::invalid_argument);
}

} // namespace

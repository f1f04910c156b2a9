#include <gtest/gtest.h>

#include <string>

#include "quolsdk/LConvert.h"
#include "quolsdk/quolsdk_c_api.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"

namespace {

int statusOf(quolsdk_handle convert) {
    int status = -7;
    quolsdk_convert_status_get(convert, &status);
    return status;
}

class ConvertApi : public testing::Test {
protected:
    quolsdk_handle convert = quolsdk_convert_create();
    std::string path = test::temporaryPath("convert_api.mp4");

    ConvertApi() {
        quolsdk_convert_set_file_path(convert, path.c_str());
        quolsdk_convert_set_props(convert, "preset", "ultrafast");
    }
    ~ConvertApi() override { quolsdk_convert_destroy(convert); }

    bool waitForEnd() {
        return test::waitUntil([&] { return statusOf(convert) != 1; }, std::chrono::seconds(90));
    }
};

TEST_F(ConvertApi, JoinsFilesThatTheReaderThenReads) {
    EXPECT_EQ(statusOf(convert), 0);
    EXPECT_EQ(quolsdk_convert_progress_get(convert), 0.0);
    quolsdk_convert_add_input_file(convert, test::mediaPath("silent.mp4").c_str());
    quolsdk_convert_add_input_file(convert, test::mediaPath("mono.wav").c_str());
    EXPECT_EQ(quolsdk_convert_start(convert), 1);
    EXPECT_EQ(quolsdk_convert_start(convert), 0);
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(statusOf(convert), 0);
    EXPECT_EQ(quolsdk_convert_progress_get(convert), 1.0);

    quolsdk_handle reader = quolsdk_reader_create();
    EXPECT_EQ(quolsdk_reader_open(reader, path.c_str()), 1);
    EXPECT_EQ(quolsdk_reader_width_get(reader), 1920);
    EXPECT_EQ(quolsdk_reader_height_get(reader), 1080);
    EXPECT_EQ(quolsdk_reader_fps_get(reader), 25.0);
    EXPECT_EQ(quolsdk_reader_audio_channels_get(reader), 2);
    EXPECT_NEAR(quolsdk_reader_duration_get(reader), 1000.0, 50.0);
    quolsdk_reader_destroy(reader);
}

TEST_F(ConvertApi, WithoutAnInputOrAPathItDoesNotStart) {
    EXPECT_EQ(quolsdk_convert_start(convert), 0);
    quolsdk_convert_add_input_file(convert, test::mediaPath("silent.mp4").c_str());
    quolsdk_convert_clear_input_files(convert);
    EXPECT_EQ(quolsdk_convert_start(convert), 0);
    quolsdk_convert_add_input_file(convert, test::mediaPath("silent.mp4").c_str());
    quolsdk_convert_set_file_path(convert, nullptr);
    EXPECT_EQ(quolsdk_convert_start(convert), 0);
    EXPECT_EQ(statusOf(convert), 0);
}

TEST_F(ConvertApi, AStopEndsIt) {
    for (int i = 0; i < 200; ++i)
        quolsdk_convert_add_input_file(convert, test::mediaPath("numbered.mov").c_str());
    ASSERT_EQ(quolsdk_convert_start(convert), 1);
    EXPECT_EQ(statusOf(convert), 1);
    quolsdk_convert_stop(convert);
    EXPECT_EQ(statusOf(convert), 0);
    EXPECT_EQ(quolsdk_convert_progress_get(convert), 1.0);
}

TEST_F(ConvertApi, APropertyReachesTheEncoder) {
    quolsdk_convert_add_input_file(convert, test::mediaPath("still.png").c_str());
    quolsdk_convert_set_props(convert, "preset", "no such preset");
    test::CapturedStream error(test::CapturedStream::Stream::error);
    EXPECT_EQ(quolsdk_convert_start(convert), 1);
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(statusOf(convert), -1);
    EXPECT_NE(error.text().find("LConvert: Could not open video codec\n"), std::string::npos);
    quolsdk_convert_set_props(convert, "preset", "ultrafast");
    quolsdk_convert_set_props(convert, "crf", "no number");
    quolsdk_convert_set_props(convert, nullptr, nullptr);
    EXPECT_EQ(quolsdk_convert_start(convert), 1);
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(statusOf(convert), 0);
}

TEST_F(ConvertApi, TheProgressIsReadDirectly) {
    static_cast<LConvert*>(convert)->progress = 0.25;
    EXPECT_EQ(quolsdk_convert_progress_get(convert), 0.25);
}

TEST_F(ConvertApi, ANullStatusPointerEndsTheCall) {
    quolsdk_convert_status_get(convert, nullptr);
    EXPECT_EQ(statusOf(convert), 0);
}

TEST(ConvertApiNull, NothingHappensAndNothingIsWritten) {
    EXPECT_EQ(statusOf(nullptr), -7);
    quolsdk_convert_status_get(nullptr, nullptr);
    quolsdk_convert_set_file_path(nullptr, "x");
    quolsdk_convert_add_input_file(nullptr, "x");
    quolsdk_convert_clear_input_files(nullptr);
    quolsdk_convert_set_props(nullptr, "g", "1");
    EXPECT_EQ(quolsdk_convert_start(nullptr), 0);
    EXPECT_EQ(quolsdk_convert_progress_get(nullptr), 0.0);
    quolsdk_convert_stop(nullptr);
    quolsdk_convert_destroy(nullptr);
}

} // namespace

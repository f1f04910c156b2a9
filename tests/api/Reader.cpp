#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "quolsdk/quolsdk_c_api.h"
#include "support/CapturedStream.h"

namespace {

using TextGetter = void (*)(quolsdk_handle, char*, int32_t);

std::string textOf(TextGetter getter, quolsdk_handle reader) {
    char buffer[64] = "untouched";
    getter(reader, buffer, sizeof buffer);
    return buffer;
}

class ReaderApi : public testing::Test {
protected:
    quolsdk_handle reader = quolsdk_reader_create();
    ~ReaderApi() override { quolsdk_reader_destroy(reader); }

    void expectNothing(quolsdk_handle handle) {
        EXPECT_EQ(quolsdk_reader_duration_get(handle), 0.0);
        EXPECT_EQ(quolsdk_reader_fps_get(handle), 0.0);
        EXPECT_EQ(quolsdk_reader_width_get(handle), 0);
        EXPECT_EQ(quolsdk_reader_height_get(handle), 0);
        EXPECT_EQ(quolsdk_reader_file_len_get(handle), 0);
        EXPECT_EQ(quolsdk_reader_bitrate_get(handle), 0);
        EXPECT_EQ(quolsdk_reader_audio_bitrate_get(handle), 0);
        EXPECT_EQ(quolsdk_reader_audio_channels_get(handle), 0);
    }
};

TEST_F(ReaderApi, TellsWhatAFileIs) {
    const std::string path = test::mediaPath("h264_aac.mp4");
    ASSERT_EQ(quolsdk_reader_open(reader, path.c_str()), 1);
    EXPECT_NEAR(quolsdk_reader_duration_get(reader), 4000.0, 100.0);
    EXPECT_DOUBLE_EQ(quolsdk_reader_fps_get(reader), 25.0);
    EXPECT_EQ(quolsdk_reader_width_get(reader), 320);
    EXPECT_EQ(quolsdk_reader_height_get(reader), 180);
    EXPECT_EQ(quolsdk_reader_file_len_get(reader),
              static_cast<int64_t>(std::filesystem::file_size(path)));
    EXPECT_EQ(textOf(quolsdk_reader_video_codec_get, reader), "h264");
    EXPECT_EQ(textOf(quolsdk_reader_audio_codec_get, reader), "aac");
    EXPECT_EQ(textOf(quolsdk_reader_container_get, reader), "mov,mp4,m4a,3gp,3g2,mj2");
    EXPECT_GT(quolsdk_reader_bitrate_get(reader), 0);
    EXPECT_GT(quolsdk_reader_audio_bitrate_get(reader), 0);
    EXPECT_EQ(quolsdk_reader_audio_channels_get(reader), 2);
    quolsdk_reader_close(reader);
    expectNothing(reader);
}

TEST_F(ReaderApi, AClosedReaderGivesNeutralAnswers) {
    expectNothing(reader);
    EXPECT_EQ(textOf(quolsdk_reader_video_codec_get, reader), "Unknown");
    EXPECT_EQ(textOf(quolsdk_reader_audio_codec_get, reader), "Unknown");
    EXPECT_EQ(textOf(quolsdk_reader_container_get, reader), "Unknown");
    quolsdk_reader_close(reader);
}

TEST_F(ReaderApi, ANullPathIsTheEmptyPathWhichDoesNotOpen) {
    EXPECT_EQ(quolsdk_reader_open(reader, nullptr), 0);
    EXPECT_EQ(quolsdk_reader_open(reader, "no such file.mp4"), 0);
}

TEST_F(ReaderApi, ANullHandleAnswers0AndWritesNothing) {
    EXPECT_EQ(quolsdk_reader_open(nullptr, "x"), 0);
    expectNothing(nullptr);
    EXPECT_EQ(textOf(quolsdk_reader_video_codec_get, nullptr), "untouched");
    EXPECT_EQ(textOf(quolsdk_reader_audio_codec_get, nullptr), "untouched");
    EXPECT_EQ(textOf(quolsdk_reader_container_get, nullptr), "untouched");
    quolsdk_reader_close(nullptr);
    quolsdk_reader_destroy(nullptr);
}

} // namespace

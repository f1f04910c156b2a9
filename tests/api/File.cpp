#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>

#include "quolsdk/LFile.h"
#include "quolsdk/quolsdk_c_api.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"

namespace {

int statusOf(quolsdk_handle file) {
    int status = -7;
    quolsdk_file_status_get(file, &status);
    return status;
}

// A player of the suite's clip: 320x180, 25 a second, four seconds, time code from 10:00:00:00.
class FileApi : public testing::Test {
protected:
    quolsdk_handle file = quolsdk_file_create();
    test::CollectingSink sink;

    FileApi() {
        source()->addSink(&sink);
        quolsdk_file_name_set(file, test::mediaPath("h264_aac.mp4").c_str());
    }
    ~FileApi() override {
        quolsdk_file_stop(file);
        source()->removeSink(&sink);
        quolsdk_file_destroy(file);
    }
    LObject* source() { return static_cast<LObject*>(file); }
};

TEST_F(FileApi, PlaysPausesResumesAndStops) {
    EXPECT_EQ(statusOf(file), 0);
    quolsdk_file_play(file);
    EXPECT_EQ(statusOf(file), 1);
    ASSERT_TRUE(sink.waitForPictures(5));
    quolsdk_file_pause(file, 0.0);
    EXPECT_EQ(statusOf(file), 1);
    quolsdk_file_resume(file);
    ASSERT_TRUE(sink.waitForPictures(sink.pictureCount() + 5));
    quolsdk_file_stop(file);
    EXPECT_EQ(statusOf(file), 0);
}

TEST_F(FileApi, APauseHoldsThePictureAndTheSinksAreTold) {
    quolsdk_file_play(file);
    ASSERT_TRUE(sink.waitForPictures(3));
    quolsdk_file_pause(file, 0.0);
    EXPECT_EQ(sink.events().back(), "paused");
    const std::size_t count = sink.pictureCount();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_LE(sink.pictureCount(), count + 1); // one may have been on its way
}

TEST_F(FileApi, ATimedPauseEndsByItselfAndNotBefore) {
    quolsdk_file_play(file);
    ASSERT_TRUE(sink.waitForPictures(3));
    const auto begun = std::chrono::steady_clock::now().time_since_epoch();
    quolsdk_file_pause(file, 700.0);
    EXPECT_EQ(sink.events().back(), "paused");
    const std::size_t count = sink.pictureCount();
    ASSERT_TRUE(sink.waitForPictures(count + 5));
    const std::chrono::nanoseconds arrived(sink.pictures()[count + 1].arrived);
    EXPECT_GE(arrived - begun, std::chrono::milliseconds(700));
    EXPECT_EQ(sink.events().back(), "running");
}

TEST_F(FileApi, TellsSizeRateAndDuration) {
    EXPECT_EQ(quolsdk_file_get_width(file), 0);
    EXPECT_EQ(quolsdk_file_duration_get(file), 0.0);
    quolsdk_file_play(file);
    EXPECT_EQ(quolsdk_file_get_width(file), 320);
    EXPECT_EQ(quolsdk_file_get_height(file), 180);
    EXPECT_DOUBLE_EQ(quolsdk_file_fps_get(file), 25.0);
    EXPECT_NEAR(quolsdk_file_duration_get(file), 4000.0, 100.0);
}

TEST_F(FileApi, ThePositionIsTheFrameOverTheSourceRate) {
    EXPECT_EQ(quolsdk_file_pos_get(file), 0.0);
    quolsdk_file_play(file);
    quolsdk_file_pos_set(file, 2000.0);
    EXPECT_TRUE(test::waitUntil([&] { return quolsdk_file_pos_get(file) >= 2000.0; }));
    EXPECT_LT(quolsdk_file_pos_get(file), 4001.0);
    quolsdk_file_stop(file);
    EXPECT_EQ(quolsdk_file_pos_get(file), 0.0);
}

TEST_F(FileApi, ThePositionOfAFormatsPicturesIsOverTheSourceRateToo) {
    const quolsdk_video_format fifty = {4, 0, 0, 0.0, 0};
    quolsdk_file_set_video_format(file, &fifty);
    quolsdk_file_in_out_set(file, 0.0, 400.0);
    quolsdk_file_play(file);
    ASSERT_TRUE(test::waitUntil([&] { return statusOf(file) == 0; }));
    EXPECT_DOUBLE_EQ(quolsdk_file_pos_get(file), 800.0); // frame 20 over 25 a second
}

TEST_F(FileApi, ANullNameIsTheEmptyName) {
    quolsdk_file_play(file);
    EXPECT_EQ(statusOf(file), 1);
    quolsdk_file_name_set(file, nullptr);
    EXPECT_EQ(statusOf(file), 0);
    quolsdk_file_play(file);
    EXPECT_EQ(statusOf(file), 0);
}

TEST_F(FileApi, ATimecodeBufferOf5GetsFourCharactersAndAZero) {
    quolsdk_file_play(file);
    char buffer[16];
    std::memset(buffer, 'x', sizeof buffer);
    quolsdk_file_timecode_get(file, buffer, 5);
    EXPECT_STREQ(buffer, "10:0");
    EXPECT_EQ(buffer[5], 'x');
}

TEST_F(FileApi, ATimecodeBufferOf0IsNotTouched) {
    char buffer[4] = {'x', 'x', 'x', 'x'};
    quolsdk_file_timecode_get(file, buffer, 0);
    quolsdk_file_timecode_get(file, buffer, -1);
    EXPECT_EQ(std::string(buffer, 4), "xxxx");
    quolsdk_file_timecode_get(file, nullptr, 12);
}

TEST_F(FileApi, ATimecodeBufferOf1GetsTheZeroAlone) {
    char buffer[2] = {'x', 'x'};
    quolsdk_file_timecode_get(file, buffer, 1);
    EXPECT_EQ(buffer[0], '\0');
    EXPECT_EQ(buffer[1], 'x');
}

TEST_F(FileApi, TheWholeTimecodeFits) {
    char buffer[16];
    quolsdk_file_timecode_get(file, buffer, sizeof buffer);
    EXPECT_STREQ(buffer, "00:00:00:00");
}

TEST_F(FileApi, TheRateIsWrittenAndReadBack) {
    EXPECT_EQ(quolsdk_file_rate_get(file), 1.0);
    quolsdk_file_rate_set(file, 2.5);
    EXPECT_EQ(quolsdk_file_rate_get(file), 2.5);
    EXPECT_TRUE(dynamic_cast<LFile*>(source())->rateChanged);
    quolsdk_file_set_props(file, "speed", "0.5");
    EXPECT_EQ(quolsdk_file_rate_get(file), 0.5);
}

TEST_F(FileApi, InAndOutPointComeBackEachByItsOwnPointer) {
    quolsdk_file_in_out_set(file, 1000.0, 3000.0);
    double in = 0;
    double out = 0;
    double duration = -1;
    quolsdk_file_in_out_get(file, &in, &out, &duration);
    EXPECT_EQ(in, 1000.0);
    EXPECT_EQ(out, 3000.0);
    EXPECT_EQ(duration, 0.0);
    in = 0;
    quolsdk_file_in_out_get(file, &in, nullptr, nullptr);
    EXPECT_EQ(in, 1000.0);
    quolsdk_file_in_out_get(file, nullptr, nullptr, nullptr);
}

TEST_F(FileApi, FormatsReachThePlayer) {
    const quolsdk_video_format video = {4, 1, 2, 3.0, 6};
    const quolsdk_audio_format audio = {6, 1, 2, 3};
    quolsdk_file_set_video_format(file, &video);
    quolsdk_file_set_audio_format(file, &audio);
    videoFormatProps storedVideo;
    audioFormatProps storedAudio;
    auto* player = dynamic_cast<LFile*>(source());
    player->getVideoFormat(storedVideo);
    player->getAudioFormat(storedAudio);
    EXPECT_EQ(storedVideo.mode, 4U);
    EXPECT_EQ(storedVideo.width, 1280);
    EXPECT_EQ(storedVideo.height, 720);
    EXPECT_EQ(storedVideo.fps, 50.0);
    EXPECT_EQ(storedVideo.pixelFormat, 6);
    EXPECT_EQ(storedAudio.sampleRate, 48000);
    EXPECT_EQ(storedAudio.channels, 2);
    EXPECT_EQ(storedAudio.bitsPerSample, 16);
}

TEST_F(FileApi, AValueThatIsNoNumberRaisesThroughTheInterface) {
    EXPECT_THROW(quolsdk_file_set_props(file, "rate", "fast"), std::invalid_argument);
    EXPECT_THROW(quolsdk_file_set_props(file, "audio_gain", nullptr), std::invalid_argument);
    EXPECT_THROW(quolsdk_file_set_props(file, "audio_gain", "99999999999"), std::out_of_range);
    quolsdk_file_set_props(file, nullptr, nullptr);
}

TEST_F(FileApi, ANullStatusPointerEndsTheCall) {
    quolsdk_file_status_get(file, nullptr);
}

TEST(FileApiNull, EveryFunctionAnswersItsNeutralValue) {
    EXPECT_EQ(quolsdk_file_rate_get(nullptr), 1.0);
    EXPECT_EQ(quolsdk_file_pos_get(nullptr), 0.0);
    EXPECT_EQ(quolsdk_file_duration_get(nullptr), 0.0);
    EXPECT_EQ(quolsdk_file_fps_get(nullptr), 0.0);
    EXPECT_EQ(quolsdk_file_get_width(nullptr), 0);
    EXPECT_EQ(quolsdk_file_get_height(nullptr), 0);
    int status = -7;
    quolsdk_file_status_get(nullptr, &status);
    EXPECT_EQ(status, -7);
    double in = -7;
    quolsdk_file_in_out_get(nullptr, &in, &in, &in);
    EXPECT_EQ(in, -7);
    char buffer[2] = {'x', 'x'};
    quolsdk_file_timecode_get(nullptr, buffer, 2);
    EXPECT_EQ(buffer[0], 'x');
    const quolsdk_video_format video = {};
    const quolsdk_audio_format audio = {};
    quolsdk_file_set_video_format(nullptr, &video);
    quolsdk_file_set_audio_format(nullptr, &audio);
    quolsdk_file_name_set(nullptr, "x");
    quolsdk_file_play(nullptr);
    quolsdk_file_pause(nullptr, 0.0);
    quolsdk_file_resume(nullptr);
    quolsdk_file_pos_set(nullptr, 1.0);
    quolsdk_file_rate_set(nullptr, 2.0);
    quolsdk_file_in_out_set(nullptr, 0.0, 0.0);
    quolsdk_file_set_props(nullptr, "rate", "no number");
    quolsdk_file_stop(nullptr);
    quolsdk_file_set_video_format(nullptr, nullptr); // the handle is looked at first
    quolsdk_file_set_audio_format(nullptr, nullptr);
    quolsdk_file_destroy(nullptr);
}

} // namespace

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "quolsdk/LRecorder.h"
#include "quolsdk/quolsdk_c_api.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"

namespace {

int statusOf(quolsdk_handle recorder) {
    int status = -7;
    quolsdk_recorder_status_get(recorder, &status);
    return status;
}

class RecorderApi : public testing::Test {
protected:
    quolsdk_handle recorder = quolsdk_recorder_create();
    quolsdk_handle signal = quolsdk_signal_create();
    std::string path = test::temporaryPath("recorder_api.mp4");

    RecorderApi() {
        const quolsdk_video_format format = {0, 320, 180, 25.0, 0};
        quolsdk_recorder_set_video_format(recorder, &format);
        quolsdk_recorder_custom_set(recorder, "preset=ultrafast");
        quolsdk_recorder_file_name_set(recorder, path.c_str());
        quolsdk_recorder_set_source(recorder, signal);
        quolsdk_signal_start(signal);
    }
    ~RecorderApi() override {
        quolsdk_recorder_destroy(recorder);
        quolsdk_signal_destroy(signal);
    }

    int framesWritten() {
        int frames = 0;
        quolsdk_recorder_get_stats(recorder, nullptr, nullptr, &frames, nullptr, nullptr, 0);
        return frames;
    }
};

TEST_F(RecorderApi, RecordsASignalThatTheReaderThenReads) {
    EXPECT_EQ(statusOf(recorder), 0);
    quolsdk_recorder_start(recorder);
    EXPECT_EQ(statusOf(recorder), 1);
    ASSERT_TRUE(test::waitUntil([&] { return framesWritten() >= 10; }));
    quolsdk_recorder_pause(recorder, 1);
    EXPECT_EQ(statusOf(recorder), 1);
    quolsdk_recorder_pause(recorder, 0);
    ASSERT_TRUE(test::waitUntil([&] { return framesWritten() >= 20; }));
    quolsdk_recorder_stop(recorder);
    EXPECT_EQ(statusOf(recorder), 0);

    int64_t bytes = 0;
    double seconds = 0.0;
    int frames = 0;
    int dropped = -1;
    char name[512];
    quolsdk_recorder_get_stats(recorder, &bytes, &seconds, &frames, &dropped, name, sizeof name);
    EXPECT_GT(bytes, 0);
    EXPECT_GE(seconds, 20 / 25.0);
    EXPECT_GE(frames, 20);
    EXPECT_GE(dropped, 0);
    EXPECT_EQ(name, path);

    quolsdk_handle reader = quolsdk_reader_create();
    EXPECT_EQ(quolsdk_reader_open(reader, path.c_str()), 1);
    EXPECT_EQ(quolsdk_reader_width_get(reader), 320);
    EXPECT_EQ(quolsdk_reader_height_get(reader), 180);
    EXPECT_EQ(quolsdk_reader_audio_channels_get(reader), 2);
    quolsdk_reader_destroy(reader);
}

TEST_F(RecorderApi, TheSourceIsWrittenDirectly) {
    auto* object = static_cast<LRecorder*>(recorder);
    EXPECT_EQ(object->source, static_cast<LObject*>(signal));
    quolsdk_recorder_set_source(recorder, nullptr);
    EXPECT_EQ(object->source, nullptr);
}

TEST_F(RecorderApi, ADurationEndsTheRecording) {
    quolsdk_recorder_set_props(recorder, "durationMs", "500");
    quolsdk_recorder_start(recorder);
    EXPECT_TRUE(test::waitUntil([&] { return statusOf(recorder) == 0; }));
    quolsdk_recorder_stop(recorder);
}

TEST_F(RecorderApi, FormatsAreExpanded) {
    const quolsdk_video_format video = {9, 0, 0, 0.0, 3};
    const quolsdk_audio_format audio = {37, 0, 0, 0};
    quolsdk_recorder_set_video_format(recorder, &video);
    quolsdk_recorder_set_audio_format(recorder, &audio);
    videoFormatProps storedVideo;
    audioFormatProps storedAudio;
    static_cast<LRecorder*>(recorder)->getVideoFormat(storedVideo);
    static_cast<LRecorder*>(recorder)->getAudioFormat(storedAudio);
    EXPECT_EQ(storedVideo.width, 1920);
    EXPECT_EQ(storedVideo.height, 1080);
    EXPECT_EQ(storedVideo.fps, 25.0);
    EXPECT_EQ(storedVideo.pixelFormat, 3);
    EXPECT_EQ(storedAudio.sampleRate, 192000);
    EXPECT_EQ(storedAudio.channels, 8);
    EXPECT_EQ(storedAudio.bitsPerSample, -32);
}

TEST_F(RecorderApi, ALongPathIsCutToTheBuffer) {
    char name[5];
    quolsdk_recorder_get_stats(recorder, nullptr, nullptr, nullptr, nullptr, name, sizeof name);
    EXPECT_EQ(std::string(name), path.substr(0, 4));
}

TEST_F(RecorderApi, AValueThatIsNoNumberRaisesThroughTheInterface) {
    EXPECT_THROW(quolsdk_recorder_set_props(recorder, "durationMs", "long"), std::invalid_argument);
    EXPECT_THROW(quolsdk_recorder_set_props(recorder, "timecodeSource", ""), std::invalid_argument);
}

TEST_F(RecorderApi, AnyNumberOtherThan0Pauses) {
    for (const int pause : {1, 2, -1}) {
        test::CapturedStream out(test::CapturedStream::Stream::output);
        quolsdk_recorder_pause(recorder, pause);
        EXPECT_EQ(out.text(), "LRecorder: Paused.\n") << pause;
        quolsdk_recorder_pause(recorder, pause);
        quolsdk_recorder_pause(recorder, 0);
        EXPECT_EQ(out.text(), "LRecorder: Paused.\nLRecorder: Resumed.\n") << pause;
    }
}

TEST_F(RecorderApi, ANullStatusPointerEndsTheCall) {
    quolsdk_recorder_status_get(recorder, nullptr);
    EXPECT_EQ(statusOf(recorder), 0);
}

TEST_F(RecorderApi, ANullPathIsTheEmptyPathWhichCannotBeWritten) {
    quolsdk_recorder_file_name_set(recorder, nullptr);
    char name[8] = "before";
    quolsdk_recorder_get_stats(recorder, nullptr, nullptr, nullptr, nullptr, name, sizeof name);
    EXPECT_STREQ(name, "");
    test::CapturedStream error(test::CapturedStream::Stream::error);
    quolsdk_recorder_start(recorder);
    EXPECT_EQ(statusOf(recorder), 0);
    EXPECT_NE(error.text(), "");
}

TEST(RecorderApiNull, NothingHappensAndNothingIsWritten) {
    EXPECT_EQ(statusOf(nullptr), -7);
    int64_t bytes = -7;
    double seconds = -7;
    int frames = -7;
    char name[2] = {'x', 'x'};
    quolsdk_recorder_get_stats(nullptr, &bytes, &seconds, &frames, &frames, name, 2);
    EXPECT_EQ(bytes, -7);
    EXPECT_EQ(seconds, -7);
    EXPECT_EQ(frames, -7);
    EXPECT_EQ(name[0], 'x');
    const quolsdk_video_format video = {};
    const quolsdk_audio_format audio = {};
    quolsdk_recorder_set_video_format(nullptr, &video);
    quolsdk_recorder_set_audio_format(nullptr, &audio);
    quolsdk_recorder_set_source(nullptr, nullptr);
    quolsdk_recorder_file_name_set(nullptr, "x");
    quolsdk_recorder_custom_set(nullptr, "x");
    quolsdk_recorder_set_props(nullptr, "durationMs", "no number");
    quolsdk_recorder_start(nullptr);
    quolsdk_recorder_pause(nullptr, 1);
    quolsdk_recorder_stop(nullptr);
    quolsdk_recorder_set_video_format(nullptr, nullptr); // the handle is looked at first
    quolsdk_recorder_set_audio_format(nullptr, nullptr);
    quolsdk_recorder_destroy(nullptr);
}

} // namespace

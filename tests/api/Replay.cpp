#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include "quolsdk/LReplay.h"
#include "quolsdk/quolsdk_c_api.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/Program.h"

namespace {

class ReplayApi : public testing::Test {
protected:
    quolsdk_handle replay = quolsdk_replay_create();
    quolsdk_handle signal = quolsdk_signal_create();
    std::string folder = test::temporaryPath("replay_api");

    ReplayApi() {
        std::filesystem::create_directories(folder);
        const quolsdk_video_format small = {0, 160, 90, 50.0, 0};
        object().setVideoFormat({0, small.width, small.height, small.fps, 0});
        object().setProps("name", "api");
        object().setProps("timecode", "1");
        object().setProps("timecodeSource", "2");
        quolsdk_replay_set_record_path(replay, folder.c_str(), "clip");
        quolsdk_replay_set_export_path(replay, folder.c_str(), "export");
        quolsdk_signal_set_color(signal, "#C04020");
        quolsdk_signal_start(signal);
    }
    ~ReplayApi() override {
        quolsdk_replay_destroy(replay);
        quolsdk_signal_destroy(signal);
    }

    LObject& source() { return *static_cast<LObject*>(signal); }
    LReplay& object() { return *static_cast<LReplay*>(static_cast<LObject*>(replay)); }
    int status() {
        int value = -7;
        object().statusGet(value);
        return value;
    }
    std::string timecode() {
        char text[16] = "before";
        quolsdk_replay_timecode_get(replay, text, sizeof text);
        return text;
    }
    // Records at least that many frames, then leaves the source.
    void record(int frames) {
        ASSERT_EQ(quolsdk_replay_start_recording(replay), 1);
        source().addSink(&object());
        ASSERT_TRUE(
            test::waitUntil([&] { return quolsdk_replay_total_frames_get(replay) >= frames; },
                            std::chrono::seconds(60)));
        source().removeSink(&object());
        quolsdk_replay_stop_recording(replay);
    }
};

TEST_F(ReplayApi, RecordsASignalSeeksStepsAndPlays) {
    EXPECT_EQ(timecode(), "00:00:00:00");
    record(30);
    const int total = quolsdk_replay_total_frames_get(replay);
    EXPECT_GE(total, 30);
    EXPECT_NEAR(quolsdk_replay_duration_get(replay), (total - 1) * 20.0, 1e-6);
    const auto isAt = [&](int frame) {
        return test::waitUntil([&] { return quolsdk_replay_current_frame_get(replay) == frame; });
    };
    quolsdk_replay_pos_set(replay, 10);
    EXPECT_TRUE(isAt(10));
    EXPECT_NEAR(quolsdk_replay_pos_ms_get(replay), 200.0, 1e-9);
    quolsdk_replay_pos_set_ms(replay, 401.0);
    EXPECT_TRUE(isAt(20));
    quolsdk_replay_step_forward(replay, 2);
    EXPECT_TRUE(isAt(22));
    quolsdk_replay_step_backward(replay, 5);
    EXPECT_TRUE(isAt(17));
    quolsdk_replay_pos_set(replay, 0);
    EXPECT_EQ(timecode(), "01:00:00:00");
    quolsdk_replay_pos_set(replay, 10);
    quolsdk_replay_pos_set_tc(replay, "01:00:00:00");
    EXPECT_TRUE(isAt(0));
    quolsdk_replay_set_speed(replay, 2.0);
    quolsdk_replay_play(replay);
    EXPECT_TRUE(isAt(total - 1));
    quolsdk_replay_pause(replay);
    quolsdk_replay_pos_set(replay, 0);
    quolsdk_replay_set_mode_live(replay);
    EXPECT_TRUE(isAt(total - 1));
    quolsdk_replay_set_mode_trim(replay);
    quolsdk_replay_clear_recording(replay);
    EXPECT_EQ(quolsdk_replay_total_frames_get(replay), 0);
    EXPECT_TRUE(std::filesystem::is_empty(folder));
}

TEST_F(ReplayApi, PlaysAtTheSpeedSetUntilItIsPaused) {
    record(30);
    quolsdk_replay_pos_set(replay, 0);
    quolsdk_replay_set_speed(replay, 0.1);
    const auto begun = std::chrono::steady_clock::now();
    quolsdk_replay_play(replay);
    EXPECT_EQ(status(), 1);
    ASSERT_TRUE(test::waitUntil([&] { return quolsdk_replay_current_frame_get(replay) >= 4; }));
    // At five pictures a second.
    EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(500));
    quolsdk_replay_pause(replay);
    EXPECT_EQ(status(), 0);
    const int frame = quolsdk_replay_current_frame_get(replay);
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_EQ(quolsdk_replay_current_frame_get(replay), frame);
}

TEST_F(ReplayApi, TheModesSayWhetherItFollowsWhatIsRecorded) {
    const auto total = [&] { return quolsdk_replay_total_frames_get(replay); };
    const auto frame = [&] { return quolsdk_replay_current_frame_get(replay); };
    ASSERT_EQ(quolsdk_replay_start_recording(replay), 1);
    source().addSink(&object());
    quolsdk_replay_set_mode_live(replay);
    EXPECT_TRUE(test::waitUntil([&] { return frame() >= 10; }, std::chrono::seconds(60)));
    quolsdk_replay_set_mode_trim(replay);
    const int stands = frame();
    EXPECT_TRUE(test::waitUntil([&] { return total() >= stands + 10; }, std::chrono::seconds(60)));
    EXPECT_EQ(frame(), stands);
    quolsdk_replay_set_mode_live(replay);
    EXPECT_TRUE(test::waitUntil([&] { return frame() > stands; }, std::chrono::seconds(60)));
    source().removeSink(&object());
    quolsdk_replay_stop_recording(replay);
}

TEST_F(ReplayApi, ExportsByFramesAndByTimes) {
    record(30);
    const std::string path = folder + "/out.mov";
    ASSERT_EQ(quolsdk_replay_export_range(replay, 5, 14, path.c_str()), 1);
    const auto framesIn = [](const std::string& file) {
        return test::outputOf({"ffprobe", "-v", "error", "-select_streams", "v:0", "-count_packets",
                               "-show_entries", "stream=codec_name,nb_read_packets", "-of",
                               "csv=p=0", file});
    };
    EXPECT_EQ(framesIn(path), "mjpeg,10\n");
    ASSERT_EQ(quolsdk_replay_export_range_ms(replay, 100.0, 160.0, path.c_str()), 1);
    EXPECT_EQ(framesIn(path), "mjpeg,4\n");
    ASSERT_EQ(quolsdk_replay_export_range(replay, 0, 9, nullptr), 1); // the empty name
    EXPECT_EQ(framesIn(folder + "/api_0s_0s.mov"), "mjpeg,10\n");
    EXPECT_EQ(quolsdk_replay_export_range(replay, 0, 9, "/nowhere/out.mov"), 0);
}

TEST_F(ReplayApi, AReplayIsASourceToo) {
    record(10);
    quolsdk_handle recorder = quolsdk_recorder_create();
    quolsdk_recorder_set_source(recorder, replay);
    quolsdk_recorder_set_source(recorder, nullptr);
    quolsdk_recorder_destroy(recorder);
    quolsdk_handle other = quolsdk_replay_create();
    static_cast<LReplay*>(static_cast<LObject*>(other))->setProps("name", "other");
    quolsdk_replay_set_record_path(other, folder.c_str(), "clip");
    ASSERT_EQ(quolsdk_replay_start_recording(other), 1);
    auto& sink = *static_cast<LReplay*>(static_cast<LObject*>(other));
    object().addSink(&sink);
    ASSERT_TRUE(test::waitUntil([&] {
        quolsdk_replay_pos_set(replay, 5);
        return quolsdk_replay_total_frames_get(other) > 0;
    }));
    object().removeSink(&sink);
    quolsdk_replay_destroy(other);
    quolsdk_replay_pos_set(replay, 6);
}

TEST_F(ReplayApi, ALongTimecodeIsCutToTheBuffer) {
    char text[6] = {'x', 'x', 'x', 'x', 'x', 'x'};
    quolsdk_replay_timecode_get(replay, text, 5);
    EXPECT_STREQ(text, "00:0");
    quolsdk_replay_timecode_get(replay, text, 0);
    EXPECT_STREQ(text, "00:0");
    quolsdk_replay_timecode_get(replay, nullptr, 5);
}

TEST_F(ReplayApi, NullTextsAreEmptyOnes) {
    quolsdk_replay_pos_set_tc(replay, nullptr);
    quolsdk_replay_set_export_path(replay, nullptr, nullptr);
    quolsdk_replay_set_record_path(replay, "/nowhere", nullptr);
    EXPECT_EQ(quolsdk_replay_start_recording(replay), 0);
}

TEST(ReplayApiNull, NothingHappensAndNothingIsWritten) {
    quolsdk_replay_set_record_path(nullptr, "x", "x");
    quolsdk_replay_set_export_path(nullptr, "x", "x");
    EXPECT_EQ(quolsdk_replay_start_recording(nullptr), 0);
    quolsdk_replay_stop_recording(nullptr);
    quolsdk_replay_clear_recording(nullptr);
    quolsdk_replay_play(nullptr);
    quolsdk_replay_pause(nullptr);
    quolsdk_replay_set_mode_live(nullptr);
    quolsdk_replay_set_mode_trim(nullptr);
    quolsdk_replay_set_speed(nullptr, 1.0);
    quolsdk_replay_pos_set(nullptr, 1);
    quolsdk_replay_pos_set_ms(nullptr, 1.0);
    quolsdk_replay_pos_set_tc(nullptr, "x");
    quolsdk_replay_step_forward(nullptr, 1);
    quolsdk_replay_step_backward(nullptr, 1);
    EXPECT_EQ(quolsdk_replay_total_frames_get(nullptr), 0);
    EXPECT_EQ(quolsdk_replay_current_frame_get(nullptr), 0);
    EXPECT_EQ(quolsdk_replay_duration_get(nullptr), 0.0);
    EXPECT_EQ(quolsdk_replay_pos_ms_get(nullptr), 0.0);
    char text[2] = {'x', 'x'};
    quolsdk_replay_timecode_get(nullptr, text, 2);
    EXPECT_EQ(text[0], 'x');
    EXPECT_EQ(quolsdk_replay_export_range(nullptr, 0, 1, "x"), 0);
    EXPECT_EQ(quolsdk_replay_export_range_ms(nullptr, 0, 1, "x"), 0);
    quolsdk_replay_destroy(nullptr);
}

} // namespace

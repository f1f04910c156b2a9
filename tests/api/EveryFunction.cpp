// Every function of the flat interface, with a null handle and with a new object, with null texts
// and pointers and with buffers of any size. What the functions do is for the tests of the
// families.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

#include "support/CapturedStream.h"
#include "support/FunctionProbe.h"

namespace {

using test::Buffer;
using test::Family;
using test::Function;
using test::Given;
using test::Outcome;
using test::untouched;
using test::Value;

void recordsElsewhere(quolsdk_handle replay) {
    quolsdk_replay_set_record_path(replay, test::temporaryPath("").c_str(), "probe");
}

#define ROW(function) Function(#function, function)

// In the header's order. What a new object answers, stores and returns, for the numbers 0: device,
// channel and format 0 are those of NDI on a machine without cards.
const std::vector<Family>& families() {
    static const std::vector<Family> all = {
        {"signal",
         quolsdk_signal_create,
         quolsdk_signal_destroy,
         {
             ROW(quolsdk_signal_set_color),
             ROW(quolsdk_signal_set_image),
             ROW(quolsdk_signal_start).answers(1),
             ROW(quolsdk_signal_stop),
         }},
        {"file",
         quolsdk_file_create,
         quolsdk_file_destroy,
         {
             ROW(quolsdk_file_name_set),
             ROW(quolsdk_file_play),
             ROW(quolsdk_file_pause),
             ROW(quolsdk_file_resume),
             ROW(quolsdk_file_stop),
             ROW(quolsdk_file_pos_get),
             ROW(quolsdk_file_pos_set),
             ROW(quolsdk_file_duration_get),
             ROW(quolsdk_file_fps_get).answers(25.0),
             ROW(quolsdk_file_status_get).stores({0}),
             ROW(quolsdk_file_set_props),
             ROW(quolsdk_file_set_video_format),
             ROW(quolsdk_file_set_audio_format),
             ROW(quolsdk_file_rate_set),
             ROW(quolsdk_file_rate_get).answers(1.0).answersOnNull(1.0),
             ROW(quolsdk_file_in_out_set),
             ROW(quolsdk_file_in_out_get).stores({0.0, 0.0, 0.0}),
             ROW(quolsdk_file_timecode_get).returns({"00:00:00:00"}),
             ROW(quolsdk_file_get_width),
             ROW(quolsdk_file_get_height),
         }},
        {"reader",
         quolsdk_reader_create,
         quolsdk_reader_destroy,
         {
             ROW(quolsdk_reader_open),
             ROW(quolsdk_reader_close),
             ROW(quolsdk_reader_duration_get),
             ROW(quolsdk_reader_fps_get),
             ROW(quolsdk_reader_width_get),
             ROW(quolsdk_reader_height_get),
             ROW(quolsdk_reader_file_len_get),
             ROW(quolsdk_reader_video_codec_get).returns({"Unknown"}),
             ROW(quolsdk_reader_audio_codec_get).returns({"Unknown"}),
             ROW(quolsdk_reader_container_get).returns({"Unknown"}),
             ROW(quolsdk_reader_bitrate_get),
             ROW(quolsdk_reader_audio_bitrate_get),
             ROW(quolsdk_reader_audio_channels_get),
         }},
        {"live",
         quolsdk_live_create,
         quolsdk_live_destroy,
         {
             ROW(quolsdk_live_device_get_count).stores({3}),
             ROW(quolsdk_live_device_get_by_index)
                 .returns({"NDI Receiver", "Network Device Interface"}),
             ROW(quolsdk_live_device_set),
             ROW(quolsdk_live_device_channel_get_count).stores({0}),
             ROW(quolsdk_live_device_channel_get_by_index).returns({""}),
             ROW(quolsdk_live_device_channel_set),
             ROW(quolsdk_live_format_get_count).stores({1}),
             ROW(quolsdk_live_format_get_by_index).returns({"Auto Detect"}),
             ROW(quolsdk_live_format_set),
             ROW(quolsdk_live_start),
             ROW(quolsdk_live_stop),
             ROW(quolsdk_live_set_props),
             ROW(quolsdk_live_set_video_format),
             ROW(quolsdk_live_set_audio_format),
         }},
        {"streamplay",
         quolsdk_streamplay_create,
         quolsdk_streamplay_destroy,
         {
             ROW(quolsdk_streamplay_url_set),
             ROW(quolsdk_streamplay_play),
             ROW(quolsdk_streamplay_stop),
             ROW(quolsdk_streamplay_status_get).stores({0}),
             ROW(quolsdk_streamplay_set_props),
         }},
        {"mixer",
         quolsdk_mixer_create,
         quolsdk_mixer_destroy,
         {
             ROW(quolsdk_mixer_add_layer),
             ROW(quolsdk_mixer_remove_layer),
             ROW(quolsdk_mixer_set_layer_pos),
             ROW(quolsdk_mixer_set_layer_size),
             ROW(quolsdk_mixer_set_layer_alpha),
             ROW(quolsdk_mixer_set_layer_visible),
             ROW(quolsdk_mixer_set_layer_z_index),
             ROW(quolsdk_mixer_set_layer_audio),
             ROW(quolsdk_mixer_set_layer_border_radius),
             ROW(quolsdk_mixer_add_dsk),
             ROW(quolsdk_mixer_add_image),
             ROW(quolsdk_mixer_set_video_format),
         }},
        {"character",
         quolsdk_character_create,
         quolsdk_character_destroy,
         {
             ROW(quolsdk_character_show_item),
             ROW(quolsdk_character_remove),
             ROW(quolsdk_character_force_update),
             ROW(quolsdk_character_load_from_xml),
             ROW(quolsdk_character_save_to_xml),
         }},
        {"switcher",
         quolsdk_switcher_create,
         quolsdk_switcher_destroy,
         {
             ROW(quolsdk_switcher_set_preview),
             ROW(quolsdk_switcher_set_program),
             ROW(quolsdk_switcher_cut),
             ROW(quolsdk_switcher_fade),
             ROW(quolsdk_switcher_wipe),
             ROW(quolsdk_switcher_set_cg),
             ROW(quolsdk_switcher_set_props),
         }},
        {"multiview",
         quolsdk_multiview_create,
         quolsdk_multiview_destroy,
         {
             ROW(quolsdk_multiview_setup_grid),
             ROW(quolsdk_multiview_set_pvw_source),
             ROW(quolsdk_multiview_set_pgm_source),
             ROW(quolsdk_multiview_set_grid_pos),
             ROW(quolsdk_multiview_remove_grid_pos),
             ROW(quolsdk_multiview_set_grid_pgm),
             ROW(quolsdk_multiview_set_grid_pvw),
             ROW(quolsdk_multiview_clear_tally),
             ROW(quolsdk_multiview_set_grid_name),
         }},
        {"stinger",
         quolsdk_stinger_create,
         quolsdk_stinger_destroy,
         {
             ROW(quolsdk_stinger_load),
             ROW(quolsdk_stinger_clear),
             ROW(quolsdk_stinger_play_once),
             ROW(quolsdk_stinger_stop),
             ROW(quolsdk_stinger_status_get).stores({0}),
         }},
        {"animation",
         quolsdk_animation_create,
         quolsdk_animation_destroy,
         {
             ROW(quolsdk_animation_load_template),
             ROW(quolsdk_animation_update),
             ROW(quolsdk_animation_update_image),
             ROW(quolsdk_animation_update_color),
             ROW(quolsdk_animation_add_marker),
             ROW(quolsdk_animation_play),
             ROW(quolsdk_animation_stop),
             ROW(quolsdk_animation_close),
         }},
        {"output",
         quolsdk_output_create,
         quolsdk_output_destroy,
         {
             ROW(quolsdk_output_device_get_count).stores({2}),
             ROW(quolsdk_output_device_get_by_index)
                 .returns({"NDI Output", "Network Device Interface"}),
             ROW(quolsdk_output_device_set),
             ROW(quolsdk_output_device_channel_get_count).stores({1}),
             ROW(quolsdk_output_device_channel_get_by_index).returns({"Auto"}),
             ROW(quolsdk_output_device_channel_set),
             ROW(quolsdk_output_format_get_count).stores({35}),
             ROW(quolsdk_output_format_get_by_index).returns({"720x486i59"}),
             ROW(quolsdk_output_format_set),
             ROW(quolsdk_output_start),
             ROW(quolsdk_output_stop),
             ROW(quolsdk_output_set_source),
             ROW(quolsdk_output_set_props),
         }},
        {"recorder",
         quolsdk_recorder_create,
         quolsdk_recorder_destroy,
         {
             ROW(quolsdk_recorder_set_source),
             ROW(quolsdk_recorder_file_name_set),
             ROW(quolsdk_recorder_start),
             ROW(quolsdk_recorder_stop),
             ROW(quolsdk_recorder_pause),
             ROW(quolsdk_recorder_status_get).stores({0}),
             ROW(quolsdk_recorder_custom_set),
             ROW(quolsdk_recorder_get_stats).stores({std::int64_t{0}, 0.0, 0, 0}).returns({""}),
             ROW(quolsdk_recorder_set_props),
             ROW(quolsdk_recorder_set_video_format),
             ROW(quolsdk_recorder_set_audio_format),
         }},
        {"stream",
         quolsdk_stream_create,
         quolsdk_stream_destroy,
         {
             ROW(quolsdk_stream_url_set),
             ROW(quolsdk_stream_key_set),
             ROW(quolsdk_stream_start),
             ROW(quolsdk_stream_stop),
             ROW(quolsdk_stream_status_get).stores({0}),
             ROW(quolsdk_stream_object),
             ROW(quolsdk_stream_set_props),
         }},
        {"replay",
         quolsdk_replay_create,
         quolsdk_replay_destroy,
         {
             ROW(quolsdk_replay_set_record_path),
             ROW(quolsdk_replay_set_export_path),
             ROW(quolsdk_replay_start_recording).answers(1).behind(recordsElsewhere),
             ROW(quolsdk_replay_stop_recording),
             ROW(quolsdk_replay_clear_recording),
             ROW(quolsdk_replay_play),
             ROW(quolsdk_replay_pause),
             ROW(quolsdk_replay_set_mode_live),
             ROW(quolsdk_replay_set_mode_trim),
             ROW(quolsdk_replay_set_speed),
             ROW(quolsdk_replay_pos_set),
             ROW(quolsdk_replay_pos_set_ms),
             ROW(quolsdk_replay_pos_set_tc),
             ROW(quolsdk_replay_step_forward),
             ROW(quolsdk_replay_step_backward),
             ROW(quolsdk_replay_total_frames_get),
             ROW(quolsdk_replay_current_frame_get),
             ROW(quolsdk_replay_duration_get),
             ROW(quolsdk_replay_pos_ms_get),
             ROW(quolsdk_replay_timecode_get).returns({"00:00:00:00"}),
             ROW(quolsdk_replay_export_range),
             ROW(quolsdk_replay_export_range_ms),
         }},
        {"preview",
         quolsdk_preview_create,
         quolsdk_preview_destroy,
         {
             ROW(quolsdk_preview_enable),
             ROW(quolsdk_preview_object),
             ROW(quolsdk_preview_set_props),
             ROW(quolsdk_preview_set_status),
             ROW(quolsdk_preview_set_name),
             ROW(quolsdk_preview_clear),
             ROW(quolsdk_preview_set_audio),
             ROW(quolsdk_preview_mute),
         }},
        {"convert",
         quolsdk_convert_create,
         quolsdk_convert_destroy,
         {
             ROW(quolsdk_convert_set_file_path),
             ROW(quolsdk_convert_add_input_file),
             ROW(quolsdk_convert_clear_input_files),
             ROW(quolsdk_convert_start),
             ROW(quolsdk_convert_stop),
             ROW(quolsdk_convert_status_get).stores({0}),
             ROW(quolsdk_convert_progress_get),
             ROW(quolsdk_convert_set_props),
         }},
    };
    return all;
}

#undef ROW

// The names that the header declares, read as plain text.
std::set<std::string> namesOfHeader() {
    std::ifstream file(QUOLSDK_TEST_C_HEADER);
    std::stringstream text;
    text << file.rdbuf();
    const std::string header = text.str();
    const std::string mark = "\nQUOLSDK_C_API ";
    std::set<std::string> names;
    for (auto at = header.find(mark); at != std::string::npos; at = header.find(mark, at + 1)) {
        const auto end = header.find('(', at);
        const auto begin = header.find_last_of(" *\n", end) + 1;
        names.insert(header.substr(begin, end - begin));
    }
    return names;
}

// What a buffer holds behind a call that was told its size.
Buffer bufferOf(const std::string& text, int size) {
    Buffer buffer;
    buffer.fill('x');
    if (size < 1) return buffer;
    const std::size_t length = std::min(text.size(), static_cast<std::size_t>(size) - 1);
    std::copy_n(text.begin(), length, buffer.begin());
    buffer[length] = '\0';
    return buffer;
}

std::string shown(const Buffer& buffer) {
    std::string text;
    for (const char c : buffer)
        text += c == '\0' ? std::string("\\0") : std::string(1, c);
    return text;
}

void expectUntouched(const Outcome& outcome) {
    for (const Value& value : outcome.stored) {
        std::visit(
            [](const auto& number) {
                if constexpr (!std::is_same_v<std::decay_t<decltype(number)>, std::monostate>) {
                    EXPECT_EQ(number, untouched);
                }
            },
            value);
    }
    for (const Buffer& buffer : outcome.buffers)
        EXPECT_EQ(shown(buffer), shown(bufferOf("", 0)));
}

// A new object, and the function that a test is at.
class NewObject {
public:
    NewObject(const Family& family, const Function& function)
        : family_(family), handle_(family.create()) {
        function.prepare(handle_);
    }
    ~NewObject() { family_.destroy(handle_); }
    NewObject(const NewObject&) = delete;
    NewObject& operator=(const NewObject&) = delete;

    quolsdk_handle handle() const { return handle_; }

private:
    const Family& family_;
    const quolsdk_handle handle_;
};

class EveryFunction : public testing::TestWithParam<Family> {};

TEST_P(EveryFunction, OnANullHandleAnswersItsNeutralValueAndTouchesNoOutput) {
    for (const Function& function : GetParam().functions) {
        SCOPED_TRACE(function.name());
        for (const Given given : {Given{false, 64, false}, Given{true, 64, false},
                                  Given{true, 5, true}, Given{true, 0, true}}) {
            const Outcome outcome = function.call(nullptr, given);
            EXPECT_EQ(outcome.result, function.answerOnNull());
            expectUntouched(outcome);
        }
    }
    GetParam().destroy(nullptr);
}

TEST_P(EveryFunction, OnANewObjectTakesNullTextsPointersAndSources) {
    for (const Function& function : GetParam().functions) {
        SCOPED_TRACE(function.name());
        const NewObject object(GetParam(), function);
        ASSERT_NE(object.handle(), nullptr);
        for (const int size : {-1, 0, 1, 5, 64}) {
            const Outcome outcome = function.call(object.handle(), {false, size, true});
            EXPECT_EQ(outcome.result, function.answer());
            expectUntouched(outcome);
        }
    }
}

TEST_P(EveryFunction, OnANewObjectGivesItsResultsAndCutsItsTextsToTheBuffer) {
    for (const Function& function : GetParam().functions) {
        SCOPED_TRACE(function.name());
        const NewObject object(GetParam(), function);
        for (const int size : {-1, 0, 1, 5, 64}) {
            const Outcome outcome = function.call(object.handle(), {true, size, true});
            EXPECT_EQ(outcome.result, function.answer());
            EXPECT_EQ(outcome.stored, function.stored());
            ASSERT_EQ(outcome.buffers.size(), function.texts().size());
            for (std::size_t i = 0; i < outcome.buffers.size(); ++i)
                EXPECT_EQ(shown(outcome.buffers[i]), shown(bufferOf(function.texts()[i], size)));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Of, EveryFunction, testing::ValuesIn(families()),
                         [](const auto& info) { return info.param.name; });

TEST(EveryFunctionOfTheHeader, IsInTheTable) {
    std::set<std::string> names = {"quolsdk_get_version", "quolsdk_get_author",
                                   "quolsdk_get_company"}; // which take nothing
    for (const Family& family : families()) {
        names.insert("quolsdk_" + family.name + "_create");
        names.insert("quolsdk_" + family.name + "_destroy");
        for (const Function& function : family.functions)
            EXPECT_TRUE(names.insert(function.name()).second) << function.name() << " twice";
    }
    EXPECT_THAT(names, testing::ContainerEq(namesOfHeader()));
}

} // namespace

#include "api/Handle.h"
#include "quolsdk/LReplay.h"

using namespace quol::api;

quolsdk_handle quolsdk_replay_create(void) {
    return toHandle(new LReplay);
}

void quolsdk_replay_destroy(quolsdk_handle replay) {
    delete fromHandle<LReplay>(replay);
}

void quolsdk_replay_set_record_path(quolsdk_handle replay, const char* path, const char* name) {
    withObject<LReplay>(replay, [=](LReplay& r) { r.setRecordPath(textOf(path), textOf(name)); });
}

void quolsdk_replay_set_export_path(quolsdk_handle replay, const char* path, const char* name) {
    withObject<LReplay>(replay, [=](LReplay& r) { r.setExportPath(textOf(path), textOf(name)); });
}

int quolsdk_replay_start_recording(quolsdk_handle replay) {
    return withObject<LReplay>(replay, 0, [](LReplay& r) { return r.startRecording(); });
}

void quolsdk_replay_stop_recording(quolsdk_handle replay) {
    withObject<LReplay>(replay, [](LReplay& r) { r.stopRecording(); });
}

void quolsdk_replay_clear_recording(quolsdk_handle replay) {
    withObject<LReplay>(replay, [](LReplay& r) { r.clearRecording(); });
}

void quolsdk_replay_play(quolsdk_handle replay) {
    withObject<LReplay>(replay, [](LReplay& r) { r.play(); });
}

void quolsdk_replay_pause(quolsdk_handle replay) {
    withObject<LReplay>(replay, [](LReplay& r) { r.pause(); });
}

void quolsdk_replay_set_mode_live(quolsdk_handle replay) {
    withObject<LReplay>(replay, [](LReplay& r) { r.setModeLive(); });
}

void quolsdk_replay_set_mode_trim(quolsdk_handle replay) {
    withObject<LReplay>(replay, [](LReplay& r) { r.setModeTrim(); });
}

void quolsdk_replay_set_speed(quolsdk_handle replay, double speed) {
    withObject<LReplay>(replay, [=](LReplay& r) { r.setSpeed(speed); });
}

void quolsdk_replay_pos_set(quolsdk_handle replay, int frame) {
    withObject<LReplay>(replay, [=](LReplay& r) { r.posSet(frame); });
}

void quolsdk_replay_pos_set_ms(quolsdk_handle replay, double milliseconds) {
    withObject<LReplay>(replay, [=](LReplay& r) { r.posSetMs(milliseconds); });
}

void quolsdk_replay_pos_set_tc(quolsdk_handle replay, const char* timecode) {
    withObject<LReplay>(replay, [=](LReplay& r) { r.posSetTC(textOf(timecode)); });
}

void quolsdk_replay_step_forward(quolsdk_handle replay, int frames) {
    withObject<LReplay>(replay, [=](LReplay& r) { r.stepForward(frames); });
}

void quolsdk_replay_step_backward(quolsdk_handle replay, int frames) {
    withObject<LReplay>(replay, [=](LReplay& r) { r.stepBackward(frames); });
}

int quolsdk_replay_total_frames_get(quolsdk_handle replay) {
    return withObject<LReplay>(replay, 0, [](LReplay& r) { return r.getTotalFrames(); });
}

int quolsdk_replay_current_frame_get(quolsdk_handle replay) {
    return withObject<LReplay>(replay, 0, [](LReplay& r) { return r.getCurrentFrame(); });
}

double quolsdk_replay_duration_get(quolsdk_handle replay) {
    return withObject<LReplay>(replay, 0.0, [](LReplay& r) { return r.getDurationMs(); });
}

double quolsdk_replay_pos_ms_get(quolsdk_handle replay) {
    return withObject<LReplay>(replay, 0.0, [](LReplay& r) { return r.getPosMs(); });
}

void quolsdk_replay_timecode_get(quolsdk_handle replay, char* timecode, int32_t timecode_size) {
    withObject<LReplay>(replay,
                        [=](LReplay& r) { copyText(r.getPosTC(), timecode, timecode_size); });
}

int quolsdk_replay_export_range(quolsdk_handle replay, int first, int last, const char* path) {
    return withObject<LReplay>(
        replay, 0, [=](LReplay& r) { return r.exportRange(first, last, textOf(path)); });
}

int quolsdk_replay_export_range_ms(quolsdk_handle replay, double first_ms, double last_ms,
                                   const char* path) {
    return withObject<LReplay>(
        replay, 0, [=](LReplay& r) { return r.exportRangeMs(first_ms, last_ms, textOf(path)); });
}

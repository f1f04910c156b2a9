#include "api/Handle.h"
#include "quolsdk/LFile.h"

using namespace quol::api;

quolsdk_handle quolsdk_file_create(void) {
    return toHandle(new LFile);
}

void quolsdk_file_destroy(quolsdk_handle file) {
    delete fromHandle<LFile>(file);
}

void quolsdk_file_name_set(quolsdk_handle file, const char* path) {
    withObject<LFile>(file, [=](LFile& f) { f.fileNameSet(textOf(path)); });
}

void quolsdk_file_play(quolsdk_handle file) {
    withObject<LFile>(file, [](LFile& f) { f.play(); });
}

void quolsdk_file_pause(quolsdk_handle file, double delay_ms) {
    withObject<LFile>(file, [=](LFile& f) { f.pause(delay_ms); });
}

void quolsdk_file_resume(quolsdk_handle file) {
    withObject<LFile>(file, [](LFile& f) { f.resume(); });
}

void quolsdk_file_stop(quolsdk_handle file) {
    withObject<LFile>(file, [](LFile& f) { f.stop(); });
}

double quolsdk_file_pos_get(quolsdk_handle file) {
    return withObject<LFile>(file, 0.0, [](LFile& f) { return f.getPosMs(); });
}

void quolsdk_file_pos_set(quolsdk_handle file, double pos_ms) {
    withObject<LFile>(file, [=](LFile& f) { f.setPos(pos_ms); });
}

double quolsdk_file_duration_get(quolsdk_handle file) {
    return withObject<LFile>(file, 0.0, [](LFile& f) { return f.getDurationMs(); });
}

double quolsdk_file_fps_get(quolsdk_handle file) {
    return withObject<LFile>(file, 0.0, [](LFile& f) { return f.getFPS(); });
}

void quolsdk_file_status_get(quolsdk_handle file, int* status) {
    if (status == nullptr) return;
    withObject<LFile>(file, [=](LFile& f) { f.statusGet(*status); });
}

void quolsdk_file_set_props(quolsdk_handle file, const char* key, const char* value) {
    withObject<LFile>(file, [=](LFile& f) { f.setProps(textOf(key), textOf(value)); });
}

void quolsdk_file_set_video_format(quolsdk_handle file, const quolsdk_video_format* format) {
    withObject<LFile>(file, [=](LFile& f) { f.setVideoFormat(formatOf(*format)); });
}

void quolsdk_file_set_audio_format(quolsdk_handle file, const quolsdk_audio_format* format) {
    withObject<LFile>(file, [=](LFile& f) { f.setAudioFormat(formatOf(*format)); });
}

void quolsdk_file_rate_set(quolsdk_handle file, double rate) {
    withObject<LFile>(file, [=](LFile& f) {
        f.rate = rate;
        f.rateChanged = true;
    });
}

double quolsdk_file_rate_get(quolsdk_handle file) {
    return withObject<LFile>(file, 1.0, [](LFile& f) { return f.rate.load(); });
}

void quolsdk_file_in_out_set(quolsdk_handle file, double in_ms, double out_ms) {
    withObject<LFile>(file, [=](LFile& f) {
        f.inPointMs = in_ms;
        f.outPointMs = out_ms;
    });
}

void quolsdk_file_in_out_get(quolsdk_handle file, double* in_ms, double* out_ms,
                             double* duration_ms) {
    withObject<LFile>(file, [=](LFile& f) {
        double in = 0.0;
        double out = 0.0;
        double duration = 0.0;
        f.InOutGet(in, out, duration);
        store(in_ms, in);
        store(out_ms, out);
        store(duration_ms, duration);
    });
}

void quolsdk_file_timecode_get(quolsdk_handle file, char* buffer, int32_t size) {
    withObject<LFile>(file, [=](LFile& f) { copyText(f.getTimeCode(), buffer, size); });
}

int quolsdk_file_get_width(quolsdk_handle file) {
    return withObject<LFile>(file, 0, [](LFile& f) { return f.getWidth(); });
}

int quolsdk_file_get_height(quolsdk_handle file) {
    return withObject<LFile>(file, 0, [](LFile& f) { return f.getHeight(); });
}

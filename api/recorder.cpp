#include "api/Handle.h"
#include "quolsdk/LRecorder.h"

using namespace quol::api;

quolsdk_handle quolsdk_recorder_create(void) {
    return toHandle(new LRecorder);
}

void quolsdk_recorder_destroy(quolsdk_handle recorder) {
    delete fromHandle<LRecorder>(recorder);
}

void quolsdk_recorder_set_source(quolsdk_handle recorder, quolsdk_handle source) {
    withObject<LRecorder>(recorder, [=](LRecorder& r) { r.source = fromHandle<LObject>(source); });
}

void quolsdk_recorder_file_name_set(quolsdk_handle recorder, const char* path) {
    withObject<LRecorder>(recorder, [=](LRecorder& r) { r.setFilePath(textOf(path)); });
}

void quolsdk_recorder_start(quolsdk_handle recorder) {
    withObject<LRecorder>(recorder, [](LRecorder& r) { r.Record(); });
}

void quolsdk_recorder_stop(quolsdk_handle recorder) {
    withObject<LRecorder>(recorder, [](LRecorder& r) { r.Stop(); });
}

void quolsdk_recorder_pause(quolsdk_handle recorder, int pause) {
    withObject<LRecorder>(recorder, [=](LRecorder& r) { r.Pause(pause != 0); });
}

void quolsdk_recorder_status_get(quolsdk_handle recorder, int* status) {
    if (status == nullptr) return;
    withObject<LRecorder>(recorder, [=](LRecorder& r) { r.statusGet(*status); });
}

void quolsdk_recorder_custom_set(quolsdk_handle recorder, const char* options) {
    withObject<LRecorder>(recorder, [=](LRecorder& r) { r.customSet(textOf(options)); });
}

void quolsdk_recorder_get_stats(quolsdk_handle recorder, int64_t* file_size, double* seconds,
                                int* frames_written, int* frames_dropped, char* path,
                                int32_t path_size) {
    withObject<LRecorder>(recorder, [=](LRecorder& r) {
        LRecorder::Stats stats;
        r.getStats(stats);
        store(file_size, stats.fileSize);
        store(seconds, stats.secondsRecorded);
        store(frames_written, static_cast<int>(stats.framesWritten));
        store(frames_dropped, static_cast<int>(stats.framesDropped));
        copyText(stats.filePath, path, path_size);
    });
}

void quolsdk_recorder_set_props(quolsdk_handle recorder, const char* key, const char* value) {
    withObject<LRecorder>(recorder, [=](LRecorder& r) { r.setProps(textOf(key), textOf(value)); });
}

void quolsdk_recorder_set_video_format(quolsdk_handle recorder,
                                       const quolsdk_video_format* format) {
    withObject<LRecorder>(recorder, [=](LRecorder& r) { r.setVideoFormat(formatOf(*format)); });
}

void quolsdk_recorder_set_audio_format(quolsdk_handle recorder,
                                       const quolsdk_audio_format* format) {
    withObject<LRecorder>(recorder, [=](LRecorder& r) { r.setAudioFormat(formatOf(*format)); });
}

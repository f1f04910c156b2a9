#include "api/Handle.h"
#include "quolsdk/LReader.h"

using namespace quol::api;

quolsdk_handle quolsdk_reader_create(void) {
    return toHandle(new LReader);
}

void quolsdk_reader_destroy(quolsdk_handle reader) {
    delete fromHandle<LReader>(reader);
}

int quolsdk_reader_open(quolsdk_handle reader, const char* path) {
    return withObject<LReader>(reader, 0, [=](LReader& r) { return r.open(textOf(path)); });
}

void quolsdk_reader_close(quolsdk_handle reader) {
    withObject<LReader>(reader, [](LReader& r) { r.close(); });
}

double quolsdk_reader_duration_get(quolsdk_handle reader) {
    return withObject<LReader>(reader, 0.0, [](LReader& r) { return r.getDurationMs(); });
}

double quolsdk_reader_fps_get(quolsdk_handle reader) {
    return withObject<LReader>(reader, 0.0, [](LReader& r) { return r.getFPS(); });
}

int64_t quolsdk_reader_width_get(quolsdk_handle reader) {
    return withObject<LReader>(reader, int64_t{0}, [](LReader& r) { return r.getWidth(); });
}

int64_t quolsdk_reader_height_get(quolsdk_handle reader) {
    return withObject<LReader>(reader, int64_t{0}, [](LReader& r) { return r.getHeight(); });
}

int64_t quolsdk_reader_file_len_get(quolsdk_handle reader) {
    return withObject<LReader>(reader, int64_t{0}, [](LReader& r) { return r.getFileLen(); });
}

void quolsdk_reader_video_codec_get(quolsdk_handle reader, char* buffer, int32_t size) {
    withObject<LReader>(reader, [=](LReader& r) { copyText(r.getVideoCodec(), buffer, size); });
}

void quolsdk_reader_audio_codec_get(quolsdk_handle reader, char* buffer, int32_t size) {
    withObject<LReader>(reader, [=](LReader& r) { copyText(r.getAudioCodec(), buffer, size); });
}

void quolsdk_reader_container_get(quolsdk_handle reader, char* buffer, int32_t size) {
    withObject<LReader>(reader, [=](LReader& r) { copyText(r.getContainer(), buffer, size); });
}

int64_t quolsdk_reader_bitrate_get(quolsdk_handle reader) {
    return withObject<LReader>(reader, int64_t{0}, [](LReader& r) { return r.getBitrate(); });
}

int64_t quolsdk_reader_audio_bitrate_get(quolsdk_handle reader) {
    return withObject<LReader>(reader, int64_t{0}, [](LReader& r) { return r.getAudioBitrate(); });
}

int64_t quolsdk_reader_audio_channels_get(quolsdk_handle reader) {
    return withObject<LReader>(reader, int64_t{0}, [](LReader& r) { return r.getAudioChannels(); });
}

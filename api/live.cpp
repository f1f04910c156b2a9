#include "api/Handle.h"
#include "quolsdk/LLive.h"

using namespace quol::api;

quolsdk_handle quolsdk_live_create(void) {
    return toHandle(new LLive);
}

void quolsdk_live_destroy(quolsdk_handle live) {
    delete fromHandle<LLive>(live);
}

void quolsdk_live_device_get_count(quolsdk_handle live, int* count) {
    if (count == nullptr) return;
    withObject<LLive>(live, [=](LLive& l) { l.DeviceGetCount(*count); });
}

void quolsdk_live_device_get_by_index(quolsdk_handle live, int index, char* name, int32_t name_size,
                                      char* identifier, int32_t identifier_size) {
    withObject<LLive>(live, [=](LLive& l) {
        std::string nameText;
        std::string identifierText;
        l.DeviceGetByIndex(index, nameText, identifierText);
        copyText(nameText, name, name_size);
        copyText(identifierText, identifier, identifier_size);
    });
}

void quolsdk_live_device_set(quolsdk_handle live, int index) {
    withObject<LLive>(live, [=](LLive& l) { l.DeviceSet(index); });
}

void quolsdk_live_device_channel_get_count(quolsdk_handle live, int device, int* count) {
    if (count == nullptr) return;
    withObject<LLive>(live, [=](LLive& l) { l.DeviceChannelGetCount(device, *count); });
}

void quolsdk_live_device_channel_get_by_index(quolsdk_handle live, int device, int index,
                                              char* name, int32_t name_size) {
    withObject<LLive>(live, [=](LLive& l) {
        std::string nameText;
        std::string description;
        l.DeviceChannelGetByIndex(device, index, nameText, description);
        copyText(nameText, name, name_size);
    });
}

void quolsdk_live_device_channel_set(quolsdk_handle live, int index) {
    withObject<LLive>(live, [=](LLive& l) { l.DeviceChannelSet(index); });
}

void quolsdk_live_format_get_count(quolsdk_handle live, int device, int channel, int* count) {
    if (count == nullptr) return;
    withObject<LLive>(live,
                      [=](LLive& l) { l.DeviceFormatVideoGetCount(device, channel, *count); });
}

void quolsdk_live_format_get_by_index(quolsdk_handle live, int device, int channel, int index,
                                      char* name, int32_t name_size) {
    withObject<LLive>(live, [=](LLive& l) {
        std::string nameText;
        videoFormatProps format;
        l.DeviceFormatVideoGetByIndex(device, channel, index, nameText, format);
        copyText(nameText, name, name_size);
    });
}

void quolsdk_live_format_set(quolsdk_handle live, int index) {
    withObject<LLive>(live, [=](LLive& l) { l.DeviceFormatVideoSet(index); });
}

void quolsdk_live_start(quolsdk_handle live) {
    withObject<LLive>(live, [](LLive& l) { l.Start(); });
}

void quolsdk_live_stop(quolsdk_handle live) {
    withObject<LLive>(live, [](LLive& l) { l.Stop(); });
}

void quolsdk_live_set_props(quolsdk_handle live, const char* key, const char* value) {
    withObject<LLive>(live, [=](LLive& l) { l.setProps(textOf(key), textOf(value)); });
}

void quolsdk_live_set_video_format(quolsdk_handle live, const quolsdk_video_format* format) {
    withObject<LLive>(live, [=](LLive& l) { l.setVideoFormat(formatOf(*format)); });
}

void quolsdk_live_set_audio_format(quolsdk_handle live, const quolsdk_audio_format* format) {
    withObject<LLive>(live, [=](LLive& l) { l.setAudioFormat(formatOf(*format)); });
}

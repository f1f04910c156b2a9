#include "api/Handle.h"
#include "quolsdk/LOutput.h"

using namespace quol::api;

quolsdk_handle quolsdk_output_create(void) {
    return toHandle(new LOutput);
}

void quolsdk_output_destroy(quolsdk_handle output) {
    delete fromHandle<LOutput>(output);
}

void quolsdk_output_device_get_count(quolsdk_handle output, int* count) {
    if (count == nullptr) return;
    withObject<LOutput>(output, [=](LOutput& o) { o.DeviceGetCount(*count); });
}

void quolsdk_output_device_get_by_index(quolsdk_handle output, int device, char* name,
                                        int32_t name_size, char* description,
                                        int32_t description_size) {
    withObject<LOutput>(output, [=](LOutput& o) {
        std::string nameText;
        std::string descriptionText;
        o.DeviceGetByIndex(device, nameText, descriptionText);
        copyText(nameText, name, name_size);
        copyText(descriptionText, description, description_size);
    });
}

void quolsdk_output_device_set(quolsdk_handle output, int device) {
    withObject<LOutput>(output, [=](LOutput& o) { o.setDevice(device); });
}

void quolsdk_output_device_channel_get_count(quolsdk_handle output, int device, int* count) {
    if (count == nullptr) return;
    withObject<LOutput>(output, [=](LOutput& o) { o.DeviceChannelGetCount(device, *count); });
}

void quolsdk_output_device_channel_get_by_index(quolsdk_handle output, int device, int channel,
                                                char* name, int32_t name_size) {
    withObject<LOutput>(output, [=](LOutput& o) {
        std::string nameText;
        std::string descriptionText;
        o.DeviceChannelGetByIndex(device, channel, nameText, descriptionText);
        copyText(nameText, name, name_size);
    });
}

void quolsdk_output_device_channel_set(quolsdk_handle output, int channel) {
    withObject<LOutput>(output, [=](LOutput& o) { o.DeviceChannelSet(channel); });
}

void quolsdk_output_format_get_count(quolsdk_handle output, int device, int channel, int* count) {
    if (count == nullptr) return;
    withObject<LOutput>(output,
                        [=](LOutput& o) { o.DeviceFormatVideoGetCount(device, channel, *count); });
}

void quolsdk_output_format_get_by_index(quolsdk_handle output, int device, int channel, int format,
                                        char* name, int32_t name_size) {
    withObject<LOutput>(output, [=](LOutput& o) {
        std::string nameText;
        videoFormatProps props;
        o.DeviceFormatVideoGetByIndex(device, channel, format, nameText, props);
        copyText(nameText, name, name_size);
    });
}

void quolsdk_output_format_set(quolsdk_handle output, int format) {
    withObject<LOutput>(output, [=](LOutput& o) { o.DeviceFormatVideoSet(format); });
}

void quolsdk_output_start(quolsdk_handle output) {
    withObject<LOutput>(output, [](LOutput& o) { o.setEnabled(true); });
}

void quolsdk_output_stop(quolsdk_handle output) {
    withObject<LOutput>(output, [](LOutput& o) { o.setEnabled(false); });
}

void quolsdk_output_set_source(quolsdk_handle output, quolsdk_handle source) {
    withObject<LOutput>(output, [=](LOutput& o) { o.setSource(fromHandle<LObject>(source)); });
}

void quolsdk_output_set_props(quolsdk_handle output, const char* key, const char* value) {
    withObject<LOutput>(output, [=](LOutput& o) { o.setProps(textOf(key), textOf(value)); });
}

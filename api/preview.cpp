#include "api/Handle.h"
#include "quolsdk/LPreview.h"

using namespace quol::api;

quolsdk_handle quolsdk_preview_create(void) {
    return toHandle(new LPreview);
}

void quolsdk_preview_destroy(quolsdk_handle preview) {
    delete fromHandle<LPreview>(preview);
}

void quolsdk_preview_enable(quolsdk_handle preview, void* native_window, int audio, int video) {
    withObject<LPreview>(
        preview, [=](LPreview& p) { p.previewEnable(native_window, audio != 0, video != 0); });
}

void quolsdk_preview_object(quolsdk_handle preview, quolsdk_handle source) {
    withObject<LPreview>(preview,
                         [=](LPreview& p) { p.previewObject(fromHandle<LObject>(source)); });
}

void quolsdk_preview_set_props(quolsdk_handle preview, const char* key, const char* value) {
    withObject<LPreview>(preview, [=](LPreview& p) { p.setProps(textOf(key), textOf(value)); });
}

void quolsdk_preview_set_status(quolsdk_handle preview, const char* status) {
    withObject<LPreview>(preview, [=](LPreview& p) { p.setStatus(textOf(status)); });
}

void quolsdk_preview_set_name(quolsdk_handle preview, const char* name) {
    withObject<LPreview>(preview, [=](LPreview& p) { p.setName(textOf(name)); });
}

void quolsdk_preview_clear(quolsdk_handle preview) {
    withObject<LPreview>(preview, [](LPreview& p) { p.clear(); });
}

void quolsdk_preview_set_audio(quolsdk_handle preview, int enabled) {
    withObject<LPreview>(preview, [=](LPreview& p) { p.setAudio(enabled != 0); });
}

void quolsdk_preview_mute(quolsdk_handle preview, int muted) {
    withObject<LPreview>(preview, [=](LPreview& p) { p.mute(muted != 0); });
}

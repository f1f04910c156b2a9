#include "api/Handle.h"
#include "quolsdk/LStream.h"

using namespace quol::api;

quolsdk_handle quolsdk_stream_create(void) {
    return toHandle(new LStream);
}

void quolsdk_stream_destroy(quolsdk_handle stream) {
    delete fromHandle<LStream>(stream);
}

void quolsdk_stream_url_set(quolsdk_handle stream, const char* url) {
    withObject<LStream>(stream, [=](LStream& s) { s.setStreamUrl(textOf(url)); });
}

void quolsdk_stream_key_set(quolsdk_handle stream, const char* key) {
    withObject<LStream>(stream, [=](LStream& s) { s.setStreamKey(textOf(key)); });
}

int quolsdk_stream_start(quolsdk_handle stream) {
    return withObject<LStream>(stream, 0, [](LStream& s) { return s.Start(); });
}

void quolsdk_stream_stop(quolsdk_handle stream) {
    withObject<LStream>(stream, [](LStream& s) { s.Stop(); });
}

void quolsdk_stream_status_get(quolsdk_handle stream, int* status) {
    if (status == nullptr) return;
    withObject<LStream>(stream, [=](LStream& s) { s.statusGet(*status); });
}

void quolsdk_stream_object(quolsdk_handle stream, quolsdk_handle source) {
    withObject<LStream>(stream, [=](LStream& s) { s.source = fromHandle<LObject>(source); });
}

void quolsdk_stream_set_props(quolsdk_handle stream, const char* key, const char* value) {
    withObject<LStream>(stream, [=](LStream& s) { s.setProps(textOf(key), textOf(value)); });
}

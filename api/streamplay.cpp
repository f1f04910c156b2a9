#include "api/Handle.h"
#include "quolsdk/LStreamPlay.h"

using namespace quol::api;

quolsdk_handle quolsdk_streamplay_create(void) {
    return toHandle(new LStreamPlay);
}

void quolsdk_streamplay_destroy(quolsdk_handle player) {
    delete fromHandle<LStreamPlay>(player);
}

void quolsdk_streamplay_url_set(quolsdk_handle player, const char* url) {
    withObject<LStreamPlay>(player, [=](LStreamPlay& p) { p.streamUrlSet(textOf(url)); });
}

void quolsdk_streamplay_play(quolsdk_handle player) {
    withObject<LStreamPlay>(player, [](LStreamPlay& p) { p.play(); });
}

void quolsdk_streamplay_stop(quolsdk_handle player) {
    withObject<LStreamPlay>(player, [](LStreamPlay& p) { p.stop(); });
}

void quolsdk_streamplay_status_get(quolsdk_handle player, int* status) {
    if (status == nullptr) return;
    withObject<LStreamPlay>(player, [=](LStreamPlay& p) { p.statusGet(*status); });
}

void quolsdk_streamplay_set_props(quolsdk_handle player, const char* key, const char* value) {
    withObject<LStreamPlay>(player,
                            [=](LStreamPlay& p) { p.setProps(textOf(key), textOf(value)); });
}

#include "api/Handle.h"
#include "quolsdk/LStinger.h"

using namespace quol::api;

quolsdk_handle quolsdk_stinger_create(void) {
    return toHandle(new LStinger);
}

void quolsdk_stinger_destroy(quolsdk_handle stinger) {
    delete fromHandle<LStinger>(stinger);
}

int quolsdk_stinger_load(quolsdk_handle stinger, const char* path, int width, int height,
                         double fps) {
    return withObject<LStinger>(
        stinger, 0, [=](LStinger& s) { return s.load(textOf(path), width, height, fps); });
}

void quolsdk_stinger_clear(quolsdk_handle stinger) {
    withObject<LStinger>(stinger, [](LStinger& s) { s.clear(); });
}

void quolsdk_stinger_play_once(quolsdk_handle stinger) {
    withObject<LStinger>(stinger, [](LStinger& s) { s.playOnce(); });
}

void quolsdk_stinger_stop(quolsdk_handle stinger) {
    withObject<LStinger>(stinger, [](LStinger& s) { s.stop(); });
}

void quolsdk_stinger_status_get(quolsdk_handle stinger, int* status) {
    if (status == nullptr) return;
    withObject<LStinger>(stinger, [=](LStinger& s) { s.statusGet(*status); });
}

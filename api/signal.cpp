#include "api/Handle.h"
#include "quolsdk/LSignal.h"

using namespace quol::api;

quolsdk_handle quolsdk_signal_create(void) {
    return toHandle(new LSignal);
}

void quolsdk_signal_destroy(quolsdk_handle signal) {
    delete fromHandle<LSignal>(signal);
}

void quolsdk_signal_set_color(quolsdk_handle signal, const char* color) {
    withObject<LSignal>(signal, [=](LSignal& s) { s.setColor(textOf(color)); });
}

void quolsdk_signal_set_image(quolsdk_handle signal, const char* path) {
    withObject<LSignal>(signal, [=](LSignal& s) { s.setImage(textOf(path)); });
}

int quolsdk_signal_start(quolsdk_handle signal) {
    return withObject<LSignal>(signal, 0, [](LSignal& s) { return s.Start(); });
}

void quolsdk_signal_stop(quolsdk_handle signal) {
    withObject<LSignal>(signal, [](LSignal& s) { s.Stop(); });
}

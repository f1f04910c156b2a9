#include "api/Handle.h"
#include "quolsdk/LCharacter.h"
#include "quolsdk/LSwitcher.h"

using namespace quol::api;

quolsdk_handle quolsdk_switcher_create(void) {
    return newHandle<LSwitcher>();
}

void quolsdk_switcher_destroy(quolsdk_handle switcher) {
    delete fromHandle<LSwitcher>(switcher);
}

void quolsdk_switcher_set_preview(quolsdk_handle switcher, quolsdk_handle source) {
    withObject<LSwitcher>(switcher,
                          [=](LSwitcher& s) { s.setPreview(fromHandle<LObject>(source)); });
}

void quolsdk_switcher_set_program(quolsdk_handle switcher, quolsdk_handle source) {
    withObject<LSwitcher>(switcher,
                          [=](LSwitcher& s) { s.setProgram(fromHandle<LObject>(source)); });
}

void quolsdk_switcher_cut(quolsdk_handle switcher) {
    withObject<LSwitcher>(switcher, [](LSwitcher& s) { s.setCutTransition(); });
}

void quolsdk_switcher_fade(quolsdk_handle switcher, int duration) {
    withObject<LSwitcher>(switcher, [=](LSwitcher& s) {
        s.setTransitionType("fade", "");
        s.setAutoTransition(duration);
    });
}

void quolsdk_switcher_wipe(quolsdk_handle switcher, int duration, int pattern) {
    withObject<LSwitcher>(switcher, [=](LSwitcher& s) {
        s.setTransitionType("wipe", std::to_string(pattern));
        s.setAutoTransition(duration);
    });
}

void quolsdk_switcher_set_cg(quolsdk_handle switcher, quolsdk_handle character) {
    withObject<LSwitcher>(switcher, [=](LSwitcher& s) {
        while (s.getCGCount() > 0)
            s.removeCG(s.getCGByIndex(0));
        s.addCG(character != nullptr ? fromHandle<LCharacter>(character) : nullptr);
    });
}

void quolsdk_switcher_set_props(quolsdk_handle switcher, const char* key, const char* value) {
    withObject<LSwitcher>(switcher, [=](LSwitcher& s) { s.setProps(textOf(key), textOf(value)); });
}

#include "api/Handle.h"
#include "quolsdk/LAnimation.h"

using namespace quol::api;

quolsdk_handle quolsdk_animation_create(void) {
    return toHandle(new LAnimation);
}

void quolsdk_animation_destroy(quolsdk_handle animation) {
    delete fromHandle<LAnimation>(animation);
}

int quolsdk_animation_load_template(quolsdk_handle animation, int slot, const char* path) {
    return withObject<LAnimation>(
        animation, 0, [=](LAnimation& a) { return a.loadTemplate(slot, textOf(path)) ? 1 : 0; });
}

void quolsdk_animation_update(quolsdk_handle animation, int slot, const char* layer,
                              const char* text) {
    withObject<LAnimation>(animation,
                           [=](LAnimation& a) { a.update(slot, textOf(layer), textOf(text)); });
}

void quolsdk_animation_update_image(quolsdk_handle animation, int slot, const char* name,
                                    const char* path) {
    withObject<LAnimation>(animation,
                           [=](LAnimation& a) { a.updateImage(slot, textOf(name), textOf(path)); });
}

void quolsdk_animation_update_color(quolsdk_handle animation, int slot, const char* layer,
                                    const char* color, const char* color2, const char* param) {
    withObject<LAnimation>(animation, [=](LAnimation& a) {
        a.updateColor(slot, textOf(layer), textOf(color), textOf(color2), textOf(param));
    });
}

void quolsdk_animation_add_marker(quolsdk_handle animation, int slot, const char* name, int frame) {
    withObject<LAnimation>(animation,
                           [=](LAnimation& a) { a.addMarker(slot, textOf(name), frame); });
}

void quolsdk_animation_play(quolsdk_handle animation, int slot) {
    withObject<LAnimation>(animation, [=](LAnimation& a) { a.play(slot); });
}

void quolsdk_animation_stop(quolsdk_handle animation, int slot) {
    withObject<LAnimation>(animation, [=](LAnimation& a) { a.stop(slot); });
}

void quolsdk_animation_close(quolsdk_handle animation, int slot) {
    withObject<LAnimation>(animation, [=](LAnimation& a) { a.close(slot); });
}

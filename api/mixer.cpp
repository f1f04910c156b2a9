#include "api/Handle.h"
#include "quolsdk/LMixer.h"

using namespace quol::api;

namespace {

// Changes a layer, if there is one of that name, between two pictures.
template <typename Edit>
void editLayer(quolsdk_handle mixer, const char* name, Edit edit) {
    withObject<LMixer>(mixer, [=](LMixer& m) { m.editLayer(textOf(name), edit); });
}

} // namespace

quolsdk_handle quolsdk_mixer_create(void) {
    return newHandle<LMixer>();
}

void quolsdk_mixer_destroy(quolsdk_handle mixer) {
    delete fromHandle<LMixer>(mixer);
}

void quolsdk_mixer_add_layer(quolsdk_handle mixer, const char* name, quolsdk_handle source) {
    withObject<LMixer>(mixer,
                       [=](LMixer& m) { m.addLayer(textOf(name), fromHandle<LObject>(source)); });
}

void quolsdk_mixer_remove_layer(quolsdk_handle mixer, const char* name) {
    withObject<LMixer>(mixer, [=](LMixer& m) { m.removeLayer(textOf(name)); });
}

void quolsdk_mixer_set_layer_pos(quolsdk_handle mixer, const char* name, float x, float y) {
    editLayer(mixer, name, [=](LLayerItem& layer) {
        layer.x = x;
        layer.y = y;
    });
}

void quolsdk_mixer_set_layer_size(quolsdk_handle mixer, const char* name, float width,
                                  float height) {
    editLayer(mixer, name, [=](LLayerItem& layer) {
        layer.width = width;
        layer.height = height;
    });
}

void quolsdk_mixer_set_layer_alpha(quolsdk_handle mixer, const char* name, int alpha) {
    editLayer(mixer, name, [=](LLayerItem& layer) { layer.alpha = alpha; });
}

void quolsdk_mixer_set_layer_visible(quolsdk_handle mixer, const char* name, int visible) {
    editLayer(mixer, name, [=](LLayerItem& layer) { layer.visible = visible != 0; });
}

void quolsdk_mixer_set_layer_z_index(quolsdk_handle mixer, const char* name, int z) {
    editLayer(mixer, name, [=](LLayerItem& layer) { layer.zIndex = z; });
}

void quolsdk_mixer_set_layer_audio(quolsdk_handle mixer, const char* name, int enabled, int gain) {
    editLayer(mixer, name, [=](LLayerItem& layer) {
        layer.audioGain = gain;
        layer.audioEnabled = enabled != 0;
    });
}

void quolsdk_mixer_set_layer_border_radius(quolsdk_handle mixer, const char* name, int radius) {
    withObject<LMixer>(mixer, [=](LMixer& m) { m.setLayerBorderRadius(textOf(name), radius); });
}

void quolsdk_mixer_add_dsk(quolsdk_handle mixer, const char* name, quolsdk_handle fill,
                           quolsdk_handle key) {
    withObject<LMixer>(mixer, [=](LMixer& m) {
        m.addDSK(textOf(name), fromHandle<LObject>(fill), fromHandle<LObject>(key));
    });
}

void quolsdk_mixer_add_image(quolsdk_handle mixer, const char* name, const char* path) {
    withObject<LMixer>(mixer, [=](LMixer& m) { m.addImage(textOf(name), textOf(path)); });
}

void quolsdk_mixer_set_video_format(quolsdk_handle mixer, const quolsdk_video_format* format) {
    withObject<LMixer>(mixer, [=](LMixer& m) { m.setVideoFormat(formatOf(*format)); });
}

// The fields of a mixer's layer.
#include "Bind.h"
#include "MixerBinding.h"

namespace quolpy {

namespace {

using LayerClass = py::class_<MixerLayer, std::shared_ptr<MixerLayer>>;

template <typename T>
void bindField(LayerClass& layer, const char* name, std::atomic<T> LLayerItem::*field,
               const char* text) {
    layer.def_property(
        name,
        [field](MixerLayer& self) {
            T value{};
            self.access([&](LLayerItem& item) { value = item.*field; });
            return value;
        },
        [field](MixerLayer& self, T value) {
            self.access([&](LLayerItem& item) { item.*field = value; });
        },
        text);
}

} // namespace

void bindLayer(py::module_& module) {
    LayerClass layer(module, "LLayerItem",
                     "A layer of a mixer. Each field is read and written while no picture is in "
                     "the making; LMixer.editLayer changes several with one picture. "
                     "ReferenceError once the layer was removed.");
    layer.def_property_readonly("name", &MixerLayer::name, "The layer's key.");
    bindField(layer, "visible", &LLayerItem::visible, "False leaves it out, sound included.");
    bindField(layer, "alpha", &LLayerItem::alpha, "Opacity, 0 to 255.");
    bindField(layer, "x", &LLayerItem::x, "Left edge on the canvas, pixels.");
    bindField(layer, "y", &LLayerItem::y, "Top edge on the canvas, pixels.");
    bindField(layer, "width", &LLayerItem::width, "Pixels; 0 and below: the picture's own.");
    bindField(layer, "height", &LLayerItem::height, "Pixels; 0 and below: the picture's own.");
    bindField(layer, "cropTop", &LLayerItem::cropTop, "Pixels taken off.");
    bindField(layer, "cropBottom", &LLayerItem::cropBottom, "Pixels taken off.");
    bindField(layer, "cropLeft", &LLayerItem::cropLeft, "Pixels taken off.");
    bindField(layer, "cropRight", &LLayerItem::cropRight, "Pixels taken off.");
    bindField(layer, "borderThickness", &LLayerItem::borderThickness, "Pixels; 0: no border.");
    bindField(layer, "borderAlpha", &LLayerItem::borderAlpha, "Opacity of the border, 0 to 255.");
    bindField(layer, "borderRadius", &LLayerItem::borderRadius,
              "Of the corners, percent of the smaller side.");
    bindField(layer, "audioEnabled", &LLayerItem::audioEnabled, "Whether its sound joins the mix.");
    bindField(layer, "audioGain", &LLayerItem::audioGain, "Percent.");
    bindField(layer, "zIndex", &LLayerItem::zIndex, "Higher is painted later, equal by name.");
    layer
        .def_property_readonly(
            "isDSK",
            [](MixerLayer& self) {
                bool value = false;
                self.access([&](LLayerItem& item) { value = item.isDSK; });
                return value;
            },
            "Whether it is a downstream key.")
        .def_property(
            "borderColor",
            [](MixerLayer& self) {
                std::string value;
                self.access([&](LLayerItem& item) { value = item.borderColor; });
                return Text(value);
            },
            [](MixerLayer& self, const std::string& color) {
                self.access([&](LLayerItem& item) { item.borderColor = color; });
            },
            "\"#RRGGBB\" or \"#RGB\".");
}

} // namespace quolpy

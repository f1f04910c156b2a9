// The layer mixer.
#include "MixerBinding.h"

namespace quolpy {

namespace {

using MixerClass = Class<LMixer, LObject>;
using Mixer = std::shared_ptr<LMixer>;
using Layer = std::shared_ptr<MixerLayer>;

// Where a layer's sources are held. Names of layers are any text, so the kind stands in front.
std::string sourceSlot(const std::string& name) {
    return "source " + name;
}
std::string keySlot(const std::string& name) {
    return "key " + name;
}

} // namespace

template <>
void letGoOf(LMixer& mixer) {
    const std::shared_ptr<Node> node = nodeOf(mixer);
    for (const auto& [slot, source] : node->slots)
        mixer.removeLayer(slot.substr(slot.find(' ') + 1));
}

namespace {

// A layer that has no key lets go of the one that it may have had.
template <typename Call>
Layer change(const Mixer& mixer, const std::string& name, const Source& source, const Source& key,
             Call call) {
    connect(*mixer, {{sourceSlot(name), source}, {keySlot(name), key}}, call);
    return std::make_shared<MixerLayer>(mixer, name);
}

Layer addDSK(const Mixer& mixer, const std::string& name, const Source& fill, const Source& key,
             int zIndex, float x, float y, int alpha, float width, float height) {
    return change(mixer, name, fill, key, [&] {
        mixer->addDSK(name, fill.get(), key.get(), zIndex, x, y, alpha, width, height);
    });
}

void removeLayer(LMixer& mixer, const std::string& name) {
    connect(mixer, {{sourceSlot(name), nullptr}, {keySlot(name), nullptr}},
            [&] { mixer.removeLayer(name); });
}

Layer layerAt(const Mixer& mixer, const std::string& name) {
    bool isThere = false;
    {
        const Outside outside;
        isThere = mixer->editLayer(name, [](LLayerItem&) {});
    }
    return isThere ? std::make_shared<MixerLayer>(mixer, name) : nullptr;
}

// The lock keeps the item there while its name is read.
Layer layerByIndex(const Mixer& mixer, int index) {
    const Outside outside;
    const std::shared_ptr<Node> node = nodeOf(*mixer);
    const std::lock_guard lock(node->control);
    const LLayerItem* item = mixer->getLayerByIndex(index);
    return item != nullptr ? std::make_shared<MixerLayer>(mixer, item->name) : nullptr;
}

// An exception of the function's comes out behind the edit.
bool editLayer(LMixer& mixer, const std::string& name, const py::function& edit) {
    std::optional<py::error_already_set> raised;
    bool found = false;
    {
        const Outside outside;
        found = mixer.editLayer(name, [&](LLayerItem& item) {
            const Callback callback(CallbackKind::edit);
            if (!callback.isOpen()) return;
            const auto layer = std::make_shared<MixerLayer>(item);
            try {
                edit(layer);
            } catch (py::error_already_set& error) {
                raised.emplace(error);
            } catch (...) {
                layer->end();
                throw;
            }
            layer->end();
        });
    }
    if (raised) throw std::move(*raised);
    return found;
}

void bindLayers(MixerClass& mixer) {
    mixer
        .def(
            "addLayer",
            [](const Mixer& self, const std::string& name, const Source& source, int zIndex,
               float x, float y, int alpha, float width, float height, bool audioEnabled,
               int audioGain) {
                return change(self, name, source, nullptr, [&] {
                    self->addLayer(name, source.get(), zIndex, x, y, alpha, width, height,
                                   audioEnabled, audioGain);
                });
            },
            outside(), py::arg("name"), py::arg("source"), py::arg("zIndex") = 0,
            py::arg("x") = 0.0F, py::arg("y") = 0.0F, py::arg("alpha") = 255,
            py::arg("width") = -1.0F, py::arg("height") = -1.0F, py::arg("audioEnabled") = false,
            py::arg("audioGain") = 100,
            "Adds a layer, or changes the one of that name; keeps its source alive. `source` may "
            "be None.")
        .def(
            "addLayer",
            [](const Mixer& self, const std::string& name, const Source& source, int zIndex,
               float x, float y, int alpha, float width, float height, float cropTop,
               float cropBottom, float cropLeft, float cropRight, int borderThickness,
               const std::string& borderColor, bool audioEnabled, int audioGain) {
                return change(self, name, source, nullptr, [&] {
                    self->addLayer(name, source.get(), zIndex, x, y, alpha, width, height, cropTop,
                                   cropBottom, cropLeft, cropRight, borderThickness, borderColor,
                                   audioEnabled, audioGain);
                });
            },
            outside(), py::arg("name"), py::arg("source"), py::arg("zIndex"), py::arg("x"),
            py::arg("y"), py::arg("alpha"), py::arg("width"), py::arg("height"), py::arg("cropTop"),
            py::arg("cropBottom"), py::arg("cropLeft"), py::arg("cropRight"),
            py::arg("borderThickness"), py::arg("borderColor"), py::arg("audioEnabled"),
            py::arg("audioGain"), "The same with crop and border. `source` may be None.")
        .def("addDSK", &addDSK, outside(), py::arg("name"), py::arg("fillSource"),
             py::arg("keySource"), py::arg("zIndex") = 0, py::arg("x") = 0.0F, py::arg("y") = 0.0F,
             py::arg("alpha") = 255, py::arg("width") = -1.0F, py::arg("height") = -1.0F,
             "Adds or changes a downstream key; keeps both sources alive. `fillSource` and "
             "`keySource` may be None.")
        .def(
            "addImage",
            [](const Mixer& self, const std::string& name, const Path& path, int zIndex, float x,
               float y, int alpha, float width, float height, float cropTop, float cropBottom,
               float cropLeft, float cropRight, int borderThickness,
               const std::string& borderColor) {
                return change(self, name, nullptr, nullptr, [&] {
                    self->addImage(name, path.string(), zIndex, x, y, alpha, width, height, cropTop,
                                   cropBottom, cropLeft, cropRight, borderThickness, borderColor);
                });
            },
            outside(), py::arg("name"), py::arg("path"), py::arg("zIndex") = 0, py::arg("x") = 0.0F,
            py::arg("y") = 0.0F, py::arg("alpha") = 255, py::arg("width") = -1.0F,
            py::arg("height") = -1.0F, py::arg("cropTop") = 0.0F, py::arg("cropBottom") = 0.0F,
            py::arg("cropLeft") = 0.0F, py::arg("cropRight") = 0.0F, py::arg("borderThickness") = 0,
            py::arg("borderColor") = "#FFFFFF",
            "Adds a still image, or replaces the layer of that name by one.")
        .def("removeLayer", &removeLayer, outside(), py::arg("name"), "Takes a layer away.");
}

void bindAccess(MixerClass& mixer) {
    mixer.def("getLayer", &layerAt, py::arg("name"), "None for an unknown name.")
        .def("getLayerCount", &LMixer::getLayerCount, outside(), "Layers, visible or not.")
        .def("getLayerByIndex", &layerByIndex, py::arg("index"),
             "By name, from 0; None out of range.")
        .def("editLayer", &editLayer, py::arg("name"), py::arg("edit"),
             "Calls edit(layer) while no picture is in the making, so that several fields change "
             "with one picture. False for an unknown name. It must be quick and call nothing else "
             "of the library: RuntimeError.")
        .def("setLayerBorderRadius", &LMixer::setLayerBorderRadius, outside(), py::arg("name"),
             py::arg("radius"), "Radius of the corners, percent of the smaller side.")
        .def("ensureRunning", &LMixer::ensureRunning, outside(),
             "Starts the thread unless it runs.");
}

} // namespace

void bindMixer(py::module_& module) {
    bindLayer(module);
    MixerClass mixer(module, "LMixer",
                     "Composes named layers into one picture and one block of sound a tick.");
    py::enum_<LMixer::Renderer>(mixer, "Renderer", "What makes the pictures.")
        .value("automatic", LMixer::Renderer::automatic)
        .value("processor", LMixer::Renderer::processor)
        .value("graphics", LMixer::Renderer::graphics);
    mixer.def(py::init([](LMixer::Renderer renderer) { return make<LMixer>(renderer); }),
              py::arg("renderer") = LMixer::Renderer::automatic);
    bindLayers(mixer);
    bindAccess(mixer);
    bindVideoFormat<outside>(mixer);
    bindAudioFormat<outside>(mixer);
}

} // namespace quolpy

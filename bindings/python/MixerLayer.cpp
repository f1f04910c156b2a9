#include "MixerLayer.h"

#include "Gate.h"

namespace quolpy {

void MixerLayer::access(const std::function<void(LLayerItem&)>& use) {
    if (direct != nullptr) {
        use(*direct);
        return;
    }
    bool found = false;
    if (mixer) {
        const Outside outside;
        found = mixer->editLayer(layerName, use);
    }
    if (found) return;
    PyErr_SetString(PyExc_ReferenceError, ("no layer " + layerName + " any more").c_str());
    throw py::error_already_set();
}

} // namespace quolpy

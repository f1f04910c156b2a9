// A layer of a mixer, as Python holds it.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "quolsdk/LMixer.h"

namespace quolpy {

// Names a layer and looks it up for each access, so that one that was removed raises instead of
// being read. Inside LMixer.editLayer it is the layer itself.
class MixerLayer {
public:
    MixerLayer(std::shared_ptr<LMixer> mixer, std::string name)
        : mixer(std::move(mixer)), layerName(std::move(name)) {}
    // Good until `end`; used with the interpreter lock held, as `end` is.
    explicit MixerLayer(LLayerItem& item) : layerName(item.name), direct(&item) {}

    void end() { direct = nullptr; }
    const std::string& name() const { return layerName; }

    // Calls `use` with the layer while no picture is in the making. Raises ReferenceError when
    // there is none of that name any more.
    void access(const std::function<void(LLayerItem&)>& use);

private:
    std::shared_ptr<LMixer> mixer;
    std::string layerName;
    LLayerItem* direct = nullptr;
};

} // namespace quolpy

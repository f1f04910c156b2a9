#include "compositing/SwitcherScene.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "core/ModeTables.h"

namespace quol {

namespace {

constexpr std::uint32_t initialMode = 4; // 1280x720 at 50

} // namespace

SwitcherScene::SwitcherScene() {
    for (auto& layer : layers)
        layer = std::make_unique<SwitcherLayer>();
    videoFormat.mode = initialMode;
    expandVideoFormat(videoFormat);
}

void SwitcherScene::swapLayers() {
    std::swap(layers[0], layers[1]);
}

void SwitcherScene::setPosition(float newPosition) {
    if (!std::isnan(newPosition)) position = std::clamp(newPosition, 0.0F, 1.0F);
}

void SwitcherScene::updateVolumes() {
    const auto g = static_cast<float>(programGain);
    const auto h = static_cast<float>(previewGain);
    if (transitionType == "stinger") {
        volumes = {g / 100.0F, h / 100.0F};
        if (programIndex() == 1) std::swap(volumes[0], volumes[1]);
    } else {
        const float p = position;
        volumes = {(g * (1.0F - p) + h * p) / 100.0F, (g * p + h * (1.0F - p)) / 100.0F};
    }
}

} // namespace quol

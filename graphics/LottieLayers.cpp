#include "graphics/LottieLayers.h"

#include <utility>

#include "core/HadMemory.h"
#include "graphics/LottieText.h"

namespace quol {

LottieLayers::LottieLayers(Canvas canvas) : canvas_(std::move(canvas)) {}

LottieLayers::~LottieLayers() {
    canvas_({});
}

LottieLayer* LottieLayers::find(int id) {
    const auto found = layers_.find(id);
    return found != layers_.end() ? &found->second : nullptr;
}

bool LottieLayers::load(int id, std::string json, const std::string& path,
                        const LottieMarkers& markers) {
    LottieLayer& layer = layers_[id];
    layer.json = std::move(json);
    layer.drawable.reset();
    layer.path = path;
    std::unique_ptr<LottieTemplate> loaded = read(layer, "");
    if (!loaded) return false;
    LottiePlayhead& playhead = layer.playhead;
    playhead.markers = markers;
    playhead.currentFrame = markers.in >= 0 ? static_cast<float>(markers.in) : 0.0F;
    playhead.playing = true;
    playhead.exiting = false;
    show(layer, std::move(loaded));
    return true;
}

bool LottieLayers::reload(LottieLayer& layer) {
    std::unique_ptr<LottieTemplate> loaded = read(layer, resourceFolderOf(layer.path));
    if (!loaded) return false;
    loaded->showFrame(layer.playhead.currentFrame);
    show(layer, std::move(loaded));
    return true;
}

// Null for a text that cannot be drawn.
std::unique_ptr<LottieTemplate> LottieLayers::read(LottieLayer& layer,
                                                   const std::string& resourceFolder) {
    if (!layer.drawable) layer.drawable = DrawableTemplate::of(layer.json);
    return layer.drawable ? LottieTemplate::load(*layer.drawable, resourceFolder) : nullptr;
}

// Puts a template in the place of that of a layer.
void LottieLayers::show(LottieLayer& layer, std::unique_ptr<LottieTemplate> loaded) {
    setLength(layer.playhead, loaded->totalFrames(), loaded->duration());
    layer.animation.swap(loaded);
    rebuildCanvas(); // before the old one goes
}

void LottieLayers::remove(int id) {
    const auto gone = layers_.extract(id);
    if (gone) rebuildCanvas(); // before the template goes
}

void LottieLayers::step(double loopFps) {
    std::map<int, LottieLayer> gone;
    for (auto entry = layers_.begin(); entry != layers_.end();) {
        LottieLayer& layer = entry->second;
        bool stays = true;
        if (layer.animation && layer.playhead.playing) {
            // Without memory for it a layer stands for a step, and the others go on.
            hadMemory([&layer] { layer.animation->showFrame(layer.playhead.currentFrame); });
            stays = quol::step(layer.playhead, loopFps);
        }
        const auto here = entry++;
        if (!stays) gone.insert(layers_.extract(here));
    }
    if (!gone.empty() || !isCanvasWhole_) rebuildCanvas(); // before they go
}

// Where memory or a thread is wanting nothing stays on the canvas, least of all what is about to
// go.
void LottieLayers::rebuildCanvas() {
    isCanvasWhole_ = false;
    hadMemory([this] {
        std::vector<LottieTemplate*> templates;
        for (auto& [id, layer] : layers_) {
            if (layer.animation) templates.push_back(layer.animation.get());
        }
        isCanvasWhole_ = canvas_(templates);
    });
    if (!isCanvasWhole_) canvas_({});
}

} // namespace quol

// The numbered layers of a player of templates, and what of them lies on its canvas.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "graphics/LottieCheck.h"
#include "graphics/LottieEngine.h"
#include "graphics/LottiePlayhead.h"

namespace quol {

struct LottieLayer {
    std::unique_ptr<LottieTemplate> animation; // null where none could be loaded
    std::string json;
    // What of it is drawn; nothing while that is not known, or where nothing can be drawn.
    std::optional<DrawableTemplate> drawable;
    std::string path;
    LottiePlayhead playhead;
};

// Any thread, one at a time. A template leaves the canvas before it goes.
class LottieLayers {
public:
    // Puts these on the canvas and takes everything else off, the first at the bottom. False where
    // none of them lies there now.
    using Canvas = std::function<bool(const std::vector<LottieTemplate*>& templates)>;

    explicit LottieLayers(Canvas canvas);
    LottieLayers(const LottieLayers&) = delete;
    LottieLayers& operator=(const LottieLayers&) = delete;
    ~LottieLayers();

    LottieLayer* find(int id); // null for none

    // Puts the text of the file at `path` into a layer, in place of what is there, and plays it.
    // Where it cannot be drawn, false: the layer has the text then, and the picture as before.
    bool load(int id, std::string json, const std::string& path, const LottieMarkers& markers);

    // Draws the text of a layer from now on. Where it cannot be drawn, false, and the picture as
    // before.
    bool reload(LottieLayer& layer);

    void remove(int id);

    // Moves every layer on by one picture of a loop that makes `loopFps` of them a second; those
    // that have left are gone. Where the canvas is not whole it is tried again.
    void step(double loopFps);

    // False where memory or a thread was wanting: there is nothing to draw then.
    bool isCanvasWhole() const { return isCanvasWhole_; }

private:
    std::unique_ptr<LottieTemplate> read(LottieLayer& layer, const std::string& resourceFolder);
    void show(LottieLayer& layer, std::unique_ptr<LottieTemplate> loaded);
    void rebuildCanvas();

    const Canvas canvas_;
    std::map<int, LottieLayer> layers_; // by id: the order of drawing
    bool isCanvasWhole_ = true;         // all that `layers_` hold lies on it
};

} // namespace quol

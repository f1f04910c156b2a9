// What a mixer keeps with a layer beside the fields a host sees. All of it is guarded by the
// mixer's layer lock.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "compositing/MixerSink.h"
#include "core/Handles.h"
#include "core/ScaledPicture.h"

namespace quol {

// OpenGL texture names, 0 until first used. Made, used and deleted on the render thread.
struct LayerTextures {
    unsigned int y = 0;
    unsigned int u = 0;
    unsigned int v = 0;
    unsigned int a = 0;
    unsigned int key = 0;
};

// One source of a layer.
struct LayerFeed {
    std::unique_ptr<MixerSink> sink; // attached to the source; null for an image
    FramePtr lastFrame;              // the last picture that came; of an image, the image
    ScaledPicture scaled;            // of `lastFrame`, as the renderer needs it
};

struct LayerState {
    LayerFeed picture;
    LayerFeed key; // of a downstream key
    LayerTextures textures;
};

// Sinks that a layer has given up and that are still attached. They are detached and ended when
// this goes, outside the layer lock: detaching waits for the source's distribution, and a slow one
// must not hold up the picture.
class DetachedSinks {
public:
    DetachedSinks() = default;
    DetachedSinks(const DetachedSinks&) = delete;
    DetachedSinks& operator=(const DetachedSinks&) = delete;
    ~DetachedSinks() { release(); }

    void add(LObject* source, std::unique_ptr<MixerSink> sink);
    void release();

private:
    std::vector<std::pair<LObject*, std::unique_ptr<MixerSink>>> sinks_;
};

} // namespace quol

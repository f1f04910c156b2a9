// What a mixer keeps with a layer beside the fields a host sees. All of it is guarded by the
// mixer's layer lock.
#pragma once

#include <memory>

#include "compositing/DetachedSinks.h"
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

} // namespace quol

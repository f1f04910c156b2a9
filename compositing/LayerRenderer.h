// What turns the layers of a tick into a picture.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "compositing/LayerLook.h"
#include "compositing/LayerState.h"
#include "core/Handles.h"

namespace quol {

struct Canvas {
    int width = 0;
    int height = 0;
    AVPixelFormat format = AV_PIX_FMT_NONE;
};

// Format of the canvas for a `pixelFormat` value; none for values without one.
AVPixelFormat canvasFormat(std::int32_t pixelFormat);

// A layer with something to show.
struct RenderedLayer {
    LayerLook look;
    const AVFrame* picture = nullptr; // never null
    const AVFrame* key = nullptr;     // of a downstream key; null while it has none
    LayerState* state = nullptr;      // the renderer's own caches of this layer
};

// All calls on one thread, that which made it.
class LayerRenderer {
public:
    LayerRenderer() = default;
    LayerRenderer(const LayerRenderer&) = delete;
    LayerRenderer& operator=(const LayerRenderer&) = delete;
    virtual ~LayerRenderer() = default;

    // Paints the layers, the first at the bottom. Null for a canvas that nobody can make. The
    // picture may share its memory with that of a layer.
    virtual FramePtr render(const Canvas& canvas, const std::vector<RenderedLayer>& layers) = 0;

    // Textures of layers: named by those that are gone, or held by one that stays.
    virtual void deleteTextures(const std::vector<unsigned int>& names);
    virtual void deleteTextures(LayerTextures& textures);
};

std::unique_ptr<LayerRenderer> makeProcessorRenderer();

// Which drivers a graphics renderer may use.
enum class GraphicsDriver { hardware, any };

// Null without OpenGL.
std::unique_ptr<LayerRenderer> makeGraphicsRenderer(GraphicsDriver driver);

} // namespace quol

#include "compositing/LayerRenderer.h"

#include "core/PixelFormats.h"

namespace quol {

AVPixelFormat canvasFormat(std::int32_t pixelFormat) {
    return pixelFormat == 0 ? AV_PIX_FMT_RGBA : pixelFormatOfCode(pixelFormat);
}

void LayerRenderer::deleteTextures(const std::vector<unsigned int>& /*names*/) {}

void LayerRenderer::deleteTextures(LayerTextures& /*textures*/) {}

} // namespace quol

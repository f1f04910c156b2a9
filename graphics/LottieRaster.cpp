#include "graphics/LottieRaster.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/MappedPicture.h"
#include "graphics/LottieEngine.h"

namespace quol {

LottieRaster::LottieRaster(int width, int height)
    : drawn_(makeMappedPicture(width, height, AV_PIX_FMT_BGRA)) {}

void LottieRaster::draw(LottieCanvas& canvas) {
    if (!drawn_) return;
    const int stride = drawn_->linesize[0];
    std::memset(drawn_->data[0], 0, static_cast<std::size_t>(stride) * drawn_->height);
    canvas.draw(reinterpret_cast<std::uint32_t*>(drawn_->data[0]),
                {drawn_->width, drawn_->height, stride / 4});
}

FramePtr LottieRaster::picture() {
    if (!drawn_) return nullptr;
    FramePtr picture = pool_.get(drawn_->width, drawn_->height, AV_PIX_FMT_YUVA420P);
    if (picture) converter_.convert(*drawn_, *picture, {0, 0, drawn_->width, drawn_->height});
    return picture;
}

} // namespace quol

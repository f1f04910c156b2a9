#include "graphics/LottieRaster.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/MappedPicture.h"
#include "graphics/LottieEngine.h"

namespace quol {

LottieRaster::LottieRaster(int width, int height)
    : width_(width), height_(height), drawn_(makeMappedPicture(width, height, AV_PIX_FMT_BGRA)) {}

void LottieRaster::draw(LottieCanvas& canvas) {
    if (!drawn_) return;
    const int stride = drawn_->linesize[0];
    std::memset(drawn_->data[0], 0, static_cast<std::size_t>(stride) * height_);
    canvas.draw(reinterpret_cast<std::uint32_t*>(drawn_->data[0]), {width_, height_, stride / 4});
}

FramePtr LottieRaster::picture() {
    FramePtr picture = drawn_ ? pool_.get(width_, height_, AV_PIX_FMT_YUVA420P) : nullptr;
    if (picture) converter_.convert(*drawn_, *picture, {0, 0, width_, height_});
    return picture;
}

} // namespace quol

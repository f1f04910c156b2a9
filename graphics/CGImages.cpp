#include "graphics/CGImages.h"

#include <cstdint>
#include <limits>
#include <map>
#include <mutex>
#include <string_view>

#include "core/MediaInput.h"
#include "core/PlainFile.h"
#include "core/Scaler.h"

namespace quol {

namespace {

constexpr std::string_view pngEnding = ".png";

// Cairo's own reader takes files of that very ending.
bool isNamedPng(const std::string& path) {
    return path.size() > pngEnding.size() &&
           path.compare(path.size() - pngEnding.size(), pngEnding.size(), pngEnding) == 0;
}

SurfacePtr readPng(const std::string& path) {
    SurfacePtr surface(cairo_image_surface_create_from_png(path.c_str()));
    return cairo_surface_status(surface.get()) == CAIRO_STATUS_SUCCESS ? std::move(surface)
                                                                       : nullptr;
}

SurfacePtr decodeImage(const std::string& path) {
    const FramePtr frame =
        decodeFirstPicture(path, std::numeric_limits<int>::max(), StreamChoice::first);
    if (!frame) return nullptr;
    SurfacePtr surface = makeSurface(frame->width, frame->height);
    if (!surface) return nullptr;
    cairo_surface_flush(surface.get());
    std::uint8_t* const pixels = cairo_image_surface_get_data(surface.get());
    const int stride = cairo_image_surface_get_stride(surface.get());
    Scaler scaler;
    const ScalerKey key{frame->width,  frame->height,   frame->format, frame->width,
                        frame->height, AV_PIX_FMT_BGRA, SWS_BILINEAR};
    std::uint8_t* const planes[4] = {pixels, nullptr, nullptr, nullptr};
    const int strides[4] = {stride, 0, 0, 0};
    if (!scaler.prepare(key) || !scaler.run(*frame, planes, strides)) return nullptr;
    premultiply(pixels, frame->width, frame->height, stride);
    cairo_surface_mark_dirty(surface.get());
    return surface;
}

} // namespace

void premultiply(std::uint8_t* pixels, int width, int height, int stride) {
    for (int row = 0; row < height; ++row) {
        std::uint8_t* pixel = pixels + static_cast<std::ptrdiff_t>(row) * stride;
        for (int column = 0; column < width; ++column, pixel += 4) {
            const unsigned alpha = pixel[3];
            if (alpha == 255) continue;
            for (int i = 0; i < 3; ++i)
                pixel[i] = static_cast<std::uint8_t>(pixel[i] * alpha / 255);
        }
    }
}

namespace {

// Left to the end of the process: surfaces may still be in use in threads that end behind it.
struct ImageCache {
    std::mutex mutex; // guards `surfaces`; held for moments only, no file is read under it
    std::map<std::string, SurfacePtr> surfaces;
};

ImageCache& imageCache() {
    static ImageCache& cache = *new ImageCache;
    return cache;
}

} // namespace

SurfacePtr loadImageSurface(const std::string& path) {
    if (path.empty()) return nullptr;
    ImageCache& cache = imageCache();
    {
        const std::lock_guard lock(cache.mutex);
        const auto known = cache.surfaces.find(path);
        if (known != cache.surfaces.end()) return share(known->second.get());
    }
    if (!isPlainFile(path)) return nullptr;
    SurfacePtr surface;
    if (isNamedPng(path)) surface = readPng(path);
    if (!surface) surface = decodeImage(path);
    if (!surface) return nullptr;
    const std::lock_guard lock(cache.mutex);
    SurfacePtr& entry = cache.surfaces[path]; // another thread may have read it meanwhile
    if (!entry) entry = std::move(surface);
    return share(entry.get());
}

} // namespace quol

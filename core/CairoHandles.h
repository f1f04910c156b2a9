// Owning handles for cairo's objects.
#pragma once

#include <cairo.h>

#include <memory>

namespace quol {

template <auto destroy>
struct CairoDeleter {
    template <typename T>
    void operator()(T* object) const noexcept {
        destroy(object);
    }
};

using SurfacePtr = std::unique_ptr<cairo_surface_t, CairoDeleter<cairo_surface_destroy>>;
using CairoPtr = std::unique_ptr<cairo_t, CairoDeleter<cairo_destroy>>;
using PatternPtr = std::unique_ptr<cairo_pattern_t, CairoDeleter<cairo_pattern_destroy>>;

// Another reference to a surface; null for null.
inline SurfacePtr share(cairo_surface_t* surface) {
    return SurfacePtr(surface != nullptr ? cairo_surface_reference(surface) : nullptr);
}

// Pixels; cairo knows no larger surfaces.
inline constexpr int longestSurfaceSide = 32767;

// A transparent picture in main memory; null for a size that there can be none of.
inline SurfacePtr makeSurface(int width, int height) {
    SurfacePtr surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height));
    return cairo_surface_status(surface.get()) == CAIRO_STATUS_SUCCESS ? std::move(surface)
                                                                       : nullptr;
}

// Saves the state of a context, and brings it back.
class SavedState {
public:
    explicit SavedState(cairo_t* cr) : cr_(cr) { cairo_save(cr); }
    SavedState(const SavedState&) = delete;
    SavedState& operator=(const SavedState&) = delete;
    ~SavedState() { cairo_restore(cr_); }

private:
    cairo_t* cr_;
};

} // namespace quol

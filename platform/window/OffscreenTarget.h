// Where pictures go that were drawn without a window.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/window/PreviewSurface.h"

namespace quol {

// A place in a window that somebody else paints. Called on the thread of its surface, `close` on
// that which ends the surface.
class OffscreenTarget {
public:
    virtual ~OffscreenTarget() = default;

    virtual SurfaceSize size() = 0; // of the place now; 0 while it is not known
    virtual bool isGone() = 0;
    // A picture of that size: RGBA, opaque, the top row first, without padding. The memory may be
    // exchanged for any other.
    virtual void show(std::vector<std::uint8_t>& rgba, const SurfaceSize& size) = 0;
    virtual void close() = 0; // no picture comes any more; the place is given back
};

} // namespace quol

// The scene as a picture, drawn and converted only where it has changed.
#pragma once

#include <memory>
#include <vector>

#include "core/CairoHandles.h"
#include "core/Handles.h"
#include "graphics/CGTags.h"
#include "graphics/ItemPicture.h"
#include "graphics/OutputFrames.h"
#include "graphics/PixelRect.h"
#include "graphics/VideoConverter.h"

namespace quol {

// A picture that was handed out is never written to again: a changed scene goes into another one,
// which is brought up to date from the one before. One thread at a time.
class SceneRenderer {
public:
    SceneRenderer(int width, int height);

    // Moves all items on by one picture and draws what has changed since the last call. Raises
    // std::bad_alloc where memory is short: what was to be drawn is drawn by the next call.
    void render(const std::vector<std::unique_ptr<LCGItem>>& items, const TagTime& now);

    // What an item that is about to go has left on the picture has to be drawn anew.
    void forget(const LCGItem& item);

    // The picture as it stands; planar 4:2:0 with alpha, colours premultiplied. Transparent before
    // the first `render`. Null when memory is short.
    FramePtr frame() const { return cloneFrame(frames_.current()); }

private:
    void makeContext();
    void tellItems(const std::vector<std::unique_ptr<LCGItem>>& items, const TagTime& now);
    std::vector<PixelRect> rectsToDraw(const std::vector<std::unique_ptr<LCGItem>>& items) const;
    void draw(const std::vector<std::unique_ptr<LCGItem>>& items);
    void drawRect(const std::vector<std::unique_ptr<LCGItem>>& items, const PixelRect& rect);
    void convert();
    FramePtr ink() const;

    const PixelRect canvas_;
    TagClock tags_;
    SurfacePtr surface_;
    CairoPtr cr_;
    DirtyRegion dirty_;
    bool lost_ = false; // the picture on the surface: all of it has to be drawn at the next call

    OutputFrames frames_; // the current one holds what the surface does
    VideoConverter converter_;
};

} // namespace quol

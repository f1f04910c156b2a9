#include "graphics/SceneRenderer.h"

#include <algorithm>
#include <new>
#include <utility>

namespace quol {

namespace {

// `rect` with even edges, those of the canvas being even. A chroma sample looks at a row above and
// below its own, and what is dirty is wider than what has changed: no more is needed.
PixelRect rounded(const PixelRect& rect) {
    return {rect.left / 2 * 2, rect.top / 2 * 2, (rect.right + 1) / 2 * 2,
            (rect.bottom + 1) / 2 * 2};
}

// What has to be drawn for `rect` to come out as in the whole picture.
PixelRect widened(const std::vector<std::unique_ptr<LCGItem>>& items, PixelRect rect) {
    for (PixelRect before; before != rect;) {
        before = rect;
        for (const auto& item : items)
            rect = clipFor(item->memory->drawn, rect);
    }
    return rect;
}

} // namespace

SceneRenderer::SceneRenderer(int width, int height)
    : canvas_{0, 0, width, height}, dirty_(canvas_), frames_(canvas_) {
    makeContext();
    dirty_.add(canvas_);
    convert();
}

// A context that has met an error draws nothing any more, nor does any on a surface that has. With
// the surface goes what was on it.
void SceneRenderer::makeContext() {
    if (surface_ && cairo_surface_status(surface_.get()) != CAIRO_STATUS_SUCCESS) {
        surface_.reset();
        lost_ = true;
    }
    if (!surface_) surface_ = makeSurface(canvas_.width(), canvas_.height());
    if (surface_) cr_.reset(cairo_create(surface_.get()));
}

void SceneRenderer::forget(const LCGItem& item) {
    dirty_.add(item.memory->drawn.panelBounds);
    dirty_.add(item.memory->drawn.inkBounds);
}

void SceneRenderer::render(const std::vector<std::unique_ptr<LCGItem>>& items, const TagTime& now) {
    if (!cr_ || cairo_status(cr_.get()) != CAIRO_STATUS_SUCCESS) makeContext();
    if (!cr_) throw std::bad_alloc();
    if (std::exchange(lost_, false)) dirty_.add(canvas_);
    tellItems(items, now);
    if (dirty_.empty()) return;
    draw(items);
    if (std::exchange(lost_, false)) { // with the surface went what was drawn before
        dirty_.add(canvas_);
        draw(items);
    }
    convert();
}

void SceneRenderer::tellItems(const std::vector<std::unique_ptr<LCGItem>>& items,
                              const TagTime& now) {
    for (const auto& item : items) {
        ItemPicture& drawn = item->memory->drawn;
        // What could not be measured spoils nothing of the items behind it.
        if (cairo_status(cr_.get()) != CAIRO_STATUS_SUCCESS) makeContext();
        ItemPicture next = ItemTeller(cr_.get(), canvas_, tags_, now).tell(*item);
        if (!next.samePanel(drawn)) {
            dirty_.add(drawn.panelBounds);
            dirty_.add(next.panelBounds);
        }
        if (!next.sameInk(drawn)) {
            dirty_.add(drawn.inkBounds);
            dirty_.add(next.inkBounds);
        }
        drawn = std::move(next);
    }
}

// What is dirty, and what has to be drawn along with it. Rectangles that meet are joined, which may
// take more along in turn.
std::vector<PixelRect> SceneRenderer::rectsToDraw(
    const std::vector<std::unique_ptr<LCGItem>>& items) const {
    std::vector<PixelRect> rects = dirty_.rects();
    for (std::vector<PixelRect> before; before != rects;) {
        before = rects;
        DirtyRegion joined(canvas_);
        for (const PixelRect& rect : before)
            joined.add(widened(items, rect));
        rects = joined.rects();
    }
    return rects;
}

void SceneRenderer::draw(const std::vector<std::unique_ptr<LCGItem>>& items) {
    for (const PixelRect& rect : rectsToDraw(items))
        drawRect(items, rect);
    cairo_surface_flush(surface_.get());
}

void SceneRenderer::drawRect(const std::vector<std::unique_ptr<LCGItem>>& items,
                             const PixelRect& rect) {
    const auto clip = [&] {
        cairo_save(cr_.get());
        cairo_reset_clip(cr_.get()); // of a picture that was left in the middle
        cairo_new_path(cr_.get());
        cairo_rectangle(cr_.get(), rect.left, rect.top, rect.width(), rect.height());
        cairo_clip(cr_.get());
    };
    clip();
    cairo_set_operator(cr_.get(), CAIRO_OPERATOR_CLEAR);
    cairo_paint(cr_.get());
    cairo_set_operator(cr_.get(), CAIRO_OPERATOR_OVER);
    // Cairo rounds in another way on a surface that it knows to be blank, as a whole one is now.
    cairo_surface_mark_dirty(surface_.get());
    for (const auto& item : items) {
        const ItemPicture& drawn = item->memory->drawn;
        const PixelRect touched = around(drawn.panelBounds, drawn.inkBounds);
        if (!drawn.visible || intersection(touched, rect).empty()) continue;
        cairo_new_path(cr_.get());
        drawItem(cr_.get(), drawn, canvas_);
        if (cairo_status(cr_.get()) == CAIRO_STATUS_SUCCESS) continue;
        makeContext(); // the item cannot be drawn; those above it can
        clip();
    }
    cairo_restore(cr_.get());
}

void SceneRenderer::convert() {
    std::vector<PixelRect> parts;
    for (const PixelRect& rect : dirty_.rects())
        parts.push_back(rounded(rect));
    const FramePtr pixels = surface_ ? ink() : nullptr;
    AVFrame* const next = pixels ? frames_.next(parts) : nullptr;
    if (next == nullptr) throw std::bad_alloc(); // what is dirty stays so
    for (const PixelRect& part : parts)
        converter_.convert(*pixels, *next, part);
    frames_.makeCurrent();
    dirty_.clear();
}

// What is on the surface, as a picture that somebody else owns.
FramePtr SceneRenderer::ink() const {
    FramePtr pixels = makeFrame();
    if (!pixels) return nullptr;
    pixels->width = canvas_.width();
    pixels->height = canvas_.height();
    pixels->format = AV_PIX_FMT_BGRA;
    pixels->data[0] = cairo_image_surface_get_data(surface_.get());
    pixels->linesize[0] = cairo_image_surface_get_stride(surface_.get());
    return pixels;
}

} // namespace quol

#include "graphics/SceneRenderer.h"

#include <algorithm>
#include <utility>

#include "core/PicturePool.h"

namespace quol {

namespace {

// A chroma sample looks at rows and columns beside its own, so a part is converted with a margin;
// with this one it comes out as it would in the whole picture.
constexpr int margin = 4;
// Parts come in steps of this size: a scaler is made for each size.
constexpr int step = 16;

// `rect` with even edges, and as large as the next step where the canvas has room.
PixelRect rounded(const PixelRect& rect, const PixelRect& canvas) {
    const auto grown = [](int begin, int end, int limit) {
        const int length = std::min((end - begin + step - 1) / step * step, limit);
        return std::pair(std::min(begin, limit - length), length);
    };
    const auto [left, width] = grown(rect.left / 2 * 2, (rect.right + 1) / 2 * 2, canvas.right);
    const auto [top, height] = grown(rect.top / 2 * 2, (rect.bottom + 1) / 2 * 2, canvas.bottom);
    return {left / 2 * 2, top / 2 * 2, left / 2 * 2 + width, top / 2 * 2 + height};
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
    if (!cr_) return;
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
        parts.push_back(rounded(rect, canvas_));
    AVFrame* const next = surface_ ? frames_.next(parts) : nullptr;
    if (next == nullptr) return; // what is dirty stays so
    for (const PixelRect& part : parts) {
        if (!convertRect(part, *next)) return;
    }
    frames_.makeCurrent();
    dirty_.clear();
}

SceneRenderer::Converter& SceneRenderer::converterOf(int width, int height) {
    const std::int64_t most = std::int64_t{2} * canvas_.width() * canvas_.height();
    const std::int64_t pixels = std::int64_t{width} * height;
    if (converters_.count({width, height}) == 0) {
        if (converterPixels_ + pixels > most) {
            converters_.clear();
            converterPixels_ = 0;
        }
        converterPixels_ += pixels;
    }
    Converter& converter = converters_[{width, height}];
    if (!converter.piece) converter.piece = PicturePool().get(width, height, AV_PIX_FMT_YUVA420P);
    return converter;
}

bool SceneRenderer::convertRect(const PixelRect& rect, AVFrame& target) {
    const PixelRect source = intersection(
        {rect.left - margin, rect.top - margin, rect.right + margin, rect.bottom + margin},
        canvas_);
    Converter& converter = converterOf(source.width(), source.height());
    const FramePtr& piece = converter.piece;
    if (!piece) return false;
    const int stride = cairo_image_surface_get_stride(surface_.get());
    FramePtr pixels = makeFrame();
    if (!pixels) return false;
    pixels->width = source.width();
    pixels->height = source.height();
    pixels->format = AV_PIX_FMT_BGRA;
    pixels->data[0] = cairo_image_surface_get_data(surface_.get()) +
                      static_cast<std::ptrdiff_t>(source.top) * stride + source.left * 4;
    pixels->linesize[0] = stride;
    if (!converter.scaler.scale(*pixels, *piece, SWS_BILINEAR)) return false;
    copyPart(*piece, rect.left - source.left, rect.top - source.top, target, rect);
    return true;
}

} // namespace quol

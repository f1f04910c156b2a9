#include "graphics/CrawlInk.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#include "graphics/CGImages.h"
#include "graphics/CGText.h"

namespace quol {

namespace {

constexpr double entryGap = 10.0; // pixels below a line of a vertical crawl
constexpr int margin = 2;         // pixels beyond a tile, for sampling between its last ones
constexpr int tilePixels = 1 << 20;
constexpr double longestStrip = 1.0e9;

std::uint64_t nextSerial() {
    static std::atomic<std::uint64_t> last{0};
    return ++last;
}

} // namespace

CrawlStrip::CrawlStrip(cairo_t* cr, const LCGCrawlProps& props, const std::string& resolved,
                       int width, int height, bool loop)
    : text_(resolved),
      vertical_(props.textMove == "Vertical"),
      thickness_(vertical_ ? width : height),
      font_(props.font),
      fontSize_(props.fontSize),
      color_(props.color),
      separatorImage_(loadImageSurface(props.separatorImage)),
      tileLength_(std::clamp(tilePixels / std::max(1, thickness_), 64, 2048)),
      serial_(nextSerial()) {
    if (separatorImage_) {
        separatorScale_ = fontSize_ / cairo_image_surface_get_height(separatorImage_.get());
    }
    selectFont(cr, font_, fontSize_);
    layOut(cr, props, loop);
    const double whole = std::clamp(length_, 1.0, longestStrip);
    surfaceLength_ = static_cast<int>(whole);
}

void CrawlStrip::layOut(cairo_t* cr, const LCGCrawlProps& props, bool loop) {
    cairo_font_extents_t extents;
    cairo_font_extents(cr, &extents);
    const std::vector<std::string> entries = splitLines(text_, EmptyLines::drop);
    const double gap = separatorLength(cr, props);
    const double middle = (thickness_ + extents.ascent - extents.descent) * 0.5;
    double cursor = 0.0;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const double baseline = vertical_ ? cursor + extents.ascent : middle;
        addText(cr, entries[i], props.letterSpacing, vertical_ ? 0.0 : cursor, baseline);
        cursor +=
            vertical_ ? fontSize_ + entryGap : measureLine(cr, entries[i], props.letterSpacing);
        if (i + 1 == entries.size() && !loop) break;
        addSeparator(cr, props, cursor, middle, extents.ascent);
        cursor += gap;
    }
    length_ = std::isnan(cursor) ? 0.0 : cursor; // a spacing may be no number
}

double CrawlStrip::separatorLength(cairo_t* cr, const LCGCrawlProps& props) const {
    if (vertical_) return props.separatorPadding + fontSize_;
    const double content =
        separatorImage_ ? cairo_image_surface_get_width(separatorImage_.get()) * separatorScale_
                        : advanceOf(cr, props.textSeparator);
    return props.separatorPadding * 2.0 + content;
}

void CrawlStrip::addSeparator(cairo_t* cr, const LCGCrawlProps& props, double cursor,
                              double baseline, double ascent) {
    if (separatorImage_) {
        runs_.emplace_back(
            vertical_ ? Picture{0.0, cursor}
                      : Picture{props.separatorPadding + cursor, (thickness_ - fontSize_) * 0.5});
        return;
    }
    addText(cr, props.textSeparator, props.letterSpacing,
            vertical_ ? 0.0 : props.separatorPadding + cursor,
            vertical_ ? cursor + ascent : baseline);
}

void CrawlStrip::addText(cairo_t* cr, const std::string& line, double spacing, double x,
                         double baseline) {
    std::vector<Letter> run;
    double pen = x;
    for (std::string& piece : splitUtf8(line)) {
        const double advance = advanceOf(cr, piece);
        if (isValidUtf8(piece)) run.push_back({std::move(piece), pen, baseline});
        pen += spacing + advance;
    }
    runs_.emplace_back(std::move(run));
}

int CrawlStrip::tileCount() const {
    return (surfaceLength_ + tileLength_ - 1) / tileLength_;
}

cairo_surface_t* CrawlStrip::tile(int index) {
    SurfacePtr& surface = tiles_[index];
    if (!surface) surface = drawTile(index);
    return surface.get();
}

// One tile with its margins. What lies far from it is passed over; in a strip of thousands of
// letters nearly all do.
SurfacePtr CrawlStrip::drawTile(int index) const {
    const int begin = index * tileLength_ - margin;
    const int end = std::min((index + 1) * tileLength_, surfaceLength_) + margin;
    SurfacePtr surface =
        vertical_ ? makeSurface(thickness_, end - begin) : makeSurface(end - begin, thickness_);
    if (!surface) return nullptr;
    const CairoPtr cr(cairo_create(surface.get()));
    cairo_translate(cr.get(), vertical_ ? 0 : -begin, vertical_ ? -begin : 0);
    // Behind its end, as before its start, the strip has nothing, whatever hangs over.
    const double first = std::max(begin, 0);
    const double last = std::min(end, surfaceLength_);
    cairo_rectangle(cr.get(), vertical_ ? 0.0 : first, vertical_ ? first : 0.0,
                    vertical_ ? thickness_ : last - first, vertical_ ? last - first : thickness_);
    cairo_clip(cr.get());
    selectFont(cr.get(), font_, fontSize_);
    for (const Run& run : runs_) {
        if (const auto* letters = std::get_if<std::vector<Letter>>(&run)) {
            drawLetters(cr.get(), *letters, begin, end);
        } else {
            drawPicture(cr.get(), std::get<Picture>(run), begin, end);
        }
    }
    return surface;
}

void CrawlStrip::drawLetters(cairo_t* cr, const std::vector<Letter>& letters, double from,
                             double to) const {
    const double reach = 4.0 * std::abs(fontSize_) + 16.0;
    cairo_set_source_rgba(cr, color_.red(), color_.green(), color_.blue(), color_.alpha());
    for (const Letter& letter : letters) {
        const double place = vertical_ ? letter.baseline : letter.x;
        if (place < from - reach || place > to + reach) continue;
        cairo_move_to(cr, letter.x, letter.baseline);
        cairo_text_path(cr, letter.text.c_str());
    }
    cairo_fill(cr);
}

void CrawlStrip::drawPicture(cairo_t* cr, const Picture& picture, double from, double to) const {
    constexpr double smoothing = 2.0; // pixels beyond the edge of a scaled image
    cairo_surface_t* const image = separatorImage_.get();
    const int side =
        vertical_ ? cairo_image_surface_get_height(image) : cairo_image_surface_get_width(image);
    const double begin = vertical_ ? picture.y : picture.x;
    const double end = begin + side * separatorScale_;
    const double reach = smoothing + 2.0 * std::abs(separatorScale_);
    if (std::max(begin, end) < from - reach || std::min(begin, end) > to + reach) return;
    const SavedState saved(cr);
    cairo_translate(cr, picture.x, picture.y);
    cairo_scale(cr, separatorScale_, separatorScale_);
    cairo_set_source_surface(cr, image, 0.0, 0.0);
    cairo_paint(cr);
}

void CrawlStrip::dropTilesOutside(int first, int last) {
    std::erase_if(tiles_,
                  [&](const auto& entry) { return entry.first < first || entry.first > last; });
}

void CrawlStrip::paint(cairo_t* cr, double x, double y, const PixelRect& visible, double opacity) {
    const double start = vertical_ ? y : x;
    if (!std::isfinite(x + y) || thickness_ < 1 || thickness_ > longestSurfaceSide) return;
    const int near = vertical_ ? visible.top : visible.left;
    const int far = vertical_ ? visible.bottom : visible.right;
    const auto tileAt = [&](double place) {
        const double index = std::floor((place - start) / tileLength_);
        return static_cast<int>(std::clamp<double>(index, 0.0, tileCount() - 1));
    };
    if (start > far + 1 || start + surfaceLength_ < near - 1) {
        tiles_.clear();
        return;
    }
    const int first = tileAt(near - 2.0);
    const int last = tileAt(far + 2.0);
    dropTilesOutside(first, last);
    for (int index = first; index <= last; ++index) {
        cairo_surface_t* const surface = tile(index);
        if (surface == nullptr) continue;
        // Each pixel is taken from one tile: they part at whole pixels of the picture.
        const double tileStart = start + static_cast<double>(index) * tileLength_;
        const double from = index == 0 ? std::floor(tileStart) - 1.0 : std::ceil(tileStart);
        const double to = index == tileCount() - 1 ? std::ceil(start + surfaceLength_) + 1.0
                                                   : std::ceil(tileStart + tileLength_);
        const SavedState saved(cr);
        cairo_new_path(cr);
        if (vertical_) {
            cairo_rectangle(cr, visible.left, from, visible.width(), to - from);
        } else {
            cairo_rectangle(cr, from, visible.top, to - from, visible.height());
        }
        cairo_clip(cr);
        cairo_set_source_surface(cr, surface, vertical_ ? x : tileStart - margin,
                                 vertical_ ? tileStart - margin : y);
        cairo_paint_with_alpha(cr, opacity);
    }
}

float movedScroll(float at, float speed, float start, float size, double length) {
    const float moved = at + speed;
    if (speed < 0.0F && moved < start - length) return start + size;
    if (speed > 0.0F && moved > start + size) return static_cast<float>(start - length);
    return moved;
}

void drawInk(cairo_t* cr, const CrawlInk& ink, const PixelRect& visible) {
    const SavedState saved(cr);
    clipToInside(cr, ink.box, ink.padding);
    const PixelRect part = intersection(inkBounds(ink, visible), visible);
    if (ink.strip != nullptr && !part.empty())
        ink.strip->paint(cr, ink.x, ink.y, part, ink.opacity);
}

PixelRect inkBounds(const CrawlInk& ink, const PixelRect& bounds) {
    return insideBounds(ink.box, ink.padding, bounds);
}

} // namespace quol

// What an item shows in one picture, as plain values that two pictures can be compared by.
#pragma once

#include <memory>
#include <string>
#include <variant>

#include "graphics/CGPanel.h"
#include "graphics/CGTags.h"
#include "graphics/CrawlInk.h"
#include "graphics/PictureInk.h"
#include "graphics/TextInk.h"
#include "graphics/TickerInk.h"
#include "quolsdk/LCGItems.h"

namespace quol {

using ItemInk = std::variant<std::monostate, TextInk, CrawlInk, TickerInk, PictureInk>;

struct ItemPicture {
    bool visible = false;
    Box box;
    double alpha = 1.0;
    PanelLook panel;
    ItemInk ink;
    // What they touch of the picture.
    PixelRect panelBounds;
    PixelRect inkBounds;

    bool samePanel(const ItemPicture& other) const {
        return visible == other.visible && box == other.box && alpha == other.alpha &&
               panel == other.panel;
    }
    bool sameInk(const ItemPicture& other) const {
        return visible == other.visible && ink == other.ink;
    }
};

// The picture of an item as it was drawn last.
struct ItemMemory {
    ItemPicture drawn;
    std::string imagePath; // of an image item
    std::shared_ptr<cairo_surface_t> image;
};

// Moves an item on by one picture (drift, running text, slides, clips) and tells what it shows.
// `canvas` is the whole picture. Under the item mutex, on the render thread; `cr` measures.
class ItemTeller {
public:
    ItemTeller(cairo_t* cr, const PixelRect& canvas, TagClock& tags, const TagTime& now)
        : cr_(cr), canvas_(canvas), tags_(tags), now_(now) {}

    // `item.memory` holds what was drawn last: bounds of what is the same are not found again.
    ItemPicture tell(LCGItem& item);

private:
    bool drift(LCGItem& item) const;
    void tellCrawl(LCGCrawlItem& item, ItemPicture& picture);
    void tellText(LCGTextItem& item, ItemPicture& picture);
    void tellTicker(LCGTickerItem& item, ItemPicture& picture);
    void tellImage(LCGImageItem& item, ItemPicture& picture) const;
    void tellVideo(LCGVideoItem& item, ItemPicture& picture) const;
    void findBounds(ItemPicture& picture, const ItemPicture& drawn) const;

    cairo_t* cr_;
    const PixelRect canvas_;
    TagClock& tags_;
    const TagTime now_;
};

// `rect` with what of the item has to be drawn along with it: the columns that a clip leaves of a
// shape with slanted or round edges change how cairo smooths them. The rows do not, and upright
// rectangles and images may be cut anywhere.
PixelRect clipFor(const ItemPicture& picture, const PixelRect& rect);

// Draws an item; `canvas` is the whole picture, the clip of `cr` what is to be drawn of it.
void drawItem(cairo_t* cr, const ItemPicture& picture, const PixelRect& canvas);

} // namespace quol

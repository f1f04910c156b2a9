#include "graphics/ItemPicture.h"

#include <algorithm>

#include "graphics/CGImages.h"
#include "graphics/CGText.h"

namespace quol {

namespace {

template <typename... Visitors>
struct Overloaded : Visitors... {
    using Visitors::operator()...;
};
template <typename... Visitors>
Overloaded(Visitors...) -> Overloaded<Visitors...>;

bool isShown(const LCGItem& item) {
    return item.show && (item.group == nullptr || item.group->show);
}

} // namespace

// Moves a drifting item. False when it has left the picture for good.
bool ItemTeller::drift(LCGItem& item) const {
    const std::string way = item.moveType;
    const bool across = way == "Horizontal";
    const bool down = way == "Vertical";
    if (!across && !down) return true;
    const float speed = item.moveSpeed;
    if (across) item.x = item.x + speed;
    if (down) item.y = item.y + speed;
    const auto width = static_cast<float>(canvas_.width());
    const auto height = static_cast<float>(canvas_.height());
    const auto w = static_cast<float>(item.w);
    const auto h = static_cast<float>(item.h);
    const bool outside =
        item.x + w < 0.0F || item.x > width || item.y + h < 0.0F || item.y > height;
    if (!outside) return true;
    if (!item.moveLoop) {
        item.show = false;
        item.x = item.startX.load();
        item.y = item.startY.load();
        return false;
    }
    if (across) item.x = speed < 0.0F ? width : -w;
    if (down) item.y = speed < 0.0F ? height : -h;
    return true;
}

ItemPicture ItemTeller::tell(LCGItem& item) {
    ItemPicture picture;
    if (!isShown(item) || !drift(item)) return picture;
    picture.visible = true;
    picture.box = {item.x, item.y, static_cast<double>(item.w), static_cast<double>(item.h)};
    if (item.group != nullptr) {
        picture.box.x += item.group->x;
        picture.box.y += item.group->y;
    }
    picture.alpha = item.alpha;
    if (auto* crawl = dynamic_cast<LCGCrawlItem*>(&item)) {
        tellCrawl(*crawl, picture);
    } else if (auto* text = dynamic_cast<LCGTextItem*>(&item)) {
        tellText(*text, picture);
    } else if (auto* ticker = dynamic_cast<LCGTickerItem*>(&item)) {
        tellTicker(*ticker, picture);
    } else if (auto* image = dynamic_cast<LCGImageItem*>(&item)) {
        tellImage(*image, picture);
    } else if (auto* video = dynamic_cast<LCGVideoItem*>(&item)) {
        tellVideo(*video, picture);
    } else if (const auto* rect = dynamic_cast<LCGRectItem*>(&item)) {
        picture.panel = panelOf(rect->props);
    }
    findBounds(picture, item.memory->drawn);
    return picture;
}

void ItemTeller::tellText(LCGTextItem& item, ItemPicture& picture) {
    picture.panel = panelOf(item.props);
    picture.ink = textInk(cr_, picture.box, item.props,
                          tags_.resolve(item.id, item.props.text, now_), picture.alpha);
}

void ItemTeller::tellCrawl(LCGCrawlItem& item, ItemPicture& picture) {
    picture.panel = panelOf(item.props);
    const std::string resolved = tags_.resolve(item.id, item.props.text, now_);
    auto& strip = item.state->strip;
    if (!strip || strip->text() != resolved) {
        strip =
            std::make_unique<CrawlStrip>(cr_, item.props, resolved, item.w, item.h, item.moveLoop);
    }
    const bool vertical = item.props.textMove == "Vertical";
    const float speed = item.props.textSpeed;
    if (vertical) {
        item.scrollY =
            movedScroll(item.scrollY, speed, item.y, static_cast<float>(item.h), strip->length());
    } else {
        item.scrollX =
            movedScroll(item.scrollX, speed, item.x, static_cast<float>(item.w), strip->length());
    }
    const double groupX = item.group != nullptr ? static_cast<double>(item.group->x) : 0.0;
    const double groupY = item.group != nullptr ? static_cast<double>(item.group->y) : 0.0;
    CrawlInk ink;
    ink.strip = strip.get();
    ink.serial = strip->serial();
    ink.box = picture.box;
    ink.padding = item.props.padding;
    ink.x = item.scrollX + groupX;
    ink.y = vertical ? item.scrollY + groupY : picture.box.y;
    ink.opacity = item.props.textAlpha / 255.0 * picture.alpha;
    picture.ink = ink;
}

void ItemTeller::tellTicker(LCGTickerItem& item, ItemPicture& picture) {
    picture.panel = panelOf(item.props);
    const std::vector<std::string> lines =
        tickerLines(tags_.resolve(item.id, item.props.text, now_));
    item.state->advance(now_.count, item.props.textMoveDuration, static_cast<int>(lines.size()));
    picture.ink = tickerInk(picture.box, item.props, lines, *item.state, picture.alpha);
}

void ItemTeller::tellImage(LCGImageItem& item, ItemPicture& picture) const {
    PictureInk ink;
    ink.box = picture.box;
    ItemMemory& memory = *item.memory;
    if (!memory.image || memory.imagePath != item.props.path) {
        memory.imagePath = item.props.path;
        memory.image = {loadImageSurface(item.props.path).release(), cairo_surface_destroy};
    }
    ink.surface = memory.image;
    ink.opacity = picture.alpha;
    picture.ink = ink;
}

void ItemTeller::tellVideo(LCGVideoItem& item, ItemPicture& picture) const {
    PictureInk ink;
    ink.box = picture.box;
    ink.scaled = false;
    ink.surface = item.reader->next(item.w, item.h, item.moveLoop);
    ink.opacity = picture.alpha;
    picture.ink = ink;
}

void ItemTeller::findBounds(ItemPicture& picture, const ItemPicture& drawn) const {
    picture.panelBounds = picture.samePanel(drawn)
                              ? drawn.panelBounds
                              : panelBounds(picture.box, picture.panel, canvas_);
    if (picture.sameInk(drawn)) {
        picture.inkBounds = drawn.inkBounds;
        return;
    }
    picture.inkBounds =
        std::visit(Overloaded{[](const std::monostate&) { return PixelRect{}; },
                              [this](const TextInk& ink) { return inkBounds(cr_, ink, canvas_); },
                              [this](const auto& ink) { return inkBounds(ink, canvas_); }},
                   picture.ink);
}

PixelRect clipFor(const ItemPicture& picture, const PixelRect& rect) {
    PixelRect clip = rect;
    const auto takeColumns = [&](const PixelRect& part) {
        if (intersection(part, clip).empty()) return;
        clip.left = std::min(clip.left, part.left);
        clip.right = std::max(clip.right, part.right);
    };
    if (!picture.visible) return clip;
    if (picture.panel.radius > 0) takeColumns(picture.panelBounds);
    if (!std::holds_alternative<PictureInk>(picture.ink)) takeColumns(picture.inkBounds);
    return clip;
}

void drawItem(cairo_t* cr, const ItemPicture& picture, const PixelRect& canvas) {
    drawPanel(cr, picture.box, picture.panel, picture.alpha);
    std::visit(Overloaded{[](const std::monostate&) {},
                          [&](const CrawlInk& ink) { drawInk(cr, ink, canvas); },
                          [&](const auto& ink) { drawInk(cr, ink); }},
               picture.ink);
}

} // namespace quol

LCGItem::LCGItem() : memory(std::make_unique<quol::ItemMemory>()) {}
LCGItem::~LCGItem() = default;

LCGCrawlItem::LCGCrawlItem() : state(std::make_unique<quol::CrawlState>()) {}
LCGCrawlItem::~LCGCrawlItem() = default;

LCGTickerItem::LCGTickerItem() : state(std::make_unique<quol::TickerState>()) {}
LCGTickerItem::~LCGTickerItem() = default;

LCGVideoItem::LCGVideoItem() : reader(std::make_unique<quol::VideoItemReader>()) {}
LCGVideoItem::~LCGVideoItem() = default;

#include "quolsdk/LCharacter.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <fstream>
#include <set>
#include <sstream>
#include <utility>

#include "core/Clock.h"
#include "core/FairMutex.h"
#include "core/HadMemory.h"
#include "core/Log.h"
#include "core/PlainFile.h"
#include "graphics/CGImages.h"
#include "graphics/CGProject.h"
#include "graphics/ItemPicture.h"
#include "graphics/SceneRenderer.h"

namespace {

constexpr int pictureWidth = 1920;
constexpr int pictureHeight = 1080;
constexpr double defaultRate = 50.0;

// A size of 0 and below is the picture's own.
int sizeOr(int given, int otherwise) {
    return given > 0 ? given : otherwise;
}

quol::TagTime timeNow() {
    return {std::chrono::system_clock::now(), std::chrono::steady_clock::now()};
}

bool moves(const LCGItem& item) {
    const float speed = item.moveSpeed;
    return item.moveType != "None" && speed != 0.0F;
}

bool isAlwaysDrawn(const LCGItem& item) {
    if (moves(item)) return true;
    if (dynamic_cast<const LCGCrawlItem*>(&item) != nullptr ||
        dynamic_cast<const LCGTickerItem*>(&item) != nullptr ||
        dynamic_cast<const LCGVideoItem*>(&item) != nullptr)
        return true;
    const auto* text = dynamic_cast<const LCGTextItem*>(&item);
    return text != nullptr && text->props.text.find('%') != std::string::npos;
}

template <typename Item, typename Props>
std::unique_ptr<Item> placed(const Props& props, int x, int y, int w, int h) {
    auto item = std::make_unique<Item>();
    item->x = static_cast<float>(x);
    item->y = static_cast<float>(y);
    item->startX = item->x.load();
    item->startY = item->y.load();
    item->w = w;
    item->h = h;
    item->props = props;
    return item;
}

// Items are made whole before they meet the scene: what has to be read for them is read while the
// pictures go on. Null for one that cannot be.
std::unique_ptr<LCGItem> makeItem(int x, int y, int w, int h, const LCGTextProps& props) {
    return placed<LCGTextItem>(props, x, y, sizeOr(w, pictureWidth), sizeOr(h, pictureHeight));
}

std::unique_ptr<LCGItem> makeItem(int x, int y, int w, int h, const LCGCrawlProps& props) {
    quol::loadImageSurface(props.separatorImage);
    auto crawl =
        placed<LCGCrawlItem>(props, x, y, sizeOr(w, pictureWidth), sizeOr(h, pictureHeight));
    crawl->scrollX = static_cast<float>(x) + static_cast<float>(crawl->w);
    crawl->scrollY = static_cast<float>(y) + static_cast<float>(crawl->h);
    return crawl;
}

std::unique_ptr<LCGItem> makeItem(int x, int y, int w, int h, const LCGTickerProps& props) {
    return placed<LCGTickerItem>(props, x, y, sizeOr(w, pictureWidth), sizeOr(h, pictureHeight));
}

std::unique_ptr<LCGItem> makeItem(int x, int y, int w, int h, const LCGRectProps& props) {
    return placed<LCGRectItem>(props, x, y, sizeOr(w, pictureWidth), sizeOr(h, pictureHeight));
}

std::unique_ptr<LCGItem> makeItem(int x, int y, int w, int h, const LCGImageProps& props) {
    const quol::SurfacePtr image = quol::loadImageSurface(props.path);
    const int imageWidth = image ? cairo_image_surface_get_width(image.get()) : 0;
    const int imageHeight = image ? cairo_image_surface_get_height(image.get()) : 0;
    return placed<LCGImageItem>(props, x, y, sizeOr(w, imageWidth), sizeOr(h, imageHeight));
}

std::unique_ptr<LCGItem> makeItem(int x, int y, int w, int h, const LCGVideoProps& props) {
    auto video = placed<LCGVideoItem>(props, x, y, w, h);
    if (!video->reader->open(props.path)) return nullptr;
    video->w = sizeOr(w, video->reader->width());
    video->h = sizeOr(h, video->reader->height());
    return video;
}

// An item of a project file, before its values are applied. Null for an unknown type, and for one
// that cannot be made.
std::unique_ptr<LCGItem> makeParsed(const quol::ProjectItem& parsed) {
    const auto make = [&parsed](auto props, auto set) {
        set(props);
        return makeItem(parsed.x, parsed.y, parsed.w, parsed.h, props);
    };
    const auto setText = [&](auto& props) { props.text = parsed.value("text"); };
    const auto setPath = [&](auto& props) { props.path = parsed.value("path"); };
    const auto setColor = [&](auto& props) { props.bgColor = parsed.value("bgColor"); };
    if (parsed.type == "text") return make(LCGTextProps(), setText);
    if (parsed.type == "crawl") return make(LCGCrawlProps(), setText);
    if (parsed.type == "ticker") return make(LCGTickerProps(), setText);
    if (parsed.type == "rect") return make(LCGRectProps(), setColor);
    if (parsed.type == "image") return make(LCGImageProps(), setPath);
    if (parsed.type == "video") return make(LCGVideoProps(), setPath);
    return nullptr;
}

// What an update reads is read beforehand, too.
void readAhead(const LCGImageProps& props) {
    quol::loadImageSurface(props.path);
}
void readAhead(const LCGCrawlProps& props) {
    quol::loadImageSurface(props.separatorImage);
}
template <typename Props>
void readAhead(const Props& /*props*/) {}

} // namespace

LCharacter::LCharacter()
    : itemMutex(std::make_unique<quol::FairMutex>()),
      renderer(std::make_unique<quol::SceneRenderer>(pictureWidth, pictureHeight)),
      sleeper(std::make_unique<quol::Sleeper>()) {
    thread = std::thread(&LCharacter::playbackLoop, this);
}

LCharacter::~LCharacter() {
    running = false;
    sleeper->wake();
    if (thread.joinable()) thread.join();
}

// ------------------------------------------------------------------------------------ items

// Puts an item on top. Under `itemMutex`.
LCGItem* LCharacter::add(std::unique_ptr<LCGItem> item, const std::string& id) {
    item->id = id;
    LCGItem* const added = item.get();
    LCGItem*& entry = itemMap[id]; // first: what is shown can be named
    items.push_back(std::move(item));
    entry = added;
    needsRender = true;
    return added;
}

template <typename Props>
LCGItem* LCharacter::addNew(const std::string& id, int x, int y, int w, int h, const Props& props) {
    std::unique_ptr<LCGItem> item = makeItem(x, y, w, h, props);
    if (!item) return nullptr;
    const std::lock_guard lock(*itemMutex);
    return add(std::move(item), id);
}

LCGItem* LCharacter::addItem(const std::string& id, int x, int y, int w, int h,
                             const LCGTextProps& props) {
    return addNew(id, x, y, w, h, props);
}

LCGItem* LCharacter::addItem(const std::string& id, int x, int y, int w, int h,
                             const LCGCrawlProps& props) {
    return addNew(id, x, y, w, h, props);
}

LCGItem* LCharacter::addItem(const std::string& id, int x, int y, int w, int h,
                             const LCGTickerProps& props) {
    return addNew(id, x, y, w, h, props);
}

LCGItem* LCharacter::addItem(const std::string& id, int x, int y, int w, int h,
                             const LCGRectProps& props) {
    return addNew(id, x, y, w, h, props);
}

LCGItem* LCharacter::addItem(const std::string& id, int x, int y, int w, int h,
                             const LCGImageProps& props) {
    return addNew(id, x, y, w, h, props);
}

LCGItem* LCharacter::addItem(const std::string& id, int x, int y, int w, int h,
                             const LCGVideoProps& props) {
    return addNew(id, x, y, w, h, props);
}

template <typename Item, typename Props>
void LCharacter::update(const std::string& id, int x, int y, int w, int h, float alpha, bool show,
                        const Props& props) {
    readAhead(props);
    const std::lock_guard lock(*itemMutex);
    const auto entry = itemMap.find(id);
    auto* const item = entry != itemMap.end() ? dynamic_cast<Item*>(entry->second) : nullptr;
    if (item == nullptr) return;
    item->x = static_cast<float>(x);
    item->y = static_cast<float>(y);
    item->w = w;
    item->h = h;
    item->alpha = alpha;
    item->show = show;
    item->props = props;
    needsRender = true;
}

void LCharacter::updateItem(const std::string& id, int x, int y, int w, int h, float alpha,
                            bool show, const LCGTextProps& props) {
    update<LCGTextItem>(id, x, y, w, h, alpha, show, props);
}

void LCharacter::updateItem(const std::string& id, int x, int y, int w, int h, float alpha,
                            bool show, const LCGCrawlProps& props) {
    update<LCGCrawlItem>(id, x, y, w, h, alpha, show, props);
}

void LCharacter::updateItem(const std::string& id, int x, int y, int w, int h, float alpha,
                            bool show, const LCGTickerProps& props) {
    update<LCGTickerItem>(id, x, y, w, h, alpha, show, props);
}

void LCharacter::updateItem(const std::string& id, int x, int y, int w, int h, float alpha,
                            bool show, const LCGRectProps& props) {
    update<LCGRectItem>(id, x, y, w, h, alpha, show, props);
}

void LCharacter::updateItem(const std::string& id, int x, int y, int w, int h, float alpha,
                            bool show, const LCGImageProps& props) {
    update<LCGImageItem>(id, x, y, w, h, alpha, show, props);
}

void LCharacter::updateItem(const std::string& id, int x, int y, int w, int h, float alpha,
                            bool show, const LCGVideoProps& props) {
    update<LCGVideoItem>(id, x, y, w, h, alpha, show, props);
}

namespace {

void setShown(LCGItem& item, bool show) {
    item.show = show;
    if (show) return;
    item.x = item.startX.load();
    item.y = item.startY.load();
}

} // namespace

void LCharacter::showItem(const std::string& id, bool show) {
    const std::lock_guard lock(*itemMutex);
    needsRender = true;
    const auto item = itemMap.find(id);
    if (item != itemMap.end() && item->second != nullptr) {
        setShown(*item->second, show);
        return;
    }
    const auto group = groups.find(id);
    if (group != groups.end() && group->second) {
        group->second->show = show;
        return;
    }
    for (const auto& each : items) {
        if (each->group != nullptr && each->group->name == id) setShown(*each, show);
    }
}

void LCharacter::remove(const std::string& id) {
    const std::lock_guard lock(*itemMutex);
    needsRender = true;
    const auto found = std::find_if(items.begin(), items.end(),
                                    [&id](const auto& item) { return item->id == id; });
    if (found == items.end()) return;
    itemMap.erase(id);
    leaveGroup(**found);
    renderer->forget(**found);
    items.erase(found);
}

// ----------------------------------------------------------------------------------- groups

// Under `itemMutex`.
void LCharacter::leaveGroup(LCGItem& item) {
    if (item.group != nullptr) std::erase(item.group->items, &item);
    item.group = nullptr;
}

std::string LCharacter::group(const std::vector<std::string>& ids) {
    const std::lock_guard lock(*itemMutex);
    needsRender = true;
    auto made = std::make_unique<LCGGroup>();
    made->name = "group" + std::to_string(groupCounter++);
    LCGGroup& entry = *made;
    std::unique_ptr<LCGGroup>& place = groups[entry.name];
    if (place) {
        // A loaded group of that name gives way; its items are on their own.
        for (LCGItem* item : place->items)
            item->group = nullptr;
    }
    place = std::move(made);
    std::set<LCGGroup*> left;
    for (const std::string& id : ids) {
        const auto found = itemMap.find(id);
        if (found == itemMap.end() || found->second == nullptr) continue;
        LCGItem& member = *found->second;
        if (member.group == &entry) std::erase(entry.items, &member); // named twice
        if (member.group != nullptr) left.insert(member.group);
        member.group = &entry;
        entry.items.push_back(&member);
    }
    left.erase(&entry);
    for (LCGGroup* old : left)
        std::erase_if(old->items, [old](const LCGItem* item) { return item->group != old; });
    return entry.name;
}

void LCharacter::unGroup(const std::string& name) {
    const std::lock_guard lock(*itemMutex);
    needsRender = true;
    const auto found = groups.find(name);
    if (found == groups.end()) return;
    if (found->second) {
        for (LCGItem* item : found->second->items)
            item->group = nullptr;
    }
    groups.erase(found);
}

void LCharacter::deleteGroup(const std::string& name) {
    const std::lock_guard lock(*itemMutex);
    needsRender = true;
    const auto found = groups.find(name);
    if (found == groups.end()) return;
    if (found->second) {
        const std::set<const LCGItem*> members(found->second->items.begin(),
                                               found->second->items.end());
        for (const LCGItem* item : members) {
            itemMap.erase(item->id);
            renderer->forget(*item);
        }
        std::erase_if(items, [&](const auto& item) { return members.count(item.get()) != 0; });
    }
    groups.erase(found);
}

// -------------------------------------------------------------------------------- accessors

int LCharacter::getItemCount() {
    const std::lock_guard lock(*itemMutex);
    return static_cast<int>(items.size());
}

LCGItem* LCharacter::getItemByIndex(int index) {
    const std::lock_guard lock(*itemMutex);
    if (index < 0 || static_cast<std::size_t>(index) >= items.size()) return nullptr;
    return items[static_cast<std::size_t>(index)].get();
}

LCGItem* LCharacter::getItem(const std::string& id) {
    const std::lock_guard lock(*itemMutex);
    return itemMap[id];
}

int LCharacter::getGroupCount() {
    const std::lock_guard lock(*itemMutex);
    return static_cast<int>(groups.size());
}

LCGGroup* LCharacter::getGroupByIndex(int index) {
    const std::lock_guard lock(*itemMutex);
    if (index < 0 || static_cast<std::size_t>(index) >= groups.size()) return nullptr;
    return std::next(groups.begin(), index)->second.get();
}

std::string LCharacter::getGroup(const std::string& id) {
    const std::lock_guard lock(*itemMutex);
    const auto found = itemMap.find(id);
    const LCGItem* const item = found != itemMap.end() ? found->second : nullptr;
    return item != nullptr && item->group != nullptr ? item->group->name : "";
}

LCGGroup* LCharacter::getGroupObject(const std::string& name) {
    const std::lock_guard lock(*itemMutex);
    return groups[name].get();
}

int LCharacter::groupItemCount(const std::string& name) {
    const std::lock_guard lock(*itemMutex);
    const auto& found = groups[name];
    return found != nullptr ? static_cast<int>(found->items.size()) : 0;
}

LCGItem* LCharacter::getGroupItemByIndex(const std::string& name, int index) {
    const std::lock_guard lock(*itemMutex);
    const auto& found = groups[name];
    if (!found || index < 0 || static_cast<std::size_t>(index) >= found->items.size())
        return nullptr;
    return found->items[static_cast<std::size_t>(index)];
}

bool LCharacter::isDynamic() {
    const std::lock_guard lock(*itemMutex);
    return std::any_of(items.begin(), items.end(),
                       [](const auto& item) { return item->show && isAlwaysDrawn(*item); });
}

void LCharacter::forceUpdate() {
    needsRender = true;
}

void LCharacter::setFPS(double rate) {
    fps = rate;
}

// --------------------------------------------------------------------------------- projects

std::uint32_t LCharacter::hexToUint(const std::string& text) {
    return LCGColor(text).value();
}

std::string LCharacter::uintToHex(std::uint32_t color) {
    return quol::colorText(color);
}

// The pictures go on while the file is opened and written: a disk may be slow, a pipe without a
// reader. A full disk must not take the scene that was saved before.
void LCharacter::saveToXMLFile(const std::string& path) {
    std::ostringstream scene;
    {
        const std::lock_guard lock(*itemMutex);
        quol::writeProject(scene, items, groups);
    }
    switch (quol::writeFile(path, scene.view())) {
        case quol::Written::noFile:
            quol::logError("XML dosyasi acilamadi: %s", path.c_str());
            break;
        case quol::Written::noRoom:
            quol::logError("XML dosyasi yazilamadi: %s", path.c_str());
            break;
        case quol::Written::yes:
            break;
    }
}

// The items of a file, made whole, with the message of what stopped the reading.
struct LCharacter::ReadItems {
    struct Entry {
        std::string id;
        std::string group;
        std::unique_ptr<LCGItem> item; // null for one that cannot be made
    };
    std::vector<Entry> entries;
    std::exception_ptr error;

    // An item with a value that cannot be read stays as far as it was read, without its group.
    void add(const quol::ProjectItem& parsed) {
        Entry& entry = entries.emplace_back(Entry{parsed.id, "", makeParsed(parsed)});
        if (!entry.item) return;
        entry.item->show = parsed.show;
        entry.item->alpha = static_cast<float>(parsed.alpha / 255.0);
        quol::applyValues(parsed, *entry.item);
        entry.group = parsed.group;
    }
};

// Takes no lock.
LCharacter::ReadItems LCharacter::readItems(const std::string& path) {
    ReadItems read;
    std::ifstream file;
    if (quol::isPlainFile(path)) file.open(quol::withoutScheme(path));
    if (!file.is_open()) {
        quol::logError("XML dosyasi acilamadi: %s", path.c_str());
        return read;
    }
    try {
        quol::readProject(file, [&read](const quol::ProjectItem& parsed) { read.add(parsed); });
    } catch (...) { // a number that is none; the items before it count
        read.error = std::current_exception();
    }
    return read;
}

// Under `itemMutex`.
void LCharacter::insert(ReadItems& read) {
    std::map<std::string, int> suffixes;
    for (ReadItems::Entry& entry : read.entries) {
        const std::string id = freeId(entry.id, suffixes);
        if (!entry.item) {
            itemMap[id];
            continue;
        }
        LCGItem& item = *add(std::move(entry.item), id);
        if (entry.group.empty()) continue;
        std::unique_ptr<LCGGroup>& group = groups[entry.group];
        if (!group) {
            group = std::make_unique<LCGGroup>();
            group->name = entry.group;
        }
        item.group = group.get();
        group->items.push_back(&item);
    }
}

void LCharacter::insertFromXMLFile(const std::string& path) {
    ReadItems read = readItems(path);
    {
        const std::lock_guard lock(*itemMutex);
        insert(read);
    }
    if (read.error) std::rethrow_exception(read.error);
}

void LCharacter::loadFromXMLFile(const std::string& path) {
    ReadItems read = readItems(path);
    {
        const std::lock_guard lock(*itemMutex);
        for (const auto& item : items)
            renderer->forget(*item);
        items.clear();
        itemMap.clear();
        groups.clear();
        needsRender = true;
        insert(read);
    }
    if (read.error) std::rethrow_exception(read.error);
}

// `wanted`, or with the first number behind it that makes it another one. `suffixes` keeps the
// numbers that are known to be taken. Under `itemMutex`.
std::string LCharacter::freeId(const std::string& wanted, std::map<std::string, int>& suffixes) {
    if (itemMap.count(wanted) == 0) return wanted;
    int& number = suffixes[wanted];
    std::string id;
    do {
        id = wanted + "_" + std::to_string(++number);
    } while (itemMap.count(id) != 0);
    return id;
}

// ------------------------------------------------------------------------------------- loop

// A picture leaves at every tick, drawn anew or not.
void LCharacter::playbackLoop() {
    while (running) {
        const std::int64_t start = quol::steadyNow();
        quol::FramePtr picture;
        {
            // Cleared before: an edit behind it belongs to the next picture. What memory was short
            // for is drawn then, too.
            const std::lock_guard lock(*itemMutex);
            const bool isDrawn = quol::hadMemory([this] {
                if (needsRender.exchange(false) || isDynamic()) renderer->render(items, timeNow());
            });
            if (!isDrawn) needsRender = true;
            picture = renderer->frame();
            anyVisible = std::any_of(items.begin(), items.end(),
                                     [](const auto& item) { return item->show.load(); });
        }
        if (picture) distributeVideoFrame(picture.get());
        waitForTick(start);
    }
}

// Waits until a period from `start` has passed. A long one is looked at anew now and then: the rate
// may have changed.
void LCharacter::waitForTick(std::int64_t start) {
    constexpr std::int64_t longestSleep = 200 * quol::nanosPerMilli;
    while (running) {
        const double rate = fps;
        const std::int64_t period = quol::wholeMillisPeriod(rate > 0.0 ? rate : defaultRate);
        const std::int64_t left = start + period - quol::steadyNow();
        if (left <= 0 || !sleeper->sleepFor(std::min(left, longestSleep))) return;
    }
}

// Any bytes as a project file. What was read of them is written, and has to come back from that as
// the same file.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

#include "graphics/CGProject.h"

namespace {

using quol::ProjectItem;

struct Scene {
    std::vector<std::unique_ptr<LCGItem>> items;
    std::map<std::string, std::unique_ptr<LCGGroup>> groups;
};

std::unique_ptr<LCGItem> itemOf(const ProjectItem& parsed) {
    if (parsed.type == "text") return std::make_unique<LCGTextItem>();
    if (parsed.type == "crawl") return std::make_unique<LCGCrawlItem>();
    if (parsed.type == "ticker") return std::make_unique<LCGTickerItem>();
    if (parsed.type == "rect") return std::make_unique<LCGRectItem>();
    if (parsed.type == "image") {
        auto image = std::make_unique<LCGImageItem>();
        image->props.path = parsed.value("path");
        return image;
    }
    if (parsed.type == "video") {
        auto video = std::make_unique<LCGVideoItem>();
        video->props.path = parsed.value("path");
        return video;
    }
    return nullptr;
}

// Numbers below all that a float holds in full are not read, though they may be written.
void flush(float& value) {
    if (std::abs(value) < 1.0e-37F) value = 0.0F;
}

void flushFractions(LCGItem& item) {
    if (auto* text = dynamic_cast<LCGTextItem*>(&item)) {
        flush(text->props.letterSpacing);
        flush(text->props.bgShadowOffsetX);
        flush(text->props.bgShadowOffsetY);
    } else if (auto* crawl = dynamic_cast<LCGCrawlItem*>(&item)) {
        flush(crawl->props.textSpeed);
    } else if (auto* ticker = dynamic_cast<LCGTickerItem*>(&item)) {
        flush(ticker->props.textMoveDuration);
    }
}

void add(Scene& scene, const ProjectItem& parsed) {
    std::unique_ptr<LCGItem> item = itemOf(parsed);
    if (!item) return;
    item->id = parsed.id;
    // Positions have six digits.
    item->x = static_cast<float>(std::clamp(parsed.x, -99999, 99999));
    item->y = static_cast<float>(std::clamp(parsed.y, -99999, 99999));
    item->w = parsed.w;
    item->h = parsed.h;
    item->show = parsed.show;
    quol::applyValues(parsed, *item);
    flushFractions(*item);
    if (!parsed.group.empty()) {
        std::unique_ptr<LCGGroup>& group = scene.groups[parsed.group];
        if (!group) group = std::make_unique<LCGGroup>();
        group->name = parsed.group;
        item->group = group.get();
    }
    scene.items.push_back(std::move(item));
}

Scene read(const std::string& text) {
    Scene scene;
    std::istringstream file(text);
    quol::readProject(file, [&scene](const ProjectItem& parsed) { add(scene, parsed); });
    return scene;
}

std::string written(const Scene& scene) {
    std::ostringstream file;
    quol::writeProject(file, scene.items, scene.groups);
    return file.str();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Scene scene;
    std::istringstream file(std::string(reinterpret_cast<const char*>(data), size));
    try {
        quol::readProject(file, [&scene](const ProjectItem& parsed) { add(scene, parsed); });
    } catch (const std::logic_error&) { // a number that is none; the items before it count
    }
    if (scene.items.empty()) return 0;
    const std::string first = written(scene);
    if (written(read(first)) != first) std::abort();
    return 0;
}

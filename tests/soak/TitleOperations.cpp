// Titles and templates.
#include "soak/Studio.h"

namespace soak {

namespace {

constexpr const char* itemNames[] = {"one", "two", "three", "four"};
constexpr int itemCount = 4;
// The board's own two stay: "clock" and "crawl".
constexpr std::size_t mostItems = 12;

std::string words(Random& random) {
    constexpr const char* all[] = {"Goal", "Half time", "Ögretmen", "12 : 3", "Live", "Interview"};
    std::string text = all[random.below(6)];
    for (int more = random.below(4); more > 0; --more)
        text += std::string(random.chance(20) ? "\n" : " ") + all[random.below(6)];
    return text;
}

LCGTextProps someText(Random& random) {
    LCGTextProps text;
    text.text = random.chance(25) ? "%time::HH:mm:ss% " + words(random) : words(random);
    text.fontSize = random.between(12, 90);
    text.bgType = random.chance(50) ? "Gradient" : "None";
    text.bgRadius = random.below(60);
    text.bgShadowAlpha = random.below(200);
    text.autoShrink = random.chance(40);
    return text;
}

void addItem(Studio& studio, Random& random) {
    LCharacter& board = studio.board;
    const char* const name = itemNames[random.below(itemCount)];
    const int kind = random.below(5);
    const int x = random.between(0, 1500);
    const int y = random.between(0, 900);
    studio.desk.choose("%s kind %d", name, kind);
    if (board.getItemCount() >= static_cast<int>(mostItems)) return;
    LCGItem* const item = studio.desk.slow("board.addItem", [&]() -> LCGItem* {
        switch (kind) {
            case 0:
                return board.addItem(name, x, y, 400, 120, someText(random));
            case 1: {
                LCGTickerProps ticker;
                ticker.text = words(random) + "\n" + words(random);
                ticker.textMoveDuration = 1.0F;
                return board.addItem(name, x, y, 500, 60, ticker);
            }
            case 2: {
                LCGRectProps panel;
                panel.bgType = "Color";
                panel.bgAlpha = random.below(256);
                return board.addItem(name, x, y, 300, 200, panel);
            }
            case 3: {
                LCGImageProps image;
                image.path = studio.desk.media.stills[static_cast<std::size_t>(random.below(2))];
                return board.addItem(name, x, y, 0, 0, image);
            }
            default: {
                LCGVideoProps video;
                video.path = studio.desk.media.stingers[static_cast<std::size_t>(random.below(2))];
                return board.addItem(name, x, y, 320, 180, video);
            }
        }
    });
    studio.desk.check(item != nullptr, "an item is added");
}

void changeText(Studio& studio, Random& random) {
    const LCGTextProps text = someText(random);
    studio.desk.quick("titles.updateItem", [&] {
        studio.titles.updateItem(random.chance(50) ? "name" : "role", 110, 796, 1040, 84, 1.0F,
                                 true, text);
    });
}

void changeCrawl(Studio& studio, Random& random) {
    LCGCrawlProps crawl;
    crawl.text = words(random) + "\n" + words(random) + "\n" + words(random);
    crawl.bgType = "Color";
    crawl.textSpeed = -static_cast<float>(random.between(1, 12));
    studio.desk.quick("board.updateItem", [&] {
        studio.board.updateItem("crawl", 0, 980, 1920, 70, 1.0F, random.chance(90), crawl);
    });
}

void groupItems(Studio& studio, Random& random) {
    LCharacter& board = studio.board;
    const std::string group = studio.desk.quick("board.group", [&] {
        return board.group({"one", "two", "three"});
    });
    const bool show = random.chance(60);
    studio.desk.quick("board.showItem", [&] { board.showItem(group, show); });
    if (random.chance(30)) {
        studio.desk.quick("board.deleteGroup", [&] { board.deleteGroup(group); });
    } else {
        studio.desk.quick("board.unGroup", [&] { board.unGroup(group); });
    }
}

void driftItem(Studio& studio, Random& random) {
    const char* const name = itemNames[random.below(itemCount)];
    LCGItem* const item =
        studio.desk.quick("board.getItem", [&] { return studio.board.getItem(name); });
    if (item == nullptr) return;
    item->moveType = std::string(random.chance(50) ? "Horizontal" : "None");
    item->moveSpeed = static_cast<float>(random.between(-8, 8));
    studio.desk.quick("board.forceUpdate", [&] { studio.board.forceUpdate(); });
}

void projectFile(Studio& studio, Random& random) {
    const std::string path = studio.desk.folder + "/board.xml";
    studio.desk.slow("board.saveToXMLFile", [&] { studio.board.saveToXMLFile(path); });
    if (studio.board.getItemCount() >= static_cast<int>(mostItems)) return;
    const std::string from = random.chance(20) ? studio.desk.media.without(".xml") : path;
    studio.desk.slow("board.insertFromXMLFile", [&] { studio.board.insertFromXMLFile(from); });
}

void loadTemplate(Studio& studio, Random& random) {
    const Media& media = studio.desk.media;
    const int layer = random.between(1, 4);
    const int kind = random.below(8);
    const std::string path = kind == 0   ? media.without(".json")
                             : kind == 1 ? media.noLottie
                                         : media.lottie;
    studio.desk.choose("layer %d kind %d", layer, kind);
    const bool loaded = studio.desk.slow(
        "animation.loadTemplate", [&] { return studio.animation.loadTemplate(layer, path); });
#ifdef QUOLSDK_HAS_LOTTIE
    studio.desk.check(loaded == (kind > 1), "a template is loaded, or refused");
#else
    studio.desk.check(!loaded, "without Lottie no template is loaded");
#endif
}

void leaveTemplate(Studio& studio, Random& random) {
    const int layer = random.between(1, 4);
    LAnimation& animation = studio.animation;
    switch (random.below(3)) {
        case 0:
            studio.desk.slow("animation.play", [&] { animation.play(layer); });
            break;
        case 1:
            studio.desk.slow("animation.stop", [&] { animation.stop(layer); });
            break;
        default:
            studio.desk.slow("animation.close", [&] { animation.close(layer); });
            break;
    }
}

} // namespace

std::vector<Operation> titleOperations(Studio& studio) {
    Desk& desk = studio.desk;
    return {
        {"titles.text", 8, [&](Random& random) { changeText(studio, random); }},
        {"board.add", 4, [&](Random& random) { addItem(studio, random); }},
        {"board.remove", 4,
         [&](Random& random) {
             const char* const name = itemNames[random.below(itemCount)];
             desk.quick("board.remove", [&] { studio.board.remove(name); });
         }},
        {"board.show", 5,
         [&](Random& random) {
             const char* const name = itemNames[random.below(itemCount)];
             const bool show = random.chance(60);
             desk.quick("board.showItem", [&] { studio.board.showItem(name, show); });
         }},
        {"board.crawl", 3, [&](Random& random) { changeCrawl(studio, random); }},
        {"board.group", 2, [&](Random& random) { groupItems(studio, random); }},
        {"board.drift", 2, [&](Random& random) { driftItem(studio, random); }},
        {"board.project", 2, [&](Random& random) { projectFile(studio, random); }},
        {"titles.onAir", 3,
         [&](Random& random) {
             const bool on = random.chance(60);
             desk.choose("%s", on ? "on" : "off");
             desk.quick("switcher.removeCG", [&] { studio.switcher.removeCG(&studio.titles); });
             if (on) desk.quick("switcher.addCG", [&] { studio.switcher.addCG(&studio.titles); });
         }},
        {"animation.load", 3, [&](Random& random) { loadTemplate(studio, random); }},
        {"animation.text", 3,
         [&](Random& random) {
             const std::string text = words(random);
             const bool plain = text.find('\n') == std::string::npos;
             desk.slow("animation.update", [&] {
                 studio.animation.update(random.between(1, 2), "Name", plain ? text : "Two lines");
             });
         }},
        {"animation.color", 2,
         [&](Random& random) {
             char color[8];
             std::snprintf(color, sizeof color, "#%06X", random.below(0x1000000));
             desk.slow("animation.updateColor",
                       [&] { studio.animation.updateColor(1, "Panel", color); });
         }},
        {"animation.leave", 3, [&](Random& random) { leaveTemplate(studio, random); }},
    };
}

} // namespace soak

// Layers, transitions and sound.
#include "soak/Studio.h"

namespace soak {

namespace {

constexpr const char* layerNames[] = {"back", "pip", "three", "four", "five", "six"};
constexpr int layerCount = 6;

constexpr const char* transitions[] = {
    "fade",       "dip",         "wipe_lr",    "wipe_rl",  "wipe_tb",  "wipe_bt",  "wipe_diagonal",
    "wipe_box",   "wipe_circle", "slide_lr",   "slide_rl", "slide_tb", "slide_bt", "squeeze_lr",
    "squeeze_rl", "squeeze_tb",  "squeeze_bt", "stinger",  "cut"};
constexpr int transitionCount = 19;

void addLayer(Studio& studio, Random& random) {
    const char* const name = layerNames[random.below(layerCount)];
    const int source = random.below(Studio::layerSources);
    const int width = random.between(100, 1280);
    studio.desk.choose("%s source %d", name, source);
    LLayerItem* const layer = studio.desk.quick("mixer.addLayer", [&] {
        return studio.mixer.addLayer(
            name, studio.source(source), random.between(0, 7),
            static_cast<float>(random.between(-100, 900)),
            static_cast<float>(random.between(-60, 500)), random.between(60, 255),
            static_cast<float>(width), static_cast<float>(width * 9 / 16),
            static_cast<float>(random.below(20)), static_cast<float>(random.below(20)),
            static_cast<float>(random.below(20)), static_cast<float>(random.below(20)),
            random.below(8), "#FFD040", random.chance(40), random.between(0, 150));
    });
    studio.desk.check(layer != nullptr, "a layer is added");
}

void moveLayer(Studio& studio, Random& random) {
    const char* const name = layerNames[random.below(layerCount)];
    const auto x = static_cast<float>(random.between(-200, 1000));
    const auto width = static_cast<float>(random.between(60, 1280));
    const int alpha = random.below(256);
    const bool visible = random.chance(85);
    studio.desk.quick("mixer.editLayer", [&] {
        return studio.mixer.editLayer(name, [&](LLayerItem& item) {
            item.x = x;
            item.width = width;
            item.height = width * 9.0F / 16.0F;
            item.alpha = alpha;
            item.visible = visible;
        });
    });
    studio.desk.quick("mixer.setLayerBorderRadius",
                      [&] { studio.mixer.setLayerBorderRadius(name, random.below(60)); });
}

void addStill(Studio& studio, Random& random) {
    const auto& stills = studio.desk.media.stills;
    const bool there = random.chance(80);
    const std::string path = there ? stills[static_cast<std::size_t>(random.below(2))]
                                   : studio.desk.media.without(".png");
    studio.desk.slow("mixer.addImage",
                     [&] { studio.mixer.addImage("logo", path, 7, 1000.0F, 40.0F, 200); });
}

void previewNext(Studio& studio, Random& random) {
    const int source = random.below(Studio::sourceCount);
    studio.desk.choose("source %d", source);
    studio.desk.quick("switcher.setPreview",
                      [&] { studio.switcher.setPreview(studio.source(source)); });
}

void takeNext(Studio& studio, Random& random) {
    const char* const type = transitions[random.below(transitionCount)];
    const int milliseconds = random.between(40, 1500);
    studio.desk.choose("%s %d ms", type, milliseconds);
    studio.desk.quick("switcher.setTransitionType",
                      [&] { studio.switcher.setTransitionType(type, "#101820"); });
    studio.desk.quick("switcher.setAutoTransition",
                      [&] { studio.switcher.setAutoTransition(milliseconds); });
}

void moveByHand(Studio& studio, Random& random) {
    const char* const type = transitions[random.below(transitionCount)];
    const int percent = random.chance(30) ? 0 : random.below(101);
    studio.desk.choose("%s %d", type, percent);
    studio.desk.quick("switcher.setTransition", [&] {
        studio.switcher.setTransitionType(type, "#402010");
        studio.switcher.setTransition(static_cast<float>(percent) / 100.0F);
    });
}

void changeStinger(Studio& studio, Random& random) {
    const int which = random.below(5);
    const auto& clips = studio.desk.media.stingers;
    const std::string path =
        which == 0 ? studio.desk.media.without(".mov") : clips[static_cast<std::size_t>(which % 2)];
    studio.desk.choose("clip %d", which);
    studio.desk.slow("switcher.setStinger", [&] { studio.switcher.setStinger(path); });
    studio.desk.quick("switcher.setStingerDuration",
                      [&] { studio.switcher.setStingerDuration(random.between(200, 1500)); });
}

void changeSound(Studio& studio, Random& random) {
    LSwitcher& switcher = studio.switcher;
    studio.desk.quick("switcher.gains", [&] {
        switcher.setProgAudioGain(random.below(150));
        switcher.setPrevAudioGain(random.below(150));
        switcher.setMasterGain(random.below(201));
        switcher.setMasterMute(random.chance(10));
    });
    const bool external = random.chance(40);
    studio.desk.quick("switcher.setExtAudio", [&] {
        switcher.setExtAudioObject(external ? &studio.sound : nullptr);
        switcher.setExtAudio(external);
    });
}

void askSwitcher(Studio& studio) {
    LSwitcher::SwitcherStats stats;
    studio.desk.quick("switcher.getStats", [&] { studio.switcher.getStats(stats); });
    studio.desk.check(stats.position >= 0.0 && stats.position <= 100.0,
                      "a transition stands between its ends");
}

void changeChannels(Studio& studio, Random& random) {
    constexpr const char* names[] = {"a", "b", "c"};
    const char* const name = names[random.below(3)];
    const int source = random.below(7);
    studio.desk.choose("%s source %d", name, source);
    studio.desk.quick("sound.addChannel",
                      [&] { studio.sound.addChannel(name, studio.source(source)); });
    studio.desk.quick("sound.setChannelMute", [&] {
        studio.sound.setChannelMute(name, random.chance(20));
        studio.sound.setChannelGain(name, random.below(201));
    });
    float left = 0.0F;
    float right = 0.0F;
    studio.desk.quick("sound.getMasterLevel", [&] { studio.sound.getMasterLevel(left, right); });
    studio.desk.check(left >= 0.0F && left <= 1.0F && right <= 1.0F, "a level is a level");
}

} // namespace

std::vector<Operation> mixingOperations(Studio& studio) {
    Desk& desk = studio.desk;
    return {
        {"mixer.add", 6, [&](Random& random) { addLayer(studio, random); }},
        {"mixer.remove", 5,
         [&](Random& random) {
             const char* const name = layerNames[random.below(layerCount)];
             desk.choose("%s", name);
             desk.quick("mixer.removeLayer", [&] { studio.mixer.removeLayer(name); });
         }},
        {"mixer.move", 10, [&](Random& random) { moveLayer(studio, random); }},
        {"mixer.still", 2, [&](Random& random) { addStill(studio, random); }},
        {"mixer.key", 2,
         [&](Random& random) {
             LObject* const key =
                 random.chance(50) ? static_cast<LObject*>(&studio.board) : &studio.animation;
             LObject* const fill = studio.source(random.below(4));
             desk.quick("mixer.addDSK", [&] { studio.mixer.addDSK("key", fill, key, 6); });
         }},
        {"mixer.removeKey", 2,
         [&](Random&) {
             desk.quick("mixer.removeLayer", [&] { studio.mixer.removeLayer("key"); });
         }},
        {"switcher.preview", 9, [&](Random& random) { previewNext(studio, random); }},
        {"switcher.cut", 6,
         [&](Random&) {
             desk.quick("switcher.setCutTransition", [&] { studio.switcher.setCutTransition(); });
         }},
        {"switcher.take", 9, [&](Random& random) { takeNext(studio, random); }},
        {"switcher.hand", 4, [&](Random& random) { moveByHand(studio, random); }},
        {"switcher.trigger", 2,
         [&](Random&) {
             desk.quick("switcher.triggerStinger", [&] { studio.switcher.triggerStinger(); });
         }},
        {"switcher.stinger", 2, [&](Random& random) { changeStinger(studio, random); }},
        {"switcher.sound", 4, [&](Random& random) { changeSound(studio, random); }},
        {"switcher.ask", 3, [&](Random&) { askSwitcher(studio); }},
        {"sound.channels", 5, [&](Random& random) { changeChannels(studio, random); }},
        {"sound.removeChannel", 2,
         [&](Random&) {
             desk.quick("sound.removeChannel", [&] { studio.sound.removeChannel("c"); });
         }},
    };
}

} // namespace soak

// What is looked at: the wall, the taps and the windows.
#include "soak/Studio.h"

namespace soak {

namespace {

void lookThroughTap(Studio& studio) {
    LFrame::Video video;
    LFrame::Audio audio;
    studio.desk.quick("tap.getVideo", [&] { video = studio.tap.getVideo(); });
    studio.desk.quick("tap.getAudio", [&] { audio = studio.tap.getAudio(); });
    studio.desk.check(video.rgba.size() == static_cast<std::size_t>(video.stride) *
                                               static_cast<std::size_t>(video.height),
                      "a tapped picture is whole");
}

void changeView(Studio& studio, Random& random) {
    LObject* const sources[] = {&studio.switcher, &studio.wall, &studio.players[0], &studio.replay};
    constexpr const char* states[] = {"program", "preview", "record", "live", ""};
    const int index = random.below(2);
    const int source = random.below(4);
    const int state = random.below(5);
    studio.desk.choose("window %d source %d", index, source);
    if (!studio.views[index]) return;
    LPreview& view = *studio.views[index];
    studio.desk.quick("view.previewObject", [&] { view.previewObject(sources[source]); });
    studio.desk.quick("view.setStatus", [&] {
        view.setStatus(states[state]);
        view.setName(states[random.below(5)]);
        view.setProps("timecode.preview", random.chance(50) ? "true" : "false");
        view.setAudio(index == 0 && random.chance(60));
    });
}

void changeWindow(Studio& studio, Random& random) {
    const int index = random.below(2);
    const int kind = random.below(4);
    const int width = random.between(64, 640);
    const int height = random.between(36, 400);
    studio.desk.choose("window %d kind %d", index, kind);
    if (!studio.windows[index]) return;
    test::HostWindow& window = *studio.windows[index];
    if (kind == 0)
        window.unmap();
    else if (kind == 1)
        window.map();
    else
        window.resize(width, height);
}

void openAnew(Studio& studio, Random& random) {
    const int index = random.below(2);
    studio.desk.choose("window %d", index);
    if (!studio.views[index]) return;
    studio.desk.slow("view destroyed", [&] { studio.views[index].reset(); });
    studio.windows[index] = std::make_unique<test::HostWindow>(480, 270, index * 500);
    studio.desk.slow("view made", [&] { studio.openView(index); });
    studio.views[index]->previewObject(&studio.switcher);
}

} // namespace

std::vector<Operation> monitorOperations(Studio& studio) {
    Desk& desk = studio.desk;
    return {
        {"wall.tile", 4,
         [&](Random& random) {
             const int source = random.below(Studio::sourceCount);
             const int row = random.between(1, 2);
             const int column = random.between(1, 4);
             const bool take = random.chance(75);
             desk.choose("%d_%d source %d", row, column, take ? source : -1);
             desk.quick("wall.setGridPos", [&] {
                 if (take) {
                     studio.wall.setGridPos(studio.source(source), row, column, random.below(2),
                                            numbered("source ", source));
                 } else {
                     studio.wall.removeGridPos(row, column);
                 }
             });
         }},
        {"wall.tally", 6,
         [&](Random& random) {
             const int row = random.between(1, 2);
             const int column = random.between(1, 4);
             const int kind = random.below(3);
             desk.quick("wall.tally", [&] {
                 if (kind == 0)
                     studio.wall.setGridPGM(row, column);
                 else if (kind == 1)
                     studio.wall.setGridPVW(row, column);
                 else
                     studio.wall.clearTally(row, column);
             });
         }},
        {"wall.name", 3,
         [&](Random& random) {
             const int number = random.below(1000);
             desk.quick("wall.setGridName",
                        [&] { studio.wall.setGridName(1, 1, numbered("tile ", number)); });
         }},
        {"wall.layout", 1,
         [&](Random& random) {
             const int orientation = random.below(4);
             const int size = random.between(1, 3);
             desk.choose("%d of %d", orientation, size);
             desk.quick("wall.setupGrid", [&] {
                 studio.wall.setupGrid(static_cast<MultiviewOrientation>(orientation), size);
             });
         }},
        {"tap.look", 4, [&](Random&) { lookThroughTap(studio); }},
        {"tap.source", 2,
         [&](Random& random) {
             LObject* const sources[] = {&studio.switcher, &studio.wall, &studio.players[1],
                                         nullptr};
             const int which = random.below(4);
             desk.choose("source %d", which);
             desk.quick("tap.readerObject", [&] { studio.tap.readerObject(sources[which]); });
         }},
        {"view.source", 3, [&](Random& random) { changeView(studio, random); }},
        {"view.window", 3, [&](Random& random) { changeWindow(studio, random); }},
        {"view.anew", 1, [&](Random& random) { openAnew(studio, random); }},
    };
}

} // namespace soak

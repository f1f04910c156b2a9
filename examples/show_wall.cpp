#include "show_wall.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <utility>

#include "desk_window.h"
#include "quolsdk/LMultiview.h"
#include "quolsdk/LPreview.h"

namespace show {

namespace {

constexpr int gridSize = 2; // four columns, two rows
constexpr double wallRate = 12.5;

enum class Tally { none, preview, programme };

struct Tile {
    int row;
    int column;
};
constexpr std::array<std::pair<const char*, Tile>, 3> sourceTiles{
    {{"camera1", {1, 1}}, {"camera2", {1, 2}}, {"bars", {1, 3}}}};
constexpr Tile replayTile{1, 4};
constexpr Tile titlesTile{2, 1};
constexpr Tile openingTile{2, 2};
constexpr Tile cleanTile{2, 3};

Tally tallyOf(const OnAir& onAir, const std::string& name) {
    if (name == onAir.inset || (name == onAir.programme && !onAir.replay)) return Tally::programme;
    return name == onAir.preview ? Tally::preview : Tally::none;
}

} // namespace

struct CloseWindow {
    void operator()(desk_window* window) const { desk_window_close(window); }
};
using Window = std::unique_ptr<desk_window, CloseWindow>;

struct Wall::Impl {
    Impl(Graph& shownGraph, Window opened) : graph(shownGraph), window(std::move(opened)) {}

    void mark(const Tile& tile, Tally tally) {
        if (tally == Tally::programme) {
            multiview.setGridPGM(tile.row, tile.column);
        } else if (tally == Tally::preview) {
            multiview.setGridPVW(tile.row, tile.column);
        } else {
            multiview.clearTally(tile.row, tile.column);
        }
    }
    void put(const Tile& tile, LObject* source, const std::string& name) {
        multiview.setGridPos(source, tile.row, tile.column, 0, name);
    }
    void layOut();
    void openView();

    // Gone in the opposite order: the view, what it shows, the window it shows it in.
    Graph& graph;
    const Window window;
    LMultiview multiview;
    LPreview view;
    OnAir shown;
};

void Wall::Impl::layOut() {
    multiview.setVideoFormat({0, pictureWidth, pictureHeight, wallRate, 0});
    multiview.setupGrid(MultiviewOrientation::gridBelow, gridSize);
    for (const auto& [name, tile] : sourceTiles)
        put(tile, graph.source(name), name);
    put(replayTile, &graph.replay, "replay");
    put(titlesTile, &graph.titles, "titles");
    put(openingTile, &graph.opening, "opening");
    put(cleanTile, &graph.switcher, "clean feed");
    multiview.setGridName("PGM", "Programme");
    multiview.setGridName("PVW", "Preview");
    multiview.setPGMSource(&graph.mixer);
}

void Wall::Impl::openView() {
    const std::uintptr_t number = desk_window_view(window.get(), DESK_WALL);
    view.setProps("ui_framework", "x11");
    view.setProps("maintain_ar", "true");
    view.previewEnable(reinterpret_cast<void*>(number), false, true);
    view.previewObject(&multiview);
}

Wall::Wall(Graph& graph) {
    const char* const display = std::getenv("DISPLAY");
    if (display == nullptr || display[0] == '\0') return;
    Window window(desk_window_open("The show", 1));
    if (!window) return;
    impl_ = std::make_unique<Impl>(graph, std::move(window));
    impl_->layOut();
    impl_->openView();
}

Wall::~Wall() = default;

bool Wall::isOpen() const {
    return impl_ != nullptr && desk_window_lost(impl_->window.get()) == 0;
}

void Wall::show(const OnAir& onAir) {
    if (!isOpen() || onAir == impl_->shown) return;
    impl_->shown = onAir;
    for (const auto& [name, tile] : sourceTiles)
        impl_->mark(tile, tallyOf(onAir, name));
    impl_->mark(replayTile, onAir.replay ? Tally::programme : Tally::none);
    impl_->mark(titlesTile, onAir.titles ? Tally::programme : Tally::none);
    impl_->multiview.setPVWSource(impl_->graph.source(onAir.preview));
}

bool Wall::wait(int milliseconds) {
    if (!isOpen()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
        return false;
    }
    const char key = desk_window_key(impl_->window.get(), milliseconds);
    return key == 'q' && isOpen();
}

bool Wall::shot(const std::string& path) {
    if (isOpen()) return desk_window_shot(impl_->window.get(), path.c_str()) != 0;
    std::printf("  no screenshot %s: there is no window\n", path.c_str());
    return false;
}

} // namespace show

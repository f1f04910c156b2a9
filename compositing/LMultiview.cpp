// The tiles of the multiview: laying them out and giving them sources. The pictures are in
// LMultiviewRender.
#include "quolsdk/LMultiview.h"

#include <utility>

#include "compositing/DetachedSinks.h"
#include "compositing/GridCell.h"
#include "compositing/RecentPicture.h"
#include "compositing/Wall.h"
#include "compositing/WallClock.h"
#include "core/FairMutex.h"
#include "core/Log.h"

namespace {

constexpr videoFormatProps initialFormat{0, 1920, 1080, 50.0, 0};

constexpr int previewTally = 1;
constexpr int programTally = 2;

} // namespace

LMultiview::LMultiview(Renderer how)
    : renderer(how),
      cellMutex(std::make_unique<quol::FairMutex>()),
      videoFormat(initialFormat),
      recent(std::make_unique<quol::RecentPicture>()),
      clock(std::make_unique<quol::WallClock>()),
      thread(&LMultiview::multiviewLoop, this) {}

LMultiview::~LMultiview() {
    {
        const std::lock_guard lock(pullMutex);
        running = false;
        requested.notify_all();
        done.notify_all();
    }
    thread.join();
    for (auto& [key, cell] : cells)
        quol::detachSink(cell->source, std::move(cell->sink));
}

// The layout in force. Under `cellMutex`.
quol::MultiviewLayout LMultiview::layout() const {
    return {orientation, gridSize, videoFormat.height};
}

// The tile of that key, made without a size when there is none; a large window with its tally.
// Under `cellMutex`.
LMultiview::GridCell& LMultiview::cellOf(const std::string& key) {
    const auto entry = cells.find(key);
    if (entry != cells.end()) return *entry->second;
    GridCell& cell = *cells.emplace(key, std::make_unique<GridCell>()).first->second;
    cell.id = ++lastId;
    if (key == quol::previewKey) cell.tally = previewTally;
    if (key == quol::programKey) cell.tally = programTally;
    return cell;
}

// Leaves a tile without source and picture. Under `cellMutex`.
void LMultiview::letGo(GridCell& cell, quol::DetachedSinks& detached) {
    detached.add(cell.source, std::move(cell.sink));
    cell.source = nullptr;
    cell.frame.reset();
}

void LMultiview::setupGrid(MultiviewOrientation newOrientation, int newGridSize) {
    const std::lock_guard control(controlMutex);
    quol::DetachedSinks detached;
    const std::lock_guard lock(*cellMutex);
    orientation = static_cast<int>(newOrientation);
    gridSize = newGridSize;
    for (auto cell = cells.begin(); cell != cells.end();) {
        if (cell->first == quol::previewKey || cell->first == quol::programKey) {
            ++cell;
            continue;
        }
        letGo(*cell->second, detached);
        cell = cells.erase(cell);
    }
    GridCell& preview = cellOf(quol::previewKey);
    preview.place = layout().preview();
    preview.tally = previewTally;
    preview.id = ++lastId; // what was kept for it goes
    GridCell& program = cellOf(quol::programKey);
    program.place = layout().program();
    program.tally = programTally;
    program.id = ++lastId;
}

// Gives a tile a source and, in the same moment, what `change` says. The source that is there
// already keeps its picture.
void LMultiview::exchangeSource(const std::string& key, LObject* source,
                                const std::function<void(GridCell&)>& change) {
    const std::lock_guard control(controlMutex);
    LObject* const shown = source != this ? source : nullptr;
    quol::DetachedSinks detached;
    MultiviewSink* sink = nullptr;
    {
        const std::lock_guard lock(*cellMutex);
        GridCell& cell = cellOf(key);
        if (cell.source == shown) return change(cell);
        // All that takes memory before anything is changed.
        auto made = shown == nullptr ? nullptr
                                     : std::make_unique<MultiviewSink>(
                                           this, key == quol::programKey, clock.get());
        letGo(cell, detached);
        change(cell);
        cell.source = shown;
        cell.sink = std::move(made);
        sink = cell.sink.get();
    }
    // The old one first: never are two sources forwarded at a time.
    detached.release();
    if (sink == nullptr) return;
    try {
        shown->addSink(sink);
    } catch (...) { // it never had one, so that it can be asked for again
        const std::lock_guard lock(*cellMutex);
        GridCell& cell = *cells.at(key);
        cell.source = nullptr;
        cell.sink.reset();
        throw;
    }
}

void LMultiview::setPGMSource(LObject* source) {
    exchangeSource(quol::programKey, source, [this](GridCell& cell) {
        if (cell.place == quol::TilePlace{}) cell.place = layout().program();
    });
}

void LMultiview::setPVWSource(LObject* source) {
    exchangeSource(quol::previewKey, source, [this](GridCell& cell) {
        if (cell.place == quol::TilePlace{}) cell.place = layout().preview();
    });
}

void LMultiview::setGridPos(LObject* source, int row, int col, int span, std::string name) {
    exchangeSource(quol::gridKey(row, col), source, [&](GridCell& cell) {
        cell.name = std::move(name);
        cell.place = layout().cell(row, col, span);
        cell.seam = layout().seam();
    });
}

void LMultiview::removeGridPos(int row, int col) {
    const std::lock_guard control(controlMutex);
    quol::DetachedSinks detached;
    const std::lock_guard lock(*cellMutex);
    const auto cell = cells.find(quol::gridKey(row, col));
    if (cell == cells.end()) return;
    letGo(*cell->second, detached);
    cells.erase(cell);
}

void LMultiview::setTally(int row, int col, int tally) {
    const std::lock_guard lock(*cellMutex);
    cellOf(quol::gridKey(row, col)).tally = tally;
}

void LMultiview::setGridPGM(int row, int col) {
    setTally(row, col, programTally);
}

void LMultiview::setGridPVW(int row, int col) {
    setTally(row, col, previewTally);
}

void LMultiview::clearTally(int row, int col) {
    setTally(row, col, 0);
}

void LMultiview::setGridName(int row, int col, std::string name) {
    const std::lock_guard lock(*cellMutex);
    const auto cell = cells.find(quol::gridKey(row, col));
    if (cell != cells.end()) cell->second->name = std::move(name);
}

void LMultiview::setGridName(const std::string& key, const std::string& name) {
    quol::logOut("LMultiview: Setting grid name for key: %s to: %s", key.c_str(), name.c_str());
    const std::lock_guard lock(*cellMutex);
    // Hosts name the large windows first and lay the wall out then.
    if (key == quol::previewKey || key == quol::programKey) cellOf(key);
    const auto cell = cells.find(key);
    if (cell != cells.end()) cell->second->name = name;
}

std::vector<LMultiview::LayoutInfo> LMultiview::getLayoutInfo() {
    const std::lock_guard lock(*cellMutex);
    std::vector<LayoutInfo> info;
    info.reserve(cells.size());
    for (const auto& [key, cell] : cells) {
        const quol::TilePlace& place = cell->place;
        info.push_back({key, cell->name, place.x, place.y, place.w, place.h, cell->tally});
    }
    return info;
}

void LMultiview::setVideoFormat(const videoFormatProps& format) {
    const std::lock_guard lock(*cellMutex);
    videoFormat = format;
}

void LMultiview::getVideoFormat(videoFormatProps& format) {
    const std::lock_guard lock(*cellMutex);
    format = videoFormat;
}

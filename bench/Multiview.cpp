// Monitor walls: the multiview pulled as fast as it goes. Every wall is drawn in a process of its
// own: with sources that bring another picture for every tick, with sources that stand still, and
// without any.
#include <array>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "compositing/MultiviewLayout.h"
#include "quolsdk/LMultiview.h"
#include "quolsdk/LSink.h"
#include "support/Commands.h"
#include "support/Measure.h"
#include "support/Scenes.h"
#include "support/TurningSource.h"

namespace {

constexpr int wallWidth = 1920;
constexpr int wallHeight = 1080;

// How many sources, and the smallest grid that has room for them beside the large windows.
struct Size {
    int sources;
    int grid;
};
constexpr std::array<Size, 3> sizes{{{4, 1}, {16, 3}, {36, 5}}};

int gridOf(int sources) {
    for (const Size& size : sizes) {
        if (size.sources == sources) return size.grid;
    }
    return 1;
}

// Prints where the tiles lie, for those who want to put the same pictures into the same places:
// preview, program, and the grid below them row by row.
int printPlaces(int sources) {
    const int grid = gridOf(sources);
    const quol::MultiviewLayout layout(0, grid, wallHeight);
    const auto print = [](const quol::TileRect& place) {
        std::printf("%d %d %d %d\n", place.x, place.y, place.width, place.height);
    };
    print(quol::tileRect(layout.preview(), 0.0F, wallWidth, wallHeight));
    print(quol::tileRect(layout.program(), 0.0F, wallWidth, wallHeight));
    for (int i = 0; i < sources - 2; ++i) {
        const int row = i / (2 * grid) + 1;
        const int column = i % (2 * grid) + 1;
        print(quol::tileRect(layout.cell(row, column, 0), layout.seam(), wallWidth, wallHeight));
    }
    return 0;
}

// Takes what comes: without a sink a source keeps its last fifty pictures.
class NullSink : public LSink {
public:
    void pushVideoFrame(AVFrame* /*frame*/) override {}
    void pushAudioFrame(AVFrame* /*frame*/) override {}
};

class Stage {
public:
    Stage(LMultiview::Renderer renderer, int count) : multiview(renderer) {
        for (int i = 0; i < count; ++i)
            sources.push_back(
                std::make_unique<bench::TurningSource>(wallWidth, wallHeight, AV_PIX_FMT_YUV420P));
        multiview.setVideoFormat({0, wallWidth, wallHeight, 50.0, 0});
        const int grid = gridOf(count);
        multiview.setupGrid(MultiviewOrientation::gridBelow, grid);
        for (std::size_t i = 0; i < sources.size(); ++i) {
            LObject* const source = sources[i].get();
            const int cell = static_cast<int>(i) - 2;
            if (i == 0) {
                multiview.setPVWSource(source);
            } else if (i == 1) {
                multiview.setPGMSource(source);
            } else {
                multiview.setGridPos(source, cell / (2 * grid) + 1, cell % (2 * grid) + 1, 0,
                                     "Camera " + std::to_string(i));
            }
        }
        multiview.setGridName("PVW", "Preview");
        multiview.setGridName("PGM", "Program");
        multiview.addSink(&sink);
        multiview.addPullConsumer();
        turn();
    }
    ~Stage() {
        multiview.removePullConsumer();
        multiview.removeSink(&sink);
    }

    void turn() {
        for (auto& each : sources)
            each->turn();
    }

    // False when no picture came, however long.
    bool pull() {
        for (int tries = 0; tries < 100; ++tries) {
            const quol::FramePtr picture(multiview.renderVideoFrame());
            if (picture) return true;
        }
        return false;
    }

    // Before the multiview here, and so freed behind it: sources outlive their tiles.
    std::vector<std::unique_ptr<bench::TurningSource>> sources;
    NullSink sink;
    LMultiview multiview;
};

bool pull(Stage& stage, int frames, bool moving) {
    for (int i = 0; i < frames; ++i) {
        if (moving) stage.turn();
        if (!stage.pull()) return false;
    }
    return true;
}

int runWall(int sources, LMultiview::Renderer renderer, bool moving, int frames) {
    Stage stage(renderer, sources);
    if (!pull(stage, 5, moving)) return 1;
    bench::Meter meter;
    meter.start();
    if (!pull(stage, frames, moving)) return 1;
    meter.stop();
    bench::tellScene(meter, frames);
    return 0;
}

// ------------------------------------------------------------------------------------ table
bool addRow(const bench::SceneTable& table, int sources, const std::string& renderer,
            const std::string& kind) {
    const bool onProcessor = renderer == "processor";
    const int frames = onProcessor ? (kind == "moving" ? 400 : 2000) : 12;
    return table.add(std::to_string(sources) + " sources, " + renderer + ", " + kind,
                     {"--wall=" + std::to_string(sources), "--renderer=" + renderer,
                      "--sources=" + kind, "--frames=" + std::to_string(frames)});
}

int printAll(int rounds, const std::string& only) {
    const bench::SceneTable table(rounds);
    table.printHead();
    for (const Size& size : sizes) {
        if (!only.empty() && only != std::to_string(size.sources)) continue;
        // With OpenGL, moving less still is the upload; a wall without sources is borders and the
        // read-back.
        for (const char* renderer : {"processor", "graphics"}) {
            for (const char* kind : {"moving", "still"}) {
                if (!addRow(table, size.sources, renderer, kind)) return 1;
            }
        }
    }
    return addRow(table, 0, "graphics", "still") ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    const std::string places = bench::argument(argc, argv, "places", "");
    if (!places.empty()) return printPlaces(std::stoi(places));
    const std::string wall = bench::argument(argc, argv, "wall", "");
    if (wall.empty()) {
        return printAll(std::stoi(bench::argument(argc, argv, "rounds", "3")),
                        bench::argument(argc, argv, "only", ""));
    }
    const auto renderer = bench::argument(argc, argv, "renderer", "processor") == "graphics"
                              ? LMultiview::Renderer::graphics
                              : LMultiview::Renderer::processor;
    return runWall(std::stoi(wall), renderer,
                   bench::argument(argc, argv, "sources", "moving") == "moving",
                   std::stoi(bench::argument(argc, argv, "frames", "400")));
}

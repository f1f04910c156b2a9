// Monitor walls: the multiview pulled as fast as it goes, against GStreamer's compositor and
// glvideomixer and ffmpeg's xstack putting the same pictures into the same places. Every wall is
// drawn in a process of its own: with sources that bring another picture for every tick (what the
// peers do, too), with sources that stand still, and without any.
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
#include "support/Peers.h"
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

// Where the tiles lie: preview, program, and the grid below them row by row.
std::vector<quol::TileRect> placesOf(int sources) {
    const int grid = gridOf(sources);
    const quol::MultiviewLayout layout(0, grid, wallHeight);
    std::vector<quol::TileRect> places{
        quol::tileRect(layout.preview(), 0.0F, wallWidth, wallHeight),
        quol::tileRect(layout.program(), 0.0F, wallWidth, wallHeight)};
    for (int i = 0; i < sources - 2; ++i) {
        const int row = i / (2 * grid) + 1;
        const int column = i % (2 * grid) + 1;
        places.push_back(
            quol::tileRect(layout.cell(row, column, 0), layout.seam(), wallWidth, wallHeight));
    }
    return places;
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
    bench::tell("fps", frames / meter.wall());
    bench::tell("cpu", meter.cpu() * 1000.0 / frames);
    bench::tell("bytes", static_cast<double>(meter.allocations().bytes) / frames);
    bench::tell("calls", static_cast<double>(meter.allocations().calls) / frames);
    return 0;
}

// ------------------------------------------------------------------------------------- peers
bench::Command ffmpegCommand(int sources, int frames) {
    bench::Command command = bench::words("ffmpeg -v error -nostdin");
    std::string graph;
    std::string inputs;
    std::string layout;
    const auto places = placesOf(sources);
    for (int i = 0; i < sources; ++i) {
        command = bench::with(command,
                              bench::words("-f rawvideo -pix_fmt yuv420p -s 1920x1080 -r 50 -i"));
        command.push_back(bench::rawPicture(i % 4));
        const quol::TileRect& place = places[static_cast<std::size_t>(i)];
        const std::string input = std::to_string(i) + ":v]";
        std::string tile = "v";
        tile.append(std::to_string(i)).append("]");
        graph.append("[").append(input).append("loop=-1:size=1,setpts=N,scale=");
        graph.append(std::to_string(place.width)).append(":");
        graph.append(std::to_string(place.height)).append(":flags=bilinear[").append(tile);
        graph.append(";");
        inputs.append("[").append(tile);
        if (i > 0) layout.append("|");
        layout.append(std::to_string(place.x)).append("_").append(std::to_string(place.y));
    }
    graph += inputs + "xstack=inputs=" + std::to_string(sources) + ":layout=" + layout +
             ":fill=black,crop=1920:1080[out]";
    return bench::with(command, {"-filter_complex", graph, "-map", "[out]", "-frames:v",
                                 std::to_string(frames), "-f", "null", "-"});
}

bench::Command gstreamerCommand(const std::string& mixer, const std::string& behind, int sources,
                                int frames) {
    bench::Command command = bench::words("gst-launch-1.0 -q");
    command.push_back(mixer);
    command.emplace_back("name=m");
    const auto places = placesOf(sources);
    for (int i = 0; i < sources; ++i) {
        const quol::TileRect& place = places[static_cast<std::size_t>(i)];
        std::string sink = "sink_";
        sink.append(std::to_string(i)).append("::");
        command = bench::with(command, {sink + "xpos=" + std::to_string(place.x),
                                        sink + "ypos=" + std::to_string(place.y),
                                        sink + "width=" + std::to_string(place.width),
                                        sink + "height=" + std::to_string(place.height)});
    }
    command = bench::with(command, bench::words(behind));
    command =
        bench::with(command, {"!", "video/x-raw,format=I420,width=1920,height=1080,framerate=50/1",
                              "!", "fakesink", "sync=false"});
    for (int i = 0; i < sources; ++i) {
        command = bench::with(
            command, {"filesrc", "location=" + bench::rawPicture(i % 4), "blocksize=3110400", "!",
                      "rawvideoparse", "format=i420", "width=1920", "height=1080", "framerate=50/1",
                      "!", "imagefreeze", "num-buffers=" + std::to_string(frames), "!",
                      "video/x-raw,framerate=50/1", "!", "m.sink_" + std::to_string(i)});
    }
    return command;
}

// ------------------------------------------------------------------------------------ tables
void printRow(const std::string& name, const bench::Samples& samples, double copyMs, double calls,
              double bytes) {
    const bench::Figures figures = samples.middle();
    std::printf("  %-34s %9.1f %9.3f %9.1f", name.c_str(), figures.fps, figures.cpu,
                figures.cpu / copyMs);
    if (calls >= 0.0) std::printf(" %9.1f %12.0f", calls, bytes);
    std::printf("\n");
}

bool measureWall(int sources, const std::string& renderer, bool moving, int rounds, double copyMs,
                 bench::Figures& middle) {
    const bool onProcessor = renderer == "processor";
    const int frames = onProcessor ? (moving ? 400 : 2000) : 12;
    bench::Samples samples;
    double calls = 0.0;
    double bytes = 0.0;
    for (int round = 0; round < rounds; ++round) {
        bench::progress(std::to_string(sources) + " sources on the " + renderer + " path, round " +
                        std::to_string(round + 1) + " of " + std::to_string(rounds));
        const bench::Run run = bench::run(
            bench::ownCommand({"--wall=" + std::to_string(sources), "--renderer=" + renderer,
                               std::string("--sources=") + (moving ? "moving" : "still"),
                               "--frames=" + std::to_string(frames)}));
        if (!run.ok) return false;
        auto numbers = bench::told(run);
        samples.add({numbers["fps"], numbers["cpu"]});
        calls = numbers["calls"];
        bytes = numbers["bytes"];
    }
    printRow(renderer + ", sources " + (moving ? "moving" : "still"), samples, copyMs, calls,
             bytes);
    middle = samples.middle();
    return true;
}

void comparePeers(int sources, int rounds, double copyMs, const bench::Figures& ours) {
    struct Peer {
        const char* name;
        std::function<bench::Command(int)> command;
        int frames;
    };
    const std::array<Peer, 3> peers{
        {{"ffmpeg xstack", [=](int frames) { return ffmpegCommand(sources, frames); }, 200},
         {"gst-launch compositor",
          [=](int frames) { return gstreamerCommand("compositor", "", sources, frames); }, 200},
         {"gst-launch glvideomixer",
          [=](int frames) {
              return gstreamerCommand("glvideomixer", "! gldownload ! videoconvert", sources,
                                      frames);
          },
          12}}};
    for (const Peer& peer : peers) {
        bench::Samples samples;
        for (int round = 0; round < rounds; ++round) {
            bench::progress(std::string(peer.name) + ", round " + std::to_string(round + 1));
            bench::Figures figures;
            if (bench::measurePeer(peer.command, peer.frames, figures)) samples.add(figures);
        }
        if (samples.fps.empty()) {
            std::printf("  %-34s did not run\n", peer.name);
            continue;
        }
        printRow(peer.name, samples, copyMs, -1.0, 0.0);
        std::printf("  moving: library / %s = %.2f of its pictures a second, %.2f of its CPU\n",
                    peer.name, ours.fps / samples.middle().fps, ours.cpu / samples.middle().cpu);
    }
}

int compareAll(int rounds, const std::string& only) {
    const double copyMs =
        bench::plainCopySeconds(static_cast<std::size_t>(wallWidth) * wallHeight * 3 / 2) * 1000.0;
    std::printf(
        "1920x1080 from 1920x1080 sources, pulled as fast as it goes; a plain copy of one "
        "picture takes %.3f ms\n",
        copyMs);
    std::printf("  %-34s %9s %9s %9s %9s %12s\n", "", "frames/s", "cpu_ms", "x_copy", "allocs",
                "bytes/frame");
    for (const Size& size : sizes) {
        if (!only.empty() && only != std::to_string(size.sources)) continue;
        std::printf("%d sources\n", size.sources);
        bench::Figures moving;
        bench::Figures other;
        if (!measureWall(size.sources, "processor", true, rounds, copyMs, moving)) return 1;
        if (!measureWall(size.sources, "processor", false, rounds, copyMs, other)) return 1;
        // Moving less still is the upload; a wall without sources is borders and the read-back.
        if (!measureWall(size.sources, "graphics", true, 1, copyMs, other)) return 1;
        if (!measureWall(size.sources, "graphics", false, 1, copyMs, other)) return 1;
        comparePeers(size.sources, rounds, copyMs, moving);
    }
    bench::Figures empty;
    std::printf("no source\n");
    if (!measureWall(0, "graphics", false, 1, copyMs, empty)) return 1;
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const std::string wall = bench::argument(argc, argv, "wall", "");
    if (wall.empty()) {
        return compareAll(std::stoi(bench::argument(argc, argv, "rounds", "3")),
                          bench::argument(argc, argv, "only", ""));
    }
    const auto renderer = bench::argument(argc, argv, "renderer", "processor") == "graphics"
                              ? LMultiview::Renderer::graphics
                              : LMultiview::Renderer::processor;
    return runWall(std::stoi(wall), renderer,
                   bench::argument(argc, argv, "sources", "moving") == "moving",
                   std::stoi(bench::argument(argc, argv, "frames", "400")));
}

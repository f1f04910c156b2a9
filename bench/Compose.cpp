// Composing pictures: the mixer pulled as fast as it goes, against ffmpeg's overlay and GStreamer's
// compositor doing the same. Every scene runs in a process of its own, with sources that bring
// another picture for every tick (what the peers do, too) and with sources that stand still.
#include <array>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "quolsdk/LMixer.h"
#include "support/Commands.h"
#include "support/Measure.h"
#include "support/Peers.h"
#include "support/TurningSource.h"

namespace {

constexpr int canvasWidth = 1920;
constexpr int canvasHeight = 1080;

class Stage {
public:
    explicit Stage(LMixer::Renderer renderer) : mixer(renderer) {
        videoFormatProps format;
        format.width = canvasWidth;
        format.height = canvasHeight;
        format.fps = 50.0;
        format.pixelFormat = 1;
        mixer.setVideoFormat(format);
        mixer.addPullConsumer();
    }
    ~Stage() { mixer.removePullConsumer(); }

    LObject& source(AVPixelFormat format = AV_PIX_FMT_YUV420P) {
        sources.push_back(
            std::make_unique<bench::TurningSource>(canvasWidth, canvasHeight, format));
        return *sources.back();
    }
    void turn() {
        for (auto& each : sources)
            each->turn();
    }

    // Before the mixer here, and so freed behind it: sources outlive their layers.
    std::vector<std::unique_ptr<bench::TurningSource>> sources;
    LMixer mixer;
};

constexpr int opaque = 255;
constexpr int fourFifths = 204;
constexpr float smallWidth = 640.0F;
constexpr float smallHeight = 360.0F;
constexpr std::array<std::array<float, 2>, 3> smallPlaces{{{64, 64}, {640, 360}, {1216, 656}}};

void buildBackground(Stage& stage) {
    stage.mixer.addLayer("0", &stage.source());
}

void buildThreeSmall(Stage& stage) {
    buildBackground(stage);
    for (std::size_t i = 0; i < smallPlaces.size(); ++i) {
        stage.mixer.addLayer(std::to_string(i + 1), &stage.source(), 1, smallPlaces[i][0],
                             smallPlaces[i][1], fourFifths, smallWidth, smallHeight);
    }
}

void buildThreeFramed(Stage& stage) {
    buildThreeSmall(stage);
    for (const char* name : {"1", "2", "3"}) {
        stage.mixer.editLayer(name, [](LLayerItem& layer) {
            layer.cropLeft = 16.0F;
            layer.cropTop = 8.0F;
            layer.borderThickness = 4;
            layer.borderRadius = 10;
        });
    }
}

void buildKey(Stage& stage) {
    buildBackground(stage);
    LObject& fill = stage.source();
    LObject& key = stage.source();
    stage.mixer.addDSK("key", &fill, &key, 1);
}

void buildSixteen(Stage& stage) {
    buildBackground(stage);
    for (int i = 1; i < 16; ++i) {
        const auto column = static_cast<float>((i - 1) % 5);
        const auto row = static_cast<float>((i - 1) / 5);
        stage.mixer.addLayer(std::to_string(i), &stage.source(), i, 20.0F + column * 380.0F,
                             20.0F + row * 350.0F, fourFifths, 360.0F, 202.0F);
    }
}

struct Scene {
    const char* name;
    const char* text;
    void (*build)(Stage&);
};

constexpr std::array<Scene, 5> scenes{{
    {"a", "one full-screen opaque layer", buildBackground},
    {"b", "background and three 640x360 at 80 %, scaled from 1080p", buildThreeSmall},
    {"c", "the same with borders, rounded corners and crops", buildThreeFramed},
    {"d", "background and a full-screen downstream key", buildKey},
    {"e", "background and fifteen 360x202 at 80 %, scaled from 1080p", buildSixteen},
}};

// Pulls `frames` pictures. A picture that takes longer than a pull waits comes with a later one;
// false when none comes at all.
bool pull(Stage& stage, int frames, bool moving) {
    constexpr int patience = 100;
    int waits = 0;
    for (int i = 0; i < frames && waits < patience;) {
        if (moving) stage.turn();
        const quol::FramePtr picture(stage.mixer.renderVideoFrame());
        waits = picture ? 0 : waits + 1;
        if (picture) ++i;
    }
    return waits < patience;
}

int runScene(const Scene& scene, LMixer::Renderer renderer, bool moving, int frames) {
    Stage stage(renderer);
    scene.build(stage);
    stage.turn();
    if (!pull(stage, frames / 10 + 1, moving)) return 1;
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
std::string placeOf(std::size_t layer, char between) {
    return std::to_string(static_cast<int>(smallPlaces[layer][0])) + between +
           std::to_string(static_cast<int>(smallPlaces[layer][1]));
}

bench::Command ffmpegCommand(int frames) {
    bench::Command command = bench::words("ffmpeg -v error -nostdin");
    std::string graph = "[0:v]loop=-1:size=1,setpts=N[v0]";
    for (int i = 0; i < 4; ++i) {
        command = bench::with(command,
                              bench::words("-f rawvideo -pix_fmt yuv420p -s 1920x1080 -r 50 -i"));
        command.push_back(bench::rawPicture(i));
        if (i == 0) continue;
        const std::string n = std::to_string(i);
        graph += ";[" + n + ":v]loop=-1:size=1,setpts=N,scale=640:360:flags=bilinear,";
        graph += "format=yuva420p,lutyuv=a=204[p" + n + "];[v" + std::to_string(i - 1) + "][p" + n;
        graph += "]overlay=" + placeOf(static_cast<std::size_t>(i - 1), ':') + "[v" + n + "]";
    }
    return bench::with(command, {"-filter_complex", graph, "-map", "[v3]", "-frames:v",
                                 std::to_string(frames), "-f", "null", "-"});
}

bench::Command gstreamerCommand(int frames) {
    const std::string caps = "video/x-raw,format=I420,width=1920,height=1080,framerate=50/1";
    bench::Command command = bench::words("gst-launch-1.0 -q compositor name=m");
    for (std::size_t i = 0; i < smallPlaces.size(); ++i) {
        const std::string sink = "sink_" + std::to_string(i + 1) + "::";
        const std::string place = placeOf(i, ' ');
        const std::size_t blank = place.find(' ');
        command =
            bench::with(command, {sink + "xpos=" + place.substr(0, blank),
                                  sink + "ypos=" + place.substr(blank + 1), sink + "width=640",
                                  sink + "height=360", sink + "alpha=0.8"});
    }
    command = bench::with(command, {"!", caps, "!", "fakesink", "sync=false"});
    for (int i = 0; i < 4; ++i) {
        command = bench::with(
            command, {"filesrc", "location=" + bench::rawPicture(i), "blocksize=3110400", "!",
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

bool measureScene(const Scene& scene, const std::string& renderer, bool moving, int rounds,
                  double copyMs, bench::Figures& middle) {
    const bool onProcessor = renderer == "processor";
    const int frames = onProcessor ? (moving ? 600 : 1500) : 20;
    bench::Samples samples;
    double calls = 0.0;
    double bytes = 0.0;
    for (int round = 0; round < rounds; ++round) {
        bench::progress(std::string(scene.name) + " on the " + renderer + " path, round " +
                        std::to_string(round + 1) + " of " + std::to_string(rounds));
        const bench::Run run = bench::run(
            bench::ownCommand({std::string("--scene=") + scene.name, "--renderer=" + renderer,
                               std::string("--sources=") + (moving ? "moving" : "still"),
                               "--frames=" + std::to_string(frames)}));
        if (!run.ok) return false;
        auto numbers = bench::told(run);
        samples.add({numbers["fps"], numbers["cpu"]});
        calls = numbers["calls"];
        bytes = numbers["bytes"];
    }
    printRow(
        std::string(scene.name) + ", " + renderer + ", sources " + (moving ? "moving" : "still"),
        samples, copyMs, calls, bytes);
    middle = samples.middle();
    return true;
}

void comparePeers(int rounds, double copyMs, const bench::Figures& ours) {
    struct Peer {
        const char* name;
        bench::Command (*command)(int);
        int frames;
    };
    constexpr std::array<Peer, 2> peers{
        {{"ffmpeg overlay", ffmpegCommand, 400}, {"gst-launch compositor", gstreamerCommand, 800}}};
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
        printRow(std::string("b, ") + peer.name, samples, copyMs, -1.0, 0.0);
        std::printf("  b, moving: library / %s = %.2f of its pictures a second, %.2f of its CPU\n",
                    peer.name, ours.fps / samples.middle().fps, ours.cpu / samples.middle().cpu);
    }
}

int compareAll(int rounds, const std::string& only) {
    const double copyMs =
        bench::plainCopySeconds(static_cast<std::size_t>(canvasWidth) * canvasHeight * 3 / 2) *
        1000.0;
    std::printf("1920x1080 yuv420p, pulled as fast as it goes; a plain copy takes %.3f ms\n",
                copyMs);
    std::printf("  %-34s %9s %9s %9s %9s %12s\n", "", "frames/s", "cpu_ms", "x_copy", "allocs",
                "bytes/frame");
    for (const Scene& scene : scenes) {
        if (!only.empty() && only != scene.name) continue;
        std::printf("%s: %s\n", scene.name, scene.text);
        bench::Figures moving;
        bench::Figures other;
        if (!measureScene(scene, "processor", true, rounds, copyMs, moving)) return 1;
        if (!measureScene(scene, "processor", false, rounds, copyMs, other)) return 1;
        if (!measureScene(scene, "graphics", true, 1, copyMs, other)) return 1;
        if (scene.name[0] == 'b') comparePeers(rounds, copyMs, moving);
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const std::string name = bench::argument(argc, argv, "scene", "");
    if (name.empty()) {
        return compareAll(std::stoi(bench::argument(argc, argv, "rounds", "3")),
                          bench::argument(argc, argv, "only", ""));
    }
    const auto renderer = bench::argument(argc, argv, "renderer", "processor") == "graphics"
                              ? LMixer::Renderer::graphics
                              : LMixer::Renderer::processor;
    const bool moving = bench::argument(argc, argv, "sources", "moving") == "moving";
    const int frames = std::stoi(bench::argument(argc, argv, "frames", "500"));
    for (const Scene& scene : scenes) {
        if (name == scene.name) return runScene(scene, renderer, moving, frames);
    }
    return 2;
}

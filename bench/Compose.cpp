// Composing pictures: the mixer pulled as fast as it goes. Every scene runs in a process of its
// own, with sources that bring another picture for every tick and with sources that stand still.
#include <array>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "quolsdk/LMixer.h"
#include "support/Commands.h"
#include "support/Measure.h"
#include "support/Scenes.h"
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
    bench::tellScene(meter, frames);
    return 0;
}

// ------------------------------------------------------------------------------------ table
bool addRow(const bench::SceneTable& table, const Scene& scene, const std::string& renderer,
            bool moving) {
    const bool onProcessor = renderer == "processor";
    const int frames = onProcessor ? (moving ? 600 : 1500) : 20;
    const std::string sources = moving ? "moving" : "still";
    return table.add(std::string(scene.name) + ", " + renderer + ", sources " + sources,
                     {std::string("--scene=") + scene.name, "--renderer=" + renderer,
                      "--sources=" + sources, "--frames=" + std::to_string(frames)});
}

int printAll(int rounds, const std::string& only) {
    const bench::SceneTable table(rounds);
    table.printHead();
    for (const Scene& scene : scenes) {
        if (!only.empty() && only != scene.name) continue;
        std::printf("%s: %s\n", scene.name, scene.text);
        if (!addRow(table, scene, "processor", true) || !addRow(table, scene, "processor", false) ||
            !addRow(table, scene, "graphics", true))
            return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const std::string name = bench::argument(argc, argv, "scene", "");
    if (name.empty()) {
        return printAll(std::stoi(bench::argument(argc, argv, "rounds", "3")),
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

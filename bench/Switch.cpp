// Switching pictures: the switcher pulled as fast as it goes, with sources that bring another
// picture for every tick. Every scene runs in a process of its own.
#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "quolsdk/LCharacter.h"
#include "quolsdk/LSwitcher.h"
#include "support/Commands.h"
#include "support/Measure.h"
#include "support/Scenes.h"
#include "support/TurningSource.h"

namespace {

constexpr int canvasWidth = 1920;
constexpr int canvasHeight = 1080;
constexpr float position = 0.37F;

struct Scene {
    const char* name;
    const char* type; // of the transition; "" for the program alone
    int width = canvasWidth;
    int height = canvasHeight;
    int titles = 0;
    bool stinger = false;
};

constexpr std::array<Scene, 26> scenes{{
    {"program alone", ""},
    {"fade", "fade"},
    {"dip", "dip"},
    {"wipe_lr", "wipe_lr"},
    {"wipe_rl", "wipe_rl"},
    {"wipe_tb", "wipe_tb"},
    {"wipe_bt", "wipe_bt"},
    {"wipe_diagonal", "wipe_diagonal"},
    {"wipe_box", "wipe_box"},
    {"wipe_circle", "wipe_circle"},
    {"slide_lr", "slide_lr"},
    {"slide_rl", "slide_rl"},
    {"slide_tb", "slide_tb"},
    {"slide_bt", "slide_bt"},
    {"squeeze_lr", "squeeze_lr"},
    {"squeeze_rl", "squeeze_rl"},
    {"squeeze_tb", "squeeze_tb"},
    {"squeeze_bt", "squeeze_bt"},
    {"hard switch", "cut"},
    {"stinger by hand", "stinger", canvasWidth, canvasHeight, 0, true},
    {"one title, a tenth of the picture", "", canvasWidth, canvasHeight, 1},
    {"three such titles", "", canvasWidth, canvasHeight, 3},
    {"program from 1280x720", "", 1280, 720},
    {"program from 3840x2160", "", 3840, 2160},
    {"fade from 1280x720", "fade", 1280, 720},
    {"fade from 3840x2160", "fade", 3840, 2160},
}};

// A panel of a tenth of the picture, half transparent.
void addPanel(LCharacter& character, int number) {
    LCGRectProps panel;
    panel.bgType = "Color";
    panel.bgColor = "#2060C0";
    panel.bgAlpha = 128;
    character.addItem("panel", 80, 700 - number * 250, 1760, 118, panel);
}

// Everything that a scene needs, in the order in which it has to go.
class Stage {
public:
    explicit Stage(const Scene& scene)
        : a(scene.width, scene.height, AV_PIX_FMT_YUV420P),
          b(scene.width, scene.height, AV_PIX_FMT_YUV420P) {
        videoFormatProps format;
        format.width = canvasWidth;
        format.height = canvasHeight;
        format.fps = 50.0;
        switcher.setVideoFormat(format);
        switcher.setProgram(&a);
        switcher.setPreview(&b);
        for (int i = 0; i < scene.titles; ++i) {
            characters.push_back(std::make_unique<LCharacter>());
            addPanel(*characters.back(), i);
            switcher.addCG(characters.back().get());
        }
        switcher.addPullConsumer();
        switcher.setTransitionType(scene.type, "#FF8000");
        if (scene.type[0] != '\0') switcher.setTransition(position);
        if (scene.stinger) loadStinger();
        if (scene.titles > 0) std::this_thread::sleep_for(std::chrono::milliseconds(300));
    }
    ~Stage() {
        for (const auto& character : characters)
            switcher.removeCG(character.get());
        switcher.setProgram(nullptr);
        switcher.setPreview(nullptr);
        switcher.removePullConsumer();
    }
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    bool pull(int frames) {
        for (int i = 0; i < frames; ++i) {
            a.turn();
            b.turn();
            if (!quol::FramePtr(switcher.renderVideoFrame())) return false;
        }
        return true;
    }

private:
    void loadStinger() {
        const std::string clip = bench::madeOnce(
            "stinger.mov", bench::with(bench::words("ffmpeg -v error -y -f lavfi -i"),
                                       {"color=0x2060C0:size=1920x1080:rate=25,format=rgba,"
                                        "geq=r='p(X,Y)':g='90':b='200':a='255*between(X,T*1920,"
                                        "T*1920+400)'",
                                        "-t", "0.4", "-c:v", "qtrle"}));
        switcher.setStinger(clip);
        std::this_thread::sleep_for(std::chrono::seconds(2));
    }

    bench::TurningSource a;
    bench::TurningSource b;
    std::vector<std::unique_ptr<LCharacter>> characters;
    LSwitcher switcher;
};

int runScene(const Scene& scene, int frames) {
    Stage stage(scene);
    if (!stage.pull(frames / 10 + 1)) return 1;
    bench::Meter meter;
    meter.start();
    if (!stage.pull(frames)) return 1;
    meter.stop();
    bench::tellScene(meter, frames);
    return 0;
}

const Scene* sceneOf(const std::string& name) {
    for (const Scene& scene : scenes) {
        if (name == scene.name) return &scene;
    }
    return nullptr;
}

// ------------------------------------------------------------------------------------------ table
int printAll(int rounds) {
    const bench::SceneTable table(rounds);
    table.printHead();
    for (const Scene& scene : scenes) {
        const bool handedThrough =
            scene.type[0] == '\0' && scene.titles == 0 && scene.width == canvasWidth;
        if (!table.add(scene.name, {std::string("--scene=") + scene.name,
                                    handedThrough ? "--frames=100000" : "--frames=1000"}))
            return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const std::string name = bench::argument(argc, argv, "scene", "");
    if (name.empty()) return printAll(std::stoi(bench::argument(argc, argv, "rounds", "3")));
    const Scene* const scene = sceneOf(name);
    return scene != nullptr
               ? runScene(*scene, std::stoi(bench::argument(argc, argv, "frames", "1000")))
               : 2;
}

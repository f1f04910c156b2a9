// Switching pictures: the switcher pulled as fast as it goes, with sources that bring another
// picture for every tick, against ffmpeg doing the same. Every scene runs in a process of its own.
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
#include "support/Peers.h"
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
    bench::tell("fps", frames / meter.wall());
    bench::tell("cpu", meter.cpu() * 1000.0 / frames);
    bench::tell("bytes", static_cast<double>(meter.allocations().bytes) / frames);
    return 0;
}

const Scene* sceneOf(const std::string& name) {
    for (const Scene& scene : scenes) {
        if (name == scene.name) return &scene;
    }
    return nullptr;
}

// ------------------------------------------------------------------------------------------ peers

bench::Command peerCommand(const std::string& filter, int frames) {
    bench::Command command = bench::words("ffmpeg -v error -nostdin -filter_threads 1");
    for (int i = 0; i < 2; ++i) {
        command = bench::with(command,
                              bench::words("-f rawvideo -pix_fmt yuv420p -s 1920x1080 -r 50 -i"));
        command.push_back(bench::rawPicture(i));
    }
    const std::string still = "loop=-1:size=1,setpts=N/50/TB,fps=50";
    return bench::with(
        command,
        {"-filter_complex", "[0:v]" + still + "[a];[1:v]" + still + "[b];[a][b]" + filter + "[v]",
         "-map", "[v]", "-frames:v", std::to_string(frames), "-f", "null", "-"});
}

struct Peer {
    const char* name;
    const char* filter;
    int frames;
};

constexpr std::array<Peer, 3> peers{
    {{"ffmpeg blend, as a fade", "blend=all_mode=normal:all_opacity=0.63", 400},
     {"ffmpeg xfade fade", "xfade=transition=fade:duration=60:offset=0", 200},
     {"ffmpeg xfade wiperight", "xfade=transition=wiperight:duration=60:offset=0", 200}}};

// ------------------------------------------------------------------------------------------ table

bool measureScene(const Scene& scene, int rounds, double copyMs) {
    const int frames =
        scene.type[0] == '\0' && scene.titles == 0 && scene.width == canvasWidth ? 100000 : 1000;
    bench::Samples samples;
    double bytes = 0.0;
    for (int round = 0; round < rounds; ++round) {
        bench::progress(std::string(scene.name) + ", round " + std::to_string(round + 1) + " of " +
                        std::to_string(rounds));
        const bench::Run run = bench::run(bench::ownCommand(
            {std::string("--scene=") + scene.name, "--frames=" + std::to_string(frames)}));
        if (!run.ok) return false;
        auto numbers = bench::told(run);
        samples.add({numbers["fps"], numbers["cpu"]});
        bytes = numbers["bytes"];
    }
    const bench::Figures figures = samples.middle();
    std::printf("  %-36s %9.0f %9.4f %9.2f %12.0f\n", scene.name, figures.fps, figures.cpu,
                figures.cpu / copyMs, bytes);
    return true;
}

int compareAll(int rounds) {
    const double copyMs =
        bench::plainCopySeconds(static_cast<std::size_t>(canvasWidth) * canvasHeight * 3 / 2) *
        1000.0;
    std::printf("1920x1080 yuv420p, pulled as fast as it goes; a plain copy takes %.3f ms\n",
                copyMs);
    std::printf("  %-36s %9s %9s %9s %12s\n", "", "frames/s", "cpu_ms", "x_copy", "bytes/frame");
    for (const Scene& scene : scenes) {
        if (!measureScene(scene, rounds, copyMs)) return 1;
    }
    for (const Peer& peer : peers) {
        bench::progress(peer.name);
        bench::Figures figures;
        const auto command = [&peer](int frames) { return peerCommand(peer.filter, frames); };
        if (!bench::hasFFmpeg() || !bench::measurePeer(command, peer.frames, figures)) continue;
        std::printf("  %-36s %9.0f %9.4f %9.2f\n", peer.name, figures.fps, figures.cpu,
                    figures.cpu / copyMs);
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const std::string name = bench::argument(argc, argv, "scene", "");
    if (name.empty()) return compareAll(std::stoi(bench::argument(argc, argv, "rounds", "3")));
    const Scene* const scene = sceneOf(name);
    return scene != nullptr
               ? runScene(*scene, std::stoi(bench::argument(argc, argv, "frames", "1000")))
               : 2;
}

// Lottie templates: what a picture costs in the engine and in what is ours around it, what a change
// of a text costs, and eight layers at once.
//
//     bench_Lottie [--templates=A.json,B.json...]
//
// Without templates it draws one of its own.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "core/PlainFile.h"
#include "graphics/LottieCheck.h"
#include "graphics/LottieEngine.h"
#include "graphics/LottieRaster.h"
#include "graphics/LottieText.h"
#include "quolsdk/LAnimation.h"
#include "support/Commands.h"
#include "support/Measure.h"

namespace {

constexpr int canvasWidth = 1920;
constexpr int canvasHeight = 1080;
constexpr double goalOursMs = 2.0;
constexpr double goalUpdateMs = 20.0;

struct Template {
    std::string name;
    std::string json;
};

// A box that crosses the picture.
std::string movingBox(int number, int frames) {
    const std::string y = std::to_string(20 + number * 37 % 1040);
    const std::string from = std::to_string(number * 61 % 1900);
    const std::string to = std::to_string(1900 - number * 61 % 1900);
    return R"({"ddd":0,"ind":)" + std::to_string(number + 1) + R"(,"ty":4,"nm":"box )" +
           std::to_string(number) +
           R"(","sr":1,"ks":{"o":{"a":0,"k":80},"r":{"a":1,"k":[{"t":0,"s":[0],"i":{"x":[0.5],)"
           R"("y":[1]},"o":{"x":[0.5],"y":[0]}},{"t":)" +
           std::to_string(frames) + R"(,"s":[180]}]},"p":{"a":1,"k":[{"t":0,"s":[)" + from + ',' +
           y + R"(],"i":{"x":0.5,"y":1},"o":{"x":0.5,"y":0}},{"t":)" + std::to_string(frames) +
           R"(,"s":[)" + to + ',' + y +
           R"(]}]},"a":{"a":0,"k":[0,0]},"s":{"a":0,"k":[100,100]}},"shapes":[{"ty":"gr","it":[)"
           R"({"ty":"rc","p":{"a":0,"k":[0,0]},"s":{"a":0,"k":[160,60]},"r":{"a":0,"k":12}},)"
           R"({"ty":"fl","c":{"a":0,"k":[0.2,0.5,0.9,1]},"o":{"a":0,"k":100},"r":1},)"
           R"({"ty":"tr","p":{"a":0,"k":[0,0]},"a":{"a":0,"k":[0,0]},"s":{"a":0,"k":[100,100]},)"
           R"("r":{"a":0,"k":0},"o":{"a":0,"k":100}}]}],"ip":0,"op":)" +
           std::to_string(frames) + R"(,"st":0})";
}

// As many moving boxes.
Template ownTemplate(int boxes) {
    constexpr int frames = 100;
    std::string layers;
    for (int i = 0; i < boxes; ++i) {
        if (i > 0) layers += ',';
        layers += movingBox(i, frames);
    }
    return {"own, " + std::to_string(boxes) + " moving boxes",
            R"({"v":"5.7.0","fr":50,"ip":0,"op":)" + std::to_string(frames) +
                R"(,"w":1920,"h":1080,"ddd":0,"layers":[)" + layers + "]}"};
}

// The template with a text in front of its layers.
std::string withText(std::string json) {
    const std::string layer =
        R"({"ddd":0,"ind":9999,"ty":5,"nm":"the text","sr":1,"ks":{"o":{"a":0,"k":100},)"
        R"("r":{"a":0,"k":0},"p":{"a":0,"k":[100,900]},"a":{"a":0,"k":[0,0]},)"
        R"("s":{"a":0,"k":[100,100]}},"t":{"d":{"k":[{"s":{"s":60,"f":"F","t":"before","j":0,)"
        R"("tr":0,"lh":48,"ls":0,"fc":[1,1,1]},"t":0}]},"p":{},"m":{"g":1,"a":{"a":0,"k":[0,0]}},)"
        R"("a":[]},"ip":0,"op":9999,"st":0},)";
    const std::string key = "\"layers\":[";
    const std::size_t place = json.rfind(key); // those of the template, not of its parts
    return place == std::string::npos ? json : json.insert(place + key.size(), layer);
}

std::vector<std::string> listed(const std::string& text) {
    std::vector<std::string> parts;
    std::stringstream stream(text);
    for (std::string part; std::getline(stream, part, ',');)
        parts.push_back(part);
    return parts;
}

std::vector<Template> templatesOf(const std::string& paths) {
    std::vector<Template> all;
    for (const std::string& path : listed(paths)) {
        if (auto json = quol::readPlainFile(path))
            all.push_back({std::filesystem::path(path).filename().string(),
                           quol::withFontFamily(std::move(*json), "DejaVu Sans")});
        else
            std::fprintf(stderr, "%s cannot be read\n", path.c_str());
    }
    if (all.empty()) all.push_back(ownTemplate(60));
    return all;
}

struct Cost {
    double engineMs = 0.0; // wall: the engine draws with threads of its own
    double engineCpuMs = 0.0;
    double oursMs = 0.0; // CPU
};

// All frames of all of them, one layer each, over and over.
Cost measure(const std::vector<const Template*>& shown) {
    quol::LottieEngine engine;
    std::vector<std::unique_ptr<quol::LottieTemplate>> loaded;
    quol::LottieCanvas canvas; // goes before the templates that lie on it
    std::vector<quol::LottieTemplate*> layers;
    for (const Template* each : shown) {
        const auto drawable = quol::DrawableTemplate::of(each->json);
        loaded.push_back(drawable ? quol::LottieTemplate::load(*drawable, "") : nullptr);
        if (!loaded.back()) {
            std::fprintf(stderr, "%s cannot be loaded\n", each->name.c_str());
            return {};
        }
        layers.push_back(loaded.back().get());
    }
    canvas.setTemplates(layers);
    quol::LottieRaster raster(canvasWidth, canvasHeight);
    std::vector<double> engineWall;
    std::vector<double> engineCpu;
    std::vector<double> ours;
    constexpr int pictures = 200;
    for (int i = 0; i < pictures; ++i) {
        bench::Meter meter;
        meter.start();
        for (quol::LottieTemplate* layer : layers)
            layer->showFrame(layer->totalFrames() * static_cast<float>(i) / pictures);
        raster.draw(canvas);
        meter.stop();
        engineWall.push_back(meter.wall() * 1000.0);
        engineCpu.push_back(meter.cpu() * 1000.0);
        meter.start();
        const quol::FramePtr picture = raster.picture();
        meter.stop();
        ours.push_back(meter.cpu() * 1000.0);
    }
    return {bench::median(engineWall), bench::median(engineCpu), bench::median(ours)};
}

// A text of the template is changed while it plays.
double updateMs(const std::string& json) {
    const std::string path =
        (std::filesystem::temp_directory_path() / "bench_lottie_text.json").string();
    std::ofstream(path, std::ios::binary) << withText(json);
    LAnimation animation;
    std::vector<double> taken;
    if (animation.loadTemplate(1, path)) {
        for (int i = 0; i < 40; ++i) {
            const double start = bench::wallSeconds();
            animation.update(1, "the text", "after " + std::to_string(i));
            taken.push_back((bench::wallSeconds() - start) * 1000.0);
        }
    }
    std::filesystem::remove(path);
    return taken.empty() ? 0.0 : bench::median(taken);
}

void print(const char* name, const Cost& cost, double copyMs) {
    std::printf("  %-34s %10.2f %12.2f %9.2f %9.1f\n", name, cost.engineMs, cost.engineCpuMs,
                cost.oursMs, cost.oursMs / copyMs);
}

} // namespace

int main(int argc, char** argv) {
    if (!quol::hasLottieEngine()) {
        std::printf("built without Lottie templates\n");
        return 0;
    }
    const std::vector<Template> templates =
        templatesOf(bench::argument(argc, argv, "templates", ""));
    const double copyMs =
        bench::plainCopySeconds(static_cast<std::size_t>(canvasWidth) * canvasHeight * 5 / 2) *
        1000.0;
    std::printf(
        "1920x1080; a plain copy of a picture takes %.3f ms; ours should be below %.1f ms\n",
        copyMs, goalOursMs);
    std::printf("  %-34s %10s %12s %9s %9s\n", "", "engine_ms", "engine_cpu", "ours_cpu", "x_copy");
    for (const Template& each : templates) {
        bench::progress(each.name);
        print(each.name.c_str(), measure({&each}), copyMs);
    }
    std::vector<const Template*> eight;
    for (std::size_t i = 0; i < 8; ++i)
        eight.push_back(&templates[i % templates.size()]);
    bench::progress("eight layers");
    print("eight layers at once", measure(eight), copyMs);

    Template largest = ownTemplate(1300);
    for (const Template& each : templates) {
        if (each.json.size() > 1000000) largest = each;
    }
    bench::progress("changing a text");
    const double millis = updateMs(largest.json);
    std::printf("\n  a text changed in %s (%.2f MB): %.2f ms, goal below %.0f ms\n",
                largest.name.c_str(), static_cast<double>(largest.json.size()) / 1.0e6, millis,
                goalUpdateMs);
    return 0;
}

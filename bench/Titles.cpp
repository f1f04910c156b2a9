// Titles: what a tick of the character generator costs, drawing, conversion and all, and what it
// costs to lay one over a picture.
#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "graphics/SceneRenderer.h"
#include "quolsdk/LMixer.h"
#include "support/Commands.h"
#include "support/Measure.h"
#include "support/Scenes.h"

namespace {

constexpr int canvasWidth = 1920;
constexpr int canvasHeight = 1080;
constexpr auto tick = std::chrono::milliseconds(20);

// A scene whose ticks follow each other as fast as they are drawn, with 20 ms between them by its
// own clocks.
class Scene {
public:
    Scene() : renderer_(canvasWidth, canvasHeight) {}

    template <typename Item>
    Item& add(const char* id, int x, int y, int w, int h) {
        auto item = std::make_unique<Item>();
        item->id = id;
        item->x = static_cast<float>(x);
        item->y = static_cast<float>(y);
        item->w = w;
        item->h = h;
        Item& added = *item;
        items_.push_back(std::move(item));
        return added;
    }

    // One tick: what the generator's thread does, and the reference that it hands on.
    quol::FramePtr step() {
        now_.wall += tick;
        now_.count += tick;
        renderer_.render(items_, now_);
        return renderer_.frame();
    }

private:
    quol::SceneRenderer renderer_;
    std::vector<std::unique_ptr<LCGItem>> items_;
    quol::TagTime now_{std::chrono::system_clock::now(), std::chrono::steady_clock::now()};
};

LCGTextProps line(const char* text) {
    LCGTextProps props;
    props.text = text;
    props.font = "DejaVu Sans";
    props.fontSize = 56;
    return props;
}

// Nothing in it changes.
void buildStill(Scene& scene) {
    auto& panel = scene.add<LCGRectItem>("panel", 80, 820, 1200, 180);
    panel.props.bgType = "Color";
    scene.add<LCGTextItem>("name", 110, 830, 1140, 80).props = line("Jane Example");
}

void buildLowerThird(Scene& scene) {
    auto& panel = scene.add<LCGRectItem>("panel", 80, 820, 1200, 180);
    panel.props.bgType = "Color";
    panel.props.bgColor = "#000000";
    panel.props.bgAlpha = 153;
    scene.add<LCGTextItem>("name", 110, 830, 1140, 80).props = line("Jane Example");
    scene.add<LCGTextItem>("clock", 110, 910, 1140, 80).props = line("On air time::HH:mm:ss %");
}

// Its last digits change at every tick.
void buildFastClock(Scene& scene) {
    buildLowerThird(scene);
    scene.add<LCGTextItem>("fast", 700, 910, 550, 80).props = line("time::HH:mm:ss:ii %");
}

void buildCrawl(Scene& scene) {
    auto& crawl = scene.add<LCGCrawlItem>("crawl", 0, 1000, canvasWidth, 64);
    std::string text;
    while (text.size() < 2000)
        text += "What runs here is drawn once and only moved. ";
    text.resize(2000);
    crawl.props.text = text;
    crawl.props.font = "DejaVu Sans";
    crawl.props.bgType = "Color";
    crawl.scrollX = static_cast<float>(canvasWidth);
}

void buildTicker(Scene& scene) {
    auto& ticker = scene.add<LCGTickerItem>("ticker", 80, 960, 1200, 70);
    ticker.props.text = "The first line\nThe second line\nThe third line";
    ticker.props.font = "DejaVu Sans";
    ticker.props.bgType = "Color";
    ticker.props.textMoveDuration = 0.02F; // slides nearly all the time
}

void buildMoving(Scene& scene) {
    for (int i = 0; i < 10; ++i) {
        auto& item =
            scene.add<LCGTextItem>(std::to_string(i).c_str(), 40 + i * 180, 60 + i * 95, 260, 70);
        item.props = line("Moving");
        item.props.bgType = "Color";
        item.props.bgColor = "#204080";
        item.moveType = i % 2 == 0 ? "Horizontal" : "Vertical";
        item.moveSpeed = i % 3 == 0 ? -3.0F : 2.0F;
    }
}

struct Case {
    const char* name;
    void (*build)(Scene&);
};

constexpr std::array<Case, 6> cases{{{"nothing changes, drawn all the same", buildStill},
                                     {"lower third, clock of seconds", buildLowerThird},
                                     {"lower third, hundredths running", buildFastClock},
                                     {"crawl of 2000 letters", buildCrawl},
                                     {"ticker, sliding", buildTicker},
                                     {"ten items moving", buildMoving}}};

struct Cost {
    double cpuMs = 0.0;
    double bytes = 0.0;
};

Cost measureTicks(const Case& each, int ticks) {
    Scene scene;
    each.build(scene);
    for (int i = 0; i < 20; ++i)
        scene.step();
    bench::Meter meter;
    meter.start();
    for (int i = 0; i < ticks; ++i)
        scene.step();
    meter.stop();
    return {meter.cpu() * 1000.0 / ticks, static_cast<double>(meter.allocations().bytes) / ticks};
}

// ------------------------------------------------------------------------- over a picture
class OneSource : public LObject {};

// The lower third over a picture by the mixer, pulled as fast as it goes: CPU time of both.
int runOver(int frames) {
    OneSource background;
    OneSource titles;
    const quol::FramePtr picture =
        bench::makePicture(canvasWidth, canvasHeight, AV_PIX_FMT_YUV420P);
    Scene scene;
    buildLowerThird(scene);
    LMixer mixer(LMixer::Renderer::processor);
    videoFormatProps format;
    format.width = canvasWidth;
    format.height = canvasHeight;
    format.fps = 50.0;
    format.pixelFormat = 1;
    mixer.setVideoFormat(format);
    mixer.addPullConsumer();
    mixer.addLayer("0", &background);
    mixer.addLayer("1", &titles, 1);
    const auto pull = [&](int count) {
        for (int i = 0; i < count;) {
            background.distributeVideoFrame(picture.get());
            const quol::FramePtr title = scene.step();
            titles.distributeVideoFrame(title.get());
            if (quol::FramePtr(mixer.renderVideoFrame())) ++i;
        }
    };
    pull(20);
    bench::Meter meter;
    meter.start();
    pull(frames);
    meter.stop();
    mixer.removePullConsumer();
    mixer.removeLayer("0");
    mixer.removeLayer("1");
    bench::tellScene(meter, frames);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const int over = std::stoi(bench::argument(argc, argv, "over", "0"));
    if (over > 0) return runOver(over);
    const double copyMs =
        bench::plainCopySeconds(static_cast<std::size_t>(canvasWidth) * canvasHeight * 3 / 2) *
        1000.0;
    std::printf(
        "1920x1080, ticks of 20 ms as fast as they go; a plain copy of a 4:2:0 picture takes "
        "%.3f ms\n",
        copyMs);
    std::printf("  %-34s %9s %9s %12s\n", "", "cpu_ms", "x_copy", "bytes/tick");
    for (const Case& each : cases) {
        bench::progress(each.name);
        const Cost cost = measureTicks(each, 1000);
        std::printf("  %-34s %9.3f %9.1f %12.0f\n", each.name, cost.cpuMs, cost.cpuMs / copyMs,
                    cost.bytes);
    }
    const bench::SceneTable table(std::stoi(bench::argument(argc, argv, "rounds", "3")));
    table.printHead();
    return table.add("lower third over a picture", {"--over=1500"}) ? 0 : 1;
}

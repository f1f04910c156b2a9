// What a preview of 1080p50 costs: CPU time of this process while one stands, and four, beside one
// upload and draw a picture and nothing else. In windows of an X server without a screen, where
// there is none to be had of one's own.
#include <xcb/xcb.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "core/Clock.h"
#include "outputs/PreviewDrawing.h"
#include "platform/window/WindowSurface.h"
#include "quolsdk/LPreview.h"
#include "support/Commands.h"
#include "support/Measure.h"
#include "support/Program.h"
#include "support/TurningSource.h"
#include "support/XServer.h"

namespace {

constexpr int width = 1920;
constexpr int height = 1080;
constexpr std::int64_t period = quol::nanosPerSecond / 50;

std::vector<std::string> table;

void add(const char* name, const bench::Meter& meter, int pictures) {
    std::array<char, 160> line{};
    std::snprintf(line.data(), line.size(), "  %-44s %8.1f%% %10.3f %12.1f %12.0f", name,
                  100.0 * meter.cpu() / meter.wall(), 1000.0 * meter.cpu() / pictures,
                  static_cast<double>(meter.allocations().calls) / pictures,
                  static_cast<double>(meter.allocations().bytes) / pictures);
    table.emplace_back(line.data());
}

// Hands pictures on at 50 a second for so long; how many there were.
template <typename Step>
int run(double seconds, Step step) {
    const auto pictures = static_cast<int>(seconds * 50);
    const std::int64_t begin = quol::steadyNow();
    for (int i = 0; i < pictures; ++i) {
        quol::sleepFor(begin + i * period - quol::steadyNow());
        step(i);
    }
    return pictures;
}

// The limit: on the thread itself, the same window, without a preview.
void measureBare(double seconds, const std::vector<quol::FramePtr>& pictures) {
    const test::HostWindow window(960, 540);
    quol::WindowSurface surface(window.id());
    if (!surface.open()) return;
    quol::PreviewDrawing drawing(surface.entries());
    quol::PreviewScene scene;
    const auto step = [&](int i) {
        drawing.upload(*pictures[static_cast<std::size_t>(i) % pictures.size()]);
        drawing.draw(scene, surface.size());
        surface.present();
    };
    run(0.5, step);
    bench::Meter meter;
    meter.start();
    const int shown = run(seconds, step);
    meter.stop();
    add("one upload and draw, 1080p50 into 960x540", meter, shown);
}

void measurePreviews(const char* name, double seconds, std::size_t count, bool dressed) {
    std::vector<std::unique_ptr<test::HostWindow>> windows;
    std::vector<std::unique_ptr<LPreview>> previews;
    bench::TurningSource source(width, height, AV_PIX_FMT_YUV420P);
    for (std::size_t i = 0; i < count; ++i) {
        windows.push_back(std::make_unique<test::HostWindow>(
            count == 1 ? 960 : 320, count == 1 ? 540 : 180, static_cast<int>(i) * 320));
        auto preview = std::make_unique<LPreview>();
        preview->setProps("ui_framework", "x11");
        if (dressed) {
            preview->setName("Camera 1");
            preview->setStatus("program");
            preview->setProps("audio_meter", "1");
        }
        preview->previewObject(&source);
        preview->previewEnable(windows.back()->handle(), false, true);
        previews.push_back(std::move(preview));
    }
    const auto step = [&source](int) { source.turn(); };
    run(1.0, step);
    bench::Meter meter;
    meter.start();
    const int pushed = run(seconds, step);
    meter.stop();
    add(name, meter, pushed);
    for (const auto& preview : previews)
        preview->previewObject(nullptr);
}

} // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 5.0;
    const test::XServer server;
    if (!server.running()) {
        std::fprintf(stderr, "bench_Preview: no Xvfb\n");
        return 1;
    }
    {
        const bench::QuietOutput quiet;
        std::vector<quol::FramePtr> pictures;
        for (int i = 0; i < 4; ++i)
            pictures.push_back(bench::makePicture(width, height, AV_PIX_FMT_YUV420P));
        measureBare(seconds, pictures);
        measurePreviews("a preview, 1080p50 into 960x540", seconds, 1, false);
        measurePreviews("the same with label, border and meter", seconds, 1, true);
        measurePreviews("four previews, 1080p50 into 320x180 each", seconds, 4, true);
    }
    std::printf("  %-44s %9s %10s %12s %12s\n", "", "one core", "ms/picture", "allocations",
                "bytes each");
    for (const std::string& line : table)
        std::printf("%s\n", line.c_str());
    return 0;
}

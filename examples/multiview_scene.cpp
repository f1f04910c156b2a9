// A C++ host that draws a multiview's wall into a PNG: every tile shows a source of its own making
// with another level of sound, one is on air, one is next.
//
//     multiview_scene OUTPUT [ORIENTATION] [GRID_SIZE] [WIDTH] [HEIGHT] [graphics]
//
// Exit status: 0 done, 1 no picture came or none can be written, 2 wrong use.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "PngWriter.h"
#include "quolsdk/FrameHandle.h"
#include "quolsdk/LMultiview.h"
#include "quolsdk/LSink.h"
#include "usage.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/frame.h>
}

namespace {

constexpr int sourceWidth = 1280;
constexpr int sourceHeight = 720;

std::uint8_t byteOf(double level) {
    return static_cast<std::uint8_t>(std::clamp(level, 0.0, 255.0));
}

// A sky over hills, another one for each number, in limited range as cameras deliver it.
quol::FramePtr landscape(int number) {
    quol::FramePtr frame(av_frame_alloc());
    frame->width = sourceWidth;
    frame->height = sourceHeight;
    frame->format = AV_PIX_FMT_YUV420P;
    if (av_frame_get_buffer(frame.get(), 0) < 0) return nullptr;
    const double hue = 0.7 * number;
    for (int y = 0; y < sourceHeight; ++y) {
        for (int x = 0; x < sourceWidth; ++x) {
            const double hill = 400.0 + 90.0 * std::sin(x / 130.0 + number) +
                                40.0 * std::sin(x / 37.0 + 2.0 * number);
            const bool isSky = y < hill;
            const bool isSun = std::hypot(x - 950.0 + 20.0 * number, y - 150.0) < 60.0;
            const double luma =
                isSun ? 225.0
                      : (isSky ? 190.0 - y * 0.15 : 90.0 - (y - hill) * 0.12 + 9.0 * (x / 8 % 2));
            frame->data[0][y * frame->linesize[0] + x] = byteOf(luma);
            if (x % 2 != 0 || y % 2 != 0) continue;
            const double shift = isSun ? 30.0 : (isSky ? 26.0 : 22.0);
            const double angle = isSun ? 2.2 : (isSky ? hue : hue + 2.6);
            frame->data[1][y / 2 * frame->linesize[1] + x / 2] =
                byteOf(128.0 + shift * std::cos(angle));
            frame->data[2][y / 2 * frame->linesize[2] + x / 2] =
                byteOf(128.0 + shift * std::sin(angle));
        }
    }
    return frame;
}

quol::FramePtr tone(double left, double right) {
    quol::FramePtr frame(av_frame_alloc());
    frame->nb_samples = 960;
    frame->sample_rate = 48000;
    frame->format = AV_SAMPLE_FMT_S16;
    av_channel_layout_default(&frame->ch_layout, 2);
    if (av_frame_get_buffer(frame.get(), 0) < 0) return nullptr;
    auto* const samples = reinterpret_cast<std::int16_t*>(frame->data[0]);
    for (int i = 0; i < frame->nb_samples; ++i) {
        const double wave = 32767.0 * std::sin(i * 0.131);
        samples[2 * i] = static_cast<std::int16_t>(left * wave);
        samples[2 * i + 1] = static_cast<std::int16_t>(right * wave);
    }
    return frame;
}

// Keeps the latest picture of the wall.
class Keeper : public LSink {
public:
    void pushVideoFrame(AVFrame* frame) override {
        const std::lock_guard lock(mutex_);
        latest_ = quol::cloneFrame(frame);
        ++count_;
    }
    void pushAudioFrame(AVFrame* /*frame*/) override {}

    int count() const { return count_; }

    // As packed RGB: the wall is in full range.
    std::vector<std::uint8_t> rgb(int& width, int& height) {
        const std::lock_guard lock(mutex_);
        if (!latest_) return {};
        width = latest_->width;
        height = latest_->height;
        std::vector<std::uint8_t> pixels;
        pixels.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const double luma = latest_->data[0][y * latest_->linesize[0] + x];
                const double u = latest_->data[1][y / 2 * latest_->linesize[1] + x / 2] - 128.0;
                const double v = latest_->data[2][y / 2 * latest_->linesize[2] + x / 2] - 128.0;
                pixels.push_back(byteOf(luma + 1.402 * v + 0.5));
                pixels.push_back(byteOf(luma - 0.344 * u - 0.714 * v + 0.5));
                pixels.push_back(byteOf(luma + 1.772 * u + 0.5));
            }
        }
        return pixels;
    }

private:
    std::mutex mutex_;
    quol::FramePtr latest_;
    std::atomic<int> count_{0};
};

int argumentOf(int argc, char** argv, int index, int otherwise) {
    return argc > index ? std::atoi(argv[index]) : otherwise;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2 || asks_for_help(argc, argv)) {
        return tell_usage(argc, argv,
                          "OUTPUT.png [ORIENTATION] [GRID_SIZE] [WIDTH] [HEIGHT] [graphics]",
                          "draw the wall of a multiviewer");
    }
    const auto orientation = static_cast<MultiviewOrientation>(argumentOf(argc, argv, 2, 0));
    const int size = argumentOf(argc, argv, 3, 2);
    const bool isWide = orientation == MultiviewOrientation::gridBelow ||
                        orientation == MultiviewOrientation::gridAbove;
    const int rows = isWide ? size : 2 * size;
    const int columns = isWide ? 2 * size : size;

    std::vector<std::unique_ptr<LObject>> cameras;
    for (int i = 0; i < rows * columns; ++i)
        cameras.push_back(std::make_unique<LObject>());

    videoFormatProps format;
    format.width = argumentOf(argc, argv, 4, 1920);
    format.height = argumentOf(argc, argv, 5, 1080);
    format.fps = 25.0;
    const bool isGraphics = argc > 6 && std::strcmp(argv[6], "graphics") == 0;
    LMultiview wall(isGraphics ? LMultiview::Renderer::graphics : LMultiview::Renderer::processor);
    wall.setVideoFormat(format);
    wall.setupGrid(orientation, size);
    for (int i = 0; i < rows * columns; ++i) {
        const int row = i / columns + 1;
        const int column = i % columns + 1;
        wall.setGridPos(cameras[static_cast<std::size_t>(i)].get(), row, column, 0,
                        "CAM " + std::to_string(i + 1));
    }
    wall.setPVWSource(cameras.front().get());
    wall.setPGMSource(cameras.back().get());
    wall.setGridName("PVW", "Preview");
    wall.setGridName("PGM", "Program");
    wall.setGridPVW(1, 1);
    wall.setGridPGM(rows, columns);

    Keeper keeper;
    wall.addSink(&keeper);
    for (std::size_t i = 0; i < cameras.size(); ++i) {
        const quol::FramePtr picture = landscape(static_cast<int>(i));
        cameras[i]->distributeVideoFrame(picture.get());
    }
    // Sound has to go on for its meter to stay. OpenGL on the main processor takes its time.
    int settled = 0;
    for (int tries = 0; tries < 1000 && settled < 3; ++tries) {
        for (std::size_t i = 0; i < cameras.size(); ++i) {
            const double level = static_cast<double>(i + 1) / static_cast<double>(cameras.size());
            const quol::FramePtr sound = tone(level, 0.85 * level);
            if (i % 5 != 3) cameras[i]->distributeAudioFrame(sound.get());
        }
        const int before = keeper.count();
        std::this_thread::sleep_for(std::chrono::milliseconds(40));
        if (keeper.count() > before && tries > 10) ++settled;
    }
    wall.removeSink(&keeper);
    int width = 0;
    int height = 0;
    const std::vector<std::uint8_t> pixels = keeper.rgb(width, height);
    if (pixels.empty() || !writePng(argv[1], width, height, pixels)) return 1;
    std::printf("wrote %s\n", argv[1]);
    return 0;
}

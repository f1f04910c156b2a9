// What the frame tap costs: the conversion on the source's thread, the copy on the host's.
#include <vector>

#include "quolsdk/LFrame.h"
#include "support/Measure.h"

namespace {

constexpr int width = 1920;
constexpr int height = 1080;
constexpr std::size_t rgbaBytes = std::size_t{width} * height * 4;

void push(benchmark::State& state, AVPixelFormat format) {
    const quol::FramePtr picture = bench::makePicture(width, height, format);
    LFrame tap;
    tap.pushVideoFrame(picture.get());
    bench::FrameCounters counters(state, bench::pictureBytes(width, height, format));
    for (auto _ : state)
        tap.pushVideoFrame(picture.get());
    counters.report();
}

// The same conversion without the tap, into a picture that is kept.
void scaleAlone(benchmark::State& state, AVPixelFormat format) {
    const quol::FramePtr picture = bench::makePicture(width, height, format);
    const quol::SwsPtr scaler(sws_getContext(width, height, format, width, height, AV_PIX_FMT_RGBA,
                                             SWS_BILINEAR, nullptr, nullptr, nullptr));
    std::vector<std::uint8_t> rgba(rgbaBytes);
    std::uint8_t* const planes[4] = {rgba.data(), nullptr, nullptr, nullptr};
    const int strides[4] = {width * 4, 0, 0, 0};
    bench::FrameCounters counters(state, bench::pictureBytes(width, height, format));
    for (auto _ : state)
        sws_scale(scaler.get(), picture->data, picture->linesize, 0, height, planes, strides);
    counters.report();
}

// A host's copy, beside a plain copy of the same RGBA bytes.
void getVideo(benchmark::State& state) {
    const quol::FramePtr picture = bench::makePicture(width, height, AV_PIX_FMT_YUV420P);
    LFrame tap;
    tap.pushVideoFrame(picture.get());
    bench::FrameCounters counters(state, rgbaBytes);
    for (auto _ : state) {
        const LFrame::Video video = tap.getVideo();
        benchmark::DoNotOptimize(video.rgba.data());
    }
    counters.report();
}

BENCHMARK_CAPTURE(push, yuv420p, AV_PIX_FMT_YUV420P)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(scaleAlone, yuv420p, AV_PIX_FMT_YUV420P)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(push, uyvy422, AV_PIX_FMT_UYVY422)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(scaleAlone, uyvy422, AV_PIX_FMT_UYVY422)->Unit(benchmark::kMillisecond);
BENCHMARK(getVideo)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    return bench::runBenchmarks(argc, argv);
}

#include "support/Measure.h"

#include <fcntl.h>
#include <unistd.h>
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace bench {

namespace {

double readClock(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

} // namespace

double cpuSeconds() {
    return readClock(CLOCK_PROCESS_CPUTIME_ID);
}

double wallSeconds() {
    return readClock(CLOCK_MONOTONIC);
}

double median(std::vector<double> values) {
    if (values.empty()) return 0.0;
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

void Meter::start() {
    allocations_ = allocationsSoFar();
    wall_ = wallSeconds();
    cpu_ = cpuSeconds();
}

void Meter::stop() {
    cpu_ = cpuSeconds() - cpu_;
    wall_ = wallSeconds() - wall_;
    const Allocations now = allocationsSoFar();
    allocations_ = {now.calls - allocations_.calls, now.bytes - allocations_.bytes};
}

double plainCopySeconds(std::size_t bytes) {
    constexpr int rounds = 60;
    static std::vector<std::uint8_t> from;
    static std::vector<std::uint8_t> to;
    if (from.size() < bytes) {
        from.assign(bytes, 1);
        to.assign(bytes, 2);
    }
    std::vector<double> times;
    for (int i = 0; i < rounds; ++i) {
        const double start = readClock(CLOCK_THREAD_CPUTIME_ID);
        std::memcpy(to.data(), from.data(), bytes);
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
        times.push_back(readClock(CLOCK_THREAD_CPUTIME_ID) - start);
    }
    return median(std::move(times));
}

std::size_t pictureBytes(int width, int height, AVPixelFormat format) {
    return static_cast<std::size_t>(av_image_get_buffer_size(format, width, height, 1));
}

int planeRows(const AVFrame& frame, int plane) {
    const auto* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    const bool chroma = plane == 1 || plane == 2;
    return chroma ? AV_CEIL_RSHIFT(frame.height, format->log2_chroma_h) : frame.height;
}

quol::FramePtr makePicture(int width, int height, AVPixelFormat format) {
    quol::FramePtr frame = quol::makeFrame();
    frame->width = width;
    frame->height = height;
    frame->format = format;
    if (av_frame_get_buffer(frame.get(), 32) < 0) return nullptr;
    std::uint32_t noise = 1;
    for (int plane = 0; plane < 4 && frame->data[plane] != nullptr; ++plane) {
        const auto size =
            static_cast<std::ptrdiff_t>(frame->linesize[plane]) * planeRows(*frame, plane);
        std::generate_n(frame->data[plane], size, [&noise] {
            noise = noise * 1664525U + 1013904223U;
            return static_cast<std::uint8_t>(noise >> 24U);
        });
    }
    return frame;
}

void copyPicture(const AVFrame& from, AVFrame& to) {
    av_image_copy(to.data, to.linesize, const_cast<const std::uint8_t**>(from.data), from.linesize,
                  static_cast<AVPixelFormat>(from.format), from.width, from.height);
}

FrameCounters::FrameCounters(benchmark::State& state, std::size_t copyBytes)
    : state_(state), copyBytes_(copyBytes), copy_(plainCopySeconds(copyBytes)) {
    meter_.start();
}

void FrameCounters::report(std::int64_t frames) {
    meter_.stop();
    copy_ = (copy_ + plainCopySeconds(copyBytes_)) / 2;
    const auto count = static_cast<double>(frames > 0 ? frames : state_.iterations());
    const Allocations& used = meter_.allocations();
    cpuPerFrame_ = meter_.cpu() / count;
    state_.counters["frames/s"] = 1.0 / cpuPerFrame_;
    state_.counters["cpu_ms"] = cpuPerFrame_ * 1000.0;
    state_.counters["allocs"] = static_cast<double>(used.calls) / count;
    state_.counters["bytes"] = static_cast<double>(used.bytes) / count;
    state_.counters["x_copy"] = cpuPerFrame_ / copy_;
}

QuietOutput::QuietOutput() {
    std::fflush(stdout);
    saved_ = dup(STDOUT_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
}

QuietOutput::~QuietOutput() {
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
}

int runBenchmarks(int argc, char** argv) {
    char columns[] = "--benchmark_counters_tabular=true";
    std::vector<char*> arguments{argv[0], columns};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    benchmark::Initialize(&count, arguments.data());
    // What is left may be meant for the programs that are no such benchmarks.
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

} // namespace bench

// A picture's memory from the pool, from FFmpeg's allocator, and none at all.
#include "core/PicturePool.h"

#include <algorithm>
#include <vector>

#include "support/Measure.h"

namespace {

constexpr int width = 1920;
constexpr int height = 1080;
constexpr AVPixelFormat format = AV_PIX_FMT_YUV420P;

quol::FramePtr freshPicture() {
    quol::FramePtr frame = quol::makeFrame();
    frame->width = width;
    frame->height = height;
    frame->format = format;
    return av_frame_get_buffer(frame.get(), 32) >= 0 ? std::move(frame) : nullptr;
}

// Makes and writes as many pictures as the argument says, then lets all of them go: what a graph
// does that keeps some in flight and empties now and then.
template <typename Make>
void write(benchmark::State& state, Make make) {
    const quol::FramePtr source = bench::makePicture(width, height, format);
    const auto inFlight = static_cast<std::size_t>(state.range(0));
    std::vector<quol::FramePtr> pictures(inFlight);
    const auto round = [&] {
        for (quol::FramePtr& picture : pictures) {
            picture = make();
            bench::copyPicture(*source, *picture);
        }
        for (quol::FramePtr& picture : pictures)
            picture.reset();
    };
    round();
    bench::FrameCounters counters(state, bench::pictureBytes(width, height, format));
    for (auto _ : state)
        round();
    counters.report(state.iterations() * state.range(0));
}

void fromPool(benchmark::State& state) {
    quol::PicturePool pool;
    write(state, [&pool] { return pool.get(width, height, format); });
}

void fromFFmpeg(benchmark::State& state) {
    write(state, freshPicture);
}

// Taking and returning a picture, nothing written.
void poolAlone(benchmark::State& state) {
    quol::PicturePool pool;
    pool.get(width, height, format);
    bench::FrameCounters counters(state, bench::pictureBytes(width, height, format));
    for (auto _ : state)
        pool.get(width, height, format);
    counters.report();
}

// The limit: the same rows into a picture that is always there.
void intoKept(benchmark::State& state) {
    const quol::FramePtr source = bench::makePicture(width, height, format);
    const quol::FramePtr kept = bench::makePicture(width, height, format);
    bench::FrameCounters counters(state, bench::pictureBytes(width, height, format));
    for (auto _ : state)
        bench::copyPicture(*source, *kept);
    counters.report();
}

BENCHMARK(poolAlone)->Name("pool, nothing written");
BENCHMARK(fromPool)->Name("pool/in flight")->Arg(1)->Arg(8)->Unit(benchmark::kMicrosecond);
BENCHMARK(fromFFmpeg)
    ->Name("av_frame_get_buffer/in flight")
    ->Arg(1)
    ->Arg(8)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(intoKept)->Name("a kept picture")->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    return bench::runBenchmarks(argc, argv);
}

// What it costs to hand one picture to many sinks, beside the references the sinks take.
#include <memory>
#include <mutex>
#include <vector>

#include "quolsdk/LObject.h"
#include "quolsdk/LSink.h"
#include "support/Measure.h"

namespace {

constexpr int width = 1920;
constexpr int height = 1080;
constexpr AVPixelFormat format = AV_PIX_FMT_YUV420P;

class Source : public LObject {};

class NullSink : public LSink {
public:
    void pushVideoFrame(AVFrame* frame) override { benchmark::DoNotOptimize(frame); }
    void pushAudioFrame(AVFrame*) override {}
};

// Keeps the newest picture, as a compositor's sink does.
class SlotSink : public LSink {
public:
    void pushVideoFrame(AVFrame* frame) override {
        quol::FramePtr newest = quol::cloneFrame(frame);
        const std::lock_guard lock(mutex_);
        newest_.swap(newest);
    }
    void pushAudioFrame(AVFrame*) override {}

private:
    std::mutex mutex_;
    quol::FramePtr newest_;
};

// Sinks on one source, attached without the library's lines about it.
template <typename Sink>
class Graph {
public:
    explicit Graph(std::size_t count) {
        const bench::QuietOutput quiet;
        for (std::size_t i = 0; i < count; ++i) {
            sinks_.push_back(std::make_unique<Sink>());
            source.addSink(sinks_.back().get());
        }
    }
    ~Graph() {
        const bench::QuietOutput quiet;
        for (const auto& sink : sinks_)
            source.removeSink(sink.get());
    }

    Source source;

private:
    std::vector<std::unique_ptr<Sink>> sinks_;
};

template <typename Sink>
void distribute(benchmark::State& state) {
    const quol::FramePtr picture = bench::makePicture(width, height, format);
    Graph<Sink> graph(static_cast<std::size_t>(state.range(0)));
    graph.source.distributeVideoFrame(picture.get());
    bench::FrameCounters counters(state, bench::pictureBytes(width, height, format));
    for (auto _ : state)
        graph.source.distributeVideoFrame(picture.get());
    counters.report();
}

// The sinks' share: the same pushes without a source in front. The difference to the same number
// of sinks behind a source is what distribution costs.
void pushDirectly(benchmark::State& state) {
    const quol::FramePtr picture = bench::makePicture(width, height, format);
    std::vector<std::unique_ptr<LSink>> sinks;
    for (std::int64_t i = 0; i < state.range(0); ++i)
        sinks.push_back(std::make_unique<SlotSink>());
    for (const auto& sink : sinks)
        sink->pushVideoFrame(picture.get());
    bench::FrameCounters counters(state, bench::pictureBytes(width, height, format));
    for (auto _ : state) {
        for (const auto& sink : sinks)
            sink->pushVideoFrame(picture.get());
    }
    counters.report();
}

// Nobody attached: the picture goes into the queue, whose oldest goes.
void queueUnheard(benchmark::State& state) {
    const quol::FramePtr picture = bench::makePicture(width, height, format);
    Source source;
    for (std::size_t i = 0; i <= LObject::maxQueuedFrames; ++i)
        source.distributeVideoFrame(picture.get());
    bench::FrameCounters counters(state, bench::pictureBytes(width, height, format));
    for (auto _ : state)
        source.distributeVideoFrame(picture.get());
    counters.report();
}

BENCHMARK(distribute<NullSink>)->Name("distribute/null sink")->Arg(1)->Arg(8)->Arg(64);
BENCHMARK(distribute<SlotSink>)->Name("distribute/sink with a slot")->Arg(1)->Arg(8)->Arg(64);
BENCHMARK(pushDirectly)->Name("the same sinks, no source")->Arg(1)->Arg(8)->Arg(64);
BENCHMARK(queueUnheard)->Name("distribute/no sink");

} // namespace

int main(int argc, char** argv) {
    return bench::runBenchmarks(argc, argv);
}

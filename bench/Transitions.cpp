// Every type of transition at 1080p beside a plain copy of one picture and a plain average of two,
// with pictures that come from main memory and with ones that stay in the cache.
#include "compositing/Transitions.h"

#include <functional>
#include <string>
#include <vector>

#include "compositing/MixRows.h"
#include "core/Vectorize.h"
#include "support/Measure.h"

namespace {

constexpr int width = 1920;
constexpr int height = 1080;
constexpr float position = 0.37F;

struct Pictures {
    quol::FramePtr a = bench::makePicture(width, height, AV_PIX_FMT_YUV420P);
    quol::FramePtr b = bench::makePicture(width, height, AV_PIX_FMT_YUV420P);
    quol::FramePtr out = bench::makePicture(width, height, AV_PIX_FMT_YUV420P);
};

// As many that none is left in the cache when its turn comes again, or one set.
const std::vector<Pictures>& picturesOf(bool isFar) {
    static const std::vector<Pictures> far(24);
    static const std::vector<Pictures> near(1);
    return isFar ? far : near;
}

using Draw = std::function<void(const Pictures&)>;

void drawCopy(const Pictures& pictures) {
    bench::copyPicture(*pictures.a, *pictures.out);
}

QUOL_VECTORIZED void averageRow(std::uint8_t* __restrict target, const std::uint8_t* __restrict a,
                                const std::uint8_t* __restrict b, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        target[i] = static_cast<std::uint8_t>((a[i] + b[i] + 1) / 2);
}

// Calls `row(target, a, b, count)` for each row of each plane.
template <typename Row>
void forEachRow(const Pictures& pictures, const Row& row) {
    for (int plane = 0; plane < 3; ++plane) {
        const int divisor = plane == 0 ? 1 : 2;
        const auto at = [plane](const quol::FramePtr& picture, int y) {
            return picture->data[plane] + static_cast<std::ptrdiff_t>(y) * picture->linesize[plane];
        };
        for (int y = 0; y < height / divisor; ++y)
            row(at(pictures.out, y), at(pictures.a, y), at(pictures.b, y),
                static_cast<std::size_t>(width / divisor));
    }
}

void drawAverage(const Pictures& pictures) {
    forEachRow(pictures, averageRow);
}

// CPU seconds a picture.
double secondsOf(const Draw& draw, const std::vector<Pictures>& pictures) {
    constexpr std::size_t count = 240;
    std::vector<double> times;
    for (int round = 0; round < 3; ++round) {
        const double start = bench::cpuSeconds();
        for (std::size_t i = 0; i < count; ++i)
            draw(pictures[i % pictures.size()]);
        times.push_back((bench::cpuSeconds() - start) / count);
    }
    return bench::median(std::move(times));
}

// The limits are measured just before and just after, because other work on the machine moves them.
void measure(benchmark::State& state, const Draw& draw, bool isFar) {
    const std::vector<Pictures>& pictures = picturesOf(isFar);
    double copy = secondsOf(drawCopy, pictures);
    double average = secondsOf(drawAverage, pictures);
    std::size_t next = 0;
    bench::Meter meter;
    meter.start();
    for (auto _ : state)
        draw(pictures[next++ % pictures.size()]);
    meter.stop();
    copy = (copy + secondsOf(drawCopy, pictures)) / 2;
    average = (average + secondsOf(drawAverage, pictures)) / 2;
    const auto count = static_cast<double>(state.iterations());
    const double own = meter.cpu() / count;
    state.counters["pictures/s"] = 1.0 / own;
    state.counters["of_copy"] = copy / own;
    state.counters["of_average"] = average / own;
    state.counters["allocs"] = static_cast<double>(meter.allocations().calls) / count;
}

void add(const std::string& name, const Draw& draw) {
    for (const bool isFar : {true, false}) {
        benchmark::RegisterBenchmark(
            (name + (isFar ? "/main memory" : "/cache")).c_str(),
            [draw, isFar](benchmark::State& state) { measure(state, draw, isFar); })
            ->Unit(benchmark::kMicrosecond);
    }
}

void addMixRows(const quol::MixRows& mix) {
    add(std::string("fade ") + mix.name, [mix](const Pictures& pictures) {
        forEachRow(pictures, [mix](auto* target, const auto* a, const auto* b, std::size_t count) {
            mix.fade(target, a, b, count, position);
        });
    });
    add(std::string("dip ") + mix.name, [mix](const Pictures& pictures) {
        forEachRow(pictures, [mix](auto* target, const auto* a, const auto*, std::size_t count) {
            mix.dip(target, a, count, 1.0F - 2.0F * position, 16.0F * 2.0F * position);
        });
    });
}

} // namespace

int main(int argc, char** argv) {
    add("plain copy", drawCopy);
    add("plain average", drawAverage);
    for (const char* type :
         {"fade", "dip", "wipe_lr", "wipe_rl", "wipe_tb", "wipe_bt", "wipe_diagonal", "wipe_box",
          "wipe_circle", "slide_lr", "slide_rl", "slide_tb", "slide_bt", "squeeze_lr", "squeeze_rl",
          "squeeze_tb", "squeeze_bt"}) {
        add(type, [type = std::string(type)](const Pictures& pictures) {
            quol::drawTransition(type, position, {}, *pictures.a, *pictures.b, *pictures.out);
        });
    }
    for (const quol::MixRows& mix : quol::everyMixRows())
        addMixRows(mix);
    return bench::runBenchmarks(argc, argv);
}

// What the output costs beside the scaler: pictures of 1920x1080 in planar YUV, put out as UYVY by
// an NDI sender that sends nothing, and the same conversion by one call of swscale alone.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <semaphore>
#include <string>
#include <vector>

#include "quolsdk/LOutput.h"
#include "support/Commands.h"
#include "support/Measure.h"

namespace {

constexpr int width = 1920;
constexpr int height = 1080;
constexpr int format1080p50 = 11;
constexpr std::size_t differentPictures = 4;

std::counting_semaphore<1024> sent{0};

std::vector<quol::FramePtr> makePictures(AVPixelFormat format) {
    std::vector<quol::FramePtr> pictures(differentPictures);
    for (quol::FramePtr& picture : pictures)
        picture = bench::makePicture(width, height, format);
    return pictures;
}

// CPU seconds of one picture.
template <typename Work>
double cpuAPicture(int pictures, Work work) {
    const double before = bench::cpuSeconds();
    for (int i = 0; i < pictures; ++i)
        work(static_cast<std::size_t>(i) % differentPictures);
    return (bench::cpuSeconds() - before) / pictures;
}

class Sender {
public:
    Sender() {
        output_.DeviceFormatVideoSet(format1080p50);
        output_.setEnabled(true);
    }
    ~Sender() { output_.setEnabled(false); }
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;

    // One picture through all of the output, up to the call of the device.
    void send(AVFrame* picture) {
        output_.pushVideoFrame(picture);
        sent.acquire();
    }

private:
    LOutput output_;
};

struct Costs {
    std::vector<double> output;
    std::vector<double> alone;
    std::vector<double> ratio;
};

// By turns, so that both meet the same machine.
Costs measure(AVPixelFormat format, int rounds, int pictures) {
    const auto sources = makePictures(format);
    const quol::SwsPtr scaler(sws_getContext(width, height, format, width, height,
                                             AV_PIX_FMT_UYVY422, SWS_BILINEAR, nullptr, nullptr,
                                             nullptr));
    const quol::FramePtr target = bench::makePicture(width, height, AV_PIX_FMT_UYVY422);
    Sender sender;
    const auto send = [&](std::size_t i) { sender.send(sources[i].get()); };
    const auto scale = [&](std::size_t i) {
        sws_scale(scaler.get(), sources[i]->data, sources[i]->linesize, 0, height, target->data,
                  target->linesize);
    };
    const auto copy = [&](std::size_t i) { bench::copyPicture(*sources[i], *target); };
    Costs costs;
    for (int round = -1; round < rounds; ++round) {
        const double own = cpuAPicture(pictures, send);
        const double alone = format == AV_PIX_FMT_UYVY422 ? cpuAPicture(pictures, copy)
                                                          : cpuAPicture(pictures, scale);
        if (round < 0) continue; // memory that is used for the first time
        costs.output.push_back(own);
        costs.alone.push_back(alone);
        costs.ratio.push_back(own / alone);
    }
    return costs;
}

void print(const char* name, const Costs& costs) {
    std::printf("  %-28s %12.3f %12.3f %9.3f\n", name, bench::median(costs.output) * 1e3,
                bench::median(costs.alone) * 1e3, bench::median(costs.ratio));
}

// Bytes allocated for one picture on its way.
double allocations(AVPixelFormat format, int pictures) {
    const auto sources = makePictures(format);
    Sender sender;
    const auto send = [&](std::size_t i) { sender.send(sources[i].get()); };
    cpuAPicture(pictures, send);
    bench::Meter meter;
    meter.start();
    cpuAPicture(pictures, send);
    meter.stop();
    return static_cast<double>(meter.allocations().bytes) / pictures;
}

// Makes the silent runtime the one that is found first, and listens to it.
bool useSilentRuntime() {
    setenv("NDI_RUNTIME_DIR_V6", QUOLSDK_BENCH_NDI, 1);
    void* const library = dlopen(QUOLSDK_BENCH_NDI "/libndi.so.6", RTLD_NOW);
    if (library == nullptr) return false;
    const auto listen = reinterpret_cast<void (*)(void (*)())>(dlsym(library, "benchOnVideo"));
    if (listen == nullptr) return false;
    listen([] { sent.release(); });
    return true;
}

} // namespace

int main(int argc, char** argv) {
    const int rounds = std::stoi(bench::argument(argc, argv, "rounds", "15"));
    const int pictures = std::stoi(bench::argument(argc, argv, "pictures", "40"));
    if (rounds < 1 || pictures < 1 || !useSilentRuntime()) return 1;
    Costs yuv420;
    Costs yuv422;
    Costs uyvy;
    double bytes = 0.0;
    {
        const bench::QuietOutput quiet;
        yuv420 = measure(AV_PIX_FMT_YUV420P, rounds, pictures);
        yuv422 = measure(AV_PIX_FMT_YUV422P, rounds, pictures);
        uyvy = measure(AV_PIX_FMT_UYVY422, rounds, pictures);
        bytes = allocations(AV_PIX_FMT_YUV420P, pictures);
    }
    std::printf("\nOutput of 1920x1080 as UYVY: CPU ms a picture, medians of %d rounds\n", rounds);
    std::printf("  %-28s %12s %12s %9s\n", "", "output", "alone", "ratio");
    print("yuv420p, beside swscale", yuv420);
    print("yuv422p, beside swscale", yuv422);
    print("uyvy422, beside a copy", uyvy);
    std::printf("  allocated for each picture: %.0f bytes\n", bytes);
    return 0;
}

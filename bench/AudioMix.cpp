// Mixing sound: what many channels cost in real time, pushing included.
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "core/SoundBlock.h"
#include "quolsdk/LAudioMixer.h"
#include "quolsdk/LSink.h"
#include "support/Commands.h"
#include "support/Measure.h"

namespace {

constexpr int sampleRate = 48000;
constexpr int blockSamples = 960;
constexpr auto blockTime = std::chrono::milliseconds(20);
constexpr int manyChannels = 64;

class CountingSink : public LSink {
public:
    void pushVideoFrame(AVFrame*) override {}
    void pushAudioFrame(AVFrame*) override { ++blocks; }
    std::atomic<int> blocks{0};
};

quol::FramePtr noise() {
    quol::FramePtr block = quol::makeSilentBlock(blockSamples, sampleRate);
    for (int i = 0; i < blockSamples * 2; ++i)
        quol::samplesOf(*block)[i] = static_cast<std::int16_t>((i * 7919 + 13) % 2000 - 1000);
    block->pts = 0;
    block->time_base = {1, sampleRate};
    return block;
}

// Sources that push a block each every 20 ms; with `mixed` false into sinks that only count.
int runChannels(int channels, int seconds, bool mixed) {
    LAudioMixer mixer;
    CountingSink output;
    CountingSink plain;
    mixer.addSink(&output);
    std::vector<std::unique_ptr<LObject>> sources;
    for (int i = 0; i < channels; ++i) {
        const std::string name = std::to_string(i);
        sources.push_back(std::make_unique<LObject>());
        if (mixed) {
            mixer.addChannel(name, sources.back().get());
            mixer.setChannelMute(name, false);
        } else {
            sources.back()->addSink(&plain);
        }
    }
    const quol::FramePtr block = noise();
    const int before = output.blocks;
    bench::Meter meter;
    meter.start();
    auto next = std::chrono::steady_clock::now();
    for (int i = 0; i < seconds * 50; ++i) {
        for (auto& source : sources)
            source->distributeAudioFrame(block.get());
        next += blockTime;
        std::this_thread::sleep_until(next);
    }
    meter.stop();
    bench::tell("cpu", meter.cpu() * 1000.0 / meter.wall());
    bench::tell("blocks", (output.blocks - before) / meter.wall());
    bench::tell("calls", static_cast<double>(meter.allocations().calls) / meter.wall());
    bench::tell("bytes", static_cast<double>(meter.allocations().bytes) / meter.wall());
    mixer.removeSink(&output);
    for (int i = 0; i < channels; ++i)
        mixer.removeChannel(std::to_string(i));
    return 0;
}

struct Row {
    std::vector<double> cpu; // milliseconds a second of sound
    double blocks = 0.0;
    double calls = 0.0;
};

bool measure(int channels, bool mixed, int rounds, Row& row) {
    for (int round = 0; round < rounds; ++round) {
        bench::progress(std::to_string(channels) + " channels, round " + std::to_string(round + 1));
        const bench::Run run = bench::run(bench::ownCommand(
            {"--channels=" + std::to_string(channels), mixed ? "--mixed=yes" : "--mixed=no"}));
        if (!run.ok) return false;
        auto numbers = bench::told(run);
        row.cpu.push_back(numbers["cpu"]);
        row.blocks = numbers["blocks"];
        row.calls = numbers["calls"];
    }
    return true;
}

void print(const std::string& name, const Row& row) {
    std::printf("  %-36s %10.2f %10.1f %10.0f\n", name.c_str(), bench::median(row.cpu), row.blocks,
                row.calls);
}

int printAll(int rounds) {
    std::printf(
        "stereo at 48 kHz in blocks of 20 ms, in real time; milliseconds of CPU for a second "
        "of sound\n");
    std::printf("  %-36s %10s %10s %10s\n", "", "cpu_ms/s", "blocks/s", "allocs/s");
    Row none;
    Row plain;
    Row many;
    Row thousand;
    if (!measure(0, true, rounds, none) || !measure(manyChannels, false, rounds, plain) ||
        !measure(manyChannels, true, rounds, many) || !measure(1000, true, rounds, thousand))
        return 1;
    print("no channel", none);
    print("64 sources that nobody mixes", plain);
    print("64 channels, pushed and mixed", many);
    print("1000 channels, pushed and mixed", thousand);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const int channels = std::stoi(bench::argument(argc, argv, "channels", "-1"));
    if (channels >= 0) {
        return runChannels(channels, std::stoi(bench::argument(argc, argv, "seconds", "5")),
                           bench::argument(argc, argv, "mixed", "yes") == "yes");
    }
    return printAll(std::stoi(bench::argument(argc, argv, "rounds", "3")));
}

// Mixing sound: what many channels cost in real time, pushing included, against ffmpeg's amix and
// GStreamer's audiomixer.
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
constexpr int peerChannels = 64;

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

// ------------------------------------------------------------------------------------- peers
std::string soundFile(int seconds) {
    return bench::madeOnce(
        "mix" + std::to_string(seconds) + ".raw",
        bench::words("ffmpeg -v error -y -f lavfi -i anoisesrc=r=48000:a=0.03:d=" +
                     std::to_string(seconds) + " -ac 2 -f s16le"));
}

bench::Command ffmpegCommand(int seconds) {
    bench::Command command = bench::words("ffmpeg -v error -nostdin");
    std::string weights;
    for (int i = 0; i < peerChannels; ++i) {
        command = bench::with(command, bench::words("-f s16le -ar 48000 -ac 2 -i"));
        command.push_back(soundFile(seconds));
        weights += "1 ";
    }
    return bench::with(
        command, {"-filter_complex",
                  "amix=inputs=" + std::to_string(peerChannels) + ":normalize=0:weights=" + weights,
                  "-f", "null", "-"});
}

bench::Command gstreamerCommand(int seconds) {
    bench::Command command = bench::words(
        "gst-launch-1.0 -q audiomixer name=m ! "
        "audio/x-raw,format=S16LE,rate=48000,channels=2 ! fakesink sync=false");
    for (int i = 0; i < peerChannels; ++i) {
        command =
            bench::with(command, {"filesrc", "location=" + soundFile(seconds), "blocksize=3840",
                                  "!", "rawaudioparse", "format=pcm", "pcm-format=s16le",
                                  "sample-rate=48000", "num-channels=2", "!", "m."});
    }
    return command;
}

void comparePeer(const char* name, bench::Command (*command)(int), int rounds, double ours) {
    constexpr int brief = 2;
    constexpr int whole = 22;
    Row row;
    for (int round = 0; round < rounds; ++round) {
        bench::progress(std::string(name) + ", round " + std::to_string(round + 1));
        const bench::Run start = bench::run(command(brief));
        const bench::Run run = bench::run(command(whole));
        if (start.ok && run.ok) row.cpu.push_back((run.cpu - start.cpu) * 1000.0 / (whole - brief));
    }
    if (row.cpu.empty()) {
        std::printf("  %-36s did not run\n", name);
        return;
    }
    std::printf("  %-36s %10.2f\n", name, bench::median(row.cpu));
    std::printf("  library / %s = %.2f of its CPU time\n", name, ours / bench::median(row.cpu));
}

int compareAll(int rounds) {
    std::printf(
        "stereo at 48 kHz in blocks of 20 ms, in real time; milliseconds of CPU for a second "
        "of sound\n");
    std::printf("  %-36s %10s %10s %10s\n", "", "cpu_ms/s", "blocks/s", "allocs/s");
    Row none;
    Row plain;
    Row many;
    Row thousand;
    if (!measure(0, true, rounds, none) || !measure(peerChannels, false, rounds, plain) ||
        !measure(peerChannels, true, rounds, many) || !measure(1000, true, rounds, thousand))
        return 1;
    print("no channel", none);
    print("64 sources that nobody mixes", plain);
    print("64 channels, pushed and mixed", many);
    print("1000 channels, pushed and mixed", thousand);
    comparePeer("ffmpeg amix, 64 channels", ffmpegCommand, rounds, bench::median(many.cpu));
    comparePeer("gst-launch audiomixer, 64 channels", gstreamerCommand, rounds,
                bench::median(many.cpu));
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const int channels = std::stoi(bench::argument(argc, argv, "channels", "-1"));
    if (channels >= 0) {
        return runChannels(channels, std::stoi(bench::argument(argc, argv, "seconds", "5")),
                           bench::argument(argc, argv, "mixed", "yes") == "yes");
    }
    return compareAll(std::stoi(bench::argument(argc, argv, "rounds", "3")));
}

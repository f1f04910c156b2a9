// What objects cost that have next to nothing to do: CPU time of this process while they stand.
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "quolsdk/LFile.h"
#include "quolsdk/LOutput.h"
#include "quolsdk/LRecorder.h"
#include "quolsdk/LSignal.h"
#include "quolsdk/LSink.h"
#include "support/Commands.h"
#include "support/Measure.h"

namespace {

class CountingSink : public LSink {
public:
    void pushVideoFrame(AVFrame*) override { ++pictures; }
    void pushAudioFrame(AVFrame*) override {}
    std::atomic<int> pictures{0};
};

void settle() {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
}

// The lines of the table. They are printed at the end, since the library's own lines are kept away
// from standard output while it works.
std::vector<std::string> table;

// Adds one: the share of one core over so many seconds.
void measure(const char* name, double seconds, const CountingSink& sink) {
    bench::progress(name);
    settle();
    const int before = sink.pictures;
    bench::Meter meter;
    meter.start();
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    meter.stop();
    const int pictures = sink.pictures - before;
    std::array<char, 128> line{};
    std::snprintf(line.data(), line.size(), "  %-38s %9.3f%% %10d %11.0f %13.0f", name,
                  100.0 * meter.cpu() / meter.wall(), pictures,
                  static_cast<double>(meter.allocations().calls) / meter.wall(),
                  static_cast<double>(meter.allocations().bytes) / meter.wall());
    table.emplace_back(line.data());
}

void measureSignal(double seconds) {
    CountingSink sink;
    LSignal signal; // 1280x720 at 50 as it comes
    signal.addSink(&sink);
    signal.Start();
    measure("signal 1280x720p50, running", seconds, sink);
    signal.Stop();
    signal.removeSink(&sink);
}

void measureFile(double seconds, const std::string& clip, const std::string& clipEnd) {
    CountingSink sink;
    LFile file;
    file.addSink(&sink);
    file.fileNameSet(clip);
    file.play();
    while (sink.pictures == 0)
        settle();
    file.pause();
    measure("file 1080p25, paused", seconds, sink);
    file.resume();
    measure("file 1080p25, playing", seconds, sink);
    file.fileNameSet(clipEnd);
    file.play();
    while (sink.pictures == 0)
        settle();
    settle();
    measure("file at its end, holding the picture", seconds, sink);
    file.stop();
    file.removeSink(&sink);
}

void measureRecorder(double seconds) {
    const CountingSink none;
    LRecorder recorder;
    const std::string path = bench::mediaFolder() + "/idle.mp4";
    recorder.setFilePath(path);
    if (!recorder.Record()) return;
    measure("recorder, nothing coming", seconds, none);
    recorder.Stop();
    std::remove(path.c_str());
}

void measureOutput(double seconds) {
    const CountingSink none;
    LOutput output;
    output.setDevice(1);
    if (!output.startVTP()) return;
    measure("output to VTP, nothing coming", seconds, none);
    output.stopVTP();
}

} // namespace

int main(int argc, char** argv) {
    const double seconds = std::stod(bench::argument(argc, argv, "seconds", "4"));
    const bool media = bench::hasFFmpeg();
    const std::string clip = media ? bench::testClip() : std::string{};
    const std::string start = media ? bench::clipStart() : std::string{};
    {
        const bench::QuietOutput quiet;
        measureSignal(seconds);
        measureRecorder(seconds);
        measureOutput(seconds);
        if (!clip.empty() && !start.empty()) measureFile(seconds, clip, start);
    }
    std::printf("\nShare of one core, over %g seconds each\n", seconds);
    std::printf("  %-38s %10s %10s %11s %13s\n", "", "cpu", "pictures", "allocs/s", "bytes/s");
    for (const std::string& line : table)
        std::puts(line.c_str());
    return 0;
}

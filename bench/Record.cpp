// Recording against ffmpeg encoding the same pictures and sound with the same options: CPU time of
// two processes, both in real time, since the recorder takes a picture's time from the clock. A
// short run is taken off a long one, and with it the start and the end.
//
// What feeds the encoders differs: the recorder gets its pictures from memory, ffmpeg reads the
// same bytes from a file. What it costs ffmpeg to read them to nowhere, at the same pace, is
// measured too, so that the ratio can be told with and without.
#include <cstdio>
#include <filesystem>
#include <string>

#include "quolsdk/LRecorder.h"
#include "support/Commands.h"
#include "support/EncoderFeed.h"
#include "support/Measure.h"

namespace {

constexpr int rate = 25;
constexpr int shortRun = 50; // pictures
constexpr int settled = 40;  // pictures until the encoder has all the memory it wants

// The process that records: feeds the ring in real time.
int record(const std::string& output, const std::string& preset, int frames) {
    bench::EncoderFeed feeder(rate);
    if (!feeder.read()) return 1;
    LRecorder recorder;
    recorder.source = &feeder;
    recorder.setFilePath(output);
    recorder.setVideoBitrate(5000);
    recorder.customSet("preset=" + preset);
    if (!recorder.Record()) return 1;
    bench::Meter steady; // without the encoders' beginnings
    feeder.run(frames, [&](int i) {
        if (i == settled) steady.start();
    });
    steady.stop();
    recorder.Stop();
    LRecorder::Stats stats;
    recorder.getStats(stats);
    bench::tell("written", static_cast<double>(stats.framesWritten));
    bench::tell("dropped", static_cast<double>(stats.framesDropped));
    bench::tell("bytes", static_cast<double>(steady.allocations().bytes) / (frames - settled));
    return 0;
}

double fileBytes(const std::string& path) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    return error ? 0.0 : static_cast<double>(size);
}

// CPU seconds of the long runs and of the short ones, and what is between them for one picture.
struct Side {
    std::vector<double> whole;
    std::vector<double> start;

    double perFrame(int frames) const {
        return (bench::median(whole) - bench::median(start)) / (frames - shortRun);
    }
};

void printSide(const char* name, double perFrame, double copy, const Side& side, double size) {
    std::printf("  %-12s %9.1f %9.2f %9.1f %10.3f %11.3f %9.2f", name, 1.0 / perFrame,
                perFrame * 1000.0, perFrame / copy, bench::median(side.whole),
                bench::median(side.start), size / 1e6);
}

bench::Command recorderCommand(const std::string& output, const std::string& preset, int frames) {
    return bench::ownCommand(
        {"--record=" + output, "--preset=" + preset, "--frames=" + std::to_string(frames)});
}

bench::Command peerCommand(const std::string& output, const std::string& preset, int frames) {
    const auto encoders =
        bench::words("-c:v libx264 -preset " + preset + " -b:v 5000k -c:a aac -b:a 128k");
    return bench::with(bench::with(bench::feedOfPeer(frames, rate), encoders), {output});
}

bench::Command readingCommand(int frames) {
    return bench::with(bench::feedOfPeer(frames, rate), bench::words("-f null -"));
}

// Runs a command and keeps its CPU time; false when it failed. A recorder that was fed late, on a
// busy machine, leaves ticks out: its time is that of the pictures it wrote.
bool add(std::vector<double>& times, const bench::Command& command, int frames,
         double* bytes = nullptr) {
    const bench::Run done = bench::run(command);
    if (!done.ok) return false;
    auto numbers = bench::told(done);
    const double written = numbers.count("written") != 0 ? numbers["written"] : frames;
    if (written < frames) {
        std::printf("%.0f of %d pictures written, %.0f dropped: the machine is too busy\n", written,
                    frames, numbers["dropped"]);
    }
    if (written < 1) return false;
    times.push_back(done.cpu * frames / written);
    if (bytes != nullptr) *bytes = numbers["bytes"];
    return true;
}

bool compare(const std::string& preset, int frames, int rounds) {
    const std::string mine = bench::mediaFolder() + "/recorded.mp4";
    const std::string theirs = bench::mediaFolder() + "/encoded.mp4";
    const std::string brief = bench::mediaFolder() + "/short.mp4";
    Side ours;
    Side peer;
    Side reading;
    double bytes = 0.0;
    for (int round = 0; round < rounds; ++round) {
        bench::progress(preset + ", round " + std::to_string(round + 1) + " of " +
                        std::to_string(rounds));
        const bool done = add(ours.whole, recorderCommand(mine, preset, frames), frames, &bytes) &&
                          add(peer.whole, peerCommand(theirs, preset, frames), frames) &&
                          add(ours.start, recorderCommand(brief, preset, shortRun), shortRun) &&
                          add(peer.start, peerCommand(brief, preset, shortRun), shortRun) &&
                          add(reading.whole, readingCommand(frames), frames) &&
                          add(reading.start, readingCommand(shortRun), shortRun);
        if (!done) return false;
    }
    const double copy = bench::plainCopySeconds(std::size_t{1920} * 1080 * 3 / 2);
    const double own = ours.perFrame(frames);
    const double both = peer.perFrame(frames);
    const double encoding = both - reading.perFrame(frames);
    std::printf("%s: CPU time, library / ffmpeg = %.3f, without ffmpeg's reading %.3f\n",
                preset.c_str(), own / both, own / encoding);
    std::printf("  %-12s %9s %9s %9s %10s %11s %9s %12s\n", "", "frames/s", "cpu_ms", "x_copy",
                "long_cpu_s", "short_cpu_s", "file_MB", "bytes/frame");
    printSide("library", own, copy, ours, fileBytes(mine));
    std::printf(" %12.0f\n", bytes);
    printSide("ffmpeg", both, copy, peer, fileBytes(theirs));
    std::printf("\n");
    printSide(" its reading", reading.perFrame(frames), copy, reading, 0.0);
    std::printf("\n");
    for (const std::string& file : {mine, theirs, brief})
        std::filesystem::remove(file);
    return true;
}

} // namespace

int main(int argc, char** argv) {
    const std::string preset = bench::argument(argc, argv, "preset", "veryfast");
    const int frames = std::stoi(bench::argument(argc, argv, "frames", "200"));
    if (frames < shortRun) return 1;
    const std::string output = bench::argument(argc, argv, "record", "");
    if (!output.empty()) return record(output, preset, frames);
    if (!bench::hasFFmpeg()) return 0;
    const int rounds = std::stoi(bench::argument(argc, argv, "rounds", "3"));
    if (!bench::makeFeed()) return 1;
    std::printf(
        "\nRecording %d pictures of 1920x1080 in real time, H.264 at 5000 kbit/s and AAC, "
        "medians of %d\n",
        frames, rounds);
    return compare(preset, frames, rounds) ? 0 : 1;
}

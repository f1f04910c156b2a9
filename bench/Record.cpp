// Recording against ffmpeg encoding the same pictures and sound with the same options: CPU time of
// two processes, both in real time, since the recorder takes a picture's time from the clock.
//
// What feeds the encoders differs, and is taken off on both sides: the recorder gets its pictures
// from memory, its process is counted from Record to Stop; ffmpeg reads the same bytes from a file,
// and what it costs to read them to nowhere, at the same pace, is subtracted.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "quolsdk/LObject.h"
#include "quolsdk/LRecorder.h"
#include "support/Commands.h"
#include "support/Measure.h"

namespace {

constexpr int width = 1920;
constexpr int height = 1080;
constexpr int rate = 25;
constexpr int distinct = 50; // pictures in the ring, 155 MB
constexpr int soundRate = 48000;
constexpr int samplesPerPicture = soundRate / rate;

// Gives the recorder the format of what is fed by hand.
class Feeder : public LObject {
public:
    double getFPS() override { return rate; }
    int getWidth() override { return width; }
    int getHeight() override { return height; }
};

bool readInto(std::ifstream& file, AVFrame& frame) {
    for (int plane = 0; plane < 3; ++plane) {
        const int columns = plane == 0 ? width : width / 2;
        const int rows = plane == 0 ? height : height / 2;
        for (int row = 0; row < rows; ++row) {
            auto* line =
                frame.data[plane] + static_cast<std::ptrdiff_t>(row) * frame.linesize[plane];
            file.read(reinterpret_cast<char*>(line), columns);
        }
    }
    return file.good();
}

std::vector<quol::FramePtr> readPictures(const std::string& path) {
    std::vector<quol::FramePtr> pictures;
    std::ifstream file(path, std::ios::binary);
    for (int i = 0; i < distinct; ++i) {
        quol::FramePtr picture = bench::makePicture(width, height, AV_PIX_FMT_YUV420P);
        if (!picture || !readInto(file, *picture)) return {};
        picture->time_base = {1, rate};
        pictures.push_back(std::move(picture));
    }
    return pictures;
}

std::vector<quol::FramePtr> readSound(const std::string& path) {
    std::vector<quol::FramePtr> blocks;
    std::ifstream file(path, std::ios::binary);
    for (int i = 0; i < distinct; ++i) {
        quol::FramePtr block = quol::makeFrame();
        block->format = AV_SAMPLE_FMT_S16;
        block->sample_rate = soundRate;
        block->nb_samples = samplesPerPicture;
        block->time_base = {1, soundRate};
        av_channel_layout_default(&block->ch_layout, 2);
        if (av_frame_get_buffer(block.get(), 0) < 0) return {};
        file.read(reinterpret_cast<char*>(block->data[0]), samplesPerPicture * 4);
        if (!file.good()) return {};
        blocks.push_back(std::move(block));
    }
    return blocks;
}

// The process that records: feeds the ring in real time and counts from Record to Stop.
int record(const std::string& output, const std::string& preset, int frames) {
    const auto pictures = readPictures(bench::mediaFolder() + "/pictures.yuv");
    const auto sound = readSound(bench::mediaFolder() + "/sound.pcm");
    if (pictures.empty() || sound.empty()) return 1;
    Feeder feeder;
    LRecorder recorder;
    recorder.source = &feeder;
    recorder.setFilePath(output);
    recorder.setVideoBitrate(5000);
    recorder.customSet("preset=" + preset);
    bench::Meter meter;
    bench::Meter steady; // of the pictures behind the first ring of them
    meter.start();
    if (!recorder.Record()) return 1;
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < frames; ++i) {
        std::this_thread::sleep_until(begin + std::chrono::milliseconds(1000 / rate) * i);
        if (i == distinct) steady.start();
        const auto index = static_cast<std::size_t>(i % distinct);
        sound[index]->pts = static_cast<std::int64_t>(i) * samplesPerPicture;
        pictures[index]->pts = i;
        feeder.distributeAudioFrame(sound[index].get());
        feeder.distributeVideoFrame(pictures[index].get());
    }
    steady.stop();
    recorder.Stop();
    meter.stop();
    LRecorder::Stats stats;
    recorder.getStats(stats);
    bench::tell("cpu", meter.cpu());
    bench::tell("written", static_cast<double>(stats.framesWritten));
    bench::tell("dropped", static_cast<double>(stats.framesDropped));
    bench::tell("bytes", static_cast<double>(steady.allocations().bytes) / (frames - distinct));
    return 0;
}

// ffmpeg reading the ring as often as needed, in real time.
bench::Command peerInput(int frames) {
    const std::string folder = bench::mediaFolder();
    const std::string loops = std::to_string((frames - 1) / distinct);
    return {"ffmpeg",
            "-v",
            "error",
            "-nostdin",
            "-y",
            "-re",
            "-stream_loop",
            loops,
            "-f",
            "rawvideo",
            "-pix_fmt",
            "yuv420p",
            "-s",
            "1920x1080",
            "-framerate",
            std::to_string(rate),
            "-i",
            folder + "/pictures.yuv",
            "-re",
            "-stream_loop",
            loops,
            "-f",
            "s16le",
            "-ar",
            "48000",
            "-ac",
            "2",
            "-i",
            folder + "/sound.pcm",
            "-frames:v",
            std::to_string(frames),
            "-t",
            std::to_string(frames / rate)};
}

bench::Command with(bench::Command command, const bench::Command& more) {
    command.insert(command.end(), more.begin(), more.end());
    return command;
}

double fileBytes(const std::string& path) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    return error ? 0.0 : static_cast<double>(size);
}

void printSide(const char* name, double cpu, int frames, double size, double bytes) {
    const double perFrame = cpu / frames;
    std::printf("  %-8s %9.1f %9.2f %10.3f %9.1f %9.2f", name, 1.0 / perFrame, perFrame * 1000.0,
                cpu, perFrame / bench::plainCopySeconds(std::size_t{width} * height * 3 / 2),
                size / 1e6);
    if (bytes > 0.0) {
        std::printf(" %12.0f\n", bytes);
    } else {
        std::printf(" %12s\n", "-");
    }
}

bool compare(const std::string& preset, int frames, int rounds) {
    const std::string mine = bench::mediaFolder() + "/recorded.mp4";
    const std::string theirs = bench::mediaFolder() + "/encoded.mp4";
    std::vector<double> ours;
    std::vector<double> peer;
    std::vector<double> reading;
    double bytes = 0.0;
    for (int round = 0; round < rounds; ++round) {
        bench::progress(preset + ", round " + std::to_string(round + 1) + " of " +
                        std::to_string(rounds));
        const bench::Run recorded = bench::run(bench::ownCommand(
            {"--record=" + mine, "--preset=" + preset, "--frames=" + std::to_string(frames)}));
        const bench::Run encoded =
            bench::run(with(peerInput(frames), {"-c:v", "libx264", "-preset", preset, "-b:v",
                                                "5000k", "-c:a", "aac", "-b:a", "128k", theirs}));
        const bench::Run read = bench::run(with(peerInput(frames), {"-f", "null", "-"}));
        if (!recorded.ok || !encoded.ok || !read.ok) return false;
        auto numbers = bench::told(recorded);
        if (numbers["written"] < frames) {
            std::printf("%s: %.0f of %d pictures written, %.0f dropped: the machine is too busy\n",
                        preset.c_str(), numbers["written"], frames, numbers["dropped"]);
        }
        ours.push_back(numbers["cpu"] * frames / std::max(1.0, numbers["written"]));
        bytes = numbers["bytes"];
        peer.push_back(encoded.cpu);
        reading.push_back(read.cpu);
    }
    const double encoding = bench::median(peer) - bench::median(reading);
    std::printf("%s: CPU time, library / ffmpeg = %.3f (%.3f with its reading)\n", preset.c_str(),
                bench::median(ours) / encoding, bench::median(ours) / bench::median(peer));
    std::printf("  %-8s %9s %9s %10s %9s %9s %12s\n", "", "frames/s", "cpu_ms", "cpu_s", "x_copy",
                "file_MB", "bytes/frame");
    printSide("library", bench::median(ours), frames, fileBytes(mine), bytes);
    printSide("ffmpeg", encoding, frames, fileBytes(theirs), 0.0);
    printSide("reading", bench::median(reading), frames, 0.0, 0.0);
    std::filesystem::remove(mine);
    std::filesystem::remove(theirs);
    return true;
}

} // namespace

int main(int argc, char** argv) {
    bench::quietFFmpeg();
    const std::string preset = bench::argument(argc, argv, "preset", "veryfast");
    const int frames = std::stoi(bench::argument(argc, argv, "frames", "250"));
    if (frames <= distinct) return 1;
    const std::string output = bench::argument(argc, argv, "record", "");
    if (!output.empty()) return record(output, preset, frames);
    if (!bench::hasFFmpeg()) return 0;
    const int rounds = std::stoi(bench::argument(argc, argv, "rounds", "3"));
    const std::string clip = bench::testClip();
    if (clip.empty()) return 1;
    const std::string pictures = bench::madeOnce(
        "pictures.yuv", {"ffmpeg", "-v", "error", "-nostdin", "-y", "-i", clip, "-frames:v",
                         std::to_string(distinct), "-f", "rawvideo", "-pix_fmt", "yuv420p"});
    const std::string sound = bench::madeOnce(
        "sound.pcm", {"ffmpeg", "-v", "error", "-nostdin", "-y", "-i", clip, "-vn", "-t",
                      std::to_string(distinct / rate), "-f", "s16le", "-ar", "48000"});
    if (pictures.empty() || sound.empty()) return 1;
    std::printf(
        "\nRecording %d pictures of 1920x1080 in real time, H.264 at 5000 kbit/s and AAC, "
        "medians of %d\n",
        frames, rounds);
    return compare(preset, frames, rounds) ? 0 : 1;
}

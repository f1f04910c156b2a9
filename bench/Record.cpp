// Recording against ffmpeg encoding the same pictures and sound with the same options: CPU time of
// two processes, both in real time, since the recorder takes a picture's time from the clock. A
// short run is taken off a long one, and with it the start and the end.
//
// What feeds the encoders differs: the recorder gets its pictures from memory, ffmpeg reads the
// same bytes from a file. What it costs ffmpeg to read them to nowhere, at the same pace, is
// measured too, so that the ratio can be told with and without.
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
constexpr int shortRun = 50; // pictures
constexpr int settled = 40;  // pictures until the encoder has all the memory it wants
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

// The process that records: feeds the ring in real time.
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
    if (!recorder.Record()) return 1;
    bench::Meter steady; // without the encoders' beginnings
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < frames; ++i) {
        std::this_thread::sleep_until(begin + std::chrono::milliseconds(1000 / rate) * i);
        if (i == settled) steady.start();
        const auto index = static_cast<std::size_t>(i % distinct);
        sound[index]->pts = static_cast<std::int64_t>(i) * samplesPerPicture;
        pictures[index]->pts = i;
        feeder.distributeAudioFrame(sound[index].get());
        feeder.distributeVideoFrame(pictures[index].get());
    }
    steady.stop();
    recorder.Stop();
    LRecorder::Stats stats;
    recorder.getStats(stats);
    bench::tell("written", static_cast<double>(stats.framesWritten));
    bench::tell("dropped", static_cast<double>(stats.framesDropped));
    bench::tell("bytes", static_cast<double>(steady.allocations().bytes) / (frames - settled));
    return 0;
}

// ffmpeg reading the ring as often as needed, in real time.
bench::Command peerInput(int frames) {
    const std::string again = "-re -stream_loop " + std::to_string((frames - 1) / distinct);
    bench::Command command = bench::words("ffmpeg -v error -nostdin -y " + again +
                                          " -f rawvideo -pix_fmt yuv420p -s 1920x1080"
                                          " -framerate 25 -i");
    command.push_back(bench::mediaFolder() + "/pictures.yuv");
    command = bench::with(command, bench::words(again + " -f s16le -ar 48000 -ac 2 -i"));
    command.push_back(bench::mediaFolder() + "/sound.pcm");
    return bench::with(command, {"-frames:v", std::to_string(frames), "-t",
                                 std::to_string(static_cast<double>(frames) / rate)});
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
    return bench::with(bench::with(peerInput(frames), encoders), {output});
}

bench::Command readingCommand(int frames) {
    return bench::with(peerInput(frames), bench::words("-f null -"));
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
    const double copy = bench::plainCopySeconds(std::size_t{width} * height * 3 / 2);
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
    const std::string clip = bench::testClip();
    if (clip.empty()) return 1;
    const bench::Command decode =
        bench::with(bench::words("ffmpeg -v error -nostdin -y -i"), {clip});
    const std::string pictures = bench::madeOnce(
        "pictures.yuv", bench::with(decode, bench::words("-frames:v " + std::to_string(distinct) +
                                                         " -f rawvideo -pix_fmt yuv420p")));
    const std::string sound = bench::madeOnce(
        "sound.pcm", bench::with(decode, bench::words("-vn -t " + std::to_string(distinct / rate) +
                                                      " -f s16le -ar 48000")));
    if (pictures.empty() || sound.empty()) return 1;
    std::printf(
        "\nRecording %d pictures of 1920x1080 in real time, H.264 at 5000 kbit/s and AAC, "
        "medians of %d\n",
        frames, rounds);
    return compare(preset, frames, rounds) ? 0 : 1;
}

// Converting a minute of 1920x1080, each time in a process of its own: CPU and wall time.
//
// --clips makes the clip that is converted by those who compare, and its first pictures.
// --table tries every container with every codec that one would pick instead, asks ffprobe what
// came of it, and prints the tables of docs/convert.md.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "quolsdk/LConvert.h"
#include "support/Commands.h"
#include "support/Measure.h"

namespace {

constexpr int videoBitrate = 15000; // kilobits a second, the converter's own
constexpr int picturesASecond = 25;

void waitForEnd(LConvert& convert, int& status) {
    do {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        convert.statusGet(status);
    } while (status == 1);
}

void setSize(LConvert& convert, int width, int height) {
    videoFormatProps format;
    format.width = width;
    format.height = height;
    format.fps = picturesASecond;
    convert.setVideoFormat(format);
}

// ------------------------------------------------------------------------------ what it costs

struct Work {
    const char* name;
    int width;
    int height;
};

constexpr Work works[] = {{"as large as it is", 1920, 1080}, {"as 1280x720", 1280, 720}};

// The process that converts.
int convertHere(const std::string& input, const std::string& output, const std::string& preset,
                int width, int height) {
    LConvert convert;
    convert.addInputFile(input);
    convert.setFilePath(output);
    convert.setProps("preset", preset);
    setSize(convert, width, height);
    int status = 1;
    if (!convert.Start()) return 1;
    waitForEnd(convert, status);
    return status == 0 ? 0 : 1;
}

bench::Command ourCommand(const std::string& input, const std::string& output,
                          const std::string& preset, const Work& work) {
    return bench::ownCommand({"--input=" + input, "--convert=" + output, "--preset=" + preset,
                              "--width=" + std::to_string(work.width),
                              "--height=" + std::to_string(work.height)});
}

bool printWork(const std::string& clip, const std::string& preset, const Work& work, int pictures,
               int rounds) {
    const std::string file = bench::mediaFolder() + "/converted.mp4";
    std::vector<double> wall;
    std::vector<double> cpu;
    for (int round = 0; round < rounds; ++round) {
        bench::progress(std::string(work.name) + ", round " + std::to_string(round + 1) + " of " +
                        std::to_string(rounds));
        const bench::Run run = bench::run(ourCommand(clip, file, preset, work));
        if (!run.ok) return false;
        wall.push_back(run.wall);
        cpu.push_back(run.cpu);
    }
    const double copy = bench::plainCopySeconds(std::size_t{1920} * 1080 * 3 / 2);
    const double each = bench::median(cpu) / pictures;
    std::printf("  %-20s %9.1f %9.2f %9.1f %9.2f %9.2f %9.2f\n", work.name,
                pictures / bench::median(wall), each * 1000.0, each / copy, bench::median(wall),
                bench::median(cpu), static_cast<double>(std::filesystem::file_size(file)) / 1e6);
    std::filesystem::remove(file);
    return true;
}

// ---------------------------------------------------------------------- containers and codecs

struct Container {
    const char* muxer;
    const char* video; // a codec that is usual there
    const char* audio;
};

constexpr Container containers[] = {
    {"mp4", "libx264", "aac"},      {"mov", "libx264", "aac"},
    {"matroska", "libx264", "aac"}, {"webm", "libvpx-vp9", "libopus"},
    {"mpegts", "libx264", "aac"},   {"mxf", "mpeg2video", "pcm_s16le"},
    {"avi", "mpeg4", "libmp3lame"}, {"flv", "libx264", "aac"}};
constexpr const char* videoCodecs[] = {"libx264", "libx265", "mpeg2video", "prores_ks",
                                       "dnxhd",   "mjpeg",   "libvpx-vp9"};
constexpr const char* audioCodecs[] = {"aac", "libopus", "pcm_s16le", "mp2"};

std::string codecOf(const char* encoder) {
    const AVCodec* codec = avcodec_find_encoder_by_name(encoder);
    return codec != nullptr ? avcodec_get_name(codec->id) : "";
}

// What ffprobe makes of the file: "yes", or what is wrong with it.
std::string probed(const std::string& path, const std::string& video, const std::string& audio) {
    const bench::Run done =
        bench::run({"sh", "-c",
                    "ffprobe -v quiet -count_frames -show_entries stream=codec_name,nb_read_frames "
                    "-of csv=p=0 '" +
                        path + "'"});
    if (!done.ok) return "not written";
    // A line for each stream: codec, frames, and a mark for side data where there is some.
    std::istringstream lines(done.output);
    int pictures = -1;
    bool sound = false;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t comma = line.find(',');
        if (comma == std::string::npos) continue;
        const std::string codec = line.substr(0, comma);
        if (codec == video) pictures = std::atoi(line.c_str() + comma + 1);
        if (codec == audio) sound = true;
    }
    if (pictures < 0) return "pictures not told";
    if (pictures != picturesASecond) return std::to_string(pictures) + " of 25 pictures";
    return sound ? "yes" : "sound not told";
}

std::string outcome(const std::string& clip, const char* muxer, const char* video,
                    const char* audio) {
    if (codecOf(video).empty() || codecOf(audio).empty()) return "no encoder";
    const std::string path = bench::mediaFolder() + "/tried." + muxer;
    LConvert convert;
    convert.addInputFile(clip);
    convert.setFilePath(path);
    convert.setContainer(muxer);
    convert.setVideoCodec(video);
    convert.setAudioCodec(audio);
    convert.setProps("preset", "ultrafast");
    convert.setVideoBitrate(2000);
    setSize(convert, 640, 360);
    if (std::string(video) == "dnxhd") { // has sizes and rates of its own
        convert.setVideoBitrate(120000);
        setSize(convert, 1920, 1080);
    }
    int status = 1;
    if (convert.Start()) waitForEnd(convert, status);
    const std::string found = status == 0 ? probed(path, codecOf(video), codecOf(audio)) : "-";
    std::filesystem::remove(path);
    return found;
}

template <typename Codecs, typename Try>
void printTable(const char* title, const Codecs& codecs, Try tried) {
    std::printf("| %s |", title);
    for (const char* codec : codecs)
        std::printf(" %s |", codec);
    std::printf("\n|---|");
    for (std::size_t i = 0; i < std::size(codecs); ++i)
        std::printf("---|");
    std::printf("\n");
    for (const Container& container : containers) {
        std::printf("| %s |", container.muxer);
        for (const char* codec : codecs)
            std::printf(" %s |", tried(container, codec).c_str());
        std::printf("\n");
        std::fflush(stdout);
    }
    std::printf("\n");
}

int printTables() {
    const std::string clip = bench::madeOnce(
        "second.mp4",
        bench::with(
            bench::with(bench::words("ffmpeg -v error -nostdin -y -i"), {bench::testClip()}),
            bench::words("-t 1 -frames:v 25 -c:v libx264 -preset ultrafast -crf 21 "
                         "-c:a aac -b:a 128k")));
    if (clip.empty()) return 1;
    printTable("pictures", videoCodecs, [&clip](const Container& container, const char* codec) {
        return outcome(clip, container.muxer, codec, container.audio);
    });
    printTable("sound", audioCodecs, [&clip](const Container& container, const char* codec) {
        return outcome(clip, container.muxer, container.video, codec);
    });
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const auto argument = [&](const char* name, const char* otherwise) {
        return bench::argument(argc, argv, name, otherwise);
    };
    const std::string preset = argument("preset", "veryfast");
    const std::string output = argument("convert", "");
    if (!output.empty()) {
        return convertHere(argument("input", ""), output, preset, std::stoi(argument("width", "0")),
                           std::stoi(argument("height", "0")));
    }
    if (!bench::hasFFmpeg() || bench::testClip().empty()) return 0;
    for (int i = 1; i < argc; ++i) {
        if (std::string(argv[i]) == "--table") return printTables();
        if (std::string(argv[i]) == "--clips") return bench::clipStart().empty() ? 1 : 0;
    }
    const int seconds = std::stoi(argument("seconds", "60"));
    const int rounds = std::stoi(argument("rounds", "3"));
    const std::string name = "joined-" + std::to_string(seconds) + ".mp4";
    const std::string clip = bench::madeOnce(
        name, bench::with(bench::with(bench::words("ffmpeg -v error -nostdin -y -stream_loop " +
                                                   std::to_string((seconds - 1) / 10) + " -i"),
                                      {bench::testClip()}),
                          bench::words("-t " + std::to_string(seconds) + " -c copy")));
    if (clip.empty()) return 1;
    std::printf(
        "\nConverting %d s of 1920x1080 at 25, H.264 `%s` at %d kbit/s and AAC, medians of "
        "%d\n",
        seconds, preset.c_str(), videoBitrate, rounds);
    std::printf("  %-20s %9s %9s %9s %9s %9s %9s\n", "", "frames/s", "cpu_ms", "x_copy", "wall_s",
                "cpu_s", "file_MB");
    for (const Work& work : works) {
        if (!printWork(clip, preset, work, seconds * picturesASecond, rounds)) return 1;
    }
    return 0;
}

// Playing a file against ffmpeg decoding the same file: CPU time of two processes that do the same
// work, each as fast as it goes. What a short piece of the clip costs is taken off, and with it the
// start of the process.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "core/FilterText.h"
#include "quolsdk/LFile.h"
#include "quolsdk/LSink.h"
#include "support/Commands.h"
#include "support/Measure.h"

namespace {

constexpr int clipFrames = 250;
constexpr int shortFrames = bench::clipStartPictures;
constexpr std::size_t clipPictureBytes = 1920 * 1080 * 3 / 2;

class CountingSink : public LSink {
public:
    void pushVideoFrame(AVFrame* frame) override {
        ++pictures;
        if (frame->height == 720) ++scaled;
    }
    void pushAudioFrame(AVFrame*) override {}
    std::atomic<int> pictures{0};
    std::atomic<int> scaled{0};
};

// What a host asks of the player, and the same in ffmpeg's words.
struct Way {
    std::string name;
    bool letterBox; // 1280x720 at 25, letter-box; else the pictures as they are
};

videoFormatProps letterBoxFormat() {
    videoFormatProps format;
    format.width = 1280;
    format.height = 720;
    format.fps = 25.0;
    return format;
}

// The process that plays: the whole file into a sink that only counts. At this rate no picture ever
// waits for its time; each is decoded and handed on all the same.
int play(const std::string& file, const Way& way) {
    constexpr double unpaced = 100000.0;
    LFile player;
    CountingSink sink;
    player.addSink(&sink);
    player.fileNameSet(file);
    player.setProps("eof_hold", "false");
    player.rate = unpaced;
    const bench::Allocations before = bench::allocationsSoFar();
    // A format of one's own takes the place of the file's once that is open.
    player.ready();
    if (way.letterBox) player.setVideoFormat(letterBoxFormat());
    if (!player.play()) return 1;
    int status = 1;
    while (status == 1) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        player.statusGet(status);
    }
    player.stop();
    player.removeSink(&sink);
    const bench::Allocations after = bench::allocationsSoFar();
    bench::tell("frames", sink.pictures);
    bench::tell("scaled", sink.scaled);
    bench::tell("bytes", static_cast<double>(after.bytes - before.bytes));
    return 0;
}

bench::Command peerCommand(const std::string& file, const Way& way) {
    bench::Command command = bench::with(bench::words("ffmpeg -v error -nostdin -i"), {file});
    if (way.letterBox) {
        const quol::VideoChain chain{letterBoxFormat(), "letter-box", false, false, {}};
        command =
            bench::with(command, {"-sws_flags", "bicubic", "-vf", quol::videoChainText(chain)});
    }
    return bench::with(command, bench::words("-f null -"));
}

// CPU seconds of the whole clip, of its first pictures, and what is between them for one picture.
struct Side {
    std::vector<double> whole;
    std::vector<double> start;
    std::vector<double> wall;

    void add(const bench::Run& longRun, const bench::Run& shortRun) {
        whole.push_back(longRun.cpu);
        start.push_back(shortRun.cpu);
        wall.push_back(longRun.wall - shortRun.wall);
    }
    double perFrame() const {
        return (bench::median(whole) - bench::median(start)) / (clipFrames - shortFrames);
    }
    double framesPerSecond() const { return (clipFrames - shortFrames) / bench::median(wall); }
};

void printSide(const char* name, const Side& side, double copy, double bytes) {
    std::printf("  %-8s %9.1f %9.2f %10.3f %12.1f %9.1f", name, side.framesPerSecond(),
                side.perFrame() * 1000.0, bench::median(side.whole),
                bench::median(side.start) * 1000.0, side.perFrame() / copy);
    if (bytes > 0.0) {
        std::printf(" %12.0f\n", bytes);
    } else {
        std::printf(" %12s\n", "-");
    }
}

bool compare(const Way& way, const std::string& clip, const std::string& start, int rounds) {
    Side ours;
    Side peer;
    double bytes = 0.0;
    for (int round = 0; round < rounds; ++round) {
        bench::progress(way.name + ", round " + std::to_string(round + 1) + " of " +
                        std::to_string(rounds));
        const std::string mode = "--play=" + way.name;
        const bench::Run mine = bench::run(bench::ownCommand({mode, "--file=" + clip}));
        const bench::Run theirs = bench::run(peerCommand(clip, way));
        const bench::Run mineShort = bench::run(bench::ownCommand({mode, "--file=" + start}));
        const bench::Run theirsShort = bench::run(peerCommand(start, way));
        if (!mine.ok || !theirs.ok || !mineShort.ok || !theirsShort.ok) return false;
        auto numbers = bench::told(mine);
        auto shortNumbers = bench::told(mineShort);
        if (numbers["frames"] != clipFrames || shortNumbers["frames"] != shortFrames) {
            std::printf("%s: %.0f and %.0f pictures came, of %d and %d\n", way.name.c_str(),
                        numbers["frames"], shortNumbers["frames"], clipFrames, shortFrames);
            return false;
        }
        if (way.letterBox && numbers["scaled"] != numbers["frames"]) {
            std::printf("%s: only %.0f pictures were scaled\n", way.name.c_str(),
                        numbers["scaled"]);
            return false;
        }
        bytes = (numbers["bytes"] - shortNumbers["bytes"]) / (clipFrames - shortFrames);
        ours.add(mine, mineShort);
        peer.add(theirs, theirsShort);
    }
    const double copy = bench::plainCopySeconds(clipPictureBytes);
    std::printf("%s: CPU time, library / ffmpeg = %.3f\n", way.name.c_str(),
                ours.perFrame() / peer.perFrame());
    std::printf("  %-8s %9s %9s %10s %12s %9s %12s\n", "", "frames/s", "cpu_ms", "clip_cpu_s",
                "start_cpu_ms", "x_copy", "bytes/frame");
    printSide("library", ours, copy, bytes);
    printSide("ffmpeg", peer, copy, 0.0);
    return true;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<Way> ways{{"direct", false}, {"letter-box", true}};
    const std::string mode = bench::argument(argc, argv, "play", "");
    for (const Way& way : ways) {
        if (mode == way.name) return play(bench::argument(argc, argv, "file", ""), way);
    }
    if (!bench::hasFFmpeg()) return 0;
    const int rounds = std::stoi(bench::argument(argc, argv, "rounds", "7"));
    const std::string clip = bench::testClip();
    const std::string start = bench::clipStart();
    if (clip.empty() || start.empty()) return 1;
    std::printf("\nPlaying %d pictures of 1920x1080 H.264, with sound, medians of %d\n", clipFrames,
                rounds);
    bool done = true;
    for (const Way& way : ways)
        done = compare(way, clip, start, rounds) && done;
    return done ? 0 : 1;
}

// Eight players of one stream in one process, in real time, against ffmpeg decoding the same: CPU
// time of each picture of each player. Without --url=ADDRESS the stream is the clip itself, over
// and over, so that no server shares the machine.
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "quolsdk/LSink.h"
#include "quolsdk/LStreamPlay.h"
#include "support/Commands.h"
#include "support/Measure.h"

namespace {

constexpr int clipPictures = 250;
constexpr std::size_t players = 8;

class CountingSink : public LSink {
public:
    void pushVideoFrame(AVFrame*) override { ++pictures; }
    void pushAudioFrame(AVFrame*) override { ++sounds; }
    std::atomic<int> pictures{0};
    std::atomic<int> sounds{0};
};

struct Chair {
    LStreamPlay player;
    CountingSink sink;
};

int picturesOf(const std::array<Chair, players>& chairs, std::size_t count) {
    int sum = 0;
    for (std::size_t i = 0; i < count; ++i)
        sum += chairs[i].sink.pictures;
    return sum;
}

// The process that plays: the first `count` players for so many seconds.
int play(const std::string& url, std::size_t count, int seconds) {
    static std::array<Chair, players> chairs;
    for (std::size_t i = 0; i < count; ++i) {
        chairs[i].player.addSink(&chairs[i].sink);
        chairs[i].player.streamUrlSet(url);
        chairs[i].player.play();
    }
    for (std::size_t i = 0; i < count; ++i) {
        while (chairs[i].sink.pictures < bench::clipStartPictures)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    const int before = picturesOf(chairs, count);
    bench::Meter meter;
    meter.start();
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    meter.stop();
    const int pictures = picturesOf(chairs, count) - before;
    int sounds = 0;
    for (std::size_t i = 0; i < count; ++i) {
        sounds += chairs[i].sink.sounds;
        chairs[i].player.stop();
        chairs[i].player.removeSink(&chairs[i].sink);
    }
    bench::tell("pictures", pictures);
    bench::tell("sounds", sounds);
    bench::tell("cpu", meter.cpu());
    bench::tell("wall", meter.wall());
    bench::tell("bytes", static_cast<double>(meter.allocations().bytes));
    return 0;
}

struct Figures {
    std::vector<double> milliseconds; // CPU of a picture of a player
    std::vector<double> core;         // of a player, percent
    std::vector<double> rate;         // pictures a second of a player
    std::vector<double> bytes;        // allocated for a picture
};

bool measurePlayers(const std::string& url, std::size_t count, int seconds, Figures& figures) {
    const bench::Run run =
        bench::run(bench::ownCommand({"--play=" + std::to_string(count), "--url=" + url,
                                      "--seconds=" + std::to_string(seconds)}));
    if (!run.ok) return false;
    auto numbers = bench::told(run);
    if (numbers["pictures"] < 1.0 || numbers["sounds"] < 1.0) return false;
    const auto each = static_cast<double>(count);
    figures.milliseconds.push_back(numbers["cpu"] / numbers["pictures"] * 1000.0);
    figures.core.push_back(numbers["cpu"] / numbers["wall"] / each * 100.0);
    figures.rate.push_back(numbers["pictures"] / numbers["wall"] / each);
    figures.bytes.push_back(numbers["bytes"] / numbers["pictures"]);
    return true;
}

// A clip and its beginning, in real time: the start of the process is taken off.
bool measurePeer(const std::string& clip, const std::string& start, Figures& figures) {
    const auto command = [](const std::string& file) {
        return bench::with(bench::words("ffmpeg -v error -nostdin -re -i"),
                           {file, "-f", "null", "-"});
    };
    const bench::Run whole = bench::run(command(clip));
    const bench::Run beginning = bench::run(command(start));
    if (!whole.ok || !beginning.ok) return false;
    constexpr int pictures = clipPictures - bench::clipStartPictures;
    const double cpu = whole.cpu - beginning.cpu;
    figures.milliseconds.push_back(cpu / pictures * 1000.0);
    figures.core.push_back(cpu / (whole.wall - beginning.wall) * 100.0);
    figures.rate.push_back(pictures / (whole.wall - beginning.wall));
    return true;
}

void print(const char* name, const Figures& figures) {
    std::printf("  %-18s %9.1f %9.3f %9.1f", name, bench::median(figures.rate),
                bench::median(figures.milliseconds), bench::median(figures.core));
    if (figures.bytes.empty()) {
        std::printf(" %13s\n", "-");
    } else {
        std::printf(" %13.0f\n", bench::median(figures.bytes));
    }
}

} // namespace

int main(int argc, char** argv) {
    const std::string given = bench::argument(argc, argv, "url", "");
    const int seconds = std::stoi(bench::argument(argc, argv, "seconds", "8"));
    const std::string mode = bench::argument(argc, argv, "play", "");
    if (!mode.empty()) return play(given, std::stoul(mode), seconds);
    if (!bench::hasFFmpeg()) return 0;
    const int rounds = std::stoi(bench::argument(argc, argv, "rounds", "5"));
    const std::string clip = bench::testClip();
    const std::string start = bench::clipStart();
    if (clip.empty() || start.empty()) return 1;
    const std::string url = given.empty() ? clip : given;

    Figures eight;
    Figures one;
    Figures peer;
    for (int round = 0; round < rounds; ++round) {
        bench::progress("round " + std::to_string(round + 1) + " of " + std::to_string(rounds));
        if (!measurePlayers(url, players, seconds, eight) ||
            !measurePlayers(url, 1, seconds, one) || !measurePeer(clip, start, peer)) {
            std::printf("nothing came of %s\n", url.c_str());
            return 1;
        }
    }
    std::printf("\nPlaying 1920x1080 H.264 with sound in real time, medians of %d\n", rounds);
    std::printf("CPU time of a picture, one of eight players / ffmpeg = %.3f\n",
                bench::median(eight.milliseconds) / bench::median(peer.milliseconds));
    std::printf("  %-18s %9s %9s %9s %13s\n", "", "frames/s", "cpu_ms", "% of core", "bytes/frame");
    print("one of 8 players", eight);
    print("one player", one);
    print("ffmpeg", peer);
    return 0;
}

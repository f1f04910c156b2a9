// Publishing to a server on this machine against ffmpeg publishing the same pictures and sound with
// the same options: CPU time of two processes, both in real time. A short run is taken off a long
// one, and with it the start and the end. What feeds the encoders differs as it does in Record.cpp.
//
// --seconds=600 publishes for that long instead and tells what memory the process has every tenth
// of the time.
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>

#include "quolsdk/LStream.h"
#include "support/Commands.h"
#include "support/EncoderFeed.h"
#include "support/Measure.h"
#include "support/RtmpServer.h"

namespace {

constexpr int rate = 50;
constexpr int shortRun = 100; // pictures

double residentMegabytes() {
    std::ifstream status("/proc/self/statm");
    double total = 0.0;
    double resident = 0.0;
    status >> total >> resident;
    return resident * 4096.0 / 1e6;
}

// The process that publishes.
int publish(const std::string& url, int frames, bool memory) {
    bench::EncoderFeed feed(rate);
    if (!feed.read()) return 1;
    LStream stream;
    stream.source = &feed;
    stream.setStreamUrl(url);
    if (!stream.Start()) return 1;
    LStream::Stats stats;
    feed.run(frames, [&](int i) {
        if (!memory || i % std::max(frames / 10, 1) != 0) return;
        stream.getStats(stats);
        bench::progress(std::to_string(i / rate) + " s: " + std::to_string(residentMegabytes()) +
                        " MB resident, " + std::to_string(stats.framesSent) + " pictures sent, " +
                        std::to_string(stats.framesDropped) + " dropped");
    });
    stream.Stop();
    stream.getStats(stats);
    bench::tell("sent", static_cast<double>(stats.framesSent));
    bench::tell("dropped", static_cast<double>(stats.framesDropped));
    bench::tell("resident", residentMegabytes());
    return 0;
}

bench::Command ownCommand(const std::string& url, int frames) {
    return bench::ownCommand({"--publish=" + url, "--frames=" + std::to_string(frames)});
}

bench::Command peerCommand(const std::string& url, int frames) {
    const auto encoders = bench::words(
        "-c:v libx264 -preset ultrafast -tune zerolatency -g 30 -b:v 4000k -minrate 4000k"
        " -maxrate 4000k -bufsize 4000k -nal-hrd cbr -c:a aac -b:a 128k -f flv");
    return bench::with(bench::with(bench::feedOfPeer(frames, rate), encoders), {url});
}

bench::Command readingCommand(int frames) {
    return bench::with(bench::feedOfPeer(frames, rate), bench::words("-f null -"));
}

// CPU seconds of the long runs and of the short ones, and what is between them for one picture.
struct Side {
    std::vector<double> whole;
    std::vector<double> start;

    double perFrame(int frames) const {
        return (bench::median(whole) - bench::median(start)) / (frames - shortRun);
    }
};

// False when it failed. Pictures that came late, on a busy machine, were left out: the time is that
// of those that were sent.
bool add(std::vector<double>& times, const bench::Command& command, int frames) {
    const bench::Run done = bench::run(command);
    if (!done.ok) return false;
    auto numbers = bench::told(done);
    const double sent = numbers.count("sent") != 0 ? numbers["sent"] : frames;
    if (sent < frames * 0.98) {
        std::printf("%.0f of %d pictures sent, %.0f dropped: the machine is too busy\n", sent,
                    frames, numbers["dropped"]);
    }
    if (sent < 1) return false;
    times.push_back(done.cpu * frames / sent);
    return true;
}

int compare(const std::string& url, int frames, int rounds) {
    Side ours;
    Side peer;
    Side reading;
    for (int round = 0; round < rounds; ++round) {
        bench::progress("round " + std::to_string(round + 1) + " of " + std::to_string(rounds));
        const bool done = add(ours.whole, ownCommand(url, frames), frames) &&
                          add(peer.whole, peerCommand(url, frames), frames) &&
                          add(ours.start, ownCommand(url, shortRun), shortRun) &&
                          add(peer.start, peerCommand(url, shortRun), shortRun) &&
                          add(reading.whole, readingCommand(frames), frames) &&
                          add(reading.start, readingCommand(shortRun), shortRun);
        if (!done) return 1;
    }
    const double own = ours.perFrame(frames);
    const double both = peer.perFrame(frames);
    const double read = reading.perFrame(frames);
    std::printf("\nPublishing %d pictures of 1920x1080 at %d a second, medians of %d\n", frames,
                rate, rounds);
    std::printf("CPU time, library / ffmpeg = %.3f, without ffmpeg's reading %.3f\n", own / both,
                own / (both - read));
    std::printf("  library %.2f ms a picture, ffmpeg %.2f, its reading %.2f\n", own * 1000.0,
                both * 1000.0, read * 1000.0);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const int seconds = std::stoi(bench::argument(argc, argv, "seconds", "0"));
    const int frames = std::stoi(bench::argument(argc, argv, "frames", "500"));
    if (frames < shortRun) return 1;
    const std::string url = bench::argument(argc, argv, "publish", "");
    if (!url.empty()) return publish(url, frames, false);
    if (!bench::hasFFmpeg() || !bench::makeFeed()) return 0;
    if (!test::RtmpServer::available()) {
        std::printf("%s\n", test::RtmpServer::unavailable);
        return 0;
    }
    const test::RtmpServer server;
    if (!server.running()) {
        std::printf("%s\n", server.log().c_str());
        return 1;
    }
    if (seconds > 0) return publish(server.url("memory"), seconds * rate, true);
    return compare(server.url("speed"), frames,
                   std::stoi(bench::argument(argc, argv, "rounds", "3")));
}

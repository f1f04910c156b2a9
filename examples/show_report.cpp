#include "show_report.h"

#include <cstdio>

#include "quolsdk/LReader.h"
#include "show_movie.h"
#include "show_script.h"

namespace show {

namespace {

// Printed as it is, for the format's own check of its arguments.
long long whole(std::int64_t number) {
    return static_cast<long long>(number);
}

void printDelays(const std::vector<Delay>& delays) {
    constexpr std::size_t most = 8;
    for (std::size_t i = 0; i < delays.size() && i < most; ++i)
        std::printf("              at %.2f s %lld, up to %.0f ms\n", delays[i].seconds,
                    whole(delays[i].pictures), delays[i].worst * 1000.0);
    if (delays.size() > most)
        std::printf("              and %zu times more\n", delays.size() - most);
}

void printProgramme(Graph& graph) {
    const Punctuality made = judge(graph.programme.arrivals(), 1.0 / picturesPerSecond);
    std::printf(
        "  programme   %5lld pictures, %lld missing, %lld late, the latest %.0f ms behind\n",
        whole(made.pictures), whole(made.missing), whole(made.late), made.worst * 1000.0);
    printDelays(made.delays);
    std::printf("  cameras     %5lld and %lld pictures\n", whole(graph.fromCamera1.pictures()),
                whole(graph.fromCamera2.pictures()));
    std::printf("  clean feed  %5lld pictures, %lld of a source shown twice\n",
                whole(graph.cleanFeed.pictures()), whole(graph.cleanFeed.repeated()));
}

void printRecorder(Graph& graph, const std::string& recording) {
    LRecorder::Stats stats;
    graph.recorder.getStats(stats);
    const std::vector<double> times = pictureTimes(recording);
    std::printf(
        "  recording   %5zu pictures, %lld dropped by the encoder, %lld missing in the file\n",
        times.size(), whole(stats.framesDropped), whole(countHoles(times, picturesPerSecond)));
}

void printStream(Graph& graph) {
    LStream::Stats stats;
    graph.stream.getStats(stats);
    if (stats.framesSent == 0) return;
    constexpr std::int64_t edges = 3; // on their way when it began and when it ended
    const std::int64_t missing = graph.picturesLive() - stats.framesSent - stats.framesDropped;
    std::printf("  stream      %5lld pictures, %lld dropped, %lld missing, %.1f MB to %s\n",
                whole(stats.framesSent), whole(stats.framesDropped),
                whole(missing > edges ? missing : 0), static_cast<double>(stats.bytesSent) / 1e6,
                stats.url.c_str());
}

} // namespace

void printPunctuality(Graph& graph, const std::string& recording, const Lateness& lines) {
    std::printf("dropped or late\n");
    printProgramme(graph);
    printRecorder(graph, recording);
    printStream(graph);
    std::printf("  script      %5d lines, the latest (line %d) %.0f ms behind\n", lines.lines,
                lines.worstLine, lines.worst * 1000.0);
}

bool printFacts(const std::string& recording) {
    LReader reader;
    if (!reader.open(recording)) {
        std::printf("  NO MOVIE: %s\n", recording.c_str());
        return false;
    }
    std::printf("the recording %s\n", recording.c_str());
    std::printf("  length      %.2f s, time code %s to %s\n", reader.getDurationMs() / 1000.0,
                reader.getInTC().c_str(), reader.getOutTC().c_str());
    std::printf("  pictures    %lldx%lld (%s), %g a second, %s, %s, %d bits, %s\n",
                whole(reader.getWidth()), whole(reader.getHeight()),
                reader.getAspectRatio().c_str(), reader.getFPS(), reader.getVideoCodec().c_str(),
                reader.getChromaSubsampling().c_str(), reader.getBitDepth(),
                reader.getScanType().c_str());
    std::printf("  sound       %s, %lld channels, %lld kbit/s\n", reader.getAudioCodec().c_str(),
                whole(reader.getAudioChannels()), whole(reader.getAudioBitrate() / 1000));
    std::printf("  file        %s, %.1f MB, %lld kbit/s\n", reader.getContainer().c_str(),
                static_cast<double>(reader.getFileLen()) / 1e6, whole(reader.getBitrate() / 1000));
    return true;
}

} // namespace show

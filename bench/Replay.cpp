// Instant replay at 1920x1080, quality 86: what recording costs beside the encoder alone, whether
// 50 pictures a second are recorded while others are played, how long a seek takes, playback at
// speed 4, four replays at once, and export beside a plain copy of the file.
//
//     bench_Replay [--part=NAME] [--frames=N] [--slots=N] [--seconds=N] [--folder=PATH]
//
// Parts: index, record, play, sustain, seek, fast, four, export; all of them without a name. `feed`
// makes the pictures that are recorded, for those who compare.
#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "core/Clock.h"
#include "core/Scaler.h"
#include "outputs/ReplayIndex.h"
#include "quolsdk/LReplay.h"
#include "support/Commands.h"
#include "support/EncoderFeed.h"
#include "support/Measure.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace {

constexpr int rate = 50;
constexpr double millis = 1000.0;

// Keeps the pictures of the feed, which are like those of a camera.
class KeptPictures : public LSink {
public:
    void pushVideoFrame(AVFrame* frame) override { pictures.push_back(quol::cloneFrame(frame)); }
    void pushAudioFrame(AVFrame* /*frame*/) override {}
    std::vector<quol::FramePtr> pictures;
};

std::vector<quol::FramePtr> readPictures() {
    KeptPictures kept;
    bench::EncoderFeed feed(rate);
    if (!bench::makeFeed() || !feed.read()) return {};
    feed.addSink(&kept);
    feed.run(20, [](int) {});
    feed.removeSink(&kept);
    return std::move(kept.pictures);
}

// Counts what it is shown, and tells when.
class WatchingSink : public LSink {
public:
    void pushVideoFrame(AVFrame* /*frame*/) override {
        const std::lock_guard lock(mutex_);
        ++count_;
        latest_ = quol::steadyNow();
        changed_.notify_all();
    }
    void pushAudioFrame(AVFrame* /*frame*/) override {}

    int count() {
        const std::lock_guard lock(mutex_);
        return count_;
    }
    // When the picture after `before` came, steady nanoseconds; 0 when it does not come.
    std::int64_t waitBehind(int before) {
        std::unique_lock lock(mutex_);
        const bool came =
            changed_.wait_for(lock, std::chrono::seconds(5), [&] { return count_ > before; });
        return came ? latest_ : 0;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int count_ = 0;
    std::int64_t latest_ = 0;
};

struct Options {
    std::string part;
    std::string folder;
    int frames = 200;
    int slots = 100000;
    int seconds = 10;
};

void prepare(LReplay& replay, const Options& options, const std::string& name) {
    replay.setRecordPath(options.folder, "bench");
    replay.setProps("name", name);
}

// Pushes them in turn as fast as they are taken, each in a slot of its own.
void fill(LReplay& replay, const std::vector<quol::FramePtr>& pictures, int from, int count) {
    for (int i = from; i < from + count; ++i) {
        const quol::FramePtr picture =
            quol::cloneFrame(pictures[static_cast<std::size_t>(i) % pictures.size()].get());
        picture->pts = i;
        picture->time_base = {1, rate};
        replay.pushVideoFrame(picture.get());
    }
}

// ---------------------------------------------------------------------------------- index

// What an hour of searching costs at the beginning and at the end of two hours.
void measureIndex() {
    constexpr int slots = 2 * 3600 * rate;
    constexpr int questions = 3000; // a minute
    quol::ReplayPictures pictures;
    quol::ReplaySounds sounds;
    for (int slot = 0; slot < slots; ++slot) {
        quol::ReplayPicture picture;
        picture.time = slot / static_cast<double>(rate);
        pictures.append(picture);
        sounds.append({slot, 1, picture.time});
    }
    std::printf("Two hours at %d: %.1f bytes a slot; nanoseconds a search\n", rate,
                static_cast<double>(pictures.bytes()) / slots);
    std::printf("  %-14s %12s %12s\n", "", "posSetMs", "sound");
    std::size_t found = 0;
    for (const auto& [name, from] : {std::pair{"first minute", 0.0}, {"last minute", 7139.0}}) {
        const double start = bench::cpuSeconds();
        for (int i = 0; i < questions * 100; ++i)
            found += pictures.nearest(from + i % questions / static_cast<double>(rate));
        const double between = bench::cpuSeconds();
        for (int i = 0; i < questions * 100; ++i) {
            const double at = from + i % questions / static_cast<double>(rate);
            found += sounds.within(at, at + 0.02).size();
        }
        const double end = bench::cpuSeconds();
        std::printf("  %-14s %12.0f %12.0f\n", name, (between - start) / questions / 100 * 1e9,
                    (end - between) / questions / 100 * 1e9);
    }
    if (found == 0) std::printf("nothing found\n");
}

// --------------------------------------------------------------------------------- record

// CPU milliseconds a picture of libavcodec's encoder alone, on pictures that are 4:2:2 already.
double encoderAlone(const std::vector<quol::FramePtr>& pictures, int frames) {
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
    const quol::CodecContextPtr context(avcodec_alloc_context3(codec));
    context->width = pictures[0]->width;
    context->height = pictures[0]->height;
    context->pix_fmt = AV_PIX_FMT_YUVJ422P;
    context->time_base = {1001, 50050};
    context->bit_rate = 172'000'000;
    context->rc_min_rate = context->rc_max_rate = context->bit_rate;
    context->rc_buffer_size = 344'000'000;
    context->qmin = 1;
    context->qmax = 31;
    context->log_level_offset = 100;
    if (avcodec_open2(context.get(), codec, nullptr) < 0) return 0.0;
    std::vector<quol::FramePtr> converted;
    quol::Scaler scaler;
    for (const quol::FramePtr& picture : pictures) {
        quol::FramePtr target = quol::makeFrame();
        target->width = picture->width;
        target->height = picture->height;
        target->format = AV_PIX_FMT_YUVJ422P;
        if (av_frame_get_buffer(target.get(), 32) < 0) return 0.0;
        scaler.scale(*picture, *target, SWS_BILINEAR);
        converted.push_back(std::move(target));
    }
    const quol::PacketPtr packet = quol::makePacket();
    const double start = bench::cpuSeconds();
    for (int i = 0; i < frames; ++i) {
        AVFrame& picture = *converted[static_cast<std::size_t>(i) % converted.size()];
        picture.pts = i;
        avcodec_send_frame(context.get(), &picture);
        avcodec_receive_packet(context.get(), packet.get());
        av_packet_unref(packet.get());
    }
    return (bench::cpuSeconds() - start) / frames * millis;
}

// CPU milliseconds a picture of the conversion to the encoder's form alone.
double conversionAlone(const std::vector<quol::FramePtr>& pictures, int frames) {
    quol::FramePtr target =
        bench::makePicture(pictures[0]->width, pictures[0]->height, AV_PIX_FMT_YUVJ422P);
    quol::Scaler scaler;
    const double start = bench::cpuSeconds();
    for (int i = 0; i < frames; ++i)
        scaler.scale(*pictures[static_cast<std::size_t>(i) % pictures.size()], *target,
                     SWS_BILINEAR);
    return (bench::cpuSeconds() - start) / frames * millis;
}

void measureRecording(const std::vector<quol::FramePtr>& pictures, const Options& options) {
    LReplay replay;
    prepare(replay, options, "record");
    if (!replay.startRecording()) return;
    fill(replay, pictures, 0, 10);
    bench::Meter meter;
    meter.start();
    fill(replay, pictures, 10, options.frames);
    meter.stop();
    const double wall = meter.wall();
    const double own = meter.cpu() / options.frames * millis;
    replay.clearRecording();
    const double alone = encoderAlone(pictures, options.frames);
    const double conversion = conversionAlone(pictures, options.frames);
    std::printf(
        "Recording, CPU milliseconds a picture: %.2f; the encoder alone %.2f (x%.3f), the "
        "conversion to its form alone %.2f (both x%.3f)\n",
        own, alone, own / alone, conversion, own / (alone + conversion));
    bench::tell("fps", options.frames / wall);
    bench::tell("cpu", own);
    bench::tell("encoder", alone);
}

// ----------------------------------------------------------------------------------- play

// Plays at speed 1 what was recorded, and nothing else.
void measurePlaying(const std::vector<quol::FramePtr>& pictures, const Options& options) {
    LReplay replay;
    WatchingSink sink;
    prepare(replay, options, "play");
    if (!replay.startRecording()) return;
    fill(replay, pictures, 0, options.seconds * rate + 2 * rate);
    replay.addSink(&sink);
    replay.play();
    for (int shown = 0; shown < rate && sink.waitBehind(shown) > 0;)
        shown = sink.count();
    const int before = sink.count();
    bench::Meter meter;
    meter.start();
    quol::sleepFor(options.seconds * quol::nanosPerSecond);
    meter.stop();
    const int shown = std::max(1, sink.count() - before);
    std::printf("Playing at speed 1: %.1f pictures a second, CPU milliseconds a picture: %.2f\n",
                shown / meter.wall(), meter.cpu() / shown * millis);
    bench::tell("cpu", meter.cpu() / shown * millis);
    replay.removeSink(&sink);
    replay.clearRecording();
}

// -------------------------------------------------------------------------------- sustain

// Records in real time while it plays at speed 1 from the beginning.
void measureSustained(const std::vector<quol::FramePtr>& pictures, const Options& options) {
    LReplay replay;
    WatchingSink sink;
    replay.addSink(&sink);
    prepare(replay, options, "sustain");
    if (!replay.startRecording()) return;
    fill(replay, pictures, 0, rate);
    replay.play();
    const int total = options.seconds * rate;
    double latest = 0.0;
    const std::int64_t start = quol::steadyNow();
    for (int i = 0; i < total; ++i) {
        const std::int64_t due = start + i * (quol::nanosPerSecond / rate);
        quol::sleepFor(due - quol::steadyNow());
        fill(replay, pictures, rate + i, 1);
        latest = std::max(latest, static_cast<double>(quol::steadyNow() - due) / 1e6);
    }
    const double seconds = static_cast<double>(quol::steadyNow() - start) / 1e9;
    std::printf(
        "Recording in real time while playing, %d s: %.2f pictures a second recorded, the "
        "latest done %.1f ms behind its time; %.2f a second played\n",
        options.seconds, total / seconds, latest, sink.count() / seconds);
    replay.removeSink(&sink);
    replay.clearRecording();
}

// ----------------------------------------------------------------------------------- seek

struct Times {
    std::vector<double> values;
    void print(const char* name) {
        std::sort(values.begin(), values.end());
        if (values.empty()) return;
        std::printf("  %-22s median %6.2f, worst %6.2f\n", name, values[values.size() / 2],
                    values.back());
    }
};

// Lets the system forget what it holds of a file.
void dropFromMemory(const std::string& path) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return;
    fdatasync(file);
    posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
    close(file);
}

void measureSeeks(const std::vector<quol::FramePtr>& pictures, const Options& options) {
    LReplay replay;
    WatchingSink sink;
    replay.addSink(&sink);
    prepare(replay, options, "seek");
    if (!replay.startRecording()) return;
    // Few pictures for many slots: what counts is the length of the tables, and the place in the
    // file.
    const int step = std::max(1, options.slots / options.frames);
    for (int i = 0; i < options.slots; i += step)
        fill(replay, pictures, i, 1);
    const int total = replay.getTotalFrames();
    std::printf("From posSet to the picture at a sink, milliseconds, %d slots\n", total);
    std::mt19937 random(1);
    const std::string file = options.folder + "/bench_seek_v.bin";
    for (const bool cold : {true, false}) {
        for (const auto& [name, part] : {std::pair{"start", 0}, {"middle", 1}, {"end", 2}}) {
            Times times;
            const int base = (total - total / 10) / 2 * part;
            for (int i = 0; i < 40; ++i) {
                const int wanted = base + static_cast<int>(random() % (total / 10));
                if (cold) dropFromMemory(file);
                const int before = sink.count();
                const std::int64_t asked = quol::steadyNow();
                replay.posSet(wanted);
                const std::int64_t came = sink.waitBehind(before);
                if (came > 0) times.values.push_back(static_cast<double>(came - asked) / 1e6);
            }
            times.print((std::string(cold ? "cold, " : "warm, ") + name).c_str());
        }
    }
    replay.removeSink(&sink);
    replay.clearRecording();
}

// ------------------------------------------------------------------------ fast and many

void measureFast(const std::vector<quol::FramePtr>& pictures, const Options& options) {
    LReplay replay;
    WatchingSink sink;
    prepare(replay, options, "fast");
    if (!replay.startRecording()) return;
    fill(replay, pictures, 0, options.frames);
    replay.addSink(&sink);
    replay.setSpeed(4.0);
    replay.play();
    const double cpu = bench::cpuSeconds();
    const std::int64_t start = quol::steadyNow();
    while (replay.getPos() < options.frames - 1 && quol::steadyNow() - start < 60'000'000'000)
        quol::sleepFor(quol::nanosPerMilli);
    const double seconds = static_cast<double>(quol::steadyNow() - start) / 1e9;
    std::printf(
        "Playing %d frames at speed 4: %.2f s (%.2f asked), %.1f pictures a second, CPU "
        "%.0f %%\n",
        options.frames, seconds, options.frames / 4.0 / rate, sink.count() / seconds,
        (bench::cpuSeconds() - cpu) / seconds * 100);
    replay.removeSink(&sink);
    replay.clearRecording();
}

// Four replays on one source of 1280x720 at 50, each pushed by a thread of its own, as four cameras
// would, and by one, as one camera does.
void measureFour(const Options& options) {
    constexpr int replays = 4;
    std::vector<quol::FramePtr> pictures;
    const auto large = readPictures();
    quol::Scaler scaler;
    for (const quol::FramePtr& picture : large) {
        quol::FramePtr small = bench::makePicture(1280, 720, AV_PIX_FMT_YUV420P);
        scaler.scale(*picture, *small, SWS_BILINEAR);
        pictures.push_back(std::move(small));
    }
    std::vector<std::unique_ptr<LReplay>> all;
    for (int i = 0; i < replays; ++i) {
        all.push_back(std::make_unique<LReplay>());
        prepare(*all.back(), options, "four" + std::to_string(i));
        if (!all.back()->startRecording()) return;
    }
    const int count = options.frames;
    double start = bench::wallSeconds();
    for (int i = 0; i < count; ++i)
        for (const auto& replay : all)
            fill(*replay, pictures, i, 1);
    const double one = count / (bench::wallSeconds() - start);
    start = bench::wallSeconds();
    std::vector<std::thread> threads;
    for (const auto& replay : all)
        threads.emplace_back([&] { fill(*replay, pictures, count, count); });
    for (std::thread& thread : threads)
        thread.join();
    const double four = count / (bench::wallSeconds() - start);
    std::printf(
        "Four replays of 1280x720: %.1f pictures a second each on one thread, %.1f on four "
        "(%u processors)\n",
        one, four, std::thread::hardware_concurrency());
    for (const auto& replay : all)
        replay->clearRecording();
}

// ---------------------------------------------------------------------------------- export

void measureExport(const std::vector<quol::FramePtr>& pictures, const Options& options) {
    LReplay replay;
    prepare(replay, options, "export");
    if (!replay.startRecording()) return;
    fill(replay, pictures, 0, options.frames);
    const std::string movie = options.folder + "/bench_export.mov";
    const std::string copy = options.folder + "/bench_copy.bin";
    const std::string stored = options.folder + "/bench_export_v.bin";
    std::vector<double> exports;
    std::vector<double> copies;
    for (int round = 0; round < 5; ++round) {
        double start = bench::wallSeconds();
        if (!replay.exportRange(0, options.frames - 1, movie)) return;
        exports.push_back(bench::wallSeconds() - start);
        std::filesystem::remove(copy);
        start = bench::wallSeconds();
        std::ifstream in(stored, std::ios::binary);
        std::ofstream out(copy, std::ios::binary);
        std::vector<char> block(1 << 20);
        while (in.read(block.data(), static_cast<std::streamsize>(block.size())) || in.gcount() > 0)
            out.write(block.data(), in.gcount());
        out.close();
        copies.push_back(bench::wallSeconds() - start);
    }
    const double own = bench::median(exports);
    const double plain = bench::median(copies);
    std::printf(
        "Export of %d pictures, %.0f MB: %.3f s, %.0f times real time; a plain copy %.3f s "
        "(x%.2f)\n",
        options.frames, static_cast<double>(std::filesystem::file_size(stored)) / 1e6, own,
        options.frames / static_cast<double>(rate) / own, plain, own / plain);
    replay.clearRecording();
    std::filesystem::remove(movie);
    std::filesystem::remove(copy);
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    options.part = bench::argument(argc, argv, "part", "");
    options.frames = std::stoi(bench::argument(argc, argv, "frames", "200"));
    options.slots = std::stoi(bench::argument(argc, argv, "slots", "100000"));
    options.seconds = std::stoi(bench::argument(argc, argv, "seconds", "10"));
    options.folder = bench::argument(argc, argv, "folder", bench::mediaFolder());
    if (options.frames < 20 || options.slots < 1000 || options.seconds < 1) return 1;
    const auto wants = [&](const char* part) {
        return options.part.empty() || options.part == part;
    };
    if (wants("index")) measureIndex();
    if (options.part == "index") return 0;
    if (!bench::hasFFmpeg()) return 0;
    if (options.part == "feed") return bench::makeFeed() ? 0 : 1;
    const std::vector<quol::FramePtr> pictures = readPictures();
    if (pictures.empty()) return 1;
    if (wants("record")) measureRecording(pictures, options);
    if (wants("play")) measurePlaying(pictures, options);
    if (wants("sustain")) measureSustained(pictures, options);
    if (wants("seek")) measureSeeks(pictures, options);
    if (wants("fast")) measureFast(pictures, options);
    if (wants("four")) measureFour(options);
    if (wants("export")) measureExport(pictures, options);
    return 0;
}

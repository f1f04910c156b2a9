// VTP between two processes: 1080p50 with sound, within this machine. How long a picture takes from
// being handed over to being delivered, what both sides cost, and how many got lost. Then what
// intra coding costs and keeps.
//
// --seconds=N   how long the stream runs (10)
// --poll=MS     how long the receiving side sleeps when there is nothing (5, as the live input
// does)
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "platform/vtp/PictureCoder.h"
#include "platform/vtp/vtp.h"
#include "support/Commands.h"
#include "support/Measure.h"

namespace {

constexpr int width = 1920;
constexpr int height = 1080;
constexpr int rate = 50;
constexpr std::size_t pictureBytes = std::size_t{width} * height * 3;

using Clock = std::chrono::steady_clock;

std::int64_t now() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch())
        .count();
}

// A smooth picture with grain: neither the best nor the worst case of coding.
std::vector<std::uint8_t> makePicture(unsigned number) {
    std::vector<std::uint8_t> picture(pictureBytes);
    unsigned random = number * 2654435761u + 1;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            std::uint8_t* pixel = &picture[static_cast<std::size_t>((y * width + x) * 3)];
            random = random * 1664525u + 1013904223u;
            const double grain = static_cast<double>(random >> 24) / 32.0 - 4.0;
            const double at = x + 8.0 * number;
            pixel[0] = static_cast<std::uint8_t>(128 + 80 * std::sin(at / 90) + grain);
            pixel[1] = static_cast<std::uint8_t>(128 + 80 * std::sin((at + y) / 140) + grain);
            pixel[2] = static_cast<std::uint8_t>(128 + 80 * std::sin(y / 60.0) + grain);
        }
    }
    return picture;
}

// The receiving process: takes everything until the sender ends, and tells what it saw.
int receive(const std::string& port, double poll) {
    vtp_receiver* receiver = vtp_create_receiver();
    vtp_receiver_connect(receiver, "127.0.0.1", static_cast<std::uint16_t>(std::stoi(port)));
    std::vector<double> latencies;
    long sounds = 0;
    // What a host does with a picture at least: copies it.
    std::vector<std::uint8_t> copy(pictureBytes);
    const double cpuBefore = bench::cpuSeconds();
    double begun = 0.0;
    double ended = 0.0;
    while (vtp_receiver_is_connected(receiver)) {
        vtp_video_frame frame{};
        vtp_audio_frame block{};
        bool any = false;
        while (vtp_receiver_receive_frame(receiver, &frame)) {
            latencies.push_back(static_cast<double>(now() - frame.timestamp) / 1e6);
            std::memcpy(copy.data(), frame.data, pictureBytes);
            any = true;
            ended = bench::wallSeconds();
            if (begun == 0.0) begun = ended;
        }
        while (vtp_receiver_receive_audio(receiver, &block)) {
            ++sounds;
            any = true;
        }
        if (!any) std::this_thread::sleep_for(std::chrono::duration<double, std::milli>(poll));
    }
    const double cpu = bench::cpuSeconds() - cpuBefore;
    vtp_destroy_receiver(receiver);
    std::sort(latencies.begin(), latencies.end());
    const auto at = [&](double share) {
        if (latencies.empty()) return -1.0;
        return latencies[static_cast<std::size_t>(share *
                                                  static_cast<double>(latencies.size() - 1))];
    };
    bench::tell("pictures", static_cast<double>(latencies.size()));
    bench::tell("sounds", static_cast<double>(sounds));
    bench::tell("median", at(0.5));
    bench::tell("p99", at(0.99));
    bench::tell("worst", at(1.0));
    bench::tell("cpu", 100.0 * cpu / std::max(ended - begun, 1e-3));
    return 0;
}

void stream(int coding, const char* label, int seconds, const std::string& poll) {
    std::vector<std::vector<std::uint8_t>> pictures;
    for (unsigned i = 0; i < 4; ++i)
        pictures.push_back(makePicture(i));
    const std::vector<std::int16_t> sound(960 * 2, 1000);
    vtp_sender* sender = vtp_create_sender("bench", width, height, rate, coding, 1);
    vtp_sender_start(sender);
    bench::Run run;
    const std::string port = std::to_string(vtp_sender_get_port(sender));
    std::thread other([&] {
        run = bench::run(bench::ownCommand({"--receive=" + port, "--poll=" + poll}));
    });
    std::this_thread::sleep_for(std::chrono::seconds(1));
    const int frames = seconds * rate;
    double longest = 0.0;
    bench::Meter meter;
    meter.start();
    auto due = Clock::now();
    for (int i = 0; i < frames; ++i) {
        due += std::chrono::nanoseconds(1000000000 / rate);
        std::this_thread::sleep_until(due);
        const std::int64_t time = now();
        vtp_sender_send_frame(sender, pictures[static_cast<std::size_t>(i % 4)].data(), 2, time);
        longest = std::max(longest, static_cast<double>(now() - time) / 1e6);
        vtp_sender_send_audio(sender, sound.data(), 960, 48000, 2, time);
    }
    meter.stop();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    vtp_destroy_sender(sender);
    other.join();
    auto told = bench::told(run);
    std::printf("%-12s %6d %6.0f %6.0f %9.2f %9.2f %9.2f %9.2f %8.1f%% %8.1f%%\n", label, frames,
                frames - told["pictures"], frames - told["sounds"], told["median"], told["p99"],
                told["worst"], longest, 100.0 * meter.cpu() / meter.wall(), told["cpu"]);
    std::fflush(stdout);
}

// The worst that can come.
void measureNoise() {
    constexpr int count = 50;
    quol::vtp::PictureEncoder encoder(quol::vtp::CodingBudget::bytesAt(rate));
    quol::vtp::BlockPool pool;
    std::vector<std::uint8_t> noise(pictureBytes);
    unsigned random = 1;
    for (std::uint8_t& byte : noise) {
        random = random * 1664525u + 1013904223u;
        byte = static_cast<std::uint8_t>(random >> 24);
    }
    double first = 0.0;
    double time = 0.0;
    double cpu = 0.0;
    double bytes = 0.0;
    int left = 0;
    for (int i = 0; i < count; ++i) {
        bench::Meter meter;
        meter.start();
        const auto coded = encoder.encode(noise.data(), width, height, 2, 0, pool);
        meter.stop();
        (i == 0 ? first : time) += meter.wall();
        cpu += meter.cpu();
        bytes += coded ? static_cast<double>(coded->size()) : 0.0;
        left += coded ? 0 : 1;
    }
    std::printf(
        "colour noise: %.1f ms to code the first, %.1f the others (%.1f of CPU), %.0f Mbit/s, "
        "%d of %d left out\n",
        1e3 * first, 1e3 * time / (count - 1), 1e3 * cpu / count, bytes / count * 8 * rate / 1e6,
        left, count);
}

void measureCoder() {
    quol::vtp::PictureEncoder encoder(quol::vtp::CodingBudget::bytesAt(rate));
    quol::vtp::PictureDecoder decoder;
    quol::vtp::BlockPool pool;
    for (const int quality : {0, 1, 2}) {
        constexpr unsigned count = 50;
        bench::Meter coding;
        bench::Meter decoding;
        double encodeCpu = 0.0;
        double decodeCpu = 0.0;
        double encodeTime = 0.0;
        double decodeTime = 0.0;
        double bytes = 0.0;
        double error = 0.0;
        for (unsigned i = 0; i < count; ++i) {
            const auto picture = makePicture(i);
            coding.start();
            const auto coded = encoder.encode(picture.data(), width, height, 2, quality, pool);
            coding.stop();
            decoding.start();
            const auto plain =
                decoder.decode({coded->data(), coded->size()}, width, height, 2, pool);
            decoding.stop();
            encodeTime += coding.wall();
            decodeTime += decoding.wall();
            encodeCpu += coding.cpu();
            decodeCpu += decoding.cpu();
            bytes += static_cast<double>(coded->size());
            for (std::size_t at = 0; at < pictureBytes; at += 7) {
                const double difference = plain->data()[at] - picture[at];
                error += difference * difference / (static_cast<double>(pictureBytes) / 7);
            }
        }
        std::printf(
            "intra coding, quality %d: %.1f ms to code (%.1f of CPU), %.1f to decode (%.1f of "
            "CPU), %.0f Mbit/s, PSNR %.1f dB\n",
            quality, 1e3 * encodeTime / count, 1e3 * encodeCpu / count, 1e3 * decodeTime / count,
            1e3 * decodeCpu / count, bytes / count * 8 * rate / 1e6,
            10 * std::log10(255 * 255 / (error / count)));
    }
}

} // namespace

int main(int argc, char** argv) {
    const std::string poll = bench::argument(argc, argv, "poll", "5");
    const std::string port = bench::argument(argc, argv, "receive", "");
    if (!port.empty()) return receive(port, std::stod(poll));
    const int seconds = std::stoi(bench::argument(argc, argv, "seconds", "10"));
    std::printf("%-12s %6s %6s %6s %9s %9s %9s %9s %9s %9s\n", "1080p50", "sent", "lost",
                "lost so.", "median ms", "99th ms", "worst ms", "push ms", "CPU send", "CPU recv");
    stream(vtp_coding_automatic, "plain", seconds, poll);
    stream(vtp_coding_intra, "intra coded", seconds, poll);
    measureCoder();
    measureNoise();
    return 0;
}

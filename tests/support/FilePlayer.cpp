#include "support/FilePlayer.h"

#include <gtest/gtest.h>

#include <cmath>

#include "core/Clock.h"
#include "core/MediaInput.h"
#include "support/CapturedStream.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace test {

FilePlayer::FilePlayer(const std::string& clip, std::size_t keep) : sink(keep) {
    file.fileNameSet(mediaPath(clip));
    file.setProps("eof_hold", "false");
    file.addSink(&sink);
}

FilePlayer::~FilePlayer() {
    file.stop();
    file.removeSink(&sink);
}

int FilePlayer::status() {
    return statusOf(file);
}

bool FilePlayer::waitForEnd(std::chrono::milliseconds limit) {
    return waitUntil([this] { return status() == 0; }, limit);
}

bool FilePlayer::playToEnd() {
    return file.play() && waitForEnd();
}

bool FilePlayer::playOut() {
    const bool ended = playToEnd();
    file.stop();
    return ended;
}

int statusOf(LObject& object) {
    int status = -1;
    object.statusGet(status);
    return status;
}

void expectClosed(LFile& file) {
    EXPECT_EQ(statusOf(file), 0);
    EXPECT_EQ(file.getDurationMs(), 0.0);
    EXPECT_EQ(file.getPosMs(), 0.0);
    EXPECT_EQ(file.getTimeCode(), zeroTimecode);
    EXPECT_EQ(file.getPosTC(), zeroTimecode);
    EXPECT_EQ(file.getInTC(), zeroTimecode);
    EXPECT_EQ(file.getOutTC(), zeroTimecode);
    double in = -1.0;
    double out = -1.0;
    double duration = -1.0;
    file.InOutGet(in, out, duration);
    EXPECT_EQ(duration, 0.0);
}

videoFormatProps customVideo(int width, int height, double fps, int pixelFormat) {
    videoFormatProps format;
    format.width = width;
    format.height = height;
    format.fps = fps;
    format.pixelFormat = pixelFormat;
    return format;
}

videoFormatProps nativeVideo(int pixelFormat) {
    videoFormatProps format;
    format.mode = 1;
    format.pixelFormat = pixelFormat;
    return format;
}

namespace {

void receiveAll(AVCodecContext& decoder, const std::function<void(quol::FramePtr)>& take) {
    quol::FramePtr frame = quol::makeFrame();
    while (avcodec_receive_frame(&decoder, frame.get()) >= 0) {
        take(std::move(frame));
        frame = quol::makeFrame();
    }
}

} // namespace

std::vector<quol::FramePtr> decodeAll(const std::string& path, AVMediaType type) {
    std::vector<quol::FramePtr> frames;
    decodeEach(path, type, [&](quol::FramePtr frame) { frames.push_back(std::move(frame)); });
    return frames;
}

void decodeEach(const std::string& path, AVMediaType type,
                const std::function<void(quol::FramePtr)>& take) {
    quol::MediaInput input;
    const bool pattern = path.find('%') != std::string::npos;
    if (!input.open(path, pattern ? "image2" : nullptr) || !input.findStreamInfo()) return;
    const int index = input.bestStream(type);
    const AVStream* stream = input.stream(index);
    if (stream == nullptr) return;
    const quol::CodecContextPtr decoder = quol::openDecoder(*stream, quol::DecoderThreads::one);
    const quol::PacketPtr packet = quol::makePacket();
    if (!decoder) return;
    while (av_read_frame(input.get(), packet.get()) >= 0) {
        if (packet->stream_index == index && avcodec_send_packet(decoder.get(), packet.get()) >= 0)
            receiveAll(*decoder, take);
        av_packet_unref(packet.get());
    }
    avcodec_send_packet(decoder.get(), nullptr);
    receiveAll(*decoder, take);
}

std::uint64_t fingerprint(const AVFrame& picture) {
    std::uint64_t hash = 1469598103934665603U; // FNV-1a
    const auto take = [&hash](std::uint8_t byte) { hash = (hash ^ byte) * 1099511628211U; };
    const auto format = static_cast<AVPixelFormat>(picture.format);
    const int size = av_image_get_buffer_size(format, picture.width, picture.height, 1);
    std::vector<std::uint8_t> bytes(size > 0 ? static_cast<std::size_t>(size) : 0);
    av_image_copy_to_buffer(bytes.data(), size, picture.data, picture.linesize, format,
                            picture.width, picture.height, 1);
    for (const int number : {picture.width, picture.height, picture.format}) {
        for (unsigned shift = 0; shift < 32; shift += 8)
            take(static_cast<std::uint8_t>(static_cast<unsigned>(number) >> shift));
    }
    for (const std::uint8_t byte : bytes)
        take(byte);
    return hash;
}

std::string irregularity(const std::vector<PictureSeen>& pictures, double step) {
    constexpr double tolerance = 0.002; // some containers count in milliseconds
    for (std::size_t i = 1; i < pictures.size(); ++i) {
        const double before = pictures[i - 1].seconds;
        const double now = pictures[i].seconds;
        if (std::fabs(now - before - step) > tolerance) {
            return "picture " + std::to_string(i) + " at " + std::to_string(now) + " follows " +
                   std::to_string(before);
        }
    }
    return {};
}

Stopwatch::Stopwatch() : start_(quol::steadyNow()) {}

double Stopwatch::seconds() const {
    return at(quol::steadyNow());
}

double Stopwatch::at(std::int64_t steadyNanoseconds) const {
    return static_cast<double>(steadyNanoseconds - start_) / 1e9;
}

} // namespace test

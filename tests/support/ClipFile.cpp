#include "support/ClipFile.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "support/CapturedStream.h"
#include "support/PlainFrames.h"

namespace test {

namespace {

void check(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}

quol::CodecContextPtr openEncoder(AVCodecID id, const AVFrame& picture, int fps,
                                  bool globalHeader) {
    const AVCodec* const codec = avcodec_find_encoder(id);
    check(codec != nullptr, "no such encoder");
    quol::CodecContextPtr encoder(avcodec_alloc_context3(codec));
    check(encoder != nullptr, "no encoder");
    encoder->width = picture.width;
    encoder->height = picture.height;
    encoder->pix_fmt = static_cast<AVPixelFormat>(picture.format);
    encoder->time_base = {1, fps};
    encoder->framerate = {fps, 1};
    encoder->gop_size = 0;
    encoder->thread_count = 1;
    if (globalHeader) encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    check(avcodec_open2(encoder.get(), codec, nullptr) >= 0, "encoder does not open");
    return encoder;
}

// Encodes one picture (null drains) and hands each packet on.
template <typename Use>
void encode(AVCodecContext& encoder, const AVFrame* picture, Use use) {
    check(avcodec_send_frame(&encoder, picture) >= 0, "picture not taken");
    const quol::PacketPtr packet = quol::makePacket();
    while (avcodec_receive_packet(&encoder, packet.get()) >= 0) {
        use(*packet);
        av_packet_unref(packet.get());
    }
}

} // namespace

quol::FramePtr makeRgba(int width, int height, int alpha, int red, int green, int blue) {
    quol::FramePtr frame = quol::makeFrame();
    frame->width = width;
    frame->height = height;
    frame->format = AV_PIX_FMT_RGBA;
    check(av_frame_get_buffer(frame.get(), 0) >= 0, "no memory");
    const std::array<int, 4> pixel{red, green, blue, alpha};
    for (int y = 0; y < height; ++y) {
        std::uint8_t* const row = frame->data[0] + y * frame->linesize[0];
        for (int i = 0; i < 4 * width; ++i)
            row[i] = static_cast<std::uint8_t>(pixel[static_cast<std::size_t>(i % 4)]);
    }
    return frame;
}

std::vector<quol::FramePtr> countingPictures(int count, int width, int height) {
    std::vector<quol::FramePtr> pictures;
    for (int i = 0; i < count; ++i)
        pictures.push_back(makeRgba(width, height, alphaOf(i)));
    return pictures;
}

namespace {

// One of the streams of a file.
struct ClipTrack {
    const std::vector<quol::FramePtr>* pictures;
    int disposition = 0;
    quol::CodecContextPtr encoder = nullptr;
    AVStream* stream = nullptr; // owned by the file
};

void writePictures(AVFormatContext& file, const ClipTrack& track) {
    const auto write = [&](AVPacket& packet) {
        packet.duration = 1; // a picture that lasts no time is none
        av_packet_rescale_ts(&packet, track.encoder->time_base, track.stream->time_base);
        packet.stream_index = track.stream->index;
        check(av_interleaved_write_frame(&file, &packet) >= 0, "packet not written");
    };
    std::int64_t number = 0;
    for (const quol::FramePtr& picture : *track.pictures) {
        picture->pts = number++;
        encode(*track.encoder, picture.get(), write);
    }
    encode(*track.encoder, nullptr, write);
}

void writeTracks(const std::string& path, AVCodecID codec, std::vector<ClipTrack> tracks, int fps) {
    AVFormatContext* context = nullptr;
    check(avformat_alloc_output_context2(&context, nullptr, nullptr, path.c_str()) >= 0,
          "no such container");
    const quol::OutputFormatPtr file(context);
    const bool globalHeader = (file->oformat->flags & AVFMT_GLOBALHEADER) != 0;
    for (ClipTrack& track : tracks) {
        track.encoder = openEncoder(codec, *track.pictures->at(0), fps, globalHeader);
        track.stream = avformat_new_stream(file.get(), nullptr);
        check(track.stream != nullptr, "no stream");
        track.stream->time_base = track.encoder->time_base;
        track.stream->disposition = track.disposition;
        AVCodecParameters* const parameters = track.stream->codecpar;
        check(avcodec_parameters_from_context(parameters, track.encoder.get()) >= 0,
              "no parameters");
    }
    check(avio_open(&file->pb, path.c_str(), AVIO_FLAG_WRITE) >= 0, "file does not open");
    check(avformat_write_header(file.get(), nullptr) >= 0, "no header");
    for (const ClipTrack& track : tracks)
        writePictures(*file, track);
    check(av_write_trailer(file.get()) >= 0, "no trailer");
}

} // namespace

void writeClip(const std::string& path, AVCodecID codec,
               const std::vector<quol::FramePtr>& pictures, int fps) {
    std::vector<ClipTrack> tracks;
    tracks.push_back({&pictures});
    writeTracks(path, codec, std::move(tracks), fps);
}

std::string twoStreamClip() {
    std::vector<quol::FramePtr> first;
    first.push_back(plainPicture(firstStreamWidth, firstStreamHeight, dark));
    std::vector<quol::FramePtr> best;
    for (int i = 0; i < 10; ++i)
        best.push_back(plainPicture(bestStreamWidth, bestStreamHeight, bright));
    std::vector<ClipTrack> tracks;
    tracks.push_back({&first});
    tracks.push_back({&best, AV_DISPOSITION_DEFAULT});
    const std::string path = temporaryPath("two streams.mkv");
    writeTracks(path, AV_CODEC_ID_FFV1, std::move(tracks), 25);
    return path;
}

std::string alphaClip(const std::string& name, const std::vector<quol::FramePtr>& pictures) {
    const std::string path = temporaryPath(name + ".mov");
    writeClip(path, AV_CODEC_ID_PNG, pictures);
    return path;
}

std::string pngSequence(const std::string& name, const std::vector<quol::FramePtr>& pictures) {
    const std::string folder = temporaryPath(name);
    std::filesystem::create_directories(folder);
    for (std::size_t i = 0; i < pictures.size(); ++i) {
        std::array<char, 32> file{};
        std::snprintf(file.data(), file.size(), "/%03zu.png", i);
        const quol::CodecContextPtr encoder = openEncoder(AV_CODEC_ID_PNG, *pictures[i], 25, false);
        std::FILE* const out = std::fopen((folder + file.data()).c_str(), "wb");
        check(out != nullptr, "file does not open");
        const auto write = [out](const AVPacket& packet) {
            std::fwrite(packet.data, 1, static_cast<std::size_t>(packet.size), out);
        };
        encode(*encoder, pictures[i].get(), write);
        encode(*encoder, nullptr, write);
        std::fclose(out);
    }
    return folder + "/%03d.png";
}

std::string waveFile(const std::string& name, int sampleRate, int channels,
                     const std::vector<std::int16_t>& samples) {
    const auto number = [](std::size_t value, int bytes) {
        std::string text;
        for (int i = 0; i < bytes; ++i)
            text += static_cast<char>(value >> (8 * i));
        return text;
    };
    const std::size_t size = samples.size() * sizeof samples[0];
    const auto rate = static_cast<std::size_t>(sampleRate);
    const auto block = static_cast<std::size_t>(channels) * sizeof samples[0];
    const std::string path = temporaryPath(name + ".wav");
    std::ofstream(path, std::ios::binary)
        << "RIFF" << number(36 + size, 4) << "WAVEfmt " << number(16, 4) << number(1, 2)
        << number(static_cast<std::size_t>(channels), 2) << number(rate, 4)
        << number(rate * block, 4) << number(block, 2) << number(16, 2) << "data" << number(size, 4)
        << std::string(reinterpret_cast<const char*>(samples.data()), size);
    return path;
}

} // namespace test

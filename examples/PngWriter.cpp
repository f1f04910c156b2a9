#include "PngWriter.h"

#include <cstdio>
#include <cstring>
#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libswscale/swscale.h>
}

namespace {

struct Free {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
    void operator()(std::FILE* file) const { std::fclose(file); }
};
template <typename T>
using Owned = std::unique_ptr<T, Free>;

} // namespace

bool writePng(const std::string& path, int width, int height,
              const std::vector<std::uint8_t>& rgb) {
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_PNG);
    const Owned<AVCodecContext> encoder(codec != nullptr ? avcodec_alloc_context3(codec) : nullptr);
    const Owned<AVFrame> frame(av_frame_alloc());
    const Owned<AVPacket> packet(av_packet_alloc());
    if (!encoder || !frame || !packet) return false;
    encoder->width = frame->width = width;
    encoder->height = frame->height = height;
    encoder->pix_fmt = AV_PIX_FMT_RGB24;
    frame->format = AV_PIX_FMT_RGB24;
    encoder->time_base = {1, 25};
    if (avcodec_open2(encoder.get(), codec, nullptr) < 0 ||
        av_frame_get_buffer(frame.get(), 32) < 0)
        return false;
    for (int row = 0; row < height; ++row) {
        std::memcpy(frame->data[0] + static_cast<std::ptrdiff_t>(row) * frame->linesize[0],
                    rgb.data() + static_cast<std::ptrdiff_t>(row) * width * 3,
                    static_cast<std::size_t>(width) * 3);
    }
    if (avcodec_send_frame(encoder.get(), frame.get()) < 0 ||
        avcodec_receive_packet(encoder.get(), packet.get()) < 0) {
        return false;
    }
    Owned<std::FILE> file(std::fopen(path.c_str(), "wb"));
    const auto size = static_cast<std::size_t>(packet->size);
    const bool written = file && std::fwrite(packet->data, 1, size, file.get()) == size;
    return written && std::fclose(file.release()) == 0;
}

std::vector<std::uint8_t> scaleToRgb(const std::vector<std::uint8_t>& rgba, int width, int height,
                                     int stride, int targetWidth, int targetHeight) {
    const Owned<SwsContext> scaler(sws_getContext(width, height, AV_PIX_FMT_RGBA, targetWidth,
                                                  targetHeight, AV_PIX_FMT_RGB24, SWS_AREA, nullptr,
                                                  nullptr, nullptr));
    if (!scaler) return {};
    std::vector<std::uint8_t> rgb(static_cast<std::size_t>(targetWidth) * targetHeight * 3);
    const std::uint8_t* source[4] = {rgba.data(), nullptr, nullptr, nullptr};
    const int sourceStrides[4] = {stride, 0, 0, 0};
    std::uint8_t* target[4] = {rgb.data(), nullptr, nullptr, nullptr};
    const int targetStrides[4] = {targetWidth * 3, 0, 0, 0};
    sws_scale(scaler.get(), source, sourceStrides, 0, height, target, targetStrides);
    return rgb;
}

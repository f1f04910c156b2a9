#include "support/Frames.h"

#include <cmath>
#include <cstring>
#include <numbers>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace test {

quol::FramePtr makePicture(int width, int height, AVPixelFormat format, std::int64_t pts,
                           AVRational timeBase, unsigned seed) {
    quol::FramePtr frame = quol::makeFrame();
    frame->width = width;
    frame->height = height;
    frame->format = format;
    frame->pts = pts;
    frame->time_base = timeBase;
    if (av_frame_get_buffer(frame.get(), 32) < 0) return nullptr;
    unsigned state = seed * 2654435761U + 1;
    for (AVBufferRef* buffer : frame->buf) {
        if (buffer == nullptr) continue;
        for (std::size_t i = 0; i < buffer->size; ++i) {
            state = state * 1664525U + 1013904223U;
            buffer->data[i] = static_cast<std::uint8_t>(state >> 24U);
        }
    }
    return frame;
}

void fillPlane(AVFrame& frame, int plane, std::uint8_t level) {
    if (frame.data[plane] == nullptr) return;
    const auto* descriptor = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    const bool chroma = plane == 1 || plane == 2;
    const int rows =
        chroma ? AV_CEIL_RSHIFT(frame.height, descriptor->log2_chroma_h) : frame.height;
    std::memset(frame.data[plane], level, static_cast<std::size_t>(frame.linesize[plane]) * rows);
}

quol::FramePtr makeSound(int samples, int sampleRate, int channels, AVSampleFormat format,
                         std::int64_t pts, double hertz) {
    quol::FramePtr frame = quol::makeFrame();
    frame->nb_samples = samples;
    frame->sample_rate = sampleRate;
    frame->format = format;
    frame->pts = pts;
    frame->time_base = {1, sampleRate};
    av_channel_layout_default(&frame->ch_layout, channels);
    if (av_frame_get_buffer(frame.get(), 0) < 0) return nullptr;
    const bool planar = av_sample_fmt_is_planar(format) != 0;
    const bool floating = format == AV_SAMPLE_FMT_FLT || format == AV_SAMPLE_FMT_FLTP;
    for (int i = 0; i < samples; ++i) {
        const double seconds = (static_cast<double>(pts) + i) / sampleRate;
        const double value =
            hertz > 0 ? 0.1 * std::sin(2 * std::numbers::pi * hertz * seconds) : 0.0;
        for (int channel = 0; channel < channels; ++channel) {
            std::uint8_t* plane = frame->extended_data[planar ? channel : 0];
            const int at = planar ? i : i * channels + channel;
            if (floating) {
                reinterpret_cast<float*>(plane)[at] = static_cast<float>(value);
            } else {
                reinterpret_cast<std::int16_t*>(plane)[at] =
                    static_cast<std::int16_t>(value * 32767);
            }
        }
    }
    return frame;
}

} // namespace test

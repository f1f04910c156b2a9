#include "core/AudioPeak.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "core/Handles.h"

namespace quol {

namespace {

constexpr int step =
    4; // a meter needs no more, and a quarter of the reads is a quarter of the time

float peakOf(const float* samples, int count) {
    float peak = 0.0F;
    for (int i = 0; i < count; i += step)
        peak = std::max(peak, std::fabs(samples[i]));
    return peak;
}

float peakOf(const std::int16_t* samples, int count, int channels) {
    int peak = 0;
    for (int i = 0; i < count; i += step) {
        peak = std::max(
            peak, std::abs(static_cast<int>(samples[static_cast<std::ptrdiff_t>(i) * channels])));
    }
    return static_cast<float>(peak) * (1.0F / 32768.0F);
}

} // namespace

AudioPeak measurePeak(const AVFrame& frame) {
    const int channels = frame.ch_layout.nb_channels;
    if (frame.nb_samples < 1 || channels < 1) return {};
    const int second = channels > 1 ? 1 : 0;
    if (frame.format == AV_SAMPLE_FMT_FLTP) {
        const auto plane = [&frame](int channel) {
            return reinterpret_cast<const float*>(frame.extended_data[channel]);
        };
        return {peakOf(plane(0), frame.nb_samples), peakOf(plane(second), frame.nb_samples)};
    }
    if (frame.format == AV_SAMPLE_FMT_S16) {
        const auto* samples = reinterpret_cast<const std::int16_t*>(frame.extended_data[0]);
        return {peakOf(samples, frame.nb_samples, channels),
                peakOf(samples + second, frame.nb_samples, channels)};
    }
    return {};
}

} // namespace quol

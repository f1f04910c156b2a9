#include "core/AudioPeak.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "core/Handles.h"

namespace quol {

namespace {

// A meter needs no more than every fourth, and a quarter of the reads is a quarter of the time.
constexpr int usualStep = 4;

float peakOf(const float* samples, int count, int step) {
    float peak = 0.0F;
    for (int i = 0; i < count; i += step)
        peak = std::max(peak, std::fabs(samples[i]));
    return peak;
}

float peakOf(const std::int16_t* samples, int count, int channels, int step) {
    int peak = 0;
    for (int i = 0; i < count; i += step) {
        peak = std::max(
            peak, std::abs(static_cast<int>(samples[static_cast<std::ptrdiff_t>(i) * channels])));
    }
    return static_cast<float>(peak) * (1.0F / 32768.0F);
}

enum class OneChannel { left, both }; // where planar sound of one channel counts

AudioPeak peakOf(const AVFrame& frame, int step, OneChannel onePlane) {
    const int channels = frame.ch_layout.nb_channels;
    if (frame.nb_samples < 1 || channels < 1) return {};
    if (frame.format == AV_SAMPLE_FMT_FLTP) {
        const auto plane = [&frame](int channel) {
            return reinterpret_cast<const float*>(frame.extended_data[channel]);
        };
        const float left = peakOf(plane(0), frame.nb_samples, step);
        if (channels < 2) return {left, onePlane == OneChannel::both ? left : 0.0F};
        return {left, peakOf(plane(1), frame.nb_samples, step)};
    }
    if (frame.format == AV_SAMPLE_FMT_S16) {
        const auto* samples = reinterpret_cast<const std::int16_t*>(frame.extended_data[0]);
        const int second = channels > 1 ? 1 : 0;
        return {peakOf(samples, frame.nb_samples, channels, step),
                peakOf(samples + second, frame.nb_samples, channels, step)};
    }
    return {};
}

} // namespace

AudioPeak measurePeak(const AVFrame& frame) {
    return peakOf(frame, usualStep, OneChannel::both);
}

AudioPeak measureEverySample(const AVFrame& frame) {
    return peakOf(frame, 1, OneChannel::left);
}

} // namespace quol

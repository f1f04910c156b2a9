#include "core/Resampler.h"

#include <algorithm>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace quol {

// What must hold for a frame's planes to be read at all.
bool Resampler::sameShape(const AVFrame& frame) const {
    return frame.format == inputFormat_ && inputLayout_.equals(frame.ch_layout);
}

bool Resampler::sameKey(const AVFrame& frame, const AudioTarget& target) const {
    return sameShape(frame) && frame.sample_rate == inputRate_ &&
           target.channels == target_.channels && target.format == target_.format &&
           target.sampleRate == target_.sampleRate;
}

bool Resampler::prepare(const AVFrame& frame, const AudioTarget& target) {
    if (context_ && input_ == Input::frozen) return sameShape(frame);
    if (context_ && sameKey(frame, target)) return true;
    context_.reset();
    // A frame without a format would be accepted by FFmpeg, which then divides by its size of 0.
    if (frame.format < 0 || frame.sample_rate < 1 || frame.ch_layout.nb_channels < 1 ||
        target.sampleRate < 1)
        return false;

    const ChannelLayout output(target.channels);
    SwrContext* made = nullptr;
    // FFmpeg 5 declares the layouts, which it copies, without const.
    const int result = swr_alloc_set_opts2(
        &made, const_cast<AVChannelLayout*>(output.get()), target.format, target.sampleRate,
        const_cast<AVChannelLayout*>(&frame.ch_layout), static_cast<AVSampleFormat>(frame.format),
        frame.sample_rate, 0, nullptr);
    SwrPtr context(made);
    if (result < 0 || swr_init(context.get()) < 0) return false;
    if (!inputLayout_.assign(frame.ch_layout)) return false;
    inputRate_ = frame.sample_rate;
    inputFormat_ = frame.format;
    target_ = target;
    context_ = std::move(context);
    return true;
}

std::optional<std::vector<std::int16_t>> Resampler::stereoS16(const AVFrame& frame,
                                                              int sampleRate) {
    if (!isStereoS16(frame, sampleRate)) {
        if (!prepare(frame, {2, AV_SAMPLE_FMT_S16, sampleRate})) return std::nullopt;
        return convertS16(frame);
    }
    const auto* samples = reinterpret_cast<const std::int16_t*>(frame.extended_data[0]);
    return std::vector(samples, samples + static_cast<std::ptrdiff_t>(frame.nb_samples) * 2);
}

int Resampler::capacity(int samples, int inputRate) const {
    const std::int64_t waiting = swr_get_delay(context_.get(), inputRate);
    const std::int64_t room =
        av_rescale_rnd(waiting + samples, target_.sampleRate, inputRate, AV_ROUND_UP);
    return static_cast<int>(std::clamp<std::int64_t>(room, 0, INT32_MAX / 64));
}

int Resampler::convert(const AVFrame& frame, std::uint8_t** planes, int room) {
    // The input is a const array of planes by contract, though FFmpeg 5 declares it without const.
    auto** input = const_cast<const std::uint8_t**>(frame.extended_data);
    return swr_convert(context_.get(), planes, room, input, frame.nb_samples);
}

int Resampler::convertMore(std::uint8_t** planes, int room) {
    // Input that is none at all would mean the end.
    constexpr int mostPlanes = 64; // swresample looks at one for each channel, 64 at most
    const std::uint8_t* none[mostPlanes] = {};
    return swr_convert(context_.get(), planes, room, none, 0);
}

int Resampler::drain(std::uint8_t** planes, int room) {
    return swr_convert(context_.get(), planes, room, nullptr, 0);
}

std::vector<std::int16_t> Resampler::convertS16(const AVFrame& frame) {
    const int room = capacity(frame.nb_samples, frame.sample_rate);
    const auto channels = static_cast<std::size_t>(target_.channels);
    std::vector<std::int16_t> samples(static_cast<std::size_t>(room) * channels);
    auto* plane = reinterpret_cast<std::uint8_t*>(samples.data());
    const int count = convert(frame, &plane, room);
    samples.resize(static_cast<std::size_t>(std::max(count, 0)) * channels);
    return samples;
}

} // namespace quol

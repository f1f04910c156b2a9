#include "core/AudioInput.h"

#include <algorithm>
#include <utility>

#include "core/FrameTime.h"

namespace quol {

namespace {

// Sound that lies in memory, at a rate that sound has: at a few samples a second a block would grow
// beyond all measure.
bool isReadable(const AVFrame& frame) {
    constexpr int slowest = 1000;
    const auto format = static_cast<AVSampleFormat>(frame.format);
    const int channels = frame.ch_layout.nb_channels;
    if (frame.nb_samples < 1 || frame.sample_rate < slowest || channels < 1) return false;
    if (av_get_bytes_per_sample(format) < 1 || frame.extended_data == nullptr) return false;
    const int planes = av_sample_fmt_is_planar(format) != 0 ? channels : 1;
    return std::all_of(frame.extended_data, frame.extended_data + planes,
                       [](const std::uint8_t* plane) { return plane != nullptr; });
}

} // namespace

void AudioInput::push(const AVFrame* frame) {
    if (frame == nullptr || !isReadable(*frame)) return;
    const std::lock_guard lock(mutex_);
    AudioRecord record;
    record.pts = frameTime(*frame).value_or(0.0);
    if (isStereoS16(*frame, rate_)) {
        const auto* samples = reinterpret_cast<const std::int16_t*>(frame->extended_data[0]);
        record.samples.assign(samples,
                              samples + static_cast<std::ptrdiff_t>(frame->nb_samples) * 2);
    } else {
        const AudioTarget target{2, AV_SAMPLE_FMT_S16, rate_};
        if (!resampler_.prepare(*frame, target)) return;
        record.samples = resampler_.convertS16(*frame);
    }
    queue_.append(std::move(record));
}

std::size_t AudioInput::take(std::int16_t* target, std::size_t pairs) {
    const std::lock_guard lock(mutex_);
    return queue_.take(target, pairs);
}

std::size_t AudioInput::takeDue(std::int16_t* target, std::size_t pairs, double latest) {
    const std::lock_guard lock(mutex_);
    return queue_.takeDue(target, pairs, latest);
}

void AudioInput::setSampleRate(int sampleRate) {
    const std::lock_guard lock(mutex_);
    rate_ = sampleRate;
    resampler_.reset();
    queue_.clear();
    queue_.setSampleRate(sampleRate);
}

void AudioInput::clear() {
    const std::lock_guard lock(mutex_);
    queue_.clear();
}

std::size_t AudioInput::pairs() const {
    const std::lock_guard lock(mutex_);
    return queue_.pairs();
}

std::size_t AudioInput::records() const {
    const std::lock_guard lock(mutex_);
    return queue_.records();
}

int AudioInput::sampleRate() const {
    const std::lock_guard lock(mutex_);
    return rate_;
}

} // namespace quol

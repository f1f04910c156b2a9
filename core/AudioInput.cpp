#include "core/AudioInput.h"

#include <utility>

#include "core/FrameTime.h"
#include "core/SoundCheck.h"

namespace quol {

void AudioInput::push(const AVFrame* frame) {
    if (frame == nullptr || !isReadableSound(*frame)) return;
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

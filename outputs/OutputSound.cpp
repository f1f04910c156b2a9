#include "outputs/OutputSound.h"

#include <algorithm>

#include "core/FrameTime.h"
#include "core/Log.h"
#include "core/SoundCheck.h"
#include "outputs/OutputSettings.h"

namespace quol {

namespace {

// A frame that shows stereo samples where they lie.
FramePtr viewOf(std::vector<std::int16_t>& samples, int rate) {
    FramePtr frame = makeFrame();
    if (!frame) return nullptr;
    frame->format = AV_SAMPLE_FMT_S16;
    frame->sample_rate = rate;
    frame->nb_samples = static_cast<int>(samples.size() / 2);
    av_channel_layout_default(&frame->ch_layout, 2);
    frame->data[0] = reinterpret_cast<std::uint8_t*>(samples.data());
    return frame;
}

} // namespace

int pairsPerPicture(double rate) {
    constexpr int otherwise = 1920;
    const int whole = wholeRate(rate);
    return whole > 0 ? std::max(outputSampleRate / whole, 1) : otherwise;
}

std::int64_t soundPause(int pairs, bool deviceHoldsBack) {
    constexpr int pairsPerMilli = outputSampleRate / 1000;
    constexpr int shortest = 3 * pairsPerMilli; // sound that is waited for
    if (deviceHoldsBack || pairs < shortest) return 0;
    // A little less than the sound lasts, so that the device never runs dry.
    return (pairs / pairsPerMilli - 2) * nanosPerMilli;
}

std::int16_t applyGain(std::int16_t sample, float gain) {
    // The int nearest to 2^31 that a float holds lies below it.
    constexpr float limit = 2147483648.0F;
    const float product = static_cast<float>(sample) * gain;
    if (!(product >= -limit && product < limit)) return 0;
    return static_cast<std::int16_t>(static_cast<int>(product));
}

void OutputSound::push(const AVFrame& frame) {
    if (!isReadableSound(frame)) return;
    const std::lock_guard input(inputMutex_);
    AudioRecord record;
    record.samples = converted(frame);
    if (record.samples.empty()) return;
    record.pts = frameTime(frame).value_or(0.0);
    const float factor = gain();
    for (std::int16_t& sample : record.samples)
        sample = applyGain(sample, factor);
    const std::lock_guard lock(queueMutex_);
    queue_.append(std::move(record));
}

std::vector<std::int16_t> OutputSound::converted(const AVFrame& frame) {
    const int rate = rate_.load(std::memory_order_relaxed);
    const bool plain = rate < 1 || rate == outputSampleRate;
    if (plain && isStereoS16(frame, outputSampleRate)) {
        const auto* samples = reinterpret_cast<const std::int16_t*>(frame.extended_data[0]);
        return {samples, samples + static_cast<std::ptrdiff_t>(frame.nb_samples) * 2};
    }
    if (plain || rate == frame.sample_rate) return throughSecond(frame);
    std::vector<std::int16_t> samples = throughFirst(frame, rate);
    if (samples.empty()) return {};
    const FramePtr between = viewOf(samples, rate);
    return between ? throughSecond(*between) : std::vector<std::int16_t>{};
}

// Made for the first block that needs it and for the rate of that moment, and never again.
std::vector<std::int16_t> OutputSound::throughFirst(const AVFrame& frame, int rate) {
    if (!first_.prepare(frame, {2, AV_SAMPLE_FMT_S16, rate})) return {};
    return first_.convertS16(frame);
}

std::vector<std::int16_t> OutputSound::throughSecond(const AVFrame& frame) {
    const InputKey key{frame.sample_rate, frame.format, frame.ch_layout.nb_channels};
    if (!second_.prepare(frame, {2, AV_SAMPLE_FMT_S16, outputSampleRate})) {
        secondKey_ = {};
        return {};
    }
    if (key != secondKey_) {
        logOut("[LOutput] Audio Resampler re-created for new input: %dHz", frame.sample_rate);
        secondKey_ = key;
    }
    return second_.convertS16(frame);
}

int OutputSound::pop(double /*pts*/, std::int16_t* samples, int count) {
    if (samples == nullptr || count < 1) return 0;
    std::fill_n(samples, static_cast<std::size_t>(count) * 2, std::int16_t{0});
    const std::lock_guard lock(queueMutex_);
    return static_cast<int>(queue_.take(samples, static_cast<std::size_t>(count)));
}

void OutputSound::clear() {
    const std::lock_guard lock(queueMutex_);
    queue_.clear();
}

std::size_t OutputSound::records() {
    const std::lock_guard lock(queueMutex_);
    return queue_.records();
}

} // namespace quol

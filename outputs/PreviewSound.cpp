#include "outputs/PreviewSound.h"

#include <algorithm>
#include <cstdlib>

#include "core/FrameTime.h"

namespace quol {

namespace {

void raise(int& peak, std::int16_t sample) {
    peak = std::max(peak, std::abs(static_cast<int>(sample)));
}

float levelOf(int peak) {
    return static_cast<float>(peak) / 32768.0F;
}

} // namespace

// --------------------------------------------------------------------------------- the peaks

void PeakQueue::push(const PeakSample& sample) {
    const std::lock_guard lock(mutex_);
    samples_.push_back(sample);
    if (samples_.size() > maxSamples) samples_.pop_front();
}

std::optional<PeakSample> PeakQueue::takeUntil(double latest) {
    std::optional<PeakSample> last;
    const std::lock_guard lock(mutex_);
    std::erase_if(samples_, [&](const PeakSample& sample) {
        if (sample.time > latest) return false;
        last = sample;
        return true;
    });
    return last;
}

void PeakQueue::clear() {
    const std::lock_guard lock(mutex_);
    samples_.clear();
}

std::size_t PeakQueue::size() const {
    const std::lock_guard lock(mutex_);
    return samples_.size();
}

// --------------------------------------------------------------------------------- the sound

PreviewSound::PreviewSound() : buffer_(conversionBytes / sizeof(std::int16_t)) {}

PreviewSound::~PreviewSound() = default;

void PreviewSound::setEnabled(bool enabled) {
    const std::lock_guard lock(mutex_);
    enabled_ = enabled;
    pauseOrResume();
    if (device_ && !enabled) device_->clearQueue();
}

void PreviewSound::setEnabledKeeping(bool enabled) {
    const std::lock_guard lock(mutex_);
    enabled_ = enabled;
    pauseOrResume();
}

void PreviewSound::pause(bool paused) {
    const std::lock_guard lock(mutex_);
    paused_ = paused;
    pauseOrResume();
}

void PreviewSound::startAnew() {
    {
        const std::lock_guard lock(mutex_);
        paused_ = false;
        if (device_) device_->clearQueue();
        pauseOrResume();
    }
    peaks_.clear();
}

void PreviewSound::pauseOrResume() {
    if (device_) device_->pause(paused_ || !enabled_);
}

bool PreviewSound::isOpenedFor(const AVFrame& frame) const {
    return frame.sample_rate == rate_ && frame.format == format_ && layout_.equals(frame.ch_layout);
}

void PreviewSound::closeDevice() {
    device_.reset();
    resampler_.reset();
    refused_.forget();
}

// A machine without a device is not asked for one with every block: it may take its time to answer,
// and the source waits meanwhile.
void PreviewSound::openDevice(const AVFrame& frame) {
    if (!isOpenedFor(frame)) refused_.forget();
    if (!refused_.mayBeAskedAt(steadyNow())) return;
    rate_ = frame.sample_rate;
    format_ = frame.format;
    layout_.assign(frame.ch_layout);
    device_ = SoundDevice::open(frame.sample_rate);
    if (device_) {
        refused_.forget();
        pauseOrResume();
    } else {
        refused_.refused(steadyNow()); // the asking itself may have taken seconds
    }
}

void PreviewSound::push(const AVFrame& frame) {
    const std::lock_guard lock(mutex_);
    if (device_ && (!isOpenedFor(frame) || !device_->isAlive())) closeDevice();
    if (!resampler_.prepare(frame, {2, AV_SAMPLE_FMT_S16, frame.sample_rate})) return;
    if (enabled_ && !device_) openDevice(frame);
    int left = 0;
    int right = 0;
    auto* plane = reinterpret_cast<std::uint8_t*>(buffer_.data());
    const auto room = static_cast<int>(buffer_.size() / 2);
    // A block that is longer than the buffer goes through it in pieces.
    for (int pairs = resampler_.convert(frame, &plane, room); pairs > 0;
         pairs = pairs == room ? resampler_.convertMore(&plane, room) : 0) {
        for (int i = 0; i < pairs; ++i) {
            raise(left, buffer_[static_cast<std::size_t>(i) * 2]);
            raise(right, buffer_[static_cast<std::size_t>(i) * 2 + 1]);
        }
        play(buffer_.data(), static_cast<std::size_t>(pairs));
    }
    peaks_.push({frameTime(frame).value_or(0.0), levelOf(left), levelOf(right)});
}

// The device's clock is not the source's, and one that is paused takes nothing: a queue that has
// grown to a second is dropped, so that the sound is never far behind the picture.
void PreviewSound::play(const std::int16_t* samples, std::size_t pairs) {
    if (!enabled_ || !device_) return;
    if (device_->queuedPairs() > static_cast<std::size_t>(rate_)) device_->clearQueue();
    device_->queue(samples, pairs);
}

} // namespace quol

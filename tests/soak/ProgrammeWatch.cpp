#include "soak/ProgrammeWatch.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "core/FrameTime.h"
#include "soak/ProcessState.h"
#include "soak/SteadyTime.h"

namespace soak {

namespace {

constexpr int silentPairs = 48; // a millisecond at 48 kHz; a tone passes zero faster

} // namespace

ProgrammeCount ProgrammeWatch::take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(count_, {});
}

void ProgrammeWatch::pushVideoFrame(AVFrame* frame) {
    const double now = static_cast<double>(steadyNanos()) * 1e-9;
    const std::lock_guard lock(mutex_);
    const double stolen = stolenSeconds();
    const double waited = waits_.longest() + stolen - std::exchange(stolen_, stolen);
    ++count_.pictures;
    const std::int64_t number = frame->pts;
    if (number <= lastNumber_) { // the clock was started anew
        origin_ = std::numeric_limits<double>::max();
        lateness_ = {};
    } else if (lastNumber_ >= 0) {
        count_.missing += number - lastNumber_ - 1;
    }
    lastNumber_ = number;
    origin_ = std::min(origin_, now - static_cast<double>(number) * period_);
    lateness_.add(now - origin_ - static_cast<double>(number) * period_, waited);
    count_.worst = std::max(count_.worst, lateness_.behind() * 1000.0);
    count_.late += lateness_.behind() >= period_ ? 1 : 0;
    count_.explained += lateness_.behind() >= period_ && lateness_.own() < period_ ? 1 : 0;
}

void ProgrammeWatch::pushAudioFrame(AVFrame* frame) {
    const auto time = quol::frameTime(*frame);
    if (!time || frame->sample_rate <= 0) return;
    const std::lock_guard lock(mutex_);
    ++count_.blocks;
    if (nextSound_ >= 0.0 && std::abs(*time - nextSound_) > 0.001) ++count_.gaps;
    nextSound_ = *time + static_cast<double>(frame->nb_samples) / frame->sample_rate;
}

std::int64_t ToneWatch::takeGaps() {
    const std::lock_guard lock(mutex_);
    return std::exchange(gaps_, 0);
}

bool ToneWatch::heard() {
    const std::lock_guard lock(mutex_);
    return heard_;
}

void ToneWatch::pushAudioFrame(AVFrame* frame) {
    const auto* const samples = reinterpret_cast<const std::int16_t*>(frame->data[0]);
    const std::lock_guard lock(mutex_);
    for (int pair = 0; pair < frame->nb_samples; ++pair) {
        const bool silent = samples[2 * pair] == 0 && samples[2 * pair + 1] == 0;
        heard_ = heard_ || !silent;
        silent_ = silent && heard_ ? silent_ + 1 : 0;
        gaps_ += silent_ == silentPairs ? 1 : 0;
    }
}

} // namespace soak

#include "compositing/MultiviewSink.h"

#include <cmath>

#include "core/Clock.h"
#include "quolsdk/LObject.h"

namespace {

constexpr float fall = 0.95F;

// Less than half a step of 16-bit sound. Without an end a level would fall for ever, and keep the
// lowest segment of its meter lit.
constexpr float nothing = 1.0F / 65536.0F;

// One level after another. Sound that is no number must not stand for ever.
float nextLevel(float level, float peak) {
    if (!std::isfinite(peak)) peak = 1.0F;
    const float next = peak > level ? peak : fall * level;
    return next < nothing ? 0.0F : next;
}

// The multiviews whose sinks a thread is in just now, by the sound it forwards. Two that show each
// other would hand one block to and fro, under locks that they hold already.
struct Forwarding {
    const LObject* owner;
    const Forwarding* outer;
};

thread_local const Forwarding* innermost = nullptr;

bool isForwardingBy(const LObject* owner) {
    for (const Forwarding* each = innermost; each != nullptr; each = each->outer) {
        if (each->owner == owner) return true;
    }
    return false;
}

} // namespace

void MultiviewSink::pushAudioFrame(AVFrame* frame) {
    if (frame == nullptr || frame->nb_samples < 1) return;
    meter(*frame);
    if (forwards_ && owner_ != nullptr) forward(frame);
}

void MultiviewSink::meter(const AVFrame& frame) {
    const quol::AudioPeak peak = quol::measureEverySample(frame);
    const std::lock_guard lock(levelMutex_);
    levels_ = {nextLevel(levels_.left, peak.left), nextLevel(levels_.right, peak.right)};
    hasSound_ = true;
    soundTime_ = quol::steadyNow();
}

void MultiviewSink::forward(AVFrame* frame) const {
    if (isForwardingBy(owner_)) return;
    const Forwarding here{owner_, innermost};
    innermost = &here;
    owner_->distributeAudioFrame(frame);
    innermost = here.outer;
}

std::optional<quol::AudioPeak> MultiviewSink::levels(std::int64_t since) const {
    const std::lock_guard lock(levelMutex_);
    if (!hasSound_ || soundTime_ < since) return std::nullopt;
    return levels_;
}

#include "compositing/MultiviewSink.h"

#include <cmath>

#include "compositing/WallClock.h"
#include "core/Clock.h"
#include "core/SoundCheck.h"
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

struct Forwarding;
thread_local const Forwarding* innermost = nullptr;

// The multiviews whose sinks a thread is in just now, by the sound it forwards. Two that show each
// other would hand one block to and fro, under locks that they hold already.
struct Forwarding {
    explicit Forwarding(const LObject* of) : owner(of), outer(innermost) { innermost = this; }
    Forwarding(const Forwarding&) = delete;
    Forwarding& operator=(const Forwarding&) = delete;
    ~Forwarding() { innermost = outer; }

    const LObject* const owner;
    const Forwarding* const outer;
};

bool isForwardingBy(const LObject* owner) {
    for (const Forwarding* each = innermost; each != nullptr; each = each->outer) {
        if (each->owner == owner) return true;
    }
    return false;
}

} // namespace

void MultiviewSink::pushAudioFrame(AVFrame* frame) {
    if (frame == nullptr || !quol::isReadableSound(*frame)) return;
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

void MultiviewSink::forward(AVFrame* frame) {
    if (isForwardingBy(owner_)) return;
    const quol::FramePtr stamped = clock_ != nullptr ? onWallTime(*frame) : nullptr;
    if (clock_ != nullptr && !stamped) return; // no memory
    const Forwarding here(owner_);
    owner_->distributeAudioFrame(stamped ? stamped.get() : frame);
}

// The same samples, in the wall's time.
quol::FramePtr MultiviewSink::onWallTime(const AVFrame& frame) {
    quol::FramePtr stamped = quol::cloneFrame(&frame);
    if (!stamped) return nullptr;
    const double wall = clock_->at(quol::steadyNow());
    const std::lock_guard lock(levelMutex_);
    stamped->pts = time_.of(frame, wall);
    stamped->time_base = {1, frame.sample_rate};
    return stamped;
}

std::optional<quol::AudioPeak> MultiviewSink::levels(std::int64_t since) const {
    const std::lock_guard lock(levelMutex_);
    if (!hasSound_ || soundTime_ < since) return std::nullopt;
    return levels_;
}

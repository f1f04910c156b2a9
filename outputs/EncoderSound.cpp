#include "outputs/EncoderSound.h"

#include <utility>

#include "core/FrameTime.h"
#include "core/HadMemory.h"
#include "core/SoundCheck.h"
#include "outputs/EncoderSession.h"

namespace quol {

namespace {

constexpr int sampleRate = 48000;

} // namespace

bool EncoderSound::open(EncoderSession& session, std::string encoder, int kilobits,
                        AudioTrack::Waiting waiting) {
    const AVCodec* codec =
        chooseEncoder(*session.output()->oformat, AVMEDIA_TYPE_AUDIO, "aac", encoder);
    const std::lock_guard lock(mutex_);
    track_.reset();
    resampler_.reset();
    if (codec == nullptr) return true;
    Dictionary options;
    if (!session.openAudio(*codec, {sampleRate, 2, kilobits * bitsPerKilobit}, options))
        return false;
    rate_ = session.audio()->sample_rate;
    const double pictureLength = av_q2d(session.video()->time_base);
    track_ = std::make_unique<AudioTrack>(
        *session.audio(), pictureLength,
        [&session](const AVFrame& frame) { session.encodeAudio(&frame); }, waiting);
    return true;
}

void EncoderSound::close() {
    const std::lock_guard lock(mutex_);
    track_.reset();
}

void EncoderSound::push(const AVFrame& frame, double time, const std::atomic<bool>& refusing) {
    if (!isReadableSound(frame)) return;
    const std::lock_guard lock(mutex_);
    if (!track_ || refusing) return;
    hadMemory([&] {
        auto samples = resampler_.stereoS16(frame, rate_);
        if (samples) track_->push({frameTime(frame).value_or(time), std::move(*samples)});
    });
}

void EncoderSound::clear() {
    const std::lock_guard lock(mutex_);
    if (track_) track_->clear();
}

} // namespace quol

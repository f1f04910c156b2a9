#include "sources/LiveSound.h"

#include <cstdint>

#include "core/Log.h"
#include "core/ModeTables.h"
#include "core/SoundBlock.h"
#include "quolsdk/LFilter.h"

namespace quol {

namespace {

constexpr int unityGain = 100; // percent

// Sixteen bits of the product, wherever it goes: there is no limiter here.
void applyGain(AVFrame& frame, int percent) {
    const bool planar = frame.format == AV_SAMPLE_FMT_S16P;
    if (percent == unityGain || (!planar && frame.format != AV_SAMPLE_FMT_S16)) return;
    if (frame.nb_samples < 1 || av_frame_make_writable(&frame) < 0) return;
    const float gain = static_cast<float>(percent) / 100.0F;
    const int channels = frame.ch_layout.nb_channels;
    const int planes = planar ? channels : 1;
    const std::int64_t count = static_cast<std::int64_t>(frame.nb_samples) * channels / planes;
    for (int plane = 0; plane < planes; ++plane) {
        auto* samples = reinterpret_cast<std::int16_t*>(frame.extended_data[plane]);
        for (std::int64_t i = 0; i < count; ++i) {
            // By way of 64 bits: a gain beyond all reason must not leave the range of a number.
            const auto product = static_cast<std::int64_t>(static_cast<float>(samples[i]) * gain);
            samples[i] = static_cast<std::int16_t>(product);
        }
    }
}

} // namespace

void LiveSound::processAudioFrame(AVFrame* frame) {
    if (frame == nullptr) return;
    const std::lock_guard lock(mutex_);
    if (frame->pts == AV_NOPTS_VALUE && frame->sample_rate > 0) {
        const double seconds = static_cast<double>(state_.sinceStart()) / 1e9;
        frame->time_base = {1, frame->sample_rate};
        frame->pts = static_cast<std::int64_t>(frame->sample_rate * seconds);
    }
    applyGain(*frame, settings_.audioGain);
    std::string text;
    if (!filterText(text)) {
        graph_.reset();
        graphText_.clear();
        passOn(*frame);
        return;
    }
    if (!initAudioFilters(*frame, text)) {
        passOn(*frame);
        return;
    }
    if (!filtered_) filtered_ = makeFrame();
    if (!filtered_ || !graph_.send(frame)) return;
    while (graph_.receive(*filtered_)) {
        filtered_->time_base = graph_.timeBase();
        passOn(*filtered_);
        av_frame_unref(filtered_.get());
    }
}

bool LiveSound::filterText(std::string& text) const {
    const std::lock_guard lock(settings_.mutex);
    if (settings_.audioFilter == nullptr) return false;
    text = settings_.audioFilter->getFilterString();
    return true;
}

// Makes sure of a graph for the text and the form of the sound. One that cannot be built is tried
// again with the next block.
bool LiveSound::initAudioFilters(const AVFrame& frame, const std::string& text) {
    if (text == graphText_ && graph_.takes(frame)) return true;
    const bool built = graph_.buildAudio(frame, text);
    graphText_ = built ? text : std::string();
    return built;
}

void LiveSound::passOn(AVFrame& frame) {
    if (frame.nb_samples > 0) outlets_.peak(measurePeak(frame));
    processAudioFrameInternal(frame);
}

void LiveSound::processAudioFrameInternal(AVFrame& frame) {
    const audioFormatProps wanted = settings_.audioFormat();
    if (wanted.sampleRate <= 0 && wanted.channels <= 0) {
        outlets_.sound(&frame);
        return;
    }
    AudioTarget target;
    if (wanted.sampleRate > 0) target.sampleRate = wanted.sampleRate;
    if (wanted.channels > 0) target.channels = wanted.channels;
    const bool isRate = target.sampleRate <= maxSampleRate;
    const bool fits = frame.sample_rate == target.sampleRate &&
                      frame.ch_layout.nb_channels == target.channels &&
                      frame.format == target.format;
    if (fits || !isRate || !prepareResampler(frame, target)) {
        outlets_.sound(&frame);
        return;
    }
    resample(frame, target);
}

bool LiveSound::prepareResampler(const AVFrame& frame, const AudioTarget& target) {
    const Form form{frame.sample_rate, frame.ch_layout.nb_channels, frame.format, target.sampleRate,
                    target.channels};
    const bool made = !resampler_ || form != form_;
    if (!resampler_.prepare(frame, target)) return false;
    form_ = form;
    if (made) {
        logOut("LLive: Audio Normalization SwrContext Created (%dHz -> %dHz)", frame.sample_rate,
               target.sampleRate);
    }
    return true;
}

// Sound that the resampler keeps for later gives no block now.
void LiveSound::resample(const AVFrame& frame, const AudioTarget& target) {
    const FramePtr block =
        makeSoundFrame(target.format, *ChannelLayout(target.channels).get(),
                       resampler_.capacity(frame.nb_samples, frame.sample_rate), target.sampleRate);
    if (!block) return;
    const int count = resampler_.convert(frame, block->extended_data, block->nb_samples);
    if (count < 1) return;
    block->nb_samples = count;
    block->pts = frame.pts;
    block->time_base = frame.time_base;
    outlets_.sound(block.get());
}

void LiveSound::reset() {
    const std::unique_lock lock(mutex_, std::try_to_lock);
    if (!lock.owns_lock()) return;
    graph_.reset();
    filtered_.reset();
    graphText_.clear();
}

} // namespace quol

#include "outputs/ConvertSound.h"

#include <utility>

#include "core/SoundBlock.h"

namespace quol {

namespace {

constexpr int usualFrameSize = 1024; // for encoders that take any
// Samples that the resampler gives in one turn. A block that becomes longer, as sound of a rate of
// some Hz does, comes out in several: no file decides how much memory that takes.
constexpr int samplesInOneTurn = 16384;

} // namespace

ConvertSound::ConvertSound(const AVCodecContext& encoder, Write write, GoOn goOn)
    : format_(encoder.sample_fmt),
      target_{encoder.ch_layout.nb_channels, encoder.sample_fmt, encoder.sample_rate},
      frameSize_(encoder.frame_size > 0 ? encoder.frame_size : usualFrameSize),
      layout_(encoder.ch_layout),
      write_(std::move(write)),
      goOn_(std::move(goOn)),
      converted_(makeBlock(samplesInOneTurn)),
      waiting_(av_audio_fifo_alloc(format_, target_.channels, samplesInOneTurn + frameSize_)) {}

// Null when memory is short.
FramePtr ConvertSound::makeBlock(int samples) const {
    return makeSoundFrame(format_, *layout_.get(), samples, target_.sampleRate);
}

void ConvertSound::add(const AVFrame& block) {
    if (!converted_ || !waiting_ || block.nb_samples < 1) return;
    if (resampler_ && !resampler_.fits(block, target_)) drainResampler();
    if (!resampler_.prepare(block, target_)) return;
    std::uint8_t** const planes = converted_->extended_data;
    int samples = resampler_.convert(block, planes, samplesInOneTurn);
    while (samples > 0) {
        keep(samples);
        if (samples < samplesInOneTurn || !goOn_()) return;
        samples = resampler_.convertMore(planes, samplesInOneTurn);
    }
}

void ConvertSound::drainResampler() {
    int samples = 0;
    do {
        samples = resampler_.drain(converted_->extended_data, samplesInOneTurn);
        if (samples > 0) keep(samples);
    } while (samples == samplesInOneTurn && goOn_());
    resampler_.reset();
}

void ConvertSound::endFile() {
    if (resampler_) drainResampler();
}

// Puts what was converted behind the rest, and writes every frame that is whole.
void ConvertSound::keep(int samples) {
    auto** const planes = reinterpret_cast<void**>(converted_->extended_data);
    if (av_audio_fifo_write(waiting_.get(), planes, samples) < samples) return;
    while (av_audio_fifo_size(waiting_.get()) >= frameSize_)
        writeFrame(frameSize_);
}

void ConvertSound::writeFrame(int samples) {
    const FramePtr frame = makeBlock(samples);
    if (!frame) {
        av_audio_fifo_drain(waiting_.get(), samples);
        return;
    }
    av_audio_fifo_read(waiting_.get(), reinterpret_cast<void**>(frame->extended_data), samples);
    frame->pts = samplesWritten_;
    samplesWritten_ += samples;
    write_(*frame);
}

void ConvertSound::finish() {
    const int left = waiting_ ? av_audio_fifo_size(waiting_.get()) : 0;
    if (left > 0) writeFrame(left);
}

} // namespace quol

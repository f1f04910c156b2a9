#include "sources/StreamSound.h"

#include "core/AudioMix.h"
#include "core/SoundBlock.h"
#include "core/SoundCheck.h"

namespace quol {

namespace {

constexpr int unityGain = 100; // percent

// The block with its samples multiplied, cut towards zero and clamped.
FramePtr amplified(const AVFrame& block, int gain) {
    FramePtr louder = makeSilentBlock(block.nb_samples, block.sample_rate);
    if (!louder) return nullptr;
    addToMix(samplesOf(*louder), samplesOf(block), static_cast<std::size_t>(block.nb_samples) * 2,
             static_cast<float>(gain / 100.0), 1.0F);
    return louder;
}

} // namespace

FramePtr StreamSound::convert(const AVFrame& block, int sampleRate, int gain) {
    if (!isReadableSound(block) || !isSoundRate(sampleRate)) return nullptr;
    if (!resampler_.prepare(block, {2, AV_SAMPLE_FMT_S16, sampleRate})) return nullptr;
    const int room = resampler_.capacity(block.nb_samples, block.sample_rate);
    FramePtr stereo = makeSilentBlock(room, sampleRate);
    if (!stereo) return nullptr;
    stereo->nb_samples = resampler_.convert(block, stereo->extended_data, room);
    if (stereo->nb_samples < 1) return nullptr;
    return gain == unityGain ? std::move(stereo) : amplified(*stereo, gain);
}

} // namespace quol

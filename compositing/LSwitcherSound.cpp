// The sound of one tick of the switcher.
#include <algorithm>
#include <cstring>
#include <vector>

#include "compositing/SwitcherScene.h"
#include "compositing/TickTime.h"
#include "core/AudioMix.h"
#include "core/AudioPeak.h"
#include "core/FrameTime.h"
#include "core/SoundBlock.h"
#include "quolsdk/LSwitcher.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace {

constexpr double soundAhead = 0.05; // seconds that sound may be ahead of its picture
constexpr float audible = 0.001F;   // volumes at or below are none
constexpr int externalRate = 48000;

// Takes the sound that goes with a picture; what is missing is silence. Samples of both channels.
void takeSound(SwitcherSink& sink, const AVFrame* picture, int pairs,
               std::vector<std::int16_t>& samples) {
    const double time = picture != nullptr ? quol::frameTime(*picture).value_or(0.0) : 0.0;
    samples.resize(static_cast<std::size_t>(pairs) * 2);
    const std::size_t taken =
        sink.sound().takeDue(samples.data(), static_cast<std::size_t>(pairs), time + soundAhead);
    std::fill(samples.begin() + static_cast<std::ptrdiff_t>(taken * 2), samples.end(),
              std::int16_t{0});
}

float peakOf(const std::int16_t* samples, std::size_t pairs) {
    const quol::StereoPeak peak = quol::largestSamples(samples, pairs);
    return static_cast<float>(std::max(peak.left, peak.right)) / 32768.0F;
}

float masterOf(const quol::SwitcherScene& scene) {
    return scene.isMuted ? 0.0F : static_cast<float>(scene.masterGain) / 100.0F;
}

void stamp(AVFrame& block, const quol::SwitcherTick& tick) {
    block.time_base = {1, tick.sampleRate};
    block.pts = av_rescale_q(tick.index, quol::tickBase(tick.fps), block.time_base);
}

} // namespace

// Under `sceneMutex`, as all below.
void LSwitcher::renderSound(quol::SwitcherTick& tick) {
    const int pairs = quol::samplesOfTick(tick.sampleRate, tick.fps);
    tick.sound = quol::makeSilentBlock(pairs, tick.sampleRate);
    if (tick.sound) stamp(*tick.sound, tick);
    for (int i = 0; i < 2; ++i)
        mixLayer(i, pairs, tick);
    if (scene->isExternalAudio && !scene->isMuted && scene->externalSink) mixExternal(tick);
    if (!tick.sound) return;
    const std::int16_t* const mix = quol::samplesOf(*tick.sound);
    scene->masterPeak = peakOf(mix, static_cast<std::size_t>(pairs));
    scene->samplesSent += pairs;
    const quol::AudioPeak peak = quol::measurePeak(*tick.sound);
    audioPeakLeft.store(peak.left, std::memory_order_relaxed);
    audioPeakRight.store(peak.right, std::memory_order_relaxed);
}

// One layer's share. Its sound is taken whether it is heard or not, so that none is left behind.
void LSwitcher::mixLayer(int index, int pairs, quol::SwitcherTick& tick) {
    const auto place = static_cast<std::size_t>(index);
    quol::SwitcherLayer& layer = *scene->layers[place];
    layer.peak = 0.0F;
    if (!layer.sink) return;
    takeSound(*layer.sink, layer.lastFrame.get(), pairs, scene->samples);
    const bool isPreview = index != scene->programIndex();
    if (scene->isExternalAudio && !isPreview) return;
    layer.peak = peakOf(scene->samples.data(), static_cast<std::size_t>(pairs));
    if (tick.sound && scene->volumes[place] > audible && !scene->isExternalAudio) {
        quol::addToMix(quol::samplesOf(*tick.sound), scene->samples.data(), scene->samples.size(),
                       scene->volumes[place], masterOf(*scene));
    }
    if (!isPreview || !tick.isWatched) return;
    tick.previewSound = quol::makeSilentBlock(pairs, tick.sampleRate);
    if (!tick.previewSound) return;
    stamp(*tick.previewSound, tick);
    std::memcpy(quol::samplesOf(*tick.previewSound), scene->samples.data(),
                scene->samples.size() * sizeof(std::int16_t));
}

void LSwitcher::mixExternal(quol::SwitcherTick& tick) {
    const int pairs = quol::samplesOfTick(externalRate, tick.fps);
    takeSound(*scene->externalSink, scene->program().lastFrame.get(), pairs, scene->samples);
    if (!tick.sound) return;
    std::vector<std::int16_t>& block = scene->stretched;
    block.resize(static_cast<std::size_t>(tick.sound->nb_samples) * 2);
    quol::stretchNearest(scene->samples.data(), pairs, block.data(), tick.sound->nb_samples);
    quol::addToMix(quol::samplesOf(*tick.sound), block.data(), block.size(), masterOf(*scene));
}

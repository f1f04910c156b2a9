// The pictures and the sound of the mixer, tick by tick, and their way to whoever pulls.
#include <algorithm>
#include <chrono>
#include <utility>

#include "compositing/LayerRenderer.h"
#include "compositing/PullCount.h"
#include "compositing/RecentPicture.h"
#include "compositing/RenderPace.h"
#include "compositing/RendererChoice.h"
#include "compositing/TickTime.h"
#include "core/AudioMix.h"
#include "core/AudioPeak.h"
#include "core/Clock.h"
#include "core/FairMutex.h"
#include "core/FrameTime.h"
#include "core/HadMemory.h"
#include "core/Log.h"
#include "core/PictureCheck.h"
#include "core/SoundBlock.h"
#include "quolsdk/LCharacter.h"
#include "quolsdk/LMixer.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace {

constexpr int mixRate = 48000;
constexpr double soundAhead = 0.05; // seconds that sound may be ahead of its picture
constexpr std::chrono::milliseconds pullTimeout(100);

// Titles of which none is visible: the layer is left out entirely.
bool isEmptyTitle(const LObject* source) {
    const auto* character = dynamic_cast<const LCharacter*>(source);
    return character != nullptr && !character->hasVisibleItem();
}

} // namespace

namespace quol {

// What the render thread works on. Its memory is kept from tick to tick.
struct MixerTick {
    struct Entry {
        int zIndex; // read once: a host may write it at any time
        int place;  // in the order of names
        LLayerItem* item;

        bool operator<(const Entry& other) const {
            return zIndex != other.zIndex ? zIndex < other.zIndex : place < other.place;
        }
    };

    std::int64_t index = 0;
    videoFormatProps format;
    double fps = 0.0;
    bool isOrdered = false;   // there was memory for the next
    std::vector<Entry> order; // visible layers, the lowest first
    std::vector<RenderedLayer> rendered;
    std::vector<std::int16_t> samples;
};

} // namespace quol

std::unique_ptr<quol::LayerRenderer> LMixer::makeRenderer() const {
    return quol::chooseRenderer(renderer,
                                "LMixer [GPU]: Failed to initialize OpenGL context. "
                                "Falling back to CPU mixing.",
                                quol::makeGraphicsRenderer, quol::makeProcessorRenderer);
}

void LMixer::mixerLoop() {
    quol::RenderPace pace(quol::steadyNow());
    std::unique_ptr<quol::LayerRenderer> layerRenderer;
    const auto prepare = [&] {
        if (!layerRenderer) layerRenderer = makeRenderer();
    };
    quol::hadMemory(prepare);
    quol::MixerTick tick;
    for (; running && waitForTurn(pace, tick.index); ++tick.index) {
        quol::FramePtr picture;
        quol::FramePtr sound;
        // Where memory is short a picture is left out, and its sound is taken all the same: what
        // stayed behind would be late for good.
        quol::hadMemory([&] {
            prepare();
            deleteDeadTextures(*layerRenderer);
        });
        {
            const std::lock_guard lock(*layerMutex);
            tick.format = videoFormat;
            tick.fps = quol::rateOrDefault(videoFormat.fps);
            tickRate = tick.fps;
            const bool isDrawn = quol::hadMemory([&] {
                collectLayers(tick);
                if (layerRenderer) picture = renderTick(*layerRenderer, tick);
            });
            if (!isDrawn) picture.reset();
            quol::hadMemory([&] { sound = mixAudio(tick); });
        }
        if (picture) {
            handOnPicture(std::move(picture));
        } else {
            answerPull();
        }
        if (sound) handOnSound(*sound);
    }
    if (!layerRenderer) return;
    const std::lock_guard lock(*layerMutex);
    for (auto& [name, item] : layers)
        layerRenderer->deleteTextures(item->state->textures);
}

// The picture of this tick, null for none. Under `layerMutex`.
quol::FramePtr LMixer::renderTick(quol::LayerRenderer& layerRenderer, const quol::MixerTick& tick) {
    quol::FramePtr picture = layerRenderer.render(
        {tick.format.width, tick.format.height, quol::canvasFormat(tick.format.pixelFormat)},
        tick.rendered);
    if (!picture) return nullptr;
    picture->pts = tick.index;
    picture->time_base = quol::tickBase(tick.fps);
    return picture;
}

// Waits until the picture is due, or asked for. False when the mixer ends. A long wait is looked at
// anew now and then: the rate may have changed.
bool LMixer::waitForTurn(quol::RenderPace& pace, std::int64_t frameIndex) {
    constexpr std::int64_t longestSleep = 200 * quol::nanosPerMilli;
    videoFormatProps format;
    while (running) {
        getVideoFormat(format);
        const double fps = quol::rateOrDefault(format.fps);
        const std::int64_t wait = pace.untilDue(frameIndex, fps, quol::steadyNow());
        if (wait <= 0) break;
        std::unique_lock lock(pullMutex);
        if (pullConsumers > 0) {
            requested.wait(lock, [this] { return request || !running; });
            break;
        }
        if (!quol::RenderPace::isSleepable(wait, fps)) {
            pace.restart(frameIndex, fps, quol::steadyNow());
            break;
        }
        requested.wait_for(lock, std::chrono::nanoseconds(std::min(wait, longestSleep)),
                           [this] { return !running || (request && pullConsumers > 0); });
        if (request && pullConsumers > 0) break;
    }
    return running;
}

void LMixer::deleteDeadTextures(quol::LayerRenderer& layerRenderer) {
    std::vector<unsigned int> names;
    {
        const std::lock_guard lock(textureMutex);
        names.swap(deadTextures);
    }
    layerRenderer.deleteTextures(names);
}

// Visible layers in the order of painting, with the pictures of this tick. Under `layerMutex`.
void LMixer::collectLayers(quol::MixerTick& tick) {
    tick.order.clear();
    tick.rendered.clear();
    tick.isOrdered = false;
    tick.order.reserve(layers.size()); // all of them or none
    tick.isOrdered = true;
    for (auto& [name, item] : layers) {
        if (item->visible) {
            tick.order.push_back({item->zIndex, static_cast<int>(tick.order.size()), item.get()});
        } else if (item->state->picture.sink) {
            // Or it would be heard later, and late for good.
            item->state->picture.sink->sound().clear();
        }
    }
    std::sort(tick.order.begin(), tick.order.end());
    for (const auto& entry : tick.order) {
        if (isEmptyTitle(entry.item->source)) continue;
        quol::LayerState& state = *entry.item->state;
        quol::RenderedLayer layer;
        layer.look = quol::lookOf(*entry.item);
        takePicture(state.picture);
        layer.picture = state.picture.lastFrame.get();
        if (layer.look.isKeyed) {
            takePicture(state.key);
            layer.key = state.key.lastFrame.get();
        }
        layer.state = &state;
        if (layer.picture != nullptr) tick.rendered.push_back(layer);
    }
}

// The newest picture of a source becomes the last one; without a new one the last one stands.
void LMixer::takePicture(quol::LayerFeed& feed) {
    if (!feed.sink) return;
    quol::FramePtr newest = feed.sink->newestFrame();
    if (newest && quol::isReadablePicture(*newest)) feed.lastFrame = std::move(newest);
}

// The sound of this tick. It is taken of every layer, whether it is heard or not and whatever
// memory there is: what is left would be late for good. Under `layerMutex`.
quol::FramePtr LMixer::mixAudio(quol::MixerTick& tick) {
    const int length = quol::samplesOfTick(mixRate, tick.fps);
    quol::FramePtr block = quol::makeSilentBlock(length, mixRate);
    if (!quol::hadMemory([&] { tick.samples.resize(static_cast<std::size_t>(length) * 2); }))
        block.reset();
    if (block) {
        block->pts = av_rescale_q(tick.index, quol::tickBase(tick.fps), {1, mixRate});
        block->time_base = {1, mixRate};
    }
    if (tick.isOrdered) {
        for (const auto& entry : tick.order)
            mixLayer(*entry.item, tick, length, block.get());
    } else {
        for (const auto& [name, item] : layers) {
            if (item->visible) mixLayer(*item, tick, length, block.get());
        }
    }
    return block;
}

// One layer's share of the block; without one its sound goes unheard.
void LMixer::mixLayer(LLayerItem& item, quol::MixerTick& tick, int length, AVFrame* block) {
    quol::LayerFeed& feed = item.state->picture;
    const int gain = item.audioGain;
    if (!feed.sink) return;
    const auto pictureTime = feed.lastFrame ? quol::frameTime(*feed.lastFrame) : std::nullopt;
    const double reference = pictureTime.value_or(static_cast<double>(tick.index) / tick.fps);
    const std::size_t taken =
        feed.sink->sound().takeDue(block != nullptr ? tick.samples.data() : nullptr,
                                   static_cast<std::size_t>(length), reference + soundAhead);
    if (block == nullptr || !item.audioEnabled || gain <= 0) return;
    quol::addToMix(quol::samplesOf(*block), tick.samples.data(), taken * 2,
                   static_cast<float>(gain / 100.0));
}

// To the consumer that pulls, who then hands it to the sinks; without one to the sinks.
void LMixer::handOnPicture(quol::FramePtr picture) {
    {
        const std::lock_guard lock(pullMutex);
        if (pullConsumers > 0) {
            pendingFrame.swap(picture); // one that nobody took goes
            request = false;
            done.notify_all();
            return;
        }
    }
    distributeVideoFrame(picture.get());
}

void LMixer::handOnSound(AVFrame& sound) {
    const quol::AudioPeak peak = quol::measurePeak(sound);
    audioPeakLeft.store(peak.left, std::memory_order_relaxed);
    audioPeakRight.store(peak.right, std::memory_order_relaxed);
    distributeAudioFrame(&sound);
}

// A tick without a picture lets nobody wait. One with a picture has answered already: a request
// that stands behind it is the next one.
void LMixer::answerPull() {
    if (pullConsumers <= 0) return;
    const std::lock_guard lock(pullMutex);
    if (!request) return;
    request = false;
    done.notify_all();
}

bool LMixer::canPullRender() const {
    return true;
}

AVFrame* LMixer::renderVideoFrame() {
    quol::FramePtr frame;
    {
        std::unique_lock lock(pullMutex);
        const std::int64_t now = quol::steadyNow();
        if (pullConsumers > 1 && recent->isOfThisTick(now, tickRate))
            return recent->get().release();
        request = true;
        requested.notify_one();
        done.wait_for(lock, pullTimeout, [this] { return !request || !running; });
        frame = std::move(pendingFrame);
        if (frame && pullConsumers > 1) {
            recent->keep(frame.get(), now);
        } else {
            recent->forget();
        }
    }
    if (frame) distributeVideoFrame(frame.get());
    return frame.release();
}

void LMixer::addPullConsumer() {
    ++pullConsumers;
}

void LMixer::removePullConsumer() {
    if (!quol::takeOffLast(pullConsumers)) return;
    const std::lock_guard lock(pullMutex);
    request = true;
    pendingFrame.reset();
    requested.notify_all();
}

// The switcher's pictures, tick by tick, and their way out.
#include <algorithm>
#include <chrono>
#include <exception>
#include <utility>

#include "compositing/OverlayBlend.h"
#include "compositing/PullCount.h"
#include "compositing/RateMeter.h"
#include "compositing/RecentPicture.h"
#include "compositing/RenderPace.h"
#include "compositing/RenderTurn.h"
#include "compositing/SwitcherScene.h"
#include "compositing/TickTime.h"
#include "core/Clock.h"
#include "core/FairMutex.h"
#include "core/HadMemory.h"
#include "core/Log.h"
#include "core/PictureCheck.h"
#include "core/ScalingQuality.h"
#include "quolsdk/LCharacter.h"
#include "quolsdk/LStinger.h"
#include "quolsdk/LSwitcher.h"

namespace {

constexpr std::chrono::milliseconds renderTimeout(100);

// Beyond these positions one layer is seen alone.
constexpr float nearStart = 0.01F;
constexpr float nearEnd = 0.99F;

// Between these positions a stinger is moved by hand.
constexpr float stingerBegins = 0.001F;
constexpr float stingerEnds = 0.999F;

void stamp(AVFrame& picture, const quol::SwitcherTick& tick) {
    picture.pts = tick.index;
    picture.time_base = quol::tickBase(tick.fps);
}

} // namespace

// --------------------------------------------------------------------------------- clock and pull

void LSwitcher::changeScene(const std::function<void(quol::SwitcherScene&)>& change) {
    {
        const std::lock_guard lock(*sceneMutex);
        change(*scene);
        scene->updateVolumes();
    }
    preview.followSource(false);
    ensureRunning();
}

// Called by those who must not fail, as by a consumer that signs off in its destructor: without a
// thread to be had there are no pictures until the next call.
void LSwitcher::ensureRunning() {
    try {
        startThread();
    } catch (const std::exception& error) {
        quol::logError("LSwitcher: No thread: %s", error.what());
    }
}

void LSwitcher::startThread() {
    const std::lock_guard lock(threadMutex);
    if (running || ending || pullConsumers > 0) return;
    if (thread.joinable()) thread.join(); // it is on its way out, past its last lock
    thread = std::thread(&LSwitcher::switcherLoop, this);
    running = true;
}

// Whether the thread ends here: for good, or because a consumer pulls.
bool LSwitcher::endsNow() {
    const std::lock_guard lock(threadMutex);
    if (!ending && pullConsumers <= 0) return false;
    running = false;
    return true;
}

void LSwitcher::switcherLoop() {
    {
        // A consumer may have come since the start, whose count goes on.
        const std::lock_guard turn(*renderTurn);
        if (endsNow()) return;
        const std::lock_guard lock(*sceneMutex);
        scene->frameIndex = 0;
        scene->samplesSent = 0;
    }
    quol::RenderPace pace(quol::steadyNow());
    while (waitForTurn(pace)) {
        const std::lock_guard turn(*renderTurn);
        renderFrame();
    }
}

// Waits until the picture is due. False when the thread ends. A long wait is looked at anew now and
// then: the rate may have changed.
bool LSwitcher::waitForTurn(quol::RenderPace& pace) {
    constexpr std::int64_t longestSleep = 200 * quol::nanosPerMilli;
    while (!endsNow()) {
        std::int64_t index = 0;
        double fps = 0.0;
        {
            const std::lock_guard lock(*sceneMutex);
            index = scene->frameIndex;
            fps = quol::rateOrDefault(scene->videoFormat.fps);
        }
        const std::int64_t wait = pace.untilDue(index, fps, quol::steadyNow());
        if (wait <= 0) return true;
        if (!quol::RenderPace::isSleepable(wait, fps)) {
            pace.restart(index, fps, quol::steadyNow());
            return true;
        }
        sleeper->sleepFor(std::min(wait, longestSleep));
    }
    return false;
}

bool LSwitcher::canPullRender() const {
    return true;
}

double LSwitcher::currentRate() {
    const std::lock_guard lock(*sceneMutex);
    return quol::rateOrDefault(scene->videoFormat.fps);
}

AVFrame* LSwitcher::renderVideoFrame() {
    const std::unique_lock turn(*renderTurn, renderTimeout);
    if (!turn) return nullptr;
    if (pullConsumers > 1 && recent->isOfThisTick(quol::steadyNow(), currentRate()))
        return recent->get().release();
    return renderFrame().release();
}

void LSwitcher::addPullConsumer() {
    ++pullConsumers;
}

void LSwitcher::removePullConsumer() {
    if (quol::takeOffLast(pullConsumers)) ensureRunning();
}

// One tick, in its turn.
quol::FramePtr LSwitcher::renderFrame() {
    const std::int64_t start = quol::steadyNow();
    rateMeter->count(start);
    renderRate = rateMeter->rate();
    quol::SwitcherTick tick;
    {
        const std::lock_guard lock(*sceneMutex);
        renderScene(tick);
    }
    handOn(tick);
    // A slow sink of it must not hold us up.
    if (tick.isPreviewMoved) quol::hadMemory([this] { preview.followSource(false); });
    if (pullConsumers > 1) {
        recent->keep(tick.picture.get(), start);
    } else {
        recent->forget();
    }
    return std::move(tick.picture);
}

void LSwitcher::handOn(quol::SwitcherTick& tick) {
    if (tick.previewPicture) preview.distributeVideoFrame(tick.previewPicture.get());
    if (tick.previewSound) preview.distributeAudioFrame(tick.previewSound.get());
    if (tick.picture) distributeVideoFrame(tick.picture.get());
    if (tick.sound) distributeAudioFrame(tick.sound.get());
}

// --------------------------------------------------------------------------------------- pictures

// Under `sceneMutex`, as all below.
void LSwitcher::renderScene(quol::SwitcherTick& tick) {
    tick.index = scene->frameIndex++;
    tick.width = scene->videoFormat.width;
    tick.height = scene->videoFormat.height;
    tick.fps = quol::rateOrDefault(scene->videoFormat.fps);
    tick.sampleRate = scene->sampleRate();
    tick.position = scene->position;
    tick.isWatched = preview.isWatched();
    // Where memory is short the picture is left out, and its sound is taken all the same: what
    // stayed behind would be late for good.
    if (!quol::hadMemory([&] { renderWhole(tick); })) {
        tick.picture.reset();
        tick.previewPicture.reset();
    }
    if (!quol::hadMemory([&] { renderSound(tick); })) {
        tick.sound.reset();
        tick.previewSound.reset();
    }
}

void LSwitcher::renderWhole(quol::SwitcherTick& tick) {
    if (tick.width > 0 && tick.height > 0) renderPicture(tick);
    overlayStingerOn(tick);
    overlayTitlesOn(tick);
    if (!tick.picture) return;
    stamp(*tick.picture, tick);
    if (scene->isTimecodeStamped) {
        const std::string timecode = getTimecodeString(tick.index, tick.fps);
        av_dict_set(&tick.picture->metadata, "timecode", timecode.c_str(), 0);
    }
}

void LSwitcher::renderPicture(quol::SwitcherTick& tick) {
    const float p = tick.position;
    quol::FramePtr a = layerPicture(*scene->layers[0], tick, p >= nearEnd && !tick.isWatched);
    quol::FramePtr b = layerPicture(*scene->layers[1], tick, p <= nearStart && !tick.isWatched);
    if (tick.isWatched) {
        const quol::FramePtr& seen = scene->programIndex() == 0 ? b : a;
        if (seen) tick.previewPicture = quol::cloneFrame(seen.get());
        if (tick.previewPicture) stamp(*tick.previewPicture, tick);
    }
    if (p <= nearStart) {
        tick.picture = std::move(a);
    } else if (p >= nearEnd) {
        tick.picture = std::move(b);
    } else if (a && b) {
        tick.picture = mixPictures(tick, *a, *b);
    } else {
        tick.picture = a ? std::move(a) : std::move(b);
    }
}

// The picture of a layer as the canvas needs it. Null for a layer that has shown none yet, and
// when it is not needed: the last picture is kept up to date all the same.
quol::FramePtr LSwitcher::layerPicture(quol::SwitcherLayer& layer, const quol::SwitcherTick& tick,
                                       bool isSkipped) {
    if (!layer.sink) return nullptr;
    const quol::SwitcherLayer& first = *scene->layers[0];
    if (&layer != &first && layer.source == first.source && layer.sink->pullSource() != nullptr) {
        // Rendered on demand for the other layer of this tick already.
        if (first.lastFrame) layer.lastFrame = quol::cloneFrame(first.lastFrame.get());
    } else {
        quol::FramePtr newest = layer.sink->newestFrame();
        if (newest && quol::isReadablePicture(*newest)) layer.lastFrame = std::move(newest);
    }
    if (!layer.lastFrame || isSkipped) return nullptr;
    const int flags = quol::scalerFlags(scene->scalingQuality, quol::LanczosNumber::four);
    return layer.fit.get(*layer.lastFrame, quol::scaleModeOf(scene->scaleMode), tick.width,
                         tick.height, flags);
}

quol::FramePtr LSwitcher::mixPictures(const quol::SwitcherTick& tick, const AVFrame& a,
                                      const AVFrame& b) {
    quol::FramePtr mixed = scene->mixedPool.get(tick.width, tick.height, AV_PIX_FMT_YUV420P);
    if (mixed &&
        quol::drawTransition(scene->transitionType, tick.position, scene->dipColor, a, b, *mixed)) {
        return mixed;
    }
    return quol::cloneFrame(tick.position < 0.5F ? &a : &b);
}

// The picture of the clip that lies over this tick, null for none. A clip that plays changes the
// layers behind it when it is time.
quol::FramePtr LSwitcher::stingerPicture(quol::SwitcherTick& tick) {
    quol::StingerState& state = scene->stinger;
    if (!state.isPlaying) {
        const bool isMoved = scene->transitionType == "stinger" && tick.position > stingerBegins &&
                             tick.position < stingerEnds && stinger && stinger->isLoaded();
        return quol::FramePtr(
            isMoved ? stinger->getFrameByProgress(static_cast<double>(tick.position)) : nullptr);
    }
    quol::FramePtr overlay = stingerSink->newestFrame();
    const std::int64_t passed = quol::steadyNow() - state.startTime;
    const bool hasEnded = !overlay && !stinger->isPlaying();
    // One that ends before its time, as when another is loaded, must not take the cut with it.
    if (!state.isSwapped && (hasEnded || passed >= state.cutPoint * quol::nanosPerMilli)) {
        tick.isPreviewMoved = true;
        scene->swapLayers();
        state.isSwapped = true;
        scene->updateVolumes();
    }
    if (hasEnded) state.isPlaying = false;
    return overlay;
}

void LSwitcher::overlayStingerOn(quol::SwitcherTick& tick) {
    const quol::FramePtr overlay = stingerPicture(tick);
    if (!overlay || !tick.picture) return;
    if (overlay->width != tick.picture->width || overlay->height != tick.picture->height) return;
    if (makeWritable(tick.picture)) quol::overlayStinger(*tick.picture, *overlay);
}

void LSwitcher::overlayTitlesOn(quol::SwitcherTick& tick) {
    for (quol::TitleLayer& title : scene->titles) {
        const quol::FramePtr newest = title.sink->newestFrame();
        const bool isSeen = newest && tick.picture && title.character->hasVisibleItem();
        if (!isSeen || !quol::isReadablePicture(*newest)) continue;
        const AVFrame* const overlay = title.scaled.get(*newest, tick.picture->width,
                                                        tick.picture->height, AV_PIX_FMT_YUVA420P);
        if (overlay != nullptr && makeWritable(tick.picture))
            quol::overlayTitles(*tick.picture, *overlay);
    }
}

// A picture that others see too becomes one of our own. False when memory is short.
bool LSwitcher::makeWritable(quol::FramePtr& picture) {
    if (av_frame_is_writable(picture.get()) > 0) return true;
    quol::FramePtr copy = scene->copiedPool.get(picture->width, picture->height,
                                                static_cast<AVPixelFormat>(picture->format));
    if (!copy || av_frame_copy(copy.get(), picture.get()) < 0) return false;
    av_frame_copy_props(copy.get(), picture.get());
    picture = std::move(copy);
    return true;
}

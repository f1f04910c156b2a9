// What the switcher does by itself once it has been told to: automatic transitions and stingers.
#include <algorithm>
#include <cmath>
#include <exception>

#include "compositing/SwitcherScene.h"
#include "core/Clock.h"
#include "core/FairMutex.h"
#include "core/HadMemory.h"
#include "core/Log.h"
#include "core/ThreadPriority.h"
#include "quolsdk/LStinger.h"
#include "quolsdk/LSwitcher.h"

// -------------------------------------------------------------------------- automatic transition

void LSwitcher::setAutoTransition(double durationMs) {
    const std::lock_guard lock(autoMutex);
    autoTransitions.remove_if([](AutoTransition& each) {
        if (!each.isDone) return false;
        each.thread.join();
        return true;
    });
    AutoTransition& started = autoTransitions.emplace_back();
    try {
        started.thread = std::thread([this, &started, durationMs] {
            try {
                runAutoTransition(durationMs);
            } catch (const std::exception& error) { // no thread to be had, for one
                quol::logError("LSwitcher: %s", error.what());
            }
            started.isDone = true;
        });
    } catch (const std::exception& error) {
        autoTransitions.pop_back();
        quol::logError("LSwitcher: No thread, falling back to Cut: %s", error.what());
        setCutTransition();
    }
}

namespace {

// The steps of one automatic transition.
struct AutoSteps {
    float start = 0.0F;
    float target = 1.0F;
    int stepMillis = 20;
    int count = 1;

    float positionAt(int step) const {
        const float done = static_cast<float>(step) / static_cast<float>(count);
        return done * (target - start) + start;
    }
};

AutoSteps planSteps(const quol::SwitcherScene& scene, double durationMs) {
    AutoSteps steps;
    const double fps = scene.videoFormat.fps;
    steps.stepMillis = fps > 0.0 ? static_cast<int>(std::min(1000.0 / fps, 60'000.0)) : 20;
    steps.stepMillis = std::max(1, steps.stepMillis);
    const double wanted = durationMs / steps.stepMillis;
    constexpr double most = 1.0e7;
    steps.count = wanted >= 1.0 ? static_cast<int>(std::min(wanted, most)) : 1; // NaN too
    steps.start = scene.position;
    steps.target = scene.programIndex() == 0 ? 1.0F : 0.0F;
    return steps;
}

} // namespace

// The steps have their times from the start on, so that a busy machine does not stretch it.
void LSwitcher::runAutoTransition(double durationMs) {
    AutoSteps steps;
    bool isJump = false;
    {
        const std::lock_guard lock(*sceneMutex);
        if (scene->transitionType == "cut") scene->transitionType = "fade";
        if (scene->transitionType == "stinger") {
            if (startStinger()) return;
            isJump = true;
        } else {
            steps = planSteps(*scene, durationMs);
        }
    }
    if (isJump) {
        changeScene(
            [](quol::SwitcherScene& s) { s.setPosition(s.programIndex() == 0 ? 1.0F : 0.0F); });
        quol::logOut("LSwitcher: Stinger not loaded, falling back to Cut.");
        return;
    }
    // Whatever memory there is for those who watch the preview, the transition gets to its end.
    const auto change = [this](const auto& how) { quol::hadMemory([&] { changeScene(how); }); };
    const std::int64_t start = quol::steadyNow();
    for (int i = 0; i <= steps.count; ++i) {
        change([&](quol::SwitcherScene& s) { s.setPosition(steps.positionAt(i)); });
        const std::int64_t end =
            start + std::int64_t{i + 1} * steps.stepMillis * quol::nanosPerMilli;
        if (!autoSleeper->sleepFor(end - quol::steadyNow())) return; // the switcher ends
    }
    change([&](quol::SwitcherScene& s) {
        s.setPosition(steps.start);
        s.swapLayers();
    });
}

// --------------------------------------------------------------------------------------- stinger

// Under `sceneMutex`. False when there is none.
bool LSwitcher::startStinger() {
    if (!stinger || !stinger->isLoaded()) return false;
    stingerSink->flush(); // the end of the last time
    scene->stinger.isPlaying = true;
    scene->stinger.isSwapped = false;
    scene->stinger.startTime = quol::steadyNow();
    stinger->playOnce();
    return true;
}

void LSwitcher::triggerStinger() {
    const std::lock_guard lock(*sceneMutex);
    startStinger();
}

void LSwitcher::setStingerDuration(int milliseconds) {
    const std::lock_guard lock(*sceneMutex);
    quol::StingerState& state = scene->stinger;
    state.duration = milliseconds;
    const int duration = state.effectiveDuration();
    if (stinger && stinger->isLoaded()) {
        stinger->setPlaybackRate(stinger->getFrameCount() / (duration / 1000.0));
        quol::logOut("LStinger: Duration Updated -> %dms (FPS: %g)", duration,
                     stinger->getPlaybackRate());
    }
    state.cutPoint = duration >> 1;
}

void LSwitcher::setStinger(const std::string& path) {
    const std::lock_guard control(controlMutex);
    endStingerLoad();
    videoFormatProps format;
    {
        const std::lock_guard lock(*sceneMutex);
        format = scene->videoFormat;
        if (!stinger) {
            auto made = std::make_unique<LStinger>();
            made->addSink(stingerSink.get());
            stinger = std::move(made);
        }
    }
    stinger->allowLoad();
    try {
        stingerLoader = std::thread(&LSwitcher::loadStinger, this, path, format.width,
                                    format.height, format.fps);
    } catch (const std::exception&) { // no thread, or no memory for one
        quol::logError("[LSwitcher] Async Stinger load failed: %s", path.c_str());
    }
}

// Gives up what is being loaded. Under `controlMutex`, or at the end.
void LSwitcher::endStingerLoad() {
    if (!stingerLoader.joinable()) return;
    stinger->cancelLoad();
    stingerLoader.join();
}

// The body of the loader thread. What is on air comes first.
void LSwitcher::loadStinger(const std::string& path, int width, int height, double fps) {
    quol::lowerThreadPriority(quol::ThreadPriority::spareTime);
    bool isLoaded = false;
    quol::hadMemory([&] { isLoaded = stinger->load(path, width, height, fps); });
    if (!isLoaded) {
        quol::logError("[LSwitcher] Async Stinger load failed: %s", path.c_str());
        return;
    }
    const std::lock_guard lock(*sceneMutex);
    setStingerDuration(scene->stinger.duration);
    quol::logOut("[LSwitcher] Async Stinger loaded successfully: %s", path.c_str());
}

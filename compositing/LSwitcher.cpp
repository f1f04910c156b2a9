// The switcher's controls: sources, position, gains, titles and properties. Its pictures are in
// LSwitcherRender, its sound in LSwitcherSound, what moves by itself in LSwitcherMoves.
#include "quolsdk/LSwitcher.h"

#include <algorithm>
#include <utility>

#include "compositing/DetachedSinks.h"
#include "compositing/RateMeter.h"
#include "compositing/RecentPicture.h"
#include "compositing/RenderTurn.h"
#include "compositing/SwitcherScene.h"
#include "core/Clock.h"
#include "core/FairMutex.h"
#include "core/Log.h"
#include "core/ModeTables.h"
#include "core/Props.h"
#include "core/Timecode.h"
#include "quolsdk/LCharacter.h"
#include "quolsdk/LStinger.h"

namespace {

constexpr int externalRate = 48000;
constexpr int highestMasterGain = 200; // percent

} // namespace

LSwitcher::LSwitcher()
    : sceneMutex(std::make_unique<quol::FairMutex>()),
      scene(std::make_unique<quol::SwitcherScene>()),
      preview(*this),
      renderTurn(std::make_unique<quol::RenderTurn>()),
      rateMeter(std::make_unique<quol::RateMeter>(quol::steadyNow())),
      recent(std::make_unique<quol::RecentPicture>()),
      sleeper(std::make_unique<quol::Sleeper>()),
      autoSleeper(std::make_unique<quol::Sleeper>()),
      stingerSink(std::make_unique<SwitcherSink>(externalRate)) {
    startThread();
}

LSwitcher::~LSwitcher() {
    {
        const std::lock_guard lock(threadMutex);
        ending = true;
    }
    sleeper->wake();
    autoSleeper->wake();
    for (auto& each : autoTransitions)
        each.thread.join();
    endStingerLoad();
    if (thread.joinable()) thread.join();
    for (auto& layer : scene->layers)
        quol::detachSink(std::exchange(layer->source, nullptr), std::move(layer->sink));
    preview.followSource(false);
    for (auto& title : scene->titles)
        quol::detachSink(title.character, std::move(title.sink));
    quol::detachSink(scene->externalSource, std::move(scene->externalSink));
    if (stinger) stinger->removeSink(stingerSink.get());
}

// ----------------------------------------------------------------------------------- sources

// Gives a layer another source. The new sink, to be attached when the scene's lock has been let go;
// null when nothing is new. Under `sceneMutex`, or with the threads gone.
SwitcherSink* LSwitcher::exchangeSource(quol::SwitcherLayer& layer, LObject* source,
                                        quol::DetachedSinks& detached) {
    if (layer.source == source) return nullptr;
    // All that takes memory before anything is changed.
    auto sink = source != nullptr ? std::make_unique<SwitcherSink>(scene->sampleRate()) : nullptr;
    detached.add(layer.source, std::move(layer.sink));
    layer.source = source;
    layer.sink = std::move(sink);
    layer.lastFrame.reset();
    layer.fit.clear();
    layer.peak = 0.0F;
    if (source == nullptr) return nullptr;
    layer.sink->pullFrom(source);
    return layer.sink.get();
}

// A switcher is no source of its own, nor is its preview: the sinks that follow the preview would
// have to follow themselves.
bool LSwitcher::isOwn(const LObject* source) const {
    return source == this || source == &preview;
}

void LSwitcher::applySource(bool toProgram, LObject* source) {
    if (isOwn(source)) return;
    quol::DetachedSinks detached;
    SwitcherSink* sink = nullptr;
    {
        const std::lock_guard lock(*sceneMutex);
        sink = exchangeSource(toProgram ? scene->program() : scene->preview(), source, detached);
    }
    detached.release();
    if (sink == nullptr) return;
    try {
        source->addSink(sink);
    } catch (...) { // it never had one, so that it can be asked for again
        std::unique_ptr<SwitcherSink> gone;
        std::unique_lock lock(*sceneMutex);
        for (auto& layer : scene->layers) {
            if (layer->sink.get() != sink) continue;
            gone = std::move(layer->sink);
            layer->source = nullptr;
        }
        lock.unlock();
        preview.followSource(false); // it may be the one before, which nobody here keeps from going
        throw;
    }
}

void LSwitcher::setProgram(LObject* source) {
    const std::lock_guard control(controlMutex);
    applySource(true, source);
    preview.followSource(false); // the layers may have changed places meanwhile
    ensureRunning();
}

void LSwitcher::setPreview(LObject* source) {
    const std::lock_guard control(controlMutex);
    quol::logOut("[LSwitcher::setPreview] oldSource=%p newSource=%p",
                 quol::address(getCurrentPreviewSource()), quol::address(source));
    applySource(false, source);
    quol::logOut("[LSwitcher::setPreview] after applyLayer, real newSource=%p",
                 quol::address(getCurrentPreviewSource()));
    preview.followSource(true);
    ensureRunning();
}

void LSwitcher::removeSource(LObject* source) {
    if (source == nullptr) return;
    const std::lock_guard control(controlMutex);
    bool isExternal = false;
    {
        quol::DetachedSinks detached;
        const std::lock_guard lock(*sceneMutex);
        for (auto& layer : scene->layers) {
            if (layer->source == source) exchangeSource(*layer, nullptr, detached);
        }
        isExternal = scene->externalSource == source;
    }
    preview.followSource(false);
    if (isExternal) setExtAudioObject(nullptr);
}

LObject* LSwitcher::getCurrentPreviewSource() {
    const std::lock_guard lock(*sceneMutex);
    return scene->preview().source;
}

// Both layers at one moment: they may be changing places.
bool LSwitcher::hasSource(const LObject* source) {
    const std::lock_guard lock(*sceneMutex);
    return source != nullptr &&
           std::any_of(scene->layers.begin(), scene->layers.end(),
                       [source](const auto& layer) { return layer->source == source; });
}

SwitcherPreviewObject* LSwitcher::getPreviewObject() {
    return &preview;
}

// ----------------------------------------------------------------------------------- formats

void LSwitcher::setVideoFormat(const videoFormatProps& format) {
    const std::lock_guard lock(*sceneMutex);
    scene->videoFormat = format;
    quol::expandVideoFormat(scene->videoFormat);
}

void LSwitcher::getVideoFormat(videoFormatProps& format) {
    const std::lock_guard lock(*sceneMutex);
    format = scene->videoFormat;
}

void LSwitcher::setAudioFormat(const audioFormatProps& format) {
    audioFormatProps expanded = format;
    quol::expandAudioFormat(expanded);
    expanded.bitsPerSample = format.bitsPerSample; // 16 whatever it says
    const std::lock_guard lock(*sceneMutex);
    const int oldRate = scene->sampleRate();
    scene->audioFormat = expanded;
    if (scene->sampleRate() == oldRate) return;
    for (auto& layer : scene->layers) {
        if (layer->sink) layer->sink->sound().setSampleRate(scene->sampleRate());
    }
}

void LSwitcher::getAudioFormat(audioFormatProps& format) {
    const std::lock_guard lock(*sceneMutex);
    format = scene->audioFormat;
}

// ---------------------------------------------------------------------------------- position

void LSwitcher::setTransitionType(const std::string& type, const std::string& parameter) {
    const std::lock_guard lock(*sceneMutex);
    scene->transitionType = type;
    scene->transitionParameter = parameter;
    if (type == "dip") scene->dipColor = quol::dipColorOf(parameter);
}

void LSwitcher::setTransition(float position) {
    changeScene([position](quol::SwitcherScene& changed) { changed.setPosition(position); });
}

void LSwitcher::setCutTransition() {
    changeScene([](quol::SwitcherScene& changed) { changed.swapLayers(); });
}

// ------------------------------------------------------------------------------------- sound

void LSwitcher::setProgAudioGain(int percent) {
    const std::lock_guard lock(*sceneMutex);
    scene->programGain = percent;
    scene->updateVolumes();
}

void LSwitcher::setPrevAudioGain(int percent) {
    const std::lock_guard lock(*sceneMutex);
    scene->previewGain = percent;
    scene->updateVolumes();
}

void LSwitcher::setMasterGain(int percent) {
    const std::lock_guard lock(*sceneMutex);
    scene->masterGain = std::clamp(percent, 0, highestMasterGain);
}

void LSwitcher::setMasterMute(bool mute) {
    const std::lock_guard lock(*sceneMutex);
    scene->isMuted = mute;
}

void LSwitcher::setExtAudio(bool on) {
    const std::lock_guard lock(*sceneMutex);
    if (scene->isExternalAudio == on) return;
    scene->isExternalAudio = on;
    if (scene->externalSink) scene->externalSink->flush();
    for (auto& layer : scene->layers) {
        if (layer->sink) layer->sink->flush();
    }
}

void LSwitcher::setExtAudioObject(LObject* source) {
    const std::lock_guard control(controlMutex);
    if (isOwn(source)) return;
    LObject* before = nullptr;
    SwitcherSink* sink = nullptr;
    {
        const std::lock_guard lock(*sceneMutex);
        if (source != nullptr && !scene->externalSink)
            scene->externalSink = std::make_unique<SwitcherSink>(externalRate);
        before = std::exchange(scene->externalSource, source);
        sink = scene->externalSink.get();
    }
    if (before != nullptr) before->removeSink(sink);
    if (source == nullptr) return;
    try {
        source->addSink(sink);
    } catch (...) { // it never had one
        const std::lock_guard lock(*sceneMutex);
        scene->externalSource = nullptr;
        throw;
    }
}

void LSwitcher::flushExtAudio() {
    const std::lock_guard lock(*sceneMutex);
    if (scene->externalSink) scene->externalSink->flush();
}

// ------------------------------------------------------------------------------------ titles

void LSwitcher::addCG(LCharacter* character) {
    if (character == nullptr) return;
    const std::lock_guard control(controlMutex);
    // All that takes memory before anything is changed.
    std::list<quol::TitleLayer> made(1);
    quol::TitleLayer& title = made.front();
    title.character = character;
    {
        const std::lock_guard lock(*sceneMutex);
        title.sink = std::make_unique<SwitcherSink>(scene->sampleRate());
        title.sink->pullFrom(character);
    }
    character->addSink(title.sink.get());
    std::size_t count = 0;
    {
        const std::lock_guard lock(*sceneMutex);
        scene->titles.splice(scene->titles.end(), made);
        count = scene->titles.size();
    }
    quol::logOut("LSwitcher: CG Layer Added. Total CGs: %zu", count);
}

void LSwitcher::removeCG(LCharacter* character) {
    const std::lock_guard control(controlMutex);
    quol::DetachedSinks detached;
    const std::lock_guard lock(*sceneMutex);
    const auto title =
        std::find_if(scene->titles.begin(), scene->titles.end(),
                     [character](const auto& each) { return each.character == character; });
    if (title == scene->titles.end()) return;
    detached.add(character, std::move(title->sink));
    scene->titles.erase(title);
}

int LSwitcher::getCGCount() {
    const std::lock_guard lock(*sceneMutex);
    return static_cast<int>(scene->titles.size());
}

LCharacter* LSwitcher::getCGByIndex(int index) {
    const std::lock_guard lock(*sceneMutex);
    if (index < 0 || static_cast<std::size_t>(index) >= scene->titles.size()) return nullptr;
    return std::next(scene->titles.begin(), index)->character;
}

// ---------------------------------------------------------------------------- read-outs, keys

void LSwitcher::getStats(SwitcherStats& stats) {
    const std::lock_guard lock(*sceneMutex);
    const quol::SwitcherScene& s = *scene;
    const double fps = s.videoFormat.fps;
    stats.renderRate = renderRate;
    stats.activeSource = s.position <= 0.01F ? "SubA" : s.position >= 0.99F ? "SubB" : "Transition";
    stats.position = static_cast<double>(s.position) * 100.0;
    stats.frameCount = s.frameIndex;
    stats.timecode = getTimecodeString(s.frameIndex, fps > 0.0 ? fps : 50.0);
    stats.peakA = s.layers[0]->peak;
    stats.peakB = s.layers[1]->peak;
    stats.masterPeak = s.masterPeak;
    std::size_t waiting = 0;
    for (const auto& layer : s.layers) {
        if (layer->sink) waiting = std::max(waiting, layer->sink->sound().pairs());
    }
    stats.audioDelay = static_cast<double>(waiting) / (s.sampleRate() / 1000.0);
    const double frameMillis = fps > 0.0 ? 1000.0 / fps : 20.0;
    stats.drift = static_cast<double>(s.frameIndex) * frameMillis -
                  static_cast<double>(s.samplesSent) * (1000.0 / s.sampleRate());
}

std::string LSwitcher::getTimeCode() {
    const std::lock_guard lock(*sceneMutex);
    return getTimecodeString(scene->frameIndex, scene->videoFormat.fps);
}

std::string LSwitcher::getTimecodeString(std::int64_t frame, double fps) {
    const double rate = quol::fpsOrDefault(fps);
    const std::int64_t count = std::max<std::int64_t>(0, frame);
    const auto perSecond = static_cast<std::int64_t>(std::clamp(rate, 1.0, 1.0e6));
    quol::Timecode timecode;
    const std::lock_guard lock(*sceneMutex);
    if (scene->timecodeSource == 0) {
        timecode = quol::wallClockTimecode(rate);
    } else {
        const auto seconds =
            static_cast<std::int64_t>(std::min(static_cast<double>(count) / rate, 9.0e15));
        timecode.hours = static_cast<int>(seconds / 3600 % 24);
        timecode.minutes = static_cast<int>(seconds / 60 % 60);
        timecode.seconds = static_cast<int>(seconds % 60);
    }
    timecode.frames = static_cast<int>(count % perSecond);
    return quol::formatTimecode(timecode);
}

void LSwitcher::setProps(const std::string& key, const std::string& value) {
    if (key == "extAudio") {
        setExtAudio(quol::parseBool(value));
    } else if (key == "masterMute" || key == "extAudioMute") {
        setMasterMute(quol::parseBool(value));
    } else if (key == "masterGain" || key == "extAudioGain") {
        setMasterGain(quol::parseInt(value));
    } else {
        const std::lock_guard lock(*sceneMutex);
        if (key == "timecode") scene->isTimecodeStamped = quol::parseBool(value);
        if (key == "timecodeSource") scene->timecodeSource = quol::parseInt(value);
        if (key == "scaling_quality") scene->scalingQuality = quol::parseInt(value);
        if (key == "scale_mode") scene->scaleMode = quol::parseInt(value);
        if (key == "audioGain") scene->masterGain = quol::parseInt(value);
    }
}

// The switcher's controls: sources, position, gains, titles and properties. Its pictures are in
// LSwitcherRender, its sound in LSwitcherSound, what moves by itself in LSwitcherMoves.
#include "quolsdk/LSwitcher.h"

#include <algorithm>
#include <array>
#include <new>
#include <utility>

#include "compositing/DetachedSinks.h"
#include "compositing/RateMeter.h"
#include "compositing/RecentPicture.h"
#include "compositing/RenderTurn.h"
#include "compositing/SwitcherScene.h"
#include "core/Clock.h"
#include "core/FairMutex.h"
#include "core/HadMemory.h"
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

// A layer that shows this source, its sink attached; null for none. Under `controlMutex` alone.
std::unique_ptr<quol::SwitcherLayer> LSwitcher::makeLayer(LObject* source) {
    auto layer = std::make_unique<quol::SwitcherLayer>();
    if (source == nullptr) return layer;
    int rate = 0;
    {
        const std::lock_guard lock(*sceneMutex);
        rate = scene->sampleRate();
    }
    auto sink = std::make_unique<SwitcherSink>(rate);
    sink->pullFrom(source);
    source->addSink(sink.get());
    layer->source = source;
    layer->sink = std::move(sink);
    return layer;
}

// A switcher is no source of its own, nor is its preview: the sinks that follow the preview would
// have to follow themselves.
bool LSwitcher::isOwn(const LObject* source) const {
    return source == this || source == &preview;
}

// Puts another layer in the place of the program or the preview; the one that was there is in
// `layer` then. False where that shows the same source: nothing is changed.
bool LSwitcher::exchangeLayer(bool toProgram, std::unique_ptr<quol::SwitcherLayer>& layer) {
    const std::lock_guard lock(*sceneMutex);
    const int program = scene->programIndex();
    auto& place = scene->layers[static_cast<std::size_t>(toProgram ? program : 1 - program)];
    if (place->source == layer->source) return false;
    if (layer->sink && layer->sink->sound().sampleRate() != scene->sampleRate())
        layer->sink->sound().setSampleRate(scene->sampleRate());
    place.swap(layer);
    return true;
}

// Gives the program or the preview another source, and the sinks that follow the preview with it.
// Throws std::bad_alloc with nothing changed.
void LSwitcher::applySource(bool toProgram, LObject* source) {
    const bool isNew = !isOwn(source) && !isAt(toProgram, source);
    std::unique_ptr<quol::SwitcherLayer> layer = isNew ? makeLayer(source) : nullptr;
    const quol::SwitcherLayer* const made = layer.get();
    const bool isChanged = layer && exchangeLayer(toProgram, layer);
    if (!toProgram) {
        quol::logOut("[LSwitcher::setPreview] after applyLayer, real newSource=%p",
                     quol::address(getCurrentPreviewSource()));
    }
    // Until they have moved, all can go back.
    const bool isFollowed = preview.followSource(!toProgram, isChanged ? layer->source : nullptr);
    const bool isRefused = isChanged && !toProgram && !isFollowed;
    if (isRefused) {
        const std::lock_guard lock(*sceneMutex);
        for (auto& each : scene->layers) { // they may have changed places meanwhile
            if (each.get() == made) each.swap(layer);
        }
    }
    if (layer) quol::detachSink(layer->source, std::move(layer->sink));
    if (isRefused) throw std::bad_alloc();
}

// Whether the program, or the preview, shows this source.
bool LSwitcher::isAt(bool program, const LObject* source) {
    const std::lock_guard lock(*sceneMutex);
    return (program ? scene->program() : scene->preview()).source == source;
}

// Whether any of the two layers shows it.
bool LSwitcher::isShown(const LObject* source) {
    const std::lock_guard lock(*sceneMutex);
    return std::any_of(scene->layers.begin(), scene->layers.end(),
                       [source](const auto& layer) { return layer->source == source; });
}

void LSwitcher::setProgram(LObject* source) {
    const std::lock_guard control(controlMutex);
    applySource(true, source);
    ensureRunning();
}

void LSwitcher::setPreview(LObject* source) {
    const std::lock_guard control(controlMutex);
    quol::logOut("[LSwitcher::setPreview] oldSource=%p newSource=%p",
                 quol::address(getCurrentPreviewSource()), quol::address(source));
    applySource(false, source);
    ensureRunning();
}

void LSwitcher::removeSource(LObject* source) {
    if (source == nullptr) return;
    const std::lock_guard control(controlMutex);
    bool isExternal = false;
    std::array<std::unique_ptr<SwitcherSink>, 2> gone;
    {
        const std::lock_guard lock(*sceneMutex);
        for (std::size_t i = 0; i < gone.size(); ++i) {
            if (scene->layers[i]->source == source) gone[i] = scene->layers[i]->letGo();
        }
        isExternal = scene->externalSource == source;
    }
    for (auto& sink : gone)
        quol::detachSink(source, std::move(sink));
    preview.followSource(false);
    if (isExternal) setExtAudioObject(nullptr);
}

LObject* LSwitcher::getCurrentPreviewSource() {
    const std::lock_guard lock(*sceneMutex);
    return scene->preview().source;
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
    std::string newType = type; // all that takes memory before anything is changed
    std::string newParameter = parameter;
    const bool isDip = type == "dip";
    const quol::DipColor dipColor = isDip ? quol::dipColorOf(parameter) : quol::DipColor();
    const std::lock_guard lock(*sceneMutex);
    scene->transitionType = std::move(newType);
    scene->transitionParameter = std::move(newParameter);
    if (isDip) scene->dipColor = dipColor;
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
    // One at a time: they would be heard at once. Nothing else may fail.
    if (before != nullptr) before->removeSink(sink);
    const auto attach = [sink](LObject* to) {
        return to == nullptr || quol::hadMemory([&] { to->addSink(sink); });
    };
    if (attach(source)) return;
    const bool isBack = attach(before); // which has left the room that it had
    {
        const std::lock_guard lock(*sceneMutex);
        scene->externalSource = isBack ? before : nullptr;
    }
    throw std::bad_alloc();
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

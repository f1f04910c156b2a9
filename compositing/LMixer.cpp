// The layers of the mixer: adding, changing and removing them. The pictures are in LMixerRender.
#include "quolsdk/LMixer.h"

#include <utility>

#include "compositing/AttachedSink.h"
#include "compositing/LayerState.h"
#include "compositing/RecentPicture.h"
#include "core/FairMutex.h"
#include "core/MediaInput.h"
#include "core/ModeTables.h"
#include "core/PicturePool.h"
#include "core/Scaler.h"

namespace {

constexpr std::uint32_t initialMode = 4; // 1280x720 at 50
constexpr audioFormatProps initialAudio{0, 16, 48000, 2};

// An image is there after one; a movie's first picture after a few.
constexpr int mostPackets = 10000;

// The first picture of a file, as layers keep images. Null when there is none.
quol::FramePtr loadImage(const std::string& path) {
    const quol::FramePtr decoded =
        quol::decodeFirstPicture(path, mostPackets, quol::StreamChoice::first);
    if (!decoded) return nullptr;
    quol::FramePtr image =
        quol::PicturePool().get(decoded->width, decoded->height, AV_PIX_FMT_YUVA420P);
    if (!image || !quol::Scaler().scale(*decoded, *image, SWS_BILINEAR)) return nullptr;
    return image;
}

} // namespace

LMixer::LMixer(Renderer how)
    : renderer(how),
      layerMutex(std::make_unique<quol::FairMutex>()),
      audioFormat(initialAudio),
      recent(std::make_unique<quol::RecentPicture>()) {
    videoFormat.mode = initialMode;
    quol::expandVideoFormat(videoFormat);
    ensureRunning();
}

LMixer::~LMixer() {
    {
        const std::lock_guard lock(pullMutex);
        running = false;
        requested.notify_all();
        done.notify_all();
    }
    if (thread.joinable()) thread.join();
    for (auto& [name, item] : layers) {
        quol::detachSink(item->source, std::move(item->state->picture.sink));
        quol::detachSink(item->keySource, std::move(item->state->key.sink));
    }
}

void LMixer::ensureRunning() {
    const std::lock_guard control(controlMutex);
    if (running) return;
    running = true;
    try {
        thread = std::thread(&LMixer::mixerLoop, this);
    } catch (...) {
        running = false;
        throw;
    }
}

// The layer of that name; null for none. Under `layerMutex`, or `controlMutex`: without both no
// layer comes or goes, nor changes its sources.
LLayerItem* LMixer::layerOf(const std::string& name) const {
    const auto entry = layers.find(name);
    return entry != layers.end() ? entry->second.get() : nullptr;
}

// A layer of that name, in a map of its own: `layers` can take it over without memory, and does not
// where it has one already.
LMixer::Layers LMixer::makeLayer(const std::string& name) const {
    Layers made;
    if (layerOf(name) == nullptr) made.emplace(name, std::make_unique<LLayerItem>(name));
    return made;
}

// The sink for another source of an input, attached; none where the source stays or there is none.
// Under `controlMutex` alone.
quol::AttachedSink<MixerSink> LMixer::sinkFor(const LObject* source, LObject* newSource) {
    if (newSource == nullptr || newSource == source) return {};
    audioFormatProps format;
    getAudioFormat(format);
    auto sink = std::make_unique<MixerSink>(format.sampleRate);
    sink->pullFrom(newSource);
    return {newSource, std::move(sink)};
}

// Gives one input of a layer another source, whose sink is attached already. Under `layerMutex`.
void LMixer::exchangeSource(quol::LayerFeed& feed, LObject*& source, LObject* newSource,
                            quol::AttachedSink<MixerSink>& sink, quol::DetachedSinks& detached) {
    if (source == newSource) return;
    detached.add(source, std::move(feed.sink));
    feed.lastFrame.reset();
    feed.scaled.clear();
    source = newSource;
    feed.sink = sink.take();
}

LLayerItem* LMixer::addLayer(const std::string& name, LObject* source, int zIndex, float x, float y,
                             int alpha, float width, float height, float cropTop, float cropBottom,
                             float cropLeft, float cropRight, int borderThickness,
                             const std::string& borderColor, bool audioEnabled, int audioGain) {
    const std::lock_guard control(controlMutex);
    LObject* const shown = source != this ? source : nullptr;
    // All that takes memory before anything is changed.
    quol::DetachedSinks detached;
    detached.reserve(1);
    Layers made = makeLayer(name);
    std::string color = borderColor;
    LLayerItem* const item = made.empty() ? layerOf(name) : made.begin()->second.get();
    quol::AttachedSink<MixerSink> sink = sinkFor(item->source, shown);
    ensureRunning();
    const std::lock_guard lock(*layerMutex);
    layers.merge(made);
    exchangeSource(item->state->picture, item->source, shown, sink, detached);
    place(*item, zIndex, x, y, alpha, width, height);
    item->cropTop = cropTop;
    item->cropBottom = cropBottom;
    item->cropLeft = cropLeft;
    item->cropRight = cropRight;
    item->borderThickness = borderThickness;
    item->borderColor = std::move(color);
    item->borderRadius = 0;
    item->audioEnabled = audioEnabled;
    item->audioGain = audioGain;
    return item;
}

LLayerItem* LMixer::addLayer(const std::string& name, LObject* source, int zIndex, float x, float y,
                             int alpha, float width, float height, bool audioEnabled,
                             int audioGain) {
    return addLayer(name, source, zIndex, x, y, alpha, width, height, 0.0F, 0.0F, 0.0F, 0.0F, 0,
                    "#FFFFFF", audioEnabled, audioGain);
}

LLayerItem* LMixer::addDSK(const std::string& name, LObject* fillSource, LObject* keySource,
                           int zIndex, float x, float y, int alpha, float width, float height) {
    const std::lock_guard control(controlMutex);
    LObject* const fill = fillSource != this ? fillSource : nullptr;
    LObject* const key = keySource != this ? keySource : nullptr;
    // All that takes memory before anything is changed.
    quol::DetachedSinks detached;
    detached.reserve(2);
    Layers made = makeLayer(name);
    std::string color = "#FFFFFF";
    LLayerItem* const item = made.empty() ? layerOf(name) : made.begin()->second.get();
    quol::AttachedSink<MixerSink> fillSink = sinkFor(item->source, fill);
    quol::AttachedSink<MixerSink> keySink = sinkFor(item->keySource, key);
    ensureRunning();
    const std::lock_guard lock(*layerMutex);
    layers.merge(made);
    exchangeSource(item->state->picture, item->source, fill, fillSink, detached);
    exchangeSource(item->state->key, item->keySource, key, keySink, detached);
    place(*item, zIndex, x, y, alpha, width, height);
    item->cropTop = 0.0F;
    item->cropBottom = 0.0F;
    item->cropLeft = 0.0F;
    item->cropRight = 0.0F;
    item->borderThickness = 0;
    item->borderColor = std::move(color);
    item->borderRadius = 0;
    item->audioEnabled = false;
    item->audioGain = 100;
    item->isDSK = true;
    return item;
}

LLayerItem* LMixer::addImage(const std::string& name, const std::string& path, int zIndex, float x,
                             float y, int alpha, float width, float height, float cropTop,
                             float cropBottom, float cropLeft, float cropRight, int borderThickness,
                             const std::string& borderColor) {
    quol::FramePtr image = loadImage(path); // takes its time: everything goes on meanwhile
    const std::lock_guard control(controlMutex);
    // All that takes memory before anything is changed.
    quol::DetachedSinks detached;
    Layers made = makeLayer(name);
    std::string color = borderColor;
    LLayerItem& item = made.empty() ? *layerOf(name) : *made.begin()->second;
    ensureRunning();
    const std::lock_guard lock(*layerMutex);
    cleanupLayerItem(item, detached);
    layers.merge(made);
    item.state->picture.lastFrame = std::move(image);
    item.isDSK = false;
    place(item, zIndex, x, y, alpha, width, height);
    item.cropTop = cropTop;
    item.cropBottom = cropBottom;
    item.cropLeft = cropLeft;
    item.cropRight = cropRight;
    item.borderThickness = borderThickness;
    item.borderColor = std::move(color);
    return &item;
}

void LMixer::place(LLayerItem& item, int zIndex, float x, float y, int alpha, float width,
                   float height) {
    item.zIndex = zIndex;
    item.x = x;
    item.y = y;
    item.alpha = alpha;
    item.width = width;
    item.height = height;
}

// Leaves a layer without sources, pictures and caches; throws std::bad_alloc with all of them
// there. Under `layerMutex`.
void LMixer::cleanupLayerItem(LLayerItem& item, quol::DetachedSinks& detached) {
    quol::LayerState& state = *item.state;
    detached.reserve(2);
    {
        const std::lock_guard lock(textureMutex);
        constexpr std::size_t most = 5;
        deadTextures.reserve(deadTextures.size() + most);
        for (const unsigned int texture : {state.textures.y, state.textures.u, state.textures.v,
                                           state.textures.a, state.textures.key}) {
            if (texture != 0) deadTextures.push_back(texture);
        }
    }
    state.textures = {};
    detached.add(item.source, std::move(state.picture.sink));
    detached.add(item.keySource, std::move(state.key.sink));
    for (quol::LayerFeed* feed : {&state.picture, &state.key}) {
        feed->lastFrame.reset();
        feed->scaled.clear();
    }
    item.source = nullptr;
    item.keySource = nullptr;
}

void LMixer::removeLayer(const std::string& name) {
    const std::lock_guard control(controlMutex);
    quol::DetachedSinks detached;
    const std::lock_guard lock(*layerMutex);
    const auto entry = layers.find(name);
    if (entry == layers.end()) return;
    cleanupLayerItem(*entry->second, detached);
    layers.erase(entry);
}

LLayerItem* LMixer::getLayer(const std::string& name) {
    const std::lock_guard lock(*layerMutex);
    return layerOf(name);
}

int LMixer::getLayerCount() {
    const std::lock_guard lock(*layerMutex);
    return static_cast<int>(layers.size());
}

LLayerItem* LMixer::getLayerByIndex(int index) {
    const std::lock_guard lock(*layerMutex);
    if (index < 0 || static_cast<std::size_t>(index) >= layers.size()) return nullptr;
    return std::next(layers.begin(), index)->second.get();
}

bool LMixer::editLayer(const std::string& name, const std::function<void(LLayerItem&)>& edit) {
    const std::lock_guard lock(*layerMutex);
    const auto entry = layers.find(name);
    if (entry == layers.end()) return false;
    edit(*entry->second);
    return true;
}

void LMixer::setLayerBorderRadius(const std::string& name, int radius) {
    editLayer(name, [radius](LLayerItem& item) { item.borderRadius = radius; });
}

void LMixer::setVideoFormat(const videoFormatProps& format) {
    const std::lock_guard lock(*layerMutex);
    videoFormat = format;
    quol::expandVideoFormat(videoFormat);
}

void LMixer::getVideoFormat(videoFormatProps& format) {
    const std::lock_guard lock(*layerMutex);
    format = videoFormat;
}

void LMixer::setAudioFormat(const audioFormatProps& format) {
    const std::lock_guard lock(*layerMutex);
    audioFormat = format;
}

void LMixer::getAudioFormat(audioFormatProps& format) {
    const std::lock_guard lock(*layerMutex);
    format = audioFormat;
}

// The layers of the mixer: adding, changing and removing them. The pictures are in LMixerRender.
#include "quolsdk/LMixer.h"

#include <utility>

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

// The layer of that name, made when there is none. Under `layerMutex`.
LLayerItem& LMixer::layerOf(const std::string& name) {
    const auto entry = layers.find(name);
    if (entry != layers.end()) return *entry->second;
    return *layers.emplace(name, std::make_unique<LLayerItem>(name)).first->second;
}

// Gives one input of a layer another source. The new sink, to be attached when the layer lock has
// been let go; null when nothing is new. Under `layerMutex`.
MixerSink* LMixer::exchangeSource(quol::LayerFeed& feed, LObject*& source, LObject* newSource,
                                  quol::DetachedSinks& detached) {
    if (source == newSource) return nullptr;
    // All that takes memory before anything is changed.
    auto sink =
        newSource != nullptr ? std::make_unique<MixerSink>(audioFormat.sampleRate) : nullptr;
    detached.add(source, std::move(feed.sink));
    feed.lastFrame.reset();
    feed.scaled.clear();
    source = newSource;
    feed.sink = std::move(sink);
    if (source == nullptr) return nullptr;
    feed.sink->pullFrom(source);
    return feed.sink.get();
}

// Attaches the new sink of an input, if there is one. Where that cannot be had the input never had
// that source, so that it can be asked for again. Under `controlMutex` alone.
void LMixer::attach(quol::LayerFeed& feed, LObject*& source, MixerSink* sink) {
    if (sink == nullptr) return;
    try {
        source->addSink(sink);
    } catch (...) {
        const std::lock_guard lock(*layerMutex);
        takeBack(feed, source);
        throw;
    }
}

// An input whose sink has not been attached loses its source. Under `layerMutex`.
void LMixer::takeBack(quol::LayerFeed& feed, LObject*& source) {
    source = nullptr;
    feed.sink.reset();
}

LLayerItem* LMixer::addLayer(const std::string& name, LObject* source, int zIndex, float x, float y,
                             int alpha, float width, float height, float cropTop, float cropBottom,
                             float cropLeft, float cropRight, int borderThickness,
                             const std::string& borderColor, bool audioEnabled, int audioGain) {
    const std::lock_guard control(controlMutex);
    LObject* const shown = source != this ? source : nullptr;
    quol::DetachedSinks detached;
    LLayerItem* item = nullptr;
    MixerSink* sink = nullptr;
    std::string color = borderColor; // takes memory, so before anything is changed
    {
        const std::lock_guard lock(*layerMutex);
        item = &layerOf(name);
        sink = exchangeSource(item->state->picture, item->source, shown, detached);
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
        ensureRunning();
    }
    detached.release();
    attach(item->state->picture, item->source, sink);
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
    quol::DetachedSinks detached;
    LLayerItem* item = nullptr;
    MixerSink* fillSink = nullptr;
    MixerSink* keySink = nullptr;
    {
        const std::lock_guard lock(*layerMutex);
        item = &layerOf(name);
        fillSink = exchangeSource(item->state->picture, item->source, fill, detached);
        try {
            keySink = exchangeSource(item->state->key, item->keySource, key, detached);
        } catch (...) {
            if (fillSink != nullptr) takeBack(item->state->picture, item->source);
            throw;
        }
        place(*item, zIndex, x, y, alpha, width, height);
        item->cropTop = 0.0F;
        item->cropBottom = 0.0F;
        item->cropLeft = 0.0F;
        item->cropRight = 0.0F;
        item->borderThickness = 0;
        item->borderColor = "#FFFFFF";
        item->borderRadius = 0;
        item->audioEnabled = false;
        item->audioGain = 100;
        item->isDSK = true;
        ensureRunning();
    }
    detached.release();
    try {
        attach(item->state->picture, item->source, fillSink);
    } catch (...) {
        const std::lock_guard lock(*layerMutex);
        if (keySink != nullptr) takeBack(item->state->key, item->keySource);
        throw;
    }
    attach(item->state->key, item->keySource, keySink);
    return item;
}

LLayerItem* LMixer::addImage(const std::string& name, const std::string& path, int zIndex, float x,
                             float y, int alpha, float width, float height, float cropTop,
                             float cropBottom, float cropLeft, float cropRight, int borderThickness,
                             const std::string& borderColor) {
    quol::FramePtr image = loadImage(path); // takes its time: everything goes on meanwhile
    const std::lock_guard control(controlMutex);
    quol::DetachedSinks detached;
    const std::lock_guard lock(*layerMutex);
    LLayerItem& item = layerOf(name);
    cleanupLayerItem(item, detached);
    item.state->picture.lastFrame = std::move(image);
    item.isDSK = false;
    place(item, zIndex, x, y, alpha, width, height);
    item.cropTop = cropTop;
    item.cropBottom = cropBottom;
    item.cropLeft = cropLeft;
    item.cropRight = cropRight;
    item.borderThickness = borderThickness;
    item.borderColor = borderColor;
    ensureRunning();
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

// Leaves a layer without sources, pictures and caches. Under `layerMutex`, or with the thread gone.
void LMixer::cleanupLayerItem(LLayerItem& item, quol::DetachedSinks& detached) {
    quol::LayerState& state = *item.state;
    {
        const std::lock_guard lock(textureMutex);
        constexpr std::size_t most = 5;
        deadTextures.reserve(deadTextures.size() + most); // all of them or none
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
    const auto entry = layers.find(name);
    return entry != layers.end() ? entry->second.get() : nullptr;
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

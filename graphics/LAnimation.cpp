#include "quolsdk/LAnimation.h"

#include <array>
#include <atomic>
#include <exception>
#include <filesystem>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "core/Clock.h"
#include "core/FairMutex.h"
#include "core/HadMemory.h"
#include "core/Log.h"
#include "core/ModeTables.h"
#include "core/PlainFile.h"
#include "graphics/LottieEngine.h"
#include "graphics/LottieLayers.h"
#include "graphics/LottieRaster.h"
#include "graphics/LottieText.h"

namespace {

constexpr int defaultWidth = 1920;
constexpr int defaultHeight = 1080;
constexpr double defaultRate = 50.0;
constexpr std::uint32_t initialMode = 13; // 1920x1080 at 50

// The only family there is, whatever file it comes from.
constexpr const char* fontFamily = "DejaVu Sans";
constexpr std::array<const char*, 10> fontFiles{
    "template/RobotoCondensed-Bold.ttf",
    "template/RobotoCondensed-Regular.ttf",
    "RobotoCondensed-Bold.ttf",
    "RobotoCondensed-Regular.ttf",
    "template/Roboto-Bold.ttf",
    "template/Roboto-Regular.ttf",
    "Roboto-Bold.ttf",
    "Roboto-Regular.ttf",
    "/usr/share/fonts/liberation/LiberationSans-Regular.ttf",
    "/usr/share/fonts/TTF/DejaVuSans.ttf",
};

void loadFirstFont(quol::LottieEngine& engine) {
    for (const char* const file : fontFiles) {
        if (!engine.loadFont(file)) continue;
        quol::logOut("LAnimation: Font basariyla yuklendi: %s", file);
        return;
    }
    quol::logOut("LAnimation: UYARI - Hicbir sistem fontu yuklenemedi!");
}

quol::LottieLayers::Canvas onto(quol::LottieCanvas& canvas) {
    return [&canvas](const std::vector<quol::LottieTemplate*>& templates) {
        return canvas.setTemplates(templates);
    };
}

} // namespace

struct LAnimation::Impl {
    // What the thread draws at, fixed when it starts.
    struct Geometry {
        int width = 0;
        int height = 0;
        double fps = 0.0;
    };

    explicit Impl(LAnimation& owner) : self(owner) {}

    quol::LottieLayer* find(int id);
    bool reload(quol::LottieLayer& layer);
    bool start();
    Geometry geometry() const;
    void animationLoop(const Geometry& size);

    LAnimation& self;
    quol::LottieEngine engine;

    quol::FairMutex layerMutex; // guards the next four; held while a picture is drawn
    videoFormatProps format;
    quol::LottieCanvas canvas;
    quol::LottieLayers layers{onto(canvas)};
    std::thread thread;

    std::atomic<bool> running{false};
    quol::Sleeper sleeper;
};

LAnimation::LAnimation() : impl(std::make_unique<Impl>(*this)) {
    impl->format.mode = initialMode;
    quol::expandVideoFormat(impl->format);
    loadFirstFont(impl->engine);
}

LAnimation::~LAnimation() {
    impl->running = false;
    impl->sleeper.wake();
    if (impl->thread.joinable()) impl->thread.join();
}

// ------------------------------------------------------------------------------------ templates

// Under `layerMutex`. Null, with a line, for an unknown id.
quol::LottieLayer* LAnimation::Impl::find(int id) {
    quol::LottieLayer* const layer = layers.find(id);
    if (layer == nullptr) quol::logOut("LAnimation: Katman bulunamadi: %d", id);
    return layer;
}

// Under `layerMutex`. A layer whose first text could not be drawn may be the one that starts.
bool LAnimation::Impl::reload(quol::LottieLayer& layer) {
    if (!layers.reload(layer)) return false;
    start();
    return true;
}

bool LAnimation::loadTemplate(int id, const std::string& path) {
    if (!quol::hasLottieEngine()) {
        quol::logOut("LAnimation: Lottie destegi olmadan derlendi, yuklenemedi: %s", path.c_str());
        return false;
    }
    std::optional<std::string> bytes = quol::readPlainFile(path);
    if (!bytes) {
        quol::logOut("LAnimation: Dosya acilamadi: %s", path.c_str());
        return false;
    }
    std::string json = quol::withAssetFolders(std::move(*bytes), quol::directoryOf(path));
    json = quol::withFontFamily(std::move(json), fontFamily);
    const quol::LottieMarkers markers = quol::readMarkers(json);

    const std::lock_guard lock(impl->layerMutex);
    if (!impl->layers.load(id, std::move(json), path, markers)) {
        quol::logOut("LAnimation: Lottie verisi yuklenemedi! Katman: %d", id);
        return false;
    }
    if (!impl->start()) return false;
    const quol::LottiePlayhead& playhead = impl->layers.find(id)->playhead;
    quol::logOut("LAnimation: Katman %d yuklendi. Toplam Kare: %d, FPS: %g", id,
                 playhead.totalFrames, static_cast<double>(playhead.fps));
    return true;
}

void LAnimation::update(int id, const std::string& layerName, const std::string& text) {
    const std::lock_guard lock(impl->layerMutex);
    quol::LottieLayer* const layer = impl->find(id);
    if (layer == nullptr || layer->json.empty()) return;
    const auto piece = quol::findLayerText(layer->json, layerName);
    if (!piece) {
        quol::logOut("LAnimation: Katman bulunamadi: %s", layerName.c_str());
        return;
    }
    layer->json.replace(piece->begin, piece->end - piece->begin, text);
    if (layer->drawable && !layer->drawable->replaceText(*piece, text)) layer->drawable.reset();
    if (impl->reload(*layer)) {
        quol::logOut("LAnimation: Katman %d metni guncellendi (Bellekten): %s", id, text.c_str());
    } else {
        quol::logOut("LAnimation: Metin guncellendi ama ThorVG bellekten yukleyemedi!");
    }
}

void LAnimation::updateColor(int id, const std::string& layerName, const std::string& color,
                             const std::string& color2, const std::string& param) {
    const std::lock_guard lock(impl->layerMutex);
    quol::LottieLayer* const layer = impl->find(id);
    if (layer == nullptr || layer->json.empty()) return;
    const char* style = "";
    switch (quol::replaceColor(layer->json, layerName, {color, color2, param})) {
        case quol::ColorChange::ignored:
            return;
        case quol::ColorChange::noLayer:
            quol::logOut("LAnimation: Katman adı bulunamadi: %s", layerName.c_str());
            return;
        case quol::ColorChange::noColor:
            quol::logOut("LAnimation: Renk parametresi bulunamadi. Katman: %s", layerName.c_str());
            return;
        case quol::ColorChange::aeStyle:
            style = " (AE Style)";
            break;
        case quol::ColorChange::cavalryStyle:
            style = " (Cavalry Style)";
            break;
    }
    layer->drawable.reset();
    if (!impl->reload(*layer)) {
        quol::logOut("LAnimation: Renk guncellendi ama ThorVG bellekten yukleyemedi!");
        return;
    }
    quol::logOut("LAnimation: Katman %d rengi guncellendi: %s%s -> %s%s%s (Bellekten)", id,
                 layerName.c_str(), style, color.c_str(), color2.empty() ? "" : " to ",
                 color2.c_str());
}

namespace {

// Copies an image beside a template. False when it cannot be read or written.
bool copyBeside(const std::string& folder, const std::string& imagePath,
                const std::string& fileName) {
    const std::optional<std::string> bytes = quol::readPlainFile(imagePath);
    if (!bytes) return false;
    const std::string target = folder + fileName;
    if (quol::writeFile(target, *bytes) != quol::Written::yes) return false;
    quol::logOut("LAnimation: Resim kopyalandi: %s", target.c_str());
    return true;
}

} // namespace

void LAnimation::updateImage(int id, const std::string& name, const std::string& imagePath) {
    const std::lock_guard lock(impl->layerMutex);
    quol::LottieLayer* const layer = impl->find(id);
    if (layer == nullptr) return;
    const quol::LottieAsset asset = quol::assetOf(layer->json, name);
    if (asset.ofLayer) {
        quol::logOut("LAnimation: Katman adindan Asset ID bulundu: %s -> %s", name.c_str(),
                     asset.id.c_str());
    }
    const std::size_t place = quol::findAsset(layer->json, asset.id);
    if (place == std::string::npos) {
        quol::logOut("LAnimation: Asset ID bulunamadi: %s", asset.id.c_str());
        return;
    }
    if (!quol::hasImageFile(layer->json, place)) return;
    const auto fileName = quol::imageFileName(asset.id, imagePath);
    if (!fileName) {
        quol::logOut("LAnimation: Resim kopyalanamadi: %s", imagePath.c_str());
        return;
    }
    if (!copyBeside(quol::resourceFolderOf(layer->path), imagePath, *fileName)) {
        quol::logOut("LAnimation: Resim kopyalanamadi: %s", imagePath.c_str());
        return;
    }
    quol::setImageFile(layer->json, place, *fileName);
    layer->drawable.reset();
    if (impl->reload(*layer)) {
        quol::logOut("LAnimation: Katman %d resmi Bellekten guncellendi. Asset: %s", id,
                     asset.id.c_str());
    } else {
        quol::logOut("LAnimation: Bellekten resim yukleme basarisiz!");
    }
}

void LAnimation::addMarker(int id, const std::string& name, int frame) {
    const std::lock_guard lock(impl->layerMutex);
    quol::LottieLayer* const layer = impl->layers.find(id);
    if (layer != nullptr) quol::setMarker(layer->playhead.markers, name, frame);
}

// ------------------------------------------------------------------------------------- playback

void LAnimation::play(int id) {
    const std::lock_guard lock(impl->layerMutex);
    quol::LottieLayer* const layer = impl->layers.find(id);
    if (layer != nullptr) layer->playhead.playing = true;
}

namespace {

// To the OUT marker, where there is one.
void leave(quol::LottiePlayhead& playhead) {
    playhead.playing = true;
    playhead.exiting = true;
    if (playhead.markers.out >= 0) playhead.currentFrame = static_cast<float>(playhead.markers.out);
}

} // namespace

void LAnimation::stop(int id) {
    const std::lock_guard lock(impl->layerMutex);
    quol::LottieLayer* const layer = impl->layers.find(id);
    if (layer == nullptr) return;
    quol::logOut("LAnimation: stop() cagrildi. Estetik (Beklemeli) cikis yapiliyor. ID: %d", id);
    leave(layer->playhead);
}

void LAnimation::close(int id) {
    const std::lock_guard lock(impl->layerMutex);
    quol::LottieLayer* const layer = impl->layers.find(id);
    if (layer == nullptr) return;
    quol::logOut("LAnimation: close() cagrildi. Acil cikis yapiliyor. ID: %d", id);
    if (layer->playhead.markers.out < 0) {
        quol::logOut("LAnimation: OUT bulunamadi, katman UNLOAD ediliyor. ID: %d", id);
        impl->layers.remove(id);
        return;
    }
    leave(layer->playhead);
    quol::logOut("LAnimation: OUT moduna gecildi. Baslangic karesi: %d",
                 layer->playhead.markers.out);
}

void LAnimation::setVideoFormat(const videoFormatProps& format) {
    const std::lock_guard lock(impl->layerMutex);
    impl->format = format;
    quol::expandVideoFormat(impl->format);
}

void LAnimation::getVideoFormat(videoFormatProps& format) {
    const std::lock_guard lock(impl->layerMutex);
    format = impl->format;
}

double LAnimation::getFPS() {
    const std::lock_guard lock(impl->layerMutex);
    return impl->format.fps;
}

int LAnimation::getWidth() {
    const std::lock_guard lock(impl->layerMutex);
    return impl->format.width;
}

int LAnimation::getHeight() {
    const std::lock_guard lock(impl->layerMutex);
    return impl->format.height;
}

// ----------------------------------------------------------------------------------------- loop

// Under `layerMutex`.
bool LAnimation::Impl::start() {
    if (running) return true;
    running = true;
    try {
        thread = std::thread(&Impl::animationLoop, this, geometry());
    } catch (const std::exception& error) { // no thread, or no memory for one
        running = false;
        quol::logError("LAnimation: No thread: %s", error.what());
    }
    return running;
}

// Under `layerMutex`.
LAnimation::Impl::Geometry LAnimation::Impl::geometry() const {
    return {format.width < 1 ? defaultWidth : format.width,
            format.height < 1 ? defaultHeight : format.height,
            format.fps > 0.0 ? format.fps : defaultRate};
}

void LAnimation::Impl::animationLoop(const Geometry& size) {
    quol::LottieRaster raster(size.width, size.height);
    const std::int64_t period = quol::wholeMillisPeriod(size.fps);
    while (running) {
        const std::int64_t start = quol::steadyNow();
        // Where memory is short there is no picture this time.
        quol::hadMemory([&] {
            {
                const std::lock_guard lock(layerMutex);
                layers.step(size.fps);
                if (!layers.isCanvasWhole()) return;
                raster.draw(canvas);
            }
            const quol::FramePtr picture = raster.picture();
            if (picture) self.distributeVideoFrame(picture.get());
        });
        sleeper.sleepFor(start + period - quol::steadyNow());
    }
}

#include "graphics/LottieEngine.h"

#include <algorithm>
#include <exception>
#include <future>
#include <limits>
#include <mutex>
#include <optional>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

#include "core/CallThread.h"
#include "core/FairMutex.h"
#include "core/PlainFile.h"

#ifdef QUOLSDK_HAS_LOTTIE
#include <thorvg.h>
#include <thorvg_lottie.h>
#endif

namespace quol {

#ifdef QUOLSDK_HAS_LOTTIE

namespace {

FairMutex& engineMutex() {
    static FairMutex& mutex = *new FairMutex; // threads may end behind the process's statics
    return mutex;
}

bool succeeded(tvg::Result result) {
    return result == tvg::Result::Success;
}

} // namespace

bool hasLottieEngine() {
    return true;
}

namespace {

int livingEngines = 0; // under the engine's mutex

// Whether that many threads can be had at once: where they cannot, the engine would end the process
// when it asks for them.
bool canHaveThreads(unsigned count) {
    std::vector<std::thread> tried;
    std::promise<void> allThere;
    const std::shared_future<void> end = allThere.get_future().share();
    bool canHave = true;
    try {
        tried.reserve(count);
        while (tried.size() < count)
            tried.emplace_back([end] { end.wait(); });
    } catch (const std::exception&) {
        canHave = false;
    }
    allThere.set_value();
    for (std::thread& thread : tried)
        thread.join();
    return canHave;
}

// Where canvases are made; under the engine's mutex. A thread that makes one is given memory to
// draw with, which the engine keeps until its end and frees then. If another thread has ended it,
// that memory is still taken for the first one's when it makes a canvas after the next beginning.
// So all are made on one thread that ends with the engine.
std::optional<CallThread>& canvasThread() {
    static std::optional<CallThread>& thread = *new std::optional<CallThread>;
    return thread;
}

// Null where there is no thread to be had. Under the engine's mutex.
std::unique_ptr<tvg::SwCanvas> makeCanvas() {
    try {
        if (!canvasThread()) canvasThread().emplace();
    } catch (const std::system_error&) {
        return nullptr;
    }
    std::unique_ptr<tvg::SwCanvas> canvas;
    canvasThread()->call([&] { canvas.reset(tvg::SwCanvas::gen(tvg::EngineOption::Default)); });
    return canvas;
}

} // namespace

// The first of those that live at a time brings the engine's threads; without any it works on the
// caller's.
LottieEngine::LottieEngine() {
    const std::lock_guard lock(engineMutex());
    const unsigned wanted = std::max(1U, std::thread::hardware_concurrency());
    const bool isFirst = livingEngines == 0;
    const unsigned threads = !isFirst || canHaveThreads(wanted) ? wanted : 0;
    tvg::Initializer::init(threads);
    ++livingEngines;
}

LottieEngine::~LottieEngine() {
    const std::lock_guard lock(engineMutex());
    if (--livingEngines == 0) canvasThread().reset();
    tvg::Initializer::term();
}

bool LottieEngine::loadFont(const std::string& path) {
    const std::lock_guard lock(engineMutex());
    return succeeded(tvg::Text::load(path.c_str()));
}

struct LottieTemplate::Engine {
    std::string folder; // of images; asked for until the animation goes
    std::unique_ptr<tvg::LottieAnimation> animation;
};

namespace {

constexpr std::uint8_t defaultQuality = 50;

// Given to the engine for the folder of images: it looks there first and would show what it once
// read from a path for as long as any template shows it, whatever is in the file by then. Nothing
// is found below this one, so loadImage is asked.
constexpr std::string_view noFolder = "/dev/null";

// The bytes of an image that the engine asks for: absolute, or relative to `folder`. Where a
// template was loaded by a relative path, its own asset folders have that folder before them
// already, and are found as they were when it was loaded.
std::optional<std::string> readImage(const std::string& folder, std::string_view asked) {
    if (asked.substr(0, noFolder.size()) == noFolder) asked.remove_prefix(noFolder.size() + 1);
    const std::string path(asked);
    if (path.starts_with('/')) return readPlainFile(path);
    std::optional<std::string> bytes;
    if (!folder.empty() && path.starts_with(folder)) bytes = readPlainFile(path);
    return bytes ? bytes : readPlainFile(folder + path);
}

// Called by the engine, on a thread of its own too.
bool loadImage(tvg::Paint* paint, const char* asked, const std::string& folder) noexcept {
    if (paint == nullptr || asked == nullptr || paint->type() != tvg::Type::Picture) return false;
    try {
        const std::optional<std::string> bytes = readImage(folder, asked);
        return bytes && bytes->size() <= std::numeric_limits<std::uint32_t>::max() &&
               succeeded(static_cast<tvg::Picture*>(paint)->load(
                   bytes->data(), static_cast<std::uint32_t>(bytes->size()), "", nullptr, true));
    } catch (const std::exception&) { // no memory
        return false;
    }
}

} // namespace

std::unique_ptr<LottieTemplate> LottieTemplate::load(const DrawableTemplate& text,
                                                     const std::string& resourceFolder) {
    const std::string& json = text.json();
    const std::lock_guard lock(engineMutex());
    auto engine = std::make_unique<Engine>();
    engine->folder = resourceFolder;
    engine->animation.reset(tvg::LottieAnimation::gen());
    if (!engine->animation) return nullptr;
    engine->animation->picture()->resolver(
        [](tvg::Paint* paint, const char* asked, void* folder) {
            return loadImage(paint, asked, *static_cast<const std::string*>(folder));
        },
        &engine->folder);
    if (!succeeded(engine->animation->picture()->load(json.c_str(),
                                                      static_cast<std::uint32_t>(json.size()),
                                                      "lottie", noFolder.data(), true)))
        return nullptr;
    // The text is read on another thread, and what is wrong with it not told; only a property of
    // what has been read can be set.
    if (!succeeded(engine->animation->quality(defaultQuality))) return nullptr;
    std::unique_ptr<LottieTemplate> loaded(new LottieTemplate(std::move(engine)));
    loaded->totalFrames_ = loaded->engine_->animation->totalFrame();
    loaded->duration_ = loaded->engine_->animation->duration();
    return loaded;
}

LottieTemplate::LottieTemplate(std::unique_ptr<Engine> engine) : engine_(std::move(engine)) {}

LottieTemplate::~LottieTemplate() {
    const std::lock_guard lock(engineMutex());
    engine_->animation.reset();
}

void LottieTemplate::showFrame(float frame) {
    const std::lock_guard lock(engineMutex());
    engine_->animation->frame(frame);
}

struct LottieCanvas::Engine {
    std::unique_ptr<tvg::SwCanvas> canvas;
};

LottieCanvas::LottieCanvas() : engine_(std::make_unique<Engine>()) {
    const std::lock_guard lock(engineMutex());
    engine_->canvas = makeCanvas();
}

LottieCanvas::~LottieCanvas() {
    const std::lock_guard lock(engineMutex());
    if (engine_->canvas) engine_->canvas->remove();
    engine_->canvas.reset();
}

bool LottieCanvas::setTemplates(const std::vector<LottieTemplate*>& templates) {
    const std::lock_guard lock(engineMutex());
    if (!engine_->canvas && !templates.empty()) engine_->canvas = makeCanvas();
    if (!engine_->canvas) return templates.empty();
    engine_->canvas->remove();
    for (LottieTemplate* each : templates)
        engine_->canvas->add(each->engine_->animation->picture());
    return true;
}

bool LottieCanvas::draw(std::uint32_t* pixels, const LottieArea& area) {
    const std::lock_guard lock(engineMutex());
    tvg::SwCanvas* const canvas = engine_->canvas.get();
    if (canvas == nullptr) return false;
    canvas->target(pixels, static_cast<std::uint32_t>(area.stride),
                   static_cast<std::uint32_t>(area.width), static_cast<std::uint32_t>(area.height),
                   tvg::ColorSpace::ARGB8888);
    canvas->update();
    const bool isDrawn = succeeded(canvas->draw(false));
    canvas->sync();
    return isDrawn;
}

#else

bool hasLottieEngine() {
    return false;
}

LottieEngine::LottieEngine() = default;
LottieEngine::~LottieEngine() = default;
bool LottieEngine::loadFont(const std::string& /*path*/) {
    return false;
}

struct LottieTemplate::Engine {};
std::unique_ptr<LottieTemplate> LottieTemplate::load(const DrawableTemplate& /*text*/,
                                                     const std::string& /*resourceFolder*/) {
    return nullptr;
}
LottieTemplate::LottieTemplate(std::unique_ptr<Engine> engine) : engine_(std::move(engine)) {}
LottieTemplate::~LottieTemplate() = default;
void LottieTemplate::showFrame(float /*frame*/) {}

struct LottieCanvas::Engine {};
LottieCanvas::LottieCanvas() : engine_(std::make_unique<Engine>()) {}
LottieCanvas::~LottieCanvas() = default;
bool LottieCanvas::setTemplates(const std::vector<LottieTemplate*>& /*templates*/) {
    return false;
}
bool LottieCanvas::draw(std::uint32_t* /*pixels*/, const LottieArea& /*area*/) {
    return false;
}

#endif

} // namespace quol

// The preview's worker thread: what it shows, and when.
#include <signal.h>

#include <chrono>
#include <optional>
#include <utility>

#include "core/FrameTime.h"
#include "core/HadMemory.h"
#include "core/Log.h"
#include "core/ThreadPriority.h"
#include "outputs/LPreviewWin32Impl.h"
#include "outputs/PreviewDrawing.h"
#include "outputs/PreviewLook.h"
#include "platform/window/PreviewSurface.h"

namespace {

constexpr auto longestWait = std::chrono::milliseconds(30); // for a picture

double secondsNow() {
    return static_cast<double>(quol::steadyNow()) / quol::nanosPerSecond;
}

// A server that goes away must not end the process with it.
void blockBrokenPipe() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

// What of the meter is to be seen.
struct MeterFace {
    int left = 0;
    int right = 0;
    int heldLeft = -1;
    int heldRight = -1;

    bool operator==(const MeterFace&) const = default;
};

MeterFace faceOf(const quol::PreviewMeter& meter) {
    return {meter.left.litSegments(), meter.right.litSegments(), meter.left.heldSegment(),
            meter.right.heldSegment()};
}

} // namespace

struct LPreviewWin32Impl::Stage {
    std::unique_ptr<quol::PreviewSurface> surface; // null for none
    std::unique_ptr<quol::PreviewDrawing> drawing; // ends before the surface
    quol::PreviewMeter meter;
    std::uint32_t settings = 0; // those that were drawn last
    bool isDrawn = false;       // anything at all
};

void LPreviewWin32Impl::renderLoop() {
    quol::lowerThreadPriority(quol::ThreadPriority::behindAir);
    blockBrokenPipe();
    Stage stage;
    for (;;) {
        std::unique_ptr<quol::PreviewSurface> surface;
        const Task task = nextTask(stage.surface != nullptr, surface);
        if (task == Task::end) break;
        if (task == Task::open) {
            changeStage(stage, std::move(surface));
            continue;
        }
        if (!quol::hadMemory([&] { pass(stage); })) stage.isDrawn = false; // it is tried again
    }
    closeStage(stage);
}

// Takes the surface in place of the one before, and tells how that went.
void LPreviewWin32Impl::changeStage(Stage& stage, std::unique_ptr<quol::PreviewSurface> surface) {
    closeStage(stage);
    bool opened = false;
    quol::hadMemory([&] { opened = openStage(stage, std::move(surface)); });
    if (opened) {
        quol::logOut("%s", kind_.readyLine.c_str());
    } else {
        quol::logError("%s", kind_.failedLine.c_str());
    }
    const std::lock_guard lock(queueMutex_);
    ready_ = opened;
    isOpening_ = false;
}

// Waits for a window where there is none to draw in.
LPreviewWin32Impl::Task LPreviewWin32Impl::nextTask(
    bool hasSurface, std::unique_ptr<quol::PreviewSurface>& surface) {
    std::unique_lock lock(queueMutex_);
    if (!hasSurface) wakeUp_.wait(lock, [this] { return ending_ || isAsked_; });
    if (ending_) return Task::end;
    if (!isAsked_) return Task::draw;
    isAsked_ = false;
    isOpening_ = true;
    surface = std::move(asked_);
    return Task::open;
}

bool LPreviewWin32Impl::openStage(Stage& stage, std::unique_ptr<quol::PreviewSurface> surface) {
    if (!surface || !surface->open()) return false;
    auto drawing = std::make_unique<quol::PreviewDrawing>(surface->entries());
    if (!drawing->isComplete()) {
        drawing.reset();
        return false;
    }
    stage.surface = std::move(surface);
    stage.drawing = std::move(drawing);
    stage.isDrawn = false;
    return true;
}

void LPreviewWin32Impl::closeStage(Stage& stage) {
    ready_ = false;
    stage.drawing.reset();
    stage.surface.reset();
}

void LPreviewWin32Impl::pass(Stage& stage) {
    Taken taken = nextFrame();
    if (taken.frame && !waitUntilDue(taken)) taken.frame.reset();
    const AVFrame* const frame = taken.frame.get();
    const quol::PreviewSurface::News news = stage.surface->poll();
    if (news.gone) {
        closeStage(stage);
        return;
    }
    const bool meterMoved = meterOn_ && moveMeter(stage, frame);
    if (frame != nullptr && showTimecodeOf(taken) && video_) {
        renderFrame(stage, frame);
        return;
    }
    const bool changed = stage.settings != settings_ || !stage.isDrawn;
    if (meterMoved || news.damaged || changed) renderFrame(stage, nullptr);
}

LPreviewWin32Impl::Taken LPreviewWin32Impl::nextFrame() {
    std::unique_lock lock(queueMutex_);
    wakeUp_.wait_for(lock, longestWait, [this] { return ending_ || isAsked_ || !queue_.empty(); });
    if (ending_ || isAsked_ || queue_.empty()) return {};
    Taken taken{std::move(queue_.front()), turn_};
    queue_.pop_front();
    return taken;
}

// False when a clear has come before the picture was due.
bool LPreviewWin32Impl::waitUntilDue(const Taken& taken) {
    const std::optional<double> time = quol::frameTime(*taken.frame);
    int milliseconds = 0;
    {
        const std::lock_guard lock(queueMutex_);
        if (taken.turn != turn_) return false;
        if (time) milliseconds = pacing_.wait(*time, secondsNow());
    }
    if (milliseconds > 0) sleeper_.sleepFor(milliseconds * quol::nanosPerMilli);
    return true;
}

bool LPreviewWin32Impl::moveMeter(Stage& stage, const AVFrame* frame) {
    const auto time = frame != nullptr ? quol::frameTime(*frame) : std::nullopt;
    double due = 0.0;
    {
        const std::lock_guard lock(queueMutex_);
        due = pacing_.soundDue(time, secondsNow());
    }
    const MeterFace before = faceOf(stage.meter);
    const std::optional<PeakSample> peak = sound_.peaks().takeUntil(due);
    if (peak) {
        stage.meter.set(peak->left, peak->right);
    } else {
        stage.meter.fall();
    }
    return faceOf(stage.meter) != before;
}

// False when a clear has come before the picture could be shown.
bool LPreviewWin32Impl::showTimecodeOf(const Taken& taken) {
    const AVDictionaryEntry* const entry =
        av_dict_get(taken.frame->metadata, "timecode", nullptr, 0);
    const std::lock_guard lock(queueMutex_);
    if (taken.turn != turn_) return false;
    timecode_ = entry != nullptr ? entry->value : "";
    return true;
}

// Null draws the last picture again.
void LPreviewWin32Impl::renderFrame(Stage& stage, const AVFrame* frame) {
    stage.settings = settings_; // before they are read, so that no change is missed
    stage.isDrawn = true;
    // Also where there is no room yet: it may be the only one to come.
    if (frame != nullptr) stage.drawing->upload(*frame);
    const quol::SurfaceSize size = stage.surface->size();
    if (size.width < 1 || size.height < 1) return;
    stage.surface->begin();
    quol::PreviewScene scene;
    describe(scene);
    if (meterOn_) scene.meter = &stage.meter;
    stage.drawing->draw(scene, size);
    stage.surface->present();
}

void LPreviewWin32Impl::describe(quol::PreviewScene& scene) const {
    scene.background = quol::tintOf(background_.load());
    scene.keepsShape = keepsShape_;
    scene.name = name_.load();
    if (timecodeOn_) scene.timecode = timecode_.load();
    scene.look =
        quol::lookOf(status_.load(), border_ ? std::optional(borderColor_.load()) : std::nullopt);
}

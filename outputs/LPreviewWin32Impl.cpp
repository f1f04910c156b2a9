// The preview's operations on host threads and on the source's thread.
#include "outputs/LPreviewWin32Impl.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>
#include <system_error>
#include <utility>

#include "core/HadMemory.h"
#include "core/Handles.h"
#include "core/Log.h"
#include "core/Props.h"
#include "core/SoundCheck.h"
#include "platform/window/WindowSurface.h"
#include "quolsdk/LObject.h"

namespace {

LPreviewWin32Impl::SurfaceKind windowKind() {
    return {
        [](void* window) -> std::unique_ptr<quol::PreviewSurface> {
            return std::make_unique<quol::WindowSurface>(reinterpret_cast<std::uintptr_t>(window));
        },
        "[quolsdk] Win32 OpenGL GPU preview ready (WGL).",
        "[quolsdk] Win32 OpenGL (WGL) init failed — check GPU driver."};
}

bool isHexColor(const std::string& text) {
    if ((text.size() != 4 && text.size() != 7) || text[0] != '#') return false;
    return std::all_of(text.begin() + 1, text.end(),
                       [](unsigned char c) { return std::isxdigit(c) != 0; });
}

} // namespace

LPreviewWin32Impl::LPreviewWin32Impl() : LPreviewWin32Impl(windowKind()) {}

LPreviewWin32Impl::LPreviewWin32Impl(SurfaceKind kind) : kind_(std::move(kind)) {
    try {
        worker_ = std::thread(&LPreviewWin32Impl::renderLoop, this);
    } catch (const std::system_error&) { // previewEnable tells
    }
}

LPreviewWin32Impl::~LPreviewWin32Impl() {
    previewObject(nullptr);
    {
        const std::lock_guard lock(queueMutex_);
        ending_ = true;
    }
    wakeUp_.notify_all();
    sleeper_.wake();
    if (worker_.joinable()) worker_.join();
}

// ---------------------------------------------------------------------------------- settings

void LPreviewWin32Impl::setProps(const std::string& key, const std::string& value) {
    if (key == "audio" || key == "audio_enabled") {
        setAudio(quol::parseBool(value));
    } else if (key == "mute") {
        mute(quol::parseBool(value));
    } else if (key == "name") {
        setName(value);
    } else if (key == "status") {
        setStatus(value);
    } else if (key == "audio_meter") {
        meterOn_ = quol::parseBool(value);
    } else if (key == "maintain_ar") {
        keepsShape_ = quol::parseBool(value);
    } else if (key == "scale_type") {
        keepsShape_ = value == "aspect-ratio" || value == "letter-box";
    } else if (key == "border") {
        border_ = quol::parseBool(value);
    } else if (key == "borderColor" || key == "border_color") {
        borderColor_.set(value);
    } else if (key == "timecode.preview") {
        timecodeOn_ = quol::parseBool(value);
    } else if (key == "preview_background") {
        background_.set(value);
    }
    settingChanged();
}

// What is seen follows a setting at once, also while the source stands still.
void LPreviewWin32Impl::settingChanged() {
    settings_.fetch_add(1);
}

void LPreviewWin32Impl::setName(const std::string& name) {
    name_ = name;
    settingChanged();
}

void LPreviewWin32Impl::setStatus(const std::string& status) {
    status_ = status;
    settingChanged();
}

void LPreviewWin32Impl::setAudio(bool enabled) {
    sound_.setEnabled(enabled);
}

void LPreviewWin32Impl::mute(bool muted) {
    sound_.setEnabled(!muted);
}

void LPreviewWin32Impl::parseColor(const std::string& text, quol::Rgb& color) {
    using Named = std::pair<std::string_view, quol::Rgb>;
    static const std::array<Named, 4> names{Named{"red", {255, 0, 0}}, Named{"green", {0, 255, 0}},
                                            Named{"black", {0, 0, 0}},
                                            Named{"white", {255, 255, 255}}};
    for (const auto& [name, named] : names) {
        if (text == name) color = named;
    }
    if (isHexColor(text)) color = quol::parseColorOrWhite(text);
}

void LPreviewWin32Impl::SharedColor::set(const std::string& text) {
    quol::Rgb color = load();
    parseColor(text, color);
    packed_ = static_cast<std::uint32_t>(color.red << 16 | color.green << 8 | color.blue);
}

// ------------------------------------------------------------------------- window and source

void LPreviewWin32Impl::previewEnable(void* nativeWindow, bool audioEnabled, bool videoEnabled) {
    sound_.setEnabledKeeping(audioEnabled);
    if (!worker_.joinable()) {
        quol::logError("%s", kind_.failedLine.c_str());
        return;
    }
    video_ = videoEnabled;
    std::unique_lock lock(queueMutex_);
    const bool stands = enabled_ && nativeWindow == window_ && (ready_ || isAsked_ || isOpening_);
    if (!stands) {
        lock.unlock();
        auto surface = kind_.make(nativeWindow);
        lock.lock();
        std::swap(asked_, surface);
        isAsked_ = true;
        window_ = nativeWindow;
        enabled_ = true;
    }
    lock.unlock();
    wakeUp_.notify_all();
}

void LPreviewWin32Impl::previewObject(LObject* object) {
    const std::lock_guard lock(objectMutex_);
    if (object_ != nullptr) object_->removeSink(this);
    // Nothing of the source before goes on: its times say nothing about another's.
    if (object != object_) {
        sound_.startAnew();
        clear();
        const std::lock_guard queueLock(queueMutex_);
        timecode_ = "";
        settingChanged();
    }
    object_ = nullptr;
    if (object != nullptr) object->addSink(this); // without memory it raises
    object_ = object;
}

void LPreviewWin32Impl::clear() {
    // When the lock is open again. A source that flushes is not to fail for want of memory.
    std::array<quol::FramePtr, maxQueue> freed;
    const std::lock_guard lock(queueMutex_);
    std::move(queue_.begin(), queue_.end(), freed.begin());
    queue_.clear();
    pacing_.reset();
    ++turn_;
}

void LPreviewWin32Impl::flush() {
    clear();
}

void LPreviewWin32Impl::setPaused(bool paused) {
    sound_.pause(paused);
}

void LPreviewWin32Impl::statusGet(int& status) {
    status = ready_ ? 1 : 0;
}

// --------------------------------------------------------------------- on the source's thread

void LPreviewWin32Impl::pushVideoFrame(AVFrame* frame) {
    if (frame == nullptr || !video_) return;
    quol::FramePtr kept = quol::cloneFrame(frame);
    if (!kept) return;
    quol::FramePtr oldest; // freed when the lock is open again
    quol::hadMemory([&] {
        const std::lock_guard lock(queueMutex_);
        if (queue_.size() >= maxQueue) {
            oldest = std::move(queue_.front());
            queue_.pop_front();
        }
        queue_.push_back(std::move(kept));
    });
    wakeUp_.notify_all();
}

void LPreviewWin32Impl::pushAudioFrame(AVFrame* frame) {
    if (frame == nullptr || !(sound_.isEnabled() || meterOn_)) return;
    if (!quol::isReadableSound(*frame)) return;
    quol::hadMemory([&] { sound_.push(*frame); });
}

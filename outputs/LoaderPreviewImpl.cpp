#include "outputs/LoaderPreviewImpl.h"

#include <cerrno>
#include <utility>

#include "core/Log.h"
#include "core/Props.h"
#include "outputs/LPreviewWin32Impl.h"
#include "platform/RuntimeLibrary.h"

namespace {

using Factory = LPreview::Impl*();

// Null without such a library, or without that function in it.
Factory* loadFactory(const std::string& toolkit) {
    const std::string installed = "libquolsdk_" + toolkit + ".so";
    int error = 0; // of the installed one: the other is rarely there
    std::string reasons;
    for (const std::string& name : {installed, "./quolsdk_" + toolkit + ".so"}) {
        errno = 0;
        quol::RuntimeLibrary library(name);
        if (!library) {
            if (reasons.empty()) error = errno;
            reasons += (reasons.empty() ? "" : "; ") + library.reason();
            continue;
        }
        const std::string function = "create_" + toolkit + "_preview";
        Factory* factory = nullptr;
        // Kept: the toolkit goes on calling what it was given, also when the last preview has gone.
        if (library.find(function.c_str(), factory)) library.keep();
        return factory;
    }
    quol::logError("[quolsdk] Failed to load %s: %d", installed.c_str(), error);
    quol::logError("[quolsdk] %s", reasons.c_str());
    return nullptr;
}

Factory* factoryOf(const std::string& framework) {
    return framework == "gtk" || framework == "qt" ? loadFactory(framework) : nullptr;
}

} // namespace

LoaderPreviewImpl::~LoaderPreviewImpl() = default;

void LoaderPreviewImpl::loadFramework(const std::string& framework) {
    Factory* const factory = factoryOf(framework);
    std::unique_ptr<LPreview::Impl> made(factory != nullptr ? factory() : nullptr);
    if (!made) {
        quol::logOut("[quolsdk] Loading built-in Win32 GDI Preview...");
        made = std::make_unique<LPreviewWin32Impl>();
    }
    setRealImpl(std::move(made));
}

void LoaderPreviewImpl::setRealImpl(std::unique_ptr<LPreview::Impl> impl) {
    const std::lock_guard lock(mutex_);
    real_.reset(); // it lets go of window and source before the next one takes them
    real_ = std::move(impl);
    if (real_) handOn();
}

void LoaderPreviewImpl::handOn() {
    real_->setName(name_);
    if (status_ != "empty") real_->setStatus(status_);
    real_->setAudio(audio_);
    for (const auto& [key, value] : props_)
        real_->setProps(key, value);
    if (object_ != nullptr) real_->previewObject(object_);
    if (enabled_) real_->previewEnable(window_, audio_, video_);
}

void LoaderPreviewImpl::setProps(const std::string& key, const std::string& value) {
    const std::lock_guard lock(mutex_);
    props_[key] = value;
    if (key == "audio" || key == "audio_enabled") audio_ = quol::parseBool(value);
    if (key == "mute") audio_ = !quol::parseBool(value);
    if (real_) real_->setProps(key, value);
}

void LoaderPreviewImpl::previewEnable(void* nativeWindow, bool audioEnabled, bool videoEnabled) {
    const std::lock_guard lock(mutex_);
    enabled_ = true;
    window_ = nativeWindow;
    audio_ = audioEnabled;
    video_ = videoEnabled;
    if (real_) real_->previewEnable(nativeWindow, audioEnabled, videoEnabled);
}

void LoaderPreviewImpl::previewObject(LObject* object) {
    const std::lock_guard lock(mutex_);
    object_ = nullptr;
    if (real_) real_->previewObject(object); // without memory it raises
    object_ = object;
}

void LoaderPreviewImpl::clear() {
    const std::lock_guard lock(mutex_);
    if (real_) real_->clear();
}

void LoaderPreviewImpl::setName(const std::string& name) {
    const std::lock_guard lock(mutex_);
    name_ = name;
    if (real_) real_->setName(name);
}

void LoaderPreviewImpl::setStatus(const std::string& status) {
    const std::lock_guard lock(mutex_);
    status_ = status;
    if (real_) real_->setStatus(status);
}

void LoaderPreviewImpl::setAudio(bool enabled) {
    const std::lock_guard lock(mutex_);
    audio_ = enabled;
    if (real_) real_->setAudio(enabled);
}

void LoaderPreviewImpl::mute(bool muted) {
    const std::lock_guard lock(mutex_);
    audio_ = !muted;
    if (real_) real_->mute(muted);
}

void LoaderPreviewImpl::statusGet(int& status) {
    const std::lock_guard lock(mutex_);
    status = 0;
    if (real_) real_->statusGet(status);
}

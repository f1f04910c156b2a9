#include "quolsdk/LPreview.h"

#include "outputs/LoaderPreviewImpl.h"

LPreview::Impl::~Impl() = default;

LPreview::LPreview() : impl(std::make_unique<LoaderPreviewImpl>()) {}

LPreview::~LPreview() = default;

void LPreview::setProps(const std::string& key, const std::string& value) {
    if (key == "ui_framework") {
        static_cast<LoaderPreviewImpl&>(*impl).loadFramework(value);
    } else {
        impl->setProps(key, value);
    }
}

void LPreview::previewEnable(void* nativeWindow, bool audio, bool video) {
    impl->previewEnable(nativeWindow, audio, video);
}

void LPreview::previewObject(LObject* object) {
    impl->previewObject(object);
}

void LPreview::clear() {
    impl->clear();
}

void LPreview::setName(const std::string& name) {
    impl->setName(name);
}

void LPreview::setStatus(const std::string& status) {
    impl->setStatus(status);
}

void LPreview::setAudio(bool enabled) {
    impl->setAudio(enabled);
}

void LPreview::mute(bool muted) {
    impl->mute(muted);
}

void LPreview::statusGet(int& status) {
    impl->statusGet(status);
}

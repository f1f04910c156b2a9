// The preview's implementation until the host has chosen one.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "quolsdk/LPreview.h"

// Collects every setting and hands them to the real implementation when there is one; from then on
// it forwards every call, and still collects, should another be chosen. Any thread.
class LoaderPreviewImpl final : public LPreview::Impl {
public:
    LoaderPreviewImpl() = default;
    ~LoaderPreviewImpl() override;

    // Loads the implementation for a value of "ui_framework".
    void loadFramework(const std::string& framework);

    // Takes the implementation and ends the one before, then hands everything on.
    void setRealImpl(std::unique_ptr<LPreview::Impl> impl);

    void setProps(const std::string& key, const std::string& value) override;
    void previewEnable(void* nativeWindow, bool audioEnabled, bool videoEnabled) override;
    void previewObject(LObject* object) override;
    void clear() override;
    void setName(const std::string& name) override;
    void setStatus(const std::string& status) override;
    void setAudio(bool enabled) override;
    void mute(bool muted) override;
    void statusGet(int& status) override;

private:
    void handOn();

    std::mutex mutex_; // guards all below; held while a call is forwarded
    std::unique_ptr<LPreview::Impl> real_;
    bool enabled_ = false; // previewEnable was called
    void* window_ = nullptr;
    bool audio_ = false; // as was asked for last, by whatever call or key
    bool video_ = false;
    LObject* object_ = nullptr; // not owned
    std::string name_;
    std::string status_ = "empty";
    std::map<std::string, std::string> props_;
};

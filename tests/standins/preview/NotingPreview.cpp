// A toolkit's implementation of the preview that notes what it is told.
#include <cstdint>
#include <mutex>
#include <string>

#include "quolsdk/LPreview.h"

namespace {

std::mutex mutex;
std::string notes; // guarded by mutex
std::string given; // what the test was handed last

void note(const std::string& call) {
    const std::lock_guard lock(mutex);
    notes += call + "\n";
}

class NotingPreview : public LPreview::Impl {
public:
    NotingPreview() { note("begin"); }
    ~NotingPreview() override { note("end"); }
    void setProps(const std::string& key, const std::string& value) override {
        note(key + "=" + value);
    }
    void previewEnable(void* window, bool audio, bool video) override {
        note("enable " + std::to_string(reinterpret_cast<std::uintptr_t>(window)) + " " +
             std::to_string(audio) + " " + std::to_string(video));
    }
    void previewObject(LObject* object) override { note(object ? "object" : "no object"); }
    void clear() override { note("clear"); }
    void setName(const std::string& name) override { note("name " + name); }
    void setStatus(const std::string& status) override { note("status " + status); }
    void setAudio(bool enabled) override { note("audio " + std::to_string(enabled)); }
    void mute(bool muted) override { note("mute " + std::to_string(muted)); }
    void statusGet(int& status) override { status = 1; }
};

} // namespace

#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED void* previewNotes() {
    const std::lock_guard lock(mutex);
    given.swap(notes);
    notes.clear();
    return given.data();
}

#ifdef NULL_PREVIEW
EXPORTED LPreview::Impl* create_qt_preview() {
    return nullptr;
}
#else
EXPORTED LPreview::Impl* create_qt_preview() {
    return new NotingPreview;
}
EXPORTED LPreview::Impl* create_gtk_preview() {
    return new NotingPreview;
}
#endif

#include "platform/gl/Egl.h"

#include <array>
#include <cstring>
#include <mutex>

#include "platform/RuntimeLibrary.h"

namespace quol::gl {

namespace {

template <typename Function>
void findExtension(const Egl& egl, const char* name, Function& function) {
    function = reinterpret_cast<Function>(egl.GetProcAddress(name));
}

// A word of a list, not a part of one.
bool hasExtension(const char* list, const char* name) {
    if (list == nullptr) return false;
    const std::size_t length = std::strlen(name);
    for (const char* at = std::strstr(list, name); at != nullptr;
         at = std::strstr(at + length, name)) {
        const bool begins = at == list || at[-1] == ' ';
        if (begins && (at[length] == ' ' || at[length] == '\0')) return true;
    }
    return false;
}

bool load(Egl& egl) {
    RuntimeLibrary library("libEGL.so.1");
    const bool complete = library.find("eglGetProcAddress", egl.GetProcAddress) &&
                          library.find("eglGetDisplay", egl.GetDisplay) &&
                          library.find("eglInitialize", egl.Initialize) &&
                          library.find("eglBindAPI", egl.BindAPI) &&
                          library.find("eglChooseConfig", egl.ChooseConfig) &&
                          library.find("eglCreateContext", egl.CreateContext) &&
                          library.find("eglDestroyContext", egl.DestroyContext) &&
                          library.find("eglMakeCurrent", egl.MakeCurrent) &&
                          library.find("eglQueryString", egl.QueryString) &&
                          library.find("eglReleaseThread", egl.ReleaseThread) &&
                          library.find("eglTerminate", egl.Terminate) &&
                          library.find("eglGetConfigAttrib", egl.GetConfigAttrib) &&
                          library.find("eglDestroySurface", egl.DestroySurface) &&
                          library.find("eglSwapInterval", egl.SwapInterval) &&
                          library.find("eglSwapBuffers", egl.SwapBuffers);
    if (!complete) return false;
    library.keep();
    const char* const extensions = egl.QueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    if (hasExtension(extensions, "EGL_EXT_platform_base")) {
        findExtension(egl, "eglGetPlatformDisplayEXT", egl.GetPlatformDisplay);
        findExtension(egl, "eglCreatePlatformWindowSurfaceEXT", egl.CreatePlatformWindowSurface);
    }
    if (hasExtension(extensions, "EGL_EXT_device_base") ||
        hasExtension(extensions, "EGL_EXT_device_enumeration")) {
        findExtension(egl, "eglQueryDevicesEXT", egl.QueryDevices);
        findExtension(egl, "eglQueryDeviceStringEXT", egl.QueryDeviceString);
    }
    return true;
}

class DisplaySearch {
public:
    DisplaySearch(const Egl& egl, bool software) : egl_(egl), software_(software) {}

    std::vector<EGLDisplay> run() {
        const bool devicesAreKnown = tryDevices();
        // Without a device that is no driver on the main processor, no other way leads to one
        // either, and looking for it loads that driver: half a second, and a hundred megabytes.
        if (!software_ && devicesAreKnown) return found_;
        if (egl_.GetPlatformDisplay != nullptr) {
            add(egl_.GetPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA,
                                        reinterpret_cast<void*>(EGL_DEFAULT_DISPLAY), nullptr));
        }
        add(egl_.GetDisplay(EGL_DEFAULT_DISPLAY));
        return found_;
    }

private:
    // Whether there is a list of devices.
    bool tryDevices() {
        if (egl_.QueryDevices == nullptr || egl_.QueryDeviceString == nullptr ||
            egl_.GetPlatformDisplay == nullptr)
            return false;
        std::array<EGLDeviceEXT, 32> devices{};
        EGLint count = 0;
        if (egl_.QueryDevices(static_cast<EGLint>(devices.size()), devices.data(), &count) == 0)
            return false;
        for (EGLint i = 0; i < count; ++i) {
            void* const device = devices[static_cast<std::size_t>(i)];
            const char* const extensions = egl_.QueryDeviceString(device, EGL_EXTENSIONS);
            if (!software_ && hasExtension(extensions, "EGL_MESA_device_software")) continue;
            add(egl_.GetPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, device, nullptr));
        }
        return count > 0;
    }

    void add(EGLDisplay display) {
        if (display == EGL_NO_DISPLAY) return;
        for (const EGLDisplay known : found_) {
            if (known == display) return;
        }
        if (egl_.Initialize(display, nullptr, nullptr) != 0) found_.push_back(display);
    }

    const Egl& egl_;
    bool software_;
    std::vector<EGLDisplay> found_;
};

} // namespace

const Egl* loadEgl() {
    static Egl egl;
    static const bool loaded = load(egl);
    return loaded ? &egl : nullptr;
}

std::mutex& initialising() {
    static std::mutex mutex;
    return mutex;
}

const std::vector<EGLDisplay>& headlessDisplays(const Egl& egl, bool software) {
    const std::lock_guard lock(initialising());
    if (software) {
        static const std::vector<EGLDisplay> all = DisplaySearch(egl, true).run();
        return all;
    }
    static const std::vector<EGLDisplay> hardware = DisplaySearch(egl, false).run();
    return hardware;
}

} // namespace quol::gl

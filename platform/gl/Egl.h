// The EGL functions that are called, found at run time.
#pragma once

#include <mutex>
#include <vector>

// Without the types of a window system.
#define EGL_NO_X11
#define EGL_EGLEXT_PROTOTYPES 0
#include <EGL/egl.h>
#include <EGL/eglext.h>

namespace quol::gl {

struct Egl {
    decltype(&::eglGetProcAddress) GetProcAddress = nullptr;
    decltype(&::eglGetDisplay) GetDisplay = nullptr;
    decltype(&::eglInitialize) Initialize = nullptr;
    decltype(&::eglBindAPI) BindAPI = nullptr;
    decltype(&::eglChooseConfig) ChooseConfig = nullptr;
    decltype(&::eglCreateContext) CreateContext = nullptr;
    decltype(&::eglDestroyContext) DestroyContext = nullptr;
    decltype(&::eglMakeCurrent) MakeCurrent = nullptr;
    decltype(&::eglQueryString) QueryString = nullptr;
    decltype(&::eglReleaseThread) ReleaseThread = nullptr;
    decltype(&::eglTerminate) Terminate = nullptr;
    decltype(&::eglGetConfigAttrib) GetConfigAttrib = nullptr;
    decltype(&::eglDestroySurface) DestroySurface = nullptr;
    decltype(&::eglSwapInterval) SwapInterval = nullptr;
    decltype(&::eglSwapBuffers) SwapBuffers = nullptr;
    // Extensions, null where there are none.
    PFNEGLGETPLATFORMDISPLAYEXTPROC GetPlatformDisplay = nullptr;
    PFNEGLCREATEPLATFORMWINDOWSURFACEEXTPROC CreatePlatformWindowSurface = nullptr;
    PFNEGLQUERYDEVICESEXTPROC QueryDevices = nullptr;
    PFNEGLQUERYDEVICESTRINGEXTPROC QueryDeviceString = nullptr;
};

// Null on a machine without EGL. Loaded once and kept: drivers leave threads and exit handlers
// behind that unloading would pull the ground from.
const Egl* loadEgl();

// Held around the first initialisation of a display: drivers do not all take two at once.
std::mutex& initialising();

// The displays to try, best first, initialised; those of software drivers only where `software` is
// true. Looked for once a process, as a display is the process's.
const std::vector<EGLDisplay>& headlessDisplays(const Egl& egl, bool software);

} // namespace quol::gl

#include "platform/window/WindowSurface.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <vector>

#include "platform/gl/Egl.h"
#include "platform/window/ChildWindow.h"

namespace quol {

namespace {

// Those that can draw into a window, that of the host's own visual first: where the depths differ,
// the server has to convert what is drawn.
std::vector<EGLConfig> configsFor(const gl::Egl& egl, EGLDisplay display, xcb_visualid_t visual) {
    constexpr std::array<EGLint, 13> wanted{EGL_RENDERABLE_TYPE,
                                            EGL_OPENGL_BIT,
                                            EGL_SURFACE_TYPE,
                                            EGL_WINDOW_BIT,
                                            EGL_RED_SIZE,
                                            8,
                                            EGL_GREEN_SIZE,
                                            8,
                                            EGL_BLUE_SIZE,
                                            8,
                                            EGL_SAMPLES,
                                            0,
                                            EGL_NONE};
    std::array<EGLConfig, 256> found{};
    EGLint count = 0;
    if (egl.ChooseConfig(display, wanted.data(), found.data(), static_cast<EGLint>(found.size()),
                         &count) == 0)
        return {};
    std::vector<EGLConfig> configs(found.begin(), found.begin() + count);
    std::stable_partition(configs.begin(), configs.end(), [&](EGLConfig config) {
        EGLint id = 0;
        egl.GetConfigAttrib(display, config, EGL_NATIVE_VISUAL_ID, &id);
        return static_cast<xcb_visualid_t>(id) == visual;
    });
    return configs;
}

// With its last display a driver is unloaded, and leaves behind what it holds; the next preview
// would load it again. One display that asks nothing of the machine keeps it for the process.
void keepDriver(const gl::Egl& egl) {
    static const bool kept = [&egl] {
        const EGLDisplay display = egl.GetPlatformDisplay(
            EGL_PLATFORM_SURFACELESS_MESA, reinterpret_cast<void*>(EGL_DEFAULT_DISPLAY), nullptr);
        return display != EGL_NO_DISPLAY && egl.Initialize(display, nullptr, nullptr) != 0;
    }();
    static_cast<void>(kept);
}

} // namespace

WindowSurface::WindowSurface(std::uintptr_t host) : host_(host) {}

WindowSurface::~WindowSurface() {
    const gl::Egl* const egl = gl::loadEgl();
    if (display_ != EGL_NO_DISPLAY) {
        egl->MakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        if (surface_ != EGL_NO_SURFACE) egl->DestroySurface(display_, surface_);
        if (context_ != EGL_NO_CONTEXT) egl->DestroyContext(display_, context_);
    }
    if (window_) window_->destroy();
    if (display_ != EGL_NO_DISPLAY) {
        // A display is known by its connection, whose address the next one may get.
        const std::lock_guard lock(gl::initialising());
        egl->Terminate(display_);
        egl->ReleaseThread();
    }
}

bool WindowSurface::open() {
    window_ = ChildWindow::connect(host_);
    return window_ && openDisplay() && openWindow() && openContext();
}

bool WindowSurface::openDisplay() {
    const gl::Egl* const egl = gl::loadEgl();
    if (egl == nullptr || egl->GetPlatformDisplay == nullptr ||
        egl->CreatePlatformWindowSurface == nullptr)
        return false;
    const std::lock_guard lock(gl::initialising());
    keepDriver(*egl);
    const std::array<EGLint, 3> screen{EGL_PLATFORM_XCB_SCREEN_EXT, window_->screen(), EGL_NONE};
    const EGLDisplay display =
        egl->GetPlatformDisplay(EGL_PLATFORM_XCB_EXT, window_->connection(), screen.data());
    if (display == EGL_NO_DISPLAY || egl->Initialize(display, nullptr, nullptr) == 0) return false;
    display_ = display;
    return true;
}

bool WindowSurface::openWindow() {
    const gl::Egl& egl = *gl::loadEgl();
    if (egl.BindAPI(EGL_OPENGL_API) == 0) return false;
    for (EGLConfig config : configsFor(egl, display_, window_->hostVisual())) {
        EGLint visual = 0;
        egl.GetConfigAttrib(display_, config, EGL_NATIVE_VISUAL_ID, &visual);
        if (visual == 0 || !window_->create(static_cast<xcb_visualid_t>(visual))) continue;
        xcb_window_t window = window_->window();
        surface_ = egl.CreatePlatformWindowSurface(display_, config, &window, nullptr);
        if (surface_ != EGL_NO_SURFACE) {
            config_ = config;
            return true;
        }
        window_->destroy();
    }
    return false;
}

bool WindowSurface::openContext() {
    const gl::Egl& egl = *gl::loadEgl();
    context_ = egl.CreateContext(display_, config_, EGL_NO_CONTEXT, nullptr);
    if (context_ == EGL_NO_CONTEXT || egl.MakeCurrent(display_, surface_, surface_, context_) == 0)
        return false;
    // Pictures are paced by their own times. A window that is hidden would hold the thread up.
    egl.SwapInterval(display_, 0);
    return entries_.load([&egl](const char* name) { return egl.GetProcAddress(name); });
}

PreviewSurface::News WindowSurface::poll() {
    return window_->poll();
}

SurfaceSize WindowSurface::size() const {
    return window_->size();
}

void WindowSurface::present() {
    // On a connection that has broken Mesa's software driver counts with a length of 0, and puts
    // the picture line by line into nothing for up to a minute.
    if (!window_->isServed()) return;
    gl::loadEgl()->SwapBuffers(display_, surface_);
}

} // namespace quol

#include "platform/gl/HeadlessContext.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <string_view>

#include "platform/gl/Egl.h"

namespace quol::gl {

namespace {

// Drivers that compute on the main processor, by what they call themselves.
bool isSoftware(std::string renderer) {
    std::transform(renderer.begin(), renderer.end(), renderer.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    constexpr std::array<std::string_view, 5> names{"llvmpipe", "softpipe", "swrast", "software",
                                                    "lavapipe"};
    return std::any_of(names.begin(), names.end(), [&renderer](std::string_view name) {
        return renderer.find(name) != std::string::npos;
    });
}

EGLContext makeContext(const Egl& egl, EGLDisplay display) {
    if (egl.BindAPI(EGL_OPENGL_API) == 0) return EGL_NO_CONTEXT;
    // No kind of surface is asked for: a device without a display has none.
    const std::array<EGLint, 5> wanted{EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE, 0,
                                       EGL_NONE};
    EGLConfig config = nullptr;
    EGLint count = 0;
    if (egl.ChooseConfig(display, wanted.data(), &config, 1, &count) == 0 || count < 1)
        return EGL_NO_CONTEXT;
    return egl.CreateContext(display, config, EGL_NO_CONTEXT, nullptr);
}

} // namespace

std::unique_ptr<HeadlessContext> HeadlessContext::make(Driver driver) {
    // Processors do not come and go: once all displays have turned out to be drivers that compute
    // on the main processor, the answer is known.
    static std::atomic<bool> noHardware{false};
    if (driver == Driver::hardware && noHardware) return nullptr;
    const Egl* const egl = loadEgl();
    if (egl == nullptr) return nullptr;
    bool onlySoftware = true;
    for (void* display : headlessDisplays(*egl, driver == Driver::any)) {
        auto context = makeOn(display);
        const bool software = context && isSoftware(context->renderer());
        if (context && !(software && driver == Driver::hardware)) return context;
        onlySoftware = onlySoftware && software;
    }
    if (driver == Driver::hardware && onlySoftware) noHardware = true;
    return nullptr;
}

std::unique_ptr<HeadlessContext> HeadlessContext::makeOn(void* display) {
    const Egl& egl = *loadEgl();
    const EGLContext context = makeContext(egl, display);
    if (context == EGL_NO_CONTEXT) return nullptr;
    std::unique_ptr<HeadlessContext> made(new HeadlessContext(display, context));
    if (egl.MakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, context) == 0) return nullptr;
    if (!made->entries_.load([&egl](const char* name) { return egl.GetProcAddress(name); }))
        return nullptr;
    return made;
}

HeadlessContext::~HeadlessContext() {
    const Egl& egl = *loadEgl();
    egl.MakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    egl.DestroyContext(display_, context_);
    egl.ReleaseThread();
}

std::string HeadlessContext::renderer() const {
    const GLubyte* const name = entries_.GetString(GL_RENDERER);
    return name != nullptr ? reinterpret_cast<const char*>(name) : "";
}

} // namespace quol::gl

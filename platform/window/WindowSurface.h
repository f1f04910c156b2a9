// OpenGL in a window of the X server.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/gl/EntryTable.h"
#include "platform/window/PreviewSurface.h"

namespace quol {

class ChildWindow;

// Draws in a child of the window with that number, through EGL.
class WindowSurface final : public PreviewSurface {
public:
    explicit WindowSurface(std::uintptr_t host);
    ~WindowSurface() override;

    bool open() override;
    const gl::EntryTable& entries() const override { return entries_; }
    News poll() override;
    SurfaceSize size() const override;
    void begin() override {}
    void present() override;

private:
    bool openDisplay();
    bool openWindow();
    bool openContext();

    std::uintptr_t host_;
    std::unique_ptr<ChildWindow> window_;
    // EGLDisplay, EGLConfig, EGLContext, EGLSurface; null for none.
    void* display_ = nullptr;
    void* config_ = nullptr;
    void* context_ = nullptr;
    void* surface_ = nullptr;
    gl::EntryTable entries_;
};

} // namespace quol

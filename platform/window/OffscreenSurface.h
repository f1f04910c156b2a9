// A surface for windows that are painted by somebody else.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/gl/HeadlessContext.h"
#include "platform/window/PreviewSurface.h"

namespace quol {

// Where the pictures go. Called on the surface's thread.
class OffscreenTarget {
public:
    virtual ~OffscreenTarget() = default;

    virtual SurfaceSize size() = 0; // of the window now; 0 while it is not known
    virtual bool isGone() = 0;
    // A picture of that size: RGBA, opaque, the top row first, without padding. The memory may be
    // exchanged for any other.
    virtual void show(std::vector<std::uint8_t>& rgba, const SurfaceSize& size) = 0;
};

// Draws into a framebuffer of the size of the window and reads it back.
class OffscreenSurface final : public PreviewSurface {
public:
    explicit OffscreenSurface(std::shared_ptr<OffscreenTarget> target);
    ~OffscreenSurface() override;

    bool open() override;
    const gl::EntryTable& entries() const override { return context_->entries(); }
    News poll() override;
    SurfaceSize size() const override { return size_; }
    void begin() override;
    void present() override;

private:
    void deleteFramebuffer();

    const std::shared_ptr<OffscreenTarget> target_;
    std::unique_ptr<gl::HeadlessContext> context_;
    GLuint framebuffer_ = 0;
    GLuint texture_ = 0;
    SurfaceSize framebufferSize_;
    SurfaceSize size_;
    std::vector<std::uint8_t> bottomUp_;
    std::vector<std::uint8_t> rgba_;
};

} // namespace quol

// A surface for windows that are painted by somebody else.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/gl/HeadlessContext.h"
#include "platform/window/OffscreenTarget.h"
#include "platform/window/PreviewSurface.h"

namespace quol {

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

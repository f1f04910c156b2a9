#include "platform/window/OffscreenSurface.h"

#include <cstring>
#include <utility>

#include "platform/gl/Drawing.h"

namespace quol {

OffscreenSurface::OffscreenSurface(std::shared_ptr<OffscreenTarget> target)
    : target_(std::move(target)) {}

OffscreenSurface::~OffscreenSurface() {
    if (context_) deleteFramebuffer();
    target_->close();
}

bool OffscreenSurface::open() {
    context_ = gl::HeadlessContext::make(gl::Driver::any);
    size_ = target_->size();
    return context_ != nullptr;
}

PreviewSurface::News OffscreenSurface::poll() {
    const SurfaceSize before = std::exchange(size_, target_->size());
    return {target_->isGone(), size_ != before};
}

void OffscreenSurface::deleteFramebuffer() {
    const gl::EntryTable& gl = context_->entries();
    gl.BindFramebuffer(GL_FRAMEBUFFER, 0);
    gl.DeleteFramebuffers(1, &framebuffer_); // 0 is passed over
    gl.DeleteTextures(1, &texture_);
    framebuffer_ = 0;
    texture_ = 0;
}

void OffscreenSurface::begin() {
    const gl::EntryTable& gl = context_->entries();
    if (framebuffer_ != 0 && framebufferSize_ == size_) {
        gl.BindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
        return;
    }
    deleteFramebuffer();
    gl.ActiveTexture(GL_TEXTURE0);
    texture_ = gl::makeTexture(gl);
    gl.TexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, size_.width, size_.height, 0, GL_RGBA,
                  GL_UNSIGNED_BYTE, nullptr);
    gl.GenFramebuffers(1, &framebuffer_);
    gl.BindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
    gl.FramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture_, 0);
    framebufferSize_ = size_;
}

void OffscreenSurface::present() {
    const gl::EntryTable& gl = context_->entries();
    const auto height = static_cast<std::size_t>(size_.height);
    const std::size_t rowBytes = static_cast<std::size_t>(size_.width) * 4;
    if (gl.CheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) return;
    bottomUp_.resize(rowBytes * height);
    rgba_.resize(rowBytes * height);
    gl.PixelStorei(GL_PACK_ALIGNMENT, 1);
    gl.ReadPixels(0, 0, size_.width, size_.height, GL_RGBA, GL_UNSIGNED_BYTE, bottomUp_.data());
    for (std::size_t row = 0; row < height; ++row)
        std::memcpy(rgba_.data() + row * rowBytes, bottomUp_.data() + (height - 1 - row) * rowBytes,
                    rowBytes);
    target_->show(rgba_, size_);
}

} // namespace quol

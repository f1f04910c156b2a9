#include "outputs/OutputPicture.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "core/PictureCheck.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace quol {

namespace {

// The vector code of the scaler stores whole registers, and is fastest where they are aligned.
constexpr std::align_val_t alignment{64};
constexpr std::size_t slack = 64;

// Four bytes that, repeated, are black.
using BlackPixels = std::array<std::uint8_t, 4>;

BlackPixels blackPixels(AVPixelFormat format) {
    if (format == AV_PIX_FMT_UYVY422) return {128, 16, 128, 16};
    if (format == AV_PIX_FMT_BGRA) return {0, 0, 0, 255};
    return {0, 0, 0, 0};
}

} // namespace

int packedRowBytes(AVPixelFormat format, int width) {
    return width > 0 ? std::max(av_image_get_linesize(format, width, 0), 0) : 0;
}

void OutputPicture::AlignedDelete::operator()(std::uint8_t* bytes) const noexcept {
    ::operator delete(bytes, alignment);
}

bool OutputPicture::draw(const AVFrame& frame, const PictureForm& form, int scalingFlags) {
    const int needed = packedRowBytes(form.format, form.width);
    if (form.height < 1 || needed < 1 || form.rowBytes < needed) return false;
    if (!take(form)) return false;
    if (!isReadablePicture(frame)) return true;
    if (frame.format == form.format && frame.width == form.width && frame.height == form.height) {
        copyRows(frame, form);
    } else {
        scale(frame, form, scalingFlags);
    }
    return true;
}

// A new form starts with black: what the buffer held would be noise in it, and zeros are green in
// UYVY.
bool OutputPicture::take(const PictureForm& form) {
    if (form == form_) return true;
    const std::size_t size =
        static_cast<std::size_t>(form.rowBytes) * static_cast<std::size_t>(form.height);
    if (size > room_) {
        auto* const grown =
            static_cast<std::uint8_t*>(::operator new(size + slack, alignment, std::nothrow));
        if (grown == nullptr) return false;
        buffer_.reset(grown);
        room_ = size;
    }
    std::memset(buffer_.get(), 0, room_ + slack);
    const BlackPixels black = blackPixels(form.format);
    const std::ptrdiff_t bytes = packedRowBytes(form.format, form.width);
    for (std::ptrdiff_t row = 0; row < form.height; ++row) {
        for (std::ptrdiff_t i = 0; i < bytes; ++i)
            buffer_.get()[row * form.rowBytes + i] = black[static_cast<std::size_t>(i) % 4];
    }
    size_ = size;
    form_ = form;
    return true;
}

void OutputPicture::copyRows(const AVFrame& frame, const PictureForm& form) {
    // Not what pads the source's rows: behind the last of them there may be none.
    const auto bytes = static_cast<std::size_t>(packedRowBytes(form.format, form.width));
    for (std::ptrdiff_t row = 0; row < form.height; ++row) {
        std::memcpy(buffer_.get() + row * form.rowBytes, frame.data[0] + row * frame.linesize[0],
                    bytes);
    }
}

void OutputPicture::scale(const AVFrame& frame, const PictureForm& form, int scalingFlags) {
    ScalerKey key{frame.width, frame.height, frame.format, form.width,
                  form.height, form.format,  key_.flags};
    if (key != key_) key.flags = scalingFlags;
    if (!scaler_.prepare(key)) {
        key_ = {};
        return;
    }
    key_ = key;
    std::uint8_t* const planes[4] = {buffer_.get(), nullptr, nullptr, nullptr};
    const int strides[4] = {form.rowBytes, 0, 0, 0};
    scaler_.run(frame, planes, strides);
}

} // namespace quol

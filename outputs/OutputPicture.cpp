#include "outputs/OutputPicture.h"

#include <algorithm>
#include <cstdlib>
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
    if (!resize(static_cast<std::size_t>(form.rowBytes) * static_cast<std::size_t>(form.height)))
        return false;
    if (!isReadablePicture(frame)) return true;
    if (frame.format == form.format && frame.width == form.width && frame.height == form.height) {
        copyRows(frame, form);
    } else {
        scale(frame, form, scalingFlags);
    }
    return true;
}

// What is there stays, what is new is zero.
bool OutputPicture::resize(std::size_t size) {
    if (size > room_) {
        auto* const grown =
            static_cast<std::uint8_t*>(::operator new(size + slack, alignment, std::nothrow));
        if (grown == nullptr) return false;
        if (size_ > 0) std::memcpy(grown, buffer_.get(), size_);
        std::memset(grown + size_, 0, size + slack - size_);
        buffer_.reset(grown);
        room_ = size;
    }
    size_ = size;
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

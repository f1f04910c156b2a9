#include "core/MappedPicture.h"

#include <sys/mman.h>

#include <array>
#include <cstddef>
#include <cstdint>

extern "C" {
#include <libavutil/imgutils.h>
}

namespace quol {

namespace {

constexpr std::size_t alignment = 32;
// What FFmpeg leaves behind a picture for loops that run over its end: rows, and bytes of a plane.
constexpr int rowsBelow = 32;
constexpr std::size_t bytesBehind = 64;

constexpr std::size_t roundUp(std::size_t size) {
    return (size + alignment - 1) / alignment * alignment;
}

struct Layout {
    int strides[4] = {};
    std::size_t offsets[4] = {};
    std::size_t size = 0; // 0 when there is no such picture
};

Layout layoutOf(int width, int height, AVPixelFormat format) {
    if (width < 1 || height < 1 ||
        av_image_check_size(static_cast<unsigned>(width), static_cast<unsigned>(height), 0,
                            nullptr) < 0)
        return {};
    Layout layout;
    if (av_image_fill_linesizes(layout.strides, format, width) < 0) return {};
    std::array<std::ptrdiff_t, 4> strides{};
    for (std::size_t i = 0; i < strides.size(); ++i) {
        layout.strides[i] = static_cast<int>(roundUp(static_cast<std::size_t>(layout.strides[i])));
        strides[i] = layout.strides[i];
    }
    std::array<std::size_t, 4> sizes{};
    const int rows = (height + rowsBelow - 1) / rowsBelow * rowsBelow;
    if (av_image_fill_plane_sizes(sizes.data(), format, rows, strides.data()) < 0) return {};
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        layout.offsets[i] = layout.size;
        if (sizes[i] > 0) layout.size += roundUp(sizes[i] + bytesBehind);
    }
    return layout;
}

void unmap(void* size, std::uint8_t* data) {
    munmap(data, reinterpret_cast<std::uintptr_t>(size));
}

AVBufferRef* mapBuffer(std::size_t size) {
    void* const data =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (data == MAP_FAILED) return nullptr;
    auto* const bytes = static_cast<std::uint8_t*>(data);
    AVBufferRef* const buffer =
        av_buffer_create(bytes, size, unmap, reinterpret_cast<void*>(size), 0);
    if (buffer == nullptr) munmap(data, size);
    return buffer;
}

} // namespace

std::uint64_t mappedPictureSize(int width, int height, AVPixelFormat format) {
    return layoutOf(width, height, format).size;
}

FramePtr makeMappedPicture(int width, int height, AVPixelFormat format) {
    const Layout layout = layoutOf(width, height, format);
    FramePtr frame = makeFrame();
    if (layout.size == 0 || !frame) return nullptr;
    frame->buf[0] = mapBuffer(layout.size);
    if (frame->buf[0] == nullptr) return nullptr;
    frame->width = width;
    frame->height = height;
    frame->format = format;
    for (std::size_t i = 0; i < 4; ++i) {
        frame->linesize[i] = layout.strides[i];
        frame->data[i] = layout.strides[i] > 0 ? frame->buf[0]->data + layout.offsets[i] : nullptr;
    }
    return frame;
}

} // namespace quol

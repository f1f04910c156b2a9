#include "core/PicturePool.h"

#include <utility>

namespace quol {

namespace {

constexpr int alignment = 32;

// Index of the buffer of `frame` that `data` points into, -1 for none.
int bufferOf(const AVFrame& frame, const std::uint8_t* data) {
    for (int i = 0; i < AV_NUM_DATA_POINTERS; ++i) {
        const AVBufferRef* buffer = frame.buf[i];
        if (buffer != nullptr && data >= buffer->data && data < buffer->data + buffer->size)
            return i;
    }
    return -1;
}

} // namespace

// How av_frame_get_buffer splits a picture into buffers differs between FFmpeg's versions, so the
// layout is read off a picture that it made.
bool PicturePool::learnLayout(int width, int height, AVPixelFormat format) {
    const FramePtr sample = makeFrame();
    if (!sample) return false;
    sample->width = width;
    sample->height = height;
    sample->format = format;
    if (av_frame_get_buffer(sample.get(), alignment) < 0) return false;

    // All of the new layout or nothing of it, whatever memory there is.
    decltype(buffers_) buffers;
    for (int i = 0; i < AV_NUM_DATA_POINTERS && sample->buf[i] != nullptr; ++i) {
        const std::size_t size = sample->buf[i]->size;
        BufferPool pool(av_buffer_pool_init(size, nullptr));
        if (!pool) return false;
        buffers.push_back({std::move(pool), size});
    }
    buffers_ = std::move(buffers);
    for (std::size_t i = 0; i < planes_.size(); ++i) {
        const int buffer = sample->data[i] != nullptr ? bufferOf(*sample, sample->data[i]) : -1;
        planes_[i] = {buffer, buffer < 0 ? 0 : sample->data[i] - sample->buf[buffer]->data,
                      sample->linesize[i]};
    }
    width_ = width;
    height_ = height;
    format_ = format;
    return true;
}

// What is out stays with its pictures, and goes with them. Without memory for a change nothing
// changes.
void PicturePool::renew() {
    given_ = 0;
    for (Buffers& buffers : buffers_) {
        BufferPool fresh(av_buffer_pool_init(buffers.size, nullptr));
        if (fresh) buffers.pool = std::move(fresh);
    }
}

FramePtr PicturePool::get(int width, int height, AVPixelFormat format) {
    const std::lock_guard lock(mutex_);
    const bool known =
        !buffers_.empty() && width == width_ && height == height_ && format == format_;
    if (!known && !learnLayout(width, height, format)) {
        buffers_.clear();
        return nullptr;
    }
    if (++given_ >= renewal) renew();
    FramePtr frame = makeFrame();
    if (!frame) return nullptr;
    frame->width = width;
    frame->height = height;
    frame->format = format;
    for (std::size_t i = 0; i < buffers_.size(); ++i) {
        frame->buf[i] = av_buffer_pool_get(buffers_[i].pool.get());
        if (frame->buf[i] == nullptr) return nullptr;
    }
    for (std::size_t i = 0; i < planes_.size(); ++i) {
        const Plane& plane = planes_[i];
        if (plane.buffer < 0) continue;
        frame->data[i] = frame->buf[plane.buffer]->data + plane.offset;
        frame->linesize[i] = plane.stride;
    }
    frame->extended_data = frame->data;
    return frame;
}

void PicturePool::clear() {
    const std::lock_guard lock(mutex_);
    buffers_.clear();
}

} // namespace quol

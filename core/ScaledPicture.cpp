#include "core/ScaledPicture.h"

namespace quol {

bool isSamePicture(const AVFrame& a, const AVFrame& b) {
    if (a.width != b.width || a.height != b.height || a.format != b.format) return false;
    for (int i = 0; i < AV_NUM_DATA_POINTERS; ++i) {
        if (a.data[i] != b.data[i] || a.linesize[i] != b.linesize[i]) return false;
        const AVBuffer* const owner = a.buf[i] != nullptr ? a.buf[i]->buffer : nullptr;
        const AVBuffer* const otherOwner = b.buf[i] != nullptr ? b.buf[i]->buffer : nullptr;
        if (owner != otherOwner) return false;
    }
    return a.buf[0] != nullptr;
}

namespace {

bool isOfForm(const AVFrame& frame, int width, int height, AVPixelFormat format) {
    return frame.width == width && frame.height == height && frame.format == format;
}

} // namespace

bool ScaledPicture::holds(const AVFrame& source, int width, int height,
                          AVPixelFormat format) const {
    return scaled_ && source_ && isOfForm(*scaled_, width, height, format) &&
           isSamePicture(*source_, source) && source_->pts == source.pts;
}

bool ScaledPicture::wouldScale(const AVFrame& source, int width, int height,
                               AVPixelFormat format) const {
    return !isOfForm(source, width, height, format) && !holds(source, width, height, format);
}

const AVFrame* ScaledPicture::get(const AVFrame& source, int width, int height,
                                  AVPixelFormat format) {
    if (isOfForm(source, width, height, format)) return &source;
    if (holds(source, width, height, format)) return scaled_.get();
    source_.reset();
    const bool fits = scaled_ && isOfForm(*scaled_, width, height, format);
    if (!fits || av_frame_is_writable(scaled_.get()) <= 0)
        scaled_ = pool_.get(width, height, format);
    if (!scaled_ || !scaler_.scale(source, *scaled_, SWS_BILINEAR)) {
        scaled_.reset();
        return nullptr;
    }
    source_ = cloneFrame(&source);
    return scaled_.get();
}

void ScaledPicture::clear() {
    source_.reset();
    scaled_.reset();
    pool_.clear();
}

} // namespace quol

#include "quolsdk/FrameHandle.h"

#include "core/Handles.h"

namespace quol {

void FrameDeleter::operator()(AVFrame* frame) const noexcept {
    av_frame_free(&frame);
}

FramePtr cloneFrame(const AVFrame* frame) {
    return FramePtr(frame != nullptr ? av_frame_clone(frame) : nullptr);
}

} // namespace quol

#include "quolsdk/FrameHandle.h"

#include "core/Handles.h"
#include "core/PictureCheck.h"
#include "core/SoundCheck.h"

namespace quol {

void FrameDeleter::operator()(AVFrame* frame) const noexcept {
    av_frame_free(&frame);
}

FramePtr cloneFrame(const AVFrame* frame) {
    if (frame == nullptr) return nullptr;
    // What is copied is read to the end of what the record tells, as a picture where it has a size.
    const bool isCopied = frame->buf[0] == nullptr;
    const bool hasSize = frame->width > 0 && frame->height > 0;
    if (isCopied && !(hasSize ? hasReadablePlanes(*frame) : isReadableSound(*frame)))
        return nullptr;
    return FramePtr(av_frame_clone(frame));
}

} // namespace quol

/// @file
/// Owning handle of a frame.
#pragma once

#include <memory>

#include "quolsdk/export.h"

struct AVFrame;

namespace quol {

/// Frees a frame with `av_frame_free`.
struct QUOLSDK_API FrameDeleter {
    /// Frees one reference; null is left alone.
    void operator()(AVFrame* frame) const noexcept;
};

/// One owned reference to a frame.
using FramePtr = std::unique_ptr<AVFrame, FrameDeleter>;

/// Takes a reference of one's own to a borrowed frame (`av_frame_clone`): the record is new, the
/// picture or sound data are shared and must not be changed. Data that nobody counts references to,
/// a host's own, are copied. Null when `frame` is null or memory is short, and for data to be
/// copied that are not all there.
QUOLSDK_API FramePtr cloneFrame(const AVFrame* frame);

} // namespace quol

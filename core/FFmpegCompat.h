// The few places where the FFmpeg versions in use differ.
#pragma once

#include <span>

#include "core/Handles.h"

namespace quol {

// What an encoder takes; empty when it does not say.
std::span<const AVPixelFormat> encoderPixelFormats(const AVCodec& codec);
std::span<const AVSampleFormat> encoderSampleFormats(const AVCodec& codec);

// Forgets how long the picture was shown where it came from.
void clearDuration(AVFrame& picture);

} // namespace quol

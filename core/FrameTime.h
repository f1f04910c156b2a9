// What time a frame says it is.
#pragma once

#include <optional>

#include "core/Handles.h"

namespace quol {

// Seconds: time stamp times time base. Nothing for a frame that lacks either.
inline std::optional<double> frameTime(const AVFrame& frame) {
    if (frame.pts == AV_NOPTS_VALUE || frame.time_base.num <= 0 || frame.time_base.den <= 0) {
        return std::nullopt;
    }
    return static_cast<double>(frame.pts) * av_q2d(frame.time_base);
}

} // namespace quol

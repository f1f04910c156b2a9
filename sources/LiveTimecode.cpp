#include "sources/LiveTimecode.h"

#include <algorithm>

#include "core/Timecode.h"

namespace quol {

namespace {

// Truncates; what a start value of nonsense adds up to stays a number.
std::int64_t wholeFrames(double frames) {
    constexpr double limit = 1.0e12;
    return static_cast<std::int64_t>(std::clamp(frames, -limit, limit));
}

} // namespace

std::string runningTimecode(const std::string& start, std::int64_t elapsedMicros, double fps) {
    if (start.empty()) return {};
    const Timecode from = parseTimecode(start).value_or(Timecode{});
    const double elapsed = static_cast<double>(elapsedMicros) / 1e6;
    const std::int64_t total = wholeFrames(elapsed * fps) +
                               wholeFrames(from.seconds * fps + from.frames +
                                           from.minutes * 60.0 * fps + from.hours * 3600.0 * fps);
    const std::int64_t perSecond = std::max<std::int64_t>(1, wholeFrames(fps));
    return formatTimecode({static_cast<int>(total / (perSecond * 3600)),
                           static_cast<int>(total / (perSecond * 60) % 60),
                           static_cast<int>(total / perSecond % 60),
                           static_cast<int>(total % perSecond)});
}

} // namespace quol

#include "sources/LiveTimecode.h"

#include <algorithm>

#include "core/Timecode.h"

namespace quol {

namespace {

// What a start value or a rate of nonsense adds up to leaves room for the sums below.
std::int64_t limitedFrames(double frames) {
    constexpr std::int64_t limit = 1'000'000'000'000;
    return std::clamp(wholeFrames(frames), -limit, limit);
}

} // namespace

std::string runningTimecode(const std::string& start, std::int64_t elapsedMicros, double fps) {
    if (start.empty()) return {};
    const Timecode from = parseTimecode(start).value_or(Timecode{});
    const double elapsed = static_cast<double>(elapsedMicros) / 1e6;
    const std::int64_t total = limitedFrames(elapsed * fps) +
                               limitedFrames(from.seconds * fps + from.frames +
                                             from.minutes * 60.0 * fps + from.hours * 3600.0 * fps);
    const std::int64_t perSecond = std::max<std::int64_t>(1, limitedFrames(fps));
    return formatTimecode({static_cast<int>(total / (perSecond * 3600)),
                           static_cast<int>(total / (perSecond * 60) % 60),
                           static_cast<int>(total / perSecond % 60),
                           static_cast<int>(total % perSecond)});
}

} // namespace quol

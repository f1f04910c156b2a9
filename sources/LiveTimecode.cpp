#include "sources/LiveTimecode.h"

#include "core/Timecode.h"

namespace quol {

std::string runningTimecode(const std::string& start, std::int64_t elapsedMicros, double fps) {
    if (start.empty()) return {};
    const double elapsed = static_cast<double>(elapsedMicros) / 1e6;
    return laterTimecodeText(start, wholeFrames(elapsed * fps), fps);
}

} // namespace quol

#include "sources/StreamPacing.h"

#include "core/Clock.h"

namespace quol {

std::int64_t StreamPacing::waitFor(double seconds, std::int64_t now) {
    constexpr double jump = 2.0; // seconds
    if (!firstPts_) firstPts_ = seconds;
    const double elapsed = static_cast<double>(now - clockStart_) / 1e9;
    const double lag = seconds - *firstPts_ - elapsed;
    if (!(lag > 0.0)) return 0;
    if (lag >= jump) {
        clockStart_ = now;
        firstPts_ = seconds;
        return 0;
    }
    return static_cast<std::int64_t>(lag * static_cast<double>(nanosPerSecond));
}

} // namespace quol

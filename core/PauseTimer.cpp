#include "core/PauseTimer.h"

#include "core/Clock.h"

namespace quol {

void PauseTimer::endAfter(double delayMs, std::int64_t now) {
    constexpr double longestMs = 1e12; // keeps the sum within 64 bits
    if (!(delayMs > 0.0)) return;
    const auto delay = static_cast<std::int64_t>(delayMs < longestMs ? delayMs : longestMs);
    end_ = now + delay * nanosPerMilli;
    timed_ = true;
}

} // namespace quol

#include "compositing/RenderPace.h"

#include <algorithm>

#include "core/Clock.h"

namespace quol {

namespace {

constexpr double second = static_cast<double>(nanosPerSecond);

double periods(std::int64_t count, double fps) {
    return static_cast<double>(count) / fps * second;
}

} // namespace

double rateOrDefault(double fps) {
    constexpr double slowest = 0.001;
    constexpr double fastest = 1.0e6;
    return fps > 0.0 ? std::clamp(fps, slowest, fastest) : 50.0;
}

std::int64_t RenderPace::untilDue(std::int64_t index, double fps, std::int64_t now) {
    if (fps_ > 0.0 && fps != fps_) start_ += periods(index, fps_) - periods(index, fps);
    fps_ = fps;
    const double wait = start_ + periods(index, fps) - static_cast<double>(now);
    constexpr double longest = 9.0e18; // what a count of nanoseconds can hold
    return static_cast<std::int64_t>(std::clamp(wait, -longest, longest));
}

bool RenderPace::isSleepable(std::int64_t nanoseconds, double fps) {
    return static_cast<double>(nanoseconds) <= std::max(second, periods(1, fps));
}

void RenderPace::restart(std::int64_t index, double fps, std::int64_t now) {
    fps_ = fps;
    start_ = static_cast<double>(now) - periods(index, fps);
}

} // namespace quol

#include "compositing/ForwardedTime.h"

#include <cmath>
#include <cstdlib>

#include "core/Handles.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace quol {

namespace {

// Beyond this a sum of two times may not fit. Nor does what overflows when it is rescaled.
constexpr std::int64_t farthest = std::int64_t{1} << 60;

bool isTime(std::int64_t samples) {
    return samples > -farthest && samples < farthest;
}

bool hasTime(const AVFrame& sound) {
    return sound.pts != AV_NOPTS_VALUE && sound.time_base.num > 0 && sound.time_base.den > 0;
}

} // namespace

std::int64_t ForwardedTime::of(const AVFrame& sound, double wall) {
    const int rate = sound.sample_rate;
    const std::int64_t here = std::llround(wall * rate);
    const bool isFirst = rate != rate_;
    rate_ = rate;
    std::int64_t source = next_;
    if (hasTime(sound)) {
        const std::int64_t told = av_rescale_q(sound.pts, sound.time_base, {1, rate});
        if (isTime(told)) source = told;
    }
    if (isFirst || std::abs(source + offset_ - here) > rate / 2) offset_ = here - source;
    next_ = isTime(source + sound.nb_samples) ? source + sound.nb_samples : 0;
    return source + offset_;
}

} // namespace quol

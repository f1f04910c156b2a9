// Transitions that mix levels: sample for sample, in floats, truncated.
#include "compositing/MixRows.h"
#include "compositing/TransitionPlane.h"

namespace quol {

void drawFade(const TransitionPlane& plane, float p) {
    const MixRows& mix = fastestMixRows();
    const auto count = static_cast<std::size_t>(plane.columns);
    for (int y = 0; y < plane.rows; ++y)
        mix.fade(plane.out[y], plane.a[y], plane.b[y], count, p);
}

void drawDip(const TransitionPlane& plane, float p) {
    const MixRows& mix = fastestMixRows();
    const auto count = static_cast<std::size_t>(plane.columns);
    const bool isLeaving = p < 0.5F;
    const auto& picture = isLeaving ? plane.a : plane.b;
    const float share = isLeaving ? 1.0F - 2.0F * p : (p - 0.5F) * 2.0F;
    const float colorShare = isLeaving ? 2.0F * p : 1.0F - share;
    const float color = static_cast<float>(plane.dipLevel) * colorShare;
    for (int y = 0; y < plane.rows; ++y)
        mix.dip(plane.out[y], picture[y], count, share, color);
}

} // namespace quol

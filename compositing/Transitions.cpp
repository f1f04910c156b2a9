#include "compositing/Transitions.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "compositing/TransitionPlane.h"
#include "core/Color.h"
#include "core/Handles.h"

namespace quol {

namespace {

struct TransitionType {
    std::string_view name;
    DrawPlane* draw;
};

constexpr std::array<TransitionType, 17> transitionTypes{{
    {"fade", drawFade},
    {"dip", drawDip},
    {"wipe_lr", drawWipeLeftRight},
    {"wipe_rl", drawWipeRightLeft},
    {"wipe_tb", drawWipeTopBottom},
    {"wipe_bt", drawWipeBottomTop},
    {"wipe_diagonal", drawWipeDiagonal},
    {"wipe_box", drawWipeBox},
    {"wipe_circle", drawWipeCircle},
    {"slide_lr", drawSlideLeftRight},
    {"slide_rl", drawSlideRightLeft},
    {"slide_tb", drawSlideTopBottom},
    {"slide_bt", drawSlideBottomTop},
    {"squeeze_lr", drawSqueezeLeftRight},
    {"squeeze_rl", drawSqueezeRightLeft},
    {"squeeze_tb", drawSqueezeTopBottom},
    {"squeeze_bt", drawSqueezeBottomTop},
}};

bool isPlanar420(const AVFrame& picture) {
    const bool hasPlanes = picture.data[0] != nullptr && picture.data[1] != nullptr &&
                           picture.data[2] != nullptr && picture.width > 0 && picture.height > 0;
    return hasPlanes &&
           (picture.format == AV_PIX_FMT_YUV420P || picture.format == AV_PIX_FMT_YUVJ420P);
}

bool haveOneSize(const AVFrame& one, const AVFrame& other) {
    return one.width == other.width && one.height == other.height;
}

TransitionPlane planeOf(int index, const DipColor& dip, const AVFrame& a, const AVFrame& b,
                        AVFrame& out) {
    const int divisor = index == 0 ? 1 : 2;
    const std::array<std::uint8_t, 3> levels{dip.y, dip.u, dip.v};
    return {{a.data[index], a.linesize[index]},
            {b.data[index], b.linesize[index]},
            {out.data[index], out.linesize[index]},
            (out.width + divisor - 1) / divisor,
            (out.height + divisor - 1) / divisor,
            out.width,
            out.height,
            divisor,
            levels[static_cast<std::size_t>(index)]};
}

// The comparison also fails for NaN.
float clampedPosition(float position) {
    return position > 0.0F ? std::min(position, 1.0F) : 0.0F;
}

} // namespace

DipColor dipColorOf(const std::string& parameter) {
    const std::string digits = parameter.starts_with('#') ? parameter.substr(1) : parameter;
    // The parser takes a pair of which only the first is a digit; here that is no colour.
    const bool isHexadecimal =
        digits.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
    const auto rgb = isHexadecimal ? parseColor('#' + digits) : std::nullopt;
    const YuvLevels levels = rgb ? toYuvTruncated(*rgb) : YuvLevels{0, 128, 128};
    return {levels.y, levels.u, levels.v};
}

bool drawTransition(const std::string& type, float position, const DipColor& dip, const AVFrame& a,
                    const AVFrame& b, AVFrame& out) {
    const auto* const known = std::find_if(transitionTypes.begin(), transitionTypes.end(),
                                           [&](const TransitionType& t) { return t.name == type; });
    if (known == transitionTypes.end()) return false;
    if (!isPlanar420(a) || !isPlanar420(b) || !isPlanar420(out)) return false;
    if (!haveOneSize(a, out) || !haveOneSize(b, out)) return false;
    const float p = clampedPosition(position);
    for (int index = 0; index < 3; ++index)
        known->draw(planeOf(index, dip, a, b, out), p);
    return true;
}

} // namespace quol

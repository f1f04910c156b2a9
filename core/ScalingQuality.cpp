#include "core/ScalingQuality.h"

extern "C" {
#include <libswscale/swscale.h>
}

namespace quol {

int scalerFlags(int quality, LanczosNumber lanczos) {
    if (quality == 1) return SWS_POINT;
    if (quality == 2) return SWS_BILINEAR;
    return quality == static_cast<int>(lanczos) ? SWS_LANCZOS : SWS_BICUBIC;
}

} // namespace quol

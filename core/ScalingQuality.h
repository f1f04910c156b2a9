// What a host's "scaling_quality" asks of the scaler.
#pragma once

namespace quol {

// The number that means Lanczos, which is not the same for all classes.
enum class LanczosNumber { three = 3, four = 4 };

// Flags of a scaler: SWS_POINT for 1, SWS_BILINEAR for 2, SWS_LANCZOS for that number, SWS_BICUBIC
// for any other.
int scalerFlags(int quality, LanczosNumber lanczos);

} // namespace quol

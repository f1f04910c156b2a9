// The card that stands in while a card's connector has no signal.
#pragma once

#include "core/Handles.h"

namespace quol {

// Dimmed colour bars with "NO SIGNAL" on a dark band, AV_PIX_FMT_UYVY422 at the size given. Null
// for a size that no picture can have, and when memory is short. A height below 6 has no band.
FramePtr drawNoSignalCard(int width, int height);

} // namespace quol

#include "platform/vtp/CodingBudget.h"

#include <algorithm>
#include <cmath>

namespace quol::vtp {

bool CodingBudget::takesNext() {
    if (overdrawn_ < bytes_) return true;
    overdrawn_ -= bytes_;
    return false;
}

bool CodingBudget::accepts(std::size_t size) {
    if (size > bytes_ && quantizer_ < coarsest) {
        fit(size);
        return false;
    }
    tries_ = 0;
    const std::size_t used = overdrawn_ + size;
    overdrawn_ = used > bytes_ ? used - bytes_ : 0;
    refine(size);
    return true;
}

// Aimed at nine tenths. Of most pictures the size falls as the scale rises, of pure noise only as
// its square root: first the one is tried, then the other.
void CodingBudget::fit(std::size_t size) {
    const double excess = static_cast<double>(size) / (0.9 * static_cast<double>(bytes_));
    double wanted = coarsest;
    if (tries_ == 0) wanted = quantizer_ * excess;
    if (tries_ == 1) wanted = quantizer_ * excess * excess;
    ++tries_;
    quantizer_ = static_cast<int>(
        std::clamp(std::ceil(wanted), quantizer_ + 1.0, static_cast<double>(coarsest)));
    calm_ = 0;
}

// The next finer step is thought to take as much more as the scale falls, with a fifth to spare. A
// picture of which it takes more yet is coded again.
void CodingBudget::refine(std::size_t size) {
    const double finer = static_cast<double>(size) * quantizer_ / std::max(quantizer_ - 1, 1);
    const bool hasRoom = quantizer_ > finest && finer <= 0.8 * static_cast<double>(bytes_);
    calm_ = hasRoom ? calm_ + 1 : 0;
    if (calm_ < patience) return;
    --quantizer_;
    calm_ = 0;
}

} // namespace quol::vtp

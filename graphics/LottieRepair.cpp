#include "graphics/LottieRepair.h"

#include <algorithm>

namespace quol {

void LottieRepair::emptyLayer(std::size_t type) {
    constexpr char withoutContent = '3';
    const std::size_t at = tree_[type].at;
    text_[at] = withoutContent;
    for (std::size_t next = at + 1; next < text_.size() && isOfNumber(text_[next]); ++next)
        text_[next] = ' ';
}

void LottieRepair::erase(std::size_t list) {
    const std::size_t begin = tree_[list].keyAt - 1;
    const std::size_t end = text_.find(']', begin);
    std::fill(text_.begin() + static_cast<std::ptrdiff_t>(begin),
              text_.begin() + static_cast<std::ptrdiff_t>(end) + 1, ' ');
}

} // namespace quol

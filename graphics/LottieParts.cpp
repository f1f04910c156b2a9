#include "graphics/LottieParts.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "graphics/LottieLimits.h"

namespace quol {

using std::size_t;

void LottieParts::addAsset(size_t asset) {
    const size_t id = tree_.member(asset, "id");
    if (id != 0) assets_.emplace(name(id), asset);
}

std::string LottieParts::name(size_t id) const {
    return tree_[id].kind == LottieKind::text
               ? std::string(tree_.text(id))
               : std::to_string(static_cast<long long>(tree_[id].number));
}

bool LottieParts::end() {
    for (const Reference& each : references_) {
        const size_t id = tree_.member(each.layer, "refId");
        const size_t typeAt = tree_.member(each.layer, "ty");
        const bool isPart = tree_[typeAt].number == 0.0;
        const auto [first, last] =
            id == 0 ? std::pair(assets_.cend(), assets_.cend())
                    : std::as_const(assets_).equal_range(std::string(tree_.text(id)));
        bool fits = first != last;
        for (auto found = first; found != last; ++found) {
            const std::string_view needed = isPart ? "layers" : "p";
            fits = fits && tree_.member(found->second, needed) != 0 &&
                   (isPart || tree_.member(found->second, "layers") == 0);
        }
        if (!fits) repair_.emptyLayer(typeAt);
        if (!fits || !isPart) continue;
        for (auto found = first; found != last; ++found)
            parts_[each.owner].push_back(found->second);
    }
    const Total all = total(0, 0);
    return all.objects <= maxLottieObjects && all.height <= maxLottieParts;
}

// More than is allowed for one that contains itself.
LottieParts::Total LottieParts::total(size_t owner, int depth) {
    constexpr Total tooMuch = {maxLottieObjects * 2.0, maxLottieParts + 1};
    if (depth > maxLottieParts) return tooMuch;
    const auto known = totals_.find(owner);
    if (known != totals_.end()) return known->second;
    totals_[owner] = tooMuch; // until it is known: what contains itself comes back here
    Total total = {objects_[owner], 0};
    for (const size_t each : parts_[owner]) {
        const Total inner = this->total(each, depth + 1);
        total.objects = std::min(total.objects + inner.objects, tooMuch.objects);
        total.height = std::max(total.height, inner.height + 1);
    }
    return totals_[owner] = total;
}

} // namespace quol

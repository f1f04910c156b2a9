#include "support/SteppedSwitcher.h"

#include <thread>

namespace test {

std::ostream& operator<<(std::ostream& out, const Level& level) {
    return out << '(' << level.left << ", " << level.right << ')';
}

std::optional<Level> steadyLevel(const std::vector<std::int16_t>& samples) {
    if (samples.empty()) return std::nullopt;
    for (std::size_t i = 2; i < samples.size(); ++i) {
        if (samples[i] != samples[i - 2]) return std::nullopt;
    }
    return Level{samples[0], samples[1]};
}

int pairsAhead(const std::vector<std::int16_t>& samples, Level level) {
    std::size_t i = 0;
    while (i < samples.size() && samples[i] == level.left && samples[i + 1] == level.right)
        i += 2;
    const int pairs = static_cast<int>(i / 2);
    for (; i < samples.size(); ++i) {
        if (samples[i] != 0) return -1;
    }
    return pairs;
}

} // namespace test

#include "graphics/LottieLinks.h"

#include <utility>

namespace quol {

// From each that is linked, along its links: one that is met again on the way is in a loop.
bool LottieLinks::hasLoop() const {
    enum class State { unseen, open, done };
    std::unordered_map<long long, State> states;
    std::vector<std::pair<long long, std::size_t>> way;
    for (const auto& [start, links] : next_) {
        if (states[start] == State::done) continue;
        way.assign(1, {start, 0});
        states[start] = State::open;
        while (!way.empty()) {
            auto& [at, done] = way.back();
            const auto found = next_.find(at);
            if (found == next_.end() || done == found->second.size()) {
                states[at] = State::done;
                way.pop_back();
                continue;
            }
            const long long to = found->second[done++];
            State& state = states[to];
            if (state == State::open) return true;
            if (state == State::done) continue;
            state = State::open;
            way.emplace_back(to, 0);
        }
    }
    return false;
}

} // namespace quol

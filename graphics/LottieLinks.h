// Links between layers of one list, by their numbers.
#pragma once

#include <cstddef>
#include <unordered_map>
#include <vector>

namespace quol {

class LottieLinks {
public:
    void add(double from, double to) {
        next_[static_cast<long long>(from)].push_back(static_cast<long long>(to));
    }
    bool hasLoop() const;

private:
    std::unordered_map<long long, std::vector<long long>> next_;
};

} // namespace quol

// The consumers that pull from a compositor.
#pragma once

#include <atomic>

namespace quol {

// Takes one consumer off the count, which never goes below 0. True when it was the last.
inline bool takeOffLast(std::atomic<int>& count) {
    int consumers = count;
    do {
        if (consumers <= 0) return false;
    } while (!count.compare_exchange_weak(consumers, consumers - 1));
    return consumers == 1;
}

} // namespace quol

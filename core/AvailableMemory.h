// How much memory there is left, and keeping within it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace quol {

// Bytes that this process may still take before the kernel begins to kill: what the machine has
// left, or less where a control group around the process has a limit. Memory that the kernel can
// take back from its file cache counts as left. The largest number where nothing tells. `root`
// stands before /proc and /sys.
std::uint64_t availableMemory(const std::string& root = {});

// What one piece of work may take: memory is promised before it is used, so an allocation does not
// fail; the process is killed later, on air. A quarter of what is available at the start, 64 MiB at
// least, is left to everything else. One thread at a time.
class MemoryBudget {
public:
    using Available = std::function<std::uint64_t()>;

    explicit MemoryBudget(Available available = [] { return availableMemory(); });

    // Whether so many bytes more may be taken; they count as taken then. What was granted before
    // should be in use by now: pages never written to are still available.
    bool take(std::uint64_t bytes);

    // Bytes that can be taken as things stand.
    std::uint64_t left() const;

private:
    Available available_;
    std::uint64_t reserve_;
    std::uint64_t granted_ = 0; // found available and not taken yet
};

} // namespace quol

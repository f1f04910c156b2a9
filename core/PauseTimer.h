// The pauses of a player.
#pragma once

#include <cstdint>

namespace quol {

// How long a pause has lasted, and when it ends by itself. Times are steady nanoseconds. Not
// locked: the owner's mutex guards it.
class PauseTimer {
public:
    // The time that does not count begins now; also where a player sets its clock while it pauses.
    void begin(std::int64_t now) { start_ = now; }

    // The pause ends by itself that many milliseconds from now. 0 and below change nothing.
    void endAfter(double delayMs, std::int64_t now);

    // Nothing ends by itself any more.
    void cancel() { timed_ = false; }

    // Whether a pause that ends by itself has come to its end.
    bool isOver(std::int64_t now) const { return timed_ && now >= end_; }

    std::int64_t lasted(std::int64_t now) const { return now - start_; }

private:
    std::int64_t start_ = 0;
    std::int64_t end_ = 0;
    bool timed_ = false;
};

} // namespace quol

// When the pictures of a live stream are due.
#pragma once

#include <cstdint>
#include <optional>

namespace quol {

// The first picture is due when it comes, the others by the distance of their time stamps from its
// own. Times of the clock are steady nanoseconds. Not locked: the owner's mutex guards it.
class StreamPacing {
public:
    // A stream begins: its first picture is yet to come.
    void restart(std::int64_t now) {
        clockStart_ = now;
        firstPts_.reset();
    }

    // The first picture counts as having been due now.
    void anchor(std::int64_t now) { clockStart_ = now; }

    // That many nanoseconds do not count.
    void skip(std::int64_t nanoseconds) { clockStart_ += nanoseconds; }

    // Nanoseconds until a picture of that time stamp, in seconds, is due; 0 for one that is late.
    // One that is early by two seconds or more is due now: the time stamps have jumped, and the
    // clock goes on from there.
    std::int64_t waitFor(double seconds, std::int64_t now);

private:
    std::int64_t clockStart_ = 0;
    std::optional<double> firstPts_; // seconds
};

} // namespace quol

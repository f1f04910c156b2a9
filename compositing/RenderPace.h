// When each picture of a compositor that runs by its own clock is due.
#pragma once

#include <cstdint>

namespace quol {

// Picture n is due n / fps after the start. No picture is ever left out: a compositor that is late
// makes pictures without a pause until it has caught up. Times are of the steady clock, in
// nanoseconds; nothing here reads it.
class RenderPace {
public:
    explicit RenderPace(std::int64_t start) : start_(static_cast<double>(start)) {}

    // Nanoseconds from `now` until picture `index` is due, 0 and below when it is. Another rate
    // counts from the picture on that is asked about: those before keep the times they had.
    std::int64_t untilDue(std::int64_t index, double fps, std::int64_t now);

    // Whether a wait of that length is to be slept: at most a second, or one picture at a rate
    // below one a second.
    static bool isSleepable(std::int64_t nanoseconds, double fps);

    // Picture `index` is due now, and the others by it. After a consumer has pulled pictures faster
    // than the clock, which thereby lies far ahead, the clock goes on from where it is.
    void restart(std::int64_t index, double fps, std::int64_t now);

private:
    double start_; // nanoseconds; when picture 0 would have been due at the rate in use
    double fps_ = 0.0;
};

// The rate a format asks for, from one picture in a thousand seconds to a million a second; 50
// where it names none.
double rateOrDefault(double fps);

} // namespace quol

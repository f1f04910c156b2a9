// Whether the machine was there while something was held against the clock.
#pragma once

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

namespace test {

// A virtual machine is not always there: its host gives the processors to others, for seconds at
// times, and nothing that is ready runs meanwhile. On each processor a thread sleeps for some
// milliseconds, again and again, and notes how much later than that it woke. A thread that is ready
// is let in beside busy ones within some milliseconds, whatever the test's own load.
class MachineWatch {
public:
    MachineWatch() = default;
    ~MachineWatch() { end(); }
    MachineWatch(const MachineWatch&) = delete;
    MachineWatch& operator=(const MachineWatch&) = delete;

    // From now on, with threads: not before processes are copied.
    void begin();
    void end();

    // The longest time, in seconds, that one of the processors was away; 0 before `begin`.
    double longest() const { return longest_; }
    // How much too late, in seconds and at worst, a thread woke that may run on any of them. What
    // comes late because of it, or not at all, is not the library's doing.
    double lateness() const { return lateness_; }

private:
    void watch(std::atomic<double>& worst) const;

    std::vector<std::thread> threads_;
    std::atomic<bool> ending_ = false;
    std::atomic<double> longest_ = 0.0;
    std::atomic<double> lateness_ = 0.0;
};

inline constexpr int mostMeasurements = 4;
inline constexpr double awayForLong = 0.1; // seconds

// Runs a measurement with the test's expectations in it. One that misses them while the machine was
// away for `away` seconds or more at a time measured something else, and is made again, up to
// `mostMeasurements` in all; the last one counts, whatever it is. One that misses them on a machine
// that was there counts at once. The measurement begins from the beginning each time, and tells the
// watch when; without that the machine counts as there.
void measured(const std::function<void(MachineWatch&)>& measurement, double away = awayForLong);

} // namespace test

// What a run comes to.
#pragma once

#include <string>
#include <vector>

#include "soak/CallTimes.h"
#include "soak/LogWatch.h"
#include "soak/ProcessState.h"
#include "soak/Sampler.h"

namespace soak {

// The process with the graph at rest: the same objects, files and settings every time.
struct Rest {
    double seconds = 0.0;
    ProcessState state;
};

// A straight line through the rests of the last two thirds of a run.
struct Growth {
    int rests = 0;
    double perHour = 0.0;     // MB
    double uncertainty = 0.0; // standard error of it
};
Growth growthOf(const std::vector<Rest>& rests, double ProcessState::*value);

struct Outcome {
    std::uint64_t seed = 0;
    double seconds = 0.0; // of the script
    int operations = 0;
    ProcessState before; // with everything destroyed, ahead of the run
    ProcessState after;  // and behind it
    std::vector<Rest> rests;
    Totals totals;
    std::vector<std::string> faults;

    bool isMeasured() const; // long enough, and not slowed down: memory and clock say something
    bool isCrowded() const;  // processors were short for much of the time
};

// Writes `report.txt`, tells it, and says whether all is as it has to be.
bool report(const std::string& folder, const Outcome& outcome, CallTimes& calls, LogWatch& log);

} // namespace soak

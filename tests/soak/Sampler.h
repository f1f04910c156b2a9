// Looks at the process once a second, and keeps what it saw in files.
#pragma once

#include <atomic>
#include <cstdint>
#include <fstream>
#include <string>
#include <thread>

#include "soak/CallTimes.h"
#include "soak/LogWatch.h"
#include "soak/ProcessState.h"
#include "soak/ProgrammeWatch.h"

namespace soak {

// Of the whole time that was counted.
struct Totals {
    ProgrammeCount programme;
    std::int64_t toneGaps = 0;
    double seconds = 0.0;
    double cpuSeconds = 0.0;
    double otherSeconds = 0.0; // of other processes
    double crowdedSeconds = 0.0;
    double stolenSeconds = 0.0; // of processors
    double highestLoad = 0.0;
    double highestResident = 0.0; // MB
};

// Runs on a thread of its own from construction to `end`. It ends the process when a call of the
// script does not come back: then something waits for ever.
class Sampler {
public:
    Sampler(const std::string& folder, std::int64_t startNanos, CallTimes& calls, LogWatch& log,
            ProgrammeWatch& programme, ToneWatch& tone);
    ~Sampler() { end(); }
    Sampler(const Sampler&) = delete;
    Sampler& operator=(const Sampler&) = delete;

    void operationDone() { ++operations_; }
    Totals end();

private:
    void sampleLoop();
    void sample(double seconds);
    void tellCalls(double seconds);
    void lookForHang();

    const std::int64_t startNanos_;
    CallTimes& calls_;
    LogWatch& log_;
    ProgrammeWatch& programme_;
    ToneWatch& tone_;

    std::ofstream samples_;
    std::ofstream callFile_;
    ProcessState before_; // the thread's own, as all up to the totals
    double sampledAt_ = 0.0;
    int samplesTaken_ = 0;
    Totals totals_;
    std::atomic<int> operations_{0};
    std::atomic<bool> ending_{false};
    std::thread thread_;
};

} // namespace soak

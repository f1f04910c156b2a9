// What the system knows of this process and of the machine around it.
#pragma once

#include <cstdint>

namespace soak {

struct ProcessState {
    double residentMb = 0.0;
    // Asked for and not given back, by the C library's count or a sanitizer's; 0 where neither
    // tells.
    double heapMb = 0.0;
    int threads = 0;
    int descriptors = 0;
    double cpuSeconds = 0.0;     // of all threads since the start, the system's part included
    double machineSeconds = 0.0; // the same of all that runs on the machine, since it was started
    // Of processors, since then, in which somebody else's machine on the same computer ran in place
    // of this one.
    double stolenSeconds = 0.0;
    double load = 0.0; // average of the last minute
    // Seconds, since the machine was started, in which something that was ready to run had to wait
    // for a processor. 0 where the system does not tell.
    double crowdedSeconds = 0.0;
};

ProcessState processState();
double stolenSeconds(); // that alone, which is quick

} // namespace soak

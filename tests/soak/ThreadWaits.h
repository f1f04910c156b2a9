// How long threads wait for a processor, while they are ready to run.
#pragma once

#include <map>

namespace soak {

// Of the threads of this process that give way to nobody, which are those that make what is on air.
// For one thread.
class ThreadWaits {
public:
    ThreadWaits();
    // Seconds, since the last question, that the one of them has waited that waited longest. 0
    // where the system does not tell.
    double longest();

private:
    const int ordinary_;           // the nice value of those that give way to nobody
    std::map<int, double> waited_; // seconds in all, by the thread's number
};

} // namespace soak

// A recursive mutex that serves its callers in the order they came.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

namespace quol {

// For state that a worker locks anew for every picture: with a plain mutex a worker that is late,
// and so never sleeps, would keep a host's call out for seconds. Meets Lockable.
class FairMutex {
public:
    void lock();
    void unlock();

private:
    std::mutex mutex_; // guards all below; held for a moment only
    std::condition_variable turn_;
    std::thread::id owner_;
    int depth_ = 0;
    std::uint64_t nextTicket_ = 0;
    std::uint64_t serving_ = 0; // the ticket that may lock
};

} // namespace quol

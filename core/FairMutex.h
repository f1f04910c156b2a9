// A recursive mutex that serves its callers in the order they came.
#pragma once

#include <condition_variable>
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
    // On the stack of a thread that waits. Each has a condition of its own: one for all would wake
    // all of them for each that is served.
    struct Waiter {
        std::condition_variable turn;
        std::thread::id thread;
        bool isServed = false;
        Waiter* next = nullptr;
    };

    std::mutex mutex_; // guards all below; held for a moment only
    std::thread::id owner_;
    int depth_ = 0;
    Waiter* first_ = nullptr; // the one to be served next
    Waiter* last_ = nullptr;
};

} // namespace quol

// A thread for calls that must all be made on one and the same.
#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>

namespace quol {

// The thread starts at once, sleeps between calls and is joined at the end. Any thread may call;
// the owner sees to it that there is one call at a time, and none from inside another.
class CallThread {
public:
    // Throws std::system_error where there is no thread to be had.
    CallThread() : thread_([this] { makeCalls(); }) {}
    CallThread(const CallThread&) = delete;
    CallThread& operator=(const CallThread&) = delete;
    ~CallThread();

    // Returns when the function has; what it throws is thrown here.
    void call(const std::function<void()>& function);

private:
    void makeCalls();

    std::mutex mutex_; // guards all below but the thread
    std::condition_variable changed_;
    const std::function<void()>* next_ = nullptr; // until it has been called
    std::exception_ptr thrown_;                   // by the latest
    bool ending_ = false;
    std::thread thread_; // the last: it uses all above
};

} // namespace quol

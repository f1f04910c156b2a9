#include "core/CallThread.h"

#include <utility>

namespace quol {

CallThread::~CallThread() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void CallThread::call(const std::function<void()>& function) {
    std::unique_lock lock(mutex_);
    next_ = &function;
    changed_.notify_all();
    changed_.wait(lock, [this] { return next_ == nullptr; });
    if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
}

// The caller waits, so that the lock may be held meanwhile.
void CallThread::makeCalls() {
    std::unique_lock lock(mutex_);
    while (true) {
        changed_.wait(lock, [this] { return next_ != nullptr || ending_; });
        if (next_ == nullptr) return;
        try {
            (*next_)();
        } catch (...) {
            thrown_ = std::current_exception();
        }
        next_ = nullptr;
        changed_.notify_all();
    }
}

} // namespace quol

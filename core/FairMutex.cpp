#include "core/FairMutex.h"

namespace quol {

void FairMutex::lock() {
    std::unique_lock lock(mutex_);
    const std::thread::id self = std::this_thread::get_id();
    if (depth_ > 0 && owner_ == self) {
        ++depth_;
        return;
    }
    if (depth_ == 0) {
        owner_ = self;
        depth_ = 1;
        return;
    }
    Waiter waiter;
    waiter.thread = self;
    (last_ != nullptr ? last_->next : first_) = &waiter;
    last_ = &waiter;
    waiter.turn.wait(lock, [&] { return waiter.isServed; });
}

// Hands the lock over: nobody gets in between.
void FairMutex::unlock() {
    const std::lock_guard lock(mutex_);
    if (--depth_ > 0) return;
    owner_ = {};
    if (first_ == nullptr) return;
    Waiter& next = *first_;
    first_ = next.next;
    if (first_ == nullptr) last_ = nullptr;
    owner_ = next.thread;
    depth_ = 1;
    next.isServed = true;
    next.turn.notify_one(); // under the lock: the waiter's memory is its stack
}

} // namespace quol

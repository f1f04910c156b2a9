#include "core/FairMutex.h"

namespace quol {

void FairMutex::lock() {
    std::unique_lock lock(mutex_);
    const std::thread::id self = std::this_thread::get_id();
    if (depth_ > 0 && owner_ == self) {
        ++depth_;
        return;
    }
    const std::uint64_t ticket = nextTicket_++;
    turn_.wait(lock, [&] { return serving_ == ticket; });
    owner_ = self;
    depth_ = 1;
}

void FairMutex::unlock() {
    const std::lock_guard lock(mutex_);
    if (--depth_ > 0) return;
    owner_ = {};
    ++serving_;
    if (serving_ != nextTicket_) turn_.notify_all();
}

} // namespace quol

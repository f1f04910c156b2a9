#include "core/WorkerTeam.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace quol {

WorkerTeam::~WorkerTeam() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
        started_.notify_all();
    }
    for (std::thread& thread : threads_)
        thread.join();
}

int WorkerTeam::usualHelpers() {
    constexpr int most = 3;
    return std::clamp(static_cast<int>(std::thread::hardware_concurrency()) - 1, 0, most);
}

// Without another thread to be had, those there are will do.
void WorkerTeam::startThreads() {
    if (isStarted_) return;
    isStarted_ = true;
    try {
        while (static_cast<int>(threads_.size()) < helpers_)
            threads_.emplace_back(&WorkerTeam::help, this);
    } catch (const std::system_error&) {
    }
}

void WorkerTeam::runParts(int count, PartCall part) {
    if (count <= 1 || helpers_ < 1) {
        for (int i = 0; i < count; ++i)
            part(i);
        return;
    }
    startThreads();
    std::unique_lock lock(mutex_);
    part_ = part;
    next_ = 0;
    count_ = count;
    unfinished_ = count;
    started_.notify_all();
    while (next_ < count_)
        doNext(lock, part);
    finished_.wait(lock, [this] { return unfinished_ == 0; });
    if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
}

// Takes the next part and does it, outside the lock. What it throws must wait: the job stands on
// the caller's stack while others are at it.
void WorkerTeam::doNext(std::unique_lock<std::mutex>& lock, PartCall part) {
    const int mine = next_++;
    lock.unlock();
    std::exception_ptr thrown;
    try {
        part(mine);
    } catch (...) {
        thrown = std::current_exception();
    }
    lock.lock();
    --unfinished_;
    if (!thrown) return;
    if (!thrown_) thrown_ = std::move(thrown);
    unfinished_ -= count_ - next_; // nobody begins the rest
    next_ = count_;
}

void WorkerTeam::help() {
    std::unique_lock lock(mutex_);
    while (true) {
        started_.wait(lock, [this] { return ending_ || next_ < count_; });
        if (ending_) return;
        doNext(lock, part_);
        if (unfinished_ == 0) finished_.notify_one();
    }
}

} // namespace quol

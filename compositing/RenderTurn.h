// Whose turn it is to render a compositor's picture.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace quol {

// One thread at a time. One that only asks gives up after a while, so that compositors that show
// each other do not wait for ever, and gives up at once where it renders already itself. Meets
// Lockable.
class RenderTurn {
public:
    void lock() {
        std::unique_lock lock(mutex_);
        free_.wait(lock, [this] { return owner_ == std::thread::id(); });
        owner_ = std::this_thread::get_id();
    }

    // False when it does not come within that time.
    bool try_lock_for(std::chrono::milliseconds limit) {
        std::unique_lock lock(mutex_);
        if (owner_ == std::this_thread::get_id()) return false;
        if (!free_.wait_for(lock, limit, [this] { return owner_ == std::thread::id(); }))
            return false;
        owner_ = std::this_thread::get_id();
        return true;
    }

    void unlock() {
        {
            const std::lock_guard lock(mutex_);
            owner_ = {};
        }
        free_.notify_one();
    }

private:
    std::mutex mutex_; // guards `owner_`
    std::condition_variable free_;
    std::thread::id owner_; // none while it is nobody's turn
};

} // namespace quol

#include "outputs/EncoderQueue.h"

#include <chrono>
#include <utility>

#include "core/HadMemory.h"

namespace quol {

namespace {

constexpr auto longestWait = std::chrono::milliseconds(10);

} // namespace

void EncoderQueue::push(const AVFrame& frame, std::int64_t elapsed,
                        const std::atomic<bool>& refusing) {
    QueuedPicture picture{cloneFrame(&frame), elapsed};
    if (!picture.frame) return countLost();
    {
        const std::lock_guard lock(mutex_);
        if (refusing) return;
        if (queue_.size() >= limit_) {
            ++dropped_;
            return;
        }
        if (!hadMemory([&] { queue_.push_back(std::move(picture)); })) {
            ++dropped_;
            return;
        }
    }
    filled_.notify_one();
}

bool EncoderQueue::take(QueuedPicture& picture, const std::atomic<bool>& running) {
    std::unique_lock lock(mutex_);
    filled_.wait_for(lock, longestWait, [&] { return !queue_.empty() || !running; });
    if (queue_.empty()) return false;
    picture = std::move(queue_.front());
    queue_.pop_front();
    return true;
}

// One by one: a second queue would take memory, and a recording ends with this.
void EncoderQueue::clear() {
    for (std::size_t left = size(); left > 0; --left) {
        QueuedPicture dropped; // goes when the lock has gone
        const std::lock_guard lock(mutex_);
        if (queue_.empty()) return;
        dropped = std::move(queue_.front());
        queue_.pop_front();
    }
}

void EncoderQueue::end(std::atomic<bool>& running) {
    {
        const std::lock_guard lock(mutex_);
        running = false;
    }
    filled_.notify_all();
}

std::size_t EncoderQueue::size() const {
    const std::lock_guard lock(mutex_);
    return queue_.size();
}

} // namespace quol

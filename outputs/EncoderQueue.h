// Pictures on their way from a source's thread to an encoding thread.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>

#include "core/Handles.h"

namespace quol {

// A picture that waits, and when it came: microseconds since the encoding began.
struct QueuedPicture {
    FramePtr frame;
    std::int64_t elapsed = 0;
};

// Bounded: what comes when it is full is dropped and counted. `push`, `clear`, `end` and the
// numbers from any thread; `take` from the encoding thread.
class EncoderQueue {
public:
    explicit EncoderQueue(std::size_t limit) : limit_(limit) {}

    // Keeps a reference to the picture, but not while `refusing`: whoever sets that and then clears
    // leaves nothing behind, whatever is on its way here.
    void push(const AVFrame& frame, std::int64_t elapsed, const std::atomic<bool>& refusing);

    // The oldest picture. Waits a little for one while `running`; false without one.
    bool take(QueuedPicture& picture, const std::atomic<bool>& running);

    // A picture that was taken came to nothing.
    void countLost() { ++dropped_; }

    // Drops the pictures that wait, uncounted.
    void clear();

    // Clears `running`, and wakes who waits meanwhile.
    void end(std::atomic<bool>& running);

    // Counts from 0.
    void restart() { dropped_ = 0; }
    std::int64_t dropped() const { return dropped_; }
    std::size_t size() const;

private:
    const std::size_t limit_;
    mutable std::mutex mutex_;
    std::condition_variable filled_;
    std::deque<QueuedPicture> queue_; // guarded by `mutex_`
    std::atomic<std::int64_t> dropped_{0};
};

} // namespace quol

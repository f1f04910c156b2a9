// How long a network may take.
#pragma once

#include <atomic>
#include <cstdint>
#include <limits>

extern "C" {
#include <libavformat/avio.h>
}

namespace quol {

// Says when waiting for the other side has to end, through the callback by which FFmpeg asks. Times
// are steady nanoseconds, lengths of time nanoseconds.
class StreamGuard {
public:
    AVIOInterruptCB callback() { return {&StreamGuard::ask, this}; }

    // Host threads, one at a time but for the next two: the address is being reached, for so long
    // at the most; it was; what is left has to be sent within so long.
    void starts(std::int64_t longest);
    void started();
    void finishes(std::int64_t longest);
    // Any host thread, in pairs: meanwhile no address is reached.
    void holdOff() { ++held_; }
    void letGo() { --held_; }

    // The sending thread: the next packet may take so long; nothing goes out any more.
    void sends(std::int64_t longest);
    void givesUp() { sendBy_ = 0; }

    bool expired() const;

private:
    static int ask(void* guard) { return static_cast<StreamGuard*>(guard)->expired() ? 1 : 0; }
    static constexpr std::int64_t never = std::numeric_limits<std::int64_t>::max();

    std::atomic<bool> starting_{false};
    std::atomic<int> held_{0};
    std::atomic<std::int64_t> sendBy_{never};   // 0: given up
    std::atomic<std::int64_t> finishBy_{never}; // and every one before
};

} // namespace quol

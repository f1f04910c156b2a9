// File descriptors with an owner, all closed when the process starts another program.
#pragma once

#include <poll.h>

#include <span>
#include <utility>

namespace quol::vtp {

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor();

    int get() const { return number_; }
    explicit operator bool() const { return number_ >= 0; }
    void reset() { const Descriptor closed(std::move(*this)); }

private:
    int number_ = -1;
};

// Wakes a thread that waits in poll or epoll. Any thread calls `wake`, the one that waits `clear`.
class Wakeup {
public:
    Wakeup();

    int get() const { return event_.get(); }
    explicit operator bool() const { return static_cast<bool>(event_); }
    void wake();
    void clear();

private:
    Descriptor event_;
};

// Waits as poll does, which fails where the system is short of memory or has lowered the limit of
// open files: then nothing is ready, and a short pause keeps those who ask again from being busy
// until it goes.
void pollAll(std::span<pollfd> waiting, int milliseconds);

} // namespace quol::vtp

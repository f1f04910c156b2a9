#include "platform/vtp/Descriptor.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <thread>

namespace quol::vtp {

Descriptor::~Descriptor() {
    if (number_ >= 0) close(number_);
}

Wakeup::Wakeup() : event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

// A counter that is full or empty already says what is to be said.
void Wakeup::wake() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t done = write(event_.get(), &one, sizeof one);
}

void Wakeup::clear() {
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t done = read(event_.get(), &count, sizeof count);
}

void pollAll(std::span<pollfd> waiting, int milliseconds) {
    constexpr std::chrono::milliseconds pause(20);
    if (poll(waiting.data(), waiting.size(), milliseconds) >= 0) return;
    const bool isInterrupted = errno == EINTR;
    for (pollfd& one : waiting)
        one.revents = 0;
    if (!isInterrupted) std::this_thread::sleep_for(pause);
}

} // namespace quol::vtp

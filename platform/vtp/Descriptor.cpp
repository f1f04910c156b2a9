#include "platform/vtp/Descriptor.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>

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

} // namespace quol::vtp

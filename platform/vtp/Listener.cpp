#include "platform/vtp/Listener.h"

#include <poll.h>

#include <array>
#include <new>
#include <optional>
#include <system_error>

#include "platform/vtp/Limits.h"
#include "platform/vtp/Network.h"

namespace quol::vtp {

namespace {

// What one turn of the thread reads at most from one socket, so that a flood does not keep it.
constexpr int datagramsATurn = 256;

} // namespace

void Listener::setNetwork(const vtp_network& network) {
    const std::lock_guard control(control_);
    network_ = network;
}

void Listener::start() {
    const std::lock_guard control(control_);
    if (thread_.joinable() || !wakeup_) return;
    loopback_ = listenForAnnouncements(nullptr);
    if (const std::optional<Interface> interface = findInterface(network_.interfaceName))
        interface_ = listenForAnnouncements(&*interface);
    {
        const std::lock_guard lock(mutex_);
        ending_ = false;
    }
    wakeup_.clear();
    try {
        thread_ = std::thread([this] { run(); });
    } catch (const std::system_error&) {
        // No thread to be had: nobody is heard of.
    } catch (const std::bad_alloc&) {
    }
}

void Listener::stop() {
    const std::lock_guard control(control_);
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
        table_.clear();
    }
    wakeup_.wake();
    if (thread_.joinable()) thread_.join();
    const std::lock_guard lock(mutex_);
    table_.clear();
    loopback_.reset();
    interface_.reset();
}

std::vector<vtp_source_record> Listener::sources(std::size_t maximum) {
    const std::lock_guard lock(mutex_);
    table_.forget(Clock::now());
    return table_.records(maximum);
}

void Listener::run() {
    // A descriptor below zero is passed over.
    std::array<pollfd, 3> waiting{
        {{wakeup_.get(), POLLIN, 0}, {loopback_.get(), POLLIN, 0}, {interface_.get(), POLLIN, 0}}};
    while (true) {
        pollAll(waiting, -1);
        {
            const std::lock_guard lock(mutex_);
            if (ending_) return;
        }
        if (waiting[1].revents != 0) hearAll(loopback_, false);
        if (waiting[2].revents != 0) hearAll(interface_, true);
    }
}

void Listener::hearAll(const Descriptor& socket, bool isInterface) {
    std::array<std::uint8_t, maxAnnouncementBytes + 1> room{};
    for (int i = 0; i < datagramsATurn; ++i) {
        Address from = 0;
        const std::optional<std::size_t> size = receiveDatagram(socket, room, from);
        if (!size) return;
        if (!mayComeThrough(from, isInterface)) continue;
        try {
            hear({room.data(), *size}, from);
        } catch (const std::bad_alloc&) {
            // Said again soon.
        }
    }
}

void Listener::hear(std::span<const std::uint8_t> datagram, Address from) {
    const auto announcement = readAnnouncement(datagram);
    if (!announcement) return;
    const std::lock_guard lock(mutex_);
    const Clock::time_point now = Clock::now();
    table_.forget(now);
    table_.hear(*announcement, from, now);
}

} // namespace quol::vtp

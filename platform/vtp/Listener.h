// Hears the announcements of senders.
#pragma once

#include <cstdint>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

#include "platform/vtp/Descriptor.h"
#include "platform/vtp/SourceTable.h"
#include "platform/vtp/vtp.h"

namespace quol::vtp {

// One thread from `start` to `stop`. Any thread may call at any time; starts and stops wait for
// each other.
class Listener {
public:
    Listener() = default;
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    ~Listener() { stop(); }

    void setNetwork(const vtp_network& network);
    void start();
    void stop();
    std::vector<vtp_source_record> sources(std::size_t maximum = maxSources);

private:
    void run();
    void hearAll(const Descriptor& socket, bool isInterface);
    void hear(std::span<const std::uint8_t> datagram, Address from);

    std::mutex control_;  // held over a start or a stop; guards the four below between them
    vtp_network network_; // control_
    std::thread thread_;
    Descriptor loopback_; // the thread's while it runs
    Descriptor interface_;
    Wakeup wakeup_; // wakes the thread to end

    std::mutex mutex_; // guards the two below
    SourceTable table_;
    bool ending_ = false; // written by stop, read by the thread
};

} // namespace quol::vtp

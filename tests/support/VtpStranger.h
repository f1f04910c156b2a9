// Ends of vtp that are plain sockets and speak only what they are told to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/vtp/Descriptor.h"
#include "platform/vtp/Message.h"

namespace test {

// Connects to a sender of this machine.
class Stranger {
public:
    explicit Stranger(std::uint16_t port);

    bool isConnected() const { return isConnected_; }
    int descriptor() const { return socket_.get(); }

    void say(const void* bytes, std::size_t size);
    void say(quol::vtp::MessageType type, std::uint32_t flags = 0);

    // Reads that many bytes; fewer when the connection ends before.
    std::string heard(std::size_t size);
    bool hears(std::size_t size) { return heard(size).size() == size; }

    // True when the other end closes in time; what comes before that is read.
    bool isClosed(int milliseconds = 30000);

    // Goes through the handshake, up to the end of the welcome.
    bool becomesReceiver(const std::string& name);

private:
    quol::vtp::Descriptor socket_;
    bool isConnected_ = false;
};

// Waits for receivers of this machine at a free port.
class Listening {
public:
    Listening();

    std::uint16_t port() const { return port_; } // 0 when there is none to be had
    quol::vtp::Descriptor accepted() const;      // waits for it

private:
    quol::vtp::Descriptor socket_;
    std::uint16_t port_ = 0;
};

} // namespace test

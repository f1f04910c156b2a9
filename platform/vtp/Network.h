// The sockets of vtp. All of them are IPv4, non-blocking, and closed when another program is
// started. Which addresses they are bound to decides what can reach them; see docs/vtp.md.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "platform/vtp/Descriptor.h"
#include "platform/vtp/Secret.h"
#include "platform/vtp/SourceTable.h"

namespace quol::vtp {

// Where announcements go, on every network the same.
constexpr std::uint16_t announcementPort = 47650;
constexpr Address loopbackAddress = 0x7f000001;      // 127.0.0.1
constexpr Address loopbackAnnouncement = 0x7fffffff; // 127.255.255.255, heard by all who bind it
constexpr Address networkAnnouncement = 0xefff5654;  // 239.255.86.84

struct Interface {
    int index = 0;
    Address address = 0;
    std::string name;
};

// The first IPv4 address of the interface that the system calls so. Nothing when there is none.
std::optional<Interface> findInterface(const std::string& name);

// A numeric address, or "localhost".
std::optional<Address> readAddress(const std::string& text);

// Waits for connections at that port, or at a free one for 0. With an interface, only what comes in
// through it, as far as the system lets us say so. An empty descriptor when that cannot be had.
Descriptor listenForConnections(Address address, std::uint16_t port, const Interface* interface);
std::uint16_t localPort(const Descriptor& socket);

// This end of a connection and the other one. Zeros for what is not connected.
Endpoint ownEnd(const Descriptor& socket);
Endpoint otherEnd(const Descriptor& socket);

// The next who connects; an empty descriptor when there is none for now. `isFull` is set when the
// process can have no more descriptors.
Descriptor acceptConnection(const Descriptor& listening, bool& isFull);

// Begins to connect. To other machines only with an interface.
Descriptor beginConnection(Address address, std::uint16_t port, const Interface* interface);

// After the socket became writable: whether it is connected.
bool isConnected(const Descriptor& socket);

// Where a sender's announcements go: this machine without an interface, else the interface's
// network, one link far and not back to this machine, which hears it within.
class AnnouncementSender {
public:
    explicit AnnouncementSender(const Interface* interface);
    void send(std::span<const std::uint8_t> bytes);

private:
    Descriptor socket_;
    Address to_ = 0;
};

// Hears announcements on this machine or on one interface, beside any number of others.
Descriptor listenForAnnouncements(const Interface* interface);

// The next datagram; bytes received, or nothing for now. A longer one than `room` counts as full.
std::optional<std::size_t> receiveDatagram(const Descriptor& socket, std::span<std::uint8_t> room,
                                           Address& from);

} // namespace quol::vtp

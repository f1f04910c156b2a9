#include "platform/vtp/Network.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cerrno>
#include <memory>

namespace quol::vtp {

namespace {

constexpr int flags = SOCK_CLOEXEC | SOCK_NONBLOCK;
constexpr int maxUnsentBytes = 128 << 10;

sockaddr_in socketAddress(Address address, std::uint16_t port) {
    sockaddr_in out{};
    out.sin_family = AF_INET;
    out.sin_port = htons(port);
    out.sin_addr.s_addr = htonl(address);
    return out;
}

bool bindTo(const Descriptor& socket, Address address, std::uint16_t port) {
    const sockaddr_in to = socketAddress(address, port);
    return bind(socket.get(), reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0;
}

template <typename Value>
bool setOption(const Descriptor& socket, int level, int option, const Value& value) {
    return setsockopt(socket.get(), level, option, &value, sizeof value) == 0;
}

template <typename Ask>
Endpoint endOf(const Descriptor& socket, Ask ask) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (ask(socket.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) return {};
    return {ntohl(address.sin_addr.s_addr), ntohs(address.sin_port)};
}

// Older systems keep this to the superuser; the address then has to do.
void bindToInterface(const Descriptor& socket, const Interface& interface) {
    setsockopt(socket.get(), SOL_SOCKET, SO_BINDTODEVICE, interface.name.c_str(),
               static_cast<socklen_t>(interface.name.size() + 1));
}

} // namespace

std::optional<Interface> findInterface(const std::string& name) {
    if (name.empty() || name.size() >= IFNAMSIZ) return std::nullopt;
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) return std::nullopt;
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(list, freeifaddrs);
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (name != entry->ifa_name || entry->ifa_addr == nullptr ||
            entry->ifa_addr->sa_family != AF_INET)
            continue;
        const auto* address = reinterpret_cast<const sockaddr_in*>(entry->ifa_addr);
        const int index = static_cast<int>(if_nametoindex(name.c_str()));
        if (index > 0) return Interface{index, ntohl(address->sin_addr.s_addr), name};
    }
    return std::nullopt;
}

std::optional<Address> readAddress(const std::string& text) {
    if (text == "localhost") return loopbackAddress;
    in_addr address{};
    if (inet_pton(AF_INET, text.c_str(), &address) != 1) return std::nullopt;
    return ntohl(address.s_addr);
}

Descriptor listenForConnections(Address address, std::uint16_t port, const Interface* interface) {
    Descriptor listening(socket(AF_INET, SOCK_STREAM | flags, 0));
    if (!listening) return {};
    if (interface != nullptr) bindToInterface(listening, *interface);
    // A port that is asked for may still have connections of its last owner's that are coming to
    // their end. For a free one this is said afterwards, or it might be one of a stranger's.
    const auto allowReuse = [&] { return setOption(listening, SOL_SOCKET, SO_REUSEADDR, 1); };
    if (port != 0) allowReuse();
    if (!bindTo(listening, address, port)) return {};
    if (port == 0) allowReuse();
    if (listen(listening.get(), 16) != 0) return {};
    return listening;
}

std::uint16_t localPort(const Descriptor& socket) {
    return ownEnd(socket).port;
}

Endpoint ownEnd(const Descriptor& socket) {
    return endOf(socket, getsockname);
}

Endpoint otherEnd(const Descriptor& socket) {
    return endOf(socket, getpeername);
}

Descriptor acceptConnection(const Descriptor& listening, bool& isFull) {
    Descriptor accepted(accept4(listening.get(), nullptr, nullptr, flags));
    if (!accepted) {
        isFull = errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
        return {};
    }
    setOption(accepted, IPPROTO_TCP, TCP_NODELAY, 1);
    // What the system holds back cannot be replaced by what is newer.
    setOption(accepted, IPPROTO_TCP, TCP_NOTSENT_LOWAT, maxUnsentBytes);
    return accepted;
}

Descriptor beginConnection(Address address, std::uint16_t port, const Interface* interface) {
    if (port == 0) return {};
    Descriptor connecting(socket(AF_INET, SOCK_STREAM | flags, 0));
    if (!connecting) return {};
    if (!isLoopback(address)) {
        if (interface == nullptr) return {};
        if (address != interface->address) bindToInterface(connecting, *interface);
        if (!bindTo(connecting, interface->address, 0)) return {};
    }
    setOption(connecting, IPPROTO_TCP, TCP_NODELAY, 1);
    const sockaddr_in to = socketAddress(address, port);
    if (connect(connecting.get(), reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0 &&
        errno != EINPROGRESS)
        return {};
    return connecting;
}

bool isConnected(const Descriptor& socket) {
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &error, &size) != 0 || error != 0)
        return false;
    const Endpoint own = ownEnd(socket);
    const Endpoint other = otherEnd(socket);
    if (own.port == 0 || other.port == 0) return false;
    // A socket that asks for the port it was given itself is connected to itself.
    return own.port != other.port || own.address != other.address;
}

AnnouncementSender::AnnouncementSender(const Interface* interface)
    : socket_(socket(AF_INET, SOCK_DGRAM | flags, 0)),
      to_(interface != nullptr ? networkAnnouncement : loopbackAnnouncement) {
    bool isReady = static_cast<bool>(socket_);
    if (interface == nullptr) {
        isReady = isReady && setOption(socket_, SOL_SOCKET, SO_BROADCAST, 1) &&
                  bindTo(socket_, loopbackAddress, 0);
    } else {
        ip_mreqn through{};
        through.imr_ifindex = interface->index;
        through.imr_address.s_addr = htonl(interface->address);
        isReady = isReady && setOption(socket_, IPPROTO_IP, IP_MULTICAST_IF, through) &&
                  setOption(socket_, IPPROTO_IP, IP_MULTICAST_TTL, 1) &&
                  setOption(socket_, IPPROTO_IP, IP_MULTICAST_LOOP, 0) &&
                  bindTo(socket_, interface->address, 0);
    }
    // Better unheard than heard in the wrong place.
    if (!isReady) socket_.reset();
}

void AnnouncementSender::send(std::span<const std::uint8_t> bytes) {
    if (!socket_) return;
    const sockaddr_in to = socketAddress(to_, announcementPort);
    sendto(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL,
           reinterpret_cast<const sockaddr*>(&to), sizeof to);
}

Descriptor listenForAnnouncements(const Interface* interface) {
    Descriptor hearing(socket(AF_INET, SOCK_DGRAM | flags, 0));
    // Of broadcasts and multicasts all sockets that share the address get a copy each.
    if (!hearing || !setOption(hearing, SOL_SOCKET, SO_REUSEADDR, 1)) return {};
    if (interface == nullptr) {
        if (!bindTo(hearing, loopbackAnnouncement, announcementPort)) return {};
        return hearing;
    }
    ip_mreqn membership{};
    membership.imr_multiaddr.s_addr = htonl(networkAnnouncement);
    membership.imr_ifindex = interface->index;
    // Not what another program of this machine has joined elsewhere.
    if (!setOption(hearing, IPPROTO_IP, IP_MULTICAST_ALL, 0) ||
        !bindTo(hearing, networkAnnouncement, announcementPort) ||
        !setOption(hearing, IPPROTO_IP, IP_ADD_MEMBERSHIP, membership))
        return {};
    return hearing;
}

std::optional<std::size_t> receiveDatagram(const Descriptor& socket, std::span<std::uint8_t> room,
                                           Address& from) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    const ssize_t got = recvfrom(socket.get(), room.data(), room.size(), 0,
                                 reinterpret_cast<sockaddr*>(&address), &size);
    if (got < 0) return std::nullopt;
    from = ntohl(address.sin_addr.s_addr);
    return static_cast<std::size_t>(got);
}

} // namespace quol::vtp

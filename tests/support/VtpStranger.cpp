#include "support/VtpStranger.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include "support/VtpEnds.h"

namespace test {

using quol::vtp::Descriptor;
using quol::vtp::MessageHeader;
using quol::vtp::MessageType;

namespace {

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

Descriptor makeSocket() {
    return Descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

} // namespace

Stranger::Stranger(std::uint16_t port) : socket_(makeSocket()) {
    const sockaddr_in to = loopback(port);
    isConnected_ = connect(socket_.get(), reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0;
}

void Stranger::say(const void* bytes, std::size_t size) {
    send(socket_.get(), bytes, size, MSG_NOSIGNAL);
}

void Stranger::say(MessageType type, std::uint32_t flags) {
    MessageHeader header;
    header.type = type;
    header.flags = flags;
    const quol::vtp::HeaderBytes bytes = quol::vtp::writeHeader(header);
    say(bytes.bytes.data(), bytes.size);
}

std::string Stranger::heard(std::size_t size) {
    std::string bytes(size, 0);
    std::size_t have = 0;
    while (have < size) {
        const ssize_t got = recv(socket_.get(), bytes.data() + have, size - have, 0);
        if (got <= 0) break;
        have += static_cast<std::size_t>(got);
    }
    bytes.resize(have);
    return bytes;
}

bool Stranger::isClosed(int milliseconds) {
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    char bytes[4096];
    pollfd waiting{socket_.get(), POLLIN, 0};
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || poll(&waiting, 1, static_cast<int>(left.count())) <= 0)
            return false;
        if (recv(socket_.get(), bytes, sizeof bytes, 0) <= 0) return true;
    }
}

bool Stranger::becomesReceiver(const std::string& name) {
    say(MessageType::hello);
    if (!hears(64)) return false;
    say(MessageType::proof);
    return hears(80 + name.size());
}

Listening::Listening() : socket_(makeSocket()) {
    sockaddr_in at = loopback(0);
    socklen_t size = sizeof at;
    if (bind(socket_.get(), reinterpret_cast<const sockaddr*>(&at), size) == 0 &&
        listen(socket_.get(), 4) == 0 &&
        getsockname(socket_.get(), reinterpret_cast<sockaddr*>(&at), &size) == 0)
        port_ = ntohs(at.sin_port);
}

Descriptor Listening::accepted() const {
    return Descriptor(accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC));
}

} // namespace test

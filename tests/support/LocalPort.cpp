#include "support/LocalPort.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace test {

namespace {

sockaddr_in here(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

// A socket with a port that the system chose.
int boundSocket(int type, int& port) {
    const int made = socket(AF_INET, type | SOCK_CLOEXEC, 0);
    sockaddr_in address = here(0);
    socklen_t length = sizeof address;
    bind(made, reinterpret_cast<const sockaddr*>(&address), length);
    getsockname(made, reinterpret_cast<sockaddr*>(&address), &length);
    port = ntohs(address.sin_port);
    return made;
}

int freePort(int type) {
    int port = 0;
    close(boundSocket(type, port));
    return port;
}

} // namespace

int freeTcpPort() {
    return freePort(SOCK_STREAM);
}

int freeUdpPort() {
    return freePort(SOCK_DGRAM);
}

int freeUdpPortPair() {
    while (true) {
        int port = 0;
        const int first = boundSocket(SOCK_DGRAM, port);
        const int second = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        const sockaddr_in next = here(port + 1);
        const bool free = port % 2 == 0 &&
                          bind(second, reinterpret_cast<const sockaddr*>(&next), sizeof next) == 0;
        close(first);
        close(second);
        if (free) return port;
    }
}

bool acceptsTcp(int port) {
    const int made = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = here(port);
    const bool taken =
        connect(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(made);
    return taken;
}

SilentServer::SilentServer() : socket_(boundSocket(SOCK_STREAM, port_)) {
    listen(socket_, 16);
}

SilentServer::~SilentServer() {
    close(socket_);
}

} // namespace test

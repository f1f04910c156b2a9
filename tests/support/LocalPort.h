// Ports of this machine's own address, 127.0.0.1.
#pragma once

#include <cstdint>

namespace test {

// One that nothing listens on at the moment.
int freeTcpPort();
int freeUdpPort();
// The even one of two that follow each other.
int freeUdpPortPair();

// Whether something takes a connection there now.
bool acceptsTcp(int port);

// Takes connections, as far as the system does it by itself, and never answers.
class SilentServer {
public:
    SilentServer();
    ~SilentServer();
    SilentServer(const SilentServer&) = delete;
    SilentServer& operator=(const SilentServer&) = delete;

    int port() const { return port_; }

private:
    int port_ = 0; // set while the socket is made: it has to come first
    int socket_ = -1;
};

} // namespace test

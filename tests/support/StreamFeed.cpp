#include "support/StreamFeed.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "support/CapturedStream.h"
#include "support/Program.h"

namespace test {

std::string made(const std::string& name, std::vector<std::string> arguments) {
    const std::string path = temporaryPath(name);
    arguments.insert(arguments.begin(), {"ffmpeg", "-v", "error", "-y"});
    arguments.push_back(path);
    const std::string output = outputOf(arguments);
    return output.empty() ? path : output;
}

std::string contentsOf(const std::string& path) {
    const std::ifstream file(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

StreamPlayer::StreamPlayer(const std::string& url, std::size_t keep) : sink(keep) {
    stream.streamUrlSet(url);
    stream.addSink(&sink);
}

StreamPlayer::~StreamPlayer() {
    stream.stop();
    stream.removeSink(&sink);
}

int StreamPlayer::status() {
    int status = -1;
    stream.statusGet(status);
    return status;
}

namespace {

sockaddr_in here(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int listener(int& port, int backlog) {
    const int made = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    setsockopt(made, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address = here(port);
    socklen_t length = sizeof address;
    bind(made, reinterpret_cast<const sockaddr*>(&address), length);
    ::listen(made, backlog);
    getsockname(made, reinterpret_cast<sockaddr*>(&address), &length);
    port = ntohs(address.sin_port);
    return made;
}

} // namespace

ByteServer::ByteServer(int port) : port_(port) {
    socket_ = listener(port_, 16);
}

ByteServer::~ByteServer() {
    dropGuest();
    close(socket_);
}

bool ByteServer::accept(std::chrono::milliseconds limit) {
    pollfd wanted{socket_, POLLIN, 0};
    if (poll(&wanted, 1, static_cast<int>(limit.count())) <= 0) return false;
    dropGuest();
    guest_ = ::accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC);
    return guest_ >= 0;
}

bool ByteServer::send(const std::string& bytes) {
    constexpr int longest = 20'000; // milliseconds
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        pollfd ready{guest_, POLLOUT, 0};
        if (poll(&ready, 1, longest) <= 0) return false;
        const ssize_t count =
            ::send(guest_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0) return false;
        sent += static_cast<std::size_t>(count);
    }
    return true;
}

bool ByteServer::sendFile(const std::string& path) {
    const std::string bytes = contentsOf(path);
    return !bytes.empty() && send(bytes);
}

void ByteServer::dropGuest() {
    if (guest_ >= 0) close(guest_);
    guest_ = -1;
}

FullServer::FullServer() {
    socket_ = listener(port_, 0);
    const sockaddr_in address = here(port_);
    for (int& guest : waiting_) {
        guest = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        connect(guest, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    }
}

FullServer::~FullServer() {
    for (const int guest : waiting_)
        close(guest);
    close(socket_);
}

} // namespace test

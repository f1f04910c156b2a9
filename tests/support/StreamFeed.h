// A network player under test, and the plainest of servers.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "quolsdk/LStreamPlay.h"
#include "support/CollectingSink.h"

namespace test {

// Makes a clip with ffmpeg in a temporary folder; its path, or what went wrong.
std::string made(const std::string& name, std::vector<std::string> arguments);

std::string contentsOf(const std::string& path);

// A player that shows what it keeps from its hosts.
class OpenStream : public LStreamPlay {
public:
    // A class that derives from one with a worker ends it before it goes itself.
    ~OpenStream() override { stop(); }
    std::size_t queued() { return queuedFrames(); }
    float peakLeft() const { return audioPeakLeft; }
    void forgetPeak() { audioPeakLeft = 0.0F; }
};

// A player with one sink on it, taken apart in the order that the two need.
class StreamPlayer {
public:
    // `keep` as CollectingSink has it.
    explicit StreamPlayer(const std::string& url, std::size_t keep = 0);
    ~StreamPlayer();
    StreamPlayer(const StreamPlayer&) = delete;
    StreamPlayer& operator=(const StreamPlayer&) = delete;

    int status();

    OpenStream stream;
    CollectingSink sink;
};

// Listens on a port of 127.0.0.1 and sends bytes to one guest at a time.
class ByteServer {
public:
    // On that port, or a free one.
    explicit ByteServer(int port = 0);
    ~ByteServer();
    ByteServer(const ByteServer&) = delete;
    ByteServer& operator=(const ByteServer&) = delete;

    int port() const { return port_; }
    std::string url() const { return "tcp://127.0.0.1:" + std::to_string(port_); }

    // Waits for the next guest, who then takes the place of the one before; false when the limit
    // has passed.
    bool accept(std::chrono::milliseconds limit = std::chrono::seconds(20));
    // Sends it the whole of a file; false when the guest has gone or does not read.
    bool sendFile(const std::string& path);
    bool send(const std::string& bytes);
    void dropGuest();

private:
    int socket_ = -1;
    int guest_ = -1;
    int port_ = 0;
};

// A port whose connections nobody takes, not even the system.
class FullServer {
public:
    FullServer();
    ~FullServer();
    FullServer(const FullServer&) = delete;
    FullServer& operator=(const FullServer&) = delete;
    std::string address() const { return "127.0.0.1:" + std::to_string(port_); }

private:
    int socket_ = -1;
    int waiting_[4] = {-1, -1, -1, -1};
    int port_ = 0;
};

} // namespace test
